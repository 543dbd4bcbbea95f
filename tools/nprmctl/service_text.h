// Addresses of services and single words as people write them.
#ifndef NPRMCTL_SERVICE_TEXT_H
#define NPRMCTL_SERVICE_TEXT_H

#include "report.h"

#include <array>
#include <cstdint>
#include <span>
#include <string>

class invocation;

enum class address_kind : uint8_t { none, ipv4, ipv6, mac };

// As records have it: of IPv4 a host-order integer, else the bytes in their written order; what is behind them is 0.
struct service_address {
    address_kind kind = address_kind::none;
    uint8_t bytes[16] = {};
};

// any: a MAC address, or "none", too
enum class allowed : uint8_t { ip, any };

// The argument `name`; throws a failure of exit status 2 that names it.
service_address address_argument(const invocation &call, const char *name, const std::string &text, allowed kinds);
// The same, of an argument that may be empty and must be of the first one's kind otherwise.
service_address second_address(const invocation &call, const char *name, const std::string &text, address_kind first);

// Six bytes in hexadecimal with colons between them; throws a failure of exit status 2 that names the argument.
std::array<uint8_t, 6> mac_argument(const invocation &call, const char *name, const std::string &text);

// Empty when all bytes are 0 or there is none.
cell address_cell(address_kind kind, const uint8_t (&bytes)[16]);
// "IPv4"; empty when there is none.
cell kind_cell(address_kind kind);

// An argument of two words, as "on|off"; throws when it is none of both.   Returns: whether it is the first.
bool first_of(const invocation &call, const char *name, const std::string &text, const char *first, const char *second);

// Words for the values of a setting, by value.
using value_words = std::span<const char *const>;
// "off|on"
std::string choices(value_words words);
// The value's word, or its number.
std::string word_of(value_words words, uint32_t value);
// A value by its word, or by its number up to most: another server may have values that have no word here.
uint32_t value_of(const invocation &call, const char *name, value_words words, const std::string &text, uint32_t most = UINT32_MAX);

#endif
