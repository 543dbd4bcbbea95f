// Registration, preparation, and one exchange in all its outcomes.

#include "api/frame/transport.h"

#include <array>
#include <cerrno>

#include <fcntl.h>
#include <sys/shm.h>
#include <unistd.h>

#include "api/frame/component.h"
#include "api/frame/nprm_pool.h"
#include "api/frame/nprm_shm.h"
#include "tests/support/bytes.h"
#include "tests/support/scratch.h"
#include "tests/support/scripted_client.h"

namespace {

// ---- registration; every test is the first to register in its process

class Registration : public ::testing::Test {
  protected:
    void SetUp() override {
        use_private_ipc();
        reset_fake_ruv();
        const int left = shmget(0x50524D00, 0, 0);
        if (left != -1) shmctl(left, IPC_RMID, nullptr);
    }
    void TearDown() override { nprm_shm_free_all(); }
    static void make_status_segment() { ASSERT_NE(shmget(0x50524D00, 16, IPC_CREAT | 0666), -1); }
};

TEST_F(Registration, BindsAnyDynamicAccessPointUnderANumberedName) {
    make_status_segment();
    EXPECT_EQ(nprm_ipc_register_client(), 1u);
    EXPECT_EQ(nprm_ipc_register_client(), 1u);
    const auto &binds = the_fake_ruv().binds;
    ASSERT_EQ(binds.size(), 2u);
    EXPECT_EQ(binds[0].sap_class, 4u);
    EXPECT_EQ(binds[0].sap, -1);
    EXPECT_EQ(binds[0].parameters, (std::array<uint32_t, 6>{1, 0, 1024, 0, 0, 15}));
    EXPECT_EQ(binds[0].name.substr(0, 12), "NPRM Client ");
    const int first = std::stoi(binds[0].name.substr(12));
    EXPECT_EQ(binds[1].name, "NPRM Client " + std::to_string(first + 1));
    // Alone in its process it is the first registration; behind others the number goes on.
    if (testing::UnitTest::GetInstance()->test_to_run_count() == 1) {
        EXPECT_EQ(first, 0);
    }
}

TEST_F(Registration, FindsTheStatusWordAtTheSegmentsStart) {
    make_status_segment();
    ASSERT_EQ(nprm_ipc_register_client(), 1u);
    EXPECT_EQ(static_cast<const volatile void *>(nprm_server_status), nprm_shm_get_ptr(0, 0));
}

TEST_F(Registration, WithoutTransportLogsAndReturns0) {
    make_status_segment();
    the_fake_ruv().next_handle = 0xFFFFFFFF;
    uint32_t registered = 9;
    const std::string log = stderr_of([&] { registered = nprm_ipc_register_client(); });
    EXPECT_EQ(registered, 0u);
    EXPECT_EQ(log.substr(0, 25), "nprm_ipc_register_client(");
    EXPECT_NE(log.find("): Unable to bind to any DYNAMIC SAP."), std::string::npos) << log;
    EXPECT_EQ(nprm_shm_get_ptr(0, 0), nullptr) << "the segment is not looked for";
    the_fake_ruv().next_handle = 1;
    ASSERT_EQ(nprm_ipc_register_client(), 1u);
    EXPECT_EQ(std::stoi(the_fake_ruv().binds[1].name.substr(12)), std::stoi(the_fake_ruv().binds[0].name.substr(12)) + 1);
}

TEST_F(Registration, WithoutSegmentReturns0AndKeepsTheBinding) {
    uint32_t registered = 9;
    const std::string log = stderr_of([&] { registered = nprm_ipc_register_client(); });
    EXPECT_EQ(registered, 0u);
    EXPECT_EQ(nprm_server_status, nullptr);
    EXPECT_NE(log.find("nprm_shm_init("), std::string::npos) << log;
    stderr_of([] { EXPECT_EQ(nprm_ipc_send_msg(7, nprm_ipc_msg_malloc(), 12, 1), 0u); });
    EXPECT_EQ(the_fake_ruv().sends[0].handle, 0x1234u);
}

TEST_F(Registration, AgainReplacesTheHandleAndKeepsThePool) {
    make_status_segment();
    ASSERT_EQ(nprm_ipc_register_client(), 1u);
    the_fake_ruv().next_handle = 0x77;
    ASSERT_EQ(nprm_ipc_register_client(), 1u);
    EXPECT_EQ(free_request_buffers(), 11u) << "the pool was set up twice";
    the_fake_ruv().reply(reply_of(2, 51, {0, 0}));
    EXPECT_EQ(nprm_ipc_send_msg(7, nprm_ipc_msg_malloc(), 12, 1), 0u);
    EXPECT_EQ(the_fake_ruv().sends[0].handle, 0x77u);
}

// ---- preparation

class Preparation : public scripted_client {};

TEST_F(Preparation, WritesOperationAndUnitsAndNothingElse) {
    void *buffer = nprm_ipc_msg_malloc();
    auto *bytes = static_cast<uint8_t *>(buffer);
    std::fill_n(bytes, 32, uint8_t{0xAB});
    nprm_free(buffer);
    for (int i = 0; i < 10; ++i)
        nprm_free(nprm_ipc_msg_malloc());
    bytes = static_cast<uint8_t *>(nprm_prep_ipc_msg(0x01020304, 0x0A0B0C0D));
    ASSERT_EQ(bytes, buffer) << "first in, first out";
    EXPECT_BYTES((std::span<const uint8_t>{bytes, 16}), 0, "04 03 02 01  0d 0c 0b 0a  ab ab ab ab ab ab ab ab");
    nprm_free(bytes);
}

TEST_F(Preparation, RefusesWith7WhileTheServerIsNotReady) {
    for (const uint32_t status : {0u, 2u, 0xFFFFFFFFu}) {
        set_status(status);
        void *buffer = this;
        errno = 0;
        const std::string log = stderr_of([&] {
            buffer = nprm_prep_ipc_msg(1, 1);
            EXPECT_EQ(errno, 7);
        });
        EXPECT_EQ(buffer, nullptr);
        EXPECT_EQ(log.substr(0, 18), "nprm_prep_ipc_msg(");
        EXPECT_NE(log.find("): Server is not ready to accept calls."), std::string::npos) << log;
    }
}

TEST_F(Preparation, RefusesWith7WithoutAStatusWord) {
    volatile uint32_t *kept = nprm_server_status;
    nprm_server_status = nullptr;
    stderr_of([] {
        EXPECT_EQ(nprm_prep_ipc_msg(1, 1), nullptr);
        EXPECT_EQ(errno, 7);
    });
    nprm_server_status = kept;
}

TEST_F(Preparation, RefusesWith4WhenAllElevenBuffersAreTaken) {
    std::array<void *, 11> taken;
    for (void *&buffer : taken)
        buffer = nprm_prep_ipc_msg(1, 1);
    EXPECT_NE(taken.back(), nullptr);
    const std::string log = stderr_of([] {
        EXPECT_EQ(nprm_prep_ipc_msg(1, 1), nullptr);
        EXPECT_EQ(errno, 4);
    });
    EXPECT_NE(log.find("nprm_prep_ipc_msg("), std::string::npos);
    EXPECT_NE(log.find("): Memory pool does not appear initialized."), std::string::npos) << log;
    for (void *buffer : taken)
        nprm_free(buffer);
}

TEST_F(Preparation, LeavesItsCodeInErrnoWhateverLoggingDoes) {
    // Standard error on a full device: writing the message fails and sets errno.
    const int kept = dup(STDERR_FILENO), full = open("/dev/full", O_WRONLY);
    std::vector<void *> taken;
    while (void *buffer = nprm_ipc_msg_malloc())
        taken.push_back(buffer);
    dup2(full, STDERR_FILENO);
    nprm_prep_ipc_msg(1, 1);
    const int no_buffer = errno;
    set_status(0);
    nprm_prep_ipc_msg(1, 1);
    const int not_ready = errno;
    dup2(kept, STDERR_FILENO);
    close(kept);
    close(full);
    for (void *buffer : taken)
        nprm_free(buffer);
    EXPECT_EQ(no_buffer, 4);
    EXPECT_EQ(not_ready, 7);
}

// ---- one exchange

class Exchange : public scripted_client {
  protected:
    uint32_t send(uint32_t component, uint32_t size = 110, int attempts = 75) {
        return nprm_ipc_send_msg(component, nprm_prep_ipc_msg(2, 2), size, attempts);
    }
};

TEST_F(Exchange, GivesTheTransportExactlyItsConstants) {
    ruv.reply(reply_of(2, 51, {0, 0}));
    EXPECT_EQ(send(7), 0u);
    ASSERT_EQ(ruv.sends.size(), 1u);
    const auto &sent = ruv.sends[0];
    EXPECT_EQ(sent.handle, 0x1234u);
    EXPECT_EQ(sent.domain, 0xFE000000u);
    EXPECT_EQ(sent.service, 62u);
    EXPECT_EQ(sent.opcode, 190491u);
    EXPECT_EQ(sent.flags, 0u);
    EXPECT_EQ(sent.options, (std::array<uint32_t, 17>{1}));
    EXPECT_EQ(sent.payload.size(), 110u);
    ASSERT_EQ(ruv.receives.size(), 1u);
    EXPECT_EQ(ruv.receives[0].handle, 0x1234u);
    EXPECT_EQ(ruv.receives[0].options, (std::array<uint32_t, 10>{1, 0, 1, 0x51}));
    EXPECT_EQ(ruv.log, (std::vector<std::string>{"send", "token", "drop sent", "recv", "drop received"}));
}

TEST_F(Exchange, SendsEachComponentToItsOwnOpcode) {
    const uint32_t opcodes[] = {190484, 190485, 190486, 190487, 190488, 190489, 190490, 190491, 190492, 190493, 190502};
    ruv.answers.push_back({0, std::vector<uint8_t>(12), {}});
    ruv.repeat_last = true;
    for (uint32_t component = 0; component <= 10; ++component) {
        EXPECT_EQ(send(component, 12), 0u);
        EXPECT_EQ(ruv.sends.back().opcode, opcodes[component]);
    }
}

TEST_F(Exchange, RefusesComponentsAbove10AndGivesTheBufferBack) {
    for (const uint32_t component : {11u, 0xFFFFFFFFu}) {
        const std::string log = stderr_of([&] { EXPECT_EQ(send(component), 3u); });
        EXPECT_NE(log, "");
    }
    EXPECT_TRUE(ruv.sends.empty());
    EXPECT_EQ(free_request_buffers(), 11u);
}

TEST_F(Exchange, RefusesMoreThanABufferHolds) {
    stderr_of([&] {
        EXPECT_EQ(send(7, 65537), 3u);
        EXPECT_EQ(send(7, 0xFFFFFFFF), 3u);
    });
    EXPECT_TRUE(ruv.sends.empty());
}

TEST_F(Exchange, SetsTheComponentsSlotToTheReplyArea) {
    ruv.reply(reply_of(2, 51, {0, 0}));
    EXPECT_EQ(send(7), 0u);
    for (uint32_t other = 0; other < 11; ++other)
        EXPECT_EQ(nprm_reply_slot[other], other == 7 ? nprm_reply_area : nullptr);
}

TEST_F(Exchange, FailedSendGives6AndReturnsTheBuffer) {
    ruv.send_result = -1;
    const std::string log = stderr_of([&] { EXPECT_EQ(send(7, 4711), 6u); });
    EXPECT_EQ(log.substr(0, 18), "nprm_ipc_send_msg(");
    EXPECT_NE(log.find("): Failed to send 4711 bytes."), std::string::npos) << log;
    EXPECT_TRUE(ruv.receives.empty());
    EXPECT_EQ(free_request_buffers(), 11u);
}

TEST_F(Exchange, APositiveSendResultIsASuccess) {
    ruv.send_result = 110;
    ruv.reply(reply_of(2, 51, {0, 0}));
    EXPECT_EQ(send(7), 0u);
}

TEST_F(Exchange, GivesTheBufferBackBeforeTheReplyIsAwaited) {
    size_t free_while_waiting = 0;
    ruv.answers.push_back({0, reply_of(2, 51, {0, 0}), [&] { free_while_waiting = free_request_buffers(); }});
    EXPECT_EQ(send(7), 0u);
    EXPECT_EQ(free_while_waiting, 11u);
}

TEST_F(Exchange, TriesAsOftenAsTold) {
    const struct {
        int attempts;
        size_t calls;
    } cases[] = {{1, 1}, {2, 2}, {75, 75}, {0, 75}, {-1, 75}, {-2147483647 - 1, 75}, {100, 100}};
    ruv.fail_receive(-110);
    ruv.repeat_last = true;
    for (const auto &[attempts, calls] : cases) {
        ruv.receives.clear();
        const std::string log = stderr_of([&, attempts = attempts] { EXPECT_EQ(send(7, 110, attempts), 5u); });
        EXPECT_EQ(ruv.receives.size(), calls) << attempts;
        EXPECT_NE(log.find("nprm_ipc_send_msg("), std::string::npos);
        EXPECT_NE(log.find("): Failed to receive: retval = -110."), std::string::npos) << log;
    }
}

TEST_F(Exchange, ReportsTheLastResultOfTheReceive) {
    ruv.fail_receive(-5, 2);
    ruv.fail_receive(-9);
    EXPECT_NE(stderr_of([&] { EXPECT_EQ(send(7, 110, 3), 5u); }).find("retval = -9."), std::string::npos);
}

TEST_F(Exchange, TakesAReplyOfALaterAttempt) {
    ruv.fail_receive(-110, 74);
    ruv.reply(reply_of(2, 51, {0, 0}));
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(send(7), 0u); }), "");
    EXPECT_EQ(ruv.receives.size(), 75u);
}

