// The client's transport in processes that are short of descriptors, fork, run programs, or began without standard streams;
// and directories and sockets that others prepared.

#include <cerrno>
#include <cstring>
#include <set>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "raw_server.h"
#include "tests/support/scratch.h"

namespace {

constexpr uint32_t tcam = 190491;

class HostileProcess : public testing::Test {
  protected:
    scratch_directory scratch;
    scratch_variable directory{"RUV_DIR", scratch.path().c_str()};
    byte_list reply;
};

// Runs the check in a child; its exit status is the check's result.
int status_of_child(const std::function<bool()> &check) {
    const pid_t child = fork();
    if (child == 0) _exit(check() ? 0 : 1);
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

std::set<int> descriptors() {
    std::set<int> open;
    for (int descriptor = 0; descriptor < 4096; ++descriptor)
        if (fcntl(descriptor, F_GETFD) >= 0) open.insert(descriptor);
    return open;
}

TEST_F(HostileProcess, ThousandsOfBindingsAndConnectionsLeaveNothingBehind) {
    raw_process server(scratch.path(), tcam, echo);
    // Each endpoint opens and its successor's bind closes, once the ring is full.
    for (int i = 0; i < 32; ++i)
        ruv_client::bind("fills the ring");
    const size_t before = open_descriptors();
    for (int i = 0; i < 2000; ++i) {
        ruv_client client;
        ASSERT_EQ(client.exchange(tcam, {1}, &reply), 0);
        for (int more = 0; more < 32; ++more)
            ruv_client::bind("ends the connection");
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(HostileProcess, ShortageOfDescriptorsIsReportedAndPasses) {
    raw_process server(scratch.path(), tcam, echo);
    ruv_client client;
    rlimit before;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const int next = dup(0);
    close(next);
    const rlimit none = {static_cast<rlim_t>(next), before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const int32_t result = client.send(tcam, {1});
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(result, -EMFILE);
    EXPECT_EQ(client.exchange(tcam, {2}, &reply), 0);
}

TEST_F(HostileProcess, DescriptorsAbove1024Work) {
    raw_process server(scratch.path(), tcam, echo);
    rlimit limit;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit more = {std::min<rlim_t>(4096, limit.rlim_max), limit.rlim_max};
    if (more.rlim_cur < 1100) GTEST_SKIP() << "no more than " << more.rlim_cur << " descriptors allowed";
    EXPECT_EQ(status_of_child([&] {
                  setrlimit(RLIMIT_NOFILE, &more);
                  int last = 0;
                  while (last < 1030)
                      last = open("/dev/null", O_RDONLY | O_CLOEXEC);
                  ruv_client client;
                  const bool works = client.exchange(tcam, {2}, &reply) == 0;
                  return works && *descriptors().rbegin() > 1030;
              }),
              0);
}

TEST_F(HostileProcess, ConnectionsNeverTakeTheStandardStreamsPlaces) {
    raw_process server(scratch.path(), tcam, echo);
    EXPECT_EQ(status_of_child([&] {
                  for (int stream = 0; stream < 3; ++stream)
                      close(stream);
                  ruv_client client;
                  const bool works = client.exchange(tcam, {2}, &reply) == 0;
                  return works && *descriptors().begin() > 2;
              }),
              0);
}

TEST_F(HostileProcess, AProgramThatIsRunInheritsNothing) {
    raw_process server(scratch.path(), tcam, echo);
    const std::set<int> before = descriptors();
    ruv_client client;
    ASSERT_EQ(client.exchange(tcam, {2}, &reply), 0);
    const std::set<int> after = descriptors();
    EXPECT_EQ(after.size(), before.size() + 1);
    for (const int descriptor : after) {
        if (before.contains(descriptor)) continue;
        EXPECT_NE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0) << descriptor;
    }
}

TEST_F(HostileProcess, AForkedChildOpensConnectionsOfItsOwn) {
    raw_server server(scratch.path(), tcam, echo);
    ruv_client client;
    ASSERT_EQ(client.exchange(tcam, {1}, &reply), 0);
    ASSERT_EQ(client.send(tcam, {2}), 0);
    EXPECT_EQ(status_of_child([&] {
                  return client.receive() == -ENOTCONN && client.exchange(tcam, {3}, &reply) == 0 && reply == byte_list{3};
              }),
              0);
    ASSERT_EQ(client.receive(&reply), 0);
    EXPECT_EQ(reply, byte_list{2});
    EXPECT_EQ(server.accepted(), 2);
}

TEST_F(HostileProcess, AHostThatClosesEveryDescriptorIsConnectedAnew) {
    raw_process server(scratch.path(), tcam, echo);
    EXPECT_EQ(status_of_child([&] {
                  ruv_client client;
                  if (client.exchange(tcam, {1}, &reply) != 0) return false;
                  close_range(3, ~0u, 0);
                  if (client.exchange(tcam, {2}, &reply) != 0) return false;
                  close_range(3, ~0u, 0);
                  const int other = open("/dev/null", O_RDWR | O_CLOEXEC);  // has the connection's number
                  struct stat found;
                  return client.exchange(tcam, {3}, &reply) == 0 && fstat(other, &found) == 0 && S_ISCHR(found.st_mode);
              }),
              0);
}

// ---- directories and sockets of others ----

// Sends three times from two endpoints in a process of its own; its exit status is the result's, its standard error what was
// explained.
[[noreturn]] void send_thrice() {
    ruv_client first{ruv_client::bind("NPRM Client 0")};
    const int32_t result = first.send(tcam, {1});
    first.send(tcam, {1});
    ruv_client{ruv_client::bind("NPRM Client 1")}.send(tcam, {1});
    _exit(-result);
}

void expect_explained(int error, const std::string &text) {
    EXPECT_EXIT(send_thrice(), testing::ExitedWithCode(error), testing::Eq("nprm: NPRM Client 0: " + text + "\n"));
}

TEST_F(HostileProcess, AMissingDirectoryIsExplainedOnce) {
    const scratch_variable missing("RUV_DIR", (scratch / "missing").c_str());
    expect_explained(ENOENT,
                     scratch / "missing" + " does not exist: start the card, or set RUV_DIR to the directory of one that runs");
}

TEST_F(HostileProcess, ADirectoryThatOthersMayWriteIsRefused) {
    raw_process server(scratch.path(), tcam, echo);
    ASSERT_EQ(chmod(scratch.path().c_str(), 0770), 0);
    expect_explained(EACCES,
                     scratch.path() +
                         " may be written by other users: set RUV_DIR to a private directory, or chmod 700 this one if it is "
                         "yours alone");
}

TEST_F(HostileProcess, ADirectoryThatIsASymbolicLinkIsRefused) {
    raw_process server(scratch.path(), tcam, echo);
    const std::string link = scratch / "link";
    ASSERT_EQ(symlink(scratch.path().c_str(), link.c_str()), 0);
    const scratch_variable linked("RUV_DIR", link.c_str());
    expect_explained(ENOTDIR,
                     link + " is not a directory (symbolic links are not followed): remove it, or set RUV_DIR to another path");
}

TEST_F(HostileProcess, APathThatFillsTheSocketAddressWorksAndALongerOneIsRefused) {
    const std::string start = scratch.path() + "/";
    const size_t name_bytes = std::strlen("/190491");
    for (const size_t length : {107u, 108u, 109u}) {
        const std::string path = start + std::string(length - name_bytes - start.size(), 'd');
        ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
        const scratch_variable chosen("RUV_DIR", path.c_str());
        if (length == 107) {
            raw_process server(path, tcam, echo);
            ruv_client client;
            EXPECT_EQ(client.exchange(tcam, {1}, &reply), 0);
            continue;
        }
        expect_explained(ENAMETOOLONG,
                         path + "/190491 is too long: a socket's whole path has at most 107 bytes; set RUV_DIR to a shorter one");
    }
    const scratch_variable chosen("RUV_DIR", std::string(5000, 'd').c_str());
    expect_explained(ENAMETOOLONG,
                     "the directory's name is too long: a socket's whole path has at most 107 bytes; set RUV_DIR to a shorter one");
}

// A symbolic link of ours, or the name itself, may lead to another user's socket; only the kernel tells who answers.
TEST_F(HostileProcess, AServerOfAnotherUserIsRefused) {
    if (geteuid() != 0) GTEST_SKIP() << "needs the right to become another user";
    const scratch_directory theirs;
    ASSERT_EQ(chmod(theirs.path().c_str(), 0755), 0);
    ASSERT_EQ(chown(theirs.path().c_str(), 65534, 65534), 0);
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t other = fork();
    if (other == 0) {
        const bool another = setresgid(65534, 65534, 65534) == 0 && setresuid(65534, 65534, 65534) == 0;
        const int listening = another ? listen_on(theirs.path(), tcam) : -1;
        [[maybe_unused]] const ssize_t told = write(ready[1], listening >= 0 ? "y" : "n", 1);
        const int connection = accept(listening, nullptr, nullptr);
        char byte;
        _exit(recv(connection, &byte, 1, 0) == 0 ? 0 : 1);  // closed without a byte of ours
    }
    char answer = 0;
    ASSERT_EQ(read(ready[0], &answer, 1), 1);
    close(ready[0]);
    close(ready[1]);
    ASSERT_EQ(answer, 'y');
    ASSERT_EQ(symlink((theirs / "190491").c_str(), (scratch / "190491").c_str()), 0);
    expect_explained(EPERM, scratch / "190491" + " belongs to another user: set RUV_DIR to a directory of your own");
    int status = -1;
    waitpid(other, &status, 0);
    EXPECT_EQ(status, 0) << "the other user's server got a request";
}

}  // namespace
