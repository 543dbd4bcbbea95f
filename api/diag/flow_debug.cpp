// Flow-debug records: flow keys and results, and the lists of records that a flow trace makes.

#include "nprm_dump.h"

#include "../config/nprm_service.h"
#include "../frame/log.h"
#include "../stats/nprm_stats.h"
#include "flow_tlv.h"
#include "output.h"

#include <iterator>

#include <arpa/inet.h>

namespace {

using nprm::flow_tlv;
using nprm::output;

// Whether the server may be asked for what a record only names.
enum class asking : uint8_t { no, yes };

template <typename Number>
Number read(const uint8_t *at) {
    Number value = 0;
    memcpy(&value, at, sizeof value);
    return value;
}

struct address_text {
    char text[INET6_ADDRSTRLEN];
};

address_text dotted(uint32_t address) {
    address_text out;
    snprintf(out.text, sizeof out.text, "%u.%u.%u.%u", address >> 24, address >> 16 & 255, address >> 8 & 255, address & 255);
    return out;
}

// The server's address for a service node; empty when it has none to tell.
address_text node_address(uint8_t id) {
    address_text out = {};
    nprm_service_node node = {};
    if (nprm_sn_op(NPRM_FDM_READ, 1, &id, &node) != NPRM_OK) return out;
    constexpr uint8_t none[sizeof node.address_a] = {};
    if (memcmp(node.address_a, none, sizeof none) == 0) return out;
    if ((node.flags & NPRM_SERVICE_IPV4_FLAG) != 0) return dotted(read<uint32_t>(node.address_a));
    if (inet_ntop(AF_INET6, node.address_a, out.text, sizeof out.text) == nullptr) out.text[0] = '\0';
    return out;
}

void add_key(output &out, const uint8_t *key) {
    if (key == nullptr) return out.add("decode key pointer is NULL\n");
    out.add("   DECODE KEY>>\n");
    out.add("\tdest ip   : %-15s dest port : %-8u\n", dotted(read<uint32_t>(key)).text, read<uint16_t>(key + 4));
    out.add("\tvrf         : %-8u\n", key[6]);
    out.add("\tsource ip   : %-15s source port : %-8u\n", dotted(read<uint32_t>(key + 7)).text, read<uint16_t>(key + 11));
}

void add_result(output &out, const uint8_t *result, asking ask) {
    constexpr uint8_t node_is_valid = 2;  // cb1.sn_v
    if (result == nullptr) return out.add("decode result pointer is NULL\n");
    out.add("   DECODE RESULT>>\n");
    address_text address = {};
    if (ask == asking::yes && (result[1] & node_is_valid) != 0) address = node_address(result[8]);
    if (address.text[0] == '\0') return out.add("sn ip: N/A");
    out.add("sn ip: %s", address.text);
}

void add_key_record(output &out, const uint8_t *value, uint32_t /*length*/, asking /*ask*/) {
    add_key(out, value);
}

void add_result_record(output &out, const uint8_t *value, uint32_t /*length*/, asking ask) {
    add_result(out, value, ask);
}

void add_state_change(output &out, const uint8_t *value, uint32_t /*length*/, asking /*ask*/) {
    out.add("state change: from %u to %u, event %u", value[0], value[1], read<uint16_t>(value + 2));
}

void add_class_statistic(output &out, const uint8_t *value, uint32_t /*length*/, asking /*ask*/) {
    const auto index = read<uint32_t>(value);
    const bool named = index < NPRM_CLASS_STAT_COUNT;
    out.add("class statistic %u: %s", index, named ? nprm_class_stat_str[index] : "INVALID");
}

void add_node(output &out, const uint8_t *value, uint32_t /*length*/, asking ask) {
    out.add("service node %u", value[0]);
    if (ask == asking::no) return;
    const address_text address = node_address(value[0]);
    out.add(": %s", address.text[0] != '\0' ? address.text : "N/A");
}

void add_group(output &out, const uint8_t *value, uint32_t /*length*/, asking ask) {
    const auto id = read<uint16_t>(value);
    out.add("service node group %u", id);
    if (ask == asking::no) return;
    nprm_service_node_group group = {};
    if (nprm_sng_op(NPRM_FDM_READ, 1, &id, &group) != NPRM_OK) return out.add(": N/A");
    // Fields of 4, 5 and 7 bits, which a read leaves in the record's first two bytes.
    const uint32_t fields = group.byte[0] | uint32_t{group.byte[1]} << 8;
    out.add(": %u %u %u", fields & 15, fields >> 4 & 31, fields >> 9);
}

// Characters up to a terminator; what would move a terminal's cursor is a dot.
void add_text(output &out, const uint8_t *value, uint32_t length, asking /*ask*/) {
    char part[128];
    for (uint32_t done = 0; done < length && value[done] != '\0';) {
        uint32_t count = 0;
        for (; count < sizeof part && done < length && value[done] != '\0'; ++count, ++done) {
            const char character = static_cast<char>(value[done]);
            const bool moves = (value[done] < ' ' && character != '\t' && character != '\n') || character == '\x7f';
            part[count] = moves ? '.' : character;
        }
        out.add("%.*s", static_cast<int>(count), part);
    }
}

struct record_form {
    uint16_t type;
    uint16_t bytes;  // that its value has; those that are missing count as 0
    bool ends_line;  // its text does by itself
    void (*add)(output &out, const uint8_t *value, uint32_t length, asking ask);
};

constexpr record_form forms[] = {
    {NPRM_FLOW_TLV_KEY, NPRM_FLOW_KEY_BYTES, true, add_key_record},
    {NPRM_FLOW_TLV_RESULT, NPRM_FLOW_RESULT_BYTES, false, add_result_record},
    {NPRM_FLOW_TLV_STATE_CHANGE, 4, false, add_state_change},
    {NPRM_FLOW_TLV_CLASS_STATISTIC, 4, false, add_class_statistic},
    {NPRM_FLOW_TLV_SERVICE_NODE, 1, false, add_node},
    {NPRM_FLOW_TLV_NODE_GROUP, 2, false, add_group},
    {NPRM_FLOW_TLV_TEXT, 0, false, add_text},
};

constexpr bool numbered_by_row() {
    for (uint32_t row = 0; row < std::size(forms); ++row)
        if (forms[row].type != row + 1 || forms[row].bytes > NPRM_FLOW_RESULT_BYTES) return false;
    return true;
}
static_assert(numbered_by_row(), "a record's form is missing, out of place or longer than the copy that fills it up");

// Whether the text ended its line.
bool add_record(const char *function, output &out, const flow_tlv &record, asking ask) {
    if (record.header.type > std::size(forms)) {
        NPRM_LOG_AT(NPRM_LEVEL_ERROR, function, __LINE__, "Unhandled type in flow trace.");
        out.add("Unhandled type in flow trace");
        return false;
    }
    const record_form &form = forms[record.header.type - 1];
    if (record.header.length >= form.bytes) {
        form.add(out, record.value, record.header.length, ask);
        return form.ends_line;
    }
    uint8_t filled[NPRM_FLOW_RESULT_BYTES] = {};
    memcpy(filled, record.value, record.header.length);
    NPRM_LOG_AT(NPRM_LEVEL_ERROR, function, __LINE__, "A record of type %u has %u bytes, %u are needed: the others count as 0.",
                record.header.type, record.header.length, form.bytes);
    form.add(out, filled, form.bytes, ask);
    return form.ends_line;
}

void log_cut(const char *function, const nprm::flow_tlv_walk &walk, const flow_tlv &record) {
    if (walk.is_cut())
        NPRM_LOG_AT(NPRM_LEVEL_ERROR, function, __LINE__, "A record of type %u has %u bytes, %u are left with its header.",
                    record.header.type, record.header.length, walk.left());
}

}  // namespace

