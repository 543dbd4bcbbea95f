// if show, bg show: what a simulated card has.  No operation reads interfaces back: its control socket tells.

#include "card_control.h"
#include "failure.h"
#include "interface_words.h"
#include "invocation.h"

#include <array>

#include <arpa/inet.h>

namespace {

using nlohmann::ordered_json;

ordered_json answer_to(const ordered_json &question) {
    return ask_card({{"command", "ask"}, {"component", "IF"}, {"question", question}}).at("answer");
}

std::string mac_text(const ordered_json &bytes) {
    std::string text;
    for (const ordered_json &byte : bytes) {
        char two[4];
        std::snprintf(two, sizeof two, "%02x", byte.get<unsigned>() & 0xFF);
        text += (text.empty() ? "" : ":") + std::string(two);
    }
    return text;
}

cell address_text(const ordered_json &of, int family) {
    if (of.is_null()) return {};
    std::array<uint8_t, 16> bytes = {};
    const auto told = of.at("address").get<std::vector<uint8_t>>();
    std::copy_n(told.begin(), std::min(told.size(), bytes.size()), bytes.begin());
    char text[INET6_ADDRSTRLEN] = {};
    inet_ntop(family, bytes.data(), text, sizeof text);
    return std::string(text) + "/" + std::to_string(of.at("prefix_length").get<uint32_t>());
}

cell number_of(const ordered_json &of) {
    return of.is_null() ? cell() : cell(of.get<uint64_t>());
}

void add_row(report &to, const ordered_json &one) {
    const std::string kind = one.at("kind");
    to.row({one.at("id").get<uint64_t>(), kind, one.at("layer").get<uint64_t>(),
            std::string(one.at("up").get<bool>() ? "up" : "down"), mac_text(one.at("mac")),
            kind == "physical" ? cell(one.at("value").get<uint64_t>()) : cell(), address_text(one.at("v4"), AF_INET),
            address_text(one.at("v6"), AF_INET6), number_of(one.at("channel")), number_of(one.at("active_on")),
            number_of(one.at("bridge_group"))});
}

}  // namespace

int if_show(invocation &call) {
    uint32_t id = 0;
    call.number("[INTERFACE]", id, 0, UINT16_MAX, "the interface's number, 0 to 65535; all interfaces when not given");
    call.notes("Asks a simulated card's control socket; a server has no operation that tells.\nExample: nprmctl if show 10\n");
    call.parse();
    report told;
    told.table("interfaces", {{"interface", "interface"},
                              {"kind", "kind"},
                              {"layer", "layer"},
                              {"state", "state"},
                              {"mac", "MAC address"},
                              {"port", "port"},
                              {"ipv4", "IPv4"},
                              {"ipv6", "IPv6"},
                              {"channel", "in channel"},
                              {"active_on", "active on"},
                              {"bridge_group", "in group"}});
    if (call.given("INTERFACE")) {
        add_row(told, answer_to({{"interface", id}}));
        call.print(told);
        return exit_done;
    }
    bool any = false;
    for (ordered_json some; id <= UINT16_MAX && !(some = answer_to({{"interfaces", id}}).at("interfaces")).empty();) {
        for (const ordered_json &one : some)
            add_row(told, one);
        any = true;
        id = some.back().at("id").get<uint32_t>() + 1;
    }
    if (!any) told.sentence("the card has no interfaces");
    call.print(told);
    return exit_done;
}

int bg_show(invocation &call) {
    uint32_t group = 0;
    call.number("GROUP", group, 0, UINT8_MAX, "the bridge group's number, 0 to 255");
    call.notes("Asks a simulated card's control socket; a server has no operation that tells.\nExample: nprmctl bg show 5\n");
    call.parse();
    const ordered_json answer = answer_to({{"bridge_group", group}});
    report told;
    told.fact("group", "bridge group", uint64_t{group});
    told.fact("first", "bridges", answer.at("interfaces").at(0).get<uint64_t>());
    told.fact("second", "and", answer.at("interfaces").at(1).get<uint64_t>());
    told.table("vlans", {{"vlan", "VLAN"}, {"value", "value"}});
    for (const ordered_json &one : answer.at("vlans"))
        told.row({one.at("vlan").get<uint64_t>(), one.at("value").get<uint64_t>()});
    call.print(told);
    return exit_done;
}
