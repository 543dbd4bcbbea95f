// The layouts of hardware-table entries as data: what a row says, and where to find an entry type's rows.
#ifndef NPRM_DIAG_ENTRY_ROWS_H
#define NPRM_DIAG_ENTRY_ROWS_H

#include <cstdint>

namespace nprm {

enum class row_form : uint8_t {
    number,    // one value
    hex_text,  // width / 8 bytes as hexadecimal text
    list,      // elements of one byte, as many as the value of the row before says; the name takes their index
};

struct field_row {
    const char *name;
    uint8_t byte;        // in which it starts
    uint8_t lowest_bit;  // in that byte; 0 is the least significant
    uint8_t width;       // in bits: inside one byte, or 16 or 32 from bit 0 on
    row_form form = row_form::number;
};

// What an entry prints besides the title and its rows.
enum class extra : uint8_t {
    none,
    vemo_address,    // a line with address and vrf
    flow_addresses,  // a line with server and client
    port_status,     // its own table instead of title and rows
};

struct entry_layout {
    uint32_t type;
    const char *printer;  // the name under which it logs; null: prints nothing
    const char *title;
    const field_row *rows;
    uint32_t row_count;
    uint32_t bytes;  // that the rows cover; an entry may have more
    extra also;
};

// The layout of a type, or null.
const entry_layout *layout_of(uint32_t type);

}  // namespace nprm

#endif
