// Access lists: rules as people write them, and the value/mask entries that a TCAM matches.
//
//   permit|deny|count tcp|udp|icmp|ip|NUMBER SOURCE [PORTS] DESTINATION [PORTS]
//
// An address is A.B.C.D, A.B.C.D/LEN or any; PORTS are "eq N" or "range A B", for tcp and udp.  Bits of an address behind its
// length are ignored.  The TCAM gives the fields of an ACL entry no meaning; this is the tool's own convention:
//
//   key and mask   u8_0 protocol   u8_1 TCP flags   u16_2 source port   u16_4 destination port
//                  u32_6 source address   u32_10 destination address, both as numbers (192.0.2.1 is 0xC0000201)
//   result         flags[0] bit 0 permit, bit 1 deny, bit 2 count   u32_4 the rule's line in its file   u32_8 zero
#ifndef NPRMCTL_ACCESS_LIST_H
#define NPRMCTL_ACCESS_LIST_H

#include "nprm.h"
#include "text_input.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

enum class acl_action : uint8_t { permit = 1, deny = 2, count = 4 };  // the bits of flags[0]

struct acl_ports {
    uint16_t first = 0, last = 65535;
    bool operator==(const acl_ports &) const = default;
};

struct acl_side {
    uint32_t address = 0, address_mask = 0;
    acl_ports ports;
    bool operator==(const acl_side &) const = default;
};

struct acl_rule {
    uint32_t line = 0;
    acl_action action = acl_action::permit;
    std::optional<uint8_t> protocol;  // none: ip, every protocol
    acl_side source, destination;
    bool operator==(const acl_rule &) const = default;
};

struct access_list {
    std::vector<acl_rule> rules;
    std::vector<text_error> errors;
};

access_list parse_access_list(std::string_view text);

// The key of one packet: "PROTOCOL SOURCE [eq N] DESTINATION [eq N]" with single addresses and ports; a port that is not given is
// 0.
nprm_tcam_acl_key parse_packet(std::string_view text, std::vector<text_error> &errors);

struct value_mask {
    uint16_t value, mask;
    bool operator==(const value_mask &) const = default;
};

// The fewest entries with prefix masks that match exactly the ports, in ascending order.
std::vector<value_mask> expand_ports(const acl_ports &ports);

struct acl_entry {
    nprm_tcam_acl_key key, mask;
    nprm_tcam_acl_result result;
};

// Appends the rule's entries: each block of source ports with each block of destination ports.
void expand_rule(const acl_rule &rule, std::vector<acl_entry> &entries);

// The entry as a rule, as parse_access_list() takes it; none when no rule says what the entry does.
std::optional<std::string> rule_text(const acl_entry &entry);

// "permit", "deny" or "count"; none when the flags are not exactly one of them.
std::optional<std::string> action_text(const nprm_tcam_acl_result &result);

// The fields in hexadecimal, in their order, joined by dots.
std::string field_text(const nprm_tcam_acl_key &key);
std::string field_text(const nprm_tcam_acl_result &result);

#endif
