// Made-up routes with the lengths of the Internet's tables, the same ones for the same seed.
#ifndef NPRMCTL_FIB_GENERATOR_H
#define NPRMCTL_FIB_GENERATOR_H

#include "fib_routes.h"

#include <array>
#include <cstdint>
#include <string>

struct generated_table {
    uint32_t ipv4 = 1000000, ipv6 = 200000;
    uint32_t seed = 1;
};
constexpr uint32_t generated_max = 2000000;  // of a family

// Hands out one route after the other in constant memory; no prefix comes twice.
class route_generator {
  public:
    explicit route_generator(const generated_table &table);
    uint32_t count() const { return count_; }
    // Route i, in an order without order.   Requires: i < count().
    fib_entry at(uint32_t i) const;

  private:
    struct block {  // the prefixes of one length
        uint8_t version, length;
        uint32_t first, count;
        uint64_t size, step;  // how many there are, and the walk over them
    };
    void add_family(uint8_t version, uint32_t count);

    std::array<block, 64> blocks_;
    uint32_t used_blocks_ = 0;
    uint32_t count_ = 0;
    uint64_t shift_;
    uint64_t step_;
};

// The lengths and their shares as help shows them.
std::string generated_lengths();

#endif
