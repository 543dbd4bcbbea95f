// The log daemon: sockets in, sinks out, one thread, one loop.

#include "daemon.h"

#include "file_sink.h"
#include "follow_sink.h"
#include "stream_sink.h"
#include "syslog_sink.h"

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <stdexcept>

#include <sys/signalfd.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr int tick_ms = 250;  // while something is still to be told or written
constexpr int64_t telling_ms = 1000;
constexpr int64_t drain_ms_max = 1000;
constexpr unsigned batches_in_a_row = 16;  // then sinks and signals have their turn

int64_t monotonic_ns() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

int64_t monotonic_ms() {
    return monotonic_ns() / 1'000'000;
}

std::string place_of(const std::string &base) {
    return base + "." + std::to_string(getuid());
}

std::string plain_name(const std::string &path) {
    std::error_code problem;
    const fs::path name = fs::weakly_canonical(path, problem);
    return problem ? path : name.string();
}

bool is_rotated_name(const std::string &path, const std::string &of, unsigned kept_files) {
    const std::string head = of + ".";
    if (!path.starts_with(head)) return false;
    unsigned number = 0;
    const char *const end = path.data() + path.size();
    const auto [stop, error] = std::from_chars(path.data() + head.size(), end, number);
    return error == std::errc{} && stop == end && number >= 1 && number <= kept_files && path == head + std::to_string(number);
}

void refuse_names_of_socket(const std::string &file, const std::string &socket) {
    for (const char *suffix : {"", ".lock", ".follow", ".cfg"})
        if (file == plain_name(socket + suffix)) throw std::runtime_error(file + " belongs to the log's socket");
}

// The options again.  Throws when two of what the daemon opens are one, or would become one.
const daemon_options &checked(const daemon_options &wanted) {
    const std::string log = place_of(wanted.path), special = wanted.special_path.empty() ? "" : place_of(wanted.special_path);
    if (plain_name(log) == plain_name(special)) throw std::runtime_error("--socket and --special are the same socket: " + log);
    const std::string file = wanted.file.empty() ? "" : plain_name(wanted.file),
                      json = wanted.json_file.empty() ? "" : plain_name(wanted.json_file),
                      log_system = wanted.syslog.starts_with('/') ? plain_name(wanted.syslog) : "";
    for (const std::string &each : {file, json, log_system}) {
        if (each.empty()) continue;
        refuse_names_of_socket(each, log);
        if (!special.empty()) refuse_names_of_socket(each, special);
    }
    if (file.empty() || json.empty()) return wanted;
    if (file == json) throw std::runtime_error("--file and --json are the same file: " + file);
    for (const auto &[one, other] : {std::pair(file, json), std::pair(json, file)})
        if (is_rotated_name(one, other, wanted.kept_files))
            throw std::runtime_error(std::string(one).append(" is a name that rotated files of ").append(other).append(" get"));
    return wanted;
}

using sink_list = std::vector<std::unique_ptr<sink>>;

sink_list sinks_of(const daemon_options &wanted) {
    sink_list sinks;
    const auto add_file = [&](const std::string &path, line_form form) {
        if (!path.empty())
            sinks.push_back(std::make_unique<file_sink>(file_options{path, form, wanted.file_bytes_max, wanted.kept_files}));
    };
    if (wanted.to_stdout) sinks.push_back(std::make_unique<stream_sink>(STDOUT_FILENO, append_text_line));
    add_file(wanted.file, append_text_line);
    add_file(wanted.json_file, append_json_line);
    if (!wanted.syslog.empty()) sinks.push_back(std::make_unique<syslog_sink>(wanted.syslog, wanted.facility));
    return sinks;
}

unique_fd lock_of(const std::string &base) {
    return base.empty() ? unique_fd() : lock_place(place_of(base));
}

receiver::options socket_options(const std::string &base, const daemon_options &wanted) {
    return {place_of(base), wanted.mode, wanted.queue};
}

}  // namespace

log_daemon::log_daemon(const daemon_options &wanted)
    : log_lock_(lock_of(checked(wanted).path)),
      special_lock_(lock_of(wanted.special_path)),
      sinks_(sinks_of(wanted)),
      intake_(wanted.intake, sinks_),
      log_(socket_options(wanted.path, wanted)) {
    if (!wanted.special_path.empty()) special_.emplace(socket_options(wanted.special_path, wanted));
    add_follow_sink(log_.path() + ".follow");
}

