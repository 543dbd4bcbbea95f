// Reads routes, line by line, into FIB records.

#include "fib_routes.h"

#include "simcard/nprm_fib_fields.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include <arpa/inet.h>

namespace {

constexpr const char *expected_prefix = "A.B.C.D/LEN, an IPv6 prefix, or default";

struct parsed_address {
    uint8_t version;
    uint8_t bytes[16];
};

std::optional<parsed_address> parse_address(std::string_view word) {
    parsed_address address = {NPRM_FIB_IPV4, {}};
    char text[INET6_ADDRSTRLEN];
    if (word.size() >= sizeof text || word.find('\0') != std::string_view::npos) return std::nullopt;
    text[word.copy(text, sizeof text - 1)] = '\0';
    if (inet_pton(AF_INET, text, address.bytes) == 1) return address;
    address.version = NPRM_FIB_IPV6;
    if (inet_pton(AF_INET6, text, address.bytes) == 1) return address;
    return std::nullopt;
}

nprm_fib_prefix prefix_from(const parsed_address &address, uint32_t length) {
    nprm_fib_prefix prefix = {address.version, static_cast<uint8_t>(length), {}};
    std::memcpy(prefix.address, address.bytes, sizeof prefix.address);
    return prefix;
}

uint32_t length_max(uint8_t version) {
    return version == NPRM_FIB_IPV4 ? 32 : 128;
}

// The prefix with the bits behind its length 0.
nprm_fib_prefix masked(nprm_fib_prefix prefix) {
    for (uint32_t i = 0; i < sizeof prefix.address; ++i) {
        const int kept = std::clamp<int>(prefix.u8_1 - static_cast<int>(8 * i), 0, 8);
        prefix.address[i] = static_cast<uint8_t>(prefix.address[i] & ~(0xFFU >> kept));
    }
    return prefix;
}

bool is_mac(std::string_view word, uint8_t *mac) {
    if (word.size() != 17) return false;
    for (size_t i = 0; i < 6; ++i) {
        const char *at = word.data() + 3 * i;
        if (i != 0 && at[-1] != ':') return false;
        const auto [end, error] = std::from_chars(at, at + 2, mac[i], 16);
        if (error != std::errc{} || end != at + 2) return false;
    }
    return true;
}

bool looks_like_mac(std::string_view word) {
    return std::ranges::count(word, ':') == 5 && word.find("::") == std::string_view::npos;
}

enum class kind { forwarded, of_the_host, refusing };
constexpr struct {
    std::string_view word;
    kind is;
} kinds[] = {
    {"unicast", kind::forwarded},     {"local", kind::of_the_host},   {"broadcast", kind::of_the_host},
    {"multicast", kind::of_the_host}, {"anycast", kind::of_the_host}, {"blackhole", kind::refusing},
    {"unreachable", kind::refusing},  {"prohibit", kind::refusing},   {"throw", kind::refusing},
};

// A prefix, or "default", which is_default tells.
std::optional<nprm_fib_prefix> next_prefix(word_reader &words, bool &is_default) {
    const uint32_t column = words.column();
    is_default = words.peek() == "default";
    const std::string_view word = words.next();
    if (is_default) return nprm_fib_prefix{NPRM_FIB_IPV4, 0, {}};
    word_error error;
    const auto prefix = prefix_of(word, error);
    if (!prefix) words.fail_at(column + static_cast<uint32_t>(error.offset), error.message);
    return prefix;
}

std::optional<fib_entry> plain_route(word_reader &words, const nprm_fib_prefix &prefix) {
    const uint32_t mac_column = words.column();
    const std::string_view mac = words.next();
    if (words.at_end()) {
        words.fail("a UIDB is missing: 0 to 65535");
        return std::nullopt;
    }
    const uint32_t uidb_column = words.column();
    word_error error;
    const auto nexthop = nexthop_of(mac, words.next(), error);
    if (!nexthop)
        words.fail_at(error.offset == 0 ? mac_column : uidb_column, error.message);
    else if (!words.at_end())
        words.fail(in_quotes(words.peek()) + " is not expected here: the route is complete");
    else
        return fib_entry{prefix, *nexthop};
    return std::nullopt;
}

}  // namespace

std::optional<nprm_fib_prefix> address_of(std::string_view word, word_error &error) {
    const auto address = parse_address(word);
    if (address) return prefix_from(*address, length_max(address->version));
    error = {0, in_quotes(word) + " is no address: A.B.C.D or IPv6"};
    return std::nullopt;
}

