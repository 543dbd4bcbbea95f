// The card's hardware tables: what the network processor holds of the state that was configured.
//
// A table keeps nothing.  Each entry is encoded when it is read, from what the models of the components say.
#ifndef SIMCARD_MODELS_HW_TABLES_H
#define SIMCARD_MODELS_HW_TABLES_H

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "hw_entry.h"

struct hw_table {
    uint32_t id;
    uint32_t entry_type;  // whose layout its entries have; 0: they have none
    const char *name;
    uint32_t entry_bytes;    // of the 204 that travel
    uint32_t (*capacity)();  // addresses are 0 to capacity() - 1
    uint32_t (*end)();       // no address from here on holds an entry
    // Writes what stands at an address into an entry of zeros; false where nothing does.
    // Requires: end() was called since the last request, and address < what it told.
    bool (*read)(uint32_t address, hw_entry &entry);
    // Writes the entry that the table itself finds for the bytes of an address; false when there is none.  Null: it cannot search
    // by address.
    bool (*find)(std::span<const uint8_t> address, hw_entry &entry) = nullptr;
    uint32_t (*used)() = nullptr;  // entries that stand in it, where that is known without reading them all
};

// Null when there is none of that id.
const hw_table *find_hw_table(uint32_t id);
std::vector<const hw_table *> all_hw_tables();

// Entries that stand in the table.
uint32_t used_entries(const hw_table &table);

// The tables by what they are made from.
extern const std::span<const hw_table> hw_port_tables;
extern const std::span<const hw_table> hw_interface_tables;
extern const std::span<const hw_table> hw_fib_tables;
extern const std::span<const hw_table> hw_tcam_tables;
extern const std::span<const hw_table> hw_service_tables;
extern const std::span<const hw_table> hw_flow_tables;

// Ids of the tables behind those of the entry types, which have the types' own numbers.
enum hw_table_id : uint32_t { hw_vmr_value = 32, hw_vmr_mask = 33, hw_vmr_result = 34 };

#endif
