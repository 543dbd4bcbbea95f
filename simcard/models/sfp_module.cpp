// The two memories of a simulated SFP module.

#include "sfp_module.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <numbers>

namespace {

// What sets one kind of module apart.
struct module_row {
    sfp_kind kind;
    const char *part;
    uint8_t connector;    // 0x07 LC, 0x22 RJ45
    uint8_t code_10g;     // byte 3 of the compliance codes
    uint8_t code_1g;      // byte 6
    uint8_t encoding;     // 0x01 8B/10B, 0x06 64B/66B
    uint8_t rate_100mbd;  // nominal signalling rate
    uint8_t single_mode_km, om2_10m, om1_10m, om3_10m;
    uint16_t wavelength_nm;
    double bias_ma, sent_mw, received_mw;  // when all is well
};
constexpr module_row rows[] = {
    {sfp_kind::copper, "SIM-GE-T", 0x22, 0, 0x08, 0x01, 13, 0, 0, 0, 0, 0, 0, 0, 0},
    {sfp_kind::short_10g, "SIM-10G-SR", 0x07, 0x10, 0, 0x06, 103, 0, 8, 3, 30, 850, 6.2, 0.58, 0.41},
    {sfp_kind::long_10g, "SIM-10G-LR", 0x07, 0x20, 0, 0x06, 103, 10, 0, 0, 0, 1310, 34.0, 0.71, 0.28},
    {sfp_kind::extended_10g, "SIM-10G-ER", 0x07, 0x80, 0, 0x06, 103, 40, 0, 0, 0, 1550, 72.0, 1.45, 0.067},
    {sfp_kind::short_1g, "SIM-GE-SX", 0x07, 0, 0x01, 0x01, 13, 0, 55, 27, 0, 850, 5.1, 0.26, 0.19},
    {sfp_kind::long_1g, "SIM-GE-LX", 0x07, 0, 0x02, 0x01, 13, 10, 55, 55, 0, 1310, 14.5, 0.22, 0.11},
};

const module_row &row_of(const sfp_module &module) {
    return *std::ranges::find(rows, module.kind, &module_row::kind);
}

void put_text(sfp_image &image, size_t offset, size_t bytes, const char *text) {
    std::memset(image.data() + offset, ' ', bytes);
    std::memcpy(image.data() + offset, text, std::min(bytes, std::strlen(text)));
}

void put16(sfp_image &image, size_t offset, uint32_t value) {
    image[offset] = static_cast<uint8_t>(value >> 8);
    image[offset + 1] = static_cast<uint8_t>(value);
}

void put_float(sfp_image &image, size_t offset, float value) {
    const auto bits = std::bit_cast<uint32_t>(value);
    put16(image, offset, bits >> 16);
    put16(image, offset + 2, bits & 0xFFFF);
}

uint8_t sum_of(const sfp_image &image, size_t first, size_t last) {
    uint32_t sum = 0;
    for (size_t i = first; i <= last; ++i)
        sum += image[i];
    return static_cast<uint8_t>(sum);
}

// The five values, in the memory's order and units: 1/256 degree, 100 uV, 2 uA, 0.1 uW, 0.1 uW.
enum value : uint8_t { temperature, voltage, bias, sent, received, value_count };
using values = std::array<double, value_count>;

constexpr size_t alarm_high = 0, alarm_low = 2, warning_high = 4, warning_low = 6, threshold_bytes = 8;
constexpr size_t first_reading = 96, alarm_flags = 112, warning_flags = 116;

struct limits {
    double alarm_high, alarm_low, warning_high, warning_low;
};

std::array<limits, value_count> limits_of(const module_row &row) {
    const auto around = [](double usual) { return limits{usual * 2.0, usual * 0.25, usual * 1.6, usual * 0.4}; };
    return {{{75.0 * 256, -5.0 * 256, 70.0 * 256, 0.0},
             {36300, 29700, 34650, 31350},
             around(row.bias_ma * 500),
             around(row.sent_mw * 10000),
             around(row.received_mw * 10000)}};
}

// Slow waves, another for each value and module, so that two readings differ and none leaves its limits.
values readings_of(const sfp_module &module, uint64_t seconds, bool light) {
    const module_row &row = row_of(module);
    const auto wave = [&](double period, double phase) {
        return std::sin((static_cast<double>(seconds) / period + phase + module.serial * 0.37) * 2 * std::numbers::pi);
    };
    const double celsius = (module.is_hot ? 71.5 : 38.0) + 0.9 * wave(600, 0);
    return {celsius * 256, 32900 + 60 * wave(47, 0.2), row.bias_ma * 500 * (1 + 0.03 * wave(300, 0.4)),
            row.sent_mw * 10000 * (1 + 0.02 * wave(130, 0.6)), light ? row.received_mw * 10000 * (1 + 0.05 * wave(90, 0.8)) : 0};
}

// A module whose reader calibrates measures (value - offset) / slope.
constexpr double raw_slope = 1.25;
constexpr int temperature_offset = 512;  // 2 degrees
uint32_t raw_of(const sfp_module &module, size_t which, double value) {
    if (module.is_calibrated_by_reader) value = (value - (which == temperature ? temperature_offset : 0)) / raw_slope;
    const double least = which == temperature ? -32768 : 0, most = which == temperature ? 32767 : 65535;
    return static_cast<uint32_t>(std::lround(std::clamp(value, least, most))) & 0xFFFF;
}

void put_calibration(sfp_image &image, const sfp_module &module) {
    const double slope = module.is_calibrated_by_reader ? raw_slope : 1;
    put_float(image, 68, static_cast<float>(slope));  // received power is a polynomial: this is its linear term
    for (const size_t offset : {76U, 80U, 84U, 88U})
        put16(image, offset, static_cast<uint32_t>(slope * 256));
    if (module.is_calibrated_by_reader) put16(image, 86, temperature_offset);
}

// Two bits a value: high, low.
void put_flags(sfp_image &image, size_t offset, const std::array<limits, value_count> &all, const values &now, double limits::*high,
               double limits::*low) {
    uint32_t flags = 0;
    for (size_t i = 0; i < value_count; ++i) {
        if (now[i] > all[i].*high) flags |= 0x8000U >> (2 * i);
        if (now[i] < all[i].*low) flags |= 0x4000U >> (2 * i);
    }
    put16(image, offset, flags);
}

}  // namespace