std::optional<nprm_fib_prefix> prefix_of(std::string_view word, word_error &error) {
    const size_t slash = std::min(word.find('/'), word.size());
    const auto address = parse_address(word.substr(0, slash));
    if (!address) {
        error = {0, in_quotes(word.substr(0, slash)) + " is no prefix: " + expected_prefix};
        return std::nullopt;
    }
    const uint32_t most = length_max(address->version);
    if (slash == word.size()) return prefix_from(*address, most);
    const auto length = decimal<uint32_t>(word.substr(slash + 1));
    if (!length || *length > most) {
        error = {slash + 1, in_quotes(word.substr(slash + 1)) + " is no prefix length: 0 to " + std::to_string(most)};
        return std::nullopt;
    }
    const nprm_fib_prefix prefix = prefix_from(*address, *length);
    const nprm_fib_prefix network = masked(prefix);
    if (std::memcmp(&network, &prefix, sizeof prefix) == 0) return prefix;
    error = {0, in_quotes(word) + " has bits behind its length: " + prefix_text(network) + " is the prefix"};
    return std::nullopt;
}

std::optional<nprm_fib_nexthop> nexthop_of(std::string_view mac, std::string_view uidb, word_error &error) {
    nprm_fib_nexthop nexthop = {};
    if (!is_mac(mac, nexthop.bytes_7)) {
        error = {0, in_quotes(mac) + " is no MAC address: 02:00:00:00:00:01"};
        return std::nullopt;
    }
    const auto number = decimal<uint16_t>(uidb);
    if (!number) {
        error = {1, in_quotes(uidb) + " is no UIDB: 0 to 65535"};
        return std::nullopt;
    }
    nexthop.u16_5 = *number;
    return nexthop;
}

void nexthop_names::read(std::string_view text, std::vector<text_error> &errors) {
    each_line(text, errors, [&](word_reader &words) {
        const uint32_t column = words.column();
        const std::string name(words.next());
        const uint32_t mac_column = words.column();
        const std::string_view mac = words.next();
        const uint32_t uidb_column = words.column();
        word_error error;
        const auto nexthop = nexthop_of(mac, words.next(), error);
        if (!nexthop)
            words.fail_at(error.offset == 0 ? mac_column : uidb_column, error.message);
        else if (!words.at_end())
            words.fail(in_quotes(words.peek()) + " is not expected here: NAME MAC UIDB is all");
        else if (!names_.emplace(name, *nexthop).second)
            words.fail_at(column, in_quotes(name) + " comes twice");
    });
}

const nprm_fib_nexthop *nexthop_names::find(const std::string &gateway, const std::string &device) const {
    std::string both = gateway;
    both.append("%").append(device);
    for (const std::string &name : {both, gateway, device})
        if (const auto found = names_.find(name); !name.empty() && found != names_.end()) return &found->second;
    return other_ ? &*other_ : nullptr;
}

std::optional<fib_entry> route_reader::read(std::string_view line, uint32_t number, std::vector<text_error> &errors) {
    std::optional<fib_entry> entry;
    one_line(line, number, errors, [&](word_reader &words) {
        if (words.peek() != "nexthop") end(errors);
        entry = read_words(words, line);
    });
    return entry;
}

void route_reader::end(std::vector<text_error> &errors) {
    if (unfinished_) errors.push_back(unfinished_->error);
    unfinished_.reset();
    nexthops_may_follow_ = false;
}

std::optional<fib_entry> route_reader::read_words(word_reader &words, std::string_view line) {
    if (words.take("nexthop")) {
        if (unfinished_) {
            const route_head head = unfinished_->head;
            unfinished_.reset();
            return read_nexthops(words, head, line);
        }
        if (nexthops_may_follow_)
            ++left_out_;
        else
            words.fail_at(1, "a nexthop line needs a route in a line before it");
        return std::nullopt;
    }
    const auto *found = std::ranges::find(kinds, words.peek(), [](const auto &row) { return row.word; });
    if (found != std::end(kinds)) {
        if (found->is == kind::of_the_host) {
            ++left_out_;
            return std::nullopt;
        }
        if (found->is == kind::refusing) {
            words.fail(in_quotes(words.peek()) + " routes have no next hop, and a FIB record needs one: take the line out");
            return std::nullopt;
        }
        words.next();
        if (words.at_end()) {
            words.fail(std::string("a prefix is missing: ") + expected_prefix);
            return std::nullopt;
        }
    }
    bool is_default = false;
    auto prefix = next_prefix(words, is_default);
    if (!prefix) return std::nullopt;
    if (looks_like_mac(words.peek())) {
        if (is_default && default_is_ipv6_) prefix->u8_0 = NPRM_FIB_IPV6;
        return plain_route(words, *prefix);
    }
    return read_nexthops(words, {*prefix, is_default, false, 0}, line);
}

