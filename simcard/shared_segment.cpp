// A System V segment with a fixed key.

#include "shared_segment.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include <sys/ipc.h>
#include <sys/shm.h>

namespace {

constexpr int mode = 0666;  // clients may be of any user

}  // namespace

shared_segment::shared_segment(key_t key, size_t bytes) : key_(key), id_(find_or_make(bytes)), address_(shmat(id_, nullptr, 0)) {
    if (address_ == reinterpret_cast<void *>(-1)) fail(std::strerror(errno));
}

shared_segment::~shared_segment() {
    shmdt(address_);
}

void shared_segment::fail(const std::string &what) const {
    char name[64];
    std::snprintf(name, sizeof name, "shared segment %#x: ", static_cast<unsigned>(key_));
    throw std::runtime_error(name + what);
}

// The segment's id, or -1 when there is none.
int shared_segment::find(size_t bytes) const {
    const int id = shmget(key_, 0, mode);
    if (id < 0 && errno == ENOENT) return -1;
    if (id < 0) fail(std::string(std::strerror(errno)) + "; another user made it: ask for its removal, or work as that user");
    struct shmid_ds about;
    if (shmctl(id, IPC_STAT, &about) != 0) fail(std::strerror(errno));
    if (about.shm_segsz == bytes) return id;
    char text[128];
    std::snprintf(text, sizeof text, "%zu bytes where %zu are needed; when nothing uses it, remove it with: ipcrm -M %#x",
                  static_cast<size_t>(about.shm_segsz), bytes, static_cast<unsigned>(key_));
    fail(text);
}

int shared_segment::find_or_make(size_t bytes) const {
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (const int id = find(bytes); id >= 0) return id;
        const int id = shmget(key_, bytes, IPC_CREAT | IPC_EXCL | mode);
        if (id >= 0) return id;
        if (errno != EEXIST) break;  // else somebody made it between the two calls
    }
    fail(std::strerror(errno));
}

bool shared_segment::was_removed() const {
    struct shmid_ds about;
    return shmctl(id_, IPC_STAT, &about) != 0 || (about.shm_perm.mode & SHM_DEST) != 0;
}

void shared_segment::remove() const {
    shmctl(id_, IPC_RMID, nullptr);
}
