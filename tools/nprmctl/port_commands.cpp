// port show, set, counters, led: an Ethernet port's settings and what it has counted.

#include "failure.h"
#include "invocation.h"
#include "nprm.h"
#include "port_text.h"
#include "server.h"
#include "service_text.h"
#include "id_list.h"
#include "simcard/nprm_simcard.h"

#include <algorithm>
#include <array>
#include <optional>

namespace {

constexpr uint32_t ports_shown_most = 256;  // ports that are asked for when no port is named, and that a list may name

constexpr const char *speeds[] = {"10M", "100M", "1000M", "10G", "40G", "100G"};
constexpr const char *switches[] = {"off", "on"};
constexpr const char *links[] = {"down", "up"};
constexpr const char *leds[] = {"off", "green", "amber", "blink"};

constexpr other_meaning no_such_port = {NPRM_ERROR_ETHMON_INVALID_PORT, nullptr, "nprmctl port show"};

using mac_address = std::array<uint8_t, NPRM_MAC_ADDRESS_BYTES>;

std::string text_of(const mac_address &address) {
    char text[18];
    std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", address[0], address[1], address[2], address[3], address[4],
                  address[5]);
    return text;
}

struct port_settings {
    uint32_t link, speed, negotiation, mtu;
    mac_address address;
};

// Nothing when there is no such port.
std::optional<port_settings> settings_of(uint32_t port) {
    port_settings now = {};
    const std::string unknown = "the settings of " + port_name(port) + " are not known";
    const answer first = ask([&] { return nprm_mac_if_get_link_state(port, &now.link); });
    if (first.code == NPRM_ERROR_ETHMON_INVALID_PORT) return std::nullopt;
    if (first.code != NPRM_OK) throw unknown_for(unknown, first);
    learn(unknown, [&] { return nprm_mac_if_get_speed(port, &now.speed); });
    learn(unknown, [&] { return nprm_mac_if_get_negotiate(port, &now.negotiation); });
    learn(unknown, [&] { return nprm_mac_if_get_mtu(port, &now.mtu); });
    learn(unknown, [&] { return nprm_mac_if_get_macaddr(port, now.address.data()); });
    return now;
}

failure absent_port(uint32_t port) {
    failure problem = refusal("there is no " + port_name(port), no_such_port.code);
    problem.next = no_such_port.next;
    return problem;
}

// A single port may have any number.
std::vector<uint32_t> ports_argument(const invocation &call, const std::string &text) {
    if (const auto port = decimal<uint32_t>(text)) return {*port};
    constexpr id_words words = {"port", "a port's number, 0 to 4294967295,", "a list"};
    id_list list = parse_ids(text, ports_shown_most, words);
    if (!list.wrong.empty()) throw usage_error("PORTS: " + list.wrong, usage_of(call.row()));
    return std::move(list.ids);
}

// A setting of one word: its option, and the operation that sets it.
struct word_setting {
    const char *option, *name;
    value_words words;
    uint32_t (*set)(uint32_t port, uint32_t value);
};
constexpr word_setting word_settings[] = {
    {"--link", "link state", links, nprm_mac_if_set_link_state},
    {"--speed", "speed", speeds, nprm_mac_if_set_speed},
    {"--negotiate", "negotiation", switches, nprm_mac_if_set_negotiate},
};

constexpr const char *values_of_settings = "nprmctl help port set tells what ports of the simulated card take";
constexpr other_meaning setting_refusals[] = {
    no_such_port,
    {NPRM_ERROR_ETHMON_SET_LINK_MV, nullptr, values_of_settings},
    {NPRM_ERROR_ETHMON_SET_SPEED_MV, "the speed could not be set; the port may not have it", values_of_settings},
    {NPRM_ERROR_ETHMON_SET_NEGO_MV, "negotiation could not be set; the port may not negotiate", values_of_settings},
    {NPRM_ERROR_ETHMON_SET_MTU_NPA, "the MTU could not be set; it may be too small or too large", values_of_settings},
    {NPRM_ERROR_ETHMON_SET_MACADDR_NPA, "the MAC address could not be set; it may be 0 or a group's", values_of_settings},
};
constexpr other_meaning led_refusals[] = {
    no_such_port,
    {NPRM_ERROR_PARAM, nullptr, "off, green, amber and blink are what the simulated card takes"},
};

struct counter_row {
    const char *key, *help;
};
constexpr counter_row counter_rows[] = {
#define COUNTER_ROW(identifier, help) {#identifier, help},
    NPRM_SIMCARD_PORT_COUNTER_LIST(COUNTER_ROW)
#undef COUNTER_ROW
};
static_assert(std::size(counter_rows) == NPRM_PORT_COUNTERS, "every counter has a name");

}  // namespace

int port_show(invocation &call) {
    std::string text;
    call.text("[PORTS]", text, "a port's number, from 0, or a list such as 0-3,8; 0 to 15 on the simulated card");
    call.notes(
        "Without PORTS all ports, from 0 up to the first that the card does not have.\nExample: nprmctl port show 3 --json\n");
    call.parse();
    const bool all = !call.given("PORTS");
    const std::vector<uint32_t> named = all ? std::vector<uint32_t>() : ports_argument(call, text);
    connect_to_server(call);
    report shown;
    shown.table("ports", {{"port", "port"},
                          {"link", "link"},
                          {"speed", "speed"},
                          {"speed_code", nullptr},
                          {"negotiation", "negotiation"},
                          {"mtu", "MTU"},
                          {"mac", "MAC address"}});
    for (uint32_t i = 0; i < (all ? size_t{ports_shown_most} : named.size()); ++i) {
        const uint32_t port = all ? i : named[i];
        const auto now = settings_of(port);
        if (!now && (!all || i == 0)) throw absent_port(port);
        if (!now) break;
        shown.row({uint64_t{port}, word_of(links, now->link), word_of(speeds, now->speed), uint64_t{now->speed},
                   word_of(switches, now->negotiation), uint64_t{now->mtu}, text_of(now->address)});
    }
    call.print(shown);
    return exit_done;
}

