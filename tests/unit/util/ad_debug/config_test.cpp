// The debug configuration: its record, the ".cfg" file, the environment, set-up, SIGUSR1.

#include "util/ad_debug/ad_debug.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include <arpa/inet.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/stat.h>

#include "debug_library.h"
#include "tests/support/bytes.h"
#include "util/ad_debug/ad_errorlog.h"
#include "util/ad_debug/ad_param.h"
#include "util/ad_debug/state.h"

namespace {

constexpr uint32_t all_ones = 0xffffffffU;

TEST(AdDebugCfg, Has140BytesWithItsWordsAt0And4And8) {
    ad_debug_cfg record{};
    record.level = 0x11121314;
    record.client_ip = 0x21222324;
    record.server_ip = 0x31323334;
    record.reserved[0] = 0x41;
    record.reserved[127] = 0x42;
    const auto *bytes = reinterpret_cast<const uint8_t *>(&record);
    ASSERT_EQ(sizeof record, 140U);
    EXPECT_BYTES(std::span(bytes, 140), 0, "14 13 12 11  24 23 22 21  34 33 32 31  41");
    EXPECT_BYTES(std::span(bytes, 140), 139, "42");
}

// -- the private record from the environment

class AdReadDebugCfgDirectReadFromEnv : public debug_library {
  protected:
    static int level_for(const char *text) {
        const scratch_variable level("DEBUG_LEVEL", text);
        ad_read_debug_cfg_direct_read_from_env();
        return ad_debug_cfg_p->level;
    }
};

TEST_F(AdReadDebugCfgDirectReadFromEnv, GivesLevel1AndNoFiltersForAnEmptyEnvironment) {
    EXPECT_EQ(ad_debug_inited(), 0U);
    ad_read_debug_cfg_direct_read_from_env();
    EXPECT_EQ(ad_debug_inited(), 1U);
    EXPECT_EQ(ad_debug_cfg_p, &ad_debug_cfg_no_share_mem);
    EXPECT_EQ(ad_debug_cfg_p->level, 1);
    EXPECT_EQ(ad_debug_cfg_p->client_ip, 0U);
    EXPECT_EQ(ad_debug_cfg_p->server_ip, 0U);
}

TEST_F(AdReadDebugCfgDirectReadFromEnv, TakesLevels0To3AndMakes1OfOthers) {
    EXPECT_EQ(level_for("0"), 0);
    EXPECT_EQ(level_for("1"), 1);
    EXPECT_EQ(level_for("2"), 2);
    EXPECT_EQ(level_for("3"), 3);
    EXPECT_EQ(level_for("4"), 1);
    EXPECT_EQ(level_for("7"), 1);
    EXPECT_EQ(level_for("-5"), 1);
    EXPECT_EQ(level_for(" 3x"), 3);
    EXPECT_EQ(level_for("none"), 0);
    EXPECT_EQ(level_for(""), 0);
    EXPECT_EQ(level_for("4294967298"), 1) << "2 would be a number that wrapped";
    EXPECT_EQ(level_for("18446744073709551618"), 1);
}

TEST_F(AdReadDebugCfgDirectReadFromEnv, TakesTheFiltersInNetworkByteOrder) {
    const scratch_variable client("DEBUG_CLIENT_IP", "10.1.2.3");
    const scratch_variable server("DEBUG_SERVER_IP", "10.4.5.6");
    ad_read_debug_cfg_direct_read_from_env();
    EXPECT_BYTES(std::span(reinterpret_cast<const uint8_t *>(ad_debug_cfg_p), 140), 4, "0a 01 02 03  0a 04 05 06");
}

TEST_F(AdReadDebugCfgDirectReadFromEnv, KeepsTheServerFilterAndClearsTheClientFilterWhereNothingIsSet) {
    ad_debug_cfg_no_share_mem.client_ip = 5;
    ad_debug_cfg_no_share_mem.server_ip = 6;
    ad_read_debug_cfg_direct_read_from_env();
    EXPECT_EQ(ad_debug_cfg_p->client_ip, 0U);
    EXPECT_EQ(ad_debug_cfg_p->server_ip, 6U);
}

TEST_F(AdReadDebugCfgDirectReadFromEnv, TakesMalformedAddressesForNoFilter) {
    const scratch_variable client("DEBUG_CLIENT_IP", "10.1.2.300");
    const scratch_variable server("DEBUG_SERVER_IP", "255.255.255.255");
    ad_debug_cfg_no_share_mem.server_ip = 6;
    ad_read_debug_cfg_direct_read_from_env();
    EXPECT_EQ(ad_debug_cfg_p->client_ip, 0U);
    EXPECT_EQ(ad_debug_cfg_p->server_ip, 0U);
}

// -- the file, and the environment in its place

class AdReadDebugCfg : public debug_library {
  protected:
    AdReadDebugCfg() { use_level(0); }

