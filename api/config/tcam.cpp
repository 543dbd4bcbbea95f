// TCAM VMR lists and entries: create, delete, space, write, insert, read, delete entries, look up (component 7).

#include "nprm_tcam.h"

#include "../frame/log.h"
#include "exchange.h"

#include <array>
#include <bit>
#include <cstdio>
#include <cstring>

namespace {

using nprm::after_sending;
using nprm::refuse_null;
using nprm::refuse_short;
using tcam_request = nprm::request<nprm_tcam_message>;
using tcam_reply = nprm::reply<nprm_tcam_message>;

constexpr uint32_t lookup_units = NPRM_TCAM_HEAD_UNITS + 1;

// The bits of an ACL result's four flag bytes that are taken from the caller; the others stay as the message buffer holds them.
constexpr auto acl_flag_bits = std::bit_cast<uint32_t>(std::array<uint8_t, 4>{0x07, 0x03, 0x07, 0x01});

struct bulk_operation {
    uint32_t operation;
    uint8_t vmr_id;
    uint16_t position;
    uint16_t nr_entry;
};

// What one message carries of it.
struct bulk_part {
    uint16_t start;
    uint16_t count;
    bool first;
    bool last;
};

// The part that begins at start.  start + count stays within nr_entry, so that 16 bits hold it.
bulk_part part_at(const bulk_operation &bulk, uint16_t start) {
    const uint32_t remaining = uint32_t{bulk.nr_entry} - start;
    const uint32_t count = std::min<uint32_t>(remaining, NPRM_TCAM_ENTRIES_MAX);
    return {start, static_cast<uint16_t>(count), start == 0, count == remaining};
}

void fill_head(nprm_tcam_message &message, const bulk_operation &bulk, const bulk_part &part, uint16_t position) {
    message.progress.start_index = part.start;
    message.progress.first = part.first ? 1 : 0;
    message.progress.last = part.last ? 1 : 0;
    message.list.vmr_id = bulk.vmr_id;
    message.list.nr_entry = bulk.nr_entry;
    message.list.position = position;
}

void fill_single(nprm_tcam_message &message) {
    message.progress.start_index = 0;
    message.progress.first = 1;
    message.progress.last = 1;
}

// fill(entry, part, i) writes entry i of a message; after() runs after each message that went well.
template <typename Fill, typename After>
uint32_t send_entries(const bulk_operation &bulk, Fill fill, After after) {
    const nprm::empty_slot slot(NPRM_COMPONENT_TCAM);
    for (bulk_part part = part_at(bulk, 0);; part = part_at(bulk, static_cast<uint16_t>(part.start + part.count))) {
        tcam_request request(NPRM_COMPONENT_TCAM, bulk.operation, part.count + uint32_t{NPRM_TCAM_HEAD_UNITS});
        if (!request) return nprm::request_error();
        fill_head(*request, bulk, part, bulk.position);
        for (uint32_t i = 0; i < part.count; ++i)
            fill(request->entry[i], part, i);
        const uint32_t code = request.send(after_sending::consume_reply);
        if (code != NPRM_OK) return code;
        after();
        if (part.last) return NPRM_OK;
    }
}

// take(entry, i) hands entry i of the whole operation to the caller.
template <typename Take>
uint32_t fetch_entries(const char *function, const bulk_operation &bulk, Take take) {
    const nprm::empty_slot slot(NPRM_COMPONENT_TCAM);
    for (bulk_part part = part_at(bulk, 0);; part = part_at(bulk, static_cast<uint16_t>(part.start + part.count))) {
        tcam_request request(NPRM_COMPONENT_TCAM, bulk.operation, part.count + uint32_t{NPRM_TCAM_HEAD_UNITS});
        if (!request) return nprm::request_error();
        fill_head(*request, bulk, part, static_cast<uint16_t>(bulk.position + part.start));
        const uint32_t code = request.send(after_sending::keep_reply);
        const tcam_reply answer(NPRM_COMPONENT_TCAM);
        if (code != NPRM_OK) return code;
        if (answer) {
            const uint32_t units = std::max<uint32_t>(answer->header.units, NPRM_TCAM_HEAD_UNITS);
            const uint32_t came = std::min<uint32_t>(units - NPRM_TCAM_HEAD_UNITS, part.count);
            for (uint32_t i = 0; i < came; ++i)
                take(answer->entry[i], uint32_t{part.start} + i);
            if (came < part.count && !nprm::reply_was_cut())
                NPRM_LOG_AT(NPRM_LEVEL_ERROR, function, __LINE__, "The reply has %u of %u entries.", came,
                            static_cast<uint32_t>(part.count));
        }
        if (part.last) return NPRM_OK;
    }
}

void put_acl(nprm_tcam_acl_entry &entry, const nprm_tcam_acl_key &key, const nprm_tcam_acl_key &mask,
             const nprm_tcam_acl_result &result) {
    entry.key = key;
    entry.mask = mask;
    uint32_t kept = 0, given = 0;
    memcpy(&kept, entry.result.flags, sizeof kept);
    memcpy(&given, result.flags, sizeof given);
    const uint32_t merged = (kept & ~acl_flag_bits) | (given & acl_flag_bits);
    memcpy(entry.result.flags, &merged, sizeof merged);
    entry.result.u32_4 = result.u32_4;
    entry.result.u32_8 = result.u32_8;
}

template <typename After>
uint32_t send_acl(const char *function, const bulk_operation &bulk, const nprm_tcam_acl_key *key, const nprm_tcam_acl_key *mask,
                  const nprm_tcam_acl_result *result, After after) {
    if (bulk.nr_entry == 0) return NPRM_OK;
    if (key == nullptr || mask == nullptr || result == nullptr) return refuse_null(function);
    const auto fill = [=](nprm_tcam_entry &entry, const bulk_part &part, uint32_t i) {
        put_acl(entry.acl, key[part.start + i], mask[part.start + i], result[part.start + i]);
    };
    return send_entries(bulk, fill, after);
}

uint32_t send_policy(const char *function, const bulk_operation &bulk, const nprm_tcam_policy_key *key,
                     const nprm_tcam_policy_key *mask, const nprm_tcam_policy_result *result) {
    if (bulk.nr_entry == 0) return NPRM_OK;
    if (key == nullptr || mask == nullptr || result == nullptr) return refuse_null(function);
    const auto fill = [=](nprm_tcam_entry &entry, const bulk_part &part, uint32_t i) {
        entry.policy = {key[part.start + i], mask[part.start + i], result[part.start + i]};
    };
    return send_entries(bulk, fill, [] {});
}

template <typename Entry, typename Key, typename Result>
uint32_t fetch(const char *function, const bulk_operation &bulk, Entry nprm_tcam_entry::*kind, Key *key, Key *mask,
               Result *result) {
    if (bulk.nr_entry == 0) return NPRM_OK;
    if (key == nullptr || mask == nullptr || result == nullptr) return refuse_null(function);
    return fetch_entries(function, bulk, [=](const nprm_tcam_entry &entry, uint32_t i) {
        key[i] = (entry.*kind).key;
        mask[i] = (entry.*kind).mask;
        result[i] = (entry.*kind).result;
    });
}

template <typename Entry, typename Key, typename Result>
uint32_t look_up(const char *function, uint32_t operation, uint8_t vmr_id, Entry nprm_tcam_entry::*kind, const Key *key,
                 Result *result) {
    if (key == nullptr || result == nullptr) return refuse_null(function);
    const nprm::empty_slot slot(NPRM_COMPONENT_TCAM);
    tcam_request request(NPRM_COMPONENT_TCAM, operation, lookup_units);
    if (!request) return nprm::request_error();
    fill_single(*request);
    request->list.vmr_id = vmr_id;
    request->list.nr_entry = 1;
    (request->entry[0].*kind).key = *key;
    const uint32_t code = request.send(after_sending::keep_reply);
    const tcam_reply answer(NPRM_COMPONENT_TCAM);
    if (code != NPRM_OK) return code;
    if (!answer) return NPRM_ERROR;  // the transport has said why
    if (answer->header.units < lookup_units) return refuse_short(function, answer->header.units, lookup_units);
    *result = (answer->entry[0].*kind).result;
    return NPRM_OK;
}

// The whole conversation of an operation without entries that returns only its result.  fill(list) writes what it sends.
template <typename Fill>
uint32_t send_list(uint32_t operation, Fill fill) {
    const nprm::empty_slot slot(NPRM_COMPONENT_TCAM);
    tcam_request request(NPRM_COMPONENT_TCAM, operation, NPRM_TCAM_HEAD_UNITS);
    if (!request) return nprm::request_error();
    fill_single(*request);
    fill(request->list);
    return request.send(after_sending::consume_reply);
}

// The same of an operation that returns more: take(list) hands it to the caller.
template <typename Fill, typename Take>
uint32_t fetch_list(const char *function, uint32_t operation, Fill fill, Take take) {
    const nprm::empty_slot slot(NPRM_COMPONENT_TCAM);
    tcam_request request(NPRM_COMPONENT_TCAM, operation, NPRM_TCAM_HEAD_UNITS);
    if (!request) return nprm::request_error();
    fill_single(*request);
    fill(request->list);
    const uint32_t code = request.send(after_sending::keep_reply);
    const tcam_reply answer(NPRM_COMPONENT_TCAM);
    // A failed transport looks like a success without an answer; it is meant so.
    if (code != NPRM_OK || !answer) return code;
    if (answer->header.units < NPRM_TCAM_HEAD_UNITS) return refuse_short(function, answer->header.units, NPRM_TCAM_HEAD_UNITS);
    take(answer->list);
    return NPRM_OK;
}

void trace_insert() {
    printf("\ngot a reply with error no %d", 0);
    fflush(stdout);
    NPRM_LOG_AT(NPRM_LEVEL_ANY, "nprm_tcam_insert_v4_acl_vmr_dup", 1358, "got a reply with error no %d.", 0);
}

uint32_t yes_or_no(uint32_t code, const char *function, int line, const char *call) {
    if (code == NPRM_OK) return 1;
    NPRM_LOG_AT(NPRM_LEVEL_ERROR, function, line, "TCAM API %s returned - %s error.", call, nprm::result_name(code));
    return 0;
}

}  // namespace

