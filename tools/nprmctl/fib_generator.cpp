// Makes routes: a length by its share, an address by a walk over all of that length that meets none twice.

#include "fib_generator.h"

#include "simcard/nprm_fib_fields.h"

#include <algorithm>
#include <numeric>
#include <span>

namespace {

constexpr uint32_t shares_whole = 100000;

// How many of 100,000 prefixes have a length, after the tables that Internet routers carry today.
struct length_share {
    uint8_t length;
    uint32_t share;
};
constexpr length_share v4_lengths[] = {
    {8, 2},    {9, 1},     {10, 4},    {11, 10},   {12, 30},   {13, 58},    {14, 118},   {15, 205},   {16, 1370},
    {17, 830}, {18, 1400}, {19, 2540}, {20, 4450}, {21, 5340}, {22, 11100}, {23, 10100}, {24, 62442},
};
constexpr length_share v6_lengths[] = {
    {20, 8},    {24, 20},  {28, 110},   {29, 2500}, {30, 400},  {31, 150},  {32, 11800}, {33, 1700},
    {34, 1300}, {35, 900}, {36, 3800},  {37, 500},  {38, 1100}, {39, 800},  {40, 9800},  {41, 700},
    {42, 2600}, {43, 900}, {44, 10900}, {45, 1500}, {46, 3600}, {47, 2700}, {48, 42212},
};

constexpr uint32_t sum_of(std::span<const length_share> rows) {
    uint32_t sum = 0;
    for (const length_share &row : rows)
        sum += row.share;
    return sum;
}
static_assert(sum_of(v4_lengths) == shares_whole && sum_of(v6_lengths) == shares_whole, "the shares of a family are 100 %");
static_assert(std::size(v4_lengths) + std::size(v6_lengths) <= 64);

uint64_t mixed(uint64_t word) {
    word += 0x9E3779B97F4A7C15U;
    word = (word ^ word >> 30) * 0xBF58476D1CE4E5B9U;
    word = (word ^ word >> 27) * 0x94D049BB133111EBU;
    return word ^ word >> 31;
}

// A step with which a walk modulo `size` meets every number once.
uint64_t step_for(uint64_t size, uint64_t seed) {
    uint64_t step = mixed(seed) % size | 1;
    while (std::gcd(step, size) != 1)
        step += 2;
    return step;
}

uint64_t walk(uint64_t i, uint64_t step, uint64_t shift, uint64_t size) {
    // i and size have 45 bits at most: the product is made of two halves.
    constexpr uint64_t half = 1U << 16;
    const uint64_t high = step % size / half * i % size * half % size;
    return (high + step % size % half * i + shift % size) % size;
}

// The first bytes that addresses of hosts have, 1 to 223 without 10 and 127.
constexpr uint64_t v4_first_bytes = 221;
uint32_t v4_address(uint64_t number, uint32_t length) {
    const uint32_t behind = length - 8;
    uint64_t first = 1 + (number >> behind);
    if (first >= 10) ++first;
    if (first >= 127) ++first;
    const uint64_t network = first << behind | (number & ((uint64_t{1} << behind) - 1));
    return static_cast<uint32_t>(network << (32 - length));
}

constexpr uint32_t v6_fixed_bits = 3;  // of 2000::/3, which addresses are given out of
uint64_t v6_high_half(uint64_t number, uint32_t length) {
    return uint64_t{0x2000} << 48 | number << (64 - length);
}

template <class word>
void put_address(nprm_fib_prefix &prefix, word bits) {
    for (size_t i = 0; i < sizeof bits; ++i)
        prefix.address[i] = static_cast<uint8_t>(bits >> 8 * (sizeof bits - 1 - i));
}

// One of 64 neighbours, a UIDB each.
nprm_fib_nexthop neighbour(uint64_t random) {
    const auto number = static_cast<uint8_t>(1 + random % 64);
    nprm_fib_nexthop nexthop = {};
    nexthop.u16_5 = number;
    nexthop.bytes_7[0] = 0x02;  // locally administered
    nexthop.bytes_7[5] = number;
    return nexthop;
}

std::string percent_of(uint32_t share) {
    const std::string digits = std::to_string(shares_whole + share).substr(1);
    const size_t leading = std::min(digits.substr(0, 2).find_first_not_of('0'), size_t{1});
    return digits.substr(leading, 2 - leading) + "." + digits.substr(2) + "%";
}

std::string lengths_text(std::span<const length_share> rows) {
    std::string text;
    constexpr size_t columns = 6;
    for (size_t i = 0; i < rows.size(); ++i) {
        std::string cell = "/" + std::to_string(rows[i].length) + " " + percent_of(rows[i].share);
        const bool is_last = i + 1 == rows.size() || i % columns == columns - 1;
        if (!is_last) cell.resize(14, ' ');
        text += (i % columns == 0 ? "    " : "") + cell + (is_last ? "\n" : "");
    }
    return text;
}

}  // namespace

route_generator::route_generator(const generated_table &table) {
    shift_ = mixed(mixed(table.seed));
    add_family(NPRM_FIB_IPV4, table.ipv4);
    add_family(NPRM_FIB_IPV6, table.ipv6);
    step_ = step_for(std::max(count_, 1U), table.seed);
}

// Rounds so that the lengths add up to the count.
void route_generator::add_family(uint8_t version, uint32_t count) {
    const std::span<const length_share> rows = version == NPRM_FIB_IPV4 ? std::span<const length_share>(v4_lengths) : v6_lengths;
    uint64_t shares = 0;
    for (const length_share &row : rows) {
        const auto before = static_cast<uint32_t>(count * shares / shares_whole);
        shares += row.share;
        const auto after = static_cast<uint32_t>(count * shares / shares_whole);
        const uint64_t size =
            version == NPRM_FIB_IPV4 ? v4_first_bytes << (row.length - 8) : uint64_t{1} << (row.length - v6_fixed_bits);
        const uint64_t step = step_for(size, shift_ + row.length);
        blocks_[used_blocks_++] = {version, row.length, count_ + before, after - before, size, step};
    }
    count_ += count;
}

fib_entry route_generator::at(uint32_t i) const {
    const uint64_t place = walk(i, step_, shift_, count_);
    const auto *found = std::find_if(blocks_.begin(), blocks_.begin() + used_blocks_,
                                     [&](const block &one) { return place - one.first < one.count; });
    const uint64_t number = walk(place - found->first, found->step, shift_, found->size);
    fib_entry entry = {};
    entry.prefix.u8_0 = found->version;
    entry.prefix.u8_1 = found->length;
    if (found->version == NPRM_FIB_IPV4)
        put_address(entry.prefix, v4_address(number, found->length));
    else
        put_address(entry.prefix, v6_high_half(number, found->length));
    entry.nexthop = neighbour(mixed(place ^ shift_));
    return entry;
}

std::string generated_lengths() {
    return "Lengths of IPv4 prefixes:\n" + lengths_text(v4_lengths) + "Lengths of IPv6 prefixes:\n" + lengths_text(v6_lengths);
}
