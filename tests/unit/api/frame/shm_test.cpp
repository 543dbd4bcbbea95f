// Shared-memory segments: keys, units, creation, refusals, copies, removal.

#include "api/frame/nprm_shm.h"

#include <cstring>
#include <vector>

#include <sys/resource.h>
#include <sys/shm.h>

#include "tests/support/scratch.h"
#include "tests/support/scripted_client.h"

namespace {

class Segment : public ::testing::Test {
  protected:
    void SetUp() override { use_private_ipc(); }
    void TearDown() override {
        nprm_shm_free_all();
        for (const key_t key : {0x50524D00, 0x50524D01}) {
            const int id = shmget(key, 0, 0);
            if (id != -1) shmctl(id, IPC_RMID, nullptr);
        }
    }

    static size_t bytes_of_segment(key_t key) {
        const int id = shmget(key, 0, 0);
        shmid_ds state{};
        return id != -1 && shmctl(id, IPC_STAT, &state) == 0 ? state.shm_segsz : 0;
    }
    static uint64_t attached(key_t key) {
        shmid_ds state{};
        return shmctl(shmget(key, 0, 0), IPC_STAT, &state) == 0 ? state.shm_nattch : 0;
    }
};

TEST_F(Segment, RoundsAUnitOf12BytesTo16) {
    const uint32_t sizes[] = {12};
    ASSERT_NE(nprm_shm_init(0, 1, sizes, 1), nullptr);
    EXPECT_EQ(bytes_of_segment(0x50524D00), 16u);
}

TEST_F(Segment, EndsItsUnitsOf1And16And17BytesAt16And32And64) {
    const uint32_t sizes[] = {1, 16, 17};
    auto *base = static_cast<uint8_t *>(nprm_shm_init(1, 3, sizes, 1));
    ASSERT_NE(base, nullptr);
    EXPECT_EQ(bytes_of_segment(0x50524D01), 64u);
    EXPECT_EQ(nprm_shm_get_ptr(1, 0), base);
    EXPECT_EQ(nprm_shm_get_ptr(1, 1), base + 16);
    EXPECT_EQ(nprm_shm_get_ptr(1, 2), base + 32);
}

TEST_F(Segment, TakesUnitsOf0BytesAndASegmentThatExists) {
    const uint32_t sizes[] = {0, 5};
    auto *base = static_cast<uint8_t *>(nprm_shm_init(0, 2, sizes, 1));
    ASSERT_NE(base, nullptr);
    EXPECT_EQ(nprm_shm_get_ptr(0, 1), base);
    uint8_t untouched = 0x77;
    EXPECT_EQ(nprm_from_shm(0, 0, &untouched), 0u);
    EXPECT_EQ(untouched, 0x77);
}

TEST_F(Segment, IsZeroedByItsCreatorOnly) {
    const int id = shmget(0x50524D00, 16, IPC_CREAT | 0666);
    auto *words = static_cast<uint32_t *>(shmat(id, nullptr, 0));
    words[0] = 1;
    const uint32_t sizes[] = {12};
    const auto *base = static_cast<uint32_t *>(nprm_shm_init(0, 1, sizes, 1));
    ASSERT_NE(base, nullptr);
    EXPECT_EQ(base[0], 1u);
    shmdt(words);
}

TEST_F(Segment, IsMadeForAllUsersToReadAndWrite) {
    const uint32_t sizes[] = {12};
    ASSERT_NE(nprm_shm_init(0, 1, sizes, 1), nullptr);
    shmid_ds state{};
    ASSERT_EQ(shmctl(shmget(0x50524D00, 0, 0), IPC_STAT, &state), 0);
    EXPECT_EQ(state.shm_perm.mode & 0777, 0666);
}

TEST_F(Segment, MissingWithoutTheCreateFlagGivesNullAndTheIdsMessage) {
    const uint32_t sizes[] = {12};
    const void *base = &base;
    const std::string log = stderr_of([&] { base = nprm_shm_init(1, 1, sizes, 0); });
    EXPECT_EQ(base, nullptr);
    EXPECT_EQ(log.substr(0, 14), "nprm_shm_init(");
    EXPECT_NE(log.find("): id = 1."), std::string::npos) << log;
}

TEST_F(Segment, TooSmallForTheUnitsIsRefused) {
    ASSERT_NE(shmget(0x50524D00, 16, IPC_CREAT | 0666), -1);
    const uint32_t sizes[] = {16, 1};
    const void *base = &base;
    const std::string log = stderr_of([&] { base = nprm_shm_init(0, 2, sizes, 1); });
    EXPECT_EQ(base, nullptr);
    EXPECT_NE(log.find("): id = 0."), std::string::npos) << log;
}

TEST_F(Segment, Of65UnitsIsRefusedBeforeAnySystemCall) {
    const std::vector<uint32_t> sizes(65, 16);
    const void *base = &base;
    const std::string log = stderr_of([&] { base = nprm_shm_init(0, 65, sizes.data(), 1); });
    EXPECT_EQ(base, nullptr);
    EXPECT_NE(log.find("nprm_shm_init("), std::string::npos);
    EXPECT_NE(log.find("): units = 65."), std::string::npos) << log;
    EXPECT_EQ(shmget(0x50524D00, 0, 0), -1) << "nothing was made";
}

TEST_F(Segment, Of64UnitsIsTaken) {
    const std::vector<uint32_t> sizes(64, 16);
    EXPECT_NE(nprm_shm_init(0, 64, sizes.data(), 1), nullptr);
    EXPECT_EQ(bytes_of_segment(0x50524D00), 1024u);
}

TEST_F(Segment, IdsAbove1AreRefused) {
    const uint32_t sizes[] = {12};
    for (const uint32_t id : {2u, 0xFFFFFFFFu}) {
        const void *base = &base;
        const std::string log = stderr_of([&] { base = nprm_shm_init(id, 1, sizes, 1); });
        EXPECT_EQ(base, nullptr);
        EXPECT_NE(log.find("): id = " + std::to_string(static_cast<int>(id)) + "."), std::string::npos) << log;
        EXPECT_EQ(nprm_shm_get_ptr(id, 0), nullptr);
    }
}

TEST_F(Segment, SizesThatPass32BitsAreRefused) {
    const uint32_t whole[] = {0xFFFFFFF1};
    const uint32_t sum[] = {0x80000000, 0x80000000};
    const uint32_t small_sum[] = {0xFFFFFFF0, 32};  // 16 in 32 bits
    // Refused by themselves, not for want of a segment: one that holds what is left in 32 bits is there.
    const uint32_t unit[] = {16};
    ASSERT_NE(nprm_shm_init(1, 1, unit, 1), nullptr);
    const struct {
        const uint32_t *sizes;
        uint32_t units;
    } cases[] = {{whole, 1}, {sum, 2}, {small_sum, 2}};
    for (const uint32_t id : {0u, 1u}) {
        for (const auto &each : cases) {
            const void *base = &base;
            const std::string log = stderr_of([&] { base = nprm_shm_init(id, each.units, each.sizes, 1); });
            EXPECT_NE(log.find("): id = " + std::to_string(id) + "."), std::string::npos) << log;
            EXPECT_EQ(base, nullptr);
        }
    }
}

TEST_F(Segment, StaysAttachedWhenALaterCallIsRefused) {
    const uint32_t sizes[] = {16, 20};
    auto *base = static_cast<uint8_t *>(nprm_shm_init(0, 2, sizes, 1));
    ASSERT_NE(base, nullptr);
    const std::vector<uint32_t> many(65, 16);
    const uint32_t larger[] = {160};
    stderr_of([&] {
        EXPECT_EQ(nprm_shm_init(0, 65, many.data(), 1), nullptr);
        EXPECT_EQ(nprm_shm_init(0, 1, larger, 1), nullptr);
    });
    EXPECT_EQ(nprm_shm_get_ptr(0, 1), base + 16);
    const uint8_t twenty[20] = {9};
    EXPECT_EQ(nprm_to_shm(0, 1, twenty), 20u);
}

TEST_F(Segment, AttachedAgainKeepsItsAddressAndOneMapping) {
    const uint32_t sizes[] = {12};
    void *base = nprm_shm_init(0, 1, sizes, 1);
    EXPECT_EQ(nprm_shm_init(0, 1, sizes, 0), base);
    EXPECT_EQ(attached(0x50524D00), 1u);
}

TEST_F(Segment, RemovedAndMadeAgainIsAttachedAnew) {
    const uint32_t sizes[] = {12};
    auto *old = static_cast<uint32_t *>(nprm_shm_init(0, 1, sizes, 1));
    ASSERT_NE(old, nullptr);
    shmctl(shmget(0x50524D00, 0, 0), IPC_RMID, nullptr);
    const int id = shmget(0x50524D00, 16, IPC_CREAT | 0666);
    auto *words = static_cast<uint32_t *>(shmat(id, nullptr, 0));
    words[0] = 77;
    const auto *base = static_cast<uint32_t *>(nprm_shm_init(0, 1, sizes, 0));
    ASSERT_NE(base, nullptr);
    EXPECT_EQ(base[0], 77u);
    EXPECT_EQ(nprm_shm_get_ptr(0, 0), base);
    shmdt(words);
}

TEST_F(Segment, ThatCannotBeMappedIsReportedWithErrno) {
    // More address space than the process may have: shmget succeeds, shmat does not.
    const uint32_t sizes[] = {0x10000000};
    ASSERT_NE(shmget(0x50524D00, 0x10000000, IPC_CREAT | 0666), -1);
    rlimit before{};
    getrlimit(RLIMIT_AS, &before);
    const rlimit small{1, before.rlim_max};
    const void *base = &base;
    const std::string log = stderr_of([&] {
        setrlimit(RLIMIT_AS, &small);
        base = nprm_shm_init(0, 1, sizes, 0);
        setrlimit(RLIMIT_AS, &before);
    });
    EXPECT_EQ(base, nullptr);
    EXPECT_NE(log.find("): id = 0, errno = 0xc."), std::string::npos) << log;
    EXPECT_EQ(nprm_shm_get_ptr(0, 0), nullptr) << "the entry holds null";
}

TEST_F(Segment, CopiesExactlyTheUnroundedSize) {
    const uint32_t sizes[] = {3, 5};
    auto *base = static_cast<uint8_t *>(nprm_shm_init(0, 2, sizes, 1));
    ASSERT_NE(base, nullptr);
    const uint8_t in[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(nprm_to_shm(0, 1, in), 5u);
    EXPECT_EQ(std::vector<uint8_t>(base + 16, base + 24), (std::vector<uint8_t>{1, 2, 3, 4, 5, 0, 0, 0}));
    uint8_t out[8] = {9, 9, 9, 9, 9, 9, 9, 9};
    EXPECT_EQ(nprm_from_shm(0, 1, out), 5u);
    EXPECT_EQ(std::vector<uint8_t>(out, out + 8), (std::vector<uint8_t>{1, 2, 3, 4, 5, 9, 9, 9}));
}

TEST_F(Segment, CopiesNothingOfAUnitThatIsNotThere) {
    const uint32_t sizes[] = {3, 5};
    ASSERT_NE(nprm_shm_init(0, 2, sizes, 1), nullptr);
    uint8_t byte = 5;
    for (const uint32_t unit : {2u, 63u, 64u, 0xFFFFFFFFu}) {
        EXPECT_EQ(nprm_to_shm(0, unit, &byte), 0u);
        EXPECT_EQ(nprm_from_shm(0, unit, &byte), 0u);
    }
    EXPECT_EQ(byte, 5);
}

TEST_F(Segment, CopiesNothingWhileDetached) {
    uint8_t byte = 5;
    EXPECT_EQ(nprm_to_shm(0, 0, &byte), 0u);
    EXPECT_EQ(nprm_from_shm(0, 0, &byte), 0u);
    EXPECT_EQ(nprm_shm_get_ptr(0, 0), nullptr);
}

TEST_F(Segment, FreeAllRemovesWhatOthersMade) {
    const int id = shmget(0x50524D00, 16, IPC_CREAT | 0666);
    ASSERT_NE(id, -1);
    const uint32_t sizes[] = {12};
    ASSERT_NE(nprm_shm_init(0, 1, sizes, 0), nullptr);
    ASSERT_NE(nprm_shm_init(1, 1, sizes, 1), nullptr);
    nprm_shm_free_all();
    EXPECT_EQ(shmget(0x50524D00, 0, 0), -1);
    EXPECT_EQ(shmget(0x50524D01, 0, 0), -1);
    EXPECT_EQ(nprm_shm_get_ptr(0, 0), nullptr);
}

TEST_F(Segment, FreeAllLeavesNoAddressOfAStatusWordBehind) {
    const uint32_t sizes[] = {12};
    nprm_server_status = static_cast<volatile uint32_t *>(nprm_shm_init(0, 1, sizes, 1));
    ASSERT_NE(nprm_server_status, nullptr);
    nprm_shm_free_all();
    EXPECT_EQ(nprm_server_status, nullptr);
}

}  // namespace
