// Prints an entry of any type from its rows, and the exported printer of each type.

#include "entry_printer.h"

#include "../frame/log.h"
#include "../wire/nprm_npa_wire.h"
#include "nprm_decode.h"

#include <algorithm>
#include <iterator>

namespace nprm {

namespace {

constexpr char rule[] = "\n-----------------------------------------------------";
constexpr char heading[] = "\n  Field Name                   #Bits  Value";

template <typename Number>
Number read(const uint8_t *entry, uint32_t byte) {
    Number value = 0;
    memcpy(&value, entry + byte, sizeof value);
    return value;
}

void put_title(const entry_layout &layout, uint32_t addr, line &text, sinks &out) {
    text.restart();
    text.add("\n", 1);
    text.add(layout.title);
    text.add(" [", 2);
    text.add_hex(addr);
    text.add("]", 1);
    text.add(rule, sizeof rule - 1);
    text.add(heading, sizeof heading - 1);
    text.add(rule, sizeof rule - 1);
    out.put(text, layout.printer);
}

// "%#x (%u)" of the values of a byte, which are most of all values.
struct byte_text {
    char text[15];
    uint8_t bytes;
};
struct byte_texts {
    byte_text of[256];
};

consteval byte_texts make_byte_texts() {
    constexpr char digits[] = "0123456789abcdef";
    byte_texts texts = {};
    for (uint32_t value = 0; value < 256; ++value) {
        byte_text &made = texts.of[value];
        const auto add = [&made](char character) { made.text[made.bytes++] = character; };
        if (value != 0) {
            add('0');
            add('x');
        }
        if (value >= 16) add(digits[value >> 4]);
        add(digits[value & 15]);
        add(' ');
        add('(');
        if (value >= 100) add(digits[value / 100]);
        if (value >= 10) add(digits[value / 10 % 10]);
        add(digits[value % 10]);
        add(')');
    }
    return texts;
}
constexpr byte_texts of_bytes = make_byte_texts();

void add_value(line &text, uint32_t value, uint32_t width) {
    if (width <= 8) {
        const byte_text &known = of_bytes.of[value];
        text.add_some(known.text, known.bytes);
        return;
    }
    text.add_hex(value);
    text.add(" (", 2);
    text.add_number(value);
    text.add(")", 1);
}

void put_hex_text(const field_row &row, const uint8_t *entry, line &text, const char *printer, sinks &out) {
    constexpr char digits[] = "0123456789abcdef";
    text.restart();
    text.add_some(row.start.text, row.start.bytes);
    for (uint32_t i = 0; i < row.width / 8; ++i) {
        const char two[] = {digits[entry[row.byte + i] >> 4], digits[entry[row.byte + i] & 15]};
        text.add(two, sizeof two);
    }
    out.put(text, printer);
}

// One line an element, the index behind the name.
void put_list(const field_row &row, const uint8_t *elements, uint32_t count, line &text, const char *printer, sinks &out) {
    constexpr size_t value_column = 39;
    const size_t name_bytes = strlen(row.name);
    for (uint32_t i = 0; i < count; ++i) {
        text.restart();
        const size_t start = text.length();
        text.add(row.start.text, 2 + name_bytes);
        text.add("[", 1);
        text.add_number(i);
        text.add("]", 1);
        text.add(row.start.text + text.length() - start, value_column - (text.length() - start));
        add_value(text, elements[i], row.width);
        out.put(text, printer);
    }
}

void put_rows(const entry_layout &layout, const uint8_t *entry, uint32_t bytes, line &text, sinks &out) {
    uint32_t value = 0;
    for (const field_row *row = layout.rows; row != layout.rows + layout.row_count; ++row) {
        if (row->form == row_form::hex_text) {
            put_hex_text(*row, entry, text, layout.printer, out);
            continue;
        }
        if (row->form == row_form::list) {
            put_list(*row, entry + row->byte, std::min(value, bytes - row->byte), text, layout.printer, out);
            continue;
        }
        value = row_value(*row, entry);
        text.restart();
        text.add_some(row->start.text, row->start.bytes);
        add_value(text, value, row->width);
        out.put(text, layout.printer);
    }
}

void add_address(char (&text)[24], uint32_t address) {
    snprintf(text, sizeof text, "%u.%u.%u.%u", address >> 24, address >> 16 & 255, address >> 8 & 255, address & 255);
}

void add_address(char (&text)[24], uint32_t address, uint16_t port) {
    snprintf(text, sizeof text, "%u.%u.%u.%u:%u", address >> 24, address >> 16 & 255, address >> 8 & 255, address & 255, port);
}

void put_vemo_address(const entry_layout &layout, const uint8_t *entry, line &text, sinks &out) {
    constexpr uint32_t vrf_byte = 4;
    constexpr uint32_t address_byte = 16;
    char address[24];
    char vrf[8];
    add_address(address, read<uint32_t>(entry, address_byte));
    snprintf(vrf, sizeof vrf, "%u", entry[vrf_byte]);
    text.restart();
    text.add_right(address, 16);
    text.blanks(1);
    text.add_right(vrf, 6);
    out.put(text, layout.printer);
}

void put_flow_addresses(const entry_layout &layout, const uint8_t *entry, line &text, sinks &out) {
    constexpr uint32_t server_byte = 0;
    constexpr uint32_t client_byte = 7;
    char address[24];
    text.restart();
    add_address(address, read<uint32_t>(entry, server_byte), read<uint16_t>(entry, server_byte + 4));
    text.add_right(address, 22);
    text.blanks(1);
    add_address(address, read<uint32_t>(entry, client_byte), read<uint16_t>(entry, client_byte + 4));
    text.add_right(address, 22);
    out.put(text, layout.printer);
}

// "%-6s%6s%10s%20s%20s"
void put_columns(const char *printer, const char *const (&column)[5], bool first, line &text, sinks &out) {
    constexpr size_t widths[] = {6, 6, 10, 20, 20};
    text.restart();
    if (first) text.add("\n", 1);
    const size_t start = text.length();
    text.add(column[0]);
    text.pad(start, widths[0]);
    for (size_t i = 1; i < std::size(widths); ++i)
        text.add_right(column[i], widths[i]);
    out.put(text, printer);
}

void put_port_status(const entry_layout &layout, uint32_t addr, const uint8_t *entry, line &text, sinks &out) {
    constexpr const char *speeds[] = {"10M", "100M", "1000M", "10G", "40G", "100G"};
    put_columns(layout.printer, {"Port", "Link", "Speed", "Rx pkts (err)", "Tx pkts (err)"}, true, text, out);

    enum { link, speed, received, receive_errors, sent, send_errors };  // the rows
    const auto number = [&](uint32_t row) { return read<uint32_t>(entry, layout.rows[row].byte); };
    const auto packets = [&](uint32_t row) { return read<unsigned long long>(entry, layout.rows[row].byte); };
    char port[12];
    char receiving[40];
    char sending[40];
    snprintf(port, sizeof port, "%u", addr);
    snprintf(receiving, sizeof receiving, "%llu (%u)", packets(received), number(receive_errors));
    snprintf(sending, sizeof sending, "%llu (%u)", packets(sent), number(send_errors));
    const char *speed_name = number(speed) < std::size(speeds) ? speeds[number(speed)] : "unknown";
    put_columns(layout.printer, {port, number(link) == 0 ? "-" : "up", speed_name, receiving, sending}, false, text, out);
}

int print(const char *function, uint32_t type, uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file) {
    if (data == nullptr) {
        NPRM_LOG_AT(NPRM_LEVEL_ERROR, function, __LINE__, "The entry is a null pointer.");
        return 1;
    }
    sinks out(echo, text, file);
    print_entry(*layout_of(type), addr, reinterpret_cast<const uint8_t *>(data), NPRM_HW_ENTRY_BYTES, out);
    return 0;
}

}  // namespace

void sinks::put(line &what, const char *printer) {
    const char *text = what.text();
    const size_t bytes = what.length();
    if (text_end_ != nullptr) {
        memcpy(text_end_, text, bytes + 1);
        text_end_ += bytes;
    }
    if (file_ != nullptr) fwrite(text, 1, bytes, file_);
    if (echo_) {
        fwrite(text, 1, bytes, stdout);
        fflush(stdout);
    }
    NPRM_LOG_AT(NPRM_LEVEL_ANY, printer, __LINE__, "%s.", text + 1);
}

uint32_t row_value(const field_row &row, const uint8_t *entry) {
    if (row.width == 32) return read<uint32_t>(entry, row.byte);
    if (row.width == 16) return read<uint16_t>(entry, row.byte);
    return uint32_t{entry[row.byte]} >> row.lowest_bit & ((1U << row.width) - 1);
}

void print_entry(const entry_layout &layout, uint32_t addr, const uint8_t *entry, uint32_t bytes, sinks &out) {
    if (layout.printer == nullptr) return;
    line text;
    if (layout.also == extra::port_status) return put_port_status(layout, addr, entry, text, out);
    put_title(layout, addr, text, out);
    if (layout.also == extra::vemo_address) put_vemo_address(layout, entry, text, out);
    if (layout.also == extra::flow_addresses) put_flow_addresses(layout, entry, text, out);
    put_rows(layout, entry, bytes, text, out);
}

}  // namespace nprm

