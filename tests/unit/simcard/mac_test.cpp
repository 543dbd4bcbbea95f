// Ethernet ports: settings, refusals, counters, and what their modules tell.

#include <numeric>

#include "messages.h"
#include "simcard/models/mac_state.h"

namespace {

constexpr size_t value_at = 16, option_at = 192, length_at = 272, message_bytes = 276;

// Bytes that a client does not set are not zero.
message mac_message(uint32_t operation, uint32_t port, uint32_t value = 0xA5A5A5A5) {
    message bytes(message_bytes, 0xA5);
    put32(bytes, 0, operation);
    put32(bytes, 4, 1);
    put32(bytes, 12, port);
    put32(bytes, value_at, value);
    return bytes;
}
message counter_message(uint32_t port, uint32_t option) {
    message bytes = mac_message(10, port);
    put32(bytes, option_at, option);
    return bytes;
}
message sfp_message(uint32_t operation, uint32_t port, uint32_t length) {
    message bytes = mac_message(operation, port);
    put32(bytes, length_at, length);
    return bytes;
}

class Mac : public testing::Test {
  protected:
    message ask(const message &request) {
        const auto answer = card_.serve(*find_component(1), std::as_bytes(std::span(request)));
        message reply(answer.message.size());
        std::memcpy(reply.data(), answer.message.data(), reply.size());
        return reply;
    }
    uint32_t code_of(const message &request) { return get32(ask(request), 8); }
    uint32_t value_of(uint32_t operation, uint32_t port) {
        const message reply = ask(mac_message(operation, port));
        EXPECT_EQ(get32(reply, 8), 0U);
        return get32(reply, value_at);
    }
    uint32_t set(uint32_t operation, uint32_t port, uint32_t value) { return code_of(mac_message(operation, port, value)); }
    std::vector<uint32_t> counters(uint32_t port, uint32_t option = 0) {
        const message reply = ask(counter_message(port, option));
        EXPECT_EQ(get32(reply, 8), 0U);
        std::vector<uint32_t> found;
        for (size_t i = 0; i < 44; ++i)
            found.push_back(get32(reply, value_at + 4 * i));
        return found;
    }

