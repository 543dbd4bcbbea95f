// The status word in shared segment 0.

#include "segments.h"

#include <atomic>
#include <fstream>
#include <stdexcept>
#include <string>

#include <cerrno>

#include <signal.h>
#include <unistd.h>

#include "api/frame/nprm_shm.h"

namespace {

constexpr key_t key = NPRM_SHM_KEY + NPRM_SHM_STATUS;
constexpr size_t segment_bytes = (NPRM_SHM_STATUS_UNIT_BYTES + NPRM_SHM_UNIT_ALIGN - 1) / NPRM_SHM_UNIT_ALIGN * NPRM_SHM_UNIT_ALIGN;

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

status_segment::status_segment() : segment_(key, segment_bytes), status_(static_cast<uint32_t *>(segment_.address())) {
    claim();
}

void status_segment::claim() {
    const std::atomic_ref owner(status_[1]);
    uint32_t found = owner.load();
    do {
        if (is_living_card(found))
            segment_.fail("the card of process " + std::to_string(found) +
                          " publishes there; stop it, or start this one in a namespace of its own: unshare --ipc");
    } while (!owner.compare_exchange_strong(found, own_process()));
}

bool status_segment::is_ours() const {
    return std::atomic_ref(status_[1]).load() == own_process();
}

status_segment::~status_segment() {
    publish(false);
    if (is_ours()) std::atomic_ref(status_[1]).store(0);
}

void status_segment::publish(bool ready) {
    if (!is_ours()) return;
    std::atomic_ref(*status_).store(ready ? uint32_t{NPRM_SERVER_READY} : 0, std::memory_order_release);
}

bool status_segment::is_ready() const {
    return std::atomic_ref(*status_).load(std::memory_order_acquire) == NPRM_SERVER_READY;
}
