// Lines on standard error that never stop the card.

#include "trace_output.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Pipes and terminals are opened once more: O_NONBLOCK on standard error itself would also be its other holders', our shell's say.
int open_without_blocking() {
    struct stat about;
    if (fstat(STDERR_FILENO, &about) != 0 || (!S_ISFIFO(about.st_mode) && !S_ISCHR(about.st_mode))) return STDERR_FILENO;
    const int own = open("/proc/self/fd/2", O_WRONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    return own < 0 ? STDERR_FILENO : own;
}

}  // namespace

trace_output::trace_output() : descriptor_(open_without_blocking()) {}

trace_output::~trace_output() {
    if (descriptor_ != STDERR_FILENO) close(descriptor_);
}

void trace_output::line(std::string_view text) {
    pollfd room = {descriptor_, POLLOUT, 0};
    const bool has_room = poll(&room, 1, 0) > 0 && (room.revents & POLLOUT) != 0;
    if (!has_room || write(descriptor_, text.data(), text.size()) < 0) ++dropped_;
}
