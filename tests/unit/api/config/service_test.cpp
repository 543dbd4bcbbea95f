// Service nodes, groups, contexts and WCCP entries, many in a call: every byte of their requests and every use of their replies.

#include "api/config/nprm_service.h"

#include "exchange_test.h"

namespace {

// ---- operations of one record an object

// The bulk operations, each on `count` objects of arrays that are large enough, for what they have in common.
struct bulk {
    const char *name;
    uint32_t component, operation, units_max;
    std::function<uint32_t(uint32_t op, uint32_t count)> call;
    std::function<std::span<uint8_t>()> read;                              // what reads write, element after element
    size_t element_bytes;                                                  // of read
    std::function<uint32_t(bool first_null, bool second_null)> call_null;  // one object, of null arrays
};

class Bulk : public exchange_test {
  protected:
    static constexpr size_t most = 3500;
    std::vector<uint8_t> ids = std::vector<uint8_t>(most, 9);
    std::vector<uint16_t> wide_ids = std::vector<uint16_t>(most, 9);
    std::vector<nprm_service_node> nodes = std::vector<nprm_service_node>(most);
    std::vector<nprm_service_node_group> groups = std::vector<nprm_service_node_group>(most);
    std::vector<nprm_distribution_group> dist_groups = std::vector<nprm_distribution_group>(most);
    std::vector<nprm_distribution_member> members = std::vector<nprm_distribution_member>(most);
    std::vector<nprm_service_context> contexts = std::vector<nprm_service_context>(most);
    std::vector<nprm_wccp_entry> entries = std::vector<nprm_wccp_entry>(most);

    template <typename Record>
    static std::span<uint8_t> bytes_of_all(std::vector<Record> &records) {
        return {reinterpret_cast<uint8_t *>(records.data()), records.size() * sizeof(Record)};
    }

