// The log commands of nprmctl with the real log daemon.

#include "ad_logd_fixture.h"
#include "run_nprmctl.h"

#include "ad_errorlog.h"
#include "ad_param.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class AdLogdCommands : public AdLogd {};

// The sockets that a process has open: a reader of the live stream counts once it is accepted.
int64_t sockets_of(pid_t pid) {
    const fs::directory_iterator descriptors("/proc/" + std::to_string(pid) + "/fd");
    return std::ranges::count_if(descriptors, [](const fs::directory_entry &entry) {
        std::error_code ignored;
        return fs::read_symlink(entry.path(), ignored).string().starts_with("socket:");
    });
}

TEST_F(AdLogdCommands, IsFollowedFilteredAndEndsTheFollower) {
    log_daemon_process daemon(files.path());
    const auto with_none = sockets_of(daemon.pid());
    const auto follow = [&](strings options) {
        strings words = {"log", "follow", "--socket", daemon.base()};
        words.insert(words.end(), options.begin(), options.end());
        return std::async(std::launch::async, [words] { return run_nprmctl(words); });
    };
    auto all = follow({"--count", "2"}), by_tag = follow({"--tag", "ERRO", "--count", "1", "--json"}),
         by_process = follow({"--process", "np2", "--count", "1"}), by_text = follow({"--text", "needle"});
    ASSERT_TRUE(wait_until([&] { return sockets_of(daemon.pid()) == with_none + 4; })) << sockets_of(daemon.pid());
    send_raw(daemon.socket_path(), datagram_of("np1(1)INFO:f.c:2-> a\x1b[2J needle"));
    send_raw(daemon.socket_path(), datagram_of("np2(2)ERRO:f.c:2-> b"));
    EXPECT_THAT(all.get().output, HasSubstr("(says pid 1): np1(1)INFO:f.c:2-> a\\x1b[2J needle\n"));
    const auto json = by_tag.get().json();
    ASSERT_TRUE(json.is_object());
    EXPECT_EQ(json.at("text"), "np2(2)ERRO:f.c:2-> b");
    const std::string of_process = by_process.get().output;
    EXPECT_THAT(of_process, HasSubstr("np2(2)ERRO"));
    EXPECT_EQ(of_process.find("np1"), std::string::npos);
    daemon.stop();
    const nprmctl_run ended = by_text.get();
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.errors, HasSubstr("the log daemon has ended"));
    EXPECT_EQ(std::ranges::count(ended.output, '\n'), 1);
}

TEST_F(AdLogdCommands, TellsAFollowerOfFoldedRecordsWhateverItsFilters) {
    log_daemon_process daemon(files.path());
    const auto with_none = sockets_of(daemon.pid());
    auto follower = std::async(std::launch::async, [&daemon] {
        return run_nprmctl({"log", "follow", "--socket", daemon.base(), "--tag", "ERRO", "--process", "np2", "--text", "needle",
                            "--count", "1", "--json"});
    });
    ASSERT_TRUE(wait_until([&] { return sockets_of(daemon.pid()) == with_none + 1; }));
    for (int i = 0; i < 3; ++i)
        send_raw(daemon.socket_path(), datagram_of("same"));
    const bool has_ended = wait_until([&] { return follower.wait_for(std::chrono::seconds(0)) == std::future_status::ready; });
    daemon.stop();
    ASSERT_TRUE(has_ended);
    EXPECT_EQ(follower.get().json().at("text"), "repeated 2 times");
}

TEST_F(AdLogdCommands, IsFollowedInColoursOnATerminal) {
    const descriptor terminal = {posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)};
    if (terminal.fd < 0 || access(ptsname(terminal.fd), F_OK) != 0) GTEST_SKIP() << "no pseudo-terminal is to be had here";
    ASSERT_EQ(grantpt(terminal.fd), 0);
    ASSERT_EQ(unlockpt(terminal.fd), 0);
    const std::string name = ptsname(terminal.fd);
    log_daemon_process daemon(files.path());
    const auto with_none = sockets_of(daemon.pid());
    auto follower = std::async(std::launch::async, [&] {
        return run_nprmctl({"log", "follow", "--socket", daemon.base(), "--count", "6"}, {}, name.c_str());
    });
    ASSERT_TRUE(wait_until([&] { return sockets_of(daemon.pid()) == with_none + 1; }));
    for (const char *tag : {"CRTC", "ERRO", "WARN", "INFO"})
        send_raw(daemon.socket_path(), datagram_of(std::string("np(1)") + tag + ":f.c:2-> x"));
    for (int i = 0; i < 2; ++i)
        send_raw(daemon.socket_path(), datagram_of("same"));
    std::string shown;
    char bytes[4096];
    wait_until([&] {
        pollfd readable = {terminal.fd, POLLIN, 0};
        if (poll(&readable, 1, 0) == 1) {
            const ssize_t came = read(terminal.fd, bytes, sizeof bytes);
            shown.append(bytes, came > 0 ? static_cast<size_t>(came) : 0);
        }
        return std::ranges::count(shown, '\n') >= 6;
    });
    daemon.stop();
    EXPECT_EQ(follower.get().status, 0);
    std::istringstream text(shown);
    const strings starts = {"\033[1;31m20", "\033[31m20", "\033[33m20", "20", "20", "\033[36m20"};
    std::string line;
    for (const std::string &start : starts) {
        ASSERT_TRUE(std::getline(text, line)) << shown;
        EXPECT_TRUE(line.starts_with(start)) << line;
        EXPECT_EQ(line.ends_with("\033[0m\r"), start != "20") << line;
    }
}

