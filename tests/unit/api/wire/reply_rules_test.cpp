// What the reply area holds after a reply, of each operation that has a row.

#include "api/wire/reply_rules.h"

#include <cstring>
#include <set>
#include <string>

#include "api/frame/component.h"
#include "api/frame/nprm_client.h"
#include "tests/support/bytes.h"
#include "tests/support/scripted_client.h"

namespace {

// A reply with 0xEE in all bytes behind the header and the first record's result.
std::vector<uint8_t> filled(uint32_t operation, size_t bytes) {
    std::vector<uint8_t> reply(bytes, 0xEE);
    put_u32(reply, 0, operation);
    put_u32(reply, 4, 1);
    put_u32(reply, 8, 0);
    return reply;
}

std::span<const uint8_t> area() {
    return {nprm_reply_area, NPRM_MESSAGE_BYTES_MAX};
}

// The bytes of the area that are not zero end here.
size_t area_end() {
    size_t end = NPRM_MESSAGE_BYTES_MAX;
    while (end > 0 && nprm_reply_area[end - 1] == 0)
        --end;
    return end;
}

class NpaReply : public ::testing::Test {
  protected:
    void SetUp() override {
        nprm_syslog_flag = 0;
        std::memset(nprm_reply_area, 0, NPRM_MESSAGE_BYTES_MAX);
    }
    void TearDown() override {
        nprm_syslog_flag = NPRM_SYSLOG_FLAG_DEFAULT;
        nprm_reply_slot[5] = nullptr;
    }
};

TEST_F(NpaReply, OfASummaryIs668BytesBehindTheResult) {
    const std::vector<uint8_t> reply = filled(0, 796);
    nprm::convert_reply(5, reply.data(), 796);
    EXPECT_BYTES(area(), 8, "00 00 00 00 ee");
    EXPECT_EQ(area_end(), 680u);
}

TEST_F(NpaReply, OfEntriesIsTheRecordAndTheEntriesThatItCounts) {
    for (const uint32_t operation : {1u, 2u, 3u}) {
        std::vector<uint8_t> reply = filled(operation, 796 + 204 * 5);
        put_u32(reply, 20, 2);
        nprm::convert_reply(5, reply.data(), static_cast<uint32_t>(reply.size()));
        EXPECT_EQ(area_end(), 796u + 204 * 2) << operation;
        EXPECT_BYTES(area(), 16, "ee ee ee ee 02 00 00 00 ee");
    }
}

TEST_F(NpaReply, OfRegistersIsTheRecordAndFourBytesForEach) {
    std::vector<uint8_t> reply = filled(4, 796 + 4 * 9);
    put_u32(reply, 16, 3);
    nprm::convert_reply(5, reply.data(), static_cast<uint32_t>(reply.size()));
    EXPECT_EQ(area_end(), 796u + 4 * 3);
}

TEST_F(NpaReply, OfTheOthersIsTheRecord) {
    for (uint32_t operation = 5; operation <= 9; ++operation) {
        const std::vector<uint8_t> reply = filled(operation, 900);
        nprm::convert_reply(5, reply.data(), 900);
        EXPECT_EQ(area_end(), 796u) << operation;
    }
}

TEST_F(NpaReply, OfAnUnknownOperationIsTheResult) {
    for (const uint32_t operation : {10u, 0xFFFFFFFFu}) {
        std::vector<uint8_t> reply = filled(operation, 796);
        put_u32(reply, 8, 9);
        nprm::convert_reply(5, reply.data(), 796);
        EXPECT_EQ(area_end(), 9u);
    }
}

TEST_F(NpaReply, CountsNoMoreThanCame) {
    std::vector<uint8_t> reply = filled(1, 796 + 204 * 2 + 203);
    put_u32(reply, 20, 0xFFFFFFFF);
    nprm::convert_reply(5, reply.data(), static_cast<uint32_t>(reply.size()));
    EXPECT_BYTES(area(), 20, "02 00 00 00");
    EXPECT_EQ(area_end(), 796u + 204 * 2);
}

TEST_F(NpaReply, HandedInDirectlyIsBoundedByTheArea) {
    std::vector<uint8_t> reply = filled(4, 65536);
    put_u32(reply, 16, 0x40000001);
    nprm_api_ipc_msg_handler(5, reply.data());
    EXPECT_BYTES(area(), 16, "fb 3f 00 00");  // 16379
    EXPECT_EQ(area_end(), 65536u);
}

// ---- components 1, 2, 3 and 9: of each operation, the record's bytes that a reply hands on besides its result

class ConfigurationReply : public ::testing::Test {
  protected:
    void SetUp() override {
        nprm_syslog_flag = NPRM_LEVEL_ERROR;
        std::memset(nprm_reply_area, 0, NPRM_MESSAGE_BYTES_MAX);
    }
    void TearDown() override {
        nprm_syslog_flag = NPRM_SYSLOG_FLAG_DEFAULT;
        for (uint8_t *&slot : nprm_reply_slot)
            slot = nullptr;
    }
    static void receive(uint32_t component, const std::vector<uint8_t> &reply) {
        nprm::convert_reply(component, reply.data(), static_cast<uint32_t>(reply.size()));
    }
};

struct run {
    size_t first, last;  // bytes of the record, the last one included; none when last is 0
};
struct handed_on {
    uint32_t component;
    size_t record_bytes;
    std::vector<run> by_operation;
};

const handed_on components[] = {
    {1, 268, {{}, {8, 11}, {}, {8, 11}, {}, {8, 11}, {}, {8, 13}, {}, {8, 11}, {8, 183}, {8, 263}, {8, 263}, {}, {}}},
    {2, 80, {{5, 39}, {7, 8}, {7, 8}, {}, {}, {20, 79}, {}, {}, {}}},
    {3, 35, {{}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {4, 34}, {}, {}, {4, 34}, {}, {}, {4, 7}, {4, 34}, {}, {}}},
    {9, 40, {{5, 37}, {}, {}}},
};

TEST_F(ConfigurationReply, HandsOnWhatTheOperationReturnsOfEachRecord) {
    for (const handed_on &each : components) {
        for (uint32_t operation = 0; operation < each.by_operation.size(); ++operation) {
            const auto &[first, last] = each.by_operation[operation];
            std::vector<uint8_t> reply(8 + 2 * each.record_bytes, 0xEE);
            put_u32(reply, 0, operation);
            put_u32(reply, 4, 2);
            put_u32(reply, 8, 0x01020304);
            put_u32(reply, 8 + each.record_bytes, 0x05060708);
            receive(each.component, reply);
            EXPECT_BYTES(area(), 8, "04 03 02 01");
            EXPECT_BYTES(area(), 8 + each.record_bytes, "08 07 06 05");
            for (size_t at = 4; at < each.record_bytes; ++at) {
                const bool is_handed_on = last != 0 && at >= first && at <= last;
                for (const size_t record : {size_t{8}, 8 + each.record_bytes})
                    ASSERT_EQ(nprm_reply_area[record + at], is_handed_on ? 0xEE : 0)
                        << "component " << each.component << " operation " << operation << " record byte " << at;
            }
        }
    }
}

TEST_F(ConfigurationReply, OperationsHaveARowEachAndNoneHasAnother) {
    const struct {
        uint32_t component;
        std::set<uint32_t> operations;
    } rows[] = {
        {1, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13}},
        {2, {0, 1, 2, 3, 4, 5, 6, 7}},
        {3, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 16, 17, 18, 19, 20, 21, 22}},
        {9, {0, 1}},
    };
    for (const auto &[component, operations] : rows)
        for (uint32_t operation = 0; operation < 30; ++operation)
            EXPECT_EQ(nprm::reply_rule_of(component, operation) != nullptr, operations.count(operation) == 1)
                << component << " " << operation;
}