TEST_F(Exchange, AServerThatGoesAwayGives7AtOnce) {
    ruv.fail_receive(-110);
    ruv.answers.push_back({-110, {}, [&] { set_status(0); }});
    const std::string log = stderr_of([&] { EXPECT_EQ(send(7), 7u); });
    EXPECT_EQ(ruv.receives.size(), 2u);
    EXPECT_NE(log.find("nprm_ipc_send_msg("), std::string::npos);
    EXPECT_NE(log.find("): NPRM server no longer available."), std::string::npos) << log;
}

TEST_F(Exchange, AServerThatGoesAwayBeforeItsReplyIsReadHasAnsweredAllTheSame) {
    ruv.answers.push_back({0, reply_of(2, 51, {0, 0}), [&] { set_status(0); }});
    EXPECT_EQ(send(7), 0u);
}

TEST_F(Exchange, LostStatusWordCountsAsNotReady) {
    volatile uint32_t *kept = nprm_server_status;
    ruv.answers.push_back({-110, {}, [] { nprm_server_status = nullptr; }});
    stderr_of([&] { EXPECT_EQ(send(7), 7u); });
    nprm_server_status = kept;
}

TEST_F(Exchange, IsTracedOnlyWhenTheMaskSaysSo) {
    ruv.reply(reply_of(2, 51, {0, 0}));
    ruv.reply(reply_of(2, 51, {0, 0}));
    EXPECT_EQ(stderr_of([&] { send(7); }), "");
    nprm_syslog_flag |= 0x2;
    const std::string log = stderr_of([&] { send(7); });
    EXPECT_EQ(log.substr(0, 18), "nprm_ipc_send_msg(");
    EXPECT_NE(log.find("): Sending 110 byte message to component 7 with RUV opcode 190491."), std::string::npos) << log;
    EXPECT_NE(log.find("nprm_ipc_send_msg(", 18), std::string::npos);
    EXPECT_NE(log.find("): Received 110 byte reply."), std::string::npos) << log;
}

