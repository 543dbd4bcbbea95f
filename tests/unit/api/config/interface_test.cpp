// Interfaces, port channels, bridge groups, FIB, look-up switches: every byte of their requests and every use of their replies.

#include "api/config/nprm_interface.h"

#include "exchange_test.h"

namespace {

constexpr uint8_t mac[6] = {0x0A, 0x1B, 0x2C, 0x3D, 0x4E, 0x5F};
constexpr nprm_if_ip_cfg ip = {0x21, 0x22, 0x2423, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}};

struct written_request {
    operation_call operation;
    const char *bytes;
};

const written_request single_requests[] = {
    {{"create", 3, 0, [] { return nprm_if_create(0x1234, 0x89ABCDEF, 0x77, mac); }},
     "00 00 00 00 01 00 00 00  34 12 00 00  ef cd ab 89  77 00 00 00  0a 1b 2c 3d 4e 5f"},
    {{"delete", 3, 1, [] { return nprm_if_del(0xFFFE); }}, "01 00 00 00 01 00 00 00  fe ff 00 00"},
    {{"state", 3, 2, [] { return nprm_if_set_state(0x1234, 0x81); }},
     "02 00 00 00 01 00 00 00  34 12 00 00  ee ee ee ee ee ee ee ee ee ee ee ee ee ee  81 00 00 00"},
    {{"mac", 3, 3, [] { return nprm_if_mac_cfg(0x1234, mac); }},
     "03 00 00 00 01 00 00 00  34 12 00 00  ee ee ee ee ee ee ee ee  0a 1b 2c 3d 4e 5f"},
    {{"v4", 3, 4, [] { return nprm_if_v4_cfg(0x1234, &ip); }},
     "04 00 00 00 01 00 00 00  34 12 00 00  21 22 23 24  01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 10"},
    {{"v6", 3, 5, [] { return nprm_if_v6_cfg(0x1234, &ip); }},
     "05 00 00 00 01 00 00 00  34 12 00 00  21 22 23 24  01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 10"},
    {{"active", 3, 6, [] { return nprm_sb_if_active(0x1234, 0x5678); }}, "06 00 00 00 01 00 00 00  34 12 00 00  78 56 00 00"},
    {{"balance", 3, 7, [] { return nprm_pc_lb_cfg(0x89ABCDEF); }}, "07 00 00 00 01 00 00 00  ef cd ab 89"},
    {{"add member", 3, 8, [] { return nprm_pc_if_add(0x1234, 0x5678); }},
     "08 00 00 00 01 00 00 00  ee ee ee ee  34 12 00 00  78 56 00 00"},
    {{"delete member", 3, 9, [] { return nprm_pc_if_del(0x1234, 0x5678); }},
     "09 00 00 00 01 00 00 00  ee ee ee ee  34 12 00 00  78 56 00 00"},
    {{"create group", 3, 10, [] { return nprm_bg_create(0x9A, 0x1234, 0x5678); }},
     "0a 00 00 00 01 00 00 00  9a 00 00 00  34 12 00 00  78 56 00 00"},
    {{"delete group", 3, 11, [] { return nprm_bg_del(0x9A); }}, "0b 00 00 00 01 00 00 00  9a 00 00 00"},
    {{"add vlan", 3, 12, [] { return nprm_bg_add_vlan_cfg(0x9A, 0x1234, 0x89ABCDEF); }},
     "0c 00 00 00 01 00 00 00  9a 00 00 00  ee ee ee ee ee ee ee ee  ef cd ab 89  34 12"},
    {{"delete vlan", 3, 13, [] { return nprm_bg_del_vlan_cfg(0x9A, 0x1234, 0x89ABCDEF); }},
     "0d 00 00 00 01 00 00 00  9a 00 00 00  ee ee ee ee ee ee ee ee  ef cd ab 89  34 12"},
    {{"look-up", 3, 18, [] { return nprm_tcam_v4_cfg(3, 2, 0xC8); }},
     "12 00 00 00 01 00 00 00  03 00 00 00  02 00 00 00  c8 00 00 00"},
};

class Interface : public exchange_test {
  protected:
    void SetUp() override {
        exchange_test::SetUp();
        nprm_syslog_flag = NPRM_LEVEL_ERROR;
    }
};

