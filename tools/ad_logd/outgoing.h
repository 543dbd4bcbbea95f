// Messages on their way to a socket that may be slow: a queue of bounded size.
#ifndef AD_LOGD_OUTGOING_H
#define AD_LOGD_OUTGOING_H

#include <cstddef>
#include <deque>
#include <string>

class outgoing {
  public:
    explicit outgoing(size_t bytes_max) : bytes_max_(bytes_max) {}

    // False, and nothing is queued, when there is no room.
    bool push(std::string message);
    bool has_room_for(size_t bytes) const { return bytes_ + bytes <= bytes_max_; }

    // Sends what the socket takes without waiting.   Returns 0, or the errno of a connection that is of no use any more.
    // Messages that the socket can never take are dropped and counted in refused.
    int send_to(int fd, size_t &refused);
    // The message under way goes to the next connection from its start.
    void begin_again() { sent_ = 0; }

    bool empty() const { return messages_.empty(); }
    size_t size() const { return messages_.size(); }
    void clear();

  private:
    size_t bytes_max_;
    std::deque<std::string> messages_;
    size_t bytes_ = 0;
    size_t sent_ = 0;  // bytes of the first message
};

#endif
