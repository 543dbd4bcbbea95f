// The client library against the real card: servers that misbehave, die and come back.  Every failure has its documented code,
// nothing hangs, and the next call works.

#include <signal.h>

#include <chrono>
#include <optional>
#include <vector>

#include <fcntl.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "api/nprm.h"
#include "tests/support/card_process.h"
#include "tests/support/scratch.h"

namespace {

using nlohmann::json;

class Client : public testing::Test {
  protected:
    void SetUp() override {
        use_private_ipc();
        start_card();
        ASSERT_EQ(nprm_ipc_register_client(), 1u);
        nprm_syslog_flag = 0;
    }
    void TearDown() override {
        nprm_syslog_flag = NPRM_SYSLOG_FLAG_DEFAULT;
        nprm_shm_free_all();
    }

    void start_card() {
        card.reset();
        card.emplace(directory.path());
        ASSERT_TRUE(card->is_listening()) << card->output();
    }
    void fault(json request) {
        request["command"] = "fault";
        request["seed"] = 1;
        ASSERT_EQ(card->control(request)["ok"], true) << request;
    }

    // One exchange with the interface component, whose sender hides nothing.  A healthy card answers "unsupported" in the record.
    static uint32_t exchange(int attempts = 75) {
        auto *message = static_cast<uint32_t *>(nprm_ipc_msg_malloc());
        if (message == nullptr) return NPRM_ERROR_MALLOC;
        message[0] = 2;
        message[1] = 1;
        return nprm_ipc_send_msg(NPRM_COMPONENT_IF, message, 43, attempts);
    }
    // What the TCAM says is free; 7 where no answer of its own came.
    static uint32_t free_entries() {
        uint32_t nr_free = 7;
        EXPECT_EQ(nprm_tcam_v4_space_dup(&nr_free), 0u);
        return nr_free;
    }