    void read(const std::string &path) { ad_read_debug_cfg(path.c_str(), &level, &client, &server); }
    void read_file(const std::string &content) {
        write_file(main_path() + ".cfg", content);
        read(main_path());
    }

    log_socket error_log{main_path()};
    int32_t level = 99;
    uint32_t client = 99;
    uint32_t server = 99;
};

TEST_F(AdReadDebugCfg, SaysNoChangeForAFileWithoutKeys) {
    const scratch_variable variable("DEBUG_LEVEL", "2");
    read_file("nothing here\n");
    EXPECT_EQ(level, -1);
    EXPECT_EQ(client, all_ones);
    EXPECT_EQ(server, all_ones);
}

TEST_F(AdReadDebugCfg, TakesLevelAndClientFilterFromTheFile) {
    read_file("# log\ndebug_client_ip=10.0.0.7\ndebug_level=3\n");
    EXPECT_EQ(level, 3);
    EXPECT_EQ(client, inet_addr("10.0.0.7"));
    EXPECT_EQ(server, all_ones);
}

TEST_F(AdReadDebugCfg, NeverTakesTheServerFilterFromTheFile) {
    read_file("debug_level=3\ndebug_server_ip=10.1.1.1\n");
    EXPECT_EQ(level, 3);
    EXPECT_EQ(server, all_ones);
}

TEST_F(AdReadDebugCfg, TakesNumbersFromTheFileUnclampedButSaturated) {
    read_file("debug_level=77");
    EXPECT_EQ(level, 77);
    read_file("debug_level=-8\n");
    EXPECT_EQ(level, -8);
    read_file("debug_level=99999999999999999999\n");
    EXPECT_EQ(level, INT_MAX);
    read_file("debug_level=-99999999999\n");
    EXPECT_EQ(level, INT_MIN);
    read_file("debug_level=high\n");
    EXPECT_EQ(level, 0);
    read_file("debug_client_ip=nonsense\n");
    EXPECT_EQ(client, all_ones);
}

TEST_F(AdReadDebugCfg, TurnsTheCriticalOnlySwitchOffAndAFileDoesNotTurnItOn) {
    ad_debug_syslog_critical_msg_only = 1;
    read_file("debug_level=3\n");
    EXPECT_EQ(ad_debug_syslog_critical_msg_only, 0);
    EXPECT_TRUE(error_log.texts().empty());
}

TEST_F(AdReadDebugCfg, SearchesWhatTheFileNameLeftBehindAShortFile) {
    const std::string path = directory / "debug_level=2";
    write_file(path + ".cfg", "twenty bytes of text");
    read(path);
    EXPECT_EQ(level, 2);

    const std::string number = directory / "3";  // the key ends where "3.cfg" is left
    write_file(number + ".cfg", std::string(number.size() - 1 - 12, ' ') + "debug_level=");
    read(number);
    EXPECT_EQ(level, 3);
}

TEST_F(AdReadDebugCfg, SearchesUpToTheFirstZeroByte) {
    read_file(std::string("x\0debug_level=3", 15));
    EXPECT_EQ(level, -1);
}

TEST_F(AdReadDebugCfg, TakesTheFirst1023BytesOfAFile) {
    read_file(std::string(1023 - 13, ' ') + "debug_level=23");
    EXPECT_EQ(level, 2) << "byte 1023 is replaced by the end";
    read_file(std::string(1024, ' ') + "debug_level=3");
    EXPECT_EQ(level, -1);
}

TEST_F(AdReadDebugCfg, TakesNothingFromAnEmptyFileADirectoryAndAPipe) {
    const scratch_variable variable("DEBUG_LEVEL", "2");
    read_file("");
    EXPECT_EQ(level, -1);
    EXPECT_EQ(client, all_ones);
    EXPECT_EQ(server, all_ones);
    ASSERT_EQ(mkdir((directory / "folder.cfg").c_str(), 0700), 0);
    read(directory / "folder");
    EXPECT_EQ(level, -1);
    ASSERT_EQ(mkfifo((directory / "pipe.cfg").c_str(), 0600), 0);
    read(directory / "pipe");
    EXPECT_EQ(level, -1);
}

TEST_F(AdReadDebugCfg, TakesTheEnvironmentWithoutAFile) {
    const scratch_variable a("DEBUG_LEVEL", "7");
    const scratch_variable b("DEBUG_CLIENT_IP", "10.0.0.1");
    const scratch_variable c("DEBUG_SERVER_IP", "10.0.0.2");
    read(main_path());
    EXPECT_EQ(level, 7) << "not clamped here";
    EXPECT_EQ(client, inet_addr("10.0.0.1"));
    EXPECT_EQ(server, inet_addr("10.0.0.2"));
    EXPECT_EQ(ad_debug_syslog_critical_msg_only, 1);
    EXPECT_EQ(error_log.texts().size(), 2U);
}

TEST_F(AdReadDebugCfg, LeavesTheSwitchOffForALevelOf0AndLess) {
    for (const char *text : {"0", "-4"}) {
        const scratch_variable variable("DEBUG_LEVEL", text);
        read(main_path());
        EXPECT_EQ(level, atoi(text));
        EXPECT_EQ(ad_debug_syslog_critical_msg_only, 0);
    }
    EXPECT_TRUE(error_log.texts().empty());
}

TEST_F(AdReadDebugCfg, SaysNoChangeForAnEmptyEnvironment) {
    read(main_path());
    EXPECT_EQ(level, -1);
    EXPECT_EQ(client, all_ones);
    EXPECT_EQ(server, all_ones);
}

TEST_F(AdReadDebugCfg, CutsAPathThatIsTooLong) {
    const scratch_variable variable("DEBUG_LEVEL", "0");
    read(std::string(5000, 'p'));
    EXPECT_EQ(level, 0);
}

TEST_F(AdReadDebugCfg, AbortsOnNullPointersInEveryBuild) {
    const char *const message = "Assertion .path && level && cip && sip. failed";
    EXPECT_DEATH(ad_read_debug_cfg(nullptr, &level, &client, &server), message);
    EXPECT_DEATH(ad_read_debug_cfg("x", nullptr, &client, &server), message);
    EXPECT_DEATH(ad_read_debug_cfg("x", &level, nullptr, &server), message);
    EXPECT_DEATH(ad_read_debug_cfg("x", &level, &client, nullptr), message);
}

// -- the shared record

class AdSharedRecord : public debug_library {
  protected:
    AdSharedRecord() {
        use_private_ipc();
        write_file(path, "");
    }
    ~AdSharedRecord() override {
        the_system_calls() = {};
        if (const int id = segment(); id >= 0) shmctl(id, IPC_RMID, nullptr);
    }

