// The small example hosts, beside the real simulated card.

#include <cstdio>
#include <string>

#include <sys/shm.h>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include "tests/support/card_process.h"
#include "tests/support/scratch.h"

namespace {

struct example_run {
    int status;
    std::string output;  // standard output and standard error
};

example_run run_example(const std::string &program) {
    example_run run = {-1, {}};
    FILE *output = popen((program + " 2>&1").c_str(), "r");
    if (output == nullptr) return run;
    char line[256];
    while (fgets(line, sizeof line, output) != nullptr)
        run.output += line;
    const int status = pclose(output);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return run;
}

class Examples : public ::testing::Test {
  protected:
    void SetUp() override { use_private_ipc(); }
    void TearDown() override { shmctl(shmget(0x50524D00, 0, 0), IPC_RMID, nullptr); }

    scratch_directory directory;
    scratch_variable transport{"RUV_DIR", directory.path().c_str()};
};

TEST_F(Examples, RegisterReportsAServerThatIsReady) {
    card_process card(directory.path());
    ASSERT_TRUE(card.is_listening()) << card.output();
    for (int time = 1; time <= 2; ++time) {  // the first leaves the card's segments to others
        const example_run run = run_example(NPRM_REGISTER);
        EXPECT_EQ(run.status, 0) << time;
        EXPECT_EQ(run.output, "status 1: ready\nlearns at most 2000000 flows\n") << time;
    }
}

TEST_F(Examples, RegisterReportsAServerThatIsNot) {
    card_process card(directory.path());
    ASSERT_TRUE(card.is_listening()) << card.output();
    ASSERT_EQ(card.control({{"command", "fault"}, {"kind", "not-ready"}})["ok"], true);
    const example_run run = run_example(NPRM_REGISTER);
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.output.find(": not ready\n"), std::string::npos) << run.output;
}

TEST_F(Examples, WriteAclLeavesItsListOnTheCard) {
    card_process card(directory.path());
    ASSERT_TRUE(card.is_listening()) << card.output();
    const example_run run = run_example(NPRM_WRITE_ACL);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "list 0: 3 entries written, the same when read back\n");
    const nlohmann::json tcam = card.control({{"command", "status"}})["models"]["TCAM"];
    EXPECT_EQ(tcam["free"], 65533);
    ASSERT_EQ(tcam["lists"].size(), 1u);
    EXPECT_EQ(tcam["lists"][0]["kind"], "acl");
    EXPECT_EQ(tcam["lists"][0]["used"], 3);
}

TEST_F(Examples, WriteAclSaysWhatTheCardRefuses) {
    card_process card(directory.path());
    ASSERT_TRUE(card.is_listening()) << card.output();
    ASSERT_EQ(card.control({{"command", "fault"}, {"kind", "result"}, {"component", "TCAM"}, {"value", 26}})["ok"], true);
    const example_run run = run_example(NPRM_WRITE_ACL);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "create the list: Error: NPRM_ERROR_TCAM_RESOURCE_EXHAUSTED\n");
}

TEST_F(Examples, SayThatThereIsNoCard) {
    for (const char *program : {NPRM_REGISTER, NPRM_WRITE_ACL}) {
        const example_run run = run_example(program);
        EXPECT_EQ(run.status, 1);
        EXPECT_NE(run.output.find("the server has not published its status: is the card running?\n"), std::string::npos)
            << run.output;
    }
}

}  // namespace
