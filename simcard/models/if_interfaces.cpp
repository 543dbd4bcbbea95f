// Interfaces: their kind, state and addresses.

#include <algorithm>
#include <cstring>

#include "api/wire/nprm_if_wire.h"
#include "api/config/nprm_flow_learning.h"
#include "if_requests.h"
#include "mac_state.h"

namespace {

if_state state;

bool is_usable(const uint8_t (&mac_address)[6]) {
    const bool is_multicast = (mac_address[0] & 1) != 0;
    return !is_multicast && std::ranges::any_of(mac_address, [](uint8_t byte) { return byte != 0; });
}

std::array<uint8_t, 6> array_of(const uint8_t (&mac_address)[6]) {
    std::array<uint8_t, 6> copy;
    std::ranges::copy(mac_address, copy.begin());
    return copy;
}

uint32_t check_new(const nprm_if_interface_record &asked) {
    if (asked.interface_id >= NPRM_IF_NONE || asked.value > UINT8_MAX) return NPRM_ERROR_PARAM;
    if (find_interface(asked.interface_id) != nullptr) return NPRM_ERROR_IF_EXIST;
    const uint32_t kind = asked.attribute & NPRM_IF_KIND_MASK;
    if (kind > NPRM_IF_SB || (asked.attribute & ~uint32_t{NPRM_IF_KIND_MASK | NPRM_IF_LAYER_3}) != 0) return NPRM_ERROR_PARAM;
    if (!is_usable(asked.mac_address)) return NPRM_ERROR_IF_WRITE_MY_MAC;
    if (kind == NPRM_IF_PHYSICAL && asked.value >= card_ports) return NPRM_ERROR_IF_NOT_PHYSICAL;
    if (kind == NPRM_IF_PHYSICAL && interface_of_port(asked.value)) return NPRM_ERROR_IF_MALLOC_PORT_TABLE;
    const auto channels =
        std::ranges::count_if(state.interfaces, [](const auto &one) { return one.second.kind == NPRM_IF_PORT_CHANNEL; });
    if (kind == NPRM_IF_PORT_CHANNEL && channels >= NPRM_IF_CHANNELS_MAX) return NPRM_ERROR_IF_MALLOC_LAG;
    return state.interfaces.size() < NPRM_IF_MAX ? NPRM_OK : NPRM_ERROR_IF_MALLOC_UIDB;
}

uint32_t set_address(const model_request &from, std::optional<interface_address> interface_state::*which, size_t address_bytes) {
    const nprm_if_address_record &asked = from.at<nprm_if_record>(0).address;
    interface_state *interface = find_interface(asked.interface_id);
    if (interface == nullptr) return NPRM_ERROR_IF_NOT_EXIST;
    if (!interface->is_layer_3) return NPRM_ERROR_IF_NOT_L3;
    if (asked.address.u8_1 == NPRM_IF_ADDRESS_REMOVE) {
        if (!(interface->*which)) return NPRM_ERROR_IF_READ_MY_IP;
        (interface->*which).reset();
        return NPRM_OK;
    }
    if (asked.address.u8_1 != NPRM_IF_ADDRESS_SET) return NPRM_ERROR_PARAM;
    const bool is_zero =
        std::all_of(asked.address.address, asked.address.address + address_bytes, [](uint8_t byte) { return byte == 0; });
    if (is_zero || asked.address.u8_0 > 8 * address_bytes) return NPRM_ERROR_IF_WRITE_MY_IP;
    interface_address address = {asked.address.u8_0, asked.address.u16_2, {}};
    std::memcpy(address.address.data(), asked.address.address, address_bytes);
    interface->*which = address;
    return NPRM_OK;
}

}  // namespace

const if_state &interfaces() {
    return state;
}

if_state &mutable_interfaces() {
    return state;
}

void reset_interfaces() {
    state = {};
    state.flowlearn_limit = NPRM_FLOWLEARN_MAX;
}

