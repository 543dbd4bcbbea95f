// Configuration blobs: what the encoder writes, how the walk goes and ends, and what broken blobs do.

#include "api/diag/nprm_decode.h"

#include <algorithm>
#include <cstring>

#include <sys/mman.h>
#include <unistd.h>

#include "printed.h"
#include "tests/support/bytes.h"
#include "tests/support/scripted_client.h"

namespace {

class Blob : public ::testing::Test {
  protected:
    void SetUp() override { nprm_syslog_flag = 0; }
    void TearDown() override { nprm_syslog_flag = NPRM_SYSLOG_FLAG_DEFAULT; }

    int add(uint32_t type, uint32_t addr, const std::vector<uint8_t> &data) {
        return nprm_encode_config(type, addr, static_cast<uint32_t>(data.size()), data.data(), blob.data(), &used);
    }
    // A header of the test's own, for what the encoder would not write.
    void put_words(size_t offset, const std::vector<uint32_t> &words) {
        std::memcpy(blob.data() + offset, words.data(), words.size() * 4);
    }
    const uint32_t *words() const { return reinterpret_cast<const uint32_t *>(blob.data()); }

    // What the walk writes to a file; standard output gets the newline that ends every walk.
    std::string decoded(int result) {
        std::string text;
        const std::string ending = stdout_of([&] {
            text = stream_of([&](FILE *file) { EXPECT_EQ(nprm_decode_config_to_file(file, 0, nullptr, words()), result); });
        });
        EXPECT_EQ(ending, "\n");
        return text;
    }
    std::string log_of_walk(int result, uint32_t flag = 1) {
        nprm_syslog_flag = flag;
        std::string log;
        stdout_of([&] { log = stderr_of([&] { EXPECT_EQ(nprm_decode_config_to_file(nullptr, 0, nullptr, words()), result); }); });
        nprm_syslog_flag = 0;
        return log;
    }