    scratch_directory directory;
    scratch_variable where{"RUV_DIR", directory.path().c_str()};
    scratch_variable patience{"RUV_RECV_MS", "20"};
    std::optional<card_process> card;
};

TEST_F(Client, WorksWithAHealthyCard) {
    EXPECT_EQ(exchange(), NPRM_OK);
    EXPECT_EQ(free_entries(), 65536u);
}

TEST_F(Client, LosesOnlyTheExchangeThatAFaultHits) {
    const struct {
        const char *kind;
        std::optional<uint32_t> value;
        uint32_t code;
    } faults[] = {
        {"drop", {}, NPRM_ERROR_TIMEOUT},
        {"truncate", 0, NPRM_ERROR},
        {"truncate", 11, NPRM_ERROR},
        {"truncate", 12, NPRM_OK},
        {"oversize", 70000, NPRM_ERROR_TIMEOUT},
        {"wrong-token", {}, NPRM_ERROR_TIMEOUT},
        {"duplicate", 3, NPRM_OK},
        {"result", 121, NPRM_OK},
    };
    for (const auto &[kind, value, code] : faults) {
        json request = {{"kind", kind}, {"component", "IF"}};
        if (value) request["value"] = *value;
        fault(request);
        EXPECT_EQ(exchange(3), code) << kind;
        EXPECT_EQ(exchange(3), NPRM_OK) << "after " << kind;
        EXPECT_EQ(free_entries(), 65536u) << "after " << kind;
    }
}

TEST_F(Client, HandsTheServersCodeOn) {
    fault({{"kind", "result"}, {"component", "TCAM"}, {"value", 33}});
    uint32_t nr_free = 7;
    EXPECT_EQ(nprm_tcam_v4_space_dup(&nr_free), NPRM_ERROR_TCAM_CONCURRENT_USAGE);
    EXPECT_EQ(nr_free, 7u);
    EXPECT_EQ(free_entries(), 65536u);
}

TEST_F(Client, SurvivesRandomCorruptionOfEveryReply) {
    fault({{"kind", "corrupt"}, {"count", 300}});
    std::vector<nprm_tcam_acl_key> key(1400), mask(1400);
    std::vector<nprm_tcam_acl_result> result(1400);
    for (int i = 0; i < 100; ++i) {
        uint32_t nr_free = 0;
        exchange(1);
        nprm_tcam_v4_space_dup(&nr_free);
        nprm_tcam_read_v4_acl_vmr_dup(0, 0, 1, 0, key.data(), mask.data(), result.data());
    }
    ASSERT_EQ(card->control({{"command", "reset"}})["ok"], true);
    EXPECT_EQ(exchange(), NPRM_OK);
    EXPECT_EQ(free_entries(), 65536u);
}

TEST_F(Client, NeverTakesALateReplyForTheNextRequests) {
    uint8_t list = 0;
    ASSERT_EQ(nprm_tcam_create_v4_vmr_lst_dup(100, &list), 0u);
    // The replies come while later exchanges are under way; those end well only when each gets its own answer.
    fault({{"kind", "delay"}, {"component", "IF"}, {"value", 120}});
    fault({{"kind", "delay"}, {"component", "TCAM"}, {"value", 150}});
    EXPECT_EQ(exchange(1), NPRM_ERROR_TIMEOUT);
    auto *space = static_cast<uint32_t *>(nprm_ipc_msg_malloc());
    space[0] = NPRM_TCAM_SPACE;
    space[1] = NPRM_TCAM_HEAD_UNITS;
    EXPECT_EQ(nprm_ipc_send_msg(NPRM_COMPONENT_TCAM, space, 110, 1), NPRM_ERROR_TIMEOUT);
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(400);
    do {
        uint8_t other = list;
        ASSERT_EQ(nprm_tcam_create_v4_vmr_lst_dup(1, &other), 0u);
        ASSERT_NE(other, list);
        ASSERT_EQ(free_entries(), 65435u);
        ASSERT_EQ(nprm_tcam_delete_v4_vmr_lst_dup(other), 0u);
        ASSERT_EQ(exchange(), NPRM_OK);
    } while (std::chrono::steady_clock::now() < end);
}

TEST_F(Client, SeesAServerThatDiedBefore) {
    card->stop(SIGKILL);
    EXPECT_EQ(exchange(), NPRM_ERROR_IPC_SEND) << "the status word still says ready";
    EXPECT_EQ(free_entries(), 7u);
    start_card();
    EXPECT_EQ(exchange(), NPRM_OK);
    EXPECT_EQ(free_entries(), 65536u);
}

TEST_F(Client, SeesAServerThatDiesWhileItServesAtOnceAndNotAfterAllAttempts) {
    scratch_variable long_patience("RUV_RECV_MS", "2000");
    ASSERT_EQ(nprm_ipc_register_client(), 1u);
    ASSERT_EQ(exchange(), NPRM_OK);
    fault({{"kind", "exit"}, {"component", "IF"}});
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(exchange(), NPRM_ERROR_TIMEOUT);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    card->wait_for_end();
    EXPECT_EQ(exchange(), NPRM_ERROR_IPC_SEND);
    start_card();
    EXPECT_EQ(exchange(), NPRM_OK);
}

TEST_F(Client, SeesAServerThatEndedAsNotReady) {
    EXPECT_EQ(card->stop(SIGTERM), 0);
    uint32_t nr_free = 7;
    EXPECT_EQ(nprm_tcam_v4_space_dup(&nr_free), NPRM_ERROR_NOT_READY);
    start_card();
    EXPECT_EQ(free_entries(), 65536u) << "attached clients go on after a restart";
}

TEST_F(Client, SeesAServerThatDiedAfterItsReply) {
    ASSERT_EQ(exchange(), NPRM_OK);
    card->stop(SIGKILL);
    start_card();
    EXPECT_EQ(exchange(), NPRM_OK) << "the old connection is dead, a new one is made";
    EXPECT_EQ(free_entries(), 65536u);
}

TEST_F(Client, WaitsForAStoppedServerAndGivesUpInTime) {
    kill(card->pid(), SIGSTOP);
    EXPECT_EQ(exchange(2), NPRM_ERROR_TIMEOUT);
    kill(card->pid(), SIGCONT);
    EXPECT_EQ(exchange(), NPRM_OK);
    EXPECT_EQ(free_entries(), 65536u);
}

// The first count of an entry of table 15, in which the card counts nothing; ~0 when it was not read.
uint64_t count_of(uint32_t entry) {
    void *data = nullptr;
    if (nprm_stats_op(15, NPRM_STATS_READ, 1, &entry, &data) != 1) return ~uint64_t{0};
    const uint64_t count = static_cast<const nprm_stats_counter *>(data)->count[0];
    free(data);
    return count;
}

TEST_F(Client, GoesOnWithItsStatisticsWhenTheSegmentIsRemovedAndMadeAnew) {
    const auto write = [](uint32_t entry, uint64_t count) {
        nprm_stats_counter counter = {{count, 0}};
        void *data = &counter;
        return nprm_stats_op(15, NPRM_STATS_WRITE, 1, &entry, &data);
    };
    ASSERT_EQ(nprm_stats_client_init(), 1u);
    ASSERT_EQ(write(5, 41), 1);
    ASSERT_EQ(count_of(5), 41u);
    shmctl(shmget(NPRM_STATS_SEGMENT_KEY, 0, 0), IPC_RMID, nullptr);
    start_card();
    EXPECT_EQ(count_of(5), 41u) << "the old counts, from memory that is there as long as somebody has it";
    ASSERT_EQ(write(5, 42), 1) << "the new card has it";
    EXPECT_EQ(count_of(5), 41u);
    uint64_t *card_wide = nullptr;
    EXPECT_EQ(nprm_stats_hw_op(0, NPRM_STATS_READ, &card_wide), 1u) << "tables that travel in replies are the new card's";
    free(card_wide);
    ASSERT_EQ(nprm_stats_client_init(), 1u);
    EXPECT_EQ(count_of(5), 42u);
    shmctl(shmget(NPRM_STATS_SEGMENT_KEY, 0, 0), IPC_RMID, nullptr);
}

TEST_F(Client, KeepsItsDescriptorsOverRestartsAndRegistrations) {
    const auto descriptors = [] {
        int open = 0;
        for (int fd = 0; fd < 256; ++fd)
            open += fcntl(fd, F_GETFD) != -1 ? 1 : 0;
        return open;
    };
    ASSERT_EQ(exchange(), NPRM_OK);
    const int before = descriptors();
    for (int i = 0; i < 10; ++i) {
        card->stop(SIGKILL);
        start_card();
        ASSERT_EQ(exchange(), NPRM_OK);
        ASSERT_EQ(nprm_ipc_register_client(), 1u);
        ASSERT_EQ(exchange(), NPRM_OK);
    }
    EXPECT_LE(descriptors(), before + 32) << "a bounded number of endpoints is kept";
}

// ---- the socket directory is not as it must be

class Directory : public Client {
  protected:
    uint32_t exchange_in(const std::string &path) {
        scratch_variable elsewhere("RUV_DIR", path.c_str());
        EXPECT_EQ(nprm_ipc_register_client(), 1u);
        return exchange();
    }
};

TEST_F(Directory, MissingIsAFailedSend) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(exchange_in(directory / "nowhere"), NPRM_ERROR_IPC_SEND);
    EXPECT_NE(testing::internal::GetCapturedStderr().find(directory / "nowhere"), std::string::npos);
}

TEST_F(Directory, WritableByOthersIsRefused) {
    ASSERT_EQ(chmod(directory.path().c_str(), 0777), 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(exchange_in(directory.path()), NPRM_ERROR_IPC_SEND);
    EXPECT_NE(testing::internal::GetCapturedStderr().find(directory.path()), std::string::npos);
    ASSERT_EQ(chmod(directory.path().c_str(), 0700), 0);
    EXPECT_EQ(exchange(), NPRM_OK) << "the same endpoint works once the directory is closed to others";
}

TEST_F(Directory, LongerThanASocketAddressIsRefused) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(exchange_in("/tmp/" + std::string(120, 'x')), NPRM_ERROR_IPC_SEND);
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
