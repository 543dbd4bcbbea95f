// Buffer pools: order, exhaustion, the list of pools, repair of overwritten headers, double frees, threads.

#include "api/frame/pool.h"

#include <cstring>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/scripted_client.h"

namespace {

// Pools live for the process and stand in one list, so every test has pools of its own and an empty list to begin with.
class Pool : public ::testing::Test {
  protected:
    void SetUp() override { nprm_pool_list = nullptr; }
    void TearDown() override { nprm_pool_list = nullptr; }
};

constexpr uint32_t eleven = 11;

#define POOL(name, reserved, count, size)                                                                                          \
    static uint8_t name##_storage[NPRM_POOL_BYTES(count, size)];                                                                   \
    static nprm_buffer_pool name = NPRM_POOL(#name, reserved, count, size, name##_storage)

const nprm_link *header_of(const void *buffer) {
    return reinterpret_cast<const nprm_link *>(static_cast<const uint8_t *>(buffer) - sizeof(nprm_link));
}

nprm_link *header_of(void *buffer) {
    return const_cast<nprm_link *>(header_of(const_cast<const void *>(buffer)));
}

std::string pointer_text(const void *pointer) {
    char text[32];
    std::snprintf(text, sizeof text, "%p", pointer);
    return text;
}

TEST_F(Pool, LinkHeaderHas16BytesOnTheTarget) {
    if (sizeof(void *) == 4) {
        EXPECT_EQ(sizeof(nprm_link), 16u);
        EXPECT_EQ(offsetof(nprm_link, magic), 0u);
        EXPECT_EQ(offsetof(nprm_link, pool), 4u);
        EXPECT_EQ(offsetof(nprm_link, next), 8u);
        EXPECT_EQ(offsetof(nprm_link, index), 12u);
        EXPECT_EQ(offsetof(nprm_link, ref_count), 14u);
    } else {
        EXPECT_EQ(sizeof(nprm_link), 24u);
    }
}

TEST_F(Pool, GivesItsElevenBuffersInIndexOrderAndThenNull) {
    POOL(pool, 1, eleven, 100);
    nprm_init_buffer_pool(&pool);
    for (uint16_t i = 0; i < eleven; ++i) {
        void *buffer = nprm_pool_malloc(&pool);
        ASSERT_NE(buffer, nullptr);
        EXPECT_EQ(nprm_get_buffer_index(buffer), i);
        EXPECT_EQ(nprm_get_buffer_ptr(&pool, i), buffer);
        EXPECT_EQ(buffer, pool.area + i * (100 + sizeof(nprm_link)) + sizeof(nprm_link));
        EXPECT_EQ(header_of(buffer)->magic, 0x20100916u);
        EXPECT_EQ(header_of(buffer)->pool, &pool);
        EXPECT_EQ(header_of(buffer)->next, nullptr);
        EXPECT_EQ(header_of(buffer)->ref_count, 1);
    }
    EXPECT_EQ(nprm_pool_malloc(&pool), nullptr);
    EXPECT_EQ(pool.free_head, nullptr);
    EXPECT_EQ(pool.free_tail, nullptr);
}

TEST_F(Pool, ReturnsAFreedBufferAfterAllThatWereFreeAlready) {
    POOL(pool, 0, 3, 32);
    nprm_init_buffer_pool(&pool);
    void *first = nprm_pool_malloc(&pool);
    nprm_free(first);
    EXPECT_EQ(header_of(first)->ref_count, 0);
    EXPECT_EQ(nprm_get_buffer_index(nprm_pool_malloc(&pool)), 1);
    EXPECT_EQ(nprm_get_buffer_index(nprm_pool_malloc(&pool)), 2);
    EXPECT_EQ(nprm_pool_malloc(&pool), first);
}

TEST_F(Pool, RecoversAfterExhaustion) {
    POOL(pool, 0, 1, 32);
    nprm_init_buffer_pool(&pool);
    void *only = nprm_pool_malloc(&pool);
    EXPECT_EQ(nprm_pool_malloc(&pool), nullptr);
    nprm_free(only);
    EXPECT_EQ(nprm_pool_malloc(&pool), only);
}

TEST_F(Pool, CallocZeroesTheWholeBuffer) {
    POOL(pool, 0, 1, 64);
    nprm_init_buffer_pool(&pool);
    void *buffer = nprm_pool_malloc(&pool);
    std::memset(buffer, 0xAA, 64);
    nprm_free(buffer);
    const auto *bytes = static_cast<uint8_t *>(nprm_pool_calloc(&pool));
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 64), std::vector<uint8_t>(64, 0));
    EXPECT_EQ(nprm_pool_calloc(&pool), nullptr);
}

