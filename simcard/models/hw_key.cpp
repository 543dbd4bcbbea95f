// Parses the key text of searches and look-ups, and compares entries with it.

#include "hw_key.h"

#include <algorithm>
#include <charconv>

#include <arpa/inet.h>

std::optional<std::vector<uint8_t>> ip_bytes(std::string_view text) {
    const std::string terminated(text);
    std::vector<uint8_t> bytes(16);
    if (inet_pton(AF_INET6, terminated.c_str(), bytes.data()) == 1) return bytes;
    bytes.resize(4);
    if (inet_pton(AF_INET, terminated.c_str(), bytes.data()) == 1) return bytes;
    return std::nullopt;
}

std::optional<std::vector<uint8_t>> mac_bytes(std::string_view text) {
    if (text.size() != 17) return std::nullopt;
    std::vector<uint8_t> bytes;
    for (size_t at = 0; at < text.size(); at += 3) {
        uint8_t byte = 0;
        const char *end = text.data() + at + 2;
        const auto [stopped, error] = std::from_chars(text.data() + at, end, byte, 16);
        if (error != std::errc{} || stopped != end || (at + 2 < text.size() && text[at + 2] != ':')) return std::nullopt;
        bytes.push_back(byte);
    }
    return bytes;
}

std::optional<uint64_t> key_number(std::string_view text) {
    const bool is_hex = text.starts_with("0x") || text.starts_with("0X");
    if (is_hex) text.remove_prefix(2);
    uint64_t number = 0;
    const auto [stopped, error] = std::from_chars(text.data(), text.data() + text.size(), number, is_hex ? 16 : 10);
    if (error != std::errc{} || stopped != text.data() + text.size()) return std::nullopt;
    return number;
}

bool hw_key::add_each(std::string_view field, std::span<const uint8_t> values, const hw_entry &any) {
    for (size_t i = 0; i < values.size(); ++i) {
        std::string name = element_name(field, i);
        if (!any.value(name)) return false;
        conditions_.push_back({std::move(name), values[i]});
    }
    return true;
}

bool hw_key::add(std::string_view field, std::string_view value, const hw_entry &any) {
    const bool is_one = any.value(field).has_value();
    if (const auto number = key_number(value)) {
        if (is_one) conditions_.push_back({std::string(field), *number});
        return is_one;
    }
    if (const auto mac = mac_bytes(value)) return add_each(field, *mac, any);
    const auto address = ip_bytes(value);
    if (!address) return false;
    if (!is_one) return add_each(field, *address, any);
    if (address->size() != 4) return false;
    uint64_t word = 0;
    for (const uint8_t byte : *address)
        word = word << 8 | byte;
    conditions_.push_back({std::string(field), word});
    return true;
}

std::optional<hw_key> hw_key::parse(std::string_view text, uint32_t type) {
    const hw_entry any(type);
    hw_key key;
    while (true) {
        text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
        if (text.empty()) return key;
        const std::string_view word = text.substr(0, text.find(' '));
        const size_t equals = word.find('=');
        if (equals == std::string_view::npos) return std::nullopt;
        if (!key.add(word.substr(0, equals), word.substr(equals + 1), any)) return std::nullopt;
        text.remove_prefix(word.size());
    }
}

bool hw_key::matches(const hw_entry &entry) const {
    return std::ranges::all_of(conditions_, [&](const condition &one) { return entry.value(one.field) == one.value; });
}
