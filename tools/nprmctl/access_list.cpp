// Access lists: reads rules, expands them into value/mask entries, and writes entries as rules again.

#include "access_list.h"

#include <cinttypes>
#include <cstdio>

#include <arpa/inet.h>

namespace {

struct named_protocol {
    const char *name;
    std::optional<uint8_t> number;
};
constexpr uint8_t tcp = 6, udp = 17;
constexpr named_protocol protocols[] = {{"ip", {}}, {"icmp", 1}, {"tcp", tcp}, {"udp", udp}};

struct named_action {
    const char *name;
    acl_action action;
};
constexpr named_action actions[] = {{"permit", acl_action::permit}, {"deny", acl_action::deny}, {"count", acl_action::count}};

bool has_ports(std::optional<uint8_t> protocol) {
    const uint8_t number = protocol.value_or(0);
    return number == tcp || number == udp;
}

bool read_action(word_reader &words, acl_action &action) {
    const uint32_t column = words.column();
    const std::string_view word = words.next();
    for (const named_action &row : actions)
        if (word == row.name) {
            action = row.action;
            return true;
        }
    words.fail_at(column, in_quotes(word) + " is no action: permit, deny or count");
    return false;
}

bool read_protocol(word_reader &words, std::optional<uint8_t> &protocol) {
    if (words.at_end()) {
        words.fail("a protocol is missing: tcp, udp, icmp, ip or 0 to 255");
        return false;
    }
    for (const named_protocol &row : protocols)
        if (words.take(row.name)) {
            protocol = row.number;
            return true;
        }
    protocol = decimal<uint8_t>(words.peek());
    if (!protocol) {
        words.fail(in_quotes(words.peek()) + " is no protocol: tcp, udp, icmp, ip or 0 to 255");
        return false;
    }
    words.next();
    return true;
}

bool read_address(word_reader &words, acl_side &side, const char *which) {
    if (words.at_end()) {
        words.fail(std::string("a ") + which + " is missing: A.B.C.D, A.B.C.D/LEN or any");
        return false;
    }
    if (words.take("any")) return true;
    const uint32_t column = words.column();
    const std::string_view word = words.next();
    const size_t slash = word.find('/');
    uint32_t bits = 32;
    if (slash != std::string_view::npos) {
        const auto length = decimal<uint32_t>(word.substr(slash + 1));
        if (!length || *length > 32) {
            words.fail_at(column + static_cast<uint32_t>(slash) + 1,
                          in_quotes(word.substr(slash + 1)) + " is no prefix length: 0 to 32");
            return true;
        }
        bits = *length;
    }
    in_addr address;
    const std::string dotted(word.substr(0, slash));
    if (dotted.find('\0') != std::string::npos || inet_pton(AF_INET, dotted.c_str(), &address) != 1) {
        words.fail_at(column, in_quotes(dotted) + " is no address: A.B.C.D, A.B.C.D/LEN or any");
        return true;
    }
    side.address_mask = bits == 0 ? 0 : ~uint32_t{0} << (32 - bits);
    side.address = ntohl(address.s_addr) & side.address_mask;
    return true;
}

bool read_port(word_reader &words, uint16_t &port) {
    if (words.at_end()) {
        words.fail("a port is missing: 0 to 65535");
        return false;
    }
    const auto number = decimal<uint16_t>(words.peek());
    if (!number) words.fail(in_quotes(words.peek()) + " is no port: 0 to 65535");
    port = number.value_or(0);
    words.next();
    return number.has_value();
}

void read_ports(word_reader &words, std::optional<uint8_t> protocol, acl_ports &ports) {
    const bool one = words.peek() == "eq";
    if (!one && words.peek() != "range") return;
    if (!has_ports(protocol)) words.fail("only tcp and udp have ports");
    words.next();
    const uint32_t first_column = words.column();
    const bool first_read = read_port(words, ports.first);
    if (one) {
        ports.last = ports.first;
        return;
    }
    if (!read_port(words, ports.last) || !first_read) return;
    if (ports.first > ports.last)
        words.fail_at(first_column, "the range " + std::to_string(ports.first) + " to " + std::to_string(ports.last) + " is empty");
}

void read_sides(word_reader &words, std::optional<uint8_t> protocol, acl_side &source, acl_side &destination) {
    if (!read_address(words, source, "source")) return;
    read_ports(words, protocol, source.ports);
    if (!read_address(words, destination, "destination")) return;
    read_ports(words, protocol, destination.ports);
    if (words.at_end()) return;
    const char *rest =
        words.peek() == "eq" || words.peek() == "range" ? " comes twice" : " is not expected here: the rule is complete";
    words.fail(in_quotes(words.peek()) + rest);
}

// What a packet carries in place of a side of a rule.
void check_single(word_reader &at, const acl_side &side, const char *which) {
    if (side.address_mask != ~uint32_t{0}) at.fail_at(1, std::string("a packet has one ") + which + " address: A.B.C.D");
    const bool given = side.ports != acl_ports{};
    if (given && side.ports.first != side.ports.last) at.fail_at(1, std::string("a packet has one ") + which + " port: eq N");
}

uint16_t single_port(const acl_side &side) {
    return side.ports == acl_ports{} ? uint16_t{0} : side.ports.first;
}

std::string address_text(uint32_t address, uint32_t mask) {
    if (mask == 0) return "any";
    char text[INET_ADDRSTRLEN + 4];
    std::snprintf(text, sizeof text, "%u.%u.%u.%u", address >> 24, address >> 16 & 0xFF, address >> 8 & 0xFF, address & 0xFF);
    if (mask == ~uint32_t{0}) return text;
    return std::string(text) + "/" + std::to_string(__builtin_popcount(mask));
}

std::string ports_text(uint16_t value, uint16_t mask) {
    if (mask == 0) return {};
    const auto last = static_cast<uint16_t>(value | static_cast<uint16_t>(~mask));
    if (last == value) return " eq " + std::to_string(value);
    return " range " + std::to_string(value) + " " + std::to_string(last);
}

// Ones, then zeros.
bool is_prefix(uint32_t mask) {
    return (~mask & (~mask + 1)) == 0;
}
bool is_prefix(uint16_t mask) {
    return is_prefix(0xFFFF0000u | mask);
}

bool rule_can_say(const nprm_tcam_acl_key &key, const nprm_tcam_acl_key &mask) {
    const bool outside = (key.u8_0 & ~mask.u8_0) != 0 || key.u8_1 != 0 || (key.u16_2 & ~mask.u16_2) != 0 ||
                         (key.u16_4 & ~mask.u16_4) != 0 || (key.u32_6 & ~mask.u32_6) != 0 || (key.u32_10 & ~mask.u32_10) != 0;
    if (outside || mask.u8_1 != 0 || (mask.u8_0 != 0 && mask.u8_0 != 0xFF)) return false;
    const bool ports = mask.u16_2 != 0 || mask.u16_4 != 0;
    if (ports && (mask.u8_0 == 0 || !has_ports(key.u8_0))) return false;
    return is_prefix(mask.u16_2) && is_prefix(mask.u16_4) && is_prefix(mask.u32_6) && is_prefix(mask.u32_10);
}

std::string protocol_text(uint8_t value, uint8_t mask) {
    for (const named_protocol &row : protocols)
        if (mask == 0 ? !row.number : row.number == value) return row.name;
    return std::to_string(value);
}

}  // namespace