TEST_F(Pool, ListIsOrderedBySizeAndThenByInitialisation) {
    POOL(middle, 0, 1, 64);
    POOL(large, 0, 1, 128);
    POOL(small, 0, 1, 32);
    POOL(middle_too, 0, 1, 64);
    EXPECT_EQ(nprm_init_buffer_pool(&middle), nullptr);
    EXPECT_EQ(nprm_init_buffer_pool(&large), nullptr);
    EXPECT_EQ(nprm_init_buffer_pool(&small), &middle);
    EXPECT_EQ(nprm_init_buffer_pool(&middle_too), &large);
    EXPECT_EQ(nprm_pool_list, &small);
    EXPECT_EQ(small.next, &middle);
    EXPECT_EQ(middle.next, &middle_too);
    EXPECT_EQ(middle_too.next, &large);
}

TEST_F(Pool, MallocTakesTheSmallestGeneralPoolThatFitsAndHasOneFree) {
    POOL(owned, 1, 1, 16);
    POOL(small, 0, 1, 32);
    POOL(large, 0, 1, 128);
    nprm_init_buffer_pool(&large);
    nprm_init_buffer_pool(&small);
    nprm_init_buffer_pool(&owned);
    EXPECT_EQ(header_of(nprm_malloc(32))->pool, &small);
    EXPECT_EQ(header_of(nprm_malloc(1))->pool, &large);
    EXPECT_EQ(nprm_malloc(1), nullptr) << "the dedicated pool must not serve it";
}

TEST_F(Pool, MallocNeverTakesFromADedicatedPoolNorFromTheHeap) {
    EXPECT_EQ(nprm_malloc(1), nullptr) << "no pool at all";
    POOL(owned, 1, 2, 65536);
    nprm_init_buffer_pool(&owned);
    EXPECT_EQ(nprm_malloc(65537), nullptr);
    EXPECT_EQ(nprm_malloc(1), nullptr);
}

TEST_F(Pool, NprmCallocZeroesExactlyTheProduct) {
    POOL(pool, 0, 1, 64);
    nprm_init_buffer_pool(&pool);
    auto *bytes = static_cast<uint8_t *>(nprm_malloc(64));
    std::memset(bytes, 0xAA, 64);
    nprm_free(bytes);
    ASSERT_EQ(nprm_calloc(5, 6), bytes);
    std::vector<uint8_t> expected(64, 0xAA);
    std::fill_n(expected.begin(), 30, uint8_t{0});
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 64), expected);
}

TEST_F(Pool, NprmCallocMultipliesIn32Bits) {
    POOL(pool, 0, 1, 64);
    nprm_init_buffer_pool(&pool);
    EXPECT_NE(nprm_calloc(0x40000001, 4), nullptr) << "0x100000004 is 4 in 32 bits";
}

TEST_F(Pool, ReallocCopiesWhatBothBuffersHold) {
    POOL(small, 0, 2, 16);
    POOL(large, 0, 2, 64);
    nprm_init_buffer_pool(&small);
    nprm_init_buffer_pool(&large);

    auto *old = static_cast<uint8_t *>(nprm_malloc(16));
    std::memset(old, 0x11, 16);
    auto *grown = static_cast<uint8_t *>(nprm_realloc(old, 64));
    ASSERT_EQ(header_of(grown)->pool, &large);
    EXPECT_EQ(std::vector<uint8_t>(grown, grown + 16), std::vector<uint8_t>(16, 0x11));
    EXPECT_EQ(header_of(old)->ref_count, 0) << "the old buffer is freed";

    std::memset(grown, 0x22, 64);
    auto *spare = static_cast<uint8_t *>(nprm_malloc(16));
    std::memset(spare, 0xAA, 16);
    nprm_free(spare);
    auto *other = static_cast<uint8_t *>(nprm_malloc(16));
    std::memset(other, 0xAA, 16);
    nprm_free(other);
    auto *shrunk = static_cast<uint8_t *>(nprm_realloc(grown, 8));
    ASSERT_EQ(header_of(shrunk)->pool, &small);
    std::vector<uint8_t> expected(16, 0xAA);
    std::fill_n(expected.begin(), 8, uint8_t{0x22});
    EXPECT_EQ(std::vector<uint8_t>(shrunk, shrunk + 16), expected) << "only the new size is copied";
}