TEST_F(Interface, OperationsGoOutAsOneRecord) {
    for (const written_request &each : single_requests) {
        expect_request(each.operation, each.bytes);
        expect_slot_empty(3);
    }
}

TEST_F(Interface, OperationsReturnTheCodesOfAllWhoMayRefuse) {
    for (const written_request &each : single_requests)
        expect_codes(each.operation, [] { return true; });
}

TEST_F(Interface, ARefusalLeavesTheSlotEmpty) {
    for (const written_request &each : single_requests) {
        ruv.reply(reply_of(each.operation.operation, 35, {120}));
        EXPECT_EQ(each.operation.call(), 120u) << each.operation.name;
        expect_slot_empty(3);
    }
}

TEST_F(Interface, NullRecordsAreRefusedAndNothingIsSent) {
    const std::string log = stderr_of([] {
        EXPECT_EQ(nprm_if_create(1, 2, 3, nullptr), 3u);
        EXPECT_EQ(nprm_if_mac_cfg(1, nullptr), 3u);
        EXPECT_EQ(nprm_if_v4_cfg(1, nullptr), 3u);
        EXPECT_EQ(nprm_if_v6_cfg(1, nullptr), 3u);
    });
    EXPECT_NE(log.find("nprm_if_v6_cfg("), std::string::npos) << log;
    EXPECT_TRUE(ruv.sends.empty());
}

// ---- look-up switches

class LookupSwitch : public exchange_test {
  protected:
    void SetUp() override {
        exchange_test::SetUp();
        nprm_syslog_flag = 0x20000;
    }
};

TEST_F(LookupSwitch, TracesWhatItSwitches) {
    const struct {
        uint32_t type;
        uint8_t enable;
        const char *line;
    } cases[] = {
        {0, 1, "nprm_tcam_v4_cfg(2967): enable dump_acl VMR 200."},
        {1, 0, "nprm_tcam_v4_cfg(2971): disable trace_acl VMR 200."},
        {2, 1, "nprm_tcam_v4_cfg(2975): enable intercet_acl VMR 200."},
        {3, 2, "nprm_tcam_v4_cfg(2979): disable flow-policy VMR 200."},
    };
    for (const auto &[type, enable, line] : cases) {
        ruv.reply(reply_of(18, 35, {0}));
        EXPECT_EQ(stderr_of([&, type = type, enable = enable] { EXPECT_EQ(nprm_tcam_v4_cfg(type, enable, 200), 0u); }), line);
    }
}

TEST_F(LookupSwitch, TracesNothingWithItsLevelOff) {
    nprm_syslog_flag = 0x0FFFFFFF & ~0x20000u;
    nprm_syslog_flag &= ~0x2u;
    ruv.reply(reply_of(18, 35, {0}));
    EXPECT_EQ(stderr_of([] { nprm_tcam_v4_cfg(0, 1, 2); }), "");
}

TEST_F(LookupSwitch, TracesNothingThatIsNotSent) {
    set_status(0);
    EXPECT_EQ(stderr_of([] { EXPECT_EQ(nprm_tcam_v4_cfg(0, 1, 2), 7u); }), "");
    EXPECT_TRUE(ruv.sends.empty());
}

TEST_F(LookupSwitch, OfATypeAbove3IsNothingAtAll) {
    for (const uint32_t type : {4u, 256u, 0xFFFFFFFFu})
        EXPECT_EQ(stderr_of([=] { EXPECT_EQ(nprm_tcam_v4_cfg(type, 1, 2), 0u); }), "");
    EXPECT_TRUE(ruv.sends.empty());
}

TEST_F(LookupSwitch, ReturnsTheLowByteOfTheResult) {
    nprm_syslog_flag = 0;
    ruv.reply(reply_of(18, 35, {0x1A5}));
    EXPECT_EQ(nprm_tcam_v4_cfg(0, 1, 2), 0xA5u);
    ruv.reply(reply_of(18, 35, {0x300}));
    EXPECT_EQ(nprm_tcam_v4_cfg(0, 1, 2), 0u);
}

// ---- FIB

