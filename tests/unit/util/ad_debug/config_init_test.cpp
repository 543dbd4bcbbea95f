// Set-up: the sockets' paths, their records, what is applied to them.

#include "util/ad_debug/ad_debug.h"

#include <csignal>
#include <cstdlib>

#include <arpa/inet.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include "debug_library.h"
#include "util/ad_debug/ad_errorlog.h"
#include "util/ad_debug/state.h"

namespace {

class AdInitDebugLib : public debug_library {
  protected:
    AdInitDebugLib() {
        use_private_ipc();
        the_system_calls().user = 1234;
    }
    static int segment(const std::string &path) { return shmget(ftok(path.c_str(), 100), 0, 0); }
    int init() { return ad_init_debug_lib(name.c_str()); }
    bool record_is_of(const std::string &path) {
        ad_debug_cfg *record = nullptr;
        if (ad_get_ad_debug_cfg_p_no_create(path.c_str(), &record) != 0) return false;
        ++record->reserved[0];
        const bool same = ad_debug_cfg_p->reserved[0] == record->reserved[0];
        ad_return_ad_debug_cfg_p(record);
        return same;
    }

    const std::string name = directory / "host";
    const std::string of_user = name + ".1234";
    const std::string of_user_0 = name + ".0";
    const std::string special = directory / "sp";
    const std::string special_of_user = special + ".1234";
    const std::string special_of_user_0 = special + ".0";
};

TEST_F(AdInitDebugLib, UsesTheUsersSocketAndItsRecord) {
    log_socket daemon(of_user);
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(ad_debug_inited(), 1U);
    EXPECT_EQ(ad_errorlog_addr.sun_path, of_user);
    EXPECT_TRUE(record_is_of(of_user));
    EXPECT_EQ(ad_debug_cfg_p->level, 0) << "nothing is configured: as the segment was made";
    EXPECT_EQ(ad_debug_lib_name, name);
    ad_errorlog_printf("hello");
    EXPECT_EQ(daemon.text(), "hello");
}

TEST_F(AdInitDebugLib, UsesUser0sSocketWhereTheUserHasNone) {
    log_socket daemon(of_user_0);
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(ad_errorlog_addr.sun_path, of_user_0);
    EXPECT_TRUE(record_is_of(of_user_0));
}

TEST_F(AdInitDebugLib, UsesUser0sPathAndThePrivateRecordWhereThereIsNoSocket) {
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(ad_errorlog_addr.sun_path, of_user_0);
    EXPECT_EQ(ad_debug_cfg_p, &ad_debug_cfg_no_share_mem);
}

TEST_F(AdInitDebugLib, LooksAtUser0sSocketWhenTheUsersRecordCannotBeHad) {
    write_file(of_user, "");
    write_file(of_user_0, "");
    ASSERT_GE(shmget(ftok(of_user.c_str(), 100), 4096, IPC_CREAT | 0666), 0);
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(init(), 0); }), "IPCSTAT shows size mismatch: 4096 vs 140\n");
    EXPECT_EQ(ad_errorlog_addr.sun_path, of_user_0);
    EXPECT_TRUE(record_is_of(of_user_0));
}

TEST_F(AdInitDebugLib, AppliesTheFileBesideTheSocketThroughTheSetter) {
    write_file(of_user, "");
    write_file(of_user + ".cfg", "debug_level=9\ndebug_client_ip=10.0.0.1\ndebug_server_ip=10.1.1.1\n");
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(ad_debug_cfg_p->level, 3);
    EXPECT_EQ(ad_debug_cfg_p->client_ip, inet_addr("10.0.0.1"));
    EXPECT_EQ(ad_debug_cfg_p->server_ip, 0U);
}

TEST_F(AdInitDebugLib, LeavesTheSharedValuesThatNothingConfigures) {
    write_file(of_user, "");
    write_file(of_user + ".cfg", "debug_level=-1\ndebug_server_ip=10.1.1.1\n");
    ad_debug_cfg *record = nullptr;
    ASSERT_EQ(ad_get_ad_debug_cfg_p(of_user.c_str(), &record), 0);
    record->level = 2;
    record->client_ip = 5;
    record->server_ip = 6;
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(ad_debug_cfg_p->level, 2);
    EXPECT_EQ(ad_debug_cfg_p->client_ip, 5U);
    EXPECT_EQ(ad_debug_cfg_p->server_ip, 6U);
    ad_return_ad_debug_cfg_p(record);
}

