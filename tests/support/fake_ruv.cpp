#include "fake_ruv.h"

#include <algorithm>
#include <cstring>

#include "bytes.h"

namespace {

fake_ruv instance;
std::vector<uint8_t> echo(65536);
size_t echo_bytes = 0;
fake_ruv::answer current;
std::vector<uint8_t> *received = nullptr;
uint32_t last_token = 0;

enum message_kind : uint64_t { sent_message = 0x5e47, received_message = 0x4ece };

void note(const char *call) {
    if (instance.recording) instance.log.emplace_back(call);
}

}  // namespace

fake_ruv &the_fake_ruv() {
    return instance;
}

void reset_fake_ruv() {
    instance = fake_ruv{};
    received = nullptr;
}

void fake_ruv::reply(const char *hex) {
    reply(bytes_of(hex));
}

void fake_ruv::fail_receive(int32_t result, int times) {
    for (int i = 0; i < times; ++i)
        answers.push_back({result, {}, {}});
}

uint32_t ruv_bind(uint32_t sap_class, int32_t sap, const uint32_t parameters[6], const char *name) {
    note("bind");
    fake_ruv::bind_call call{sap_class, sap, {}, name};
    std::copy_n(parameters, 6, call.parameters.begin());
    instance.binds.push_back(call);
    return instance.next_handle;
}

int32_t ruv_send(uint32_t handle, uint32_t domain, uint32_t service, uint32_t opcode, const void *payload, uint32_t size,
                 ruv_message *sent, uint32_t flags, const uint32_t options[17]) {
    note("send");
    const auto *bytes = static_cast<const uint8_t *>(payload);
    if (instance.recording) {
        fake_ruv::send_call call{handle, domain, service, opcode, flags, {bytes, bytes + size}, {}};
        std::copy_n(options, 17, call.options.begin());
        instance.sends.push_back(std::move(call));
    }
    if (instance.send_result < 0) return instance.send_result;
    echo_bytes = std::min<size_t>(size, echo.size());
    std::memcpy(echo.data(), bytes, echo_bytes);
    std::memset(sent, 0, sizeof *sent);
    sent->opaque[0] = sent_message;
    sent->opaque[1] = instance.token;
    last_token = instance.token++;
    return instance.send_result;
}

uint32_t ruv_rr_token_get(const ruv_message *sent) {
    note("token");
    EXPECT_EQ(sent->opaque[0], sent_message) << "the token of what was not sent";
    return static_cast<uint32_t>(sent->opaque[1]);
}

int32_t ruv_recv(uint32_t handle, ruv_message *message, const uint32_t options[10]) {
    note("recv");
    EXPECT_EQ(options[3], last_token) << "the reply to another request";
    if (instance.recording) {
        fake_ruv::receive_call call{handle, {}};
        std::copy_n(options, 10, call.options.begin());
        instance.receives.push_back(call);
    }
    std::memset(message, 0, sizeof *message);
    message->opaque[0] = received_message;
    received = nullptr;
    if (instance.answers.empty()) return 0;
    current = instance.answers.front();
    if (!instance.repeat_last || instance.answers.size() > 1) instance.answers.pop_front();
    if (current.before) current.before();
    if (current.result >= 0) received = &current.payload;
    return current.result;
}

uint32_t ruv_payload_size(const ruv_message *message) {
    EXPECT_EQ(message->opaque[0], received_message) << "the size of what was not received";
    return static_cast<uint32_t>(received != nullptr ? received->size() : echo_bytes);
}

void *ruv_payload_get(const ruv_message *message, uint32_t size, const ruv_message *sent) {
    EXPECT_EQ(size, ruv_payload_size(message));
    EXPECT_EQ(sent->opaque[1], last_token) << "the payload of another exchange";
    EXPECT_EQ(message->opaque[0], received_message) << "the payload of what was not received";
    if (instance.payload_is_null) return nullptr;
    return received != nullptr ? received->data() : echo.data();
}

int32_t ruv_drop(uint32_t handle, ruv_message *message) {
    EXPECT_EQ(handle, instance.next_handle);
    note(message->opaque[0] == sent_message ? "drop sent" : "drop received");
    EXPECT_NE(message->opaque[0], 0u) << "dropped twice";
    message->opaque[0] = 0;
    return 0;
}
