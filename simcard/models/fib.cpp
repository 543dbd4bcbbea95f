// The forwarding table: adds, reads, deletes, looks up and replaces routes; a message does all of its records or none.

#include "fib.h"

#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include <arpa/inet.h>

#include <nlohmann/json.hpp>

#include "fib_table.h"
#include "simcard/nprm_fib_fields.h"

namespace {

using v4_table = fib_table<4>;
using v6_table = fib_table<16>;

struct fib_state {
    size_t capacity = 0;
    v4_table v4;
    v6_table v6;

    size_t size() const { return v4.size() + v6.size(); }
};
fib_state state;

// Runs the function with the version's table and its address.  Requires: version is 4 or 6.
template <class function>
auto with_table(uint8_t version, const uint8_t *bytes, function run) {
    if (version == NPRM_FIB_IPV4) {
        ip_address<4> address;
        std::memcpy(address.data(), bytes, address.size());
        return run(state.v4, address);
    }
    ip_address<16> address;
    std::memcpy(address.data(), bytes, address.size());
    return run(state.v6, address);
}

template <size_t bytes>
fib_route as_wire(const typename fib_table<bytes>::route &route) {
    fib_route wire = {};
    wire.prefix.u8_0 = bytes == 4 ? NPRM_FIB_IPV4 : NPRM_FIB_IPV6;
    wire.prefix.u8_1 = route.length;
    std::memcpy(wire.prefix.address, route.address.data(), bytes);
    wire.nexthop = route.nexthop;
    return wire;
}

bool is_version(uint8_t version) {
    return version == NPRM_FIB_IPV4 || version == NPRM_FIB_IPV6;
}

bool is_prefix(const nprm_fib_prefix &prefix) {
    return with_table(prefix.u8_0, prefix.address, [&](const auto &table, const auto &address) {
        return prefix.u8_1 <= table.length_max && masked(address, prefix.u8_1) == address;
    });
}

// What a record changed, so that it can be taken back.
struct change {
    const nprm_fib_prefix *prefix;
    std::optional<nprm_fib_nexthop> before;  // none: the prefix was not there
};

nprm_fib_nexthop *find(const nprm_fib_prefix &prefix) {
    return with_table(prefix.u8_0, prefix.address,
                      [&](auto &table, const auto &address) { return table.find(address, prefix.u8_1); });
}
void insert(const nprm_fib_prefix &prefix, const nprm_fib_nexthop &nexthop) {
    with_table(prefix.u8_0, prefix.address, [&](auto &table, const auto &address) { table.insert(address, prefix.u8_1, nexthop); });
}
void remove(const nprm_fib_prefix &prefix) {
    with_table(prefix.u8_0, prefix.address, [&](auto &table, const auto &address) { table.remove(address, prefix.u8_1); });
}

// Backwards, because records of one message may name the same prefix.
void take_back(const std::vector<change> &changes) {
    for (auto done = changes.rbegin(); done != changes.rend(); ++done) {
        nprm_fib_nexthop *there = find(*done->prefix);
        if (!done->before)
            remove(*done->prefix);
        else if (there != nullptr)
            *there = *done->before;
        else
            insert(*done->prefix, *done->before);
    }
}

// One record each: answers in place and adds what it changed.  The answer begins as the request's record.
using serve_record = uint32_t (*)(const nprm_if_fib_record &from, nprm_if_fib_record &answer, std::vector<change> &changes);

uint32_t write_new(const nprm_if_fib_record &from, std::vector<change> &changes) {
    if (state.size() >= state.capacity) return NPRM_ERROR_IF_WRITE_FIB;
    insert(from.prefix, from.nexthop);
    changes.push_back({&from.prefix, std::nullopt});
    return NPRM_OK;
}

uint32_t add(const nprm_if_fib_record &from, nprm_if_fib_record &, std::vector<change> &changes) {
    if (find(from.prefix) != nullptr) return NPRM_ERROR_IF_EXIST;
    return write_new(from, changes);
}

uint32_t replace(const nprm_if_fib_record &from, nprm_if_fib_record &, std::vector<change> &changes) {
    nprm_fib_nexthop *there = find(from.prefix);
    if (there == nullptr) return write_new(from, changes);
    changes.push_back({&from.prefix, *there});
    *there = from.nexthop;
    return NPRM_OK;
}

uint32_t erase(const nprm_if_fib_record &from, nprm_if_fib_record &answer, std::vector<change> &changes) {
    const nprm_fib_nexthop *there = find(from.prefix);
    if (there == nullptr) return NPRM_ERROR_IF_NOT_EXIST;
    answer.nexthop = *there;
    changes.push_back({&from.prefix, *there});
    remove(from.prefix);
    return NPRM_OK;
}

uint32_t read(const nprm_if_fib_record &from, nprm_if_fib_record &answer, std::vector<change> &) {
    const nprm_fib_nexthop *there = find(from.prefix);
    if (there == nullptr) return NPRM_ERROR_IF_NOT_EXIST;
    answer.nexthop = *there;
    return NPRM_OK;
}

uint32_t look_up_record(const nprm_if_fib_record &from, nprm_if_fib_record &answer, std::vector<change> &) {
    const auto found = fib::look_up(from.prefix.u8_0, from.prefix.address);
    if (!found) return NPRM_ERROR_IF_NOT_EXIST;
    answer.prefix = found->prefix;
    answer.nexthop = found->nexthop;
    return NPRM_OK;
}

constexpr struct {
    uint32_t action;
    bool takes_prefix;  // and not a bare address
    serve_record serve;
} actions[] = {
    {NPRM_FIB_ADD, true, add},         {NPRM_FIB_READ, true, read},
    {NPRM_FIB_DELETE, true, erase},    {NPRM_FIB_LOOK_UP, false, look_up_record},
    {NPRM_FIB_REPLACE, true, replace},
};

uint8_t version_of(const std::string &name) {
    return name == "ipv6" ? NPRM_FIB_IPV6 : NPRM_FIB_IPV4;
}

nlohmann::json answer_count(const nlohmann::json &whose) {
    if (whose == "all") return fib::count();
    if (whose == "ipv4" || whose == "ipv6") return fib::count(version_of(whose));
    throw std::invalid_argument(R"("count" is "all", "ipv4" or "ipv6")");
}

nlohmann::json answer_look_up(const nlohmann::json &asked) {
    const std::string text = asked.is_string() ? asked.get<std::string>() : "";
    uint8_t address[16];
    uint8_t version = NPRM_FIB_IPV4;
    if (inet_pton(AF_INET, text.c_str(), address) != 1) {
        version = NPRM_FIB_IPV6;
        if (inet_pton(AF_INET6, text.c_str(), address) != 1)
            throw std::invalid_argument(R"("lookup" is an IPv4 or IPv6 address, "192.0.2.1")");
    }
    const auto found = fib::look_up(version, address);
    if (!found) return nullptr;
    char words[INET6_ADDRSTRLEN];
    inet_ntop(version == NPRM_FIB_IPV4 ? AF_INET : AF_INET6, found->prefix.address, words, sizeof words);
    char mac[18];
    const uint8_t *bytes = found->nexthop.bytes_7;
    std::snprintf(mac, sizeof mac, "%02x:%02x:%02x:%02x:%02x:%02x", bytes[0], bytes[1], bytes[2], bytes[3], bytes[4], bytes[5]);
    return {{"prefix", std::string(words) + "/" + std::to_string(found->prefix.u8_1)},
            {"mac", mac},
            {"uidb", uint32_t{found->nexthop.u16_5}},
            {"bytes", found->nexthop.u8_0}};
}

}  // namespace