TEST_F(Exchange, RepliesUnder12BytesAreMalformed) {
    for (size_t bytes = 0; bytes < 12; ++bytes) {
        ruv.reply(std::vector<uint8_t>(bytes));
        const std::string log = stderr_of([&] { EXPECT_EQ(send(3, 43), 1u); });
        EXPECT_NE(log.find("nprm_ipc_send_msg("), std::string::npos);
        EXPECT_NE(log.find(" " + std::to_string(bytes) + " bytes, at least 12"), std::string::npos) << log;
        EXPECT_EQ(nprm_reply_slot[3], nullptr);
        EXPECT_EQ(ruv.log.back(), "drop received");
    }
    ruv.reply(std::vector<uint8_t>(12));
    EXPECT_EQ(send(3, 43), 0u) << "the next exchange works";
}

TEST_F(Exchange, AMalformedReplyLeavesTheSlotAsItWas) {
    ruv.reply(reply_of(2, 51, {0, 0}));
    ASSERT_EQ(send(7), 0u);
    ASSERT_EQ(nprm_reply_slot[7], nprm_reply_area);
    ruv.reply(std::vector<uint8_t>(11));
    stderr_of([&] { EXPECT_EQ(send(7), 1u); });
    EXPECT_EQ(nprm_reply_slot[7], nprm_reply_area);
}

TEST_F(Exchange, APayloadThatIsNotThereIsMalformed) {
    ruv.payload_is_null = true;
    ruv.reply(reply_of(2, 51, {0, 0}));
    stderr_of([&] { EXPECT_EQ(send(7), 1u); });
    EXPECT_EQ(nprm_reply_slot[7], nullptr);
}

TEST_F(Exchange, FailuresAreNotLoggedWhenTheMaskIsClear) {
    nprm_syslog_flag = 0;
    ruv.send_result = -1;
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(send(7), 6u); }), "");
}

}  // namespace