uint32_t nprm_format_flow_key(const void *key, char *text, uint32_t room) {
    output out(text, room);
    add_key(out, static_cast<const uint8_t *>(key));
    return out.length();
}

uint32_t nprm_format_flow_result(const void *result, char *text, uint32_t room) {
    output out(text, room);
    add_result(out, static_cast<const uint8_t *>(result), asking::yes);
    return out.length();
}

uint32_t nprm_decode_entry(uint32_t kind, const void *key, const void *result, FILE *stream) {
    constexpr uint32_t flow = 2;
    if (kind != flow || stream == nullptr) return 0;
    output out(stream);
    add_key(out, static_cast<const uint8_t *>(key));
    add_result(out, static_cast<const uint8_t *>(result), asking::yes);
    return out.length();
}

uint32_t nprm_format_debug_tlv(const void *tlv, uint32_t size, char *text, uint32_t room) {
    output out(text, room);
    nprm::flow_tlv_walk walk(tlv, size);
    flow_tlv record;
    if (walk.next(record)) {
        add_record(__func__, out, record, asking::no);
        return record.bytes;
    }
    log_cut(__func__, walk, record);
    return 0;
}

uint32_t nprm_decode_flow_tlv(const void *tlv, uint32_t size, FILE *stream) {
    if (stream == nullptr) return 0;
    output out(stream);
    nprm::flow_tlv_walk walk(tlv, size);
    flow_tlv record;
    while (walk.next(record))
        if (!add_record(__func__, out, record, asking::yes)) out.add("\n");
    log_cut(__func__, walk, record);
    return out.length();
}
