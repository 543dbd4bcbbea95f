// TCAM reads: what comes back, and what of a hostile reply does not.

#include "tcam_fixture.h"

namespace {

// ---- reads: what comes back

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

}  // namespace
