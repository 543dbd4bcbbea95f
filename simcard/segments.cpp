// The status word in shared segment 0.

#include "segments.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>

#include <signal.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include "api/frame/nprm_shm.h"

namespace {

constexpr key_t key = NPRM_SHM_KEY + NPRM_SHM_STATUS;
constexpr size_t segment_bytes = (NPRM_SHM_STATUS_UNIT_BYTES + NPRM_SHM_UNIT_ALIGN - 1) / NPRM_SHM_UNIT_ALIGN * NPRM_SHM_UNIT_ALIGN;
constexpr int mode = 0666;  // clients may be of any user

[[noreturn]] void fail(const char *what, const std::string &advice = "") {
    char text[256];
    std::snprintf(text, sizeof text, "shared segment %#x: %s%s", static_cast<unsigned>(key), what, advice.c_str());
    throw std::runtime_error(text);
}

// The segment's id, or -1 when there is none.
int find_segment() {
    const int id = shmget(key, 0, mode);
    if (id < 0 && errno == ENOENT) return -1;
    if (id < 0) fail(std::strerror(errno), "; another user made it: ask for its removal, or work as that user");
    struct shmid_ds about;
    if (shmctl(id, IPC_STAT, &about) != 0) fail(std::strerror(errno));
    if (about.shm_segsz == segment_bytes) return id;
    char text[128];
    std::snprintf(text, sizeof text, "%zu bytes where %zu are needed; when nothing uses it, remove it with: ipcrm -M %#x",
                  static_cast<size_t>(about.shm_segsz), segment_bytes, static_cast<unsigned>(key));
    fail(text);
}

int find_or_make_segment() {
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (const int id = find_segment(); id >= 0) return id;
        const int id = shmget(key, segment_bytes, IPC_CREAT | IPC_EXCL | mode);
        if (id >= 0) return id;
        if (errno != EEXIST) break;  // else somebody made it between the two calls
    }
    fail(std::strerror(errno));
}

// Process ids are given again: only a process that is a card counts.
bool is_living_card(uint32_t process) {
    const auto pid = static_cast<pid_t>(process);
    if (pid <= 0 || pid == getpid()) return false;
    if (kill(pid, 0) != 0 && errno != EPERM) return false;
    std::string name;
    std::getline(std::ifstream("/proc/" + std::to_string(pid) + "/comm"), name);
    return name == "nprm-simcard";
}

uint32_t own_process() {
    return static_cast<uint32_t>(getpid());
}

}  // namespace

status_segment::status_segment() : id_(find_or_make_segment()) {
    void *address = shmat(id_, nullptr, 0);
    if (address == reinterpret_cast<void *>(-1)) fail(std::strerror(errno));
    status_ = static_cast<uint32_t *>(address);
    try {
        claim();
    } catch (...) {
        shmdt(status_);
        throw;
    }
}

void status_segment::claim() {
    const std::atomic_ref owner(status_[1]);
    uint32_t found = owner.load();
    do {
        if (is_living_card(found))
            fail("the card of process ", std::to_string(found) +
                                             " publishes there; stop it, or start this one in a namespace of "
                                             "its own: unshare --ipc");
    } while (!owner.compare_exchange_strong(found, own_process()));
}

bool status_segment::is_ours() const {
    return std::atomic_ref(status_[1]).load() == own_process();
}

status_segment::~status_segment() {
    publish(false);
    if (is_ours()) std::atomic_ref(status_[1]).store(0);
    shmdt(status_);
}

void status_segment::publish(bool ready) {
    if (!is_ours()) return;
    std::atomic_ref(*status_).store(ready ? uint32_t{NPRM_SERVER_READY} : 0, std::memory_order_release);
}

bool status_segment::is_ready() const {
    return std::atomic_ref(*status_).load(std::memory_order_acquire) == NPRM_SERVER_READY;
}

bool status_segment::was_removed() const {
    struct shmid_ds about;
    return shmctl(id_, IPC_STAT, &about) != 0 || (about.shm_perm.mode & SHM_DEST) != 0;
}

void status_segment::remove() {
    shmctl(id_, IPC_RMID, nullptr);
}
