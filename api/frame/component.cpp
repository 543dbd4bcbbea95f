// The server's components as rows, the reply converters and the senders.

#include "component.h"

#include "../wire/nprm_cmm_wire.h"
#include "../wire/nprm_npdebug_wire.h"
#include "../wire/reply_rules.h"
#include "log.h"
#include "nprm_pool.h"
#include "transport.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>

#define AS_OPCODE(number, name, opcode, record_bytes) opcode,
constinit const uint32_t nprm_component_opcode[NPRM_COMPONENT_COUNT] = {NPRM_COMPONENT_LIST(AS_OPCODE)};

alignas(16) constinit uint8_t nprm_reply_area[NPRM_MESSAGE_BYTES_MAX] = {};
constinit uint8_t *nprm_reply_slot[NPRM_COMPONENT_COUNT] = {};
constinit uint32_t nprm_reply_bytes = 0;

namespace {

constexpr uint32_t header_bytes = sizeof(nprm_message_header);
constexpr uint32_t result_bytes = 4;

constinit bool cut = false;  // the reply in the area claimed more records, or elements of a list, than came

uint32_t read_u32(const uint8_t *at) {
    uint32_t value = 0;
    memcpy(&value, at, sizeof value);
    return value;
}

// A reply on its way into the reply area.
struct incoming {
    const uint8_t *payload;
    uint32_t payload_bytes;  // at most the area's size
    uint32_t operation;
    uint32_t claimed_units;
    uint32_t units;  // records that came
    uint32_t record_bytes;
};

void copy_run(const incoming &reply, uint32_t offset, uint32_t bytes) {
    const uint32_t end = static_cast<uint32_t>(std::min<uint64_t>(uint64_t{offset} + bytes, reply.payload_bytes));
    if (offset < end) memcpy(nprm_reply_area + offset, reply.payload + offset, end - offset);
}

void copy_results(const incoming &reply) {
    const uint32_t end = header_bytes + reply.units * reply.record_bytes;
    for (uint32_t offset = header_bytes; offset < end; offset += reply.record_bytes)
        memcpy(nprm_reply_area + offset, reply.payload + offset, result_bytes);
}

// Runs of a few bytes, many times: overlapping moves of constant size instead of a call.
template <size_t move_bytes>
void copy_ends(uint8_t *to, const uint8_t *from, uint32_t bytes) {
    memcpy(to, from, move_bytes);
    memcpy(to + bytes - move_bytes, from + bytes - move_bytes, move_bytes);
}
void copy_small(uint8_t *to, const uint8_t *from, uint32_t bytes) {
    if (bytes > 64 || bytes < 4) {
        memcpy(to, from, bytes);
        return;
    }
    if (bytes > 32) return copy_ends<32>(to, from, bytes);
    if (bytes > 16) return copy_ends<16>(to, from, bytes);
    if (bytes > 8) return copy_ends<8>(to, from, bytes);
    copy_ends<4>(to, from, bytes);
}

// A record's fields with its result code as runs of bytes, neighbours joined.
struct record_runs {
    nprm::reply_field run[std::size(nprm::reply_rule{}.fields) + 1];
    uint32_t count;
};
record_runs runs_of(const nprm::reply_rule &rule) {
    record_runs runs = {{{0, result_bytes}}, 1};
    for (const nprm::reply_field &field : rule.fields) {
        if (field.bytes == 0) break;
        nprm::reply_field &last = runs.run[runs.count - 1];
        const uint32_t last_end = uint32_t{last.offset} + last.bytes, end = uint32_t{field.offset} + field.bytes;
        if (field.offset > last_end)
            runs.run[runs.count++] = field;
        else if (end > last_end)
            last.bytes = static_cast<uint16_t>(end - last.offset);
    }
    return runs;
}

// A list that the first record counts.  A count that the payload does not hold is lowered to what came, in the reply area too.
void copy_list(uint32_t component, const incoming &reply, const nprm::reply_list &list) {
    const uint32_t first = header_bytes + list.first_offset;
    const uint32_t claimed = read_u32(reply.payload + header_bytes + list.count_offset);
    const uint32_t count = std::min(claimed, (std::max(reply.payload_bytes, first) - first) / list.element_bytes);
    if (count < claimed) {
        cut = true;
        NPRM_LOG_AT(NPRM_LEVEL_ERROR, "nprm_api_ipc_msg_handler", __LINE__, "Reply of component %u claims %u elements, %u came.",
                    component, claimed, count);
        memcpy(nprm_reply_area + header_bytes + list.count_offset, &count, sizeof count);
    }
    copy_run(reply, header_bytes + reply.record_bytes, count * list.element_bytes);
}

bool covers_record(const record_runs &runs, const incoming &reply) {
    return runs.run[0].bytes == reply.record_bytes;
}

// The shape of most converters: the fields of the operation's row, in every record.  False when no row has the operation.
bool convert_by_rule(uint32_t component, const incoming &reply) {
    const nprm::reply_rule *rule = nprm::reply_rule_of(component, reply.operation);
    if (rule == nullptr) return false;
    const record_runs runs = runs_of(*rule);
    const uint32_t records_end = header_bytes + reply.units * reply.record_bytes;
    if (covers_record(runs, reply)) {
        copy_run(reply, header_bytes, records_end - header_bytes);
    } else if (rule->fields[0].bytes != 0) {
        for (uint32_t offset = header_bytes; offset < records_end; offset += reply.record_bytes)
            for (uint32_t i = 0; i < runs.count; ++i)
                copy_small(nprm_reply_area + offset + runs.run[i].offset, reply.payload + offset + runs.run[i].offset,
                           runs.run[i].bytes);
    }
    // A refusal has no list, whatever stands where its count would be.
    if (rule->list.element_bytes != 0 && reply.units > 0 && read_u32(reply.payload + header_bytes) == NPRM_OK)
        copy_list(component, reply, rule->list);
    return true;
}

// Id and flags of each record, and its addresses: one word or four, as a flag says.
void copy_contexts(const incoming &reply) {
    constexpr uint32_t id = offsetof(nprm_cmm_context_record, id);
    constexpr uint32_t flags = offsetof(nprm_cmm_context_record, context.flags);
    constexpr uint32_t addresses[] = {offsetof(nprm_cmm_context_record, context.address_a),
                                      offsetof(nprm_cmm_context_record, context.address_b)};
    for (uint32_t record = 0; record < reply.units; ++record) {
        const uint32_t offset = header_bytes + record * reply.record_bytes;
        const bool is_ipv4 = (reply.payload[offset + flags] & NPRM_SERVICE_CONTEXT_IPV4_FLAG) != 0;
        const uint32_t address_bytes = is_ipv4 ? sizeof(uint32_t) : sizeof(nprm_service_context::address_a);
        copy_run(reply, offset + id, flags + 1 - id);
        for (const uint32_t address : addresses)
            copy_run(reply, offset + address, address_bytes);
    }
}

// The list of bytes begins inside the word that gives its length; it is meant so.
void copy_context_group(const incoming &reply) {
    constexpr uint32_t length = offsetof(nprm_cmm_group_message, record.list.length);
    constexpr uint32_t list = offsetof(nprm_cmm_group_message, record.list.byte);
    copy_run(reply, header_bytes, length + sizeof(uint32_t) - header_bytes);
    copy_run(reply, list, read_u32(nprm_reply_area + length));
}

bool convert_service_contexts(uint32_t /*component*/, const incoming &reply) {
    if (reply.operation > NPRM_CMM_CONTEXT_GROUP) return false;
    if (reply.operation == NPRM_CMM_SERVICE_CONTEXT)
        copy_contexts(reply);
    else
        copy_context_group(reply);
    return true;
}

// Debug: the message's header and first record as a block.
bool convert_debug(uint32_t /*component*/, const incoming &reply) {
    if (reply.operation > NPRM_NPDEBUG_REQUEST) return false;
    if (reply.claimed_units > 0) copy_run(reply, header_bytes, reply.record_bytes);
    return true;
}

// Statistics: all that came.  A reply is as long as its list of ids or counters, not so many records.
bool convert_statistics(uint32_t /*component*/, const incoming &reply) {
    copy_run(reply, 0, reply.payload_bytes);
    return true;
}

enum class result_rule : uint8_t { none, first_record, first_failure };

struct component_row {
    uint32_t number;
    uint32_t record_bytes;
    result_rule result;
    bool hides_transport_failure;  // the sender says 0, callers see the empty slot
    const char *unknown_logger;    // the function name under which an unknown operation is logged; null: it is not
    bool (*convert)(uint32_t component, const incoming &reply);
};

constexpr component_row rows[] = {
    {NPRM_COMPONENT_CMM, NPRM_RECORD_BYTES_CMM, result_rule::first_failure, false, nullptr, convert_service_contexts},
    {NPRM_COMPONENT_MAC, NPRM_RECORD_BYTES_MAC, result_rule::first_record, false, nullptr, convert_by_rule},
    {NPRM_COMPONENT_FDM, NPRM_RECORD_BYTES_FDM, result_rule::first_failure, false, nullptr, convert_by_rule},
    {NPRM_COMPONENT_IF, NPRM_RECORD_BYTES_IF, result_rule::first_record, false, nullptr, convert_by_rule},
    {NPRM_COMPONENT_INTR, NPRM_RECORD_BYTES_INTR, result_rule::none, false, nullptr, nullptr},
    {NPRM_COMPONENT_NPA, NPRM_RECORD_BYTES_NPA, result_rule::first_record, false, "nprm_npa_api_msg_handler", convert_by_rule},
    {NPRM_COMPONENT_STATS, NPRM_RECORD_BYTES_STATS, result_rule::first_record, true, nullptr, convert_statistics},
    {NPRM_COMPONENT_TCAM, NPRM_RECORD_BYTES_TCAM, result_rule::first_record, true, nullptr, convert_by_rule},
    {NPRM_COMPONENT_TM, NPRM_RECORD_BYTES_TM, result_rule::none, false, nullptr, nullptr},
    {NPRM_COMPONENT_WCCP, NPRM_RECORD_BYTES_WCCP, result_rule::first_failure, false, nullptr, convert_by_rule},
    {NPRM_COMPONENT_NPDEBUG, NPRM_RECORD_BYTES_NPDEBUG, result_rule::first_record, false, "nprm_npdbg_api_msg_handler",
     convert_debug},
};

constexpr bool numbered_by_row() {
    for (uint32_t row = 0; row < std::size(rows); ++row)
        if (rows[row].number != row || (rows[row].convert == nullptr) != (rows[row].record_bytes == 0)) return false;
    return std::size(rows) == NPRM_COMPONENT_COUNT;
}
static_assert(numbered_by_row(), "a component row is missing or out of place");

// Clears what the reply before left, but for records that are about to be overwritten as a whole.
void clear_area(uint32_t component, const incoming &reply) {
    const nprm::reply_rule *rule = nprm::reply_rule_of(component, reply.operation);
    const bool overwritten = rule != nullptr && covers_record(runs_of(*rule), reply);
    const uint32_t records_end = std::min(header_bytes + reply.units * reply.record_bytes, reply.payload_bytes);
    const uint32_t first = overwritten ? records_end : header_bytes;
    if (first < nprm_reply_bytes) memset(nprm_reply_area + first, 0, nprm_reply_bytes - first);
}

uint32_t result_of(const component_row &row, const uint8_t *reply) {
    uint32_t result = read_u32(reply + header_bytes);
    if (row.result == result_rule::first_record) return result;
    const uint32_t units = read_u32(reply + offsetof(nprm_message_header, units));
    if (units == 0 && !cut) return NPRM_OK;  // no record, none that failed
    for (uint32_t record = 1; record < units && result == NPRM_OK; ++record)
        result = read_u32(reply + header_bytes + record * row.record_bytes);
    return result;
}

// The records that came.  One that its list ends early counts as whole.
uint32_t units_that_came(uint32_t component, const incoming &reply) {
    const uint32_t whole = std::min(reply.claimed_units, (reply.payload_bytes - header_bytes) / reply.record_bytes);
    if (whole != 0 || reply.claimed_units == 0) return whole;
    const nprm::reply_rule *rule = nprm::reply_rule_of(component, reply.operation);
    const bool has_list = rule != nullptr && rule->list.ends_reply && reply.payload_bytes >= header_bytes + rule->list.first_offset;
    return has_list ? 1 : 0;
}

}  // namespace

