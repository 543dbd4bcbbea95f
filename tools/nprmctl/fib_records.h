// FIB records on their way to the card, a message at a time.
#ifndef NPRMCTL_FIB_RECORDS_H
#define NPRMCTL_FIB_RECORDS_H

#include "fib_routes.h"
#include "server.h"

#include "simcard/nprm_fib_fields.h"

#include <cstdint>
#include <vector>

// The records of one message; their room is taken once.
class fib_batch {
  public:
    explicit fib_batch(uint32_t records_max) : records_max_(records_max) {
        prefixes_.reserve(records_max);
        nexthops_.reserve(records_max);
    }
    void add(const fib_entry &entry) {
        prefixes_.push_back(entry.prefix);
        nexthops_.push_back(entry.nexthop);
    }
    void clear() {
        prefixes_.clear();
        nexthops_.clear();
    }
    uint32_t count() const { return static_cast<uint32_t>(prefixes_.size()); }
    bool is_full() const { return count() == records_max_; }
    // Record i, after send() as the card returned it.   Requires: i < count().
    fib_entry at(size_t i) const { return {prefixes_[i], nexthops_[i]}; }

    // With what the card's codes mean for routes.
    answer send(nprm_fib_action action);

  private:
    uint32_t records_max_;
    std::vector<nprm_fib_prefix> prefixes_;
    std::vector<nprm_fib_nexthop> nexthops_;
};

// What a message of so many records has.
constexpr uint64_t fib_message_bytes(uint64_t records) {
    return sizeof(nprm_message_header) + records * sizeof(nprm_if_fib_record);
}

#endif