TEST_F(AdLogdCommands, IsSentAMessageThatLeavesTheSharedRecordAsItIs) {
    log_daemon_process daemon(files.path(), {"--file", file(), "--no-fold"});
    ad_debug_cfg *record = nullptr;
    ASSERT_EQ(ad_get_ad_debug_cfg_p_no_create(daemon.socket_path().c_str(), &record), 0);
    *record = {4, 0x0100000A, 0x0200000A, {}};
    const scratch_variable level("DEBUG_LEVEL", "1"), server("DEBUG_SERVER_IP", "10.9.9.9");
    for (const char *configuration : {"", "debug_level=2 debug_client_ip=10.8.8.8"}) {
        if (*configuration != '\0') std::ofstream(daemon.socket_path() + ".cfg") << configuration;
        const nprmctl_run sent = run_nprmctl({"log", "send", "hello", "--socket", daemon.base()});
        EXPECT_EQ(sent.status, 0);
        EXPECT_EQ(sent.output, "the log daemon at " + daemon.socket_path() + " has the message\n");
        EXPECT_EQ(record->level, 4);
        EXPECT_EQ(record->client_ip, 0x0100000AU);
        EXPECT_EQ(record->server_ip, 0x0200000AU);
    }
    ad_return_ad_debug_cfg_p(record);
    const nprmctl_run as_json = run_nprmctl({"log", "send", "hello", "--json", "--socket", daemon.base()});
    EXPECT_EQ(as_json.output, "{\n  \"socket\": \"" + daemon.socket_path() + "\"\n}\n");
    daemon.stop();
    const strings lines = lines_of(file(), 3);
    ASSERT_EQ(lines.size(), 3U) << content_of(file());
    for (const std::string &line : lines)
        EXPECT_TRUE(line.ends_with("-> hello")) << line;
}

TEST_F(AdLogdCommands, IsSteeredFromTheCommandLine) {
    log_daemon_process daemon(files.path(), {"--file", file()});
    const auto log = [&](strings words) {
        words.insert(words.begin(), "log");
        words.insert(words.end(), {"--socket", daemon.base(), "--json"});
        return run_nprmctl(words).json();
    };
    EXPECT_EQ(log({"level", "3"}).at("level"), 3);
    EXPECT_EQ(log({"level", "4"}).at("level"), 4);
    EXPECT_EQ(log({"level", "2"}).at("level"), 2);
    EXPECT_EQ(log({"level"}).at("level"), 2);
    EXPECT_EQ(log({"filter", "client", "10.0.0.1"}).at("client"), "10.0.0.1");
    EXPECT_EQ(log({"filter", "server", "10.0.0.2"}).at("server"), "10.0.0.2");
    EXPECT_EQ(log({"filter", "client", "off"}).at("client"), "off");
    const auto shown = log({"show"});
    EXPECT_EQ(shown.at("socket"), daemon.socket_path());
    EXPECT_EQ(shown.at("daemon"), "process " + std::to_string(daemon.pid()));
    EXPECT_EQ(shown.at("level"), 2);
    EXPECT_EQ(shown.at("server"), "10.0.0.2");
    EXPECT_EQ(shown.at("attached").at(0).at("pid"), daemon.pid());
    EXPECT_EQ(shown.at("attached").at(0).at("process"), "ad_logd");
    ad_debug_cfg *record = nullptr;
    ASSERT_EQ(ad_get_ad_debug_cfg_p_no_create(daemon.socket_path().c_str(), &record), 0);
    EXPECT_EQ(record->level, 2);
    EXPECT_EQ(record->client_ip, 0U);
    EXPECT_EQ(record->server_ip, 0x0200000AU);
    ad_return_ad_debug_cfg_p(record);
    log({"send", "hello"});
    const strings lines = lines_of(file(), 1);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_THAT(lines[0], HasSubstr("TEST:"));
    EXPECT_TRUE(lines[0].ends_with("-> hello")) << lines[0];
}

