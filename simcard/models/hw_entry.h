// One entry of a hardware table under construction: its fields are written by name, in the layout that the printers read.
#ifndef SIMCARD_MODELS_HW_ENTRY_H
#define SIMCARD_MODELS_HW_ENTRY_H

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "api/diag/nprm_entry_layout.h"
#include "api/wire/nprm_npa_wire.h"

class hw_entry {
  public:
    explicit hw_entry(uint32_t type) : type_(type) {}

    // A value that is wider than its field loses its high bits, as a number does in the hardware.
    // Throws std::logic_error for a name that the layout does not have.
    hw_entry &set(std::string_view field, uint64_t value);
    // Writes field[0], field[1] and so on.
    hw_entry &set_each(std::string_view field, std::span<const uint8_t> values);
    // Writes field[0] and so on from the bytes of an address: numbers of 32 bits, their first byte the most significant.
    hw_entry &set_words(std::string_view field, std::span<const uint8_t> bytes);
    // Writes the bytes of a layout that is a string of them, and of tables without layout.
    hw_entry &set_bytes(uint32_t offset, std::span<const uint8_t> bytes);

    // The field's value; none when the layout has no such field.
    std::optional<uint64_t> value(std::string_view field) const;
    std::span<const uint8_t> bytes() const { return bytes_; }

  private:
    std::optional<nprm_entry_field> find(std::string_view field) const;

    uint32_t type_;
    std::array<uint8_t, NPRM_HW_ENTRY_BYTES> bytes_ = {};
};

// "dmac[2]"
std::string element_name(std::string_view field, size_t index);

#endif