TEST_F(Pool, ReallocLeavesTheOldBufferWhenThereIsNoNewOne) {
    POOL(pool, 0, 1, 16);
    nprm_init_buffer_pool(&pool);
    void *old = nprm_malloc(16);
    std::memset(old, 0x33, 16);
    EXPECT_EQ(nprm_realloc(old, 17), nullptr);
    EXPECT_EQ(static_cast<uint8_t *>(old)[15], 0x33);
    EXPECT_EQ(header_of(old)->ref_count, 1);
}

TEST_F(Pool, ReallocOfNullIsMalloc) {
    POOL(pool, 0, 1, 16);
    nprm_init_buffer_pool(&pool);
    EXPECT_EQ(nprm_realloc(nullptr, 16), nprm_get_buffer_ptr(&pool, 0));
}

TEST_F(Pool, ReallocFindsThePoolByAddressWhenTheMagicIsGone) {
    POOL(pool, 0, 2, 16);
    nprm_init_buffer_pool(&pool);
    void *old = nprm_malloc(16);
    std::memset(old, 0x44, 16);
    header_of(old)->magic = 0;
    header_of(old)->pool = nullptr;
    void *moved = nullptr;
    const std::string log = stderr_of([&] { stdout_of([&] { moved = nprm_realloc(old, 16); }); });
    ASSERT_NE(moved, nullptr);
    EXPECT_EQ(static_cast<uint8_t *>(moved)[15], 0x44);
    EXPECT_EQ(header_of(old)->magic, 0x20100916u);
}

TEST_F(Pool, DoubleFreeIsReportedAndMakesNoCycle) {
    POOL(pool, 0, 3, 32);
    nprm_init_buffer_pool(&pool);
    void *twice = nprm_pool_malloc(&pool);
    nprm_free(twice);
    std::string log;
    const std::string out = stdout_of([&] { log = stderr_of([&] { nprm_free(twice); }); });
    const std::string link = pointer_text(header_of(twice));
    EXPECT_EQ(out, "\nlink " + link + " has a ref_count of 65535");
    EXPECT_EQ(log.substr(0, 18), "nprm_enqueue_link(");
    EXPECT_NE(log.find("): link " + link + " has a ref_count of 65535."), std::string::npos) << log;
    EXPECT_EQ(header_of(twice)->ref_count, 65535);

    EXPECT_EQ(nprm_get_buffer_index(nprm_pool_malloc(&pool)), 1);
    EXPECT_EQ(nprm_get_buffer_index(nprm_pool_malloc(&pool)), 2);
    EXPECT_EQ(nprm_pool_malloc(&pool), twice) << "it stands at the tail";
    EXPECT_EQ(nprm_pool_malloc(&pool), nullptr) << "and once";
}

TEST_F(Pool, DoubleFreeInTheMiddleAndAtTheHeadKeepsAllOthers) {
    POOL(pool, 0, 3, 32);
    nprm_init_buffer_pool(&pool);
    for (const uint16_t index : {uint16_t{1}, uint16_t{0}, uint16_t{2}}) {
        stderr_of([&] { stdout_of([&] { nprm_free(nprm_get_buffer_ptr(&pool, index)); }); });
        std::vector<void *> taken;
        while (void *buffer = nprm_pool_malloc(&pool)) {
            ASSERT_LT(taken.size(), 3u);
            taken.push_back(buffer);
        }
        EXPECT_EQ(taken.size(), 3u);
        ASSERT_EQ(nprm_get_buffer_index(taken.back()), index);
        stderr_of([&] {
            stdout_of([&] {
                for (void *buffer : taken)
                    nprm_free(buffer);
            });
        });
    }
}

TEST_F(Pool, ReportsAreNotLoggedWhenTheMaskIsClear) {
    POOL(pool, 0, 1, 32);
    nprm_init_buffer_pool(&pool);
    void *buffer = nprm_pool_malloc(&pool);
    nprm_free(buffer);
    nprm_syslog_flag = 0xF0000000;
    std::string log;
    const std::string out = stdout_of([&] { log = stderr_of([&] { nprm_free(buffer); }); });
    nprm_syslog_flag = NPRM_SYSLOG_FLAG_DEFAULT;
    EXPECT_NE(out, "");
    EXPECT_EQ(log, "");
}

