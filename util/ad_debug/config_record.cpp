// The debug configuration's record: the one in use, the private one, and the shared one of a log socket.

#include "ad_debug.h"

#include "state.h"

#include <cstdio>
#include <cstring>

#include <sys/ipc.h>
#include <sys/shm.h>

constinit ad_debug_cfg *ad_debug_cfg_p = nullptr;
constinit ad_debug_cfg ad_debug_cfg_no_share_mem = {};

namespace {

// The segment's id, or -1.
int find_segment(const char *path, bool create, bool *created) {
    const key_t key = path != nullptr ? ftok(path, AD_DEBUG_KEY_ID) : -1;
    if (key == -1) return -1;
    int id = shmget(key, 0, 0);
    if (id >= 0 || !create) return id;
    id = shmget(key, sizeof(ad_debug_cfg), IPC_CREAT | 0666);
    if (id < 0) perror("shmget");
    *created = id >= 0;
    return id;
}

// The shared record of a path, or null.
ad_debug_cfg *attach_record(const char *path, bool create) {
    bool created = false;
    const int id = find_segment(path, create, &created);
    if (id < 0) return nullptr;

    shmid_ds segment{};
    if (shmctl(id, IPC_STAT, &segment) != 0) {
        perror("shmctl");
        return nullptr;
    }
    if (segment.shm_segsz != sizeof(ad_debug_cfg)) {
        fprintf(stderr, "IPCSTAT shows size mismatch: %zd vs %zd\n", static_cast<ssize_t>(segment.shm_segsz),
                static_cast<ssize_t>(sizeof(ad_debug_cfg)));
        return nullptr;
    }
    void *const address = shmat(id, nullptr, 0);
    if (address == reinterpret_cast<void *>(-1)) {
        perror("shmat");
        if (shmctl(id, IPC_RMID, nullptr) != 0) perror("shmctl");
        return nullptr;
    }
    if (created) memset(address, 0, sizeof(ad_debug_cfg));
    return static_cast<ad_debug_cfg *>(address);
}

}  // namespace

unsigned int ad_debug_inited(void) {
    return now(ad_debug_cfg_p) != nullptr ? 1 : 0;
}

int ad_get_ad_debug_cfg_p_impl(const char *path, ad_debug_cfg **out, int no_create) {
    ad_debug_cfg *const shared = attach_record(path, no_create == 0);
    *out = shared != nullptr ? shared : &ad_debug_cfg_no_share_mem;
    return shared != nullptr ? 0 : 1;
}

int ad_get_ad_debug_cfg_p(const char *path, ad_debug_cfg **out) {
    return ad_get_ad_debug_cfg_p_impl(path, out, 0);
}

int ad_get_ad_debug_cfg_p_no_create(const char *path, ad_debug_cfg **out) {
    return ad_get_ad_debug_cfg_p_impl(path, out, 1);
}

// Others may log meanwhile: they never find the detached record in use.
int ad_return_ad_debug_cfg_p(ad_debug_cfg *record) {
    if (record == nullptr || record == &ad_debug_cfg_no_share_mem) return 1;
    const bool in_use = record == now(ad_debug_cfg_p);
    if (in_use) publish(ad_debug_cfg_p, &ad_debug_cfg_no_share_mem);
    const int result = shmdt(record);
    if (in_use && result != 0) publish(ad_debug_cfg_p, record);
    return result;
}
