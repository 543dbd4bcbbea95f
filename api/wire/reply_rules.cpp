// The rows: what each operation's reply returns.

#include "reply_rules.h"

#include "nprm_fdm_wire.h"
#include "nprm_npa_wire.h"
#include "nprm_tcam_wire.h"

#include <iterator>

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

constexpr reply_rule fdm_replies[] = {
    {NPRM_FDM_SERVICE_NODE, {OUT(nprm_fdm_node_record, node)}},
    {NPRM_FDM_NODE_GROUP, {OUT(nprm_fdm_group_record, fields)}},
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
    }
    return true;
}
static_assert(well_formed(fdm_replies, NPRM_RECORD_BYTES_FDM), "an FDM reply row is out of order or outside its record");
static_assert(well_formed(npa_replies, NPRM_RECORD_BYTES_NPA), "an NPA reply row is out of order or outside its record");
static_assert(well_formed(tcam_replies, NPRM_RECORD_BYTES_TCAM), "a TCAM reply row is out of order or outside its record");

struct component_replies {
    uint32_t component;
    reply_rules replies;
};

constexpr component_replies all_replies[] = {
    {NPRM_COMPONENT_FDM, {fdm_replies, std::size(fdm_replies)}},
    {NPRM_COMPONENT_NPA, {npa_replies, std::size(npa_replies)}},
    {NPRM_COMPONENT_TCAM, {tcam_replies, std::size(tcam_replies)}},
};

}  // namespace

reply_rules reply_rules_of(uint32_t component) {
    for (const component_replies &row : all_replies)
        if (row.component == component) return row.replies;
    return {nullptr, 0};
}

}  // namespace nprm
