// Places in the file system, receiving, and queues towards slow readers.

#include "daemon.h"
#include "outgoing.h"
#include "place.h"
#include "receiver.h"
#include "stream_sink.h"

#include "tests/support/log_daemon_process.h"
#include "tests/support/scratch.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

std::string refusal_of(const std::function<void()> &call) {
    try {
        call();
    } catch (const std::runtime_error &refusal) {
        return refusal.what();
    }
    return "no refusal";
}

mode_t mode_of(const std::string &path) {
    struct stat there {};
    return stat(path.c_str(), &there) == 0 ? there.st_mode & 07777 : 0;
}

TEST(Place, HasExactlyTheModeWhateverTheUmask) {
    const scratch_directory files;
    for (const mode_t mask : {mode_t{0}, mode_t{077}}) {
        const mode_t before = umask(mask);
        const unique_fd bound = bind_place(files / "socket", SOCK_DGRAM, 0626);
        EXPECT_EQ(umask(before), mask);
        EXPECT_EQ(mode_of(files / "socket"), 0626U);
        fs::remove(files / "socket");
    }
}

TEST(Place, OfADeadSocketIsTakenAndOfALivingOneIsNot) {
    const scratch_directory files;
    for (const int type : {SOCK_DGRAM, SOCK_STREAM}) {
        unique_fd first = bind_place(files / "socket", type, 0600);
        listen(first.get(), 1);
        EXPECT_THAT(refusal_of([&] { bind_place(files / "socket", type, 0600); }), HasSubstr("another process reads this socket"));
        first.reset();
        EXPECT_GE(bind_place(files / "socket", type, 0600).get(), 0);
    }
}

TEST(Place, OfAnythingElseIsLeftAlone) {
    const scratch_directory files;
    fs::create_symlink(files / "nowhere", files / "dangling");
    close(open((files / "file").c_str(), O_CREAT | O_WRONLY, 0600));
    const unique_fd foreign = bind_place(files / "foreign", SOCK_DGRAM, 0600);
    EXPECT_THAT(refusal_of([&] { bind_place(files / "dangling", SOCK_DGRAM, 0600); }), HasSubstr("is a symbolic link"));
    EXPECT_THAT(refusal_of([&] { bind_place(files / "file", SOCK_DGRAM, 0600); }), HasSubstr("is no socket"));
    EXPECT_TRUE(fs::is_symlink(files / "dangling"));
    EXPECT_TRUE(fs::exists(files / "file"));
    if (getuid() == 0) {
        ASSERT_EQ(chown((files / "foreign").c_str(), 12345, 12345), 0);
        EXPECT_THAT(refusal_of([&] { bind_place(files / "foreign", SOCK_DGRAM, 0600); }), HasSubstr("belongs to user 12345"));
    }
    fs::create_symlink(files / "file", files / "x.lock");
    EXPECT_THAT(refusal_of([&] { lock_place(files / "x"); }), HasSubstr("is a symbolic link"));
}

TEST(Place, HasAPathOf107BytesAtMost) {
    EXPECT_EQ(std::string(address_of(std::string(107, 'p')).sun_path), std::string(107, 'p'));
    EXPECT_THAT(refusal_of([] { address_of(std::string(108, 'p')); }), HasSubstr("has 1 to 107 bytes, this has 108"));
    EXPECT_THAT(refusal_of([] { address_of(""); }), HasSubstr("this has 0"));
}

TEST(Mode, IsOctal) {
    mode_t mode = 1;
    EXPECT_TRUE(read_mode("0660", mode));
    EXPECT_EQ(mode, 0660U);
    for (const char *text : {"", "8", "0x1", "1777", "-1", "660 "})
        EXPECT_FALSE(read_mode(text, mode)) << text;
}

TEST(LogDaemon, HasTwoSocketsAndNotOneTwice) {
    const scratch_directory files;
    daemon_options wanted = {};
    wanted.path = files / "log";
    wanted.special_path = files / "./log";
    EXPECT_THAT(refusal_of([&] { log_daemon daemon(wanted); }), HasSubstr("--socket and --special are the same socket"));
}

