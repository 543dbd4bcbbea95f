// The way of a datagram into the log: taken apart, folded, limited, made safe, handed to the sinks, and counted.
#ifndef AD_LOGD_INTAKE_H
#define AD_LOGD_INTAKE_H

#include "fairness.h"
#include "receiver.h"
#include "sink.h"

#include <memory>
#include <vector>

struct intake_options {
    uint32_t records_per_second;  // by sender; 0: no limit
    bool fold;
};

class intake {
  public:
    intake(const intake_options &wanted, std::vector<std::unique_ptr<sink>> &sinks);

    // now: when the batch came
    void take(origin from, const received_datagram &what, log_time now, int64_t now_ns);
    // Tells of repetitions and of what was cut since the last time.
    void tell();
    bool has_to_tell() const { return has_to_tell_; }

    // "received 10, malformed 1, lost 0, cut 2, folded 3"
    std::string statistics() const;

  private:
    void hand_on(const record &what);
    void tell_repetitions();
    void tell_of(const sender &who, const std::string &text);

    bool fold_;
    std::vector<std::unique_ptr<sink>> &sinks_;
    repetition last_;
    rate_limit limit_;
    bool has_to_tell_ = false;
    uint64_t received_ = 0, malformed_ = 0, cut_ = 0, folded_ = 0;
    std::string text_, process_;  // of the record under way
};

#endif