    int segment() const { return shmget(ftok(path.c_str(), 100), 0, 0); }
    shmid_ds facts() const {
        shmid_ds facts{};
        EXPECT_EQ(shmctl(segment(), IPC_STAT, &facts), 0);
        return facts;
    }

    const std::string path = directory / "record";
    ad_debug_cfg *record = nullptr;
};

TEST_F(AdSharedRecord, IsMadeZeroedWith140BytesForEveryUser) {
    ASSERT_EQ(ad_get_ad_debug_cfg_p(path.c_str(), &record), 0);
    ASSERT_NE(record, &ad_debug_cfg_no_share_mem);
    EXPECT_EQ(facts().shm_segsz, 140U);
    EXPECT_EQ(facts().shm_perm.mode & 0777, 0666);
    const std::vector<uint8_t> zero(140);
    EXPECT_EQ(memcmp(record, zero.data(), 140), 0);
    EXPECT_EQ(ad_return_ad_debug_cfg_p(record), 0);
    EXPECT_EQ(facts().shm_nattch, 0U);
}

TEST_F(AdSharedRecord, IsSharedAndKeptWhenItExists) {
    ad_debug_cfg *other = nullptr;
    ASSERT_EQ(ad_get_ad_debug_cfg_p(path.c_str(), &record), 0);
    record->level = 3;
    record->reserved[5] = 9;
    ASSERT_EQ(ad_get_ad_debug_cfg_p_no_create(path.c_str(), &other), 0);
    EXPECT_EQ(other->level, 3);
    EXPECT_EQ(other->reserved[5], 9);
    other->client_ip = 7;
    EXPECT_EQ(record->client_ip, 7U);
    EXPECT_EQ(ad_return_ad_debug_cfg_p(record), 0);
    EXPECT_EQ(ad_return_ad_debug_cfg_p(other), 0);
}

TEST_F(AdSharedRecord, IsNotMadeWhenTheCallerForbidsIt) {
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(ad_get_ad_debug_cfg_p_no_create(path.c_str(), &record), 1); }), "");
    EXPECT_EQ(record, &ad_debug_cfg_no_share_mem);
    EXPECT_EQ(ad_get_ad_debug_cfg_p_impl(path.c_str(), &record, 1), 1);
    EXPECT_EQ(segment(), -1);
    EXPECT_EQ(ad_get_ad_debug_cfg_p_impl(path.c_str(), &record, 0), 0);
    EXPECT_GE(segment(), 0);
    ad_return_ad_debug_cfg_p(record);
}

