// A datagram of the log socket taken apart: text, time, and what the text claims about its sender.
#ifndef AD_LOGD_DATAGRAM_H
#define AD_LOGD_DATAGRAM_H

#include <cstddef>
#include <cstdint>
#include <string_view>

struct log_time {
    int64_t seconds;
    int32_t microseconds;
    bool operator==(const log_time &) const = default;
};

struct datagram {
    std::string_view text;  // up to the first zero byte, without the newline that ends it
    log_time time;          // the sender's; of malformed ones the time given as received
    const char *malformed;  // what is wrong with it; null when nothing is
};

// bytes: as received, at most 4,095;   sent_bytes: how long it was when it was sent
datagram take_apart(std::string_view bytes, size_t sent_bytes, log_time received);

// What the text's head, "NAME(PID)TAG:", says.  Without such a head all is empty and pid 0.
struct claim {
    std::string_view process, tag;
    int32_t pid;
};
claim claim_of(std::string_view text);

#endif
