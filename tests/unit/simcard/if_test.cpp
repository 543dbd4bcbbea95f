// Interfaces, port channels, bridge groups and settings of the simulated card: requests by their bytes, codes by their numbers.

#include <map>

#include <gtest/gtest.h>

#include "messages.h"

namespace {

using nlohmann::json;

constexpr uint32_t ok = 0, param = 3, exists = 120, absent = 121, no_port_entry = 122, no_lag = 125, no_uidb = 126, bad_mac = 147,
                   bad_ip = 149, no_ip = 150, in_group = 151, group_exists = 152, group_absent = 153, group_has_vlan = 154,
                   vlan_used = 155, vlan_unused = 156, is_layer_3 = 158, not_layer_2 = 159, not_layer_3 = 160, not_channel = 161,
                   not_sb = 162, not_physical = 163, too_many_members = 164, not_member = 165, sb_inactive = 166;
constexpr uint32_t physical = 0, channel = 1, sb = 2, layer_3 = 0x10;

class Interfaces : public testing::Test {
  protected:
    static message request(uint32_t operation) {
        message bytes(43, 0);
        put32(bytes, 0, operation);
        put32(bytes, 4, 1);
        return bytes;
    }
    message ask(const message &bytes) {
        const auto answer = card_.serve(*find_component(3), std::as_bytes(std::span(bytes)));
        message reply(answer.message.size());
        std::memcpy(reply.data(), answer.message.data(), reply.size());
        return reply;
    }
    uint32_t code_of(const message &bytes) { return get32(ask(bytes), 8); }

    uint32_t create(uint32_t id, uint32_t attribute, uint32_t value, uint8_t mac_first = 2) {
        message bytes = request(0);
        put32(bytes, 8, id);
        put32(bytes, 12, attribute);
        put32(bytes, 16, value);
        put8(bytes, 20, mac_first);
        put8(bytes, 25, id & 0xFF);
        return code_of(bytes);
    }
    uint32_t delete_interface(uint32_t id) { return with_words(1, {id}); }
    uint32_t set_state(uint32_t id, uint32_t state) {
        message bytes = request(2);
        put32(bytes, 8, id);
        put32(bytes, 26, state);
        return code_of(bytes);
    }
    uint32_t set_address(uint32_t operation, uint32_t id, uint8_t length, uint8_t action, uint8_t first, uint16_t vrf = 0) {
        message bytes = request(operation);
        put32(bytes, 8, id);
        put8(bytes, 12, length);
        put8(bytes, 13, action);
        put16(bytes, 14, vrf);
        put8(bytes, 16, first);
        put8(bytes, 19, first);
        return code_of(bytes);
    }
    // Words from offset 8 on.
    uint32_t with_words(uint32_t operation, const std::vector<uint32_t> &words) {
        message bytes = request(operation);
        for (size_t i = 0; i < words.size(); ++i)
            put32(bytes, 8 + 4 * i, words[i]);
        return code_of(bytes);
    }
    uint32_t vlan(uint32_t operation, uint32_t group, uint16_t number, uint32_t value) {
        message bytes = request(operation);
        put32(bytes, 8, group);
        put32(bytes, 20, value);
        put16(bytes, 24, number);
        return code_of(bytes);
    }
    static json about(uint32_t id) { return find_component(3)->model->ask({{"interface", id}}); }
    static json state() { return find_component(3)->model->describe(); }

