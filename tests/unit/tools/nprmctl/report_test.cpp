// The same rows as text and as JSON.

#include "report.h"

#include <gtest/gtest.h>

namespace {

report an_example() {
    report content;
    content.fact("list", "list", uint64_t{3});
    content.fact("free_entries", "free entries", uint64_t{65536});
    content.fact("ready", "ready", true);
    content.fact("hidden", nullptr, std::string("for programs"));
    content.table("entries", {{"position", "position"}, {"rule", "rule"}, {"raw", nullptr}});
    content.row({uint64_t{9}, std::string("permit"), std::string("01")});
    content.row({uint64_t{10}, std::monostate{}, std::string("02")});
    return content;
}

}  // namespace

TEST(Report, AlignsFactsAndRowsForPeople) {
    EXPECT_EQ(an_example().text(),
              "list          3\n"
              "free entries  65,536\n"
              "ready         yes\n"
              "\n"
              "position  rule\n"
              "       9  permit\n"
              "      10\n");
}

TEST(Report, KeepsTypesForPrograms) {
    EXPECT_EQ(an_example().json(),
              "{\n"
              "  \"list\": 3,\n"
              "  \"free_entries\": 65536,\n"
              "  \"ready\": true,\n"
              "  \"hidden\": \"for programs\",\n"
              "  \"entries\": [\n"
              "    {\n"
              "      \"position\": 9,\n"
              "      \"rule\": \"permit\",\n"
              "      \"raw\": \"01\"\n"
              "    },\n"
              "    {\n"
              "      \"position\": 10,\n"
              "      \"rule\": null,\n"
              "      \"raw\": \"02\"\n"
              "    }\n"
              "  ]\n"
              "}\n");
}

TEST(Report, SaysTheSentenceInPlaceOfTheFacts) {
    report content;
    content.sentence("list 3 is deleted");
    content.fact("list", "list", uint64_t{3});
    EXPECT_EQ(content.text(), "list 3 is deleted\n");
    EXPECT_EQ(content.json(), "{\n  \"list\": 3\n}\n");
}

TEST(Report, KeepsAnEmptyTableInJson) {
    report content;
    content.table("entries", {{"position", "position"}});
    EXPECT_EQ(content.text(), "");
    EXPECT_EQ(content.json(), "{\n  \"entries\": []\n}\n");
}

TEST(Report, IsSafeOnATerminalAndValidJsonWhateverTextComes) {
    report content;
    content.fact("text", "text", std::string("a\x1b[2J\nb\x80"));
    EXPECT_EQ(content.text(), "text  a.[2J.b.\n");
    EXPECT_EQ(content.json(), "{\n  \"text\": \"a\\u001b[2J\\nb\xEF\xBF\xBD\"\n}\n");
}

TEST(Report, RoundsMeasuredValuesAndKeepsTheUnitOutOfJson) {
    report content;
    content.fact("power", "power", decimal_value{0.12345, 3, "mW"});
    content.fact("zero", "zero", decimal_value{-0.04, 1, ""});
    content.fact("none", "none", decimal_value{1e300 * 1e300, 1, "C"});
    EXPECT_EQ(content.text(), "power  0.123 mW\nzero   0.0\nnone   -\n");
    EXPECT_EQ(content.json(), "{\n  \"power\": 0.123,\n  \"zero\": 0.0,\n  \"none\": null\n}\n");
}

TEST(Grouped, PutsACommaBeforeEveryThreeDigits) {
    EXPECT_EQ(grouped(0), "0");
    EXPECT_EQ(grouped(999), "999");
    EXPECT_EQ(grouped(1000), "1,000");
    EXPECT_EQ(grouped(18446744073709551615U), "18,446,744,073,709,551,615");
    EXPECT_EQ(counted(1, "entry", "entries"), "1 entry");
    EXPECT_EQ(counted(0, "entry", "entries"), "0 entries");
}
