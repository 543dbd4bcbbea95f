// Decodes the memories of SFP modules.

#include "sfp_decode.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <limits>

namespace {

struct code_name {
    uint8_t code;
    const char *name;
};
constexpr code_name identifiers[] = {{0x00, "unknown"}, {0x01, "GBIC"}, {0x02, "soldered to the board"}, {0x03, "SFP or SFP+"}};
constexpr code_name connectors[] = {{0x00, "unknown"},
                                    {0x01, "SC"},
                                    {0x06, "FiberJack"},
                                    {0x07, "LC"},
                                    {0x08, "MT-RJ"},
                                    {0x09, "MU"},
                                    {0x0B, "optical pigtail"},
                                    {0x20, "HSSDC II"},
                                    {0x21, "copper pigtail"},
                                    {0x22, "RJ45"},
                                    {0x23, "no separable connector"}};
constexpr code_name encodings[] = {{0x00, "unspecified"}, {0x01, "8B/10B"},          {0x02, "4B/5B"},   {0x03, "NRZ"},
                                   {0x04, "Manchester"},  {0x05, "SONET scrambled"}, {0x06, "64B/66B"}, {0x07, "256B/257B"}};

struct compliance_bit {
    uint8_t byte, mask;
    const char *name;
};
constexpr compliance_bit compliance_bits[] = {
    {3, 0x10, "10GBASE-SR"},           {3, 0x20, "10GBASE-LR"},          {3, 0x40, "10GBASE-LRM"}, {3, 0x80, "10GBASE-ER"},
    {6, 0x01, "1000BASE-SX"},          {6, 0x02, "1000BASE-LX"},         {6, 0x04, "1000BASE-CX"}, {6, 0x08, "1000BASE-T"},
    {6, 0x10, "100BASE-LX"},           {6, 0x20, "100BASE-FX"},          {6, 0x40, "BASE-BX10"},   {6, 0x80, "BASE-PX"},
    {8, 0x04, "passive copper cable"}, {8, 0x08, "active copper cable"},
};

struct reach_byte {
    uint8_t byte;
    const char *medium;
};
constexpr reach_byte reach_bytes[] = {{16, "OM2"}, {17, "OM1"}, {19, "OM3"}};  // in tens of metres

std::string name_of(std::span<const code_name> names, uint8_t code) {
    const auto found = std::ranges::find(names, code, &code_name::code);
    if (found != names.end()) return found->name;
    char text[16];
    std::snprintf(text, sizeof text, "0x%02x", code);
    return text;
}

std::string text_at(sfp_memory memory, size_t offset, size_t bytes) {
    std::string text(reinterpret_cast<const char *>(memory.data()) + offset, bytes);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\0'))
        text.pop_back();
    return text;
}

uint32_t u16_at(sfp_memory memory, size_t offset) {
    return uint32_t{memory[offset]} << 8 | memory[offset + 1];
}

double signed_at(sfp_memory memory, size_t offset) {
    return static_cast<int16_t>(u16_at(memory, offset));
}

double float_at(sfp_memory memory, size_t offset) {
    return std::bit_cast<float>(u16_at(memory, offset) << 16 | u16_at(memory, offset + 2));
}

bool sums_up(sfp_memory memory, size_t first, size_t sum_at) {
    uint32_t sum = 0;
    for (size_t i = first; i < sum_at; ++i)
        sum += memory[i];
    return (sum & 0xFF) == memory[sum_at];
}

std::string date_of(const std::string &text) {
    const bool is_date = text.size() == 6 && std::ranges::all_of(text, [](char one) { return one >= '0' && one <= '9'; });
    return is_date ? "20" + text.substr(0, 2) + "-" + text.substr(2, 2) + "-" + text.substr(4, 2) : text;
}

std::vector<std::string> reach_of(sfp_memory memory, bool is_copper) {
    std::vector<std::string> reach;
    if (memory[14] != 0)
        reach.push_back(std::to_string(memory[14]) + " km of single-mode fibre");
    else if (memory[15] != 0)
        reach.push_back(std::to_string(memory[15] * 100) + " m of single-mode fibre");
    for (const reach_byte &row : reach_bytes)
        if (memory[row.byte] != 0) reach.push_back(std::to_string(memory[row.byte] * 10) + " m of " + row.medium + " fibre");
    if (memory[18] == 0) return reach;
    reach.push_back(is_copper ? std::to_string(memory[18]) + " m of cable" : std::to_string(memory[18] * 10) + " m of OM4 fibre");
    return reach;
}

// value = slope * raw + offset; the slope is 8.8 fixed point.
struct line {
    double slope, offset;
};
line line_at(sfp_memory memory, size_t offset) {
    return {u16_at(memory, offset) / 256.0, signed_at(memory, offset + 2)};
}

// From raw words to what a module that calibrates itself tells.
class calibration {
  public:
    calibration(sfp_memory memory, bool by_reader) {
        if (!by_reader) return;
        lines_ = {line_at(memory, 84), line_at(memory, 88), line_at(memory, 76), line_at(memory, 80)};
        for (size_t power = 0; power < received_.size(); ++power)
            received_[power] = float_at(memory, 72 - 4 * power);
    }
    double operator()(size_t which, double raw) const {
        if (which != sfp_received) return lines_[which].slope * raw + lines_[which].offset;
        double sum = 0;
        for (size_t power = received_.size(); power-- > 0;)
            sum = sum * raw + received_[power];
        return sum;
    }