uint32_t nprm_tcam_create_v4_vmr_lst_dup(uint16_t nr_entry, uint8_t *vmr_id) {
    if (vmr_id == nullptr) return refuse_null(__func__);
    return fetch_list(
        __func__, NPRM_TCAM_CREATE_LIST, [=](nprm_tcam_list_record &list) { list.nr_entry = nr_entry; },
        [=](const nprm_tcam_list_record &list) { *vmr_id = list.vmr_id; });
}

uint32_t nprm_tcam_delete_v4_vmr_lst_dup(uint8_t vmr_id) {
    return send_list(NPRM_TCAM_DELETE_LIST, [=](nprm_tcam_list_record &list) { list.vmr_id = vmr_id; });
}

uint32_t nprm_tcam_v4_space_dup(uint32_t *nr_free) {
    if (nr_free == nullptr) return refuse_null(__func__);
    return fetch_list(
        __func__, NPRM_TCAM_SPACE, [](nprm_tcam_list_record &) {},
        [=](const nprm_tcam_list_record &list) { *nr_free = list.nr_entry; });
}

uint32_t nprm_tcam_delete_v4_vmr_dup(uint8_t vmr_id, uint16_t position, uint16_t nr_entry) {
    return send_list(NPRM_TCAM_DELETE_ENTRIES, [=](nprm_tcam_list_record &list) {
        list.vmr_id = vmr_id;
        list.position = position;
        list.nr_entry = nr_entry;
    });
}

