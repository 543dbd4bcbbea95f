// The card without its sockets: models, faults and counts.
#ifndef SIMCARD_CARD_H
#define SIMCARD_CARD_H

#include <array>
#include <chrono>

#include "dispatch.h"
#include "faults.h"

class card {
  public:
    explicit card(const card_configuration &configuration);

    // Ends all faults and acknowledge-only, and puts every model back to its state at start.
    void reset();

    // Lets traffic run in every model for so long, frozen or not.
    void advance(std::chrono::microseconds time);

    // Serves a request, or acknowledges it, and counts it.
    dispatcher::answer serve(const component_row &component, std::span<const std::byte> message,
                             std::optional<uint32_t> refuse_with = {});

    struct counters {
        uint64_t requests, refused;
    };
    const counters &count(const component_row &component) const { return counters_[component.number]; }

    fault_set faults;
    bool acknowledge_only = false;
    traffic_setting traffic;

  private:
    card_configuration configuration_;
    dispatcher dispatcher_;
    std::array<counters, NPRM_COMPONENT_COUNT> counters_{};
};

#endif