TEST_F(AdInitDebugLib, AppliesTheEnvironmentWithoutAFile) {
    const scratch_variable level("DEBUG_LEVEL", "7");
    const scratch_variable server("DEBUG_SERVER_IP", "10.0.0.2");
    log_socket daemon(of_user);
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(ad_debug_cfg_p->level, 3);
    EXPECT_EQ(ad_debug_cfg_p->client_ip, 0U);
    EXPECT_EQ(ad_debug_cfg_p->server_ip, inet_addr("10.0.0.2"));
    EXPECT_EQ(ad_debug_syslog_critical_msg_only, 1);
    EXPECT_EQ(daemon.texts().size(), 2U);
}

TEST_F(AdInitDebugLib, ZeroesThePrivateRecordAndTurnsTheSpecialLogOff) {
    ad_debug_cfg_no_share_mem.level = 3;
    ad_debug_cfg_no_share_mem.server_ip = 3;
    ad_debug_cfg_no_share_mem.reserved[127] = 3;
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(ad_debug_cfg_p->level, 0);
    EXPECT_EQ(ad_debug_cfg_p->server_ip, 0U);
    EXPECT_EQ(ad_debug_cfg_p->reserved[127], 0);
    EXPECT_STREQ(ad_errorlog_sp_addr.sun_path, "");
}

TEST_F(AdInitDebugLib, TakesTheNameFromTheEnvironment) {
    const scratch_variable variable("ERROR_LOG_SOCKET", name.c_str());
    EXPECT_EQ(ad_init_debug_lib(nullptr), 0);
    EXPECT_EQ(ad_errorlog_addr.sun_path, of_user_0);
    EXPECT_EQ(ad_debug_lib_name, name);

    ad_debug_cfg_p->level = 3;  // without a name nothing equals the name before: set up anew
    EXPECT_EQ(ad_init_debug_lib(nullptr), 0);
    EXPECT_EQ(ad_debug_cfg_p->level, 0);
}

TEST_F(AdInitDebugLib, PrefersTheGivenNameToTheEnvironment) {
    const scratch_variable variable("ERROR_LOG_SOCKET", (directory / "other").c_str());
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(ad_errorlog_addr.sun_path, of_user_0);
}

TEST_F(AdInitDebugLib, FailsWithoutAnyNameAndSendsNothingThen) {
    ad_debug_cfg_no_share_mem.level = 3;
    EXPECT_EQ(ad_init_debug_lib(nullptr), -1);
    EXPECT_EQ(ad_debug_inited(), 0U);
    EXPECT_EQ(ad_debug_cfg_no_share_mem.level, 0);
    EXPECT_STREQ(ad_errorlog_addr.sun_path, "");
    EXPECT_STREQ(ad_errorlog_sp_addr.sun_path, "");
    EXPECT_STREQ(ad_debug_lib_name, "");
    struct sigaction action {};
    sigaction(SIGUSR1, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_DFL);
    EXPECT_EQ(stderr_of([] { ad_errorlog_printf("here\n"); }), std::string(no_contact_warning) + "here\n");
    EXPECT_TRUE(the_system_calls().sends.empty());
}

TEST_F(AdInitDebugLib, WithoutANameAfterASetUpTurnsBothLogsOffAndKeepsTheRecord) {
    write_file(of_user, "");
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(ad_set_special_log_path(special.c_str()), 0);
    ad_debug_cfg *const record = ad_debug_cfg_p;
    EXPECT_EQ(ad_init_debug_lib(nullptr), -1);
    EXPECT_EQ(ad_debug_cfg_p, record);
    EXPECT_STREQ(ad_errorlog_addr.sun_path, "");
    EXPECT_STREQ(ad_errorlog_sp_addr.sun_path, "");
}

TEST_F(AdInitDebugLib, RemembersTheNameOfTheLastSetUpAfterOneWithoutAName) {
    log_socket daemon(of_user);
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(ad_init_debug_lib(nullptr), -1);
    EXPECT_EQ(ad_debug_lib_name, name);

    EXPECT_EQ(init(), 0);
    EXPECT_STREQ(ad_errorlog_addr.sun_path, "") << "the same name changes nothing";

    const std::string other = directory / "other";
    EXPECT_EQ(ad_init_debug_lib(other.c_str()), 0);
    EXPECT_EQ(init(), 0);
    ad_errorlog_printf("back");
    EXPECT_EQ(daemon.text(), "back");
}

