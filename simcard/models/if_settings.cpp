// The card's own settings among the interfaces' requests: error-log mask, flow-learning limit, a crash on request.

#include "api/wire/nprm_if_wire.h"
#include "api/config/nprm_flow_learning.h"
#include "if_requests.h"

uint32_t set_errorlog_mask(const model_request &from, model_reply &) {
    mutable_interfaces().errorlog_mask = from.at<nprm_if_record>(0).setting;
    return NPRM_OK;
}

uint32_t set_flowlearn_limit(const model_request &from, model_reply &) {
    const uint32_t limit = from.at<nprm_if_record>(0).limit.limit;
    if (limit > NPRM_FLOWLEARN_MAX) return NPRM_ERROR_PARAM;
    mutable_interfaces().flowlearn_limit = limit;
    return NPRM_OK;
}

uint32_t get_flowlearn_limit(const model_request &, model_reply &reply) {
    reply.at<nprm_if_record>(0).limit.limit = interfaces().flowlearn_limit;
    return NPRM_OK;
}

// The simulated card goes on: what a client's crash request does to it is told by the status, and the fault "exit" ends it.
uint32_t request_crash(const model_request &from, model_reply &) {
    mutable_interfaces().crash_argument = from.at<nprm_if_record>(0).setting;
    ++mutable_interfaces().crash_requests;
    return NPRM_OK;
}
