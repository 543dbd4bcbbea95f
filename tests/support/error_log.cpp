#include "error_log.h"

#include <stdexcept>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "util/ad_debug/ad_debug.h"

error_log::error_log() {
    use_private_ipc();
    const std::string base = directory_ / "log";
    const std::string path = base + "." + std::to_string(getuid());
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (bind(socket_, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) throw std::runtime_error("cannot bind " + path);
    if (ad_init_debug_lib(base.c_str()) != 0) throw std::runtime_error("the debug library does not start");
    texts();
}

error_log::~error_log() {
    ad_debug_cfg_p = nullptr;
    close(socket_);
}

std::vector<std::string> error_log::texts() {
    std::vector<std::string> found;
    char datagram[4096];
    while (recv(socket_, datagram, sizeof datagram, MSG_DONTWAIT) > 0)
        found.emplace_back(datagram);
    return found;
}