// The first gateway and device of what is left of the line.  Most other attributes of a route say nothing that a FIB record holds.
std::optional<fib_entry> route_reader::read_nexthops(word_reader &words, route_head head, std::string_view line) {
    const uint32_t column = words.column();
    std::string gateway, device, family;
    uint32_t gateway_column = 0, device_column = column;
    while (!words.at_end()) {
        const std::string_view word = words.next();
        if (word == "nexthop" && (!gateway.empty() || !device.empty())) {
            ++left_out_;
            break;
        }
        if (word == "via" && gateway.empty()) {
            if (words.peek() == "inet" || words.peek() == "inet6") family = words.next();
            gateway_column = words.column();
            gateway = words.next();
        }
        if (word == "dev" && device.empty()) {
            device_column = words.column();
            device = words.next();
        }
        if (word == "metric") head.metric = decimal<uint32_t>(words.next()).value_or(0);
        if (word == "from" || word == "tos" || (word == "table" && words.peek() != "main")) head.is_special = true;
    }
    nexthops_may_follow_ = true;
    if (gateway.empty() && device.empty()) {
        unfinished_ = {head,
                       {words.line(), column, "a next hop is missing: MAC UIDB, or via GATEWAY or dev DEVICE", std::string(line)}};
        return std::nullopt;
    }
    if (head.is_special) {
        ++left_out_;
        return std::nullopt;
    }
    const auto address = parse_address(gateway);
    if (!gateway.empty() && !address) {
        words.fail_at(gateway_column, in_quotes(gateway) + " is no gateway: A.B.C.D or IPv6");
        return std::nullopt;
    }
    // "via inet6" is said of a gateway that is not of the route's own family.
    const uint8_t own_version = default_is_ipv6_ ? NPRM_FIB_IPV6 : NPRM_FIB_IPV4;
    const uint8_t gateway_version = address ? address->version : own_version;
    if (head.is_default) head.prefix.u8_0 = gateway_version;
    if (head.is_default && family == "inet6") head.prefix.u8_0 = NPRM_FIB_IPV4;
    if (head.is_default && family == "inet") head.prefix.u8_0 = NPRM_FIB_IPV6;
    return named(words, head, gateway, device, gateway.empty() ? device_column : gateway_column);
}

// Routes to one prefix differ by metric, and ip(8) prints the one that holds first.
bool route_reader::is_repeated(word_reader &words, const route_head &head, uint32_t column) {
    const bool is = last_ && std::memcmp(&last_->prefix, &head.prefix, sizeof head.prefix) == 0;
    if (is && head.metric < last_->metric)
        words.fail_at(column, "the metric is lower than that of the route to " + prefix_text(head.prefix) +
                                  " before it: put the route with the lowest metric first");
    else if (is)
        ++left_out_;
    else
        last_ = head;
    return is;
}

std::optional<fib_entry> route_reader::named(word_reader &words, const route_head &head, const std::string &gateway,
                                             const std::string &device, uint32_t column) {
    if (is_repeated(words, head, column)) return std::nullopt;
    if (const nprm_fib_nexthop *found = names_.find(gateway, device)) return fib_entry{head.prefix, *found};
    const std::string which = gateway.empty() ? "device " + device : gateway + (device.empty() ? "" : " on " + device);
    words.fail_at(column, "no MAC address and UIDB are known for " + printable(which) +
                              ": name it in a file for --nexthops, or give --mac and --uidb");
    return std::nullopt;
}

std::string prefix_text(const nprm_fib_prefix &prefix) {
    char text[INET6_ADDRSTRLEN] = "?";
    inet_ntop(prefix.u8_0 == NPRM_FIB_IPV4 ? AF_INET : AF_INET6, prefix.address, text, sizeof text);
    return std::string(text) + "/" + std::to_string(prefix.u8_1);
}

std::string mac_text(const nprm_fib_nexthop &nexthop) {
    char text[18];
    const uint8_t *mac = nexthop.bytes_7;
    std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
    return text;
}
