// Policy entries as text: reads and writes the records' fields in hexadecimal.

#include "policy_entries.h"

#include <cstring>
#include <span>

namespace {

// A record is its fields' widths in bytes; a run of bytes is that many fields of width 1 without dots between them.
struct field {
    size_t bytes;
    bool number;  // written as a value, most significant digit first, stored in the host's byte order
};
constexpr field key_fields[] = {{1, true}, {6, false}, {2, true}, {4, true}, {4, true}};
constexpr field result_fields[] = {{2, true}, {6, false}, {4, true}, {4, true}, {1, true}};
constexpr const char *key_form = "u8.bytes.u16.u32.u32, such as 11.0a0b0c0d0e0f.0050.c0000201.c6336401";
constexpr const char *result_form = "u16.bytes.u32.u32.u8, such as 0001.000000000000.00000002.00000003.04";

constexpr char digits[] = "0123456789abcdef";

int digit_value(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// Where the byte that is written at `place` of a field stands in the record.
size_t byte_at(const field &row, size_t place) {
    return row.number ? row.bytes - 1 - place : place;
}
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "records are in the host's byte order, and the card's is little-endian");

template <typename record>
std::string written(const record &value, std::span<const field> fields) {
    uint8_t bytes[sizeof value];
    std::memcpy(bytes, &value, sizeof value);
    std::string text;
    size_t offset = 0;
    for (const field &row : fields) {
        if (offset != 0) text += '.';
        for (size_t place = 0; place < row.bytes; ++place) {
            const uint8_t byte = bytes[offset + byte_at(row, place)];
            text += digits[byte >> 4];
            text += digits[byte & 0xF];
        }
        offset += row.bytes;
    }
    return text;
}

// True when the text is the record, whole.
template <typename record>
bool read(std::string_view text, std::span<const field> fields, record &value) {
    uint8_t bytes[sizeof value];
    size_t offset = 0, at = 0;
    for (const field &row : fields) {
        if (offset != 0 && (at >= text.size() || text[at++] != '.')) return false;
        for (size_t place = 0; place < row.bytes; ++place, at += 2) {
            if (at + 2 > text.size()) return false;
            const int high = digit_value(text[at]), low = digit_value(text[at + 1]);
            if (high < 0 || low < 0) return false;
            bytes[offset + byte_at(row, place)] = static_cast<uint8_t>(high << 4 | low);
        }
        offset += row.bytes;
    }
    if (at != text.size()) return false;
    std::memcpy(&value, bytes, sizeof value);
    return true;
}

template <typename record>
void read_word(word_reader &words, std::span<const field> fields, const char *which, const char *form, record &value) {
    if (words.at_end()) {
        words.fail(std::string("a ") + which + " is missing: " + form);
        return;
    }
    if (!read(words.peek(), fields, value)) words.fail(in_quotes(words.peek()) + " is no " + which + ": " + form);
    words.next();
}

void expect_end(word_reader &words) {
    if (!words.at_end()) words.fail(in_quotes(words.peek()) + " is not expected here: the entry is complete");
}

}  // namespace

std::vector<policy_entry> parse_policy_entries(std::string_view text, std::vector<text_error> &errors) {
    std::vector<policy_entry> entries;
    each_line(text, errors, [&](word_reader &words) {
        policy_entry entry = {};
        read_word(words, key_fields, "key", key_form, entry.key);
        read_word(words, key_fields, "mask", key_form, entry.mask);
        read_word(words, result_fields, "result", result_form, entry.result);
        expect_end(words);
        entries.push_back(entry);
    });
    return entries;
}

nprm_tcam_policy_key parse_policy_key(std::string_view text, std::vector<text_error> &errors) {
    nprm_tcam_policy_key key = {};
    word_reader words(text, 1, errors);
    read_word(words, key_fields, "key", key_form, key);
    expect_end(words);
    return key;
}

std::string field_text(const nprm_tcam_policy_key &key) {
    return written(key, key_fields);
}
std::string field_text(const nprm_tcam_policy_result &result) {
    return written(result, result_fields);
}
