// if: interfaces, their state, MAC address and IP addresses.

#include "interface_words.h"

#include "failure.h"
#include "fib_routes.h"
#include "invocation.h"
#include "nprm.h"
#include "server.h"
#include "service_text.h"
#include "simcard/nprm_fib_fields.h"
#include "simcard/nprm_interface_fields.h"

#include <cstring>

namespace {

constexpr const char *kinds[] = {"physical", "port-channel", "sb"};
constexpr const char *states[] = {"down", "up"};
constexpr const char *versions[] = {"ipv4", "ipv6"};

// What refusals mean here, by the request.
constexpr other_meaning creation_meanings[] = {
    {NPRM_ERROR_IF_NOT_PHYSICAL, "there is no such port", "nprmctl port show"},
    {NPRM_ERROR_IF_MALLOC_PORT_TABLE, "the port has an interface already", "nprmctl config ports"},
    {NPRM_ERROR_IF_MALLOC_LAG, "there are as many port channels as the card has", nullptr},
    {NPRM_ERROR_IF_MALLOC_UIDB, "there are as many interfaces as the card has", nullptr},
    {NPRM_ERROR_IF_WRITE_MY_MAC, "an interface has a MAC address that is not 0 and no group's", nullptr},
};
constexpr other_meaning deletion_meanings[] = {
    {NPRM_ERROR_IF_IN_BG, "it is in a bridge group", "nprmctl bg delete GROUP"},
};
constexpr other_meaning mac_meanings[] = {
    {NPRM_ERROR_IF_WRITE_MY_MAC, "an interface has a MAC address that is not 0 and no group's", nullptr},
};
constexpr other_meaning address_meanings[] = {
    {NPRM_ERROR_IF_WRITE_MY_IP, "the address is not one that an interface may have", nullptr},
    {NPRM_ERROR_IF_READ_MY_IP, "the interface has no such address", nullptr},
};
constexpr other_meaning state_meanings[] = {
    {NPRM_ERROR_IF_SB_NOT_ACTIVE, "an SB interface comes up when it is active on a physical one", "nprmctl if active SB PHYSICAL"},
};

void report_on(const invocation &call, uint32_t id, const std::string &text, const char *key, cell value) {
    report done;
    done.sentence(interface_name(id) + " " + text);
    done.fact("interface", nullptr, uint64_t{id});
    done.fact(key, nullptr, std::move(value));
    call.print(done);
}

// An interface's address, which need not be its network's.
nprm_if_ip_cfg address_with_length(const invocation &call, const std::string &text, bool &is_ipv4) {
    const size_t slash = std::min(text.find('/'), text.size());
    word_error error;
    const auto address = address_of(std::string_view(text).substr(0, slash), error);
    if (!address) throw usage_error("ADDRESS/LENGTH: " + error.message, usage_of(call.row()));
    is_ipv4 = address->u8_0 == NPRM_FIB_IPV4;
    const uint32_t most = is_ipv4 ? 32 : 128;
    const auto length = slash == text.size() ? std::nullopt : decimal<uint32_t>(std::string_view(text).substr(slash + 1));
    if (!length || *length > most)
        throw usage_error("ADDRESS/LENGTH is " + in_quotes(text) + ", LENGTH must be a number from 0 to " + std::to_string(most),
                          usage_of(call.row()));
    nprm_if_ip_cfg made = {static_cast<uint8_t>(*length), NPRM_IF_ADDRESS_SET, 0, {}};
    std::memcpy(made.address, address->address, sizeof made.address);
    return made;
}

void change_address(const std::string &what, uint32_t id, bool is_ipv4, const nprm_if_ip_cfg &address) {
    const auto operation = is_ipv4 ? nprm_if_v4_cfg : nprm_if_v6_cfg;
    change_with_meanings(
        what, [&] { return operation(static_cast<uint16_t>(id), &address); }, address_meanings);
}

}  // namespace

int if_create(invocation &call) {
    uint32_t id = 0, port = 0;
    bool layer_3 = false;
    std::string kind, mac;
    call.number("INTERFACE", id, 0, UINT16_MAX, interface_help);
    call.text("KIND", kind, "physical, port-channel or sb; or the attribute as a number");
    call.text("MAC", mac, "its MAC address, such as 02:00:00:00:00:01");
    call.number("--port PORT", port, 0, UINT8_MAX, "of a physical interface, its port: 0 to 255, 0 to 15 on the simulated card");
    call.flag("--layer3", layer_3, "an interface that has IP addresses; else it can be bridged or join a port channel");
    call.notes("Example: nprmctl if create 10 physical 02:00:00:00:00:01 --port 3 --layer3\n");
    call.parse();
    const uint32_t attribute = value_of(call, "KIND", kinds, kind);
    const auto address = mac_argument(call, "MAC", mac);
    if (kind == kinds[NPRM_IF_PHYSICAL] && !call.given("--port"))
        throw usage_error("a physical interface has a port: give --port, 0 to 255", usage_of(call.row()));
    connect_to_server(call);
    change_with_meanings(
        interface_name(id) + " was not created",
        [&] {
            return nprm_if_create(static_cast<uint16_t>(id), attribute | (layer_3 ? uint32_t{NPRM_IF_LAYER_3} : 0U),
                                  static_cast<uint8_t>(port), address.data());
        },
        creation_meanings);
    report_on(call, id, "is created", "kind", kind);
    return exit_done;
}

