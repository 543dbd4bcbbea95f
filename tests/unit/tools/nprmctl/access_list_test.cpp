// Access lists: what rules mean, where errors are, and that ranges expand to exactly their ports in the fewest entries.

#include "access_list.h"

#include <cstring>
#include <random>

#include <gtest/gtest.h>

#include "tests/support/scratch.h"

namespace {

acl_rule only_rule(const std::string &text) {
    const access_list list = parse_access_list(text);
    EXPECT_TRUE(list.errors.empty()) << text << ": " << (list.errors.empty() ? "" : list.errors[0].message);
    if (list.rules.size() != 1) {
        ADD_FAILURE() << text << " gives " << list.rules.size() << " rules";
        return {};
    }
    return list.rules[0];
}

std::vector<acl_entry> entries_of(const std::string &text) {
    std::vector<acl_entry> entries;
    expand_rule(only_rule(text), entries);
    return entries;
}

// "line:column message" of each error.
std::vector<std::string> errors_of(const std::string &text) {
    std::vector<std::string> found;
    for (const text_error &error : parse_access_list(text).errors)
        found.push_back(std::to_string(error.line) + ":" + std::to_string(error.column) + " " + error.message);
    return found;
}

using strings = std::vector<std::string>;

}  // namespace

TEST(AccessList, TakesEveryFormOfARule) {
    const acl_rule rule = only_rule("deny udp 192.0.2.128/25 range 100 200 203.0.113.7 eq 53\n");
    EXPECT_EQ(rule.line, 1U);
    EXPECT_EQ(rule.action, acl_action::deny);
    EXPECT_EQ(rule.protocol, std::optional<uint8_t>(17));
    EXPECT_EQ(rule.source, (acl_side{0xC0000280, 0xFFFFFF80, {100, 200}}));
    EXPECT_EQ(rule.destination, (acl_side{0xCB007107, 0xFFFFFFFF, {53, 53}}));
}

TEST(AccessList, KnowsTheProtocolsByNameAndNumber) {
    EXPECT_EQ(only_rule("permit ip any any").protocol, std::nullopt);
    EXPECT_EQ(only_rule("permit icmp any any").protocol, 1);
    EXPECT_EQ(only_rule("permit tcp any any").protocol, 6);
    EXPECT_EQ(only_rule("permit udp any any").protocol, 17);
    EXPECT_EQ(only_rule("permit 0 any any").protocol, 0);
    EXPECT_EQ(only_rule("permit 255 any any").protocol, 255);
    EXPECT_EQ(only_rule("permit 6 any eq 1 any"), only_rule("permit tcp any eq 1 any"));
}

TEST(AccessList, IgnoresAddressBitsBehindTheLength) {
    EXPECT_EQ(only_rule("permit ip 10.1.2.3/8 any").source, (acl_side{0x0A000000, 0xFF000000, {}}));
    EXPECT_EQ(only_rule("permit ip 10.1.2.3/0 any").source, acl_side{});
    EXPECT_EQ(only_rule("permit ip 10.1.2.3/32 any"), only_rule("permit ip 10.1.2.3 any"));
}

TEST(AccessList, SkipsCommentsAndBlankLinesAndTakesCarriageReturns) {
    const access_list list = parse_access_list("# a\n! b\n\n   \t\npermit ip any any # c\r\n\tdeny ip any any !d");
    ASSERT_TRUE(list.errors.empty());
    ASSERT_EQ(list.rules.size(), 2U);
    EXPECT_EQ(list.rules[0].line, 5U);
    EXPECT_EQ(list.rules[1].line, 6U);
}

