// The network processor of the simulated card: requests by their bytes, what is refused, and that it changes nothing.

#include <gtest/gtest.h>

#include "npa_messages.h"

namespace {

constexpr uint32_t param = 3, unsupported = 2, np_call = 8, no_table = 9, no_key = 11, not_found = 12;
constexpr uint32_t fib_entry = 11, port_table = 5, fib_key = 21;

class Npa : public testing::Test, protected np_under_test {};

TEST_F(Npa, SummarizesATable) {
    message request = selector(0, port_table);
    const message reply = ask(request);
    ASSERT_EQ(reply.size(), 796U);
    EXPECT_EQ(get32(reply, 8), 0U);
    EXPECT_EQ(get32(reply, 12), port_table);
    EXPECT_EQ(get32(reply, 16), 5U);   // the layout
    EXPECT_EQ(get32(reply, 20), 16U);  // bytes of an entry
    EXPECT_STREQ(reinterpret_cast<const char *>(&reply[24]), "Port Table");
    EXPECT_EQ(get32(reply, 104 + 4), 32U);   // addresses
    EXPECT_EQ(get32(reply, 104 + 16), 32U);  // the last in use, and one more
    EXPECT_EQ(get32(reply, 104 + 20), 32U);  // in use
    EXPECT_STREQ(reinterpret_cast<const char *>(&reply[152]), "ADDRESS, FIELD=VALUE...");
}

TEST_F(Npa, ReturnsARangeOfEntriesBehindTheRecord) {
    const message reply = ask(get(port_table, 6, 2));
    ASSERT_EQ(reply.size(), 796U + 2 * 204);
    EXPECT_EQ(get32(reply, 20), 2U);
    EXPECT_EQ(get32(reply, 125), port_table);
    EXPECT_EQ(get32(reply, 217 + 4), 32U);
    EXPECT_EQ(entry(reply, 0).at(1), 3U);         // port 3, reception
    EXPECT_EQ(entry(reply, 1).at(1), 3U | 0x80);  // port 3, transmission
    EXPECT_EQ(get32(entry(reply, 1), 4), 24U);    // its first queue
}

TEST_F(Npa, ReturnsNoEntriesWhenNoneAreAskedFor) {
    const message reply = ask(get(port_table, 0, 0));
    EXPECT_EQ(reply.size(), 796U);
    EXPECT_EQ(get32(reply, 8), 0U);
    EXPECT_EQ(get32(reply, 20), 0U);
}

TEST_F(Npa, ReturnsZerosForAddressesThatHoldNothing) {
    EXPECT_EQ(entry_at(fib_entry, 1999999), message(204, 0));
}

TEST_F(Npa, RefusesATableThatIsNone) {
    for (const uint32_t table : {0U, 2U, 25U, 35U, 0xFFFFFFFFU}) {
        EXPECT_EQ(code_of(selector(0, table)), no_table) << table;
        EXPECT_EQ(code_of(get(table, 0, 1)), no_table) << table;
        EXPECT_EQ(code_of(find(2, table, "")), no_table) << table;
        EXPECT_EQ(code_of(find(3, table, "1")), no_table) << table;
    }
}

TEST_F(Npa, RefusesARangeOutsideOfTheTable) {
    EXPECT_EQ(code_of(get(port_table, 31, 1)), 0U);
    EXPECT_EQ(code_of(get(port_table, 31, 2)), param);
    EXPECT_EQ(code_of(get(port_table, 0xFFFFFFFF, 2)), param);
    EXPECT_EQ(code_of(get(fib_entry, 0, 317)), 0U);
    EXPECT_EQ(code_of(get(fib_entry, 0, 318)), param);
    EXPECT_EQ(code_of(get(fib_entry, 0, 0xFFFFFFFF)), param);
    EXPECT_EQ(ask(get(fib_entry, 0, 318)).size(), 796U);
}

TEST_F(Npa, SearchesByFields) {
    add_route({10, 0, 0, 0}, 8, 7, 1);
    add_route({10, 1, 0, 0}, 16, 9, 2);
    add_route({10, 2, 0, 0}, 16, 9, 3);
    const message reply = ask(find(2, fib_entry, "uidb=9"));
    ASSERT_EQ(get32(reply, 20), 2U);
    EXPECT_EQ(entry(reply, 0).at(8), 2U);
    EXPECT_EQ(entry(reply, 1).at(8), 3U);
    EXPECT_EQ(get32(ask(find(2, fib_entry, "uidb=0x9 dmac=02:00:00:00:00:03")), 20), 1U);
    EXPECT_EQ(get32(ask(find(2, fib_key, "ip_v4=10.2.0.0")), 20), 1U);
    EXPECT_EQ(get32(ask(find(2, fib_entry, "uidb=8")), 20), 0U);
    EXPECT_EQ(get32(ask(find(2, fib_entry, "")), 20), 3U);
    EXPECT_EQ(get32(ask(find(2, fib_entry, "uidb=9", 2)), 20), 1U);  // from address 2 on
}

TEST_F(Npa, FindsNoMoreEntriesThanAMessageHolds) {
    for (uint32_t i = 0; i < 320; ++i)
        add_route({10, static_cast<uint8_t>(i >> 8), static_cast<uint8_t>(i), 0}, 24, 9, 1);
    const message reply = ask(find(2, fib_entry, "uidb=9"));
    EXPECT_EQ(get32(reply, 20), 317U);
    EXPECT_EQ(reply.size(), 65464U);
}

TEST_F(Npa, LooksUpByAddressInTheTableByIpAddressAndByField) {
    add_route({10, 0, 0, 0}, 8, 7, 1);
    add_route({10, 1, 0, 0}, 16, 9, 2);
    const auto mac_of = [&](const std::string &key) {
        const message reply = ask(find(3, fib_entry, key));
        EXPECT_EQ(get32(reply, 20), 1U) << key;
        return entry(reply).at(8);
    };
    EXPECT_EQ(mac_of("0"), 1);
    EXPECT_EQ(mac_of("0x1"), 2);
    EXPECT_EQ(mac_of("10.1.200.3"), 2);  // the longest prefix
    EXPECT_EQ(mac_of("10.2.0.1"), 1);
    EXPECT_EQ(mac_of("uidb=9"), 2);
    const message host = ask(find(3, 8, "02:00:00:00:00:03"));
    ASSERT_EQ(get32(host, 20), 1U);
    EXPECT_EQ(entry(host).at(0), 0x0B);  // valid, match, my_mac
}

TEST_F(Npa, RefusesKeys) {
    add_route({10, 0, 0, 0}, 8, 7, 1);
    EXPECT_EQ(code_of(find(3, fib_entry, "11.0.0.1")), not_found);
    EXPECT_EQ(code_of(find(3, fib_entry, "1")), not_found);
    EXPECT_EQ(code_of(find(3, fib_entry, "uidb=1")), not_found);
    EXPECT_EQ(code_of(find(3, fib_entry, "::1")), not_found);
    EXPECT_EQ(code_of(find(3, fib_key, "::1")), not_found);
    EXPECT_EQ(code_of(find(3, fib_entry, "")), no_key);
    EXPECT_EQ(code_of(find(3, fib_entry, std::string(97, '1'))), no_key);
    EXPECT_EQ(code_of(find(2, fib_entry, std::string(97, '1'))), no_key);
    EXPECT_EQ(code_of(find(3, fib_entry, "2000000")), param);
    EXPECT_EQ(code_of(find(2, fib_entry, "nothing=1")), param);
    EXPECT_EQ(code_of(find(2, fib_entry, "uidb")), param);
    EXPECT_EQ(code_of(find(2, fib_entry, "uidb=")), 0U + param);
    EXPECT_EQ(code_of(find(2, fib_entry, "uidb=::1")), param);
    EXPECT_EQ(code_of(find(2, fib_entry, "uidb=1", 2000001)), param);
    EXPECT_EQ(code_of(find(3, port_table, "10.0.0.1")), param);  // it has no addresses of that kind
}

TEST_F(Npa, ReadsRegistersFromByte20On) {
    message request = selector(4, 1272);
    put32(request, 16, 4);
    const message reply = ask(request);
    ASSERT_EQ(reply.size(), 796U + 4 * 4);
    EXPECT_EQ(get32(reply, 12), 1272U);
    EXPECT_EQ(get32(reply, 16), 4U);
    EXPECT_EQ(get32(reply, 20), 0x00020301U);  // the revision
    EXPECT_EQ(get32(reply, 24), 0x8000FFEFU);  // ready; all ports but 4, which has no module
    EXPECT_EQ(get32(reply, 28), 0U);           // milliseconds
    EXPECT_EQ(get32(reply, 32), 0U);           // packets
}

TEST_F(Npa, ReadsAllRegistersAtOnce) {
    message request = selector(4, 0);
    put32(request, 16, 1970);
    const message reply = ask(request);
    EXPECT_EQ(get32(reply, 8), 0U);
    EXPECT_EQ(reply.size(), 796U + 1970 * 4);
}

TEST_F(Npa, CountsInRegistersWhileTrafficRuns) {
    message request = selector(4, 1272);
    put32(request, 16, 4);
    let_run(1500);
    const message reply = ask(request);
    EXPECT_EQ(get32(reply, 28), 1500U);
    EXPECT_GT(get32(reply, 32), 0U);
    EXPECT_EQ(get32(reply, 20), 0x00020301U);
}

TEST_F(Npa, RefusesRegistersThatAreNone) {
    message request = selector(4, 1969);
    put32(request, 16, 1);
    EXPECT_EQ(code_of(request), 0U);
    put32(request, 16, 2);
    EXPECT_EQ(code_of(request), param);
    put32(request, 12, 0xFFFFFFFF);
    EXPECT_EQ(code_of(request), param);
}

TEST_F(Npa, MovesQueuesWithTraffic) {
    EXPECT_EQ(get32(ask(selector(5, 7)), 16 + 8), 0U);
    let_run(1000);
    const message queue = ask(selector(5, 7));
    EXPECT_EQ(queue.size(), 796U);
    EXPECT_GT(get32(queue, 16), 0U);
    EXPECT_GE(get32(queue, 20), get32(queue, 16));
    EXPECT_GT(get32(queue, 24), 1000U);
    EXPECT_EQ(get32(ask(selector(5, 4 * 8)), 24), 0U);  // port 4 is not up
    EXPECT_EQ(get32(ask(selector(5, 127)), 8), 0U);
    EXPECT_EQ(code_of(selector(5, 128)), param);
}

TEST_F(Npa, CountsPacketsOfAllQueuesTogether) {
    let_run(10000);
    uint32_t came = 0, waiting = 0, dropped = 0;
    for (uint32_t queue = 0; queue < 128; ++queue) {
        const message depth = ask(selector(5, queue));
        waiting += get32(depth, 16);
        came += get32(depth, 24);
        dropped += get32(depth, 28);
    }
    const message totals = ask(request(6));
    EXPECT_EQ(get32(totals, 16), came);
    EXPECT_EQ(get32(totals, 20), came - dropped - waiting);
    EXPECT_EQ(get32(totals, 24), dropped);
    EXPECT_EQ(get32(totals, 28), waiting);
    EXPECT_EQ(get32(totals, 32), 65536 - waiting);
    EXPECT_EQ(code_of(selector(6, 1)), param);
}

TEST_F(Npa, ReadsAPortsSram) {
    switch_lookup(0, 1, 3);
    switch_lookup(3, 1, 9);
    make_interface(0x102, 0x10, 5);
    const message reply = ask(selector(7, 5));
    ASSERT_EQ(reply.size(), 796U);
    EXPECT_EQ(reply.at(16), 0x25);  // port, dump ACL and policy enabled
    EXPECT_EQ(reply.at(17), 3);     // the dump ACL's list
    EXPECT_EQ(reply.at(20), 9);     // the policy's
    EXPECT_EQ(reply.at(24), 5);     // mapped port
    EXPECT_EQ(reply.at(26), 0x02);  // the interface's handle
    EXPECT_EQ(reply.at(27), 0x01);
    switch_lookup(0, 0, 3);
    EXPECT_EQ(ask(selector(7, 5)).at(16), 0x21);
    EXPECT_EQ(code_of(selector(7, 16)), param);
}

TEST_F(Npa, WritesCrashInformationAndCaptures) {
    const auto state = [] { return find_component(5)->model->describe(); };
    EXPECT_EQ(code_of(selector(8, 3)), 0U);
    EXPECT_EQ(state().at("last_crash_argument"), 3);
    message capture = request(9);
    capture[12] = 'a';
    capture[13] = 0xFF;
    EXPECT_EQ(code_of(capture), 0U);
    EXPECT_EQ(state().at("last_capture"), "a.");
    EXPECT_EQ(state().at("captures"), 1);
}

TEST_F(Npa, ChangesNothingWhenItRefuses) {
    const nlohmann::json before = find_component(5)->model->describe();
    EXPECT_EQ(code_of(selector(8, 4)), param);
    EXPECT_EQ(code_of(request(9)), param);  // no name
    message endless = request(9);
    std::fill(endless.begin() + 12, endless.end(), uint8_t{'x'});
    EXPECT_EQ(code_of(endless), param);
    EXPECT_EQ(code_of(request(10)), unsupported);
    message two(8 + 2 * 788, 0);
    put32(two, 4, 2);
    for (uint32_t operation = 0; operation < 10; ++operation) {
        put32(two, 0, operation);
        put32(two, 12, 1);
        const message reply = ask(two);
        EXPECT_EQ(get32(reply, 8), param) << operation;
        EXPECT_EQ(get32(reply, 8 + 788), param) << operation;  // in every record
        EXPECT_EQ(reply.size(), two.size()) << operation;
    }
    message cut = request(0);
    cut.pop_back();
    EXPECT_EQ(code_of(cut), param);
    EXPECT_EQ(find_component(5)->model->describe(), before);
}

class Npdebug : public testing::Test, protected np_under_test {
  protected:
    message command(uint32_t operation, std::initializer_list<uint32_t> words) {
        message bytes = request(operation, 296);
        size_t at = 12;
        for (const uint32_t word : words) {
            put32(bytes, at, word);
            at += 4;
        }
        return ask(10, bytes);
    }
};

TEST_F(Npdebug, BeginsASessionAndAnswersCommands) {
    const message begun = command(0, {1});
    ASSERT_EQ(begun.size(), 304U);
    EXPECT_EQ(get32(begun, 12), 1U);
    const uint32_t session = get32(begun, 16);
    EXPECT_EQ(get32(begun, 20), 4U);
    const message echo = command(1, {session, 0, 7, 8, 9});
    EXPECT_EQ(get32(echo, 12), 7U);
    EXPECT_EQ(get32(echo, 20), 9U);
    EXPECT_EQ(get32(command(1, {session, 1, 1272}), 16), 0x00020301U);
    EXPECT_EQ(get32(command(1, {session, 2, 5}), 12), 32U);
    let_run(2);
    EXPECT_EQ(get32(command(1, {session, 3}), 12), 2000U);
}

TEST_F(Npdebug, RefusesWhatItDoesNotKnow) {
    EXPECT_EQ(get32(command(1, {0, 0}), 8), np_call);  // before a session
    EXPECT_EQ(get32(command(0, {2}), 8), unsupported);
    const uint32_t session = get32(command(0, {1}), 16);
    EXPECT_EQ(get32(command(1, {session + 1, 0}), 8), np_call);
    EXPECT_EQ(get32(command(1, {session, 4}), 8), unsupported);
    EXPECT_EQ(get32(command(1, {session, 1, 1970}), 8), param);
    EXPECT_EQ(get32(command(1, {session, 2, 2}), 8), no_table);
    EXPECT_EQ(get32(command(2, {session}), 8), unsupported);
    EXPECT_EQ(get32(command(1, {session, 0, 5}), 12), 5U);  // the session is still the same
}

}  // namespace
