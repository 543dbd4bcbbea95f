// A scripted transport: records every call of the client library and answers as the test says.
#ifndef TESTS_FAKE_RUV_H
#define TESTS_FAKE_RUV_H

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "platform/ruv.h"

struct fake_ruv {
    struct bind_call {
        uint32_t sap_class;
        int32_t sap;
        std::array<uint32_t, 6> parameters;
        std::string name;
    };
    struct send_call {
        uint32_t handle, domain, service, opcode, flags;
        std::vector<uint8_t> payload;
        std::array<uint32_t, 17> options;
    };
    struct receive_call {
        uint32_t handle;
        std::array<uint32_t, 10> options;
    };

    // What was called.
    std::vector<bind_call> binds;
    std::vector<send_call> sends;
    std::vector<receive_call> receives;
    std::vector<std::string> log;  // the calls' names, in order; drops are "drop sent" and "drop received"
    bool recording = true;         // off: nothing is kept and nothing allocated, for tests that count allocations

    // What is answered.  An empty script answers every request with its own bytes, result codes and all.
    uint32_t next_handle = 0x1234;
    int32_t send_result = 0;
    uint32_t token = 0x51;
    struct answer {
        int32_t result = 0;            // of ruv_recv; negative: no message
        std::vector<uint8_t> payload;  // of the message
        std::function<void()> before;  // runs before the result is given, for example to take the server away
    };
    std::deque<answer> answers;
    bool payload_is_null = false;
    bool repeat_last = false;  // the last answer is given for ever

    std::vector<uint8_t> &last_request() { return sends.back().payload; }
    void reply(std::vector<uint8_t> payload) { answers.push_back({0, std::move(payload), {}}); }
    void reply(const char *hex);
    void fail_receive(int32_t result, int times = 1);
};

// The one transport of the process, fresh for each test that calls reset_fake_ruv().
fake_ruv &the_fake_ruv();
void reset_fake_ruv();

#endif
