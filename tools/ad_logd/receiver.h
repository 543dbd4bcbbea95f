// A log socket: datagrams with the kernel's word on who sent them, many at a time; and the debug record that belongs to the socket.
#ifndef AD_LOGD_RECEIVER_H
#define AD_LOGD_RECEIVER_H

#include "fairness.h"
#include "place.h"

#include "ad_errorlog.h"

#include <memory>
#include <string_view>

#include <sys/socket.h>

struct received_datagram {
    std::string_view bytes;  // at most 4,095
    size_t sent_bytes;       // how many it had
    sender who;
};

class receiver {
  public:
    struct options {
        std::string path;
        mode_t mode;
        unsigned queue;  // datagrams
    };

    // Takes the place over and shares its record.  Throws std::runtime_error when it is not to be had.  Requires the place's lock.
    explicit receiver(const options &wanted);
    ~receiver();
    receiver(const receiver &) = delete;
    receiver &operator=(const receiver &) = delete;

    int descriptor() const { return socket_.get(); }
    const std::string &path() const { return path_; }
    bool has_shared_record() const { return has_shared_record_; }

    // Hands each datagram that waits to take(), up to a batch.   Returns how many there were.
    template <typename Take>
    unsigned receive(Take take) {
        const unsigned count = receive_batch();
        for (unsigned i = 0; i < count; ++i)
            take(datagram(i));
        return count;
    }
    static constexpr unsigned batch = 64;

  private:
    struct slots;

    unsigned receive_batch();
    received_datagram datagram(unsigned i) const;
    void share_record(int old_segment);

    std::string path_;
    unique_fd socket_;
    bool has_shared_record_ = false;
    ad_debug_cfg *record_ = nullptr;
    std::unique_ptr<slots> slots_;
};

#endif
