#include "debug_library.h"

#include <algorithm>
#include <cstring>
#include <fstream>

#include <fcntl.h>
#include <sys/shm.h>
#include <unistd.h>

#include "util/ad_debug/ad_errorlog.h"
#include "util/ad_debug/state.h"

namespace {

initial_state state_now() {
    return {ad_errorlog_fd,
            ad_logd_contact,
            ad_debug_in_sighandler,
            ad_debug_to_syslogd,
            ad_debug_syslog_critical_msg_only,
            ad_debug_module_id,
            ad_current_client_ip,
            ad_current_server_ip,
            ad_debug_cfg_p == nullptr,
            ad_errorlog_addr.sun_path,
            ad_errorlog_sp_addr.sun_path,
            ad_debug_process_name,
            ad_debug_lib_name,
            ad_errorlog_addr.sun_family,
            ad_errorlog_sp_addr.sun_family};
}

const initial_state at_start = state_now();

std::vector<log_socket *> readers;

void let_readers_read() {
    for (log_socket *reader : readers)
        reader->read_all();
}

int bound_socket(const std::string &path) {
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    set_path(address, path);
    if (bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) ADD_FAILURE() << "bind " << path;
    return fd;
}

}  // namespace

const initial_state &state_at_start() {
    return at_start;
}

log_socket::log_socket(const std::string &path, behaviour how) : path_(path), fd_(bound_socket(path)) {
    if (how == reads) readers.push_back(this);
}

log_socket::~log_socket() {
    std::erase(readers, this);
    close(fd_);
    unlink(path_.c_str());
}

void log_socket::read_all() {
    const std::lock_guard hold(lock_);
    std::vector<uint8_t> bytes(65536);
    for (;;) {
        const ssize_t came = recv(fd_, bytes.data(), bytes.size(), 0);
        if (came < 0) return;
        datagrams_.emplace_back(bytes.begin(), bytes.begin() + came);
    }
}

std::vector<uint8_t> log_socket::datagram() {
    read_all();
    if (datagrams_.empty()) return {};
    std::vector<uint8_t> oldest = std::move(datagrams_.front());
    datagrams_.pop_front();
    return oldest;
}

std::string log_socket::text() {
    const std::vector<uint8_t> bytes = datagram();
    if (bytes.size() < 9) return bytes.empty() ? "(nothing)" : "(too short)";
    return {bytes.begin(), bytes.end() - 9};
}

std::vector<std::string> log_socket::texts() {
    std::vector<std::string> all;
    for (read_all(); !datagrams_.empty();)
        all.push_back(text());
    return all;
}

debug_library::debug_library() {
    if (const int fd = ad_errorlog_fd.exchange(socket_not_created); fd >= 0) close(fd);
    ad_logd_contact = contact_untried;
    ad_error_log_stopped = false;
    ad_special_log_stopped = false;
    set_path(ad_errorlog_addr, main_path());
    set_path(ad_errorlog_sp_addr, special_path());
    ad_debug_cfg_p = nullptr;
    ad_debug_cfg_no_share_mem = {};
    ad_debug_lib_name[0] = '\0';
    ad_debug_process_name[0] = '\0';
    ad_debug_old_usr1 = {};
    signal(SIGUSR1, SIG_DFL);
    ad_debug_in_sighandler = 0;
    ad_debug_to_syslogd = 1;
    ad_debug_syslog_critical_msg_only = 1;
    ad_debug_module_id = 0;
    ad_current_client_ip = 0;
    ad_current_server_ip = 0;
    fake_syslog_calls().clear();
    the_system_calls() = {};
    the_system_calls().after_send = let_readers_read;
}

debug_library::~debug_library() {
    const std::vector<int> segments = the_system_calls().segments_made;
    the_system_calls() = {};
    for (const int segment : segments)
        shmctl(segment, IPC_RMID, nullptr);
}

void debug_library::use_level(int level) {
    ad_debug_cfg_no_share_mem = {};
    ad_debug_cfg_no_share_mem.level = level;
    ad_debug_cfg_p = &ad_debug_cfg_no_share_mem;
}

std::string origin(const std::string &tag, const std::string &file, int line) {
    return "(" + std::to_string(getpid()) + ")" + tag + ":" + file + ":" + std::to_string(line) + "-> ";
}

void set_path(sockaddr_un &address, const std::string &path) {
    memset(address.sun_path, 0, sizeof address.sun_path);
    path.copy(address.sun_path, sizeof address.sun_path - 1);
}

void write_file(const std::string &path, const std::string &content) {
    std::ofstream(path, std::ios::binary) << content;
}