TEST_F(AdInitDebugLib, ChangesNothingForTheSameNameAgain) {
    write_file(of_user, "");
    EXPECT_EQ(init(), 0);
    set_path(ad_errorlog_sp_addr, special_path());
    write_file(of_user + ".cfg", "debug_level=3\n");
    const ad_debug_cfg *before = ad_debug_cfg_p;
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(ad_debug_cfg_p, before);
    EXPECT_EQ(ad_debug_cfg_p->level, 0);
    EXPECT_EQ(ad_errorlog_sp_addr.sun_path, special_path());
}

TEST_F(AdInitDebugLib, SetsUpAnewForAnotherName) {
    const std::string other = directory / "other";
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(ad_init_debug_lib(other.c_str()), 0);
    EXPECT_EQ(ad_errorlog_addr.sun_path, other + ".0");
    EXPECT_EQ(ad_debug_lib_name, other);
}

TEST_F(AdInitDebugLib, TakesAnEmptyFirstNameForTheRememberedOne) {
    EXPECT_EQ(ad_init_debug_lib(""), 0);
    EXPECT_EQ(ad_debug_inited(), 0U);
    EXPECT_EQ(ad_errorlog_addr.sun_path, main_path());
}

TEST_F(AdInitDebugLib, CutsNamesAtPathAndCopy) {
    const std::string long_name(5000, 'n');
    EXPECT_EQ(ad_init_debug_lib(long_name.c_str()), 0);
    EXPECT_EQ(ad_errorlog_addr.sun_path, std::string(107, 'n'));
    EXPECT_EQ(ad_debug_lib_name, std::string(511, 'n'));
    EXPECT_STREQ(ad_errorlog_sp_addr.sun_path, "");

    ad_debug_cfg_p->level = 2;
    EXPECT_EQ(ad_init_debug_lib(long_name.c_str()), 0);
    EXPECT_EQ(ad_debug_cfg_p->level, 2) << "the same name again";
}

TEST_F(AdInitDebugLib, LeavesTheSegmentToOutliveTheProcess) {
    write_file(of_user, "");
    EXPECT_EXIT((init(), ad_debug_cfg_p->level = 2, exit(0)), testing::ExitedWithCode(0), "");
    the_system_calls().segments_made.push_back(segment(of_user));
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(ad_debug_cfg_p->level, 2);
}

// -- the special log

TEST_F(AdInitDebugLib, SpecialLogUsesTheUsersSpecialSocketAndItsRecord) {
    write_file(of_user, "");
    log_socket daemon(special_of_user);
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(ad_set_special_log_path(special.c_str()), 0);
    EXPECT_EQ(ad_errorlog_sp_addr.sun_path, special_of_user);
    EXPECT_EQ(ad_errorlog_addr.sun_path, of_user);
    EXPECT_TRUE(record_is_of(special_of_user));
    shmid_ds facts{};
    ASSERT_EQ(shmctl(segment(of_user), IPC_STAT, &facts), 0);
    EXPECT_EQ(facts.shm_nattch, 1U) << "the earlier record stays attached";
    ad_errorlog_printf_special("s");
    EXPECT_EQ(daemon.text(), "s");
}

TEST_F(AdInitDebugLib, SpecialLogFallsBackToUser0sSocket) {
    write_file(special_of_user_0, "");
    EXPECT_EQ(ad_set_special_log_path(special.c_str()), 0);
    EXPECT_EQ(ad_errorlog_sp_addr.sun_path, special_of_user_0);
    EXPECT_TRUE(record_is_of(special_of_user_0));
}

TEST_F(AdInitDebugLib, SpecialLogUsesThePrivateRecordWhereThereIsNoSocket) {
    EXPECT_EQ(ad_set_special_log_path(special.c_str()), 0);
    EXPECT_EQ(ad_errorlog_sp_addr.sun_path, special_of_user_0);
    EXPECT_EQ(ad_debug_cfg_p, &ad_debug_cfg_no_share_mem);
}

TEST_F(AdInitDebugLib, SpecialLogIgnoresNoNameAndCutsLongOnes) {
    EXPECT_EQ(ad_set_special_log_path(nullptr), 0);
    EXPECT_EQ(ad_errorlog_sp_addr.sun_path, special_path());
    EXPECT_EQ(ad_debug_cfg_p, nullptr);
    EXPECT_EQ(ad_set_special_log_path(std::string(500, 's').c_str()), 0);
    EXPECT_EQ(ad_errorlog_sp_addr.sun_path, std::string(107, 's'));
}

}  // namespace
