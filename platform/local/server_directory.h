// What a server holds in the directory: the lock that makes it the only one, and its listening sockets.
#ifndef RUV_SERVER_DIRECTORY_H
#define RUV_SERVER_DIRECTORY_H

#include <string>
#include <utility>

#include <sys/types.h>

// A descriptor that closes itself and is never one of the standard streams.
class owned_descriptor {
  public:
    owned_descriptor() = default;
    explicit owned_descriptor(int descriptor);
    owned_descriptor(owned_descriptor &&other) noexcept : value_(std::exchange(other.value_, -1)) {}
    owned_descriptor &operator=(owned_descriptor &&other) noexcept {
        std::swap(value_, other.value_);
        return *this;
    }
    ~owned_descriptor();

    int get() const { return value_; }

  private:
    int value_ = -1;
};

// Held while it lives.  All throw std::runtime_error with a text for the user.
class server_lock {
  public:
    // Creates the directory when it is missing.
    explicit server_lock(const std::string &directory);

  private:
    owned_descriptor file_;
};

// A listening socket that takes its name away when it ends, unless the name is another's by then.
class listening_socket {
  public:
    // Requires the lock: a socket of that name that nobody serves is a dead server's.
    listening_socket(const std::string &directory, const std::string &name);
    listening_socket(listening_socket &&other) noexcept;
    listening_socket &operator=(listening_socket &&) = delete;
    ~listening_socket();

    int get() const { return socket_.get(); }

  private:
    owned_descriptor socket_;
    std::string path_;
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

#endif
