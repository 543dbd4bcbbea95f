// Ethernet ports and their SFP modules (component 1).

#include "nprm_port.h"

#include "exchange.h"

#include <cstring>

namespace {

using nprm::refuse_null;

template <typename Fill>
uint32_t set(uint32_t operation, uint32_t port, Fill fill) {
    return nprm::send_one<nprm_mac_message>(NPRM_COMPONENT_MAC, operation, [=](nprm_mac_message &message) {
        message.record.port = port;
        fill(message.record);
    });
}

// Fills the request and copies the first bytes of the reply's value.
template <typename Fill>
uint32_t get(const char *function, uint32_t operation, uint32_t port, void *output, size_t bytes, Fill fill) {
    if (output == nullptr && bytes != 0) return refuse_null(function);
    const auto fill_all = [=](nprm_mac_message &message) {
        message.record.port = port;
        fill(message.record);
    };
    const auto take = [=](const nprm_mac_message &answer) -> uint32_t {
        if (bytes != 0) memcpy(output, &answer.record.value, bytes);
        return NPRM_OK;
    };
    return nprm::fetch_one<nprm_mac_message>(function, NPRM_COMPONENT_MAC, operation, fill_all, take);
}

uint32_t set_word(uint32_t operation, uint32_t port, uint32_t word) {
    return set(operation, port, [=](nprm_mac_record &record) { record.value.word = word; });
}

uint32_t get_word(const char *function, uint32_t operation, uint32_t port, uint32_t *word) {
    return get(function, operation, port, word, sizeof *word, [](nprm_mac_record &) {});
}

uint32_t read_sfp(const char *function, uint32_t operation, uint32_t port, uint8_t *buffer, uint32_t length) {
    return get(function, operation, port, buffer, std::min<uint32_t>(length, NPRM_SFP_BYTES),
               [=](nprm_mac_record &record) { record.sfp_length = length; });
}

}  // namespace

uint32_t nprm_mac_if_set_mtu(uint32_t port, uint32_t mtu) {
    return set_word(NPRM_MAC_SET_MTU, port, mtu);
}

uint32_t nprm_mac_if_get_mtu(uint32_t port, uint32_t *mtu) {
    return get_word(__func__, NPRM_MAC_GET_MTU, port, mtu);
}

uint32_t nprm_mac_if_set_speed(uint32_t port, uint32_t speed) {
    return set_word(NPRM_MAC_SET_SPEED, port, speed);
}

uint32_t nprm_mac_if_get_speed(uint32_t port, uint32_t *speed) {
    return get_word(__func__, NPRM_MAC_GET_SPEED, port, speed);
}

uint32_t nprm_mac_if_set_negotiate(uint32_t port, uint32_t negotiate) {
    return set_word(NPRM_MAC_SET_NEGOTIATE, port, negotiate);
}

uint32_t nprm_mac_if_get_negotiate(uint32_t port, uint32_t *negotiate) {
    return get_word(__func__, NPRM_MAC_GET_NEGOTIATE, port, negotiate);
}

uint32_t nprm_mac_if_set_macaddr(uint32_t port, const uint8_t *mac_address) {
    if (mac_address == nullptr) return refuse_null(__func__);
    return set(NPRM_MAC_SET_ADDRESS, port,
               [=](nprm_mac_record &record) { memcpy(record.value.mac_address, mac_address, sizeof record.value.mac_address); });
}

uint32_t nprm_mac_if_get_macaddr(uint32_t port, uint8_t *mac_address) {
    return get(__func__, NPRM_MAC_GET_ADDRESS, port, mac_address, NPRM_MAC_ADDRESS_BYTES, [](nprm_mac_record &) {});
}

uint32_t nprm_mac_if_set_link_state(uint32_t port, uint32_t state) {
    return set_word(NPRM_MAC_SET_LINK_STATE, port, state);
}

uint32_t nprm_mac_if_get_link_state(uint32_t port, uint32_t *state) {
    return get_word(__func__, NPRM_MAC_GET_LINK_STATE, port, state);
}

uint32_t nprm_mac_if_get_counters(uint32_t port, uint32_t *counters, uint8_t option) {
    return get(__func__, NPRM_MAC_GET_COUNTERS, port, counters, sizeof(nprm_mac_counters::counter),
               [=](nprm_mac_record &record) { record.value.counters.option = option; });
}

uint32_t nprm_sfp_read_msa_all(uint32_t port, uint8_t *buffer, uint32_t length) {
    return read_sfp(__func__, NPRM_MAC_READ_SFP_MSA, port, buffer, length);
}

uint32_t nprm_sfp_read_dom_all(uint32_t port, uint8_t *buffer, uint32_t length) {
    return read_sfp(__func__, NPRM_MAC_READ_SFP_DOM, port, buffer, length);
}

uint32_t nprm_set_port_led(uint32_t port, uint32_t led) {
    return set_word(NPRM_MAC_SET_LED, port, led);
}
