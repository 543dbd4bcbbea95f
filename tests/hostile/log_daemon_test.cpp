// Senders, disks and circumstances that mean harm to the log daemon, and what its absence does to processes that log.

#include "ad_errorlog.h"
#include "tests/support/log_daemon_process.h"
#include "tests/support/scratch.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using testing::HasSubstr;

class HostileLog : public testing::Test {
  protected:
    HostileLog() { use_private_ipc(); }

    std::string file() const { return files / "file"; }
    std::string content() const { return content_of(file()); }
    static size_t descriptors_of(pid_t pid) {
        size_t count = 0;
        for ([[maybe_unused]] const auto &entry : fs::directory_iterator("/proc/" + std::to_string(pid) + "/fd"))
            ++count;
        return count;
    }
    static long resident_pages_of(pid_t pid) {
        long all = 0, resident = 0;
        std::sscanf(content_of("/proc/" + std::to_string(pid) + "/statm").c_str(), "%ld %ld", &all, &resident);
        return resident;
    }

    const scratch_directory files;
};

TEST_F(HostileLog, MalformedDatagramsAreCountedAndTheNextGoodOneIsWritten) {
    log_daemon_process daemon(files.path(), {"--file", file()});
    const std::string good = datagram_of("");
    const std::string bad[] = {"",
                               "x",
                               "\0"s,
                               "no time\0"s,
                               "cut time\0\1\2\3"s,
                               std::string(4095, 'n'),
                               std::string(65'536, 'l'),
                               std::string(200'000, 'm'),
                               "two\0zeros"s + good,
                               "\0\xff\xff\xff\xff\xff\xff\xff\xff"s};
    for (const std::string &bytes : bad)
        ASSERT_EQ(send_raw(daemon.socket_path(), bytes), static_cast<ssize_t>(bytes.size()));
    send_raw(daemon.socket_path(), good);
    send_raw(daemon.socket_path(), datagram_of("good"));
    ASSERT_TRUE(wait_until([&] { return content().ends_with(": good\n"); })) << content();
    EXPECT_EQ(std::ranges::count(content(), '\n'), 12);
    EXPECT_THAT(content(), HasSubstr("(malformed: too long, cut): lllll"));
    EXPECT_EQ(daemon.stop(), 0);
    EXPECT_THAT(daemon.output(), HasSubstr("received 12, malformed 10, lost 0, cut 0, folded 0\n"));
}

TEST_F(HostileLog, EveryByteIsOneSafeRecord) {
    log_daemon_process daemon(files.path(), {"--file", file(), "--json", files / "json"});
    for (int byte = 1; byte < 256; ++byte)
        send_raw(daemon.socket_path(), datagram_of("a"s + static_cast<char>(byte) + "b\n\r\x1b[2J%n%s<0>"));
    EXPECT_EQ(daemon.stop(), 0);
    for (const std::string &text : {content(), content_of(files / "json")}) {
        EXPECT_EQ(std::ranges::count(text, '\n'), 255);
        EXPECT_TRUE(std::ranges::all_of(text, [](char c) { return c == '\n' || (c >= 0x20 && c < 0x7F); }));
    }
}

// Each has another number, as far as the machine gives any: processes that end at once.
TEST_F(HostileLog, ManySendersTakeNoMemory) {
    log_daemon_process daemon(files.path(), {"--file", file(), "--rate", "1"});
    send_raw(daemon.socket_path(), datagram_of("first"));
    ASSERT_TRUE(wait_until([&] { return content().ends_with(": first\n"); }));
    const long before = resident_pages_of(daemon.pid());
    for (int i = 0; i < 500; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            send_raw(daemon.socket_path(), datagram_of("a sender"));
            _exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
    }
    ASSERT_TRUE(wait_until([&] { return std::ranges::count(content(), '\n') == 501; }));
#ifdef __SANITIZE_ADDRESS__
    constexpr long growth_max = 4000;  // the sanitizer keeps what was freed for a while
#else
    constexpr long growth_max = 200;
#endif
    EXPECT_LT(resident_pages_of(daemon.pid()) - before, growth_max);
}

TEST_F(HostileLog, AFullDiskTearsNothingAndIsTold) {
    const std::string disk = files / "disk";
    fs::create_directory(disk);
    if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=16k") != 0)
        GTEST_SKIP() << "a small disk needs root";
    log_daemon_process daemon(files.path(), {"--file", disk + "/log", "--rate", "0"});
    const size_t descriptors = descriptors_of(daemon.pid());
    for (int i = 0; i < 1000; ++i)
        send_raw(daemon.socket_path(), datagram_of("record " + std::to_string(i)));
    ASSERT_TRUE(wait_until([&] {
        kill(daemon.pid(), SIGUSR2);
        return daemon.output().find("received 1000, malformed 0, lost ") != std::string::npos;
    })) << daemon.output();
    const size_t written = static_cast<size_t>(std::ranges::count(content_of(disk + "/log"), '\n'));
    EXPECT_TRUE(content_of(disk + "/log").ends_with('\n'));
    EXPECT_THAT(daemon.output(), HasSubstr("lost " + std::to_string(1000 - written) + ","));
    EXPECT_LT(written, 1000U);
    EXPECT_GT(written, 0U);
    mount("tmpfs", disk.c_str(), "tmpfs", MS_REMOUNT, "size=1m");
    ASSERT_TRUE(wait_until([&] {  // without another record
        return content_of(disk + "/log")
            .ends_with(std::to_string(1000 - written) + " records lost here: No space left on device\n");
    }));
    send_raw(daemon.socket_path(), datagram_of("room again"));
    ASSERT_TRUE(wait_until([&] { return content_of(disk + "/log").ends_with(": room again\n"); }));
    EXPECT_LE(descriptors_of(daemon.pid()), descriptors);
    daemon.stop();
    umount(disk.c_str());
}

TEST_F(HostileLog, WhatAnIdleReaderMissedIsToldWhenTheDaemonEnds) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    log_daemon_process daemon(files.path(), {"--stdout", "--file", file(), "--rate", "0"}, [&] { dup2(ends[1], STDOUT_FILENO); });
    close(ends[1]);
    for (int i = 0; i < 200; ++i)
        send_raw(daemon.socket_path(), datagram_of(std::to_string(i) + std::string(1000, '#')));
    ASSERT_TRUE(wait_until([&] { return std::ranges::count(content(), '\n') == 200; }));
    kill(daemon.pid(), SIGTERM);
    std::string seen;
    char bytes[4096];
    for (ssize_t came; (came = read(ends[0], bytes, sizeof bytes)) > 0;)
        seen.append(bytes, static_cast<size_t>(came));
    close(ends[0]);
    EXPECT_EQ(daemon.wait_for_end(), 0);
    const auto written = std::ranges::count(seen, '\n') - 1;
    EXPECT_THAT(seen, HasSubstr(std::to_string(200 - written) + " records lost here: nobody reads standard output\n"));
    EXPECT_THAT(daemon.output(), HasSubstr("lost " + std::to_string(200 - written) + ","));
}

TEST_F(HostileLog, AFullStandardOutputDoesNotEndTheDaemon) {
    log_daemon_process daemon(files.path(), {"--stdout", "--file", file()},
                              [] { dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO); });
    send_raw(daemon.socket_path(), datagram_of("one"));
    send_raw(daemon.socket_path(), datagram_of("two"));
    EXPECT_TRUE(wait_until([&] { return content().ends_with(": two\n"); }));
    EXPECT_EQ(daemon.stop(), 0);
    EXPECT_THAT(daemon.output(), HasSubstr("lost 2,"));
}

