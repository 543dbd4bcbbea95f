// The hash table: layout, sorted chains, capacity, replacement, iteration in pool order, refusals, a std::map as its model,
// threads.

#include "util/nprm_hash.h"

#include <atomic>
#include <cstring>
#include <map>
#include <shared_mutex>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "api/frame/pool.h"
#include "tests/support/scripted_client.h"
#include "tests/unit/util/random_steps.h"

namespace {

const pthread_mutex_t *recorded_table = nullptr, *recorded_pool = nullptr;
std::string recorded_locks;

void record(const pthread_mutex_t *lock, char table, char pool) {
    if (lock == recorded_table) recorded_locks += table;
    if (lock == recorded_pool) recorded_locks += pool;
}

}  // namespace

// The linker sends the library's calls here.
extern "C" int __real_pthread_mutex_lock(pthread_mutex_t *);
extern "C" int __wrap_pthread_mutex_lock(pthread_mutex_t *lock) {
    record(lock, 't', 'p');
    return __real_pthread_mutex_lock(lock);
}
extern "C" int __real_pthread_mutex_unlock(pthread_mutex_t *);
extern "C" int __wrap_pthread_mutex_unlock(pthread_mutex_t *lock) {
    record(lock, 'T', 'P');
    return __real_pthread_mutex_unlock(lock);
}

namespace {

// Pools live for the process and stand in one list, so every test begins and ends with an empty one.
class HashTable : public ::testing::Test {
  protected:
    HashTable() { nprm_pool_list = nullptr; }
    ~HashTable() override { nprm_pool_list = nullptr; }
};

using bytes = std::vector<uint8_t>;

// A table with everything that its owner lays out.
struct owned_table {
    owned_table(uint32_t entries, uint32_t key_size, uint32_t value_size, uint32_t buckets,
                uint32_t node_size = sizeof(nprm_hash_node))
        : storage(NPRM_POOL_BYTES(entries, node_size)),
          keys(entries * key_size + 1, 0xEE),
          values(entries * value_size + 1, 0xEE),
          heads(buckets + 1, reinterpret_cast<nprm_hash_node *>(0x10)),
          nodes(NPRM_POOL("nodes", 1, entries, node_size, storage.data())),
          table(NPRM_HASH_TABLE(entries, key_size, value_size, buckets, keys.data(), values.data(), &nodes, heads.data())) {
        nprm_init_hash_table(&table);
    }

    void *add(const bytes &key, const bytes &value) { return nprm_hash_table_add(&table, key.data(), value.data()); }
    void *lookup(const bytes &key) const { return nprm_hash_table_lookup(&table, key.data()); }
    uint32_t remove(const bytes &key) { return nprm_hash_table_delete(&table, key.data()); }
    void *key_with(const bytes &value) const { return nprm_hash_table_lookup_entry(&table, value.data()); }
    nprm_hash_node *next(const void *previous) const { return nprm_hash_table_find_next(&table, previous); }

    bytes value_of(const bytes &key) const {
        const auto *value = static_cast<const uint8_t *>(lookup(key));
        return value != nullptr ? bytes(value, value + table.value_size) : bytes{};
    }
    std::vector<bytes> chain(uint32_t bucket) const {
        std::vector<bytes> keys_in_order;
        for (const nprm_hash_node *node = heads[bucket]; node != nullptr; node = node->next) {
            const auto *key = static_cast<const uint8_t *>(node->key);
            keys_in_order.emplace_back(key, key + table.key_size);
        }
        return keys_in_order;
    }
    size_t free_nodes() const {
        size_t count = 0;
        for (const nprm_link *link = nodes.free_head; link != nullptr; link = link->next)
            ++count;
        return count;
    }

