// Finds hardware tables, and counts what is in them.

#include "hw_tables.h"

#include <algorithm>

std::vector<const hw_table *> all_hw_tables() {
    std::vector<const hw_table *> tables;
    for (const auto group : {hw_port_tables, hw_interface_tables, hw_fib_tables, hw_tcam_tables, hw_service_tables, hw_flow_tables})
        for (const hw_table &table : group)
            tables.push_back(&table);
    std::ranges::sort(tables, {}, &hw_table::id);
    return tables;
}

const hw_table *find_hw_table(uint32_t id) {
    static const std::vector<const hw_table *> tables = all_hw_tables();
    const auto found = std::ranges::find(tables, id, &hw_table::id);
    return found == tables.end() ? nullptr : *found;
}

uint32_t used_entries(const hw_table &table) {
    if (table.used != nullptr) return table.used();
    const uint32_t end = table.end();
    uint32_t used = 0;
    for (uint32_t address = 0; address < end; ++address) {
        hw_entry entry(table.entry_type);
        if (table.read(address, entry)) ++used;
    }
    return used;
}
