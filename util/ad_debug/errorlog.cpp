// The writers of the error log: one datagram a message to the log daemon, standard error where it cannot be reached.

#include "ad_errorlog.h"

#include "send_record.h"
#include "state.h"

#include <cstdio>
#include <cstring>
#include <ctime>

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

constinit int32_t ad_debug_in_sighandler = 0;
constinit int32_t ad_debug_to_syslogd = 1;
constinit int32_t ad_debug_syslog_critical_msg_only = 1;
constinit uint32_t ad_current_client_ip = 0;
constinit uint32_t ad_current_server_ip = 0;

constinit std::atomic<int32_t> ad_errorlog_fd = socket_not_created;
constinit std::atomic<int32_t> ad_logd_contact = contact_untried;
constinit std::atomic<bool> ad_error_log_stopped = false;
constinit std::atomic<bool> ad_special_log_stopped = false;
constinit sockaddr_un ad_errorlog_addr = {AF_UNIX, "/tmp/ad_errorlog"};
constinit sockaddr_un ad_errorlog_sp_addr = {AF_UNIX, "/tmp/ad_errorlog_sp"};

static_assert(sizeof(sockaddr_un) == 110, "the address goes out whole");

namespace {

constexpr char no_socket_warning[] = "WARNING: ad_logd is NOT enabled, no error will be logged in this session.\n";
constexpr char no_contact_warning[] = "WARNING: cannot contact ad_logd, will keep trying. Output redirected to stderr.\n";
static_assert(sizeof no_socket_warning - 1 == 74 && sizeof no_contact_warning - 1 == 80);

constexpr int milliseconds_a_second = 1000;
constexpr int64_t nanoseconds_a_millisecond = 1000000;

// Within 4 ms or so, which is enough here and costs less than the exact time.
int64_t coarse_milliseconds() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
    return static_cast<int64_t>(time.tv_sec) * milliseconds_a_second + time.tv_nsec / nanoseconds_a_millisecond;
}

int bounded_socket() {
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return fd;
    const timeval limit = {0, static_cast<suseconds_t>(AD_ERRORLOG_SEND_MS_MAX) * 1000};
    if (setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) == 0) return fd;
    close(fd);
    return -1;
}

// Of threads that come here together, the first decides for all.
int open_socket() {
    int32_t in_use = ad_errorlog_fd.load(std::memory_order_relaxed);
    if (in_use != socket_not_created) return in_use;
    const int created = bounded_socket();
    const int32_t decided = created < 0 ? +logging_off : created;
    if (!ad_errorlog_fd.compare_exchange_strong(in_use, decided, std::memory_order_relaxed)) {
        if (created >= 0) close(created);
        return in_use;
    }
    if (created < 0) fwrite(no_socket_warning, 1, sizeof no_socket_warning - 1, stderr);
    return decided;
}

// Whether the last datagram to a socket waited as long as one may: until one goes through again, none waits there.  Else a stopped
// daemon would cost that time for each line.
std::atomic<bool> &has_stopped(const sockaddr_un &to) {
    return &to == &ad_errorlog_sp_addr ? ad_special_log_stopped : ad_error_log_stopped;
}

// The socket bounds each wait for room in the daemon's queue, but a signal ends the wait, and waiting anew would begin a new limit:
// under steady signals that never ends.  After the first signal the wait therefore goes on in small steps until the limit since the
// start.
ssize_t send_within_limit(int fd, const sockaddr_un &to, const char *datagram, size_t bytes, int64_t limit_ms) {
    const int64_t started = coarse_milliseconds();
    const auto *address = reinterpret_cast<const sockaddr *>(&to);
    ssize_t sent = sendto(fd, datagram, bytes, limit_ms > 0 ? 0 : MSG_DONTWAIT, address, sizeof to);
    if (sent >= 0 || errno != EINTR) return sent;
    for (;;) {
        sent = sendto(fd, datagram, bytes, MSG_DONTWAIT, address, sizeof to);
        if (sent >= 0 || (errno != EINTR && errno != EAGAIN)) return sent;
        const bool no_room = errno == EAGAIN;
        errno = EAGAIN;
        if (coarse_milliseconds() - started >= limit_ms) return -1;
        if (no_room) {
            const timespec step = {0, nanoseconds_a_millisecond};
            nanosleep(&step, nullptr);
        }
    }
}

