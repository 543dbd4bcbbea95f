// What the two memories of an SFP module say, as SFF-8472 lays them out: identification (A0h) and optical monitoring (A2h).
#ifndef NPRMCTL_SFP_DECODE_H
#define NPRMCTL_SFP_DECODE_H

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

constexpr size_t sfp_memory_bytes = 256;
using sfp_memory = std::span<const uint8_t, sfp_memory_bytes>;

struct sfp_identification {
    std::string identifier, connector, encoding;
    std::vector<std::string> compliance;  // the standards that it meets, by name
    std::string vendor, oui, part, revision, serial;
    std::string date;  // "2026-03-01", or as it stands when it is no date
    std::string lot;
    uint32_t rate_mbd;                      // nominal signalling rate; 0: not told
    std::optional<uint32_t> wavelength_nm;  // none for a copper module
    std::vector<std::string> reach;         // "10 km of single-mode fibre"
    bool base_sum_is_right, extended_sum_is_right;
    bool has_monitoring, is_calibrated_by_reader, needs_address_change;
    bool has_flags;  // for alarms and warnings, of all that it monitors
};

enum class sfp_mark : uint8_t { none, warning_low, warning_high, alarm_low, alarm_high };

struct sfp_reading {
    double now, alarm_low, warning_low, warning_high, alarm_high;
    sfp_mark mark;  // what the module's own flags say, or its limits when it has none; an alarm covers a warning
};

enum sfp_quantity : uint8_t { sfp_temperature, sfp_voltage, sfp_bias, sfp_sent, sfp_received, sfp_quantity_count };

struct sfp_monitoring {
    std::array<sfp_reading, sfp_quantity_count> readings;  // degrees Celsius, volts, milliamperes, milliwatts, milliwatts
    bool sum_is_right;
    bool is_not_ready, is_without_light, has_transmit_fault, is_transmit_disabled;
};

struct sfp_quantity_name {
    const char *key, *name, *unit;
    uint8_t digits;
};
extern const std::array<sfp_quantity_name, sfp_quantity_count> sfp_quantity_names;

sfp_identification decode_identification(sfp_memory memory);
// module: whose it is.  Calibrated by the reader, its values are raw, and converted with the constants that the memory tells
sfp_monitoring decode_monitoring(sfp_memory memory, const sfp_identification &module);

const char *mark_text(sfp_mark mark);
// Of a power in milliwatts; nothing for no light at all.
std::optional<double> dbm_of(double milliwatts);

#endif