uint32_t nprm_tcam_write_v4_acl_vmr_dup(uint8_t vmr_id, uint16_t position, uint16_t nr_entry, const nprm_tcam_acl_key *key,
                                        const nprm_tcam_acl_key *mask, const nprm_tcam_acl_result *result) {
    return send_acl(__func__, {NPRM_TCAM_WRITE_ACL, vmr_id, position, nr_entry}, key, mask, result, [] {});
}

uint32_t nprm_tcam_insert_v4_acl_vmr_dup(uint8_t vmr_id, uint16_t position, uint16_t nr_entry, const nprm_tcam_acl_key *key,
                                         const nprm_tcam_acl_key *mask, const nprm_tcam_acl_result *result) {
    return send_acl(__func__, {NPRM_TCAM_INSERT_ACL, vmr_id, position, nr_entry}, key, mask, result, trace_insert);
}

uint32_t nprm_tcam_read_v4_acl_vmr_dup(uint8_t vmr_id, uint16_t position, uint16_t nr_entry, uint32_t /*shadow_copy*/,
                                       nprm_tcam_acl_key *key, nprm_tcam_acl_key *mask, nprm_tcam_acl_result *result) {
    return fetch(__func__, {NPRM_TCAM_READ_ACL, vmr_id, position, nr_entry}, &nprm_tcam_entry::acl, key, mask, result);
}

