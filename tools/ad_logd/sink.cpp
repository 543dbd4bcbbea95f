// Where records go: what all sinks have in common.

#include "sink.h"

#include <sys/time.h>
#include <unistd.h>

void sink::lose(uint64_t records, const char *reason) {
    lost_ += records;
    untold_ += records;
    if (records != 0) reason_ = reason;
}

std::string sink::loss_text(uint64_t records, const std::string &reason) {
    return std::to_string(records) + (records == 1 ? " record" : " records") + " lost here: " + reason;
}

void sink::append_loss(std::string &out, line_form form) const {
    const std::string text = loss_text();
    form(out, own_record(text));
}

log_time time_of_day() {
    timeval now{};
    gettimeofday(&now, nullptr);
    return {now.tv_sec, static_cast<int32_t>(now.tv_usec)};
}

record own_record(std::string_view text) {
    return {origin::daemon, time_of_day(), 0, getuid(), 0, {}, {}, nullptr, text};
}

void unique_fd::reset(int fd) {
    if (fd_ >= 0) close(fd_);
    fd_ = fd;
}
