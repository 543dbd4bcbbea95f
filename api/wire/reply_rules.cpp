// The rows: what each operation's reply returns.

#include "reply_rules.h"

#include "nprm_fdm_wire.h"
#include "nprm_if_wire.h"
#include "nprm_mac_wire.h"
#include "nprm_npa_wire.h"
#include "nprm_tcam_wire.h"
#include "nprm_wccp_wire.h"

#include <span>

namespace nprm {

namespace {

#define OUT(record, field)                                                                                                         \
    reply_field {                                                                                                                  \
        offsetof(record, field), sizeof(record::field)                                                                             \
    }

// Operations that return only the result code stand here as well: an operation without a row is one that nobody knows.
constexpr reply_rule tcam_replies[] = {
    {NPRM_TCAM_CREATE_LIST, {OUT(nprm_tcam_list_record, vmr_id)}},
    {NPRM_TCAM_DELETE_LIST, {}},
    {NPRM_TCAM_SPACE, {OUT(nprm_tcam_list_record, nr_entry)}},
    {NPRM_TCAM_INSERT_ACL, {}},
    {NPRM_TCAM_READ_ACL, {OUT(nprm_tcam_acl_entry, key), OUT(nprm_tcam_acl_entry, mask), OUT(nprm_tcam_acl_entry, result)}},
    {NPRM_TCAM_WRITE_ACL, {}},
    {NPRM_TCAM_INSERT_POLICY, {}},
    {NPRM_TCAM_READ_POLICY,
     {OUT(nprm_tcam_policy_entry, key), OUT(nprm_tcam_policy_entry, mask), OUT(nprm_tcam_policy_entry, result)}},
    {NPRM_TCAM_WRITE_POLICY, {}},
    {NPRM_TCAM_DELETE_ENTRIES, {}},
    {NPRM_TCAM_LOOKUP_ACL, {OUT(nprm_tcam_acl_entry, result)}},
    {NPRM_TCAM_LOOKUP_POLICY, {OUT(nprm_tcam_policy_entry, result)}},
};

constexpr reply_field mac_word = {offsetof(nprm_mac_record, value), sizeof(uint32_t)};
constexpr reply_field mac_address = {offsetof(nprm_mac_record, value), NPRM_MAC_ADDRESS_BYTES};
constexpr reply_field mac_counters = {offsetof(nprm_mac_record, value), NPRM_PORT_COUNTERS * sizeof(uint32_t)};
constexpr reply_field mac_sfp = {offsetof(nprm_mac_record, value), NPRM_SFP_BYTES};

constexpr reply_rule mac_replies[] = {
    {NPRM_MAC_SET_MTU, {}},
    {NPRM_MAC_GET_MTU, {mac_word}},
    {NPRM_MAC_SET_SPEED, {}},
    {NPRM_MAC_GET_SPEED, {mac_word}},
    {NPRM_MAC_SET_NEGOTIATE, {}},
    {NPRM_MAC_GET_NEGOTIATE, {mac_word}},
    {NPRM_MAC_SET_ADDRESS, {}},
    {NPRM_MAC_GET_ADDRESS, {mac_address}},
    {NPRM_MAC_SET_LINK_STATE, {}},
    {NPRM_MAC_GET_LINK_STATE, {mac_word}},
    {NPRM_MAC_GET_COUNTERS, {mac_counters}},
    {NPRM_MAC_READ_SFP_MSA, {mac_sfp}},
    {NPRM_MAC_READ_SFP_DOM, {mac_sfp}},
    {NPRM_MAC_SET_LED, {}},
};

constexpr reply_rule fdm_replies[] = {
    {NPRM_FDM_SERVICE_NODE, {OUT(nprm_fdm_node_record, node)}},
    {NPRM_FDM_NODE_GROUP, {OUT(nprm_fdm_group_record, fields)}},
    {NPRM_FDM_DISTRIBUTION, {OUT(nprm_fdm_dist_record, member)}},
    {NPRM_FDM_FLOW_TRACE, {}},
    {NPRM_FDM_FLOW_DUMP, {}},
    {NPRM_FDM_FLOW_DISTRIBUTION, {OUT(nprm_fdm_single_record, reply.word)}},
    {NPRM_FDM_SWAP_SOURCE, {}},
    {NPRM_FDM_FRAME_VERSION, {}},
};

// The record's own part of the bytes comes with the fields, the part behind it with the list.
constexpr reply_field if_data = {offsetof(nprm_if_data_record, length),
                                 sizeof(nprm_if_data_record) - offsetof(nprm_if_data_record, length)};
constexpr reply_list if_bytes = {offsetof(nprm_if_data_record, length), offsetof(nprm_if_data_record, bytes), 1, true};

constexpr reply_rule if_replies[] = {
    {NPRM_IF_CREATE, {}},
    {NPRM_IF_DELETE, {}},
    {NPRM_IF_SET_STATE, {}},
    {NPRM_IF_SET_MAC, {}},
    {NPRM_IF_SET_V4, {}},
    {NPRM_IF_SET_V6, {}},
    {NPRM_IF_SB_ACTIVE, {}},
    {NPRM_IF_PC_BALANCE, {}},
    {NPRM_IF_PC_ADD, {}},
    {NPRM_IF_PC_DELETE, {}},
    {NPRM_IF_BG_CREATE, {}},
    {NPRM_IF_BG_DELETE, {}},
    {NPRM_IF_BG_ADD_VLAN, {}},
    {NPRM_IF_BG_DELETE_VLAN, {}},
    {NPRM_IF_FIB, {OUT(nprm_if_fib_record, prefix), OUT(nprm_if_fib_record, nexthop)}},
    {NPRM_IF_ERRORLOG_MASK, {}},
    {NPRM_IF_READ_CONFIG, {if_data}, if_bytes},
    {NPRM_IF_TCAM_LOOKUP, {}},
    {NPRM_IF_SET_FLOWLEARN_LIMIT, {}},
    {NPRM_IF_GET_FLOWLEARN_LIMIT, {OUT(nprm_if_limit_record, limit)}},
    {NPRM_IF_READ_PORT_MAPPING, {if_data}, if_bytes},
    {NPRM_IF_REQUEST_CRASH, {}},
};

constexpr reply_rule wccp_replies[] = {
    {NPRM_WCCP_ENTRY, {OUT(nprm_wccp_entry_record, entry)}},
    {NPRM_WCCP_SET_MTU, {}},
};

// What a caller of the network processor's operations sees is the record but for its result code.
constexpr reply_field npa_record = {sizeof(nprm_npa_table_record::result),
                                    sizeof(nprm_npa_table_record) - sizeof(nprm_npa_table_record::result)};
constexpr reply_field npa_summary = {offsetof(nprm_npa_summary_record, descriptor),
                                     offsetof(nprm_npa_summary_record, unset_672) - offsetof(nprm_npa_summary_record, descriptor)};
constexpr reply_list npa_entries = {offsetof(nprm_npa_table_record, entries), sizeof(nprm_npa_table_record), sizeof(nprm_hw_entry)};
constexpr reply_list npa_registers = {offsetof(nprm_npa_register_message, count) - sizeof(nprm_message_header),
                                      offsetof(nprm_npa_register_message, value) - sizeof(nprm_message_header), sizeof(uint32_t)};

constexpr reply_rule npa_replies[] = {
    {NPRM_NPA_TABLE_SUMMARY, {npa_summary}},
    {NPRM_NPA_TABLE_GET, {npa_record}, npa_entries},
    {NPRM_NPA_TABLE_SEARCH, {npa_record}, npa_entries},
    {NPRM_NPA_TABLE_LOOKUP, {npa_record}, npa_entries},
    {NPRM_NPA_REGISTERS, {npa_record}, npa_registers},
    {NPRM_NPA_TM_QUEUE_DEPTH, {npa_record}},
    {NPRM_NPA_TM_GLOBAL_STATS, {npa_record}},
    {NPRM_NPA_CONFIG_SRAM, {npa_record}},
    {NPRM_NPA_CRASH_DUMP_INFO, {npa_record}},
    {NPRM_NPA_CAPTURE_SE_CONFIG, {npa_record}},
};

// Every operation once, in order, with fields that ascend and end inside the record.
template <size_t count>
constexpr bool well_formed(const reply_rule (&rules)[count], uint32_t record_bytes) {
    for (uint32_t row = 0; row < count; ++row) {
        if (row > 0 && rules[row].operation <= rules[row - 1].operation) return false;
        uint32_t end = 0;
        for (const reply_field &field : rules[row].fields) {
            if (field.bytes == 0) break;
            if (field.offset < end) return false;
            end = uint32_t{field.offset} + field.bytes;
        }
        if (end > record_bytes) return false;
        const reply_list &list = rules[row].list;
        if (list.element_bytes != 0 && (list.count_offset + sizeof(uint32_t) > end || list.first_offset > record_bytes))
            return false;
        // A reply that ends inside its record is copied as one run.
        if (list.ends_reply &&
            (rules[row].fields[0].offset != sizeof(uint32_t) || rules[row].fields[0].bytes + sizeof(uint32_t) != record_bytes))
            return false;
    }
    return true;
}
static_assert(well_formed(fdm_replies, NPRM_RECORD_BYTES_FDM), "an FDM reply row is out of order or outside its record");
static_assert(well_formed(if_replies, NPRM_RECORD_BYTES_IF), "an IF reply row is out of order or outside its record");
static_assert(well_formed(mac_replies, NPRM_RECORD_BYTES_MAC), "a MAC reply row is out of order or outside its record");
static_assert(well_formed(npa_replies, NPRM_RECORD_BYTES_NPA), "an NPA reply row is out of order or outside its record");
static_assert(well_formed(tcam_replies, NPRM_RECORD_BYTES_TCAM), "a TCAM reply row is out of order or outside its record");
static_assert(well_formed(wccp_replies, NPRM_RECORD_BYTES_WCCP), "a WCCP reply row is out of order or outside its record");

struct component_replies {
    uint32_t component;
    std::span<const reply_rule> rules;
};

constexpr component_replies all_replies[] = {
    {NPRM_COMPONENT_MAC, mac_replies}, {NPRM_COMPONENT_FDM, fdm_replies},   {NPRM_COMPONENT_IF, if_replies},
    {NPRM_COMPONENT_NPA, npa_replies}, {NPRM_COMPONENT_TCAM, tcam_replies}, {NPRM_COMPONENT_WCCP, wccp_replies},
};

std::span<const reply_rule> rules_of(uint32_t component) {
    for (const component_replies &row : all_replies)
        if (row.component == component) return row.rules;
    return {};
}

}  // namespace

const reply_rule *reply_rule_of(uint32_t component, uint32_t operation) {
    for (const reply_rule &rule : rules_of(component))
        if (rule.operation == operation) return &rule;
    return nullptr;
}

}  // namespace nprm
