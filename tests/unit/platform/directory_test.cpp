// Where the local transport lives: the directory's choice, the trust in it, the length of addresses, and its descriptors.

#include "platform/local/ruv_local.h"

#include <cerrno>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/scratch.h"

namespace {

std::string directory_now() {
    char path[108];
    return ruv_local_directory(path, sizeof path) == 0 ? path : "error";
}

std::string explained(int error, const char *path) {
    char text[512];
    ruv_local_explain(error, path, text, sizeof text);
    return text;
}

TEST(RuvDirectory, IsWhatRuvDirSays) {
    const scratch_variable chosen("RUV_DIR", "/some/where"), runtime("XDG_RUNTIME_DIR", "/run/user/7");
    EXPECT_EQ(directory_now(), "/some/where");
}

TEST(RuvDirectory, LosesSlashesAtTheEnd) {
    const scratch_variable chosen("RUV_DIR", "/some/where//");
    EXPECT_EQ(directory_now(), "/some/where");
}

TEST(RuvDirectory, IsUnderTheRuntimeDirectoryOtherwise) {
    const scratch_variable chosen("RUV_DIR", ""), runtime("XDG_RUNTIME_DIR", "/run/user/7");
    EXPECT_EQ(directory_now(), "/run/user/7/ruv");
}

TEST(RuvDirectory, IsInTmpWithTheUserWithoutAnAbsoluteRuntimeDirectory) {
    const scratch_variable chosen("RUV_DIR", nullptr), runtime("XDG_RUNTIME_DIR", "relative");
    EXPECT_EQ(directory_now(), "/tmp/ruv-" + std::to_string(geteuid()));
}

TEST(RuvDirectory, MustFitTheRoomWithItsTerminator) {
    const scratch_variable chosen("RUV_DIR", "/1234567"), runtime("XDG_RUNTIME_DIR", "/r");
    char path[9];
    EXPECT_EQ(ruv_local_directory(path, 8), -ENAMETOOLONG);
    EXPECT_EQ(ruv_local_directory(path, 9), 0);
    const scratch_variable none("RUV_DIR", nullptr);
    EXPECT_EQ(ruv_local_directory(path, 6), -ENAMETOOLONG);
    EXPECT_EQ(ruv_local_directory(path, 7), 0);
    EXPECT_STREQ(path, "/r/ruv");
}

TEST(RuvDirectoryTrust, IsGivenToAPrivateDirectory) {
    const scratch_directory scratch;
    EXPECT_EQ(ruv_local_check_directory(scratch.path().c_str()), 0);
    chmod(scratch.path().c_str(), 0755);
    EXPECT_EQ(ruv_local_check_directory(scratch.path().c_str()), 0);
}

TEST(RuvDirectoryTrust, IsRefusedWhenOthersMayWrite) {
    const scratch_directory scratch;
    for (const mode_t mode : {0720u, 0702u, 01777u}) {
        chmod(scratch.path().c_str(), mode);
        EXPECT_EQ(ruv_local_check_directory(scratch.path().c_str()), -EACCES) << std::oct << mode;
    }
}

TEST(RuvDirectoryTrust, IsRefusedForWhatIsNoDirectory) {
    const scratch_directory scratch;
    EXPECT_EQ(ruv_local_check_directory((scratch / "missing").c_str()), -ENOENT);
    ASSERT_EQ(symlink(scratch.path().c_str(), (scratch / "link").c_str()), 0);
    EXPECT_EQ(ruv_local_check_directory((scratch / "link").c_str()), -ENOTDIR);
    EXPECT_EQ(ruv_local_check_directory((scratch / "link/").c_str()), -ENOTDIR) << "a slash follows the link";
    ASSERT_EQ(mknod((scratch / "file").c_str(), S_IFREG | 0600, 0), 0);
    EXPECT_EQ(ruv_local_check_directory((scratch / "file").c_str()), -ENOTDIR);
    EXPECT_EQ(ruv_local_check_directory(std::string(200, 'x').c_str()), -ENAMETOOLONG);
}

TEST(RuvDirectoryTrust, IsRefusedForAnotherUsersDirectory) {
    const scratch_directory scratch;
    if (geteuid() == 0) {
        ASSERT_EQ(chown(scratch.path().c_str(), 65534, 65534), 0);
        EXPECT_EQ(ruv_local_check_directory(scratch.path().c_str()), -EPERM);
    } else {
        EXPECT_EQ(ruv_local_check_directory("/usr"), -EPERM);
    }
}

TEST(RuvExplanation, SaysWhatToDo) {
    EXPECT_EQ(explained(-ENOENT, "/d"), "/d does not exist: start the card, or set RUV_DIR to the directory of one that runs");
    EXPECT_EQ(explained(-ENOTDIR, "/d"),
              "/d is not a directory (symbolic links are not followed): remove it, or set RUV_DIR to another path");
    EXPECT_EQ(explained(-EPERM, "/d"), "/d belongs to another user: set RUV_DIR to a directory of your own");
    EXPECT_EQ(explained(-EACCES, "/d"),
              "/d may be written by other users: set RUV_DIR to a private directory, or chmod 700 this one if it is yours alone");
    EXPECT_EQ(explained(-ENAMETOOLONG, "/d"),
              "/d is too long: a socket's whole path has at most 107 bytes; set RUV_DIR to a shorter one");
    EXPECT_EQ(explained(-EIO, "/d"), "/d: Input/output error");
    EXPECT_EQ(explained(EIO, "/%s%n"), "/%s%n: Input/output error");
}

TEST(RuvExplanation, EndsInsideItsRoom) {
    for (size_t room = 1; room < 60; ++room) {
        char text[64];
        std::memset(text, 'x', sizeof text);
        ruv_local_explain(-EPERM, "/d", text, room);
        EXPECT_EQ(std::strlen(text), room - 1);
        EXPECT_EQ(text[room], 'x');
    }
}

// The kernel accepts 108 bytes without a terminator, so the check is ours.
TEST(RuvAddress, HoldsAPathOf107Bytes) {
    sockaddr_un address;
    for (const size_t length : {107u, 108u, 109u}) {
        const std::string directory(length - 7, 'd');
        EXPECT_EQ(ruv_local_address(&address, directory.c_str(), "190491"), length == 107 ? 0 : -ENAMETOOLONG) << length;
    }
    ASSERT_EQ(ruv_local_address(&address, "/d", "190491"), 0);
    EXPECT_EQ(address.sun_family, AF_UNIX);
    EXPECT_STREQ(address.sun_path, "/d/190491");
}

TEST(RuvPeer, IsOwnAtTheOtherEndOfAConnectionAndNobodyWhereThereIsNone) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends), 0);
    EXPECT_EQ(ruv_local_is_own_user(ends[0]), 1);
    close(ends[0]);
    close(ends[1]);
    EXPECT_EQ(ruv_local_is_own_user(ends[0]), 0);
}

TEST(RuvDescriptor, IsMovedFromTheStandardStreamsOnly) {
    const int above = dup(STDERR_FILENO);
    ASSERT_GT(above, STDERR_FILENO);
    EXPECT_EQ(ruv_local_above_standard_streams(above), above);
    EXPECT_EQ(ruv_local_above_standard_streams(-1), -1);

    const int kept = dup(STDIN_FILENO);
    const int moved = ruv_local_above_standard_streams(STDIN_FILENO);
    EXPECT_GT(moved, STDERR_FILENO);
    EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1) << "the old one is closed";
    EXPECT_EQ(fcntl(moved, F_GETFD), FD_CLOEXEC);
    if (kept >= 0) dup2(kept, STDIN_FILENO);
    for (const int descriptor : {above, kept, moved})
        close(descriptor);
}

}  // namespace