TEST_F(Pool, ReportsAreFlushed) {
    POOL(pool, 0, 1, 32);
    nprm_init_buffer_pool(&pool);
    nprm_syslog_flag = 0;
    void *buffer = nprm_pool_malloc(&pool);
    header_of(buffer)->magic = 0;
    EXPECT_THAT(flushed_stdout_of([&] { nprm_free(buffer); }), testing::EndsWith(" pool."));
    EXPECT_THAT(flushed_stdout_of([&] { nprm_free(buffer); }), testing::EndsWith(" has a ref_count of 65535"));
    EXPECT_THAT(flushed_stdout_of([&] { nprm_free(&pool); }), testing::EndsWith(pointer_text(&pool)));
    nprm_syslog_flag = NPRM_SYSLOG_FLAG_DEFAULT;
}

TEST_F(Pool, RepairsAnOverwrittenHeaderOfABufferOfItsOwn) {
    POOL(other, 0, 2, 16);
    POOL(pool, 0, 4, 32);
    nprm_init_buffer_pool(&other);
    nprm_init_buffer_pool(&pool);
    nprm_pool_malloc(&pool);
    void *hurt = nprm_pool_malloc(&pool);
    std::memset(header_of(hurt), 0xEE, sizeof(nprm_link));
    std::string log;
    const std::string out = stdout_of([&] { log = stderr_of([&] { nprm_free(hurt); }); });
    EXPECT_EQ(out, "\nCorrupted link buffer at " + pointer_text(hurt) + " has been returned to pool pool.");
    EXPECT_EQ(log.substr(0, 10), "nprm_free(");
    EXPECT_NE(log.find("): Corrupted link buffer at " + pointer_text(hurt) + " has been returned to pool pool.."),
              std::string::npos)
        << log;
    EXPECT_EQ(header_of(hurt)->magic, 0x20100916u);
    EXPECT_EQ(header_of(hurt)->pool, &pool);
    EXPECT_EQ(header_of(hurt)->ref_count, 0);
    EXPECT_EQ(header_of(hurt)->index, 0xEEEE) << "the index is left as it is";
    EXPECT_EQ(pool.free_tail, header_of(hurt));
}

TEST_F(Pool, RepairOfABufferThatIsFreeMakesNoCycleAndLosesNone) {
    for (const uint16_t place : {uint16_t{0}, uint16_t{1}, uint16_t{2}}) {
        nprm_pool_list = nullptr;
        POOL(pool, 0, 3, 32);
        pool = nprm_buffer_pool NPRM_POOL("pool", 0, 3, 32, pool_storage);
        nprm_init_buffer_pool(&pool);
        void *hurt = nprm_get_buffer_ptr(&pool, place);
        header_of(hurt)->magic = 0xDEADBEEF;
        stdout_of([&] { stderr_of([&] { nprm_free(hurt); }); });
        size_t taken = 0;
        while (taken < 10 && nprm_pool_malloc(&pool) != nullptr)
            ++taken;
        EXPECT_EQ(taken, 3u) << place;
    }
}

TEST_F(Pool, AsManyFreesAsMakeTheCountWrapMakeNoCycle) {
    POOL(pool, 0, 3, 32);
    nprm_init_buffer_pool(&pool);
    void *buffer = nprm_pool_malloc(&pool);
    nprm_syslog_flag = 0;
    stdout_of([&] {
        for (int i = 0; i < 65537; ++i)
            nprm_free(buffer);
    });
    nprm_syslog_flag = NPRM_SYSLOG_FLAG_DEFAULT;
    size_t taken = 0;
    while (taken < 10 && nprm_pool_malloc(&pool) != nullptr)
        ++taken;
    EXPECT_EQ(taken, 3u);
}

TEST_F(Pool, AnOverwrittenFreeLinkLeadsNobodyAstrayWhileOthersAreGivenBack) {
    POOL(pool, 0, 3, 32);
    nprm_init_buffer_pool(&pool);
    void *first = nprm_pool_malloc(&pool);
    std::memset(header_of(nprm_get_buffer_ptr(&pool, 1)), 0xEE, sizeof(nprm_link));
    nprm_free(first);
    stdout_of([&] { stderr_of([&] { nprm_free(first); }); });
    EXPECT_EQ(header_of(first)->ref_count, 65535);
}

