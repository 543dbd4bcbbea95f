// Hardware tables of what traffic is sent to: hosts in the TCAM, WCCP servers, encapsulation, actions, distribution.

#include "hw_tables.h"

#include <algorithm>
#include <vector>

#include "api/diag/nprm_decode.h"
#include "cmm_state.h"
#include "fdm_state.h"
#include "if_state.h"
#include "mac_state.h"
#include "wccp_state.h"

namespace {

// An address that the card knows, with the flags that its result has.
enum class host_kind : uint8_t { ipv4 = 1, ipv6 = 2, mac = 3 };
enum class host_role : uint8_t { port, interface, node, context, wccp };

struct host {
    host_kind kind;
    host_role role;
    uint16_t number;             // of the port, or the id of interface, node, context or server
    std::vector<uint8_t> bytes;  // in network order
};

// An IPv4 address is kept as an integer, an IPv6 address as it travels.
std::vector<uint8_t> address_bytes(const uint8_t (&address)[16], bool is_ipv4) {
    if (!is_ipv4) return {address, address + sizeof address};
    return {address[3], address[2], address[1], address[0]};
}

bool is_zero(std::span<const uint8_t> bytes) {
    for (const uint8_t byte : bytes)
        if (byte != 0) return false;
    return true;
}

void add_ip(std::vector<host> &hosts, host_role role, uint16_t number, const uint8_t (&address)[16], bool is_ipv4) {
    std::vector<uint8_t> bytes = address_bytes(address, is_ipv4);
    if (!is_zero(bytes)) hosts.push_back({is_ipv4 ? host_kind::ipv4 : host_kind::ipv6, role, number, std::move(bytes)});
}

void add_wccp(std::vector<host> &hosts, uint8_t id, const nprm_wccp_entry &entry) {
    if ((entry.flags & NPRM_WCCP_MAC_FLAG) != 0) {
        hosts.push_back({host_kind::mac, host_role::wccp, id, {entry.address_a, entry.address_a + NPRM_WCCP_MAC_BYTES}});
        return;
    }
    if ((entry.flags & (NPRM_WCCP_IPV4_FLAG | NPRM_WCCP_IPV6_FLAG)) == 0) return;
    add_ip(hosts, host_role::wccp, id, entry.address_a, (entry.flags & NPRM_WCCP_IPV4_FLAG) != 0);
}

void add_interface(std::vector<host> &hosts, uint16_t id, const interface_state &of) {
    const auto add = [&](host_kind kind, std::span<const uint8_t> bytes) {
        hosts.push_back({kind, host_role::interface, id, {bytes.begin(), bytes.end()}});
    };
    if (!is_zero(of.mac_address)) add(host_kind::mac, of.mac_address);
    if (of.v4) add(host_kind::ipv4, std::span(of.v4->address).first(4));
    if (of.v6) add(host_kind::ipv6, of.v6->address);
}

// In the order of their addresses in the tables 6 to 8: ports, interfaces, nodes, contexts, servers.
std::vector<host> all_hosts() {
    std::vector<host> found;
    for (uint16_t port = 0; port < card_ports; ++port) {
        const auto &mac = ports()[port].mac_address;
        found.push_back({host_kind::mac, host_role::port, port, {mac.begin(), mac.end()}});
    }
    for (const auto &[id, one] : interfaces().interfaces)
        add_interface(found, id, one);
    for (const auto &[id, node] : fdm().nodes) {
        const bool is_ipv4 = (node.flags & NPRM_SERVICE_IPV4_FLAG) != 0;
        add_ip(found, host_role::node, id, node.address_a, is_ipv4);
        add_ip(found, host_role::node, id, node.address_b, is_ipv4);
    }
    for (const auto &[id, context] : cmm().contexts) {
        const bool is_ipv4 = (context.flags & NPRM_SERVICE_CONTEXT_IPV4_FLAG) != 0;
        add_ip(found, host_role::context, id, context.address_a, is_ipv4);
        add_ip(found, host_role::context, id, context.address_b, is_ipv4);
    }
    for (const auto &[id, entry] : wccp().entries)
        add_wccp(found, id, entry);
    return found;
}

constexpr uint32_t hosts_max =
    card_ports + 3 * NPRM_IF_MAX + 2 * (NPRM_SERVICE_NODES_MAX + NPRM_SERVICE_CONTEXTS_MAX) + NPRM_SERVICE_WCCP_MAX;

uint32_t host_capacity() {
    return hosts_max;
}
// The hosts as they were when the table's end was asked for.
std::vector<host> hosts;

uint32_t host_count() {
    hosts = all_hosts();
    return static_cast<uint32_t>(hosts.size());
}

// The address of an IPv4 host, of a MAC and of an IPv6 host begins at the same byte.
void put_key(const host &of, hw_entry &entry) {
    constexpr uint32_t address_at = 2;
    entry.set("table_id", static_cast<uint8_t>(of.kind)).set("info.port", of.role == host_role::port ? of.number : 0);
    entry.set_bytes(address_at, of.bytes);
}

void put_mask(const host &of, hw_entry &entry) {
    std::array<uint8_t, 18> mask = {0xFF, of.role == host_role::port ? uint8_t{0xFF} : uint8_t{0}};
    std::fill_n(mask.begin() + 2, of.bytes.size(), uint8_t{0xFF});
    entry.set_bytes(0, mask);
}

void put_result(const host &of, hw_entry &entry) {
    constexpr uint32_t frame_and_ip_and_tcp = 18 + 20 + 20;  // bytes of an MTU that no segment has
    const bool is_mac = of.kind == host_kind::mac;
    entry.set("cb0.valid", 1).set("cb0.match", 1);
    switch (of.role) {
        case host_role::port:
            entry.set("cb0.my_mac", 1).set("max_mss", ports()[of.number].mtu - frame_and_ip_and_tcp);
            break;
        case host_role::interface:
            entry.set(is_mac ? "cb0.my_mac" : "cb0.intf_ip", 1);
            break;
        case host_role::node:
            entry.set("cb0.se_ip", 1).set("sn.id", of.number);
            break;
        case host_role::context:
            entry.set("cb0.oe_ip", 1).set("sc.id", of.number);
            break;
        case host_role::wccp:
            entry.set(is_mac ? "cb0.wccp_mac" : "cb0.wccp_ip", 1).set("wccp_server.id", of.number);
            break;
    }
}

using host_writer = void (*)(const host &, hw_entry &);

template <host_writer put>
bool read_host(uint32_t address, hw_entry &entry) {
    put(hosts[address], entry);
    return true;
}

template <host_writer put>
bool find_host(std::span<const uint8_t> address, hw_entry &entry) {
    for (const host &one : all_hosts())
        if (std::ranges::equal(one.bytes, address)) {
            put(one, entry);
            return true;
        }
    return false;
}

// Nodes, contexts and WCCP entries may have any id of 8 bits.
constexpr uint32_t ids = UINT8_MAX + 1;

uint32_t wccp_ids() {
    return ids;
}

bool read_vemo(uint32_t id, hw_entry &entry) {
    const auto found = wccp().entries.find(static_cast<uint8_t>(id));
    if (found == wccp().entries.end()) return false;
    const nprm_wccp_entry &of = found->second;
    const bool is_mac = (of.flags & NPRM_WCCP_MAC_FLAG) != 0;
    const bool is_ipv4 = !is_mac && (of.flags & NPRM_WCCP_IPV4_FLAG) != 0;
    const bool has_ip = is_ipv4 || (!is_mac && (of.flags & NPRM_WCCP_IPV6_FLAG) != 0);
    entry.set("cb0.valid", 1)
        .set("cb0.match", 1)
        .set("cb0.v4", is_ipv4)
        .set("cb0.wccp_l2", is_mac)
        .set("cb0.wccp_gre", has_ip)
        .set("cb0.wccp_ip", has_ip)
        .set("cb2.wccp_l2", is_mac)
        .set("cb2.wccp_gre", has_ip)
        .set("cb2.wccp_ip", has_ip)
        .set("vemo_key", id);
    if (is_mac) entry.set_each("addr.mac", {of.address_a, NPRM_WCCP_MAC_BYTES});
    if (has_ip) entry.set_words("addr.ip", address_bytes(of.address_a, is_ipv4));
    return true;
}

// The encapsulation table has the nodes' headers, then the contexts', then those to WCCP servers.
constexpr uint32_t first_context = ids;
constexpr uint32_t first_wccp = first_context + ids;

uint32_t encapsulation_count() {
    return first_wccp + ids;
}

bool put_encapsulation(hw_entry &entry, const char *kind, const uint8_t (&address)[16], bool is_ipv4) {
    constexpr uint32_t gre_protocol = 47, time_to_live = 255, gre_of_ipv4 = 0x00000800, gre_of_ipv6 = 0x000086DD;
    entry.set("cb0.valid", 1)
        .set("cb0.match", 1)
        .set("cb0.v4", is_ipv4)
        .set(kind, 1)
        .set("version", is_ipv4 ? 0x45 : 0x60)
        .set("ttl", time_to_live)
        .set("protocol", gre_protocol)
        .set("gre", is_ipv4 ? gre_of_ipv4 : gre_of_ipv6);
    entry.set_words("dip", address_bytes(address, is_ipv4));
    return true;
}

bool read_encapsulation(uint32_t address, hw_entry &entry) {
    if (address < first_context) {
        const auto found = fdm().nodes.find(static_cast<uint8_t>(address));
        if (found == fdm().nodes.end()) return false;
        return put_encapsulation(entry, "cb0.se", found->second.address_a, (found->second.flags & NPRM_SERVICE_IPV4_FLAG) != 0);
    }
    if (address < first_wccp) {
        const auto found = cmm().contexts.find(static_cast<uint8_t>(address - first_context));
        if (found == cmm().contexts.end()) return false;
        return put_encapsulation(entry, "cb0.oe", found->second.address_a,
                                 (found->second.flags & NPRM_SERVICE_CONTEXT_IPV4_FLAG) != 0);
    }
    const auto found = wccp().entries.find(static_cast<uint8_t>(address - first_wccp));
    if (found == wccp().entries.end()) return false;
    const nprm_wccp_entry &of = found->second;
    const bool has_ip = (of.flags & NPRM_WCCP_MAC_FLAG) == 0 && (of.flags & (NPRM_WCCP_IPV4_FLAG | NPRM_WCCP_IPV6_FLAG)) != 0;
    return has_ip && put_encapsulation(entry, "cb0.wccp", of.address_a, (of.flags & NPRM_WCCP_IPV4_FLAG) != 0);
}

// Groups may have any id of 16 bits.
constexpr uint32_t group_ids = UINT16_MAX + 1;

uint32_t group_capacity() {
    return group_ids;
}
uint32_t groups_end() {
    const auto &groups = fdm().groups;
    return groups.empty() ? 0 : groups.rbegin()->first + 1U;
}
uint32_t groups_used() {
    return static_cast<uint32_t>(fdm().groups.size());
}

// Of a group the action is to send its flows to nodes when a node takes any, else to let them pass.
bool read_action(uint32_t id, hw_entry &entry) {
    const auto found = fdm().groups.find(static_cast<uint16_t>(id));
    if (found == fdm().groups.end()) return false;
    const auto &members = found->second.members;
    const auto first = std::ranges::find_if(members, [](const auto &member) { return member && is_valid(*member); });
    const bool redirects = first != members.end();
    entry.set("cb0.valid", 1)
        .set("cb0.match", 1)
        .set("cb0.pt_undef", !redirects)
        .set("cb0.redirect", redirects)
        .set("cb2.pass_thru", !redirects)
        .set("cb2.redirect", redirects)
        .set("sng_ao", id)
        .set("hash_index", redirects ? static_cast<uint64_t>(first - members.begin()) : 0);
    return true;
}

uint32_t distribution_size() {
    return group_ids * NPRM_SERVICE_HASH_INDEXES;
}
uint32_t distribution_end() {
    return groups_end() * NPRM_SERVICE_HASH_INDEXES;
}

uint32_t distribution_used() {
    ptrdiff_t used = 0;
    for (const auto &[id, group] : fdm().groups)
        used += std::ranges::count_if(group.members, [](const auto &member) { return member.has_value(); });
    return static_cast<uint32_t>(used);
}

bool read_distribution(uint32_t address, hw_entry &entry) {
    const auto found = fdm().groups.find(static_cast<uint16_t>(address / NPRM_SERVICE_HASH_INDEXES));
    if (found == fdm().groups.end()) return false;
    const auto &member = found->second.members[address % NPRM_SERVICE_HASH_INDEXES];
    if (!member) return false;
    entry.set("cb0.valid", 1).set("cb0.match", 1).set("cb0.sn_undef", !is_valid(*member)).set("sn_id", member->byte[1]);
    return true;
}

// The lists of context groups, then those of bridge groups.
constexpr uint32_t first_flood_list = UINT8_MAX + 1;

uint32_t list_count() {
    return first_flood_list + UINT8_MAX + 1;
}

bool read_flood_list(uint32_t group, hw_entry &entry) {
    constexpr uint32_t bridged = 2;  // interfaces of a bridge group
    if (!interfaces().bridge_groups.contains(static_cast<uint8_t>(group))) return false;
    entry.set("size", bridged).set("list_id.bd_flood_list", 1).set("list_grp_id", group);
    return true;
}

// Queries and their answers go to the contexts of a group.
template <bool is_answer>
bool read_list(uint32_t number, hw_entry &entry) {
    if (number >= first_flood_list) return read_flood_list(number - first_flood_list, entry);
    const auto found = cmm().groups.find(static_cast<uint8_t>(number));
    if (found == cmm().groups.end()) return false;
    entry.set("size", found->second.size()).set("list_grp_id", number);
    entry.set(is_answer ? "list_id.sc_dist_list" : "list_id.sc_query_list", 1);
    return true;
}

constexpr hw_table tables[] = {
    {NPRM_ENTRY_TCAM_KEY, NPRM_ENTRY_TCAM_KEY, "TCAM Key", 18, host_capacity, host_count, read_host<put_key>, find_host<put_key>,
     host_count},
    {NPRM_ENTRY_TCAM_MASK, NPRM_ENTRY_TCAM_MASK, "TCAM Mask", 18, host_capacity, host_count, read_host<put_mask>,
     find_host<put_mask>, host_count},
    {NPRM_ENTRY_HOST_RESULT, NPRM_ENTRY_HOST_RESULT, "Host Results", 16, host_capacity, host_count, read_host<put_result>,
     find_host<put_result>, host_count},
    {NPRM_ENTRY_VEMO, NPRM_ENTRY_VEMO, "Vemo Entry", 32, wccp_ids, wccp_ids, read_vemo},
    {NPRM_ENTRY_ENCAP, NPRM_ENTRY_ENCAP, "Encap entry", 32, encapsulation_count, encapsulation_count, read_encapsulation},
    {NPRM_ENTRY_ACTION, NPRM_ENTRY_ACTION, "Action Entry", 8, group_capacity, groups_end, read_action, nullptr, groups_used},
    {NPRM_ENTRY_SNG_DIST, NPRM_ENTRY_SNG_DIST, "SNG DIST Entry", 8, distribution_size, distribution_end, read_distribution, nullptr,
     distribution_used},
    {NPRM_ENTRY_PARSE_DIST_LIST, NPRM_ENTRY_PARSE_DIST_LIST, "PARSE Distribution List Config", 4, list_count, list_count,
     read_list<false>},
    {NPRM_ENTRY_RESOLVE_DIST_LIST, NPRM_ENTRY_RESOLVE_DIST_LIST, "RESOLVE Distribution List Config", 4, list_count, list_count,
     read_list<true>},
};

}  // namespace

constexpr std::span<const hw_table> hw_service_tables = tables;