size_t fib::capacity() {
    return state.capacity;
}

size_t fib::count() {
    return state.size();
}

size_t fib::count(uint8_t version) {
    return version == NPRM_FIB_IPV4 ? state.v4.size() : state.v6.size();
}

fib_route fib::at(size_t i) {
    return i < state.v4.size() ? as_wire<4>(state.v4.at(i)) : as_wire<16>(state.v6.at(i - state.v4.size()));
}

std::optional<fib_route> fib::look_up(uint8_t version, const uint8_t *address) {
    return with_table(version, address, []<size_t bytes>(const fib_table<bytes> &table, const ip_address<bytes> &bits) {
        const auto *found = table.look_up(bits);
        return found == nullptr ? std::nullopt : std::optional(as_wire<bytes>(*found));
    });
}

uint32_t serve_fib(const model_request &from, model_reply &reply) {
    const auto records = from.from<nprm_if_fib_record>(0);
    const auto *row = std::ranges::find(actions, records[0].action, [](const auto &action) { return action.action; });
    if (row == std::end(actions)) return NPRM_ERROR_PARAM;
    for (const nprm_if_fib_record &record : records) {
        if (record.action != row->action || !is_version(record.prefix.u8_0)) return NPRM_ERROR_PARAM;
        if (row->takes_prefix && !is_prefix(record.prefix)) return NPRM_ERROR_PARAM;
    }
    std::vector<change> changes;
    const auto answers = reply.from<nprm_if_fib_record>(0);
    for (size_t i = 0; i < records.size(); ++i) {
        answers[i] = records[i];
        answers[i].action = NPRM_OK;
        if (const uint32_t code = row->serve(records[i], answers[i], changes)) {
            take_back(changes);
            return code;
        }
    }
    return NPRM_OK;
}

void reset_fib(const card_configuration &configuration) {
    state = {};
    state.capacity = configuration.fib_prefixes;
}

nlohmann::json describe_fib() {
    return {{"capacity", state.capacity},
            {"ipv4", state.v4.size()},
            {"ipv6", state.v6.size()},
            {"bytes", state.v4.memory_bytes() + state.v6.memory_bytes()}};
}

nlohmann::json ask_fib(const nlohmann::json &question) {
    if (question.size() == 1 && question.contains("count")) return answer_count(question["count"]);
    if (question.size() == 1 && question.contains("lookup")) return answer_look_up(question["lookup"]);
    throw std::invalid_argument(R"(the FIB answers {"lookup": ADDRESS} and {"count": "all", "ipv4" or "ipv6"})");
}
