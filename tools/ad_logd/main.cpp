// ad_logd: the log daemon, which writes what every process of the card says where its operator wants it.

#include "daemon.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include <fcntl.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

namespace {

constexpr int exit_failed = 1, exit_usage = 2;
constexpr unsigned facility_max = 23;

constexpr const char *description = "The log daemon: reads what processes log, and writes it where you want it.";
constexpr const char *examples = R"(Examples:
  ad_logd                                          everything to standard output, until SIGTERM or SIGINT
  ad_logd --file /var/log/nprm.log --keep 9        a file, rotated at 10 MiB; nine older ones are kept
  ad_logd --json /var/log/nprm.jsonl --rate 0      JSON lines; no sender is cut
  ad_logd --syslog /dev/log                        the local log system; --syslog 127.0.0.1:601 another one, by TCP
  ad_logd --config /etc/ad_logd.conf               options from a file: a line each, "file = /var/log/nprm.log"
  nprmctl log follow                               watch live

SIGHUP opens the files anew, SIGUSR2 prints the counts, SIGTERM and SIGINT end it when all is written.
Exit status: 0 stopped by a signal, 1 cannot serve, 2 wrong options.)";

struct command_line {
    daemon_options daemon = {.path = "/tmp/ad_errorlog",
                             .special_path = "/tmp/ad_errorlog_sp",
                             .mode = 0,
                             .queue = 512,
                             .to_stdout = false,
                             .file = {},
                             .json_file = {},
                             .file_bytes_max = 10 << 20,
                             .kept_files = 5,
                             .syslog = {},
                             .facility = 16,
                             .intake = {.records_per_second = 10'000, .fold = true}};
    std::string mode = getuid() == 0 ? "0666" : "0600";
    bool no_special = false, no_fold = false;
    int ready_fd = -1;
};

// A configuration file's line without a value comes as an empty text, or as "true", as if it were for a flag.
std::string objection_to_value(const std::string &text) {
    return text.empty() || text == "true" ? "a value is missing" : "";
}

void add_socket_options(CLI::App &app, command_line &chosen) {
    app.add_option("--socket", chosen.daemon.path, "the log socket's path, to which \".UID\" is added")
        ->type_name("BASE")
        ->envname("ERROR_LOG_SOCKET")
        ->capture_default_str();
    app.add_option("--special", chosen.daemon.special_path, "the special log's socket, likewise")
        ->type_name("BASE")
        ->capture_default_str();
    app.add_flag("--no-special", chosen.no_special, "without the special log");
    app.add_option("--mode", chosen.mode, "the sockets' permissions, octal; as root all may log")
        ->type_name("MODE")
        ->capture_default_str();
    app.add_option("--queue", chosen.daemon.queue, "how many datagrams a socket holds, where raising that is allowed")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(1U, 65'536U));
}

void add_sink_options(CLI::App &app, command_line &chosen) {
    app.add_flag("--stdout", chosen.daemon.to_stdout, "write to standard output; the default when nothing else is asked for");
    app.add_option("--file", chosen.daemon.file, "write to a file")->type_name("PATH")->check(objection_to_value);
    app.add_option("--json", chosen.daemon.json_file, "write JSON lines to a file")->type_name("PATH")->check(objection_to_value);
    app.add_option("--size", chosen.daemon.file_bytes_max, "rotate a file before it grows beyond; 0: never")
        ->type_name("BYTES")
        ->transform(CLI::AsSizeValue(false))
        ->capture_default_str();
    app.add_option("--keep", chosen.daemon.kept_files, "how many rotated files are kept")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(0U, 1000U));
    app.add_option("--syslog", chosen.daemon.syslog, "send to a log system: a socket's path, or ADDRESS:PORT for TCP")
        ->type_name("WHERE")
        ->check(objection_to_value);
    app.add_option("--facility", chosen.daemon.facility, "the facility's number there")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(0U, facility_max));
}

void add_options(CLI::App &app, command_line &chosen) {
    app.footer(examples);
    app.set_version_flag("--version", "ad_logd " NPRM_VERSION);
    app.set_config("--config", "", "take options from a file")->type_name("PATH");
    app.allow_config_extras(CLI::config_extras_mode::error);
    add_socket_options(app, chosen);
    add_sink_options(app, chosen);
    app.add_option("--rate", chosen.daemon.intake.records_per_second, "cut a sender above so many records a second; 0: none")
        ->type_name("N")
        ->capture_default_str();
    app.add_flag("--no-fold", chosen.no_fold, "write identical records in a row one by one");
    app.add_option("--ready-fd", chosen.ready_fd, "write a byte to this descriptor and close it when the daemon listens")
        ->type_name("FD");
}

bool finish_options(command_line &chosen) {
    daemon_options &daemon = chosen.daemon;
    if (chosen.no_special) daemon.special_path.clear();
    daemon.intake.fold = !chosen.no_fold;
    if (daemon.file.empty() && daemon.json_file.empty() && daemon.syslog.empty()) daemon.to_stdout = true;
    return read_mode(chosen.mode, daemon.mode);
}

// Where standard input, output or error is closed, the next file or socket opened would get its number, and what is printed would
// go there.  What takes the place refuses to be written to, so that lost records are counted.
void keep_standard_descriptors() {
    int opened = STDIN_FILENO;
    while (opened >= 0 && opened <= STDERR_FILENO)
        opened = open("/dev/null", O_RDONLY);
    if (opened > STDERR_FILENO) close(opened);
}

// Signals as a descriptor.  The daemon has no handlers, which could interrupt it anywhere; writes fail instead of ending it.
int take_signals() {
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
    signal(SIGUSR1, SIG_IGN);
    sigset_t taken;
    sigemptyset(&taken);
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGUSR2})
        sigaddset(&taken, number);
    sigprocmask(SIG_BLOCK, &taken, nullptr);
    return signalfd(-1, &taken, SFD_CLOEXEC | SFD_NONBLOCK);
}

