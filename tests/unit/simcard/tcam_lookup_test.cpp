// Look-ups: value and mask over all bytes of the key, the first match in list order.

#include "messages.h"

namespace {

struct form {
    const char *name;
    uint32_t write, look_up;
    size_t key_bytes, mask_at, result_at, result_bytes;  // within the entry
};

class TcamLookup : public testing::TestWithParam<form> {
  protected:
    void write(uint16_t position, const message &key, const message &mask, uint8_t result) {
        message request = tcam_message(GetParam().write, 3, 0, 1, position);
        std::fill(request.begin() + 110, request.end(), uint8_t{0});
        std::copy(key.begin(), key.end(), request.begin() + 110);
        std::copy(mask.begin(), mask.end(), request.begin() + 110 + static_cast<ptrdiff_t>(GetParam().mask_at));
        put8(request, 110 + GetParam().result_at + 8, result);
        ASSERT_EQ(tcam.code_of(request), 0U);
    }
    // The number of the entry that matched, or minus the code.
    int look_up(const message &key) {
        message request = tcam_message(GetParam().look_up, 3, 0, 1);
        std::copy(key.begin(), key.end(), request.begin() + 110);
        const message reply = tcam.ask(request);
        const uint32_t code = get32(reply, 8);
        if (code != 0) return -static_cast<int>(code);
        EXPECT_EQ(reply.size(), 161U);
        return reply[110 + GetParam().result_at + 8];
    }
    message bytes(uint8_t all) const { return message(GetParam().key_bytes, all); }

    tcam_under_test tcam;
};

TEST_P(TcamLookup, ComparesEveryByteOfTheKey) {
    tcam.create(10);
    write(0, bytes(0x5A), bytes(0xFF), 1);
    EXPECT_EQ(look_up(bytes(0x5A)), 1);
    for (size_t i = 0; i < GetParam().key_bytes; ++i) {
        for (uint8_t bit = 1; bit != 0; bit = static_cast<uint8_t>(bit << 1)) {
            message other = bytes(0x5A);
            other[i] ^= bit;
            EXPECT_EQ(look_up(other), -20) << "byte " << i << ", bit " << int{bit};
        }
    }
}

TEST_P(TcamLookup, LeavesOutWhatTheMaskLeavesOut) {
    tcam.create(10);
    for (size_t i = 0; i < GetParam().key_bytes; ++i) {
        message mask = bytes(0xFF);
        mask[i] = 0xF0;
        write(0, bytes(0x5A), mask, 1);
        message other = bytes(0x5A);
        other[i] = 0x55;
        EXPECT_EQ(look_up(other), 1) << "byte " << i;
        other[i] = 0x6A;
        EXPECT_EQ(look_up(other), -20) << "byte " << i;
    }
}

TEST_P(TcamLookup, MasksTheValueToo) {
    tcam.create(10);
    write(0, bytes(0xFF), bytes(0x0F), 1);
    EXPECT_EQ(look_up(bytes(0x3F)), 1);
}

TEST_P(TcamLookup, TakesTheFirstMatchAndPassesGaps) {
    tcam.create(10);
    write(3, bytes(1), bytes(0xFF), 3);
    write(5, bytes(0), bytes(0), 5);
    write(7, bytes(2), bytes(0xFF), 7);
    EXPECT_EQ(look_up(bytes(1)), 3);
    EXPECT_EQ(look_up(bytes(2)), 5);
    EXPECT_EQ(look_up(bytes(0)), 5);
}

TEST_P(TcamLookup, GivesTheResultAloneEverythingElseIsZero) {
    tcam.create(10);
    write(0, bytes(0x5A), bytes(0xFF), 9);
    message request = tcam_message(GetParam().look_up, 3, 0, 1);
    std::fill_n(request.begin() + 110, GetParam().key_bytes, uint8_t{0x5A});
    message expected(161, 0);
    put32(expected, 0, GetParam().look_up);
    put32(expected, 4, 3);
    put8(expected, 110 + GetParam().result_at + 8, 9);
    EXPECT_EQ(hex_of(tcam.ask(request)), hex_of(expected));
}

TEST_P(TcamLookup, FindsNothingInAnEmptyList) {
    tcam.create(10);
    EXPECT_EQ(look_up(bytes(0)), -20);
}

INSTANTIATE_TEST_SUITE_P(Forms, TcamLookup,
                         testing::Values(form{"acl", 5, 10, 14, 14, 28, 12}, form{"policy", 8, 11, 17, 17, 34, 17}),
                         [](const auto &about) { return about.param.name; });

TEST(TcamLookupKind, MustBeTheLists) {
    tcam_under_test tcam;
    tcam.create(4);
    tcam.write(0, 0, {1});
    EXPECT_EQ(tcam.code_of(tcam_message(11, 3, 0, 1)), 18U);
}

}  // namespace