TEST_F(AdSharedRecord, IsThePrivateOneForNoPathAndAPathThatDoesNotExist) {
    EXPECT_EQ(stderr_of([&] {
                  EXPECT_EQ(ad_get_ad_debug_cfg_p(nullptr, &record), 1);
                  EXPECT_EQ(record, &ad_debug_cfg_no_share_mem);
                  record = nullptr;
                  EXPECT_EQ(ad_get_ad_debug_cfg_p((directory / "missing").c_str(), &record), 1);
                  EXPECT_EQ(record, &ad_debug_cfg_no_share_mem);
              }),
              "");
}

TEST_F(AdSharedRecord, OfAnotherSizeIsReportedAndNotAttached) {
    ASSERT_GE(shmget(ftok(path.c_str(), 100), 139, IPC_CREAT | 0666), 0);
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(ad_get_ad_debug_cfg_p(path.c_str(), &record), 1); }),
              "IPCSTAT shows size mismatch: 139 vs 140\n");
    EXPECT_EQ(record, &ad_debug_cfg_no_share_mem);
    EXPECT_EQ(facts().shm_nattch, 0U);
}

TEST_F(AdSharedRecord, ThatCannotBeMadeIsReported) {
    the_system_calls().shmget_error = ENOSPC;
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(ad_get_ad_debug_cfg_p(path.c_str(), &record), 1); }), "shmget: No space left on device\n");
    EXPECT_EQ(record, &ad_debug_cfg_no_share_mem);
}

TEST_F(AdSharedRecord, WhoseFactsCannotBeHadIsReported) {
    the_system_calls().shmctl_stat_error = EACCES;
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(ad_get_ad_debug_cfg_p(path.c_str(), &record), 1); }), "shmctl: Permission denied\n");
    EXPECT_EQ(record, &ad_debug_cfg_no_share_mem);
}