namespace nprm {

void convert_reply(uint32_t component, const uint8_t *payload, uint32_t payload_bytes) {
    const component_row &row = rows[component];
    if (row.convert == nullptr) return;

    nprm_message_header header;
    memcpy(&header, payload, sizeof header);
    const uint32_t bytes = std::min<uint32_t>(payload_bytes, NPRM_MESSAGE_BYTES_MAX);
    incoming reply = {payload, bytes, header.operation, header.units, 0, row.record_bytes};
    reply.units = units_that_came(component, reply);
    cut = reply.units < reply.claimed_units && row.convert != convert_statistics;
    if (cut)
        NPRM_LOG_AT(NPRM_LEVEL_ERROR, "nprm_api_ipc_msg_handler", __LINE__, "Reply of component %u claims %u records, %u came.",
                    component, reply.claimed_units, reply.units);

    clear_area(component, reply);
    nprm_reply_bytes = reply.payload_bytes;
    header.units = reply.units;
    memcpy(nprm_reply_area, &header, sizeof header);

    if (!row.convert(component, reply) && row.unknown_logger != nullptr)
        NPRM_LOG_AT(NPRM_LEVEL_ERROR, row.unknown_logger, __LINE__, "Received unknown message type: %d.",
                    static_cast<int>(reply.operation));
    copy_results(reply);
    copy_run(reply, header_bytes, result_bytes);  // a reply that is shorter than one record has its outcome all the same
    nprm_reply_slot[component] = nprm_reply_area;
}

bool reply_was_cut() {
    return cut;
}

}  // namespace nprm

