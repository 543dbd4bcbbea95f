// Fields as text: every style against text written by hand and against printf, bit ranges, sizes of 0, and the bounded copy.

#include "util/nprm_format.h"

#include <algorithm>
#include <cinttypes>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/unit/util/random_steps.h"

namespace {

// The text that a style makes, in a buffer of which every other byte must stay.
std::string format(uint32_t style, const void *data, uint32_t size, uint32_t first_bit = 0, uint32_t last_bit = 0) {
    std::vector<char> buffer(200, '~');
    char *out = buffer.data() + 50;
    EXPECT_EQ(nprm_format_str(style, out, data, size, first_bit, last_bit), out);
    const size_t length = strnlen(out, 150);
    EXPECT_EQ(std::string(buffer.data(), 50), std::string(50, '~')) << "something was written in front of the text";
    EXPECT_EQ(std::string(out + length + 1, buffer.data() + 200), std::string(149 - length, '~')) << "or behind it";
    return {out, length};
}

template <typename Value>
std::string bits(Value value, uint32_t first_bit, uint32_t last_bit) {
    return format(0, &value, sizeof value, first_bit, last_bit);
}

TEST(FormatBits, GroupsAByteByFour) {
    EXPECT_EQ(bits(uint8_t{0xA5}, 0, 7), "1010 0101");
}

TEST(FormatBits, LosesTheLastDigitOfAnOpenGroup) {
    EXPECT_EQ(bits(uint8_t{0xA5}, 0, 5), "1010 0");
    EXPECT_EQ(bits(uint8_t{0xA5}, 0, 6), "1010 01");
    EXPECT_EQ(bits(uint8_t{0xFF}, 0, 4), "1111 ") << "the blank stays when the digit behind it goes";
    EXPECT_EQ(bits(uint8_t{0xFF}, 0, 0), "");
    EXPECT_EQ(bits(uint8_t{0xFF}, 3, 3), "1");
    EXPECT_EQ(bits(uint8_t{0xFF}, 0, 2), "11");
}

TEST(FormatBits, TakesTheHighestByteOfAHostValueFirst) {
    EXPECT_EQ(bits(uint16_t{0x1234}, 0, 15), "0001 0010 0011 0100");
    EXPECT_EQ(bits(uint32_t{0x12345678}, 0, 31), "0001 0010 0011 0100 0101 0110 0111 1000");
    EXPECT_EQ(bits(uint64_t{0x0123456789ABCDEF}, 0, 63),
              "0000 0001 0010 0011 0100 0101 0110 0111 1000 1001 1010 1011 1100 1101 1110 1111");
}

TEST(FormatBits, GroupsByBitIndexNotByPlaceInTheText) {
    EXPECT_EQ(bits(uint16_t{0x1234}, 2, 11), "01 0010 0011");
    EXPECT_EQ(bits(uint16_t{0x1234}, 3, 4), "1 ");
}

TEST(FormatBits, ClampsBitsBehindTheLastOne) {
    EXPECT_EQ(bits(uint8_t{0xA5}, 4, 8), "0101");
    EXPECT_EQ(bits(uint8_t{0xA5}, 4, 0xFFFFFFFF), "0101");
    EXPECT_EQ(bits(uint8_t{0xA5}, 8, 8), "1") << "both are bit 7, whose group ends there";
    EXPECT_EQ(bits(uint8_t{0xA5}, 0xFFFFFFFF, 0xFFFFFFFF), "1");
    EXPECT_EQ(bits(uint64_t{1}, 60, 64), "0001");
}

TEST(FormatBits, OfAnEmptyRangeAreAnEmptyText) {
    EXPECT_EQ(bits(uint8_t{0xFF}, 5, 4), "");
    EXPECT_EQ(bits(uint8_t{0xFF}, 9, 3), "") << "empty after clamping";
    EXPECT_EQ(bits(uint32_t{0xFFFFFFFF}, 31, 0), "");
}

TEST(FormatBits, OfSize0AreAnEmptyText) {
    EXPECT_EQ(format(0, nullptr, 0, 0, 7), "");
}

TEST(FormatBits, OfOtherSizesAreThoseOfOneByte) {
    const uint8_t byte = 0xA5;  // a second one read is an error to the address sanitizer
    for (const uint32_t size : {1u, 3u, 5u, 6u, 7u, 9u, 16u, 0xFFFFFFFFu}) {
        EXPECT_EQ(format(0, &byte, size, 0, 31), "1010 0101") << size;
        EXPECT_EQ(format(0, &byte, size, 8, 9), "1") << size;
    }
}

// The rule, bit by bit, written once more.
std::string bits_by_rule(uint64_t value, uint32_t size, uint32_t first_bit, uint32_t last_bit) {
    first_bit = std::min(first_bit, size * 8 - 1);
    last_bit = std::min(last_bit, size * 8 - 1);
    std::string text;
    for (uint32_t bit = first_bit; bit <= last_bit; ++bit) {
        text += (value >> (size * 8 - 1 - bit) & 1) != 0 ? "1" : "0";
        if (bit % 4 == 3) text += " ";
    }
    if (!text.empty()) text.pop_back();
    return text;
}

TEST(FormatBits, FollowTheRuleForEveryRange) {
    for (uint32_t first_bit = 0; first_bit < 68; ++first_bit)
        for (uint32_t last_bit = 0; last_bit < 68; ++last_bit) {
            EXPECT_EQ(bits(uint16_t{0xC3A9}, first_bit, last_bit), bits_by_rule(0xC3A9, 2, first_bit, last_bit));
            EXPECT_EQ(bits(uint64_t{0xC3A96F0012345678}, first_bit, last_bit),
                      bits_by_rule(0xC3A96F0012345678, 8, first_bit, last_bit));
        }
}

TEST(FormatIpv4, WritesFourNumbers) {
    EXPECT_EQ(format(1, "\x00\x09\x0a\xff", 0), "0.9.10.255");
    EXPECT_EQ(format(1, "\xc0\xa8\x63\x64", 77), "192.168.99.100");
}

TEST(FormatIpv6, WritesEightHostWordsWithoutZerosInFront) {
    const uint16_t words[8] = {0x2001, 0xDB8, 0, 0x10, 0xF, 0xABC, 0xFFFF, 0x1000};
    EXPECT_EQ(format(2, words, 0), "2001:db8:0:10:f:abc:ffff:1000");
}

TEST(FormatMac, WritesSixPairs) {
    EXPECT_EQ(format(3, "\x00\x1b\x2c\xfd\x0e\xff", 0), "00:1b:2c:fd:0e:ff");
}

TEST(FormatNumber, PadsTheHexadecimalToTheSize) {
    const uint64_t value = 255;
    EXPECT_EQ(format(4, &value, 16), "0x00000000000000ff (255)");
    EXPECT_EQ(format(4, &value, 2), "0xff (255)");
    EXPECT_EQ(format(4, &value, 1), "0xff (255)") << "digits are never cut";
    EXPECT_EQ(format(4, &value, 0), "0xff (255)");
    EXPECT_EQ(format(4, &value, 30), "0x0000000000000000000000000000ff (255)");
}

TEST(FormatNumber, TakesTheLowWordFirst) {
    EXPECT_EQ(format(4, "\x01\x00\x00\x00\x02\x00\x00\x00", 8), "0x200000001 (8589934593)");
}

TEST(FormatNumber, Writes0AndTheHighestValue) {
    const uint64_t none = 0, all = UINT64_MAX;
    EXPECT_EQ(format(4, &none, 0), "0x0 (0)");
    EXPECT_EQ(format(4, &none, 4), "0x0000 (0)");
    EXPECT_EQ(format(4, &all, 4), "0xffffffffffffffff (18446744073709551615)");
}

TEST(FormatNumber, KeepsZerosInsideTheDecimal) {
    for (const uint64_t value : {uint64_t{1'000'000'000}, uint64_t{999'999'999}, uint64_t{1'000'000'001},
                                 uint64_t{1'000'000'000'000'000'000}, uint64_t{10'000'000'000'000'000'007u}}) {
        char expected[64];
        std::snprintf(expected, sizeof expected, "0x%" PRIx64 " (%" PRIu64 ")", value, value);
        EXPECT_EQ(format(4, &value, 0), expected);
    }
}

TEST(FormatNumber, OfAWidthThatNoTextCanHaveIsAnEmptyText) {
    const uint64_t value = 1;
    EXPECT_EQ(format(4, &value, 0x80000000), "");
    EXPECT_EQ(format(4, &value, 0xFFFFFFFF), "");
}

TEST(FormatBytes, WritesEachByteAsTwoDigits) {
    EXPECT_EQ(format(5, "\x00\xff\x0a\xb0", 4), "00ff0ab0");
    EXPECT_EQ(format(5, "\x00\xff\x0a\xb0", 1), "00");
}

TEST(FormatInverted, WritesTheComplementOfEachByte) {
    EXPECT_EQ(format(6, "\xff\x00", 2), "00ff");
    EXPECT_EQ(format(6, "\x0a\xb0", 2), "f54f");
}

TEST(FormatBytes, OfSize0WriteNothingNotEvenTheEnd) {
    for (const uint32_t style : {5u, 6u}) {
        char out[4] = "abc";
        EXPECT_EQ(nprm_format_str(style, out, nullptr, 0, 0, 0), out);
        EXPECT_STREQ(out, "abc");
    }
}

TEST(Format, StylesAbove6LeaveTheTextAlone) {
    for (const uint32_t style : {7u, 8u, 0x80000000u, 0xFFFFFFFFu}) {
        char out[4] = "abc";
        EXPECT_EQ(nprm_format_str(style, out, "\x01\x02\x03\x04\x05\x06\x07\x08", 4, 0, 7), out);
        EXPECT_STREQ(out, "abc");
    }
}

TEST(Format, ReadsDataAtAnyAddress) {
    alignas(8) char memory[32] = {};
    for (size_t offset = 0; offset < 8; ++offset) {
        const uint64_t value = 0x1234;
        std::memcpy(memory + offset, &value, sizeof value);
        EXPECT_EQ(format(0, memory + offset, 2, 0, 15), "0001 0010 0011 0100");
        EXPECT_EQ(format(2, memory + offset, 0).substr(0, 5), "1234:");
        EXPECT_EQ(format(4, memory + offset, 4), "0x1234 (4660)");
    }
}

std::string printed(const char *format, ...) __attribute__((format(printf, 1, 2)));
std::string printed(const char *format, ...) {
    char text[200];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

TEST(Format, AgreesWithPrintfOverAMillionRandomFields) {
    random_steps random;
    for (uint32_t step = 0; step < random_steps::steps; step += 6) {
        uint8_t b[16];
        for (uint8_t &byte : b)
            byte = static_cast<uint8_t>(random.below(4) == 0 ? random.below(3) * 127 : random.below(256));
        uint16_t w[8];
        std::memcpy(w, b, sizeof w);
        const uint64_t value = random.any() >> random.below(64);
        const uint32_t width = random.below(20);
        ASSERT_EQ(format(1, b, 0), printed("%d.%d.%d.%d", b[0], b[1], b[2], b[3]));
        ASSERT_EQ(format(2, b, 0), printed("%x:%x:%x:%x:%x:%x:%x:%x", w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7]));
        ASSERT_EQ(format(3, b, 0), printed("%02x:%02x:%02x:%02x:%02x:%02x", b[0], b[1], b[2], b[3], b[4], b[5]));
        const std::string number = printed("0x%%0%ullx (%%llu)", width);
        char expected[100];
        std::snprintf(expected, sizeof expected, number.c_str(), static_cast<unsigned long long>(value),
                      static_cast<unsigned long long>(value));
        ASSERT_EQ(format(4, &value, width), expected);
        ASSERT_EQ(format(5, b, 3), printed("%02x%02x%02x", b[0], b[1], b[2]));
        ASSERT_EQ(format(6, b, 3), printed("%02x%02x%02x", b[0] ^ 0xFF, b[1] ^ 0xFF, b[2] ^ 0xFF));
    }
}

struct copy {
    uint32_t copied;
    std::string text;
    bool operator==(const copy &) const = default;
};

copy copy_of(const char *text, uint32_t n) {
    char out[16];
    std::memset(out, '~', sizeof out);
    const uint32_t copied = sstrncpy(out, text, n);
    EXPECT_EQ(std::string(out + copied + 1, out + sizeof out), std::string(sizeof out - copied - 1, '~'));
    return {copied, std::string(out, strnlen(out, sizeof out))};
}

TEST(Sstrncpy, CopiesAtMostNMinus1CharactersAndEndsTheText) {
    EXPECT_EQ(copy_of("abcdef", 4), (copy{3, "abc"}));
    EXPECT_EQ(copy_of("abcdef", 6), (copy{5, "abcde"}));
    EXPECT_EQ(copy_of("abcdef", 7), (copy{6, "abcdef"}));
    EXPECT_EQ(copy_of("abcdef", 8), (copy{6, "abcdef"}));
    EXPECT_EQ(copy_of("abcdef", UINT_MAX), (copy{6, "abcdef"}));
    EXPECT_EQ(copy_of("", 8), (copy{0, ""}));
}

TEST(Sstrncpy, WritesTheEndEvenForASizeOf0) {
    EXPECT_EQ(copy_of("abcdef", 0), (copy{0, ""}));
    EXPECT_EQ(copy_of("abcdef", 1), (copy{0, ""}));
}

TEST(Sstrncpy, ReadsNoFurtherThanItCopies) {
    const std::vector<char> unterminated(3, 'x');  // a fourth byte read is an error to the address sanitizer
    char out[4];
    EXPECT_EQ(sstrncpy(out, unterminated.data(), 4), 3u);
    EXPECT_STREQ(out, "xxx");
}

}  // namespace