TEST_F(AdSharedRecord, ThatCannotBeAttachedIsReportedAndRemoved) {
    the_system_calls().shmat_error = EACCES;
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(ad_get_ad_debug_cfg_p(path.c_str(), &record), 1); }), "shmat: Permission denied\n");
    EXPECT_EQ(record, &ad_debug_cfg_no_share_mem);
    EXPECT_EQ(segment(), -1);

    the_system_calls().shmctl_remove_error = EPERM;
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(ad_get_ad_debug_cfg_p(path.c_str(), &record), 1); }),
              "shmat: Permission denied\nshmctl: Operation not permitted\n");
}

TEST_F(AdSharedRecord, IsGivenBackButNotNullThePrivateOneAndForeignMemory) {
    EXPECT_EQ(ad_return_ad_debug_cfg_p(nullptr), 1);
    EXPECT_EQ(ad_return_ad_debug_cfg_p(&ad_debug_cfg_no_share_mem), 1);
    ad_debug_cfg on_the_stack{};
    EXPECT_EQ(ad_return_ad_debug_cfg_p(&on_the_stack), -1);
}

TEST_F(AdSharedRecord, InUseIsReplacedByThePrivateOneWhenItIsGivenBack) {
    ASSERT_EQ(ad_get_ad_debug_cfg_p(path.c_str(), &ad_debug_cfg_p), 0);
    EXPECT_EQ(ad_return_ad_debug_cfg_p(ad_debug_cfg_p), 0);
    EXPECT_EQ(ad_debug_cfg_p, &ad_debug_cfg_no_share_mem);
}

// -- set-up

class AdInitDebugLib : public debug_library {
  protected:
    AdInitDebugLib() {
        use_private_ipc();
        the_system_calls().user = 1234;
    }
    ~AdInitDebugLib() override {
        for (const std::string &socket : {of_user, of_user_0, special_of_user, special_of_user_0})
            if (const int id = segment(socket); id >= 0) shmctl(id, IPC_RMID, nullptr);
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

// -- SIGUSR1

class AdDebugSigusr1 : public AdInitDebugLib {
  protected:
    AdDebugSigusr1() {
        calls = 0;
        write_file(of_user, "");
    }

    static struct sigaction installed() {
        struct sigaction action {};
        sigaction(SIGUSR1, nullptr, &action);
        return action;
    }

    static volatile sig_atomic_t calls;
    static volatile sig_atomic_t last_signal;
    static void host_handler(int signal_number) {
        ++calls;
        last_signal = signal_number;
    }
    static void host_handler_with_information(int signal_number, siginfo_t *information, void *) {
        if (information->si_signo == signal_number) host_handler(signal_number);
    }
};
volatile sig_atomic_t AdDebugSigusr1::calls;
volatile sig_atomic_t AdDebugSigusr1::last_signal;

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
    EXPECT_EQ(ad_init_debug_lib((directory / "other").c_str()), 0);
    raise(SIGUSR1);
    EXPECT_EQ(calls, 1);
}

TEST_F(AdDebugSigusr1, SavesAHandlerThatTheHostInstalledBetweenTwoSetUps) {
    EXPECT_EQ(init(), 0);
    signal(SIGUSR1, host_handler);
    raise(SIGUSR1);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(ad_init_debug_lib((directory / "other").c_str()), 0);
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

// -- names

class AdDebugNames : public debug_library {};

TEST_F(AdDebugNames, SetsTheModuleId) {
    ad_debug_set_default_module_id(0xfffffff0U);
    EXPECT_EQ(ad_debug_module_id, 0xfffffff0U);
}

TEST_F(AdDebugNames, SetsTheProcessNameCutAt255Characters) {
    EXPECT_EQ(ad_debug_set_process_name("lcd"), 3);
    EXPECT_STREQ(ad_debug_process_name, "lcd");
    EXPECT_EQ(getprocname(), ad_debug_process_name);
    EXPECT_EQ(ad_debug_set_process_name(std::string(300, 'p').c_str()), 300);
    EXPECT_EQ(ad_debug_process_name, std::string(255, 'p'));
    EXPECT_EQ(ad_debug_set_process_name("100%s"), 5);
    EXPECT_STREQ(getprocname(), "100%s");
    ad_debug_set_process_name(nullptr);
    EXPECT_STREQ(getprocname(), "(null)");
}

}  // namespace
