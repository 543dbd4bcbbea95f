// Counters that other processes write meanwhile: each is loaded and stored by 64 bits at once, on the 32-bit target too.
#ifndef NPRM_STATS_COUNTER_H
#define NPRM_STATS_COUNTER_H

#include <cstddef>
#include <cstdint>

namespace nprm {

// Aligned as the counters in the segment are.  A uint64_t is aligned to 4 bytes only on the target, and for such a one compilers
// call libatomic instead of using one instruction.
typedef uint64_t shared_count __attribute__((aligned(8), may_alias));  // clang aligns no alias that is made by "using"

inline uint64_t load_count(const void *at) {
    return __atomic_load_n(static_cast<const shared_count *>(at), __ATOMIC_RELAXED);
}

inline void store_count(void *at, uint64_t count) {
    __atomic_store_n(static_cast<shared_count *>(at), count, __ATOMIC_RELAXED);
}

#ifdef __SSE2__

// The two counts of a slot by one instruction, each whole, at any address.  Volatile: compilers make no memcpy() or memset() of the
// loops, which promise nothing about single counts.
using slot_vector = long long __attribute__((vector_size(16), may_alias));
struct slot_counts {
    slot_vector both;
} __attribute__((packed, may_alias));

__attribute__((no_sanitize("thread"))) inline void copy_slots(void *destination, const void *source, size_t slots) {
    auto *to = static_cast<slot_counts *>(destination);
    const auto *from = static_cast<const volatile slot_counts *>(source);
    for (size_t slot = 0; slot < slots; ++slot)
        to[slot].both = from[slot].both;
}

__attribute__((no_sanitize("thread"))) inline void clear_slots(void *at, size_t slots) {
    auto *to = static_cast<volatile slot_counts *>(at);
    for (size_t slot = 0; slot < slots; ++slot)
        to[slot].both = slot_vector{};
}

#else

inline void copy_slots(void *destination, const void *source, size_t slots) {
    auto *to = static_cast<unsigned char *>(destination);
    const auto *from = static_cast<const unsigned char *>(source);
    for (size_t offset = 0; offset < 16 * slots; offset += 8) {
        const uint64_t count = load_count(from + offset);
        __builtin_memcpy(to + offset, &count, sizeof count);
    }
}

inline void clear_slots(void *at, size_t slots) {
    for (size_t offset = 0; offset < 16 * slots; offset += 8)
        store_count(static_cast<unsigned char *>(at) + offset, 0);
}

#endif

}  // namespace nprm

#endif