TEST_F(HostileLog, RotationUnderABurstLosesAndTearsNothing) {
    constexpr int count = 20'000;
    log_daemon_process daemon(files.path(), {"--file", file(), "--size", "100000", "--keep", "1000", "--rate", "0"});
    for (int i = 0; i < count; ++i)
        send_raw(daemon.socket_path(), datagram_of("record " + std::to_string(i) + " end"));
    EXPECT_EQ(daemon.stop(), 0);
    std::vector<bool> seen(count);
    for (const auto &entry : fs::directory_iterator(files.path())) {
        if (entry.path().filename().string().find("file") != 0) continue;
        EXPECT_LE(entry.file_size(), 100'000U);
        std::istringstream text(content_of(entry.path()));
        for (std::string line; std::getline(text, line);) {
            int number = -1;
            const size_t at = line.find(": record ");
            ASSERT_NE(at, std::string::npos) << line;
            ASSERT_EQ(std::sscanf(line.c_str() + at, ": record %d end", &number), 1) << line;
            ASSERT_TRUE(line.ends_with(" end")) << line;
            seen.at(static_cast<size_t>(number)) = true;
        }
    }
    EXPECT_EQ(std::ranges::count(seen, true), count);
}

int64_t milliseconds_of(const std::function<void()> &call) {
    const auto before = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - before).count();
}

// While this lives, standard error goes to a file.
class caught_stderr {
  public:
    explicit caught_stderr(const std::string &path) : before_(dup(STDERR_FILENO)) {
        const int file = open(path.c_str(), O_CREAT | O_WRONLY | O_APPEND | O_CLOEXEC, 0600);
        dup2(file, STDERR_FILENO);
        close(file);
    }
    ~caught_stderr() {
        std::fflush(stderr);
        dup2(before_, STDERR_FILENO);
        close(before_);
    }
    caught_stderr(const caught_stderr &) = delete;
    caught_stderr &operator=(const caught_stderr &) = delete;

