// Flow keys, flow results and the records of flow traces, as text.

#include "api/diag/nprm_dump.h"

#include <cstring>

#include "printed.h"
#include "tests/support/bytes.h"
#include "tests/support/scripted_client.h"

namespace {

constexpr const char *key_hex = "0a 00 a8 c0  90 1f  07  01 02 03 0a  50 00";
constexpr const char *key_text =
    "   DECODE KEY>>\n"
    "\tdest ip   : 192.168.0.10    dest port : 8080    \n"
    "\tvrf         : 7       \n"
    "\tsource ip   : 10.3.2.1        source port : 80      \n";

class FlowDebug : public scripted_client {
  protected:
    // A result that names service node 0x2C, valid or not.
    static std::vector<uint8_t> result(bool node_is_valid) {
        std::vector<uint8_t> bytes(26, 0xFF);
        bytes[1] = node_is_valid ? 0x02 : 0xFD;
        bytes[8] = 0x2C;
        return bytes;
    }
    // The server's answer to a read of one node.
    void answer_node(uint8_t flags, const char *address) {
        std::vector<uint8_t> reply = reply_of(0, 80, {0});
        reply[13] = flags;
        const std::vector<uint8_t> bytes = bytes_of(address);
        std::copy(bytes.begin(), bytes.end(), reply.begin() + 16);
        ruv.reply(reply);
    }
    void answer_group(uint16_t fields) {
        std::vector<uint8_t> reply = reply_of(1, 80, {0});
        std::memcpy(reply.data() + 15, &fields, 2);
        ruv.reply(reply);
    }

