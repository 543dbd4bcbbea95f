// Hardware tables of flows: what is traced and dumped, and the flows that the card has learned of its traffic.

#include "hw_tables.h"

#include <vector>

#include "api/diag/nprm_decode.h"
#include "fdm.h"
#include "mac_state.h"
#include "npa_state.h"

namespace {

// Flow debugging: the trace, then the dump.
enum debug_address : uint32_t { traced, dumped, debug_count };

uint32_t debug_size() {
    return debug_count;
}

bool read_debug(uint32_t address, hw_entry &entry) {
    const fdm_state &of = fdm();
    if (address == traced ? !of.trace.has_value() : !of.dump.has_value()) return false;
    entry.set("cb0.valid", 1)
        .set("cb0.match", 1)
        .set("cb0.flow_f", 1)
        .set(address == traced ? "cb0.trace_en" : "cb0.dump_en", 1)
        .set("cb1.st_trace", address == traced)
        .set("cb1.swap_src_ip", of.swaps_source)
        .set("debug_id", address + 1);
    return true;
}

// A flow of the simulated traffic: each port that is up and has sent packets carries four.
struct flow {
    uint32_t port, number;
    uint32_t server_ip, client_ip;
    uint16_t server_port, client_port;
};
constexpr uint32_t flows_a_port = 4;
constexpr uint16_t server_ports[flows_a_port] = {80, 443, 22, 25};
constexpr uint32_t server_net = 0xC6336400;  // 198.51.100.0
constexpr uint32_t client_net = 0x0A000000;  // 10.0.0.0

std::vector<flow> all_flows() {
    std::vector<flow> flows;
    for (uint32_t port = 0; port < card_ports; ++port) {
        if (!ports()[port].is_up() || ports()[port].sent == 0) continue;
        for (uint32_t i = 0; i < flows_a_port; ++i)
            flows.push_back({port, i, server_net | (port + 1), client_net | port << 16 | (i + 1), server_ports[i],
                             static_cast<uint16_t>(32768 + port * 16 + i)});
    }
    return flows;
}

uint32_t flow_capacity() {
    return card_ports * flows_a_port;
}
uint32_t flow_count() {
    return static_cast<uint32_t>(all_flows().size());
}

bool read_key(uint32_t address, hw_entry &entry) {
    const flow of = all_flows()[address];
    entry.set("svr_ip", of.server_ip)
        .set("svr_port", of.server_port)
        .set("cli_ip", of.client_ip)
        .set("cli_port", of.client_port)
        .set("vrf", 0);
    return true;
}

struct chosen_node {
    uint16_t group;
    uint8_t id;
};

// The first group that has a node for the flow sends it there.
std::optional<chosen_node> node_of(const flow &of) {
    for (const auto &[id, group] : fdm().groups) {
        nprm_flow_dist_query query = {};
        query.u32_0 = of.client_ip;
        query.u32_4 = of.server_ip;
        query.u16_8 = of.client_port;
        query.u16_10 = of.server_port;
        query.u16_16 = id;
        uint32_t words[NPRM_FLOW_DISTRIBUTION_WORDS] = {};
        if (distribute(fdm(), query, words) == NPRM_OK && words[NPRM_FLOW_DIST_FOUND] == 1)
            return chosen_node{id, static_cast<uint8_t>(words[NPRM_FLOW_DIST_NODE])};
    }
    return std::nullopt;
}

bool is_traced(const flow &of) {
    if (!fdm().trace) return false;
    const nprm_flow_trace_record &trace = *fdm().trace;
    const bool port_fits = trace.u16_4 == 0 || trace.u16_4 == of.server_port || trace.u16_4 == of.client_port;
    const bool address_fits = trace.u32_7 == 0 || trace.u32_7 == of.server_ip || trace.u32_7 == of.client_ip;
    return port_fits && address_fits && trace.u8_6 == 0;
}

bool read_data(uint32_t address, hw_entry &entry) {
    const flow of = all_flows()[address];
    const auto node = node_of(of);
    const uint64_t seconds = life_of_np().microseconds / 1'000'000;
    entry.set("cb0.valid", 1)
        .set("cb0.match", 1)
        .set("cb0.key_4t", 1)
        .set("cb1.sn_v", node.has_value())
        .set("cb2.done", 1)
        .set("cb2.pass_thru_st", !node)
        .set("cb2.redirect_st", node.has_value())
        .set("active_ts", seconds)
        .set("flow_st.active", 1)
        .set("flow_st.local", 1)
        .set("app_id", of.server_port)
        .set("flow_ts", seconds)
        .set("debug_id", is_traced(of) ? traced + 1 : 0);
    if (node) entry.set("sn_id", node->id).set("action_id", node->group);
    return true;
}

constexpr hw_table tables[] = {
    {NPRM_ENTRY_FLOW_DEBUG, NPRM_ENTRY_FLOW_DEBUG, "Flow Debug Config", 28, debug_size, debug_size, read_debug},
    {NPRM_ENTRY_FLOW_KEY, NPRM_ENTRY_FLOW_KEY, "Flow Table(key)", 16, flow_capacity, flow_count, read_key, nullptr, flow_count},
    {NPRM_ENTRY_FLOW_DATA, NPRM_ENTRY_FLOW_DATA, "Flow Table(Data)", 28, flow_capacity, flow_count, read_data, nullptr, flow_count},
};

}  // namespace

constexpr std::span<const hw_table> hw_flow_tables = tables;
