/* A hash table of fixed capacity, with keys and values of fixed sizes.  It takes no memory: the owner lays everything out.
 *
 *     static uint8_t storage[NPRM_POOL_BYTES(1024, sizeof(nprm_hash_node))];
 *     static nprm_buffer_pool nodes = NPRM_POOL("flow nodes", 1, 1024, sizeof(nprm_hash_node), storage);
 *     static uint8_t keys[1024 * 12], values[1024 * 8];
 *     static nprm_hash_node *heads[509];
 *     static nprm_hash_table flows = NPRM_HASH_TABLE(1024, 12, 8, 509, keys, values, &nodes, heads);
 *
 * The hash of a key is the sum of its bytes, modulo the number of buckets.  It is quick and spreads only as far as the sums do: n
 * byte keys have at most 255 x n + 1 sums, so more buckets than that stay empty (docs/utilities.md has the measured curve).  Chains
 * are sorted by key, as memcmp() sorts.
 *
 * A table of 0 buckets holds nothing: every look-up finds nothing and every addition finds no node.
 * Threads (all): additions of new keys and removals take the table's lock, then the pool's.  Look-ups and iteration take none, nor
 * does the replacement of a value: a host that shares a table serialises its readers with its writers, and additions count as
 * both, because they look first.
 * Blocks: for the locks only. */
#ifndef NPRM_HASH_H
#define NPRM_HASH_H

#include "../api/frame/nprm_pool.h"

#ifdef __cplusplus
extern "C" {
#endif

/* An entry: a buffer of the node pool.  Node i owns slot i of the key and of the value storage, from initialisation on. */
typedef struct nprm_hash_node {
    void *key;
    void *value;
    struct nprm_hash_node *next; /* in its bucket's chain, by ascending key */
} __attribute__((packed)) nprm_hash_node;

typedef struct nprm_hash_table {
    uint32_t reserved;             /* not used */
    uint32_t max_entries;          /* the node pool's count */
    uint32_t key_size;             /* bytes a key */
    uint32_t value_size;           /* bytes a value */
    uint32_t buckets;              /* any number */
    pthread_mutex_t lock;          /* guards additions and removals */
    uint8_t *key_store;            /* max_entries x key_size bytes */
    uint8_t *value_store;          /* max_entries x value_size bytes; not null, even if that is 0 */
    nprm_buffer_pool *node_pool;   /* max_entries buffers of sizeof(nprm_hash_node) bytes or more */
    nprm_hash_node **bucket_heads; /* one a bucket */
} nprm_hash_table;

/* A descriptor to start from. */
#define NPRM_HASH_TABLE(max_entries, key_size, value_size, buckets, key_store, value_store, node_pool, bucket_heads)               \
    { 0, max_entries, key_size, value_size, buckets, PTHREAD_MUTEX_INITIALIZER, key_store, value_store, node_pool, bucket_heads }

/* Initialises the table and its node pool; once a table, before other threads use pools.  A pool that has not max_entries buffers
 * of a node's size is left alone and max_entries becomes 0: nothing can be added then, and one line at the error level says so. */
NPRM_API void nprm_init_hash_table(nprm_hash_table *table);

/* Adds an entry, or replaces the value of the entry that has the key.
 *   value: value_size bytes; null leaves the bytes of the entry's slot as they are
 * Returns the stored value's address, or null when no node is free. */
NPRM_API void *nprm_hash_table_add(nprm_hash_table *table, const void *key, const void *value);

/* Returns the address of the key's value, or null when there is no entry.   Owns: the table; the caller may change the bytes. */
NPRM_API void *nprm_hash_table_lookup(const nprm_hash_table *table, const void *key);

/* Removes the key's entry.   Returns 1, or 0 when there is none. */
NPRM_API uint32_t nprm_hash_table_delete(nprm_hash_table *table, const void *key);

/* Finds an entry by its value, the lowest bucket's lowest key first; this visits every entry.
 * Returns the address of the entry's key, or null when there is none. */
NPRM_API void *nprm_hash_table_lookup_entry(const nprm_hash_table *table, const void *value);

/* Walks the entries in the order of their nodes in the pool, which is not the order of their keys.  The entry that was given last
 * may be removed in between.
 *   previous: null to begin, else what the last call returned; an address outside the pool ends the walk
 * Returns the next entry, or null at the end. */
NPRM_API nprm_hash_node *nprm_hash_table_find_next(const nprm_hash_table *table, const void *previous);

#ifdef __cplusplus
}
#endif

#endif
