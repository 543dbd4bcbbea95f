// card status, fault, traffic, reset: the simulated card's control socket.

#include "card_control.h"
#include "failure.h"
#include "invocation.h"
#include "simcard/nprm_simcard.h"

#include <algorithm>

namespace {

using nlohmann::ordered_json;

constexpr const char *fault_notes = "Kinds:\n"
#define FAULT_LINE(identifier, kind, help) "  " kind ": " help "\n"
    NPRM_SIMCARD_FAULT_LIST(FAULT_LINE)
#undef FAULT_LINE
        "  none: all faults end\n";

// Numbers that name something are not grouped.
bool is_a_count(std::string_view name) {
    constexpr std::string_view names_of_things[] = {"pid", "seed", "id", "component", "value"};
    return std::ranges::find(names_of_things, name) == std::end(names_of_things);
}

// As people write a member's name.
std::string heading_of(std::string name) {
    std::ranges::replace(name, '_', ' ');
    return printable(name);
}

std::string text_of(const std::string &name, const ordered_json &value) {
    if (value.is_null()) return "-";
    if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
    if (value.is_number_unsigned() && is_a_count(name)) return grouped(value.get<uint64_t>());
    if (value.is_string()) return printable(value.get<std::string>());
    if (value.is_array()) {
        std::string listed;
        for (const ordered_json &one : value)
            listed += (listed.empty() ? "" : ", ") + text_of(name, one);
        return value.empty() ? "none" : listed;
    }
    return printable(value.dump(-1, ' ', false, ordered_json::error_handler_t::replace));
}

bool is_table(const ordered_json &value) {
    return value.is_array() && !value.empty() &&
           std::ranges::all_of(value, [](const ordered_json &row) { return row.is_object() && !row.empty(); });
}

// Objects of an array, by the members of the first.
std::string table_text(const ordered_json &rows) {
    std::vector<std::string> headings;
    std::vector<bool> to_the_right;
    for (const auto &[name, value] : rows[0].items()) {
        headings.push_back(heading_of(name));
        to_the_right.push_back(value.is_number());
    }
    std::vector<std::vector<std::string>> cells;
    for (const ordered_json &row : rows) {
        std::vector<std::string> line;
        for (const auto &[name, value] : rows[0].items())
            line.push_back(row.contains(name) ? text_of(name, row[name]) : "");
        cells.push_back(std::move(line));
    }
    return aligned(headings, cells, to_the_right);
}

// What is in an object: its plain members by name, and its arrays of objects as tables.
struct object_parts {
    std::vector<std::pair<std::string, std::string>> plain;
    std::string tables;
};

void take_apart(const ordered_json &object, const std::string &title, object_parts &parts) {
    for (const auto &[name, value] : object.items()) {
        const std::string full = title + heading_of(name);
        if (value.is_object())
            take_apart(value, name == "models" ? "" : full + " ", parts);  // the models' own names say enough
        else if (is_table(value))
            parts.tables += "\n" + full + "\n" + table_text(value);
        else
            parts.plain.emplace_back(full, text_of(name, value));
    }
}

// Whatever a card tells, readable.
std::string object_text(const ordered_json &object) {
    object_parts parts;
    take_apart(object, "", parts);
    report facts;
    for (const auto &[name, value] : parts.plain)
        facts.fact(name.c_str(), name.c_str(), value);
    return facts.text() + parts.tables;
}

void print_answer(const invocation &call, const ordered_json &answer, const char *sentence) {
    std::string text = sentence;
    if (call.json())
        text = answer.dump(2, ' ', false, ordered_json::error_handler_t::replace) + "\n";
    else if (text.empty())
        text = object_text(answer);
    std::fwrite(text.data(), 1, text.size(), stdout);
}

}  // namespace

int card_status(invocation &call) {
    call.parse();
    print_answer(call, ask_card({{"command", "status"}}), "");
    return exit_done;
}

int card_fault(invocation &call) {
    std::string kind, component;
    uint32_t count = 0, value = 0, seed = 0;
    call.text("KIND", kind, "what goes wrong, one of the kinds below");
    call.number("--count COUNT", count, 1, UINT32_MAX, "how many messages it hits, 1 when not given");
    call.text("--component NAME", component, "the component it hits, by number or name such as TCAM; all when not given");
    call.number("--value VALUE", value, 0, UINT32_MAX, "what the kind needs: milliseconds, bytes, a result code");
    call.number("--seed SEED", seed, 0, UINT32_MAX, "makes the random ones repeatable");
    call.notes(fault_notes);
    call.parse();
    ordered_json request = {{"command", "fault"}, {"kind", kind}};
    if (call.given("--count")) request["count"] = count;
    if (call.given("--value")) request["value"] = value;
    if (call.given("--seed")) request["seed"] = seed;
    if (const auto number = decimal<uint32_t>(component))
        request["component"] = *number;
    else if (call.given("--component"))
        request["component"] = component;
    print_answer(call, ask_card(request), kind == "none" ? "the card has no faults\n" : "the card has the fault\n");
    return exit_done;
}

int card_traffic(invocation &call) {
    std::string rate;
    uint32_t advance_ms = 0;
    call.text("[RATE|frozen]", rate, "packets a second offered to each port that is up, 0 to 100000000, or frozen");
    call.number("--advance MS", advance_ms, 1, NPRM_SIMCARD_ADVANCE_MS_MAX, "let so many milliseconds of traffic pass at once");
    call.notes(
        "Without arguments: the setting now.  A rate lets traffic run again; frozen counters move with --advance alone.\n"
        "Example: nprmctl card traffic frozen --advance 1000\n");
    call.parse();
    ordered_json request = {{"command", "traffic"}};
    if (rate == "frozen") {
        request["frozen"] = true;
    } else if (!rate.empty()) {
        const auto number = decimal<uint32_t>(rate);
        if (!number || *number > NPRM_SIMCARD_TRAFFIC_MAX)
            throw usage_error("RATE is " + in_quotes(rate) + ", it must be frozen or a number from 0 to " +
                                  std::to_string(NPRM_SIMCARD_TRAFFIC_MAX),
                              usage_of(call.row()));
        request["rate"] = *number;
        request["frozen"] = false;
    }
    if (call.given("--advance")) request["advance_ms"] = advance_ms;
    print_answer(call, ask_card(request), "");
    return exit_done;
}

int card_reset(invocation &call) {
    call.parse();
    print_answer(call, ask_card({{"command", "reset"}}), "the card is as it was at its start\n");
    return exit_done;
}