  private:
    std::array<line, sfp_received> lines_ = {{{1, 0}, {1, 0}, {1, 0}, {1, 0}}};  // by quantity
    std::array<double, 5> received_ = {0, 1, 0, 0, 0};                           // a polynomial, from its constant on
};

// Of a value that is not denormal.  libm would be loaded at the start of every command for its log10 alone, which takes a twentieth
// of a short one's time.
double decimal_logarithm(double value) {
    constexpr double log10_of_2 = 0.30102999566398119521, twice_log10_of_e = 0.86858896380650365530;
    constexpr uint64_t exponent_of_1 = 1023, fraction_bits = 52;
    const auto bits = std::bit_cast<uint64_t>(value);
    const int exponent = static_cast<int>(bits >> fraction_bits) - static_cast<int>(exponent_of_1);
    const auto fraction = std::bit_cast<double>((bits & ((uint64_t{1} << fraction_bits) - 1)) | exponent_of_1 << fraction_bits);
    const double z = (fraction - 1) / (fraction + 1);
    double series = 0;  // of atanh(z) / z, which at z = 1/3 has 16 digits by then
    for (int k = 33; k > 0; k -= 2)
        series = series * z * z + 1.0 / k;
    return exponent * log10_of_2 + twice_log10_of_e * z * series;
}

// What one step of a calibrated value is worth.
constexpr std::array<double, sfp_quantity_count> steps = {1.0 / 256, 1e-4, 2e-3, 1e-4, 1e-4};

// For modules without flags.  Limits that are no range are not filled in.
sfp_mark mark_by_limits(const sfp_reading &reading) {
    if (reading.alarm_low < reading.alarm_high) {
        if (reading.now > reading.alarm_high) return sfp_mark::alarm_high;
        if (reading.now < reading.alarm_low) return sfp_mark::alarm_low;
    }
    if (reading.warning_low < reading.warning_high) {
        if (reading.now > reading.warning_high) return sfp_mark::warning_high;
        if (reading.now < reading.warning_low) return sfp_mark::warning_low;
    }
    return sfp_mark::none;
}

sfp_mark mark_by_flags(sfp_memory memory, size_t which) {
    const uint32_t high = 0x8000U >> (2 * which), low = high >> 1;
    const uint32_t alarms = u16_at(memory, 112), warnings = u16_at(memory, 116);
    if ((alarms & high) != 0) return sfp_mark::alarm_high;
    if ((alarms & low) != 0) return sfp_mark::alarm_low;
    if ((warnings & high) != 0) return sfp_mark::warning_high;
    if ((warnings & low) != 0) return sfp_mark::warning_low;
    return sfp_mark::none;
}

}  // namespace

