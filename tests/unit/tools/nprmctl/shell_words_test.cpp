// How a line of nprmctl's shell becomes words.

#include "tools/nprmctl/shell_words.h"

#include <gtest/gtest.h>

namespace {

using strings = std::vector<std::string>;

TEST(ShellWords, StandBetweenBlanksAndEndAtAComment) {
    const std::pair<const char *, strings> rows[] = {
        {"", {}},
        {" \t\r", {}},
        {"# tcam space", {}},
        {"tcam space", {"tcam", "space"}},
        {"\t tcam  space # of all\r", {"tcam", "space"}},
        {"log send a#b", {"log", "send", "a#b"}},
    };
    for (const auto &[line, expected] : rows) {
        strings words = {"old"};
        EXPECT_TRUE(split_into_words(line, words)) << line;
        EXPECT_EQ(words, expected) << line;
    }
}

TEST(ShellWords, HoldWhatIsQuotedAsItStands) {
    const std::pair<const char *, strings> rows[] = {
        {R"(log send "two  words")", {"log", "send", "two  words"}},
        {R"('a "b" # c')", {R"(a "b" # c)"}},
        {R"("it's")", {"it's"}},
        {R"(a"b c"d)", {"ab cd"}},
        {R"("")", {""}},
        {R"(a '' b)", {"a", "", "b"}},
        {R"(a\ b \"c \\ \#)", {"a b", "\"c", "\\", "#"}},
        {R"("a\b")", {R"(a\b)"}},
    };
    for (const auto &[line, expected] : rows) {
        strings words;
        EXPECT_TRUE(split_into_words(line, words)) << line;
        EXPECT_EQ(words, expected) << line;
    }
}

TEST(ShellWords, AreRefusedWhenAQuotationIsOpen) {
    for (const char *line : {"\"", "a 'b", "a\"b' c", "a\\", "'a\\'b'"}) {
        strings words;
        EXPECT_FALSE(split_into_words(line, words)) << line;
    }
}

}  // namespace
