// The server half of the transport: requests reach the handler, replies go back, clients that misbehave lose their connection.

#include "platform/local/ruv_server.h"

#include <atomic>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/local/ruv_local.h"
#include "ruv_client.h"
#include "tests/hostile/raw_server.h"
#include "tests/support/scratch.h"

namespace {

constexpr uint32_t tcam = 190491;
constexpr uint32_t interfaces = 190487;

class RuvServer : public testing::Test {
  protected:
    scratch_directory scratch;
    std::vector<byte_list> seen;
    std::vector<uint32_t> opcodes;
    uint64_t last_peer = 0;
    ruv_server server{[this](const ruv_request &request) {
        opcodes.push_back(request.opcode);
        last_peer = request.peer;
        const auto *bytes = reinterpret_cast<const uint8_t *>(request.payload.data());
        seen.emplace_back(bytes, bytes + request.payload.size());
        server.reply(request.peer, request.token, request.payload);
    }};

    void listen() {
        const uint32_t both[] = {tcam, interfaces};
        server.listen(scratch.path(), both);
    }

    bool dispatch_until(const std::function<bool()> &condition) {
        for (int tries = 0; tries < 500 && !condition(); ++tries)
            server.dispatch(10);
        return condition();
    }

    std::string refusal() {
        try {
            listen();
        } catch (const std::runtime_error &error) {
            return error.what();
        }
        return "none";
    }
};

TEST_F(RuvServer, AnswersOverTheWireFormat) {
    listen();
    const int client = connect_raw(scratch.path(), tcam);
    send_bytes(client, message_of(0x31565552, 0x01020304, 2, 0, {7, 8}));
    ASSERT_TRUE(dispatch_until([&] { return server.count().requests == 1; }));
    uint8_t reply[32];
    ASSERT_EQ(recv(client, reply, sizeof reply, 0), 18);
    EXPECT_EQ(std::memcmp(reply, "RUV1\x04\x03\x02\x01\x02\0\0\0\x01\0\0\0\x07\x08", 18), 0);
    EXPECT_EQ(opcodes, std::vector<uint32_t>{tcam});
    EXPECT_EQ(server.count().replies, 1u);
    EXPECT_EQ(server.count().connections, 1u);
    close(client);
    EXPECT_TRUE(dispatch_until([&] { return server.count().connections == 0; }));
    EXPECT_EQ(server.count().malformed, 0u);
}

TEST_F(RuvServer, ServesLibruvClientsOfSeveralOpcodes) {
    listen();
    std::atomic<bool> done = false;
    std::thread client_thread([&] {
        const scratch_variable directory("RUV_DIR", scratch.path().c_str());
        ruv_client client;
        byte_list reply;
        for (uint8_t i = 0; i < 100; ++i) {
            EXPECT_EQ(client.exchange(tcam, {i}, &reply), 0);
            EXPECT_EQ(reply, byte_list{i});
            EXPECT_EQ(client.exchange(interfaces, byte_list(65536, i), &reply), 0);
            EXPECT_TRUE(reply == byte_list(65536, i));
        }
        done = true;
    });
    dispatch_until([&] { return done.load(); });
    client_thread.join();
    EXPECT_EQ(server.count().requests, 200u);
}

TEST_F(RuvServer, ItsDescriptorIsReadableWhenThereIsSomethingToDo) {
    listen();
    pollfd readable = {server.descriptor(), POLLIN, 0};
    EXPECT_EQ(poll(&readable, 1, 0), 0);
    const int client = connect_raw(scratch.path(), tcam);
    EXPECT_EQ(poll(&readable, 1, 1000), 1);
    server.dispatch();
    EXPECT_EQ(poll(&readable, 1, 0), 0);
    send_bytes(client, message_of(0x31565552, 1, 0, 0));
    EXPECT_EQ(poll(&readable, 1, 1000), 1);
    server.dispatch();
    EXPECT_EQ(seen.size(), 1u);
    close(client);
}

TEST_F(RuvServer, ClosesConnectionsWithMalformedDatagrams) {
    listen();
    const byte_list bad[] = {
        {},                                                        // no byte: not the end of the connection
        {0x52},                                                    // a part of a header
        byte_list(15, 0x52),                                       // one byte short of a header
        message_of(0x31565553, 1, 0, 0),                           // another magic
        message_of(0x31565552, 1, 0, 1),                           // a reply
        message_of(0x31565552, 1, 0, 2),                           // an unknown flag
        message_of(0x31565552, 1, 2, 0, {1}),                      // a byte less than said
        message_of(0x31565552, 1, 1, 0, {1, 2}),                   // a byte more than said
        message_of(0x31565552, 1, 0xFFFFFFFF, 0),                  // a size that wraps
        message_of(0x31565552, 1, 65537, 0, byte_list(65537)),     // too long for any request
        message_of(0x31565552, 1, 65536, 0, byte_list(65536 + 9))  // longer than said, and than the room
    };
    uint64_t expected = 0;
    for (const byte_list &message : bad) {
        const int client = connect_raw(scratch.path(), tcam);
        send_bytes(client, message);
        ++expected;
        EXPECT_TRUE(dispatch_until([&] { return server.count().malformed == expected; })) << message.size();
        EXPECT_EQ(server.count().connections, 0u);
        char byte;
        EXPECT_EQ(recv(client, &byte, 1, 0), 0);
        close(client);
    }
    EXPECT_TRUE(seen.empty());
}

TEST_F(RuvServer, ClosesTheConnectionOfAClientThatDoesNotRead) {
    listen();
    const int client = connect_raw(scratch.path(), tcam);
    send_bytes(client, message_of(0x31565552, 1, 0, 0));
    ASSERT_TRUE(dispatch_until([&] { return seen.size() == 1; }));
    const std::vector<std::byte> large(65536);
    int taken = 0;
    while (taken < 100 && server.reply(last_peer, 1, large))
        ++taken;
    EXPECT_GE(taken, 1);
    EXPECT_LT(taken, 100);
    EXPECT_EQ(server.count().lost_replies, 1u);
    EXPECT_EQ(server.count().connections, 0u);
    EXPECT_FALSE(server.reply(last_peer, 1, {})) << "a connection that is closed took a reply";
    close(client);
}

TEST_F(RuvServer, NeverGivesAPeersNameAgain) {
    listen();
    std::vector<uint64_t> peers;
    for (int i = 0; i < 5; ++i) {
        const int client = connect_raw(scratch.path(), tcam);
        send_bytes(client, message_of(0x31565552, 1, 0, 0));
        ASSERT_TRUE(dispatch_until([&] { return seen.size() == static_cast<size_t>(i) + 1; }));
        for (const uint64_t peer : peers)
            EXPECT_NE(peer, last_peer);
        peers.push_back(last_peer);
        close(client);
        ASSERT_TRUE(dispatch_until([&] { return server.count().connections == 0; }));
    }
}

TEST_F(RuvServer, SendsBytesAsTheyAreOnRequest) {
    listen();
    const int client = connect_raw(scratch.path(), tcam);
    send_bytes(client, message_of(0x31565552, 1, 0, 0));
    ASSERT_TRUE(dispatch_until([&] { return seen.size() == 1; }));
    char reply[16];
    ASSERT_EQ(recv(client, reply, sizeof reply, 0), 16);
    const std::byte raw[3] = {std::byte{1}, std::byte{2}, std::byte{3}};
    EXPECT_TRUE(server.send_raw(last_peer, raw));
    EXPECT_EQ(recv(client, reply, sizeof reply, 0), 3);
    close(client);
}

TEST_F(RuvServer, RefusesToSendMoreThan64KiBInAReply) {
    listen();
    const int client = connect_raw(scratch.path(), tcam);
    send_bytes(client, message_of(0x31565552, 1, 0, 0));
    ASSERT_TRUE(dispatch_until([&] { return seen.size() == 1; }));
    EXPECT_FALSE(server.reply(last_peer, 1, std::vector<std::byte>(65537)));
    EXPECT_EQ(server.count().lost_replies, 1u);
    close(client);
}

TEST_F(RuvServer, WaitsForOtherDescriptorsToo) {
    listen();
    const int event = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    int calls = 0;
    server.watch(event, [&] {
        eventfd_t value;
        eventfd_read(event, &value);
        if (++calls == 2) server.unwatch(event);
    });
    for (int i = 0; i < 3; ++i) {
        eventfd_write(event, 1);
        server.dispatch();
    }
    EXPECT_EQ(calls, 2);
    EXPECT_THROW(server.watch(-1, [] {}), std::runtime_error);
    close(event);
}

TEST_F(RuvServer, MayBeClosedByItsHandler) {
    ruv_server *closing = nullptr;
    ruv_server once([&](const ruv_request &) { closing->close(); });
    closing = &once;
    const uint32_t opcode[] = {tcam};
    once.listen(scratch.path(), opcode);
    const int first = connect_raw(scratch.path(), tcam), second = connect_raw(scratch.path(), tcam);
    once.dispatch();
    send_bytes(first, message_of(0x31565552, 1, 0, 0));
    send_bytes(second, message_of(0x31565552, 1, 0, 0));
    once.dispatch();
    EXPECT_EQ(once.count().requests, 1u);
    EXPECT_EQ(once.count().connections, 0u);
    once.listen(scratch.path(), opcode);
    close(first);
    close(second);
}

TEST_F(RuvServer, LeavesNothingButTheLockBehind) {
    const size_t before = open_descriptors();
    listen();
    server.close();
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_NE(access((scratch / "190491").c_str(), F_OK), 0);
    EXPECT_NE(access((scratch / "190487").c_str(), F_OK), 0);
    listen();
}

TEST_F(RuvServer, LeavesASocketAloneThatTookItsPlace) {
    listen();
    unlink((scratch / "190491").c_str());
    const int other = listen_on(scratch.path(), tcam);
    server.close();
    EXPECT_EQ(access((scratch / "190491").c_str(), F_OK), 0);
    close(other);
}

TEST_F(RuvServer, CreatesItsDirectoryForItsUserAlone) {
    for (const mode_t mask : {0000u, 0077u, 0777u}) {
        const std::string directory = scratch / ("made" + std::to_string(mask));
        const uint32_t opcode[] = {tcam};
        ruv_server made([](const ruv_request &) {});
        const mode_t before = umask(mask);
        made.listen(directory, opcode);
        umask(before);
        struct stat found;
        ASSERT_EQ(stat(directory.c_str(), &found), 0);
        EXPECT_EQ(found.st_mode & 07777, 0700u) << mask;
        ASSERT_EQ(stat((directory + "/190491").c_str(), &found), 0);
        EXPECT_EQ(found.st_mode & 07777, 0600u) << mask;
    }
}

TEST_F(RuvServer, TellsWhoHoldsTheLock) {
    listen();
    ruv_server second([](const ruv_request &) {});
    const uint32_t opcode[] = {1};
    try {
        second.listen(scratch.path(), opcode);
        FAIL() << "two servers in one directory";
    } catch (const std::runtime_error &error) {
        EXPECT_EQ(error.what(), scratch.path() + " is served by process " + std::to_string(getpid()) +
                                    ": stop it, or set RUV_DIR to another directory");
    }
}

TEST_F(RuvServer, RefusesADirectoryThatOthersMayWrite) {
    chmod(scratch.path().c_str(), 0777);
    EXPECT_EQ(refusal(),
              scratch.path() +
                  " may be written by other users: set RUV_DIR to a private directory, or chmod 700 this one if it is yours alone");
}

TEST_F(RuvServer, TakesBackWhatItListenedOnWhenALaterOpcodeIsRefused) {
    ASSERT_EQ(mknod((scratch / "190487").c_str(), S_IFREG | 0600, 0), 0);
    const size_t before = open_descriptors();
    EXPECT_EQ(refusal(), scratch / "190487" + " is not a socket: move it away, the server needs this name");
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_NE(access((scratch / "190491").c_str(), F_OK), 0);
    EXPECT_EQ(access((scratch / "190487").c_str(), F_OK), 0);
}

}  // namespace