    static std::string formatted_key(const void *key) {
        char text[512];
        const uint32_t length = nprm_format_flow_key(key, text, sizeof text);
        EXPECT_EQ(length, std::strlen(text));
        return text;
    }
    static std::string formatted_result(const void *result) {
        char text[512];
        const uint32_t length = nprm_format_flow_result(result, text, sizeof text);
        EXPECT_EQ(length, std::strlen(text));
        return text;
    }
    static std::string formatted_record(const std::vector<uint8_t> &record) {
        char text[512];
        EXPECT_EQ(nprm_format_debug_tlv(record.data(), static_cast<uint32_t>(record.size()), text, sizeof text), record.size());
        return text;
    }
    static std::string decoded_list(const std::vector<uint8_t> &list) {
        return stream_of([&](FILE *stream) {
            const uint32_t bytes = nprm_decode_flow_tlv(list.data(), static_cast<uint32_t>(list.size()), stream);
            EXPECT_EQ(bytes, static_cast<uint32_t>(ftell(stream)));
        });
    }
    static std::vector<uint8_t> record(uint16_t type, const std::vector<uint8_t> &value) {
        const auto length = static_cast<uint16_t>(value.size());
        std::vector<uint8_t> bytes(4);
        std::memcpy(bytes.data(), &type, 2);
        std::memcpy(bytes.data() + 2, &length, 2);
        bytes.insert(bytes.end(), value.begin(), value.end());
        return bytes;
    }
    static void append(std::vector<uint8_t> &list, const std::vector<uint8_t> &one) {
        list.insert(list.end(), one.begin(), one.end());
        list.resize((list.size() + 3) / 4 * 4, 0xEE);
    }
};

TEST_F(FlowDebug, FormatsAKey) {
    EXPECT_EQ(formatted_key(bytes_of(key_hex).data()), key_text);
}

TEST_F(FlowDebug, NullPointersHaveTextsOfTheirOwn) {
    EXPECT_EQ(formatted_key(nullptr), "decode key pointer is NULL\n");
    EXPECT_EQ(formatted_result(nullptr), "decode result pointer is NULL\n");
    EXPECT_TRUE(ruv.sends.empty());
}

TEST_F(FlowDebug, AsksTheServerForTheAddressOfAResultsNode) {
    answer_node(2, "04 03 02 0a");
    EXPECT_EQ(formatted_result(result(true).data()), "   DECODE RESULT>>\nsn ip: 10.2.3.4");
    ASSERT_EQ(ruv.sends.size(), 1u);
    EXPECT_EQ(ruv.sends[0].opcode, 190486u);
    EXPECT_EQ(ruv.last_request().size(), 88u);
    EXPECT_BYTES(ruv.last_request(), 0, "00 00 00 00  01 00 00 00  01 00 00 00  2c");
}

TEST_F(FlowDebug, ANodesAddressMayBeIpv6) {
    answer_node(0, "20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 01");
    EXPECT_EQ(formatted_result(result(true).data()), "   DECODE RESULT>>\nsn ip: 2001:db8::1");
}

TEST_F(FlowDebug, AResultWithoutAValidNodeAsksNobody) {
    EXPECT_EQ(formatted_result(result(false).data()), "   DECODE RESULT>>\nsn ip: N/A");
    EXPECT_TRUE(ruv.sends.empty());
}

TEST_F(FlowDebug, ANodeThatCannotBeReadHasNoAddress) {
    ruv.reply(reply_of(0, 80, {36}));
    EXPECT_EQ(formatted_result(result(true).data()), "   DECODE RESULT>>\nsn ip: N/A");
    std::vector<uint8_t> without_records(12);
    ruv.reply(without_records);
    EXPECT_EQ(formatted_result(result(true).data()), "   DECODE RESULT>>\nsn ip: N/A");
    set_status(0);
    stderr_of([&] { EXPECT_EQ(formatted_result(result(true).data()), "   DECODE RESULT>>\nsn ip: N/A"); });
}

TEST_F(FlowDebug, StaysInsideItsRoomAndTellsTheWholeLength) {
    const std::vector<uint8_t> key = bytes_of(key_hex);
    const std::string whole = key_text;
    for (uint32_t room = 0; room <= whole.size() + 2; ++room) {
        std::vector<char> text(whole.size() + 16, '~');
        EXPECT_EQ(nprm_format_flow_key(key.data(), text.data(), room), whole.size());
        if (room > 0) {
            EXPECT_EQ(text.data(), whole.substr(0, room - 1));
        }
        for (size_t at = room; at < text.size(); ++at)
            EXPECT_EQ(text[at], '~') << room;
    }
    EXPECT_EQ(nprm_format_flow_key(key.data(), nullptr, 0), whole.size());
    EXPECT_EQ(nprm_format_flow_key(key.data(), nullptr, 99), whole.size());
}

TEST_F(FlowDebug, AnEntryOfKind2IsKeyAndResult) {
    const std::vector<uint8_t> key = bytes_of(key_hex);
    answer_node(2, "04 03 02 0a");
    const std::string expected = std::string(key_text) + "   DECODE RESULT>>\nsn ip: 10.2.3.4";
    EXPECT_EQ(
        stream_of([&](FILE *stream) { EXPECT_EQ(nprm_decode_entry(2, key.data(), result(true).data(), stream), expected.size()); }),
        expected);
    EXPECT_EQ(stream_of([&](FILE *stream) { nprm_decode_entry(2, nullptr, nullptr, stream); }),
              "decode key pointer is NULL\ndecode result pointer is NULL\n");
}

TEST_F(FlowDebug, AnEntryOfAnotherKindIsNothing) {
    for (const uint32_t kind : {0u, 1u, 3u, 0xFFFFFFFFu})
        EXPECT_EQ(stream_of([&](FILE *stream) { EXPECT_EQ(nprm_decode_entry(kind, nullptr, nullptr, stream), 0u); }), "");
    EXPECT_EQ(nprm_decode_entry(2, nullptr, nullptr, nullptr), 0u);
}

// ---- records

TEST_F(FlowDebug, FormatsEachTypeOfRecordWithoutAskingTheServer) {
    EXPECT_EQ(formatted_record(record(1, bytes_of(key_hex))), key_text);
    EXPECT_EQ(formatted_record(record(2, result(true))), "   DECODE RESULT>>\nsn ip: N/A");
    EXPECT_EQ(formatted_record(record(3, bytes_of("03 05 34 12"))), "state change: from 3 to 5, event 4660");
    EXPECT_EQ(formatted_record(record(4, bytes_of("1b 00 00 00"))), "class statistic 27: POLICY SPECIFIED");
    EXPECT_EQ(formatted_record(record(4, bytes_of("00 00 00 00"))),
              "class statistic 0: CLIENT to SERVER, REDIR FROM INTERCEPT TO SN");
    EXPECT_EQ(formatted_record(record(4, bytes_of("26 00 00 00"))), "class statistic 38: SC PT CMD IN REDIR STATE");
    EXPECT_EQ(formatted_record(record(4, bytes_of("27 00 00 00"))), "class statistic 39: INVALID");
    EXPECT_EQ(formatted_record(record(4, bytes_of("ff ff ff ff"))), "class statistic 4294967295: INVALID");
    EXPECT_EQ(formatted_record(record(5, {0x2C})), "service node 44");
    EXPECT_EQ(formatted_record(record(6, {0x34, 0x12})), "service node group 4660");
    EXPECT_EQ(formatted_record(record(7, bytes_of("68 65 6c 6c 6f"))), "hello");
    EXPECT_TRUE(ruv.sends.empty());
}

TEST_F(FlowDebug, TextEndsAtItsTerminatorAndMovesNoCursor) {
    EXPECT_EQ(formatted_record(record(7, bytes_of("61 62 00 63 64"))), "ab");
    EXPECT_EQ(formatted_record(record(7, bytes_of("61 1b 5b 32 4a 09 0a 7f 62"))), "a.[2J\t\n.b");
    const std::vector<uint8_t> letters(300, 'x');
    EXPECT_EQ(formatted_record(record(7, letters)), std::string(300, 'x'));
    EXPECT_EQ(formatted_record(record(7, {})), "");
}

TEST_F(FlowDebug, AnUnknownRecordIsSaidAndLogged) {
    for (const uint16_t type : {uint16_t{8}, uint16_t{100}, uint16_t{65535}}) {
        const std::string log = stderr_of([&] {
            EXPECT_EQ(formatted_record(record(type, {1, 2, 3, 4})), "Unhandled type in flow trace");
        });
        EXPECT_EQ(log.find("nprm_format_debug_tlv("), 0u);
        EXPECT_EQ(log.substr(log.find("): ")), "): Unhandled type in flow trace.");
    }
}

TEST_F(FlowDebug, ARecordIsAsLongAsTheWayToTheNextOne) {
    char text[64];
    std::vector<uint8_t> list;
    append(list, record(5, {1}));
    append(list, record(6, {1, 2}));
    append(list, record(3, {1, 2, 3, 4}));
    const auto size = static_cast<uint32_t>(list.size());
    EXPECT_EQ(nprm_format_debug_tlv(list.data(), size, text, sizeof text), 8u);
    EXPECT_EQ(nprm_format_debug_tlv(list.data() + 8, size - 8, text, sizeof text), 8u);
    EXPECT_EQ(nprm_format_debug_tlv(list.data() + 16, size - 16, text, sizeof text), 8u);
    EXPECT_STREQ(text, "state change: from 1 to 2, event 1027");
    EXPECT_EQ(nprm_format_debug_tlv(list.data() + 24, 0, text, sizeof text), 0u);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(nprm_format_debug_tlv(list.data(), 5, text, sizeof text), 5u) << "the last one may lack its filling";
}

TEST_F(FlowDebug, AListEndsAtType0OrWithItsArea) {
    char text[64];
    const std::vector<uint8_t> end = bytes_of("00 00 04 00 01 02 03 04");
    EXPECT_EQ(nprm_format_debug_tlv(end.data(), 8, text, sizeof text), 0u);
    const std::vector<uint8_t> less_than_a_header = bytes_of("05 00 01");
    for (uint32_t size = 0; size <= 3; ++size)
        EXPECT_EQ(nprm_format_debug_tlv(less_than_a_header.data(), size, text, sizeof text), 0u);
    EXPECT_EQ(nprm_format_debug_tlv(nullptr, 100, text, sizeof text), 0u);
}

TEST_F(FlowDebug, ALengthPastTheAreaEndsTheListWithALogLine) {
    for (const uint32_t length : {5u, 1000u, 65535u}) {
        std::vector<uint8_t> list;
        append(list, record(3, {1, 2, 3, 4}));
        append(list, record(3, {1, 2, 3, 4}));
        list[10] = static_cast<uint8_t>(length);
        list[11] = static_cast<uint8_t>(length >> 8);
        std::string text;
        const std::string log = stderr_of([&] { text = decoded_list(list); });
        EXPECT_EQ(text, "state change: from 1 to 2, event 1027\n");
        EXPECT_EQ(log.find("nprm_decode_flow_tlv("), 0u);
        char line[80];
        std::snprintf(line, sizeof line, "A record of type 3 has %u bytes, 8 are left with its header.", length);
        EXPECT_NE(log.find(line), std::string::npos) << log;
    }
}

TEST_F(FlowDebug, AValueThatIsTooShortCountsItsMissingBytesAs0) {
    std::string log = stderr_of([&] { EXPECT_EQ(formatted_record(record(3, {9, 8})), "state change: from 9 to 8, event 0"); });
    EXPECT_NE(log.find("A record of type 3 has 2 bytes, 4 are needed"), std::string::npos) << log;
    log = stderr_of([&] { EXPECT_EQ(formatted_record(record(5, {})), "service node 0"); });
    EXPECT_NE(log.find("A record of type 5 has 0 bytes, 1 are needed"), std::string::npos) << log;
}

TEST_F(FlowDebug, AListPrintsItsRecordsWithWhatTheServerTells) {
    std::vector<uint8_t> list;
    append(list, record(1, bytes_of(key_hex)));
    append(list, record(2, result(true)));
    append(list, record(5, {0x0B}));
    append(list, record(6, {0x34, 0x12}));
    append(list, record(99, {1}));
    append(list, record(7, bytes_of("65 6e 64")));
    append(list, record(0, {}));
    append(list, record(7, bytes_of("6e 6f 74")));
    answer_node(2, "04 03 02 0a");
    answer_node(2, "01 00 00 7f");
    answer_group(0x2B5C);  // 12, 21, 21
    std::string text;
    stderr_of([&] { text = decoded_list(list); });
    EXPECT_EQ(text, std::string(key_text) +
                        "   DECODE RESULT>>\nsn ip: 10.2.3.4\n"
                        "service node 11: 127.0.0.1\n"
                        "service node group 4660: 12 21 21\n"
                        "Unhandled type in flow trace\n"
                        "end\n");
    ASSERT_EQ(ruv.sends.size(), 3u);
    EXPECT_BYTES(ruv.last_request(), 0, "01 00 00 00  01 00 00 00  01 00 00 00  34 12");
}

TEST_F(FlowDebug, AListPrintsWhatItKnowsWhenTheServerRefuses) {
    std::vector<uint8_t> list;
    append(list, record(5, {0x0B}));
    append(list, record(6, {0x34, 0x12}));
    ruv.reply(reply_of(0, 80, {36}));
    ruv.reply(reply_of(1, 80, {36}));
    EXPECT_EQ(decoded_list(list), "service node 11: N/A\nservice node group 4660: N/A\n");
    EXPECT_EQ(nprm_decode_flow_tlv(list.data(), 8, nullptr), 0u);
}

TEST_F(FlowDebug, BrokenListsEndInGoodOrder) {
    nprm_syslog_flag = 0;
    set_status(0);
    std::vector<uint8_t> whole;
    append(whole, record(1, bytes_of(key_hex)));
    append(whole, record(2, result(true)));
    append(whole, record(3, {1, 2, 3, 4}));
    append(whole, record(4, {1, 2, 3, 4}));
    append(whole, record(5, {1}));
    append(whole, record(6, {1, 2}));
    append(whole, record(7, bytes_of("68 65 6c 6c 6f")));
    for (size_t bytes = 0; bytes <= whole.size(); ++bytes) {
        const std::vector<uint8_t> cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(bytes));
        EXPECT_LE(decoded_list(cut).size(), 1000u);
    }
    for (size_t at = 0; at < whole.size(); ++at) {
        for (const int value : {0x00, 0x7F, 0x80, 0xFF}) {
            std::vector<uint8_t> changed = whole;
            changed[at] = static_cast<uint8_t>(value);
            EXPECT_LE(decoded_list(changed).size(), 1000u);
        }
    }
}

}  // namespace
