// Reads lines out of a fixed buffer.

#include "line_stream.h"

#include "failure.h"
#include "rule_file.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

volatile sig_atomic_t interrupted = 0;

failure unreadable(const std::string &path, int error) {
    failure problem = refused(name_of_file(path) + " cannot be read: " + std::strerror(error));
    problem.status = exit_usage;
    return problem;
}

}  // namespace

line_stream::line_stream(std::string path)
    : path_(std::move(path)),
      fd_(path_ == "-" ? STDIN_FILENO : open(path_.c_str(), O_RDONLY | O_CLOEXEC)),
      buffer_(16 * (line_bytes_max + 1)) {
    if (fd_ < 0) throw unreadable(path_, errno);
}

line_stream::~line_stream() {
    if (fd_ > STDIN_FILENO) close(fd_);
}

bool line_stream::rewind() {
    struct stat about {};
    if (fstat(fd_, &about) != 0 || !S_ISREG(about.st_mode) || lseek(fd_, 0, SEEK_SET) != 0) return false;
    begin_ = end_ = 0;
    number_ = 0;
    has_rest_ = false;
    return true;
}

// Returns when there is something to read, or an interruption: one that comes between the look at it and the wait ends the wait.
void line_stream::wait() const {
    sigset_t interrupts, before;
    sigemptyset(&interrupts);
    sigaddset(&interrupts, SIGINT);
    sigaddset(&interrupts, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &interrupts, &before);
    pollfd readable = {fd_, POLLIN, 0};
    if (!was_interrupted()) ppoll(&readable, 1, nullptr, &before);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

// Makes room and reads; false at the end.
bool line_stream::fill() {
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
    for (wait(); !was_interrupted(); wait()) {
        const ssize_t got = read(fd_, buffer_.data() + end_, buffer_.size() - end_);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) throw unreadable(path_, errno);
        end_ += static_cast<size_t>(got);
        return got > 0;
    }
    return false;
}

// Steps over what is left of a line that was too long.
void line_stream::skip_rest() {
    do {
        const void *feed = std::memchr(buffer_.data() + begin_, '\n', end_ - begin_);
        begin_ = feed == nullptr ? end_ : static_cast<size_t>(static_cast<const char *>(feed) - buffer_.data()) + 1;
        has_rest_ = feed == nullptr;
    } while (has_rest_ && fill());
}

bool line_stream::next(std::string_view &line) {
    if (has_rest_) skip_rest();
    size_t length;
    do {
        length = std::string_view(buffer_.data() + begin_, end_ - begin_).find('\n');
    } while (length == std::string_view::npos && end_ - begin_ <= line_bytes_max && fill());
    if (was_interrupted() || begin_ == end_) return false;
    has_rest_ = std::min(length, end_ - begin_) > line_bytes_max;
    line = {buffer_.data() + begin_, std::min({length, end_ - begin_, line_bytes_max + 1})};
    begin_ += std::min(line.size() + (has_rest_ ? 0U : 1U), end_ - begin_);
    constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
    if (++number_ == 1 && line.starts_with(byte_order_mark)) line.remove_prefix(byte_order_mark.size());
    return true;
}

void catch_interrupts() {
    struct sigaction action {};
    action.sa_handler = [](int) { interrupted = 1; };
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGINT, SIGTERM})
        sigaction(signal, &action, nullptr);
}

bool was_interrupted() {
    return interrupted != 0;
}
