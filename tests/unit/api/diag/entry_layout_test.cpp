// The public view of the entry layouts: every field of every type, the values of an entry written by hand, and what it refuses.

#include "api/diag/nprm_entry_layout.h"

#include <cstring>
#include <string>

#include "printed.h"
#include "tests/support/bytes.h"

namespace {

struct expected_layout {
    uint32_t type;
    const char *title;
    uint32_t bytes;
    const char *entry;
    const char *fields;  // name, byte.lowest bit/width=value
};

constexpr expected_layout expected_layouts[] = {
    {1, "Port Config RAM", 16, "a5 4d ca 18 25 30 bb 1d 6d 13 2c de d6 23 7b 2e",
     "pc_sram_b0.port_en 0.0/1=1; pc_sram_b0.dump_acl_en 0.2/1=1; pc_sram_b0.trace_acl_en 0.3/1=0; "
     "pc_sram_b0.intercept_acl_en 0.4/1=0; pc_sram_b0.policy_en 0.5/1=1; pc_sram_b0.l4_port_lb_hash 0.6/1=0; "
     "pc_sram_b0.ctrl_plane_if 0.7/1=1; dump_acl_vmr 1.0/8=77; trace_acl_vmr 2.0/8=202; intercept_acl_vmr 3.0/8=24; "
     "policy_vmr 4.0/8=37; pc_sram_b7.decode_off 7.5/2=0; pc_sram_b7.frame_type 7.7/1=0; mapped_port 8.0/8=109; "
     "virtual_port 9.0/8=19; if_h 10.0/16=56876; pc_sram_b15.hdr_off_en 15.2/1=1; pc_sram_b15.rx_tx_frame 15.3/1=1; "
     "pc_sram_b15.key_gen_prof 15.4/3=2; pc_sram_b15.pre_parse_en 15.7/1=0"},
    {3, "Ingress UIDB", 12, "d9 1e 3f 72 1f cb 19 71 17 44 94 d6",
     "cb0.valid 0.0/1=1; cb0.match 0.1/1=0; cb0.v4_en 0.2/1=0; cb0.v6_en 0.3/1=1; cb0.bvi 0.4/1=1; cb0.punt 0.5/1=0; "
     "cb0.drop 0.6/1=1; cb0.lag 0.7/1=1; bg_id 1.0/8=30; vlan 2.0/16=29247; stat[0] 4.0/8=31; stat[1] 5.0/8=203; "
     "stat[2] 6.0/8=25; lag_or_port 7.0/8=113; vrf 8.0/8=23; if_h 10.0/16=54932"},
    {4, "Egress UIDB", 12, "49 3c 9d 5c 34 60 be 31 20 1e 69 fe",
     "cb0.valid 0.0/1=1; cb0.match 0.1/1=0; cb0.v4_en 0.2/1=0; cb0.v6_en 0.3/1=1; cb0.bvi 0.4/1=0; cb0.punt 0.5/1=0; "
     "cb0.drop 0.6/1=1; cb0.lag 0.7/1=0; mtu 2.0/16=23709; stat[0] 4.0/8=52; stat[1] 5.0/8=96; stat[2] 6.0/8=190; "
     "lag_or_port 7.0/8=49; v4_if_encaps 8.0/8=32; v6_if_encaps 9.0/8=30; if_h 10.0/16=65129"},
    {5, "Port Table", 16, "da a0 ee e8 b9 99 7f 5c 7c 29 99 fd af e5 93 25",
     "cb0.valid 0.0/1=0; cb0.match 0.1/1=1; cb0.default_qid_v 0.2/1=0; cb0.l2_hdr 0.3/1=1; cb0.vif_tag 0.4/1=1; "
     "cb1.port_id 1.0/7=32; cb1.rx_tx 1.7/1=1; default_qid 4.0/32=1551866297; vif_qid 8.0/32=4254673276; "
     "tpid 12.0/16=58799; vif_tag 14.0/16=9619"},
    {6, "TCAM Key", 18, "3c d6 54 af 4d fa d7 14 27 a0 ae b3 fe e9 23 2f 8a f2",
     "table_id 0.0/8=60; info.port 1.0/8=214; addr.ipv4[0] 2.0/8=84; addr.ipv4[1] 3.0/8=175; addr.ipv4[2] 4.0/8=77; "
     "addr.ipv4[3] 5.0/8=250; addr.ipv6[0] 2.0/8=84; addr.ipv6[1] 3.0/8=175; addr.ipv6[2] 4.0/8=77; "
     "addr.ipv6[3] 5.0/8=250; addr.ipv6[4] 6.0/8=215; addr.ipv6[5] 7.0/8=20; addr.ipv6[6] 8.0/8=39; "
     "addr.ipv6[7] 9.0/8=160; addr.ipv6[8] 10.0/8=174; addr.ipv6[9] 11.0/8=179; addr.ipv6[10] 12.0/8=254; "
     "addr.ipv6[11] 13.0/8=233; addr.ipv6[12] 14.0/8=35; addr.ipv6[13] 15.0/8=47; addr.ipv6[14] 16.0/8=138; "
     "addr.ipv6[15] 17.0/8=242; addr.mac[0] 2.0/8=84; addr.mac[1] 3.0/8=175; addr.mac[2] 4.0/8=77; "
     "addr.mac[3] 5.0/8=250; addr.mac[4] 6.0/8=215; addr.mac[5] 7.0/8=20"},
    {7, "TCAM Mask", 18, "21 1f 9e e4 91 c5 b1 0b ec b5 56 3b fc 1e 6f 93 42 7e", "mask 0.0/144=0"},
    {8, "Host Results entry", 16, "cb c8 fe 29 55 e5 cd 8e 46 dc 8e d4 b7 c2 76 4d",
     "cb0.valid 0.0/1=1; cb0.match 0.1/1=1; cb0.wccp_mac 0.2/1=0; cb0.my_mac 0.3/1=1; cb0.se_ip 0.4/1=0; "
     "cb0.oe_ip 0.5/1=0; cb0.wccp_ip 0.6/1=1; cb0.intf_ip 0.7/1=1; max_mss 2.0/16=10750; sn.id 7.0/8=142; "
     "sn.stat_p[0] 4.0/8=85; sn.stat_p[1] 5.0/8=229; sn.stat_p[2] 6.0/8=205; sc.id 11.0/8=212; sc.stat_p[0] 8.0/8=70; "
     "sc.stat_p[1] 9.0/8=220; sc.stat_p[2] 10.0/8=142; wccp_server.id 15.0/8=77; wccp_server.stat_p[0] 12.0/8=183; "
     "wccp_server.stat_p[1] 13.0/8=194; wccp_server.stat_p[2] 14.0/8=118"},
    {9, "IF Encap", 32, "2a 5a 4d 76 77 06 f8 5d 86 90 02 4a d6 bd a3 40 1b e9 c8 cb cc c9 35 f6 cd 1f 61 22 6a e1 53 38",
     "cb0.valid 0.0/1=0; cb0.match 0.1/1=1; cb0.if_encap 0.3/1=1; cb0.punt_encap 0.2/1=0; cb0.v4_en 0.6/1=0; "
     "cb0.v6_en 0.7/1=0; l2_hdr[0] 4.0/8=119; l2_hdr[1] 5.0/8=6; l2_hdr[2] 6.0/8=248; l2_hdr[3] 7.0/8=93; "
     "l2_hdr[4] 8.0/8=134; l2_hdr[5] 9.0/8=144; l2_hdr[6] 10.0/8=2; l2_hdr[7] 11.0/8=74; l2_hdr[8] 12.0/8=214; "
     "l2_hdr[9] 13.0/8=189; l2_hdr[10] 14.0/8=163; l2_hdr[11] 15.0/8=64; ip_addr[0] 16.0/32=3418941723; "
     "ip_addr[1] 20.0/32=4130720204; ip_addr[2] 24.0/32=576790477; ip_addr[3] 28.0/32=945021290"},
    {10, "Lag Group", 8, "ae 1a 34 00 4d 33 ba 05 24 6a c0",
     "cb0.valid 0.0/1=0; cb0.match 0.1/1=1; number_members 7.0/8=5; member_port[0] 8.0/8=36; "
     "member_port[1] 9.0/8=106; member_port[2] 10.0/8=192"},
    {11, "FIB Entry", 11, "4c 81 b1 ba f2 3e 3b f9 ee f5 f7",
     "cb0.valid 0.0/1=0; cb0.match 0.1/1=0; cb0.for_us 0.2/1=1; cb0.forward 0.3/1=1; cb0.drop 0.4/1=0; "
     "cb0.def_route 0.5/1=0; cb0.punt 0.6/1=1; cb0.bvi 0.7/1=0; cb1.tr_cb8 1.0/1=1; cb1.tr_cb9 1.1/1=0; "
     "cb1.tr_cb10 1.2/1=0; cb1.tr_cb11 1.3/1=0; cb1.tr_cb12 1.4/1=0; cb1.tr_cb13 1.5/1=0; cb1.tr_cb14 1.6/1=0; "
     "cb1.tr_cb15 1.7/1=1; cb2.drop 2.3/1=0; cb2.match_all 2.4/1=1; cb2.punt 2.5/1=1; cb2.for_us 2.6/1=0; "
     "cb2.forward 2.7/1=1; dmac[0] 3.0/8=186; dmac[1] 4.0/8=242; dmac[2] 5.0/8=62; dmac[3] 6.0/8=59; "
     "dmac[4] 7.0/8=249; dmac[5] 8.0/8=238; uidb 9.0/16=63477"},
    {12, "Vemo Entry", 32, "9f 2b 49 34 af 87 f5 52 0b 69 b9 4b 0d 98 2e 85 bb 55 b6 72 a8 72 63 7a cd 74 66 fc b6 0e 0e 8f",
     "cb0.valid 0.0/1=1; cb0.match 0.1/1=1; cb0.v4 0.2/1=1; cb0.state 0.3/1=1; cb0.wccp_l2 0.5/1=0; "
     "cb0.wccp_gre 0.6/1=0; cb0.wccp_ip 0.7/1=1; cb1.done 1.6/1=0; cb1.sn_down 1.7/1=0; cb2.done 2.2/1=0; "
     "cb2.match_all 2.4/1=0; cb2.wccp_l2 2.5/1=0; cb2.wccp_gre 2.6/1=1; cb2.wccp_ip 2.7/1=0; vemo_key 3.0/8=52; "
     "vrf 4.0/8=175; stat_p[0] 5.0/8=135; stat_p[1] 6.0/8=245; stat_p[2] 7.0/8=82; ao_red_map 12.0/16=38925; "
     "addr.mac[0] 16.0/8=187; addr.mac[1] 17.0/8=85; addr.mac[2] 18.0/8=182; addr.mac[3] 19.0/8=114; "
     "addr.mac[4] 20.0/8=168; addr.mac[5] 21.0/8=114; addr.ip[0] 16.0/32=1924552123; addr.ip[1] 20.0/32=2053337768; "
     "addr.ip[2] 24.0/32=4234573005; addr.ip[3] 28.0/32=2400063158"},
    {13, "Encap entry", 32, "f1 84 63 b0 e4 b2 ba 29 70 34 74 f0 64 ac 68 f7 00 f5 b0 2b 3d c6 66 f4 5b de aa 2c ca ed cd 2b",
     "cb0.valid 0.0/1=1; cb0.match 0.1/1=0; cb0.v4 0.2/1=0; cb0.se 0.3/1=0; cb0.oe 0.4/1=1; cb0.wccp 0.5/1=1; "
     "version 8.0/8=112; tos 9.0/8=52; ttl 10.0/8=116; protocol 11.0/8=240; gre 28.0/32=734916042; "
     "dip[0] 12.0/32=4150832228; dip[1] 16.0/32=733017344; dip[2] 20.0/32=4100376125; dip[3] 24.0/32=749395547"},
    {14, "Action Entry", 6, "51 57 41 0e 4d ee",
     "cb0.valid 0.0/1=1; cb0.match 0.1/1=0; cb0.pt_clst_mem 0.3/1=0; cb0.pt_degrade 0.4/1=1; cb0.pt_unavail 0.5/1=0; "
     "cb0.pt_undef 0.6/1=1; cb0.redirect 0.7/1=0; cb2.pass_thru 2.6/1=1; cb2.redirect 2.7/1=0; sng_ao 4.0/16=61005; "
     "hash_index 3.0/8=14"},
    {15, "SNG DIST Entry", 5, "4a f2 b3 4f 43", "cb0.valid 0.0/1=0; cb0.match 0.1/1=1; cb0.sn_undef 0.7/1=0; sn_id 3.0/16=17231"},
    {16, "PARSE Distribution List Config", 4, "0a 07 34 47",
     "size 0.0/16=1802; list_id.bd_flood_list 2.0/1=0; list_id.sc_query_list 2.1/1=0; list_id.sc_dist_list 2.2/1=1; "
     "list_id.sel_a_or_b 2.3/1=0; list_grp_id 3.0/8=71"},
    {17, "RESOLVE Distribution List Config", 4, "de 63 6c 0e",
     "size 0.0/16=25566; list_id.bd_flood_list 2.0/1=0; list_id.sc_query_list 2.1/1=0; list_id.sc_dist_list 2.2/1=1; "
     "list_id.sel_a_or_b 2.3/1=1; list_grp_id 3.0/8=14"},
    {18, "Flow Debug Config", 28, "80 6c 95 7b a6 84 d6 43 1f b5 ea d7 42 4d 09 e1 5d 02 4c 58 48 f2 3d 1f a6 f7 36 1d",
     "cb0.valid 0.0/1=0; cb0.match 0.1/1=0; cb0.dump_en 0.2/1=0; cb0.app_id_f 0.3/1=0; cb0.app_f 0.4/1=0; "
     "cb0.session_f 0.5/1=0; cb0.flow_f 0.6/1=0; cb0.trace_en 0.7/1=1; cb1.st_trace 1.0/1=0; "
     "cb1.sc_msg_trace 1.1/1=0; cb1.ev_st_trace 1.2/1=1; cb1.drop_pkt 1.5/1=1; cb1.swap_src_ip 1.6/1=1; "
     "cb1.pc_encapped 1.7/1=0; drop_stat_index 3.0/8=123; punt_port 4.0/8=166; span_port 5.0/8=132; "
     "drop_port 6.0/8=214; debug_id 7.0/8=67; dump_limit 8.0/16=46367; app_id 10.0/16=55274; "
     "trace_limit 12.0/16=19778; state_bm 14.0/16=57609; event_bm 16.0/32=1481376349; opt_limit 20.0/32=524153416; "
     "pt_limit 24.0/32=490141606"},
    {19, "Flow Table(key) Index ", 13, "7f 61 8d 15 32 e7 0e 20 e2 a6 66 8d e7",
     "svr_ip 0.0/32=361587071; svr_port 4.0/16=59186; cli_ip 7.0/32=1722212896; cli_port 11.0/16=59277; vrf 6.0/8=14"},
    {20, "Flow Table(Data) Index ", 26, "f4 7e 84 67 e5 46 d5 3e c8 e2 a1 25 7b db 25 6c 9b 3e 4f bb 49 81 46 ef 70 30",
     "cb0.valid 0.0/1=0; cb0.match 0.1/1=0; cb0.wccp_valid 0.2/1=1; cb0.key_2t 0.5/1=1; cb0.key_3t 0.6/1=1; "
     "cb0.key_4t 0.7/1=1; cb1.class_stat_v 1.0/1=0; cb1.sn_v 1.1/1=1; cb1.hash_rsvd_bits 1.2/6=31; cb2.done 2.1/1=0; "
     "cb2.t2_lkup 2.2/1=1; cb2.t3_lkup 2.3/1=0; cb2.query_st 2.5/1=0; cb2.pass_thru_st 2.6/1=0; "
     "cb2.redirect_st 2.7/1=1; active_ts 4.0/16=18149; flow_st.active 6.0/1=1; flow_st.local 6.4/1=1; "
     "flow_st.query_next 6.5/3=6; flow_st.current_st 6.1/3=2; sn_id 8.0/8=200; wccp_srv_id 9.0/8=226; "
     "app_id 10.0/16=9633; rc_stat_p[0] 12.0/8=123; rc_stat_p[1] 13.0/8=219; rc_stat_p[2] 14.0/8=37; "
     "class_stat[0] 16.0/8=155; class_stat[1] 17.0/8=62; class_stat[2] 18.0/8=79; pt_type 19.0/8=187; "
     "flow_ts 20.0/32=4014375241; action_id 24.0/16=12400; debug_id 15.0/8=108"},
    {21, "FIB Table(key) Index", 5, "cb f9 53 72 52", "vrf 4.0/8=82; ip_v4 0.0/32=1918106059"},
    {22, "FIB Table(Data) Index ", 11, "dc ce ad d7 64 b6 a3 2f bb 09 ad",
     "cb0.valid 0.0/1=0; cb0.match 0.1/1=0; cb0.for_us 0.2/1=1; cb0.forward 0.3/1=1; cb0.drop 0.4/1=1; "
     "cb0.def_route 0.5/1=0; cb0.punt 0.6/1=1; cb0.bvi 0.7/1=1; cb2.drop 2.3/1=1; cb2.match_all 2.4/1=0; "
     "cb2.punt 2.5/1=1; cb2.for_us 2.6/1=0; cb2.forward 2.7/1=1; uidb 9.0/16=44297; dmac[0] 3.0/8=215; "
     "dmac[1] 4.0/8=100; dmac[2] 5.0/8=182; dmac[3] 6.0/8=163; dmac[4] 7.0/8=47; dmac[5] 8.0/8=187"},
    {23, "Ethmon Config Port ", 22, "ea e1 09 c4 a9 97 20 39 75 35 2b 87 8b 14 5c 8a 42 d8 84 cf 4c fd",
     "mtu 0.0/32=3288981994; speed 4.0/32=958437289; negotiate 8.0/32=2267755893; linkstate 12.0/32=2321290379; "
     "macaddr[0] 16.0/8=66; macaddr[1] 17.0/8=216; macaddr[2] 18.0/8=132; macaddr[3] 19.0/8=207; "
     "macaddr[4] 20.0/8=76; macaddr[5] 21.0/8=253"},
    {24, "Ethmon Port Status", 32,
     "a7 2d 8e 1d 5d d9 25 89 08 2d 85 2a 71 22 87 3e e8 05 ad d5 89 42 16 7a 38 52 86 19 5c 67 9f 9c",
     "link 0.0/32=495857063; speed 4.0/32=2300959069; rx_packets 8.0/64=4505607821647490312; "
     "rx_errors 16.0/32=3584886248; tx_packets 20.0/64=1839247900347351689; tx_errors 28.0/32=2627692380"},
};

// The fields as expected_layout has them.
std::string fields_of(uint32_t type, const std::vector<uint8_t> &entry) {
    const auto bytes = static_cast<uint32_t>(entry.size());
    std::string text;
    nprm_entry_field field;
    for (uint32_t i = 0; nprm_layout_field(type, i, entry.data(), bytes, &field) == NPRM_OK; ++i)
        text += (i == 0 ? "" : "; ") + std::string(field.name) + " " + std::to_string(field.byte) + "." +
                std::to_string(field.lowest_bit) + "/" + std::to_string(field.width) + "=" +
                std::to_string(nprm_layout_value(&field, entry.data(), bytes));
    return text;
}

nprm_entry_field field_of(uint32_t type, const char *name, const std::vector<uint8_t> &entry = {}) {
    nprm_entry_field field;
    for (uint32_t i = 0; nprm_layout_field(type, i, entry.data(), static_cast<uint32_t>(entry.size()), &field) == NPRM_OK; ++i)
        if (std::strcmp(field.name, name) == 0) return field;
    ADD_FAILURE() << "type " << type << " has no " << name;
    return {};
}

TEST(EntryLayout, GivesEveryFieldOfEveryType) {
    uint32_t fields = 0;
    for (const expected_layout &layout : expected_layouts) {
        const std::vector<uint8_t> entry = bytes_of(layout.entry);
        EXPECT_STREQ(nprm_layout_title(layout.type), layout.title);
        EXPECT_EQ(nprm_layout_bytes(layout.type), layout.bytes) << layout.title;
        EXPECT_EQ(fields_of(layout.type, entry), layout.fields) << layout.title;
        fields += nprm_layout_field_count(layout.type, entry.data(), static_cast<uint32_t>(entry.size()));
    }
    EXPECT_EQ(std::size(expected_layouts), 23U);
    EXPECT_EQ(fields, 343U);
}

TEST(EntryLayout, HasTheFieldsThatThePrinterPrints) {
    nprm_syslog_flag = 0;
    for (const expected_layout &layout : expected_layouts) {
        if (layout.type == NPRM_ENTRY_PORT_STATUS) continue;  // prints columns
        const std::vector<uint8_t> entry = bytes_of(layout.entry);
        // The members' count of the example is more than it holds; a printer takes all of the largest entry.
        if (layout.type == NPRM_ENTRY_LAG_GROUP) continue;
        const std::string text = printed(layout.type, 0, entry);
        const auto bytes = static_cast<uint32_t>(entry.size());
        size_t at = 0;
        nprm_entry_field field;
        for (uint32_t i = 0; nprm_layout_field(layout.type, i, entry.data(), bytes, &field) == NPRM_OK; ++i) {
            char line[80];
            const auto value = static_cast<uint32_t>(nprm_layout_value(&field, entry.data(), bytes));
            std::snprintf(line, sizeof line, "\n  %-30s %2u    ", field.name, field.width);
            if (field.width <= 32) std::snprintf(line + std::strlen(line), 40, "%#x (%u)", value, value);
            at = text.find(line, at);
            EXPECT_NE(at, std::string::npos) << layout.title << ": " << line;
        }
    }
    nprm_syslog_flag = NPRM_SYSLOG_FLAG_DEFAULT;
}

TEST(EntryLayout, TheSilentTypeHasNoFieldsAndOtherNumbersNoLayout) {
    const uint8_t entry[16] = {};
    nprm_entry_field field;
    EXPECT_STREQ(nprm_layout_title(2), "");
    EXPECT_EQ(nprm_layout_bytes(2), 0U);
    EXPECT_EQ(nprm_layout_field_count(2, entry, 16), 0U);
    EXPECT_EQ(nprm_layout_field(2, 0, entry, 16, &field), NPRM_ERROR_PARAM);
    for (const uint32_t type : {0U, 25U, 0xFFFFFFFFU}) {
        EXPECT_EQ(nprm_layout_title(type), nullptr) << type;
        EXPECT_EQ(nprm_layout_bytes(type), 0U) << type;
        EXPECT_EQ(nprm_layout_field_count(type, entry, 16), 0U) << type;
        EXPECT_EQ(nprm_layout_field(type, 0, entry, 16, &field), NPRM_ERROR_PARAM) << type;
    }
}

TEST(EntryLayout, AShortEntryReadsAs0BehindItsEnd) {
    // vif_qid begins at byte 8 and has one byte here, tpid at byte 12 none.
    const std::vector<uint8_t> entry = bytes_of("ff ff ff ff ff ff ff ff 7f");
    for (uint32_t i = 0; i < 9; ++i) {
        const auto field = field_of(5, "vif_qid", entry);
        EXPECT_EQ(nprm_layout_value(&field, entry.data(), i), 0U) << i;
    }
    EXPECT_EQ(fields_of(5, entry),
              "cb0.valid 0.0/1=1; cb0.match 0.1/1=1; cb0.default_qid_v 0.2/1=1; cb0.l2_hdr 0.3/1=1; cb0.vif_tag 0.4/1=1; "
              "cb1.port_id 1.0/7=127; cb1.rx_tx 1.7/1=1; default_qid 4.0/32=4294967295; vif_qid 8.0/32=127; "
              "tpid 12.0/16=0; vif_tag 14.0/16=0");
    EXPECT_EQ(nprm_layout_field_count(5, nullptr, 0), 11U);
    nprm_entry_field field;
    EXPECT_EQ(nprm_layout_field(5, 10, nullptr, 0, &field), NPRM_OK);
    EXPECT_EQ(nprm_layout_value(&field, nullptr, 0), 0U);
}

TEST(EntryLayout, AListHasWhatTheEntrySaysAndHolds) {
    const std::vector<uint8_t> two = bytes_of("00 00 00 00 00 00 00 02 09 0a 0b 0c");
    EXPECT_EQ(fields_of(10, two),
              "cb0.valid 0.0/1=0; cb0.match 0.1/1=0; number_members 7.0/8=2; member_port[0] 8.0/8=9; member_port[1] 9.0/8=10");
    EXPECT_EQ(nprm_layout_field_count(10, two.data(), 9), 4U);
    EXPECT_EQ(nprm_layout_field_count(10, two.data(), 8), 3U);
    EXPECT_EQ(nprm_layout_field_count(10, two.data(), 7), 3U);
    std::vector<uint8_t> most(300, 0xFF);
    EXPECT_EQ(nprm_layout_field_count(10, most.data(), 300), 3U + 255);
    EXPECT_EQ(nprm_layout_field_count(10, most.data(), 204), 3U + 196);
    nprm_entry_field field;
    ASSERT_EQ(nprm_layout_field(10, 3 + 254, most.data(), 300, &field), NPRM_OK);
    EXPECT_STREQ(field.name, "member_port[254]");
    EXPECT_EQ(field.byte, 262U);
    EXPECT_EQ(nprm_layout_field(10, 3 + 255, most.data(), 300, &field), NPRM_ERROR_PARAM);
}

TEST(EntryLayout, NullArgumentsAreRefused) {
    uint8_t entry[16] = {};
    nprm_entry_field field;
    EXPECT_EQ(nprm_layout_field(5, 0, entry, 16, nullptr), NPRM_ERROR_PARAM);
    EXPECT_EQ(nprm_layout_field(5, 0, nullptr, 16, &field), NPRM_ERROR_PARAM);
    EXPECT_EQ(nprm_layout_field_count(10, nullptr, 16), 3U);
    field = field_of(5, "tpid");
    EXPECT_EQ(nprm_layout_value(nullptr, entry, 16), 0U);
    EXPECT_EQ(nprm_layout_set_value(nullptr, 0, entry, 16), NPRM_ERROR_PARAM);
    EXPECT_EQ(nprm_layout_set_value(&field, 0, nullptr, 16), NPRM_ERROR_PARAM);
}

TEST(EntryLayout, AValueIsWrittenWithTheBitsAroundItKept) {
    std::vector<uint8_t> entry(32, 0xFF);
    const auto set = [&entry](uint32_t type, const char *name, uint64_t value) {
        const nprm_entry_field field = field_of(type, name);
        return nprm_layout_set_value(&field, value, entry.data(), static_cast<uint32_t>(entry.size()));
    };
    EXPECT_EQ(set(20, "flow_st.query_next", 2), NPRM_OK);
    EXPECT_EQ(set(20, "cb1.hash_rsvd_bits", 0), NPRM_OK);
    EXPECT_EQ(set(19, "cli_ip", 0x0A030201), NPRM_OK);
    EXPECT_EQ(set(24, "tx_packets", 0x0102030405060708), NPRM_OK);
    EXPECT_EQ(set(24, "tx_errors", 0xFFFFFFFF), NPRM_OK);
    EXPECT_BYTES(entry, 0, "ff 03 ff ff ff ff 5f 01 02 03 0a ff ff ff ff ff ff ff ff ff 08 07 06 05 04 03 02 01 ff ff ff ff");
}

TEST(EntryLayout, AValueThatDoesNotFitChangesNothing) {
    const std::vector<uint8_t> before(16, 0x5A);
    const struct {
        uint32_t type;
        const char *name;
        uint64_t value;
        uint32_t bytes;
    } wrong[] = {
        {5, "cb0.valid", 2, 16},
        {5, "cb1.port_id", 128, 16},
        {5, "tpid", 65536, 16},
        {5, "vif_qid", 0x100000000, 16},
        {5, "vif_tag", 1, 15},
        {5, "vif_tag", 1, 14},
        {5, "vif_tag", 1, 0},
        {7, "mask", 0, 16},
        {24, "rx_packets", uint64_t{1} << 63, 15},
    };
    for (const auto &row : wrong) {
        std::vector<uint8_t> entry = before;
        const nprm_entry_field field = field_of(row.type, row.name);
        EXPECT_EQ(nprm_layout_set_value(&field, row.value, entry.data(), row.bytes), NPRM_ERROR_PARAM) << row.name;
        EXPECT_EQ(entry, before) << row.name;
    }
}

TEST(EntryLayout, AFieldThatNoLayoutHasReadsNothingOutside) {
    std::vector<uint8_t> entry(4, 0xFF);
    for (const nprm_entry_field &field :
         {nprm_entry_field{{}, 0, 0, 0}, nprm_entry_field{{}, 0, 60, 5}, nprm_entry_field{{}, 0, 0xFFFFFFFF, 1},
          nprm_entry_field{{}, 0, 0, 65}, nprm_entry_field{{}, 0xFFFFFFFF, 0, 64}}) {
        EXPECT_EQ(nprm_layout_value(&field, entry.data(), 4), 0U);
        EXPECT_EQ(nprm_layout_set_value(&field, 0, entry.data(), 4), NPRM_ERROR_PARAM);
    }
    EXPECT_BYTES(entry, 0, "ff ff ff ff");
}

}  // namespace
