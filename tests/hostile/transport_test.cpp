// The client's transport against servers that send what is no reply, the wrong reply, or the right one late: a call ends with an
// error or with its own reply, and the next exchange works.

#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <optional>
#include <random>

#include <gtest/gtest.h>
#include <sys/random.h>
#include <sys/syscall.h>

#include "raw_server.h"
#include "tests/support/scratch.h"

namespace {

std::optional<uint32_t> first_token;  // of the endpoints bound from now on, less one

}  // namespace

// Takes libc's place for the library under test, so that a sequence of tokens can begin near its end.
extern "C" ssize_t getrandom(void *buffer, size_t length, unsigned flags) {
    if (!first_token || length != sizeof *first_token) return syscall(SYS_getrandom, buffer, length, flags);
    std::memcpy(buffer, &*first_token, length);
    return static_cast<ssize_t>(length);
}

namespace {

constexpr uint32_t tcam = 190491;
constexpr uint32_t interfaces = 190487;

class HostileServer : public testing::Test {
  protected:
    scratch_directory scratch;
    scratch_variable directory{"RUV_DIR", scratch.path().c_str()};
    byte_list reply;

    void wait_at_most(const char *milliseconds) { wait_.emplace("RUV_RECV_MS", milliseconds); }

    // A server that answers the request {bad} with these bytes and echoes every other one.
    void expect_refused(const std::function<void(int connection, uint32_t token)> &answer, const char *what) {
        raw_server server(scratch.path(), tcam, [&](int connection) {
            for (raw_request request; next_request(connection, &request);)
                if (request.payload == byte_list{0xBA, 0xD0})
                    answer(connection, request.token);
                else
                    send_bytes(connection, reply_of(request.token, request.payload));
        });
        ruv_client client;
        ASSERT_EQ(client.exchange(tcam, {1}, &reply), 0);
        EXPECT_EQ(client.exchange(tcam, {0xBA, 0xD0}, &reply), -EPROTO) << what;
        EXPECT_EQ(client.receive(), -ENOTCONN) << what << ": the connection is not given up";
        EXPECT_EQ(client.exchange(tcam, {2}, &reply), 0) << what;
        EXPECT_EQ(reply, byte_list{2}) << what;
        EXPECT_EQ(server.accepted(), 2) << what;
    }

