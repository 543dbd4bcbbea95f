// Port channels and their members; bridge groups and their VLANs.

#include <algorithm>

#include "api/wire/nprm_if_wire.h"
#include "if_requests.h"

namespace {

struct bridge_request {
    explicit bridge_request(const model_request &from) : asked(from.at<nprm_if_record>(0).bridge) {}

    bridge_group_state *find() const {
        auto &groups = mutable_interfaces().bridge_groups;
        const auto found = asked.group > UINT8_MAX ? groups.end() : groups.find(static_cast<uint8_t>(asked.group));
        return found == groups.end() ? nullptr : &found->second;
    }

    const nprm_if_bridge_record &asked;
};

uint32_t check_bridged(uint32_t id) {
    const interface_state *interface = find_interface(id);
    if (interface == nullptr) return NPRM_ERROR_IF_NOT_EXIST;
    if (interface->is_layer_3) return NPRM_ERROR_IF_NOT_L2;
    if (interface->bridge_group || interface->channel) return NPRM_ERROR_IF_IN_BG;
    return NPRM_OK;
}

uint32_t check_member(const interface_state &channel, const interface_state *member) {
    if (channel.kind != NPRM_IF_PORT_CHANNEL) return NPRM_ERROR_IF_NOT_PC;
    if (member == nullptr) return NPRM_ERROR_IF_NOT_EXIST;
    return member->kind == NPRM_IF_PHYSICAL ? NPRM_OK : NPRM_ERROR_IF_NOT_PHYSICAL;
}

bool is_in_use(uint16_t vlan) {
    return std::ranges::any_of(interfaces().bridge_groups, [=](const auto &one) { return one.second.vlans.contains(vlan); });
}

}  // namespace

void leave_channel(uint16_t id, interface_state &interface) {
    if (interface.channel) std::erase(find_interface(*interface.channel)->members, id);
    interface.channel.reset();
    for (const uint16_t member : interface.members)
        find_interface(member)->channel.reset();
    interface.members.clear();
}

uint32_t set_channel_balance(const model_request &from, model_reply &) {
    mutable_interfaces().channel_balance = from.at<nprm_if_record>(0).setting;
    return NPRM_OK;
}

uint32_t add_channel_member(const model_request &from, model_reply &) {
    const nprm_if_member_record &asked = from.at<nprm_if_record>(0).member;
    interface_state *channel = find_interface(asked.channel_id), *member = find_interface(asked.interface_id);
    if (channel == nullptr) return NPRM_ERROR_IF_NOT_EXIST;
    if (const uint32_t refused = check_member(*channel, member); refused != NPRM_OK) return refused;
    if (member->is_layer_3) return NPRM_ERROR_IF_IS_L3;
    if (member->bridge_group) return NPRM_ERROR_IF_IN_BG;
    if (member->channel) return NPRM_ERROR_IF_EXIST;
    if (channel->members.size() >= NPRM_IF_MEMBERS_MAX) return NPRM_ERROR_IF_PC_MAX_PORTS;
    channel->members.push_back(static_cast<uint16_t>(asked.interface_id));
    member->channel = static_cast<uint16_t>(asked.channel_id);
    return NPRM_OK;
}

uint32_t delete_channel_member(const model_request &from, model_reply &) {
    const nprm_if_member_record &asked = from.at<nprm_if_record>(0).member;
    interface_state *channel = find_interface(asked.channel_id), *member = find_interface(asked.interface_id);
    if (channel == nullptr) return NPRM_ERROR_IF_NOT_EXIST;
    if (const uint32_t refused = check_member(*channel, member); refused != NPRM_OK) return refused;
    if (member->channel != asked.channel_id) return NPRM_ERROR_IF_NOT_PC_MEMBER;
    leave_channel(static_cast<uint16_t>(asked.interface_id), *member);
    return NPRM_OK;
}

uint32_t create_bridge_group(const model_request &from, model_reply &) {
    const bridge_request request(from);
    const nprm_if_bridge_record &asked = request.asked;
    if (asked.group > UINT8_MAX) return NPRM_ERROR_PARAM;
    if (request.find() != nullptr) return NPRM_ERROR_IF_BG_EXIST;
    for (const uint32_t id : {asked.u16_a, asked.u16_b})
        if (const uint32_t refused = check_bridged(id); refused != NPRM_OK) return refused;
    if (asked.u16_a == asked.u16_b) return NPRM_ERROR_PARAM;
    const auto group = static_cast<uint8_t>(asked.group);
    const auto first = static_cast<uint16_t>(asked.u16_a), second = static_cast<uint16_t>(asked.u16_b);
    mutable_interfaces().bridge_groups.emplace(group, bridge_group_state{first, second, {}});
    find_interface(first)->bridge_group = find_interface(second)->bridge_group = group;
    return NPRM_OK;
}

uint32_t delete_bridge_group(const model_request &from, model_reply &) {
    const bridge_request request(from);
    const bridge_group_state *group = request.find();
    if (group == nullptr) return NPRM_ERROR_IF_BG_NOT_EXIST;
    if (!group->vlans.empty()) return NPRM_ERROR_IF_BG_HAS_VLAN_PT;
    for (const uint16_t id : {group->first, group->second})
        find_interface(id)->bridge_group.reset();
    mutable_interfaces().bridge_groups.erase(static_cast<uint8_t>(request.asked.group));
    return NPRM_OK;
}

uint32_t add_bridge_vlan(const model_request &from, model_reply &) {
    const bridge_request request(from);
    bridge_group_state *group = request.find();
    if (group == nullptr) return NPRM_ERROR_IF_BG_NOT_EXIST;
    const uint16_t vlan = request.asked.vlan;
    if (vlan == 0 || vlan > NPRM_IF_VLAN_MAX) return NPRM_ERROR_PARAM;
    if (is_in_use(vlan)) return NPRM_ERROR_IF_VLAN_IN_USE;
    group->vlans.emplace(vlan, request.asked.value);
    return NPRM_OK;
}

uint32_t delete_bridge_vlan(const model_request &from, model_reply &) {
    const bridge_request request(from);
    bridge_group_state *group = request.find();
    if (group == nullptr) return NPRM_ERROR_IF_BG_NOT_EXIST;
    return group->vlans.erase(request.asked.vlan) == 1 ? NPRM_OK : NPRM_ERROR_IF_VLAN_NOT_IN_USE;
}