int if_delete(invocation &call) {
    uint32_t id = 0;
    call.number("INTERFACE", id, 0, UINT16_MAX, interface_help);
    call.notes("Example: nprmctl if delete 10\n");
    call.parse();
    connect_to_server(call);
    change_with_meanings(
        interface_name(id) + " was not deleted", [&] { return nprm_if_del(static_cast<uint16_t>(id)); }, deletion_meanings);
    report_on(call, id, "is deleted", "deleted", true);
    return exit_done;
}

int if_state(invocation &call) {
    uint32_t id = 0;
    std::string text;
    call.number("INTERFACE", id, 0, UINT16_MAX, interface_help);
    call.text("STATE", text, "up or down, or a number from 0 to 255");
    call.notes("Example: nprmctl if state 10 up\n");
    call.parse();
    const uint32_t state = value_of(call, "STATE", states, text, UINT8_MAX);
    connect_to_server(call);
    change_with_meanings(
        "the state of " + interface_name(id) + " was not set",
        [&] { return nprm_if_set_state(static_cast<uint16_t>(id), static_cast<uint8_t>(state)); }, state_meanings);
    report_on(call, id, (state > 1 ? "has state " : "is ") + word_of(states, state), "state", word_of(states, state));
    return exit_done;
}

int if_mac(invocation &call) {
    uint32_t id = 0;
    std::string text;
    call.number("INTERFACE", id, 0, UINT16_MAX, interface_help);
    call.text("MAC", text, "its MAC address, such as 02:00:00:00:00:01");
    call.notes("Example: nprmctl if mac 10 02:00:00:00:00:01\n");
    call.parse();
    const auto address = mac_argument(call, "MAC", text);
    connect_to_server(call);
    change_with_meanings(
        "the MAC address of " + interface_name(id) + " was not set",
        [&] { return nprm_if_mac_cfg(static_cast<uint16_t>(id), address.data()); }, mac_meanings);
    report_on(call, id, "has the MAC address " + text, "mac", text);
    return exit_done;
}

int if_address(invocation &call) {
    uint32_t id = 0, vrf = 0;
    std::string text;
    call.number("INTERFACE", id, 0, UINT16_MAX, interface_help);
    call.text("ADDRESS/LENGTH", text, "its IPv4 or IPv6 address and the length of its network's prefix");
    call.number("--vrf VRF", vrf, 0, UINT16_MAX, "the VRF that the address is in, 0 to 65535; 0 when not given");
    call.notes("Replaces the address of this IP version.\nExample: nprmctl if address 10 192.0.2.1/24\n");
    call.parse();
    bool is_ipv4 = false;
    nprm_if_ip_cfg address = address_with_length(call, text, is_ipv4);
    address.u16_2 = static_cast<uint16_t>(vrf);
    connect_to_server(call);
    change_address("the address of " + interface_name(id) + " was not set", id, is_ipv4, address);
    report_on(call, id, "has the address " + text, "address", text);
    return exit_done;
}

int if_no_address(invocation &call) {
    uint32_t id = 0;
    std::string version;
    call.number("INTERFACE", id, 0, UINT16_MAX, interface_help);
    call.text("VERSION", version, "ipv4 or ipv6: which address is taken away");
    call.notes("Example: nprmctl if no-address 10 ipv4\n");
    call.parse();
    const bool is_ipv4 = first_of(call, "VERSION", version, versions[0], versions[1]);
    const nprm_if_ip_cfg none = {0, NPRM_IF_ADDRESS_REMOVE, 0, {}};
    connect_to_server(call);
    change_address("the address of " + interface_name(id) + " was not taken away", id, is_ipv4, none);
    report_on(call, id, std::string("has no ") + (is_ipv4 ? "IPv4" : "IPv6") + " address", "version", version);
    return exit_done;
}

int if_active(invocation &call) {
    uint32_t sb = 0, physical = 0;
    call.number("SB", sb, 0, UINT16_MAX, "the SB interface's number, 0 to 65535");
    call.number("PHYSICAL", physical, 0, UINT16_MAX, "the number of the physical interface that it is active on, 0 to 65535");
    call.notes("Example: nprmctl if active 200 10\n");
    call.parse();
    connect_to_server(call);
    change(interface_name(sb) + " was not made active",
           [&] { return nprm_sb_if_active(static_cast<uint16_t>(sb), static_cast<uint16_t>(physical)); });
    report_on(call, sb, "is active on " + interface_name(physical), "active_on", uint64_t{physical});
    return exit_done;
}
