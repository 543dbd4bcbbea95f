// The log daemon's way from its socket to a file, beside a bare loop that receives and writes the same datagrams; and the daemon as
// a process, with a sender that is as fast as the bare loop lets one be.

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/pair.h"
#include "tools/ad_logd/file_sink.h"
#include "tools/ad_logd/intake.h"

namespace {

constexpr unsigned burst = 64;
constexpr unsigned queue = 512;  // as the daemon's, when not told otherwise
constexpr uint64_t file_bytes_max = 16 << 20;

std::string datagram_of(unsigned number) {
    const std::string text = "host(1234)ERRO:file.c:" + std::to_string(100 + number % 900) + "-> port " + std::to_string(number) +
                             " is down, its neighbour has not answered for three seconds";
    std::string bytes = text + std::string(9, '\0');
    bytes[text.size() + 4] = 0x65;
    return bytes;
}

// A host: its records differ, and each waits for room as long as the library lets it.
class log_sender {
  public:
    explicit log_sender(const std::string &path) : address_(address_of(path)) {
        for (unsigned i = 0; i < burst; ++i)
            datagrams_[i] = datagram_of(i);
        const timeval limit = {0, AD_ERRORLOG_SEND_MS_MAX * 1000};
        setsockopt(socket_.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    }
    void send_one(unsigned number) {
        const std::string &bytes = datagrams_[number % burst];
        if (sendto(socket_.get(), bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr *>(&address_), sizeof address_) <
            0)
            ++lost_;
    }
    void send_burst() {
        for (unsigned i = 0; i < burst; ++i)
            send_one(i);
    }
    uint64_t lost() const { return lost_; }

  private:
    sockaddr_un address_;
    std::string datagrams_[burst];
    unique_fd socket_{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
    uint64_t lost_ = 0;
};

// A receive and a write a datagram, and a file that does not grow without end.
class bare_loop {
  public:
    explicit bare_loop(const std::string &directory)
        : socket_(bind_place(directory + "/bare", SOCK_DGRAM, 0600, queue)),
          file_(open((directory + "/bare.log").c_str(), O_CREAT | O_WRONLY | O_APPEND | O_CLOEXEC, 0600)) {}
    void run() {
        char bytes[4096];
        for (ssize_t came; (came = recv(socket_.get(), bytes, sizeof bytes, MSG_DONTWAIT)) > 0;) {
            const ssize_t wrote = write(file_.get(), bytes, static_cast<size_t>(came));
            written_ += wrote > 0 ? static_cast<uint64_t>(wrote) : 0;
        }
        if (written_ < file_bytes_max) return;
        if (ftruncate(file_.get(), 0) != 0) std::abort();
        written_ = 0;
    }

    void wait_and_run() {
        pollfd readable = {socket_.get(), POLLIN, 0};
        if (poll(&readable, 1, -1) == 1) run();
    }

  private:
    unique_fd socket_, file_;
    uint64_t written_ = 0;
};

std::string beside_this_program(const char *name) {
    return (std::filesystem::read_symlink("/proc/self/exe").parent_path() / name).string();
}

// Both sides read a burst that is there already: what is measured is receiving and writing.
void measure_receiving(benchmark_run &run, const std::string &directory) {
    receiver log({directory + "/log", 0600, queue});
    std::vector<std::unique_ptr<sink>> sinks;
    sinks.push_back(std::make_unique<file_sink>(file_options{directory + "/log.log", append_text_line, file_bytes_max, 1}));
    intake into({0, true}, sinks);
    bare_loop bare(directory);
    log_sender to_log(directory + "/log"), to_bare(directory + "/bare");
    run.pair_prepared(
        "receive and write, beside a bare loop (a rate of at least 0.85)", 1 / 0.85, [&] { to_log.send_burst(); },
        [&] {
            while (log.receive([&](const received_datagram &what) { into.take(origin::log, what, time_of_day(), 0); }) == burst)
                continue;
            sinks[0]->flush();
        },
        [&] { to_bare.send_burst(); }, [&] { bare.run(); }, burst, burst);
    run.count("datagrams lost by both", to_log.lost() + to_bare.lost() + sinks[0]->lost(), 0);
}

[[noreturn]] void give_up(const char *why) {
    std::fprintf(stderr, "bench_logd: %s\n", why);
    std::exit(2);
}

// The daemon as it is installed, writing to a file.
class daemon_process {
  public:
    explicit daemon_process(const std::string &directory) {
        int ready[2];
        if (pipe(ready) != 0) give_up("no pipe is to be had");
        fcntl(ready[0], F_SETFD, FD_CLOEXEC);
        std::string words[] = {beside_this_program("ad_logd"),
                               "--socket",
                               directory + "/real",
                               "--no-special",
                               "--file",
                               directory + "/real.log",
                               "--size",
                               "0",
                               "--rate",
                               "0",
                               "--queue",
                               std::to_string(queue),
                               "--ready-fd",
                               std::to_string(ready[1])};
        std::vector<char *> arguments;
        for (std::string &word : words)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        const int failure = posix_spawn(&pid_, arguments[0], &actions, nullptr, arguments.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        close(ready[1]);
        char byte;
        const bool listens = failure == 0 && read(ready[0], &byte, 1) == 1;
        close(ready[0]);
        if (!listens) give_up("ad_logd does not start");
    }
    void end() const {
        int status = -1;
        kill(pid_, SIGTERM);
        if (waitpid(pid_, &status, 0) != pid_ || status != 0) give_up("ad_logd does not end as it should");
    }

  private:
    pid_t pid_ = -1;
};

uint64_t lines_in(const std::string &path) {
    std::ifstream file(path);
    return static_cast<uint64_t>(std::count(std::istreambuf_iterator<char>(file), {}, '\n'));
}

// Sends so many records, each at its time.   Returns the nanoseconds that one took.
double send_paced(log_sender &sender, unsigned count, double ns_between) {
    using clock = std::chrono::steady_clock;
    const auto start = clock::now();
    const auto ns_since_start = [start] { return std::chrono::duration<double, std::nano>(clock::now() - start).count(); };
    for (unsigned i = 0; i < count; ++i) {
        while (ns_since_start() < i * ns_between)
            continue;
        sender.send_one(i);
    }
    return ns_since_start() / count;
}

// What a sender reaches when the bare loop reads as a process of its own.
double bare_process_ns(const std::string &directory, unsigned count) {
    const pid_t reader = fork();
    if (reader < 0) give_up("no process is to be had");
    if (reader == 0) {
        bare_loop bare(directory);
        for (;;)
            bare.wait_and_run();
    }
    const auto is_there = [&] { return std::filesystem::exists(directory + "/bare"); };
    for (int waited_ms = 0; !is_there() && waited_ms < 10'000; ++waited_ms)
        usleep(1000);
    log_sender sender(directory + "/bare");
    const double ns = send_paced(sender, count, 0);
    kill(reader, SIGKILL);
    waitpid(reader, nullptr, 0);
    if (sender.lost() != 0) give_up("the bare loop does not read");
    return ns;
}

// Sends to a daemon that works meanwhile, at the rate that the bare loop takes as a process.
void count_losses(benchmark_run &run, const std::string &directory) {
    const unsigned count = run.smoke() ? 2'000 : 500'000;
    const double bare_ns = bare_process_ns(directory, count);
    const daemon_process daemon(directory);
    log_sender sender(directory + "/real." + std::to_string(getuid()));
    const double sent_ns = send_paced(sender, count, bare_ns);
    daemon.end();
    char name[96];
    std::snprintf(name, sizeof name, "lost of %u at %.0f a second, %.0f %% of the bare loop's rate", count, 1e9 / sent_ns,
                  100 * bare_ns / sent_ns);
    run.count(name, count - lines_in(directory + "/real.log"), 0);
}

}  // namespace

int main(int argc, char **argv) {
    benchmark_run run("log daemon: from the socket to a file", argc, argv);
    static_cast<void>(unshare(CLONE_NEWIPC));  // the shared records end with this process where that is allowed
    std::string directory = (std::filesystem::temp_directory_path() / "nprm-bench-XXXXXX").string();
    if (mkdtemp(directory.data()) == nullptr) return 2;
    measure_receiving(run, directory);
    std::filesystem::remove(directory + "/bare");
    count_losses(run, directory);
    std::filesystem::remove_all(directory);
    return run.finish();
}
