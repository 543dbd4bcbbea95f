// Prefixes of one address family with their next hops: longest-prefix look-up in little memory.
//
// Routes lie densely in the order in which they were added (the last one takes a removed one's place), and a hash table of their
// numbers finds them.  A look-up asks for the address under each length that is in use, longest first: at most 33 or 129 questions,
// and a prefix costs 30 to 50 bytes.
#ifndef SIMCARD_MODELS_FIB_TABLE_H
#define SIMCARD_MODELS_FIB_TABLE_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <deque>
#include <vector>

#include "api/wire/nprm_if_wire.h"

template <size_t bytes>
using ip_address = std::array<uint8_t, bytes>;

// The address with all bits behind the length 0.
template <size_t bytes>
ip_address<bytes> masked(ip_address<bytes> address, uint32_t length) {
    const size_t whole = length / 8;
    if (whole < bytes) {
        address[whole] = static_cast<uint8_t>(address[whole] & ~(0xFFU >> length % 8));
        std::fill(address.begin() + static_cast<ptrdiff_t>(whole) + 1, address.end(), uint8_t{0});
    }
    return address;
}

template <size_t address_bytes>
class fib_table {
  public:
    static constexpr uint32_t length_max = address_bytes * 8;

    struct route {
        ip_address<address_bytes> address;
        uint8_t length;
        nprm_fib_nexthop nexthop;
    };
    static_assert(sizeof(route) == address_bytes + 1 + sizeof(nprm_fib_nexthop), "a route has no padding");

    size_t size() const { return routes_.size(); }
    // Requires: i < size().
    const route &at(size_t i) const { return routes_[i]; }
    size_t memory_bytes() const { return routes_.size() * sizeof(route) + slots_.size() * sizeof slots_[0]; }

    // Exactly this prefix; null when it is not there.  The next hop may be changed.
    // Requires: the address's bits behind the length are 0; so for insert() and remove().
    nprm_fib_nexthop *find(const ip_address<address_bytes> &address, uint32_t length) {
        const uint32_t number = number_at(slot_of(address, length));
        return number == none ? nullptr : &routes_[number].nexthop;
    }

    // The longest prefix that contains the address; null when none does.
    const route *look_up(const ip_address<address_bytes> &address) const {
        for (uint32_t length = length_max + 1; length-- > 0;) {
            if (of_length_[length] == 0) continue;
            const uint32_t number = number_at(slot_of(masked(address, length), length));
            if (number != none) return &routes_[number];
        }
        return nullptr;
    }

    // Requires: the prefix is not there.
    void insert(const ip_address<address_bytes> &address, uint32_t length, const nprm_fib_nexthop &nexthop) {
        if ((routes_.size() + 1) * 4 > slots_.size() * 3) grow();
        slots_[slot_of(address, length)] = static_cast<uint32_t>(routes_.size());
        routes_.push_back({address, static_cast<uint8_t>(length), nexthop});
        ++of_length_[length];
    }

    // Requires: the prefix is there.
    void remove(const ip_address<address_bytes> &address, uint32_t length) {
        const size_t slot = slot_of(address, length);
        const uint32_t number = slots_[slot];
        const route &last = routes_.back();
        slots_[slot_of(last.address, last.length)] = number;
        routes_[number] = last;
        routes_.pop_back();
        close_up(slot);
        --of_length_[length];
    }

  private:
    static constexpr uint32_t none = UINT32_MAX;  // a slot without a route
    static constexpr size_t slots_at_first = 16;

    static uint64_t mixed(uint64_t word) {
        word = (word ^ word >> 32) * 0x9E3779B97F4A7C15U;
        word = (word ^ word >> 29) * 0xBF58476D1CE4E5B9U;
        return word ^ word >> 32;
    }
    static size_t hash_of(const ip_address<address_bytes> &address, uint32_t length) {
        uint64_t hash = length;
        constexpr size_t part = std::min(address_bytes, sizeof(uint64_t));
        for (size_t at = 0; at < address_bytes; at += part) {
            uint64_t word = 0;
            std::memcpy(&word, address.data() + at, part);
            hash = mixed(hash * 0x100000001B3U ^ word);
        }
        return static_cast<size_t>(hash);
    }

    uint32_t number_at(size_t slot) const { return slots_.empty() ? none : slots_[slot]; }

    // Where the prefix is, or the free slot where it belongs.
    size_t slot_of(const ip_address<address_bytes> &address, uint32_t length) const {
        if (slots_.empty()) return 0;
        size_t slot = hash_of(address, length) & (slots_.size() - 1);
        while (slots_[slot] != none) {
            const route &found = routes_[slots_[slot]];
            if (found.length == length && found.address == address) break;
            slot = (slot + 1) & (slots_.size() - 1);
        }
        return slot;
    }

    void grow() {
        slots_.assign(std::max(slots_at_first, slots_.size() * 2), none);
        for (uint32_t number = 0; number < routes_.size(); ++number)
            slots_[slot_of(routes_[number].address, routes_[number].length)] = number;
    }

    // Frees the slot and moves those behind it up that would not be found past it any more.
    void close_up(size_t slot) {
        const size_t mask = slots_.size() - 1;
        for (size_t next = (slot + 1) & mask; slots_[next] != none; next = (next + 1) & mask) {
            const route &moved = routes_[slots_[next]];
            const size_t home = hash_of(moved.address, moved.length) & mask;
            if (((next - home) & mask) < ((next - slot) & mask)) continue;
            slots_[slot] = slots_[next];
            slot = next;
        }
        slots_[slot] = none;
    }

    std::deque<route> routes_;  // grows without moving what is there
    std::vector<uint32_t> slots_;
    std::array<uint32_t, length_max + 1> of_length_{};  // routes
};

#endif
