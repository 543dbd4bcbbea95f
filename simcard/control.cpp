// The control protocol's commands, a row each.

#include "control.h"

#include <algorithm>
#include <initializer_list>
#include <stdexcept>

#include <unistd.h>

#include <nlohmann/json.hpp>

#include "nprm_simcard.h"

namespace {

using json = nlohmann::ordered_json;  // an answer tells its members in the order of their description

constexpr int depth_max = 4;  // no question is nested more deeply

// What the answer's "error" says.
struct refusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

json parse(std::string_view text) {
    if (text.size() > NPRM_SIMCARD_CONTROL_MAX)
        throw refusal("a request has at most " + std::to_string(NPRM_SIMCARD_CONTROL_MAX) + " bytes");
    const auto refuse_deep = [](int depth, json::parse_event_t, json &) {
        if (depth > depth_max) throw refusal("the request is nested too deeply");
        return true;
    };
    json request = json::parse(text, refuse_deep);
    if (!request.is_object()) throw refusal("a request is an object with a \"command\"");
    return request;
}

void allow_members(const json &request, std::initializer_list<std::string_view> names) {
    for (const auto &member : request.items())
        if (member.key() != "command" && std::ranges::find(names, member.key()) == names.end())
            throw refusal("this command has no member \"" + member.key() + "\"");
}

std::string text_member(const json &request, const char *name) {
    const auto found = request.find(name);
    if (found == request.end() || !found->is_string()) throw refusal(std::string("a text \"") + name + "\" is needed");
    return found->get<std::string>();
}

std::optional<uint32_t> number_member(const json &request, const char *name, uint32_t least, uint32_t most) {
    const auto found = request.find(name);
    if (found == request.end()) return std::nullopt;
    if (!found->is_number_unsigned() || found->get<uint64_t>() < least || found->get<uint64_t>() > most)
        throw refusal(std::string("\"") + name + "\" is a whole number from " + std::to_string(least) + " to " +
                      std::to_string(most));
    return found->get<uint32_t>();
}

// A list of names for an error text.
template <class rows>
std::string names_of(const rows &all) {
    std::string text;
    for (const auto &row : all)
        text += (text.empty() ? "" : ", ") + std::string(row.name);
    return text;
}

std::optional<uint32_t> component_member(const json &request) {
    const auto found = request.find("component");
    if (found == request.end()) return std::nullopt;
    const component_row *component = nullptr;
    if (found->is_string()) component = find_component(found->get_ref<const std::string &>());
    if (found->is_number_unsigned() && found->get<uint64_t>() < NPRM_COMPONENT_COUNT)
        component = find_component(found->get<uint32_t>());
    if (component == nullptr)
        throw refusal("there is no such component; there are " + names_of(served_components()) + ", or their numbers");
    return component->number;
}

json done() {
    return {{"ok", true}};
}

json add_fault(card &card, const server_view &, const json &request) {
    allow_members(request, {"kind", "component", "count", "value", "seed"});
    const std::string name = text_member(request, "kind");
    if (name == "none") {
        card.faults.clear();
        return done();
    }
    const fault_kind *kind = find_fault_kind(name);
    if (kind == nullptr)
        throw refusal("there is no fault \"" + name + "\"; there are " + names_of(fault_kinds()) + ", and none to end them");
    if (kind->value == fault_value::none && request.contains("value")) throw refusal("the fault " + name + " has no \"value\"");
    const auto value = number_member(request, "value", 0, kind->value_max);
    const auto component = component_member(request);
    const auto count = number_member(request, "count", 1, UINT32_MAX).value_or(1);
    const auto seed = number_member(request, "seed", 0, UINT32_MAX);
    if (kind->value == fault_value::required && !value) throw refusal("the fault " + name + " needs a \"value\"");
    if (card.faults.is_full())
        throw refusal("there are " + std::to_string(fault_set::active_max) +
                      " faults active already; end them with the kind \"none\"");
    card.faults.add(*kind, component, count, value, seed ? *seed : std::random_device{}());
    return done();
}

json set_acknowledge_only(card &card, const server_view &, const json &request) {
    allow_members(request, {"on"});
    const auto on = request.find("on");
    if (on == request.end() || !on->is_boolean()) throw refusal("\"on\" is true or false");
    card.acknowledge_only = on->get<bool>();
    return done();
}

json describe_traffic(const card &card) {
    return {{"rate", card.traffic.packets_per_second}, {"frozen", card.traffic.frozen}};
}

json steer_traffic(card &card, const server_view &, const json &request) {
    allow_members(request, {"rate", "frozen", "advance_ms"});
    const auto rate = number_member(request, "rate", 0, NPRM_SIMCARD_TRAFFIC_MAX);
    const auto advance_ms = number_member(request, "advance_ms", 0, NPRM_SIMCARD_ADVANCE_MS_MAX);
    const auto frozen = request.find("frozen");
    if (frozen != request.end() && !frozen->is_boolean()) throw refusal("\"frozen\" is true or false");
    if (rate) card.traffic.packets_per_second = *rate;
    if (frozen != request.end()) card.traffic.frozen = frozen->get<bool>();
    if (advance_ms) card.advance(std::chrono::milliseconds(*advance_ms));
    json answer = done();
    answer["traffic"] = describe_traffic(card);
    return answer;
}

json reset(card &card, const server_view &, const json &request) {
    allow_members(request, {});
    card.reset();
    return done();
}

json ask_model(card &, const server_view &, const json &request) {
    allow_members(request, {"component", "question"});
    const auto number = component_member(request);
    if (!number) throw refusal("\"component\" tells whose state is asked for");
    const component_row &component = *find_component(*number);
    if (component.model->ask == nullptr) throw refusal(std::string("the model of ") + component.name + " answers no questions");
    const auto question = request.find("question");
    if (question == request.end() || !question->is_object()) throw refusal("an object \"question\" is needed");
    try {
        json answer = done();
        answer["answer"] = component.model->ask(*question);
        return answer;
    } catch (const std::invalid_argument &why) {
        throw refusal(why.what());
    }
}

json describe_components(const card &card) {
    json components = json::array();
    for (const component_row &component : served_components())
        components.push_back({{"component", component.number},
                              {"name", component.name},
                              {"requests", card.count(component).requests},
                              {"refused", card.count(component).refused}});
    return components;
}

json describe_faults(const card &card) {
    json faults = json::array();
    for (const active_fault &fault : card.faults.active())
        faults.push_back({{"kind", fault.kind->name},
                          {"component", fault.component ? json(find_component(*fault.component)->name) : json()},
                          {"remaining", fault.remaining},
                          {"value", fault.value ? json(*fault.value) : json()},
                          {"seed", fault.seed}});
    return faults;
}

json describe_models() {
    json models = json::object();
    for (const component_row &component : served_components())
        models[component.name] = component.model->describe();
    return models;
}

json tell_status(card &card, const server_view &server, const json &request) {
    allow_members(request, {});
    return {{"ok", true},
            {"pid", getpid()},
            {"directory", server.directory},
            {"ready", server.ready},
            {"segment_removed", server.segment_removed},
            {"acknowledge_only", card.acknowledge_only},
            {"traffic", describe_traffic(card)},
            {"connections", server.transport.connections},
            {"requests", server.transport.requests},
            {"replies", server.transport.replies},
            {"malformed", server.transport.malformed},
            {"lost_replies", server.transport.lost_replies},
            {"dropped_lines", server.dropped_lines},
            {"components", describe_components(card)},
            {"faults", describe_faults(card)},
            {"models", describe_models()}};
}

struct control_command {
    const char *name;
    json (*run)(card &, const server_view &, const json &request);
};
constexpr control_command commands[] = {
    {"status", tell_status}, {"fault", add_fault},       {"acknowledge-only", set_acknowledge_only},
    {"reset", reset},        {"traffic", steer_traffic}, {"ask", ask_model},
};

json run(card &card, const server_view &server, std::string_view text) {
    const json request = parse(text);
    const std::string name = text_member(request, "command");
    const auto *command = std::ranges::find(commands, name, [](const control_command &row) { return std::string(row.name); });
    if (command == std::end(commands)) throw refusal("there is no command \"" + name + "\"; there are " + names_of(commands));
    return command->run(card, server, request);
}

std::string text_of(const json &answer) {
    return answer.dump(-1, ' ', false, json::error_handler_t::replace);
}

std::string refused(const std::string &why) {
    return text_of({{"ok", false}, {"error", why.substr(0, 1000)}});
}

}  // namespace

std::string answer_control(card &card, const server_view &server, std::string_view request) {
    try {
        std::string answer = text_of(run(card, server, request));
        return answer.size() <= NPRM_SIMCARD_CONTROL_MAX ? answer : refused("the answer is longer than a datagram may be");
    } catch (const refusal &why) {
        return refused(why.what());
    } catch (const json::exception &why) {
        return refused(std::string("the request is not JSON: ") + why.what());
    }
}
