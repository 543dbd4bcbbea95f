// Text from other processes, made fit for a terminal and for a line.

#include "safe_text.h"

#include <algorithm>
#include <cstdint>

namespace {

constexpr char digits[] = "0123456789abcdef";

bool is_plain(unsigned char c, backslash how) {
    return c >= 0x20 && c < 0x7F && (c != '\\' || how == backslash::kept);
}

// A character of UTF-8: how many bytes, and its number; 0 bytes: none stands here.
struct character {
    size_t bytes;
    uint32_t number;
};

struct utf8_form {
    unsigned char first_lowest, first_highest;
    size_t bytes;
    unsigned char first_bits;
    uint32_t number_lowest;  // smaller numbers have a shorter form
};
constexpr utf8_form utf8_forms[] = {
    {0x00, 0x7F, 1, 0x7F, 0},
    {0xC2, 0xDF, 2, 0x1F, 0x80},
    {0xE0, 0xEF, 3, 0x0F, 0x800},
    {0xF0, 0xF4, 4, 0x07, 0x10000},
};

character first_character(std::string_view text) {
    const auto first = static_cast<unsigned char>(text[0]);
    const auto *form = std::ranges::find_if(
        utf8_forms, [first](const utf8_form &f) { return first >= f.first_lowest && first <= f.first_highest; });
    if (form == std::end(utf8_forms) || form->bytes > text.size()) return {0, 0};
    uint32_t number = first & form->first_bits;
    for (size_t i = 1; i < form->bytes; ++i) {
        const auto next = static_cast<unsigned char>(text[i]);
        if ((next & 0xC0) != 0x80) return {0, 0};
        number = (number << 6) | (next & 0x3F);
    }
    const bool is_surrogate = number >= 0xD800 && number <= 0xDFFF;
    if (number < form->number_lowest || number > 0x10FFFF || is_surrogate) return {0, 0};
    return {form->bytes, number};
}

struct number_range {
    uint32_t lowest, highest;
};
constexpr number_range steering[] = {
    {0x00, 0x1F},     {0x7F, 0x9F},     {0x61C, 0x61C},   {0x180E, 0x180E}, {0x200B, 0x200F},
    {0x2028, 0x202E}, {0x2060, 0x206F}, {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB}, {0xE0000, 0xE007F},
};

bool steers(uint32_t number) {
    return std::ranges::any_of(steering, [number](const number_range &r) { return number >= r.lowest && number <= r.highest; });
}

void append_byte(std::string &out, unsigned char byte) {
    out += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
}

void append_number(std::string &out, uint32_t number) {
    const bool is_long = number > 0xFFFF;
    out += {'\\', is_long ? 'U' : 'u'};
    for (unsigned bits = is_long ? 32 : 16; bits != 0; bits -= 4)
        out += digits[(number >> (bits - 4)) & 15];
}

}  // namespace

void append_safe(std::string &out, std::string_view text, backslash how) {
    while (!text.empty()) {
        const auto end = std::ranges::find_if_not(text, [how](char c) { return is_plain(static_cast<unsigned char>(c), how); });
        const auto plain = static_cast<size_t>(end - text.begin());
        out.append(text.substr(0, plain));
        text.remove_prefix(plain);
        if (text.empty()) return;

        const character next = first_character(text);
        if (next.bytes <= 1 && text[0] == '\\')
            out += "\\\\";
        else if (next.bytes <= 1)
            append_byte(out, static_cast<unsigned char>(text[0]));
        else if (steers(next.number))
            append_number(out, next.number);
        else
            out.append(text.substr(0, next.bytes));
        text.remove_prefix(std::max<size_t>(next.bytes, 1));
    }
}

void append_json_string(std::string &out, std::string_view text) {
    out += '"';
    for (size_t at; (at = text.find_first_of("\"\\")) != std::string_view::npos; text.remove_prefix(at + 1)) {
        out.append(text.substr(0, at));
        out += {'\\', text[at]};
    }
    out.append(text);
    out += '"';
}