    card card_{{}};
};

TEST_F(Interfaces, KeepWhatTheyWereCreatedWith) {
    ASSERT_EQ(create(300, physical | layer_3, 5), ok);
    EXPECT_EQ(about(300), json::parse(R"({"id": 300, "kind": "physical", "layer": 3, "value": 5, "mac": [2, 0, 0, 0, 0, 44],
        "up": false, "v4": null, "v6": null, "channel": null, "members": [], "active_on": null, "bridge_group": null})"));
    EXPECT_EQ(delete_interface(300), ok);
    EXPECT_EQ(delete_interface(300), absent);
    EXPECT_EQ(state()["interfaces"], 0);
}

TEST_F(Interfaces, AnswerQuestionsByTheirWholeNumberOnly) {
    const auto ask_card = [](const json &question) { return find_component(3)->model->ask(question); };
    for (uint32_t id = 0; id < 70; ++id)
        create(id, sb, 0);
    create(100, physical, 0);
    create(101, physical, 1);
    ASSERT_EQ(with_words(10, {5, 100, 101}), ok);
    EXPECT_EQ(ask_card({{"bridge_group", 5U}})["interfaces"], json::parse("[100, 101]"));
    EXPECT_THROW(ask_card({{"bridge_group", 256U + 5U}}), std::invalid_argument);
    EXPECT_THROW(ask_card({{"bridge_group", -251}}), std::invalid_argument);
    EXPECT_THROW(ask_card({{"interface", uint64_t{4294967296} + 5}}), std::invalid_argument);
    EXPECT_THROW(ask_card({{"interfaces", 65536U}}), std::invalid_argument);
    const json first = ask_card({{"interfaces", 0U}})["interfaces"], rest = ask_card({{"interfaces", 64U}})["interfaces"];
    ASSERT_EQ(first.size(), 64U);
    EXPECT_EQ(first[63]["id"], 63);
    ASSERT_EQ(rest.size(), 8U);
    EXPECT_EQ(rest[6], about(100));
    EXPECT_TRUE(ask_card({{"interfaces", 102U}})["interfaces"].empty());
}

TEST_F(Interfaces, RefuseToBeCreatedWrongly) {
    ASSERT_EQ(create(1, physical, 5), ok);
    EXPECT_EQ(create(1, physical, 6), exists);
    EXPECT_EQ(create(2, physical, 5), no_port_entry);
    EXPECT_EQ(create(2, physical, 16), not_physical);
    EXPECT_EQ(create(2, 3, 0), param);
    EXPECT_EQ(create(2, 0x20, 0), param);
    EXPECT_EQ(create(2, physical, 256), param);
    EXPECT_EQ(create(65535, physical, 6), param) << "the port mapping's mark of a port without interface";
    EXPECT_EQ(create(65536, physical, 6), param);
    message without_mac = request(0);
    put32(without_mac, 8, 2);
    put32(without_mac, 16, 6);
    EXPECT_EQ(code_of(without_mac), bad_mac);
    EXPECT_EQ(create(2, physical, 6, 1), bad_mac);
    for (uint32_t id = 100; id < 164; ++id)
        ASSERT_EQ(create(id, channel, 0), ok);
    EXPECT_EQ(create(164, channel, 0), no_lag);
    for (uint32_t id = 1000; id < 1000 + 4096 - 65; ++id)
        ASSERT_EQ(create(id, sb, 0), ok);
    EXPECT_EQ(create(9999, sb, 0), no_uidb);
    EXPECT_EQ(state()["interfaces"], 4096);
}

TEST_F(Interfaces, GoUpAndDown) {
    create(7, physical, 0);
    EXPECT_EQ(set_state(7, 1), ok);
    EXPECT_EQ(about(7)["up"], true);
    EXPECT_EQ(set_state(7, 2), param);
    EXPECT_EQ(about(7)["up"], true);
    EXPECT_EQ(set_state(7, 0), ok);
    EXPECT_EQ(about(7)["up"], false);
    EXPECT_EQ(set_state(8, 1), absent);
    EXPECT_EQ(set_state(7 + 65536, 1), absent);
}

TEST_F(Interfaces, TakeAnotherMacAddress) {
    create(7, physical, 0);
    message bytes = request(3);
    put32(bytes, 8, 7);
    for (uint32_t i = 0; i < 6; ++i)
        put8(bytes, 20 + i, 0x10 + i);
    EXPECT_EQ(code_of(bytes), ok);
    EXPECT_EQ(about(7)["mac"], json::parse("[16, 17, 18, 19, 20, 21]"));
    put8(bytes, 20, 0x11);
    EXPECT_EQ(code_of(bytes), bad_mac);
    EXPECT_EQ(about(7)["mac"][0], 16);
    put32(bytes, 8, 8);
    EXPECT_EQ(code_of(bytes), absent);
}

TEST_F(Interfaces, HaveAddressesOnLayerThreeOnly) {
    create(7, physical | layer_3, 0);
    create(8, physical, 1);
    EXPECT_EQ(set_address(4, 7, 24, 0, 10, 3), ok);
    EXPECT_EQ(about(7)["v4"], json::parse(R"({"address": [10, 0, 0, 10], "prefix_length": 24, "vrf": 3})"));
    EXPECT_EQ(set_address(5, 7, 128, 0, 0x20), ok);
    EXPECT_EQ(about(7)["v6"]["address"], json::parse("[32, 0, 0, 32, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0]"));
    EXPECT_EQ(set_address(4, 7, 33, 0, 10), bad_ip);
    EXPECT_EQ(set_address(5, 7, 129, 0, 10), bad_ip);
    EXPECT_EQ(set_address(4, 7, 24, 0, 0), bad_ip);
    EXPECT_EQ(set_address(4, 7, 24, 2, 10), param);
    EXPECT_EQ(about(7)["v4"]["prefix_length"], 24);
    EXPECT_EQ(set_address(4, 7, 0, 1, 0), ok);
    EXPECT_EQ(about(7)["v4"], nullptr);
    EXPECT_EQ(set_address(4, 7, 0, 1, 0), no_ip);
    EXPECT_EQ(set_address(4, 8, 24, 0, 10), not_layer_3);
    EXPECT_EQ(set_address(4, 9, 24, 0, 10), absent);
}

TEST_F(Interfaces, OfKindSbAreUpOnlyWhileActive) {
    create(1, physical, 0);
    create(2, sb, 0);
    EXPECT_EQ(set_state(2, 1), sb_inactive);
    EXPECT_EQ(with_words(6, {2, 2}), not_physical);
    EXPECT_EQ(with_words(6, {1, 1}), not_sb);
    EXPECT_EQ(with_words(6, {2, 3}), absent);
    EXPECT_EQ(with_words(6, {3, 1}), absent);
    EXPECT_EQ(with_words(6, {2, 1}), ok);
    EXPECT_EQ(about(2)["active_on"], 1);
    EXPECT_EQ(set_state(2, 1), ok);
    EXPECT_EQ(delete_interface(1), ok);
    EXPECT_EQ(about(2)["active_on"], nullptr);
    EXPECT_EQ(about(2)["up"], false);
}

TEST_F(Interfaces, JoinAndLeavePortChannels) {
    create(100, channel, 0);
    for (uint32_t port = 0; port < 10; ++port)
        create(port, port == 9 ? physical | layer_3 : physical, port);
    create(50, sb, 0);
    EXPECT_EQ(with_words(8, {0xDEAD, 100, 0}), ok) << "the word at 8 is not set by clients";
    EXPECT_EQ(about(0)["channel"], 100);
    EXPECT_EQ(with_words(8, {0, 100, 0}), exists);
    EXPECT_EQ(with_words(8, {0, 100, 9}), is_layer_3);
    EXPECT_EQ(with_words(8, {0, 100, 50}), not_physical);
    EXPECT_EQ(with_words(8, {0, 100, 77}), absent);
    EXPECT_EQ(with_words(8, {0, 77, 1}), absent);
    EXPECT_EQ(with_words(8, {0, 1, 2}), not_channel);
    for (uint32_t id = 1; id < 8; ++id)
        EXPECT_EQ(with_words(8, {0, 100, id}), ok);
    EXPECT_EQ(with_words(8, {0, 100, 8}), too_many_members);
    EXPECT_EQ(about(100)["members"], json::parse("[0, 1, 2, 3, 4, 5, 6, 7]"));
    EXPECT_EQ(with_words(9, {0, 100, 8}), not_member);
    create(101, channel, 0);
    EXPECT_EQ(with_words(9, {0, 101, 3}), not_member) << "of this channel";
    EXPECT_EQ(with_words(9, {0, 100, 3}), ok);
    EXPECT_EQ(with_words(9, {0, 1, 3}), not_channel);
    EXPECT_EQ(delete_interface(0), ok);
    EXPECT_EQ(about(100)["members"], json::parse("[1, 2, 4, 5, 6, 7]"));
    EXPECT_EQ(delete_interface(100), ok);
    EXPECT_EQ(about(4)["channel"], nullptr);
    EXPECT_EQ(with_words(7, {0x01020304}), ok);
    EXPECT_EQ(state()["channel_balance"], 0x01020304);
}

TEST_F(Interfaces, AreBridgedInPairs) {
    for (uint32_t port = 0; port < 4; ++port)
        create(port, port == 3 ? physical | layer_3 : physical, port);
    create(100, channel, 0);
    EXPECT_EQ(with_words(10, {5, 0, 1}), ok);
    EXPECT_EQ(find_component(3)->model->ask({{"bridge_group", 5U}}), json::parse(R"({"interfaces": [0, 1], "vlans": []})"));
    EXPECT_EQ(with_words(10, {5, 2, 100}), group_exists);
    EXPECT_EQ(with_words(10, {6, 1, 2}), in_group);
    EXPECT_EQ(with_words(10, {6, 2, 3}), not_layer_2);
    EXPECT_EQ(with_words(10, {6, 2, 2}), param);
    EXPECT_EQ(with_words(10, {6, 2, 77}), absent);
    EXPECT_EQ(with_words(10, {256, 2, 100}), param);
    EXPECT_EQ(with_words(8, {0, 100, 0}), in_group);
    EXPECT_EQ(with_words(8, {0, 100, 2}), ok);
    EXPECT_EQ(with_words(10, {6, 2, 100}), in_group) << "a member of a channel";
    EXPECT_EQ(with_words(9, {0, 100, 2}), ok);
    EXPECT_EQ(with_words(10, {6, 2, 100}), ok);
    EXPECT_EQ(vlan(12, 6, 10, 99), ok);
    EXPECT_EQ(vlan(12, 5, 10, 99), vlan_used) << "by another group";
    EXPECT_EQ(vlan(13, 6, 10, 99), ok);
    EXPECT_EQ(vlan(12, 256 + 5, 10, 99), group_absent);
    EXPECT_EQ(with_words(11, {256 + 6}), group_absent);
    EXPECT_EQ(with_words(11, {6}), ok);
    EXPECT_EQ(delete_interface(0), in_group);
    EXPECT_EQ(vlan(12, 5, 10, 99), ok);
    EXPECT_EQ(vlan(12, 5, 10, 98), vlan_used);
    EXPECT_EQ(vlan(12, 6, 11, 99), group_absent);
    EXPECT_EQ(vlan(12, 5, 0, 99), param);
    EXPECT_EQ(vlan(12, 5, 4095, 99), param);
    EXPECT_EQ(find_component(3)->model->ask({{"bridge_group", 5U}})["vlans"], json::parse(R"([{"vlan": 10, "value": 99}])"));
    EXPECT_EQ(with_words(11, {5}), group_has_vlan);
    EXPECT_EQ(vlan(13, 5, 11, 99), vlan_unused);
    EXPECT_EQ(vlan(13, 6, 10, 99), group_absent);
    EXPECT_EQ(vlan(13, 5, 10, 99), ok);
    EXPECT_EQ(with_words(11, {5}), ok);
    EXPECT_EQ(with_words(11, {5}), group_absent);
    EXPECT_EQ(delete_interface(0), ok);
}

TEST_F(Interfaces, ShareTheirComponentWithTheCardsSettings) {
    EXPECT_EQ(with_words(16, {0x0FFFFFF1}), ok);
    EXPECT_EQ(with_words(19, {0, 1500}), ok);
    EXPECT_EQ(with_words(19, {0, 2000001}), param);
    EXPECT_EQ(with_words(19, {0, 2000000}), ok);
    EXPECT_EQ(with_words(19, {0, 1500}), ok);
    EXPECT_EQ(get32(ask(request(20)), 12), 1500U);
    EXPECT_EQ(with_words(22, {42}), ok);
    EXPECT_EQ(state()["errorlog_mask"], 0x0FFFFFF1);
    EXPECT_EQ(state()["crash_requests"], 1);
    EXPECT_EQ(state()["crash_argument"], 42);
    EXPECT_EQ(with_words(18, {2, 1, 9}), ok);
    EXPECT_EQ(with_words(18, {4, 1, 9}), param);
    EXPECT_EQ(with_words(18, {2, 2, 9}), param);
    EXPECT_EQ(with_words(18, {2, 1, 256}), param);
    EXPECT_EQ(state()["lookups"], json::parse("[null, null, 9, null]"));
    card_.reset();
    EXPECT_EQ(get32(ask(request(20)), 12), 2000000U);
    EXPECT_EQ(state()["crash_argument"], nullptr);
}

TEST_F(Interfaces, AreNamedByTheirPortsInThePortMapping) {
    create(0x1234, physical, 2);
    const message reply = ask(request(21));
    EXPECT_EQ(reply.size(), 16U + 32U);
    EXPECT_EQ(get32(reply, 8), ok);
    EXPECT_EQ(get32(reply, 12), 32U);
    EXPECT_EQ(get32(reply, 16), 0xFFFFFFFFU);
    EXPECT_EQ(get32(reply, 20), 0xFFFF1234U);
}

// What a reading of the configuration tells: how many entries of which type.
std::map<uint32_t, uint32_t> entries_in(const message &reply) {
    const uint32_t length = get32(reply, 12);
    EXPECT_EQ(reply.size(), std::max<size_t>(16U + length, 43));
    EXPECT_LE(length, 65520U);
    std::map<uint32_t, uint32_t> entries;
    uint32_t at = 16;
    while (at < 16 + length && get32(reply, at) != 0) {
        ++entries[get32(reply, at)];
        at += 12 + 4 * get32(reply, at + 8);
    }
    EXPECT_EQ(at + 4, 16 + length) << "a word of 0 ends it";
    return entries;
}

TEST_F(Interfaces, AreToldWithTheWholeConfigurationUpToTheFirstEntryThatFindsNoRoom) {
    for (uint32_t id = 0; id < 470; ++id)
        ASSERT_EQ(create(id, sb | layer_3, 0), ok);
    message route(43, 0);
    put32(route, 0, 14);
    put32(route, 4, 1);
    put8(route, 12, 4);
    put8(route, 13, 8);
    put8(route, 14, 10);
    ASSERT_EQ(code_of(route), ok);
    // Each address makes entries, so that the blob is cut at another place.
    for (uint32_t id = 0; id < 12; ++id) {
        ASSERT_EQ(set_address(4, id, 24, 0, static_cast<uint8_t>(10 + id)), ok);
        const auto all = entries_in(ask(request(17)));
        const auto [type, count] = *all.rbegin();
        message of_one_type = request(17);
        put32(of_one_type, 8, type);
        EXPECT_GT(entries_in(ask(of_one_type)).at(type), count) << "type " << type << " should be cut";
    }
}

TEST_F(Interfaces, OfAnUnknownSortAreNotInTheConfiguration) {
    EXPECT_EQ(with_words(17, {99}), 9U);
    message two = request(17);
    put32(two, 4, 2);
    two.resize(8 + 70);
    EXPECT_EQ(code_of(two), param);
}

TEST_F(Interfaces, TakeRequestsOfOneRecordOnly) {
    for (const uint32_t operation :
         {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 10U, 11U, 12U, 13U, 16U, 17U, 18U, 19U, 20U, 21U, 22U}) {
        message two = request(operation);
        put32(two, 4, 2);
        put8(two, 20, 2);
        two.resize(8 + 70);
        const message reply = ask(two);
        EXPECT_EQ(reply.size(), 78U) << operation;
        EXPECT_EQ(get32(reply, 8), param) << operation;
        EXPECT_EQ(get32(reply, 43), param) << operation;
    }
}

TEST_F(Interfaces, AreInTheConfigurationFromTheAddressAskedForOn) {
    for (uint32_t id = 1; id < 4; ++id)
        create(id, physical, id);
    message read = request(17);
    put32(read, 8, 3);
    const message all = ask(read);
    put32(read, 12, 4);
    put32(read, 16, 3);
    const message last = ask(read);
    EXPECT_EQ(get32(all, 8), ok);
    EXPECT_EQ(get32(all, 16), 3U) << "type of the first entry";
    EXPECT_EQ(get32(all, 20), 1U) << "its address";
    EXPECT_EQ(get32(last, 20), 3U);
    EXPECT_EQ(3 * (get32(last, 12) - 4), get32(all, 12) - 4) << "one entry of three, and the word that ends them";
    EXPECT_EQ(hex_of(message(last.begin() + 16, last.end())),
              hex_of(message(all.end() - static_cast<ptrdiff_t>(get32(last, 12)), all.end())));
}

}  // namespace
