// Hardware tables of the simulated card: what is configured stands in their entries, as the library's printers read them.

#include <gtest/gtest.h>

#include "api/diag/nprm_decode.h"
#include "npa_messages.h"

namespace {

using printer = int (*)(uint32_t, const uint32_t *, uint8_t, char *, FILE *);

class HwTables : public testing::Test, protected np_under_test {
  protected:
    std::string printed(printer print, uint32_t table, uint32_t address) {
        const message bytes = entry_at(table, address);
        uint32_t words[51];
        std::memcpy(words, bytes.data(), sizeof words);
        nprm_syslog_flag = 0;  // the printers write to the log as well
        std::string text(NPRM_ENTRY_TEXT_BYTES_MAX, '\0');
        EXPECT_EQ(print(address, words, 0, text.data(), nullptr), 0);
        return text.c_str();
    }

    // "value" is what stands behind the field's width.
    static void expect_field(const std::string &text, const char *name, int width, const char *value) {
        char line[120];
        std::snprintf(line, sizeof line, "\n  %-30s %2d    %s", name, width, value);
        EXPECT_NE((text + "\n").find(std::string(line) + "\n"), std::string::npos) << line << text;
    }

    void send(uint32_t component, const message &bytes) { ASSERT_EQ(get32(ask(component, bytes), 8), 0U); }

