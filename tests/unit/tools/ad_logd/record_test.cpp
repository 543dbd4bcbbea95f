// The three forms of a record, byte by byte.

#include "record.h"

#include <gtest/gtest.h>

namespace {

const record plain = {origin::log, {1'700'000'000, 12}, 34, 5, 0, "npd", "ERRO", nullptr, "npd(34)ERRO:f.c:1-> \"x\" \\x1b"};
const record remarkable = {origin::special, {1'700'000'001, 999'999}, 34, 5, 77, "", "", "no time", "x"};
const record own = {origin::daemon, {0, 0}, 0, 0, 0, "", "", nullptr, "3 records lost here: File too large"};

template <typename Append, typename... More>
std::string formed(Append append, const record &what, More... more) {
    std::string out;
    append(out, what, more...);
    return out;
}

TEST(Record, AsText) {
    EXPECT_EQ(formed(append_text_line, plain), "2023-11-14T22:13:20.000012Z log pid 34 uid 5: npd(34)ERRO:f.c:1-> \"x\" \\x1b\n");
    EXPECT_EQ(formed(append_text_line, remarkable),
              "2023-11-14T22:13:21.999999Z special pid 34 uid 5 (says pid 77; malformed: no time): x\n");
    record of_another_namespace = plain;
    of_another_namespace.pid = 0;
    EXPECT_EQ(formed(append_text_line, of_another_namespace).substr(27, 21), " log pid 0 uid 5: npd");
    EXPECT_EQ(formed(append_text_line, own), "1970-01-01T00:00:00.000000Z daemon: 3 records lost here: File too large\n");
}

TEST(Record, AsJson) {
    EXPECT_EQ(
        formed(append_json_line, plain),
        "{\"time\":\"2023-11-14T22:13:20.000012Z\",\"from\":\"log\",\"pid\":34,\"uid\":5,\"process\":\"npd\",\"tag\":\"ERRO\","
        "\"text\":\"npd(34)ERRO:f.c:1-> \\\"x\\\" \\\\x1b\"}\n");
    EXPECT_EQ(formed(append_json_line, remarkable),
              "{\"time\":\"2023-11-14T22:13:21.999999Z\",\"from\":\"special\",\"pid\":34,\"uid\":5,\"says_pid\":77,"
              "\"malformed\":\"no time\",\"text\":\"x\"}\n");
}

TEST(Record, AsSyslogMessage) {
    EXPECT_EQ(formed(append_syslog_message, plain, 16U, "card 7"),
              "<131>1 2023-11-14T22:13:20.000012Z card_7 npd 34 ERRO [sender@32473 from=\"log\" uid=\"5\"] "
              "npd(34)ERRO:f.c:1-> \"x\" \\x1b");
    EXPECT_EQ(formed(append_syslog_message, remarkable, 1U, ""),
              "<13>1 2023-11-14T22:13:21.999999Z - - 34 - [sender@32473 from=\"special\" uid=\"5\" saysPid=\"77\" "
              "malformed=\"no time\"] x");
    EXPECT_EQ(formed(append_syslog_message, own, 16U, "c"),
              "<132>1 1970-01-01T00:00:00.000000Z c ad_logd - - [sender@32473 from=\"daemon\" uid=\"0\"] "
              "3 records lost here: File too large");
}

TEST(Record, HasASyslogSeverityByItsTag) {
    const struct {
        const char *tag, *priority;
    } rows[] = {{"CRTC", "<2>"}, {"ERRO", "<3>"}, {"WARN", "<4>"}, {"NOTI", "<5>"},
                {"INFO", "<6>"}, {"DBUG", "<7>"}, {"HTFD", "<5>"}};
    for (const auto &row : rows) {
        record what = plain;
        what.tag = row.tag;
        EXPECT_EQ(formed(append_syslog_message, what, 0U, "c").substr(0, 3), row.priority) << row.tag;
    }
}

}  // namespace
