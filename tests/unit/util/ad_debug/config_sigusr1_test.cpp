// SIGUSR1: the configuration read again, and the handler that was there before.

#include "util/ad_debug/ad_debug.h"

#include <cerrno>
#include <csignal>
#include <filesystem>

#include <arpa/inet.h>

#include "debug_library.h"
#include "util/ad_debug/state.h"

namespace {

class AdDebugSigusr1 : public debug_library {
  protected:
    AdDebugSigusr1() {
        use_private_ipc();
        the_system_calls().user = 1234;
        calls = 0;
        write_file(of_user, "");
    }
    int init() { return ad_init_debug_lib(name.c_str()); }
    int init_anew() { return ad_init_debug_lib((directory / "other").c_str()); }

    const std::string name = directory / "host";
    const std::string of_user = name + ".1234";

    static struct sigaction installed() {
        struct sigaction action {};
        sigaction(SIGUSR1, nullptr, &action);
        return action;
    }

    static volatile sig_atomic_t calls;
    static volatile sig_atomic_t last_signal;
    static void host_handler(int signal_number) {
        calls = calls + 1;
        last_signal = signal_number;
    }
    static struct sigaction before_host;
    static void chaining_host_handler(int signal_number) {
        host_handler(signal_number);
        before_host.sa_handler(signal_number);
    }
    static void host_handler_with_information(int signal_number, siginfo_t *information, void *) {
        if (information->si_signo == signal_number) host_handler(signal_number);
    }
};
volatile sig_atomic_t AdDebugSigusr1::calls;
volatile sig_atomic_t AdDebugSigusr1::last_signal;
struct sigaction AdDebugSigusr1::before_host = {};

TEST_F(AdDebugSigusr1, ReadsTheConfigurationAgain) {
    log_socket special_log(special_path());
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(ad_debug_cfg_p->level, 0);
    write_file(of_user + ".cfg", "debug_level=2\ndebug_client_ip=10.0.0.3\n");
    raise(SIGUSR1);
    EXPECT_EQ(ad_debug_cfg_p->level, 2);
    EXPECT_EQ(ad_debug_cfg_p->client_ip, inet_addr("10.0.0.3"));

    set_path(ad_errorlog_sp_addr, special_path());
    ad_debug_cfg_p->level = 4;
    the_system_calls().recording = false;  // what notes and reads here is not for signal handlers
    the_system_calls().after_send = nullptr;
    raise(SIGUSR1);
    EXPECT_EQ(ad_debug_cfg_p->level, 2);
    EXPECT_EQ(special_log.text(), "reset special log");
}

TEST_F(AdDebugSigusr1, IsHandledWithAnEmptyMaskAndWithoutFlags) {
    EXPECT_EQ(init(), 0);
    const struct sigaction action = installed();
    EXPECT_EQ(action.sa_flags & ~0x04000000, 0) << "but for what libc itself adds";
    for (int number = 1; number < NSIG; ++number)
        EXPECT_NE(sigismember(&action.sa_mask, number), 1) << number;
}

TEST_F(AdDebugSigusr1, CallsTheHandlerThatWasThereBefore) {
    signal(SIGUSR1, host_handler);
    EXPECT_EQ(init(), 0);
    write_file(of_user + ".cfg", "debug_level=1\n");
    raise(SIGUSR1);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(last_signal, SIGUSR1);
    EXPECT_EQ(ad_debug_cfg_p->level, 1);
}

TEST_F(AdDebugSigusr1, KeepsTheHandlerSavedFirstWhenTheLibraryIsSetUpAgain) {
    signal(SIGUSR1, host_handler);
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(init_anew(), 0);
    raise(SIGUSR1);
    EXPECT_EQ(calls, 1);
}

TEST_F(AdDebugSigusr1, SavesAHandlerThatTheHostInstalledBetweenTwoSetUps) {
    EXPECT_EQ(init(), 0);
    signal(SIGUSR1, host_handler);
    raise(SIGUSR1);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(init_anew(), 0);
    raise(SIGUSR1);
    EXPECT_EQ(calls, 2);
}

TEST_F(AdDebugSigusr1, DoesNotCallTheIgnoreDisposition) {
    signal(SIGUSR1, SIG_IGN);
    EXPECT_EQ(init(), 0);
    write_file(of_user + ".cfg", "debug_level=1\n");
    raise(SIGUSR1);
    EXPECT_EQ(ad_debug_cfg_p->level, 1);
}

TEST_F(AdDebugSigusr1, DoesNotCallTheDispositionsForWhichInformationWasAsked) {
    for (const auto disposition : {SIG_IGN, SIG_DFL}) {
        struct sigaction action {};
        action.sa_handler = disposition;
        action.sa_flags = SA_SIGINFO;
        sigaction(SIGUSR1, &action, nullptr);
        ad_debug_lib_name[0] = '\0';
        EXPECT_EQ(init(), 0);
        ad_debug_cfg_p->level = 0;
        write_file(of_user + ".cfg", "debug_level=1\n");
        raise(SIGUSR1);
        EXPECT_EQ(ad_debug_cfg_p->level, 1);
    }
}

TEST_F(AdDebugSigusr1, EndsWhereAHandlerOfTheHostsCallsTheLibrarysOwn) {
    EXPECT_EQ(init(), 0);
    struct sigaction action {};
    action.sa_handler = chaining_host_handler;
    sigaction(SIGUSR1, &action, &before_host);
    EXPECT_EQ(init_anew(), 0);  // now each is what the other calls
    raise(SIGUSR1);
    EXPECT_EQ(calls, 1);
    raise(SIGUSR1);
    EXPECT_EQ(calls, 2) << "the next signal is handled as the first";
}

TEST_F(AdDebugSigusr1, ReadsTheEnvironmentAndNoFileWhileThereIsNoPath) {
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(ad_init_debug_lib(nullptr), -1);
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(directory.path());
    write_file(".cfg", "debug_level=3\n");
    const scratch_variable client("DEBUG_CLIENT_IP", "10.0.0.4");
    raise(SIGUSR1);
    std::filesystem::current_path(before);
    EXPECT_EQ(ad_debug_cfg_p->level, 0);
    EXPECT_EQ(ad_debug_cfg_p->client_ip, inet_addr("10.0.0.4"));
}

TEST_F(AdDebugSigusr1, LeavesNoDescriptorOpen) {
    const auto descriptors = [] {
        const std::filesystem::directory_iterator open("/proc/self/fd");
        return std::distance(begin(open), end(open));
    };
    write_file(of_user + ".cfg", "debug_level=1\n");
    EXPECT_EQ(init(), 0);
    const auto before = descriptors();
    for (int i = 0; i < 20; ++i)
        raise(SIGUSR1);
    EXPECT_EQ(descriptors(), before);
}

TEST_F(AdDebugSigusr1, CallsAHandlerThatTakesInformationWithTheSignalsNumber) {
    struct sigaction action {};
    action.sa_sigaction = host_handler_with_information;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGUSR1, &action, nullptr);
    EXPECT_EQ(init(), 0);
    raise(SIGUSR1);
    EXPECT_EQ(calls, 1);
}

TEST_F(AdDebugSigusr1, LeavesErrnoOfTheInterruptedCodeAsItWas) {
    EXPECT_EQ(init(), 0);
    errno = 1234;
    raise(SIGUSR1);  // there is no file: open() fails in the handler
    EXPECT_EQ(errno, 1234);
}

}  // namespace