    const std::vector<bulk> all = {
        {"sn", 2, 0, 819, [&](uint32_t op, uint32_t count) { return nprm_sn_op(op, count, ids.data(), nodes.data()); },
         [&] { return bytes_of_all(nodes); }, 35,
         [&](bool a, bool b) { return nprm_sn_op(1, 1, a ? nullptr : ids.data(), b ? nullptr : nodes.data()); }},
        {"sng", 2, 1, 819, [&](uint32_t op, uint32_t count) { return nprm_sng_op(op, count, wide_ids.data(), groups.data()); },
         [&] { return bytes_of_all(groups); }, 3,
         [&](bool a, bool b) { return nprm_sng_op(1, 1, a ? nullptr : wide_ids.data(), b ? nullptr : groups.data()); }},
        {"sng dist", 2, 2, 819,
         [&](uint32_t op, uint32_t count) { return nprm_sng_dist_op(op, count, dist_groups.data(), members.data()); },
         [&] { return bytes_of_all(members); }, 2,
         [&](bool a, bool b) { return nprm_sng_dist_op(1, 1, a ? nullptr : dist_groups.data(), b ? nullptr : members.data()); }},
        {"sc", 0, 0, 1724, [&](uint32_t op, uint32_t count) { return nprm_sc_op(op, count, ids.data(), contexts.data()); },
         [&] { return bytes_of_all(contexts); }, 33,
         [&](bool a, bool b) { return nprm_sc_op(1, 1, a ? nullptr : ids.data(), b ? nullptr : contexts.data()); }},
        {"wccp", 9, 0, 1638, [&](uint32_t op, uint32_t count) { return nprm_wccp_op(op, count, ids.data(), entries.data()); },
         [&] { return bytes_of_all(entries); }, 33,
         [&](bool a, bool b) { return nprm_wccp_op(1, 1, a ? nullptr : ids.data(), b ? nullptr : entries.data()); }},
    };
};

TEST_F(Bulk, ACountOf0IsAFailureThatTouchesNothing) {
    EXPECT_EQ(nprm_sn_op(1, 0, nullptr, nullptr), 1u);
    EXPECT_EQ(nprm_sng_op(1, 0, nullptr, nullptr), 1u);
    EXPECT_EQ(nprm_sng_dist_op(1, 0, nullptr, nullptr), 1u);
    EXPECT_EQ(nprm_sc_op(1, 0, nullptr, nullptr), 1u);
    EXPECT_EQ(nprm_wccp_op(1, 0, nullptr, nullptr), 1u);
    EXPECT_TRUE(ruv.sends.empty());
}

TEST_F(Bulk, NullArraysAreRefusedAndNothingIsSent) {
    stderr_of([&] {
        for (const bulk &each : all) {
            EXPECT_EQ(each.call_null(true, false), 3u) << each.name;
            EXPECT_EQ(each.call_null(false, true), 3u) << each.name;
        }
    });
    EXPECT_TRUE(ruv.sends.empty());
}

TEST_F(Bulk, AsManyObjectsAsAMessageHoldsAreOneMessage) {
    for (const bulk &each : all) {
        ruv.sends.clear();
        ruv.reply(std::vector<uint8_t>(12));
        EXPECT_EQ(each.call(0, each.units_max), 0u) << each.name;
        ASSERT_EQ(ruv.sends.size(), 1u) << each.name;
        EXPECT_EQ(ruv.sends[0].payload.size(), each.component == 0 ? 65520u : 65528u) << each.name;
        ruv.reply(std::vector<uint8_t>(12));
        ruv.reply(std::vector<uint8_t>(12));
        EXPECT_EQ(each.call(0, each.units_max + 1), 0u) << each.name;
        ASSERT_EQ(ruv.sends.size(), 3u) << each.name;
        EXPECT_EQ(ruv.sends[1].payload.size(), ruv.sends[0].payload.size()) << each.name;
        EXPECT_EQ(ruv.sends[2].payload.size(), 8 + record_bytes(each.component)) << each.name;
        EXPECT_BYTES(ruv.sends[2].payload, 4, "01 00 00 00  00 00 00 00");
        expect_slot_empty(each.component);
    }
}

TEST_F(Bulk, TheFirstCodeThatIsNot0OfAllRecordsEndsTheCall) {
    for (const bulk &each : all) {
        ruv.sends.clear();
        ruv.reply(reply_of(each.operation, record_bytes(each.component), {0, 0, 39, 36}));
        EXPECT_EQ(each.call(1, each.units_max * 2), 39u) << each.name;
        EXPECT_EQ(ruv.sends.size(), 1u) << each.name;
        EXPECT_EQ(nprm_reply_slot[each.component], nprm_reply_area) << each.name << ": a refusal stays";
    }
}

TEST_F(Bulk, StopWhenTheServerIsNotReadyAnyMoreAndKeepWhatWasRead) {
    for (const bulk &each : all) {
        const std::span<uint8_t> read = each.read();
        std::fill(read.begin(), read.end(), uint8_t{0x5A});
        ruv.sends.clear();
        set_status(1);
        ruv.answers.push_back({0, filled(each.component, each.operation, 0xA1, each.units_max), [&] { set_status(0); }});
        stderr_of([&] { EXPECT_EQ(each.call(1, each.units_max + 1), 7u) << each.name; });
        EXPECT_EQ(ruv.sends.size(), 1u) << each.name;
        EXPECT_EQ(read[each.element_bytes * (each.units_max - 1)], 0xA1) << each.name;
        EXPECT_EQ(read[each.element_bytes * each.units_max], 0x5A) << each.name;
    }
}

TEST_F(Bulk, ReturnTheCodesOfAllWhoMayRefuse) {
    for (const bulk &each : all) {
        const std::span<uint8_t> read = each.read();
        std::fill(read.begin(), read.end(), uint8_t{0});
        expect_codes({each.name, each.component, each.operation, [&] { return each.call(1, 1); }}, [&] { return read[0] == 0; });
    }
}

TEST_F(Bulk, ReadsWriteTheObjectsThatTheReplyHas) {
    for (const bulk &each : all) {
        const std::span<uint8_t> read = each.read();
        std::fill(read.begin(), read.end(), uint8_t{0x5A});
        std::vector<uint8_t> reply = filled(each.component, each.operation, 0xA1, 2);
        std::memset(reply.data() + 12 + record_bytes(each.component), 0xB1, record_bytes(each.component) - 4);
        ruv.reply(reply);
        EXPECT_EQ(each.call(1, 3), 0u) << each.name;
        EXPECT_EQ(read[0], 0xA1) << each.name;
        EXPECT_EQ(read[each.element_bytes], 0xB1) << each.name;
        EXPECT_EQ(read[each.element_bytes * 2], 0x5A) << each.name << ": the reply has none for the third";
        expect_slot_empty(each.component);
    }
}

TEST_F(Bulk, ReadsOfSeveralMessagesWriteEachToItsOwnPlace) {
    for (const bulk &each : all) {
        ruv.reply(filled(each.component, each.operation, 0xA1, each.units_max));
        ruv.reply(filled(each.component, each.operation, 0xB1, 1));
        EXPECT_EQ(each.call(1, each.units_max + 1), 0u) << each.name;
        EXPECT_EQ(each.read()[each.element_bytes * (each.units_max - 1)], 0xA1) << each.name;
        EXPECT_EQ(each.read()[each.element_bytes * each.units_max], 0xB1) << each.name;
    }
}

TEST_F(Bulk, ReadsLeaveOutRecordsBeyondThoseThatWereAskedFor) {
    for (const bulk &each : all) {
        const std::span<uint8_t> read = each.read();
        std::fill(read.begin(), read.end(), uint8_t{0x5A});
        ruv.reply(filled(each.component, each.operation, 0xA1, each.units_max));
        EXPECT_EQ(each.call(1, 2), 0u) << each.name;
        EXPECT_EQ(read[each.element_bytes], 0xA1) << each.name;
        EXPECT_EQ(read[each.element_bytes * 2], 0x5A) << each.name;
    }
}

TEST_F(Bulk, ReadsLeaveARecordAloneThatIsCut) {
    for (const bulk &each : all) {
        const std::span<uint8_t> read = each.read();
        std::fill(read.begin(), read.end(), uint8_t{0x5A});
        std::vector<uint8_t> reply = filled(each.component, each.operation, 0xA1, 2);
        put_u32(reply, 4, 0xFFFFFFFF);
        reply.pop_back();
        ruv.reply(reply);
        const std::string log = stderr_of([&] { EXPECT_EQ(each.call(1, 2), 0u) << each.name; });
        EXPECT_NE(log.find("claims 4294967295 records, 1 came."), std::string::npos) << log;
        EXPECT_EQ(read[0], 0xA1) << each.name;
        EXPECT_EQ(read[each.element_bytes], 0x5A) << each.name;
    }
}

TEST_F(Bulk, OtherSubOperationsLeaveTheRecordsAlone) {
    for (const bulk &each : all) {
        const std::span<uint8_t> read = each.read();
        std::fill(read.begin(), read.end(), uint8_t{0x5A});
        for (const uint32_t op : {0u, 2u, 0xFFFFFFFFu}) {
            ruv.reply(filled(each.component, each.operation, 0xA1));
            EXPECT_EQ(each.call(op, 1), 0u) << each.name;
            EXPECT_EQ(read[0], 0x5A) << each.name;
            expect_slot_empty(each.component);
        }
    }
}

TEST_F(Bulk, AReplyOfAnUnknownOperationShowsNothingOfAnEarlierOne) {
    for (const bulk &each : all) {
        const std::span<uint8_t> read = each.read();
        ruv.reply(filled(each.component, each.operation, 0xA1));
        EXPECT_EQ(each.call(1, 1), 0u) << each.name;
        ASSERT_EQ(read[0], 0xA1);
        ruv.reply(filled(each.component, 99, 0xA1));
        EXPECT_EQ(each.call(1, 1), 0u) << each.name;
        EXPECT_EQ(read[0], 0) << each.name;
    }
}

// ---- the bytes of their records

class Record : public exchange_test {
  protected:
    Record() {
        for (size_t i = 0; i < 16; ++i) {
            node.address_a[i] = context.address_a[i] = entry.address_a[i] = static_cast<uint8_t>(0xA0 + i);
            node.address_b[i] = context.address_b[i] = entry.address_b[i] = static_cast<uint8_t>(0xB0 + i);
        }
    }
    static constexpr uint8_t id = 9;
    nprm_service_node node = {0, 0x1234, {}, {}};
    nprm_service_context context = {0, {}, {}};
    nprm_wccp_entry entry = {0, {}, {}};
};

TEST_F(Record, OfANodeHasBothAddressesWhole) {
    node.flags = 0xFD;
    expect_request({"sn", 2, 0, [&] { return nprm_sn_op(0x77, 1, &id, &node); }},
                   "00 00 00 00  01 00 00 00  77 00 00 00  09  fd  34 12"
                   "  a0 a1 a2 a3 a4 a5 a6 a7 a8 a9 aa ab ac ad ae af  b0 b1 b2 b3 b4 b5 b6 b7 b8 b9 ba bb bc bd be bf");
}

TEST_F(Record, OfAnIpv4NodeHasFourBytesOfEach) {
    node.flags = 0x02;
    expect_request({"sn", 2, 0, [&] { return nprm_sn_op(0x01020304, 1, &id, &node); }},
                   "00 00 00 00  01 00 00 00  04 03 02 01  09  02  34 12"
                   "  a0 a1 a2 a3  ee ee ee ee ee ee ee ee ee ee ee ee  b0 b1 b2 b3");
}

TEST_F(Record, OfANodeIsReadWhole) {
    std::vector<uint8_t> reply = filled(2, 0, 0);
    for (size_t i = 12; i < 88; ++i)
        reply[i] = static_cast<uint8_t>(i);
    ruv.reply(reply);
    EXPECT_EQ(nprm_sn_op(1, 1, &id, &node), 0u);
    EXPECT_BYTES(bytes_in(node), 0,
                 "0d 0e 0f 10 11 12 13 14 15 16 17 18 19 1a 1b 1c 1d 1e 1f 20 21 22 23 24 25 26 27 28 29 2a 2b 2c 2d 2e 2f");
}

TEST_F(Record, OfAGroupIsSentFromBytes1And2AndReadIntoBytes0And1) {
    const uint16_t wide_id = 0x0102;
    nprm_service_node_group group = {{0x0F, 0x21, 0x43}};
    expect_request({"sng", 2, 1, [&] { return nprm_sng_op(0, 1, &wide_id, &group); }},
                   "01 00 00 00  01 00 00 00  00 00 00 00  02 01  0f  21 43");
    std::vector<uint8_t> reply = filled(2, 1, 0x77);
    reply[15] = 0x5A;
    reply[16] = 0xA5;
    ruv.reply(reply);
    EXPECT_EQ(nprm_sng_op(1, 1, &wide_id, &group), 0u);
    EXPECT_BYTES(group.byte, 0, "5a a5 43");
}

TEST_F(Record, OfADistributionHasNoIdAndItsMemberIsRead) {
    const nprm_distribution_group group = {{0x11, 0x12, 0x13}};
    nprm_distribution_member member = {{0x21, 0x22}};
    expect_request({"sng dist", 2, 2, [&] { return nprm_sng_dist_op(0, 1, &group, &member); }},
                   "02 00 00 00  01 00 00 00  00 00 00 00  11 12 13  21 22");
    std::vector<uint8_t> reply = filled(2, 2, 0x77);
    reply[15] = 0x5A;
    reply[16] = 0xA5;
    ruv.reply(reply);
    EXPECT_EQ(nprm_sng_dist_op(1, 1, &group, &member), 0u);
    EXPECT_BYTES(member.byte, 0, "5a a5");
}

TEST_F(Record, OfAContextHasBothAddressesWhole) {
    context.flags = 0xFD;
    expect_request({"sc", 0, 0, [&] { return nprm_sc_op(0x77, 1, &id, &context); }},
                   "00 00 00 00  01 00 00 00  77 00 00 00  09  fd"
                   "  a0 a1 a2 a3 a4 a5 a6 a7 a8 a9 aa ab ac ad ae af  b0 b1 b2 b3 b4 b5 b6 b7 b8 b9 ba bb bc bd be bf");
}

TEST_F(Record, OfAnIpv4ContextHasFourBytesOfEach) {
    context.flags = 0x03;
    expect_request({"sc", 0, 0, [&] { return nprm_sc_op(0, 1, &id, &context); }},
                   "00 00 00 00  01 00 00 00  00 00 00 00  09  03"
                   "  a0 a1 a2 a3  ee ee ee ee ee ee ee ee ee ee ee ee  b0 b1 b2 b3");
}

TEST_F(Record, OfAnIpv4ContextIsReadWithTheRestOfItsAddressesCleared) {
    for (const uint8_t flags : {uint8_t{0}, uint8_t{2}}) {  // the first leaves its addresses behind, the second must not show them
        std::vector<uint8_t> reply = filled(0, 0, 0xC1);
        reply[13] = flags;
        ruv.reply(reply);
        EXPECT_EQ(nprm_sc_op(1, 1, &id, &context), 0u);
    }
    EXPECT_BYTES(bytes_in(context), 0,
                 "02  c1 c1 c1 c1 00 00 00 00 00 00 00 00 00 00 00 00  c1 c1 c1 c1 00 00 00 00 00 00 00 00 00 00 00 00");
}

TEST_F(Record, OfAWccpEntryIsWhatTheFirstOfItsFlagsSays) {
    const struct {
        uint8_t flags;
        const char *addresses;
    } cases[] = {
        {0x08, "08  a0 a1 a2 a3 a4 a5"},
        {0x0A, "0a  a0 a1 a2 a3 a4 a5"},
        {0x0E, "0e  a0 a1 a2 a3 a4 a5"},
        {0x02, "02  a0 a1 a2 a3 ee ee ee ee ee ee ee ee ee ee ee ee  b0 b1 b2 b3"},
        {0xF7, "f7  a0 a1 a2 a3 ee ee ee ee ee ee ee ee ee ee ee ee  b0 b1 b2 b3"},
        {0x04, "04  a0 a1 a2 a3 a4 a5 a6 a7 a8 a9 aa ab ac ad ae af  b0 b1 b2 b3 b4 b5 b6 b7 b8 b9 ba bb bc bd be bf"},
        {0xF1, "f1"},
        {0x00, "00"},
    };
    for (const auto &[flags, addresses] : cases) {
        entry.flags = flags;
        expect_request({addresses, 9, 0, [&] { return nprm_wccp_op(0x77, 1, &id, &entry); }},
                       (std::string("00 00 00 00  01 00 00 00  77 00 00 00  09  ") + addresses).c_str());
    }
}

TEST_F(Record, OfAWccpEntryIsReadWhole) {
    std::vector<uint8_t> reply = filled(9, 0, 0);
    for (size_t i = 12; i < 48; ++i)
        reply[i] = static_cast<uint8_t>(i);
    ruv.reply(reply);
    EXPECT_EQ(nprm_wccp_op(1, 1, &id, &entry), 0u);
    EXPECT_BYTES(bytes_in(entry), 0,
                 "0d 0e 0f 10 11 12 13 14 15 16 17 18 19 1a 1b 1c 1d 1e 1f 20 21 22 23 24 25 26 27 28 29 2a 2b 2c 2d");
}

}  // namespace
