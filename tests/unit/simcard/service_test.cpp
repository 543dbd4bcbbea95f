// Service nodes, groups, contexts and WCCP entries of the simulated card: what is configured is what is read.

#include "service_messages.h"

#include "simcard/models/cmm_state.h"
#include "simcard/models/fdm_state.h"
#include "simcard/models/wccp_state.h"

namespace {

TEST(ServiceNode, IsReadAsItWasAddedWithoutBytesThatNoFieldHas) {
    services_under_test card;
    EXPECT_EQ(card.code_of(2, node_message(act_add, 9, 0x0A000001, 0x0A000002)), 0U);
    const message reply = card.ask(2, node_message(act_read, 9));
    ASSERT_EQ(reply.size(), 88U);
    EXPECT_BYTES(reply, 0,
                 "00 00 00 00  01 00 00 00  00 00 00 00  09 42 34 12"
                 "01 00 00 0a 00 00 00 00 00 00 00 00 00 00 00 00  02 00 00 0a 00 00 00 00 00 00 00 00 00 00 00 00");
    EXPECT_EQ(fdm().nodes.at(9).u16_1, 0x1234);
}

TEST(ServiceNode, KeepsAllBytesOfAnIpv6Address) {
    services_under_test card;
    message add = service_message(80, 0, act_add);
    for (uint32_t i = 12; i < 48; ++i)
        put8(add, i, i);
    put8(add, 13, 0xFD);
    EXPECT_EQ(card.code_of(2, add), 0U);
    message read = service_message(80, 0, act_read);
    put8(read, 12, 12);
    EXPECT_BYTES(card.ask(2, read), 12,
                 "0c fd 0e 0f  10 11 12 13 14 15 16 17 18 19 1a 1b 1c 1d 1e 1f  20 21 22 23 24 25 26 27 28 29 2a 2b 2c 2d 2e 2f"
                 "00 00 00 00");
}

TEST(ServiceNode, IsReplacedAndDeleted) {
    services_under_test card;
    EXPECT_EQ(card.code_of(2, node_message(act_replace, 3, 1)), 0U);
    EXPECT_EQ(card.code_of(2, node_message(act_replace, 3, 2)), 0U);
    EXPECT_EQ(get32(card.ask(2, node_message(act_read, 3)), 16), 2U);
    EXPECT_EQ(card.code_of(2, node_message(act_delete, 3)), 0U);
    EXPECT_EQ(card.code_of(2, node_message(act_read, 3)), 36U);
    EXPECT_TRUE(fdm().nodes.empty());
}

TEST(ServiceNode, SharesNoAddressWithOneOfTheSameVersionOnly) {
    services_under_test card;
    EXPECT_EQ(card.code_of(2, node_message(act_add, 1, 5)), 0U);
    message v6 = node_message(act_add, 2, 5);
    put8(v6, 13, 0);
    std::fill_n(v6.begin() + 20, 12, uint8_t{0});
    EXPECT_EQ(card.code_of(2, v6), 0U);
}

TEST(ServiceNode, TakesTheAddressesOfOneThatIsDeletedInTheSameTable) {
    services_under_test card;
    card.ask(2, node_message(act_add, 1, 5, 6));
    EXPECT_EQ(card.code_of(2, node_message(act_replace, 1, 6, 5)), 0U);
    card.ask(2, node_message(act_delete, 1));
    EXPECT_EQ(card.code_of(2, node_message(act_add, 2, 5, 6)), 0U);
}

TEST(ServiceNodes, OfAMessageAreAllAppliedOrNone) {
    services_under_test card;
    const message half = both(node_message(act_add, 1, 5), node_message(act_add, 2, 5));
    const message reply = card.ask(2, half);
    EXPECT_EQ(get32(reply, 8), 60U);
    EXPECT_EQ(get32(reply, 88), 60U);
    EXPECT_TRUE(fdm().nodes.empty());
    EXPECT_EQ(card.code_of(2, both(node_message(act_add, 1, 5), node_message(act_add, 2, 6))), 0U);
    const message read = card.ask(2, both(node_message(act_read, 2), node_message(act_read, 1)));
    EXPECT_EQ(get32(read, 16), 6U);
    EXPECT_EQ(get32(read, 96), 5U);
}

TEST(ServiceNodes, Are128AtMost) {
    services_under_test card;
    for (uint32_t id = 0; id < 128; ++id)
        ASSERT_EQ(card.code_of(2, node_message(act_add, static_cast<uint8_t>(id), 100 + id)), 0U);
    EXPECT_EQ(card.code_of(2, node_message(act_add, 128, 99)), 39U);
    EXPECT_EQ(card.code_of(2, node_message(act_replace, 128, 99)), 39U);
    EXPECT_EQ(card.code_of(2, node_message(act_replace, 127, 99)), 0U);
}

TEST(NodeGroup, IsReadAsItWasAdded) {
    services_under_test card;
    EXPECT_EQ(card.code_of(2, group_message(act_add, 0xABCD, 0x81, 0x9A5E)), 0U);
    EXPECT_BYTES(card.ask(2, group_message(act_read, 0xABCD)), 8, "00 00 00 00  cd ab 81 5e 9a 00 00");
    EXPECT_EQ(card.code_of(2, group_message(act_delete, 0xABCD)), 0U);
    EXPECT_EQ(card.code_of(2, group_message(act_read, 0xABCD)), 51U);
}

TEST(NodeGroup, ThatIsReplacedKeepsItsDistribution) {
    services_under_test card;
    card.ask(2, group_message(act_add, 7));
    EXPECT_EQ(card.code_of(2, member_message(act_add, 200, 7, 0x80, 33)), 0U);
    EXPECT_EQ(card.code_of(2, group_message(act_replace, 7, 1, 2)), 0U);
    EXPECT_BYTES(card.ask(2, member_message(act_read, 200, 7)), 8, "00 00 00 00  c8 07 00  80 21 00");
    EXPECT_EQ(card.code_of(2, group_message(act_delete, 7)), 52U);
    EXPECT_EQ(card.code_of(2, member_message(act_delete, 200, 7)), 0U);
    EXPECT_EQ(card.code_of(2, member_message(act_read, 200, 7)), 54U);
    EXPECT_EQ(card.code_of(2, group_message(act_delete, 7)), 0U);
}

TEST(NodeGroups, Are1024AtMost) {
    services_under_test card;
    for (uint32_t id = 0; id < 1024; ++id)
        ASSERT_EQ(card.code_of(2, group_message(act_add, static_cast<uint16_t>(id * 3))), 0U);
    EXPECT_EQ(card.code_of(2, group_message(act_add, 1)), 50U);
}

TEST(Distribution, MayNameANodeThatIsAbsentWhileItIsNotValid) {
    services_under_test card;
    card.ask(2, group_message(act_add, 7));
    EXPECT_EQ(card.code_of(2, member_message(act_add, 0, 7, 0xFE, 33)), 0U);
    EXPECT_EQ(card.code_of(2, member_message(act_replace, 0, 7, 1, 33)), 36U);
    card.ask(2, node_message(act_add, 33, 5));
    EXPECT_EQ(card.code_of(2, member_message(act_replace, 0, 7, 1, 33)), 0U);
}

TEST(FlowDistribution, TellsTheNodeThatTheFlowsHashIndexLeadsTo) {
    services_under_test card;
    card.ask(2, node_message(act_add, 33, 0xC0000201));
    card.ask(2, group_message(act_add, 0x0102));
    message query = flow_message(5, {1, 0, 0, 10, 2, 0, 0, 10, 0x40, 0x1F, 80, 0, 0, 0, 0, 0, 0x02, 0x01, 3});
    const message unserved = card.ask(2, query);
    const uint32_t index = get32(unserved, 28);
    ASSERT_LT(index, 256U);
    EXPECT_BYTES(unserved, 8, "00 00 00 00");
    EXPECT_BYTES(unserved, 32, "00 00 00 00  00 00 00 00");
    card.ask(2, member_message(act_add, static_cast<uint8_t>(index), 0x0102, 1, 33));
    card.ask(2, member_message(act_add, static_cast<uint8_t>(index + 1), 0x0102, 1, 33));
    const message served = card.ask(2, query);
    EXPECT_EQ(get32(served, 28), index);
    EXPECT_BYTES(
        served, 32,
        "01 00 00 00  21 00 00 00  42 00 00 00  01 02 00 c0  00 00 00 00  00 00 00 00  00 00 00 00  02 00 00 00  01 00 00 00"
        "00 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00");
}

TEST(FlowDistribution, SpreadsFlowsThatDifferInTheirPort) {
    services_under_test card;
    card.ask(2, group_message(act_add, 1));
    std::array<bool, 256> seen = {};
    message query = flow_message(5, std::vector<uint8_t>(19, 0));
    put8(query, 24, 1);
    for (uint32_t port = 0; port < 4096; ++port) {
        put16(query, 16, port);
        seen.at(get32(card.ask(2, query), 28)) = true;
    }
    EXPECT_GT(std::ranges::count(seen, true), 200);
}

TEST(FlowTraceAndDump, StartAndEndByTheirFirstByte) {
    services_under_test card;
    const auto answer = [](const char *what) { return find_component(2)->model->ask({{"flow", what}}); };
    EXPECT_EQ(card.code_of(2, flow_message(3, {1, 2, 3, 4, 80, 0, 9, 1, 0, 0, 10})), 0U);
    EXPECT_EQ(answer("trace"), nlohmann::json::parse(R"({"bytes": [1, 2, 3, 4], "port": 80, "vrf": 9, "address": 167772161})"));
    EXPECT_EQ(card.code_of(2, flow_message(4, {1, 10, 0, 0, 1, 0xBB, 1})), 0U);
    EXPECT_EQ(answer("dump"), nlohmann::json::parse(R"({"bytes": [1, 10, 0, 0, 1], "port": 443})"));
    EXPECT_EQ(card.code_of(2, flow_message(3, {0})), 0U);
    EXPECT_EQ(card.code_of(2, flow_message(4, {0})), 0U);
    EXPECT_EQ(answer("trace"), nullptr);
    EXPECT_EQ(answer("dump"), nullptr);
    EXPECT_THROW(answer("other"), std::invalid_argument);
}

TEST(FlowPath, KeepsTheSwitchAndTheFrameVersion) {
    services_under_test card;
    EXPECT_EQ(card.code_of(2, flow_message(6, {1})), 0U);
    EXPECT_EQ(card.code_of(2, flow_message(7, {250})), 0U);
    EXPECT_TRUE(fdm().swaps_source);
    EXPECT_EQ(fdm().frame_version, 250);
    EXPECT_EQ(card.code_of(2, flow_message(6, {0})), 0U);
    EXPECT_FALSE(fdm().swaps_source);
}

TEST(ServiceContext, IsReadAsItWasAddedAndDeleted) {
    services_under_test card;
    EXPECT_EQ(card.code_of(0, context_message(act_add, 200, 0x0A000001)), 0U);
    EXPECT_EQ(card.code_of(0, context_message(act_replace, 200, 0x0A000003, 0x0A000004)), 0U);
    const message reply = card.ask(0, context_message(act_read, 200));
    ASSERT_EQ(reply.size(), 46U);
    EXPECT_BYTES(reply, 8,
                 "00 00 00 00  c8 02  03 00 00 0a 00 00 00 00 00 00 00 00 00 00 00 00"
                 "04 00 00 0a 00 00 00 00 00 00 00 00 00 00 00 00");
    EXPECT_EQ(card.code_of(0, context_message(act_delete, 200)), 0U);
    EXPECT_EQ(card.code_of(0, context_message(act_read, 200)), 62U);
}

TEST(ServiceContexts, Are128AtMost) {
    services_under_test card;
    for (uint32_t id = 0; id < 128; ++id)
        ASSERT_EQ(card.code_of(0, context_message(act_add, static_cast<uint8_t>(255 - id), 100 + id)), 0U);
    EXPECT_EQ(card.code_of(0, context_message(act_add, 0, 99)), 65U);
}

TEST(ContextGroup, IsReadInTheOrderThatItWasGivenAndDeleted) {
    services_under_test card;
    for (const uint8_t id : {uint8_t{1}, uint8_t{2}, uint8_t{3}})
        card.ask(0, context_message(act_add, id, id));
    EXPECT_EQ(card.code_of(0, context_group_message(act_add, 255, {3, 1})), 0U);
    EXPECT_BYTES(card.ask(0, context_group_message(act_read, 255)), 8, "00 00 00 00  ff 00 00 00  02 03 01 00 00");
    EXPECT_EQ(card.code_of(0, context_group_message(act_replace, 255, {2})), 0U);
    EXPECT_BYTES(card.ask(0, context_group_message(act_read, 255)), 16, "01 02 00 00");
    EXPECT_EQ(card.code_of(0, context_group_message(act_replace, 4, {})), 0U);
    EXPECT_EQ(cmm().groups.size(), 2U);
    EXPECT_EQ(card.code_of(0, context_group_message(act_delete, 255)), 0U);
    EXPECT_EQ(card.code_of(0, context_group_message(act_read, 255)), 79U);
    EXPECT_EQ(card.code_of(0, context_message(act_delete, 2)), 0U);
}

TEST(WccpEntry, IsReadWithTheBytesThatItsFlagsName) {
    services_under_test card;
    const std::pair<uint8_t, const char *> kinds[] = {
        {10, "0a  77 77 77 77 77 77 00 00 00 00 00 00 00 00 00 00  00 00 00 00 00 00"},
        {6, "06  77 77 77 77 00 00 00 00 00 00 00 00 00 00 00 00  77 77 77 77 00 00"},
        {4, "04  77 77 77 77 77 77 77 77 77 77 77 77 77 77 77 77  77 77 77 77 77 77"},
        {1, "01  00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00  00 00 00 00 00 00"},
    };
    for (const auto &[flags, bytes] : kinds) {
        EXPECT_EQ(card.code_of(9, wccp_message(act_replace, 5, flags, 0x77)), 0U);
        const message reply = card.ask(9, wccp_message(act_read, 5));
        ASSERT_EQ(reply.size(), 48U);
        EXPECT_BYTES(reply, 13, bytes);
    }
    EXPECT_EQ(card.code_of(9, wccp_message(act_delete, 5)), 0U);
    EXPECT_EQ(card.code_of(9, wccp_message(act_read, 5)), 84U);
}

TEST(WccpEntries, Are128AtMost) {
    services_under_test card;
    for (uint32_t id = 0; id < 128; ++id)
        ASSERT_EQ(card.code_of(9, wccp_message(act_add, static_cast<uint8_t>(id))), 0U);
    EXPECT_EQ(card.code_of(9, wccp_message(act_add, 200)), 87U);
}

TEST(WccpMtu, IsKept) {
    services_under_test card;
    EXPECT_EQ(wccp().mtu, 1500);
    EXPECT_EQ(card.code_of(9, service_message(40, 1, 65535)), 0U);
    EXPECT_EQ(wccp().mtu, 65535);
}

TEST(ServiceModels, CountWhatTheyHoldAndForgetItAtAReset) {
    services_under_test card;
    card.ask(2, node_message(act_add, 1, 5));
    card.ask(2, group_message(act_add, 7));
    card.ask(2, member_message(act_add, 9, 7, 1, 1));
    card.ask(0, context_message(act_add, 1, 5));
    card.ask(0, context_group_message(act_add, 1, {1}));
    card.ask(9, wccp_message(act_add, 1));
    EXPECT_EQ(services_under_test::state(2), nlohmann::json::parse(R"({"nodes": 1, "groups": 1, "members": 1,
        "traces": false, "dumps": false, "swaps": false, "frames": 0})"));
    EXPECT_EQ(services_under_test::state(0), nlohmann::json::parse(R"({"contexts": 1, "groups": 1})"));
    EXPECT_EQ(services_under_test::state(9), nlohmann::json::parse(R"({"entries": 1, "mtu": 1500})"));
    const services_under_test fresh;
    EXPECT_EQ(services_under_test::state(2).at("nodes"), 0);
    EXPECT_EQ(services_under_test::state(0).at("contexts"), 0);
    EXPECT_EQ(services_under_test::state(9).at("entries"), 0);
}

}  // namespace