interface_state *find_interface(uint32_t id) {
    if (id > UINT16_MAX) return nullptr;
    const auto found = state.interfaces.find(static_cast<uint16_t>(id));
    return found == state.interfaces.end() ? nullptr : &found->second;
}

std::optional<uint16_t> interface_of_port(uint32_t port) {
    for (const auto &[id, interface] : state.interfaces)
        if (interface.kind == NPRM_IF_PHYSICAL && interface.value == port) return id;
    return std::nullopt;
}

uint32_t create_interface(const model_request &from, model_reply &) {
    const nprm_if_interface_record &asked = from.at<nprm_if_record>(0).interface;
    if (const uint32_t refused = check_new(asked); refused != NPRM_OK) return refused;
    interface_state made = {};
    made.kind = static_cast<nprm_if_kind>(asked.attribute & NPRM_IF_KIND_MASK);
    made.is_layer_3 = (asked.attribute & NPRM_IF_LAYER_3) != 0;
    made.value = static_cast<uint8_t>(asked.value);
    made.mac_address = array_of(asked.mac_address);
    state.interfaces.emplace(static_cast<uint16_t>(asked.interface_id), made);
    return NPRM_OK;
}

uint32_t delete_interface(const model_request &from, model_reply &) {
    interface_state *interface = find_interface(from.at<nprm_if_record>(0).interface.interface_id);
    if (interface == nullptr) return NPRM_ERROR_IF_NOT_EXIST;
    if (interface->bridge_group) return NPRM_ERROR_IF_IN_BG;
    const auto id = static_cast<uint16_t>(from.at<nprm_if_record>(0).interface.interface_id);
    leave_channel(id, *interface);
    for (auto &[other_id, other] : state.interfaces)
        if (other.active_on == id) {
            other.active_on.reset();
            other.is_up = false;
        }
    state.interfaces.erase(id);
    return NPRM_OK;
}

uint32_t set_interface_state(const model_request &from, model_reply &) {
    const nprm_if_interface_record &asked = from.at<nprm_if_record>(0).interface;
    interface_state *interface = find_interface(asked.interface_id);
    if (interface == nullptr) return NPRM_ERROR_IF_NOT_EXIST;
    if (asked.state > 1) return NPRM_ERROR_PARAM;
    if (interface->kind == NPRM_IF_SB && !interface->active_on && asked.state == 1) return NPRM_ERROR_IF_SB_NOT_ACTIVE;
    interface->is_up = asked.state == 1;
    return NPRM_OK;
}

uint32_t set_interface_mac(const model_request &from, model_reply &) {
    const nprm_if_interface_record &asked = from.at<nprm_if_record>(0).interface;
    interface_state *interface = find_interface(asked.interface_id);
    if (interface == nullptr) return NPRM_ERROR_IF_NOT_EXIST;
    if (!is_usable(asked.mac_address)) return NPRM_ERROR_IF_WRITE_MY_MAC;
    interface->mac_address = array_of(asked.mac_address);
    return NPRM_OK;
}

uint32_t set_interface_v4(const model_request &from, model_reply &) {
    return set_address(from, &interface_state::v4, 4);
}

uint32_t set_interface_v6(const model_request &from, model_reply &) {
    return set_address(from, &interface_state::v6, 16);
}

uint32_t activate_sb(const model_request &from, model_reply &) {
    const nprm_if_active_record &asked = from.at<nprm_if_record>(0).active;
    interface_state *sb = find_interface(asked.first_id);
    const interface_state *physical = find_interface(asked.second_id);
    if (sb == nullptr || physical == nullptr) return NPRM_ERROR_IF_NOT_EXIST;
    if (sb->kind != NPRM_IF_SB) return NPRM_ERROR_IF_NOT_SB;
    if (physical->kind != NPRM_IF_PHYSICAL) return NPRM_ERROR_IF_NOT_PHYSICAL;
    sb->active_on = static_cast<uint16_t>(asked.second_id);
    return NPRM_OK;
}
