// Reads and writes addresses of services.

#include "service_text.h"

#include "failure.h"
#include "invocation.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include <arpa/inet.h>

namespace {

bool read_ipv4(const std::string &text, service_address &address) {
    in_addr dotted = {};
    if (inet_pton(AF_INET, text.c_str(), &dotted) != 1) return false;
    const uint32_t number = ntohl(dotted.s_addr);
    std::memcpy(address.bytes, &number, sizeof number);
    address.kind = address_kind::ipv4;
    return true;
}

bool read_ipv6(const std::string &text, service_address &address) {
    if (inet_pton(AF_INET6, text.c_str(), address.bytes) != 1) return false;
    address.kind = address_kind::ipv6;
    return true;
}

constexpr size_t mac_bytes = 6;

bool read_mac(const std::string &text, uint8_t *bytes) {
    constexpr size_t written_bytes = 17;  // 00:11:22:33:44:55
    if (text.size() != written_bytes) return false;
    for (size_t i = 0; i < mac_bytes; ++i) {
        const char *first = text.data() + 3 * i;
        const auto [end, error] = std::from_chars(first, first + 2, bytes[i], 16);
        if (error != std::errc{} || end != first + 2 || (i + 1 < mac_bytes && *end != ':')) return false;
    }
    return true;
}

}  // namespace

service_address address_argument(const invocation &call, const char *name, const std::string &text, allowed kinds) {
    const bool whole = text.find('\0') == std::string::npos;
    if (service_address address; whole && read_ipv4(text, address)) return address;
    if (service_address address; whole && read_ipv6(text, address)) return address;
    if (kinds == allowed::any && text == "none") return {};
    if (service_address address; kinds == allowed::any && read_mac(text, address.bytes)) {
        address.kind = address_kind::mac;
        return address;
    }
    throw usage_error(std::string(name) + " is " + in_quotes(text) + ", it must be an IPv4 or IPv6 address" +
                          (kinds == allowed::any ? ", a MAC address such as 00:11:22:33:44:55, or none" : ""),
                      usage_of(call.row()));
}

service_address second_address(const invocation &call, const char *name, const std::string &text, address_kind first) {
    if (text.empty()) return {};
    if (first == address_kind::mac || first == address_kind::none)
        throw usage_error(std::string(name) + " is " + in_quotes(text) + ", it is given behind an IP address only",
                          usage_of(call.row()));
    const service_address address = address_argument(call, name, text, allowed::ip);
    if (address.kind != first)
        throw usage_error(std::string(name) + " is " + in_quotes(text) + ", it must be of the same IP version as the first address",
                          usage_of(call.row()));
    return address;
}

std::array<uint8_t, 6> mac_argument(const invocation &call, const char *name, const std::string &text) {
    std::array<uint8_t, mac_bytes> address = {};
    if (read_mac(text, address.data())) return address;
    throw usage_error(
        std::string(name) + ": " + in_quotes(text) + " is no MAC address: six bytes in hexadecimal, such as 02:00:00:00:00:01",
        usage_of(call.row()));
}

cell address_cell(address_kind kind, const uint8_t (&bytes)[16]) {
    if (kind == address_kind::none || std::ranges::all_of(bytes, [](uint8_t byte) { return byte == 0; })) return {};
    char text[INET6_ADDRSTRLEN] = {};
    uint32_t number = 0;
    switch (kind) {
        case address_kind::ipv4:
            std::memcpy(&number, bytes, sizeof number);
            number = htonl(number);
            inet_ntop(AF_INET, &number, text, sizeof text);
            break;
        case address_kind::ipv6:
            inet_ntop(AF_INET6, bytes, text, sizeof text);
            break;
        default:
            std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", bytes[0], bytes[1], bytes[2], bytes[3], bytes[4],
                          bytes[5]);
    }
    return std::string(text);
}

cell kind_cell(address_kind kind) {
    switch (kind) {
        case address_kind::ipv4:
            return std::string("IPv4");
        case address_kind::ipv6:
            return std::string("IPv6");
        case address_kind::mac:
            return std::string("MAC");
        default:
            return {};
    }
}

bool first_of(const invocation &call, const char *name, const std::string &text, const char *first, const char *second) {
    if (text == first || text == second) return text == first;
    throw usage_error(std::string(name) + " is " + in_quotes(text) + ", it must be " + first + " or " + second,
                      usage_of(call.row()));
}

std::string choices(value_words words) {
    std::string text;
    for (const char *word : words)
        text += (text.empty() ? "" : "|") + std::string(word);
    return text;
}

std::string word_of(value_words words, uint32_t value) {
    return value < words.size() ? words[value] : std::to_string(value);
}

uint32_t value_of(const invocation &call, const char *name, value_words words, const std::string &text, uint32_t most) {
    const auto found = std::ranges::find(words, text);
    if (found != words.end()) return static_cast<uint32_t>(found - words.begin());
    const auto number = decimal<uint32_t>(text);
    if (number && *number <= most) return *number;
    throw usage_error(std::string(name) + ": " + in_quotes(text) + " is none of " + choices(words) + ", and no number from 0 to " +
                          std::to_string(most),
                      usage_of(call.row()));
}
