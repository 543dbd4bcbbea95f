// What a datagram holds, and what is wrong with it.

#include "datagram.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using namespace std::string_literals;

constexpr log_time received = {1'800'000'000, 5};
const std::string tail = "\0\x00\xf1\x53\x65\x0c\x00\x00\x00"s;  // 1,700,000,000 seconds, 12 microseconds

datagram apart(const std::string &bytes) {
    // Parts point into the bytes, which must outlive them.
    static std::string kept;
    kept = bytes;
    return take_apart(kept, kept.size(), received);
}

TEST(Datagram, IsTextAndTheSendersTime) {
    const datagram parts = apart("hello\n" + tail);
    EXPECT_EQ(parts.text, "hello");
    EXPECT_EQ(parts.time, (log_time{1'700'000'000, 12}));
    EXPECT_EQ(parts.malformed, nullptr);
}

TEST(Datagram, LosesOneNewlineAtItsEnd) {
    EXPECT_EQ(apart("a\nb\n\n" + tail).text, "a\nb\n");
}

TEST(Datagram, OfNineBytesIsAnEmptyText) {
    const datagram parts = apart(tail);
    EXPECT_EQ(parts.text, "");
    EXPECT_EQ(parts.malformed, nullptr);
    EXPECT_EQ(parts.time.seconds, 1'700'000'000);
}

TEST(Datagram, OfTheLongestTextIsWhole) {
    const datagram parts = apart(std::string(4086, 'x') + tail);
    EXPECT_EQ(parts.text.size(), 4086U);
    EXPECT_EQ(parts.malformed, nullptr);
}

TEST(Datagram, BeforeTheEpochKeepsItsSign) {
    EXPECT_EQ(apart("x\0\xff\xff\xff\xff\x00\x00\x00\x00"s).time.seconds, -1);
}

TEST(Datagram, ThatIsMalformedKeepsItsTextAndTheTimeOfItsArrival) {
    const struct {
        std::string bytes;
        const char *text, *malformed;
    } rows[] = {
        {"", "", "empty"},
        {"x", "x", "no terminator"},
        {"\0"s, "", "no time"},
        {"abc\0"s, "abc", "no time"},
        {"abc\0\x00\xf1\x53\x65\x0c\x00\x00"s, "abc", "no time"},
        {"abc" + tail + "z", "abc", "bytes behind the time"},
        {"abc\0def"s + tail, "abc", "bytes behind the time"},
        {"abc\0\x00\xf1\x53\x65\x40\x42\x0f\x00"s, "abc", "no such time"},  // 1,000,000 microseconds
        {"abc\0\x00\xf1\x53\x65\xff\xff\xff\xff"s, "abc", "no such time"},
    };
    for (const auto &row : rows) {
        const datagram parts = apart(row.bytes);
        EXPECT_EQ(parts.text, row.text);
        ASSERT_NE(parts.malformed, nullptr) << row.malformed;
        EXPECT_STREQ(parts.malformed, row.malformed);
        EXPECT_EQ(parts.time, received) << row.malformed;
    }
}

TEST(Datagram, ThatWasLongerThanAllowedIsCut) {
    const std::string bytes(4095, 'y');
    const datagram parts = take_apart(bytes, 65536, received);
    EXPECT_EQ(parts.text.size(), 4095U);
    ASSERT_NE(parts.malformed, nullptr);
    EXPECT_STREQ(parts.malformed, "too long, cut");
    EXPECT_STREQ(take_apart(bytes, 4096, received).malformed, "too long, cut");
}

TEST(Claim, IsReadFromTheHeadOfAMessage) {
    const claim said = claim_of("npd(12)ERRO:tcam.c:7-> no room");
    EXPECT_EQ(said.process, "npd");
    EXPECT_EQ(said.tag, "ERRO");
    EXPECT_EQ(said.pid, 12);
    EXPECT_EQ(claim_of("(99)DUMP: 0x000: 0x01").pid, 99);
    EXPECT_EQ(claim_of("a (b)(7)INFO:x").process, "a (b)");
}

TEST(Claim, IsNotSeenWhereThereIsNone) {
    for (const char *text : {"", "plain", "nprm_send(42): failed", "(12", "(12)", "(12)ERRO",
                             "(-3)ERRO:", "(0)ERRO:", "(99999999999)ERRO:", "(12)TAGTAGTAGTAGTAGTAG:", "(12) ERRO:", "()ERRO:"})
        EXPECT_EQ(claim_of(text).pid, 0) << text;
    EXPECT_EQ(claim_of(std::string(256, 'n') + "(12)ERRO:").pid, 0);
    EXPECT_EQ(claim_of(std::string(255, 'n') + "(12)ERRO:").pid, 12);
}

}  // namespace