void say_ready(const command_line &chosen, const log_daemon &daemon) {
    std::fprintf(stderr, "ad_logd: reading %s, pid %d\n", daemon.places().c_str(), static_cast<int>(getpid()));
    if (chosen.ready_fd < 0) return;
    while (write(chosen.ready_fd, "1", 1) < 0 && errno == EINTR)
        continue;
    close(chosen.ready_fd);
}

int serve(const command_line &chosen) {
    const int signals = take_signals();
    if (signals < 0) throw std::runtime_error("no signal descriptor can be had");
    log_daemon daemon(chosen.daemon);
    say_ready(chosen, daemon);
    daemon.run(signals);
    std::fprintf(stderr, "ad_logd: %s\n", daemon.statistics().c_str());
    return 0;
}

}  // namespace

int main(int count, char **arguments) {
    keep_standard_descriptors();
    command_line chosen;
    CLI::App app(description, "ad_logd");
    add_options(app, chosen);
    try {
        app.parse(count, arguments);
    } catch (const CLI::ConfigError &error) {
        std::fprintf(stderr,
                     "ad_logd: %s: %s\nIts options are those of --help without their hyphens, such as \"no-fold = true\".\n",
                     app.get_config_ptr()->as<std::string>().c_str(), error.what());
        return exit_usage;
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() == 0) return app.exit(error);  // the help, or the version
        std::fprintf(stderr, "ad_logd: %s\n  try: ad_logd --help\n", error.what());
        return exit_usage;
    }
    if (!finish_options(chosen)) {
        std::fprintf(stderr, "ad_logd: --mode: \"%s\" is no mode such as 0660\n", chosen.mode.c_str());
        return exit_usage;
    }
    try {
        return serve(chosen);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "ad_logd: %s\n", error.what());
        return exit_failed;
    }
}
