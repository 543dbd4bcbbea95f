// The real log daemon with the library's writers, its sinks, its signals, and the command line's side of it.

#include "run_nprmctl.h"

#include "ad_errorlog.h"
#include "ad_param.h"
#include "tests/support/log_daemon_process.h"
#include "tests/support/scratch.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <sstream>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using strings = std::vector<std::string>;

class AdLogd : public testing::Test {
  protected:
    AdLogd() { use_private_ipc(); }

    // The lines of a file once there are that many.
    static strings lines_of(const std::string &path, size_t count) {
        wait_until([&] { return static_cast<size_t>(std::ranges::count(content_of(path), '\n')) >= count; });
        std::istringstream content(content_of(path));
        strings lines;
        for (std::string line; std::getline(content, line);)
            lines.push_back(line);
        return lines;
    }
    std::string file() const { return files / "file"; }

    const scratch_directory files;
};

TEST_F(AdLogd, WritesWhatTheLibraryLogs) {
    log_daemon_process daemon(files.path(), {"--file", file()});
    ASSERT_TRUE(daemon.is_listening());
    ad_debug_to_syslogd = 0;
    ad_debug_set_process_name("host");
    ASSERT_EQ(ad_init_debug_lib(daemon.base().c_str()), 0);
    ad_debug_cfg *const log_record = ad_debug_cfg_p;
    ASSERT_EQ(ad_set_special_log_path((files / "special").c_str()), 0);
    ad_debug_print(1, "ERRO", "port %d is down\n", 3);
    ad_errorlog_printf_special("to the special log");
    const std::string pid = std::to_string(getpid());
    const std::string who = " pid " + pid + " uid " + std::to_string(getuid()) + ": ";
    const strings lines = lines_of(file(), 2);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_THAT(lines[0], HasSubstr("Z log" + who + "host(" + pid + ")ERRO:ad_logd_test.cpp:"));
    EXPECT_TRUE(lines[0].ends_with("-> port 3 is down")) << lines[0];
    EXPECT_TRUE(lines[1].ends_with("Z special" + who + "to the special log")) << lines[1];
    EXPECT_EQ(daemon.stop(), 0);
    EXPECT_THAT(daemon.output(), HasSubstr("received 2, malformed 0, lost 0, cut 0, folded 0\n"));
    EXPECT_EQ(ad_return_ad_debug_cfg_p(ad_debug_cfg_p), 0);
    EXPECT_EQ(ad_return_ad_debug_cfg_p(log_record), 0);
}

TEST_F(AdLogd, FollowsTheSendersTimeAndShowsAClaimThatDiffers) {
    log_daemon_process daemon(files.path(), {"--json", file()});
    send_raw(daemon.socket_path(), datagram_of("np(1)ERRO:f.c:2-> x\x1b\n"));
    const strings lines = lines_of(file(), 1);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0], "{\"time\":\"2023-11-14T22:13:20.000012Z\",\"from\":\"log\",\"pid\":" + std::to_string(getpid()) +
                            ",\"uid\":" + std::to_string(getuid()) +
                            ",\"says_pid\":1,\"process\":\"np\",\"tag\":\"ERRO\",\"text\":\"np(1)ERRO:f.c:2-> x\\\\x1b\"}");
}

TEST_F(AdLogd, LosesNothingOfABurst) {
    constexpr int count = 50'000;
    log_daemon_process daemon(files.path(), {"--file", file(), "--rate", "0"});
    for (int i = 0; i < count; ++i)
        ASSERT_GT(send_raw(daemon.socket_path(), datagram_of("record " + std::to_string(i))), 0);
    EXPECT_EQ(daemon.stop(), 0);
    EXPECT_THAT(daemon.output(), HasSubstr("received 50000, malformed 0, lost 0, cut 0, folded 0\n"));
    const strings lines = lines_of(file(), count);
    ASSERT_EQ(lines.size(), static_cast<size_t>(count));
    for (size_t i = 0; i < lines.size(); ++i)
        ASSERT_TRUE(lines[i].ends_with(": record " + std::to_string(i))) << lines[i];
}

