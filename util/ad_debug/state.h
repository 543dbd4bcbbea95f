// What the debug library keeps for the process beside what its public headers export, and how it reads words that others change.
#ifndef AD_STATE_H
#define AD_STATE_H

#include <atomic>
#include <cerrno>
#include <cstdint>

#include <csignal>
#include <sys/un.h>

// The one datagram socket: a descriptor, or one of these.
enum : int32_t { socket_not_created = -1, logging_off = -2 };
extern std::atomic<int32_t> ad_errorlog_fd;

// Whether the last send succeeded.  A warning is given when it becomes lost.
enum : int32_t { contact_untried = -1, contact_lost = 0, contact_made = 1 };
extern std::atomic<int32_t> ad_logd_contact;

extern sockaddr_un ad_errorlog_addr;     // the error log
extern sockaddr_un ad_errorlog_sp_addr;  // the special log; an empty path: off

inline bool special_log_is_on() {
    return ad_errorlog_sp_addr.sun_path[0] != '\0';
}

// Whether the last datagram to a log ran out of time: its daemon does not read.
extern std::atomic<bool> ad_error_log_stopped;
extern std::atomic<bool> ad_special_log_stopped;

extern char ad_debug_lib_name[512];         // the name that the library was last set up with; empty: it was not
extern struct sigaction ad_debug_old_usr1;  // what SIGUSR1 did before; never the library's own handler

// Reads the configuration of a socket path: its ".cfg" file, else the environment, as for an empty path.  What is not configured
// comes back as -1.
void ad_read_debug_cfg(const char *path, int32_t *level, uint32_t *cip, uint32_t *sip);

// Words of the shared record belong to other processes too, flags and pointers to other threads and handlers: each is read once a
// decision and written whole.
template <typename word>
word now(const word &shared) {
    return __atomic_load_n(&shared, __ATOMIC_RELAXED);
}
template <typename word>
void publish(word &shared, word value) {
    __atomic_store_n(&shared, value, __ATOMIC_RELAXED);
}

inline const char *text_or_null(const char *text) {
    return text != nullptr ? text : "(null)";
}

// Callers pass result codes in errno: what logs or handles a signal leaves it as it was.
class errno_kept {
  public:
    errno_kept() = default;
    ~errno_kept() { errno = before_; }
    errno_kept(const errno_kept &) = delete;
    errno_kept &operator=(const errno_kept &) = delete;

  private:
    const int before_ = errno;
};

#endif
