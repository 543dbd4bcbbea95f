// Policy entries as text.

#include "policy_entries.h"

#include <cstring>

#include <gtest/gtest.h>

namespace {

constexpr const char *key_text = "11.0a0b0c0d0e0f.0050.c0000201.c6336401";
constexpr const char *mask_text = "ff.ffffffffffff.FFFF.ffffffff.ffffff00";
constexpr const char *result_text = "0102.a1a2a3a4a5a6.00000002.12345678.04";

std::string line_of_entry() {
    return std::string(key_text) + " " + mask_text + "  " + result_text + " # comment\n";
}

std::vector<std::string> errors_of(const std::string &text) {
    std::vector<text_error> errors;
    parse_policy_entries(text, errors);
    std::vector<std::string> found;
    found.reserve(errors.size());
    for (const text_error &error : errors)
        found.push_back(std::to_string(error.line) + ":" + std::to_string(error.column) + " " + error.message);
    return found;
}

}  // namespace

TEST(PolicyEntries, AreReadIntoTheRecordsBytes) {
    std::vector<text_error> errors;
    const auto entries = parse_policy_entries("# head\n" + line_of_entry(), errors);
    ASSERT_TRUE(errors.empty());
    ASSERT_EQ(entries.size(), 1U);
    const uint8_t key[17] = {0x11, 0x0a, 0x0b, 0x0c, 0x0d, 0x0e, 0x0f, 0x50, 0x00, 0x01, 0x02, 0x00, 0xc0, 0x01, 0x64, 0x33, 0xc6};
    const uint8_t result[17] = {0x02, 0x01, 0xa1, 0xa2, 0xa3, 0xa4, 0xa5, 0xa6, 0x02, 0, 0, 0, 0x78, 0x56, 0x34, 0x12, 0x04};
    EXPECT_EQ(std::memcmp(&entries[0].key, key, sizeof key), 0);
    EXPECT_EQ(std::memcmp(&entries[0].result, result, sizeof result), 0);
    EXPECT_EQ(entries[0].mask.u32_13, 0xFFFFFF00U);
}

TEST(PolicyEntries, AreWrittenAsTheyAreRead) {
    std::vector<text_error> errors;
    const auto entries = parse_policy_entries(line_of_entry(), errors);
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(field_text(entries[0].key), key_text);
    EXPECT_EQ(field_text(entries[0].mask), "ff.ffffffffffff.ffff.ffffffff.ffffff00");
    EXPECT_EQ(field_text(entries[0].result), result_text);
}

TEST(PolicyEntries, NameErrorsWithLineAndColumn) {
    const std::string key_form = ": u8.bytes.u16.u32.u32, such as 11.0a0b0c0d0e0f.0050.c0000201.c6336401";
    const std::string result_form = ": u16.bytes.u32.u32.u8, such as 0001.000000000000.00000002.00000003.04";
    const std::string key = key_text, result = result_text;
    using strings = std::vector<std::string>;
    EXPECT_EQ(errors_of(key + "\n"), (strings{"1:39 a mask is missing" + key_form, "1:39 a result is missing" + result_form}));
    EXPECT_EQ(errors_of("\n" + key + " x " + result), strings{"2:40 \"x\" is no mask" + key_form});
    EXPECT_EQ(errors_of(key + " " + key + " " + key), strings{"1:79 \"" + key + "\" is no result" + result_form});
    EXPECT_EQ(errors_of(key + " " + key + " " + result + " more"),
              strings{"1:118 \"more\" is not expected here: the entry is complete"});
}

TEST(PolicyEntries, RefuseEveryCutAndEveryForeignCharacter) {
    const std::string key = key_text;
    for (size_t at = 0; at < key.size(); ++at) {
        std::vector<text_error> errors;
        parse_policy_key(key.substr(0, at), errors);
        EXPECT_EQ(errors.size(), 1U) << at;
        std::string changed = key;
        changed[at] = 'g';
        parse_policy_key(changed, errors);
        EXPECT_EQ(errors.size(), 2U) << changed;
    }
    std::vector<text_error> errors;
    parse_policy_key(key + "0", errors);
    EXPECT_EQ(errors.size(), 1U);
}
