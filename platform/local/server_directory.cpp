// What a server holds in the directory: the lock, and sockets under the names of opcodes.

#include "server_directory.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ruv_local.h"

namespace {

constexpr int backlog = 64;

[[noreturn]] void refuse(const std::string &text) {
    throw std::runtime_error(text);
}

[[noreturn]] void refuse_errno(const std::string &path, const char *doing) {
    refuse(path + ": " + doing + ": " + std::strerror(errno));
}

[[noreturn]] void refuse_explained(int error, const std::string &path) {
    char text[512];
    ruv_local_explain(error, path.c_str(), text, sizeof text);
    refuse(text);
}

void make_directory(const std::string &directory) {
    if (mkdir(directory.c_str(), 0700) == 0) {
        // The umask may have taken even the owner's rights away.
        if (chmod(directory.c_str(), 0700) != 0) refuse_errno(directory, "cannot set its mode");
        return;
    }
    if (errno != EEXIST) refuse_errno(directory, "cannot create the directory");
}

std::string holder_of(int file) {
    char text[16] = {};
    const ssize_t size = pread(file, text, sizeof text - 1, 0);
    const std::string digits(text, size > 0 ? std::strspn(text, "0123456789") : 0);
    return digits.empty() ? "another process" : "process " + digits;
}

struct served {
    bool alive;
    pid_t process;
};

served who_serves(const sockaddr_un &address) {
    const owned_descriptor probe(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (probe.get() < 0) refuse_errno(address.sun_path, "cannot open a socket");
    if (connect(probe.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) return {errno != ECONNREFUSED, 0};
    ucred peer = {};
    socklen_t size = sizeof peer;
    if (getsockopt(probe.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return {true, 0};
    return {true, peer.pid};
}

// Only a socket of our own that nobody listens on goes; what else has the name was put there for a reason that is not ours to know.
void remove_dead_socket(const sockaddr_un &address) {
    const std::string path = address.sun_path;
    struct stat found;
    if (lstat(path.c_str(), &found) != 0) {
        if (errno == ENOENT) return;
        refuse_errno(path, "cannot look at it");
    }
    if (!S_ISSOCK(found.st_mode)) refuse(path + " is not a socket: move it away, the server needs this name");
    if (found.st_uid != geteuid()) refuse_explained(-EPERM, path);
    const served by = who_serves(address);
    if (by.alive) {
        const std::string who = by.process > 0 ? "process " + std::to_string(by.process) : "another program";
        refuse(path + " is served by " + who + ": stop it, or set RUV_DIR to another directory");
    }
    if (unlink(path.c_str()) != 0) refuse_errno(path, "cannot remove the socket of a dead server");
}

}  // namespace

owned_descriptor::owned_descriptor(int descriptor) : value_(ruv_local_above_standard_streams(descriptor)) {}

owned_descriptor::~owned_descriptor() {
    if (value_ >= 0) close(value_);
}

server_lock::server_lock(const std::string &directory) {
    make_directory(directory);
    const int trust = ruv_local_check_directory(directory.c_str());
    if (trust < 0) refuse_explained(trust, directory);

    const std::string path = directory + "/lock";
    file_ = owned_descriptor(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
    if (file_.get() < 0) refuse_errno(path, "cannot open the lock");
    struct stat found;
    if (fstat(file_.get(), &found) != 0) refuse_errno(path, "cannot look at it");
    if (!S_ISREG(found.st_mode) || found.st_uid != geteuid() || found.st_nlink != 1)
        refuse(path + " is not a plain file of yours: move it away, the server needs this name");
    if (flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK) refuse_errno(path, "cannot take the lock");
        refuse(directory + " is served by " + holder_of(file_.get()) + ": stop it, or set RUV_DIR to another directory");
    }
    const std::string mine = std::to_string(getpid()) + "\n";
    if (ftruncate(file_.get(), 0) != 0 || pwrite(file_.get(), mine.data(), mine.size(), 0) < 0)
        refuse_errno(path, "cannot write the lock");
}

listening_socket::listening_socket(const std::string &directory, const std::string &name) {
    sockaddr_un address;
    const int fits = ruv_local_address(&address, directory.c_str(), name.c_str());
    path_ = directory + "/" + name;
    if (fits < 0) refuse_explained(fits, path_);
    remove_dead_socket(address);

    socket_ = owned_descriptor(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (socket_.get() < 0) refuse_errno(path_, "cannot open a socket");
    // The mode before the name appears, so that it never has more rights; and after, since the umask may have left less.
    if (fchmod(socket_.get(), 0600) != 0) refuse_errno(path_, "cannot set its mode");
    if (bind(socket_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) refuse_errno(path_, "cannot bind");
    struct stat made;
    if (lstat(path_.c_str(), &made) == 0 && S_ISSOCK(made.st_mode)) {
        device_ = made.st_dev;
        inode_ = made.st_ino;
    }
    if (chmod(path_.c_str(), 0600) != 0) refuse_errno(path_, "cannot set its mode");
    if (::listen(socket_.get(), backlog) != 0) refuse_errno(path_, "cannot listen");
}

listening_socket::listening_socket(listening_socket &&other) noexcept
    : socket_(std::move(other.socket_)),
      path_(std::move(other.path_)),
      device_(other.device_),
      inode_(std::exchange(other.inode_, 0)) {}

listening_socket::~listening_socket() {
    struct stat found;
    if (inode_ == 0 || lstat(path_.c_str(), &found) != 0) return;
    if (found.st_dev == device_ && found.st_ino == inode_) unlink(path_.c_str());
}