void nprm_api_ipc_msg_handler(uint32_t component, const void *reply) {
    if (component >= NPRM_COMPONENT_COUNT || rows[component].convert == nullptr) return;
    const auto *payload = static_cast<const uint8_t *>(reply);
    const bool empty = read_u32(payload + offsetof(nprm_message_header, units)) == 0;
    nprm::convert_reply(component, payload, empty ? header_bytes : uint32_t{NPRM_MESSAGE_BYTES_MAX});
}

uint32_t nprm_send_to_component(uint32_t component, void *request, uint8_t consume) {
    const component_row &row = rows[component];
    const uint32_t units = static_cast<const nprm_message_header *>(request)->units;
    const uint64_t request_bytes = uint64_t{units} * row.record_bytes + header_bytes;
    if (row.record_bytes == 0 || request_bytes > NPRM_MESSAGE_BYTES_MAX) {
        nprm_free(request);
        return NPRM_FAIL("nprm_send_to_component", NPRM_ERROR_PARAM, "Component %u takes no message of %u records.", component,
                         units);
    }
    const uint32_t failure = nprm_ipc_send_msg(component, request, static_cast<uint32_t>(request_bytes), NPRM_RECEIVE_ATTEMPTS);
    if (failure != NPRM_OK) return row.hides_transport_failure ? uint32_t{NPRM_OK} : failure;
    const uint32_t result = result_of(row, nprm_reply_slot[component]);
    if (consume != 0) nprm_reply_slot[component] = nullptr;
    return result;
}