    std::vector<uint8_t> storage, keys, values;
    std::vector<nprm_hash_node *> heads;
    nprm_buffer_pool nodes;
    nprm_hash_table table;
};

TEST_F(HashTable, DescriptorAndNodeAreLaidOutAsOnTheTarget) {
    if (sizeof(void *) != 4) GTEST_SKIP() << "the layout of the 32-bit target";
    EXPECT_EQ(sizeof(nprm_hash_node), 12u);
    EXPECT_EQ(offsetof(nprm_hash_node, value), 4u);
    EXPECT_EQ(offsetof(nprm_hash_node, next), 8u);
    EXPECT_EQ(offsetof(nprm_hash_table, reserved), 0u);
    EXPECT_EQ(offsetof(nprm_hash_table, max_entries), 4u);
    EXPECT_EQ(offsetof(nprm_hash_table, key_size), 8u);
    EXPECT_EQ(offsetof(nprm_hash_table, value_size), 12u);
    EXPECT_EQ(offsetof(nprm_hash_table, buckets), 16u);
    EXPECT_EQ(offsetof(nprm_hash_table, lock), 20u);
    EXPECT_EQ(offsetof(nprm_hash_table, key_store), 20 + sizeof(pthread_mutex_t));
    EXPECT_EQ(offsetof(nprm_hash_table, value_store), 24 + sizeof(pthread_mutex_t));
    EXPECT_EQ(offsetof(nprm_hash_table, node_pool), 28 + sizeof(pthread_mutex_t));
    EXPECT_EQ(offsetof(nprm_hash_table, bucket_heads), 32 + sizeof(pthread_mutex_t));
}

TEST_F(HashTable, InitialisationClearsTheHeadsAndGivesNodeIItsSlots) {
    owned_table owned(3, 5, 7, 4);
    for (uint32_t bucket = 0; bucket < 4; ++bucket)
        EXPECT_EQ(owned.heads[bucket], nullptr);
    EXPECT_NE(owned.heads[4], nullptr) << "the head behind the last one was cleared";
    for (uint16_t i = 0; i < 3; ++i) {
        const auto *node = static_cast<nprm_hash_node *>(nprm_get_buffer_ptr(&owned.nodes, i));
        EXPECT_EQ(node->key, owned.keys.data() + i * 5);
        EXPECT_EQ(node->value, owned.values.data() + i * 7);
        EXPECT_EQ(node->next, nullptr);
    }
    EXPECT_EQ(nprm_pool_list, &owned.nodes);
    EXPECT_EQ(owned.free_nodes(), 3u);
}

TEST_F(HashTable, SlotsStayWithTheirNodesWhenTheseAreFreedAndTakenAgain) {
    owned_table owned(2, 1, 1, 3);
    owned.add({1}, {10});
    owned.add({2}, {20});
    EXPECT_EQ(owned.remove({1}), 1u);
    EXPECT_EQ(owned.add({3}, {30}), owned.values.data());
    EXPECT_EQ(owned.keys[0], 3);
    EXPECT_EQ(owned.values[0], 30);
    EXPECT_EQ(owned.values[1], 20);
}

TEST_F(HashTable, FindsWhatWasAddedAndNothingElse) {
    owned_table owned(4, 3, 2, 5);
    EXPECT_EQ(owned.lookup({1, 2, 3}), nullptr);
    void *stored = owned.add({1, 2, 3}, {0xAB, 0xCD});
    ASSERT_NE(stored, nullptr);
    EXPECT_EQ(owned.lookup({1, 2, 3}), stored);
    EXPECT_EQ(owned.value_of({1, 2, 3}), (bytes{0xAB, 0xCD}));
    EXPECT_EQ(owned.lookup({3, 2, 1}), nullptr) << "same bucket, greater key";
    EXPECT_EQ(owned.lookup({0, 3, 3}), nullptr) << "same bucket, smaller key";
}

TEST_F(HashTable, HashIsTheSumOfUnsignedBytesModuloTheBuckets) {
    owned_table owned(8, 9, 1, 97);
    const bytes key = {0xFF, 0xFE, 0xFD, 0xFC, 0xFB, 0xFA, 0xF9, 0xF8, 0xF7};  // 2259
    owned.add(key, {1});
    EXPECT_EQ(owned.chain(2259 % 97), (std::vector<bytes>{key}));
    for (uint32_t bucket = 0; bucket < 97; ++bucket)
        EXPECT_EQ(owned.heads[bucket] != nullptr, bucket == 2259 % 97) << bucket;
}

TEST_F(HashTable, HashSumsKeysOfEverySize) {
    for (uint32_t size = 1; size <= 40; ++size) {
        nprm_pool_list = nullptr;
        owned_table owned(1, size, 1, 10'000);
        bytes key(size);
        uint32_t sum = 0;
        for (uint32_t i = 0; i < size; ++i)
            sum += key[i] = static_cast<uint8_t>(0xFF - i * 5);
        owned.add(key, {1});
        EXPECT_EQ(owned.chain(sum), (std::vector<bytes>{key})) << size;
    }
}

TEST_F(HashTable, KeysOfOneBucketAreChainedByTheirFirstDifferingByte) {
    owned_table owned(4, 2, 1, 100);
    owned.add({0x02, 0x00}, {1});
    owned.add({0x01, 0x01}, {2});
    owned.add({0x00, 0x02}, {3});
    EXPECT_EQ(owned.chain(2), (std::vector<bytes>{{0x00, 0x02}, {0x01, 0x01}, {0x02, 0x00}}));
}

TEST_F(HashTable, KeysCompareAsUnsignedBytes) {
    owned_table owned(2, 2, 1, 1);
    owned.add({0x80, 0x00}, {1});
    owned.add({0x7F, 0xFF}, {2});
    EXPECT_EQ(owned.chain(0), (std::vector<bytes>{{0x7F, 0xFF}, {0x80, 0x00}}));
}

TEST_F(HashTable, AddingAnExistingKeyReplacesItsValueInPlaceAndTakesNoNode) {
    owned_table owned(2, 1, 2, 3);
    void *first = owned.add({7}, {1, 1});
    EXPECT_EQ(owned.free_nodes(), 1u);
    EXPECT_EQ(owned.add({7}, {2, 2}), first);
    EXPECT_EQ(owned.free_nodes(), 1u);
    EXPECT_EQ(owned.value_of({7}), (bytes{2, 2}));
}

TEST_F(HashTable, ANewKeyGetsNullWhenAllNodesAreInUseAndAnOldOneIsStillReplaced) {
    owned_table owned(2, 1, 1, 3);
    owned.add({1}, {1});
    owned.add({2}, {2});
    EXPECT_EQ(owned.add({3}, {3}), nullptr);
    EXPECT_EQ(owned.lookup({3}), nullptr);
    EXPECT_NE(owned.add({2}, {9}), nullptr);
    EXPECT_EQ(owned.value_of({2}), (bytes{9}));
    EXPECT_EQ(owned.remove({1}), 1u);
    EXPECT_NE(owned.add({3}, {3}), nullptr);
}

TEST_F(HashTable, ANullValueLeavesTheSlotsBytes) {
    owned_table owned(2, 1, 2, 3);
    const uint8_t key = 5;
    EXPECT_EQ(nprm_hash_table_add(&owned.table, &key, nullptr), owned.values.data());
    EXPECT_EQ(owned.value_of({5}), (bytes{0xEE, 0xEE})) << "a new entry";
    owned.add({5}, {1, 2});
    EXPECT_EQ(nprm_hash_table_add(&owned.table, &key, nullptr), owned.values.data());
    EXPECT_EQ(owned.value_of({5}), (bytes{1, 2})) << "an existing one";
}

TEST_F(HashTable, RemovesAtTheHeadInTheMiddleAndAtTheEndOfAChain) {
    const std::vector<bytes> all = {{1}, {2}, {3}, {4}};
    for (size_t removed = 0; removed < all.size(); ++removed) {
        nprm_pool_list = nullptr;
        owned_table owned(4, 1, 1, 1);
        for (const bytes &key : {all[2], all[0], all[3], all[1]})
            owned.add(key, key);
        ASSERT_EQ(owned.chain(0), all);
        EXPECT_EQ(owned.remove(all[removed]), 1u);
        EXPECT_EQ(owned.lookup(all[removed]), nullptr);
        std::vector<bytes> rest = all;
        rest.erase(rest.begin() + static_cast<std::ptrdiff_t>(removed));
        EXPECT_EQ(owned.chain(0), rest);
        EXPECT_EQ(owned.free_nodes(), 1u);
        EXPECT_EQ(owned.remove(all[removed]), 0u) << "it is gone";
    }
}

TEST_F(HashTable, RemovingAMissingKeyReturns0) {
    owned_table owned(2, 1, 1, 1);
    EXPECT_EQ(owned.remove({1}), 0u);
    owned.add({5}, {5});
    EXPECT_EQ(owned.remove({4}), 0u);
    EXPECT_EQ(owned.remove({6}), 0u);
    EXPECT_EQ(owned.chain(0), (std::vector<bytes>{{5}}));
}

TEST_F(HashTable, ReverseLookUpGivesTheLowestBucketsLowestKey) {
    owned_table owned(6, 1, 2, 4);
    owned.add({7}, {1, 2});  // bucket 3
    owned.add({6}, {1, 2});  // bucket 2
    owned.add({2}, {1, 2});  // bucket 2, before 6
    owned.add({4}, {1, 3});  // bucket 0, another value
    const auto *key = static_cast<const uint8_t *>(owned.key_with({1, 2}));
    ASSERT_NE(key, nullptr);
    EXPECT_EQ(*key, 2);
    EXPECT_EQ(owned.key_with({2, 2}), nullptr);
}

TEST_F(HashTable, IterationFollowsThePoolNotTheKeys) {
    owned_table owned(5, 1, 1, 2);
    for (const uint8_t key : bytes{9, 3, 7, 1})
        owned.add({key}, {key});
    owned.remove({3});
    bytes seen;
    for (nprm_hash_node *node = owned.next(nullptr); node != nullptr; node = owned.next(node))
        seen.push_back(*static_cast<uint8_t *>(node->key));
    EXPECT_EQ(seen, (bytes{9, 7, 1}));
}

TEST_F(HashTable, IterationOfAnEmptyTableEndsAtOnceAndReachesTheLastNode) {
    owned_table owned(2, 1, 1, 1);
    EXPECT_EQ(owned.next(nullptr), nullptr);
    owned.add({1}, {1});
    owned.add({2}, {2});
    owned.remove({1});
    ASSERT_NE(owned.next(nullptr), nullptr);
    EXPECT_EQ(owned.next(nullptr), nprm_get_buffer_ptr(&owned.nodes, 1));
    EXPECT_EQ(owned.next(owned.next(nullptr)), nullptr);
}

TEST_F(HashTable, EntriesMayBeRemovedDuringIteration) {
    owned_table owned(100, 1, 1, 1);
    for (uint8_t key = 0; key < 100; ++key)
        owned.add({key}, {key});
    uint32_t removed = 0;
    for (nprm_hash_node *node = owned.next(nullptr); node != nullptr; node = owned.next(node))
        removed += owned.remove({*static_cast<uint8_t *>(node->key)});
    EXPECT_EQ(removed, 100u);
    EXPECT_EQ(owned.heads[0], nullptr);
    EXPECT_EQ(owned.free_nodes(), 100u);
}

TEST_F(HashTable, IterationFromOutsideThePoolEndsWithoutReadingThere) {
    owned_table owned(3, 1, 1, 1);
    owned.add({1}, {1});
    owned.add({2}, {2});
    uint8_t elsewhere = 0;
    EXPECT_EQ(owned.next(&elsewhere), nullptr);
    EXPECT_EQ(owned.next(owned.storage.data() + owned.storage.size()), nullptr);
    EXPECT_EQ(owned.next(owned.storage.data() - 1), nullptr);
    EXPECT_EQ(owned.next(reinterpret_cast<void *>(1)), nullptr) << "not an address at all";
    EXPECT_EQ(owned.next(reinterpret_cast<void *>(UINTPTR_MAX)), nullptr);
}

TEST_F(HashTable, IterationTakesTheIndexFromTheAddressNotFromTheHeader) {
    owned_table owned(3, 1, 1, 1);
    for (const uint8_t key : bytes{1, 2, 3})
        owned.add({key}, {key});
    nprm_hash_node *first = owned.next(nullptr);
    (reinterpret_cast<nprm_link *>(first) - 1)->index = 2;
    EXPECT_EQ(owned.next(first), nprm_get_buffer_ptr(&owned.nodes, 1));
}

TEST_F(HashTable, IterationFromInsideANodeGoesOnBehindThatNode) {
    owned_table owned(3, 1, 1, 1);
    for (const uint8_t key : bytes{1, 2, 3})
        owned.add({key}, {key});
    auto *second = static_cast<uint8_t *>(nprm_get_buffer_ptr(&owned.nodes, 1));
    EXPECT_EQ(owned.next(second + 1), nprm_get_buffer_ptr(&owned.nodes, 2));
    EXPECT_EQ(owned.next(second + sizeof(nprm_hash_node) - 1), nprm_get_buffer_ptr(&owned.nodes, 2));
    EXPECT_EQ(owned.next(second - 1), nprm_get_buffer_ptr(&owned.nodes, 2)) << "its header belongs to it";
}

TEST_F(HashTable, ZeroBucketsFindNothingAndHaveNoNode) {
    owned_table owned(2, 1, 1, 0);
    EXPECT_NE(owned.heads[0], nullptr) << "there is no head to clear";
    EXPECT_EQ(owned.add({1}, {1}), nullptr);
    EXPECT_EQ(owned.free_nodes(), 2u);
    EXPECT_EQ(owned.lookup({1}), nullptr);
    EXPECT_EQ(owned.remove({1}), 0u);
    EXPECT_EQ(owned.key_with({1}), nullptr);
    EXPECT_EQ(owned.next(nullptr), nullptr);
}

TEST_F(HashTable, ZeroEntriesHaveNoNode) {
    owned_table owned(0, 1, 1, 2);
    EXPECT_EQ(owned.heads[0], nullptr);
    EXPECT_EQ(owned.add({1}, {1}), nullptr);
    EXPECT_EQ(owned.lookup({1}), nullptr);
    EXPECT_EQ(owned.remove({1}), 0u);
    EXPECT_EQ(owned.next(nullptr), nullptr);
}

TEST_F(HashTable, ZeroKeyBytesMakeAllKeysEqual) {
    owned_table owned(3, 0, 1, 4);
    void *stored = owned.add({1}, {1});
    EXPECT_EQ(owned.add({2}, {2}), stored);
    EXPECT_EQ(owned.value_of({3}), (bytes{2}));
    EXPECT_EQ(owned.remove({4}), 1u);
    EXPECT_EQ(owned.lookup({1}), nullptr);
}

TEST_F(HashTable, ZeroValueBytesMakeASet) {
    owned_table owned(3, 1, 0, 4);
    EXPECT_NE(owned.add({1}, {}), nullptr);
    EXPECT_NE(owned.lookup({1}), nullptr);
    EXPECT_EQ(owned.lookup({2}), nullptr);
    EXPECT_EQ(owned.values[0], 0xEE);
}

TEST_F(HashTable, APoolThatDoesNotFitIsLeftAloneAndNothingCanBeAdded) {
    owned_table small(2, 1, 1, 2, sizeof(nprm_hash_node) - 1);
    EXPECT_EQ(small.table.max_entries, 0u);
    EXPECT_EQ(small.add({1}, {1}), nullptr);
    EXPECT_EQ(small.next(nullptr), nullptr);
    EXPECT_EQ(nprm_pool_list, nullptr);

    owned_table other(2, 1, 1, 2);
    nprm_pool_list = nullptr;
    other.table.max_entries = 3;
    nprm_init_hash_table(&other.table);
    EXPECT_EQ(other.table.max_entries, 0u);
    EXPECT_EQ(nprm_pool_list, nullptr);
    EXPECT_EQ(other.add({1}, {1}), nullptr);
}

TEST_F(HashTable, APoolThatDoesNotFitIsReportedOnceWithCountsAndSizes) {
    const std::string size = std::to_string(sizeof(nprm_hash_node));
    EXPECT_THAT(
        stderr_of([] { owned_table(2, 1, 1, 2, 5).add({1}, {1}); }),
        ::testing::MatchesRegex(
            "nprm_init_hash_table\\([0-9]+\\): node pool nodes has 2 buffers of 5 bytes, the table needs 2 of " + size + "\\.\n"));
    owned_table other(2, 1, 1, 2);
    other.table.max_entries = 3;
    EXPECT_THAT(
        stderr_of([&] { nprm_init_hash_table(&other.table); }),
        ::testing::HasSubstr(": node pool nodes has 2 buffers of " + size + " bytes, the table needs 3 of " + size + ".\n"));
    EXPECT_EQ(stderr_of([] {
                  nprm_syslog_flag = 0;
                  owned_table(2, 1, 1, 2, 5);
              }),
              "");
    EXPECT_EQ(stderr_of([] {
                  nprm_syslog_flag = NPRM_SYSLOG_FLAG_DEFAULT;
                  owned_table(2, 1, 1, 2);
              }),
              "")
        << "one that fits";
}

TEST_F(HashTable, LargerNodesWork) {
    owned_table owned(3, 2, 2, 5, 61);  // an odd size: nodes stand at any address
    for (uint8_t key = 0; key < 3; ++key)
        owned.add({key, 1}, {key, 2});
    for (uint8_t key = 0; key < 3; ++key)
        EXPECT_EQ(owned.value_of({key, 1}), (bytes{key, 2}));
    EXPECT_EQ(owned.next(owned.next(nullptr)), nprm_get_buffer_ptr(&owned.nodes, 1));
}

// Which locks the operations take, in order: t and p take the table's and the pool's, T and P release them.
class HashTableLock : public HashTable {
  protected:
    HashTableLock() {
        recorded_table = &owned.table.lock;
        recorded_pool = &owned.nodes.lock;
    }
    ~HashTableLock() override { recorded_table = recorded_pool = nullptr; }

    template <typename Operation>
    std::string locks_of(Operation operation) {
        recorded_locks.clear();
        operation();
        return recorded_locks;
    }
    owned_table owned{4, 1, 1, 1};
};

TEST_F(HashTableLock, IsTakenByAdditionsAndRemovalsAlone) {
    EXPECT_EQ(locks_of([&] { owned.add({1}, {1}); }), "pPtT");
    EXPECT_EQ(locks_of([&] { owned.add({1}, {2}); }), "") << "replacing a value";
    EXPECT_EQ(locks_of([&] { owned.lookup({1}); }), "");
    EXPECT_EQ(locks_of([&] { owned.key_with({2}); }), "");
    EXPECT_EQ(locks_of([&] { owned.next(nullptr); }), "");
}

TEST_F(HashTableLock, OfTheTableIsTakenBeforeThatOfThePool) {
    owned.add({1}, {1});
    EXPECT_EQ(locks_of([&] { owned.remove({1}); }), "tpPT");
    EXPECT_EQ(locks_of([&] { owned.remove({1}); }), "tT") << "there is nothing to give back";
}

// A std::map beside the table: same answers, sorted chains, each entry in the bucket of its sum, no node lost.
class HashTableModel : public HashTable {
  protected:
    static constexpr uint32_t entries = 64, key_size = 3, value_size = 4, buckets = 11;
    owned_table owned{entries, key_size, value_size, buckets};
    std::map<bytes, bytes> model;
    random_steps random;

    // Few bytes, so that keys come again and sums collide.
    bytes any_key() {
        bytes key(key_size);
        for (uint8_t &byte : key)
            byte = static_cast<uint8_t>(random.below(5) * 63);
        return key;
    }

    void add() {
        const bytes key = any_key();
        const uint64_t random_bytes = random.any();
        bytes value(value_size);
        std::memcpy(value.data(), &random_bytes, value_size);
        const bool fits = model.contains(key) || model.size() < entries;
        const void *before = owned.lookup(key);
        const void *stored = owned.add(key, value);
        ASSERT_EQ(stored != nullptr, fits);
        ASSERT_TRUE(before == nullptr || stored == before);
        if (fits) model[key] = value;
    }

    void remove() {
        const bytes key = any_key();
        ASSERT_EQ(owned.remove(key), model.erase(key));
    }

    void lookup() {
        const bytes key = any_key();
        const auto expected = model.find(key);
        ASSERT_EQ(owned.value_of(key), expected != model.end() ? expected->second : bytes{});
    }

    void reverse_lookup() {
        if (model.empty()) return;
        auto entry = model.begin();
        std::advance(entry, random.below(static_cast<uint32_t>(model.size())));
        const void *key = owned.key_with(entry->second);
        ASSERT_NE(key, nullptr);
        const auto *found = static_cast<const uint8_t *>(key);
        ASSERT_EQ(model.at(bytes(found, found + key_size)), entry->second);
    }

    void compare_all() {
        size_t chained = 0;
        for (uint32_t bucket = 0; bucket < buckets; ++bucket) {
            const std::vector<bytes> keys = owned.chain(bucket);
            chained += keys.size();
            for (size_t i = 0; i < keys.size(); ++i) {
                ASSERT_EQ(static_cast<uint32_t>(keys[i][0] + keys[i][1] + keys[i][2]) % buckets, bucket);
                ASSERT_TRUE(model.contains(keys[i]));
                ASSERT_TRUE(i == 0 || keys[i - 1] < keys[i]);
            }
        }
        ASSERT_EQ(chained, model.size());
        size_t walked = 0;
        for (nprm_hash_node *node = owned.next(nullptr); node != nullptr; node = owned.next(node))
            ++walked;
        ASSERT_EQ(walked, model.size());
        ASSERT_EQ(owned.free_nodes(), entries - model.size());
    }
};

TEST_F(HashTableModel, AgreesWithAMapOverAMillionRandomSteps) {
    for (uint32_t step = 0; step < random_steps::steps; ++step) {
        const uint32_t choice = random.below(100);
        if (choice < 35)
            add();
        else if (choice < 60)
            remove();
        else if (choice < 95)
            lookup();
        else
            reverse_lookup();
        if (step % 1000 == 0) compare_all();
        if (HasFatalFailure()) FAIL() << "at step " << step;
    }
    compare_all();
}

TEST_F(HashTable, ReadersAndWritersOfManyThreadsAreSerialisedByTheirHost) {
    owned_table owned(64, 2, 4, 7);
    std::shared_mutex host;
    std::atomic<uint32_t> wrong = 0;
    const auto work = [&](uint8_t thread) {
        for (uint32_t round = 0; round < 2000; ++round) {
            const bytes key = {thread, static_cast<uint8_t>(round % 16)};
            const bytes value = {thread, 1, 2, static_cast<uint8_t>(round)};
            {
                const std::unique_lock writer(host);
                if (owned.add(key, value) == nullptr) ++wrong;
            }
            {
                const std::shared_lock reader(host);
                if (owned.value_of(key) != value) ++wrong;
            }
            if (round % 3 != 0) continue;
            const std::unique_lock writer(host);
            if (owned.remove(key) != 1) ++wrong;
        }
    };
    std::vector<std::thread> threads;
    for (uint8_t thread = 0; thread < 4; ++thread)
        threads.emplace_back(work, thread);
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0u);
}

}  // namespace
