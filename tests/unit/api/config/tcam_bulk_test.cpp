// TCAM bulk writes and inserts: every byte, the splitting, the trace.

#include "tcam_fixture.h"

#include <ostream>
#include <tuple>

namespace {

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

TEST_F(Tcam, InsertAclsTraceIsFlushed) {
    const acl_entries acl(1);
    answer(3, 0);
    nprm_syslog_flag = 0;
    const auto insert = [&] { nprm_tcam_insert_v4_acl_vmr_dup(1, 0, 1, acl.key.data(), acl.mask.data(), acl.result.data()); };
    EXPECT_EQ(flushed_stdout_of(insert), "\ngot a reply with error no 0");
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

}  // namespace
