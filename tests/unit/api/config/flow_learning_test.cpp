// Flow learning, the crash request and configuration reads: every byte of their requests and every use of their replies.

#include "api/config/nprm_flow_learning.h"

#include "api/config/nprm_service.h"
#include "exchange_test.h"

namespace {

const operation_call set_limit = {"set limit", 3, 19, [] { return nprm_set_flowlearn_limit(0x89ABCDEF); }};
const operation_call crash = {"crash", 3, 22, [] { return nprm_request_crash(0x89ABCDEF); }};

// A reply with `came` bytes of data, 1, 2, 3 and so on, that claims `claimed` of them.
std::vector<uint8_t> data_reply(uint32_t operation, uint32_t claimed, size_t came) {
    std::vector<uint8_t> reply(16 + came);
    put_u32(reply, 0, operation);
    put_u32(reply, 4, 1);
    put_u32(reply, 12, claimed);
    for (size_t i = 0; i < came; ++i)
        reply[16 + i] = static_cast<uint8_t>(i + 1);
    return reply;
}

class FlowLearning : public exchange_test {};

TEST_F(FlowLearning, TheLimitGoesOutBehindTheResult) {
    expect_request(set_limit, "13 00 00 00 01 00 00 00  ee ee ee ee  ef cd ab 89");
    expect_slot_empty(3);
    expect_codes(set_limit, [] { return true; });
}

TEST_F(FlowLearning, TheCrashRequestSendsItsArgument) {
    expect_request(crash, "16 00 00 00 01 00 00 00  ef cd ab 89");
    expect_slot_empty(3);
    expect_codes(crash, [] { return true; });
}

TEST_F(FlowLearning, TheLimitIsReadFromBehindTheResult) {
    uint32_t limit = 77;
    const operation_call get = {"get limit", 3, 20, [&] { return nprm_get_flowlearn_limit(&limit); }};
    expect_codes(get, [&] { return limit == 77; });
    expect_request(get, "14 00 00 00 01 00 00 00");
    std::vector<uint8_t> reply = reply_of(20, 35, {0});
    put_u32(reply, 12, 0x01020304);
    ruv.reply(reply);
    EXPECT_EQ(get.call(), 0u);
    EXPECT_EQ(limit, 0x01020304u);
    expect_slot_empty(3);
    reply.resize(42);
    ruv.reply(reply);
    limit = 77;
    stderr_of([&] { EXPECT_EQ(get.call(), 1u); });
    EXPECT_EQ(limit, 77u);
    expect_slot_empty(3);
}

TEST_F(FlowLearning, TheMaximumIsTwoMillionWithoutAServer) {
    set_status(0);
    uint32_t maximum = 0;
    EXPECT_EQ(nprm_get_flowlearn_max(&maximum), 0u);
    EXPECT_EQ(maximum, 2000000u);
    EXPECT_TRUE(ruv.sends.empty());
}

TEST_F(FlowLearning, NullOutputsAreRefusedAndNothingIsSent) {
    uint8_t byte = 1;
    stderr_of([&] {
        EXPECT_EQ(nprm_get_flowlearn_max(nullptr), 3u);
        EXPECT_EQ(nprm_get_flowlearn_limit(nullptr), 3u);
        EXPECT_EQ(nprm_read_port_mapping(nullptr), 3u);
        EXPECT_EQ(nprm_read_config(0, &byte, 1, nullptr, nullptr), 3u);
        EXPECT_EQ(nprm_read_config(0, nullptr, 1, &byte, nullptr), 3u);
    });
    EXPECT_TRUE(ruv.sends.empty());
}

class ConfigRead : public exchange_test {
  protected:
    uint32_t read(const std::vector<uint8_t> &input = {}) {
        return nprm_read_config(0x0A0B0C0D, input.empty() ? nullptr : input.data(), static_cast<uint32_t>(input.size()),
                                output.data(), &length);
    }
    std::vector<uint8_t> output = std::vector<uint8_t>(65521, 0x5A);
    uint32_t length = 77;
};

TEST_F(ConfigRead, SendsSelectorLengthAndInput) {
    expect_request({"config", 3, 17,
                    [&] {
                        return read({1, 2, 3});
                    }},
                   "11 00 00 00 01 00 00 00  0d 0c 0b 0a  03 00 00 00  01 02 03");
    expect_request({"config", 3, 17, [&] { return read(); }}, "11 00 00 00 01 00 00 00  0d 0c 0b 0a  00 00 00 00");
}

TEST_F(ConfigRead, SendsTheFirst27BytesOfALongerInputAndItsWholeLength) {
    for (const size_t bytes : {27u, 28u, 65520u, 65521u, 100000u}) {
        std::vector<uint8_t> input(bytes, 0x11);
        input[26] = 0x22;
        ruv.reply(data_reply(17, 0, 27));
        EXPECT_EQ(read(input), 0u);
        ASSERT_EQ(ruv.last_request().size(), 43u);
        std::vector<uint8_t> word(4);
        put_u32(word, 0, static_cast<uint32_t>(bytes));
        EXPECT_BYTES(ruv.last_request(), 12, hex_of(word).c_str());
        EXPECT_BYTES(ruv.last_request(), 41, "11 22");
        EXPECT_EQ(free_request_buffers(), 11u);
    }
}

TEST_F(ConfigRead, CopiesTheBytesThatTheReplyCounts) {
    for (const uint32_t bytes : {1u, 26u, 27u, 28u, 500u, 65520u}) {
        output.assign(65521, 0x5A);
        ruv.reply(data_reply(17, bytes, bytes));
        EXPECT_EQ(stderr_of([&] { EXPECT_EQ(read(), 0u); }), "");
        EXPECT_EQ(length, bytes);
        EXPECT_EQ(output[0], 1);
        EXPECT_EQ(output[bytes - 1], static_cast<uint8_t>(bytes)) << bytes;
        EXPECT_EQ(output[bytes], 0x5A) << bytes;
        expect_slot_empty(3);
    }
}

TEST_F(ConfigRead, OfLength0CopiesNothingAndTellsSo) {
    ruv.reply(data_reply(17, 0, 27));
    EXPECT_EQ(read(), 0u);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(output[0], 0x5A);
}

TEST_F(ConfigRead, CopiesWithoutSomewhereToTellTheLength) {
    ruv.reply(data_reply(17, 40, 40));
    EXPECT_EQ(nprm_read_config(0, nullptr, 0, output.data(), nullptr), 0u);
    EXPECT_EQ(output[39], 40);
    EXPECT_EQ(output[40], 0x5A);
}

TEST_F(ConfigRead, IsCutToTheBytesThatCameAndSaysSo) {
    for (const uint32_t claimed : {101u, 65521u, 0x80000000u, 0xFFFFFFFFu}) {
        output.assign(65521, 0x5A);
        ruv.reply(data_reply(17, claimed, 100));
        const std::string log = stderr_of([&] { EXPECT_EQ(read(), 0u); });
        EXPECT_NE(log.find("claims " + std::to_string(claimed) + " elements, 100 came."), std::string::npos) << log;
        EXPECT_EQ(length, 100u);
        EXPECT_EQ(output[99], 100);
        EXPECT_EQ(output[100], 0x5A);
        expect_slot_empty(3);
    }
}

TEST_F(ConfigRead, IsCutEvenWhenTheReplyEndsInsideItsRecord) {
    ruv.reply(data_reply(17, 27, 5));
    const std::string log = stderr_of([&] { EXPECT_EQ(read(), 0u); });
    EXPECT_NE(log.find("claims 27 elements, 5 came."), std::string::npos) << log;
    EXPECT_EQ(length, 5u);
    EXPECT_BYTES(output, 0, "01 02 03 04 05 5a");
}

TEST_F(ConfigRead, WithoutALengthIsMalformed) {
    for (const size_t bytes : {12u, 15u}) {
        std::vector<uint8_t> reply = data_reply(17, 4, 0);
        reply.resize(bytes);
        ruv.reply(reply);
        stderr_of([&] { EXPECT_EQ(read(), 1u); });
        EXPECT_EQ(length, 77u);
        EXPECT_EQ(output[0], 0x5A);
        expect_slot_empty(3);
    }
}

TEST_F(ConfigRead, OfAReplyOfAnotherOperationIsMalformed) {
    for (const uint32_t operation : {14u, 20u, 21u, 99u}) {
        std::vector<uint8_t> reply = data_reply(operation, 0xFFFFFFFF, 27);
        ruv.reply(reply);
        const std::string log = stderr_of([&] { EXPECT_EQ(read(), 1u); });
        EXPECT_NE(log.find("nprm_read_config("), std::string::npos) << log;
        EXPECT_NE(log.find("Malformed reply: operation " + std::to_string(operation) + ", asked was 17."), std::string::npos)
            << log;
        EXPECT_EQ(length, 77u);
        EXPECT_EQ(output[0], 0x5A);
    }
}

TEST_F(ConfigRead, ReturnsTheCodesOfAllWhoMayRefuse) {
    expect_codes({"config", 3, 17, [&] { return read(); }}, [&] { return length == 77 && output[0] == 0x5A; });
}

TEST_F(ConfigRead, OfAReplyThatClaimsManyRecordsCopiesWhatItCounts) {
    std::vector<uint8_t> reply = data_reply(17, 60, 80);
    put_u32(reply, 4, 0xFFFFFFFF);
    ruv.reply(reply);
    stderr_of([&] { EXPECT_EQ(read(), 0u); });
    EXPECT_EQ(length, 60u);
    EXPECT_EQ(output[59], 60);
    EXPECT_EQ(output[60], 0x5A);
}

TEST_F(ConfigRead, OfThePortMappingIsTheSameWithoutALength) {
    const operation_call mapping = {"mapping", 3, 21, [&] { return nprm_read_port_mapping(output.data()); }};
    expect_codes(mapping, [&] { return output[0] == 0x5A; });
    expect_request(mapping, "15 00 00 00 01 00 00 00");
    ruv.reply(data_reply(21, 30, 200));
    EXPECT_EQ(mapping.call(), 0u);
    EXPECT_EQ(output[29], 30);
    EXPECT_EQ(output[30], 0x5A);
    expect_slot_empty(3);
    ruv.reply(data_reply(21, 0xFFFFFFFF, 65520));
    const std::string log = stderr_of([&] { EXPECT_EQ(mapping.call(), 0u); });
    EXPECT_NE(log.find("claims 4294967295 elements, 65520 came."), std::string::npos) << log;
    EXPECT_EQ(output[65519], static_cast<uint8_t>(65520));
    EXPECT_EQ(output[65520], 0x5A);
}

}  // namespace