TEST_F(Pool, AForgedHeaderInsideABufferIsNotBelieved) {
    POOL(pool, 0, 2, 128);
    nprm_init_buffer_pool(&pool);
    auto *buffer = static_cast<uint8_t *>(nprm_pool_malloc(&pool));
    std::memcpy(buffer + 32, header_of(buffer), sizeof(nprm_link));
    uint8_t *inside = buffer + 32 + sizeof(nprm_link);
    const std::string out = stdout_of([&] { stderr_of([&] { nprm_free(inside); }); });
    EXPECT_EQ(out, "\nUnable to locate pool for " + pointer_text(inside));
}

TEST_F(Pool, ReportsAndDropsWhatIsNoBuffer) {
    POOL(pool, 0, 2, 32);
    nprm_init_buffer_pool(&pool);
    auto *buffer = static_cast<uint8_t *>(nprm_pool_malloc(&pool));
    uint8_t foreign[64] = {};
    for (void *pointer : {static_cast<void *>(nullptr), static_cast<void *>(foreign), static_cast<void *>(buffer + 1),
                          static_cast<void *>(buffer - 1), static_cast<void *>(pool.area), static_cast<void *>(buffer + 32),
                          static_cast<void *>(pool.area + NPRM_POOL_BYTES(2, 32))}) {
        std::string log;
        const std::string out = stdout_of([&] { log = stderr_of([&] { nprm_free(pointer); }); });
        EXPECT_EQ(out, "\nUnable to locate pool for " + pointer_text(pointer));
        EXPECT_EQ(log.substr(0, 10), "nprm_free(");
        EXPECT_NE(log.find("): Unable to locate pool for " + pointer_text(pointer) + "."), std::string::npos) << log;
    }
    EXPECT_EQ(header_of(buffer)->ref_count, 1);
    EXPECT_NE(nprm_pool_malloc(&pool), nullptr);
    EXPECT_EQ(nprm_pool_malloc(&pool), nullptr);
}

TEST_F(Pool, ReportsAPointerWhenThereIsNoPoolAtAll) {
    uint8_t foreign[64] = {};
    const std::string out = stdout_of([&] { stderr_of([&] { nprm_free(foreign + 32); }); });
    EXPECT_EQ(out, "\nUnable to locate pool for " + pointer_text(foreign + 32));
}

TEST_F(Pool, ReallocOfWhatIsNoBufferIsReportedAndGivesNull) {
    POOL(pool, 0, 2, 32);
    nprm_init_buffer_pool(&pool);
    uint8_t foreign[64] = {};
    void *moved = foreign;
    const std::string out = stdout_of([&] { stderr_of([&] { moved = nprm_realloc(foreign, 8); }); });
    EXPECT_EQ(moved, nullptr);
    EXPECT_NE(out, "");
}

TEST_F(Pool, ServesSeveralThreads) {
    POOL(pool, 0, 8, 32);
    nprm_init_buffer_pool(&pool);
    std::vector<std::thread> threads;
    for (uint8_t who = 1; who <= 4; ++who)
        threads.emplace_back([who] {
            for (int i = 0; i < 20000; ++i) {
                auto *bytes = static_cast<uint8_t *>(nprm_malloc(32));
                if (bytes == nullptr) continue;
                std::memset(bytes, who, 32);
                for (int at = 0; at < 32; ++at)
                    ASSERT_EQ(bytes[at], who) << "a buffer was handed out twice";
                nprm_free(bytes);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    size_t free_buffers = 0;
    while (nprm_pool_malloc(&pool) != nullptr)
        ++free_buffers;
    EXPECT_EQ(free_buffers, 8u);
}

class RequestPool : public scripted_client {};

TEST_F(RequestPool, HasElevenBuffersOf64KiBAndServesNoGeneralRequest) {
    ASSERT_NE(nprm_pool_list, nullptr);
    EXPECT_STREQ(nprm_pool_list->name, "nprm_ipc_reply_pool");
    EXPECT_EQ(nprm_pool_list->reserved, 1u);
    EXPECT_EQ(nprm_pool_list->count, 11u);
    EXPECT_EQ(nprm_pool_list->size, 65536u);
    EXPECT_EQ(free_request_buffers(), 11u);
    EXPECT_EQ(nprm_malloc(1), nullptr);
    EXPECT_EQ(nprm_malloc(65537), nullptr);
}

}  // namespace
