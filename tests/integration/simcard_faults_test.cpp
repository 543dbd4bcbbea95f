// Faults on demand, each as a client of the real card sees it.

#include <chrono>

#include <sys/shm.h>

#include "card_client.h"
#include "simcard/nprm_simcard.h"
#include "tests/support/card_process.h"
#include "tests/support/scratch.h"

namespace {

using nlohmann::json;

class SimcardFault : public testing::Test {
  protected:
    void SetUp() override {
        use_private_ipc();
        card.emplace(directory.path());
        ASSERT_TRUE(card->is_listening()) << card->output();
        client.emplace(directory.path(), "190491");
    }
    void TearDown() override { shmctl(shmget(0x50524D00, 0, 0), IPC_RMID, nullptr); }

    void fault(json request) {
        request["command"] = "fault";
        request["seed"] = 1;
        const json answer = card->control(request);
        ASSERT_EQ(answer["ok"], true) << answer;
    }
    frame ask_space(uint32_t token) { return client->ask(token, tcam_head(2)); }
    void expect_sound(const frame &reply, uint32_t token) {
        ASSERT_EQ(reply.size(), 126U);
        EXPECT_EQ(get32(reply, 4), token);
        EXPECT_EQ(get32(reply, 16 + 4), 2U);
        EXPECT_EQ(get32(reply, 16 + 60), 65536U);
    }
    json status() { return card->control({{"command", "status"}}); }

    scratch_directory directory;
    std::optional<card_process> card;
    std::optional<card_client> client;
};

TEST_F(SimcardFault, OfEveryKindIsTakenAndEndsWithNone) {
#define KIND_OF(identifier, kind, help) kind,
    for (const std::string kind : std::initializer_list<const char *>{NPRM_SIMCARD_FAULT_LIST(KIND_OF)}) {
#undef KIND_OF
        json request = {{"kind", kind}};
        if (kind == "delay" || kind == "result") request["value"] = 1;
        fault(request);
        EXPECT_EQ(status()["faults"][0]["kind"], kind);
        fault({{"kind", "none"}});
        expect_sound(ask_space(1), 1);
    }
}

TEST_F(SimcardFault, DropLosesRequestsUnserved) {
    fault({{"kind", "drop"}, {"count", 2}});
    client->send(request_frame(1, tcam_head(0, 5)));
    client->send(request_frame(2, tcam_head(0, 5)));
    expect_sound(ask_space(3), 3);
    EXPECT_EQ(status()["faults"], json::array());
}

TEST_F(SimcardFault, DelayHoldsOneReplyBackWhileOthersGoOn) {
    const auto start = std::chrono::steady_clock::now();
    fault({{"kind", "delay"}, {"value", 60}});
    client->send(request_frame(1, tcam_head(2)));
    expect_sound(ask_space(2), 2);
    expect_sound(client->receive(), 1);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(60));
}

TEST_F(SimcardFault, DelayedReplyToAClientThatWentAwayIsLost) {
    fault({{"kind", "delay"}, {"value", 20}});
    client->send(request_frame(1, tcam_head(2)));
    EXPECT_EQ(status()["components"][6]["requests"], 1);
    client.reset();
    while (status()["lost_replies"] == 0)
        continue;
    client.emplace(directory.path(), "190491");
    expect_sound(ask_space(2), 2);
}

TEST_F(SimcardFault, TruncateCutsTheReplyAndTellsItsLength) {
    fault({{"kind", "truncate"}, {"value", 11}});
    const frame reply = ask_space(1);
    ASSERT_EQ(reply.size(), 27U);
    EXPECT_BYTES(reply, 0, "52 55 56 31  01 00 00 00  0b 00 00 00  01 00 00 00  02 00 00 00");
    expect_sound(ask_space(2), 2);
}

