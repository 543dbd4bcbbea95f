#include "scratch.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/shm.h>
#include <unistd.h>

scratch_directory::scratch_directory() {
    std::string form = (std::filesystem::temp_directory_path() / "nprm-test-XXXXXX").string();
    if (mkdtemp(form.data()) == nullptr) throw std::runtime_error("cannot make " + form);
    path_ = form;
}

scratch_directory::~scratch_directory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

namespace {

void write_once(const char *path, const std::string &text) {
    std::ofstream file(path);
    file << text;
}

bool enter_ipc_namespace() {
    if (unshare(CLONE_NEWIPC) == 0) return true;
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (unshare(CLONE_NEWUSER | CLONE_NEWIPC) != 0) return false;
    write_once("/proc/self/setgroups", "deny");
    write_once("/proc/self/uid_map", std::to_string(user) + " " + std::to_string(user) + " 1");
    write_once("/proc/self/gid_map", std::to_string(group) + " " + std::to_string(group) + " 1");
    return true;
}

}  // namespace

void use_private_ipc() {
    static bool done = false;
    if (done) return;
    done = true;
    if (enter_ipc_namespace()) return;

    // Kept open, and so locked, until the process ends.
    const std::string path = (std::filesystem::temp_directory_path() / "nprm-test-ipc.lock").string();
    const int lock = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666);
    if (lock < 0 || flock(lock, LOCK_EX) != 0) throw std::runtime_error("cannot lock " + path);
    for (const key_t key : {0x50524D00, 0x50524D01, 0x838377}) {
        const int id = shmget(key, 0, 0);
        if (id >= 0) shmctl(id, IPC_RMID, nullptr);
    }
}

scratch_variable::scratch_variable(const char *name, const char *value) : name_(name) {
    if (const char *now = std::getenv(name)) before_ = now;
    if (value != nullptr)
        setenv(name, value, 1);
    else
        unsetenv(name);
}

scratch_variable::~scratch_variable() {
    if (before_)
        setenv(name_.c_str(), before_->c_str(), 1);
    else
        unsetenv(name_.c_str());
}

std::string content_of(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}