TEST_F(AdLogdCommands, ShowNamesTheDaemonAlsoWithoutItsLockFileAndSaysWhenItMayNotKnow) {
    log_daemon_process daemon(files.path());
    const strings show = {"log", "show", "--socket", files / "log", "--json"};
    const auto shown = [&] { return run_nprmctl(show).json().at("daemon"); };
    if (getuid() == 0) {
        fs::permissions(files.path(), fs::perms(0755));
        const nprmctl_run other = run_nprmctl_as_another_user(show);
        ASSERT_TRUE(other.json().is_object()) << other.errors;
        EXPECT_THAT(other.json().at("daemon"), testing::StartsWith("not known: "));
    }
    fs::remove(daemon.socket_path() + ".lock");
    EXPECT_EQ(shown(), "process " + std::to_string(daemon.pid()));
    daemon.stop();
    EXPECT_EQ(shown(), "none runs");
}

TEST_F(AdLogdCommands, LeavesTheCommandLineWithClearErrorsWhenItIsAbsent) {
    const struct {
        strings words;
        int status;
        const char *says;
    } rows[] = {{{"log", "level"}, 1, "has no shared debug record"},
                {{"log", "show"}, 1, "has no shared debug record"},
                {{"log", "follow"}, 1, "No such file or directory"},
                {{"log", "send", "x"}, 1, "no log daemon takes messages at"},
                {{"log", "filter", "peer"}, 2, "\"peer\" is neither client nor server"},
                {{"log", "filter", "client", "host"}, 2, "ADDRESS is \"host\""},
                {{"log", "level", "5"}, 2, "must be a number from 0 to 4"}};
    for (const auto &row : rows) {
        strings words = row.words;
        words.insert(words.end(), {"--socket", files / "log"});
        const nprmctl_run run = run_nprmctl(words);
        EXPECT_EQ(run.status, row.status) << row.says;
        EXPECT_THAT(run.errors, HasSubstr(row.says));
    }
}

TEST_F(AdLogdCommands, SteerTheSpecialLogThatIsNamedBesideSpecial) {
    log_daemon_process daemon(files.path());
    ASSERT_TRUE(daemon.is_listening());
    const std::string special = files / "special";
    EXPECT_EQ(run_nprmctl({"log", "level", "4", "--special", "--socket", special}).output, "level  4\n");
    ad_debug_cfg *record = nullptr;
    ASSERT_EQ(ad_get_ad_debug_cfg_p_no_create((special + "." + std::to_string(getuid())).c_str(), &record), 0);
    EXPECT_EQ(record->level, 4);
    ad_return_ad_debug_cfg_p(record);
}

TEST_F(AdLogdCommands, FollowSaysWhoMayFollowToWhoMayNot) {
    if (geteuid() != 0) GTEST_SKIP() << "needs the right to become another user";
    log_daemon_process daemon(files.path());
    ASSERT_TRUE(daemon.is_listening());
    fs::permissions(files.path(), fs::perms::owner_all | fs::perms::others_exec);
    const nprmctl_run run = run_nprmctl_as_another_user({"log", "follow", "--socket", daemon.base()});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "nprmctl: " + daemon.socket_path() +
                              ".follow: Permission denied\n  try: again as the user of the log daemon, or as root\n");
}

TEST_F(AdLogdCommands, ReloadSparesAProcessThatWouldDieOfTheSignal) {
    signal(SIGUSR1, SIG_DFL);
    const pid_t child = fork();
    if (child == 0) {
        pause();
        _exit(0);
    }
    const nprmctl_run run = run_nprmctl({"log", "reload", std::to_string(child)});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("does not handle SIGUSR1"));
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
}

TEST_F(AdLogdCommands, ReloadHasAProcessReadItsFileAgain) {
    log_daemon_process daemon(files.path(), {"--file", file()});
    std::ofstream(daemon.socket_path() + ".cfg") << "debug_level=1\n";
    const pid_t host = fork();
    if (host == 0) {
        ad_debug_to_syslogd = 0;
        ad_init_debug_lib(daemon.base().c_str());
        ad_errorlog_printf("level %d", ad_debug_cfg_p->level);
        const bool came = wait_until([] { return ad_debug_cfg_p->level == 3; });
        _exit(came ? 0 : 1);
    }
    ASSERT_TRUE(wait_until([this] { return content_of(file()).ends_with(": level 1\n"); }));
    std::ofstream(daemon.socket_path() + ".cfg") << "debug_level=3\n";
    const nprmctl_run reload = run_nprmctl({"log", "reload", std::to_string(host)});
    EXPECT_EQ(reload.status, 0);
    EXPECT_EQ(reload.output, "process " + std::to_string(host) + " reads its log configuration again\n");
    int status = -1;
    waitpid(host, &status, 0);
    EXPECT_EQ(status, 0);
}

}  // namespace