  private:
    std::optional<scratch_variable> wait_;
};

TEST_F(HostileServer, AReplyThatLiesAboutItsSizeIsRefused) {
    for (const uint32_t size : {4u, 2u, 0u, 65537u, 0x80000000u, 0xFFFFFFFFu, 0xFFFFFFF3u})
        expect_refused(
            [size](int connection, uint32_t token) {
                send_bytes(connection, message_of(0x31565552, token, size, 1, {1, 2, 3}));
            },
            std::to_string(size).c_str());
}

TEST_F(HostileServer, AReplyShorterThanItsHeaderIsRefused) {
    for (size_t size = 0; size < 16; ++size)
        expect_refused(
            [size](int connection, uint32_t token) {
                byte_list message = reply_of(token, {});
                message.resize(size);
                send_bytes(connection, message);
            },
            std::to_string(size).c_str());
}

TEST_F(HostileServer, AMessageThatIsNoReplyIsRefused) {
    for (const uint32_t magic : {0u, 0x31565553u})
        expect_refused([magic](int connection, uint32_t token) { send_bytes(connection, message_of(magic, token, 0, 1)); },
                       "magic");
    for (const uint32_t flags : {0u, 2u, 3u, 0xFFFFFFFFu})
        expect_refused([flags](int connection, uint32_t token) { send_bytes(connection, message_of(0x31565552, token, 0, flags)); },
                       "flags");
}

TEST_F(HostileServer, AReplyLongerThan64KiBIsRefusedNotCut) {
    for (const uint32_t size : {65537u, 65552u, 131072u})
        for (const uint32_t claimed : {size, 65536u})
            expect_refused(
                [size, claimed](int connection, uint32_t token) {
                    send_bytes(connection, message_of(0x31565552, token, claimed, 1, byte_list(size)));
                },
                std::to_string(size).c_str());
}

TEST_F(HostileServer, ALateReplyNeverReachesALaterRequest) {
    wait_at_most("5");
    int late = 0;
    const auto dawdle = [](int connection) {
        std::minstd_rand random(static_cast<unsigned>(connection));
        for (raw_request request; next_request(connection, &request);) {
            poll(nullptr, 0, static_cast<int>(random() % 20));
            send_bytes(connection, reply_of(request.token, request.payload));
        }
    };
    raw_server first(scratch.path(), tcam, dawdle), second(scratch.path(), interfaces, dawdle);
    ruv_client client;
    int answered = 0;
    for (uint32_t i = 0; i < 150; ++i) {
        const byte_list request = {static_cast<uint8_t>(i), static_cast<uint8_t>(i >> 8)};
        const int32_t result = client.exchange(i % 3 == 0 ? interfaces : tcam, request, &reply);
        if (result == -ETIMEDOUT) ++late;
        if (result != 0) continue;
        ++answered;
        ASSERT_EQ(reply, request);
    }
    EXPECT_GT(late, 0) << "no reply was late: the test shows nothing";
    EXPECT_GT(answered, 0);
}

TEST_F(HostileServer, ALateReplyIsStillThereForItsOwnRequest) {
    wait_at_most("20");
    std::atomic<bool> answer = false;
    raw_server server(scratch.path(), tcam, [&](int connection) {
        raw_request request;
        if (!next_request(connection, &request)) return;
        comes_true([&] { return answer.load(); });
        send_bytes(connection, reply_of(request.token, request.payload));
        next_request(connection, &request);
    });
    ruv_client client;
    ASSERT_EQ(client.send(tcam, {7}), 0);
    EXPECT_EQ(client.receive(&reply), -ETIMEDOUT);
    EXPECT_EQ(client.receive(&reply), -ETIMEDOUT);
    answer = true;
    EXPECT_TRUE(comes_true([&] { return client.receive(&reply) == 0; }));
    EXPECT_EQ(reply, byte_list{7});
}

TEST_F(HostileServer, AConnectionWhoseRequestWasNeverAnsweredCarriesNoFurtherOne) {
    wait_at_most("5");
    raw_server server(scratch.path(), tcam, [](int connection) {
        for (raw_request request; next_request(connection, &request);)
            if (request.payload != byte_list{0}) send_bytes(connection, reply_of(request.token, request.payload));
    });
    ruv_client client;
    ASSERT_EQ(client.send(tcam, {0}), 0);
    const uint32_t given_up = client.token;
    EXPECT_EQ(client.receive(), -ETIMEDOUT);
    ASSERT_EQ(client.send(tcam, {1}), 0);
    EXPECT_TRUE(comes_true([&] { return client.receive(&reply) != -ETIMEDOUT; }));
    EXPECT_EQ(reply, byte_list{1});
    EXPECT_EQ(server.accepted(), 2);
    EXPECT_EQ(client.receive(given_up, &reply), -ENOTCONN);
}

TEST_F(HostileServer, ASecondReplyAndOnesBeforeTheRequestAreThrownAway) {
    raw_server server(scratch.path(), tcam, [](int connection) {
        for (const uint32_t guess : {0u, 1u, 0xFFFFFFFFu})
            send_bytes(connection, reply_of(guess, {0xEE}));
        for (raw_request request; next_request(connection, &request);) {
            send_bytes(connection, reply_of(request.token - 1, {0xEE}));
            for (int copy = 0; copy < 3; ++copy)
                send_bytes(connection, reply_of(request.token, request.payload));
            send_bytes(connection, reply_of(request.token - 2, {0xEE}));
        }
    });
    ruv_client client;
    for (uint8_t i = 0; i < 50; ++i) {
        ASSERT_EQ(client.exchange(tcam, {i}, &reply), 0);
        ASSERT_EQ(reply, byte_list{i});
    }
    EXPECT_EQ(server.accepted(), 1);
}

TEST_F(HostileServer, TokensAreUsedOnceOnAConnectionWhenTheirSequenceBeginsAgain) {
    std::vector<uint32_t> tokens;
    std::vector<int> connections;
    std::mutex guard;
    raw_server server(scratch.path(), tcam, [&](int connection) {
        for (raw_request request; next_request(connection, &request);) {
            {
                const std::lock_guard hold(guard);
                tokens.push_back(request.token);
                connections.push_back(connection);
            }
            // What a sequence one round older would have left behind.
            send_bytes(connection, reply_of(request.token + 1, {0xEE}));
            send_bytes(connection, reply_of(request.token - 0x10000, {0xEE}));
            send_bytes(connection, reply_of(request.token, request.payload));
        }
    });
    first_token = 0xFFFFFFFD;
    ruv_client client;
    first_token.reset();
    ASSERT_EQ(client.exchange(tcam, {1}, &reply), 0);
    // The next token's reply lies there already, as if it were 2^32 calls old; only the new round's connection is free of it.
    EXPECT_EQ(client.token, 0xFFFFFFFEu);
    ASSERT_EQ(client.send(tcam, {2}), 0);
    EXPECT_EQ(client.token, 0xFFFFFFFFu);
    ASSERT_EQ(client.receive(&reply), 0);
    ASSERT_EQ(client.exchange(tcam, {3}, &reply), 0);
    EXPECT_EQ(client.token, 0u);
    EXPECT_EQ(reply, byte_list{3}) << "a reply of the round before was taken";
    ASSERT_TRUE(comes_true([&] {
        const std::lock_guard hold(guard);
        return tokens.size() == 3;
    }));
    EXPECT_EQ(tokens, (std::vector<uint32_t>{0xFFFFFFFE, 0xFFFFFFFF, 0}));
    EXPECT_EQ(connections[0], connections[1]);
    EXPECT_NE(connections[1], connections[2]);
}

TEST_F(HostileServer, DescriptorsInRepliesAreClosed) {
    raw_server server(scratch.path(), tcam, [](int connection) {
        for (raw_request request; next_request(connection, &request);) {
            byte_list message = reply_of(request.token, request.payload);
            iovec part = {message.data(), message.size()};
            alignas(cmsghdr) char control[CMSG_SPACE(2 * sizeof(int))] = {};
            msghdr header = {};
            header.msg_iov = &part;
            header.msg_iovlen = 1;
            header.msg_control = control;
            header.msg_controllen = sizeof control;
            cmsghdr *rights = CMSG_FIRSTHDR(&header);
            rights->cmsg_level = SOL_SOCKET;
            rights->cmsg_type = SCM_RIGHTS;
            rights->cmsg_len = CMSG_LEN(2 * sizeof(int));
            const int passed[2] = {connection, connection};
            std::memcpy(CMSG_DATA(rights), passed, sizeof passed);
            if (sendmsg(connection, &header, MSG_NOSIGNAL) < 0) return;
        }
    });
    ruv_client client;
    ASSERT_EQ(client.exchange(tcam, {1}, &reply), 0);
    const size_t before = open_descriptors();
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(client.exchange(tcam, {1}, &reply), 0);
    EXPECT_EQ(open_descriptors(), before);
}

}  // namespace
