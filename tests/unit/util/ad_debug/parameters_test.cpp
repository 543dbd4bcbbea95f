// Setters of level, filters and the system-log switch, and checked allocation.

#include "util/ad_debug/ad_param.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "debug_library.h"
#include "util/ad_debug/ad_errorlog.h"
#include "util/ad_debug/state.h"

// An allocation that cannot be had is what is tested here, not a mistake.
extern "C" const char *__asan_default_options() {
    return "allocator_may_return_null=1";
}
extern "C" const char *__tsan_default_options() {
    return "allocator_may_return_null=1";
}

namespace {

constexpr unsigned int keep = 0xffffffffU;

std::string shown(const std::string &text) {
    const size_t arrow = text.find("-> ");
    return arrow == std::string::npos ? text : text.substr(arrow + 3);
}

class AdSetDebugParameter : public debug_library {
  protected:
    log_socket error_log{main_path()};
    log_socket special_log{special_path()};
    ad_debug_cfg record{1, 0x01010101, 0x02020202, {}};
};

TEST_F(AdSetDebugParameter, StoresLevelAndFilters) {
    ad_set_debug_parameter(0x0a000001, 0x0b000001, 2, &record);
    EXPECT_EQ(record.level, 2);
    EXPECT_EQ(record.client_ip, 0x0a000001U);
    EXPECT_EQ(record.server_ip, 0x0b000001U);
    ad_set_debug_parameter(0, 0, 0, &record);
    EXPECT_EQ(record.level, 0);
    EXPECT_EQ(record.client_ip, 0U);
    EXPECT_EQ(record.server_ip, 0U);
}

TEST_F(AdSetDebugParameter, LowersLevelsAbove3AndLeavesFiltersOfAllOnes) {
    ad_set_debug_parameter(keep, keep, 9, &record);
    EXPECT_EQ(record.level, 3);
    EXPECT_EQ(record.client_ip, 0x01010101U);
    EXPECT_EQ(record.server_ip, 0x02020202U);
    ad_set_debug_parameter(keep, keep, 4, &record);
    EXPECT_EQ(record.level, 3);
}

TEST_F(AdSetDebugParameter, LeavesTheLevelAtNegativeOnes) {
    ad_set_debug_parameter(5, keep, -1, &record);
    EXPECT_EQ(record.level, 1);
    EXPECT_EQ(record.client_ip, 5U);
    record.level = 4;
    ad_set_debug_parameter(keep, 6, INT32_MIN, &record);
    EXPECT_EQ(record.level, 4);
    EXPECT_EQ(record.server_ip, 6U);
    EXPECT_TRUE(special_log.texts().empty());
}

TEST_F(AdSetDebugParameter, SendsTheResetOfTheSpecialLogBeforeLevel4IsLeft) {
    record.level = 4;
    int level_when_sent = 0;
    the_system_calls().send_error = [&](size_t) {
        level_when_sent = record.level;
        return 0;
    };
    ad_set_debug_parameter(keep, keep, 2, &record);
    EXPECT_EQ(level_when_sent, 4);
    EXPECT_EQ(record.level, 2);
    EXPECT_EQ(special_log.texts(), std::vector<std::string>{"reset special log"});

    record.level = 4;
    ad_set_debug_parameter(keep, keep, 4, &record);
    EXPECT_EQ(record.level, 3);
    EXPECT_EQ(special_log.texts(), std::vector<std::string>{"reset special log"});

    ad_set_debug_parameter(keep, keep, 2, &record);
    EXPECT_TRUE(special_log.texts().empty());
    EXPECT_TRUE(error_log.texts().empty());
}

TEST_F(AdSetDebugParameter, SendsNoResetWhileThePathOfTheSpecialLogIsEmpty) {
    set_path(ad_errorlog_sp_addr, "");
    record.level = 4;
    EXPECT_EQ(stderr_of([&] { ad_set_debug_parameter(keep, keep, 2, &record); }), "");
    EXPECT_EQ(record.level, 2);
    EXPECT_TRUE(the_system_calls().sends.empty());
}

TEST_F(AdSetDebugParameter, AbortsWithoutARecordInEveryBuild) {
    EXPECT_DEATH(ad_set_debug_parameter(0, 0, 0, nullptr), "Assertion .cfg_p. failed");
}

TEST_F(AdSetDebugParameter, DirectlyChangesTheRecordInUse) {
    ad_debug_cfg_p = &record;
    ad_debug_set_debug_parameter_directly(7, 8, 3);
    EXPECT_EQ(record.level, 3);
    EXPECT_EQ(record.client_ip, 7U);
    EXPECT_EQ(record.server_ip, 8U);
    EXPECT_TRUE(error_log.texts().empty());
}

TEST_F(AdSetDebugParameter, DirectlyLeavesEverythingForAllOnesAndANegativeLevel) {
    ad_debug_cfg_p = &record;
    ad_debug_syslog_critical_msg_only = 0;
    ad_debug_set_debug_parameter_directly(keep, keep, -1);
    ad_debug_set_debug_level_directly(-1);
    EXPECT_EQ(record.level, 1);
    EXPECT_EQ(record.client_ip, 0x01010101U);
    EXPECT_EQ(record.server_ip, 0x02020202U);
    EXPECT_EQ(ad_debug_syslog_critical_msg_only, 0);
    EXPECT_TRUE(error_log.texts().empty());
}

TEST_F(AdSetDebugParameter, DirectlyIsReportedAndDroppedWithoutARecord) {
    const scratch_variable level("DEBUG_LEVEL", "2");
    ad_debug_set_debug_parameter_directly(7, 8, 3);
    EXPECT_EQ(ad_debug_cfg_p, &ad_debug_cfg_no_share_mem);
    EXPECT_EQ(ad_debug_cfg_p->level, 2);
    EXPECT_EQ(ad_debug_cfg_p->client_ip, 0U);
    const std::string text = error_log.text();
    EXPECT_EQ(text.find("(" + std::to_string(getpid()) + ")ERRO:parameters.cpp:"), 0U) << text;
    EXPECT_EQ(shown(text), "ad_init_debug_lib() not called, no level change\n");
    EXPECT_TRUE(fake_syslog_calls().empty());
}

TEST_F(AdSetDebugParameter, LevelDirectlyIsReportedAndDroppedWithoutARecord) {
    ad_debug_syslog_critical_msg_only = 0;
    ad_debug_set_debug_level_directly(3);
    EXPECT_EQ(ad_debug_cfg_p->level, 1);
    EXPECT_EQ(shown(error_log.text()), "ad_init_debug_lib() not called, no level change\n");
    EXPECT_EQ(error_log.text(), "(nothing)");
    EXPECT_EQ(ad_debug_syslog_critical_msg_only, 0);
    EXPECT_EQ(fake_syslog_calls().size(), 1U) << "an error at level 1 goes to the system log too";
}

TEST_F(AdSetDebugParameter, LevelDirectlyLeavesTheSwitchAt0AndTurnsItOnAbove) {
    ad_debug_cfg_p = &record;
    ad_debug_syslog_critical_msg_only = 0;
    ad_debug_set_debug_level_directly(0);
    EXPECT_EQ(record.level, 0);
    EXPECT_EQ(ad_debug_syslog_critical_msg_only, 0);
    EXPECT_TRUE(error_log.texts().empty());

    int level_when_sent = -1;
    the_system_calls().send_error = [&](size_t) {
        level_when_sent = record.level;
        return 0;
    };
    ad_debug_set_debug_level_directly(2);
    EXPECT_EQ(level_when_sent, 0) << "the messages come before the level is stored";
    EXPECT_EQ(record.level, 2);
    EXPECT_EQ(record.client_ip, 0x01010101U);
    EXPECT_EQ(record.server_ip, 0x02020202U);
    EXPECT_EQ(ad_debug_syslog_critical_msg_only, 1);
    EXPECT_EQ(error_log.texts().size(), 2U);
}

TEST_F(AdSetDebugParameter, TurningTheSwitchOnIsLoggedInTwoMessagesButNotToTheSystemLog) {
    use_level(3);
    ad_debug_syslog_critical_msg_only = 0;
    ad_debug_set_syslog_critical_msg_only(5);
    EXPECT_EQ(ad_debug_syslog_critical_msg_only, 5);
    std::vector<std::string> texts = error_log.texts();
    ASSERT_EQ(texts.size(), 2U);
    EXPECT_EQ(texts[0].find("(" + std::to_string(getpid()) + ")ERRO:parameters.cpp:"), 0U);
    EXPECT_EQ(shown(texts[0]), "ad_debug_syslog_critical_msg_only set to true\n");
    EXPECT_EQ(shown(texts[1]), "non-critical message won't be written to syslog in any case\n");
    EXPECT_TRUE(fake_syslog_calls().empty());

    ad_debug_set_syslog_critical_msg_only(0);
    EXPECT_EQ(ad_debug_syslog_critical_msg_only, 0);
    EXPECT_TRUE(error_log.texts().empty());
}

TEST_F(AdSetDebugParameter, TurningTheSwitchOnReadsTheEnvironmentWithoutARecord) {
    ad_debug_set_syslog_critical_msg_only(1);
    EXPECT_EQ(ad_debug_cfg_p, &ad_debug_cfg_no_share_mem);
    EXPECT_EQ(error_log.texts().size(), 2U);
}

class MyXmalloc : public AdSetDebugParameter {
  protected:
    const volatile size_t too_much = SIZE_MAX;  // volatile: the compiler would refuse it