uint32_t nprm_tcam_sgwrite_v4_policy_vmr_dup(uint8_t vmr_id, uint16_t position, uint16_t nr_entry,
                                             const nprm_tcam_policy_key *const *p_key, const nprm_tcam_policy_key *const *p_mask,
                                             const nprm_tcam_policy_result *const *p_result) {
    if (nr_entry == 0) return NPRM_OK;
    if (p_key == nullptr || p_mask == nullptr || p_result == nullptr) return refuse_null(__func__);
    const uint32_t used = std::min<uint32_t>(nr_entry, NPRM_TCAM_ENTRIES_MAX);
    for (uint32_t i = 0; i < used; ++i)
        if (p_key[i] == nullptr || p_mask[i] == nullptr || p_result[i] == nullptr) return refuse_null(__func__);
    // Every message takes its entries from the beginning of the arrays, not from its own start; it is meant so.
    const auto fill = [=](nprm_tcam_entry &entry, const bulk_part &, uint32_t i) {
        entry.policy = {*p_key[i], *p_mask[i], *p_result[i]};
    };
    return send_entries({NPRM_TCAM_WRITE_POLICY, vmr_id, position, nr_entry}, fill, [] {});
}

uint32_t nprm_tcam_write_v4_policy_vmr_dup(uint8_t vmr_id, uint16_t position, uint16_t nr_entry, const nprm_tcam_policy_key *key,
                                           const nprm_tcam_policy_key *mask, const nprm_tcam_policy_result *result) {
    return send_policy(__func__, {NPRM_TCAM_WRITE_POLICY, vmr_id, position, nr_entry}, key, mask, result);
}

uint32_t nprm_tcam_insert_v4_policy_vmr_dup(uint8_t vmr_id, uint16_t position, uint16_t nr_entry, const nprm_tcam_policy_key *key,
                                            const nprm_tcam_policy_key *mask, const nprm_tcam_policy_result *result) {
    return send_policy(__func__, {NPRM_TCAM_INSERT_POLICY, vmr_id, position, nr_entry}, key, mask, result);
}

uint32_t nprm_tcam_read_v4_policy_vmr_dup(uint8_t vmr_id, uint16_t position, uint16_t nr_entry, uint32_t /*shadow_copy*/,
                                          nprm_tcam_policy_key *key, nprm_tcam_policy_key *mask, nprm_tcam_policy_result *result) {
    return fetch(__func__, {NPRM_TCAM_READ_POLICY, vmr_id, position, nr_entry}, &nprm_tcam_entry::policy, key, mask, result);
}

uint32_t nprm_ext_tcam_v4_acl_lkup(uint8_t vmr_id, const nprm_tcam_acl_key *key, nprm_tcam_acl_result *result) {
    return look_up(__func__, NPRM_TCAM_LOOKUP_ACL, vmr_id, &nprm_tcam_entry::acl, key, result);
}

uint32_t nprm_ext_tcam_v4_policy_lkup(uint8_t vmr_id, const nprm_tcam_policy_key *key, nprm_tcam_policy_result *result) {
    return look_up(__func__, NPRM_TCAM_LOOKUP_POLICY, vmr_id, &nprm_tcam_entry::policy, key, result);
}