    // An IPv4 address as a host-order integer, as service objects have it.
    void add_node(uint32_t id, uint32_t address) {
        message bytes = request(0, 80);
        put8(bytes, 12, id);
        put8(bytes, 13, 2);
        put32(bytes, 16, address);
        send(2, bytes);
    }
    void add_group(uint32_t id) {
        message bytes = request(1, 80);
        put16(bytes, 12, id);
        send(2, bytes);
    }
    void distribute(uint32_t group, uint32_t hash_index, uint32_t node) {
        message bytes = request(2, 80);
        put8(bytes, 12, hash_index);
        put16(bytes, 13, group);
        put8(bytes, 15, 1);
        put8(bytes, 16, node);
        send(2, bytes);
    }
    void add_context(uint32_t id, uint32_t address) {
        message bytes = request(0, 38);
        put8(bytes, 12, id);
        put8(bytes, 13, 2);
        put32(bytes, 14, address);
        send(0, bytes);
    }
    void add_wccp(uint32_t id, uint8_t flags, const std::vector<uint8_t> &address) {
        message bytes = request(0, 40);
        put8(bytes, 12, id);
        put8(bytes, 13, flags);
        std::copy(address.begin(), address.end(), bytes.begin() + 14);
        send(9, bytes);
    }
};

TEST_F(HwTables, ShowRoutes) {
    add_route({10, 1, 0, 0}, 16, 9, 2);
    const std::string entry = printed(decode_fib, 11, 0);
    EXPECT_EQ(entry.rfind("\n\nFIB Entry [0]", 0), 0U) << entry;
    expect_field(entry, "cb0.valid", 1, "0x1 (1)");
    expect_field(entry, "cb0.forward", 1, "0x1 (1)");
    expect_field(entry, "cb0.def_route", 1, "0 (0)");
    expect_field(entry, "dmac[0]", 8, "0x2 (2)");
    expect_field(entry, "dmac[5]", 8, "0x2 (2)");
    expect_field(entry, "uidb", 16, "0x9 (9)");
    expect_field(printed(decode_cfg_fib_tbl_key, 21, 0), "ip_v4", 32, "0xa010000 (167837696)");
    expect_field(printed(decode_cfg_fib_tbl_data, 22, 0), "uidb", 16, "0x9 (9)");
}

TEST_F(HwTables, DropWhatHasNoInterfaceAndMarkTheDefaultRoute) {
    add_route({0, 0, 0, 0}, 0, 0, 1);
    const std::string entry = printed(decode_fib, 11, 0);
    expect_field(entry, "cb0.def_route", 1, "0x1 (1)");
    expect_field(entry, "cb0.drop", 1, "0x1 (1)");
    expect_field(entry, "cb0.forward", 1, "0 (0)");
    expect_field(entry, "cb2.match_all", 1, "0x1 (1)");
}

TEST_F(HwTables, KeepIpv6RoutesBehindTheIpv4OnesAndOutOfTheIpv4Tables) {
    add_route({0x20, 1, 0xd, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 32, 5, 1);
    add_route({10, 0, 0, 0}, 8, 6, 2);
    expect_field(printed(decode_fib, 11, 1), "uidb", 16, "0x5 (5)");
    EXPECT_EQ(entry_at(22, 1), message(204, 0));
}

TEST_F(HwTables, ShowInterfacesInBothDirections) {
    make_interface(0x102, 0x10, 5);  // physical, layer 3, port 5
    message up = request(2, 35);
    put32(up, 8, 0x102);
    put32(up, 26, 1);
    send(3, up);
    message address = request(4, 35);
    put32(address, 8, 0x102);
    put8(address, 12, 24);
    put16(address, 14, 3);
    put32(address, 16, 0x0100000A);  // 10.0.0.1 as it travels
    send(3, address);
    const std::string ingress = printed(decode_ing_uidb, 3, 0x102);
    EXPECT_EQ(ingress.rfind("\n\nIngress UIDB [0x102]", 0), 0U) << ingress;
    expect_field(ingress, "cb0.match", 1, "0x1 (1)");
    expect_field(ingress, "cb0.v4_en", 1, "0x1 (1)");
    expect_field(ingress, "cb0.v6_en", 1, "0 (0)");
    expect_field(ingress, "lag_or_port", 8, "0x5 (5)");
    expect_field(ingress, "vrf", 8, "0x3 (3)");
    expect_field(ingress, "if_h", 16, "0x102 (258)");
    const std::string egress = printed(decode_egr_uidb, 4, 0x102);
    expect_field(egress, "mtu", 16, "0x5ee (1518)");
    expect_field(egress, "v4_if_encaps", 8, "0x2 (2)");
    const std::string header = printed(decode_if_encap, 9, 0x102);
    expect_field(header, "l2_hdr[5]", 8, "0 (0)");
    expect_field(header, "l2_hdr[6]", 8, "0x2 (2)");
    expect_field(header, "l2_hdr[11]", 8, "0x2 (2)");
    expect_field(header, "ip_addr[0]", 32, "0xa000001 (167772161)");
    // Behind the 16 ports: its MAC address, then its IP address.
    expect_field(printed(decode_host_key, 6, 17), "addr.ipv4[3]", 8, "0x1 (1)");
    expect_field(printed(decode_host_result, 8, 17), "cb0.intf_ip", 1, "0x1 (1)");
}

TEST_F(HwTables, ShowThePortsOfAPortChannel) {
    make_interface(7, 0, 3);
    make_interface(8, 0, 11);
    make_interface(20, 1, 0);
    add_member(20, 8);
    add_member(20, 7);
    const std::string group = printed(decode_lag, 10, 0);
    expect_field(group, "number_members", 8, "0x2 (2)");
    expect_field(group, "member_port[0]", 8, "0xb (11)");
    expect_field(group, "member_port[1]", 8, "0x3 (3)");
    EXPECT_EQ(group.find("member_port[2]"), std::string::npos);
    const std::string ingress = printed(decode_ing_uidb, 3, 20);
    expect_field(ingress, "cb0.lag", 1, "0x1 (1)");
    expect_field(ingress, "lag_or_port", 8, "0 (0)");
}

TEST_F(HwTables, ShowPorts) {
    const std::string table = printed(decode_port_table, 5, 7);
    expect_field(table, "cb1.port_id", 7, "0x3 (3)");
    expect_field(table, "cb1.rx_tx", 1, "0x1 (1)");
    expect_field(table, "default_qid", 32, "0x18 (24)");
    expect_field(table, "tpid", 16, "0x8100 (33024)");
    const std::string settings = printed(decode_ethmon_cfg, 23, 9);
    expect_field(settings, "mtu", 32, "0x5ee (1518)");
    expect_field(settings, "speed", 32, "0x2 (2)");
    expect_field(settings, "macaddr[5]", 8, "0x9 (9)");
    EXPECT_NE(printed(decode_ethmon_portstatus, 24, 4).find("\n4          -"), std::string::npos);
    EXPECT_NE(printed(decode_ethmon_portstatus, 24, 0).find("\n0         up       10G               0 (0)"), std::string::npos);
    let_run(1000);
    EXPECT_EQ(printed(decode_ethmon_portstatus, 24, 0).find(" 0 (0)               0 (0)"), std::string::npos);
}

TEST_F(HwTables, ShowServiceNodesTheirHeadersAndTheirDistribution) {
    add_node(4, 0xC0000201);
    add_group(2);
    add_group(3);
    distribute(2, 17, 4);
    expect_field(printed(decode_host_key, 6, 16), "addr.ipv4[0]", 8, "0xc0 (192)");
    expect_field(printed(decode_host_result, 8, 16), "cb0.se_ip", 1, "0x1 (1)");
    expect_field(printed(decode_host_result, 8, 16), "sn.id", 8, "0x4 (4)");
    const std::string header = printed(decode_encap, 13, 4);
    expect_field(header, "cb0.se", 1, "0x1 (1)");
    expect_field(header, "dip[0]", 32, "0xc0000201 (3221225985)");
    expect_field(header, "protocol", 8, "0x2f (47)");
    const std::string action = printed(decode_action, 14, 2);
    expect_field(action, "cb0.redirect", 1, "0x1 (1)");
    expect_field(action, "hash_index", 8, "0x11 (17)");
    expect_field(printed(decode_action, 14, 3), "cb2.pass_thru", 1, "0x1 (1)");
    expect_field(printed(decode_sng_dist, 15, 2 * 256 + 17), "sn_id", 16, "0x4 (4)");
    EXPECT_EQ(entry_at(15, 2 * 256 + 18), message(204, 0));
}

TEST_F(HwTables, ShowMasksAsWideAsTheirKeys) {
    add_node(4, 0xC0000201);
    expect_field(printed(decode_tcam_mask, 7, 0), "mask", 144, "ffffffffffffffff00000000000000000000");   // a port's MAC address
    expect_field(printed(decode_tcam_mask, 7, 16), "mask", 144, "ff00ffffffff000000000000000000000000");  // an IPv4 address
}

TEST_F(HwTables, ShowContextsAndWccpServers) {
    add_context(6, 0xC0000202);
    add_wccp(9, 2, {0x03, 0x02, 0x00, 0xC0});
    add_wccp(10, 8, {2, 0, 0, 0, 0, 0x77});
    expect_field(printed(decode_host_result, 8, 16), "cb0.oe_ip", 1, "0x1 (1)");
    expect_field(printed(decode_host_result, 8, 17), "cb0.wccp_ip", 1, "0x1 (1)");
    expect_field(printed(decode_host_result, 8, 18), "cb0.wccp_mac", 1, "0x1 (1)");
    expect_field(printed(decode_host_result, 8, 18), "wccp_server.id", 8, "0xa (10)");
    const std::string server = printed(decode_vemo, 12, 9);
    expect_field(server, "addr.ip[0]", 32, "0xc0000203 (3221225987)");
    expect_field(server, "cb0.wccp_gre", 1, "0x1 (1)");
    expect_field(printed(decode_vemo, 12, 10), "addr.mac[5]", 8, "0x77 (119)");
    expect_field(printed(decode_encap, 13, 256 + 6), "cb0.oe", 1, "0x1 (1)");
    expect_field(printed(decode_encap, 13, 512 + 9), "cb0.wccp", 1, "0x1 (1)");
    EXPECT_EQ(entry_at(13, 512 + 10), message(204, 0));  // a MAC address needs no header
}

TEST_F(HwTables, ShowObjectsOfTheHighestIds) {
    add_node(255, 0xC0000201);
    add_context(255, 0xC0000202);
    add_wccp(255, 2, {0x03, 0x02, 0x00, 0xC0});
    add_group(65535);
    distribute(65535, 255, 255);
    expect_field(printed(decode_encap, 13, 255), "dip[0]", 32, "0xc0000201 (3221225985)");
    expect_field(printed(decode_encap, 13, 511), "dip[0]", 32, "0xc0000202 (3221225986)");
    expect_field(printed(decode_encap, 13, 767), "dip[0]", 32, "0xc0000203 (3221225987)");
    expect_field(printed(decode_vemo, 12, 255), "addr.ip[0]", 32, "0xc0000203 (3221225987)");
    expect_field(printed(decode_action, 14, 65535), "cb0.redirect", 1, "0x1 (1)");
    expect_field(printed(decode_sng_dist, 15, 65535 * 256 + 255), "sn_id", 16, "0xff (255)");
}

TEST_F(HwTables, ShowContextGroupsAndBridgeGroupsAsLists) {
    add_context(6, 0xC0000202);
    add_context(7, 0xC0000203);
    message group = request(1, 38);
    put32(group, 12, 5);
    put8(group, 16, 2);
    put8(group, 17, 6);
    put8(group, 18, 7);
    send(0, group);
    expect_field(printed(decode_prs_cfg_dist_list, 16, 5), "size", 16, "0x2 (2)");
    expect_field(printed(decode_prs_cfg_dist_list, 16, 5), "list_id.sc_query_list", 1, "0x1 (1)");
    expect_field(printed(decode_res_cfg_dist_list, 17, 5), "list_id.sc_dist_list", 1, "0x1 (1)");
    make_interface(7, 0, 3);
    make_interface(8, 0, 11);
    message bridge = request(10, 35);
    put32(bridge, 8, 4);
    put32(bridge, 12, 7);
    put32(bridge, 16, 8);
    send(3, bridge);
    expect_field(printed(decode_prs_cfg_dist_list, 16, 256 + 4), "list_id.bd_flood_list", 1, "0x1 (1)");
    expect_field(printed(decode_ing_uidb, 3, 7), "bg_id", 8, "0x4 (4)");
    expect_field(printed(decode_ing_uidb, 3, 7), "cb0.bvi", 1, "0x1 (1)");
}

TEST_F(HwTables, ShowFlowsOfPortsThatCarryTraffic) {
    EXPECT_EQ(get32(ask(get(19, 0, 0)), 217 + 20), 0U);  // none before there was traffic
    let_run(2000);
    EXPECT_EQ(get32(ask(get(19, 0, 0)), 217 + 20), 60U);  // 15 ports
    const std::string key = printed(decode_cfg_flow_tbl_key, 19, 1);
    expect_field(key, "svr_ip", 32, "0xc6336401 (3325256705)");
    expect_field(key, "svr_port", 16, "0x1bb (443)");
    expect_field(printed(decode_cfg_flow_tbl_data, 20, 1), "cb1.sn_v", 1, "0 (0)");
    expect_field(printed(decode_cfg_flow_tbl_data, 20, 1), "flow_ts", 32, "0x2 (2)");
    add_node(4, 0xC0000201);
    add_group(2);
    for (uint32_t index = 0; index < 256; ++index)
        distribute(2, index, 4);
    const std::string data = printed(decode_cfg_flow_tbl_data, 20, 1);
    expect_field(data, "cb1.sn_v", 1, "0x1 (1)");
    expect_field(data, "sn_id", 8, "0x4 (4)");
    expect_field(data, "action_id", 16, "0x2 (2)");
    expect_field(data, "cb2.redirect_st", 1, "0x1 (1)");
}

TEST_F(HwTables, ShowWhatIsTraced) {
    EXPECT_EQ(entry_at(18, 0), message(204, 0));
    let_run(100);
    message trace = request(3, 80);
    put8(trace, 8, 1);
    put16(trace, 12, 443);
    send(2, trace);
    expect_field(printed(decode_cfg_flow_debug, 18, 0), "cb0.trace_en", 1, "0x1 (1)");
    expect_field(printed(decode_cfg_flow_tbl_data, 20, 1), "debug_id", 8, "0x1 (1)");
    expect_field(printed(decode_cfg_flow_tbl_data, 20, 0), "debug_id", 8, "0 (0)");
}

TEST_F(HwTables, ShowValuesMasksAndResultsOfTcamEntries) {
    send(7, tcam_message(0, 2, 0, 4));
    send(7, tcam_message(0, 2, 0, 4));
    send(7, tcam_under_test::acl_message(5, 1, 2, {0x11223344}));
    const uint32_t address = 4 + 2;  // the second list begins behind the first
    EXPECT_EQ(get32(entry_at(32, address), 6), 0x11223344U);
    EXPECT_EQ(get32(entry_at(33, address), 6), 0xFFFFFFFFU);
    EXPECT_EQ(get32(entry_at(34, address), 8), 0x11223344U);
    EXPECT_EQ(get32(ask(get(32, 0, 0)), 217 + 20), 1U);
    EXPECT_EQ(entry_at(32, address + 1), message(204, 0));
}

TEST_F(HwTables, AreAllReadableFromTheirFirstAddressToTheirLast) {
    let_run(10);
    for (uint32_t table = 0; table < 64; ++table) {
        const message summary = ask(selector(0, table));
        if (get32(summary, 8) != 0) continue;
        const uint32_t addresses = get32(summary, 104 + 4);
        EXPECT_EQ(get32(ask(get(table, addresses - 1, 1)), 8), 0U) << table;
        EXPECT_EQ(get32(ask(find(2, table, "")), 8), 0U) << table;
        EXPECT_EQ(get32(ask(find(2, table, "")), 20), std::min(get32(summary, 104 + 20), 317U)) << table;
    }
}

}  // namespace
