// The record that the processes of a log socket share.

#include "log_record.h"

#include "ad_param.h"
#include "failure.h"
#include "log_catcher.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr uint32_t unchanged = ~0U;

std::string path_of(const std::string &base) {
    struct stat there {};
    const std::string own = base + "." + std::to_string(getuid());
    return lstat(own.c_str(), &there) == 0 ? own : base + ".0";
}

// "b7f3c000-b7f3d000 rw-s 00000000 00:01 32771   /SYSV6400001a (deleted)": the inode is the segment's id.
bool has_attached(pid_t pid, uint32_t key, int segment) {
    char name[32];
    std::snprintf(name, sizeof name, "/SYSV%08" PRIx32, key);
    std::ifstream maps("/proc/" + std::to_string(pid) + "/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find(name) == std::string::npos) continue;
        int inode = -1;
        if (std::sscanf(line.c_str(), "%*s %*s %*s %*s %d", &inode) == 1 && inode == segment) return true;
    }
    return false;
}

pid_t listener_at(const std::string &path) {
    sockaddr_un address = {AF_UNIX, {}};
    if (path.size() >= sizeof address.sun_path) return -1;
    path.copy(address.sun_path, path.size());
    const int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    ucred peer{};
    socklen_t bytes = sizeof peer;
    const bool is_connected = connect(probe, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    const bool is_absent = !is_connected && (errno == ENOENT || errno == ECONNREFUSED);
    const bool is_told = is_connected && getsockopt(probe, SOL_SOCKET, SO_PEERCRED, &peer, &bytes) == 0;
    if (probe >= 0) close(probe);
    if (is_absent) return 0;
    return is_told && peer.pid > 0 ? peer.pid : -1;
}

}  // namespace

std::string log_path(const std::string &base) {
    const char *const configured = std::getenv("ERROR_LOG_SOCKET");
    if (!base.empty()) return path_of(base);
    return path_of(configured != nullptr ? configured : log_base_default);
}

std::string special_path(const std::string &base) {
    return path_of(base.empty() ? special_base_default : base);
}

shared_record::shared_record(const std::string &path) {
    const key_t key = ftok(path.c_str(), AD_DEBUG_KEY_ID);
    if (ad_get_ad_debug_cfg_p_no_create(path.c_str(), &record_) != 0)
        throw refused(path + " has no shared debug record", "start the log daemon: ad_logd");
    key_ = static_cast<uint32_t>(key);
    segment_ = shmget(key, 0, 0);
    shmid_ds known{};
    if (shmctl(segment_, IPC_STAT, &known) == 0) maker_ = known.shm_cpid;
}

ad_debug_cfg shared_record::content() const {
    ad_debug_cfg copy = {};
    copy.level = __atomic_load_n(&record_->level, __ATOMIC_RELAXED);
    copy.client_ip = __atomic_load_n(&record_->client_ip, __ATOMIC_RELAXED);
    copy.server_ip = __atomic_load_n(&record_->server_ip, __ATOMIC_RELAXED);
    return copy;
}

// The setter never selects level 4, and marks its end in the special log.
void shared_record::set_level(int32_t level) {
    if (level == AD_DEBUG_LEVEL_SPECIAL) {
        __atomic_store_n(&record_->level, level, __ATOMIC_RELAXED);
        return;
    }
    const log_catcher quiet(false);
    if (content().level == AD_DEBUG_LEVEL_SPECIAL) ad_set_special_log_path(special_base_default);
    ad_set_debug_parameter(unchanged, unchanged, level, record_);
}

void shared_record::set_filter(uint32_t address, bool client) {
    ad_set_debug_parameter(client ? address : unchanged, client ? unchanged : address, -1, record_);
}

std::vector<pid_t> shared_record::attached() const {
    std::vector<pid_t> found;
    std::error_code ignored;
    for (const auto &entry : std::filesystem::directory_iterator("/proc", ignored)) {
        const auto pid = decimal<pid_t>(entry.path().filename().native());
        if (pid && *pid != getpid() && has_attached(*pid, key_, segment_)) found.push_back(*pid);
    }
    std::ranges::sort(found);
    return found;
}

pid_t log_daemon_of(const std::string &path) {
    const int file = open((path + ".lock").c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (file < 0) return listener_at(path + ".follow");
    struct flock holder = {};
    holder.l_type = F_WRLCK;
    holder.l_whence = SEEK_SET;
    const bool is_held = fcntl(file, F_GETLK, &holder) == 0 && holder.l_type != F_UNLCK;
    close(file);
    return is_held ? holder.l_pid : 0;
}

std::string process_name(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/comm");
    std::string name;
    std::getline(file, name);
    return printable(name);
}
