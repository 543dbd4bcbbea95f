// nprm_format_str beside snprintf of the same text, style by style.

#include "util/nprm_format.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <random>
#include <vector>

#include "support/pair.h"

namespace {

constexpr uint32_t number_width = 16;
constexpr uint32_t run_bytes = 16;
using raw_field = std::array<uint8_t, run_bytes>;

// Fields of all magnitudes, so that no branch is learned by heart.
std::vector<raw_field> many_fields() {
    std::mt19937 engine(20100916);
    std::vector<raw_field> fields(251);
    for (raw_field &field : fields)
        for (uint8_t &byte : field)
            byte = static_cast<uint8_t>(engine() % 256 >> engine() % 8);
    return fields;
}

int print_ipv4(char *out, size_t size, const uint8_t *b) {
    return std::snprintf(out, size, "%d.%d.%d.%d", b[0], b[1], b[2], b[3]);
}
int print_ipv6(char *out, size_t size, const uint8_t *b) {
    uint16_t w[8];
    std::memcpy(w, b, sizeof w);
    return std::snprintf(out, size, "%x:%x:%x:%x:%x:%x:%x:%x", w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7]);
}
int print_mac(char *out, size_t size, const uint8_t *b) {
    return std::snprintf(out, size, "%02x:%02x:%02x:%02x:%02x:%02x", b[0], b[1], b[2], b[3], b[4], b[5]);
}
int print_number(char *out, size_t size, const uint8_t *b) {
    unsigned long long value;
    std::memcpy(&value, b, sizeof value);
    return std::snprintf(out, size, "0x%016llx (%llu)", value, value);
}
int print_bytes(char *out, size_t size, const uint8_t *b) {
    return std::snprintf(out, size, "%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x%02x", b[0], b[1], b[2], b[3],
                         b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
}
int print_inverted(char *out, size_t size, const uint8_t *b) {
    uint8_t inverted[run_bytes];
    for (uint32_t i = 0; i < run_bytes; ++i)
        inverted[i] = static_cast<uint8_t>(~b[i]);
    return print_bytes(out, size, inverted);
}

constexpr struct {
    const char *name;
    uint32_t style, size;
    int (*print)(char *, size_t, const uint8_t *);
} styles[] = {
    {"1, IPv4 address", NPRM_FORMAT_IPV4, 0, print_ipv4},
    {"2, IPv6 address", NPRM_FORMAT_IPV6, 0, print_ipv6},
    {"3, MAC address", NPRM_FORMAT_MAC, 0, print_mac},
    {"4, number of 16 digits", NPRM_FORMAT_NUMBER, number_width, print_number},
    {"5, 16 bytes", NPRM_FORMAT_BYTES, run_bytes, print_bytes},
    {"6, 16 bytes inverted", NPRM_FORMAT_INVERTED, run_bytes, print_inverted},
};

}  // namespace

int main(int argc, char **argv) {
    benchmark_run run("format: nprm_format_str, beside snprintf", argc, argv);
    const std::vector<raw_field> fields = many_fields();
    size_t at = 0;
    const auto next = [&] {
        if (++at == fields.size()) at = 0;
        return fields[at].data();
    };
    char text[128];
    for (const auto &style : styles) {
        for (const raw_field &field : fields) {
            char expected[128];
            style.print(expected, sizeof expected, field.data());
            if (std::strcmp(nprm_format_str(style.style, text, field.data(), style.size, 0, 0), expected) != 0) {
                std::fprintf(stderr, "style %s gives \"%s\", snprintf gives \"%s\"\n", style.name, text, expected);
                return 1;
            }
        }
        run.pair(
            std::string("style ") + style.name, 0.5, [&] { keep(*nprm_format_str(style.style, text, next(), style.size, 0, 0)); },
            [&] { keep(style.print(text, sizeof text, next())); });
    }
    return run.finish();
}
