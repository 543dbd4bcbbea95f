// A client with the card's statistics segment, all zero at first; untouched pages of it cost nothing.
#ifndef TESTS_STATS_FIXTURE_H
#define TESTS_STATS_FIXTURE_H

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <sys/shm.h>

#include "api/frame/component.h"
#include "api/frame/nprm_client.h"
#include "api/frame/nprm_pool.h"
#include "api/stats/nprm_stats.h"
#include "api/stats/segment.h"
#include "system_calls.h"
#include "tests/support/bytes.h"
#include "tests/support/scripted_client.h"

struct with_free {
    void operator()(void *buffer) const { free(buffer); }
};
using heap_buffer = std::unique_ptr<void, with_free>;

constexpr key_t segment_key = 0x838377;
constexpr size_t segment_bytes = 55312640;

class stats_fixture : public scripted_client {
  protected:
    void SetUp() override {
        scripted_client::SetUp();
        for (int i = 0; i < 11; ++i) {
            void *buffer = nprm_ipc_msg_malloc();
            std::memset(buffer, 0, 65536);
            nprm_free(buffer);
        }
        remove_segment();
        make_segment(segment_bytes);
        detach_library();
        shmat_calls = 0;
    }
    void TearDown() override {
        expect_clean();
        detach_library();
        shmdt(segment_);
        remove_segment();
        scripted_client::TearDown();
    }

    void make_segment(size_t bytes) {
        if (segment_ != nullptr) shmdt(segment_);
        const int id = shmget(segment_key, bytes, IPC_CREAT | IPC_EXCL | 0666);
        ASSERT_NE(id, -1);
        segment_ = static_cast<uint8_t *>(shmat(id, nullptr, 0));
    }
    static void remove_segment() {
        const int id = shmget(segment_key, 0, 0);
        if (id != -1) shmctl(id, IPC_RMID, nullptr);
    }
    // As before the process's first use of the statistics.
    static void detach_library() {
        void *base = nprm::stats_segment;
        if (base != nullptr && base != reinterpret_cast<void *>(-1)) shmdt(base);
        nprm::stats_segment = nullptr;
    }

    // A count of the segment, by its offset.
    uint64_t count_at(size_t offset) const {
        uint64_t count = 0;
        std::memcpy(&count, segment_ + offset, sizeof count);
        return count;
    }
    void set_count(size_t offset, uint64_t count) { std::memcpy(segment_ + offset, &count, sizeof count); }
    std::span<const uint8_t> segment() const { return {segment_, segment_bytes}; }

    // A reply with a status and zero data.
    static std::vector<uint8_t> stats_reply(uint32_t status, size_t data_bytes, uint32_t operation = 0) {
        std::vector<uint8_t> reply(16 + data_bytes);
        put_u32(reply, 0, operation);
        put_u32(reply, 4, 1);
        put_u32(reply, 8, status);
        return reply;
    }

    // What every operation leaves, however it ended.
    static void expect_clean() {
        EXPECT_EQ(nprm_reply_slot[6], nullptr);
        ASSERT_EQ(pthread_mutex_trylock(&stats_mutex), 0) << "the lock is still held";
        pthread_mutex_unlock(&stats_mutex);
    }

    uint8_t *segment_ = nullptr;
};

#endif
