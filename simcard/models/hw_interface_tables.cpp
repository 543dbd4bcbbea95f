// Hardware tables of the interfaces: what packets get that come in and go out by them, and the members of port channels.

#include "hw_tables.h"

#include <algorithm>

#include "api/diag/nprm_decode.h"
#include "if_state.h"
#include "mac_state.h"

namespace {

// An interface's address in its tables is its id.
uint32_t interface_addresses() {
    return UINT16_MAX + 1;
}
uint32_t interfaces_end() {
    const auto &all = interfaces().interfaces;
    return all.empty() ? 0 : all.rbegin()->first + 1U;
}
uint32_t interface_count() {
    return static_cast<uint32_t>(interfaces().interfaces.size());
}

const interface_state *find(uint32_t id) {
    const auto found = interfaces().interfaces.find(static_cast<uint16_t>(id));
    return found == interfaces().interfaces.end() ? nullptr : &found->second;
}

// A port channel's address in the table of groups: how many there are before it.
uint32_t group_of_channel(uint32_t id) {
    return static_cast<uint32_t>(std::ranges::count_if(
        interfaces().interfaces, [&](const auto &one) { return one.first < id && one.second.kind == NPRM_IF_PORT_CHANNEL; }));
}

// The fields that both directions have.
void put_interface(uint32_t id, const interface_state &of, hw_entry &entry) {
    const bool is_channel = of.kind == NPRM_IF_PORT_CHANNEL;
    entry.set("cb0.valid", 1)
        .set("cb0.match", of.is_up)
        .set("cb0.v4_en", of.v4.has_value())
        .set("cb0.v6_en", of.v6.has_value())
        .set("cb0.bvi", of.bridge_group.has_value())
        .set("cb0.drop", !of.is_up)
        .set("cb0.lag", is_channel)
        .set("lag_or_port", is_channel ? group_of_channel(id) : of.value)
        .set("if_h", id);
}

uint16_t first_vlan(const interface_state &of) {
    if (!of.bridge_group) return 0;
    const auto group = interfaces().bridge_groups.find(*of.bridge_group);
    const bool has_vlan = group != interfaces().bridge_groups.end() && !group->second.vlans.empty();
    return has_vlan ? group->second.vlans.begin()->first : uint16_t{0};
}

uint16_t vrf_of(const interface_state &of) {
    const auto &address = of.v4 ? of.v4 : of.v6;
    return address ? address->vrf : uint16_t{0};
}

bool read_ingress(uint32_t id, hw_entry &entry) {
    const interface_state *of = find(id);
    if (of == nullptr) return false;
    put_interface(id, *of, entry);
    entry.set("bg_id", of->bridge_group.value_or(0)).set("vlan", first_vlan(*of)).set("vrf", vrf_of(*of));
    return true;
}

bool read_egress(uint32_t id, hw_entry &entry) {
    const interface_state *of = find(id);
    if (of == nullptr) return false;
    put_interface(id, *of, entry);
    const bool has_port = of->kind == NPRM_IF_PHYSICAL && of->value < card_ports;
    entry.set("mtu", has_port ? ports()[of->value].mtu : 0)
        .set("v4_if_encaps", of->v4 ? id : 0)
        .set("v6_if_encaps", of->v6 ? id : 0);
    return true;
}

// The header that packets get, as far as the interface gives it: its own address behind a destination that the FIB gives.
bool read_encapsulation(uint32_t id, hw_entry &entry) {
    constexpr size_t source_at = 6;
    const interface_state *of = find(id);
    if (of == nullptr || !of->is_layer_3) return false;
    entry.set("cb0.valid", 1)
        .set("cb0.match", of->is_up)
        .set("cb0.if_encap", 1)
        .set("cb0.v4_en", of->v4.has_value())
        .set("cb0.v6_en", of->v6.has_value());
    for (size_t i = 0; i < of->mac_address.size(); ++i)
        entry.set(element_name("l2_hdr", source_at + i), of->mac_address[i]);
    if (of->v4)
        entry.set_words("ip_addr", std::span(of->v4->address).first(4));
    else if (of->v6)
        entry.set_words("ip_addr", of->v6->address);
    return true;
}

uint32_t group_addresses() {
    return NPRM_IF_CHANNELS_MAX;
}
uint32_t groups_end() {
    return group_of_channel(UINT16_MAX + 1U);
}

bool read_group(uint32_t address, hw_entry &entry) {
    for (const auto &[id, one] : interfaces().interfaces) {
        if (one.kind != NPRM_IF_PORT_CHANNEL || address-- != 0) continue;
        entry.set("cb0.valid", 1).set("cb0.match", one.is_up).set("number_members", one.members.size());
        for (size_t i = 0; i < one.members.size(); ++i)
            if (const interface_state *member = find(one.members[i])) entry.set(element_name("member_port", i), member->value);
        return true;
    }
    return false;
}

constexpr hw_table tables[] = {
    {NPRM_ENTRY_INGRESS_UIDB, NPRM_ENTRY_INGRESS_UIDB, "Ingress UIDB", 12, interface_addresses, interfaces_end, read_ingress,
     nullptr, interface_count},
    {NPRM_ENTRY_EGRESS_UIDB, NPRM_ENTRY_EGRESS_UIDB, "Egress UIDB", 12, interface_addresses, interfaces_end, read_egress, nullptr,
     interface_count},
    {NPRM_ENTRY_IF_ENCAP, NPRM_ENTRY_IF_ENCAP, "IF Encap", 32, interface_addresses, interfaces_end, read_encapsulation},
    {NPRM_ENTRY_LAG_GROUP, NPRM_ENTRY_LAG_GROUP, "Lag Group", 16, group_addresses, groups_end, read_group, nullptr, groups_end},
};

}  // namespace

constexpr std::span<const hw_table> hw_interface_tables = tables;
