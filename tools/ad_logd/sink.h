// Where records go.  A sink never blocks for long and never throws after its making: what it cannot write it counts, and it says so
// in a record of its own as soon as it can write again, whether another record comes or not.
#ifndef AD_LOGD_SINK_H
#define AD_LOGD_SINK_H

#include "record.h"

#include <cstdint>
#include <string>
#include <vector>

#include <poll.h>

class sink {
  public:
    sink() = default;
    virtual ~sink() = default;
    sink(const sink &) = delete;
    sink &operator=(const sink &) = delete;

    // Takes a record; it may be written at once or by flush().
    virtual void add(const record &what) = 0;
    // Writes what can be written now, and tells of what was lost where that can be written.
    virtual void flush() = 0;
    // Opens files by their names again.
    virtual void reopen() {}

    // The descriptors that the sink wants to be woken for, appended; flush() finds out by itself what happened.
    virtual void watch(std::vector<pollfd> &) const {}
    // Whether something is still to be written or told; flush() is called again soon.
    virtual bool is_waiting() const { return untold_ != 0; }
    // What is still to be written counts as lost from now on.
    virtual void give_up() {}

    uint64_t lost() const { return lost_; }

  protected:
    // Counts records that were not written, and keeps the reason for the record that tells of it.
    void lose(uint64_t records, const char *reason);
    uint64_t untold() const { return untold_; }
    void told(uint64_t records) { untold_ -= records; }
    // Appends that record.
    void append_loss(std::string &out, line_form form) const;
    std::string loss_text() const { return loss_text(untold_, reason_); }
    static std::string loss_text(uint64_t records, const std::string &reason);

  private:
    uint64_t lost_ = 0, untold_ = 0;
    std::string reason_;
};

log_time time_of_day();
// A record of the daemon's own, about nobody.
record own_record(std::string_view text);

// A descriptor that is closed with its owner.
class unique_fd {
  public:
    explicit unique_fd(int fd = -1) : fd_(fd) {}
    ~unique_fd() { reset(); }
    unique_fd(unique_fd &&other) noexcept : fd_(other.release()) {}
    unique_fd &operator=(unique_fd &&other) noexcept {
        reset(other.release());
        return *this;
    }
    int get() const { return fd_; }
    void reset(int fd = -1);
    int release() {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }

  private:
    int fd_;
};

#endif
