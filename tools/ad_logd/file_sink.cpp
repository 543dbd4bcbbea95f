// A log file with rotation by size and count.

#include "file_sink.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr size_t lines_bytes_max = 256 * 1024;
constexpr mode_t file_mode = 0640;

uint64_t lines_in(std::string_view text) {
    return static_cast<uint64_t>(std::ranges::count(text, '\n'));
}

// Why an open file is not one that a log may be written to; null when it is.
const char *objection_to(const struct stat &file) {
    if (!S_ISREG(file.st_mode)) return "it is no regular file";
    if (file.st_uid != geteuid()) return "it belongs to another user";
    if (file.st_nlink > 1) return "it has other names (hard links)";
    return nullptr;
}

// Whether a file ends inside a line, as a crash or a full disk leaves it.
bool is_torn(int fd, off_t bytes) {
    char last = '\n';
    return bytes > 0 && pread(fd, &last, 1, bytes - 1) == 1 && last != '\n';
}

// 0, or the errno of a rename that failed.  A file that is missing is no reason to stop.
int move_file(const std::string &from, const std::string &to) {
    return std::rename(from.c_str(), to.c_str()) == 0 || errno == ENOENT ? 0 : errno;
}

}  // namespace

file_sink::file_sink(file_options options) : options_(std::move(options)) {
    std::string problem;
    if (!open_file(problem)) throw std::runtime_error(options_.path + " is not written to: " + problem);
}

bool file_sink::open_file(std::string &problem) {
    // Links are not followed, and a FIFO is not waited for.
    const int flags = O_RDWR | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    unique_fd opened(open(options_.path.c_str(), flags, file_mode));
    if (opened.get() < 0) {
        problem = errno == ELOOP ? "it is a symbolic link" : std::strerror(errno);
        return false;
    }
    struct stat file {};
    if (fstat(opened.get(), &file) != 0) {
        problem = std::strerror(errno);
        return false;
    }
    if (const char *objection = objection_to(file)) {
        problem = objection;
        return false;
    }
    file_ = std::move(opened);
    file_bytes_ = file.st_size;
    rotated_above_ = options_.bytes_max;
    torn_ = is_torn(file_.get(), file.st_size);
    return true;
}

// Learns the file's size, and opens it anew when somebody has removed it.
bool file_sink::is_ready() {
    struct stat file {};
    if (file_.get() >= 0 && fstat(file_.get(), &file) == 0 && file.st_nlink > 0) {
        file_bytes_ = file.st_size;
        return true;
    }
    file_.reset();
    std::string problem;
    if (open_file(problem)) return true;
    lose(lines_in(lines_), problem.c_str());
    lines_.clear();
    return false;
}

void file_sink::add(const record &what) {
    const size_t before = lines_.size();
    options_.form(lines_, what);
    const uint64_t bytes_then = static_cast<uint64_t>(file_bytes_) + lines_.size();
    if (options_.bytes_max != 0 && bytes_then > rotated_above_ && static_cast<uint64_t>(file_bytes_) + before > 0) {
        const std::string line = lines_.substr(before);
        lines_.resize(before);
        flush();
        rotate();
        lines_ += line;
    }
    if (lines_.size() >= lines_bytes_max) flush();
}

// Whether the path still names the open file.
bool file_sink::is_in_its_place() const {
    struct stat ours {};
    struct stat named {};
    return fstat(file_.get(), &ours) == 0 && lstat(options_.path.c_str(), &named) == 0 && ours.st_dev == named.st_dev &&
           ours.st_ino == named.st_ino;
}

// Frees the path's name.   Returns 0 or an errno.
int file_sink::move_names() const {
    const auto numbered = [this](unsigned number) { return options_.path + "." + std::to_string(number); };
    if (options_.kept_files == 0) return unlink(options_.path.c_str()) == 0 ? 0 : errno;
    for (unsigned number = options_.kept_files; number > 1; --number)
        if (const int error = move_file(numbered(number - 1), numbered(number))) return error;
    return move_file(options_.path, numbered(1));
}

// Requires that all lines are written.
void file_sink::rotate() {
    // A file that somebody else put there is not moved away: it is written to, as after a reopening.
    const int error = is_in_its_place() ? move_names() : 0;
    if (error != 0) {
        const std::string text = std::string("this file is not rotated: ") + std::strerror(error);
        options_.form(lines_, own_record(text));
        rotated_above_ = static_cast<uint64_t>(file_bytes_) + lines_.size() + options_.bytes_max;
        return;
    }
    open_by_name();
}

void file_sink::open_by_name() {
    file_.reset();
    std::string problem;
    if (!open_file(problem)) file_bytes_ = 0;  // is_ready() tries again and counts
}

void file_sink::reopen() {
    flush();
    open_by_name();
}

void file_sink::flush() {
    if ((lines_.empty() && untold() == 0) || !is_ready()) return;
    std::string front = torn_ ? "\n" : "";
    const uint64_t telling = untold();
    if (telling != 0) append_loss(front, options_.form);
    lines_.insert(0, front);

    int error = 0;
    const size_t written = write_bytes(error);
    // Only whole records stay: the loss of what was cut is told by the next write that succeeds.
    const size_t whole = written == 0 ? 0 : lines_.rfind('\n', written - 1) + 1;
    if (whole >= front.size()) {
        told(telling);
        torn_ = false;
    }
    if (whole < written) cut_back_to(file_bytes_ + static_cast<int64_t>(whole));
    if (whole < lines_.size()) lose(lines_in(std::string_view(lines_).substr(std::max(whole, front.size()))), std::strerror(error));
    file_bytes_ += static_cast<int64_t>(whole);
    lines_.clear();
}

// How many of the bytes were written; error is set when they were not all.
size_t file_sink::write_bytes(int &error) const {
    size_t written = 0;
    while (written < lines_.size()) {
        const ssize_t bytes = write(file_.get(), lines_.data() + written, lines_.size() - written);
        if (bytes < 0 && errno == EINTR) continue;
        if (bytes <= 0) {
            error = bytes < 0 ? errno : ENOSPC;
            break;
        }
        written += static_cast<size_t>(bytes);
    }
    return written;
}

void file_sink::cut_back_to(int64_t bytes) {
    torn_ = ftruncate(file_.get(), bytes) != 0;
}
