// Raw frames to a card, by hand, without any library of ours.
#ifndef TESTS_INTEGRATION_CARD_CLIENT_H
#define TESTS_INTEGRATION_CARD_CLIENT_H

#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include "tests/support/bytes.h"

using frame = std::vector<uint8_t>;

inline void put32(frame &bytes, size_t offset, uint32_t value) {
    std::memcpy(bytes.data() + offset, &value, sizeof value);
}
inline uint32_t get32(const frame &bytes, size_t offset) {
    uint32_t value = 0;
    if (offset + sizeof value <= bytes.size()) std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

// A request as it travels: 16 bytes of the transport, then the message.
inline frame request_frame(uint32_t token, const frame &message) {
    frame bytes(16 + message.size());
    put32(bytes, 0, 0x31565552);
    put32(bytes, 4, token);
    put32(bytes, 8, static_cast<uint32_t>(message.size()));
    std::copy(message.begin(), message.end(), bytes.begin() + 16);
    return bytes;
}

// A TCAM message of the head's two records.
inline frame tcam_head(uint32_t operation, uint32_t nr_entry = 0) {
    frame bytes(110, 0);
    put32(bytes, 0, operation);
    put32(bytes, 4, 2);
    bytes[16] = bytes[17] = 1;
    put32(bytes, 60, nr_entry);
    return bytes;
}

class card_client {
  public:
    card_client(const std::string &directory, const std::string &opcode)
        : socket_(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0)) {
        sockaddr_un address = {AF_UNIX, {}};
        std::strncpy(address.sun_path, (directory + "/" + opcode).c_str(), sizeof address.sun_path - 1);
        const timeval limit = {10, 0};
        setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        is_connected_ = connect(socket_, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
    }
    ~card_client() { close(socket_); }
    card_client(const card_client &) = delete;
    card_client &operator=(const card_client &) = delete;

    bool is_connected() const { return is_connected_; }
    bool send(const frame &bytes) const {
        return ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
    }
    // The next datagram; empty at the connection's end (or after ten seconds, which is a failure).
    frame receive() const {
        frame bytes(300'000);
        const ssize_t received = recv(socket_, bytes.data(), bytes.size(), 0);
        if (received < 0 && errno == EAGAIN) ADD_FAILURE() << "nothing came in ten seconds";
        bytes.resize(received > 0 ? static_cast<size_t>(received) : 0);
        return bytes;
    }
    frame ask(uint32_t token, const frame &message) const {
        EXPECT_TRUE(send(request_frame(token, message)));
        return receive();
    }

  private:
    int socket_;
    bool is_connected_;
};

#endif