access_list parse_access_list(std::string_view text) {
    access_list list;
    each_line(text, list.errors, [&list](word_reader &words) {
        const size_t errors_before = list.errors.size();
        acl_rule rule;
        rule.line = words.line();
        read_action(words, rule.action);
        if (read_protocol(words, rule.protocol)) read_sides(words, rule.protocol, rule.source, rule.destination);
        if (list.errors.size() == errors_before) list.rules.push_back(rule);
    });
    return list;
}

nprm_tcam_acl_key parse_packet(std::string_view text, std::vector<text_error> &errors) {
    word_reader words(text, 1, errors);
    std::optional<uint8_t> protocol;
    acl_side source, destination;
    if (!read_protocol(words, protocol)) return {};
    if (!protocol) words.fail_at(1, "a packet has one protocol: tcp, udp, icmp or 0 to 255");
    read_sides(words, protocol, source, destination);
    if (!errors.empty()) return {};
    check_single(words, source, "source");
    check_single(words, destination, "destination");
    if (!errors.empty()) return {};
    return {*protocol, 0, single_port(source), single_port(destination), source.address, destination.address};
}

std::vector<value_mask> expand_ports(const acl_ports &ports) {
    std::vector<value_mask> blocks;
    uint32_t at = ports.first;
    const uint32_t end = ports.last + 1u;
    while (at < end) {
        // The largest aligned block that begins here and ends inside.
        uint32_t size = at == 0 ? 65536u : at & (~at + 1);
        while (size > end - at)
            size /= 2;
        blocks.push_back({static_cast<uint16_t>(at), static_cast<uint16_t>(65536u - size)});
        at += size;
    }
    return blocks;
}

