// The entry table at its far end: the lowest free entry and the count of used ones, beside loops over bytes and bits.

#include "util/nprm_entry.h"

#include <vector>

#include "support/pair.h"

namespace {

// The rules as they are written: byte by byte, and bit by bit.
__attribute__((noinline)) uint32_t alloc_by_bytes(nprm_entry_table *table, uint32_t *index) {
    for (uint32_t byte = 0; byte < table->bytes; ++byte) {
        if (table->bitmap[byte] == 0xFF) continue;
        for (uint32_t bit = 0; bit < 8; ++bit) {
            if ((table->bitmap[byte] & (0x80 >> bit)) != 0) continue;
            table->bitmap[byte] = static_cast<uint8_t>(table->bitmap[byte] | (0x80 >> bit));
            *index = 8 * byte + bit;
            return 1;
        }
    }
    return 0;
}

__attribute__((noinline)) uint32_t used_by_bits(const nprm_entry_table *table) {
    uint32_t used = 0;
    for (uint32_t index = 0; index < table->count; ++index)
        if ((table->bitmap[index / 8] & (0x80 >> index % 8)) != 0) ++used;
    return used;
}

void release(nprm_entry_table &table, uint32_t index) {
    table.bitmap[index / 8] = static_cast<uint8_t>(table.bitmap[index / 8] & ~(0x80 >> index % 8));
}

}  // namespace

int main(int argc, char **argv) {
    benchmark_run run("entry: a table of 65,535 entries (smoke: 1,000)", argc, argv);
    const auto count = static_cast<uint16_t>(run.smoke() ? 1000 : 65535);
    std::vector<uint8_t> bitmap(NPRM_ENTRY_BYTES(count));
    nprm_entry_table table = {0, count, static_cast<uint16_t>(bitmap.size()), bitmap.data()};
    nprm_init_entry_table(&table);
    uint32_t index = 0;

    const auto take_and_release = [&](uint32_t (*alloc)(nprm_entry_table *, uint32_t *)) {
        return [&, alloc] {
            alloc(&table, &index);
            keep(index);
            release(table, index);
        };
    };
    run.pair("take the first entry, beside byte by byte", run.no_limit, take_and_release(nprm_entry_alloc),
             take_and_release(alloc_by_bytes));
    nprm_entry_reserve(&table, 0, count - 1u);
    run.pair("take the last entry, beside byte by byte", 0.25, take_and_release(nprm_entry_alloc),
             take_and_release(alloc_by_bytes));
    run.pair(
        "count the used entries, beside bit by bit", run.no_limit, [&] { keep(nprm_entry_used(&table)); },
        [&] { keep(used_by_bits(&table)); });
    return run.finish();
}
