// What the TCAM does when it is asked properly: lists, entries, space.

#include <random>

#include "messages.h"

namespace {

using list_numbers = std::vector<int64_t>;

TEST(TcamCreateList, GivesTheLowestFreeIdInAReplyOf110Bytes) {
    tcam_under_test tcam;
    const message first = tcam.ask(tcam_message(0, 2, 0x77, 10));
    ASSERT_EQ(first.size(), 110U);
    message expected(110, 0);
    expected[4] = 2;
    EXPECT_EQ(hex_of(first), hex_of(expected));
    EXPECT_EQ(tcam.create(20), 1);
    EXPECT_EQ(tcam.create(30), 2);
    EXPECT_EQ(tcam.code_of(tcam_message(1, 2, 1, 0)), 0U);
    const message again = tcam.ask(tcam_message(0, 2, 0, 10));
    EXPECT_BYTES(again, 0, "00 00 00 00  02 00 00 00  00 00 00 00");
    EXPECT_BYTES(again, 59, "01");
}

TEST(TcamSpace, IsTheCapacityWithoutTheListsSizes) {
    tcam_under_test tcam(1000);
    EXPECT_BYTES(tcam.ask(tcam_message(2, 2)), 0, "02 00 00 00  02 00 00 00  00 00 00 00");
    EXPECT_BYTES(tcam.ask(tcam_message(2, 2)), 59, "00  e8 03 00 00  00 00");
    tcam.create(300);
    tcam.create(699);
    EXPECT_EQ(get32(tcam.ask(tcam_message(2, 2)), 60), 1U);
    tcam.create(1);
    EXPECT_EQ(get32(tcam.ask(tcam_message(2, 2)), 60), 0U);
    tcam.code_of(tcam_message(1, 2, 1, 0));
    EXPECT_EQ(get32(tcam.ask(tcam_message(2, 2)), 60), 699U);
}

TEST(TcamWrite, KeepsAnAclEntrysFieldsAndNothingBesides) {
    tcam_under_test tcam;
    tcam.create(4);
    message write = tcam_message(5, 3, 0, 1, 2);
    for (size_t i = 0; i < 51; ++i)
        put8(write, 110 + i, static_cast<uint32_t>(0xC0 + i));
    for (size_t i = 0; i < 4; ++i)
        put8(write, 138 + i, 0xFF);
    const message written = tcam.ask(write);
    ASSERT_EQ(written.size(), 110U);
    EXPECT_BYTES(written, 0, "05 00 00 00  02 00 00 00  00 00 00 00");

    const message read = tcam.ask(tcam_message(4, 3, 0, 1, 2));
    ASSERT_EQ(read.size(), 161U);
    EXPECT_BYTES(read, 0, "04 00 00 00  03 00 00 00  00 00 00 00");
    EXPECT_BYTES(read, 110, "c0 c1 c2 c3 c4 c5 c6 c7 c8 c9 ca cb cc cd");
    EXPECT_BYTES(read, 124, "ce cf d0 d1 d2 d3 d4 d5 d6 d7 d8 d9 da db");
    EXPECT_BYTES(read, 138, "07 03 07 01  e0 e1 e2 e3  e4 e5 e6 e7");
    EXPECT_BYTES(read, 150, "00 00 00 00 00 00 00 00 00 00 00");
}

TEST(TcamWrite, KeepsAllBytesOfAPolicyEntry) {
    tcam_under_test tcam;
    tcam.create(4);
    message write = tcam_message(8, 3, 0, 1, 3);
    for (size_t i = 0; i < 51; ++i)
        put8(write, 110 + i, static_cast<uint32_t>(0xC0 + i));
    EXPECT_EQ(tcam.code_of(write), 0U);
    const message read = tcam.ask(tcam_message(7, 3, 0, 1, 3));
    ASSERT_EQ(read.size(), 161U);
    EXPECT_EQ(hex_of(std::span(read).subspan(110)), hex_of(std::span(write).subspan(110)));
}

TEST(TcamWrite, ReplacesWhatWasThereAndMayLeaveGaps) {
    tcam_under_test tcam;
    tcam.create(6);
    EXPECT_EQ(tcam.write(0, 0, {1, 2}), 0U);
    EXPECT_EQ(tcam.write(0, 4, {5, 6}), 0U);
    EXPECT_EQ(tcam.write(0, 1, {9}), 0U);
    EXPECT_EQ(tcam.numbers(0, 6), (list_numbers{1, 9, -1, -1, 5, 6}));
}

TEST(TcamWrite, PutsTheEntriesOfLaterMessagesAtPositionPlusStartIndex) {
    tcam_under_test tcam;
    tcam.create(2600);
    for (uint32_t start = 0; start < 2566; start += 1282) {
        const uint32_t count = std::min(1282U, 2566 - start);
        message part = tcam_message(5, count + 2, 0, 2566, 10);
        put_progress(part, start, start == 0, start + count == 2566);
        for (uint32_t i = 0; i < count; ++i)
            tcam_under_test::put_acl(part, i, start + i);
        const message reply = tcam.ask(part);
        ASSERT_EQ(reply.size(), 110U);
        ASSERT_EQ(get32(reply, 8), 0U) << start;
    }
    for (const uint32_t i : {0U, 1281U, 1282U, 2563U, 2564U, 2565U}) {
        const message read = tcam.ask(tcam_message(4, 3, 0, 1, static_cast<uint16_t>(10 + i)));
        EXPECT_EQ(get32(read, 146), i);
    }
    EXPECT_EQ(tcam.code_of(tcam_message(4, 3, 0, 1, 9)), 20U);
    EXPECT_EQ(tcam.code_of(tcam_message(4, 3, 0, 1, 2576)), 20U);
}

TEST(TcamRead, TakesTheMessagesOwnPosition) {
    tcam_under_test tcam;
    tcam.create(5);
    tcam.write(0, 0, {10, 11, 12, 13, 14});
    message second = tcam_message(4, 4, 0, 4, 3);
    put_progress(second, 2, 0, 1);
    const message reply = tcam.ask(second);
    ASSERT_EQ(reply.size(), 212U);
    EXPECT_EQ(get32(reply, 110 + 36), 13U);
    EXPECT_EQ(get32(reply, 161 + 36), 14U);
}

TEST(TcamInsert, ShiftsWhatIsBehindGapsIncluded) {
    tcam_under_test tcam;
    tcam.create(8);
    tcam.write(0, 0, {1, 2});
    tcam.write(0, 3, {4});
    EXPECT_EQ(tcam.insert(0, 1, {7, 8}), 0U);
    EXPECT_EQ(tcam.numbers(0, 8), (list_numbers{1, 7, 8, 2, -1, 4, -1, -1}));
    EXPECT_EQ(tcam.insert(0, 6, {9}), 0U);
    EXPECT_EQ(tcam.numbers(0, 8), (list_numbers{1, 7, 8, 2, -1, 4, 9, -1}));
}

TEST(TcamInsert, RefusesToPushTheLastEntryOut) {
    tcam_under_test tcam;
    tcam.create(4);
    tcam.write(0, 2, {3});
    EXPECT_EQ(tcam.insert(0, 0, {8, 9}), 26U);
    EXPECT_EQ(tcam.numbers(0, 4), (list_numbers{-1, -1, 3, -1}));
    EXPECT_EQ(tcam.insert(0, 0, {8}), 0U);
    EXPECT_EQ(tcam.numbers(0, 4), (list_numbers{8, -1, -1, 3}));
}

TEST(TcamInsert, IsRefusedAtItsFirstMessageWhenTheWholeDoesNotFit) {
    tcam_under_test tcam;
    tcam.create(4);
    tcam.write(0, 0, {1, 2});
    message part = tcam_under_test::acl_message(3, 0, 0, {8});
    put32(part, 60, 3);
    put_progress(part, 0, 1, 0);
    EXPECT_EQ(tcam.code_of(part), 26U);
    EXPECT_EQ(tcam.numbers(0, 4), (list_numbers{1, 2, -1, -1}));
}

TEST(TcamInsert, GoesOnBehindItsFirstMessage) {
    tcam_under_test tcam;
    tcam.create(6);
    tcam.write(0, 0, {1, 2});
    message first = tcam_under_test::acl_message(3, 0, 1, {7, 8});
    put32(first, 60, 3);
    put_progress(first, 0, 1, 0);
    message second = tcam_under_test::acl_message(3, 0, 1, {9});
    put32(second, 60, 3);
    put_progress(second, 2, 0, 1);
    EXPECT_EQ(tcam.code_of(first), 0U);
    EXPECT_EQ(tcam.code_of(second), 0U);
    EXPECT_EQ(tcam.numbers(0, 6), (list_numbers{1, 7, 8, 9, 2, -1}));
}

TEST(TcamDeleteEntries, ClosesUp) {
    tcam_under_test tcam;
    tcam.create(8);
    tcam.write(0, 0, {1, 2, 3, 4, 5});
    tcam.write(0, 6, {7});
    EXPECT_EQ(tcam.erase(0, 1, 2), 0U);
    EXPECT_EQ(tcam.numbers(0, 8), (list_numbers{1, 4, 5, -1, 7, -1, -1, -1}));
    EXPECT_EQ(tcam.erase(0, 3, 5), 0U);
    EXPECT_EQ(tcam.numbers(0, 8), (list_numbers{1, 4, 5, -1, -1, -1, -1, -1}));
    EXPECT_EQ(tcam.erase(0, 3, 1), 20U);
}

TEST(TcamList, TakesEitherKindAgainWhenItsLastEntryIsGone) {
    tcam_under_test tcam;
    tcam.create(4);
    tcam.write(0, 1, {1});
    EXPECT_EQ(tcam.state()["lists"][0]["kind"], "acl");
    EXPECT_EQ(tcam.code_of(tcam_message(8, 3, 0, 1)), 18U);
    EXPECT_EQ(tcam.erase(0, 0, 4), 0U);
    EXPECT_TRUE(tcam.state()["lists"][0]["kind"].is_null());
    EXPECT_EQ(tcam.code_of(tcam_message(8, 3, 0, 1)), 0U);
    EXPECT_EQ(tcam.state()["lists"][0]["kind"], "policy");
}

TEST(TcamState, NamesListsKindsSizesAndUse) {
    tcam_under_test tcam(100);
    tcam.create(10);
    tcam.create(20);
    tcam.write(1, 5, {1, 2, 3});
    EXPECT_EQ(tcam.state(), nlohmann::json::parse(R"({"capacity": 100, "free": 70, "lists": [
        {"id": 0, "kind": null, "size": 10, "used": 0}, {"id": 1, "kind": "acl", "size": 20, "used": 3}]})"));
}