void expand_rule(const acl_rule &rule, std::vector<acl_entry> &entries) {
    acl_entry entry = {};
    entry.key.u8_0 = rule.protocol.value_or(0);
    entry.mask.u8_0 = rule.protocol ? 0xFF : 0;
    entry.key.u32_6 = rule.source.address;
    entry.mask.u32_6 = rule.source.address_mask;
    entry.key.u32_10 = rule.destination.address;
    entry.mask.u32_10 = rule.destination.address_mask;
    entry.result.flags[0] = static_cast<uint8_t>(rule.action);
    entry.result.u32_4 = rule.line;
    const std::vector<value_mask> destination_blocks = expand_ports(rule.destination.ports);
    for (const value_mask &source : expand_ports(rule.source.ports))
        for (const value_mask &destination : destination_blocks) {
            entry.key.u16_2 = source.value;
            entry.mask.u16_2 = source.mask;
            entry.key.u16_4 = destination.value;
            entry.mask.u16_4 = destination.mask;
            entries.push_back(entry);
        }
}

std::optional<std::string> action_text(const nprm_tcam_acl_result &result) {
    if (result.flags[1] != 0 || result.flags[2] != 0 || result.flags[3] != 0) return std::nullopt;
    for (const named_action &row : actions)
        if (result.flags[0] == static_cast<uint8_t>(row.action)) return row.name;
    return std::nullopt;
}

std::optional<std::string> rule_text(const acl_entry &entry) {
    const nprm_tcam_acl_key &key = entry.key, &mask = entry.mask;
    const auto action = action_text(entry.result);
    if (!action || !rule_can_say(key, mask)) return std::nullopt;
    return *action + " " + protocol_text(key.u8_0, mask.u8_0) + " " + address_text(key.u32_6, mask.u32_6) +
           ports_text(key.u16_2, mask.u16_2) + " " + address_text(key.u32_10, mask.u32_10) + ports_text(key.u16_4, mask.u16_4);
}

std::string field_text(const nprm_tcam_acl_key &key) {
    char text[64];
    std::snprintf(text, sizeof text, "%02x.%02x.%04x.%04x.%08" PRIx32 ".%08" PRIx32, key.u8_0, key.u8_1, key.u16_2, key.u16_4,
                  key.u32_6, key.u32_10);
    return text;
}

std::string field_text(const nprm_tcam_acl_result &result) {
    char text[64];
    std::snprintf(text, sizeof text, "%02x%02x%02x%02x.%08" PRIx32 ".%08" PRIx32, result.flags[0], result.flags[1], result.flags[2],
                  result.flags[3], result.u32_4, result.u32_8);
    return text;
}
