// The live stream: JSON lines to whoever connects to the socket beside the log socket, for the daemon's own user and root.
#ifndef AD_LOGD_FOLLOW_SINK_H
#define AD_LOGD_FOLLOW_SINK_H

#include "outgoing.h"
#include "sink.h"

#include <list>

class follow_sink : public sink {
  public:
    // listener: listens already; owned from now on
    explicit follow_sink(unique_fd listener);

    void add(const record &what) override;
    void flush() override;
    void watch(std::vector<pollfd> &watched) const override;
    bool is_waiting() const override;
    void give_up() override;

    size_t followers() const { return followers_.size(); }
    static constexpr size_t followers_max = 16;

  private:
    struct follower {
        unique_fd socket;
        outgoing queue;
        uint64_t untold = 0;  // what was lost on this one's way
    };

    void accept_new();
    void tell_losses(follower &reader);
    bool serve(follower &reader);

    unique_fd listener_;
    std::list<follower> followers_;
    bool may_accept_ = true;  // else no descriptor was to be had
    std::string line_;
};

#endif
