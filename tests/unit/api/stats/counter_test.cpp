// A counter is never seen half written, whatever the writer does as long as it stores 64 bits at once.

#include "api/stats/counter.h"

#include <atomic>
#include <thread>

#include "stats_fixture.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define INSTRUMENTED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define INSTRUMENTED 1
#endif
#endif

namespace {

#ifdef INSTRUMENTED
constexpr uint64_t wanted_reads = 1000000;
#else
constexpr uint64_t wanted_reads = 100000000;
#endif

constexpr uint32_t entries = 10, slots = 48;
constexpr size_t counts = size_t{entries} * slots * 2;
constexpr size_t table_14 = 0x2C0100;

// Every count of some entries goes back and forth between the last value of 32 bits and the first beyond: half of each is neither.
class CountersBesideAWriter : public stats_fixture {
  protected:
    static constexpr uint64_t below = 0xFFFFFFFF, above = 0x100000000;

    void SetUp() override {
        stats_fixture::SetUp();
        for (size_t i = 0; i < counts; ++i)
            set_count(table_14 + 8 * i, below);
        writer_ = std::thread([this] {
            for (uint64_t count = above; !stop_; count = count == above ? below : above) {
                for (size_t i = 0; i < counts; ++i)
                    nprm::store_count(segment_ + table_14 + 8 * i, count);
                ++rounds_;
            }
        });
        while (rounds_ < 10)
            std::this_thread::yield();
    }
    void TearDown() override {
        stop_writer();
        stats_fixture::TearDown();
    }
    void stop_writer() {
        stop_ = true;
        if (writer_.joinable()) writer_.join();
    }

    // How many of the counts are neither of the writer's values.
    static uint64_t torn_in(const void *data, uint64_t &crossed) {
        uint64_t torn = 0;
        const auto *bytes = static_cast<const uint8_t *>(data);
        for (size_t i = 0; i < counts; ++i) {
            uint64_t count = 0;
            std::memcpy(&count, bytes + 8 * i, sizeof count);
            torn += count != below && count != above ? 1 : 0;
            crossed += count == above ? 1 : 0;
        }
        return torn;
    }

    std::atomic<uint64_t> rounds_{0};
    std::atomic<bool> stop_{false};
    std::thread writer_;
};

TEST_F(CountersBesideAWriter, AreNeverTornInAReadOfTheirTable) {
    uint32_t ids[entries] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    uint64_t torn = 0, crossed = 0;
    const uint64_t before = rounds_;
    // So long that the writer has written meanwhile, however late it gets its turn, and was seen to.
    for (uint64_t reads = 0; reads < wanted_reads || rounds_ == before || crossed == 0; reads += counts) {
        void *data = nullptr;
        ASSERT_EQ(nprm_stats_op(14, 2, entries, ids, &data), 1);
        torn += torn_in(data, crossed);
        free(data);
    }
    EXPECT_EQ(torn, 0u);
}

TEST_F(CountersBesideAWriter, AreNeverTornByReadAndClear) {
    uint32_t ids[entries] = {9, 8, 7, 6, 5, 4, 3, 2, 1, 0};
    uint64_t torn = 0;
    for (uint64_t reads = 0; reads < wanted_reads / 10; reads += counts) {
        void *data = nullptr;
        ASSERT_EQ(nprm_stats_op(14, 5, entries, ids, &data), 1);
        const auto *bytes = static_cast<const uint8_t *>(data);
        for (size_t i = 0; i < counts; ++i) {
            uint64_t count = 0;
            std::memcpy(&count, bytes + 8 * i, sizeof count);
            torn += count != below && count != above && count != 0 ? 1 : 0;
        }
        free(data);
    }
    EXPECT_EQ(torn, 0u);
}

TEST_F(CountersBesideAWriter, AreSeenClearedWholeByOthers) {
    stop_writer();  // this thread writes, another one looks on
    constexpr uint64_t written = 0x100000001;
    constexpr size_t written_counts = 8;
    uint8_t *own = segment_ + table_14;
    std::memset(own, 0, 8 * written_counts);
    std::atomic<bool> done{false};
    std::atomic<uint64_t> torn{0}, cleared{0};
    std::thread other([&] {
        for (size_t i = 0; !done; i = (i + 1) % written_counts) {
            const uint64_t count = nprm::load_count(own + 8 * i);
            if (count == 0) ++cleared;
            if (count != 0 && count != written) ++torn;
        }
    });
    const uint64_t addresses[2] = {reinterpret_cast<uintptr_t>(own), reinterpret_cast<uintptr_t>(own) + 32};
    for (uint64_t clears = 0; clears < wanted_reads / 20 || cleared == 0; ++clears) {
        for (size_t i = 0; i < written_counts; ++i)
            nprm::store_count(own + 8 * i, written);
        clear_data_from_shm(8, 2, addresses);
    }
    done = true;
    other.join();
    EXPECT_EQ(torn, 0u);
}

TEST_F(CountersBesideAWriter, AreAddedToByWholeStores) {
    // The sum is what the writer had before, plus 0: a value of its own again.
    const nprm_stats_counter nothing[slots] = {};
    uint64_t address = reinterpret_cast<uintptr_t>(segment_ + table_14), torn = 0;
    for (uint64_t i = 0; i < wanted_reads / 100; i += 2 * uint64_t{slots}) {
        save_data_into_shm(14, 1, &address, nothing);
        for (size_t each = 0; each < 2 * size_t{slots}; ++each) {
            const uint64_t count = nprm::load_count(segment_ + table_14 + 8 * each);
            torn += count != below && count != above ? 1 : 0;
        }
    }
    EXPECT_EQ(torn, 0u);
}

}  // namespace
