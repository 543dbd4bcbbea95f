// Service-node groups and how flows are distributed to their nodes (component 2).

#include "fdm.h"

#include <set>

namespace {

uint8_t node_of(const nprm_distribution_member &member) {
    return member.byte[1];
}

bool has_members(const fdm_node_group &group) {
    return std::ranges::any_of(group.members, [](const auto &member) { return member.has_value(); });
}

template <writing how>
uint32_t write_group(fdm_state &of, const nprm_fdm_group_record &from, nprm_fdm_group_record &) {
    const uint16_t id = from.id;
    if (const uint32_t code =
            check_place(of.groups, id, NPRM_SERVICE_GROUPS_MAX, how, NPRM_ERROR_FDM_WRITE_ACTION, NPRM_ERROR_FDM_WRITE_ACTION))
        return code;
    fdm_node_group &group = of.groups[id];  // one that is replaced keeps its distribution
    group.flags = from.flags;
    group.fields = std::to_array(from.fields);
    return NPRM_OK;
}

uint32_t read_group(fdm_state &of, const nprm_fdm_group_record &from, nprm_fdm_group_record &answer) {
    const auto found = of.groups.find(from.id);
    if (found == of.groups.end()) return NPRM_ERROR_FDM_READ_ACTION;
    answer.id = from.id;
    answer.flags = found->second.flags;
    std::ranges::copy(found->second.fields, answer.fields);
    return NPRM_OK;
}

uint32_t erase_group(fdm_state &of, const nprm_fdm_group_record &from, nprm_fdm_group_record &) {
    const auto found = of.groups.find(from.id);
    if (found == of.groups.end() || has_members(found->second)) return NPRM_ERROR_FDM_DEL_ACTION;
    of.groups.erase(found);
    return NPRM_OK;
}

// The place of a member in its group; null when there is no such group.
std::optional<nprm_distribution_member> *place_of(fdm_state &of, const nprm_distribution_group &key) {
    const auto found = of.groups.find(static_cast<uint16_t>(key.byte[1] | key.byte[2] << 8));
    return found == of.groups.end() ? nullptr : &found->second.members[key.byte[0]];
}

template <writing how>
uint32_t write_member(fdm_state &of, const nprm_fdm_dist_record &from, nprm_fdm_dist_record &) {
    auto *place = place_of(of, from.group);
    if (place == nullptr || (how == writing::add && place->has_value())) return NPRM_ERROR_FDM_WRITE_SNG_DIST;
    if (is_valid(from.member) && !of.nodes.contains(node_of(from.member))) return NPRM_ERROR_FDM_SN_NOT_EXIST;
    *place = from.member;
    return NPRM_OK;
}

uint32_t read_member(fdm_state &of, const nprm_fdm_dist_record &from, nprm_fdm_dist_record &answer) {
    const auto *place = place_of(of, from.group);
    if (place == nullptr || !place->has_value()) return NPRM_ERROR_FDM_READ_SNG_DIST;
    answer.group = from.group;
    answer.member = **place;
    return NPRM_OK;
}

uint32_t erase_member(fdm_state &of, const nprm_fdm_dist_record &from, nprm_fdm_dist_record &) {
    auto *place = place_of(of, from.group);
    if (place == nullptr || !place->has_value()) return NPRM_ERROR_FDM_DEL_SNG_DIST;
    place->reset();
    return NPRM_OK;
}

// Bytes that differ anywhere differ here as a rule, and the same flow gets the same index always.
uint8_t hash_index(const nprm_flow_dist_query &query) {
    nprm_flow_dist_query flow = query;
    flow.u16_16 = 0;
    uint32_t hash = 2166136261U;
    for (const std::byte byte : std::as_bytes(std::span(&flow, 1)))
        hash = (hash ^ std::to_integer<uint32_t>(byte)) * 16777619U;
    return static_cast<uint8_t>(hash ^ hash >> 8 ^ hash >> 16 ^ hash >> 24);
}

}  // namespace

constexpr object_actions<fdm_state, nprm_fdm_group_record> group_actions = {write_group<writing::add>, read_group, erase_group,
                                                                            write_group<writing::replace>};
constexpr object_actions<fdm_state, nprm_fdm_dist_record> distribution_actions = {write_member<writing::add>, read_member,
                                                                                  erase_member, write_member<writing::replace>};

bool is_distributed_to(const fdm_state &of, uint8_t node) {
    return std::ranges::any_of(of.groups, [&](const auto &group) {
        return std::ranges::any_of(group.second.members,
                                   [&](const auto &member) { return member && is_valid(*member) && node_of(*member) == node; });
    });
}

uint32_t distribute(const fdm_state &of, const nprm_flow_dist_query &query, uint32_t (&words)[NPRM_FLOW_DISTRIBUTION_WORDS]) {
    const auto found = of.groups.find(query.u16_16);
    if (found == of.groups.end()) return NPRM_ERROR_FDM_READ_SNG_DIST;
    std::set<uint8_t> nodes;
    for (const auto &member : found->second.members) {
        if (!member || !is_valid(*member)) continue;
        ++words[NPRM_FLOW_DIST_INDEXES];
        nodes.insert(node_of(*member));
    }
    words[NPRM_FLOW_DIST_NODES] = static_cast<uint32_t>(nodes.size());
    words[NPRM_FLOW_DIST_HASH_INDEX] = hash_index(query);
    const auto &member = found->second.members[words[NPRM_FLOW_DIST_HASH_INDEX]];
    if (!member || !is_valid(*member)) return NPRM_OK;
    const nprm_service_node &node = of.nodes.at(node_of(*member));
    words[NPRM_FLOW_DIST_FOUND] = 1;
    words[NPRM_FLOW_DIST_NODE] = node_of(*member);
    words[NPRM_FLOW_DIST_NODE_FLAGS] = node.flags;
    std::memcpy(&words[NPRM_FLOW_DIST_NODE_ADDRESS], node.address_a, sizeof node.address_a);
    return NPRM_OK;
}
