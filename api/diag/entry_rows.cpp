// The rows: every field of every entry type, in the order in which they print.

#include "entry_rows.h"

#include "../wire/nprm_npa_wire.h"
#include "nprm_decode.h"

#include <cstddef>
#include <iterator>

namespace nprm {

namespace {

// clang-format off

// Of the next three the chip's layout is known, but not what its documentation calls the fields: port_config_ram, ingress_uidb, and
// egress_uidb from cb0 to stat[1] have names of the library's own.
constexpr field_row port_config_ram[] = {
    {"pc_sram_b0.port_en", 0, 0, 1},
    {"pc_sram_b0.dump_acl_en", 0, 2, 1},
    {"pc_sram_b0.trace_acl_en", 0, 3, 1},
    {"pc_sram_b0.intercept_acl_en", 0, 4, 1},
    {"pc_sram_b0.policy_en", 0, 5, 1},
    {"pc_sram_b0.l4_port_lb_hash", 0, 6, 1},
    {"pc_sram_b0.ctrl_plane_if", 0, 7, 1},
    {"dump_acl_vmr", 1, 0, 8},
    {"trace_acl_vmr", 2, 0, 8},
    {"intercept_acl_vmr", 3, 0, 8},
    {"policy_vmr", 4, 0, 8},
    {"pc_sram_b7.decode_off", 7, 5, 2},
    {"pc_sram_b7.frame_type", 7, 7, 1},
    {"mapped_port", 8, 0, 8},
    {"virtual_port", 9, 0, 8},
    {"if_h", 10, 0, 16},
    {"pc_sram_b15.hdr_off_en", 15, 2, 1},
    {"pc_sram_b15.rx_tx_frame", 15, 3, 1},
    {"pc_sram_b15.key_gen_prof", 15, 4, 3},
    {"pc_sram_b15.pre_parse_en", 15, 7, 1},
};

constexpr field_row ingress_uidb[] = {
    {"cb0.valid", 0, 0, 1},
    {"cb0.match", 0, 1, 1},
    {"cb0.v4_en", 0, 2, 1},
    {"cb0.v6_en", 0, 3, 1},
    {"cb0.bvi", 0, 4, 1},
    {"cb0.punt", 0, 5, 1},
    {"cb0.drop", 0, 6, 1},
    {"cb0.lag", 0, 7, 1},
    {"bg_id", 1, 0, 8},
    {"vlan", 2, 0, 16},
    {"stat[0]", 4, 0, 8},
    {"stat[1]", 5, 0, 8},
    {"stat[2]", 6, 0, 8},
    {"lag_or_port", 7, 0, 8},
    {"vrf", 8, 0, 8},
    {"if_h", 10, 0, 16},
};

constexpr field_row egress_uidb[] = {
    {"cb0.valid", 0, 0, 1},
    {"cb0.match", 0, 1, 1},
    {"cb0.v4_en", 0, 2, 1},
    {"cb0.v6_en", 0, 3, 1},
    {"cb0.bvi", 0, 4, 1},
    {"cb0.punt", 0, 5, 1},
    {"cb0.drop", 0, 6, 1},
    {"cb0.lag", 0, 7, 1},
    {"mtu", 2, 0, 16},
    {"stat[0]", 4, 0, 8},
    {"stat[1]", 5, 0, 8},
    {"stat[2]", 6, 0, 8},
    {"lag_or_port", 7, 0, 8},
    {"v4_if_encaps", 8, 0, 8},
    {"v6_if_encaps", 9, 0, 8},
    {"if_h", 10, 0, 16},
};

constexpr field_row port_table[] = {
    {"cb0.valid", 0, 0, 1},
    {"cb0.match", 0, 1, 1},
    {"cb0.default_qid_v", 0, 2, 1},
    {"cb0.l2_hdr", 0, 3, 1},
    {"cb0.vif_tag", 0, 4, 1},
    {"cb1.port_id", 1, 0, 7},
    {"cb1.rx_tx", 1, 7, 1},
    {"default_qid", 4, 0, 32},
    {"vif_qid", 8, 0, 32},
    {"tpid", 12, 0, 16},
    {"vif_tag", 14, 0, 16},
};

constexpr field_row tcam_key[] = {
    {"table_id", 0, 0, 8},
    {"info.port", 1, 0, 8},
    {"addr.ipv4[0]", 2, 0, 8},
    {"addr.ipv4[1]", 3, 0, 8},
    {"addr.ipv4[2]", 4, 0, 8},
    {"addr.ipv4[3]", 5, 0, 8},
    {"addr.ipv6[0]", 2, 0, 8},
    {"addr.ipv6[1]", 3, 0, 8},
    {"addr.ipv6[2]", 4, 0, 8},
    {"addr.ipv6[3]", 5, 0, 8},
    {"addr.ipv6[4]", 6, 0, 8},
    {"addr.ipv6[5]", 7, 0, 8},
    {"addr.ipv6[6]", 8, 0, 8},
    {"addr.ipv6[7]", 9, 0, 8},
    {"addr.ipv6[8]", 10, 0, 8},
    {"addr.ipv6[9]", 11, 0, 8},
    {"addr.ipv6[10]", 12, 0, 8},
    {"addr.ipv6[11]", 13, 0, 8},
    {"addr.ipv6[12]", 14, 0, 8},
    {"addr.ipv6[13]", 15, 0, 8},
    {"addr.ipv6[14]", 16, 0, 8},
    {"addr.ipv6[15]", 17, 0, 8},
    {"addr.mac[0]", 2, 0, 8},
    {"addr.mac[1]", 3, 0, 8},
    {"addr.mac[2]", 4, 0, 8},
    {"addr.mac[3]", 5, 0, 8},
    {"addr.mac[4]", 6, 0, 8},
    {"addr.mac[5]", 7, 0, 8},
};

constexpr field_row tcam_mask[] = {
    {"mask", 0, 0, 144, row_form::hex_text},
};

constexpr field_row host_result[] = {
    {"cb0.valid", 0, 0, 1},
    {"cb0.match", 0, 1, 1},
    {"cb0.wccp_mac", 0, 2, 1},
    {"cb0.my_mac", 0, 3, 1},
    {"cb0.se_ip", 0, 4, 1},
    {"cb0.oe_ip", 0, 5, 1},
    {"cb0.wccp_ip", 0, 6, 1},
    {"cb0.intf_ip", 0, 7, 1},
    {"max_mss", 2, 0, 16},
    {"sn.id", 7, 0, 8},
    {"sn.stat_p[0]", 4, 0, 8},
    {"sn.stat_p[1]", 5, 0, 8},
    {"sn.stat_p[2]", 6, 0, 8},
    {"sc.id", 11, 0, 8},
    {"sc.stat_p[0]", 8, 0, 8},
    {"sc.stat_p[1]", 9, 0, 8},
    {"sc.stat_p[2]", 10, 0, 8},
    {"wccp_server.id", 15, 0, 8},
    {"wccp_server.stat_p[0]", 12, 0, 8},
    {"wccp_server.stat_p[1]", 13, 0, 8},
    {"wccp_server.stat_p[2]", 14, 0, 8},
};

// if_encap prints before punt_encap, against the order of their bits; it is meant so.
constexpr field_row if_encap[] = {
    {"cb0.valid", 0, 0, 1},
    {"cb0.match", 0, 1, 1},
    {"cb0.if_encap", 0, 3, 1},
    {"cb0.punt_encap", 0, 2, 1},
    {"cb0.v4_en", 0, 6, 1},
    {"cb0.v6_en", 0, 7, 1},
    {"l2_hdr[0]", 4, 0, 8},
    {"l2_hdr[1]", 5, 0, 8},
    {"l2_hdr[2]", 6, 0, 8},
    {"l2_hdr[3]", 7, 0, 8},
    {"l2_hdr[4]", 8, 0, 8},
    {"l2_hdr[5]", 9, 0, 8},
    {"l2_hdr[6]", 10, 0, 8},
    {"l2_hdr[7]", 11, 0, 8},
    {"l2_hdr[8]", 12, 0, 8},
    {"l2_hdr[9]", 13, 0, 8},
    {"l2_hdr[10]", 14, 0, 8},
    {"l2_hdr[11]", 15, 0, 8},
    {"ip_addr[0]", 16, 0, 32},
    {"ip_addr[1]", 20, 0, 32},
    {"ip_addr[2]", 24, 0, 32},
    {"ip_addr[3]", 28, 0, 32},
};

constexpr field_row lag_group[] = {
    {"cb0.valid", 0, 0, 1},
    {"cb0.match", 0, 1, 1},
    {"number_members", 7, 0, 8},
    {"member_port", 8, 0, 8, row_form::list},
};

constexpr field_row fib[] = {
    {"cb0.valid", 0, 0, 1},
    {"cb0.match", 0, 1, 1},
    {"cb0.for_us", 0, 2, 1},
    {"cb0.forward", 0, 3, 1},
    {"cb0.drop", 0, 4, 1},
    {"cb0.def_route", 0, 5, 1},
    {"cb0.punt", 0, 6, 1},
    {"cb0.bvi", 0, 7, 1},
    {"cb1.tr_cb8", 1, 0, 1},
    {"cb1.tr_cb9", 1, 1, 1},
    {"cb1.tr_cb10", 1, 2, 1},
    {"cb1.tr_cb11", 1, 3, 1},
    {"cb1.tr_cb12", 1, 4, 1},
    {"cb1.tr_cb13", 1, 5, 1},
    {"cb1.tr_cb14", 1, 6, 1},
    {"cb1.tr_cb15", 1, 7, 1},
    {"cb2.drop", 2, 3, 1},
    {"cb2.match_all", 2, 4, 1},
    {"cb2.punt", 2, 5, 1},
    {"cb2.for_us", 2, 6, 1},
    {"cb2.forward", 2, 7, 1},
    {"dmac[0]", 3, 0, 8},
    {"dmac[1]", 4, 0, 8},
    {"dmac[2]", 5, 0, 8},
    {"dmac[3]", 6, 0, 8},
    {"dmac[4]", 7, 0, 8},
    {"dmac[5]", 8, 0, 8},
    {"uidb", 9, 0, 16},
};

constexpr field_row vemo[] = {
    {"cb0.valid", 0, 0, 1},
    {"cb0.match", 0, 1, 1},
    {"cb0.v4", 0, 2, 1},
    {"cb0.state", 0, 3, 1},
    {"cb0.wccp_l2", 0, 5, 1},
    {"cb0.wccp_gre", 0, 6, 1},
    {"cb0.wccp_ip", 0, 7, 1},
    {"cb1.done", 1, 6, 1},
    {"cb1.sn_down", 1, 7, 1},
    {"cb2.done", 2, 2, 1},
    {"cb2.match_all", 2, 4, 1},
    {"cb2.wccp_l2", 2, 5, 1},
    {"cb2.wccp_gre", 2, 6, 1},
    {"cb2.wccp_ip", 2, 7, 1},
    {"vemo_key", 3, 0, 8},
    {"vrf", 4, 0, 8},
    {"stat_p[0]", 5, 0, 8},
    {"stat_p[1]", 6, 0, 8},
    {"stat_p[2]", 7, 0, 8},
    {"ao_red_map", 12, 0, 16},
    {"addr.mac[0]", 16, 0, 8},
    {"addr.mac[1]", 17, 0, 8},
    {"addr.mac[2]", 18, 0, 8},
    {"addr.mac[3]", 19, 0, 8},
    {"addr.mac[4]", 20, 0, 8},
    {"addr.mac[5]", 21, 0, 8},
    {"addr.ip[0]", 16, 0, 32},
    {"addr.ip[1]", 20, 0, 32},
    {"addr.ip[2]", 24, 0, 32},
    {"addr.ip[3]", 28, 0, 32},
};

constexpr field_row encap[] = {
    {"cb0.valid", 0, 0, 1},
    {"cb0.match", 0, 1, 1},
    {"cb0.v4", 0, 2, 1},
    {"cb0.se", 0, 3, 1},
    {"cb0.oe", 0, 4, 1},
    {"cb0.wccp", 0, 5, 1},
    {"version", 8, 0, 8},
    {"tos", 9, 0, 8},
    {"ttl", 10, 0, 8},
    {"protocol", 11, 0, 8},
    {"gre", 28, 0, 32},
    {"dip[0]", 12, 0, 32},
    {"dip[1]", 16, 0, 32},
    {"dip[2]", 20, 0, 32},
    {"dip[3]", 24, 0, 32},
};

constexpr field_row action[] = {
    {"cb0.valid", 0, 0, 1},
    {"cb0.match", 0, 1, 1},
    {"cb0.pt_clst_mem", 0, 3, 1},
    {"cb0.pt_degrade", 0, 4, 1},
    {"cb0.pt_unavail", 0, 5, 1},
    {"cb0.pt_undef", 0, 6, 1},
    {"cb0.redirect", 0, 7, 1},
    {"cb2.pass_thru", 2, 6, 1},
    {"cb2.redirect", 2, 7, 1},
    {"sng_ao", 4, 0, 16},
    {"hash_index", 3, 0, 8},
};

constexpr field_row sng_dist[] = {
    {"cb0.valid", 0, 0, 1},
    {"cb0.match", 0, 1, 1},
    {"cb0.sn_undef", 0, 7, 1},
    {"sn_id", 3, 0, 16},
};

// Of the parse and of the resolve list.
constexpr field_row dist_list[] = {
    {"size", 0, 0, 16},
    {"list_id.bd_flood_list", 2, 0, 1},
    {"list_id.sc_query_list", 2, 1, 1},
    {"list_id.sc_dist_list", 2, 2, 1},
    {"list_id.sel_a_or_b", 2, 3, 1},
    {"list_grp_id", 3, 0, 8},
};

constexpr field_row flow_debug[] = {
    {"cb0.valid", 0, 0, 1},
    {"cb0.match", 0, 1, 1},
    {"cb0.dump_en", 0, 2, 1},
    {"cb0.app_id_f", 0, 3, 1},
    {"cb0.app_f", 0, 4, 1},
    {"cb0.session_f", 0, 5, 1},
    {"cb0.flow_f", 0, 6, 1},
    {"cb0.trace_en", 0, 7, 1},
    {"cb1.st_trace", 1, 0, 1},
    {"cb1.sc_msg_trace", 1, 1, 1},
    {"cb1.ev_st_trace", 1, 2, 1},
    {"cb1.drop_pkt", 1, 5, 1},
    {"cb1.swap_src_ip", 1, 6, 1},
    {"cb1.pc_encapped", 1, 7, 1},
    {"drop_stat_index", 3, 0, 8},
    {"punt_port", 4, 0, 8},
    {"span_port", 5, 0, 8},
    {"drop_port", 6, 0, 8},
    {"debug_id", 7, 0, 8},
    {"dump_limit", 8, 0, 16},
    {"app_id", 10, 0, 16},
    {"trace_limit", 12, 0, 16},
    {"state_bm", 14, 0, 16},
    {"event_bm", 16, 0, 32},
    {"opt_limit", 20, 0, 32},
    {"pt_limit", 24, 0, 32},
};

constexpr field_row flow_key[] = {
    {"svr_ip", 0, 0, 32},
    {"svr_port", 4, 0, 16},
    {"cli_ip", 7, 0, 32},
    {"cli_port", 11, 0, 16},
    {"vrf", 6, 0, 8},
};

constexpr field_row flow_data[] = {
    {"cb0.valid", 0, 0, 1},
    {"cb0.match", 0, 1, 1},
    {"cb0.wccp_valid", 0, 2, 1},
    {"cb0.key_2t", 0, 5, 1},
    {"cb0.key_3t", 0, 6, 1},
    {"cb0.key_4t", 0, 7, 1},
    {"cb1.class_stat_v", 1, 0, 1},
    {"cb1.sn_v", 1, 1, 1},
    {"cb1.hash_rsvd_bits", 1, 2, 6},
    {"cb2.done", 2, 1, 1},
    {"cb2.t2_lkup", 2, 2, 1},
    {"cb2.t3_lkup", 2, 3, 1},
    {"cb2.query_st", 2, 5, 1},
    {"cb2.pass_thru_st", 2, 6, 1},
    {"cb2.redirect_st", 2, 7, 1},
    {"active_ts", 4, 0, 16},
    {"flow_st.active", 6, 0, 1},
    {"flow_st.local", 6, 4, 1},
    {"flow_st.query_next", 6, 5, 3},
    {"flow_st.current_st", 6, 1, 3},
    {"sn_id", 8, 0, 8},
    {"wccp_srv_id", 9, 0, 8},
    {"app_id", 10, 0, 16},
    {"rc_stat_p[0]", 12, 0, 8},
    {"rc_stat_p[1]", 13, 0, 8},
    {"rc_stat_p[2]", 14, 0, 8},
    {"class_stat[0]", 16, 0, 8},
    {"class_stat[1]", 17, 0, 8},
    {"class_stat[2]", 18, 0, 8},
    {"pt_type", 19, 0, 8},
    {"flow_ts", 20, 0, 32},
    {"action_id", 24, 0, 16},
    {"debug_id", 15, 0, 8},
};

constexpr field_row fib_key[] = {
    {"vrf", 4, 0, 8},
    {"ip_v4", 0, 0, 32},
};

constexpr field_row fib_data[] = {
    {"cb0.valid", 0, 0, 1},
    {"cb0.match", 0, 1, 1},
    {"cb0.for_us", 0, 2, 1},
    {"cb0.forward", 0, 3, 1},
    {"cb0.drop", 0, 4, 1},
    {"cb0.def_route", 0, 5, 1},
    {"cb0.punt", 0, 6, 1},
    {"cb0.bvi", 0, 7, 1},
    {"cb2.drop", 2, 3, 1},
    {"cb2.match_all", 2, 4, 1},
    {"cb2.punt", 2, 5, 1},
    {"cb2.for_us", 2, 6, 1},
    {"cb2.forward", 2, 7, 1},
    {"uidb", 9, 0, 16},
    {"dmac[0]", 3, 0, 8},
    {"dmac[1]", 4, 0, 8},
    {"dmac[2]", 5, 0, 8},
    {"dmac[3]", 6, 0, 8},
    {"dmac[4]", 7, 0, 8},
    {"dmac[5]", 8, 0, 8},
};

constexpr field_row port_config[] = {
    {"mtu", 0, 0, 32},
    {"speed", 4, 0, 32},
    {"negotiate", 8, 0, 32},
    {"linkstate", 12, 0, 32},
    {"macaddr[0]", 16, 0, 8},
    {"macaddr[1]", 17, 0, 8},
    {"macaddr[2]", 18, 0, 8},
    {"macaddr[3]", 19, 0, 8},
    {"macaddr[4]", 20, 0, 8},
    {"macaddr[5]", 21, 0, 8},
};

// The names and the layout are the library's own; the printer makes columns of these rows, which it knows by their place.
constexpr field_row port_status[] = {
    {"link", 0, 0, 32},
    {"speed", 4, 0, 32},
    {"rx_packets", 8, 0, 64},
    {"rx_errors", 16, 0, 32},
    {"tx_packets", 20, 0, 64},
    {"tx_errors", 28, 0, 32},
};

// clang-format on

constexpr uint32_t row_bytes(const field_row &row) {
    const uint32_t bits = row.form == row_form::list ? 0 : uint32_t{row.lowest_bit} + row.width;
    return row.byte + (bits + 7) / 8;
}

template <size_t count>
constexpr uint32_t bytes_of(const field_row (&rows)[count]) {
    uint32_t bytes = 0;
    for (const field_row &row : rows)
        bytes = row_bytes(row) > bytes ? row_bytes(row) : bytes;
    return bytes;
}

// What the printer and the view rely on: numbers that one read gets, a list at the end and behind its count.
template <size_t count>
constexpr bool well_formed(const field_row (&rows)[count]) {
    for (size_t i = 0; i < count; ++i) {
        const field_row &row = rows[i];
        if (row.width == 0) return false;
        const bool inside_byte = row.lowest_bit + row.width <= 8;
        const bool whole_words = row.lowest_bit == 0 && (row.width == 16 || row.width == 32 || row.width == 64);
        if (row.form == row_form::number && !inside_byte && !whole_words) return false;
        if (row.form == row_form::hex_text && (row.width <= 64 || row.width % 8 != 0 || row.lowest_bit != 0)) return false;
        const bool behind_count = i != 0 && i + 1 == count && rows[i - 1].form == row_form::number;
        if (row.form == row_form::list &&
            (!behind_count || row.width != 8 || row.lowest_bit != 0 || __builtin_strlen(row.name) > 25))
            return false;
    }
    return true;
}

template <size_t count>
constexpr entry_layout layout(uint32_t type, const char *printer, const char *title, const field_row (&rows)[count],
                              extra also = extra::none) {
    return {type, printer, title, rows, well_formed(rows) ? uint32_t{count} : 0, bytes_of(rows), also};
}

// Blanks at the end of a title belong to it.
constexpr entry_layout layouts[] = {
    layout(NPRM_ENTRY_PORT_CONFIG_RAM, "decode_pcsram", "Port Config RAM", port_config_ram),
    {NPRM_ENTRY_SILENT, nullptr, nullptr, nullptr, 0, 0, extra::none},
    layout(NPRM_ENTRY_INGRESS_UIDB, "decode_ing_uidb", "Ingress UIDB", ingress_uidb),
    layout(NPRM_ENTRY_EGRESS_UIDB, "decode_egr_uidb", "Egress UIDB", egress_uidb),
    layout(NPRM_ENTRY_PORT_TABLE, "decode_port_table", "Port Table", port_table),
    layout(NPRM_ENTRY_TCAM_KEY, "decode_host_key", "TCAM Key", tcam_key),
    layout(NPRM_ENTRY_TCAM_MASK, "decode_tcam_mask", "TCAM Mask", tcam_mask),
    layout(NPRM_ENTRY_HOST_RESULT, "decode_host_result", "Host Results entry", host_result),
    layout(NPRM_ENTRY_IF_ENCAP, "decode_if_encap", "IF Encap", if_encap),
    layout(NPRM_ENTRY_LAG_GROUP, "decode_lag", "Lag Group", lag_group),
    layout(NPRM_ENTRY_FIB, "decode_fib", "FIB Entry", fib),
    layout(NPRM_ENTRY_VEMO, "decode_vemo", "Vemo Entry", vemo, extra::vemo_address),
    layout(NPRM_ENTRY_ENCAP, "decode_encap", "Encap entry", encap),
    layout(NPRM_ENTRY_ACTION, "decode_action", "Action Entry", action),
    layout(NPRM_ENTRY_SNG_DIST, "decode_sng_dist", "SNG DIST Entry", sng_dist),
    layout(NPRM_ENTRY_PARSE_DIST_LIST, "decode_prs_cfg_dist_list", "PARSE Distribution List Config", dist_list),
    layout(NPRM_ENTRY_RESOLVE_DIST_LIST, "decode_res_cfg_dist_list", "RESOLVE Distribution List Config", dist_list),
    layout(NPRM_ENTRY_FLOW_DEBUG, "decode_cfg_flow_debug", "Flow Debug Config", flow_debug),
    layout(NPRM_ENTRY_FLOW_KEY, "decode_cfg_flow_tbl_key", "Flow Table(key) Index ", flow_key, extra::flow_addresses),
    layout(NPRM_ENTRY_FLOW_DATA, "decode_cfg_flow_tbl_data", "Flow Table(Data) Index ", flow_data),
    layout(NPRM_ENTRY_FIB_KEY, "decode_cfg_fib_tbl_key", "FIB Table(key) Index", fib_key),
    layout(NPRM_ENTRY_FIB_DATA, "decode_cfg_fib_tbl_data", "FIB Table(Data) Index ", fib_data),
    layout(NPRM_ENTRY_PORT_CONFIG, "decode_ethmon_cfg", "Ethmon Config Port ", port_config),
    layout(NPRM_ENTRY_PORT_STATUS, "decode_ethmon_portstatus", "Ethmon Port Status", port_status, extra::port_status),
};

constexpr bool complete() {
    for (uint32_t i = 0; i < std::size(layouts); ++i) {
        const bool has_rows = layouts[i].type != NPRM_ENTRY_SILENT;
        if (layouts[i].type != i + 1 || has_rows != (layouts[i].row_count != 0) || layouts[i].bytes > NPRM_HW_ENTRY_BYTES)
            return false;
    }
    return std::size(layouts) == NPRM_ENTRY_TYPE_MAX;
}
static_assert(complete(), "a layout is missing, out of place, or has a row that no printer reads");

}  // namespace

const entry_layout *layout_of(uint32_t type) {
    return type >= 1 && type <= std::size(layouts) ? &layouts[type - 1] : nullptr;
}

}  // namespace nprm