// The log goes on without followers where their socket is not to be had.
void log_daemon::add_follow_sink(const std::string &path) {
    try {
        unique_fd listener = bind_place(path, SOCK_STREAM, 0600);
        if (listen(listener.get(), static_cast<int>(follow_sink::followers_max)) != 0)
            throw std::runtime_error(path + ": no listener");
        sinks_.push_back(std::make_unique<follow_sink>(std::move(listener)));
    } catch (const std::runtime_error &problem) {
        std::fprintf(stderr, "ad_logd: nobody can follow the log: %s\n", problem.what());
    }
}

std::string log_daemon::places() const {
    std::string text = log_.path();
    if (special_) text += ", " + special_->path();
    const bool shares_all = log_.has_shared_record() && (!special_ || special_->has_shared_record());
    return shares_all ? text : text + " (no shared debug record is to be had)";
}

void log_daemon::run(int signals) {
    for (bool goes_on = true; goes_on;) {
        wait(signals);
        read_sockets();
        tell_in_time();
        flush();
        goes_on = take_signals(signals);
    }
    drain();
}

// What is folded or cut is told a second after the first of it.
void log_daemon::tell_in_time() {
    if (!intake_.has_to_tell()) return;
    if (telling_at_ms_ == 0) telling_at_ms_ = monotonic_ms() + telling_ms;
    if (monotonic_ms() < telling_at_ms_) return;
    intake_.tell();
    telling_at_ms_ = 0;
}

void log_daemon::wait(int signals) {
    watched_.clear();
    watched_.push_back({signals, POLLIN, 0});
    watched_.push_back({log_.descriptor(), POLLIN, 0});
    if (special_) watched_.push_back({special_->descriptor(), POLLIN, 0});
    bool is_waiting = intake_.has_to_tell();
    for (const auto &each : sinks_) {
        each->watch(watched_);
        is_waiting = is_waiting || each->is_waiting();
    }
    poll(watched_.data(), watched_.size(), is_waiting ? tick_ms : -1);
}

// False when nothing was there.
bool log_daemon::read_sockets() {
    unsigned most = 0;
    for (unsigned i = 0; i < batches_in_a_row; ++i) {
        const log_time now = time_of_day();
        const int64_t now_ns = monotonic_ns();
        const auto from = [&](origin where) {
            return [this, where, now, now_ns](const received_datagram &what) { intake_.take(where, what, now, now_ns); };
        };
        unsigned count = log_.receive(from(origin::log));
        if (special_) count = std::max(count, special_->receive(from(origin::special)));
        most = std::max(most, count);
        if (count < receiver::batch) break;
    }
    return most > 0;
}

void log_daemon::flush() {
    for (const auto &each : sinks_)
        each->flush();
}

// False when the daemon is to end.
bool log_daemon::take_signals(int signals) {
    signalfd_siginfo came{};
    while (read(signals, &came, sizeof came) == static_cast<ssize_t>(sizeof came)) {
        if (came.ssi_signo == SIGTERM || came.ssi_signo == SIGINT) return false;
        if (came.ssi_signo == SIGHUP)
            for (const auto &each : sinks_)
                each->reopen();
        if (came.ssi_signo == SIGUSR2) std::fprintf(stderr, "ad_logd: %s\n", statistics().c_str());
    }
    return true;
}

// Bounded, for senders that never stop and readers that never read.
void log_daemon::drain() {
    const int64_t end_ms = monotonic_ms() + drain_ms_max;
    while (read_sockets() && monotonic_ms() < end_ms)
        flush();
    intake_.tell();
    flush();
    const auto is_waiting = [](const std::unique_ptr<sink> &each) { return each->is_waiting(); };
    while (std::ranges::any_of(sinks_, is_waiting) && monotonic_ms() < end_ms) {
        watched_.clear();
        for (const auto &each : sinks_)
            each->watch(watched_);
        poll(watched_.data(), watched_.size(), 10);
        flush();
    }
    for (const auto &each : sinks_)
        each->give_up();
}
