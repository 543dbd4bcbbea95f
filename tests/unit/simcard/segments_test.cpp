// The status word's segment, in an IPC namespace of its own.

#include "simcard/segments.h"

#include <stdexcept>
#include <string>

#include <sys/shm.h>

#include <gtest/gtest.h>

#include "tests/support/scratch.h"

namespace {

constexpr key_t key = 0x50524D00;

class StatusSegment : public testing::Test {
  protected:
    void SetUp() override { use_private_ipc(); }
    void TearDown() override { shmctl(shmget(key, 0, 0), IPC_RMID, nullptr); }
};

uint32_t status_word() {
    auto *address = static_cast<const volatile uint32_t *>(shmat(shmget(key, 16, 0666), nullptr, SHM_RDONLY));
    if (address == reinterpret_cast<void *>(-1)) return 0xFFFFFFFF;
    const uint32_t word = *address;
    shmdt(const_cast<uint32_t *>(address));
    return word;
}

TEST_F(StatusSegment, IsMadeWith16BytesForEverybody) {
    const status_segment segment;
    shmid_ds about;
    ASSERT_EQ(shmctl(shmget(key, 0, 0), IPC_STAT, &about), 0);
    EXPECT_EQ(about.shm_segsz, 16U);
    EXPECT_EQ(about.shm_perm.mode & 0777, 0666);
    EXPECT_EQ(status_word(), 0U);
    EXPECT_FALSE(segment.is_ready());
}

TEST_F(StatusSegment, SaysOneWhileReadyAndZeroAtTheEnd) {
    {
        status_segment segment;
        segment.publish(true);
        EXPECT_EQ(status_word(), 1U);
        EXPECT_TRUE(segment.is_ready());
        segment.publish(false);
        EXPECT_EQ(status_word(), 0U);
        segment.publish(true);
    }
    EXPECT_EQ(status_word(), 0U);
}

TEST_F(StatusSegment, IsUsedAgainSoThatAttachedClientsGoOn) {
    { const status_segment first; }
    const int id = shmget(key, 16, 0666);
    const auto *attached = static_cast<const volatile uint32_t *>(shmat(id, nullptr, SHM_RDONLY));
    status_segment second;
    second.publish(true);
    EXPECT_EQ(*attached, 1U);
    EXPECT_EQ(shmget(key, 16, 0666), id);
    shmdt(const_cast<uint32_t *>(attached));
}

TEST_F(StatusSegment, OfAnotherSizeIsRefusedWithTheWayOut) {
    for (const size_t bytes : {8U, 4096U}) {
        const int id = shmget(key, bytes, IPC_CREAT | 0666);
        ASSERT_GE(id, 0);
        try {
            const status_segment segment;
            ADD_FAILURE() << "a segment of " << bytes << " bytes was taken";
        } catch (const std::runtime_error &error) {
            EXPECT_EQ(std::string(error.what()),
                      "shared segment 0x50524d00: " + std::to_string(bytes) +
                          " bytes where 16 are needed; when nothing uses it, remove it with: ipcrm -M 0x50524d00");
        }
        shmctl(id, IPC_RMID, nullptr);
    }
}

TEST_F(StatusSegment, TellsThatSomebodyRemovedIt) {
    const status_segment segment;
    EXPECT_FALSE(segment.was_removed());
    shmctl(shmget(key, 0, 0), IPC_RMID, nullptr);
    EXPECT_TRUE(segment.was_removed());
}

TEST_F(StatusSegment, IsGoneAfterRemove) {
    {
        status_segment segment;
        segment.remove();
    }
    EXPECT_EQ(shmget(key, 0, 0), -1);
}

}  // namespace
