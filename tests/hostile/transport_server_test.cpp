// The server half against hostile directories and clients: it owns its names alone, takes nothing that is not its own, and no
// client stops it.

#include <atomic>
#include <cerrno>
#include <cstring>
#include <optional>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "platform/local/ruv_server.h"
#include "raw_server.h"
#include "tests/support/scratch.h"

namespace {

constexpr uint32_t tcam = 190491;
constexpr uint32_t only_tcam[] = {tcam};

std::string refusal_in(const std::string &directory) {
    ruv_server server([](const ruv_request &) {});
    try {
        server.listen(directory, only_tcam);
    } catch (const std::runtime_error &error) {
        return error.what();
    }
    return "none";
}

// Serves in a thread until the test ends.
class running_server {
  public:
    explicit running_server(const std::string &directory) {
        server_.listen(directory, only_tcam);
        thread_ = std::thread([this] {
            while (!over_)
                server_.dispatch(5);
        });
    }
    ~running_server() { stop(); }
    ruv_server::counters stop() {
        over_ = true;
        if (thread_.joinable()) thread_.join();
        return server_.count();
    }

  private:
    ruv_server server_{[this](const ruv_request &request) { server_.reply(request.peer, request.token, request.payload); }};
    std::atomic<bool> over_ = false;
    std::thread thread_;
};

class HostileClient : public testing::Test {
  protected:
    scratch_directory scratch;
    scratch_variable directory{"RUV_DIR", scratch.path().c_str()};
    byte_list reply;
};

TEST_F(HostileClient, WhatIsNoSocketKeepsItsNameAndTheServerRefuses) {
    const std::string path = scratch / "190491", refused = path + " is not a socket: move it away, the server needs this name";
    ASSERT_EQ(symlink((scratch / "nowhere").c_str(), path.c_str()), 0);
    EXPECT_EQ(refusal_in(scratch.path()), refused);
    char target[4096] = {};
    EXPECT_GT(readlink(path.c_str(), target, sizeof target - 1), 0);
    EXPECT_EQ(target, scratch / "nowhere");
    EXPECT_NE(access((scratch / "nowhere").c_str(), F_OK), 0);
    unlink(path.c_str());

    const int real = listen_on(scratch.path(), 7);
    ASSERT_EQ(symlink((scratch / "7").c_str(), path.c_str()), 0);
    EXPECT_EQ(refusal_in(scratch.path()), refused);
    unlink(path.c_str());
    close(real);

    ASSERT_EQ(mknod(path.c_str(), S_IFREG | 0600, 0), 0);
    EXPECT_EQ(refusal_in(scratch.path()), refused);
    EXPECT_EQ(access(path.c_str(), F_OK), 0);
    unlink(path.c_str());
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    EXPECT_EQ(refusal_in(scratch.path()), refused);
    EXPECT_EQ(access(path.c_str(), F_OK), 0);
}

TEST_F(HostileClient, ASocketThatSomebodyServesIsLeftToThem) {
    const int theirs = listen_on(scratch.path(), tcam);
    EXPECT_EQ(refusal_in(scratch.path()), scratch / "190491" + " is served by process " + std::to_string(getpid()) +
                                              ": stop it, or set RUV_DIR to another directory");
    const int still = connect_raw(scratch.path(), tcam);
    EXPECT_GE(still, 0);
    close(still);
    close(theirs);
}

TEST_F(HostileClient, TheSocketOfADeadServerIsReplaced) {
    close(listen_on(scratch.path(), tcam));
    EXPECT_EQ(access((scratch / "190491").c_str(), F_OK), 0);
    const running_server server(scratch.path());
    ruv_client client;
    EXPECT_EQ(client.exchange(tcam, {1}, &reply), 0);
}

TEST_F(HostileClient, ALockThatIsNoPlainFileIsRefused) {
    const std::string lock = scratch / "lock";
    ASSERT_EQ(symlink((scratch / "victim").c_str(), lock.c_str()), 0);
    EXPECT_EQ(refusal_in(scratch.path()), lock + ": cannot open the lock: Too many levels of symbolic links");
    EXPECT_NE(access((scratch / "victim").c_str(), F_OK), 0) << "the link was followed";
    unlink(lock.c_str());

    const std::string refused = lock + " is not a plain file of yours: move it away, the server needs this name";
    ASSERT_EQ(mkfifo(lock.c_str(), 0600), 0);
    EXPECT_EQ(refusal_in(scratch.path()), refused);
    unlink(lock.c_str());

    ASSERT_EQ(mknod((scratch / "victim").c_str(), S_IFREG | 0600, 0), 0);
    ASSERT_EQ(link((scratch / "victim").c_str(), lock.c_str()), 0);
    EXPECT_EQ(refusal_in(scratch.path()), refused);
}

TEST_F(HostileClient, AHolderThatWroteNonsenseIsNotQuoted) {
    const int lock = open((scratch / "lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(write(lock, "\x1b[2J", 4), 4);
    ASSERT_EQ(flock(lock, LOCK_EX | LOCK_NB), 0);
    EXPECT_EQ(refusal_in(scratch.path()),
              scratch.path() + " is served by another process: stop it, or set RUV_DIR to another directory");
    close(lock);
}

TEST_F(HostileClient, OfTwoServersThatStartTogetherOneOwnsTheDirectory) {
    for (int round = 0; round < 200; ++round) {
        std::atomic<int> owners = 0, finished = 0;
        std::atomic<bool> go = false;
        const auto start = [&] {
            ruv_server server([](const ruv_request &) {});
            while (!go) {
            }
            try {
                server.listen(scratch.path(), only_tcam);
                ++owners;
            } catch (const std::runtime_error &) {
            }
            ++finished;
            comes_true([&] { return finished == 2; });
        };
        std::thread first(start), second(start);
        go = true;
        first.join();
        second.join();
        ASSERT_EQ(owners, 1) << round;
    }
}

TEST_F(HostileClient, AServerThatIsKilledLeavesTheDirectoryToTheNext) {
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    if (child == 0) {
        ruv_server server([](const ruv_request &) {});
        server.listen(scratch.path(), only_tcam);
        [[maybe_unused]] const ssize_t told = write(ready[1], "y", 1);
        for (;;)
            pause();
    }
    char byte;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    close(ready[0]);
    close(ready[1]);
    EXPECT_EQ(refusal_in(scratch.path()),
              scratch.path() + " is served by process " + std::to_string(child) + ": stop it, or set RUV_DIR to another directory");
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    EXPECT_EQ(access((scratch / "190491").c_str(), F_OK), 0);
    EXPECT_EQ(refusal_in(scratch.path()), "none");
}

TEST_F(HostileClient, ClientsThatComeAndGoLeaveNothingBehind) {
    running_server server(scratch.path());
    const size_t before = open_descriptors();
    for (int i = 0; i < 2000; ++i) {
        const int client = connect_raw(scratch.path(), tcam);
        ASSERT_GE(client, 0);
        if (i % 2 == 0) send_bytes(client, message_of(0x31565552, 1, 0, 0));
        close(client);
    }
    // Clients are accepted in the order in which they came, so that all others were when the last one is answered.
    const int last = connect_raw(scratch.path(), tcam);
    send_bytes(last, message_of(0x31565552, 1, 0, 0));
    char answer[16];
    EXPECT_EQ(recv(last, answer, sizeof answer, 0), 16);
    close(last);
    EXPECT_TRUE(comes_true([&] { return open_descriptors() == before; }));
    EXPECT_EQ(server.stop().connections, 0u);
}

TEST_F(HostileClient, DescriptorsInRequestsAreClosed) {
    running_server server(scratch.path());
    const int client = connect_raw(scratch.path(), tcam);
    byte_list message = message_of(0x31565552, 1, 0, 0);
    char answer[64];
    send_bytes(client, message);
    ASSERT_EQ(recv(client, answer, sizeof answer, 0), 16);
    const size_t before = open_descriptors();
    for (int i = 0; i < 500; ++i) {
        iovec part = {message.data(), message.size()};
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
        msghdr header = {};
        header.msg_iov = &part;
        header.msg_iovlen = 1;
        header.msg_control = control;
        header.msg_controllen = sizeof control;
        cmsghdr *rights = CMSG_FIRSTHDR(&header);
        rights->cmsg_level = SOL_SOCKET;
        rights->cmsg_type = SCM_RIGHTS;
        rights->cmsg_len = CMSG_LEN(sizeof(int));
        std::memcpy(CMSG_DATA(rights), &client, sizeof client);
        ASSERT_EQ(sendmsg(client, &header, MSG_NOSIGNAL), 16);
        ASSERT_EQ(recv(client, answer, sizeof answer, 0), 16);
    }
    EXPECT_EQ(open_descriptors(), before);
    close(client);
}

TEST_F(HostileClient, ShortageOfDescriptorsNeitherSpinsNorOutlastsItself) {
    ruv_server server([&](const ruv_request &request) { server.reply(request.peer, request.token, request.payload); });
    server.listen(scratch.path(), only_tcam);
    const int first = connect_raw(scratch.path(), tcam);
    server.dispatch();
    ASSERT_EQ(server.count().connections, 1u);
    const int second = connect_raw(scratch.path(), tcam);

    rlimit before;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const int next = dup(0);
    close(next);
    const rlimit none = {static_cast<rlim_t>(next), before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    server.dispatch();
    pollfd readable = {server.descriptor(), POLLIN, 0};
    const int busy = poll(&readable, 1, 50);
    const uint32_t connections = server.count().connections;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(busy, 0) << "the server would spin";
    EXPECT_EQ(connections, 1u);

    // The first client's end makes room; the one that waited is served then.
    close(first);
    send_bytes(second, message_of(0x31565552, 1, 0, 0));
    for (int tries = 0; tries < 100 && server.count().replies == 0; ++tries)
        server.dispatch(10);
    char answer[16];
    EXPECT_EQ(recv(second, answer, sizeof answer, MSG_DONTWAIT), 16);
    close(second);
}

TEST_F(HostileClient, AClientOfAnotherUserIsRefused) {
    if (geteuid() != 0) GTEST_SKIP() << "needs the right to become another user";
    ruv_server server([](const ruv_request &) { ADD_FAILURE() << "a request of another user was served"; });
    server.listen(scratch.path(), only_tcam);
    chmod(scratch.path().c_str(), 0755);
    chmod((scratch / "190491").c_str(), 0777);
    const pid_t child = fork();
    if (child == 0) {
        if (setresuid(65534, 65534, 65534) != 0) _exit(2);
        const int client = connect_raw(scratch.path(), tcam);
        send_bytes(client, message_of(0x31565552, 1, 0, 0));
        char byte;
        _exit(recv(client, &byte, 1, 0) <= 0 ? 0 : 1);
    }
    for (int tries = 0; tries < 500 && server.count().refused_peers == 0; ++tries)
        server.dispatch(10);
    EXPECT_EQ(server.count().refused_peers, 1u);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

}  // namespace