constexpr std::array<sfp_quantity_name, sfp_quantity_count> sfp_quantity_names = {{
    {"temperature", "temperature", "C", 1},
    {"voltage", "supply voltage", "V", 3},
    {"bias", "laser bias", "mA", 2},
    {"sent_power", "sent power", "mW", 4},
    {"received_power", "received power", "mW", 4},
}};

sfp_identification decode_identification(sfp_memory memory) {
    sfp_identification told = {};
    told.identifier = name_of(identifiers, memory[0]);
    told.connector = name_of(connectors, memory[2]);
    told.encoding = name_of(encodings, memory[11]);
    for (const compliance_bit &bit : compliance_bits)
        if ((memory[bit.byte] & bit.mask) != 0) told.compliance.emplace_back(bit.name);
    told.vendor = text_at(memory, 20, 16);
    char oui[16];
    std::snprintf(oui, sizeof oui, "%02x:%02x:%02x", memory[37], memory[38], memory[39]);
    told.oui = oui;
    told.part = text_at(memory, 40, 16);
    told.revision = text_at(memory, 56, 4);
    told.serial = text_at(memory, 68, 16);
    told.date = date_of(text_at(memory, 84, 6));
    told.lot = text_at(memory, 90, 2);
    // 255 says that the rate is in byte 66, in steps of 250 MBd.
    told.rate_mbd = memory[12] == 0xFF ? memory[66] * 250U : memory[12] * 100U;
    const bool is_cable = (memory[8] & 0x0C) != 0, is_copper = is_cable || (memory[6] & 0x08) != 0;
    if (!is_copper && u16_at(memory, 60) != 0) told.wavelength_nm = u16_at(memory, 60);
    told.reach = reach_of(memory, is_copper);
    told.base_sum_is_right = sums_up(memory, 0, 63);
    told.extended_sum_is_right = sums_up(memory, 64, 95);
    told.has_monitoring = (memory[92] & 0x40) != 0;
    told.is_calibrated_by_reader = (memory[92] & 0x10) != 0;
    told.needs_address_change = (memory[92] & 0x04) != 0;
    told.has_flags = (memory[93] & 0x80) != 0;
    return told;
}

sfp_monitoring decode_monitoring(sfp_memory memory, const sfp_identification &module) {
    sfp_monitoring told = {};
    const calibration calibrated(memory, module.is_calibrated_by_reader);
    for (size_t i = 0; i < sfp_quantity_count; ++i) {
        const auto value_at = [&](size_t offset) {
            const double raw = i == sfp_temperature ? signed_at(memory, offset) : u16_at(memory, offset);
            return calibrated(i, raw) * steps[i];
        };
        sfp_reading &reading = told.readings[i];
        reading = {value_at(96 + 2 * i), value_at(8 * i + 2), value_at(8 * i + 6),
                   value_at(8 * i + 4),  value_at(8 * i),     sfp_mark::none};
        reading.mark = module.has_flags ? mark_by_flags(memory, i) : mark_by_limits(reading);
    }
    told.sum_is_right = sums_up(memory, 0, 95);
    told.is_transmit_disabled = (memory[110] & 0x80) != 0;
    told.has_transmit_fault = (memory[110] & 0x04) != 0;
    told.is_without_light = (memory[110] & 0x02) != 0;
    told.is_not_ready = (memory[110] & 0x01) != 0;
    return told;
}

const char *mark_text(sfp_mark mark) {
    constexpr const char *texts[] = {"ok", "LOW WARNING", "HIGH WARNING", "LOW ALARM", "HIGH ALARM"};
    return texts[static_cast<size_t>(mark)];
}

std::optional<double> dbm_of(double milliwatts) {
    if (!(milliwatts >= std::numeric_limits<double>::min())) return std::nullopt;
    return 10 * decimal_logarithm(milliwatts);
}