// The plain twins.  Line and call text are part of the interface, the blanks in some of the texts included.
#define TWIN(name, line, call, parameters, arguments)                                                                              \
    uint32_t name parameters {                                                                                                     \
        return yes_or_no(name##_dup arguments, #name, line, call);                                                                 \
    }

#define ACL_PARAMETERS                                                                                                             \
    (uint8_t vmr_id, uint16_t position, uint16_t nr_entry, const nprm_tcam_acl_key *key, const nprm_tcam_acl_key *mask,            \
     const nprm_tcam_acl_result *result)
#define POLICY_PARAMETERS                                                                                                          \
    (uint8_t vmr_id, uint16_t position, uint16_t nr_entry, const nprm_tcam_policy_key *key, const nprm_tcam_policy_key *mask,      \
     const nprm_tcam_policy_result *result)
#define ENTRY_ARGUMENTS (vmr_id, position, nr_entry, key, mask, result)
#define READ_ARGUMENTS (vmr_id, position, nr_entry, shadow_copy, key, mask, result)

// clang-format off
TWIN(nprm_tcam_create_v4_vmr_lst, 1173, "nprm_tcam_create_v4_vmr_lst_dup(nr_entry, vmr_id)",
     (uint16_t nr_entry, uint8_t *vmr_id), (nr_entry, vmr_id))
TWIN(nprm_tcam_delete_v4_vmr_lst, 1197, "nprm_tcam_delete_v4_vmr_lst_dup(vmr_id)", (uint8_t vmr_id), (vmr_id))
TWIN(nprm_tcam_v4_space, 1227, "nprm_tcam_v4_space_dup(nr_free)", (uint32_t *nr_free), (nr_free))
TWIN(nprm_tcam_delete_v4_vmr, 1255, "nprm_tcam_delete_v4_vmr_dup(vmr_id, position, nr_entry)",
     (uint8_t vmr_id, uint16_t position, uint16_t nr_entry), (vmr_id, position, nr_entry))
TWIN(nprm_tcam_write_v4_acl_vmr, 1310, "nprm_tcam_write_v4_acl_vmr_dup(vmr_id, position, nr_entry, key, mask, result)",
     ACL_PARAMETERS, ENTRY_ARGUMENTS)
TWIN(nprm_tcam_insert_v4_acl_vmr, 1370, "nprm_tcam_insert_v4_acl_vmr_dup (vmr_id, position, nr_entry, key, mask, result)",
     ACL_PARAMETERS, ENTRY_ARGUMENTS)
TWIN(nprm_tcam_read_v4_acl_vmr, 1439, "nprm_tcam_read_v4_acl_vmr_dup(vmr_id, position, nr_entry, shadow_copy, key, mask, result)",
     (uint8_t vmr_id, uint16_t position, uint16_t nr_entry, uint8_t shadow_copy, nprm_tcam_acl_key *key, nprm_tcam_acl_key *mask,
      nprm_tcam_acl_result *result), READ_ARGUMENTS)
TWIN(nprm_tcam_sgwrite_v4_policy_vmr, 1502,
     "nprm_tcam_sgwrite_v4_policy_vmr_dup(vmr_id, position, nr_entry, p_key, p_mask, p_result)",
     (uint8_t vmr_id, uint16_t position, uint16_t nr_entry, const nprm_tcam_policy_key *const *p_key,
      const nprm_tcam_policy_key *const *p_mask, const nprm_tcam_policy_result *const *p_result),
     (vmr_id, position, nr_entry, p_key, p_mask, p_result))
TWIN(nprm_tcam_write_v4_policy_vmr, 1564, "nprm_tcam_write_v4_policy_vmr_dup (vmr_id, position, nr_entry, key, mask, result)",
     POLICY_PARAMETERS, ENTRY_ARGUMENTS)
TWIN(nprm_tcam_insert_v4_policy_vmr, 1623, "nprm_tcam_insert_v4_policy_vmr_dup (vmr_id, position, nr_entry, key, mask, result)",
     POLICY_PARAMETERS, ENTRY_ARGUMENTS)
TWIN(nprm_tcam_read_v4_policy_vmr, 1693,
     "nprm_tcam_read_v4_policy_vmr_dup (vmr_id, position, nr_entry, shadow_copy, key, mask, result)",
     (uint8_t vmr_id, uint16_t position, uint16_t nr_entry, uint8_t shadow_copy, nprm_tcam_policy_key *key, nprm_tcam_policy_key *mask,
      nprm_tcam_policy_result *result), READ_ARGUMENTS)
// clang-format on