bool has_identification(const sfp_module &module) {
    return module.kind != sfp_kind::none && module.kind != sfp_kind::unreadable;
}

bool has_monitoring(const sfp_module &module) {
    return has_identification(module) && module.kind != sfp_kind::copper;
}

sfp_image identification_of(const sfp_module &module) {
    const module_row &row = row_of(module);
    sfp_image image{};
    image[0] = 0x03;  // SFP or SFP+
    image[1] = 0x04;  // identified by this memory alone
    image[2] = row.connector;
    image[3] = row.code_10g;
    image[6] = row.code_1g;
    image[11] = row.encoding;
    image[12] = row.rate_100mbd;
    image[14] = row.single_mode_km;
    image[15] = static_cast<uint8_t>(std::min(row.single_mode_km * 10, 255));
    image[16] = row.om2_10m;
    image[17] = row.om1_10m;
    image[18] = module.kind == sfp_kind::copper ? 100 : 0;  // metres of cable
    image[19] = row.om3_10m;
    put_text(image, 20, 16, "SIMULATED OPTICS");
    image[37] = 0x02;  // a locally administered OUI
    put_text(image, 40, 16, row.part);
    put_text(image, 56, 4, "A1");
    put16(image, 60, row.wavelength_nm);
    image[63] = sum_of(image, 0, 62);
    image[65] = row.wavelength_nm != 0 ? 0x1A : 0x10;  // TX_DISABLE; lasers also TX_FAULT and LOS
    char serial[17];
    std::snprintf(serial, sizeof serial, "SIM%07u", module.serial);
    put_text(image, 68, 16, serial);
    put_text(image, 84, 8, "260301");
    if (has_monitoring(module)) {
        image[92] = module.is_calibrated_by_reader ? 0x58 : 0x68;  // monitored, average power, by whom calibrated
        image[93] = 0xB0;                                          // flags, soft TX_FAULT, soft LOS
        image[94] = 0x08;                                          // revision 12.3
    }
    image[95] = sum_of(image, 64, 94);
    return image;
}

sfp_image monitoring_of(const sfp_module &module, uint64_t seconds, bool light) {
    sfp_image image{};
    const auto all = limits_of(row_of(module));
    const values now = readings_of(module, seconds, light);
    for (size_t i = 0; i < value_count; ++i) {
        const size_t at = i * threshold_bytes;
        put16(image, at + alarm_high, raw_of(module, i, all[i].alarm_high));
        put16(image, at + alarm_low, raw_of(module, i, all[i].alarm_low));
        put16(image, at + warning_high, raw_of(module, i, all[i].warning_high));
        put16(image, at + warning_low, raw_of(module, i, all[i].warning_low));
        put16(image, first_reading + 2 * i, raw_of(module, i, now[i]));
    }
    put_calibration(image, module);
    image[95] = sum_of(image, 0, 94);
    image[110] = light ? 0 : 0x02;  // RX_LOS
    put_flags(image, alarm_flags, all, now, &limits::alarm_high, &limits::alarm_low);
    put_flags(image, warning_flags, all, now, &limits::warning_high, &limits::warning_low);
    return image;
}
