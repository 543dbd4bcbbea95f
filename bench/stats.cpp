// Reading counters from the statistics segment, beside copying the same bytes bare into equally fresh memory.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <sched.h>
#include <sys/shm.h>

#include "api/nprm.h"
#include "support/pair.h"

namespace {

constexpr uint32_t table = NPRM_STATS_CLASS_TABLE;
constexpr uint32_t all_entries = 65536, few_entries = 1000;
constexpr size_t entry_bytes = 768;

// A segment as a server makes it, all pages there.  In a namespace of its own: a card that runs on this machine is left alone.
uint8_t *make_segment() {
    if (unshare(CLONE_NEWIPC) != 0) unshare(CLONE_NEWUSER | CLONE_NEWIPC);
    const int id = shmget(NPRM_STATS_SEGMENT_KEY, NPRM_STATS_SEGMENT_BYTES, IPC_CREAT | IPC_EXCL | 0600);
    void *segment = id != -1 ? shmat(id, nullptr, 0) : reinterpret_cast<void *>(-1);
    if (segment == reinterpret_cast<void *>(-1) || nprm_stats_client_init() != 1) {
        std::perror("the statistics segment");
        std::exit(2);
    }
    shmctl(id, IPC_RMID, nullptr);  // gone with this process
    std::memset(segment, 1, NPRM_STATS_SEGMENT_BYTES);
    return static_cast<uint8_t *>(segment) + stats_tbl_def[table].shm_offset;
}

void read_entries(uint32_t op, std::vector<uint32_t> &ids) {
    void *data = nullptr;
    if (nprm_stats_op(table, op, static_cast<uint32_t>(ids.size()), ids.data(), &data) != 1) std::exit(2);
    keep(data);
    std::free(data);
}

// What a host would write that has the segment attached itself.
void copy_bare(uint8_t *from, size_t bytes, bool clears) {
    void *data = std::malloc(bytes);
    std::memcpy(data, from, bytes);
    keep(data);
    if (clears) std::memset(from, 0, bytes);
    std::free(data);
}

void copy_bare(uint8_t *from, const std::vector<uint32_t> &ids, bool clears) {
    auto *data = static_cast<uint8_t *>(std::malloc(ids.size() * entry_bytes));
    for (size_t i = 0; i < ids.size(); ++i)
        std::memcpy(data + i * entry_bytes, from + ids[i] * entry_bytes, entry_bytes);
    keep(data);
    if (clears)
        for (const uint32_t id : ids)
            std::memset(from + id * entry_bytes, 0, entry_bytes);
    std::free(data);
}

}  // namespace

int main(int argc, char **argv) {
    benchmark_run run("stats: counters from the shared segment", argc, argv);
    uint8_t *entries = make_segment();
    std::vector<uint32_t> all(all_entries), scattered(few_entries);
    for (uint32_t i = 0; i < all_entries; ++i)
        all[i] = i;
    for (uint32_t i = 0; i < few_entries; ++i)
        scattered[i] = i * 7919 % all_entries;

    run.pair(
        "read all of table 14 (50 MB), beside memcpy", 1.3, [&] { read_entries(NPRM_STATS_READ, all); },
        [&] { copy_bare(entries, all_entries * entry_bytes, false); });
    run.pair(
        "read and clear all of it, beside memcpy and memset", 1.3, [&] { read_entries(NPRM_STATS_READ_CLEAR, all); },
        [&] { copy_bare(entries, all_entries * entry_bytes, true); });
    run.pair(
        "read 1,000 scattered entries, beside memcpy of each", 1.5, [&] { read_entries(NPRM_STATS_READ, scattered); },
        [&] { copy_bare(entries, scattered, false); });
    run.pair(
        "read and clear 1,000 of them, beside memcpy and memset", 1.5, [&] { read_entries(NPRM_STATS_READ_CLEAR, scattered); },
        [&] { copy_bare(entries, scattered, true); });
    return run.finish();
}