TEST_F(ConfigurationReply, OfBytesReachesAsFarAsTheyDo) {
    for (const uint32_t operation : {17u, 21u}) {
        std::vector<uint8_t> reply = filled(operation, 1000);
        put_u32(reply, 12, 500);
        receive(3, reply);
        EXPECT_BYTES(area(), 12, "f4 01 00 00 ee");
        EXPECT_EQ(nprm_reply_area[16 + 499], 0xEE);
        EXPECT_LE(area_end(), 43u + 500u);
    }
}

TEST_F(ConfigurationReply, OfBytesIsARecordFromItsLengthOn) {
    for (const size_t bytes : {16u, 17u, 42u}) {
        std::vector<uint8_t> reply = filled(17, bytes);
        put_u32(reply, 12, 500);
        const std::string log = stderr_of([&] { receive(3, reply); });
        EXPECT_NE(log.find("Reply of component 3 claims 500 elements, " + std::to_string(bytes - 16) + " came."), std::string::npos)
            << log;
        EXPECT_EQ(log.find("records"), std::string::npos) << log;
        EXPECT_BYTES(area(), 0, "11 00 00 00  01 00 00 00  00 00 00 00");
        EXPECT_EQ(area_end(), bytes == 16 ? 5u : bytes) << "and nothing behind what came";
    }
    const std::string log = stderr_of([&] { receive(3, filled(17, 15)); });
    EXPECT_NE(log.find("claims 1 records, 0 came."), std::string::npos) << log;
    EXPECT_BYTES(area(), 4, "00 00 00 00  00 00 00 00  00");
}

TEST_F(ConfigurationReply, OfBytesThatNoRecordCarriesHasNone) {
    std::vector<uint8_t> reply = filled(17, 100);
    put_u32(reply, 4, 0);
    put_u32(reply, 12, 50);
    receive(3, reply);
    EXPECT_EQ(area_end(), 1u);
}

TEST_F(ConfigurationReply, OfARefusalHasNoBytesBehindItsRecord) {
    std::vector<uint8_t> reply = filled(21, 1000);
    put_u32(reply, 8, 121);
    put_u32(reply, 12, 500);
    receive(3, reply);
    EXPECT_EQ(area_end(), 43u);
}

}  // namespace
