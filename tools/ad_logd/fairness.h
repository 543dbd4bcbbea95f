// What keeps one sender from drowning the log: identical records in a row are folded, and a sender above its rate is cut.
#ifndef AD_LOGD_FAIRNESS_H
#define AD_LOGD_FAIRNESS_H

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

struct sender {
    pid_t pid;
    uid_t uid;
    bool operator==(const sender &) const = default;
};

// Remembers the last record and counts its repetitions.
class repetition {
  public:
    // Whether the record is the same as the one before; if so it is counted.  After false, take() tells what was counted so far,
    // and begin() remembers the new one.
    bool is_repeated(int socket, const sender &who, std::string_view bytes);
    void begin(int socket, const sender &who, std::string_view bytes);
    // The repetitions since the last take(), and whose.
    uint64_t take();
    const sender &who() const { return who_; }
    // The next record is a new one, whatever it is.
    void forget() { known_ = false; }

  private:
    bool known_ = false;
    int socket_ = 0;
    sender who_ = {};
    std::string bytes_;
    uint64_t repeated_ = 0;
};

// Records a second, by sender.  The table has a fixed size: of more senders than it holds, those that were silent longest are
// forgotten.
class rate_limit {
  public:
    struct cut_sender {
        sender who;
        uint64_t records;
    };
    using report = std::function<void(const cut_sender &)>;

    // per_second: 0 for no limit.   tell: called for a sender that is forgotten after it was cut
    rate_limit(uint32_t per_second, report tell);

    // Whether the record may pass; counts it as cut otherwise.
    bool may_pass(const sender &who, int64_t now_ns);
    // Tells of all that were cut since the last time.
    void tell_all();

    static constexpr size_t senders_max = 4096;

  private:
    struct entry {
        sender who = {};
        bool used = false;
        int64_t last_ns = 0;
        double allowance = 0;
        uint64_t cut = 0;
    };
    static constexpr size_t ways = 8;

    entry &entry_of(const sender &who, int64_t now_ns);
    void tell(entry &of);

    uint32_t per_second_;
    report tell_;
    bool any_cut_ = false;
    std::vector<std::array<entry, ways>> sets_;
};

#endif