ssize_t send_datagram(int fd, const sockaddr_un &to, const char *datagram, size_t bytes) {
    std::atomic<bool> &stopped = has_stopped(to);
    const bool was_stopped = stopped.load(std::memory_order_relaxed);
    const ssize_t sent = send_within_limit(fd, to, datagram, bytes, was_stopped ? 0 : AD_ERRORLOG_SEND_MS_MAX);
    const bool is_stopped = sent < 0 && errno == EAGAIN;
    if (is_stopped != was_stopped) stopped.store(is_stopped, std::memory_order_relaxed);
    return sent;
}

void write_to_stderr(const char *text, size_t text_bytes) {
    if (ad_logd_contact.exchange(contact_lost, std::memory_order_relaxed) != contact_lost && now(ad_debug_in_sighandler) == 0)
        fwrite(no_contact_warning, 1, sizeof no_contact_warning - 1, stderr);
    if (text_bytes == 0) return;
    if (text[text_bytes - 1] == '\n')
        fputs(text, stderr);
    else
        fprintf(stderr, "%s\n", text);
}

// The nine bytes behind the text are the tail's.
unsigned int send_over(int fd, const sockaddr_un &to, char *text, size_t text_bytes) {
    timeval time_of_day{};
    gettimeofday(&time_of_day, nullptr);
    const int32_t time[2] = {static_cast<int32_t>(time_of_day.tv_sec), static_cast<int32_t>(time_of_day.tv_usec)};
    text[text_bytes] = '\0';
    memcpy(text + text_bytes + 1, time, sizeof time);

    // An empty path is no path: the kernel would take it for an abstract name, which anyone may hold.
    const bool reachable = to.sun_path[0] != '\0';
    const ssize_t sent = reachable ? send_datagram(fd, to, text, text_bytes + AD_ERRORLOG_TAIL_BYTES) : -1;
    if (sent < 0)
        write_to_stderr(text, text_bytes);
    else if (ad_logd_contact.load(std::memory_order_relaxed) != contact_made)
        ad_logd_contact.store(contact_made, std::memory_order_relaxed);
    return static_cast<unsigned int>(sent);
}

unsigned int write_formatted(const sockaddr_un &to, const char *format, va_list arguments) {
    const errno_kept keep;
    const int fd = open_socket();
    if (fd < 0) return 0;
    char text[AD_ERRORLOG_DATAGRAM_BYTES_MAX];
    if (vsnprintf(text, AD_ERRORLOG_TEXT_BYTES_MAX + 1, format, arguments) <= 0) return 0;
    return send_over(fd, to, text, strlen(text));
}

}  // namespace

unsigned int send_record(const sockaddr_un &to, char *text, size_t text_bytes) {
    const int fd = open_socket();
    if (fd < 0) return 0;
    char borrowed[AD_ERRORLOG_TAIL_BYTES];
    memcpy(borrowed, text + text_bytes, sizeof borrowed);
    const unsigned int result = send_over(fd, to, text, text_bytes);
    memcpy(text + text_bytes, borrowed, sizeof borrowed);
    return result;
}

unsigned int ad_errorlog_vprintf(const char *format, va_list arguments) {
    return write_formatted(ad_errorlog_addr, format, arguments);
}

unsigned int ad_errorlog_printf(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const unsigned int result = write_formatted(ad_errorlog_addr, format, arguments);
    va_end(arguments);
    return result;
}

unsigned int ad_errorlog_printf_special(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const unsigned int result = write_formatted(ad_errorlog_sp_addr, format, arguments);
    va_end(arguments);
    return result;
}
