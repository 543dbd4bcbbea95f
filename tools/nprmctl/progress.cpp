// Shows on a terminal how far a command is.

#include "progress.h"

#include "invocation.h"

#include <cstdio>

#include <unistd.h>

progress_line::progress_line(const invocation &call, uint64_t all, const char *many)
    : all_(all), many_(many), is_shown_(!call.json() && isatty(STDERR_FILENO) != 0) {}

progress_line::~progress_line() {
    clear();
}

void progress_line::show(uint64_t done) {
    constexpr auto interval = std::chrono::milliseconds(100);
    const auto now = clock::now();
    if (!is_shown_ || (now < next_ && done != all_)) return;
    next_ = now + interval;
    const double seconds = std::chrono::duration<double>(now - start_).count();
    const std::string of_all = all_ == 0 ? "" : " of " + grouped(all_);
    const std::string rate =
        seconds > 0 ? ", " + grouped(static_cast<uint64_t>(static_cast<double>(done) / seconds)) + " a second" : "";
    std::fprintf(stderr, "\r%s%s %s%s\033[K", grouped(done).c_str(), of_all.c_str(), many_, rate.c_str());
}

void progress_line::clear() {
    if (is_shown_) std::fputs("\r\033[K", stderr);
    is_shown_ = false;
}
