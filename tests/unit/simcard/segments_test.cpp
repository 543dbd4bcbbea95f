// The status word's segment, in an IPC namespace of its own.

#include "simcard/segments.h"

#include <stdexcept>
#include <string>

#include <sys/prctl.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

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

volatile uint32_t *attach_segment() {
    return static_cast<volatile uint32_t *>(shmat(shmget(key, 16, IPC_CREAT | 0666), nullptr, 0));
}

// A process of that name, until its object ends.
class named_process {
  public:
    explicit named_process(const char *name) {
        int ready[2];
        EXPECT_EQ(pipe(ready), 0);
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            prctl(PR_SET_NAME, name);
            close(ready[0]);
            close(ready[1]);
            for (;;)
                pause();
        }
        close(ready[1]);
        char none;
        EXPECT_EQ(read(ready[0], &none, 1), 0);
        close(ready[0]);
    }
    ~named_process() {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    named_process(const named_process &) = delete;
    named_process &operator=(const named_process &) = delete;
    pid_t pid() const { return pid_; }

  private:
    pid_t pid_;
};

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
    EXPECT_FALSE(segment.segment().was_removed());
    shmctl(shmget(key, 0, 0), IPC_RMID, nullptr);
    EXPECT_TRUE(segment.segment().was_removed());
}

TEST_F(StatusSegment, CarriesTheCardsProcessIdInItsSecondWordWhileItLives) {
    volatile uint32_t *words = attach_segment();
    {
        const status_segment segment;
        EXPECT_EQ(words[1], static_cast<uint32_t>(getpid()));
    }
    EXPECT_EQ(words[1], 0U);
    shmdt(const_cast<uint32_t *>(words));
}

TEST_F(StatusSegment, OfALivingCardIsRefusedAndLeftAsItIs) {
    const named_process other("nprm-simcard");
    volatile uint32_t *words = attach_segment();
    words[0] = 1;
    words[1] = static_cast<uint32_t>(other.pid());
    try {
        const status_segment segment;
        ADD_FAILURE() << "the segment of a living card was taken";
    } catch (const std::runtime_error &error) {
        EXPECT_EQ(std::string(error.what()), "shared segment 0x50524d00: the card of process " + std::to_string(other.pid()) +
                                                 " publishes there; stop it, or start this one in a namespace of its own: "
                                                 "unshare --ipc");
    }
    EXPECT_EQ(words[0], 1U);
    EXPECT_EQ(words[1], static_cast<uint32_t>(other.pid()));
    shmdt(const_cast<uint32_t *>(words));
}

TEST_F(StatusSegment, OfADeadCardOrOfAnotherProgramsProcessIdIsTakenOver) {
    const named_process other("something-else");
    pid_t gone;
    {
        const named_process dead("nprm-simcard");
        gone = dead.pid();
    }
    volatile uint32_t *words = attach_segment();
    for (const uint32_t left : {static_cast<uint32_t>(gone), static_cast<uint32_t>(other.pid()), 0xFFFFFFFFU, 0x80000000U, 1U}) {
        words[0] = 1;
        words[1] = left;
        status_segment segment;
        EXPECT_EQ(words[1], static_cast<uint32_t>(getpid())) << left;
        segment.publish(true);
        EXPECT_EQ(words[0], 1U);
    }
    EXPECT_EQ(words[0], 0U);
    shmdt(const_cast<uint32_t *>(words));
}

TEST_F(StatusSegment, ThatAnotherCardTookIsLeftToIt) {
    volatile uint32_t *words = attach_segment();
    {
        status_segment segment;
        segment.publish(true);
        words[1] = 1;  // another one's
        segment.publish(false);
        EXPECT_EQ(words[0], 1U);
    }
    EXPECT_EQ(words[0], 1U);
    EXPECT_EQ(words[1], 1U);
    shmdt(const_cast<uint32_t *>(words));
}

TEST_F(StatusSegment, IsGoneAfterRemove) {
    {
        status_segment segment;
        segment.segment().remove();
    }
    EXPECT_EQ(shmget(key, 0, 0), -1);
}

}  // namespace
