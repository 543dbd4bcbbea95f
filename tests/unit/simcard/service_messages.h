// Messages about service nodes, contexts and WCCP entries, field by field at their offsets.
#ifndef TESTS_UNIT_SIMCARD_SERVICE_MESSAGES_H
#define TESTS_UNIT_SIMCARD_SERVICE_MESSAGES_H

#include <array>

#include "messages.h"

constexpr uint32_t cmm_component = 0, fdm_component = 2, wccp_component = 9;
constexpr uint32_t act_add = 0, act_read = 1, act_delete = 2, act_replace = 4;

// Records of zeros but for the action that each begins with.
inline message service_message(uint32_t record_bytes, uint32_t operation, uint32_t action, uint32_t units = 1) {
    message bytes(8 + size_t{record_bytes} * units, 0);
    put32(bytes, 0, operation);
    put32(bytes, 4, units);
    for (uint32_t i = 0; i < units; ++i)
        put32(bytes, 8 + size_t{record_bytes} * i, action);
    return bytes;
}

// IPv4 objects, a record for each id: the addresses are host-order integers.  Bytes that a client does not set are 0xA5.
inline void put_v4(message &bytes, size_t at, uint32_t address) {
    std::fill_n(bytes.begin() + static_cast<ptrdiff_t>(at), 16, uint8_t{0xA5});
    put32(bytes, at, address);
}
inline message node_message(uint32_t action, uint8_t id, uint32_t address = 0, uint32_t secondary = 0) {
    message bytes = service_message(80, 0, action);
    put8(bytes, 12, id);
    put8(bytes, 13, 0x42);
    put16(bytes, 14, 0x1234);
    put_v4(bytes, 16, address);
    put_v4(bytes, 32, secondary);
    return bytes;
}
inline message context_message(uint32_t action, uint8_t id, uint32_t address = 0, uint32_t secondary = 0) {
    message bytes = service_message(38, 0, action);
    put8(bytes, 12, id);
    put8(bytes, 13, 0x02);
    put_v4(bytes, 14, address);
    put_v4(bytes, 30, secondary);
    return bytes;
}
inline message group_message(uint32_t action, uint16_t id, uint8_t flags = 0, uint32_t fields = 0) {
    message bytes = service_message(80, 1, action);
    put16(bytes, 12, id);
    put8(bytes, 14, flags);
    put16(bytes, 15, fields);
    return bytes;
}
inline message member_message(uint32_t action, uint8_t index, uint16_t group, uint8_t flags = 0, uint8_t node = 0) {
    message bytes = service_message(80, 2, action);
    put8(bytes, 12, index);
    put16(bytes, 13, group);
    put8(bytes, 15, flags);
    put8(bytes, 16, node);
    return bytes;
}
inline message context_group_message(uint32_t action, uint32_t group, const std::vector<uint8_t> &ids = {}) {
    message bytes = service_message(38, 1, action);
    put32(bytes, 12, group);
    put8(bytes, 16, static_cast<uint32_t>(ids.size()));
    std::copy(ids.begin(), ids.end(), bytes.begin() + 17);
    return bytes;
}
inline message wccp_message(uint32_t action, uint8_t id, uint8_t flags = 0, uint8_t fill = 0) {
    message bytes = service_message(40, 0, action);
    put8(bytes, 12, id);
    put8(bytes, 13, flags);
    std::fill_n(bytes.begin() + 14, 32, fill);
    return bytes;
}
// An operation of component 2 that is one record: bytes behind the header.
inline message flow_message(uint32_t operation, const std::vector<uint8_t> &fields) {
    message bytes = service_message(80, operation, 0);
    std::copy(fields.begin(), fields.end(), bytes.begin() + 8);
    return bytes;
}
// Two messages of one record as one of two.
inline message both(message first, const message &second) {
    put32(first, 4, 2);
    first.insert(first.end(), second.begin() + 8, second.end());
    return first;
}

class services_under_test {
  public:
    message ask(uint32_t component, const message &request) {
        const auto answer = card_.serve(*find_component(component), std::as_bytes(std::span(request)));
        message reply(answer.message.size());
        std::memcpy(reply.data(), answer.message.data(), reply.size());
        return reply;
    }
    uint32_t code_of(uint32_t component, const message &request) { return get32(ask(component, request), 8); }
    static nlohmann::json state(uint32_t component) { return find_component(component)->model->describe(); }

  private:
    card card_{{}};
};

#endif