  private:
    int before_;
};

TEST_F(HostileLog, AStoppedDaemonHoldsNoSenderLongerThanItsLimitAndWhatItMissedIsOnStandardError) {
    log_daemon_process daemon(files.path(), {"--file", file(), "--queue", "1"});
    ASSERT_EQ(ad_init_debug_lib(daemon.base().c_str()), 0);
    ad_errorlog_printf("before");
    ASSERT_TRUE(wait_until([&] { return content().ends_with(": before\n"); }));
    kill(daemon.pid(), SIGSTOP);
    constexpr int count = 14;  // more than the queue holds
    {
        const caught_stderr caught(files / "err");
        for (int i = 0; i < count; ++i)
            EXPECT_LT(milliseconds_of([i] { ad_errorlog_printf("while stopped %d", i); }), 300);
    }
    kill(daemon.pid(), SIGCONT);
    // A sender that gave the daemon up waits for it no more: what it sends before the queue has room is on its standard error.
    ASSERT_TRUE(wait_until([&] {
        ad_errorlog_printf("after");
        return content().find(": after\n") != std::string::npos;
    }));
    for (int i = 0; i < count; ++i) {
        const std::string text = "while stopped " + std::to_string(i) + "\n";
        const bool in_log = content().find(text) != std::string::npos,
                   on_stderr = content_of(files / "err").find(text) != std::string::npos;
        EXPECT_NE(in_log, on_stderr) << text;
    }
    EXPECT_THAT(content_of(files / "err"), HasSubstr("WARNING: cannot contact ad_logd"));
}

TEST_F(HostileLog, ADaemonThatComesBackGetsWhatIsLoggedFromThenOn) {
    {
        log_daemon_process first(files.path(), {"--file", file()});
        ASSERT_EQ(ad_init_debug_lib(first.base().c_str()), 0);
        ad_errorlog_printf("first");
        EXPECT_EQ(first.stop(), 0);
    }
    {
        const caught_stderr caught(files / "err");
        EXPECT_LT(milliseconds_of([] { ad_errorlog_printf("nobody there"); }), 100);
    }
    EXPECT_THAT(content_of(files / "err"), HasSubstr("nobody there\n"));
    log_daemon_process second(files.path(), {"--file", file()});
    ASSERT_TRUE(second.is_listening()) << second.output();
    ad_errorlog_printf("second");
    EXPECT_EQ(second.stop(), 0);
    EXPECT_THAT(content(), HasSubstr(": first\n"));
    EXPECT_THAT(content(), HasSubstr(": second\n"));
    EXPECT_EQ(content().find("nobody"), std::string::npos);
}

TEST_F(HostileLog, OfTwoDaemonsThatStartTogetherExactlyOneListens) {
    for (int round = 0; round < 20; ++round) {
        int listening = 0;
        std::vector<pid_t> starters;
        int results[2];
        ASSERT_EQ(pipe2(results, O_CLOEXEC), 0);
        int go[2];
        ASSERT_EQ(pipe2(go, O_CLOEXEC), 0);
        for (int i = 0; i < 2; ++i) {
            const pid_t child = fork();
            if (child == 0) {
                close(go[1]);
                char byte;
                static_cast<void>(!read(go[0], &byte, 1));
                log_daemon_process daemon(files.path(), {"--file", file()});
                byte = daemon.is_listening() ? 'y' : 'n';
                static_cast<void>(!write(results[1], &byte, 1));
                pause();  // until killed, and the daemon with it
                _exit(0);
            }
            starters.push_back(child);
        }
        close(go[0]);
        close(go[1]);
        for (int i = 0; i < 2; ++i) {
            char byte = 0;
            ASSERT_EQ(read(results[0], &byte, 1), 1);
            listening += byte == 'y';
        }
        for (const pid_t child : starters) {
            kill(child, SIGKILL);
            int status = 0;
            waitpid(child, &status, 0);
        }
        close(results[0]);
        close(results[1]);
        ASSERT_EQ(listening, 1) << "round " << round;
        // The daemon dies with its starter: its lock is free again then.
        const auto is_free = [this] {
            struct flock whole = {};
            whole.l_type = F_WRLCK;
            const int lock = open((files / "log.").append(std::to_string(getuid())).append(".lock").c_str(), O_RDWR | O_CLOEXEC);
            fcntl(lock, F_GETLK, &whole);
            close(lock);
            return whole.l_type == F_UNLCK;
        };
        ASSERT_TRUE(wait_until(is_free));
    }
}

}  // namespace
