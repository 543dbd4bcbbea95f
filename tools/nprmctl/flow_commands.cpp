// flow: trace, dump and distribution of flows, the switches of the flow path, and the limit of learned flows.

#include "service_objects.h"

#include <cstddef>

#include <arpa/inet.h>

namespace {

// An IPv4 address as a host-order integer; 0 when the argument is empty.
uint32_t ipv4_argument(const invocation &call, const char *name, const std::string &text) {
    in_addr dotted = {};
    const bool whole = text.find('\0') == std::string::npos;
    if (text.empty() || (whole && inet_pton(AF_INET, text.c_str(), &dotted) == 1)) return ntohl(dotted.s_addr);
    throw usage_error(std::string(name) + " is " + in_quotes(text) + ", it must be an IPv4 address", usage_of(call.row()));
}

// Which flows to watch: 0 takes any.
struct watch_arguments {
    std::string state, address_text;
    uint32_t port = 0, address = 0;
    bool starts = false;

    void declare(invocation &call) {
        call.text("STATE", state, "start or stop");
        call.text("--address ADDRESS", address_text, "flows of this IPv4 address; of any when not given");
        call.number("--port PORT", port, 0, UINT16_MAX, "flows of this port, 0 to 65535; 0 is any");
    }
    void read(invocation &call) {
        call.parse();
        starts = first_of(call, "STATE", state, "start", "stop");
        address = ipv4_argument(call, "--address", address_text);
    }
};

int watch(const invocation &call, const char *what, bool starts, const std::function<uint32_t()> &operation) {
    const std::string name = std::string("the flow ") + what;
    connect_to_server(call);
    change(name + " was not " + (starts ? "started" : "stopped"), operation);
    report result;
    result.sentence(name + " is " + (starts ? "started" : "stopped"));
    result.fact(what, nullptr, starts);
    call.print(result);
    return exit_done;
}

void report_words(report &into, const uint32_t (&words)[NPRM_FLOW_DISTRIBUTION_WORDS]) {
    into.fact("hash_index", "hash index", uint64_t{words[NPRM_FLOW_DIST_HASH_INDEX]});
    const bool found = words[NPRM_FLOW_DIST_FOUND] != 0;
    const address_kind kind =
        (words[NPRM_FLOW_DIST_NODE_FLAGS] & NPRM_SERVICE_IPV4_FLAG) != 0 ? address_kind::ipv4 : address_kind::ipv6;
    uint8_t address[16];
    std::memcpy(address, &words[NPRM_FLOW_DIST_NODE_ADDRESS], sizeof address);
    into.fact("node", "service node", found ? cell(uint64_t{words[NPRM_FLOW_DIST_NODE]}) : cell());
    into.fact("address", "its address", found ? address_cell(kind, address) : cell());
    into.fact("indexes", "hash indexes that lead to a node", uint64_t{words[NPRM_FLOW_DIST_INDEXES]});
    into.fact("nodes", "nodes of the group", uint64_t{words[NPRM_FLOW_DIST_NODES]});
    into.table("words", {{"word", nullptr}});
    for (const uint32_t word : words)
        into.row({uint64_t{word}});
}

}  // namespace

int flow_trace(invocation &call) {
    watch_arguments arguments;
    uint32_t vrf = 0;
    arguments.declare(call);
    call.number("--vrf VRF", vrf, 0, UINT8_MAX, "flows of this VRF, 0 to 255; 0 is any");
    call.notes("Example: nprmctl flow trace start --address 192.0.2.10 --port 443\n");
    arguments.read(call);
    nprm_flow_trace_record flow = {};
    flow.u8_0[0] = arguments.starts ? 1 : 0;
    flow.u16_4 = static_cast<uint16_t>(arguments.port);
    flow.u8_6 = static_cast<uint8_t>(vrf);
    flow.u32_7 = arguments.address;
    return watch(call, "trace", arguments.starts, [&] { return nprm_flow_trace(&flow); });
}

int flow_dump(invocation &call) {
    watch_arguments arguments;
    arguments.declare(call);
    call.notes("Example: nprmctl flow dump start --address 192.0.2.10\n");
    arguments.read(call);
    nprm_flow_dump_record flow = {};
    flow.u8_0[0] = arguments.starts ? 1 : 0;
    const uint32_t written = htonl(arguments.address);
    std::memcpy(flow.u8_0 + 1, &written, sizeof written);
    flow.u16_5 = static_cast<uint16_t>(arguments.port);
    return watch(call, "dump", arguments.starts, [&] { return nprm_flow_dump(&flow); });
}

