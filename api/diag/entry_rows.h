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

// What a row's line begins with: "  %-30s %2d    " of name and width.
struct row_start {
    char text[40];
    uint8_t bytes;
};

// A name that its column does not hold is no constant, and does not compile.
consteval row_start start_of(const char *name, uint32_t width) {
    constexpr uint32_t name_end = 2 + 30;
    row_start start = {};
    for (char &character : start.text)
        character = ' ';
    uint32_t end = 2;
    for (; *name != '\0'; ++name)
        start.text[end < name_end ? end++ : sizeof start.text] = *name;
    end = name_end + (width < 10 ? 2 : 1);
    if (width >= 100) start.text[end++] = static_cast<char>('0' + width / 100);
    if (width >= 10) start.text[end++] = static_cast<char>('0' + width / 10 % 10);
    start.text[end++] = static_cast<char>('0' + width % 10);
    start.bytes = static_cast<uint8_t>(end + 4);
    return start;
}

struct field_row {
    const char *name;
    uint8_t byte;        // in which it starts
    uint8_t lowest_bit;  // in that byte; 0 is the least significant
    uint8_t width;       // in bits: inside one byte, or 16, 32 or 64 from bit 0 on
    row_form form;
    row_start start;

    consteval field_row(const char *its_name, uint8_t first_byte, uint8_t bit, uint8_t bits, row_form its_form = row_form::number)
        : name(its_name), byte(first_byte), lowest_bit(bit), width(bits), form(its_form), start(start_of(its_name, bits)) {}
};

// What an entry prints besides the title and its rows.
enum class extra : uint8_t {
    none,
    vemo_address,    // a line with address and vrf
    flow_addresses,  // a line with server and client
    port_status,     // its own table instead of title and field lines
};

struct entry_layout {
    uint32_t type;
    const char *printer;  // the name under which it logs; null: prints nothing
    const char *title;    // null: it has no entries that print
    const field_row *rows;
    uint32_t row_count;
    uint32_t bytes;  // that the rows cover; an entry may have more
    extra also;
};

// The layout of a type, or null.
const entry_layout *layout_of(uint32_t type);

}  // namespace nprm

#endif
