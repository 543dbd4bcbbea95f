// Service nodes and service-node groups (component 2).

#include "nprm_service.h"

#include "../frame/log.h"
#include "../frame/request.h"

#include <algorithm>
#include <cstring>

namespace {

using nprm::after_sending;

// Sends count objects, as many a message as fit.  fill(record, i) writes what object i sends, take(record, i) hands a read on.
template <typename Message, typename Fill, typename Take>
uint32_t send_all(uint32_t operation, uint32_t op, uint32_t count, Fill fill, Take take) {
    for (uint32_t start = 0;;) {
        const uint32_t part = std::min<uint32_t>(count - start, NPRM_FDM_UNITS_MAX);
        nprm::request<Message> request(NPRM_COMPONENT_FDM, operation, part);
        if (!request) return nprm::request_error();
        for (uint32_t i = 0; i < part; ++i) {
            request->record[i].result = op;
            fill(request->record[i], start + i);
        }
        const uint32_t code = request.send(after_sending::keep_reply);
        if (code != NPRM_OK) return code;
        const nprm::reply<Message> answer(NPRM_COMPONENT_FDM);
        const uint32_t came = answer && op == NPRM_FDM_READ ? std::min(answer->header.units, part) : 0;
        for (uint32_t i = 0; i < came; ++i)
            take(answer->record[i], start + i);
        start += part;
        if (start == count) return NPRM_OK;
    }
}

uint32_t refuse_null(const char *function) {
    return NPRM_FAIL(function, NPRM_ERROR_PARAM, "An argument is a null pointer.");
}

}  // namespace

uint32_t nprm_sn_op(uint32_t op, uint32_t count, const uint8_t *ids, nprm_service_node *records) {
    if (count == 0) return NPRM_ERROR;
    if (ids == nullptr || records == nullptr) return refuse_null(__func__);
    const auto fill = [=](nprm_fdm_node_record &record, uint32_t i) {
        const nprm_service_node &node = records[i];
        const size_t address_bytes = (node.flags & NPRM_SERVICE_IPV4_FLAG) != 0 ? 4 : sizeof node.address_a;
        record.id = ids[i];
        record.node.flags = node.flags;
        record.node.u16_1 = node.u16_1;
        memcpy(record.node.address_a, node.address_a, address_bytes);
        memcpy(record.node.address_b, node.address_b, address_bytes);
    };
    const auto take = [=](const nprm_fdm_node_record &record, uint32_t i) { records[i] = record.node; };
    return send_all<nprm_fdm_node_message>(NPRM_FDM_SERVICE_NODE, op, count, fill, take);
}

uint32_t nprm_sng_op(uint32_t op, uint32_t count, const uint16_t *ids, nprm_service_node_group *records) {
    if (count == 0) return NPRM_ERROR;
    if (ids == nullptr || records == nullptr) return refuse_null(__func__);
    const auto fill = [=](nprm_fdm_group_record &record, uint32_t i) {
        record.id = ids[i];
        record.flags = records[i].byte[0];
        memcpy(record.fields, records[i].byte + 1, sizeof record.fields);
    };
    // One byte before where they were sent from; it is meant so.
    const auto take = [=](const nprm_fdm_group_record &record, uint32_t i) {
        memcpy(records[i].byte, record.fields, sizeof record.fields);
    };
    return send_all<nprm_fdm_group_message>(NPRM_FDM_NODE_GROUP, op, count, fill, take);
}
