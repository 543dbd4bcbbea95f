// Routes as people and ip(8) write them: which FIB record a line becomes, and where a wrong line goes wrong.

#include "fib_routes.h"

#include "tests/support/bytes.h"

#include <gtest/gtest.h>

namespace {

class FibRoutes : public testing::Test {
  protected:
    FibRoutes() {
        names.read(
            "192.0.2.1 02:00:00:00:00:01 1\neth1 02:00:00:00:00:02 2 # a comment\n\nfe80::1 02:00:00:00:00:03 3\n"
            "fe80::1%eth0 02:00:00:00:00:04 4\n",
            errors);
    }
    // "PREFIX UIDB; ..." of the routes that the text becomes, "LINE:COLUMN message; ..." when it has errors.
    std::string read(const std::string &text, bool default_is_ipv6 = false) {
        route_reader reader(names, default_is_ipv6);
        std::string routes;
        uint32_t number = 0;
        size_t begin = 0;
        while (begin < text.size()) {
            const size_t end = std::min(text.find('\n', begin), text.size());
            if (const auto entry = reader.read(std::string_view(text).substr(begin, end - begin), ++number, errors))
                routes += prefix_text(entry->prefix) + " " + std::to_string(entry->nexthop.u16_5) + "; ";
            begin = end + 1;
        }
        reader.end(errors);
        left_out = reader.left_out();
        if (errors.empty()) return routes;
        std::string told;
        for (const text_error &error : errors)
            told += std::to_string(error.line) + ":" + std::to_string(error.column) + " " + error.message + "; ";
        errors.clear();
        return told;
    }

