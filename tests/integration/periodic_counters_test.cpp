// The example host that polls a counter from the periodic scheduler, beside the real simulated card.

#include <cstdio>
#include <string>

#include <signal.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "card_client.h"
#include "tests/support/card_process.h"
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

auto logged(const std::string &text) {
    return ::testing::AllOf(::testing::MatchesRegex("poll_free_entries\\([0-9]+\\): .*\n"),
                            ::testing::EndsWith(": " + text + "\n"));
}

class PeriodicCounters : public ::testing::Test {
  protected:
    void SetUp() override { use_private_ipc(); }
    void TearDown() override { shmctl(shmget(0x50524D00, 0, 0), IPC_RMID, nullptr); }

    scratch_directory directory;
    scratch_variable transport{"RUV_DIR", directory.path().c_str()};
};

TEST_F(PeriodicCounters, EndsByItselfAfterTheGivenNumberOfPollsAndLogsWhatHasNotChangedOnce) {
    card_process card(directory.path());
    ASSERT_TRUE(card.is_listening()) << card.output();
    example host("3");
    EXPECT_THAT(host.next_line(), logged("TCAM entries free: 65536 (+0)"));
    EXPECT_THAT(host.rest(), ::testing::Not(::testing::HasSubstr("TCAM")));  // a thread that woke up once more says that it ends
    EXPECT_EQ(host.exit_status(), 0);
}

TEST_F(PeriodicCounters, LogsEachChange) {
    card_process card(directory.path());
    ASSERT_TRUE(card.is_listening()) << card.output();
    example host("1000000");
    EXPECT_THAT(host.next_line(), logged("TCAM entries free: 65536 (+0)"));
    const card_client other_host(directory.path(), "190491");
    other_host.ask(0x51, tcam_head(0, 1000));
    EXPECT_THAT(host.next_line(), logged("TCAM entries free: 64536 (-1000)"));
    host.stop();
    EXPECT_EQ(host.exit_status(), 128 + SIGTERM);
}

TEST_F(PeriodicCounters, SaysWhatIsMissing) {
    example without_card("3");
    EXPECT_THAT(without_card.next_line(), ::testing::EndsWith("the server has not published its status: is the card running?\n"));
    EXPECT_EQ(without_card.exit_status(), 1);
    example without_count("none");
    EXPECT_EQ(without_count.next_line(), "usage: periodic_counters POLLS\n");
    EXPECT_EQ(without_count.exit_status(), 2);
}

}  // namespace
