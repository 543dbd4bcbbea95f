// Bytes written by hand: EXPECT_BYTES(message, 8, "00 00 00 00  2a") compares the bytes from offset 8 on.
#ifndef TESTS_BYTES_H
#define TESTS_BYTES_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

inline std::vector<uint8_t> bytes_of(const char *hex) {
    std::vector<uint8_t> bytes;
    for (const char *at = hex; *at != '\0';) {
        if (*at == ' ') {
            ++at;
            continue;
        }
        char *end = nullptr;
        const std::string two(at, 2);
        bytes.push_back(static_cast<uint8_t>(std::strtoul(two.c_str(), &end, 16)));
        if (*end != '\0') ADD_FAILURE() << "not two hexadecimal digits: " << at;
        at += at[1] == '\0' ? 1 : 2;
    }
    return bytes;
}

inline std::string hex_of(std::span<const uint8_t> bytes) {
    std::string text;
    for (const uint8_t byte : bytes) {
        char two[4];
        std::snprintf(two, sizeof two, "%02x ", byte);
        text += two;
    }
    if (!text.empty()) text.pop_back();
    return text;
}

inline void expect_bytes(const char *file, int line, std::span<const uint8_t> message, size_t offset, const char *hex) {
    const std::vector<uint8_t> expected = bytes_of(hex);
    if (offset + expected.size() > message.size()) {
        ADD_FAILURE_AT(file, line) << "the message has " << message.size() << " bytes, " << offset + expected.size()
                                   << " are needed";
        return;
    }
    const std::string found = hex_of(message.subspan(offset, expected.size()));
    if (found != hex_of(expected))
        ADD_FAILURE_AT(file, line) << "bytes from offset " << offset << ":\n     are: " << found
                                   << "\nexpected: " << hex_of(expected);
}

#define EXPECT_BYTES(message, offset, hex) expect_bytes(__FILE__, __LINE__, message, offset, hex)

#endif
