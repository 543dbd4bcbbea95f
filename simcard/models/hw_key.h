// The key text of searches and look-ups in hardware tables.
#ifndef SIMCARD_MODELS_HW_KEY_H
#define SIMCARD_MODELS_HW_KEY_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "hw_entry.h"

// An address as people write it: the bytes in their order.
std::optional<std::vector<uint8_t>> ip_bytes(std::string_view text);   // 4 or 16
std::optional<std::vector<uint8_t>> mac_bytes(std::string_view text);  // 6
// Decimal, or hexadecimal behind 0x.
std::optional<uint64_t> key_number(std::string_view text);

// Conditions FIELD=VALUE, joined by blanks; all must hold.  A value is a number, an IP address or a MAC address.
class hw_key {
  public:
    // None for a text that is no such list, or names a field that entries of the type do not have.
    static std::optional<hw_key> parse(std::string_view text, uint32_t type);

    bool matches(const hw_entry &entry) const;

  private:
    struct condition {
        std::string field;
        uint64_t value;
    };
    bool add(std::string_view field, std::string_view value, const hw_entry &any);
    bool add_each(std::string_view field, std::span<const uint8_t> values, const hw_entry &any);

    std::vector<condition> conditions_;
};

#endif