int flow_dist(invocation &call) {
    uint32_t group = 0, source_port = 0, destination_port = 0, vlan = 0, vrf = 0;
    std::string source, destination;
    call.number("GROUP", group, 0, UINT16_MAX, "the number of the service-node group, 0 to 65535");
    call.text("SOURCE", source, "the flow's IPv4 source address");
    call.text("DESTINATION", destination, "the flow's IPv4 destination address");
    call.number("--from PORT", source_port, 0, UINT16_MAX, "the flow's source port, 0 to 65535");
    call.number("--to PORT", destination_port, 0, UINT16_MAX, "the flow's destination port, 0 to 65535");
    call.number("--vlan VLAN", vlan, 0, UINT16_MAX, "the flow's VLAN, 0 to 65535");
    call.number("--vrf VRF", vrf, 0, UINT8_MAX, "the flow's VRF, 0 to 255");
    call.notes("Example: nprmctl flow dist 7 198.51.100.7 192.0.2.10 --from 40000 --to 443\n");
    call.parse();
    nprm_flow_dist_query query = {};
    query.u32_0 = ipv4_argument(call, "SOURCE", source);
    query.u32_4 = ipv4_argument(call, "DESTINATION", destination);
    query.u16_8 = static_cast<uint16_t>(source_port);
    query.u16_10 = static_cast<uint16_t>(destination_port);
    query.u32_12 = vlan;
    query.u16_16 = static_cast<uint16_t>(group);
    query.u8_18 = static_cast<uint8_t>(vrf);
    connect_to_server(call);
    uint32_t words[NPRM_FLOW_DISTRIBUTION_WORDS] = {};
    answer given = ask([&] { return nprm_show_v4_flow_dist(&query, words); });
    if (given.code == NPRM_ERROR_FDM_READ_SNG_DIST) given.meaning = "the group's distribution could not be read; it may be absent";
    if (given.code != NPRM_OK) throw unknown_for("the distribution of group " + std::to_string(group) + " is not known", given);
    report result;
    report_words(result, words);
    call.print(result);
    return exit_done;
}

int flow_swap(invocation &call) {
    std::string state;
    call.text("STATE", state, "on or off");
    call.notes("Example: nprmctl flow swap on\n");
    call.parse();
    const bool on = first_of(call, "STATE", state, "on", "off");
    connect_to_server(call);
    change("the swapping of source addresses was not switched", [&] { return nprm_swap_src_ip(on ? 1 : 0); });
    report result;
    result.sentence(std::string("the swapping of source addresses is ") + (on ? "on" : "off"));
    result.fact("swap", nullptr, on);
    call.print(result);
    return exit_done;
}

int flow_frames(invocation &call) {
    uint32_t version = 0;
    call.number("VERSION", version, 0, UINT8_MAX, "the version of the port channel's frames, 0 to 255");
    call.notes("Example: nprmctl flow frames 2\n");
    call.parse();
    connect_to_server(call);
    change("the frame version was not set", [&] { return nprm_set_pc_frame_version(static_cast<uint8_t>(version)); });
    report result;
    result.sentence("the port channel's frames have version " + std::to_string(version));
    result.fact("version", nullptr, uint64_t{version});
    call.print(result);
    return exit_done;
}

int flow_limit(invocation &call) {
    uint32_t wanted = 0;
    call.number("[FLOWS]", wanted, 0, NPRM_FLOWLEARN_MAX, "flows at most, 0 to 2000000; shows the limit when not given");
    call.notes("Example: nprmctl flow limit 1000000\n");
    call.parse();
    connect_to_server(call);
    if (call.given("[FLOWS]")) change("the limit of flows was not set", [&] { return nprm_set_flowlearn_limit(wanted); });
    uint32_t limit = 0, most = 0;
    learn("the limit of flows is not known", [&] { return nprm_get_flowlearn_limit(&limit); });
    learn("the largest limit of flows is not known", [&] { return nprm_get_flowlearn_max(&most); });
    report result;
    result.fact("limit", "limit of flows", uint64_t{limit});
    result.fact("maximum", "largest limit", uint64_t{most});
    call.print(result);
    return exit_done;
}
