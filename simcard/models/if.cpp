// Interfaces, port channels, bridge groups, the FIB and the card's settings (component 3).

#include <algorithm>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "api/wire/nprm_if_wire.h"
#include "fib.h"
#include "if_lookups.h"
#include "if_requests.h"

namespace {

void reset(const card_configuration &configuration) {
    reset_fib(configuration);
    reset_lookups();
    reset_interfaces();
}

nlohmann::json describe_lookups() {
    nlohmann::json lookups = nlohmann::json::array();
    for (const lookup_switch &one : packet_lookups())
        lookups.push_back(one.is_on ? nlohmann::json(one.vmr_id) : nlohmann::json());
    return lookups;
}

nlohmann::json describe() {
    const if_state &state = interfaces();
    return {{"interfaces", state.interfaces.size()},
            {"bridge_groups", state.bridge_groups.size()},
            {"channel_balance", state.channel_balance},
            {"errorlog_mask", state.errorlog_mask},
            {"flowlearn_limit", state.flowlearn_limit},
            {"crash_requests", state.crash_requests},
            {"crash_argument", state.crash_argument ? nlohmann::json(*state.crash_argument) : nlohmann::json()},
            {"lookups", describe_lookups()},
            {"fib", describe_fib()}};
}

template <class value>
nlohmann::json or_null(const std::optional<value> &content) {
    return content ? nlohmann::json(*content) : nlohmann::json();
}

nlohmann::json describe_address(const std::optional<interface_address> &content, size_t bytes) {
    if (!content) return nullptr;
    return {{"address", std::vector<uint8_t>(content->address.begin(), content->address.begin() + static_cast<long>(bytes))},
            {"prefix_length", content->prefix_length},
            {"vrf", content->vrf}};
}

nlohmann::json describe_interface(uint16_t id, const interface_state &one) {
    constexpr const char *kinds[] = {"physical", "port channel", "SB"};
    return {{"id", id},
            {"kind", kinds[one.kind]},
            {"layer", one.is_layer_3 ? 3 : 2},
            {"value", one.value},
            {"mac", one.mac_address},
            {"up", one.is_up},
            {"v4", describe_address(one.v4, 4)},
            {"v6", describe_address(one.v6, 16)},
            {"channel", or_null(one.channel)},
            {"members", one.members},
            {"active_on", or_null(one.active_on)},
            {"bridge_group", or_null(one.bridge_group)}};
}

// None when a question's number is none from 0 to most.
std::optional<uint32_t> number_of(const nlohmann::json &value, uint32_t most) {
    const bool fits = value.is_number_integer() && value >= 0 && value <= most;
    return fits ? std::optional(value.get<uint32_t>()) : std::nullopt;
}

// Those from an id on, as many as an answer has room for.
nlohmann::json describe_interfaces(const nlohmann::json &first) {
    constexpr size_t interfaces_max = 64;
    const auto number = number_of(first, UINT16_MAX);
    if (!number) throw std::invalid_argument("interfaces have the numbers 0 to 65535");
    const auto &all = interfaces().interfaces;
    nlohmann::json told = nlohmann::json::array();
    for (auto one = all.lower_bound(static_cast<uint16_t>(*number)); one != all.end() && told.size() < interfaces_max; ++one)
        told.push_back(describe_interface(one->first, one->second));
    return {{"interfaces", told}};
}

nlohmann::json describe_group(const nlohmann::json &question) {
    const auto &groups = interfaces().bridge_groups;
    const auto number = number_of(question, UINT8_MAX);
    const auto found = number ? groups.find(static_cast<uint8_t>(*number)) : groups.end();
    if (found == groups.end()) throw std::invalid_argument("there is no such bridge group");
    nlohmann::json vlans = nlohmann::json::array();
    for (const auto &[vlan, value] : found->second.vlans)
        vlans.push_back({{"vlan", vlan}, {"value", value}});
    return {{"interfaces", {found->second.first, found->second.second}}, {"vlans", vlans}};
}

// {"interface": ID}, {"interfaces": FIRST}, {"bridge_group": GROUP}, and the FIB's questions
nlohmann::json ask(const nlohmann::json &question) {
    if (question.contains("bridge_group")) return describe_group(question["bridge_group"]);
    if (question.contains("interfaces")) return describe_interfaces(question["interfaces"]);
    if (!question.contains("interface")) return ask_fib(question);
    const nlohmann::json &id = question["interface"];
    const auto number = number_of(id, UINT16_MAX);
    const interface_state *found = number ? find_interface(*number) : nullptr;
    if (found == nullptr) throw std::invalid_argument("there is no such interface");
    return describe_interface(static_cast<uint16_t>(*number), *found);
}

constexpr model_operation operations[] = {
    {NPRM_IF_CREATE, "create an interface", create_interface},
    {NPRM_IF_DELETE, "delete an interface", delete_interface},
    {NPRM_IF_SET_STATE, "set an interface's state", set_interface_state},
    {NPRM_IF_SET_MAC, "set an interface's MAC address", set_interface_mac},
    {NPRM_IF_SET_V4, "set an interface's IPv4 address", set_interface_v4},
    {NPRM_IF_SET_V6, "set an interface's IPv6 address", set_interface_v6},
    {NPRM_IF_SB_ACTIVE, "make an SB interface active", activate_sb},
    {NPRM_IF_PC_BALANCE, "balance port channels", set_channel_balance},
    {NPRM_IF_PC_ADD, "add a member to a port channel", add_channel_member},
    {NPRM_IF_PC_DELETE, "remove a member from a port channel", delete_channel_member},
    {NPRM_IF_BG_CREATE, "create a bridge group", create_bridge_group},
    {NPRM_IF_BG_DELETE, "delete a bridge group", delete_bridge_group},
    {NPRM_IF_BG_ADD_VLAN, "add a VLAN to a bridge group", add_bridge_vlan},
    {NPRM_IF_BG_DELETE_VLAN, "remove a VLAN from a bridge group", delete_bridge_vlan},
    {NPRM_IF_FIB, "FIB entries", serve_fib, any_number},
    {NPRM_IF_ERRORLOG_MASK, "set the error-log mask", set_errorlog_mask},
    {NPRM_IF_READ_CONFIG, "read the configuration", read_config},
    {NPRM_IF_TCAM_LOOKUP, "switch a look-up", serve_lookup_switch},
    {NPRM_IF_SET_FLOWLEARN_LIMIT, "set the flow-learning limit", set_flowlearn_limit},
    {NPRM_IF_GET_FLOWLEARN_LIMIT, "get the flow-learning limit", get_flowlearn_limit},
    {NPRM_IF_READ_PORT_MAPPING, "read the port mapping", read_port_mapping},
    {NPRM_IF_REQUEST_CRASH, "crash on request", request_crash},
};

}  // namespace

constexpr component_model if_model = {
    .component = NPRM_COMPONENT_IF,
    .operations = operations,
    .head_records = 0,
    .malformed = NPRM_ERROR_PARAM,
    .unknown_operation = NPRM_ERROR_UNSUPPORTED,
    .reset = reset,
    .describe = describe,
    .ask = ask,
};