struct routes {
    std::vector<nprm_fib_prefix> prefix;
    std::vector<nprm_fib_nexthop> nexthop;
    explicit routes(size_t count) : prefix(count), nexthop(count) {
        for (size_t i = 0; i < count; ++i) {
            const auto low = static_cast<uint8_t>(i), high = static_cast<uint8_t>(i >> 8);
            prefix[i] = {
                0x18, low, {0x30, 0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37, 0x38, 0x39, 0x3A, 0x3B, 0x3C, 0x3D, low, high}};
            nexthop[i] = {{0x51, 0x52, 0x53, 0x54, 0x55}, static_cast<uint16_t>(i), {0x61, 0x62, 0x63, 0x64, low, high}};
        }
    }
    uint32_t count() const { return static_cast<uint32_t>(prefix.size()); }
};

class Fib : public exchange_test {
  protected:
    uint32_t send(routes &all, uint32_t action = 0x01020304) {
        return nprm_v4_fib_op(action, all.count(), all.prefix.data(), all.nexthop.data());
    }
};

TEST_F(Fib, AnEntryIsARecordOfActionPrefixAndNextHop) {
    routes all(2);
    ruv.reply(reply_of(14, 35, {}));
    put_u32(ruv.answers[0].payload, 4, 0);
    ruv.answers[0].payload.resize(12);
    EXPECT_EQ(send(all), 0u);
    EXPECT_EQ(ruv.sends[0].opcode, 190487u);
    ASSERT_EQ(ruv.last_request().size(), 78u);
    EXPECT_BYTES(ruv.last_request(), 0,
                 "0e 00 00 00  02 00 00 00"
                 "  04 03 02 01  18 00  30 31 32 33 34 35 36 37 38 39 3a 3b 3c 3d 00 00  51 52 53 54 55  00 00  61 62 63 64 00 00"
                 "  04 03 02 01  18 01  30 31 32 33 34 35 36 37 38 39 3a 3b 3c 3d 01 00  51 52 53 54 55  01 00  61 62 63 64 01 00");
    expect_slot_empty(3);
}

TEST_F(Fib, NothingBehindTheArraysIsRead) {
    const records_at_page_end<nprm_fib_prefix> prefixes(2);
    const records_at_page_end<nprm_fib_nexthop> nexthops(2);
    nexthops.data()[1].bytes_7[5] = 0x7E;
    ruv.reply(std::vector<uint8_t>(12));
    EXPECT_EQ(nprm_v4_fib_op(1, 2, prefixes.data(), nexthops.data()), 0u);
    EXPECT_BYTES(ruv.last_request(), 77, "7e");
}

TEST_F(Fib, BothFamiliesGoOutAlike) {
    routes all(3);
    const auto request_of = [&](const std::function<uint32_t()> &call) {
        ruv.reply(std::vector<uint8_t>(12));
        EXPECT_EQ(call(), 0u);
        return ruv.last_request();
    };
    const auto v4 = request_of([&] { return nprm_v4_fib_op(9, 3, all.prefix.data(), all.nexthop.data()); });
    const auto v6 = request_of([&] { return nprm_v6_fib_op(9, 3, all.prefix.data(), all.nexthop.data()); });
    const auto any = request_of([&] { return nprm_fib_op(0xFFFFFFFF, 9, 3, all.prefix.data(), all.nexthop.data()); });
    EXPECT_BYTES(v4, 0, "0e 00 00 00");
    EXPECT_EQ(v4, v6);
    EXPECT_EQ(v4, any);
}

TEST_F(Fib, 1872EntriesAreOneMessageAnd1873AreTwo) {
    routes most(1872);
    ruv.reply(std::vector<uint8_t>(12));
    EXPECT_EQ(send(most), 0u);
    ASSERT_EQ(ruv.sends.size(), 1u);
    EXPECT_EQ(ruv.sends[0].payload.size(), 65528u);

    routes more(1873);
    ruv.reply(std::vector<uint8_t>(12));
    ruv.reply(std::vector<uint8_t>(12));
    EXPECT_EQ(send(more), 0u);
    ASSERT_EQ(ruv.sends.size(), 3u);
    EXPECT_EQ(ruv.sends[1].payload.size(), 65528u);
    EXPECT_BYTES(ruv.sends[1].payload, 65528 - 35, "04 03 02 01  18 4f");  // 1871 = 0x74f
    EXPECT_EQ(ruv.sends[2].payload.size(), 43u);
    EXPECT_BYTES(ruv.sends[2].payload, 4, "01 00 00 00  04 03 02 01  18 50");
}

