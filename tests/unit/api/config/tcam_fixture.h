// What the tests of the TCAM operations share: a client of the scripted transport, and entries that tell where they came from.
#ifndef TESTS_TCAM_FIXTURE_H
#define TESTS_TCAM_FIXTURE_H

#include <cstring>
#include <string>
#include <vector>

#include "api/config/nprm_tcam.h"
#include "api/frame/component.h"
#include "api/frame/nprm_client.h"
#include "api/frame/nprm_pool.h"
#include "tests/support/bytes.h"
#include "tests/support/scripted_client.h"

class Tcam : public scripted_client {
  protected:
    // What the server answers to an operation that returns only its result.
    void answer(uint32_t operation, uint32_t result) { ruv.reply(reply_of(operation, 51, {result, 0})); }
    void answer_all(uint32_t operation, uint32_t result, int messages) {
        for (int i = 0; i < messages; ++i)
            answer(operation, result);
    }
    // Zeroes in all request buffers, so that bytes that are not set show as zero.
    void clear_request_buffers() { fill_request_buffers(0); }
    void fill_request_buffers(uint8_t value) {
        for (int i = 0; i < 11; ++i) {
            void *buffer = nprm_ipc_msg_malloc();
            std::memset(buffer, value, 65536);
            nprm_free(buffer);
        }
    }
    void expect_slot_empty() { EXPECT_EQ(nprm_reply_slot[7], nullptr); }
};

// Entry i of the tests' arrays carries i in all its fields.
struct acl_entries {
    std::vector<nprm_tcam_acl_key> key, mask;
    std::vector<nprm_tcam_acl_result> result;
    explicit acl_entries(size_t count) : key(count), mask(count), result(count) {
        for (size_t i = 0; i < count; ++i) {
            const auto n = static_cast<uint16_t>(i);
            key[i] = {static_cast<uint8_t>(n), 2, 3, n, 0x100u + n, 6};
            mask[i] = {0xFF, 0xFE, 0xFFFD, n, 0xFFFFFFFCu, n};
            result[i] = {{1, 1, 1, 1}, 0x1000u + n, n};
        }
    }
};

struct policy_entries {
    std::vector<nprm_tcam_policy_key> key, mask;
    std::vector<nprm_tcam_policy_result> result;
    explicit policy_entries(size_t count) : key(count), mask(count), result(count) {
        for (size_t i = 0; i < count; ++i) {
            const auto n = static_cast<uint16_t>(i);
            key[i] = {0xA5, {1, 2, 3, 4, 5, 6}, n, 0x100u + n, 0x200u + n};
            mask[i] = {0x5A, {9, 8, 7, 6, 5, 4}, n, 0x300u + n, 0x400u + n};
            result[i] = {n, {6, 5, 4, 3, 2, 1}, 0x500u + n, 0x600u + n, 0x7F};
        }
    }
};

// A reply with entries, filled with one byte; its result code is 0.
inline std::vector<uint8_t> entries_reply(uint32_t operation, uint32_t entries, uint8_t with) {
    std::vector<uint8_t> reply(8 + 51 * (entries + 2), with);
    put_u32(reply, 0, operation);
    put_u32(reply, 4, entries + 2);
    put_u32(reply, 8, 0);
    return reply;
}

#endif
