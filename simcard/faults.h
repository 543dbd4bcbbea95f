// Faults on demand: what may befall a request and its reply, each for the next messages of one component or of all.
#ifndef SIMCARD_FAULTS_H
#define SIMCARD_FAULTS_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <span>
#include <string_view>
#include <vector>

#include "platform/local/ruv_local.h"

// One request on its way through the card.  Faults change it in two steps: before the request is served, then the finished reply.
struct delivery {
    delivery(uint32_t of_component, uint32_t token) : component(of_component), header{RUV_LOCAL_MAGIC, token, 0, RUV_LOCAL_REPLY} {}

    // Takes the reply as served.
    void take(std::span<const std::byte> reply) {
        payload.assign(reply.begin(), reply.end());
        header.size = static_cast<uint32_t>(reply.size());
    }

    uint32_t component;
    bool is_lost = false;                 // neither served nor answered
    std::optional<int> exit_status;       // the card ends here, without a reply
    std::optional<uint32_t> refuse_with;  // answered with this code, not served
    std::chrono::milliseconds delay{0};
    uint32_t copies = 1;
    ruv_local_header header;  // what is sent: header, then payload
    std::vector<std::byte> payload;
};

struct active_fault;

enum class fault_value : uint8_t { none, optional, required };

struct fault_behaviour {
    fault_value value;
    bool hides_ready;  // the status word is cleared while such a fault is active
    uint32_t value_max;
    void (*before_serving)(delivery &, active_fault &);  // null: nothing
    void (*on_reply)(delivery &, active_fault &);        // null: nothing
};

struct fault_kind : fault_behaviour {
    const char *name;
};

struct active_fault {
    const fault_kind *kind;
    std::optional<uint32_t> component;  // none: all
    uint32_t remaining;                 // messages
    std::optional<uint32_t> value;
    uint32_t seed;
    std::mt19937 random;  // started with seed

    // A number below limit.  Spelt out, so that a seed gives the same everywhere.
    uint32_t below(uint32_t limit) { return static_cast<uint32_t>(uint64_t{random()} * limit >> 32); }
};

std::span<const fault_kind> fault_kinds();
const fault_kind *find_fault_kind(std::string_view name);  // null when there is none

class fault_set {
  public:
    static constexpr size_t active_max = 64;

    bool is_full() const { return active_.size() >= active_max; }
    void add(const fault_kind &kind, std::optional<uint32_t> component, uint32_t count, std::optional<uint32_t> value,
             uint32_t seed);
    void clear() { active_.clear(); }

    bool hides_ready() const;
    std::span<const active_fault> active() const { return active_; }

    // Whether any fault hits messages of the component.
    bool hits(uint32_t component) const;

    // The two steps; after the second the message counts.  A delivery that the first step lost takes only the count.
    void before_serving(delivery &message);
    void on_reply(delivery &message);

  private:
    std::vector<active_fault> active_;
};

#endif