TEST_F(Fib, WritesBackWhatTheReplyHasAndNoMore) {
    routes all(3);
    std::vector<uint8_t> reply = filled(3, 14, 0xA1, 2);
    std::memset(reply.data() + 47, 0xB2, 31);
    ruv.reply(reply);
    EXPECT_EQ(send(all), 0u);
    EXPECT_BYTES(bytes_in(all.prefix[0]), 0, "a1 a1 a1 a1 a1 a1 a1 a1 a1 a1 a1 a1 a1 a1 a1 a1 a1 a1");
    EXPECT_BYTES(bytes_in(all.nexthop[0]), 0, "a1 a1 a1 a1 a1 a1 a1 a1 a1 a1 a1 a1 a1");
    EXPECT_BYTES(bytes_in(all.nexthop[1]), 0, "b2 b2 b2 b2 b2 b2 b2 b2 b2 b2 b2 b2 b2");
    EXPECT_BYTES(bytes_in(all.prefix[2]), 0, "18 02 30");
    EXPECT_BYTES(bytes_in(all.nexthop[2]), 0, "51 52 53 54 55 02 00");
    expect_slot_empty(3);
}

TEST_F(Fib, WritesBackEachMessagesEntriesToTheirOwnPlace) {
    routes all(1873);
    ruv.reply(filled(3, 14, 0xA1, 1872));
    ruv.reply(filled(3, 14, 0xB2, 1));
    EXPECT_EQ(send(all), 0u);
    EXPECT_EQ(all.prefix[1871].u8_0, 0xA1);
    EXPECT_EQ(all.prefix[1872].u8_0, 0xB2);
    EXPECT_EQ(all.nexthop[1872].u16_5, 0xB2B2);
}

TEST_F(Fib, MoreRecordsThanWereAskedForAreLeftOut) {
    routes all(3);
    ruv.reply(filled(3, 14, 0xA1, 1872));
    EXPECT_EQ(nprm_fib_op(14, 1, 2, all.prefix.data(), all.nexthop.data()), 0u);
    EXPECT_EQ(all.prefix[1].u8_0, 0xA1);
    EXPECT_EQ(all.prefix[2].u8_0, 0x18);
}

TEST_F(Fib, ARefusedMessageEndsTheCall) {
    routes all(2000);
    std::vector<uint8_t> refusal = filled(3, 14, 0xA1, 1872);
    put_u32(refusal, 8, 121);
    ruv.reply(refusal);
    EXPECT_EQ(send(all), 121u);
    EXPECT_EQ(ruv.sends.size(), 1u);
    EXPECT_EQ(all.prefix[0].u8_0, 0x18);
}

TEST_F(Fib, AServerThatIsNotReadyAnyMoreEndsTheCall) {
    routes all(1873);
    ruv.answers.push_back({0, filled(3, 14, 0xA1, 1872), [&] { set_status(0); }});
    stderr_of([&] { EXPECT_EQ(send(all), 7u); });
    EXPECT_EQ(ruv.sends.size(), 1u);
    EXPECT_EQ(all.prefix[1871].u8_0, 0xA1);
    EXPECT_EQ(all.prefix[1872].u8_0, 0x18);
}

TEST_F(Fib, ReturnsTheCodesOfAllWhoMayRefuse) {
    routes all(1);
    expect_codes({"fib", 3, 14, [&] { return send(all); }}, [&] { return all.prefix[0].u8_0 == 0x18; });
}

TEST_F(Fib, AReplyOfAnotherOperationNamesNothing) {
    routes all(1);
    ruv.reply(filled(3, 0, 0xA1));
    EXPECT_EQ(send(all), 0u);
    EXPECT_BYTES(bytes_in(all.prefix[0]), 0, "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
}

TEST_F(Fib, ACountOf0IsASuccessAndNullArraysAreRefused) {
    routes all(1);
    EXPECT_EQ(nprm_fib_op(14, 1, 0, nullptr, nullptr), 0u);
    stderr_of([&] {
        EXPECT_EQ(nprm_v4_fib_op(1, 1, nullptr, all.nexthop.data()), 3u);
        EXPECT_EQ(nprm_v6_fib_op(1, 1, all.prefix.data(), nullptr), 3u);
    });
    EXPECT_TRUE(ruv.sends.empty());
}

}  // namespace
