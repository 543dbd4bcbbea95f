// Flow controls, context groups, WCCP's MTU, the error-log mask: every byte of their requests and every use of their replies.

#include "api/config/nprm_service.h"

#include "exchange_test.h"

namespace {

// ---- operations of one record

constexpr nprm_flow_trace_record trace = {{0x11, 0x12, 0x13, 0x14}, 0x1615, 0x17, 0x1B1A1918};
constexpr nprm_flow_dump_record dump = {{0x21, 0x22, 0x23, 0x24, 0x25}, 0x2726};
constexpr nprm_flow_dist_query query = {0x34333231, 0x38373635, 0x3A39, 0x3C3B, 0x403F3E3D, 0x4241, 0x43};

class SingleRecord : public exchange_test {};

TEST_F(SingleRecord, OperationsGoOutAtTheRecordsBeginning) {
    const struct {
        operation_call operation;
        const char *bytes;
    } cases[] = {
        {{"trace", 2, 3, [] { return nprm_flow_trace(&trace); }}, "03 00 00 00 01 00 00 00  11 12 13 14  15 16  17  18 19 1a 1b"},
        {{"dump", 2, 4, [] { return nprm_flow_dump(&dump); }}, "04 00 00 00 01 00 00 00  21 22 23 24 25  26 27"},
        {{"swap", 2, 6, [] { return nprm_swap_src_ip(0xA7); }}, "06 00 00 00 01 00 00 00  a7"},
        {{"frame version", 2, 7, [] { return nprm_set_pc_frame_version(0xA8); }}, "07 00 00 00 01 00 00 00  a8"},
        {{"wccp mtu", 9, 1, [] { return nprm_wccp_set_mtu(0x1234); }}, "01 00 00 00 01 00 00 00  34 12 00 00"},
        {{"mask", 3, 16, [] { return nprm_set_errorlog_mask(0x89ABCDEF); }}, "10 00 00 00 01 00 00 00  ef cd ab 89"},
    };
    for (const auto &[operation, bytes] : cases) {
        expect_request(operation, bytes);
        expect_slot_empty(operation.component);
        expect_codes(operation, [] { return true; });
        ruv.reply(filled(operation.component, operation.operation, 0));
        put_u32(ruv.answers[0].payload, 8, 58);
        EXPECT_EQ(operation.call(), 58u);
        expect_slot_empty(operation.component);
    }
}

TEST_F(SingleRecord, TheFlowDistributionIs15WordsAndStaysInItsSlot) {
    uint32_t words[16];
    std::fill_n(words, 16, 77u);
    const operation_call show = {"distribution", 2, 5, [&] { return nprm_show_v4_flow_dist(&query, words); }};
    expect_codes(show, [&] { return words[0] == 77; });
    expect_request(show, "05 00 00 00 01 00 00 00  31 32 33 34  35 36 37 38  39 3a  3b 3c  3d 3e 3f 40  41 42  43");
    std::vector<uint8_t> reply = filled(2, 5, 0);
    for (size_t i = 12; i < 88; ++i)
        reply[i] = static_cast<uint8_t>(i);
    ruv.reply(reply);
    EXPECT_EQ(show.call(), 0u);
    EXPECT_EQ(words[0], 0x1F1E1D1Cu);
    EXPECT_EQ(words[14], 0x57565554u);
    EXPECT_EQ(words[15], 77u);
    EXPECT_EQ(nprm_reply_slot[2], nprm_reply_area);
}

TEST_F(SingleRecord, AFlowDistributionWithoutItsRecordIsMalformed) {
    uint32_t words[15] = {77};
    for (const size_t bytes : {12u, 28u, 87u}) {
        std::vector<uint8_t> reply = filled(2, 5, 0x11);
        reply.resize(bytes);
        ruv.reply(reply);
        const std::string log = stderr_of([&] { EXPECT_EQ(nprm_show_v4_flow_dist(&query, words), 1u); });
        EXPECT_NE(log.find("claims 1 records, 0 came."), std::string::npos) << log;
        EXPECT_EQ(words[0], 77u);
    }
}

TEST_F(SingleRecord, NullPointersAreRefusedAndNothingIsSent) {
    uint32_t words[15];
    stderr_of([&] {
        EXPECT_EQ(nprm_flow_trace(nullptr), 3u);
        EXPECT_EQ(nprm_flow_dump(nullptr), 3u);
        EXPECT_EQ(nprm_show_v4_flow_dist(nullptr, words), 3u);
        EXPECT_EQ(nprm_show_v4_flow_dist(&query, nullptr), 3u);
        EXPECT_EQ(nprm_scg_op(0, 1, nullptr), 3u);
    });
    EXPECT_TRUE(ruv.sends.empty());
}

// ---- groups of contexts

class ContextGroup : public exchange_test {
  protected:
    // A reply of a list whose length byte is `length`, with 0x81, 0x82 and so on behind it.
    static std::vector<uint8_t> list_reply(uint8_t length) {
        std::vector<uint8_t> reply = filled(0, 1, 0);
        reply[16] = length;
        for (size_t i = 17; i < 46; ++i)
            reply[i] = static_cast<uint8_t>(0x80 + i - 16);
        return reply;
    }
    void SetUp() override {
        exchange_test::SetUp();
        for (size_t i = 0; i < 29; ++i)
            list.byte[i] = static_cast<uint8_t>(0x41 + i);
    }
    nprm_service_context_group list = {3, {}};
};

TEST_F(ContextGroup, GoesOutAsLengthAndBytes) {
    expect_request({"scg", 0, 1, [&] { return nprm_scg_op(0x77, 0xAB, &list); }},
                   "01 00 00 00  01 00 00 00  77 00 00 00  ab 00 00 00  03  41 42 43");
    expect_slot_empty(0);
    list.length = 0;
    expect_request({"scg", 0, 1, [&] { return nprm_scg_op(1, 0xAB, &list); }},
                   "01 00 00 00  01 00 00 00  01 00 00 00  ab 00 00 00  00");
}

TEST_F(ContextGroup, GoesOutWithItsLengthAsGivenAndAtMost29Bytes) {
    for (const char *length : {"1d", "1e", "ff"}) {
        list.length = bytes_of(length)[0];
        ruv.reply(reply_of(1, 38, {0}));
        EXPECT_EQ(nprm_scg_op(0, 1, &list), 0u);
        ASSERT_EQ(ruv.last_request().size(), 46u);
        EXPECT_BYTES(ruv.last_request(), 16, length);
        EXPECT_BYTES(ruv.last_request(), 17,
                     "41 42 43 44 45 46 47 48 49 4a 4b 4c 4d 4e 4f 50 51 52 53 54 55 56 57 58 59 5a 5b 5c 5d");
    }
}

TEST_F(ContextGroup, NothingBehindThe29BytesIsRead) {
    const records_at_page_end<nprm_service_context_group> lists(1);
    lists.data()->length = 255;
    ruv.reply(reply_of(1, 38, {0}));
    EXPECT_EQ(nprm_scg_op(0, 1, lists.data()), 0u);
    EXPECT_BYTES(ruv.last_request(), 16, "ff 00");
}

TEST_F(ContextGroup, IsReadAsSeventeenBytesClearedBehindTheList) {
    ruv.reply(list_reply(5));
    EXPECT_EQ(nprm_scg_op(1, 1, &list), 0u);
    EXPECT_BYTES(bytes_in(list), 0, "05  81 82 83 84 85 00 00 00 00 00 00 00 00 00 00 00  51 52");
    expect_slot_empty(0);
    ruv.reply(list_reply(0));
    EXPECT_EQ(nprm_scg_op(1, 1, &list), 0u);
    EXPECT_BYTES(bytes_in(list), 0, "00  00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00  51 52");
}

TEST_F(ContextGroup, IsReadWithItsLengthAndNoMoreThanSixteenBytes) {
    for (const char *length : {"10", "11", "1d", "ff"}) {
        ruv.reply(list_reply(bytes_of(length)[0]));
        EXPECT_EQ(nprm_scg_op(1, 1, &list), 0u);
        EXPECT_BYTES(bytes_in(list), 0, length);
        EXPECT_BYTES(bytes_in(list), 1, "81 82 83 84 85 86 87 88 89 8a 8b 8c 8d 8e 8f 90  51 52");
    }
}

TEST_F(ContextGroup, IsLeftAloneByOtherSubOperationsWhateverTheirReply) {
    for (const size_t bytes : {12u, 46u}) {
        std::vector<uint8_t> reply = list_reply(5);
        reply.resize(bytes);
        ruv.reply(reply);
        stderr_of([&] { EXPECT_EQ(nprm_scg_op(2, 1, &list), 0u); });
        EXPECT_BYTES(bytes_in(list), 0, "03  41 42 43");
        expect_slot_empty(0);
    }
}

TEST_F(ContextGroup, IsMalformedWhenItsRecordIsCut) {
    std::vector<uint8_t> reply = list_reply(5);
    reply.resize(45);
    ruv.reply(reply);
    const std::string log = stderr_of([&] { EXPECT_EQ(nprm_scg_op(1, 1, &list), 1u); });
    EXPECT_NE(log.find("claims 1 records, 0 came."), std::string::npos) << log;
    EXPECT_BYTES(bytes_in(list), 0, "03  41 42 43");
    expect_slot_empty(0);
}

TEST_F(ContextGroup, ReturnsTheCodesOfAllWhoMayRefuse) {
    for (const uint32_t op : {0u, 1u})
        expect_codes({"scg", 0, 1, [&, op] { return nprm_scg_op(op, 1, &list); }}, [&] { return list.length == 3; });
}

}  // namespace
