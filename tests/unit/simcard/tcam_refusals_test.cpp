// What the TCAM refuses, with which code; and that a refused message changes nothing.

#include "messages.h"

namespace {

// A message that is right but for what the case changes.  The list 0 has 8 positions, the entries 1 to 4 at 0 to 3.
struct wrong {
    const char *name;
    uint32_t code;
    message (*request)();
};

message acl(uint32_t operation, uint16_t position, uint32_t count) {
    return tcam_under_test::acl_message(operation, 0, position, std::vector<uint32_t>(count, 99));
}
message with(message bytes, size_t offset, uint32_t value) {
    put32(bytes, offset, value);
    return bytes;
}
message progressed(message bytes, uint32_t start_index, uint32_t first, uint32_t last) {
    put_progress(bytes, start_index, first, last);
    return bytes;
}
message resized(message bytes, size_t size) {
    bytes.resize(size, 0);
    return bytes;
}

const wrong cases[] = {
    // The argument is absent.
    {"CreateOfSizeZero", 16, [] { return tcam_message(0, 2, 0, 0); }},
    {"WriteOfNoEntries", 16, [] { return tcam_message(5, 2, 0, 0); }},
    {"InsertOfNrEntryZero", 16, [] { return with(acl(3, 0, 1), 60, 0); }},
    {"ReadOfNoEntries", 16, [] { return tcam_message(4, 3, 0, 0); }},
    {"DeleteOfNoEntries", 16, [] { return tcam_message(9, 2, 0, 0); }},

    // The message contradicts itself.
    {"CreateWithThreeUnits", 17, [] { return tcam_message(0, 3, 0, 1); }},
    {"CreateWithOneUnit", 17, [] { return tcam_message(0, 1); }},
    {"WriteWithOneUnit", 17, [] { return tcam_message(5, 1); }},
    {"ReadWithTheHeadAlone", 17, [] { return tcam_message(4, 2, 0, 1); }},
    {"LookupWithTwoUnits", 17, [] { return tcam_message(10, 2, 0, 1); }},
    {"LookupOfTwoEntries", 17, [] { return tcam_message(10, 3, 0, 2); }},
    {"SpaceThatIsNotFirst", 17, [] { return progressed(tcam_message(2, 2), 0, 0, 1); }},
    {"SpaceThatIsNotLast", 17, [] { return progressed(tcam_message(2, 2), 0, 1, 0); }},
    {"DeleteThatStartsLater", 17, [] { return progressed(tcam_message(9, 2, 0, 1), 1, 1, 1); }},
    {"DeleteListThatIsNotFirst", 17, [] { return progressed(tcam_message(1, 2, 0, 0), 0, 0, 1); }},
    {"MoreEntriesThanNrEntry", 17, [] { return with(acl(5, 0, 2), 60, 1); }},
    {"MoreEntriesThanNrEntryNotLast", 17, [] { return progressed(with(acl(5, 0, 2), 60, 1), 0, 1, 0); }},
    {"HeadAloneNotLast", 17, [] { return progressed(tcam_message(4, 2, 0, 1), 0, 1, 0); }},
    {"StartIndexAndEntriesBeyondNrEntry", 17, [] { return progressed(with(acl(5, 0, 2), 60, 3), 2, 0, 1); }},
    {"StartIndexThatWraps", 17, [] { return progressed(with(acl(5, 0, 2), 60, 3), 0xFFFFFFFF, 0, 1); }},
    {"FirstWithAStartIndex", 17, [] { return progressed(with(acl(5, 0, 1), 60, 2), 1, 1, 1); }},
    {"NotFirstWithoutAStartIndex", 17, [] { return progressed(acl(5, 0, 1), 0, 0, 1); }},
    {"LastTooEarly", 17, [] { return progressed(with(acl(5, 0, 1), 60, 2), 0, 1, 1); }},
    {"NotLastAtTheEnd", 17, [] { return progressed(acl(5, 0, 1), 0, 1, 0); }},
    {"FirstThatIsTwo", 17, [] { return progressed(acl(5, 0, 1), 0, 2, 1); }},
    {"LastThatIsTwo", 17, [] { return progressed(acl(5, 0, 1), 0, 1, 2); }},
    {"UnitsMoreThanTheBytes", 17, [] { return with(acl(5, 0, 1), 4, 4); }},
    {"UnitsLessThanTheBytes", 17, [] { return with(acl(5, 0, 1), 4, 2); }},
    {"OneByteTooMany", 17, [] { return resized(tcam_message(2, 2), 111); }},
    {"OneByteTooFew", 17, [] { return resized(tcam_message(2, 2), 109); }},
    {"TheHeaderAlone", 17, [] { return with(resized(tcam_message(2, 2), 8), 4, 0); }},
    {"SevenBytes", 17, [] { return resized(tcam_message(2, 2), 7); }},
    {"NoByte", 17, [] { return message(); }},

    // The entries are not of the list's kind.
    {"PolicyEntryIntoAnAclList", 18, [] { return tcam_message(8, 3, 0, 1); }},
    {"PolicyInsertIntoAnAclList", 18, [] { return tcam_message(6, 3, 0, 1); }},
    {"PolicyReadOfAnAclList", 18, [] { return tcam_message(7, 3, 0, 1); }},

    // Nothing is there.
    {"ReadOfAnUnwrittenPosition", 20, [] { return tcam_message(4, 4, 0, 2, 3); }},
    {"DeleteBehindTheLastEntry", 20, [] { return tcam_message(9, 2, 0, 1, 4); }},
    {"LookupWithoutMatch", 20, [] { return tcam_message(10, 3, 0, 1); }},

    {"UnknownOperation", 23, [] { return tcam_message(12, 2); }},

    // Outside of the list.
    {"WriteBeyondTheEnd", 24, [] { return acl(5, 7, 2); }},
    {"WriteWhoseLaterMessagesGoBeyondTheEnd", 24, [] { return progressed(with(acl(5, 0, 1), 60, 9), 0, 1, 0); }},
    {"WriteOfAnNrEntryThatWraps", 24, [] { return progressed(with(acl(5, 1, 1), 60, 0xFFFFFFFF), 0, 1, 0); }},
    {"InsertBeyondTheEnd", 24, [] { return acl(3, 8, 1); }},
    {"ReadBeyondTheEnd", 24, [] { return tcam_message(4, 4, 0, 2, 7); }},
    {"DeleteBeyondTheEnd", 24, [] { return tcam_message(9, 2, 0, 6, 3); }},
    {"DeleteOfAnNrEntryThatWraps", 24, [] { return tcam_message(9, 2, 0, 0xFFFFFFFF, 3); }},
    {"CreateOfMoreThanAPositionReaches", 24, [] { return tcam_message(0, 2, 0, 65537); }},

    // No room.
    {"CreateOfMoreThanIsFree", 26, [] { return tcam_message(0, 2, 0, 93); }},
    {"InsertThatPushesEntriesOut", 26, [] { return acl(3, 0, 5); }},

    // A later message without the one before it.
    {"WriteThatDoesNotFollow", 27, [] { return progressed(with(acl(5, 0, 1), 60, 2), 1, 0, 1); }},
    {"InsertThatDoesNotFollow", 27, [] { return progressed(with(acl(3, 0, 1), 60, 2), 1, 0, 1); }},

    // There is no such list.
    {"DeleteOfAnUnknownList", 30, [] { return tcam_message(1, 2, 9, 0); }},
    {"WriteIntoAnUnknownList", 30, [] { return tcam_under_test::acl_message(5, 9, 0, {1}); }},
    {"ReadOfAnUnknownList", 30, [] { return tcam_message(4, 3, 9, 1); }},
    {"DeleteInAnUnknownList", 30, [] { return tcam_message(9, 2, 9, 1); }},
    {"LookupInAnUnknownList", 30, [] { return tcam_message(10, 3, 255, 1); }},
};

class TcamRefusal : public testing::TestWithParam<wrong> {};

TEST_P(TcamRefusal, HasItsCodeIn110BytesAndChangesNothing) {
    tcam_under_test tcam(100);
    tcam.create(8);
    tcam.write(0, 0, {1, 2, 3, 4});
    const auto state = tcam.state();
    const auto numbers = tcam.numbers(0, 8);

    const message request = GetParam().request();
    const message reply = tcam.ask(request);
    ASSERT_EQ(reply.size(), 110U);
    message expected(110, 0);
    if (request.size() >= 4) put32(expected, 0, get32(request, 0));
    put32(expected, 4, 2);
    put32(expected, 8, GetParam().code);
    EXPECT_EQ(hex_of(reply), hex_of(expected));
    EXPECT_EQ(tcam.state(), state);
    EXPECT_EQ(tcam.numbers(0, 8), numbers);
}

INSTANTIATE_TEST_SUITE_P(Cases, TcamRefusal, testing::ValuesIn(cases), [](const auto &about) { return about.param.name; });

TEST(TcamCreateList, IsRefusedWhenAll256IdsAreTaken) {
    tcam_under_test tcam;
    for (uint32_t id = 0; id < 256; ++id)
        ASSERT_EQ(tcam.create(1), id);
    EXPECT_EQ(tcam.code_of(tcam_message(0, 2, 0, 1)), 26U);
    EXPECT_EQ(tcam.code_of(tcam_message(1, 2, 255, 0)), 0U);
    EXPECT_EQ(tcam.create(1), 255);
}

message part(uint32_t operation, uint16_t position, uint32_t start_index, uint32_t nr_entry) {
    message bytes = acl(operation, position, 1);
    put32(bytes, 60, nr_entry);
    put_progress(bytes, start_index, start_index == 0, start_index + 1 == nr_entry);
    return bytes;
}

TEST(TcamContinuation, MustNameTheSameOperationPositionAndNumber) {
    tcam_under_test tcam;
    tcam.create(8);
    EXPECT_EQ(tcam.code_of(part(5, 2, 0, 3)), 0U);
    EXPECT_EQ(tcam.code_of(part(3, 2, 1, 3)), 27U);
    EXPECT_EQ(tcam.code_of(part(5, 1, 1, 3)), 27U);
    EXPECT_EQ(tcam.code_of(part(5, 2, 1, 4)), 27U);
    EXPECT_EQ(tcam.code_of(part(5, 2, 2, 3)), 27U);
    EXPECT_EQ(tcam.code_of(part(5, 2, 1, 3)), 0U);
    EXPECT_EQ(tcam.code_of(part(5, 2, 1, 3)), 27U);
    EXPECT_EQ(tcam.code_of(part(5, 2, 2, 3)), 0U);
    EXPECT_EQ(tcam.code_of(part(5, 2, 2, 3)), 27U);
}

TEST(TcamContinuation, EndsWithADeletionInBetween) {
    tcam_under_test tcam;
    tcam.create(8);
    EXPECT_EQ(tcam.code_of(part(3, 0, 0, 3)), 0U);
    EXPECT_EQ(tcam.code_of(part(3, 0, 1, 3)), 0U);
    EXPECT_EQ(tcam.erase(0, 0, 1), 0U);
    EXPECT_EQ(tcam.code_of(part(3, 0, 2, 3)), 27U);
}

TEST(TcamContinuation, IsNotDisturbedByReads) {
    tcam_under_test tcam;
    tcam.create(8);
    EXPECT_EQ(tcam.code_of(part(5, 0, 0, 2)), 0U);
    EXPECT_EQ(tcam.code_of(tcam_message(4, 3, 0, 1)), 0U);
    EXPECT_EQ(tcam.code_of(part(5, 0, 1, 2)), 0U);
}

}  // namespace
