// Look-ups in the hash table: beside a chain written by hand, beside std::unordered_map, over load factors, and with clustered
// sums.

#include "util/nprm_hash.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "support/pair.h"

namespace {

constexpr uint32_t key_bytes = 12;
constexpr uint32_t highest_sum = key_bytes * 255;
using flow_key = std::array<uint8_t, key_bytes>;
using flow_value = uint64_t;

std::mt19937 engine(20100916);

uint32_t below(uint32_t limit) {
    return static_cast<uint32_t>(engine() % limit);
}

// A random key with that sum of its bytes: random steps up and down from an even spread.
flow_key key_of_sum(uint32_t sum) {
    flow_key bytes;
    for (uint32_t i = 0; i < key_bytes; ++i)
        bytes[i] = static_cast<uint8_t>(sum / key_bytes + (i < sum % key_bytes ? 1 : 0));
    for (uint32_t round = 0; round < 4 * key_bytes; ++round) {
        uint8_t &up = bytes[below(key_bytes)];
        uint8_t &down = bytes[below(key_bytes)];
        const auto step = static_cast<uint8_t>(below(1u + std::min<uint32_t>(255u - up, down)));
        if (&up == &down) continue;
        up = static_cast<uint8_t>(up + step);
        down = static_cast<uint8_t>(down - step);
    }
    return bytes;
}

// Keys whose sums take so many values, evenly.
std::vector<flow_key> keys_of_sums(uint32_t count, uint32_t sums) {
    std::vector<flow_key> keys;
    for (uint32_t i = 0; i < count; ++i)
        keys.push_back(key_of_sum(1000 + i % sums));
    return keys;
}

std::vector<flow_key> spread_keys(uint32_t count) {
    std::vector<flow_key> keys;
    for (uint32_t i = 0; i < count; ++i)
        keys.push_back(key_of_sum(100 + static_cast<uint32_t>(uint64_t{i} * (highest_sum - 200) / count)));
    return keys;
}

std::vector<flow_key> random_keys(uint32_t count) {
    std::vector<flow_key> keys(count);
    for (flow_key &key : keys)
        for (uint8_t &byte : key)
            byte = static_cast<uint8_t>(below(256));
    return keys;
}

// Flows of one subnet: addresses and ports that count up.
std::vector<flow_key> counting_keys(uint32_t count) {
    std::vector<flow_key> keys(count, flow_key{10, 0, 0, 0, 10, 1, 0, 0, 0, 80, 6, 0});
    for (uint32_t i = 0; i < count; ++i) {
        keys[i][2] = static_cast<uint8_t>(i >> 8);
        keys[i][3] = static_cast<uint8_t>(i);
    }
    return keys;
}

class filled_table {
  public:
    filled_table(std::vector<flow_key> keys, uint32_t buckets)
        : order_(std::move(keys)),
          node_storage_(NPRM_POOL_BYTES(order_.size(), sizeof(nprm_hash_node))),
          key_storage_(order_.size() * key_bytes),
          value_storage_(order_.size() * sizeof(flow_value)),
          heads_(buckets) {
        const auto count = static_cast<uint32_t>(order_.size());
        nodes_ = NPRM_POOL("bench", 1, count, sizeof(nprm_hash_node), node_storage_.data());
        table_ = NPRM_HASH_TABLE(count, key_bytes, sizeof(flow_value), buckets, key_storage_.data(), value_storage_.data(), &nodes_,
                                 heads_.data());
        nprm_init_hash_table(&table_);
        std::shuffle(order_.begin(), order_.end(), engine);
        for (flow_value i = 0; const flow_key &key : order_)
            nprm_hash_table_add(&table_, key.data(), &++i);
        std::shuffle(order_.begin(), order_.end(), engine);
    }

    // Keys that are there, in an order that has nothing to do with where they are.
    const flow_key &next() {
        if (++at_ >= order_.size()) at_ = 0;
        return order_[at_];
    }
    const nprm_hash_table &table() const { return table_; }
    const std::vector<flow_key> &keys() const { return order_; }

  private:
    std::vector<flow_key> order_;
    size_t at_ = 0;
    std::vector<uint8_t> node_storage_, key_storage_, value_storage_;
    std::vector<nprm_hash_node *> heads_;
    nprm_buffer_pool nodes_;
    nprm_hash_table table_;
};

// What a host would write for itself over the same nodes.
__attribute__((noinline)) void *lookup_by_hand(const nprm_hash_table *table, const void *wanted) {
    const auto *bytes = static_cast<const uint8_t *>(wanted);
    uint32_t sum = 0;
    for (uint32_t i = 0; i < table->key_size; ++i)
        sum += bytes[i];
    for (const nprm_hash_node *node = table->bucket_heads[sum % table->buckets]; node != nullptr; node = node->next) {
        const int order = memcmp(node->key, wanted, table->key_size);
        if (order == 0) return node->value;
        if (order > 0) return nullptr;
    }
    return nullptr;
}

struct fnv_hash {
    size_t operator()(const flow_key &key) const {
        uint32_t hash = 2166136261;
        for (const uint8_t byte : key)
            hash = (hash ^ byte) * 16777619;
        return hash;
    }
};

auto lookups(filled_table &filled) {
    return [&filled] { keep(nprm_hash_table_lookup(&filled.table(), filled.next().data())); };
}

std::string two_places(double factor) {
    char text[16];
    std::snprintf(text, sizeof text, "%.2f", factor);
    return text;
}

}  // namespace

int main(int argc, char **argv) {
    benchmark_run run("hash: look-ups of 12-byte keys that are in the table", argc, argv);
    const uint32_t count = run.smoke() ? 64 : 2048;

    // Tables live for the process, as their pools do.
    static std::vector<std::unique_ptr<filled_table>> tables;
    const auto fill = [&](std::vector<flow_key> keys, double load_factor) -> filled_table & {
        const auto buckets = static_cast<uint32_t>(static_cast<double>(keys.size()) / load_factor);
        return *tables.emplace_back(std::make_unique<filled_table>(std::move(keys), buckets));
    };

    filled_table &spread = fill(spread_keys(count), 1);
    run.pair("load factor 1, spread sums, beside a chain by hand", 1.1, lookups(spread),
             [&] { keep(lookup_by_hand(&spread.table(), spread.next().data())); });

    std::unordered_map<flow_key, flow_value, fnv_hash> map;
    for (const flow_key &key : spread.keys())
        map.emplace(key, 1);
    run.pair("load factor 1, spread sums, beside std::unordered_map", run.no_limit, lookups(spread),
             [&] { keep(&map.find(spread.next())->second); });

    for (const double load_factor : {0.25, 0.5, 2.0, 4.0, 8.0, 16.0, 32.0})
        run.pair("load factor " + two_places(load_factor) + ", spread sums, beside load factor 1", run.no_limit,
                 lookups(fill(spread_keys(count), load_factor)), lookups(spread));

    run.pair("load factor 1, random bytes, beside spread sums", run.no_limit, lookups(fill(random_keys(count), 1)),
             lookups(spread));
    run.pair("load factor 1, addresses that count up, beside spread sums", run.no_limit, lookups(fill(counting_keys(count), 1)),
             lookups(spread));
    for (const uint32_t sums : {256u, 64u, 16u, 4u})
        run.pair("load factor 1, " + std::to_string(sums) + " different sums, beside spread sums", run.no_limit,
                 lookups(fill(keys_of_sums(count, sums), 1)), lookups(spread));
    return run.finish();
}