TEST_F(AdLogd, FoldsIdenticalRecordsAndCutsASenderAboveItsRate) {
    log_daemon_process daemon(files.path(), {"--file", file(), "--rate", "5"});
    for (int i = 0; i < 20; ++i)
        send_raw(daemon.socket_path(), datagram_of("same"));
    for (int i = 0; i < 20; ++i)
        send_raw(daemon.socket_path(), datagram_of(std::to_string(i)));
    EXPECT_EQ(daemon.stop(), 0);
    const std::string content = content_of(file());
    EXPECT_THAT(content, HasSubstr(": repeated 19 times\n"));
    EXPECT_THAT(content, HasSubstr(" records cut: too many a second\n"));
    EXPECT_THAT(daemon.output(), HasSubstr("folded 19\n"));
    EXPECT_THAT(daemon.output(), HasSubstr("received 40, "));
}

TEST_F(AdLogd, TellsOfRepetitionsWithinAMomentAlsoWhenNothingFollows) {
    log_daemon_process daemon(files.path(), {"--file", file()});
    for (int i = 0; i < 3; ++i)
        send_raw(daemon.socket_path(), datagram_of("same"));
    const strings lines = lines_of(file(), 2);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_THAT(lines[1], HasSubstr(" daemon pid " + std::to_string(getpid()) + " uid "));
    EXPECT_TRUE(lines[1].ends_with(": repeated 2 times")) << lines[1];
}

TEST_F(AdLogd, RefusesToBeTheSecondAndNamesTheFirst) {
    log_daemon_process first(files.path(), {"--file", file()});
    log_daemon_process second(files.path(), {"--file", files / "other"});
    EXPECT_FALSE(second.is_listening());
    EXPECT_EQ(second.wait_for_end(), 1);
    EXPECT_THAT(second.output(), HasSubstr("a log daemon reads here already, process " + std::to_string(first.pid())));
    EXPECT_EQ(send_raw(first.socket_path(), datagram_of("x")), 10);
    EXPECT_EQ(lines_of(file(), 1).size(), 1U);
}

TEST_F(AdLogd, TakesThePlaceOfADeadOne) {
    {
        log_daemon_process first(files.path(), {"--file", file()});
        EXPECT_EQ(first.stop(SIGKILL), 128 + SIGKILL);
        EXPECT_EQ(send_raw(first.socket_path(), datagram_of("lost")), -1);
    }
    log_daemon_process second(files.path(), {"--file", file()});
    ASSERT_TRUE(second.is_listening()) << second.output();
    EXPECT_GT(send_raw(second.socket_path(), datagram_of("here")), 0);
    EXPECT_EQ(lines_of(file(), 1).size(), 1U);
}

TEST_F(AdLogd, RefusesASymbolicLinkInItsPlace) {
    fs::create_symlink(files / "elsewhere", (files / "log.") + std::to_string(getuid()));
    log_daemon_process daemon(files.path());
    EXPECT_EQ(daemon.wait_for_end(), 1);
    EXPECT_THAT(daemon.output(), HasSubstr("is a symbolic link"));
    EXPECT_FALSE(fs::exists(files / "elsewhere"));
}

TEST_F(AdLogd, OpensItsFilesAnewOnSighupAndCountsOnSigusr2) {
    log_daemon_process daemon(files.path(), {"--file", file()});
    send_raw(daemon.socket_path(), datagram_of("one"));
    ASSERT_EQ(lines_of(file(), 1).size(), 1U);
    fs::rename(file(), files / "old");
    kill(daemon.pid(), SIGHUP);
    kill(daemon.pid(), SIGUSR2);
    ASSERT_TRUE(wait_until([&] { return daemon.output().find("received 1, malformed 0") != std::string::npos; }));
    send_raw(daemon.socket_path(), datagram_of("two"));
    EXPECT_EQ(lines_of(file(), 1).size(), 1U);
    EXPECT_EQ(lines_of(files / "old", 1).size(), 1U);
}

