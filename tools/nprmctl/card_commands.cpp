// card status, fault, reset: the simulated card's control socket.

#include "failure.h"
#include "invocation.h"
#include "platform/local/ruv_local.h"
#include "simcard/nprm_simcard.h"

#include <cerrno>
#include <cstring>

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

namespace {

using nlohmann::ordered_json;

constexpr timeval patience = {5, 0};
constexpr const char *start_hint = "start a card: nprm-simcard";

class control_socket {
  public:
    control_socket() : descriptor_(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0)) {}
    ~control_socket() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    control_socket(const control_socket &) = delete;
    control_socket &operator=(const control_socket &) = delete;
    int descriptor() const { return descriptor_; }

  private:
    int descriptor_;
};

failure no_card(const std::string &why) {
    return {exit_refused, "no simulated card answers: " + why, start_hint, {}, {}, {}, {}};
}

failure no_card_at(const char *directory, int error) {
    char text[5000];
    ruv_local_explain(error, directory, text, sizeof text);
    return no_card(text);
}

sockaddr_un control_address() {
    char directory[4096];
    int error = ruv_local_directory(directory, sizeof directory);
    if (error != 0) throw no_card_at("", error);
    error = ruv_local_check_directory(directory);
    if (error != 0) throw no_card_at(directory, error);
    sockaddr_un address;
    error = ruv_local_address(&address, directory, RUV_LOCAL_CONTROL);
    if (error != 0) throw no_card_at(directory, error);
    return address;
}

// One datagram out, one back.
std::string exchange(const std::string &request) {
    const sockaddr_un address = control_address();
    const control_socket control;
    const int descriptor = control.descriptor();
    if (descriptor < 0) throw no_card(std::strerror(errno));
    setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    if (connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        send(descriptor, request.data(), request.size(), MSG_NOSIGNAL) < 0)
        throw no_card(std::string(address.sun_path) + ": " + std::strerror(errno));
    std::string answer(NPRM_SIMCARD_CONTROL_MAX, '\0');
    const ssize_t bytes = recv(descriptor, answer.data(), answer.size(), MSG_TRUNC);
    if (bytes < 0) throw no_card(std::string(address.sun_path) + ": " + std::strerror(errno));
    if (bytes == 0) throw no_card("it ended before it answered");
    if (static_cast<size_t>(bytes) > answer.size()) throw no_card("its answer is longer than agreed");
    answer.resize(static_cast<size_t>(bytes));
    return answer;
}

// The card's answer to a request; throws when it is none, or a refusal.
ordered_json ask_card(const ordered_json &request) {
    const std::string text = exchange(request.dump(-1, ' ', false, ordered_json::error_handler_t::replace));
    ordered_json answer = ordered_json::parse(text, nullptr, false);
    if (!answer.is_object() || !answer.contains("ok") || !answer["ok"].is_boolean()) throw no_card("its answer cannot be read");
    if (answer["ok"].get<bool>()) {
        answer.erase("ok");
        return answer;
    }
    const bool tells = answer.contains("error") && answer["error"].is_string();
    throw failure{exit_refused, "the card says: " + (tells ? answer["error"].get<std::string>() : "no"), {}, {}, {}, {}, {}};
}

std::string text_of(const ordered_json &value) {
    if (value.is_null()) return "-";
    if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
    if (value.is_string()) return printable(value.get<std::string>());
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
        headings.push_back(printable(name));
        to_the_right.push_back(value.is_number());
    }
    std::vector<std::vector<std::string>> cells;
    for (const ordered_json &row : rows) {
        std::vector<std::string> line;
        for (const auto &[name, value] : rows[0].items())
            line.push_back(row.contains(name) ? text_of(row[name]) : "");
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
        const std::string full = title + printable(name);
        if (value.is_object())
            take_apart(value, full + " ", parts);
        else if (is_table(value))
            parts.tables += "\n" + full + "\n" + table_text(value);
        else
            parts.plain.emplace_back(full, value.is_array() && value.empty() ? "none" : text_of(value));
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
    call.text("KIND", kind, "what goes wrong; none ends all faults, an unknown word lists the kinds");
    call.number("--count COUNT", count, 1, UINT32_MAX, "how many messages it hits, 1 when not given");
    call.text("--component NAME", component, "the component it hits, by number or name such as TCAM; all when not given");
    call.number("--value VALUE", value, 0, UINT32_MAX, "what the kind needs: milliseconds, bytes, a result code");
    call.number("--seed SEED", seed, 0, UINT32_MAX, "makes the random ones repeatable");
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

int card_reset(invocation &call) {
    call.parse();
    print_answer(call, ask_card({{"command", "reset"}}), "the card is as it was at its start\n");
    return exit_done;
}
