// The example host that prints counters, with segments as a card makes them.

#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>

#include <sys/shm.h>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include "tests/support/card_process.h"
#include "tests/support/scratch.h"

namespace {

constexpr size_t table_14 = 0x2C0100, entry_bytes = 768;

struct outcome {
    int status;
    std::string text;
};

outcome run(const std::string &arguments) {
    outcome result{-1, ""};
    FILE *pipe = popen((NPRM_READ_COUNTERS " " + arguments + " 2>&1").c_str(), "r");
    char line[512];
    while (fgets(line, sizeof line, pipe) != nullptr)
        result.text += line;
    const int status = pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

class ReadCounters : public ::testing::Test {
  protected:
    void SetUp() override {
        use_private_ipc();
        const int status = shmget(0x50524D00, 16, IPC_CREAT | 0666);
        auto *word = static_cast<uint32_t *>(shmat(status, nullptr, 0));
        *word = 1;
        shmdt(word);
        const int id = shmget(0x838377, 55312640, IPC_CREAT | 0666);
        segment_ = static_cast<uint8_t *>(shmat(id, nullptr, 0));
    }
    void TearDown() override {
        shmdt(segment_);
        for (const key_t key : {0x50524D00, 0x838377}) {
            const int id = shmget(key, 0, 0);
            if (id != -1) shmctl(id, IPC_RMID, nullptr);
        }
    }
    void set(uint32_t entry, uint32_t counter, uint64_t first, uint64_t second) const {
        auto *slot = reinterpret_cast<uint64_t *>(segment_ + table_14 + entry * entry_bytes + size_t{counter} * 16);
        slot[0] = first;
        slot[1] = second;
    }

    scratch_directory sockets_;
    scratch_variable ruv_dir_{"RUV_DIR", sockets_.path().c_str()};
    uint8_t *segment_ = nullptr;
};

TEST_F(ReadCounters, PrintsTheCountersOfItsEntriesWithTheirNames) {
    set(4, 0, 9, 9);
    set(5, 0, 12, 3456);
    set(65535, 38, 0xFFFFFFFFFFFFFFFF, 1);
    set(65535, 39, 7, 7);  // not in use
    const outcome one = run("5");
    EXPECT_EQ(one.status, 0);
    EXPECT_EQ(one.text, "     5  CLIENT to SERVER, REDIR FROM INTERCEPT TO SN                     12                 3456\n");
    const outcome last = run("65530 6");
    EXPECT_EQ(last.status, 0);
    EXPECT_EQ(last.text, " 65535  SC PT CMD IN REDIR STATE                       18446744073709551615                    1\n");
}

TEST_F(ReadCounters, TellsWhatItTakes) {
    for (const char *arguments : {"65536", "0 65537", "1 0", "1 2 3"}) {
        const outcome refused = run(arguments);
        EXPECT_EQ(refused.status, 2) << arguments;
        EXPECT_EQ(refused.text, "usage: read_counters [FIRST [COUNT]]     entries 0 to 65535\n");
    }
}

TEST_F(ReadCounters, SaysWhenThereIsNoCard) {
    shmctl(shmget(0x838377, 0, 0), IPC_RMID, nullptr);
    const outcome missing = run("");
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.text.find("is the card running?"), std::string::npos) << missing.text;
}

TEST_F(ReadCounters, ReadsTheSegmentThatARealCardMade) {
    for (const key_t key : {0x50524D00, 0x838377})
        shmctl(shmget(key, 0, 0), IPC_RMID, nullptr);
    const card_process card(sockets_.path(), {"--remove-segments"});
    ASSERT_TRUE(card.is_listening()) << card.output();
    auto *made = static_cast<uint8_t *>(shmat(shmget(0x838377, 0, 0), nullptr, 0));
    ASSERT_NE(made, reinterpret_cast<uint8_t *>(-1));
    shmdt(std::exchange(segment_, made));
    set(65535, 38, 7, 9);  // no interface has this id, nothing else is counted there
    const outcome last = run("65535");
    EXPECT_EQ(last.status, 0);
    EXPECT_EQ(last.text, " 65535  SC PT CMD IN REDIR STATE                                          7                    9\n");
}

}  // namespace
