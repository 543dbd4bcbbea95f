// nprm-simcard: a simulated line card, which serves clients of the NPRM library on this machine.

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include <fcntl.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include "platform/local/ruv_local.h"

#include "nprm_simcard.h"
#include "server.h"

namespace {

constexpr int exit_failed = 1, exit_usage = 2;
constexpr uint32_t tcam_entries_max = 1U << 20;
constexpr uint32_t fib_prefixes_max = 10000000;

constexpr const char *description = "A simulated line card: serves the NPRM library's requests as a card's server would.";
constexpr const char *examples = R"(Examples:
  nprm-simcard                                 serve in the default directory until SIGTERM, SIGINT or SIGHUP
  nprm-simcard --directory /run/user/1000/lab  a directory of its own; clients need RUV_DIR=/run/user/1000/lab
  nprm-simcard --tcam-entries 2048 --verbose   a small TCAM, a line on standard error for each request
  nprm-simcard --remove-segments               leave no shared segment behind

One card serves a machine (or an IPC namespace), because the shared segment's key is fixed.  Faults and status: nprmctl card.
Exit status: 0 stopped by a signal, 1 cannot serve, 2 wrong options.)";

struct command_line {
    server_options server;
    int ready_fd = -1;
    bool quiet = false;
};

traffic_setting traffic_of(const std::string &text) {
    traffic_setting traffic;
    if (text == "frozen") {
        traffic.frozen = true;
        return traffic;
    }
    const char *end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, traffic.packets_per_second);
    if (error != std::errc{} || stopped != end || traffic.packets_per_second > NPRM_SIMCARD_TRAFFIC_MAX)
        throw CLI::ValidationError(
            "--traffic", "\"" + text + "\" is neither frozen nor a number from 0 to " + std::to_string(NPRM_SIMCARD_TRAFFIC_MAX));
    return traffic;
}

std::string default_directory() {
    char path[4096];
    return ruv_local_directory(path, sizeof path) == 0 ? path : "";
}

void add_options(CLI::App &app, command_line &chosen) {
    app.footer(examples);
    app.set_version_flag("--version", "nprm-simcard " NPRM_VERSION);
    app.add_option("--directory", chosen.server.directory,
                   "where the sockets are (default: RUV_DIR, else ruv in the runtime directory)")
        ->type_name("DIR");
    app.add_option("--tcam-entries", chosen.server.card.tcam_entries, "the TCAM's capacity")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(1U, tcam_entries_max));
    app.add_option_function<std::string>(
           "--traffic", [&chosen](const std::string &text) { chosen.server.card.traffic = traffic_of(text); },
           "packets a second offered to each port that is up, or frozen: counters stand still (default: 10000)")
        ->type_name("N|frozen");
    app.add_option("--fib-prefixes", chosen.server.card.fib_prefixes, "the FIB's capacity, IPv4 and IPv6 together")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(1U, fib_prefixes_max));
    app.add_flag("--acknowledge-only", chosen.server.acknowledge_only,
                 "answer every request with result 0 without running the models");
    app.add_flag("--remove-segments", chosen.server.remove_segments, "remove the shared segment at exit");
    app.add_option("--ready-fd", chosen.ready_fd, "write a byte to this descriptor and close it when the card listens")
        ->type_name("FD")
        ->check(CLI::Validator(
            [](std::string &text) { return fcntl(std::atoi(text.c_str()), F_GETFD) < 0 ? text + " is not open" : ""; }, "",
            "open"));
    auto *quiet = app.add_flag("--quiet", chosen.quiet, "do not say when the card listens");
    app.add_flag("--verbose", chosen.server.verbose, "a line on standard error for each request")->excludes(quiet);
}

// SIGTERM, SIGINT and SIGHUP as a descriptor; SIGPIPE has no use here.
int take_signals() {
    signal(SIGPIPE, SIG_IGN);
    sigset_t stop;
    sigemptyset(&stop);
    sigaddset(&stop, SIGTERM);
    sigaddset(&stop, SIGINT);
    sigaddset(&stop, SIGHUP);
    sigprocmask(SIG_BLOCK, &stop, nullptr);
    return signalfd(-1, &stop, SFD_CLOEXEC | SFD_NONBLOCK);
}

void say_ready(const command_line &chosen) {
    if (!chosen.quiet) {
        std::printf("nprm-simcard: listening in %s, pid %d\n", chosen.server.directory.c_str(), static_cast<int>(getpid()));
        std::fflush(stdout);
    }
    if (chosen.ready_fd < 0) return;
    while (write(chosen.ready_fd, "1", 1) < 0 && errno == EINTR)
        continue;
    close(chosen.ready_fd);
}

int serve(const command_line &chosen) {
    if (chosen.server.directory.empty())
        throw std::runtime_error("the directory's path is empty or too long: give another one with --directory");
    const int stop_signals = take_signals();
    if (stop_signals < 0) throw std::runtime_error("no signal descriptor can be had");
    card_server server(chosen.server);
    server.listen();
    say_ready(chosen);
    server.run(stop_signals);
    return 0;
}

}  // namespace

int main(int count, char **arguments) {
    command_line chosen;
    chosen.server.directory = default_directory();
    CLI::App app(description, "nprm-simcard");
    add_options(app, chosen);
    try {
        app.parse(count, arguments);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() == 0) return app.exit(error);  // the help, or the version
        std::fprintf(stderr, "nprm-simcard: %s\n  try: nprm-simcard --help\n", error.what());
        return exit_usage;
    }
    try {
        return serve(chosen);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "nprm-simcard: %s\n", error.what());
        return exit_failed;
    }
}
