// TCAM operations without entries, and look-ups.

#include "tcam_fixture.h"

#include <functional>

namespace {

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

}  // namespace
