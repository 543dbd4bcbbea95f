// The rows: what each operation's reply returns.

#include "reply_rules.h"

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
    }
    return true;
}
static_assert(well_formed(tcam_replies, NPRM_RECORD_BYTES_TCAM), "a TCAM reply row is out of order or outside its record");

struct component_replies {
    uint32_t component;
    reply_rules replies;
};

constexpr component_replies all_replies[] = {
    {NPRM_COMPONENT_TCAM, {tcam_replies, std::size(tcam_replies)}},
};

}  // namespace

reply_rules reply_rules_of(uint32_t component) {
    for (const component_replies &row : all_replies)
        if (row.component == component) return row.replies;
    return {nullptr, 0};
}

}  // namespace nprm
