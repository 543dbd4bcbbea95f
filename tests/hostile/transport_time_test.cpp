// The client's transport against servers that die, stop, stall or flood: every call ends in bounded time, whatever signals come,
// and the next exchange works.

#include <atomic>
#include <cerrno>
#include <chrono>
#include <optional>
#include <thread>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/time.h>

#include "raw_server.h"
#include "tests/support/scratch.h"

namespace {

constexpr uint32_t tcam = 190491;

// What a loaded machine may add to a wait.  A wait that signals lengthen, or one that never ends, is far beyond it.
constexpr double slack_ms = 150;

double timed_ms(const std::function<void()> &work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

class HostileTiming : public testing::Test {
  protected:
    scratch_directory scratch;
    scratch_variable directory{"RUV_DIR", scratch.path().c_str()};
    byte_list reply;

    void wait_at_most(const char *milliseconds) { wait_.emplace("RUV_RECV_MS", milliseconds); }

  private:
    std::optional<scratch_variable> wait_;
};

TEST_F(HostileTiming, AFloodOfForeignRepliesDoesNotLengthenTheWait) {
    wait_at_most("100");
    raw_server server(scratch.path(), tcam, [](int connection) {
        raw_request request;
        if (!next_request(connection, &request)) return;
        const byte_list foreign = reply_of(request.token + 1, {});
        while (send(connection, foreign.data(), foreign.size(), MSG_NOSIGNAL) > 0) {
        }
    });
    ruv_client client;
    ASSERT_EQ(client.send(tcam, {1}), 0);
    const double took_ms = timed_ms([&] { EXPECT_EQ(client.receive(), -ETIMEDOUT); });
    EXPECT_GT(took_ms, 80);
    EXPECT_LT(took_ms, 100 + slack_ms);
}

// Interrupts this thread a thousand times a second while it lives.
class signal_storm {
  public:
    explicit signal_storm(int flags) {
        struct sigaction action = {};
        action.sa_handler = [](int) {};
        action.sa_flags = flags;
        sigaction(SIGUSR2, &action, &before_);
        const pthread_t target = pthread_self();
        thread_ = std::thread([this, target] {
            for (; !over_; poll(nullptr, 0, 1))
                pthread_kill(target, SIGUSR2);
        });
    }
    ~signal_storm() {
        over_ = true;
        thread_.join();
        sigaction(SIGUSR2, &before_, nullptr);
    }

  private:
    std::atomic<bool> over_ = false;
    struct sigaction before_ = {};
    std::thread thread_;
};

TEST_F(HostileTiming, SignalsNeitherLengthenNorShortenTheWait) {
    wait_at_most("200");
    raw_server server(scratch.path(), tcam, [](int connection) {
        for (raw_request request; next_request(connection, &request);) {
        }
    });
    for (const int flags : {0, SA_RESTART}) {
        ruv_client client;
        const signal_storm storm(flags);
        ASSERT_EQ(client.send(tcam, {1}), 0);
        const double took_ms = timed_ms([&] { EXPECT_EQ(client.receive(), -ETIMEDOUT); });
        EXPECT_GT(took_ms, 180);
        EXPECT_LT(took_ms, 200 + slack_ms);
    }
}

TEST_F(HostileTiming, SignalsDoNotDisturbAnExchange) {
    raw_server server(scratch.path(), tcam, [](int connection) {
        for (raw_request request; next_request(connection, &request);) {
            poll(nullptr, 0, 5);
            send_bytes(connection, reply_of(request.token, request.payload));
        }
    });
    ruv_client client;
    const signal_storm storm(0);
    for (uint8_t i = 0; i < 20; ++i) {
        ASSERT_EQ(client.exchange(tcam, {i}, &reply), 0);
        EXPECT_EQ(reply, byte_list{i});
    }
}

TEST_F(HostileTiming, AServersDeathIsToldAtOnceAndWhetherTheRequestWasRead) {
    wait_at_most("20000");
    for (const bool reads : {false, true}) {
        raw_process server(scratch.path(), tcam, [reads](int connection) {
            raw_request request;
            next_request(connection, &request, reads ? 0 : MSG_PEEK);
            kill(getpid(), SIGKILL);
        });
        ruv_client client;
        ASSERT_EQ(client.send(tcam, {1}), 0);
        const double took_ms = timed_ms([&] { EXPECT_EQ(client.receive(), reads ? -ECONNRESET : -ECONNABORTED); });
        EXPECT_LT(took_ms, 5000);
        EXPECT_EQ(client.receive(), -ENOTCONN);
        EXPECT_TRUE(comes_true([&] { return client.send(tcam, {1}) == -ECONNREFUSED; }));
        server.end();
        raw_server restarted(scratch.path(), tcam, echo);
        EXPECT_EQ(client.exchange(tcam, {2}, &reply), 0);
    }
}

TEST_F(HostileTiming, ARestartedServerIsReachedByTheNextSend) {
    ruv_client client;
    for (uint8_t life = 0; life < 3; ++life) {
        raw_server server(scratch.path(), tcam, echo);
        ASSERT_EQ(client.exchange(tcam, {life}, &reply), 0);
        EXPECT_EQ(reply, byte_list{life});
    }
}

TEST_F(HostileTiming, ADeadPeerRaisesNoSignal) {
    struct sigaction before = {}, after = {};
    ASSERT_EQ(sigaction(SIGPIPE, nullptr, &before), 0);
    ASSERT_EQ(before.sa_handler, SIG_DFL);
    ruv_client client;
    {
        raw_server server(scratch.path(), tcam, echo);
        ASSERT_EQ(client.exchange(tcam, {1}, &reply), 0);
    }
    EXPECT_EQ(client.send(tcam, {1}), -ENOENT);
    sigaction(SIGPIPE, nullptr, &after);
    EXPECT_EQ(after.sa_handler, SIG_DFL);
}

TEST_F(HostileTiming, AStoppedServerTimesOutAndItsLateReplyMisleadsNobody) {
    wait_at_most("50");
    raw_process server(scratch.path(), tcam, echo);
    ruv_client client;
    ASSERT_EQ(client.exchange(tcam, {1}, &reply), 0);
    server.signal(SIGSTOP);
    ASSERT_EQ(client.send(tcam, {2}), 0);
    const double took_ms = timed_ms([&] { EXPECT_EQ(client.receive(), -ETIMEDOUT); });
    EXPECT_LT(took_ms, 50 + slack_ms);
    server.signal(SIGCONT);
    EXPECT_TRUE(comes_true([&] { return client.exchange(tcam, {3}, &reply) == 0; }));
    EXPECT_EQ(reply, byte_list{3});
}

TEST_F(HostileTiming, APeerThatStopsReadingBoundsTheSend) {
    wait_at_most("100");
    raw_server server(scratch.path(), tcam, [](int connection) {
        // Answers what comes without ever taking it, so that requests pile up.
        raw_request request;
        if (!next_request(connection, &request, MSG_PEEK)) return;
        for (uint32_t i = 0; i < 10; ++i)
            send_bytes(connection, reply_of(request.token + i, {}));
        char byte;
        while (send(connection, &byte, 0, MSG_NOSIGNAL) == 0)
            poll(nullptr, 0, 20);
    });
    ruv_client client;
    int32_t result = 0;
    double took_ms = 0;
    int sent = 0;
    for (; sent < 10 && result == 0; ++sent) {
        took_ms = timed_ms([&] { result = client.send(tcam, byte_list(65536)); });
        if (result == 0) result = client.receive();
    }
    EXPECT_GT(sent, 1);
    EXPECT_EQ(result, -ETIMEDOUT);
    EXPECT_GT(took_ms, 80);
    EXPECT_LT(took_ms, 100 + slack_ms);
}

TEST_F(HostileTiming, AServerThatDoesNotAcceptBoundsTheConnecting) {
    wait_at_most("100");
    const int listening = listen_on(scratch.path(), tcam, 1);
    const int waiting[2] = {connect_raw(scratch.path(), tcam), connect_raw(scratch.path(), tcam)};
    ruv_client client;
    const signal_storm storm(SA_RESTART);
    const double took_ms = timed_ms([&] { EXPECT_EQ(client.send(tcam, {1}), -ETIMEDOUT); });
    EXPECT_GT(took_ms, 80);
    EXPECT_LT(took_ms, 100 + 2 * slack_ms);
    for (const int connection : waiting)
        close(connection);
    close(listening);
}

TEST_F(HostileTiming, ReconnectingLeavesNothingBehind) {
    std::atomic<int> ended = 0;
    raw_server server(scratch.path(), tcam, [&](int connection) {
        raw_request request;
        if (next_request(connection, &request)) send_bytes(connection, reply_of(request.token, request.payload));
        shutdown(connection, SHUT_RDWR);
        ++ended;
    });
    ruv_client client;
    for (uint8_t i = 0; i < 100; ++i) {
        ASSERT_EQ(client.exchange(tcam, {i}, &reply), 0);
        EXPECT_EQ(reply, byte_list{i});
        ASSERT_TRUE(comes_true([&] { return ended == i + 1; }));
    }
    EXPECT_EQ(server.accepted(), 100);
    rusage before, after;
    getrusage(RUSAGE_SELF, &before);
    poll(nullptr, 0, 100);
    getrusage(RUSAGE_SELF, &after);
    timeval used;
    timersub(&after.ru_utime, &before.ru_utime, &used);
    EXPECT_LT(used.tv_sec * 1000000 + used.tv_usec, 10000);
}

}  // namespace
