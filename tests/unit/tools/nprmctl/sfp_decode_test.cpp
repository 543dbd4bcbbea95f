// Module memories, byte by byte, to names and values.

#include "sfp_decode.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <string_view>

#include <gtest/gtest.h>

namespace {

using memory = std::array<uint8_t, 256>;
using strings = std::vector<std::string>;

void put(memory &into, size_t offset, std::initializer_list<int> bytes) {
    std::ranges::transform(bytes, into.begin() + static_cast<ptrdiff_t>(offset),
                           [](int byte) { return static_cast<uint8_t>(byte); });
}
void put(memory &into, size_t offset, std::string_view text) {
    std::ranges::copy(text, into.begin() + static_cast<ptrdiff_t>(offset));
}

memory long_reach() {
    memory image = {};
    put(image, 0, {0x03, 0x04, 0x07, 0x20, 0, 0, 0x02, 0, 0, 0, 0, 0x06, 0x67, 0, 0x0A, 0x64});
    put(image, 20, "ACTUAL LIGHT    ");
    put(image, 37, {0x02, 0xAB, 0x0C});
    put(image, 40, "LR-10           ");
    put(image, 56, "B   ");
    put(image, 60, {0x05, 0x1E});
    put(image, 63, {0x3A});
    put(image, 68, "X1Y2            ");
    put(image, 84, "240229Q7");
    put(image, 92, {0x58, 0, 0, 0x47});
    return image;
}

TEST(SfpIdentification, IsToldInWordsAndUnits) {
    const sfp_identification told = decode_identification(long_reach());
    EXPECT_EQ(told.identifier, "SFP or SFP+");
    EXPECT_EQ(told.connector, "LC");
    EXPECT_EQ(told.encoding, "64B/66B");
    EXPECT_EQ(told.compliance, (strings{"10GBASE-LR", "1000BASE-LX"}));
    EXPECT_EQ(told.vendor, "ACTUAL LIGHT");
    EXPECT_EQ(told.oui, "02:ab:0c");
    EXPECT_EQ(told.part, "LR-10");
    EXPECT_EQ(told.revision, "B");
    EXPECT_EQ(told.serial, "X1Y2");
    EXPECT_EQ(told.date, "2024-02-29");
    EXPECT_EQ(told.lot, "Q7");
    EXPECT_EQ(told.rate_mbd, 10300U);
    EXPECT_EQ(told.wavelength_nm, 1310U);
    EXPECT_EQ(told.reach, strings{"10 km of single-mode fibre"});
    EXPECT_TRUE(told.has_monitoring);
    EXPECT_TRUE(told.is_calibrated_by_reader);
    EXPECT_FALSE(told.needs_address_change);
}

TEST(SfpIdentification, SaysWhichCheckSumIsWrong) {
    memory image = long_reach();
    uint32_t base = 0, extended = 0;
    for (size_t i = 0; i < 63; ++i)
        base += image[i];
    for (size_t i = 64; i < 95; ++i)
        extended += image[i];
    image[63] = static_cast<uint8_t>(base);
    image[95] = static_cast<uint8_t>(extended + 1);
    EXPECT_TRUE(decode_identification(image).base_sum_is_right);
    EXPECT_FALSE(decode_identification(image).extended_sum_is_right);
    image[62] ^= 1;
    image[95] = static_cast<uint8_t>(extended);
    EXPECT_FALSE(decode_identification(image).base_sum_is_right);
    EXPECT_TRUE(decode_identification(image).extended_sum_is_right);
}

TEST(SfpIdentification, TellsACableByItsLengthAndNoWavelength) {
    memory image = {};
    put(image, 2, {0x21});
    put(image, 8, {0x04});
    put(image, 12, {0xFF});
    put(image, 18, {3});
    put(image, 60, {0x01, 0x00});
    put(image, 66, {103});
    const sfp_identification told = decode_identification(image);
    EXPECT_EQ(told.connector, "copper pigtail");
    EXPECT_EQ(told.reach, strings{"3 m of cable"});
    EXPECT_EQ(told.rate_mbd, 25750U);
    EXPECT_FALSE(told.wavelength_nm);
}

TEST(SfpIdentification, ShowsUnknownCodesAndOddDatesAsTheyStand) {
    memory image;
    image.fill(0xFF);
    put(image, 84, "soon  ");
    const sfp_identification told = decode_identification(image);
    EXPECT_EQ(told.identifier, "0xff");
    EXPECT_EQ(told.connector, "0xff");
    EXPECT_EQ(told.date, "soon");
}

sfp_identification monitored_module(bool is_calibrated_by_reader, bool has_flags) {
    sfp_identification told = {};
    told.has_monitoring = true;
    told.is_calibrated_by_reader = is_calibrated_by_reader;
    told.has_flags = has_flags;
    return told;
}

const sfp_identification by_the_module = monitored_module(false, true);
const sfp_identification by_the_reader = monitored_module(true, true);
const sfp_identification without_flags = monitored_module(false, false);

TEST(SfpMonitoring, ReadsValuesOfAModuleThatCalibratesItself) {
    memory image = {};
    put(image, 0, {0x4B, 0x00, 0xFB, 0x00, 0x46, 0x00, 0x00, 0x00});  // 75, -5, 70, 0 degrees
    put(image, 96, {0xE7, 0x80});                                     // -24.5 degrees
    put(image, 98, {0x80, 0xE8});                                     // 33,000 x 100 uV
    put(image, 100, {0x0B, 0xB8});                                    // 3,000 x 2 uA
    put(image, 102, {0x13, 0x88});                                    // 5,000 x 0.1 uW
    put(image, 104, {0x00, 0x0A});                                    // 10 x 0.1 uW
    const sfp_monitoring told = decode_monitoring(image, by_the_module);
    const auto &readings = told.readings;
    EXPECT_DOUBLE_EQ(readings[sfp_temperature].now, -24.5);
    EXPECT_DOUBLE_EQ(readings[sfp_temperature].alarm_high, 75);
    EXPECT_DOUBLE_EQ(readings[sfp_temperature].alarm_low, -5);
    EXPECT_DOUBLE_EQ(readings[sfp_temperature].warning_high, 70);
    EXPECT_DOUBLE_EQ(readings[sfp_temperature].warning_low, 0);
    EXPECT_NEAR(readings[sfp_voltage].now, 3.3, 1e-9);
    EXPECT_NEAR(readings[sfp_bias].now, 6.0, 1e-9);
    EXPECT_NEAR(readings[sfp_sent].now, 0.5, 1e-9);
    EXPECT_NEAR(readings[sfp_received].now, 0.001, 1e-12);
    EXPECT_NEAR(*dbm_of(readings[sfp_received].now), -30, 1e-9);
    EXPECT_FALSE(dbm_of(0));
    for (uint32_t raw = 1; raw <= 0xFFFF; ++raw)
        ASSERT_NEAR(*dbm_of(raw * 1e-4), 10 * std::log10(raw * 1e-4), 1e-12) << raw;
}

TEST(SfpMonitoring, ConvertsRawValuesWithTheModulesConstants) {
    memory image = {};
    put(image, 56, {0, 0, 0, 0, 0x30, 0, 0, 0});        // x^4: 0, x^3: 2^-31
    put(image, 64, {0x3A, 0x80, 0, 0, 0x3F, 0, 0, 0});  // x^2: 2^-10, x: 0.5
    put(image, 72, {0x41, 0x20, 0, 0});                 // 10
    put(image, 76, {0x02, 0x00, 0x00, 0x64});           // bias: 2 x + 100
    put(image, 80, {0x00, 0x80, 0xFF, 0xF6});           // sent power: 0.5 x - 10
    put(image, 84, {0x01, 0x80, 0x01, 0x00});           // temperature: 1.5 x + 256
    put(image, 88, {0x01, 0x00, 0xFC, 0x18});           // voltage: x - 1000
    put(image, 96, {0xF6, 0x00, 0x84, 0xD0, 0x03, 0xE8, 0x07, 0xD0, 0x04, 0x00});
    const auto readings = decode_monitoring(image, by_the_reader).readings;
    EXPECT_DOUBLE_EQ(readings[sfp_temperature].now, -14);    // (1.5 x -2560 + 256) / 256
    EXPECT_NEAR(readings[sfp_voltage].now, 3.3, 1e-9);       // (34000 - 1000) x 100 uV
    EXPECT_NEAR(readings[sfp_bias].now, 4.2, 1e-9);          // (2 x 1000 + 100) x 2 uA
    EXPECT_NEAR(readings[sfp_sent].now, 0.099, 1e-9);        // (0.5 x 2000 - 10) x 0.1 uW
    EXPECT_NEAR(readings[sfp_received].now, 0.15465, 1e-9);  // (0.5 + 1024 + 512 + 10) x 0.1 uW
    EXPECT_NEAR(decode_monitoring(image, by_the_module).readings[sfp_received].now, 0.1024, 1e-9);
}

TEST(SfpMonitoring, MarksWhatTheModuleFlags) {
    memory image = {};
    put(image, 112, {0x80, 0x40});                // alarms: temperature high, received power low
    put(image, 116, {0x80 | 0x10 | 0x02, 0x40});  // warnings: temperature high, voltage low, sent power high, received power low
    const auto readings = decode_monitoring(image, by_the_module).readings;
    EXPECT_STREQ(mark_text(readings[sfp_temperature].mark), "HIGH ALARM");
    EXPECT_STREQ(mark_text(readings[sfp_voltage].mark), "LOW WARNING");
    EXPECT_STREQ(mark_text(readings[sfp_bias].mark), "ok");
    EXPECT_STREQ(mark_text(readings[sfp_sent].mark), "HIGH WARNING");
    EXPECT_STREQ(mark_text(readings[sfp_received].mark), "LOW ALARM");
}

TEST(SfpMonitoring, MarksByTheLimitsWhatAModuleWithoutFlagsMeasures) {
    memory image = {};
    for (size_t quantity = 0; quantity < 4; ++quantity)                              // received power has no limits: all zeros
        put(image, 8 * quantity, {0x00, 0x64, 0x00, 0x0A, 0x00, 0x50, 0x00, 0x14});  // alarms 100 and 10, warnings 80 and 20
    put(image, 96, {0x00, 0x65, 0x00, 0x09, 0x00, 0x51, 0x00, 0x13, 0xFF, 0xFF});    // 101, 9, 81, 19, 65535
    put(image, 112, {0x3F, 0xC0});                                                   // and what stands where flags would be
    const auto readings = decode_monitoring(image, without_flags).readings;
    EXPECT_STREQ(mark_text(readings[sfp_temperature].mark), "HIGH ALARM");
    EXPECT_STREQ(mark_text(readings[sfp_voltage].mark), "LOW ALARM");
    EXPECT_STREQ(mark_text(readings[sfp_bias].mark), "HIGH WARNING");
    EXPECT_STREQ(mark_text(readings[sfp_sent].mark), "LOW WARNING");
    EXPECT_STREQ(mark_text(readings[sfp_received].mark), "ok");
    put(image, 96, {0x00, 0x64, 0x00, 0x0A, 0x00, 0x50, 0x00, 0x14});  // at the limits: 100, 10, 80, 20
    const auto at_limits = decode_monitoring(image, without_flags).readings;
    EXPECT_STREQ(mark_text(at_limits[sfp_temperature].mark), "HIGH WARNING");
    EXPECT_STREQ(mark_text(at_limits[sfp_voltage].mark), "LOW WARNING");
    EXPECT_STREQ(mark_text(at_limits[sfp_bias].mark), "ok");
    EXPECT_STREQ(mark_text(at_limits[sfp_sent].mark), "ok");
}

TEST(SfpMonitoring, TellsTheStateAndTheCheckSum) {
    memory image = {};
    EXPECT_TRUE(decode_monitoring(image, by_the_module).sum_is_right);
    put(image, 110, {0x85});
    put(image, 95, {1});
    const sfp_monitoring told = decode_monitoring(image, by_the_module);
    EXPECT_FALSE(told.sum_is_right);
    EXPECT_TRUE(told.is_transmit_disabled);
    EXPECT_TRUE(told.has_transmit_fault);
    EXPECT_FALSE(told.is_without_light);
    EXPECT_TRUE(told.is_not_ready);
}

}  // namespace
