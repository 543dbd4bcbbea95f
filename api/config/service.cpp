// Service nodes, their groups and distribution, flow trace and dump (component 2), service contexts (0), WCCP (9), the error-log
// mask (3).

#include "nprm_service.h"

#include "../wire/nprm_if_wire.h"
#include "exchange.h"

#include <cstring>

namespace {

using nprm::refuse_null;

// A record of the caller's as it goes out: all that stands before the addresses, and of each address 4 bytes or all.
template <typename Record>
void fill_record(Record &to, const Record &from, bool four_bytes) {
    if (!four_bytes) {
        to = from;
        return;
    }
    memcpy(static_cast<void *>(&to), &from, offsetof(Record, address_a) + sizeof(uint32_t));
    memcpy(to.address_b, from.address_b, sizeof(uint32_t));
}

template <typename Fill>
uint32_t send_fdm(uint32_t operation, Fill fill) {
    return nprm::send_one<nprm_fdm_single_message>(NPRM_COMPONENT_FDM, operation,
                                                   [=](nprm_fdm_single_message &message) { fill(message.record); });
}

void fill_wccp_entry(nprm_wccp_entry &to, const nprm_wccp_entry &from) {
    if ((from.flags & NPRM_WCCP_MAC_FLAG) != 0)
        memcpy(&to, &from, offsetof(nprm_wccp_entry, address_a) + NPRM_WCCP_MAC_BYTES);
    else if ((from.flags & (NPRM_WCCP_IPV4_FLAG | NPRM_WCCP_IPV6_FLAG)) != 0)
        fill_record(to, from, (from.flags & NPRM_WCCP_IPV4_FLAG) != 0);
    else
        to.flags = from.flags;
}

}  // namespace

uint32_t nprm_sn_op(uint32_t op, uint32_t count, const uint8_t *ids, nprm_service_node *records) {
    if (count == 0) return NPRM_ERROR;
    if (ids == nullptr || records == nullptr) return refuse_null(__func__);
    const auto fill = [=](nprm_fdm_node_record &record, size_t i) {
        record.result = op;
        record.id = ids[i];
        fill_record(record.node, records[i], (records[i].flags & NPRM_SERVICE_IPV4_FLAG) != 0);
    };
    const auto take = [=](const nprm_fdm_node_record &record, size_t i) { records[i] = record.node; };
    return nprm::send_objects<nprm_fdm_node_message>(
        {NPRM_COMPONENT_FDM, NPRM_FDM_SERVICE_NODE, NPRM_FDM_UNITS_MAX, count, op == NPRM_FDM_READ}, fill, take);
}

uint32_t nprm_sng_op(uint32_t op, uint32_t count, const uint16_t *ids, nprm_service_node_group *records) {
    if (count == 0) return NPRM_ERROR;
    if (ids == nullptr || records == nullptr) return refuse_null(__func__);
    const auto fill = [=](nprm_fdm_group_record &record, size_t i) {
        record.result = op;
        record.id = ids[i];
        record.flags = records[i].byte[0];
        memcpy(record.fields, records[i].byte + 1, sizeof record.fields);
    };
    // One byte before where they were sent from; it is meant so.
    const auto take = [=](const nprm_fdm_group_record &record, size_t i) {
        memcpy(records[i].byte, record.fields, sizeof record.fields);
    };
    return nprm::send_objects<nprm_fdm_group_message>(
        {NPRM_COMPONENT_FDM, NPRM_FDM_NODE_GROUP, NPRM_FDM_UNITS_MAX, count, op == NPRM_FDM_READ}, fill, take);
}

uint32_t nprm_sng_dist_op(uint32_t op, uint32_t count, const nprm_distribution_group *groups, nprm_distribution_member *members) {
    if (count == 0) return NPRM_ERROR;
    if (groups == nullptr || members == nullptr) return refuse_null(__func__);
    const auto fill = [=](nprm_fdm_dist_record &record, size_t i) {
        record.result = op;
        record.group = groups[i];
        record.member = members[i];
    };
    const auto take = [=](const nprm_fdm_dist_record &record, size_t i) { members[i] = record.member; };
    return nprm::send_objects<nprm_fdm_dist_message>(
        {NPRM_COMPONENT_FDM, NPRM_FDM_DISTRIBUTION, NPRM_FDM_UNITS_MAX, count, op == NPRM_FDM_READ}, fill, take);
}

uint32_t nprm_flow_trace(const nprm_flow_trace_record *flow) {
    if (flow == nullptr) return refuse_null(__func__);
    return send_fdm(NPRM_FDM_FLOW_TRACE, [=](nprm_fdm_single_record &record) { record.trace = *flow; });
}

uint32_t nprm_flow_dump(const nprm_flow_dump_record *flow) {
    if (flow == nullptr) return refuse_null(__func__);
    return send_fdm(NPRM_FDM_FLOW_DUMP, [=](nprm_fdm_single_record &record) { record.dump = *flow; });
}

