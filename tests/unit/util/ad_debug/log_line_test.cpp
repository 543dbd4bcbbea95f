// The logging sequence: what its levels, flags and filters let through, where it goes, and the prefix.

#include "util/ad_debug/ad_errorlog.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <arpa/inet.h>
#include <sys/wait.h>
#include <unistd.h>

#include "c_host.h"
#include "debug_library.h"
#include "util/ad_debug/state.h"

namespace {

class AdDebugPrint : public debug_library {
  protected:
    log_socket error_log{main_path()};
    log_socket special_log{special_path()};

    // "error special system" for those of the three that got a message since the last question.
    std::string outputs() {
        std::string names;
        if (!error_log.texts().empty()) names += "error ";
        if (!special_log.texts().empty()) names += "special ";
        if (!fake_syslog_calls().empty()) names += "system ";
        fake_syslog_calls().clear();
        return names.empty() ? "nowhere" : names.substr(0, names.size() - 1);
    }
};

std::string shown(const std::string &text) {
    return text.substr(text.find("-> ") + 3);
}

TEST_F(AdDebugPrint, PrefixesTheErrorLogWithProcessNamePidTagFileAndLine) {
    use_level(1);
    strcpy(ad_debug_process_name, "cli");
    ad_debug_print_impl(1, "ERRO", "/build/api/frame/pool.cpp", 77, "pool %d\n", 3);
    EXPECT_EQ(error_log.text(), "cli" + origin("ERRO", "pool.cpp", 77) + "pool 3\n");
}

TEST_F(AdDebugPrint, GivesTheOtherOutputsThePrefixWithoutTheName) {
    use_level(4);
    strcpy(ad_debug_process_name, "cli");
    ad_debug_module_id = 615;
    ad_debug_print_impl(0, "CRTC", "pool.cpp", 7, "pool %d %%\n", 3);
    EXPECT_EQ(error_log.texts(), std::vector{"cli" + origin("CRTC", "pool.cpp", 7) + "pool 3 %\n"});
    EXPECT_EQ(special_log.texts(), std::vector{origin("CRTC", "pool.cpp", 7) + "pool 3 %\n"});
    ASSERT_EQ(fake_syslog_calls().size(), 1U);
    EXPECT_EQ(fake_syslog_calls()[0].priority, 7);
    EXPECT_EQ(fake_syslog_calls()[0].module_id, 615U);
    EXPECT_EQ(fake_syslog_calls()[0].zero, 0);
    EXPECT_EQ(fake_syslog_calls()[0].message_number, 100000U);
    EXPECT_EQ(fake_syslog_calls()[0].text, origin("CRTC", "pool.cpp", 7) + "pool 3 %\n");
}

TEST_F(AdDebugPrint, NamesTheSitesOwnFileAndLine) {
    use_level(1);
    const int line = __LINE__ + 1;
    ad_debug_print(1, "ERRO", "here\n");
    EXPECT_EQ(error_log.text(), origin("ERRO", "log_line_test.cpp", line) + "here\n");
}

TEST_F(AdDebugPrint, TakesAFileNameWithoutSlashWholeAndNothingBehindALastSlash) {
    use_level(1);
    ad_debug_print_impl(1, "ERRO", "plain.c", -1, "x");
    ad_debug_print_impl(1, "ERRO", "ends/", 1, "x");
    EXPECT_EQ(error_log.texts(), (std::vector{origin("ERRO", "plain.c", -1) + "x", origin("ERRO", "", 1) + "x"}));
}

TEST_F(AdDebugPrint, ShowsMissingTextsAsNull) {
    use_level(1);
    ad_debug_print_impl(1, nullptr, nullptr, 1, "x");
    EXPECT_EQ(error_log.text(), origin("(null)", "(null)", 1) + "x");
}

TEST_F(AdDebugPrint, SendsAnEmptyTextBecauseOfItsPrefix) {
    use_level(1);
    ad_debug_print_impl(1, "ERRO", "a.c", 1, "%s", "");
    EXPECT_EQ(error_log.text(), origin("ERRO", "a.c", 1));
}

TEST_F(AdDebugPrint, WorksInHostsWrittenInC) {
    use_level(3);
    c_host_prints(3, "port");
    c_host_prints_without_arguments(2);
    c_host_dumps(1);
    EXPECT_EQ(error_log.texts(),
              (std::vector{origin("INFO", "c_host.c", 101) + "port is 5\n", origin("INFO", "c_host.c", 102) + "no arguments\n",
                           origin("PKTS", "c_host.c", 103) + "DUMP length = 0x2 (from C)\n",
                           "(" + std::to_string(getpid()) + ")PKTS: 0x000: 0x80,0x01\n"}));
}

TEST_F(AdDebugPrint, DoesNotEvaluateArgumentsThatItsLevelTurnsOff) {
    use_level(2);
    EXPECT_EQ(c_host_counted(3), 0);
    EXPECT_EQ(c_host_counted(2), 2);
}

struct level_row {
    int level, configured, critical_only, in_sighandler, to_syslogd;
    const char *outputs;
};

constexpr level_row level_rows[] = {
    {0, 0, 0, 0, 1, "error system"},  // critical: always, everywhere
    {0, 0, 1, 0, 1, "error system"},  // also with critical messages only
    {0, 3, 1, 0, 1, "error system"},
    {0, 0, 0, 1, 1, "error"},          // not from a signal handler
    {0, 0, 0, 0, 0, "error"},          // not when the copy is off
    {-3, 0, 1, 0, 1, "error system"},  // negative levels count as critical
    {1, 0, 0, 0, 1, "error"},          // an error: always, but
    {1, 1, 0, 0, 1, "error system"},   // to the system log from level 1 on,
    {1, 3, 0, 0, 1, "error system"},
    {1, 1, 1, 0, 1, "error"},   // not with critical messages only,
    {1, 1, 0, 1, 1, "error"},   // not from a signal handler,
    {1, 1, 0, 0, 0, "error"},   // not when the copy is off
    {1, -1, 0, 0, 1, "error"},  // a negative configured level is read as it stands
    {2, -1, 0, 0, 1, "nowhere"},
    {2, 1, 0, 0, 1, "nowhere"},  // details: from their level on, never the system log
    {2, 2, 0, 0, 1, "error"},
    {3, 2, 0, 0, 1, "nowhere"},
    {3, 3, 0, 0, 1, "error"},
    {4, 3, 0, 0, 1, "nowhere"},
    {4, 4, 0, 0, 1, "special"},  // special: at level 4, the special log alone
    {0, 4, 1, 0, 1, "error special system"},
    {1, 4, 0, 0, 1, "error special system"},
    {1, 4, 1, 0, 1, "error special"},
    {3, 4, 0, 0, 1, "error special"},
    {5, 4, 0, 0, 1, "nowhere"},
    {4, 5, 0, 0, 1, "nowhere"},  // above 4 the special log is off again
    {1, 5, 0, 0, 1, "error system"},
};

TEST_F(AdDebugPrint, GoesWhereTheTableOfLevelsSays) {
    for (const level_row &row : level_rows) {
        SCOPED_TRACE("row " + std::to_string(&row - level_rows));
        use_level(row.configured);
        ad_debug_syslog_critical_msg_only = row.critical_only;
        ad_debug_in_sighandler = row.in_sighandler;
        ad_debug_to_syslogd = row.to_syslogd;
        ad_debug_print(row.level, "TEST", "m\n");
        EXPECT_EQ(outputs(), row.outputs);
        ad_debug_print_impl(row.level, "TEST", "a.c", 1, "m\n");
        EXPECT_EQ(outputs(), row.outputs) << "without the macro's own test";
    }
}

TEST_F(AdDebugPrint, LeavesTheSpecialLogOutWhileItsPathIsEmpty) {
    set_path(ad_errorlog_sp_addr, "");
    use_level(4);
    EXPECT_EQ(stderr_of([] { ad_debug_print(1, "TEST", "m\n"); }), "");
    EXPECT_EQ(outputs(), "error");
    EXPECT_EQ(stderr_of([] { ad_debug_print(4, "TEST", "m\n"); }), "");
    EXPECT_EQ(outputs(), "nowhere");
    set_path(ad_errorlog_sp_addr, special_path());
    ad_debug_print(4, "TEST", "m\n");
    EXPECT_EQ(outputs(), "special");
}

struct filter_row {
    const char *configured_client, *handled_client, *configured_server, *handled_server;
    bool logged;
};

constexpr filter_row filter_rows[] = {
    {"0.0.0.0", "10.0.0.2", "0.0.0.0", "10.0.0.3", true},    {"10.0.0.1", "10.0.0.1", "0.0.0.0", "10.0.0.3", true},
    {"10.0.0.1", "10.0.0.2", "0.0.0.0", "0.0.0.0", false},   {"10.0.0.1", "0.0.0.0", "0.0.0.0", "0.0.0.0", true},
    {"0.0.0.0", "0.0.0.0", "10.0.0.1", "10.0.0.2", false},   {"0.0.0.0", "0.0.0.0", "10.0.0.1", "0.0.0.0", true},
    {"10.0.0.1", "10.0.0.1", "10.0.0.9", "10.0.0.2", false}, {"10.0.0.1", "10.0.0.1", "10.0.0.2", "10.0.0.2", true},
};

TEST_F(AdDebugPrint, LetsThroughWhatTheTableOfFiltersSays) {
    for (const filter_row &row : filter_rows) {
        SCOPED_TRACE("row " + std::to_string(&row - filter_rows));
        for (int level = 0; level <= 4; ++level) {
            use_level(4);
            ad_debug_cfg_p->client_ip = inet_addr(row.configured_client);
            ad_debug_cfg_p->server_ip = inet_addr(row.configured_server);
            ad_current_client_ip = inet_addr(row.handled_client);
            ad_current_server_ip = inet_addr(row.handled_server);
            ad_debug_print(level, "TEST", "m\n");
            EXPECT_EQ(outputs() != "nowhere", row.logged) << "level " << level;
        }
    }
}

TEST_F(AdDebugPrint, ReadsTheEnvironmentFirstWhenNothingIsConfigured) {
    const scratch_variable level("DEBUG_LEVEL", "2");
    ad_debug_print(2, "INFO", "shown\n");
    EXPECT_EQ(ad_debug_cfg_p, &ad_debug_cfg_no_share_mem);
    EXPECT_EQ(shown(error_log.text()), "shown\n");
    ad_debug_print(3, "INFO", "not shown\n");
    EXPECT_EQ(error_log.text(), "(nothing)");
}

TEST_F(AdDebugPrint, GivesAChildItsOwnProcessId) {
    use_level(1);
    ad_debug_print_impl(1, "ERRO", "a.c", 1, "parent\n");
    const pid_t child = fork();
    if (child == 0) {
        the_system_calls().after_send = nullptr;  // the parent reads
        ad_debug_print_impl(1, "ERRO", "a.c", 1, "child\n");
        ad_debug_print_impl(1, "ERRO", "a.c", 1, "child\n");
        _exit(0);
    }
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    const std::string of_child = "(" + std::to_string(child) + ")ERRO:a.c:1-> child\n";
    EXPECT_EQ(error_log.texts(), (std::vector{origin("ERRO", "a.c", 1) + "parent\n", of_child, of_child}));
}

TEST_F(AdDebugPrint, CutsBothLogsAt4086CharactersAndTheSystemLogNowhere) {
    use_level(4);
    strcpy(ad_debug_process_name, "name");
    const std::string prefix = origin("CRTC", "a.c", 1);
    std::string text;
    for (int i = 0; text.size() < 5000; ++i)
        text += std::to_string(i) + ",";
    ad_debug_print_impl(0, "CRTC", "a.c", 1, "%s", text.c_str());
    EXPECT_EQ(error_log.text(), ("name" + prefix + text).substr(0, 4086));
    EXPECT_EQ(special_log.text(), (prefix + text).substr(0, 4086));
    ASSERT_EQ(fake_syslog_calls().size(), 1U);
    EXPECT_EQ(fake_syslog_calls()[0].text, prefix + text);
}

TEST_F(AdDebugPrint, CutsAPrefixThatIsTooLong) {
    use_level(4);
    memset(ad_debug_process_name, 'n', sizeof ad_debug_process_name);  // the host left no end
    const std::string tag(5000, 't');
    ad_debug_print_impl(0, tag.c_str(), "a.c", 1, "text\n");
    const std::string line = origin(tag, "a.c", 1);
    EXPECT_EQ(error_log.text(), (std::string(255, 'n') + line).substr(0, 4086));
    EXPECT_EQ(special_log.text(), line.substr(0, 4086));
}

TEST_F(AdDebugPrint, EndsTheLineAtAZeroByteInTheText) {
    use_level(1);
    ad_debug_print_impl(1, "ERRO", "a.c", 1, "ab%ccd", 0);
    EXPECT_EQ(error_log.text(), origin("ERRO", "a.c", 1) + "ab");
}

TEST_F(AdDebugPrint, DropsWhatCannotBeFormatted) {
    use_level(4);
    const wchar_t no_character[] = {static_cast<wchar_t>(0x7fffffff), 0};
    ad_debug_print_impl(0, "CRTC", "a.c", 1, "x%ls", no_character);
    EXPECT_EQ(outputs(), "nowhere");
}

TEST_F(AdDebugPrint, LeavesErrnoAsItWasAndFormatsWithIt) {
    const scratch_variable level("DEBUG_LEVEL", "99999999999999999999");
    errno = ENOENT;
    ad_debug_print(0, "CRTC", "%m\n");
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(shown(error_log.text()), "No such file or directory\n");
    EXPECT_EQ(shown(fake_syslog_calls().at(0).text), "No such file or directory\n");
}

// A process of its own: the page of its id is made by its first message.
TEST_F(AdDebugPrint, FormatsTheFirstMessageOfAProcessWithTheCallersErrno) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto first_message = [this] {
        the_system_calls().madvise_error = EINVAL;
        use_level(1);
        errno = ENOENT;
        ad_debug_print(1, "ERRO", "%m\n");
        fputs(error_log.text().c_str(), stderr);
        exit(0);
    };
    EXPECT_EXIT(first_message(), testing::ExitedWithCode(0), "-> No such file or directory\n$");
}

}  // namespace