TEST(TcamReply, HoldsNothingOfAnEarlierOne) {
    tcam_under_test tcam;
    tcam.create(1282);
    message full = tcam_message(8, 1284, 0, 1282);
    ASSERT_EQ(full.size(), 65492U);
    ASSERT_EQ(tcam.code_of(full), 0U);
    ASSERT_EQ(tcam.ask(tcam_message(7, 1284, 0, 1282)).size(), 65492U);
    message lookup = tcam_message(11, 3, 0, 1);
    const message found = tcam.ask(lookup);
    message expected(161, 0);
    put32(expected, 0, 11);
    put32(expected, 4, 3);
    std::fill(expected.begin() + 144, expected.end(), uint8_t{0xA5});
    EXPECT_EQ(hex_of(found), hex_of(expected));
}

// The reference: positions as a plain array.
TEST(TcamEntries, StayAsAPlainArrayWouldHoldThemOverManyRandomSteps) {
    constexpr uint32_t size = 40;
    tcam_under_test tcam;
    tcam.create(size);
    list_numbers expected(size, -1);
    std::mt19937 random(2);
    for (uint32_t step = 0; step < 4000; ++step) {
        const auto position = static_cast<uint16_t>(random() % size);
        const uint32_t count = std::min(1 + static_cast<uint32_t>(random() % 5), size - position);
        const auto at = expected.begin() + position;
        const auto end = at + static_cast<ptrdiff_t>(count);
        std::vector<uint32_t> numbers(count, step);
        switch (random() % 3) {
            case 0:
                ASSERT_EQ(tcam.write(0, position, numbers), 0U);
                std::fill(at, end, step);
                break;
            case 1: {
                const bool pushes_out = std::any_of(expected.end() - static_cast<ptrdiff_t>(count), expected.end(),
                                                    [](int64_t number) { return number >= 0; }) &&
                                        std::any_of(at, expected.end(), [](int64_t number) { return number >= 0; });
                ASSERT_EQ(tcam.insert(0, position, numbers), pushes_out ? 26U : 0U) << "step " << step;
                if (pushes_out) break;
                std::rotate(at, expected.end() - static_cast<ptrdiff_t>(count), expected.end());
                std::fill(at, end, step);
                break;
            }
            default: {
                const bool nothing = std::all_of(at, expected.end(), [](int64_t number) { return number < 0; });
                ASSERT_EQ(tcam.erase(0, position, count), nothing ? 20U : 0U) << "step " << step;
                std::fill(at, end, -1);
                std::rotate(at, end, expected.end());
            }
        }
        if (step % 16 != 0) continue;
        ASSERT_EQ(tcam.numbers(0, size), expected) << "step " << step;
    }
    EXPECT_EQ(tcam.numbers(0, size), expected);
}

}  // namespace
