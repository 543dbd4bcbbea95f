// Flow learning's limit, the crash on request, and reads of the configuration and of the port mapping (component 3).

#include "nprm_flow_learning.h"

#include "../frame/log.h"
#include "exchange.h"

#include <cstring>

namespace {

using nprm::refuse_null;

// Copies the bytes that the reply has; those of another operation's reply have no length that could be trusted.
template <typename Fill>
uint32_t read_bytes(const char *function, uint32_t operation, uint8_t *output, uint32_t *output_length, Fill fill) {
    const auto take = [=](const nprm_if_data_message &answer) -> uint32_t {
        if (answer.header.operation != operation)
            return NPRM_FAIL(function, NPRM_ERROR, "Malformed reply: operation %u, asked was %u.", answer.header.operation,
                             operation);
        memcpy(output, answer.bytes, answer.length);
        if (output_length != nullptr) *output_length = answer.length;
        return NPRM_OK;
    };
    return nprm::fetch_one<nprm_if_data_message>(function, NPRM_COMPONENT_IF, operation, fill, take);
}

}  // namespace

uint32_t nprm_set_flowlearn_limit(uint32_t limit) {
    return nprm::send_one<nprm_if_message>(NPRM_COMPONENT_IF, NPRM_IF_SET_FLOWLEARN_LIMIT,
                                           [=](nprm_if_message &message) { message.record[0].limit.limit = limit; });
}

uint32_t nprm_get_flowlearn_limit(uint32_t *limit) {
    if (limit == nullptr) return refuse_null(__func__);
    const auto take = [=](const nprm_if_message &answer) -> uint32_t {
        *limit = answer.record[0].limit.limit;
        return NPRM_OK;
    };
    return nprm::fetch_one<nprm_if_message>(
        __func__, NPRM_COMPONENT_IF, NPRM_IF_GET_FLOWLEARN_LIMIT, [](nprm_if_message &) {}, take);
}

uint32_t nprm_get_flowlearn_max(uint32_t *maximum) {
    if (maximum == nullptr) return refuse_null(__func__);
    *maximum = NPRM_FLOWLEARN_MAX;
    return NPRM_OK;
}

uint32_t nprm_read_config(uint32_t selector, const uint8_t *input, uint32_t input_length, uint8_t *output,
                          uint32_t *output_length) {
    if (output == nullptr || (input == nullptr && input_length != 0)) return refuse_null(__func__);
    // The whole input is written behind what goes out, as far as the buffer holds it: only its first bytes are the record's.
    const auto fill = [=](nprm_if_data_message &message) {
        message.selector = selector;
        message.length = input_length;
        if (input_length != 0) memcpy(message.bytes, input, std::min<uint32_t>(input_length, sizeof message.bytes));
    };
    return read_bytes(__func__, NPRM_IF_READ_CONFIG, output, output_length, fill);
}

uint32_t nprm_read_port_mapping(uint8_t *output) {
    if (output == nullptr) return refuse_null(__func__);
    return read_bytes(__func__, NPRM_IF_READ_PORT_MAPPING, output, nullptr, [](nprm_if_data_message &) {});
}

uint32_t nprm_request_crash(uint32_t argument) {
    return nprm::send_one<nprm_if_message>(NPRM_COMPONENT_IF, NPRM_IF_REQUEST_CRASH,
                                           [=](nprm_if_message &message) { message.record[0].setting = argument; });
}
