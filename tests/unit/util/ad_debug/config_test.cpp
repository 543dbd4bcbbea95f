// The debug configuration: the record's layout, the ".cfg" file, the environment, names.

#include "util/ad_debug/ad_debug.h"

#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include <arpa/inet.h>
#include <sys/stat.h>

#include "debug_library.h"
#include "tests/support/bytes.h"
#include "util/ad_debug/ad_errorlog.h"
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

// Leaves sevens where the functions that are called next have their variables.
__attribute__((noinline)) void fill_stack() {
    char sevens[8192];
    std::memset(sevens, '7', sizeof sevens);
    asm volatile("" : : "r"(sevens) : "memory");
}

TEST_F(AdReadDebugCfg, FindsNothingBehindAFileThatIsLongerThanItsName) {
    write_file(main_path() + ".cfg", std::string(300, ' ') + "debug_level=2");
    fill_stack();
    read(main_path());
    EXPECT_EQ(level, 2);
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

TEST_F(AdReadDebugCfg, ReadsAgainAfterEachInterruption) {
    the_system_calls().read_error = [](size_t call) { return call < 3 ? EINTR : 0; };
    read_file("debug_level=3\n");
    EXPECT_EQ(level, 3);
    the_system_calls().read_error = [](size_t) { return EIO; };
    read_file("debug_level=2\n");
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