TEST_F(SimcardFault, CorruptChangesBytesBehindTheTransportsHeader) {
    fault({{"kind", "corrupt"}, {"value", 3}});
    const frame reply = ask_space(1);
    const frame sound = ask_space(1);
    ASSERT_EQ(reply.size(), sound.size());
    int changed = 0;
    for (size_t i = 0; i < reply.size(); ++i) {
        if (reply[i] == sound[i]) continue;
        ++changed;
        EXPECT_GE(i, 16U);
    }
    EXPECT_EQ(changed, 3);
}

TEST_F(SimcardFault, OversizeAnnouncesMoreThanItSends) {
    fault({{"kind", "oversize"}});
    const frame reply = ask_space(1);
    ASSERT_EQ(reply.size(), 126U);
    EXPECT_GT(get32(reply, 16 + 4), 2U);
    fault({{"kind", "oversize"}, {"value", 70000}});
    const frame longer = ask_space(2);
    ASSERT_EQ(longer.size(), 70016U);
    EXPECT_EQ(get32(longer, 8), 70000U);
    expect_sound(ask_space(3), 3);
}

TEST_F(SimcardFault, WrongTokenAnswersAnotherRequest) {
    fault({{"kind", "wrong-token"}});
    const frame reply = ask_space(1);
    ASSERT_EQ(reply.size(), 126U);
    EXPECT_NE(get32(reply, 4), 1U);
    expect_sound(ask_space(2), 2);
}

TEST_F(SimcardFault, DuplicateSendsTheReplyTwice) {
    fault({{"kind", "duplicate"}});
    expect_sound(ask_space(1), 1);
    expect_sound(client->receive(), 1);
    expect_sound(ask_space(2), 2);
}

TEST_F(SimcardFault, ResultRefusesWithoutServing) {
    fault({{"kind", "result"}, {"value", 33}, {"component", "TCAM"}});
    const frame refused = client->ask(1, tcam_head(0, 5));
    EXPECT_EQ(refused.size(), 126U);
    EXPECT_EQ(get32(refused, 16 + 8), 33U);
    expect_sound(ask_space(2), 2);
}

TEST_F(SimcardFault, HitsItsComponentOnly) {
    fault({{"kind", "result"}, {"value", 99}, {"component", "IF"}, {"count", 2}});
    expect_sound(ask_space(1), 1);
    frame message(8 + 35, 0);
    put32(message, 4, 1);
    EXPECT_EQ(get32(card_client(directory.path(), "190487").ask(1, message), 16 + 8), 99U);
    EXPECT_EQ(status()["faults"][0]["remaining"], 1);
}

TEST_F(SimcardFault, NotReadyClearsTheStatusWordUntilItsMessagesAreThroughOrItIsEnded) {
    fault({{"kind", "not-ready"}});
    EXPECT_EQ(status()["ready"], false);
    EXPECT_EQ(get32(ask_space(1), 16 + 8), 7U);
    EXPECT_EQ(status()["ready"], true);
    fault({{"kind", "not-ready"}, {"count", 1000}});
    EXPECT_EQ(status()["ready"], false);
    fault({{"kind", "none"}});
    EXPECT_EQ(status()["ready"], true);
    fault({{"kind", "not-ready"}, {"count", 1000}});
    card->control({{"command", "reset"}});
    EXPECT_EQ(status()["ready"], true);
    expect_sound(ask_space(2), 2);
}

TEST_F(SimcardFault, ExitEndsTheCardBeforeItRepliesAndLeavesTheStatusWord) {
    fault({{"kind", "exit"}, {"value", 5}});
    client->send(request_frame(1, tcam_head(2)));
    EXPECT_TRUE(client->receive().empty());
    EXPECT_EQ(card->wait_for_end(), 5);
    const auto *word = static_cast<const volatile uint32_t *>(shmat(shmget(0x50524D00, 16, 0666), nullptr, SHM_RDONLY));
    ASSERT_NE(word, reinterpret_cast<void *>(-1));
    EXPECT_EQ(*word, 1U);
    shmdt(const_cast<uint32_t *>(word));

    card_process next(directory.path());
    ASSERT_TRUE(next.is_listening()) << next.output();
    client.emplace(directory.path(), "190491");
    expect_sound(ask_space(2), 2);
}

}  // namespace
