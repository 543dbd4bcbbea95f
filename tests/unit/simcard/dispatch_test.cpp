// What all components have in common: which are served, how a request's size is checked, what answers without an operation.

#include "messages.h"

namespace {

message ask(const char *component, const message &request) {
    card under_test({});
    const auto answer = under_test.serve(*find_component(component), std::as_bytes(std::span(request)));
    message reply(answer.message.size());
    std::memcpy(reply.data(), answer.message.data(), reply.size());
    return reply;
}

message message_of_zeros(uint32_t operation, uint32_t units, uint32_t record_bytes) {
    message request(8 + size_t{units} * record_bytes, 0);
    put32(request, 0, operation);
    put32(request, 4, units);
    return request;
}

message request_of(uint32_t operation, uint32_t units, size_t bytes) {
    message request(bytes, 0xA5);
    put32(request, 0, operation);
    put32(request, 4, units);
    return request;
}

TEST(Components, AreThoseWithRecordsAtTheirOpcodes) {
    std::string rows;
    for (const component_row &row : served_components()) {
        char text[64];
        std::snprintf(text, sizeof text, "%u %s %u %u\n", row.number, row.name, row.opcode, row.record_bytes);
        rows += text;
    }
    EXPECT_EQ(rows,
              "0 CMM 190484 38\n1 MAC 190485 268\n2 FDM 190486 80\n3 IF 190487 35\n5 NPA 190489 788\n6 STATS 190490 9612\n"
              "7 TCAM 190491 51\n9 WCCP 190493 40\n10 NPDEBUG 190502 296\n");
    EXPECT_EQ(find_component(4), nullptr);
    EXPECT_EQ(find_component("TM"), nullptr);
    EXPECT_EQ(find_component("tcam"), find_component(7));
    EXPECT_EQ(find_component("TCA"), nullptr);
    EXPECT_EQ(find_component_of_opcode(0x2E826), find_component("NPDEBUG"));
}

TEST(UnknownOperation, IsAnsweredWithUnsupportedInEachRecord) {
    const message reply = ask("IF", request_of(0x77, 2, 78));
    message expected(78, 0);
    put32(expected, 0, 0x77);
    put32(expected, 4, 2);
    put32(expected, 8, 2);
    put32(expected, 43, 2);
    EXPECT_EQ(hex_of(reply), hex_of(expected));
}

TEST(UnknownOperation, IsAnsweredInTheMostRecordsThat64KiBHold) {
    const message reply = ask("IF", request_of(0x77, 1872, 8 + 1872 * 35));
    ASSERT_EQ(reply.size(), 65528U);
    EXPECT_EQ(get32(reply, 8 + 1871 * 35), 2U);
}

TEST(UnknownOperation, OfStatisticsIsAnsweredWithTheStatus0) {
    const message reply = ask("STATS", request_of(0x77, 1, 9620));
    EXPECT_EQ(reply.size(), 9620U);
    EXPECT_BYTES(reply, 0, "77 00 00 00  01 00 00 00  00 00 00 00");
}

TEST(MalformedRequest, IsAnsweredWithParamInAsManyRecordsAsItAskedAndFit) {
    const message two = ask("IF", request_of(5, 2, 77));
    EXPECT_EQ(two.size(), 78U);
    EXPECT_BYTES(two, 0, "05 00 00 00  02 00 00 00  03 00 00 00");
    EXPECT_EQ(get32(two, 43), 3U);

    const message many = ask("IF", request_of(5, 0xFFFFFFFF, 43));
    EXPECT_EQ(many.size(), 65528U);
    EXPECT_BYTES(many, 0, "05 00 00 00  50 07 00 00  03 00 00 00");
}

TEST(MalformedRequest, IsOneWhoseUnitsFitOnlyIn32Bits) {
    static_assert(uint32_t{8 + 0x40000001U * 268U} == 276);
    EXPECT_EQ(get32(ask("MAC", request_of(5, 0x40000001, 276)), 8), 3U);
}

TEST(MalformedRequest, WithoutRecordsIsAnsweredWithOne) {
    const message reply = ask("IF", request_of(5, 0, 8));
    EXPECT_EQ(reply.size(), 43U);
    EXPECT_BYTES(reply, 0, "05 00 00 00  01 00 00 00  03 00 00 00");
}

TEST(MalformedRequest, MayBeShorterThanAHeader) {
    for (size_t bytes = 0; bytes < 8; ++bytes) {
        message request = request_of(5, 1, 43);
        request.resize(bytes);
        const message reply = ask("IF", request);
        ASSERT_EQ(reply.size(), 43U) << bytes;
        EXPECT_EQ(get32(reply, 0), bytes < 4 ? 0U : 5U);
        EXPECT_EQ(get32(reply, 8), 3U);
    }
}

TEST(Acknowledge, AnswersTheHeadAndLeavesTheModelAlone) {
    tcam_under_test fresh;
    card under_test({});
    under_test.acknowledge_only = true;
    const message create = tcam_message(0, 2, 0, 10);
    const auto tcam = under_test.serve(*find_component(7), std::as_bytes(std::span(create)));
    EXPECT_EQ(tcam.message.size(), 110U);
    EXPECT_EQ(fresh.state()["lists"].size(), 0U);
    const message request = request_of(9, 3, 8 + 3 * 35);
    const auto other = under_test.serve(*find_component("IF"), std::as_bytes(std::span(request)));
    EXPECT_EQ(other.message.size(), 43U);
    EXPECT_EQ(other.result, 0U);
}

TEST(Card, CountsRequestsAndRefusalsByComponent) {
    card under_test({});
    const message space = tcam_message(2, 2), unknown = tcam_message(77, 2);
    under_test.serve(*find_component(7), std::as_bytes(std::span(space)));
    under_test.serve(*find_component(7), std::as_bytes(std::span(unknown)));
    under_test.serve(*find_component(7), std::as_bytes(std::span(space)), 42);
    EXPECT_EQ(under_test.count(*find_component(7)).requests, 3U);
    EXPECT_EQ(under_test.count(*find_component(7)).refused, 2U);
    EXPECT_EQ(under_test.count(*find_component(3)).requests, 0U);
}

TEST(Card, StartsAnewAfterReset) {
    card under_test({.tcam_entries = 50});
    const message create = tcam_message(0, 2, 0, 10);
    under_test.serve(*find_component(7), std::as_bytes(std::span(create)));
    under_test.acknowledge_only = true;
    under_test.faults.add(*find_fault_kind("drop"), {}, 1, {}, 0);
    under_test.reset();
    EXPECT_FALSE(under_test.acknowledge_only);
    EXPECT_TRUE(under_test.faults.active().empty());
    EXPECT_EQ(find_component(7)->model->describe(), nlohmann::json::parse(R"({"capacity": 50, "free": 50, "lists": []})"));
}

TEST(NumberOfRecords, IsOneButOfOperationsOnObjectsAndEntries) {
    const struct {
        const char *component;
        uint32_t record_bytes;
        std::vector<uint32_t> operations;
    } cases[] = {{"CMM", 38, {1}},
                 {"MAC", 268, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13}},
                 {"FDM", 80, {3, 4, 5, 6, 7}},
                 {"IF", 35, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 16, 17, 18, 19, 20, 21, 22}},
                 {"NPA", 788, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}},
                 {"WCCP", 40, {1}},
                 {"NPDEBUG", 296, {0, 1}}};
    for (const auto &[component, record_bytes, operations] : cases)
        for (const uint32_t operation : operations) {
            const message reply = ask(component, message_of_zeros(operation, 2, record_bytes));
            EXPECT_EQ(get32(reply, 8), 3u) << component << " " << operation;
        }
    for (const uint32_t operation : {0u, 1u, 2u, 3u})
        EXPECT_EQ(get32(ask("STATS", message_of_zeros(operation, 2, 9612)), 8), 0u) << "the status of what was not done";
    for (const uint32_t operation : {0u, 1u, 2u, 9u, 10u, 11u})
        EXPECT_EQ(get32(ask("TCAM", message_of_zeros(operation, 4, 51)), 8), 17u) << operation;
}

}  // namespace
