// Fields as text without printf, which takes several times as long.

#include "nprm_format.h"

#include <bit>
#include <climits>
#include <cstring>

namespace {

static_assert(std::endian::native == std::endian::little, "values are read low byte first");

constexpr char digits[] = "0123456789abcdef";

// The writers put characters at `at` and give the place behind them; none of them ends the text.

char *put_hex_byte(char *at, uint8_t byte) {
    *at++ = digits[byte >> 4];
    *at++ = digits[byte & 0xF];
    return at;
}

char *put_byte(char *at, uint8_t byte) {
    if (byte >= 100) *at++ = digits[byte / 100];
    if (byte >= 10) *at++ = digits[byte / 10 % 10];
    *at++ = digits[byte % 10];
    return at;
}

char *put_hex(char *at, uint64_t value, uint32_t width) {
    const auto needed = static_cast<uint32_t>(value == 0 ? 1 : (std::bit_width(value) + 3) / 4);
    for (; width > needed; --width)
        *at++ = '0';
    for (uint32_t shift = needed * 4; shift != 0;)
        *at++ = digits[(value >> (shift -= 4)) & 0xF];
    return at;
}

// Nine digits at a time, because dividing 64 bits costs far more than dividing 32 bits on the target.
char *put_decimal(char *at, uint64_t value) {
    constexpr uint32_t nine_digits = 1'000'000'000;
    char reversed[20];
    char *end = reversed;
    while (value >= nine_digits) {
        auto low = static_cast<uint32_t>(value % nine_digits);
        value /= nine_digits;
        for (int i = 0; i < 9; ++i, low /= 10)
            *end++ = digits[low % 10];
    }
    for (auto high = static_cast<uint32_t>(value); high != 0 || end == reversed; high /= 10)
        *end++ = digits[high % 10];
    while (end != reversed)
        *at++ = *--end;
    return at;
}

// A value of size bytes moved to the top of 64 bits, so that bit index 0 is the highest one.
uint64_t top_aligned(const void *data, uint32_t size) {
    uint64_t value = 0;
    memcpy(&value, data, size);
    return value << (64 - 8 * size);
}

char *put_bits(char *at, const void *data, uint32_t size, uint32_t first_bit, uint32_t last_bit) {
    if (size == 0) return at;
    if (size != 2 && size != 4 && size != 8) size = 1;
    const uint32_t highest = size * 8 - 1;
    if (first_bit > highest) first_bit = highest;
    if (last_bit > highest) last_bit = highest;
    if (first_bit > last_bit) return at;
    const uint64_t value = top_aligned(data, size);
    for (uint32_t bit = first_bit; bit <= last_bit; ++bit) {
        *at++ = digits[value << bit >> 63];
        if (bit % 4 == 3) *at++ = ' ';
    }
    return at - 1;  // takes a digit off where the last group is not full, which is meant: FormatBits.LosesTheLastDigitOfAnOpenGroup
}

char *put_ipv4(char *at, const uint8_t *bytes) {
    at = put_byte(at, bytes[0]);
    for (int i = 1; i < 4; ++i) {
        *at++ = '.';
        at = put_byte(at, bytes[i]);
    }
    return at;
}

char *put_ipv6(char *at, const uint8_t *bytes) {
    for (int i = 0; i < 8; ++i) {
        uint16_t word;
        memcpy(&word, bytes + 2 * i, sizeof word);
        if (i != 0) *at++ = ':';
        at = put_hex(at, word, 1);
    }
    return at;
}

char *put_mac(char *at, const uint8_t *bytes) {
    at = put_hex_byte(at, bytes[0]);
    for (int i = 1; i < 6; ++i) {
        *at++ = ':';
        at = put_hex_byte(at, bytes[i]);
    }
    return at;
}

char *put_number(char *at, const uint8_t *bytes, uint32_t width) {
    if (width > INT_MAX) return at;
    uint64_t value;
    memcpy(&value, bytes, sizeof value);
    *at++ = '0';
    *at++ = 'x';
    at = put_hex(at, value, width);
    *at++ = ' ';
    *at++ = '(';
    at = put_decimal(at, value);
    *at++ = ')';
    return at;
}

char *put_bytes(char *at, const uint8_t *bytes, uint32_t size, uint8_t invert) {
    for (uint32_t i = 0; i < size; ++i)
        at = put_hex_byte(at, bytes[i] ^ invert);
    return at;
}

}  // namespace

char *nprm_format_str(uint32_t style, char *out, const void *data, uint32_t size, uint32_t first_bit, uint32_t last_bit) {
    const auto *bytes = static_cast<const uint8_t *>(data);
    char *end = out;
    switch (style) {
        case NPRM_FORMAT_BITS:
            end = put_bits(out, data, size, first_bit, last_bit);
            break;
        case NPRM_FORMAT_IPV4:
            end = put_ipv4(out, bytes);
            break;
        case NPRM_FORMAT_IPV6:
            end = put_ipv6(out, bytes);
            break;
        case NPRM_FORMAT_MAC:
            end = put_mac(out, bytes);
            break;
        case NPRM_FORMAT_NUMBER:
            end = put_number(out, bytes, size);
            break;
        case NPRM_FORMAT_BYTES:
            end = put_bytes(out, bytes, size, 0x00);
            break;
        case NPRM_FORMAT_INVERTED:
            end = put_bytes(out, bytes, size, 0xFF);
            break;
        default:
            return out;
    }
    const bool nothing_asked = size == 0 && (style == NPRM_FORMAT_BYTES || style == NPRM_FORMAT_INVERTED);
    if (!nothing_asked) *end = '\0';
    return out;
}

// An n of 0 writes one character, which is meant: Sstrncpy.WritesTheEndEvenForASizeOf0.
uint32_t sstrncpy(char *dst, const char *src, uint32_t n) {
    uint32_t copied = 0;
    for (; copied + 1 < n && src[copied] != '\0'; ++copied)
        dst[copied] = src[copied];
    dst[copied] = '\0';
    return copied;
}
