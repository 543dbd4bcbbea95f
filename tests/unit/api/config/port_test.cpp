// Ports and SFP modules: every byte of their requests and every use of their replies.

#include "api/config/nprm_port.h"

#include "exchange_test.h"

namespace {

constexpr uint8_t mac[6] = {0x0A, 0x1B, 0x2C, 0x3D, 0x4E, 0x5F};
constexpr uint32_t port = 0x11223344;
constexpr uint32_t word = 0x89ABCDEF;

const operation_call sets[] = {
    {"mtu", 1, 0, [] { return nprm_mac_if_set_mtu(port, word); }},
    {"speed", 1, 2, [] { return nprm_mac_if_set_speed(port, word); }},
    {"negotiate", 1, 4, [] { return nprm_mac_if_set_negotiate(port, word); }},
    {"link state", 1, 8, [] { return nprm_mac_if_set_link_state(port, word); }},
    {"led", 1, 13, [] { return nprm_set_port_led(port, word); }},
};

uint32_t out;
const operation_call gets[] = {
    {"mtu", 1, 1, [] { return nprm_mac_if_get_mtu(port, &out); }},
    {"speed", 1, 3, [] { return nprm_mac_if_get_speed(port, &out); }},
    {"negotiate", 1, 5, [] { return nprm_mac_if_get_negotiate(port, &out); }},
    {"link state", 1, 9, [] { return nprm_mac_if_get_link_state(port, &out); }},
};

// A reply of which byte i is i, modulo 251.
std::vector<uint8_t> counted(uint32_t operation) {
    std::vector<uint8_t> reply(276);
    for (size_t i = 0; i < reply.size(); ++i)
        reply[i] = static_cast<uint8_t>(i % 251);
    put_u32(reply, 0, operation);
    put_u32(reply, 4, 1);
    put_u32(reply, 8, 0);
    return reply;
}

class Port : public exchange_test {
  protected:
    // Every request begins with operation, one record, a result that the server writes, and the port.
    static std::string head(uint32_t operation) {
        char text[8];
        std::snprintf(text, sizeof text, "%02x", operation);
        return text + std::string(" 00 00 00  01 00 00 00  ee ee ee ee  44 33 22 11 ");
    }
};

TEST_F(Port, SettingsGoOutBehindThePort) {
    for (const operation_call &each : sets) {
        expect_request(each, (head(each.operation) + " ef cd ab 89").c_str());
        expect_slot_empty(1);
        expect_codes(each, [] { return true; });
        ruv.reply(reply_of(each.operation, 268, {97}));
        EXPECT_EQ(each.call(), 97u);
        expect_slot_empty(1);
    }
}

TEST_F(Port, GetsReturnTheWordBehindThePort) {
    for (const operation_call &each : gets) {
        expect_request(each, head(each.operation).c_str());
        ruv.reply(counted(each.operation));
        out = 0;
        EXPECT_EQ(each.call(), 0u);
        EXPECT_EQ(out, 0x13121110u) << each.name;
        expect_slot_empty(1);
        out = 77;
        expect_codes(each, [] { return out == 77; });
    }
}

TEST_F(Port, TheMacAddressIsSixBytesBehindThePort) {
    const operation_call set = {"set", 1, 6, [] { return nprm_mac_if_set_macaddr(port, mac); }};
    expect_request(set, (head(6) + " 0a 1b 2c 3d 4e 5f").c_str());
    expect_slot_empty(1);
    expect_codes(set, [] { return true; });

    uint8_t got[7] = {9, 9, 9, 9, 9, 9, 9};
    const operation_call get = {"get", 1, 7, [&] { return nprm_mac_if_get_macaddr(port, got); }};
    expect_codes(get, [&] { return got[0] == 9; });
    expect_request(get, head(7).c_str());
    ruv.reply(counted(7));
    EXPECT_EQ(get.call(), 0u);
    EXPECT_BYTES(got, 0, "10 11 12 13 14 15  09");
    expect_slot_empty(1);
}

TEST_F(Port, CountersAre44WordsAndTheOptionLiesBehindThem) {
    std::vector<uint32_t> counters(45, 0x5A5A5A5A);
    const operation_call get = {"counters", 1, 10, [&] { return nprm_mac_if_get_counters(port, counters.data(), 0xC3); }};
    expect_codes(get, [&] { return counters[0] == 0x5A5A5A5A; });
    std::string bytes = head(10);
    for (int i = 16; i < 192; ++i)
        bytes += " ee";
    expect_request(get, (bytes + " c3 00 00 00").c_str());
    ruv.reply(counted(10));
    EXPECT_EQ(get.call(), 0u);
    EXPECT_EQ(counters[0], 0x13121110u);
    EXPECT_EQ(counters[43], 0xBFBEBDBCu);  // offset 188
    EXPECT_EQ(counters[44], 0x5A5A5A5Au);
    expect_slot_empty(1);
}

class Sfp : public Port, public ::testing::WithParamInterface<uint32_t> {
  protected:
    uint32_t read(uint8_t *buffer, uint32_t length) {
        return GetParam() == 11 ? nprm_sfp_read_msa_all(port, buffer, length) : nprm_sfp_read_dom_all(port, buffer, length);
    }
};

TEST_P(Sfp, ReadsSendTheLengthAtTheRecordsEnd) {
    uint8_t buffer[300];
    std::string bytes = head(GetParam());
    for (int i = 16; i < 272; ++i)
        bytes += " ee";
    const operation_call call = {"sfp", 1, GetParam(), [&] { return read(buffer, 0x0102); }};
    expect_request(call, (bytes + " 02 01 00 00").c_str());
    std::memset(buffer, 0x5A, sizeof buffer);
    expect_codes(call, [&] { return buffer[0] == 0x5A; });
}

TEST_P(Sfp, ReadsFillTheBufferAsFarAsAskedAndAtMost256Bytes) {
    for (const uint32_t length : {1u, 128u, 255u, 256u, 257u, 300u, 0xFFFFFFFFu}) {
        std::vector<uint8_t> buffer(300, 0x5A);
        ruv.reply(counted(GetParam()));
        EXPECT_EQ(read(buffer.data(), length), 0u);
        const size_t copied = length < 256 ? length : 256;
        EXPECT_EQ(buffer[0], 0x10);
        EXPECT_EQ(buffer[copied - 1], (copied + 15) % 251) << length;
        EXPECT_EQ(buffer[copied], 0x5A) << length;
        std::vector<uint8_t> sent(4);
        put_u32(sent, 0, length);
        EXPECT_BYTES(ruv.last_request(), 272, hex_of(sent).c_str());
        expect_slot_empty(1);
    }
}

TEST_P(Sfp, ReadsOfLength0AskAndCopyNothing) {
    ruv.reply(counted(GetParam()));
    EXPECT_EQ(read(nullptr, 0), 0u);
    EXPECT_BYTES(ruv.last_request(), 272, "00 00 00 00");
    expect_slot_empty(1);
}

TEST_P(Sfp, ReadsWhoseReplyIsCutAreMalformed) {
    for (const size_t bytes : {12u, 16u, 271u, 275u}) {
        uint8_t buffer[256] = {0x5A};
        std::vector<uint8_t> reply = counted(GetParam());
        reply.resize(bytes);
        ruv.reply(reply);
        const std::string log = stderr_of([&] { EXPECT_EQ(read(buffer, 256), 1u); });
        EXPECT_NE(log.find("claims 1 records, 0 came."), std::string::npos) << log;
        EXPECT_EQ(buffer[0], 0x5A);
        expect_slot_empty(1);
    }
}

TEST_P(Sfp, AReplyOfAnotherOperationShowsNothingOfAnEarlierOne) {
    uint8_t buffer[256];
    ruv.reply(counted(GetParam()));
    EXPECT_EQ(read(buffer, 256), 0u);
    ruv.reply(counted(7));  // names six bytes
    EXPECT_EQ(read(buffer, 256), 0u);
    EXPECT_BYTES(buffer, 0, "10 11 12 13 14 15 00 00");
    EXPECT_EQ(buffer[255], 0);
}

INSTANTIATE_TEST_SUITE_P(OfBothKinds, Sfp, ::testing::Values(11u, 12u));

TEST_F(Port, AGetWhoseReplyHasNoRecordIsMalformed) {
    for (const operation_call &each : gets) {
        out = 77;
        std::vector<uint8_t> reply = counted(each.operation);
        reply.resize(20);
        ruv.reply(reply);
        stderr_of([&] { EXPECT_EQ(each.call(), 1u) << each.name; });
        put_u32(reply, 4, 0);
        ruv.reply(reply);
        const std::string log = stderr_of([&] { EXPECT_EQ(each.call(), 1u) << each.name; });
        EXPECT_NE(log.find("): Malformed reply: 0 records, 1 are needed."), std::string::npos) << log;
        EXPECT_EQ(out, 77u);
        expect_slot_empty(1);
    }
}

TEST_F(Port, NullPointersAreRefusedAndNothingIsSent) {
    const std::string log = stderr_of([] {
        EXPECT_EQ(nprm_mac_if_get_mtu(1, nullptr), 3u);
        EXPECT_EQ(nprm_mac_if_get_speed(1, nullptr), 3u);
        EXPECT_EQ(nprm_mac_if_get_negotiate(1, nullptr), 3u);
        EXPECT_EQ(nprm_mac_if_set_macaddr(1, nullptr), 3u);
        EXPECT_EQ(nprm_mac_if_get_macaddr(1, nullptr), 3u);
        EXPECT_EQ(nprm_mac_if_get_link_state(1, nullptr), 3u);
        EXPECT_EQ(nprm_mac_if_get_counters(1, nullptr, 0), 3u);
        EXPECT_EQ(nprm_sfp_read_msa_all(1, nullptr, 1), 3u);
        EXPECT_EQ(nprm_sfp_read_dom_all(1, nullptr, 1), 3u);
    });
    EXPECT_NE(log.find("nprm_sfp_read_dom_all("), std::string::npos) << log;
    EXPECT_TRUE(ruv.sends.empty());
}

}  // namespace
