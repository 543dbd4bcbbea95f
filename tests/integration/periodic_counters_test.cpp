// The example host that polls counters from the periodic scheduler, with segments as a card makes them.

#include <atomic>
#include <cstdio>
#include <string>
#include <thread>

#include <signal.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/scratch.h"

namespace {

// The example as a process; what it logs comes line by line.
class example {
  public:
    explicit example(const std::string &polls) {
        int ends[2];
        if (pipe(ends) != 0) return;
        pid_ = fork();
        if (pid_ == 0) {
            alarm(30);
            dup2(ends[1], STDERR_FILENO);
            close(ends[0]);
            close(ends[1]);
            execl(NPRM_PERIODIC_COUNTERS, "periodic_counters", polls.c_str(), nullptr);
            _exit(127);
        }
        close(ends[1]);
        log_ = fdopen(ends[0], "r");
    }
    ~example() {
        if (log_ != nullptr) fclose(log_);
    }
    example(const example &) = delete;
    example &operator=(const example &) = delete;

    std::string next_line() {
        char line[256];
        return fgets(line, sizeof line, log_) != nullptr ? line : "";
    }
    std::string rest() {
        std::string all;
        for (std::string line = next_line(); !line.empty(); line = next_line())
            all += line;
        return all;
    }
    void stop() const { kill(pid_, SIGTERM); }
    int exit_status() const {
        int status = 0;
        waitpid(pid_, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

  private:
    pid_t pid_ = -1;
    FILE *log_ = nullptr;
};

constexpr size_t table_14 = 0x2C0100;

class PeriodicCounters : public ::testing::Test {
  protected:
    void SetUp() override {
        use_private_ipc();
        auto *status = static_cast<uint32_t *>(shmat(shmget(0x50524D00, 16, IPC_CREAT | 0666), nullptr, 0));
        *status = 1;
        shmdt(status);
        segment_ = static_cast<uint8_t *>(shmat(shmget(0x838377, 55312640, IPC_CREAT | 0666), nullptr, 0));
    }
    void TearDown() override {
        shmdt(segment_);
        for (const key_t key : {0x50524D00, 0x838377})
            shmctl(shmget(key, 0, 0), IPC_RMID, nullptr);
    }
    // Counter k of entry 0, its first count.
    void set(uint32_t k, uint64_t count) const {
        typedef uint64_t shared_count __attribute__((aligned(8)));  // the card's ABI aligns a uint64_t to 4
        __atomic_store_n(reinterpret_cast<shared_count *>(segment_ + table_14 + size_t{k} * 16), count, __ATOMIC_RELAXED);
    }

    scratch_directory directory;
    scratch_variable transport{"RUV_DIR", directory.path().c_str()};
    uint8_t *segment_ = nullptr;
    std::atomic<bool> stop_{false};
};

TEST_F(PeriodicCounters, EndsByItselfAfterTheGivenNumberOfPollsAndIsSilentAboutWhatStays) {
    set(0, 5);
    example host("3");
    EXPECT_THAT(host.rest(), ::testing::Not(::testing::HasSubstr("poll_counters")));
    EXPECT_EQ(host.exit_status(), 0);
}

TEST_F(PeriodicCounters, LogsEachChange) {
    set(0, 5);
    example host("1000000");
    // The first poll only remembers; a change is seen once it comes behind it, so it is made until one is seen.
    std::thread traffic([this] {
        for (uint64_t count = 1; !stop_.load(); ++count) {
            set(38, count);
            usleep(10000);
        }
    });
    const std::string line = host.next_line();
    stop_ = true;
    traffic.join();
    EXPECT_THAT(line, ::testing::MatchesRegex("poll_counters\\([0-9]+\\): SC PT CMD IN REDIR STATE: [0-9]+ \\(\\+[0-9]+\\)\n"));
    host.stop();
    EXPECT_EQ(host.exit_status(), 128 + SIGTERM);
}

TEST_F(PeriodicCounters, SaysWhatIsMissing) {
    shmctl(shmget(0x838377, 0, 0), IPC_RMID, nullptr);
    example without_statistics("3");
    EXPECT_THAT(without_statistics.rest(),
                ::testing::HasSubstr("\nno status or no statistics are published: is the card running?\n"));
    EXPECT_EQ(without_statistics.exit_status(), 1);
    example without_count("none");
    EXPECT_EQ(without_count.next_line(), "usage: periodic_counters POLLS\n");
    EXPECT_EQ(without_count.exit_status(), 2);
}

}  // namespace