    std::vector<uint8_t> blob = std::vector<uint8_t>(65536);
    uint32_t used = 0;
};

// ---- encoding

TEST_F(Blob, AnEntryIsThreeWordsAndItsDataFilledUpWithZeros) {
    std::fill(blob.begin(), blob.end(), uint8_t{0xEE});
    used = 8;
    EXPECT_EQ(add(5, 0x01020304, {1, 2, 3, 4, 5}), 1);
    EXPECT_EQ(used, 28u);
    EXPECT_BYTES(blob, 0, "ee ee ee ee ee ee ee ee  05 00 00 00  04 03 02 01  02 00 00 00  01 02 03 04 05 00 00 00  ee ee");
}

TEST_F(Blob, AnEntryOfAWholeNumberOfWordsIsNotFilledUp) {
    EXPECT_EQ(add(11, 0, {1, 2, 3, 4}), 1);
    EXPECT_EQ(used, 16u);
    EXPECT_EQ(add(2, 9, {}), 1);
    EXPECT_EQ(used, 28u);
    EXPECT_BYTES(blob, 16, "02 00 00 00  09 00 00 00  00 00 00 00");
}

TEST_F(Blob, AnEntryMayEndExactlyAtTheEnd) {
    used = 65536 - 20;
    EXPECT_EQ(add(5, 0, {1, 2, 3, 4, 5, 6, 7, 8}), 1);
    EXPECT_EQ(used, 65536u);
    EXPECT_EQ(add(5, 0, {}), 0);
}

TEST_F(Blob, AnEntryThatWouldEndLaterIsRefusedAndChangesNothing) {
    const std::vector<uint8_t> before = blob;
    used = 65536 - 19;
    EXPECT_EQ(add(5, 0, {1, 2, 3, 4, 5, 6, 7, 8}), 0);
    EXPECT_EQ(used, 65536u - 19);
    EXPECT_EQ(blob, before);
}

TEST_F(Blob, LengthsThatWrap32BitsAreRefused) {
    const uint8_t data[4] = {};
    for (const uint32_t length : {0xFFFFFFFFu, 0xFFFFFFFDu, 0xFFFFFFF4u, 65525u}) {
        EXPECT_EQ(nprm_encode_config(1, 0, length, data, blob.data(), &used), 0) << length;
        EXPECT_EQ(used, 0u);
    }
    used = 0xFFFFFFF4;
    EXPECT_EQ(nprm_encode_config(1, 0, 4, data, blob.data(), &used), 0);
}

TEST_F(Blob, NullArgumentsAreRefused) {
    const uint8_t data[4] = {};
    EXPECT_EQ(nprm_encode_config(1, 0, 4, nullptr, blob.data(), &used), 0);
    EXPECT_EQ(nprm_encode_config(1, 0, 4, data, nullptr, &used), 0);
    EXPECT_EQ(nprm_encode_config(1, 0, 4, data, blob.data(), nullptr), 0);
    EXPECT_EQ(nprm_encode_config(1, 0, 0, nullptr, blob.data(), &used), 1);
}

// ---- walking

TEST_F(Blob, PrintsItsEntriesInOrderAndReturns0) {
    add(5, 0x11, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
    add(2, 7, {1, 2, 3});
    add(21, 0x22, {9, 8, 7, 6, 5});
    EXPECT_EQ(decoded(0),
              printed(5, 0x11, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}) + printed(21, 0x22, {9, 8, 7, 6, 5}));
}

TEST_F(Blob, PrintsToTextAndEchoToo) {
    add(21, 1, {9, 8, 7, 6, 5});
    add(15, 2, {9, 8, 7, 6, 5});
    const std::string expected = printed(21, 1, {9, 8, 7, 6, 5}) + printed(15, 2, {9, 8, 7, 6, 5});
    std::vector<char> text(2 * NPRM_ENTRY_TEXT_BYTES_MAX);
    std::memcpy(text.data(), "kept", 5);
    const std::string echoed = stdout_of([&] { EXPECT_EQ(nprm_decode_config_to_file(nullptr, 1, text.data(), words()), 0); });
    EXPECT_EQ(text.data(), "kept" + expected);
    EXPECT_EQ(echoed, expected + "\n");
}

TEST_F(Blob, TheShortFormEchoes) {
    add(21, 1, {9, 8, 7, 6, 5});
    EXPECT_EQ(stdout_of([&] { EXPECT_EQ(nprm_decode_config(words()), 0); }), printed(21, 1, {9, 8, 7, 6, 5}) + "\n");
}

TEST_F(Blob, AnEmptyBlobIsANewlineAndReturns1) {
    EXPECT_EQ(flushed_stdout_of([&] { EXPECT_EQ(nprm_decode_config(words()), 1); }), "\n");
    EXPECT_EQ(stdout_of([&] { EXPECT_EQ(nprm_decode_config(nullptr), 1); }), "\n");
}

TEST_F(Blob, ABlobOfASilentEntryReturns0) {
    add(2, 0, {});
    EXPECT_EQ(decoded(0), "");
}

TEST_F(Blob, AnUnknownFirstEntryEndsTheWalk) {
    add(25, 3, {1, 2, 3, 4});
    add(21, 1, {1});
    EXPECT_EQ(decoded(1), "");
    const std::string log = log_of_walk(1);
    EXPECT_NE(log.find("nprm_decode_config_to_file("), std::string::npos) << log;
    EXPECT_NE(log.find("): type = 25, addr = 3, len = 1."), std::string::npos) << log;
}

TEST_F(Blob, AnUnknownLaterEntryIsPassedBy) {
    add(21, 1, {1, 2, 3, 4, 5});
    add(0xFFFFFFFF, 0xFFFFFFFE, {1, 2, 3, 4});
    add(15, 2, {1, 2, 3, 4, 5});
    EXPECT_EQ(decoded(0), printed(21, 1, {1, 2, 3, 4, 5}) + printed(15, 2, {1, 2, 3, 4, 5}));
    const std::string log = log_of_walk(0);
    EXPECT_NE(log.find("): type = -1, addr = -2, len = 1."), std::string::npos) << log;
}

TEST_F(Blob, LogsItsEnd) {
    const std::string log = log_of_walk(1);
    EXPECT_EQ(log.find("nprm_decode_config_to_file("), 0u) << log;
    EXPECT_EQ(log.substr(log.find("): ")), "): .") << log;
    EXPECT_EQ(log_of_walk(1, 0x08000000), log) << "any of the low 28 bits";
    EXPECT_EQ(log_of_walk(1, 0xF0000000), "");
}

TEST_F(Blob, AFullBlobNeedsNoTerminator) {
    used = 0;
    while (add(21, used, {1, 2, 3, 4, 5, 6, 7, 8}) == 1) {
    }
    EXPECT_EQ(used, 65520u);
    add(2, 0, {1, 2, 3, 4});
    EXPECT_EQ(used, 65536u);
    const std::string text = decoded(0);
    EXPECT_NE(text.find("FIB Table(key) Index [0xffdc]"), std::string::npos) << text.substr(text.size() - 300);
    EXPECT_EQ(log_of_walk(0).find("does not end"), std::string::npos);
}

TEST_F(Blob, ALengthPastTheEndStopsTheWalkWithOneLineThatTellsWhere) {
    for (const uint32_t length : {16377u, 0x3FFFFFFFu, 0x40000000u, 0xFFFFFFFFu}) {
        std::fill(blob.begin(), blob.end(), uint8_t{0});
        used = 0;
        add(21, 1, {1, 2, 3, 4, 5, 6, 7, 8});
        put_words(20, {5, 6, length});
        EXPECT_EQ(decoded(0), printed(21, 1, {1, 2, 3, 4, 5, 6, 7, 8}));
        const std::string log = log_of_walk(0);
        char line[128];
        std::snprintf(line, sizeof line, "): The entry at byte 20, type 5 with %u words, does not end within", length);
        EXPECT_NE(log.find(line), std::string::npos) << log;
    }
}

TEST_F(Blob, ALengthThatReachesTheEndExactlyIsPrinted) {
    put_words(0, {21, 1, (65536 - 12) / 4});
    EXPECT_EQ(decoded(0), printed(21, 1, {}));
}

TEST_F(Blob, AFirstEntryPastTheEndReturns1) {
    put_words(0, {21, 1, (65536 - 12) / 4 + 1});
    EXPECT_EQ(decoded(1), "");
}

TEST_F(Blob, AHeaderThatTheEndCutsStopsTheWalk) {
    for (const uint32_t left : {4u, 8u}) {
        std::fill(blob.begin(), blob.end(), uint8_t{0});
        put_words(0, {2, 0, (65536 - 12 - left) / 4});
        put_words(65536 - left, {5});
        EXPECT_EQ(decoded(0), "");
        EXPECT_NE(log_of_walk(0).find("does not end within"), std::string::npos);
    }
}

TEST_F(Blob, AnEntryShorterThanItsLayoutPrintsTheMissingBytesAs0) {
    add(21, 1, {0x44, 0x33, 0x22, 0x11});
    put_words(16, {0xFFFFFFFF});  // what follows is not the entry's
    blob[16] = 2;
    blob[17] = blob[18] = blob[19] = 0;
    EXPECT_EQ(decoded(0), printed(21, 1, {0x44, 0x33, 0x22, 0x11}));
    const std::string log = log_of_walk(0);
    EXPECT_NE(log.find("): The entry at byte 0 has 4 bytes, type 21 has 5: the others print as 0."), std::string::npos) << log;
}

TEST_F(Blob, EveryTypeMayBeEmpty) {
    for (uint32_t type = 1; type <= 24; ++type) {
        std::fill(blob.begin(), blob.end(), uint8_t{0});
        put_words(0, {type, 3, 0, 2, 0xFFFFFFFF, 1, 0xFFFFFFFF});
        EXPECT_EQ(decoded(0), type == 2 ? "" : printed(type, 3, {})) << type;
    }
}

TEST_F(Blob, ALagGroupsMembersStopAtTheEntrysEnd) {
    add(10, 0, bytes_of("03 00 00 00 00 00 00 09 01 02 03 04"));
    add(2, 0, std::vector<uint8_t>(64, 0x77));
    const std::string text = decoded(0);
    EXPECT_NE(text.find("\n  member_port[3]                  8    0x4 (4)"), std::string::npos) << text;
    EXPECT_EQ(text.find("member_port[4]"), std::string::npos) << text;
}

TEST_F(Blob, TheLargestEntryNeedsNoMoreTextThanIsSaid) {
    std::vector<uint8_t> data(264, 0xFF);
    for (uint32_t type = 1; type <= 24; ++type) {
        used = 0;
        add(type, 0xFFFFFFFF, data);
        put_words(used, {0});
        EXPECT_LT(decoded(0).size(), size_t{NPRM_ENTRY_TEXT_BYTES_MAX}) << type;
    }
    used = 0;
    add(10, 0xFFFFFFFF, data);
    EXPECT_NE(decoded(0).find("member_port[254]"), std::string::npos) << "a list in a blob is longer than a table's entry holds";
}

TEST_F(Blob, NothingIsReadBehindTheTypeWordOf0) {
    // The blob ends where the readable memory does.
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    auto *memory = static_cast<uint8_t *>(mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(memory, MAP_FAILED);
    ASSERT_EQ(mprotect(memory + page, page, PROT_NONE), 0);
    const std::vector<uint8_t> bytes = bytes_of("15 00 00 00  01 00 00 00  02 00 00 00  09 08 07 06 05 00 00 00  00 00 00 00");
    uint8_t *start = memory + page - bytes.size();
    std::copy(bytes.begin(), bytes.end(), start);
    stdout_of([&] {
        const auto *words_there = reinterpret_cast<const uint32_t *>(start);
        EXPECT_EQ(stream_of([&](FILE *file) { EXPECT_EQ(nprm_decode_config_to_file(file, 0, nullptr, words_there), 0); }),
                  printed(21, 1, {9, 8, 7, 6, 5}));
        EXPECT_EQ(nprm_decode_config(words_there + 5), 1);
    });
    munmap(memory, 2 * page);
}

// ---- stepping

// The steps as type@offset+words, and how they end.
std::string steps(const std::vector<uint8_t> &blob) {
    std::string text;
    nprm_config_entry entry = {};
    while (nprm_next_config_entry(blob.data(), static_cast<uint32_t>(blob.size()), &entry) == 1) {
        EXPECT_EQ(entry.data, blob.data() + entry.offset + 12);
        text += std::to_string(entry.type) + "@" + std::to_string(entry.offset) + "+" + std::to_string(entry.words) + " ";
    }
    EXPECT_EQ(entry.data, nullptr);
    return text + "end " + std::to_string(entry.end) + " at " + std::to_string(entry.offset);
}

TEST(ConfigEntries, AreSteppedThroughAndTheEndIsTold) {
    const char *two = "05 00 00 00  2a 00 00 00  01 00 00 00  01 02 03 04   63 00 00 00  00 00 00 00  00 00 00 00";
    const auto with = [two](const char *more) {
        std::vector<uint8_t> bytes = bytes_of(two);
        for (const uint8_t byte : bytes_of(more))
            bytes.push_back(byte);
        return bytes;
    };
    EXPECT_EQ(steps(with("00 00 00 00")), "5@0+1 99@16+0 end 1 at 28");
    EXPECT_EQ(steps(with("00 00 00 00 ff ff")), "5@0+1 99@16+0 end 1 at 28");
    EXPECT_EQ(steps(with("")), "5@0+1 99@16+0 end 2 at 28");
    EXPECT_EQ(steps(with("00 00 00")), "5@0+1 99@16+0 end 3 at 28");
    EXPECT_EQ(steps(with("05 00 00 00 01 00 00 00 00 00 00")), "5@0+1 99@16+0 end 3 at 28");
    EXPECT_EQ(steps(with("05 00 00 00 01 00 00 00 01 00 00 00 01 02 03")), "5@0+1 99@16+0 end 4 at 28");
    EXPECT_EQ(steps(with("05 00 00 00 01 00 00 00 00 00 00 40")), "5@0+1 99@16+0 end 4 at 28");
    EXPECT_EQ(steps(with("05 00 00 00 01 00 00 00 ff ff ff ff")), "5@0+1 99@16+0 end 4 at 28");
    EXPECT_EQ(steps({}), "end 2 at 0");
}

TEST(ConfigEntries, TellWhatTheHeaderOfACutEntrySays) {
    const std::vector<uint8_t> blob = bytes_of("05 00 00 00  2a 00 00 00  02 00 00 00  01 02 03 04");
    nprm_config_entry entry = {};
    EXPECT_EQ(nprm_next_config_entry(blob.data(), 16, &entry), 0);
    EXPECT_EQ(entry.type, 5U);
    EXPECT_EQ(entry.addr, 0x2AU);
    EXPECT_EQ(entry.words, 2U);
    EXPECT_EQ(nprm_next_config_entry(blob.data(), 16, &entry), 0) << "the end stays the end";
    EXPECT_EQ(entry.end, uint32_t{NPRM_CONFIG_CUT_DATA});
    entry = {};
    EXPECT_EQ(nprm_next_config_entry(nullptr, 16, &entry), 0);
    EXPECT_EQ(entry.end, uint32_t{NPRM_CONFIG_FULL});
    EXPECT_EQ(nprm_next_config_entry(blob.data(), 16, nullptr), 0);
}

// ---- broken blobs

// All types, as the encoder writes them.
std::vector<uint8_t> sample() {
    std::vector<uint8_t> blob(65536);
    uint32_t used = 0;
    for (uint32_t type = 1; type <= 24; ++type) {
        std::vector<uint8_t> data(34);
        for (size_t i = 0; i < data.size(); ++i)
            data[i] = static_cast<uint8_t>(i * 29 + type);
        nprm_encode_config(type, type, static_cast<uint32_t>(data.size()), data.data(), blob.data(), &used);
    }
    blob.resize(used);
    return blob;
}

// In memory of the blob's own size, so that a read behind it is seen; 65,536 bytes of it, for a blob carries no size.
int decode_all(const std::vector<uint8_t> &bytes) {
    std::vector<uint32_t> blob(65536 / 4);
    std::copy(bytes.begin(), bytes.end(), reinterpret_cast<uint8_t *>(blob.data()));
    static std::vector<char> text(4u << 20);
    text[0] = '\0';
    const int result = nprm_decode_config_to_file(nullptr, 0, text.data(), blob.data());
    EXPECT_LT(std::strlen(text.data()), text.size());
    return result;
}

TEST_F(Blob, CutAtAnyByteItEndsInGoodOrder) {
    const std::vector<uint8_t> whole = sample();
    stdout_of([&] {
        for (size_t bytes = 0; bytes <= whole.size(); ++bytes) {
            const int result = decode_all({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(bytes)});
            EXPECT_EQ(result, bytes == 0 ? 1 : 0) << bytes;
        }
    });
}

TEST_F(Blob, WithAnyByteChangedItEndsInGoodOrder) {
    const std::vector<uint8_t> whole = sample();
    stdout_of([&] {
        for (size_t at = 0; at < whole.size(); ++at) {
            for (const int value : {0x00, 0x7F, 0x80, 0xFF}) {
                std::vector<uint8_t> changed = whole;
                changed[at] = static_cast<uint8_t>(value);
                const int result = decode_all(changed);
                EXPECT_TRUE(result == 0 || at < 12) << at;
            }
        }
    });
}

}  // namespace