uint32_t nprm_show_v4_flow_dist(const nprm_flow_dist_query *query, uint32_t *words) {
    if (query == nullptr || words == nullptr) return refuse_null(__func__);
    nprm::request<nprm_fdm_single_message> request(NPRM_COMPONENT_FDM, NPRM_FDM_FLOW_DISTRIBUTION, 1);
    if (!request) return nprm::request_error();
    request->record.query = *query;
    const uint32_t code = request.send(nprm::after_sending::keep_reply);
    // The reply stays in its slot; it is meant so.
    const auto *answer = reinterpret_cast<const nprm_fdm_single_message *>(nprm_reply_slot[NPRM_COMPONENT_FDM]);
    if (code != NPRM_OK || answer == nullptr) return code;
    if (answer->header.units == 0) return nprm::refuse_short(__func__, 0, 1);
    memcpy(words, answer->record.reply.word, sizeof answer->record.reply.word);
    return NPRM_OK;
}

uint32_t nprm_swap_src_ip(uint8_t value) {
    return send_fdm(NPRM_FDM_SWAP_SOURCE, [=](nprm_fdm_single_record &record) { record.value = value; });
}

uint32_t nprm_set_pc_frame_version(uint8_t version) {
    return send_fdm(NPRM_FDM_FRAME_VERSION, [=](nprm_fdm_single_record &record) { record.value = version; });
}

uint32_t nprm_sc_op(uint32_t op, uint32_t count, const uint8_t *ids, nprm_service_context *records) {
    if (count == 0) return NPRM_ERROR;
    if (ids == nullptr || records == nullptr) return refuse_null(__func__);
    const auto fill = [=](nprm_cmm_context_record &record, size_t i) {
        record.result = op;
        record.id = ids[i];
        fill_record(record.context, records[i], (records[i].flags & NPRM_SERVICE_CONTEXT_IPV4_FLAG) != 0);
    };
    const auto take = [=](const nprm_cmm_context_record &record, size_t i) { records[i] = record.context; };
    return nprm::send_objects<nprm_cmm_context_message>(
        {NPRM_COMPONENT_CMM, NPRM_CMM_SERVICE_CONTEXT, NPRM_CMM_UNITS_MAX, count, op == NPRM_CMM_READ}, fill, take);
}

uint32_t nprm_scg_op(uint32_t op, uint8_t group, nprm_service_context_group *list) {
    if (list == nullptr) return refuse_null(__func__);
    nprm::request<nprm_cmm_group_message> request(NPRM_COMPONENT_CMM, NPRM_CMM_CONTEXT_GROUP, 1);
    if (!request) return nprm::request_error();
    request->record.result = op;
    request->record.group = group;
    request->record.list.length = list->length;
    memcpy(request->record.list.byte, list->byte, std::min<size_t>(list->length, NPRM_CONTEXT_GROUP_BYTES_MAX));
    const uint32_t code = request.send(nprm::after_sending::keep_reply);
    if (code != NPRM_OK) return code;
    const nprm::reply<nprm_cmm_group_message> answer(NPRM_COMPONENT_CMM);
    if (op != NPRM_CMM_READ || !answer) return NPRM_OK;
    if (answer->header.units == 0) return nprm::refuse_short(__func__, 0, 1);
    const nprm_service_context_group &came = answer->record.list;
    const size_t used = std::min<size_t>(came.length, NPRM_CONTEXT_GROUP_BYTES_READ);
    list->length = came.length;
    memcpy(list->byte, came.byte, used);
    memset(list->byte + used, 0, NPRM_CONTEXT_GROUP_BYTES_READ - used);
    return NPRM_OK;
}

uint32_t nprm_wccp_op(uint32_t op, uint32_t count, const uint8_t *ids, nprm_wccp_entry *records) {
    if (count == 0) return NPRM_ERROR;
    if (ids == nullptr || records == nullptr) return refuse_null(__func__);
    const auto fill = [=](nprm_wccp_entry_record &record, size_t i) {
        record.result = op;
        record.id = ids[i];
        fill_wccp_entry(record.entry, records[i]);
    };
    const auto take = [=](const nprm_wccp_entry_record &record, size_t i) { records[i] = record.entry; };
    return nprm::send_objects<nprm_wccp_entry_message>(
        {NPRM_COMPONENT_WCCP, NPRM_WCCP_ENTRY, NPRM_WCCP_UNITS_MAX, count, op == NPRM_WCCP_READ}, fill, take);
}

uint32_t nprm_wccp_set_mtu(uint16_t mtu) {
    return nprm::send_one<nprm_wccp_mtu_message>(NPRM_COMPONENT_WCCP, NPRM_WCCP_SET_MTU,
                                                 [=](nprm_wccp_mtu_message &message) { message.record.mtu = mtu; });
}

uint32_t nprm_set_errorlog_mask(uint32_t mask) {
    return nprm::send_one<nprm_if_message>(NPRM_COMPONENT_IF, NPRM_IF_ERRORLOG_MASK,
                                           [=](nprm_if_message &message) { message.record[0].setting = mask; });
}
