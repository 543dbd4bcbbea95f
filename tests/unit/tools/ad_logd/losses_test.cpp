// What a sink lost is told as soon as there is room, whether another record comes or not.

#include "follow_sink.h"
#include "place.h"
#include "stream_sink.h"
#include "syslog_sink.h"

#include "tests/support/log_daemon_process.h"
#include "tests/support/scratch.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;

const std::string text(4000, '#');

// Adds records until some are lost.
void overfill(sink &out) {
    for (int i = 0; i < 10'000 && out.lost() == 0; ++i) {
        out.add(own_record(text));
        out.flush();
    }
    ASSERT_GT(out.lost(), 0U);
}

// Reads what the sink still has to say, without giving it another record.   Returns the last of it.
std::string rest_of(sink &out, int reads) {
    std::string tail;
    const bool has_said_all = wait_until([&] {
        char bytes[8192];
        for (ssize_t came; (came = read(reads, bytes, sizeof bytes)) > 0;)
            tail.append(bytes, static_cast<size_t>(came)).erase(0, tail.size() > 400 ? tail.size() - 400 : 0);
        out.flush();
        return !out.is_waiting();
    });
    EXPECT_TRUE(has_said_all);
    char bytes[8192];
    for (ssize_t came; (came = read(reads, bytes, sizeof bytes)) > 0;)
        tail.append(bytes, static_cast<size_t>(came));
    return tail.substr(tail.size() - std::min<size_t>(tail.size(), 400));
}

TEST(Losses, OfStandardOutputAreToldWhenItIsReadAgain) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const unique_fd reads(ends[0]), writes(ends[1]);
    fcntl(reads.get(), F_SETFL, O_NONBLOCK);
    stream_sink out(writes.get(), append_text_line);
    overfill(out);
    EXPECT_TRUE(out.is_waiting());
    EXPECT_THAT(rest_of(out, reads.get()), HasSubstr("1 record lost here: nobody reads standard output\n"));
    EXPECT_EQ(out.lost(), 1U);
}

TEST(Losses, OfAStandardOutputThatFailsAreCountedOnce) {
    const unique_fd full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    stream_sink out(full.get(), append_text_line);
    out.add(own_record("one"));
    for (int i = 0; i < 3; ++i)
        out.flush();
    EXPECT_TRUE(out.is_waiting());
    out.give_up();
    EXPECT_EQ(out.lost(), 1U);
}

TEST(Losses, OfAFollowerAreToldWhenItReadsAgain) {
    const scratch_directory files;
    unique_fd listener = bind_place(files / "follow", SOCK_STREAM, 0600);
    ASSERT_EQ(listen(listener.get(), 4), 0);
    follow_sink out(std::move(listener));
    const sockaddr_un address = address_of(files / "follow");
    const unique_fd reads(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(connect(reads.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    fcntl(reads.get(), F_SETFL, O_NONBLOCK);
    out.flush();
    ASSERT_EQ(out.followers(), 1U);
    overfill(out);
    EXPECT_TRUE(out.is_waiting());
    EXPECT_THAT(rest_of(out, reads.get()), HasSubstr("\"text\":\"1 record lost here: this reader is too slow\"}\n"));
    EXPECT_EQ(out.lost(), 1U);
}

class Followers : public testing::Test {
  protected:
    Followers() : listener_(bind_place(files_ / "follow", SOCK_STREAM, 0600)) {
        EXPECT_EQ(listen(listener_.get(), static_cast<int>(follow_sink::followers_max) + 1), 0);
    }
    unique_fd connected() const {
        const sockaddr_un address = address_of(files_ / "follow");
        unique_fd made(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        EXPECT_EQ(connect(made.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        return made;
    }

    const scratch_directory files_;
    unique_fd listener_;
};

TEST_F(Followers, AreToldThatThereAreEnough) {
    follow_sink out(std::move(listener_));
    std::vector<unique_fd> readers;
    for (size_t i = 0; i <= follow_sink::followers_max; ++i)
        readers.push_back(connected());
    out.flush();
    EXPECT_EQ(out.followers(), follow_sink::followers_max);
    char bytes[400] = "";
    EXPECT_GT(read(readers.back().get(), bytes, sizeof bytes - 1), 0);
    EXPECT_THAT(bytes, HasSubstr("\"from\":\"daemon\",\"pid\":0,\"uid\":"));
    EXPECT_THAT(bytes, HasSubstr("\"text\":\"you are not taken: 16 follow already\"}\n"));
    EXPECT_EQ(read(readers.back().get(), bytes, sizeof bytes), 0);
}

TEST_F(Followers, ThatFindNoDescriptorAreTakenLaterWithoutWakingTheDaemonUntilThen) {
    follow_sink out(std::move(listener_));
    const unique_fd reader = connected();
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none = {0, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    out.flush();
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(out.followers(), 0U);
    std::vector<pollfd> watched;
    out.watch(watched);
    EXPECT_TRUE(watched.empty());
    EXPECT_TRUE(out.is_waiting());

    out.flush();
    EXPECT_EQ(out.followers(), 1U);
    EXPECT_FALSE(out.is_waiting());
    out.watch(watched);
    EXPECT_EQ(watched.size(), 2U);
}

TEST(Losses, OfALogSystemAreToldWhenItReadsAgain) {
    const scratch_directory files;
    const unique_fd reads = bind_place(files / "syslog", SOCK_DGRAM, 0600);
    syslog_sink out(files / "syslog", 16);
    overfill(out);
    EXPECT_TRUE(out.is_waiting());
    EXPECT_THAT(rest_of(out, reads.get()), HasSubstr("1 record lost here: the log system takes records too slowly"));
    EXPECT_EQ(out.lost(), 1U);
}

}  // namespace
