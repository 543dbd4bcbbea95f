// Ethernet ports: settings, counters, SFP modules (component 1).

#include <algorithm>
#include <array>
#include <cstring>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "api/wire/nprm_mac_wire.h"
#include "mac_state.h"
#include "port_counters.h"
#include "simcard/model.h"

namespace {

constexpr uint32_t mtu_least = 64, mtu_most = 9216, mtu_at_start = 1518;
constexpr uint32_t led_last = 3;  // 0 off, 1 green, 2 amber, 3 blinking

struct mac_state {
    std::array<port_state, card_ports> ports;
    uint64_t microseconds;  // of simulated time since the start
};
mac_state mac;

// The modules that the card is born with.
constexpr sfp_module modules[card_ports] = {
    {sfp_kind::long_10g, false, false, 1},  {sfp_kind::short_10g, false, false, 2}, {sfp_kind::extended_10g, false, false, 3},
    {sfp_kind::short_10g, true, false, 4},  {sfp_kind::none, false, false, 0},      {sfp_kind::unreadable, false, false, 0},
    {sfp_kind::long_10g, false, true, 7},   {sfp_kind::short_10g, false, false, 8}, {sfp_kind::copper, false, false, 9},
    {sfp_kind::long_1g, false, false, 10},  {sfp_kind::short_1g, false, false, 11}, {sfp_kind::long_1g, false, false, 12},
    {sfp_kind::short_1g, false, false, 13}, {sfp_kind::long_1g, false, false, 14},  {sfp_kind::short_1g, false, false, 15},
    {sfp_kind::copper, false, false, 16},
};
constexpr uint32_t ten_gigabit_ports = 8;  // the first ones

port_state port_at_start(uint32_t number) {
    port_state port = {};
    port.module = modules[number];
    port.is_ten_gigabit = number < ten_gigabit_ports;
    port.mtu = mtu_at_start;
    port.speed = port.is_ten_gigabit ? port_speed::g10 : port_speed::m1000;
    port.negotiates = !port.is_ten_gigabit;
    port.is_enabled = true;
    port.mac_address = {0x02, 0, 0, 0, 0, static_cast<uint8_t>(number)};
    return port;
}

void reset(const card_configuration &) {
    for (uint32_t i = 0; i < card_ports; ++i)
        mac.ports[i] = port_at_start(i);
    mac.microseconds = 0;
}

// What has been asked for, and where the answer goes.
struct port_request {
    port_state &port;
    const nprm_mac_record &asked;
    nprm_mac_record &answer;
};

uint32_t set_mtu(const port_request &request) {
    const uint32_t mtu = request.asked.value.word;
    if (mtu < mtu_least || mtu > mtu_most) return NPRM_ERROR_ETHMON_SET_MTU_NPA;
    request.port.mtu = mtu;
    return NPRM_OK;
}

uint32_t get_mtu(const port_request &request) {
    request.answer.value.word = request.port.mtu;
    return NPRM_OK;
}

uint32_t set_speed(const port_request &request) {
    const auto speed = static_cast<port_speed>(request.asked.value.word);
    const bool fits =
        request.port.is_ten_gigabit ? speed == port_speed::m1000 || speed == port_speed::g10 : speed <= port_speed::m1000;
    if (!fits) return NPRM_ERROR_ETHMON_SET_SPEED_MV;
    request.port.speed = speed;
    return NPRM_OK;
}

uint32_t get_speed(const port_request &request) {
    request.answer.value.word = static_cast<uint32_t>(request.port.speed);
    return NPRM_OK;
}

uint32_t set_negotiation(const port_request &request) {
    const uint32_t on = request.asked.value.word;
    if (on > 1 || (on == 1 && request.port.is_ten_gigabit)) return NPRM_ERROR_ETHMON_SET_NEGO_MV;
    request.port.negotiates = on == 1;
    return NPRM_OK;
}

uint32_t get_negotiation(const port_request &request) {
    request.answer.value.word = request.port.negotiates ? 1 : 0;
    return NPRM_OK;
}

uint32_t set_address(const port_request &request) {
    const uint8_t *address = request.asked.value.mac_address;
    const bool is_multicast = (address[0] & 1) != 0;
    const bool is_zero = std::all_of(address, address + NPRM_MAC_ADDRESS_BYTES, [](uint8_t byte) { return byte == 0; });
    if (is_multicast || is_zero) return NPRM_ERROR_ETHMON_SET_MACADDR_NPA;
    std::memcpy(request.port.mac_address.data(), address, NPRM_MAC_ADDRESS_BYTES);
    return NPRM_OK;
}

uint32_t get_address(const port_request &request) {
    std::memcpy(request.answer.value.mac_address, request.port.mac_address.data(), NPRM_MAC_ADDRESS_BYTES);
    return NPRM_OK;
}

uint32_t set_link(const port_request &request) {
    const uint32_t on = request.asked.value.word;
    if (on > 1) return NPRM_ERROR_ETHMON_SET_LINK_MV;
    const bool was_up = request.port.is_up();
    request.port.is_enabled = on == 1;
    if (request.port.is_up() != was_up) ++request.port.link_changes;
    return NPRM_OK;
}

uint32_t get_link(const port_request &request) {
    request.answer.value.word = request.port.is_up() ? 1 : 0;
    return NPRM_OK;
}

uint32_t get_counters(const port_request &request) {
    const uint32_t option = request.asked.value.counters.option;
    if (option > 1) return NPRM_ERROR_ETHMON_GET_COUNTERS_NPA;
    const port_counters counters = counters_of(request.port);
    std::memcpy(request.answer.value.counters.counter, counters.data(), sizeof counters);
    if (option == 1) clear_counters(request.port);
    return NPRM_OK;
}

void answer_image(const port_request &request, const sfp_image &image) {
    const uint32_t length = std::min<uint32_t>(request.asked.sfp_length, NPRM_SFP_BYTES);
    std::memcpy(request.answer.value.sfp, image.data(), length);
    request.answer.sfp_length = length;
}

uint32_t read_identification(const port_request &request) {
    if (!has_identification(request.port.module)) return NPRM_ERROR_ETHMON_SFP_READ_MSA;
    answer_image(request, identification_of(request.port.module));
    return NPRM_OK;
}

uint32_t read_monitoring(const port_request &request) {
    if (!has_monitoring(request.port.module)) return NPRM_ERROR_ETHMON_SFP_READ_DOM;
    answer_image(request, monitoring_of(request.port.module, mac.microseconds / 1'000'000, request.port.is_up()));
    return NPRM_OK;
}

uint32_t set_led(const port_request &request) {
    if (request.asked.value.word > led_last) return NPRM_ERROR_PARAM;
    request.port.led = request.asked.value.word;
    return NPRM_OK;
}

template <uint32_t (*serve)(const port_request &)>
uint32_t serve_port(const model_request &from, model_reply &reply) {
    const auto &asked = from.at<nprm_mac_record>(0);
    if (asked.port >= card_ports) return NPRM_ERROR_ETHMON_INVALID_PORT;
    auto &answer = reply.at<nprm_mac_record>(0);
    const uint32_t result = serve({mac.ports[asked.port], asked, answer});
    answer.port = asked.port;
    return result;
}

void advance(const traffic_step &step) {
    mac.microseconds += step.microseconds;
    for (port_state &port : mac.ports)
        carry_traffic(port, step);
}

nlohmann::json describe() {
    const auto up = std::ranges::count_if(mac.ports, [](const port_state &port) { return port.is_up(); });
    return {{"ports", card_ports}, {"up", up}, {"seconds", mac.microseconds / 1'000'000}};
}

// {"led": PORT}, as no operation reads it back
nlohmann::json ask(const nlohmann::json &question) {
    const auto led = question.find("led");
    if (question.size() != 1 || led == question.end() || !led->is_number_unsigned() || led->get<uint64_t>() >= card_ports)
        throw std::invalid_argument("ask MAC for {\"led\": PORT}, ports 0 to " + std::to_string(card_ports - 1));
    return {{"led", mac.ports[led->get<size_t>()].led}};
}

constexpr model_operation operations[] = {
    {NPRM_MAC_SET_MTU, "set MTU", serve_port<set_mtu>},
    {NPRM_MAC_GET_MTU, "get MTU", serve_port<get_mtu>},
    {NPRM_MAC_SET_SPEED, "set speed", serve_port<set_speed>},
    {NPRM_MAC_GET_SPEED, "get speed", serve_port<get_speed>},
    {NPRM_MAC_SET_NEGOTIATE, "set negotiation", serve_port<set_negotiation>},
    {NPRM_MAC_GET_NEGOTIATE, "get negotiation", serve_port<get_negotiation>},
    {NPRM_MAC_SET_ADDRESS, "set MAC address", serve_port<set_address>},
    {NPRM_MAC_GET_ADDRESS, "get MAC address", serve_port<get_address>},
    {NPRM_MAC_SET_LINK_STATE, "set link state", serve_port<set_link>},
    {NPRM_MAC_GET_LINK_STATE, "get link state", serve_port<get_link>},
    {NPRM_MAC_GET_COUNTERS, "counters", serve_port<get_counters>},
    {NPRM_MAC_READ_SFP_MSA, "read SFP identification", serve_port<read_identification>},
    {NPRM_MAC_READ_SFP_DOM, "read SFP monitoring", serve_port<read_monitoring>},
    {NPRM_MAC_SET_LED, "set LED", serve_port<set_led>},
};

}  // namespace

std::span<const port_state> ports() {
    return mac.ports;
}

constexpr component_model mac_model = {
    .component = NPRM_COMPONENT_MAC,
    .operations = operations,
    .head_records = 1,
    .malformed = NPRM_ERROR_PARAM,
    .unknown_operation = NPRM_ERROR_UNSUPPORTED,
    .reset = reset,
    .describe = describe,
    .advance = advance,
    .ask = ask,
};
