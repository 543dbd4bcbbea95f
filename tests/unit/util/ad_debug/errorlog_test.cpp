// The three writers: the datagram, the daemon's absence, the socket, errno.

#include "util/ad_debug/ad_errorlog.h"

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/time.h>

#include "debug_library.h"
#include "tests/support/bytes.h"
#include "util/ad_debug/state.h"

namespace {

class AdErrorlog : public debug_library {};

unsigned int through_vprintf(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const unsigned int result = ad_errorlog_vprintf(format, arguments);
    va_end(arguments);
    return result;
}

int32_t word_at(const std::vector<uint8_t> &bytes, size_t offset) {
    int32_t word = 0;
    memcpy(&word, bytes.data() + offset, sizeof word);
    return word;
}

// No descriptor can be made while this lives.
class no_descriptors {
  public:
    no_descriptors() {
        getrlimit(RLIMIT_NOFILE, &before_);
        rlimit none = before_;
        none.rlim_cur = 0;
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    }
    ~no_descriptors() { setrlimit(RLIMIT_NOFILE, &before_); }

  private:
    rlimit before_{};
};

TEST(AdErrorlogState, IsAsDocumentedAtTheStartOfAProcess) {
    const initial_state &state = state_at_start();
    EXPECT_EQ(state.fd, -1);
    EXPECT_EQ(state.contact, -1);
    EXPECT_EQ(state.in_sighandler, 0);
    EXPECT_EQ(state.to_syslogd, 1);
    EXPECT_EQ(state.critical_only, 1);
    EXPECT_EQ(state.module_id, 0U);
    EXPECT_EQ(state.client_ip, 0U);
    EXPECT_EQ(state.server_ip, 0U);
    EXPECT_TRUE(state.record_is_null);
    EXPECT_EQ(state.error_log_family, AF_UNIX);
    EXPECT_EQ(state.special_family, AF_UNIX);
    EXPECT_EQ(state.error_log_path, "/tmp/ad_errorlog");
    EXPECT_EQ(state.special_path, "/tmp/ad_errorlog_sp");
    EXPECT_EQ(state.process_name, "");
    EXPECT_EQ(state.library_name, "");
}

TEST_F(AdErrorlog, SendsTheTextAZeroByteAndTheTimeOfDay) {
    log_socket daemon(main_path());
    timeval before{};
    gettimeofday(&before, nullptr);
    ad_errorlog_printf("port %d is %s", 7, "up");
    timeval after{};
    gettimeofday(&after, nullptr);

    const std::vector<uint8_t> datagram = daemon.datagram();
    ASSERT_EQ(datagram.size(), 12U + 9U);
    EXPECT_BYTES(datagram, 0, "70 6f 72 74 20 37 20 69 73 20 75 70  00");
    const int64_t sent = int64_t{word_at(datagram, 13)} * 1000000 + word_at(datagram, 17);
    EXPECT_GE(sent, int64_t{before.tv_sec} * 1000000 + before.tv_usec);
    EXPECT_LE(sent, int64_t{after.tv_sec} * 1000000 + after.tv_usec);
    EXPECT_TRUE(daemon.datagram().empty());
}

TEST_F(AdErrorlog, SendsOnceWithTheWholeAddressAndNoFlags) {
    log_socket daemon(main_path());
    ad_errorlog_printf("12345");
    ASSERT_EQ(the_system_calls().sends.size(), 1U);
    EXPECT_EQ(the_system_calls().sends[0].bytes, 14U);
    EXPECT_EQ(the_system_calls().sends[0].flags, 0);
    EXPECT_EQ(the_system_calls().sends[0].address_bytes, 110U);
}

TEST_F(AdErrorlog, WritesThroughVprintfAsThroughPrintf) {
    log_socket daemon(main_path());
    through_vprintf("%s-%u", "a", 5U);
    EXPECT_EQ(daemon.text(), "a-5");
}

TEST_F(AdErrorlog, SendsSpecialMessagesToTheSpecialSocketOverTheSameDescriptor) {
    log_socket daemon(main_path());
    log_socket special(special_path());
    ad_errorlog_printf("main");
    const int fd = ad_errorlog_fd;
    ad_errorlog_printf_special("special %d", 1);
    EXPECT_EQ(ad_errorlog_fd, fd);
    EXPECT_EQ(daemon.texts(), std::vector<std::string>{"main"});
    EXPECT_EQ(special.texts(), std::vector<std::string>{"special 1"});
}

TEST_F(AdErrorlog, CutsA5000CharacterMessageTo4086) {
    log_socket daemon(main_path());
    ad_errorlog_printf("%s", (std::string(4086, 'a') + std::string(914, 'b')).c_str());
    const std::vector<uint8_t> datagram = daemon.datagram();
    ASSERT_EQ(datagram.size(), 4095U);
    EXPECT_EQ(std::string(datagram.begin(), datagram.begin() + 4087), std::string(4086, 'a') + '\0');
}

TEST_F(AdErrorlog, SendsAMessageOf4086CharactersWhole) {
    log_socket daemon(main_path());
    ad_errorlog_printf("%s", (std::string(4085, 'a') + "z").c_str());
    EXPECT_EQ(daemon.text(), std::string(4085, 'a') + "z");
}

TEST_F(AdErrorlog, DropsAnEmptyMessage) {
    log_socket daemon(main_path());
    EXPECT_EQ(stderr_of([] { ad_errorlog_printf("%s", ""); }), "");
    EXPECT_TRUE(daemon.datagram().empty());
}

TEST_F(AdErrorlog, DropsAMessageThatCannotBeFormatted) {
    log_socket daemon(main_path());
    const wchar_t no_character[] = {static_cast<wchar_t>(0x7fffffff), 0};
    EXPECT_EQ(stderr_of([&] { ad_errorlog_printf("x%ls", no_character); }), "");
    EXPECT_TRUE(daemon.datagram().empty());
}

TEST_F(AdErrorlog, SendsATextThatBeginsWithAZeroByteAsNineBytes) {
    log_socket daemon(main_path());
    ad_errorlog_printf("%cabc", 0);
    const std::vector<uint8_t> datagram = daemon.datagram();
    ASSERT_EQ(datagram.size(), 9U);
    EXPECT_EQ(datagram[0], 0);
}

TEST_F(AdErrorlog, EndsTheTextAtAZeroByteInside) {
    log_socket daemon(main_path());
    ad_errorlog_printf("ab%ccd", 0);
    EXPECT_EQ(daemon.text(), "ab");
}

TEST_F(AdErrorlog, WarnsOnceARunOfFailuresAndPrintsToStandardError) {
    EXPECT_EQ(sizeof no_contact_warning - 1, 80U);
    EXPECT_EQ(stderr_of([] { ad_errorlog_printf("first\n"); }), std::string(no_contact_warning) + "first\n");
    EXPECT_EQ(ad_logd_contact, 0);
    EXPECT_EQ(stderr_of([] { ad_errorlog_printf("second\n"); }), "second\n");
    {
        log_socket daemon(main_path());
        EXPECT_EQ(stderr_of([] { ad_errorlog_printf("third\n"); }), "");
        EXPECT_EQ(daemon.text(), "third\n");
        EXPECT_EQ(ad_logd_contact, 1);
    }
    EXPECT_EQ(stderr_of([] { ad_errorlog_printf("fourth\n"); }), std::string(no_contact_warning) + "fourth\n");
}

TEST_F(AdErrorlog, SharesTheWarningBetweenErrorLogAndSpecialLog) {
    EXPECT_EQ(stderr_of([] { ad_errorlog_printf_special("s\n"); }), std::string(no_contact_warning) + "s\n");
    EXPECT_EQ(stderr_of([] { ad_errorlog_printf("m\n"); }), "m\n");
}

TEST_F(AdErrorlog, EndsALineOnStandardErrorThatHasNoEnd) {
    ad_logd_contact = contact_lost;
    EXPECT_EQ(stderr_of([] { ad_errorlog_printf("no newline"); }), "no newline\n");
    EXPECT_EQ(stderr_of([] { ad_errorlog_printf("two\n\n"); }), "two\n\n");
    EXPECT_EQ(stderr_of([] { ad_errorlog_printf("100%% %%s"); }), "100% %s\n");
    EXPECT_EQ(stderr_of([] { ad_errorlog_printf("%c", 0); }), "");
}

TEST_F(AdErrorlog, PrintsNoWarningInASignalHandlerAndNoneLaterInThatRun) {
    ad_debug_in_sighandler = 1;
    EXPECT_EQ(stderr_of([] { ad_errorlog_printf("inside\n"); }), "inside\n");
    EXPECT_EQ(ad_logd_contact, 0);
    ad_debug_in_sighandler = 0;
    EXPECT_EQ(stderr_of([] { ad_errorlog_printf("outside\n"); }), "outside\n");
}

TEST_F(AdErrorlog, TakesAnEmptyPathForUnreachableWithoutSending) {
    set_path(ad_errorlog_sp_addr, "");
    EXPECT_EQ(stderr_of([] { ad_errorlog_printf_special("off\n"); }), std::string(no_contact_warning) + "off\n");
    EXPECT_TRUE(the_system_calls().sends.empty());
}

TEST_F(AdErrorlog, IsSilentForGoodAfterOneWarningWhenNoSocketCanBeMade) {
    log_socket daemon(main_path());
    EXPECT_EQ(sizeof no_socket_warning - 1, 74U);
    EXPECT_EQ(stderr_of([] {
                  const no_descriptors none;
                  ad_errorlog_printf("lost\n");
              }),
              no_socket_warning);
    EXPECT_EQ(ad_errorlog_fd, -2);
    EXPECT_EQ(stderr_of([] {
                  ad_errorlog_printf("lost too\n");
                  ad_errorlog_printf_special("and this\n");
              }),
              "");
    EXPECT_TRUE(daemon.datagram().empty());
}

TEST_F(AdErrorlog, KeepsItsSocketFromChildrenAndBoundsItsSends) {
    log_socket daemon(main_path());
    ad_errorlog_printf("x");
    EXPECT_EQ(fcntl(ad_errorlog_fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    timeval limit{};
    socklen_t bytes = sizeof limit;
    ASSERT_EQ(getsockopt(ad_errorlog_fd, SOL_SOCKET, SO_SNDTIMEO, &limit, &bytes), 0);
    EXPECT_EQ(limit.tv_sec, 0);
    EXPECT_EQ(limit.tv_usec, 200000);
}

TEST_F(AdErrorlog, TakesAnyOtherErrorForUnreachableAtOnce) {
    the_system_calls().send_error = [](size_t) { return ENOBUFS; };
    EXPECT_EQ(stderr_of([] { ad_errorlog_printf("no room\n"); }), std::string(no_contact_warning) + "no room\n");
    EXPECT_EQ(the_system_calls().sends.size(), 1U);
    EXPECT_GE(ad_errorlog_fd, 0) << "the socket is kept";
}

TEST_F(AdErrorlog, LeavesErrnoAsItWas) {
    stderr_of([] {
        errno = 1234;
        ad_errorlog_printf("unreachable\n");
        EXPECT_EQ(errno, 1234);
        through_vprintf("unreachable\n");
        EXPECT_EQ(errno, 1234);
        ad_errorlog_printf_special("unreachable\n");
        EXPECT_EQ(errno, 1234);
    });
    close(ad_errorlog_fd.exchange(socket_not_created));
    stderr_of([] {
        const no_descriptors none;
        errno = 1234;
        ad_errorlog_printf("no socket\n");
        EXPECT_EQ(errno, 1234);
    });
}

TEST_F(AdErrorlog, FormatsWithTheCallersErrno) {
    log_socket daemon(main_path());
    errno = ENOENT;
    ad_errorlog_printf("%m");
    EXPECT_EQ(daemon.text(), "No such file or directory");
}

TEST_F(AdErrorlog, WritesFromSeveralThreadsOverOneSocket) {
    log_socket daemon(main_path());
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([thread] {
            for (int i = 0; i < 50; ++i)
                ad_errorlog_printf("%d.%d", thread, i);
        });
    for (std::thread &thread : threads)
        thread.join();
    std::vector<std::string> texts = daemon.texts();
    std::sort(texts.begin(), texts.end());
    EXPECT_EQ(std::unique(texts.begin(), texts.end()) - texts.begin(), 200);
}

}  // namespace