int port_set(invocation &call) {
    uint32_t port = 0, mtu = 0;
    std::string texts[std::size(word_settings)], mac;
    call.number("PORT", port, 0, port_most, port_help);
    call.text("--link STATE", texts[0], "up or down");
    call.text("--speed SPEED", texts[1], "10M, 100M, 1000M, 10G, 40G or 100G");
    call.text("--negotiate SWITCH", texts[2], "on or off");
    call.number("--mtu BYTES", mtu, 0, UINT32_MAX, "longest packet; 64 to 9216 on the simulated card");
    call.text("--mac ADDRESS", mac, "MAC address, such as 02:00:00:00:00:01");
    call.notes(
        "Settings are made one after the other; the first that is refused ends the command, those before it stay.\n"
        "Numbers stand for values that have no word.\n"
        "On the simulated card ports 0 to 7 take 1000M and 10G and do not negotiate; the others take 10M to 1000M.\n"
        "Its MTUs are 64 to 9216, its MAC addresses those of one station.\n"
        "Example: nprmctl port set 8 --speed 100M --negotiate off --mtu 9000\n");
    call.parse();
    std::vector<std::pair<std::string, std::function<uint32_t()>>> wanted;
    for (size_t i = 0; i < std::size(word_settings); ++i) {
        const word_setting &row = word_settings[i];
        if (!call.given(row.option)) continue;
        const uint32_t value = value_of(call, row.option, row.words, texts[i]);
        wanted.emplace_back(row.name, [=, set = row.set] { return set(port, value); });
    }
    if (call.given("--mtu")) wanted.emplace_back("MTU", [=] { return nprm_mac_if_set_mtu(port, mtu); });
    if (call.given("--mac"))
        wanted.emplace_back("MAC address", [=, address = mac_argument(call, "--mac", mac)] {
            return nprm_mac_if_set_macaddr(port, address.data());
        });
    if (wanted.empty()) throw usage_error("nothing is to be set: give at least one option", usage_of(call.row()));
    connect_to_server(call);
    std::string set;
    for (const auto &[name, operation] : wanted) {
        change_with_meanings(
            "the " + name + " of " + port_name(port) + " was not set" + (set.empty() ? "" : " (set before: " + set + ")"),
            operation, setting_refusals);
        set += (set.empty() ? "" : ", ") + name;
    }
    report done;
    done.sentence(port_name(port) + ": " + set + " set");
    done.fact("port", nullptr, uint64_t{port});
    done.fact("set", nullptr, set);
    call.print(done);
    return exit_done;
}

int port_counters(invocation &call) {
    uint32_t port = 0;
    bool clear = false, all = false;
    call.number("PORT", port, 0, port_most, port_help);
    call.flag("--clear", clear, "the card begins to count from 0 again after this");
    call.flag("--all", all, "counters that are 0 too");
    call.notes(
        "The names are those of the simulated card; another server may count other things in these 44 places.\n"
        "Example: nprmctl port counters 0 --all\n");
    call.parse();
    connect_to_server(call);
    uint32_t counters[NPRM_PORT_COUNTERS] = {};
    const answer given = ask([&] { return nprm_mac_if_get_counters(port, counters, clear ? 1 : 0); });
    if (given.code == no_such_port.code) throw absent_port(port);
    if (given.code != NPRM_OK) throw unknown_for("the counters of " + port_name(port) + " are not known", given);
    report told;
    told.fact("port", nullptr, uint64_t{port});
    told.table("counters", {{"index", "place"}, {"name", nullptr}, {"meaning", "what"}, {"count", "count"}});
    bool any = false;
    for (uint32_t i = 0; i < NPRM_PORT_COUNTERS; ++i) {
        if (counters[i] == 0 && !all && !call.json()) continue;
        any = true;
        told.row({uint64_t{i}, std::string(counter_rows[i].key), std::string(counter_rows[i].help), uint64_t{counters[i]}});
    }
    if (!any) told.sentence("all counters of " + port_name(port) + " are 0");
    call.print(told);
    return exit_done;
}

int port_led(invocation &call) {
    uint32_t port = 0;
    std::string text;
    call.number("PORT", port, 0, port_most, port_help);
    call.text("LED", text, "off, green, amber or blink, or a number");
    call.notes("Example: nprmctl port led 3 blink\n");
    call.parse();
    const uint32_t value = value_of(call, "LED", leds, text);
    connect_to_server(call);
    change_with_meanings(
        "the LED of " + port_name(port) + " was not set", [&] { return nprm_set_port_led(port, value); }, led_refusals);
    report done;
    done.sentence("the LED of " + port_name(port) + " is set to " + word_of(leds, value));
    done.fact("port", nullptr, uint64_t{port});
    done.fact("led", nullptr, word_of(leds, value));
    done.fact("value", nullptr, uint64_t{value});
    call.print(done);
    return exit_done;
}
