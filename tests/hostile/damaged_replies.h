// A real card whose replies are damaged on their way to the library, a read a row.
#ifndef TESTS_HOSTILE_DAMAGED_REPLIES_H
#define TESTS_HOSTILE_DAMAGED_REPLIES_H

#include <optional>
#include <vector>

#include <gtest/gtest.h>

#include "api/nprm.h"
#include "tests/support/card_process.h"
#include "tests/support/scratch.h"

template <typename row>
class damaged_replies : public testing::TestWithParam<row> {
  protected:
    using bytes = std::vector<uint8_t>;

    virtual const char *component() const = 0;
    virtual void configure() = 0;
    // Reads into the middle of an area of marks, and returns what stands between the guards.
    virtual uint32_t read(bytes &content) = 0;

    void SetUp() override {
        use_private_ipc();
        card.emplace(directory.path(), std::vector<std::string>{"--traffic", "frozen"});  // which reads of measurements agree with
        ASSERT_TRUE(card->is_listening()) << card->output();
        ASSERT_EQ(nprm_ipc_register_client(), 1U);
        nprm_syslog_flag = 0;
        configure();
        ASSERT_EQ(read(expected), 0U);
    }
    void TearDown() override {
        nprm_syslog_flag = NPRM_SYSLOG_FLAG_DEFAULT;
        nprm_shm_free_all();
    }

    uint32_t read_damaged(nlohmann::json fault, bytes &content) {
        fault["command"] = "fault";
        fault["component"] = component();
        EXPECT_EQ(card->control(fault)["ok"], true) << fault;
        return read(content);
    }
    void expect_healthy() {
        bytes content;
        EXPECT_EQ(read(content), 0U);
        EXPECT_EQ(content, expected);
    }

    scratch_directory directory;
    scratch_variable where{"RUV_DIR", directory.path().c_str()};
    std::optional<card_process> card;
    bytes expected;
};

#endif
