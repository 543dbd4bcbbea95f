// pc and bg: port channels and their members, bridge groups and their VLANs.

#include "failure.h"
#include "interface_words.h"
#include "invocation.h"
#include "nprm.h"
#include "server.h"

namespace {

constexpr uint32_t vlan_most = UINT16_MAX;

constexpr other_meaning join_meanings[] = {
    {NPRM_ERROR_IF_EXIST, "the interface is in a port channel already", "nprmctl pc remove CHANNEL INTERFACE"},
    {NPRM_ERROR_IF_NOT_EXIST, "the port channel or the interface does not exist", nullptr},
    {NPRM_ERROR_IF_IS_L3, "an interface with layer 3 joins no port channel", nullptr},
};
constexpr other_meaning leave_meanings[] = {
    {NPRM_ERROR_IF_NOT_EXIST, "the port channel or the interface does not exist", nullptr},
    {NPRM_ERROR_IF_NOT_PC_MEMBER, "the interface is not in this port channel", nullptr},
};
constexpr other_meaning bridge_meanings[] = {
    {NPRM_ERROR_IF_NOT_EXIST, "one of the interfaces does not exist", nullptr},
    {NPRM_ERROR_IF_IN_BG, "one of the interfaces is in a bridge group or a port channel already", nullptr},
    {NPRM_ERROR_IF_NOT_L2, "one of the interfaces has layer 3", nullptr},
};
constexpr other_meaning unbridge_meanings[] = {
    {NPRM_ERROR_IF_BG_HAS_VLAN_PT, "the bridge group has VLANs", "nprmctl bg no-vlan GROUP VLAN"},
};
constexpr other_meaning vlan_meanings[] = {
    {NPRM_ERROR_IF_VLAN_IN_USE, "a bridge group has the VLAN already", nullptr},
    {NPRM_ERROR_IF_VLAN_NOT_IN_USE, "the bridge group has no such VLAN", nullptr},
};

std::string group_name(uint32_t group) {
    return "bridge group " + std::to_string(group);
}

using member_operation = uint32_t(uint16_t channel, uint16_t interface);

// A member that joins or leaves.
int change_member(invocation &call, member_operation *operation, const char *done, std::span<const other_meaning> meanings) {
    uint32_t channel = 0, id = 0;
    call.number("CHANNEL", channel, 0, UINT16_MAX, "the port channel's number as an interface, 0 to 65535");
    call.number("INTERFACE", id, 0, UINT16_MAX, "the physical interface's number, 0 to 65535");
    const std::string example = "Example: nprmctl " + std::string(call.row().name) + " 100 10\n";
    call.notes(example.c_str());
    call.parse();
    const std::string words = std::string(done) + " port channel " + std::to_string(channel);
    connect_to_server(call);
    change_with_meanings(
        interface_name(id) + " was not " + words,
        [&] { return operation(static_cast<uint16_t>(channel), static_cast<uint16_t>(id)); }, meanings);
    report result;
    result.sentence(interface_name(id) + " is " + words);
    result.fact("channel", nullptr, uint64_t{channel});
    result.fact("interface", nullptr, uint64_t{id});
    call.print(result);
    return exit_done;
}

using vlan_operation = uint32_t(uint8_t group, uint16_t vlan, uint32_t value);

int change_vlan(invocation &call, vlan_operation *operation, const char *done) {
    uint32_t group = 0, vlan = 0, value = 0;
    call.number("GROUP", group, 0, UINT8_MAX, "the bridge group's number, 0 to 255");
    call.number("VLAN", vlan, 0, vlan_most, "the VLAN, 0 to 65535; 1 to 4094 on the simulated card");
    call.number("--value VALUE", value, 0, UINT32_MAX, "a number that goes with it, 0 to 4294967295; 0 when not given");
    const std::string example = "Example: nprmctl " + std::string(call.row().name) + " 5 100\n";
    call.notes(example.c_str());
    call.parse();
    const std::string name = "VLAN " + std::to_string(vlan), words = std::string(done) + " " + group_name(group);
    connect_to_server(call);
    change_with_meanings(
        name + " was not " + words, [&] { return operation(static_cast<uint8_t>(group), static_cast<uint16_t>(vlan), value); },
        vlan_meanings);
    report result;
    result.sentence(name + " is " + words);
    result.fact("group", nullptr, uint64_t{group});
    result.fact("vlan", nullptr, uint64_t{vlan});
    call.print(result);
    return exit_done;
}

}  // namespace

int pc_balance(invocation &call) {
    uint32_t setting = 0;
    call.number("SETTING", setting, 0, UINT32_MAX, "the way as the card numbers it, 0 to 4294967295");
    call.notes("Example: nprmctl pc balance 2\n");
    call.parse();
    connect_to_server(call);
    change("the balance of port channels was not set", [&] { return nprm_pc_lb_cfg(setting); });
    report result;
    result.sentence("port channels balance their load by setting " + std::to_string(setting));
    result.fact("balance", nullptr, uint64_t{setting});
    call.print(result);
    return exit_done;
}

int pc_add(invocation &call) {
    return change_member(call, nprm_pc_if_add, "added to", join_meanings);
}

int pc_remove(invocation &call) {
    return change_member(call, nprm_pc_if_del, "removed from", leave_meanings);
}

int bg_create(invocation &call) {
    uint32_t group = 0, first = 0, second = 0;
    call.number("GROUP", group, 0, UINT8_MAX, "the bridge group's number, 0 to 255");
    call.number("FIRST", first, 0, UINT16_MAX, "the number of an interface that it bridges, 0 to 65535");
    call.number("SECOND", second, 0, UINT16_MAX, "the number of the other, 0 to 65535");
    call.notes("Interfaces of layer 3 and members of port channels are not bridged.\nExample: nprmctl bg create 5 10 11\n");
    call.parse();
    connect_to_server(call);
    change_with_meanings(
        group_name(group) + " was not created",
        [&] { return nprm_bg_create(static_cast<uint8_t>(group), static_cast<uint16_t>(first), static_cast<uint16_t>(second)); },
        bridge_meanings);
    report result;
    result.sentence(group_name(group) + " bridges the interfaces " + std::to_string(first) + " and " + std::to_string(second));
    result.fact("group", nullptr, uint64_t{group});
    result.fact("first", nullptr, uint64_t{first});
    result.fact("second", nullptr, uint64_t{second});
    call.print(result);
    return exit_done;
}

int bg_delete(invocation &call) {
    uint32_t group = 0;
    call.number("GROUP", group, 0, UINT8_MAX, "the bridge group's number, 0 to 255");
    call.notes("Example: nprmctl bg delete 5\n");
    call.parse();
    connect_to_server(call);
    change_with_meanings(
        group_name(group) + " was not deleted", [&] { return nprm_bg_del(static_cast<uint8_t>(group)); }, unbridge_meanings);
    report result;
    result.sentence(group_name(group) + " is deleted");
    result.fact("group", nullptr, uint64_t{group});
    call.print(result);
    return exit_done;
}

int bg_vlan(invocation &call) {
    return change_vlan(call, nprm_bg_add_vlan_cfg, "added to");
}

int bg_no_vlan(invocation &call) {
    return change_vlan(call, nprm_bg_del_vlan_cfg, "removed from");
}