#define PRINTER(name, type)                                                                                                        \
    int name(uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file) {                                          \
        return nprm::print(__func__, type, addr, data, echo, text, file);                                                          \
    }
PRINTER(decode_pcsram, NPRM_ENTRY_PORT_CONFIG_RAM)
PRINTER(decode_ing_uidb, NPRM_ENTRY_INGRESS_UIDB)
PRINTER(decode_egr_uidb, NPRM_ENTRY_EGRESS_UIDB)
PRINTER(decode_port_table, NPRM_ENTRY_PORT_TABLE)
PRINTER(decode_host_key, NPRM_ENTRY_TCAM_KEY)
PRINTER(decode_tcam_mask, NPRM_ENTRY_TCAM_MASK)
PRINTER(decode_host_result, NPRM_ENTRY_HOST_RESULT)
PRINTER(decode_if_encap, NPRM_ENTRY_IF_ENCAP)
PRINTER(decode_lag, NPRM_ENTRY_LAG_GROUP)
PRINTER(decode_fib, NPRM_ENTRY_FIB)
PRINTER(decode_vemo, NPRM_ENTRY_VEMO)
PRINTER(decode_encap, NPRM_ENTRY_ENCAP)
PRINTER(decode_action, NPRM_ENTRY_ACTION)
PRINTER(decode_sng_dist, NPRM_ENTRY_SNG_DIST)
PRINTER(decode_prs_cfg_dist_list, NPRM_ENTRY_PARSE_DIST_LIST)
PRINTER(decode_res_cfg_dist_list, NPRM_ENTRY_RESOLVE_DIST_LIST)
PRINTER(decode_cfg_flow_debug, NPRM_ENTRY_FLOW_DEBUG)
PRINTER(decode_cfg_flow_tbl_key, NPRM_ENTRY_FLOW_KEY)
PRINTER(decode_cfg_flow_tbl_data, NPRM_ENTRY_FLOW_DATA)
PRINTER(decode_cfg_fib_tbl_key, NPRM_ENTRY_FIB_KEY)
PRINTER(decode_cfg_fib_tbl_data, NPRM_ENTRY_FIB_DATA)
PRINTER(decode_ethmon_cfg, NPRM_ENTRY_PORT_CONFIG)
PRINTER(decode_ethmon_portstatus, NPRM_ENTRY_PORT_STATUS)
#undef PRINTER
