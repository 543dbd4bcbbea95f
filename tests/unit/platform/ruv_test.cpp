// The transport's calls as a client sees them, against a server on the same machine.

#include "platform/ruv.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <memory>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "ruv_client.h"
#include "tests/hostile/raw_server.h"
#include "tests/support/scratch.h"

namespace {

constexpr uint32_t tcam = 190491;
constexpr uint32_t interfaces = 190487;

class Ruv : public testing::Test {
  protected:
    scratch_directory scratch;
    scratch_variable directory{"RUV_DIR", scratch.path().c_str()};
    byte_list reply;
};

TEST_F(Ruv, SendsASixteenByteHeaderAndThePayload) {
    byte_list seen;
    raw_server server(scratch.path(), tcam, [&](int connection) {
        raw_request request;
        if (!next_request(connection, &request)) return;
        seen = request.bytes;
        send_bytes(connection, reply_of(request.token, {9}));
    });
    ruv_client client;
    ASSERT_EQ(client.exchange(tcam, {0x11, 0x22, 0x33}, &reply), 0);
    EXPECT_EQ(reply, byte_list{9});
    byte_list expected = {0x52, 0x55, 0x56, 0x31, 0, 0, 0, 0, 0x03, 0, 0, 0, 0, 0, 0, 0, 0x11, 0x22, 0x33};
    std::memcpy(expected.data() + 4, &client.token, 4);
    EXPECT_EQ(seen, expected);
}

TEST_F(Ruv, CarriesEverySizeUpTo64KiB) {
    raw_server server(scratch.path(), tcam, echo);
    ruv_client client;
    for (const size_t size : {0u, 1u, 4096u, 65535u, 65536u}) {
        byte_list payload(size);
        for (size_t i = 0; i < size; ++i)
            payload[i] = static_cast<uint8_t>(i * 7);
        ASSERT_EQ(client.exchange(tcam, payload, &reply), 0) << size;
        EXPECT_TRUE(reply == payload) << size;
    }
    EXPECT_EQ(client.send(tcam, byte_list(65537)), -EMSGSIZE);
    EXPECT_EQ(server.accepted(), 1);
}

TEST_F(Ruv, KeepsOneConnectionAnOpcode) {
    raw_server first(scratch.path(), tcam, echo), second(scratch.path(), interfaces, echo);
    ruv_client client;
    for (uint8_t i = 0; i < 5; ++i) {
        ASSERT_EQ(client.exchange(tcam, {i}, &reply), 0);
        EXPECT_EQ(reply, byte_list{i});
        ASSERT_EQ(client.exchange(interfaces, {i, i}, &reply), 0);
        EXPECT_EQ(reply, (byte_list{i, i}));
    }
    EXPECT_EQ(first.accepted(), 1);
    EXPECT_EQ(second.accepted(), 1);
}

TEST_F(Ruv, AwaitsRepliesOfSeveralOpcodesInAnyOrder) {
    raw_server first(scratch.path(), tcam, echo), second(scratch.path(), interfaces, echo);
    ruv_client client;
    ASSERT_EQ(client.send(tcam, {1}), 0);
    const uint32_t token = client.token;
    ASSERT_EQ(client.send(interfaces, {2}), 0);
    ASSERT_EQ(client.receive(token, &reply), 0);
    EXPECT_EQ(reply, byte_list{1});
    ASSERT_EQ(client.receive(&reply), 0);
    EXPECT_EQ(reply, byte_list{2});
}

TEST_F(Ruv, ReachesMoreOpcodesThanItKeepsConnections) {
    std::vector<std::unique_ptr<raw_server>> servers;
    for (uint32_t opcode = 1; opcode <= 20; ++opcode)
        servers.push_back(std::make_unique<raw_server>(scratch.path(), opcode, echo));
    ruv_client client;
    for (int round = 0; round < 2; ++round)
        for (uint32_t opcode = 1; opcode <= 20; ++opcode) {
            ASSERT_EQ(client.exchange(opcode, {static_cast<uint8_t>(opcode)}, &reply), 0) << opcode;
            EXPECT_EQ(reply, byte_list{static_cast<uint8_t>(opcode)});
        }
}

TEST_F(Ruv, TokensOfAnEndpointDiffer) {
    raw_server server(scratch.path(), tcam, echo);
    ruv_client client, another;
    ASSERT_EQ(client.exchange(tcam, {}, &reply), 0);
    const uint32_t first = client.token;
    ASSERT_EQ(client.exchange(tcam, {}, &reply), 0);
    EXPECT_EQ(client.token, first + 1);
}

TEST_F(Ruv, BindsDynamicAccessPointsOnly) {
    constexpr uint32_t parameters[6] = {1, 0, 1024, 0, 0, 15};
    EXPECT_EQ(ruv_bind(3, -1, parameters, "x"), 0xFFFFFFFFu);
    EXPECT_EQ(ruv_bind(4, 5, parameters, "x"), 0xFFFFFFFFu);
    EXPECT_EQ(ruv_bind(4, -1, nullptr, "x"), 0xFFFFFFFFu);
    EXPECT_NE(ruv_bind(4, -1, parameters, nullptr), 0xFFFFFFFFu);
}

TEST_F(Ruv, EndsTheOldestEndpointWhenThirtyTwoAreBound) {
    std::atomic<int> ended = 0;
    raw_server server(scratch.path(), tcam, [&](int connection) {
        echo(connection);
        ++ended;
    });
    ruv_client oldest, second;
    ASSERT_EQ(oldest.exchange(tcam, {1}, &reply), 0);
    ASSERT_EQ(second.exchange(tcam, {1}, &reply), 0);
    std::vector<uint32_t> handles = {oldest.handle, second.handle};
    for (int i = 0; i < 31; ++i) {
        const uint32_t handle = ruv_client::bind("another");
        for (const uint32_t other : handles)
            EXPECT_NE(handle, other);
        handles.push_back(handle);
    }
    EXPECT_EQ(oldest.send(tcam, {2}), -EBADF);
    EXPECT_TRUE(comes_true([&] { return ended == 1; })) << "the connection of the oldest is not closed";
    ASSERT_EQ(second.exchange(tcam, {3}, &reply), 0);
    EXPECT_EQ(reply, byte_list{3});
}

TEST_F(Ruv, AnEndpointIsFreeOfWhatItsPredecessorHeld) {
    raw_server server(scratch.path(), tcam, echo);
    ruv_client holding;
    ASSERT_EQ(holding.send(tcam, {5}), 0);
    const uint32_t options[10] = {1, 0, 1, holding.token};
    ruv_message received;
    ASSERT_EQ(ruv_recv(holding.handle, &received, options), 0);
    for (int i = 0; i < 31; ++i)
        ruv_client::bind("another");
    ruv_client successor;
    EXPECT_EQ(successor.handle % 32, holding.handle % 32);
    ASSERT_EQ(successor.exchange(tcam, {6}, &reply), 0);
    EXPECT_EQ(ruv_drop(holding.handle, &received), -EBADF);
}

TEST_F(Ruv, RefusesHandlesThatItNeverGave) {
    for (const uint32_t handle : {0u, 0xFFFFFFFFu, 0x80000000u, 31u, 0x7FFFFFFFu}) {
        ruv_client client{handle};
        EXPECT_EQ(client.send(tcam, {1}), -EBADF) << handle;
        EXPECT_EQ(client.receive(1, &reply), -EBADF) << handle;
    }
}

TEST_F(Ruv, RefusesOptionsThatItDoesNotKnow) {
    ruv_client client;
    ruv_message message;
    const uint32_t none[17] = {};
    EXPECT_EQ(ruv_send(client.handle, 0xFE000000, 62, tcam, "x", 1, &message, 0, none), -EINVAL);
    EXPECT_EQ(ruv_recv(client.handle, &message, none), -EINVAL);
    const uint32_t sending[17] = {1};
    EXPECT_EQ(ruv_send(client.handle, 0xFE000000, 62, tcam, nullptr, 1, &message, 0, sending), -EINVAL);
}

TEST_F(Ruv, GivesNothingOfAMessageThatHoldsNothing) {
    raw_server server(scratch.path(), tcam, echo);
    ruv_client client;
    ASSERT_EQ(client.send(tcam, {5}), 0);
    const uint32_t options[10] = {1, 0, 1, client.token};
    ruv_message received;
    ASSERT_EQ(ruv_recv(client.handle, &received, options), 0);
    EXPECT_EQ(ruv_payload_size(&received), 1u);
    EXPECT_EQ(ruv_drop(client.handle, &received), 0);
    EXPECT_EQ(ruv_drop(client.handle, &received), -EINVAL);
    EXPECT_EQ(ruv_payload_size(&received), 0u);
    EXPECT_EQ(ruv_payload_get(&received, 1, nullptr), nullptr);
}

TEST_F(Ruv, KeepsAPayloadUntilItIsDropped) {
    raw_server server(scratch.path(), tcam, echo);
    ruv_client client;
    ASSERT_EQ(client.send(tcam, {5}), 0);
    const uint32_t options[10] = {1, 0, 1, client.token};
    ruv_message received;
    ASSERT_EQ(ruv_recv(client.handle, &received, options), 0);
    ASSERT_EQ(client.send(tcam, {6}), 0);
    EXPECT_EQ(client.receive(&reply), -ENOBUFS);
    EXPECT_EQ(*static_cast<uint8_t *>(ruv_payload_get(&received, 1, nullptr)), 5);
    ASSERT_EQ(ruv_drop(client.handle, &received), 0);
    ASSERT_EQ(client.receive(&reply), 0);
    EXPECT_EQ(reply, byte_list{6});
}

TEST_F(Ruv, TellsAtOnceThatNobodyServes) {
    ruv_client client;
    EXPECT_EQ(client.send(tcam, {1}), -ENOENT);
    EXPECT_EQ(client.receive(1, &reply), -ENOTCONN);
    close(listen_on(scratch.path(), tcam));
    EXPECT_EQ(client.send(tcam, {1}), -ECONNREFUSED);
}

TEST_F(Ruv, GivesAReplyOnce) {
    raw_server server(scratch.path(), tcam, echo);
    ruv_client client;
    ASSERT_EQ(client.exchange(tcam, {1}, &reply), 0);
    EXPECT_EQ(client.receive(), -ENOTCONN);
}

TEST_F(Ruv, WaitsForAnotherThreadsCallOnNoHandleButItsOwn) {
    raw_server server(scratch.path(), tcam, echo);
    std::vector<std::thread> threads;
    std::atomic<int> wrong = 0;
    for (uint8_t thread = 0; thread < 4; ++thread)
        threads.emplace_back([&, thread] {
            ruv_client client;
            byte_list mine;
            for (uint8_t i = 0; i < 200; ++i)
                if (client.exchange(tcam, {thread, i}, &mine) != 0 || mine != byte_list{thread, i}) ++wrong;
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

TEST_F(Ruv, RefusesASecondCallOnAHandleThatIsAtWork) {
    std::atomic<bool> answer = false;
    raw_server server(scratch.path(), tcam, [&](int connection) {
        raw_request request;
        if (!next_request(connection, &request)) return;
        comes_true([&] { return answer.load(); });
        send_bytes(connection, reply_of(request.token, {}));
    });
    const scratch_variable wait("RUV_RECV_MS", "10000");
    ruv_client client;
    ASSERT_EQ(client.send(tcam, {1}), 0);
    // Each of the two may find the other at work; the second asks for what never comes, so that it changes nothing.
    int32_t result = -EBUSY;
    std::thread waiting([&] {
        while (result == -EBUSY)
            result = client.receive();
    });
    ruv_client same{client.handle};
    byte_list none;
    EXPECT_TRUE(comes_true([&] { return same.receive(client.token + 1, &none) == -EBUSY; }));
    answer = true;
    waiting.join();
    EXPECT_EQ(result, 0);
}

// Each bind runs in a process of its own: what is wrong is said once a process.
void expect_said_at_bind(const char *wait_ms, const std::string &text) {
    const scratch_variable wait("RUV_RECV_MS", wait_ms);
    const auto bind_twice = [] {
        ruv_client::bind("NPRM Client 0");
        ruv_client::bind("NPRM Client 1");
        _exit(0);
    };
    EXPECT_EXIT(bind_twice(), testing::ExitedWithCode(0), testing::Eq(text)) << wait_ms;
}

TEST(RuvWait, IsANumberOfMillisecondsUpToAMinute) {
    for (const char *good : {"1", "200", "60000"})
        expect_said_at_bind(good, "");
    for (const char *bad : {"", "0", "60001", "-5", "+5", " 5", "5 ", "1x", "abc", "99999999999999999999"})
        expect_said_at_bind(
            bad,
            "nprm: NPRM Client 0: RUV_RECV_MS is not a number of milliseconds from 1 to 60000: 200 is used; correct "
            "or unset it\n");
}

}  // namespace
