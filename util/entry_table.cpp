// The entry table: lowest free entry, ranges, counting and walking in a bitmap whose first entry is each byte's highest bit.

#include "nprm_entry.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace {

constexpr uint8_t full = 0xFF;

// The bits of the last byte behind the last entry, by count mod 8.
constexpr uint8_t tail_masks[8] = {0x00, 0x7F, 0x3F, 0x1F, 0x0F, 0x07, 0x03, 0x01};

// No operation leaves the bitmap, whatever the two lengths say.
uint32_t entries(const nprm_entry_table &table) {
    return std::min<uint32_t>(table.count, table.bytes * 8u);
}

bool is_used(const nprm_entry_table &table, uint32_t index) {
    return (table.bitmap[index / 8] & (0x80 >> index % 8)) != 0;
}

// The bytes of the whole blocks that are full, from the first one on; the words of a block are looked at together.
uint32_t skip_full_blocks(const nprm_entry_table &table) {
    constexpr uint32_t words = 8;
    size_t block[words];
    uint32_t byte = 0;
    for (; byte + sizeof block <= table.bytes; byte += sizeof block) {
        memcpy(block, table.bitmap + byte, sizeof block);
        size_t all = block[0];
        for (uint32_t i = 1; i < words; ++i)
            all &= block[i];
        if (all != ~size_t{0}) break;
    }
    return byte;
}

// A range's bits in one byte of the bitmap.
uint8_t range_bits(uint32_t byte, uint32_t first, uint32_t end) {
    const uint32_t from = std::max(first, byte * 8) - byte * 8;
    const uint32_t to = std::min(end, byte * 8 + 8) - byte * 8;
    return static_cast<uint8_t>((full >> from) & (full << (8 - to)));
}

enum class turn { to_used, to_free };

uint32_t turn_range(nprm_entry_table &table, uint32_t first, uint32_t n, turn wanted) {
    if (uint64_t{first} + n > entries(table)) return 0;
    if (n == 0) return 1;
    const uint32_t end = first + n;
    const uint32_t first_byte = first / 8;
    const uint32_t last_byte = (end - 1) / 8;
    const uint8_t invert = wanted == turn::to_used ? 0 : full;
    for (uint32_t byte = first_byte; byte <= last_byte; ++byte)
        if (((table.bitmap[byte] ^ invert) & range_bits(byte, first, end)) != 0) return 0;
    for (uint32_t byte = first_byte; byte <= last_byte; ++byte)
        table.bitmap[byte] ^= range_bits(byte, first, end);
    return 1;
}

}  // namespace

void nprm_init_entry_table(nprm_entry_table *table) {
    if (entries(*table) == 0) return;
    // Bytes behind the one with the last entry would be given out: only the last byte is marked.
    table->bytes = static_cast<uint16_t>(std::min<uint32_t>(table->bytes, NPRM_ENTRY_BYTES(table->count)));
    memset(table->bitmap, 0, table->bytes);
    table->bitmap[table->bytes - 1] = tail_masks[table->count % 8];
}

// The bits behind the last entry are used ones, so that the count need not be asked.
uint32_t nprm_entry_alloc(nprm_entry_table *table, uint32_t *index) {
    for (uint32_t byte = skip_full_blocks(*table); byte < table->bytes; ++byte) {
        uint8_t &bits = table->bitmap[byte];
        if (bits == full) continue;
        const auto used = static_cast<uint32_t>(std::countl_one(bits));
        bits = static_cast<uint8_t>(bits | (0x80 >> used));
        *index = 8 * byte + used;
        return 1;
    }
    return 0;
}

uint32_t nprm_entry_reserve(nprm_entry_table *table, uint32_t first, uint32_t n) {
    return turn_range(*table, first, n, turn::to_used);
}

uint32_t nprm_entry_free_multiple(nprm_entry_table *table, uint32_t first, uint32_t n) {
    return turn_range(*table, first, n, turn::to_free);
}

uint32_t nprm_entry_used(const nprm_entry_table *table) {
    const uint32_t count = entries(*table);
    uint32_t byte = 0;
    uint32_t used = 0;
    for (size_t word; byte + sizeof word <= count / 8; byte += sizeof word) {
        memcpy(&word, table->bitmap + byte, sizeof word);
        used += static_cast<uint32_t>(std::popcount(word));
    }
    for (; byte * 8 < count; ++byte)
        used += static_cast<uint32_t>(std::popcount(static_cast<uint8_t>(table->bitmap[byte] & range_bits(byte, 0, count))));
    return used;
}

void nprm_entry_walk(const nprm_entry_table *table, void (*callback)(uint32_t index, uint32_t user), uint32_t user) {
    const uint32_t count = entries(*table);
    for (uint32_t index = 0; index < count; ++index) {
        if (index % 8 == 0 && table->bitmap[index / 8] == 0)
            index += 7;
        else if (is_used(*table, index))
            callback(index, user);
    }
}