TEST(Receiver, TakesBatchesWithTheKernelsWordOnTheSender) {
    use_private_ipc();
    const scratch_directory files;
    receiver log({files / "log", 0600, 10});
    EXPECT_TRUE(log.has_shared_record());
    for (const std::string &bytes : {std::string("one"), std::string(), std::string(70'000, 'x')})
        ASSERT_GE(send_raw(files / "log", bytes), 0);
    std::vector<std::pair<size_t, size_t>> sizes;
    EXPECT_EQ(log.receive([&sizes](const received_datagram &what) {
        EXPECT_EQ(what.who.pid, getpid());
        EXPECT_EQ(what.who.uid, getuid());
        sizes.emplace_back(what.bytes.size(), what.sent_bytes);
    }),
              3U);
    EXPECT_THAT(sizes, testing::ElementsAre(std::pair{3U, 3U}, std::pair{0U, 0U}, std::pair{4095U, 70'000U}));
    EXPECT_EQ(log.receive([](const received_datagram &) { FAIL(); }), 0U);
}

TEST(Receiver, ClosesDescriptorsThatSomebodySends) {
    use_private_ipc();
    const scratch_directory files;
    receiver log({files / "log", 0600, 10});
    const auto open_descriptors = [] { return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()); };
    const unique_fd sender(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = address_of(files / "log");
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    char byte = 'x';
    iovec piece = {&byte, 1};
    msghdr message = {};
    message.msg_name = const_cast<sockaddr_un *>(&address);
    message.msg_namelen = sizeof address;
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    cmsghdr *part = CMSG_FIRSTHDR(&message);
    part->cmsg_level = SOL_SOCKET;
    part->cmsg_type = SCM_RIGHTS;
    part->cmsg_len = CMSG_LEN(sizeof(int));
    *reinterpret_cast<int *>(CMSG_DATA(part)) = STDERR_FILENO;
    const auto before = open_descriptors();
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(sendmsg(sender.get(), &message, 0), 1);
        ASSERT_EQ(log.receive([](const received_datagram &what) { EXPECT_EQ(what.who.pid, getpid()); }), 1U);
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST(Receiver, KeepsLevelAndFiltersWhenItsSocketIsMadeAnew) {
    use_private_ipc();
    const scratch_directory files;
    ad_debug_cfg *record = nullptr;
    {
        const receiver first({files / "log", 0600, 10});
        ASSERT_EQ(ad_get_ad_debug_cfg_p_no_create((files / "log").c_str(), &record), 0);
        record->level = 3;
        record->client_ip = 0x0100000A;
        ad_return_ad_debug_cfg_p(record);
    }
    const unique_fd keeps_the_inode_in_use(open((files / "other").c_str(), O_CREAT | O_WRONLY, 0600));
    const receiver second({files / "log", 0600, 10});
    ASSERT_EQ(ad_get_ad_debug_cfg_p_no_create((files / "log").c_str(), &record), 0);
    EXPECT_EQ(record->level, 3);
    EXPECT_EQ(record->client_ip, 0x0100000AU);
    ad_return_ad_debug_cfg_p(record);
}

// A segment under the key of a dead socket's file.   Returns its number.
int segment_under(const std::string &path, size_t bytes) {
    const key_t key = ftok(path.c_str(), AD_DEBUG_KEY_ID);
    shmctl(shmget(key, 0, 0), IPC_RMID, nullptr);  // of a file before that had this one's number
    const int segment = shmget(key, bytes, IPC_CREAT | IPC_EXCL | 0666);
    if (segment < 0) return -1;
    auto *const words = static_cast<int32_t *>(shmat(segment, nullptr, 0));
    *words = 3;
    shmdt(words);
    return segment;
}

int32_t level_of(const std::string &path) {
    ad_debug_cfg *record = nullptr;
    EXPECT_EQ(ad_get_ad_debug_cfg_p_no_create(path.c_str(), &record), 0);
    const int32_t level = record->level;
    ad_return_ad_debug_cfg_p(record);
    return level;
}

TEST(Receiver, LeavesASegmentAloneThatIsNoRecordOrThatAnotherUserMade) {
    use_private_ipc();
    const scratch_directory files;
    bind_place(files / "log", SOCK_DGRAM, 0600).reset();
    const int larger = segment_under(files / "log", 4096);
    ASSERT_GE(larger, 0);
    const unique_fd keeps_the_inode_in_use(open((files / "log").c_str(), O_PATH | O_CLOEXEC));
    {
        const receiver log({files / "log", 0600, 10});
        EXPECT_EQ(level_of(files / "log"), 0);
    }
    EXPECT_EQ(shmctl(larger, IPC_RMID, nullptr), 0) << "it is still there";
    if (getuid() != 0) GTEST_SKIP() << "another user's segment needs root";
    bind_place(files / "other", SOCK_DGRAM, 0600).reset();
    const unique_fd keeps_this_too(open((files / "other").c_str(), O_PATH | O_CLOEXEC));
    ASSERT_EQ(chmod(files.path().c_str(), 0755), 0);
    const pid_t child = fork();
    if (child == 0) _exit(setuid(12345) == 0 && segment_under(files / "other", sizeof(ad_debug_cfg)) >= 0 ? 0 : 1);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
    const int foreign = shmget(ftok((files / "other").c_str(), AD_DEBUG_KEY_ID), 0, 0);
    const receiver other({files / "other", 0600, 10});
    EXPECT_EQ(level_of(files / "other"), 0);
    EXPECT_EQ(shmctl(foreign, IPC_RMID, nullptr), 0) << "it is still there";
}

TEST(Outgoing, KeepsToItsSizeAndSendsWhatTheSocketTakes) {
    int pair[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair), 0);
    unique_fd ours(pair[0]), theirs(pair[1]);
    outgoing queue(1'000'000);
    unsigned pushed = 0;
    while (queue.push(std::string(10'000, static_cast<char>('a' + pushed % 26))))
        ++pushed;
    EXPECT_EQ(pushed, 100U);
    size_t refused = 0, received = 0;
    char bytes[10'000];
    while (!queue.empty()) {
        ASSERT_EQ(queue.send_to(ours.get(), refused), 0);
        for (ssize_t came; (came = recv(theirs.get(), bytes, sizeof bytes, MSG_DONTWAIT)) > 0;
             received += static_cast<size_t>(came))
            ASSERT_EQ(bytes[0], static_cast<char>('a' + received / 10'000 % 26));
    }
    for (ssize_t came; (came = recv(theirs.get(), bytes, sizeof bytes, MSG_DONTWAIT)) > 0;)
        received += static_cast<size_t>(came);
    EXPECT_EQ(received, 1'000'000U);
    EXPECT_EQ(refused, 0U);
    theirs.reset();
    ASSERT_TRUE(queue.push("x"));
    EXPECT_EQ(queue.send_to(ours.get(), refused), EPIPE);
}

TEST(StreamSink, CountsWhatNobodyReadsAndTearsNoRecord) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    unique_fd reads(ends[0]), writes(ends[1]);
    fcntl(writes.get(), F_SETPIPE_SZ, 4096);
    stream_sink out(writes.get(), append_text_line);
    const std::string text(1500, '#');
    for (int i = 0; i < 5; ++i)
        out.add(own_record(text));
    out.flush();
    EXPECT_GE(out.lost(), 1U);
    EXPECT_LE(out.lost(), 4U);
    const uint64_t lost = out.lost();
    std::string came;
    char bytes[4096];
    fcntl(reads.get(), F_SETFL, O_NONBLOCK);
    const auto read_all = [&] {
        for (ssize_t count; (count = read(reads.get(), bytes, sizeof bytes)) > 0;)
            came.append(bytes, static_cast<size_t>(count));
    };
    read_all();
    out.flush();
    read_all();
    out.add(own_record("after"));
    out.flush();
    read_all();
    out.flush();
    read_all();
    EXPECT_EQ(static_cast<uint64_t>(std::ranges::count(came, '#')), (5 - lost) * text.size());
    EXPECT_EQ(static_cast<uint64_t>(std::ranges::count(came, '\n')), 5 - lost + 2);
    EXPECT_THAT(came, HasSubstr(std::to_string(lost) + (lost == 1 ? " record" : " records") +
                                " lost here: nobody reads standard output\n"));
    EXPECT_TRUE(came.ends_with("daemon: after\n"));
}

}  // namespace
