// TCAM operations: every byte of their requests, every use of their replies, and the yes/no twins.

#include "api/config/nprm_tcam.h"

#include <cerrno>
#include <cstring>
#include <functional>
#include <map>

#include "api/frame/component.h"
#include "api/frame/nprm_client.h"
#include "api/frame/nprm_pool.h"
#include "tests/support/bytes.h"
#include "tests/support/error_log.h"
#include "tests/support/scripted_client.h"

namespace {

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

// ---- operations without entries

TEST_F(Tcam, CreateSendsTheListsSizeAndReturnsItsId) {
    clear_request_buffers();
    std::vector<uint8_t> reply = reply_of(0, 51, {0, 0});
    reply[59] = 0xC7;
    ruv.reply(reply);
    uint8_t vmr_id = 0;
    EXPECT_EQ(nprm_tcam_create_v4_vmr_lst_dup(0x1234, &vmr_id), 0u);
    EXPECT_EQ(vmr_id, 0xC7);
    expect_slot_empty();
    ASSERT_EQ(ruv.last_request().size(), 110u);
    EXPECT_EQ(ruv.sends[0].opcode, 190491u);
    EXPECT_BYTES(ruv.last_request(), 0, "00 00 00 00  02 00 00 00  00 00 00 00  00 00 00 00  01 01 00");
    EXPECT_BYTES(ruv.last_request(), 59, "00  34 12 00 00  00 00");
}

TEST_F(Tcam, CreateLeavesItsOutputAloneWhenRefused) {
    answer(0, 26);
    uint8_t vmr_id = 0x55;
    EXPECT_EQ(nprm_tcam_create_v4_vmr_lst_dup(10, &vmr_id), 26u);
    EXPECT_EQ(vmr_id, 0x55);
    expect_slot_empty();
}

TEST_F(Tcam, CreateWithoutAReplyReturns0AndLeavesItsOutputAlone) {
    ruv.send_result = -1;
    uint8_t vmr_id = 0x55;
    stderr_of([&] { EXPECT_EQ(nprm_tcam_create_v4_vmr_lst_dup(10, &vmr_id), 0u); });
    EXPECT_EQ(vmr_id, 0x55);
}

TEST_F(Tcam, CreateWithAReplyThatLacksTheIdIsMalformed) {
    for (const size_t bytes : {12u, 59u, 109u}) {
        std::vector<uint8_t> reply = reply_of(0, 51, {0, 0});
        reply.resize(bytes);
        ruv.reply(reply);
        uint8_t vmr_id = 0x55;
        const std::string log = stderr_of([&] { EXPECT_EQ(nprm_tcam_create_v4_vmr_lst_dup(10, &vmr_id), 1u); });
        EXPECT_NE(log.find("claims 2 records, "), std::string::npos) << log;
        EXPECT_EQ(log.find("Malformed reply"), std::string::npos) << "one line is enough: " << log;
        EXPECT_EQ(vmr_id, 0x55);
        expect_slot_empty();
    }
    ruv.reply(reply_of(0, 51, {0}));
    uint8_t vmr_id = 0x55;
    const std::string log = stderr_of([&] { EXPECT_EQ(nprm_tcam_create_v4_vmr_lst_dup(10, &vmr_id), 1u); });
    EXPECT_NE(log.find("nprm_tcam_create_v4_vmr_lst_dup("), std::string::npos) << log;
    EXPECT_NE(log.find("): Malformed reply: 1 records, 2 are needed."), std::string::npos) << log;
    EXPECT_EQ(vmr_id, 0x55);
}

TEST_F(Tcam, DeleteListSendsTheId) {
    clear_request_buffers();
    answer(1, 0);
    EXPECT_EQ(nprm_tcam_delete_v4_vmr_lst_dup(0xAB), 0u);
    ASSERT_EQ(ruv.last_request().size(), 110u);
    EXPECT_BYTES(ruv.last_request(), 0, "01 00 00 00  02 00 00 00  00 00 00 00  00 00 00 00  01 01 00");
    EXPECT_BYTES(ruv.last_request(), 59, "ab  00 00 00 00  00 00");
    expect_slot_empty();
}

TEST_F(Tcam, SpaceReturnsTheFreeEntries) {
    clear_request_buffers();
    std::vector<uint8_t> reply = reply_of(2, 51, {0, 0});
    put_u32(reply, 60, 0x89ABCDEF);
    ruv.reply(reply);
    uint32_t nr_free = 0;
    EXPECT_EQ(nprm_tcam_v4_space_dup(&nr_free), 0u);
    EXPECT_EQ(nr_free, 0x89ABCDEFu);
    ASSERT_EQ(ruv.last_request().size(), 110u);
    EXPECT_BYTES(ruv.last_request(), 0, "02 00 00 00  02 00 00 00  00 00 00 00  00 00 00 00  01 01 00");
    EXPECT_BYTES(ruv.last_request(), 59, "00  00 00 00 00  00 00");
    expect_slot_empty();
}

TEST_F(Tcam, SpaceLeavesItsOutputAloneWithoutAnAnswerOfItsOwn) {
    uint32_t nr_free = 77;
    answer(2, 15);
    EXPECT_EQ(nprm_tcam_v4_space_dup(&nr_free), 15u);
    expect_slot_empty();
    ruv.fail_receive(-1, 75);
    stderr_of([&] { EXPECT_EQ(nprm_tcam_v4_space_dup(&nr_free), 0u); });
    ruv.reply(reply_of(2, 51, {0}));
    stderr_of([&] { EXPECT_EQ(nprm_tcam_v4_space_dup(&nr_free), 1u); });
    EXPECT_EQ(nr_free, 77u);
    expect_slot_empty();
}

TEST_F(Tcam, DeleteEntriesSendsIdAndPositionAndCount) {
    clear_request_buffers();
    answer(9, 24);
    EXPECT_EQ(nprm_tcam_delete_v4_vmr_dup(3, 0x0102, 0xFFFE), 24u);
    ASSERT_EQ(ruv.last_request().size(), 110u);
    EXPECT_BYTES(ruv.last_request(), 0, "09 00 00 00  02 00 00 00  00 00 00 00  00 00 00 00  01 01 00");
    EXPECT_BYTES(ruv.last_request(), 59, "03  fe ff 00 00  02 01");
    expect_slot_empty();
}

TEST_F(Tcam, AFailedTransportNeverAnswersFromAnOlderReply) {
    std::vector<uint8_t> reply = reply_of(2, 51, {0, 0});
    put_u32(reply, 60, 4711);
    ruv.reply(reply);
    uint32_t nr_free = 0;
    ASSERT_EQ(nprm_tcam_v4_space_dup(&nr_free), 0u);
    nr_free = 5;
    ruv.send_result = -1;
    stderr_of([&] { EXPECT_EQ(nprm_tcam_v4_space_dup(&nr_free), 0u); });
    EXPECT_EQ(nr_free, 5u);
}

// ---- look-ups

TEST_F(Tcam, AclLookupSendsTheKeyAndReturnsTwelveBytes) {
    clear_request_buffers();
    std::vector<uint8_t> reply = reply_of(10, 51, {0, 0, 0});
    const std::vector<uint8_t> result = bytes_of("f8 fc f9 fe 04 05 06 07 08 09 0a 0b");
    std::copy(result.begin(), result.end(), reply.begin() + 138);
    ruv.reply(reply);
    const nprm_tcam_acl_key key = {0x11, 0x22, 0x3344, 0x5566, 0x778899AA, 0xBBCCDDEE};
    nprm_tcam_acl_result found{};
    EXPECT_EQ(nprm_ext_tcam_v4_acl_lkup(0x42, &key, &found), 0u);
    EXPECT_BYTES((std::span<const uint8_t>{reinterpret_cast<uint8_t *>(&found), 12}), 0, "f8 fc f9 fe 04 05 06 07 08 09 0a 0b");
    ASSERT_EQ(ruv.last_request().size(), 161u);
    EXPECT_BYTES(ruv.last_request(), 0, "0a 00 00 00  03 00 00 00  00 00 00 00  00 00 00 00  01 01 00");
    EXPECT_BYTES(ruv.last_request(), 59, "42  01 00 00 00  00 00");
    EXPECT_BYTES(ruv.last_request(), 110, "11 22 44 33 66 55 aa 99 88 77 ee dd cc bb  00 00");
    expect_slot_empty();
}

TEST_F(Tcam, PolicyLookupSendsTheKeyAndReturnsSeventeenBytes) {
    clear_request_buffers();
    std::vector<uint8_t> reply = reply_of(11, 51, {0, 0, 0});
    for (size_t i = 0; i < 17; ++i)
        reply[144 + i] = static_cast<uint8_t>(0xF0 + i);
    ruv.reply(reply);
    const nprm_tcam_policy_key key = {0xE1, {1, 2, 3, 4, 5, 6}, 0x0807, 0x0C0B0A09, 0x100F0E0D};
    nprm_tcam_policy_result found{};
    EXPECT_EQ(nprm_ext_tcam_v4_policy_lkup(1, &key, &found), 0u);
    EXPECT_BYTES((std::span<const uint8_t>{reinterpret_cast<uint8_t *>(&found), 17}), 0,
                 "f0 f1 f2 f3 f4 f5 f6 f7 f8 f9 fa fb fc fd fe ff 00");
    ASSERT_EQ(ruv.last_request().size(), 161u);
    EXPECT_BYTES(ruv.last_request(), 0, "0b 00 00 00  03 00 00 00");
    EXPECT_BYTES(ruv.last_request(), 59, "01  01 00 00 00  00 00");
    EXPECT_BYTES(ruv.last_request(), 110, "e1 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 10  00");
}

TEST_F(Tcam, LookupsWithoutAReplyReturnErrorAndLeaveTheResultAlone) {
    const nprm_tcam_acl_key acl_key{};
    const nprm_tcam_policy_key policy_key{};
    nprm_tcam_acl_result acl = {{9, 9, 9, 9}, 9, 9};
    nprm_tcam_policy_result policy{};
    policy.u8_16 = 9;
    const std::function<void()> faults[] = {
        [&] { ruv.send_result = -1; },
        [&] { ruv.fail_receive(-1, 75); },
        [&] { ruv.reply(std::vector<uint8_t>(11)); },
        [&] {
            ruv.reply(reply_of(10, 51, {0, 0}));
        },
        [&] { ruv.reply(std::vector<uint8_t>(12)); },
    };
    for (const auto &fault : faults) {
        stderr_of([&] {
            fault();
            EXPECT_EQ(nprm_ext_tcam_v4_acl_lkup(1, &acl_key, &acl), 1u);
            ruv.answers.clear();
            fault();
            EXPECT_EQ(nprm_ext_tcam_v4_policy_lkup(1, &policy_key, &policy), 1u);
            ruv.answers.clear();
            ruv.send_result = 0;
        });
        expect_slot_empty();
    }
    EXPECT_EQ(acl.u32_8, 9u);
    EXPECT_EQ(policy.u8_16, 9);
}

TEST_F(Tcam, RefusedLookupReturnsTheServersCodeAndEmptiesTheSlot) {
    ruv.reply(reply_of(10, 51, {20, 0, 0}));
    const nprm_tcam_acl_key key{};
    nprm_tcam_acl_result result{};
    EXPECT_EQ(nprm_ext_tcam_v4_acl_lkup(1, &key, &result), 20u);
    expect_slot_empty();
}

// ---- bulk operations: bytes

TEST_F(Tcam, WriteAclPutsEveryFieldInItsPlace) {
    clear_request_buffers();
    const nprm_tcam_acl_key key[2] = {{0x01, 0x02, 0x0403, 0x0605, 0x0A090807, 0x0E0D0C0B},
                                      {0xA1, 0xA2, 0xA4A3, 0xA6A5, 0xAAA9A8A7, 0xAEADACAB}};
    const nprm_tcam_acl_key mask[2] = {{0x11, 0x12, 0x1413, 0x1615, 0x1A191817, 0x1E1D1C1B},
                                       {0xB1, 0xB2, 0xB4B3, 0xB6B5, 0xBAB9B8B7, 0xBEBDBCBB}};
    const nprm_tcam_acl_result result[2] = {{{0xFF, 0xFF, 0xFF, 0xFF}, 0x27262524, 0x2B2A2928}, {{0x05, 0x02, 0x03, 0x00}, 1, 2}};
    answer(5, 0);
    EXPECT_EQ(nprm_tcam_write_v4_acl_vmr_dup(0x42, 0x0102, 2, key, mask, result), 0u);
    const auto &request = ruv.last_request();
    ASSERT_EQ(request.size(), 8u + 51 * 4);
    EXPECT_BYTES(request, 0, "05 00 00 00  04 00 00 00  00 00 00 00  00 00 00 00  01 01 00");
    EXPECT_BYTES(request, 59, "42  02 00 00 00  02 01  00");
    EXPECT_BYTES(request, 110, "01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e");
    EXPECT_BYTES(request, 124, "11 12 13 14 15 16 17 18 19 1a 1b 1c 1d 1e");
    EXPECT_BYTES(request, 138, "07 03 07 01 24 25 26 27 28 29 2a 2b");
    EXPECT_BYTES(request, 150, "00 00 00 00 00 00 00 00 00 00 00");
    EXPECT_BYTES(request, 161, "a1 a2 a3 a4 a5 a6 a7 a8 a9 aa ab ac ad ae");
    EXPECT_BYTES(request, 175, "b1 b2 b3 b4 b5 b6 b7 b8 b9 ba bb bc bd be");
    EXPECT_BYTES(request, 189, "05 02 03 00 01 00 00 00 02 00 00 00");
    expect_slot_empty();
}

TEST_F(Tcam, WriteAclKeepsTheOtherBitsOfTheFlagBytesAsTheBufferHoldsThem) {
    const nprm_tcam_acl_key key{}, mask{};
    for (const auto &[buffer, flags, expected] : {std::tuple{0xFF, 0x00, "f8 fc f8 fe"}, std::tuple{0xFF, 0xFF, "ff ff ff ff"},
                                                  std::tuple{0x00, 0xFF, "07 03 07 01"}, std::tuple{0xA8, 0x02, "aa aa aa a8"}}) {
        fill_request_buffers(static_cast<uint8_t>(buffer));
        const auto flag = static_cast<uint8_t>(flags);
        const nprm_tcam_acl_result result = {{flag, flag, flag, flag}, 0, 0};
        answer(5, 0);
        nprm_tcam_write_v4_acl_vmr_dup(1, 0, 1, &key, &mask, &result);
        EXPECT_BYTES(ruv.last_request(), 138, expected);
        if (buffer == 0xFF) {
            EXPECT_BYTES(ruv.last_request(), 18, "ff ff ff ff");
            EXPECT_BYTES(ruv.last_request(), 66, "ff ff ff ff");
            EXPECT_BYTES(ruv.last_request(), 150, "ff ff ff ff ff ff ff ff ff ff ff");
        }
    }
}

TEST_F(Tcam, WritePolicyPutsEveryFieldInItsPlace) {
    fill_request_buffers(0xEE);
    const nprm_tcam_policy_key key = {0x81, {2, 3, 4, 5, 6, 7}, 0x0908, 0x0D0C0B0A, 0x11100F0E};
    const nprm_tcam_policy_key mask = {0x7E, {0x22, 0x23, 0x24, 0x25, 0x26, 0x27}, 0x2928, 0x2D2C2B2A, 0x31302F2E};
    const nprm_tcam_policy_result result = {0x4241, {0x43, 0x44, 0x45, 0x46, 0x47, 0x48}, 0x4C4B4A49, 0x504F4E4D, 0x51};
    answer(8, 0);
    EXPECT_EQ(nprm_tcam_write_v4_policy_vmr_dup(1, 7, 1, &key, &mask, &result), 0u);
    const auto &request = ruv.last_request();
    ASSERT_EQ(request.size(), 161u);
    EXPECT_BYTES(request, 0, "08 00 00 00  03 00 00 00");
    EXPECT_BYTES(request, 12, "00 00 00 00  01 01");
    EXPECT_BYTES(request, 59, "01  01 00 00 00  07 00");
    EXPECT_BYTES(request, 110, "81 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 10 11");
    EXPECT_BYTES(request, 127, "7e 22 23 24 25 26 27 28 29 2a 2b 2c 2d 2e 2f 30 31");
    EXPECT_BYTES(request, 144, "41 42 43 44 45 46 47 48 49 4a 4b 4c 4d 4e 4f 50 51");
}

TEST_F(Tcam, EachKindOfWriteHasItsOperationCode) {
    const acl_entries acl(1);
    const policy_entries policy(1);
    const nprm_tcam_policy_key *p_key = policy.key.data(), *p_mask = policy.mask.data();
    const nprm_tcam_policy_result *p_result = policy.result.data();
    stdout_of([&] {
        stderr_of([&] {
            nprm_tcam_insert_v4_acl_vmr_dup(1, 0, 1, acl.key.data(), acl.mask.data(), acl.result.data());
            nprm_tcam_write_v4_acl_vmr_dup(1, 0, 1, acl.key.data(), acl.mask.data(), acl.result.data());
            nprm_tcam_insert_v4_policy_vmr_dup(1, 0, 1, policy.key.data(), policy.mask.data(), policy.result.data());
            nprm_tcam_write_v4_policy_vmr_dup(1, 0, 1, policy.key.data(), policy.mask.data(), policy.result.data());
            nprm_tcam_sgwrite_v4_policy_vmr_dup(1, 0, 1, &p_key, &p_mask, &p_result);
        });
    });
    ASSERT_EQ(ruv.sends.size(), 5u);
    const uint8_t operations[] = {3, 5, 6, 8, 8};
    for (size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(ruv.sends[i].payload[0], operations[i]);
        EXPECT_EQ(ruv.sends[i].payload.size(), 161u);
    }
    EXPECT_EQ(ruv.sends[3].payload, ruv.sends[4].payload) << "the scatter-gather write differs only in how entries are handed over";
    EXPECT_BYTES(ruv.sends[2].payload, 110, "a5 01 02 03 04 05 06");
    EXPECT_BYTES(ruv.sends[0].payload, 110, "00 02 03 00");
}

// ---- bulk operations: splitting

struct head {
    uint32_t units, start;
    uint8_t first, last;
    uint32_t nr_entry;
    uint16_t position;
    bool operator==(const head &) const = default;
};

std::vector<head> heads_of(const fake_ruv &ruv) {
    std::vector<head> heads;
    for (const auto &sent : ruv.sends) {
        head found{};
        std::memcpy(&found.units, sent.payload.data() + 4, 4);
        std::memcpy(&found.start, sent.payload.data() + 12, 4);
        found.first = sent.payload[16];
        found.last = sent.payload[17];
        std::memcpy(&found.nr_entry, sent.payload.data() + 60, 4);
        std::memcpy(&found.position, sent.payload.data() + 64, 2);
        heads.push_back(found);
        EXPECT_EQ(sent.payload.size(), 8 + 51 * found.units);
    }
    return heads;
}

std::ostream &operator<<(std::ostream &out, const head &h) {
    return out << h.units << " units, start " << h.start << ", " << int{h.first} << int{h.last} << ", " << h.nr_entry << " at "
               << h.position;
}

TEST_F(Tcam, BulkWriteOf1282EntriesIsOneMessage) {
    const acl_entries acl(1282);
    answer(5, 0);
    EXPECT_EQ(nprm_tcam_write_v4_acl_vmr_dup(1, 5, 1282, acl.key.data(), acl.mask.data(), acl.result.data()), 0u);
    EXPECT_EQ(heads_of(ruv), (std::vector<head>{{1284, 0, 1, 1, 1282, 5}}));
    EXPECT_EQ(ruv.sends[0].payload.size(), 65492u);
}

TEST_F(Tcam, BulkWriteSplitsAfter1282Entries) {
    const acl_entries acl(1283);
    answer_all(5, 0, 2);
    EXPECT_EQ(nprm_tcam_write_v4_acl_vmr_dup(1, 5, 1283, acl.key.data(), acl.mask.data(), acl.result.data()), 0u);
    EXPECT_EQ(heads_of(ruv), (std::vector<head>{{1284, 0, 1, 0, 1283, 5}, {3, 1282, 0, 1, 1283, 5}}));
    EXPECT_BYTES(ruv.sends[0].payload, 65441, "01 02 03 00 01 05 01 06 00 00");  // entry 1281 = 0x501
    EXPECT_BYTES(ruv.sends[1].payload, 110, "02 02 03 00 02 05 02 06 00 00");    // entry 1282 = 0x502
}

TEST_F(Tcam, BulkOperationsCarry65535Entries) {
    const policy_entries policy(65535);
    answer_all(6, 0, 52);
    EXPECT_EQ(nprm_tcam_insert_v4_policy_vmr_dup(1, 0, 65535, policy.key.data(), policy.mask.data(), policy.result.data()), 0u);
    const std::vector<head> heads = heads_of(ruv);
    ASSERT_EQ(heads.size(), 52u);
    EXPECT_EQ(heads[1], (head{1284, 1282, 0, 0, 65535, 0}));
    EXPECT_EQ(heads[51], (head{155, 65382, 0, 1, 65535, 0}));
}

TEST_F(Tcam, BulkReadAsksForItsOwnPositionInEachMessage) {
    answer_all(4, 0, 2);
    std::vector<nprm_tcam_acl_key> key(1283), mask(1283);
    std::vector<nprm_tcam_acl_result> result(1283);
    stderr_of([&] { EXPECT_EQ(nprm_tcam_read_v4_acl_vmr_dup(1, 100, 1283, 0, key.data(), mask.data(), result.data()), 0u); });
    EXPECT_EQ(heads_of(ruv), (std::vector<head>{{1284, 0, 1, 0, 1283, 100}, {3, 1282, 0, 1, 1283, 1382}}));
}

TEST_F(Tcam, BulkReadsPositionWrapsIn16Bits) {
    answer_all(7, 0, 2);
    policy_entries out(1283);
    stderr_of([&] { nprm_tcam_read_v4_policy_vmr_dup(1, 65000, 1283, 0, out.key.data(), out.mask.data(), out.result.data()); });
    EXPECT_EQ(heads_of(ruv)[1].position, 746);
}

TEST_F(Tcam, ScatterGatherWriteTakesEveryMessageFromTheArraysBeginning) {
    const policy_entries policy(1283);
    std::vector<const nprm_tcam_policy_key *> key, mask;
    std::vector<const nprm_tcam_policy_result *> result;
    for (size_t i = 0; i < 1283; ++i) {
        key.push_back(&policy.key[1282 - i]);
        mask.push_back(&policy.mask[1282 - i]);
        result.push_back(&policy.result[1282 - i]);
    }
    answer_all(8, 0, 2);
    EXPECT_EQ(nprm_tcam_sgwrite_v4_policy_vmr_dup(1, 5, 1283, key.data(), mask.data(), result.data()), 0u);
    EXPECT_EQ(heads_of(ruv), (std::vector<head>{{1284, 0, 1, 0, 1283, 5}, {3, 1282, 0, 1, 1283, 5}}));
    EXPECT_BYTES(ruv.sends[0].payload, 117, "02 05");
    EXPECT_BYTES(ruv.sends[1].payload, 110, "a5 01 02 03 04 05 06 02 05 02 06 00 00 02 07 00 00");
}

TEST_F(Tcam, BulkOperationsOf0EntriesSendNothingAndTouchNoPointer) {
    EXPECT_EQ(nprm_tcam_write_v4_acl_vmr_dup(1, 0, 0, nullptr, nullptr, nullptr), 0u);
    EXPECT_EQ(nprm_tcam_insert_v4_acl_vmr_dup(1, 0, 0, nullptr, nullptr, nullptr), 0u);
    EXPECT_EQ(nprm_tcam_read_v4_acl_vmr_dup(1, 0, 0, 0, nullptr, nullptr, nullptr), 0u);
    EXPECT_EQ(nprm_tcam_write_v4_policy_vmr_dup(1, 0, 0, nullptr, nullptr, nullptr), 0u);
    EXPECT_EQ(nprm_tcam_insert_v4_policy_vmr_dup(1, 0, 0, nullptr, nullptr, nullptr), 0u);
    EXPECT_EQ(nprm_tcam_sgwrite_v4_policy_vmr_dup(1, 0, 0, nullptr, nullptr, nullptr), 0u);
    EXPECT_EQ(nprm_tcam_read_v4_policy_vmr_dup(1, 0, 0, 0, nullptr, nullptr, nullptr), 0u);
    set_status(0);
    EXPECT_EQ(nprm_tcam_write_v4_acl_vmr_dup(1, 0, 0, nullptr, nullptr, nullptr), 0u);
    EXPECT_TRUE(ruv.sends.empty());
}

TEST_F(Tcam, BulkOperationsStopAtTheFirstRefusedMessage) {
    const acl_entries acl(3000);
    answer(5, 0);
    answer(5, 33);
    EXPECT_EQ(nprm_tcam_write_v4_acl_vmr_dup(1, 0, 3000, acl.key.data(), acl.mask.data(), acl.result.data()), 33u);
    EXPECT_EQ(ruv.sends.size(), 2u);
    expect_slot_empty();

    acl_entries out(3000);
    ruv.reply(reply_of(4, 51, {20, 0}));
    EXPECT_EQ(nprm_tcam_read_v4_acl_vmr_dup(1, 0, 3000, 0, out.key.data(), out.mask.data(), out.result.data()), 20u);
    EXPECT_EQ(ruv.sends.size(), 3u);
    expect_slot_empty();
}

TEST_F(Tcam, BulkOperationsStopWhenTheServerIsNotReadyAnyMore) {
    const acl_entries acl(3000);
    ruv.answers.push_back({0, reply_of(5, 51, {0, 0}), [&] { set_status(0); }});
    stderr_of(
        [&] { EXPECT_EQ(nprm_tcam_write_v4_acl_vmr_dup(1, 0, 3000, acl.key.data(), acl.mask.data(), acl.result.data()), 7u); });
    EXPECT_EQ(ruv.sends.size(), 1u);
}

TEST_F(Tcam, BulkWritesGoOnAfterAFailedTransport) {
    const acl_entries acl(1283);
    ruv.send_result = -1;
    stderr_of(
        [&] { EXPECT_EQ(nprm_tcam_write_v4_acl_vmr_dup(1, 0, 1283, acl.key.data(), acl.mask.data(), acl.result.data()), 0u); });
    EXPECT_EQ(ruv.sends.size(), 2u);
}

// ---- reads: what comes back

std::vector<uint8_t> entries_reply(uint32_t operation, uint32_t entries, uint8_t with) {
    std::vector<uint8_t> reply(8 + 51 * (entries + 2), with);
    put_u32(reply, 0, operation);
    put_u32(reply, 4, entries + 2);
    put_u32(reply, 8, 0);
    return reply;
}

TEST_F(Tcam, ReadAclReturnsAllBytesVerbatim) {
    std::vector<uint8_t> reply = entries_reply(4, 2, 0);
    for (size_t i = 0; i < 102; ++i)
        reply[110 + i] = static_cast<uint8_t>(0x80 + i);
    ruv.reply(reply);
    nprm_tcam_acl_key key[2], mask[2];
    nprm_tcam_acl_result result[2];
    EXPECT_EQ(nprm_tcam_read_v4_acl_vmr_dup(1, 0, 2, 0, key, mask, result), 0u);
    const auto bytes = [](const auto &array) {
        return std::span<const uint8_t>{reinterpret_cast<const uint8_t *>(&array), sizeof array};
    };
    EXPECT_BYTES(bytes(key), 0, "80 81 82 83 84 85 86 87 88 89 8a 8b 8c 8d  b3 b4 b5 b6 b7 b8 b9 ba bb bc bd be bf c0");
    EXPECT_BYTES(bytes(mask), 0, "8e 8f 90 91 92 93 94 95 96 97 98 99 9a 9b  c1 c2 c3 c4 c5 c6 c7 c8 c9 ca cb cc cd ce");
    EXPECT_BYTES(bytes(result), 0, "9c 9d 9e 9f a0 a1 a2 a3 a4 a5 a6 a7  cf d0 d1 d2 d3 d4 d5 d6 d7 d8 d9 da");
    expect_slot_empty();
}

TEST_F(Tcam, ReadPolicyReturnsAllBytesVerbatim) {
    std::vector<uint8_t> reply = entries_reply(7, 1, 0);
    for (size_t i = 0; i < 51; ++i)
        reply[110 + i] = static_cast<uint8_t>(0x80 + i);
    ruv.reply(reply);
    nprm_tcam_policy_key key, mask;
    nprm_tcam_policy_result result;
    EXPECT_EQ(nprm_tcam_read_v4_policy_vmr_dup(1, 0, 1, 0, &key, &mask, &result), 0u);
    const auto bytes = [](const auto &record) {
        return std::span<const uint8_t>{reinterpret_cast<const uint8_t *>(&record), sizeof record};
    };
    EXPECT_BYTES(bytes(key), 0, "80 81 82 83 84 85 86 87 88 89 8a 8b 8c 8d 8e 8f 90");
    EXPECT_BYTES(bytes(mask), 0, "91 92 93 94 95 96 97 98 99 9a 9b 9c 9d 9e 9f a0 a1");
    EXPECT_BYTES(bytes(result), 0, "a2 a3 a4 a5 a6 a7 a8 a9 aa ab ac ad ae af b0 b1 b2");
}

TEST_F(Tcam, ReadsOfSeveralMessagesFillTheArraysInOrder) {
    ruv.reply(entries_reply(4, 1282, 0x11));
    ruv.reply(entries_reply(4, 1, 0x22));
    acl_entries out(1284);
    EXPECT_EQ(nprm_tcam_read_v4_acl_vmr_dup(1, 0, 1283, 0, out.key.data(), out.mask.data(), out.result.data()), 0u);
    EXPECT_EQ(out.key[0].u32_10, 0x11111111u);
    EXPECT_EQ(out.result[1281].u32_8, 0x11111111u);
    EXPECT_EQ(out.key[1282].u8_0, 0x22);
    EXPECT_EQ(out.mask[1282].u16_2, 0x2222);
    EXPECT_EQ(out.result[1282].u32_4, 0x22222222u);
    EXPECT_EQ(out.key[1283].u8_1, 2) << "nothing behind the caller's count is written";
}

TEST_F(Tcam, ShadowCopyDoesNotChangeTheRequest) {
    clear_request_buffers();
    acl_entries out(1);
    policy_entries policy(1);
    for (const uint32_t shadow_copy : {0u, 1u, 0xFFFFFFFFu}) {
        ruv.reply(entries_reply(4, 1, 0));
        nprm_tcam_read_v4_acl_vmr_dup(1, 3, 1, shadow_copy, out.key.data(), out.mask.data(), out.result.data());
        ruv.reply(entries_reply(7, 1, 0));
        nprm_tcam_read_v4_policy_vmr_dup(1, 3, 1, shadow_copy, policy.key.data(), policy.mask.data(), policy.result.data());
    }
    EXPECT_EQ(ruv.sends[0].payload, ruv.sends[2].payload);
    EXPECT_EQ(ruv.sends[0].payload, ruv.sends[4].payload);
    EXPECT_EQ(ruv.sends[1].payload, ruv.sends[3].payload);
    EXPECT_EQ(ruv.sends[1].payload, ruv.sends[5].payload);
}

TEST_F(Tcam, AReplyWithFewerRecordsFillsOnlyThose) {
    for (const uint32_t operation : {4u, 7u}) {
        for (const uint32_t came : {0u, 1u}) {
            ruv.reply(entries_reply(operation, came, 0x11));
            acl_entries acl(2);
            policy_entries policy(2);
            const std::string log = stderr_of([&] {
                EXPECT_EQ(
                    operation == 4
                        ? nprm_tcam_read_v4_acl_vmr_dup(1, 0, 2, 0, acl.key.data(), acl.mask.data(), acl.result.data())
                        : nprm_tcam_read_v4_policy_vmr_dup(1, 0, 2, 0, policy.key.data(), policy.mask.data(), policy.result.data()),
                    0u);
            });
            EXPECT_NE(log.find("The reply has " + std::to_string(came) + " of 2 entries."), std::string::npos) << log;
            const uint32_t first = operation == 4 ? acl.key[0].u32_10 : policy.key[0].u32_13;
            const uint32_t second = operation == 4 ? acl.key[1].u32_6 : policy.key[1].u32_9;
            EXPECT_EQ(first == 0x11111111u, came == 1);
            EXPECT_EQ(second, 0x101u);
        }
    }
}

TEST_F(Tcam, AReplyThatClaimsMoreThanCameFillsOnlyWhatCame) {
    std::vector<uint8_t> reply = entries_reply(4, 1, 0x11);
    put_u32(reply, 4, 0x05050506);
    ruv.reply(reply);
    acl_entries acl(2);
    stderr_of(
        [&] { EXPECT_EQ(nprm_tcam_read_v4_acl_vmr_dup(1, 0, 2, 0, acl.key.data(), acl.mask.data(), acl.result.data()), 0u); });
    EXPECT_EQ(acl.key[0].u32_10, 0x11111111u);
    EXPECT_EQ(acl.key[1].u32_6, 0x101u);
}

TEST_F(Tcam, AReplyWithMoreRecordsThanAskedFillsOnlyWhatWasAsked) {
    ruv.reply(entries_reply(7, 1000, 0x11));
    policy_entries policy(2);
    EXPECT_EQ(nprm_tcam_read_v4_policy_vmr_dup(1, 0, 1, 0, policy.key.data(), policy.mask.data(), policy.result.data()), 0u);
    EXPECT_EQ(policy.key[0].u32_13, 0x11111111u);
    EXPECT_EQ(policy.key[1].u32_13, 0x201u);
}

TEST_F(Tcam, AReplyToAnotherOperationIsReadByThatOnesRules) {
    // The reply names "space": only result codes and the word behind vmr_id are handed on, the entries are zero.
    ruv.reply(entries_reply(2, 1, 0x11));
    acl_entries acl(1);
    EXPECT_EQ(nprm_tcam_read_v4_acl_vmr_dup(1, 0, 1, 0, acl.key.data(), acl.mask.data(), acl.result.data()), 0u);
    EXPECT_EQ(acl.key[0].u32_10, 0u);
    EXPECT_EQ(acl.result[0].u32_8, 0u);
}

TEST_F(Tcam, ReadsWithoutAReplyCopyNothingAndGoOn) {
    ruv.fail_receive(-1, 75);
    ruv.reply(entries_reply(4, 1, 0x22));
    acl_entries acl(1283);
    stderr_of(
        [&] { EXPECT_EQ(nprm_tcam_read_v4_acl_vmr_dup(1, 0, 1283, 0, acl.key.data(), acl.mask.data(), acl.result.data()), 0u); });
    EXPECT_EQ(ruv.sends.size(), 2u);
    EXPECT_EQ(acl.key[0].u32_6, 0x100u);
    EXPECT_EQ(acl.key[1282].u32_6, 0x22222222u);
}

// ---- the insert's trace

TEST_F(Tcam, InsertAclTracesEachSuccessfulMessage) {
    const acl_entries acl(1283);
    answer(3, 0);
    answer(3, 24);
    std::string log;
    const std::string out = stdout_of([&] {
        log = stderr_of([&] {
            EXPECT_EQ(nprm_tcam_insert_v4_acl_vmr_dup(1, 0, 1283, acl.key.data(), acl.mask.data(), acl.result.data()), 24u);
        });
    });
    EXPECT_EQ(out, "\ngot a reply with error no 0");
    EXPECT_EQ(log, "nprm_tcam_insert_v4_acl_vmr_dup(1358): got a reply with error no 0.");
}

TEST_F(Tcam, InsertAclTracesAFailedTransportAsWell) {
    const acl_entries acl(1);
    ruv.send_result = -1;
    std::string log;
    const std::string out = stdout_of([&] {
        log = stderr_of(
            [&] { EXPECT_EQ(nprm_tcam_insert_v4_acl_vmr_dup(1, 0, 1, acl.key.data(), acl.mask.data(), acl.result.data()), 0u); });
    });
    EXPECT_EQ(out, "\ngot a reply with error no 0");
    EXPECT_NE(log.find("nprm_tcam_insert_v4_acl_vmr_dup(1358): got a reply with error no 0."), std::string::npos) << log;
}

TEST_F(Tcam, InsertAclsTraceIsLoggedForAnyOfBits0To27) {
    const acl_entries acl(1);
    for (const uint32_t flag : {0x1u, 0x2u, 0x08000000u, 0xF0000000u, 0u}) {
        nprm_syslog_flag = flag;
        answer(3, 0);
        std::string log;
        const std::string out = stdout_of([&] {
            log = stderr_of([&] { nprm_tcam_insert_v4_acl_vmr_dup(1, 0, 1, acl.key.data(), acl.mask.data(), acl.result.data()); });
        });
        EXPECT_EQ(out, "\ngot a reply with error no 0");
        EXPECT_EQ(log.find("(1358)") != std::string::npos, (flag & 0x0FFFFFFF) != 0) << flag;
    }
}

TEST_F(Tcam, OtherOperationsTraceNothing) {
    const acl_entries acl(1);
    answer(5, 0);
    EXPECT_EQ(stdout_of([&] { nprm_tcam_write_v4_acl_vmr_dup(1, 0, 1, acl.key.data(), acl.mask.data(), acl.result.data()); }), "");
}

// ---- refusals before anything is sent, for all operations

struct call {
    const char *name;
    uint32_t (*raw)();
    uint32_t (*plain)();
    int line;
    const char *text;
};

uint8_t some_id;
uint32_t some_free;
acl_entries some_acl(1);
policy_entries some_policy(1);
const nprm_tcam_policy_key *some_key = some_policy.key.data(), *some_mask = some_policy.mask.data();
const nprm_tcam_policy_result *some_result = some_policy.result.data();

#define ACL some_acl.key.data(), some_acl.mask.data(), some_acl.result.data()
#define POLICY some_policy.key.data(), some_policy.mask.data(), some_policy.result.data()
#define BOTH(name, ...) #name, [] { return name##_dup(__VA_ARGS__); }, [] { return name(__VA_ARGS__); }

const call calls[] = {
    {BOTH(nprm_tcam_create_v4_vmr_lst, 9, &some_id), 1173, "nprm_tcam_create_v4_vmr_lst_dup(nr_entry, vmr_id)"},
    {BOTH(nprm_tcam_delete_v4_vmr_lst, 9), 1197, "nprm_tcam_delete_v4_vmr_lst_dup(vmr_id)"},
    {BOTH(nprm_tcam_v4_space, &some_free), 1227, "nprm_tcam_v4_space_dup(nr_free)"},
    {BOTH(nprm_tcam_delete_v4_vmr, 9, 0, 1), 1255, "nprm_tcam_delete_v4_vmr_dup(vmr_id, position, nr_entry)"},
    {BOTH(nprm_tcam_write_v4_acl_vmr, 9, 0, 1, ACL), 1310,
     "nprm_tcam_write_v4_acl_vmr_dup(vmr_id, position, nr_entry, key, mask, result)"},
    {BOTH(nprm_tcam_insert_v4_acl_vmr, 9, 0, 1, ACL), 1370,
     "nprm_tcam_insert_v4_acl_vmr_dup (vmr_id, position, nr_entry, key, mask, result)"},
    {BOTH(nprm_tcam_read_v4_acl_vmr, 9, 0, 1, 0, ACL), 1439,
     "nprm_tcam_read_v4_acl_vmr_dup(vmr_id, position, nr_entry, shadow_copy, key, mask, result)"},
    {BOTH(nprm_tcam_sgwrite_v4_policy_vmr, 9, 0, 1, &some_key, &some_mask, &some_result), 1502,
     "nprm_tcam_sgwrite_v4_policy_vmr_dup(vmr_id, position, nr_entry, p_key, p_mask, p_result)"},
    {BOTH(nprm_tcam_write_v4_policy_vmr, 9, 0, 1, POLICY), 1564,
     "nprm_tcam_write_v4_policy_vmr_dup (vmr_id, position, nr_entry, key, mask, result)"},
    {BOTH(nprm_tcam_insert_v4_policy_vmr, 9, 0, 1, POLICY), 1623,
     "nprm_tcam_insert_v4_policy_vmr_dup (vmr_id, position, nr_entry, key, mask, result)"},
    {BOTH(nprm_tcam_read_v4_policy_vmr, 9, 0, 1, 0, POLICY), 1693,
     "nprm_tcam_read_v4_policy_vmr_dup (vmr_id, position, nr_entry, shadow_copy, key, mask, result)"},
};

TEST_F(Tcam, EveryOperationReturnsThePreparersCode) {
    const nprm_tcam_acl_key acl_key{};
    const nprm_tcam_policy_key policy_key{};
    nprm_tcam_acl_result acl_result{};
    nprm_tcam_policy_result policy_result{};
    stderr_of([&] {
        set_status(0);
        for (const call &each : calls)
            EXPECT_EQ(each.raw(), 7u) << each.name;
        EXPECT_EQ(nprm_ext_tcam_v4_acl_lkup(1, &acl_key, &acl_result), 7u);
        EXPECT_EQ(nprm_ext_tcam_v4_policy_lkup(1, &policy_key, &policy_result), 7u);
        set_status(1);
        std::vector<void *> taken;
        while (void *buffer = nprm_ipc_msg_malloc())
            taken.push_back(buffer);
        for (const call &each : calls)
            EXPECT_EQ(each.raw(), 4u) << each.name;
        EXPECT_EQ(nprm_ext_tcam_v4_acl_lkup(1, &acl_key, &acl_result), 4u);
        EXPECT_EQ(nprm_ext_tcam_v4_policy_lkup(1, &policy_key, &policy_result), 4u);
        for (void *buffer : taken)
            nprm_free(buffer);
    });
    EXPECT_TRUE(ruv.sends.empty());
}

TEST_F(Tcam, NoOperationAnswersFromAReplyThatSomebodyElseLeft) {
    // A host that uses the frame directly leaves the slot full.
    std::vector<uint8_t> older = entries_reply(4, 1, 0x11);
    const auto leave_reply = [&] {
        nprm_api_ipc_msg_handler(7, older.data());
        ASSERT_NE(nprm_reply_slot[7], nullptr);
    };
    const nprm_tcam_acl_key acl_key{};
    const nprm_tcam_policy_key policy_key{};
    nprm_tcam_acl_result acl_result = {{9, 9, 9, 9}, 9, 9};
    nprm_tcam_policy_result policy_result{};
    ruv.send_result = -1;
    some_id = 55;
    some_free = 55;
    stdout_of([&] {
        stderr_of([&] {
            for (const call &each : calls) {
                leave_reply();
                EXPECT_EQ(each.raw(), 0u) << each.name;
                expect_slot_empty();
            }
            leave_reply();
            EXPECT_EQ(nprm_ext_tcam_v4_acl_lkup(1, &acl_key, &acl_result), 1u);
            leave_reply();
            EXPECT_EQ(nprm_ext_tcam_v4_policy_lkup(1, &policy_key, &policy_result), 1u);
            expect_slot_empty();
            set_status(0);
            for (const call &each : calls) {
                leave_reply();
                EXPECT_EQ(each.raw(), 7u) << each.name;
                expect_slot_empty();
            }
        });
    });
    EXPECT_EQ(some_id, 55);
    EXPECT_EQ(some_free, 55u);
    EXPECT_EQ(some_acl.key[0].u32_6, 0x100u);
    EXPECT_EQ(some_policy.key[0].u32_9, 0x100u);
    EXPECT_EQ(acl_result.u32_8, 9u);
}

TEST_F(Tcam, EveryOperationRefusesNullPointers) {
    const acl_entries acl(1);
    const policy_entries policy(1);
    acl_entries out(1);
    nprm_tcam_acl_result result{};
    const nprm_tcam_policy_key *p_null = nullptr;
    stderr_of([&] {
        EXPECT_EQ(nprm_tcam_create_v4_vmr_lst_dup(1, nullptr), 3u);
        EXPECT_EQ(nprm_tcam_v4_space_dup(nullptr), 3u);
        EXPECT_EQ(nprm_tcam_write_v4_acl_vmr_dup(1, 0, 1, nullptr, acl.mask.data(), acl.result.data()), 3u);
        EXPECT_EQ(nprm_tcam_insert_v4_acl_vmr_dup(1, 0, 1, acl.key.data(), nullptr, acl.result.data()), 3u);
        EXPECT_EQ(nprm_tcam_read_v4_acl_vmr_dup(1, 0, 1, 0, out.key.data(), out.mask.data(), nullptr), 3u);
        EXPECT_EQ(nprm_tcam_write_v4_policy_vmr_dup(1, 0, 1, policy.key.data(), policy.mask.data(), nullptr), 3u);
        EXPECT_EQ(nprm_tcam_insert_v4_policy_vmr_dup(1, 0, 1, nullptr, policy.mask.data(), policy.result.data()), 3u);
        EXPECT_EQ(nprm_tcam_read_v4_policy_vmr_dup(1, 0, 1, 0, nullptr, nullptr, nullptr), 3u);
        EXPECT_EQ(nprm_tcam_sgwrite_v4_policy_vmr_dup(1, 0, 1, nullptr, &some_mask, &some_result), 3u);
        EXPECT_EQ(nprm_tcam_sgwrite_v4_policy_vmr_dup(1, 0, 1, &p_null, &some_mask, &some_result), 3u);
        EXPECT_EQ(nprm_ext_tcam_v4_acl_lkup(1, nullptr, &result), 3u);
        EXPECT_EQ(nprm_ext_tcam_v4_policy_lkup(1, nullptr, nullptr), 3u);
    });
    EXPECT_TRUE(ruv.sends.empty());
}

// ---- the plain twins

std::vector<uint8_t> any_reply(uint32_t result) {
    return reply_of(0, 51, {result, 0, 0});
}

TEST_F(Tcam, PlainTwinsReturn1OnSuccess) {
    for (const call &each : calls) {
        ruv.reply(any_reply(0));
        stdout_of([&] { stderr_of([&] { EXPECT_EQ(each.plain(), 1u) << each.name; }); });
    }
}

TEST_F(Tcam, PlainTwinsReturn0AndLogTheirCallOnFailure) {
    error_log log;
    for (const call &each : calls) {
        ruv.reply(any_reply(24));
        EXPECT_EQ(each.plain(), 0u);
        EXPECT_EQ(log.texts(), std::vector<std::string>{std::string(each.name) + "(" + std::to_string(each.line) + "): TCAM API " +
                                                        each.text + " returned - NPRM_ERROR_TCAM_OUT_OF_RANGE error."});
    }
}

TEST_F(Tcam, PlainTwinsPassAllFailuresAs0) {
    for (const uint32_t code : {1u, 7u, 15u, 169u, 170u, 0xFFFFFFFFu}) {
        ruv.reply(any_reply(code));
        stderr_of([&] { EXPECT_EQ(nprm_tcam_delete_v4_vmr_lst(1), 0u); });
    }
}

TEST_F(Tcam, PlainTwinsPrintNullForCodesWithoutName) {
    for (const uint32_t code : {34u, 170u, 0xFFFFFFFFu}) {
        ruv.reply(any_reply(code));
        const std::string log = stderr_of([&] { EXPECT_EQ(nprm_tcam_delete_v4_vmr_lst(1), 0u); });
        EXPECT_NE(log.find(" returned - (null) error."), std::string::npos) << log;
    }
}

TEST_F(Tcam, PlainTwinsLogNothingWhenBit0IsClear) {
    nprm_syslog_flag = 0x0FFFFFF0;
    for (const call &each : calls) {
        ruv.reply(any_reply(24));
        EXPECT_EQ(stderr_of([&] { EXPECT_EQ(each.plain(), 0u); }), "") << each.name;
    }
}

}  // namespace
