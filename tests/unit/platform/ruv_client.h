// A client of libruv.so for tests: one endpoint, the option words that libnprm gives, the last token remembered.
#ifndef TESTS_RUV_CLIENT_H
#define TESTS_RUV_CLIENT_H

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iterator>
#include <poll.h>
#include <span>
#include <string>
#include <vector>

#include "platform/ruv.h"

using byte_list = std::vector<uint8_t>;

struct ruv_client {
    uint32_t handle = bind("test client");
    uint32_t token = 0;

    static uint32_t bind(const char *name) {
        constexpr uint32_t parameters[6] = {1, 0, 1024, 0, 0, 15};
        return ruv_bind(4, -1, parameters, name);
    }

    int32_t send(uint32_t opcode, const byte_list &payload) {
        constexpr uint32_t options[17] = {1};
        ruv_message sent;
        const auto size = static_cast<uint32_t>(payload.size());
        const int32_t result = ruv_send(handle, 0xFE000000, 62, opcode, payload.data(), size, &sent, 0, options);
        if (result < 0) return result;
        token = ruv_rr_token_get(&sent);
        return ruv_drop(handle, &sent);
    }

    // Waits for the reply to the request with this token, takes its payload and drops it.
    int32_t receive(uint32_t of, byte_list *reply) {
        const uint32_t options[10] = {1, 0, 1, of};
        ruv_message received;
        const int32_t result = ruv_recv(handle, &received, options);
        if (result < 0) return result;
        const auto *payload = static_cast<const uint8_t *>(ruv_payload_get(&received, ruv_payload_size(&received), nullptr));
        reply->assign(payload, payload + ruv_payload_size(&received));
        return ruv_drop(handle, &received);
    }

    int32_t receive(byte_list *reply) { return receive(token, reply); }

    int32_t receive() {
        byte_list ignored;
        return receive(&ignored);
    }

    int32_t exchange(uint32_t opcode, const byte_list &payload, byte_list *reply) {
        const int32_t result = send(opcode, payload);
        return result < 0 ? result : receive(reply);
    }
};

inline size_t open_descriptors() {
    using std::filesystem::directory_iterator;
    return static_cast<size_t>(std::distance(directory_iterator("/proc/self/fd"), directory_iterator{}));
}

// Waits for what another thread or process does; false when it does not come.
inline bool comes_true(const std::function<bool()> &condition) {
    for (int tries = 0; tries < 5000; ++tries) {
        if (condition()) return true;
        poll(nullptr, 0, 1);
    }
    return false;
}

#endif