    std::vector<text_error> errors;
    nexthop_names names;
    uint32_t left_out = 0;
};

TEST_F(FibRoutes, OfAListAreTheRecordByteByByte) {
    route_reader reader(names, false);
    const auto v4 = reader.read("192.0.2.128/25 02:00:5e:1a:Bc:fF 258", 1, errors);
    ASSERT_TRUE(v4);
    const std::vector<uint8_t> v4_bytes(reinterpret_cast<const uint8_t *>(&*v4), reinterpret_cast<const uint8_t *>(&*v4 + 1));
    EXPECT_BYTES(v4_bytes, 0, "04 19  c0 00 02 80 00 00 00 00 00 00 00 00 00 00 00 00  00 00 00 00 00  02 01  02 00 5e 1a bc ff");
    const auto v6 = reader.read("2001:db8::/33 02:00:00:00:00:01 7 ! a comment", 2, errors);
    ASSERT_TRUE(v6);
    const std::vector<uint8_t> v6_bytes(reinterpret_cast<const uint8_t *>(&*v6), reinterpret_cast<const uint8_t *>(&*v6 + 1));
    EXPECT_BYTES(v6_bytes, 0, "06 21  20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 00  00 00 00 00 00  07 00  02 00 00 00 00 01");
    EXPECT_TRUE(errors.empty());
}

TEST_F(FibRoutes, OfAListMayBeHostsAndDefaults) {
    EXPECT_EQ(read("192.0.2.1 02:00:00:00:00:01 9\r\n2001:db8::1 02:00:00:00:00:01 9\n0.0.0.0/0 02:00:00:00:00:01 9\n"
                   "::/0 02:00:00:00:00:01 9\ndefault 02:00:00:00:00:01 9\n\n# nothing\n"),
              "192.0.2.1/32 9; 2001:db8::1/128 9; 0.0.0.0/0 9; ::/0 9; 0.0.0.0/0 9; ");
    EXPECT_EQ(read("default 02:00:00:00:00:01 9", true), "::/0 9; ");
}

TEST_F(FibRoutes, OfIpGetTheNameOfTheirGatewayOnItsDeviceThenOfTheGatewayThenOfTheDevice) {
    EXPECT_EQ(
        read("default via 192.0.2.1 dev eth0 proto dhcp src 192.0.2.7 metric 100\n"
             "10.0.0.0/8 via 192.0.2.1 dev eth1 proto static\n"
             "10.1.0.0/16 via 192.0.2.9 dev eth1\n"
             "192.0.2.0/24 dev eth1 proto kernel scope link src 192.0.2.7 linkdown\n"
             "unicast 10.2.0.1 via 192.0.2.1 onlink\n"
             "2001:db8::/32 via fe80::1 dev eth0 proto ra metric 100 pref medium\n"
             "2001:db8:1::/48 nhid 12 via fe80::1 dev eth9\n"
             "default via fe80::1 dev eth0\n"),
        "0.0.0.0/0 1; 10.0.0.0/8 1; 10.1.0.0/16 2; 192.0.2.0/24 2; 10.2.0.1/32 1; 2001:db8::/32 4; 2001:db8:1::/48 3; ::/0 4; ");
}

TEST_F(FibRoutes, TellTheFamilyOfADefaultWithoutAPrefix) {
    EXPECT_EQ(read("default dev eth1\n"), "0.0.0.0/0 2; ");
    EXPECT_EQ(read("default dev eth1\n", true), "::/0 2; ");
    EXPECT_EQ(read("default via inet6 fe80::1 dev eth0\n10.0.0.0/8 via inet6 fe80::1 dev eth0\n"), "0.0.0.0/0 4; 10.0.0.0/8 4; ");
}

TEST_F(FibRoutes, OfSeveralNextHopsGetTheFirst) {
    EXPECT_EQ(read("default proto static metric 20 \n"
                   "\tnexthop via 192.0.2.1 dev eth0 weight 1 \n"
                   "\tnexthop via fe80::1 dev eth1 weight 1 \n"
                   "10.0.0.0/8 dev eth1\n"
                   "10.1.0.0/16 proto bird \\\tnexthop via 192.0.2.1 dev eth1 weight 1\\\tnexthop dev eth1 weight 1\n"),
              "0.0.0.0/0 1; 10.0.0.0/8 2; 10.1.0.0/16 1; ");
    EXPECT_EQ(left_out, 2U);
}

TEST_F(FibRoutes, LeaveTheHostsOwnOut) {
    EXPECT_EQ(read("local 127.0.0.0/8 dev lo table local\nbroadcast 10.255.255.255 dev eth0\nmulticast ff00::/8 dev eth1\n"
                   "anycast 2001:db8:: dev eth0\n10.0.0.0/8 dev eth1\n"),
              "10.0.0.0/8 2; ");
    EXPECT_EQ(left_out, 4U);
}

TEST_F(FibRoutes, ToOnePrefixAreTheFirstOneWhichHasTheLowestMetric) {
    EXPECT_EQ(read("default via 192.0.2.1 dev eth0 metric 100\n"
                   "default via 198.51.100.1 dev wlan0 metric 600\n"  // its next hop has no name, and needs none
                   "default dev eth1 scope link metric 600\n"
                   "10.0.0.0/8 dev eth1\n"
                   "10.0.0.0/9 dev eth1\n"),
              "0.0.0.0/0 1; 10.0.0.0/8 2; 10.0.0.0/9 2; ");
    EXPECT_EQ(left_out, 2U);
    EXPECT_EQ(read("default via fe80::1 dev eth1 metric 7\n"
                   "default proto ra metric 9\n"
                   "\tnexthop via fe80::1 dev eth0 weight 1\n"
                   "\tnexthop via fe80::2 dev eth1 weight 1\n"
                   "fe80::/64 dev eth1 metric 256\n"
                   "fe80::/64 dev eth0 metric 256\n"),
              "::/0 3; fe80::/64 2; ");
    EXPECT_EQ(left_out, 3U);
    EXPECT_EQ(
        read("10.0.0.0/8 dev eth1 metric 20\n10.0.0.0/8 dev eth1 metric 10\n"),
        "2:16 the metric is lower than that of the route to 10.0.0.0/8 before it: put the route with the lowest metric first; ");
    // In a list each line counts: the card tells what comes twice.
    EXPECT_EQ(read("10.0.0.0/8 02:00:00:00:00:01 9\n10.0.0.0/8 02:00:00:00:00:01 9\n"), "10.0.0.0/8 9; 10.0.0.0/8 9; ");
}

TEST_F(FibRoutes, OfSomePacketsOnlyAreLeftOut) {
    EXPECT_EQ(read("10.0.0.0/8 tos 0x10 via 192.0.2.1 dev eth0\n"
                   "10.0.0.0/8 dev eth1\n"
                   "default from 2001:db8::/56 via fe80::1 dev eth0 metric 512\n"
                   "default via fe80::1 dev eth0 metric 1024\n"
                   "default from 2001:db8::/56 metric 512\n"
                   "\tnexthop via fe80::1 dev eth0 weight 1\n"
                   "192.0.2.0/24 dev eth1 table 100\n"
                   "192.0.2.0/25 dev eth1 table main\n"),
              "10.0.0.0/8 2; ::/0 4; 192.0.2.0/25 2; ");
    EXPECT_EQ(left_out, 4U);
}

TEST_F(FibRoutes, FallBackToTheOtherNextHop) {
    nprm_fib_nexthop other = {};
    other.u16_5 = 99;
    names.set_other(other);
    EXPECT_EQ(read("10.0.0.0/8 via 203.0.113.1 dev eth7\n10.1.0.0/16 dev eth1\n"), "10.0.0.0/8 99; 10.1.0.0/16 2; ");
}

TEST_F(FibRoutes, ThatAreWrongSayWhere) {
    const std::pair<std::string, std::string> wrong[] = {
        {"300.1.2.3/8 x", "1:1 \"300.1.2.3\" is no prefix: A.B.C.D/LEN, an IPv6 prefix, or default; "},
        {" 10.0.0.0/33 dev eth1", "1:11 \"33\" is no prefix length: 0 to 32; "},
        {"2001:db8::/129 dev eth1", "1:12 \"129\" is no prefix length: 0 to 128; "},
        {"10.0.0.0/ dev eth1", "1:10 \"\" is no prefix length: 0 to 32; "},
        {"10.0.0.1/8 dev eth1", "1:1 \"10.0.0.1/8\" has bits behind its length: 10.0.0.0/8 is the prefix; "},
        {"10.0.0.0/8 02:00:00:00:00:0g 1", "1:12 \"02:00:00:00:00:0g\" is no MAC address: 02:00:00:00:00:01; "},
        {"10.0.0.0/8 2:0:0:0:0:1 1", "1:12 \"2:0:0:0:0:1\" is no MAC address: 02:00:00:00:00:01; "},
        {"10.0.0.0/8 02:00:00:00:00:01 65536", "1:30 \"65536\" is no UIDB: 0 to 65535; "},
        {"10.0.0.0/8 02:00:00:00:00:01", "1:29 a UIDB is missing: 0 to 65535; "},
        {"10.0.0.0/8 02:00:00:00:00:01 1 2", "1:32 \"2\" is not expected here: the route is complete; "},
        {"10.0.0.0/8", "1:11 a next hop is missing: MAC UIDB, or via GATEWAY or dev DEVICE; "},
        {"10.0.0.0/8 via nobody dev eth1", "1:16 \"nobody\" is no gateway: A.B.C.D or IPv6; "},
        {"10.0.0.0/8 via 192.0.2.7 dev eth3",
         "1:16 no MAC address and UIDB are known for 192.0.2.7 on eth3: name it in a file for --nexthops, or give --mac and "
         "--uidb; "},
        {"blackhole 10.0.0.0/8", "1:1 \"blackhole\" routes have no next hop, and a FIB record needs one: take the line out; "},
        {"nexthop via 192.0.2.1", "1:1 a nexthop line needs a route in a line before it; "},
        {"unicast", "1:8 a prefix is missing: A.B.C.D/LEN, an IPv6 prefix, or default; "},
        {"10.0.0.0/8 proto x\n10.1.0.0/16 dev eth1", "1:12 a next hop is missing: MAC UIDB, or via GATEWAY or dev DEVICE; "},
        {std::string("10.0.0.0\0/8 dev eth1", 20), "1:1 \"10.0.0.0.\" is no prefix: A.B.C.D/LEN, an IPv6 prefix, or default; "},
        {"10.0.0.0/8 dev eth1\rx", "1:20 the line ends in a carriage return alone: end lines with a line feed; "},
    };
    for (const auto &[text, told] : wrong)
        EXPECT_EQ(read(text), told) << text;
}

TEST_F(FibRoutes, NamesThatAreWrongSayWhere) {
    nexthop_names wrong;
    wrong.read("eth0 02:00:00:00:00:01 1\neth0 02:00:00:00:00:01 1\neth1\neth2 02:00:00:00:00:01 x\neth3 02:00:00:00:00:01 1 y\n",
               errors);
    std::string told;
    for (const text_error &error : errors)
        told += std::to_string(error.line) + ":" + std::to_string(error.column) + " " + error.message + "\n";
    errors.clear();
    EXPECT_EQ(told,
              "2:1 \"eth0\" comes twice\n3:5 \"\" is no MAC address: 02:00:00:00:00:01\n4:24 \"x\" is no UIDB: 0 to 65535\n"
              "5:26 \"y\" is not expected here: NAME MAC UIDB is all\n");
}

}  // namespace
