// The real log daemon with the library's writers, its sinks and its signals.

#include "ad_logd_fixture.h"

#include "ad_errorlog.h"

#include <csignal>
#include <filesystem>
#include <fstream>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <gmock/gmock.h>

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

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
    const struct {
        const char *option, *value, *line, *says;
    } rows[] = {{"--config", "wrong", "fil = /x", "/wrong: INI was not able to parse fil\nIts options are those of --help"},
                {"--config", "wrong", "file =", "--file: a value is missing"},
                {"--config", "wrong", "file", "--file: a value is missing"},
                {"--config", "wrong", "syslog", "--syslog: a value is missing"},
                {"--config", "wrong", "json = \"\"", "--json: a value is missing"},
                {"--config", "missing", "", "missing was not readable"},
                {"--mode", "9", "", "--mode: \"9\" is no mode such as 0660"},
                {"--rate", "many", "", "--rate = many"},
                {"--facility", "24", "", "not in range 0 to 23"},
                {"--rat", "1", "", "ad_logd: The following arguments were not expected: 1 --rat\n  try: ad_logd --help\n"}};
    for (const auto &row : rows) {
        std::ofstream(files / "wrong") << row.line << "\n";
        const bool is_file = std::string(row.option) == "--config";
        log_daemon_process daemon(files.path(), {row.option, is_file ? files / row.value : row.value});
        EXPECT_FALSE(daemon.is_listening()) << row.says;
        if (daemon.is_listening()) continue;
        EXPECT_EQ(daemon.wait_for_end(), 2) << row.says;
        EXPECT_THAT(daemon.output(), HasSubstr(row.says));
    }
}

TEST_F(AdLogd, WritesNothingOfItsOwnIntoItsFilesWhenItIsStartedWithoutStandardDescriptors) {
    {
        log_daemon_process daemon(files.path(), {"--no-special", "--file", file()},
                                  [] { close_range(STDIN_FILENO, STDERR_FILENO, 0); });
        ASSERT_TRUE(daemon.is_listening());
        send_raw(daemon.socket_path(), datagram_of("one"));
        EXPECT_EQ(lines_of(file(), 1).size(), 1U);
        EXPECT_EQ(daemon.stop(), 0);  // says its counts
    }
    EXPECT_EQ(lines_of(file(), 1).size(), 1U);

    log_daemon_process daemon(files.path(), {}, [] { close_range(STDIN_FILENO, STDOUT_FILENO, 0); });
    ASSERT_TRUE(daemon.is_listening());
    send_raw(daemon.socket_path(), datagram_of("two"));
    EXPECT_EQ(daemon.stop(), 0);
    EXPECT_THAT(daemon.output(), HasSubstr("received 1, malformed 0, lost 1,"));
    EXPECT_EQ(content_of(daemon.socket_path() + ".lock"), "");
}

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

TEST_F(AdLogd, RefusesToWriteOneFileTwiceOrIntoItself) {
    fs::create_symlink(".", files / "here");
    const struct {
        strings options;
        const char *says;
    } rows[] = {{{"--file", file(), "--json", file()}, "--file and --json are the same file"},
                {{"--file", file(), "--json", files / "here/./file"}, "--file and --json are the same file"},
                {{"--file", file(), "--json", file() + ".3"}, "is a name that rotated files of"},
                {{"--file", file() + ".1", "--json", file(), "--keep", "1"}, "is a name that rotated files of"},
                {{"--file", (files / "log.") + std::to_string(getuid()) + ".lock"}, "belongs to the log's socket"},
                {{"--syslog", (files / "special.") + std::to_string(getuid())}, "belongs to the log's socket"}};
    for (const auto &row : rows) {
        log_daemon_process daemon(files.path(), row.options);
        EXPECT_EQ(daemon.wait_for_end(), 1) << row.says;
        EXPECT_THAT(daemon.output(), HasSubstr(row.says));
    }
    EXPECT_TRUE(log_daemon_process(files.path(), {"--file", file(), "--json", file() + ".6", "--keep", "5"}).is_listening());
}

}  // namespace