TEST_F(AdLogd, TakesOptionsFromAFileAndSaysWhatIsWrongInThem) {
    std::ofstream(files / "conf") << "file = \"" << file() << "\"\nno-fold = true\n";
    {
        log_daemon_process daemon(files.path(), {"--config", files / "conf"});
        ASSERT_TRUE(daemon.is_listening()) << daemon.output();
        send_raw(daemon.socket_path(), datagram_of("same"));
        send_raw(daemon.socket_path(), datagram_of("same"));
        EXPECT_EQ(lines_of(file(), 2).size(), 2U);
    }
    std::ofstream(files / "wrong") << "no-such-option = 1\n";
    for (const strings &options : {strings{"--config", files / "wrong"}, strings{"--config", files / "missing"},
                                   strings{"--mode", "9"}, strings{"--rate", "many"}, strings{"--facility", "24"}}) {
        log_daemon_process daemon(files.path(), options);
        EXPECT_EQ(daemon.wait_for_end(), 2) << options[1];
        EXPECT_NE(daemon.output(), "");
    }
}

struct descriptor {
    int fd;
    ~descriptor() { close(fd); }
};

std::string message_from(int fd) {
    char bytes[9000];
    const timeval limit = {10, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    const ssize_t came = recv(fd, bytes, sizeof bytes, 0);
    return came < 0 ? "nothing came" : std::string(bytes, static_cast<size_t>(came));
}

TEST_F(AdLogd, SendsToTheLocalLogSystemOnceItListens) {
    const std::string path = files / "syslog";
    log_daemon_process daemon(files.path(), {"--syslog", path});
    send_raw(daemon.socket_path(), datagram_of("np(1)CRTC:f.c:2-> first"));
    sockaddr_un address = {AF_UNIX, {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const descriptor log_system = {socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
    ASSERT_EQ(bind(log_system.fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    const std::string message = message_from(log_system.fd);
    EXPECT_EQ(message.find("<130>1 2023-11-14T22:13:20.000012Z "), 0U) << message;
    EXPECT_THAT(message, HasSubstr(" np " + std::to_string(getpid()) + " CRTC [sender@32473 from=\"log\" uid=\"" +
                                   std::to_string(getuid()) + "\" saysPid=\"1\"] np(1)CRTC:f.c:2-> first"));
}

TEST_F(AdLogd, SendsByTcpWithOctetCountingAndConnectsAgain) {
    const descriptor listener = {socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t bytes = sizeof address;
    ASSERT_EQ(bind(listener.fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener.fd, 4), 0);
    getsockname(listener.fd, reinterpret_cast<sockaddr *>(&address), &bytes);
    log_daemon_process daemon(files.path(),
                              {"--syslog", "127.0.0.1:" + std::to_string(ntohs(address.sin_port)), "--facility", "1"});
    for (const char *text : {"first", "second"}) {
        send_raw(daemon.socket_path(), datagram_of(text));
        const descriptor connection = {accept4(listener.fd, nullptr, nullptr, SOCK_CLOEXEC)};
        const std::string message = message_from(connection.fd);
        const size_t blank = message.find(' ');
        EXPECT_EQ(message.substr(0, blank), std::to_string(message.size() - blank - 1));
        EXPECT_EQ(message.substr(blank + 1, 6), "<13>1 ");
        EXPECT_TRUE(message.ends_with(std::string("] ") + text)) << message;
    }
}

// The sockets that a process has open: a reader of the live stream counts once it is accepted.
int64_t sockets_of(pid_t pid) {
    const fs::directory_iterator descriptors("/proc/" + std::to_string(pid) + "/fd");
    return std::ranges::count_if(descriptors, [](const fs::directory_entry &entry) {
        std::error_code ignored;
        return fs::read_symlink(entry.path(), ignored).string().starts_with("socket:");
    });
}

TEST_F(AdLogd, IsFollowedFilteredAndEndsTheFollower) {
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

TEST_F(AdLogd, TellsAFollowerOfFoldedRecordsWhateverItsFilters) {
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

TEST_F(AdLogd, IsFollowedInColoursOnATerminal) {
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

TEST_F(AdLogd, IsSentAMessageThatLeavesTheSharedRecordAsItIs) {
    log_daemon_process daemon(files.path(), {"--file", file()});
    ad_debug_cfg *record = nullptr;
    ASSERT_EQ(ad_get_ad_debug_cfg_p_no_create(daemon.socket_path().c_str(), &record), 0);
    *record = {4, 0x0100000A, 0x0200000A, {}};
    const scratch_variable level("DEBUG_LEVEL", "1"), server("DEBUG_SERVER_IP", "10.9.9.9");
    for (const char *configuration : {"", "debug_level=2 debug_client_ip=10.8.8.8"}) {
        if (*configuration != '\0') std::ofstream(daemon.socket_path() + ".cfg") << configuration;
        EXPECT_EQ(run_nprmctl({"log", "send", "hello", "--socket", daemon.base()}).status, 0);
        EXPECT_EQ(record->level, 4);
        EXPECT_EQ(record->client_ip, 0x0100000AU);
        EXPECT_EQ(record->server_ip, 0x0200000AU);
    }
    ad_return_ad_debug_cfg_p(record);
    daemon.stop();
    const strings lines = lines_of(file(), 2);
    ASSERT_EQ(lines.size(), 2U) << content_of(file());
    for (const std::string &line : lines)
        EXPECT_TRUE(line.ends_with("-> hello")) << line;
}

TEST_F(AdLogd, BindsNothingUnlessItsFilesAndBothLocksAreToBeHad) {
    const auto expect_nothing_bound = [this](const char *says, const strings &options) {
        log_daemon_process daemon(files.path(), options);
        EXPECT_EQ(daemon.wait_for_end(), 1);
        EXPECT_THAT(daemon.output(), HasSubstr(says));
        for (const char *name : {"log.", "special."})
            EXPECT_FALSE(fs::exists((files / name) + std::to_string(getuid()))) << says;
    };
    expect_nothing_bound("No such file or directory", {"--file", files / "no/file"});
    expect_nothing_bound("is no log system", {"--syslog", "here"});
    const std::string lock = (files / "special.") + std::to_string(getuid()) + ".lock";
    const descriptor held = {open(lock.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600)};
    struct flock whole = {};
    whole.l_type = F_WRLCK;
    ASSERT_EQ(fcntl(held.fd, F_SETLK, &whole), 0);
    expect_nothing_bound("a log daemon reads here already", {});
}

TEST_F(AdLogd, NamesTheFirstAlsoWhenItsLockFileWasRemoved) {
    log_daemon_process first(files.path());
    for (const char *name : {"log.", "special."})
        fs::remove((files / name) + std::to_string(getuid()) + ".lock");
    log_daemon_process second(files.path());
    EXPECT_EQ(second.wait_for_end(), 1);
    EXPECT_THAT(second.output(), HasSubstr("another process reads this socket, process " + std::to_string(first.pid())));
}

TEST_F(AdLogd, RefusesToWriteOneFileTwice) {
    fs::create_symlink(".", files / "here");
    const struct {
        strings options;
        const char *says;
    } rows[] = {{{"--file", file(), "--json", file()}, "--file and --json are the same file"},
                {{"--file", file(), "--json", files / "here/./file"}, "--file and --json are the same file"},
                {{"--file", file(), "--json", file() + ".3"}, "is a name that rotated files of"},
                {{"--file", file() + ".1", "--json", file(), "--keep", "1"}, "is a name that rotated files of"},
                {{"--file", (files / "log.") + std::to_string(getuid()) + ".lock"}, "belongs to the log's socket"}};
    for (const auto &row : rows) {
        log_daemon_process daemon(files.path(), row.options);
        EXPECT_EQ(daemon.wait_for_end(), 1) << row.says;
        EXPECT_THAT(daemon.output(), HasSubstr(row.says));
    }
    EXPECT_TRUE(log_daemon_process(files.path(), {"--file", file(), "--json", file() + ".6", "--keep", "5"}).is_listening());
}

TEST_F(AdLogd, IsSteeredFromTheCommandLine) {
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

TEST_F(AdLogd, LeavesTheCommandLineWithClearErrorsWhenItIsAbsent) {
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

TEST_F(AdLogd, ReloadSparesAProcessThatWouldDieOfTheSignal) {
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

TEST_F(AdLogd, ReloadHasAProcessReadItsFileAgain) {
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
    EXPECT_EQ(run_nprmctl({"log", "reload", std::to_string(host)}).status, 0);
    int status = -1;
    waitpid(host, &status, 0);
    EXPECT_EQ(status, 0);
}

}  // namespace
