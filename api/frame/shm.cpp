// System V segments by id, cut into units of whole 16 bytes.

#include "nprm_shm.h"

#include "log.h"

#include <cerrno>
#include <cstring>
#include <sys/ipc.h>
#include <sys/shm.h>

constinit volatile uint32_t *nprm_server_status = nullptr;

namespace {

struct shm_entry {
    int32_t shmid;
    void *address;  // null while detached
    uint32_t units;
    const uint32_t *unit_sizes;
    uint32_t unit_end[NPRM_SHM_UNITS_MAX];  // the offset just past each unit
};

constinit shm_entry nprm_shm_table[NPRM_SHM_SEGMENTS] = {};

// Rounds up to whole units of 16 bytes and adds up; false when the sum passes 32 bits.
bool lay_out(uint32_t units, const uint32_t *sizes, uint32_t *unit_end) {
    uint64_t end = 0;
    for (uint32_t i = 0; i < units; ++i) {
        end += (uint64_t{sizes[i]} + NPRM_SHM_UNIT_ALIGN - 1) & ~uint64_t{NPRM_SHM_UNIT_ALIGN - 1};
        if (end > UINT32_MAX) return false;
        unit_end[i] = static_cast<uint32_t>(end);
    }
    return true;
}

int find_segment(key_t key, size_t bytes, bool create, bool &created) {
    created = false;
    const int found = shmget(key, bytes, 0666);
    if (found != -1 || !create) return found;
    created = true;
    return shmget(key, bytes, IPC_CREAT | 0666);
}

void *refuse_id(uint32_t id) {
    NPRM_LOG_AT(NPRM_LEVEL_ERROR, "nprm_shm_init", __LINE__, "id = %d.", static_cast<int>(id));
    return nullptr;
}

shm_entry *attached_entry(uint32_t id, uint32_t unit) {
    if (id >= NPRM_SHM_SEGMENTS || unit >= NPRM_SHM_UNITS_MAX) return nullptr;
    shm_entry &entry = nprm_shm_table[id];
    return entry.address != nullptr ? &entry : nullptr;
}

// Nobody is left with the address of a status word that is not mapped any more.
void detach(const shm_entry &entry, void *successor) {
    if (nprm_server_status == entry.address) nprm_server_status = static_cast<volatile uint32_t *>(successor);
    shmdt(entry.address);
}

uint8_t *unit_address(const shm_entry &entry, uint32_t unit) {
    return static_cast<uint8_t *>(entry.address) + (unit == 0 ? 0 : entry.unit_end[unit - 1]);
}

}  // namespace

void *nprm_shm_init(uint32_t id, uint32_t units, const uint32_t *sizes, uint8_t create) {
    if (units > NPRM_SHM_UNITS_MAX) {
        NPRM_LOG(NPRM_LEVEL_ERROR, "units = %d.", static_cast<int>(units));
        return nullptr;
    }
    shm_entry entry = {};
    if (id >= NPRM_SHM_SEGMENTS || !lay_out(units, sizes, entry.unit_end)) return refuse_id(id);
    entry.units = units;
    entry.unit_sizes = sizes;
    const uint32_t total = units == 0 ? 0 : entry.unit_end[units - 1];

    bool created = false;
    entry.shmid = find_segment(static_cast<key_t>(NPRM_SHM_KEY + id), total, create != 0, created);
    if (entry.shmid == -1) return refuse_id(id);

    // The segment that is attached already keeps its address; one that was removed and made again takes its place.
    shm_entry &known = nprm_shm_table[id];
    const bool same = known.address != nullptr && known.shmid == entry.shmid;
    entry.address = same ? known.address : shmat(entry.shmid, nullptr, 0);
    if (entry.address == reinterpret_cast<void *>(-1)) {
        NPRM_LOG(NPRM_LEVEL_ERROR, "id = %d, errno = %#x.", static_cast<int>(id), static_cast<unsigned>(errno));
        return nullptr;
    }
    if (created) memset(entry.address, 0, total);
    if (!same && known.address != nullptr) detach(known, entry.address);
    known = entry;
    return known.address;
}

void *nprm_shm_get_ptr(uint32_t id, uint32_t unit) {
    const shm_entry *entry = attached_entry(id, unit);
    return entry != nullptr ? unit_address(*entry, unit) : nullptr;
}

uint32_t nprm_to_shm(uint32_t id, uint32_t unit, const void *source) {
    const shm_entry *entry = attached_entry(id, unit);
    if (entry == nullptr || unit >= entry->units) return 0;
    memcpy(unit_address(*entry, unit), source, entry->unit_sizes[unit]);
    return entry->unit_sizes[unit];
}

uint32_t nprm_from_shm(uint32_t id, uint32_t unit, void *destination) {
    const shm_entry *entry = attached_entry(id, unit);
    if (entry == nullptr || unit >= entry->units) return 0;
    memcpy(destination, unit_address(*entry, unit), entry->unit_sizes[unit]);
    return entry->unit_sizes[unit];
}

void nprm_shm_free_all() {
    for (shm_entry &entry : nprm_shm_table) {
        if (entry.address == nullptr) continue;
        // Removed whoever made it; it is meant so.
        detach(entry, nullptr);
        shmctl(entry.shmid, IPC_RMID, nullptr);
        entry.address = nullptr;
    }
}