    // Fails an allocation in a child and returns nothing.  What the child gave the system log is on its standard error.
    static void fail(size_t size) {
        the_system_calls().after_send = nullptr;  // the parent reads what the child sends
        atexit([] {
            for (const fake_syslog_call &call : fake_syslog_calls())
                fprintf(stderr, "[%d %u %d %u %s]", call.priority, call.module_id, call.zero, call.message_number,
                        call.text.c_str());
        });
        my_xmalloc(size, "host/main.c", 12);
    }
};

TEST_F(MyXmalloc, ReturnsMemory) {
    auto *memory = static_cast<char *>(my_xmalloc(100, "a.c", 1));
    ASSERT_NE(memory, nullptr);
    memset(memory, 1, 100);
    free(memory);
    free(my_xmalloc(0, "a.c", 1));
    EXPECT_TRUE(error_log.texts().empty());
    EXPECT_TRUE(fake_syslog_calls().empty());
}

TEST_F(MyXmalloc, EndsTheProcessWith126AndOneCriticalSystemLogCall) {
    use_level(1);
    ad_debug_module_id = 33;
    ad_debug_to_syslogd = 0;     // neither of these
    ad_debug_in_sighandler = 1;  // holds the critical copy back
    EXPECT_EXIT(fail(too_much), testing::ExitedWithCode(126), "\\[2 33 0 512035 Malloc fail at host/main.c:12\n\\]$");
    EXPECT_EQ(error_log.texts().size(), 1U);
}

TEST_F(MyXmalloc, CallsTheSystemLogOnceInAllCases) {
    use_level(4);
    EXPECT_EXIT(fail(too_much), testing::ExitedWithCode(126), "^[^[]*\\[2 0 0 512035 Malloc fail at host/main.c:12\n\\]$");
}

TEST_F(MyXmalloc, TellsErrorLogAndSpecialLogUnderItsOwnFileName) {
    use_level(4);
    strcpy(ad_debug_process_name, "host");
    EXPECT_EXIT(fail(too_much), testing::ExitedWithCode(126), "");
    const std::string text = error_log.text();
    EXPECT_EQ(text.find("host("), 0U) << text;
    EXPECT_NE(text.find(")CRTC:parameters.cpp:"), std::string::npos) << text;
    EXPECT_EQ(shown(text), "Malloc fail at host/main.c:12\n");
    const std::string special = special_log.text();
    EXPECT_EQ("host" + special, text);
}

TEST_F(MyXmalloc, TellsTheSystemLogAloneWhenTheFiltersHoldTheRestBack) {
    constexpr char critical_call[] = "\\[2 0 0 512035 Malloc fail at host/main.c:12\n\\]$";
    use_level(1);
    ad_debug_cfg_p->client_ip = 1;
    ad_current_client_ip = 2;
    EXPECT_EXIT(fail(too_much), testing::ExitedWithCode(126), critical_call);
    EXPECT_TRUE(error_log.texts().empty());

    ad_debug_cfg_p->client_ip = 0;
    ad_debug_cfg_p->server_ip = 1;
    ad_current_server_ip = 2;
    EXPECT_EXIT(fail(too_much), testing::ExitedWithCode(126), critical_call);
    EXPECT_TRUE(error_log.texts().empty());
}

TEST_F(MyXmalloc, ReadsTheEnvironmentWithoutARecord) {
    EXPECT_EXIT(fail(too_much), testing::ExitedWithCode(126), "512035");
    EXPECT_EQ(shown(error_log.text()), "Malloc fail at host/main.c:12\n");
}

}  // namespace
