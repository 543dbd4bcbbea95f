// The hash table: sorted chains of pool buffers under the sum of the keys' bytes.

#include "nprm_hash.h"

#include "../api/frame/log.h"

#include <cstring>

namespace {

// The word's bytes as numbers in its 16-bit lanes, added up by one multiplication into the top lane: at most 8 x 255.
size_t byte_sum_of_word(size_t word) {
    constexpr size_t lanes = ~size_t{0} / 0xFFFF;  // 1 in every 16-bit lane
    constexpr size_t low_bytes = lanes * 0xFF;
    return (((word & low_bytes) + ((word >> 8) & low_bytes)) * lanes) >> (8 * sizeof word - 16);
}

uint32_t byte_sum(const uint8_t *bytes, uint32_t size) {
    constexpr uint32_t word_bytes = sizeof(size_t);
    uint32_t sum = 0;
    for (; size >= word_bytes; size -= word_bytes, bytes += word_bytes) {
        size_t word;
        memcpy(&word, bytes, sizeof word);
        sum += static_cast<uint32_t>(byte_sum_of_word(word));
    }
    for (; size != 0; --size)
        sum += *bytes++;
    return sum;
}

uint32_t bucket_of(const nprm_hash_table &table, const void *key) {
    return byte_sum(static_cast<const uint8_t *>(key), table.key_size) % table.buckets;
}

// Where a key is in its chain, or would be.
struct place {
    nprm_hash_node *before;  // null: the place is the bucket's head
    nprm_hash_node *node;    // the key's own, or null
};

place find(const nprm_hash_table &table, uint32_t bucket, const void *key) {
    nprm_hash_node *before = nullptr;
    for (nprm_hash_node *node = table.bucket_heads[bucket]; node != nullptr; before = node, node = node->next) {
        const int order = memcmp(node->key, key, table.key_size);
        if (order == 0) return {before, node};
        if (order > 0) break;
    }
    return {before, nullptr};
}

void copy_value(const nprm_hash_table &table, const nprm_hash_node &node, const void *value) {
    if (value != nullptr) memcpy(node.value, value, table.value_size);
}

size_t stride(const nprm_buffer_pool &pool) {
    return pool.size + sizeof(nprm_link);
}

nprm_link *link_at(const nprm_hash_table &table, size_t index) {
    return reinterpret_cast<nprm_link *>(table.node_pool->area + index * stride(*table.node_pool));
}

nprm_hash_node *node_of(nprm_link *link) {
    return reinterpret_cast<nprm_hash_node *>(link + 1);
}

}  // namespace

void nprm_init_hash_table(nprm_hash_table *table) {
    for (uint32_t bucket = 0; bucket < table->buckets; ++bucket)
        table->bucket_heads[bucket] = nullptr;
    const nprm_buffer_pool &nodes = *table->node_pool;
    if (nodes.count != table->max_entries || nodes.size < sizeof(nprm_hash_node)) {
        NPRM_LOG(NPRM_LEVEL_ERROR, "node pool %s has %u buffers of %u bytes, the table needs %u of %u.\n", nodes.name, nodes.count,
                 nodes.size, table->max_entries, static_cast<unsigned>(sizeof(nprm_hash_node)));
        table->max_entries = 0;
    }
    if (table->max_entries == 0) return;
    nprm_init_buffer_pool(table->node_pool);
    for (size_t i = 0; i < table->max_entries; ++i)
        *node_of(link_at(*table, i)) = {table->key_store + i * table->key_size, table->value_store + i * table->value_size,
                                        nullptr};
}

void *nprm_hash_table_add(nprm_hash_table *table, const void *key, const void *value) {
    if (table->buckets == 0 || table->max_entries == 0) return nullptr;
    const uint32_t bucket = bucket_of(*table, key);
    if (const nprm_hash_node *found = find(*table, bucket, key).node; found != nullptr) {
        copy_value(*table, *found, value);
        return found->value;
    }
    auto *node = static_cast<nprm_hash_node *>(nprm_pool_malloc(table->node_pool));
    if (node == nullptr) return nullptr;

    pthread_mutex_lock(&table->lock);
    memcpy(node->key, key, table->key_size);
    copy_value(*table, *node, value);
    nprm_hash_node *before = find(*table, bucket, key).before;
    if (before == nullptr) {
        node->next = table->bucket_heads[bucket];
        table->bucket_heads[bucket] = node;
    } else {
        node->next = before->next;
        before->next = node;
    }
    pthread_mutex_unlock(&table->lock);
    return node->value;
}

void *nprm_hash_table_lookup(const nprm_hash_table *table, const void *key) {
    if (table->buckets == 0) return nullptr;
    const nprm_hash_node *node = find(*table, bucket_of(*table, key), key).node;
    return node != nullptr ? node->value : nullptr;
}

uint32_t nprm_hash_table_delete(nprm_hash_table *table, const void *key) {
    if (table->buckets == 0) return 0;
    const uint32_t bucket = bucket_of(*table, key);
    pthread_mutex_lock(&table->lock);
    const place found = find(*table, bucket, key);
    if (found.node != nullptr) {
        if (found.before == nullptr)
            table->bucket_heads[bucket] = found.node->next;
        else
            found.before->next = found.node->next;
        nprm_free(found.node);
    }
    pthread_mutex_unlock(&table->lock);
    return found.node != nullptr ? 1 : 0;
}

void *nprm_hash_table_lookup_entry(const nprm_hash_table *table, const void *value) {
    for (uint32_t bucket = 0; bucket < table->buckets; ++bucket)
        for (const nprm_hash_node *node = table->bucket_heads[bucket]; node != nullptr; node = node->next)
            if (memcmp(node->value, value, table->value_size) == 0) return node->key;
    return nullptr;
}

// The index comes from the address alone: what lies in front of a foreign pointer is nobody's header.  An address below the pool
// wraps to an index above all others.
nprm_hash_node *nprm_hash_table_find_next(const nprm_hash_table *table, const void *previous) {
    size_t index = 0;
    if (previous != nullptr) {
        const auto first = reinterpret_cast<uintptr_t>(table->node_pool->area);
        const auto address = reinterpret_cast<uintptr_t>(previous);
        index = (address - first) / stride(*table->node_pool) + 1;
    }
    for (; index < table->max_entries; ++index)
        if (nprm_link *link = link_at(*table, index); link->ref_count != 0) return node_of(link);
    return nullptr;
}
