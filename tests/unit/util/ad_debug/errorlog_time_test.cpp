// The three writers' time: a daemon that does not read, and signals meanwhile.

#include "util/ad_debug/ad_errorlog.h"

#include <cerrno>
#include <chrono>
#include <csignal>

#include <sys/time.h>
#include <unistd.h>

#include "debug_library.h"
#include "util/ad_debug/ad_packet.h"
#include "util/ad_debug/state.h"

namespace {

class AdErrorlogTime : public debug_library {};

// Signals a thousand times a second while this lives.
class steady_signals {
  public:
    explicit steady_signals(int flags) {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        action.sa_flags = flags;
        sigaction(SIGALRM, &action, &before_);
        const itimerval every = {{0, 1000}, {0, 1000}};
        setitimer(ITIMER_REAL, &every, nullptr);
    }
    ~steady_signals() {
        const itimerval never{};
        setitimer(ITIMER_REAL, &never, nullptr);
        sigaction(SIGALRM, &before_, nullptr);
    }

  private:
    struct sigaction before_ {};
};

// The daemon's queue is full when a send does not wait.
void fill_queue(const sockaddr_un &address) {
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    the_system_calls().recording = false;
    while (sendto(fd, "x", 1, MSG_DONTWAIT, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 1) {
    }
    EXPECT_EQ(errno, EAGAIN);
    the_system_calls().recording = true;
    close(fd);
}

std::chrono::milliseconds time_of(auto what) {
    const auto start = std::chrono::steady_clock::now();
    what();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
}

TEST_F(AdErrorlogTime, GivesAStoppedDaemonUpAfterTheTimeLimit) {
    log_socket daemon(main_path(), log_socket::stopped);
    fill_queue(ad_errorlog_addr);
    std::string printed;
    const auto taken = time_of([&] { printed = stderr_of([] { ad_errorlog_printf("late\n"); }); });
    EXPECT_EQ(printed, std::string(no_contact_warning) + "late\n");
    EXPECT_GE(taken.count(), 150);
    EXPECT_LT(taken.count(), 1000);
}

TEST_F(AdErrorlogTime, KeepsTheTimeLimitUnderSteadySignals) {
    log_socket daemon(main_path(), log_socket::stopped);
    for (const int flags : {0, SA_RESTART}) {
        daemon.read_all();
        ad_errorlog_printf("in time\n");
        fill_queue(ad_errorlog_addr);
        std::string printed;
        const auto taken = time_of([&] {
            const steady_signals signals(flags);
            printed = stderr_of([] { ad_errorlog_printf("late\n"); });
        });
        EXPECT_EQ(printed, std::string(no_contact_warning) + "late\n");
        EXPECT_GE(taken.count(), 150) << "flags " << flags;
        EXPECT_LT(taken.count(), 1000) << "flags " << flags;
    }
}

TEST_F(AdErrorlogTime, SendsAgainAfterEachInterruption) {
    log_socket daemon(main_path());
    the_system_calls().send_error = [](size_t call) { return call < 1000 ? EINTR : 0; };
    EXPECT_EQ(stderr_of([] { ad_errorlog_printf("through\n"); }), "");
    EXPECT_EQ(daemon.texts(), std::vector<std::string>{"through\n"});
    EXPECT_EQ(the_system_calls().sends.size(), 1001U);
}

TEST_F(AdErrorlogTime, GivesUpWhenInterruptionsNeverEnd) {
    the_system_calls().send_error = [](size_t) { return EINTR; };
    EXPECT_EQ(stderr_of([] { ad_errorlog_printf("stuck\n"); }), std::string(no_contact_warning) + "stuck\n");
}

TEST_F(AdErrorlogTime, SendsWhenRoomComesAfterAnInterruption) {
    log_socket daemon(main_path(), log_socket::stopped);
    fill_queue(ad_errorlog_addr);
    the_system_calls().send_error = [&](size_t call) {
        if (call == 3) daemon.read_all();
        return call == 0 ? EINTR : 0;
    };
    EXPECT_EQ(stderr_of([] { ad_errorlog_printf("patient\n"); }), "");
    EXPECT_EQ(daemon.texts().back(), "patient\n");
}

TEST_F(AdErrorlogTime, WaitsForAStoppedDaemonOnceAndNotForEachLine) {
    use_level(1);
    log_socket daemon(main_path(), log_socket::stopped);
    fill_queue(ad_errorlog_addr);
    const std::vector<uint8_t> packet(1024);
    const auto taken =
        time_of([&] { stderr_of([&] { ad_debug_print_pkt_impl(1, "PKTS", packet.data(), 1024, "a.c", 1, "large"); }); });
    EXPECT_GE(taken.count(), 150);
    EXPECT_LT(taken.count(), 2000) << "65 lines";
    const std::vector<send_call> &sends = the_system_calls().sends;
    ASSERT_EQ(sends.size(), 65U);
    EXPECT_EQ(sends[0].flags, 0);
    for (size_t line = 1; line < sends.size(); ++line)
        EXPECT_EQ(sends[line].flags, MSG_DONTWAIT) << line;
}

TEST_F(AdErrorlogTime, WaitsAgainOnceASendHasSucceeded) {
    log_socket daemon(main_path(), log_socket::stopped);
    fill_queue(ad_errorlog_addr);
    stderr_of([] { ad_errorlog_printf("late\n"); });
    daemon.texts();
    the_system_calls().sends.clear();
    ad_errorlog_printf("through");
    ad_errorlog_printf("patient");
    EXPECT_EQ(daemon.texts(), (std::vector<std::string>{"through", "patient"}));
    EXPECT_EQ(the_system_calls().sends[0].flags, MSG_DONTWAIT);
    EXPECT_EQ(the_system_calls().sends[1].flags, 0);
}

TEST_F(AdErrorlogTime, KeepsStoppedDaemonsOfTheTwoLogsApart) {
    log_socket daemon(main_path(), log_socket::stopped);
    log_socket special(special_path());
    fill_queue(ad_errorlog_addr);
    stderr_of([] { ad_errorlog_printf("late\n"); });
    the_system_calls().sends.clear();
    ad_errorlog_printf_special("s");
    EXPECT_EQ(special.text(), "s");
    stderr_of([] { ad_errorlog_printf("late again\n"); });
    EXPECT_EQ(the_system_calls().sends[0].flags, 0);
    EXPECT_EQ(the_system_calls().sends[1].flags, MSG_DONTWAIT) << "the special log's success is not the error log's";
}

TEST_F(AdErrorlogTime, HurriesForNoOtherFailureThanTime) {
    stderr_of([] {
        ad_errorlog_printf("nobody is there\n");
        ad_errorlog_printf("nobody is there\n");
    });
    ASSERT_EQ(the_system_calls().sends.size(), 2U);
    EXPECT_EQ(the_system_calls().sends[1].flags, 0);
}

}  // namespace