TEST(AccessList, NamesEachErrorWithItsLineAndColumn) {
    EXPECT_EQ(errors_of("allow ip any any"), strings{"1:1 \"allow\" is no action: permit, deny or count"});
    EXPECT_EQ(errors_of("\n  Permit ip any any"), strings{"2:3 \"Permit\" is no action: permit, deny or count"});
    EXPECT_EQ(errors_of("permit"), strings{"1:7 a protocol is missing: tcp, udp, icmp, ip or 0 to 255"});
    EXPECT_EQ(errors_of("permit tpc any any"), strings{"1:8 \"tpc\" is no protocol: tcp, udp, icmp, ip or 0 to 255"});
    EXPECT_EQ(errors_of("permit 256 any any"), strings{"1:8 \"256\" is no protocol: tcp, udp, icmp, ip or 0 to 255"});
    EXPECT_EQ(errors_of("permit -1 any any"), strings{"1:8 \"-1\" is no protocol: tcp, udp, icmp, ip or 0 to 255"});
    EXPECT_EQ(errors_of("permit ip"), strings{"1:10 a source is missing: A.B.C.D, A.B.C.D/LEN or any"});
    EXPECT_EQ(errors_of("permit ip any   # x"), strings{"1:14 a destination is missing: A.B.C.D, A.B.C.D/LEN or any"});
    EXPECT_EQ(errors_of("permit ip 1.2.3 any"), strings{"1:11 \"1.2.3\" is no address: A.B.C.D, A.B.C.D/LEN or any"});
    EXPECT_EQ(errors_of("permit ip any 1.2.3.256"), strings{"1:15 \"1.2.3.256\" is no address: A.B.C.D, A.B.C.D/LEN or any"});
    EXPECT_EQ(errors_of("permit ip 1.2.3.4/33 any"), strings{"1:19 \"33\" is no prefix length: 0 to 32"});
    EXPECT_EQ(errors_of("permit ip 1.2.3.4/ any"), strings{"1:19 \"\" is no prefix length: 0 to 32"});
    EXPECT_EQ(errors_of("permit ip 1.2.3.4/+8 any"), strings{"1:19 \"+8\" is no prefix length: 0 to 32"});
    EXPECT_EQ(errors_of("permit tcp any eq 65536 any"), strings{"1:19 \"65536\" is no port: 0 to 65535"});
    EXPECT_EQ(errors_of("permit tcp any any eq"), strings{"1:22 a port is missing: 0 to 65535"});
    EXPECT_EQ(errors_of("permit tcp any range 1 any any"), strings{"1:24 \"any\" is no port: 0 to 65535"});
    EXPECT_EQ(errors_of("permit tcp any any range 9"), strings{"1:27 a port is missing: 0 to 65535"});
    EXPECT_EQ(errors_of("permit tcp any range 10 9 any"), strings{"1:22 the range 10 to 9 is empty"});
    EXPECT_EQ(errors_of("permit icmp any eq 3 any"), strings{"1:17 only tcp and udp have ports"});
    EXPECT_EQ(errors_of("permit ip any any eq 3"), strings{"1:19 only tcp and udp have ports"});
    EXPECT_EQ(errors_of("permit 50 any any range 3 4"), strings{"1:19 only tcp and udp have ports"});
    EXPECT_EQ(errors_of("permit ip any any any"), strings{"1:19 \"any\" is not expected here: the rule is complete"});
    EXPECT_EQ(errors_of("permit tcp any any eq 1 eq 2"), strings{"1:25 \"eq\" comes twice"});
}

TEST(AccessList, GoesOnBehindAnErrorAndListsThemAll) {
    EXPECT_EQ(errors_of("allow tcp 1.2.3 eq x 5.6.7.8/99\n"
                        "permit ip any any\n"
                        "permit\n"),
              (strings{"1:1 \"allow\" is no action: permit, deny or count",
                       "1:11 \"1.2.3\" is no address: A.B.C.D, A.B.C.D/LEN or any", "1:20 \"x\" is no port: 0 to 65535",
                       "1:30 \"99\" is no prefix length: 0 to 32", "3:7 a protocol is missing: tcp, udp, icmp, ip or 0 to 255"}));
}

TEST(AccessList, ShowsAnErrorWithItsLineAndACaret) {
    const auto list = parse_access_list("\n\tpermit tcp any any\teq x\n");
    ASSERT_EQ(list.errors.size(), 1U);
    EXPECT_EQ(explained(list.errors[0], "edge.acl"),
              "edge.acl:2:24: \"x\" is no port: 0 to 65535\n"
              "     permit tcp any any eq x\n"
              "                           ^\n");
}

TEST(AccessList, ShowsLongAndHostileLinesSafely) {
    const std::string line = "permit ip any any " + std::string(5000, 'x') + "\x1b[31m\x80";
    const auto list = parse_access_list(line);
    ASSERT_EQ(list.errors.size(), 1U);
    EXPECT_EQ(list.errors[0].message, "\"" + std::string(40, 'x') + "...\" is not expected here: the rule is complete");
    const auto far = parse_access_list("permit ip" + std::string(5000, ' ') + "any \x1b[31m any");
    ASSERT_EQ(far.errors.size(), 2U);
    const std::string shown = explained(far.errors[0], "f");
    EXPECT_LT(shown.size(), 400U);
    EXPECT_EQ(shown.find('\x1b'), std::string::npos);
    EXPECT_NE(shown.find("any .[31m any\n"), std::string::npos) << shown;
}

TEST(AccessList, SurvivesEveryByteAnywhere) {
    const std::string rule = "permit tcp 1.2.3.4/8 range 1 2 any eq 3";
    for (size_t at = 0; at <= rule.size(); ++at)
        for (int byte = 0; byte < 256; ++byte) {
            std::string changed = rule;
            changed.insert(at, 1, static_cast<char>(byte));
            for (const text_error &error : parse_access_list(changed).errors) {
                EXPECT_GE(error.column, 1U);
                EXPECT_LE(error.column, changed.size() + 1);
            }
        }
}

