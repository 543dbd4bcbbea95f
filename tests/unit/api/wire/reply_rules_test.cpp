// What the reply area holds after a reply of the components whose rows have lists.

#include "api/wire/reply_rules.h"

#include <cstring>

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

}  // namespace
