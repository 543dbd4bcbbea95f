// nprmctl beside a real card in a directory of its own.
#ifndef TESTS_NPRMCTL_FIXTURE_H
#define TESTS_NPRMCTL_FIXTURE_H

#include <chrono>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "run_nprmctl.h"
#include "tests/support/card_process.h"
#include "tests/support/scratch.h"

using strings = std::vector<std::string>;

constexpr const char *example = NPRM_SOURCE_DIR "/examples/edge-acl.txt";

class Nprmctl : public testing::Test {
  protected:
    explicit Nprmctl(const strings &card_options = {"--remove-segments"}) : card(directory.path(), card_options) {}

    std::string file(const std::string &name, const std::string &content) const {
        std::ofstream(files / name) << content;
        return files / name;
    }
    std::string done(const strings &arguments, const std::string &input = {}) const {
        const nprmctl_run run = run_nprmctl(arguments, input);
        EXPECT_EQ(run.status, 0) << run.errors;
        EXPECT_EQ(run.errors, "");
        return run.output;
    }
    nlohmann::json done_json(strings arguments) const {
        arguments.emplace_back("--json");
        const nprmctl_run run = run_nprmctl(arguments);
        EXPECT_EQ(run.status, 0) << run.output << run.errors;
        EXPECT_TRUE(run.json().is_object()) << run.output;
        return run.json();
    }
    uint64_t requests() const { return card.control({{"command", "status"}}).at("requests"); }
    void fault(nlohmann::json request) const {
        request["command"] = "fault";
        ASSERT_TRUE(card.control(request).at("ok"));
    }
    void wait_for_requests(uint64_t count) const {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (requests() < count && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        ASSERT_GE(requests(), count);
    }

    struct private_ipc {
        private_ipc() { use_private_ipc(); }
    } ipc;  // first: the card makes a segment
    scratch_directory directory, files;
    scratch_variable ruv_dir{"RUV_DIR", directory.path().c_str()};
    card_process card;
};

#endif