    card card_{{}};
};

TEST_F(Mac, AnswersInOneRecordOfWhichOnlyTheAnswerIsSet) {
    const message reply = ask(mac_message(1, 3));
    message expected(message_bytes, 0);
    expected[0] = 1;
    expected[4] = 1;
    expected[12] = 3;
    expected[16] = 0xEE;
    expected[17] = 0x05;
    EXPECT_EQ(hex_of(reply), hex_of(expected));
}

TEST_F(Mac, KeepsTheSettingsOfEachPort) {
    struct setting {
        uint32_t operation, port, value;
    };
    for (const setting &one : {setting{0, 0, 9216}, {0, 1, 64}, {2, 0, 2}, {2, 8, 0}, {4, 8, 0}, {4, 8, 1}, {8, 3, 0}, {8, 3, 1}}) {
        EXPECT_EQ(set(one.operation, one.port, one.value), 0U) << one.operation << " " << one.value;
        EXPECT_EQ(value_of(one.operation + 1, one.port), one.value) << one.operation;
    }
    EXPECT_EQ(value_of(1, 2), 1518U);
    EXPECT_EQ(value_of(3, 1), 3U);
    EXPECT_EQ(value_of(5, 1), 0U);
}

TEST_F(Mac, KeepsTheMacAddressInSixBytes) {
    message request = mac_message(6, 2);
    for (size_t i = 0; i < 6; ++i)
        put8(request, value_at + i, static_cast<uint32_t>(0x10 + i));
    EXPECT_EQ(code_of(request), 0U);
    EXPECT_BYTES(ask(mac_message(7, 2)), value_at, "10 11 12 13 14 15  00 00");
    EXPECT_BYTES(ask(mac_message(7, 3)), value_at, "02 00 00 00 00 03  00 00");
}

TEST_F(Mac, RefusesEachWrongRequestWithItsCodeAndChangesNothing) {
    struct wrong {
        const char *what;
        message request;
        uint32_t code;
    };
    message zero = mac_message(6, 0, 0), group = mac_message(6, 0, 0x01);
    put16(zero, value_at + 4, 0);
    message two(8 + 2 * 268, 0);
    put32(two, 0, 1);
    put32(two, 4, 2);
    const wrong rows[] = {
        {"a port beyond the last", mac_message(1, 16), 97},
        {"an MTU below 64", mac_message(0, 0, 63), 98},
        {"an MTU above 9216", mac_message(0, 0, 9217), 98},
        {"100M on a 10G port", mac_message(2, 0, 1), 100},
        {"10G on a 1G port", mac_message(2, 8, 3), 100},
        {"40G", mac_message(2, 0, 4), 100},
        {"a speed that has no name", mac_message(2, 8, 6), 100},
        {"negotiation on a 10G port", mac_message(4, 0, 1), 105},
        {"negotiation 2", mac_message(4, 8, 2), 105},
        {"no MAC address", zero, 109},
        {"a group's MAC address", group, 109},
        {"link state 2", mac_message(8, 0, 2), 111},
        {"counters with option 2", counter_message(0, 2), 116},
        {"no module", sfp_message(11, 4, 256), 117},
        {"a module that cannot be read", sfp_message(11, 5, 256), 117},
        {"monitoring without a module", sfp_message(12, 4, 256), 118},
        {"monitoring of a module that cannot be read", sfp_message(12, 5, 256), 118},
        {"monitoring of copper", sfp_message(12, 8, 256), 118},
        {"an LED value that there is not", mac_message(13, 0, 4), 3},
        {"two records", two, 3},
    };
    const auto settings = [this] {
        std::string all;
        for (const uint32_t port : {0U, 8U})
            for (const uint32_t get : {1U, 3U, 5U, 7U, 9U})
                all += hex_of(ask(mac_message(get, port)));
        return all;
    };
    const std::string before = settings();
    for (const wrong &row : rows) {
        const message reply = ask(row.request);
        EXPECT_EQ(get32(reply, 8), row.code) << row.what;
        EXPECT_EQ(reply.size(), message_bytes) << row.what;
        EXPECT_EQ(settings(), before) << row.what;
    }
    EXPECT_EQ(find_component(1)->model->ask(nlohmann::json::parse(R"({"led": 0})")), nlohmann::json({{"led", 0}}));
}

TEST_F(Mac, TellsTheLedToWhoAsksTheModel) {
    EXPECT_EQ(set(13, 7, 3), 0U);
    EXPECT_EQ(find_component(1)->model->ask(nlohmann::json::parse(R"({"led": 7})")), nlohmann::json({{"led", 3}}));
    EXPECT_THROW(find_component(1)->model->ask(nlohmann::json::parse(R"({"led": 16})")), std::invalid_argument);
    EXPECT_THROW(find_component(1)->model->ask(nlohmann::json::parse(R"({"light": 1})")), std::invalid_argument);
}

TEST_F(Mac, CountsWhatTrafficBrings) {
    EXPECT_EQ(counters(0), std::vector<uint32_t>(44, 0));
    card_.advance(std::chrono::seconds(100));
    const auto now = counters(0);
    // 1,000,000 packets: 550,000 of 64 bytes, 120,000 of 90, 60,000 of 200, 40,000 of 400, 130,000 of 594, 100,000 of 1400
    EXPECT_EQ(
        std::vector<uint32_t>(now.begin(), now.begin() + 13),
        (std::vector<uint32_t>{291220000, 0, 1000000, 970000, 20000, 10000, 550000, 120000, 60000, 40000, 130000, 100000, 0}));
    EXPECT_EQ(now[17], 1U);
    EXPECT_EQ(now[24], 980000U);
    EXPECT_EQ(counters(4), std::vector<uint32_t>(44, 0)) << "a port without module";
}

TEST_F(Mac, CountsPartsThatSumUpToTheirWhole) {
    card_.traffic.packets_per_second = 7919;
    uint64_t last_bytes = 0;
    for (int step = 0; step < 50; ++step) {
        card_.advance(std::chrono::microseconds(123'457));
        const auto now = counters(9);
        for (const size_t first : {size_t{0}, size_t{22}}) {
            const auto at = now.begin() + static_cast<ptrdiff_t>(first);
            ASSERT_EQ(std::accumulate(at + 3, at + 6, 0U), at[2]);
            ASSERT_EQ(std::accumulate(at + 6, at + 13, 0U), at[2]);
            ASSERT_GE(at[0], 64 * at[2]);
        }
        ASSERT_GT(now[0], last_bytes);
        last_bytes = now[0];
    }
    EXPECT_EQ(counters(9)[2], 48882U) << "7,919 packets a second for 6.17285 seconds";
}

TEST_F(Mac, CountsBytesAbove32Bits) {
    card_.traffic.packets_per_second = 100'000'000;
    card_.advance(std::chrono::seconds(60));
    const auto now = counters(0);
    EXPECT_GT(now[1], 0U);
    // No more than 10 gigabits a second.
    EXPECT_LE((uint64_t{now[1]} << 32 | now[0]) * 8, 600'000'000'000U);
}

TEST_F(Mac, CountsFromZeroAfterACountWithOption1) {
    card_.advance(std::chrono::seconds(1));
    EXPECT_EQ(counters(1, 1)[2], 10000U);
    EXPECT_EQ(counters(1), std::vector<uint32_t>(44, 0));
    card_.advance(std::chrono::seconds(2));
    EXPECT_EQ(counters(1)[2], 20000U);
    EXPECT_EQ(counters(0)[2], 30000U);
}

TEST_F(Mac, StopsCountingOnAPortThatIsDown) {
    EXPECT_EQ(set(8, 0, 0), 0U);
    card_.advance(std::chrono::seconds(1));
    EXPECT_EQ(counters(0)[2], 0U);
    EXPECT_EQ(counters(0)[43], 1U);
    EXPECT_EQ(set(8, 0, 0), 0U);
    EXPECT_EQ(counters(0)[43], 1U);
    EXPECT_FALSE(ports()[0].is_up());
    EXPECT_TRUE(ports()[1].is_up());
}

TEST_F(Mac, GoesBackToItsStartAtAReset) {
    card_.advance(std::chrono::seconds(5));
    EXPECT_EQ(set(0, 0, 2000), 0U);
    card_.traffic.frozen = true;
    card_.reset();
    EXPECT_FALSE(card_.traffic.frozen);
    EXPECT_EQ(value_of(1, 0), 1518U);
    EXPECT_EQ(counters(0), std::vector<uint32_t>(44, 0));
    EXPECT_EQ(find_component(1)->model->describe(), nlohmann::json({{"ports", 16}, {"up", 15}, {"seconds", 0}}));
}

TEST_F(Mac, TellsTheIdentificationByteByByte) {
    const message reply = ask(sfp_message(11, 0, 256));
    EXPECT_BYTES(reply, 16, "03 04 07 20  00 00 00 00  00 00 00 06  67 00 0a 64  00 00 00 00");
    EXPECT_BYTES(reply, 36, "53 49 4d 55 4c 41 54 45 44 20 4f 50 54 49 43 53  00 02 00 00");  // SIMULATED OPTICS
    EXPECT_BYTES(reply, 56, "53 49 4d 2d 31 30 47 2d 4c 52 20 20 20 20 20 20  41 31 20 20");  // SIM-10G-LR, A1
    EXPECT_BYTES(reply, 76, "05 1e 00 c3  00 1a 00 00");                                      // 1310 nm, CC_BASE
    EXPECT_BYTES(reply, 84, "53 49 4d 30 30 30 30 30 30 31 20 20 20 20 20 20");               // SIM0000001
    EXPECT_BYTES(reply, 100, "32 36 30 33 30 31 20 20  68 b0 08 a0");                         // 260301, CC_EXT
    EXPECT_EQ(hex_of(message(reply.begin() + 112, reply.begin() + 272)), hex_of(message(160, 0)));
    EXPECT_EQ(get32(reply, length_at), 256U);
}

TEST_F(Mac, TellsTheMonitoringWithLimitsFlagsAndCheckSum) {
    const message reply = ask(sfp_message(12, 3, 256));
    EXPECT_BYTES(reply, 16, "4b 00 fb 00 46 00 00 00");  // 75, -5, 70, 0 degrees
    EXPECT_BYTES(reply, 24, "8d cc 74 04 87 5a 7a 76");  // 3.63, 2.97, 3.465, 3.135 V
    uint32_t sum = 0;
    for (size_t i = 0; i < 95; ++i)
        sum += reply[16 + i];
    EXPECT_EQ(reply[16 + 95], sum & 0xFF);
    const int temperature = reply[16 + 96];
    EXPECT_GE(temperature, 70);
    EXPECT_LE(temperature, 72);
    EXPECT_BYTES(reply, 16 + 110, "00  00  00 00  00 00  80 00");  // no alarm, temperature's high warning
}

TEST_F(Mac, LetsReadingsDriftInsideTheirLimits) {
    std::vector<std::string> seen;
    for (int minute = 0; minute < 30; ++minute) {
        card_.advance(std::chrono::seconds(61));
        const message reply = ask(sfp_message(12, 0, 256));
        EXPECT_BYTES(reply, 16 + 112, "00 00  00 00  00 00");
        seen.push_back(hex_of(message(reply.begin() + 112, reply.begin() + 122)));
    }
    std::ranges::sort(seen);
    EXPECT_GT(std::unique(seen.begin(), seen.end()) - seen.begin(), 20);
}

TEST_F(Mac, RaisesTheLowAlarmOfReceivedPowerWithoutLight) {
    EXPECT_EQ(set(8, 0, 0), 0U);
    const message reply = ask(sfp_message(12, 0, 256));
    EXPECT_BYTES(reply, 16 + 104, "00 00");
    EXPECT_BYTES(reply, 16 + 110, "02  00  00 40  00 00  00 40");
}

TEST_F(Mac, TellsAsManyBytesOfAModuleAsWereAskedFor) {
    const message reply = ask(sfp_message(11, 0, 3));
    EXPECT_BYTES(reply, 16, "03 04 07 00 00 00");
    EXPECT_EQ(get32(reply, length_at), 3U);
    EXPECT_EQ(get32(ask(sfp_message(11, 0, 0xFFFFFFFF)), length_at), 256U);
    EXPECT_EQ(get32(ask(sfp_message(11, 0, 0)), length_at), 0U);
}

}  // namespace
