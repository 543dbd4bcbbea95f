// Text that could steer a terminal or end a line is written out.

#include "safe_text.h"

#include <gtest/gtest.h>

namespace {

using namespace std::string_literals;

std::string safe(const std::string &text, backslash how = backslash::doubled) {
    std::string out;
    append_safe(out, text, how);
    return out;
}

TEST(SafeText, LeavesPrintableTextAlone) {
    EXPECT_EQ(safe("port 3: \"up\" 100%n ~"), "port 3: \"up\" 100%n ~");
    EXPECT_EQ(safe("gr\xC3\xBC\xC3\x9F \xE2\x82\xAC \xF0\x9F\x98\x80"), "gr\xC3\xBC\xC3\x9F \xE2\x82\xAC \xF0\x9F\x98\x80");
    EXPECT_EQ(safe(""), "");
}

TEST(SafeText, WritesControlCharactersOut) {
    EXPECT_EQ(safe("a\nb\r\tc\0d\x7F"s), "a\\x0ab\\x0d\\x09c\\x00d\\x7f");
    EXPECT_EQ(safe("\x1B[2J\x1B]0;title\x07"), "\\x1b[2J\\x1b]0;title\\x07");
}

TEST(SafeText, WritesC1ControlsAndDirectionMarksOut) {
    EXPECT_EQ(safe("\xC2\x9B"
                   "31m\xC2\x80\xC2\x9F"),
              "\\u009b31m\\u0080\\u009f");
    EXPECT_EQ(safe("\xE2\x80\xAE\xE2\x80\xA8\xE2\x81\xA6\xEF\xBB\xBF"), "\\u202e\\u2028\\u2066\\ufeff");
    EXPECT_EQ(safe("\xE2\x81\xAA\xE2\x81\xAF\xE1\xA0\x8E"), "\\u206a\\u206f\\u180e");
    EXPECT_EQ(safe("\xF3\xA0\x80\x80\xF3\xA0\x81\xBF\xF3\xA0\x82\x80"), "\\U000e0000\\U000e007f\xF3\xA0\x82\x80");
    EXPECT_EQ(safe("\xC2\xA0"), "\xC2\xA0");
}

TEST(SafeText, WritesBytesThatAreNoUtf8Out) {
    EXPECT_EQ(safe("\xFF\xFE"), "\\xff\\xfe");
    EXPECT_EQ(safe("\x9B"
                   "31m"),
              "\\x9b31m");
    EXPECT_EQ(safe("\xC0\xAF"), "\\xc0\\xaf");  // "/" in a form that is too long
    EXPECT_EQ(safe("\xE0\x80\xAF"), "\\xe0\\x80\\xaf");
    EXPECT_EQ(safe("\xED\xA0\x80"), "\\xed\\xa0\\x80");           // half of a pair
    EXPECT_EQ(safe("\xF4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");  // above the last character
    EXPECT_EQ(safe("a\xE2\x82"), "a\\xe2\\x82");                  // cut at the end
    EXPECT_EQ(safe("\xE2\x82Z"), "\\xe2\\x82Z");
}

TEST(SafeText, DoublesBackslashesUnlessTheTextWentThroughBefore) {
    EXPECT_EQ(safe("\\x1b"), "\\\\x1b");
    EXPECT_EQ(safe("\\x1b\x1b", backslash::kept), "\\x1b\\x1b");
}

TEST(SafeText, BecomesAStringOfJson) {
    std::string out;
    append_json_string(out, "a \"b\" \\x0a");
    EXPECT_EQ(out, "\"a \\\"b\\\" \\\\x0a\"");
}

}  // namespace
