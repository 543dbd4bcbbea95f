// Standard output, without waiting for a reader that has stopped.

#include "stream_sink.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include <unistd.h>

namespace {

constexpr int patience_ms = 200;
constexpr size_t lines_bytes_max = 256 * 1024;

uint64_t lines_in(std::string_view text) {
    return static_cast<uint64_t>(std::ranges::count(text, '\n'));
}

}  // namespace

void stream_sink::add(const record &what) {
    form_(lines_, what);
    if (lines_.size() >= lines_bytes_max) flush();
}

// Writes what the reader takes and drops what it does not; the rest of a half-written line is kept, so that no record is torn.
void stream_sink::flush() {
    if (lines_.empty() && untold() == 0) return;
    const size_t loss_at = rest_bytes();
    const uint64_t telling = untold();
    std::string loss;
    if (telling != 0) append_loss(loss, form_);
    lines_.insert(loss_at, loss);

    const char *problem = nullptr;
    const size_t written = write_bytes(problem);
    if (written > loss_at)
        told(telling);
    else
        lines_.erase(loss_at, loss.size());
    if (written > 0) begins_inside_ = lines_[written - 1] != '\n';
    lines_.erase(0, written);
    const size_t kept = rest_bytes();
    lose(lines_in(std::string_view(lines_).substr(kept)), problem);
    lines_.resize(kept);
}

// Of the half-written line at the beginning.
size_t stream_sink::rest_bytes() const {
    return begins_inside_ ? lines_.find('\n') + 1 : 0;
}

// As many bytes as the reader takes.  Pieces of PIPE_BUF bytes do not block once there is room.
size_t stream_sink::write_bytes(const char *&problem) {
    size_t written = 0;
    while (written < lines_.size()) {
        pollfd writable = {fd_, POLLOUT, 0};
        const int ready = poll(&writable, 1, is_stalled_ ? 0 : patience_ms);
        if (ready < 0 && errno == EINTR) continue;
        is_stalled_ = ready <= 0;
        if (is_stalled_) {
            problem = "nobody reads standard output";
            return written;
        }
        const size_t piece = std::min<size_t>(lines_.size() - written, PIPE_BUF);
        const ssize_t bytes = write(fd_, lines_.data() + written, piece);
        if (bytes < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (bytes <= 0) {
            problem = std::strerror(errno);
            return written;
        }
        written += static_cast<size_t>(bytes);
    }
    return written;
}

void stream_sink::give_up() {
    lose(lines_in(lines_), "the daemon ends");
    lines_.clear();
}