TEST(AccessListEntry, HasTheToolsLayout) {
    const auto entries = entries_of("\n\ndeny udp 192.0.2.1 eq 258 198.51.100.0/24 eq 772");
    ASSERT_EQ(entries.size(), 1U);
    const uint8_t key[14] = {17, 0, 0x02, 0x01, 0x04, 0x03, 1, 2, 0, 192, 0, 100, 51, 198};
    const uint8_t mask[14] = {255, 0, 255, 255, 255, 255, 255, 255, 255, 255, 0, 255, 255, 255};
    const uint8_t result[12] = {2, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(std::memcmp(&entries[0].key, key, sizeof key), 0) << field_text(entries[0].key);
    EXPECT_EQ(std::memcmp(&entries[0].mask, mask, sizeof mask), 0) << field_text(entries[0].mask);
    EXPECT_EQ(std::memcmp(&entries[0].result, result, sizeof result), 0) << field_text(entries[0].result);
}

TEST(AccessListEntry, CarriesTheActionInTheFlags) {
    EXPECT_EQ(entries_of("permit ip any any")[0].result.flags[0], 1);
    EXPECT_EQ(entries_of("deny ip any any")[0].result.flags[0], 2);
    EXPECT_EQ(entries_of("count ip any any")[0].result.flags[0], 4);
}

TEST(AccessListEntry, IsMadeForEachPairOfBlocks) {
    const auto entries = entries_of("permit tcp any range 1 3 any range 4 9");  // {1, 2-3} x {4-7, 8-9}
    ASSERT_EQ(entries.size(), 4U);
    EXPECT_EQ(rule_text(entries[0]), "permit tcp any eq 1 any range 4 7");
    EXPECT_EQ(rule_text(entries[1]), "permit tcp any eq 1 any range 8 9");
    EXPECT_EQ(rule_text(entries[2]), "permit tcp any range 2 3 any range 4 7");
    EXPECT_EQ(rule_text(entries[3]), "permit tcp any range 2 3 any range 8 9");
}

TEST(AccessListEntry, IsOneForTheWidestRange) {
    EXPECT_EQ(entries_of("permit tcp any range 0 65535 any").size(), 1U);
    EXPECT_EQ(entries_of("permit tcp any range 1 65534 any range 1 65534").size(), 900U);
}

namespace {

// How many aligned blocks of a power of two cover first..last at least, by the tree of all blocks.
size_t fewest_blocks(uint32_t first, uint32_t last, uint32_t begin = 0, uint32_t size = 65536) {
    const uint32_t end = begin + size - 1;
    if (last < begin || first > end) return 0;
    if (first <= begin && end <= last) return 1;
    return fewest_blocks(first, last, begin, size / 2) + fewest_blocks(first, last, begin + size / 2, size / 2);
}

void expect_exact(uint16_t first, uint16_t last) {
    const auto blocks = expand_ports({first, last});
    ASSERT_EQ(blocks.size(), fewest_blocks(first, last)) << first << " to " << last;
    for (const value_mask &block : blocks) {
        ASSERT_EQ(block.value & ~block.mask, 0);
        ASSERT_EQ((~block.mask & 0xFFFF) & ((~block.mask & 0xFFFF) + 1), 0) << "no prefix mask";
    }
    for (uint32_t port = 0; port < 65536; ++port) {
        size_t matches = 0;
        for (const value_mask &block : blocks)
            matches += (port & block.mask) == block.value;
        ASSERT_EQ(matches, port >= first && port <= last ? 1U : 0U) << "port " << port << " of " << first << " to " << last;
    }
}

}  // namespace

TEST(PortRange, MatchesExactlyItsPortsInTheFewestBlocks) {
    std::vector<acl_ports> ranges = {{0, 0},         {0, 65535},     {1, 65534},     {65535, 65535}, {0, 32767},  {32768, 65535},
                                     {1024, 65535},  {1, 1},         {32767, 32768}, {0, 1},         {1, 2},      {65534, 65535},
                                     {49152, 65535}, {16384, 32767}, {33434, 33534}, {6000, 6063},   {5000, 5099}};
    std::mt19937 random(20231);
    while (ranges.size() < 300) {
        const auto a = static_cast<uint16_t>(random()), b = static_cast<uint16_t>(random());
        ranges.push_back({std::min(a, b), std::max(a, b)});
    }
    for (const acl_ports &range : ranges)
        expect_exact(range.first, range.last);
}

TEST(RuleText, SaysWhatWasRead) {
    for (const char *rule :
         {"permit ip any any", "deny icmp 10.0.0.0/8 any", "count tcp any eq 0 192.0.2.1 range 1024 2047",
          "permit udp 198.51.100.0/25 range 32768 65535 any eq 53", "deny 47 any 203.0.113.9", "permit 0 any any"}) {
        const auto entries = entries_of(rule);
        ASSERT_EQ(entries.size(), 1U) << rule;
        EXPECT_EQ(rule_text(entries[0]), rule);
    }
}

TEST(RuleText, ComesBackAsTheSameEntry) {
    std::mt19937 random(71);
    for (int i = 0; i < 2000; ++i) {
        const auto a = static_cast<uint16_t>(random()), b = static_cast<uint16_t>(random());
        const std::string rule = std::string(i % 2 == 0 ? "permit" : "deny") + (i % 3 == 0 ? " tcp " : " udp ") +
                                 std::to_string(random() % 256) + ".1.2.3/" + std::to_string(random() % 33) + " range " +
                                 std::to_string(std::min(a, b)) + " " + std::to_string(std::max(a, b)) + " any eq " +
                                 std::to_string(a);
        for (const acl_entry &entry : entries_of(rule)) {
            const auto text = rule_text(entry);
            ASSERT_TRUE(text) << rule;
            const auto again = entries_of(*text);
            ASSERT_EQ(again.size(), 1U) << *text;
            EXPECT_EQ(std::memcmp(&again[0].key, &entry.key, sizeof entry.key), 0) << *text;
            EXPECT_EQ(std::memcmp(&again[0].mask, &entry.mask, sizeof entry.mask), 0) << *text;
        }
    }
}

TEST(RuleText, IsNotGivenToWhatNoRuleSays) {
    const acl_entry good = entries_of("permit tcp any eq 80 192.0.2.0/24")[0];
    ASSERT_TRUE(rule_text(good));
    const auto changed = [&good](auto change) {
        acl_entry entry = good;
        change(entry);
        return rule_text(entry);
    };
    EXPECT_FALSE(changed([](acl_entry &entry) { entry.result.flags[0] = 3; }));
    EXPECT_FALSE(changed([](acl_entry &entry) { entry.result.flags[0] = 0; }));
    EXPECT_FALSE(changed([](acl_entry &entry) { entry.result.flags[3] = 1; }));
    EXPECT_FALSE(changed([](acl_entry &entry) { entry.mask.u8_0 = 0xF0; }));
    EXPECT_FALSE(changed([](acl_entry &entry) { entry.mask.u8_1 = 1; }));
    EXPECT_FALSE(changed([](acl_entry &entry) { entry.key.u8_0 = 1; }));         // icmp with a port
    EXPECT_FALSE(changed([](acl_entry &entry) { entry.mask.u16_2 = 0x0FFF; }));  // no prefix
    EXPECT_FALSE(changed([](acl_entry &entry) { entry.mask.u32_10 = 0xFF00FF00; }));
    EXPECT_FALSE(changed([](acl_entry &entry) { entry.key.u32_10 |= 1; }));  // a value behind its mask never matches
}

TEST(Packet, IsReadAsAKey) {
    std::vector<text_error> errors;
    const nprm_tcam_acl_key key = parse_packet("tcp 198.51.100.7 eq 40000 192.0.2.10 eq 443", errors);
    ASSERT_TRUE(errors.empty());
    EXPECT_EQ(field_text(key), "06.00.9c40.01bb.c6336407.c000020a");
    EXPECT_EQ(field_text(parse_packet("50 198.51.100.7 192.0.2.10", errors)), "32.00.0000.0000.c6336407.c000020a");
    EXPECT_TRUE(errors.empty());
}

TEST(Packet, HasOneProtocolOneAddressAndOnePortASide) {
    for (const char *text : {"", "ip 1.2.3.4 1.2.3.4", "tcp any 1.2.3.4", "tcp 1.2.3.4 1.2.3.0/24", "tcp 1.2.3.4 range 1 2 1.2.3.4",
                             "tcp 1.2.3.4 1.2.3.4 eq", "tcp 1.2.3.4 1.2.3.4 1.2.3.4", "permit tcp 1.2.3.4 1.2.3.4"}) {
        std::vector<text_error> errors;
        parse_packet(text, errors);
        EXPECT_FALSE(errors.empty()) << text;
    }
}

TEST(ExampleAccessList, ExpandsPastOneMessage) {
    const access_list list = parse_access_list(content_of(NPRM_SOURCE_DIR "/examples/edge-acl.txt"));
    EXPECT_TRUE(list.errors.empty());
    EXPECT_EQ(list.rules.size(), 371U);
    std::vector<acl_entry> entries;
    for (const acl_rule &rule : list.rules)
        expand_rule(rule, entries);
    EXPECT_EQ(entries.size(), 2341U);
    EXPECT_GT(entries.size(), size_t{NPRM_TCAM_ENTRIES_MAX});
}
