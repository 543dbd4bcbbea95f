// Buffer pools: the locked free list, the list of pools, and malloc-like calls over them.

#include "pool.h"

#include "log.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>

constinit nprm_buffer_pool *nprm_pool_list = nullptr;

namespace {

size_t stride(const nprm_buffer_pool &pool) {
    return pool.size + sizeof(nprm_link);
}

uint8_t *buffer_of(nprm_link *link) {
    return reinterpret_cast<uint8_t *>(link) + sizeof(nprm_link);
}

nprm_link *link_of(const void *buffer) {
    return reinterpret_cast<nprm_link *>(static_cast<uint8_t *>(const_cast<void *>(buffer)) - sizeof(nprm_link));
}

bool is_inside(const nprm_buffer_pool &pool, const void *buffer) {
    const auto address = reinterpret_cast<uintptr_t>(buffer);
    const auto first = reinterpret_cast<uintptr_t>(pool.area) + sizeof(nprm_link);
    return address >= first && address - first < pool.count * stride(pool);
}

// Sound headers spare the division: the index says where the buffer starts.
bool is_buffer_start(const nprm_buffer_pool &pool, const void *buffer) {
    if (!is_inside(pool, buffer)) return false;
    const nprm_link *link = link_of(buffer);
    const auto offset = static_cast<size_t>(reinterpret_cast<const uint8_t *>(link) - pool.area);
    return link->index * stride(pool) == offset || offset % stride(pool) == 0;
}

// The pool in which the address is exactly a buffer's start.  Only addresses are compared: what they point to may be anything.
nprm_buffer_pool *find_pool(const void *buffer) {
    nprm_buffer_pool *pool = nprm_pool_list;
    while (pool != nullptr && !is_buffer_start(*pool, buffer))
        pool = pool->next;
    return pool;
}

// nprm_malloc() looks at the head without the lock, hence the atomic stores and loads.
void set_head(nprm_buffer_pool &pool, nprm_link *link) {
    __atomic_store_n(&pool.free_head, link, __ATOMIC_RELAXED);
}

bool has_free(const nprm_buffer_pool &pool) {
    return __atomic_load_n(&pool.free_head, __ATOMIC_RELAXED) != nullptr;
}

void append(nprm_buffer_pool &pool, nprm_link *link) {
    link->next = nullptr;
    if (pool.free_tail == nullptr)
        set_head(pool, link);
    else if (pool.free_tail != link)
        pool.free_tail->next = link;
    pool.free_tail = link;
}

// A buffer that is freed twice goes to the tail again, but stands on the list once: a cycle would hand it out for ever.  An
// overwritten header may have led the list astray: it ends there.
[[gnu::cold]] void unlink_if_free(nprm_buffer_pool &pool, const nprm_link *link) {
    nprm_link *before = nullptr;
    for (nprm_link *at = pool.free_head; at != nullptr && is_buffer_start(pool, buffer_of(at)); before = at, at = at->next) {
        if (at != link) continue;
        if (before == nullptr)
            set_head(pool, at->next);
        else
            before->next = at->next;
        if (pool.free_tail == at) pool.free_tail = before;
        return;
    }
}

// Gives a taken link back; one that was not taken exactly once may stand on the list already.   Returns its reference count.
uint16_t give_back(nprm_buffer_pool &pool, nprm_link *link) {
    const uint16_t before = link->ref_count;
    link->ref_count = static_cast<uint16_t>(before - 1);
    if (before != 1) unlink_if_free(pool, link);
    append(pool, link);
    return link->ref_count;
}

[[gnu::cold]] void report_ref_count(const nprm_link *link, uint32_t ref_count) {
    const void *address = link;
    printf("\nlink %p has a ref_count of %u", address, ref_count);
    fflush(stdout);
    NPRM_LOG_AT(NPRM_LEVEL_ANY, "nprm_enqueue_link", __LINE__, "link %p has a ref_count of %u.", address, ref_count);
}

[[gnu::cold]] void report_foreign(const char *function, const void *buffer) {
    printf("\nUnable to locate pool for %p", buffer);
    fflush(stdout);
    NPRM_LOG_AT(NPRM_LEVEL_ANY, function, __LINE__, "Unable to locate pool for %p.", buffer);
}

[[gnu::cold]] void report_repair(const void *buffer, const nprm_buffer_pool &pool) {
    printf("\nCorrupted link buffer at %p has been returned to %s pool.", buffer, pool.name);
    fflush(stdout);
    NPRM_LOG_AT(NPRM_LEVEL_ANY, "nprm_free", __LINE__, "Corrupted link buffer at %p has been returned to %s pool..", buffer,
                pool.name);
}

// Appends a link to its pool's free list, and reports one that was not taken exactly once.
[[gnu::always_inline]] inline void nprm_enqueue_link(nprm_link *link) {
    nprm_buffer_pool &pool = *link->pool;
    pthread_mutex_lock(&pool.lock);
    const uint16_t ref_count = give_back(pool, link);
    pthread_mutex_unlock(&pool.lock);
    if (ref_count != 0) report_ref_count(link, ref_count);
}

// Removes the head of the free list; null when the pool is empty.
[[gnu::always_inline]] inline nprm_link *nprm_dequeue_link(nprm_buffer_pool *pool) {
    pthread_mutex_lock(&pool->lock);
    nprm_link *link = pool->free_head;
    if (link != nullptr) {
        set_head(*pool, link->next);
        if (pool->free_head == nullptr) pool->free_tail = nullptr;
        link->next = nullptr;
        link->ref_count = static_cast<uint16_t>(link->ref_count + 1);
    }
    pthread_mutex_unlock(&pool->lock);
    return link;
}

// Nothing in the header can be believed, so the buffer may be free.  The index is left as it is: nothing here depends on it.
[[gnu::cold]] void repair(nprm_buffer_pool &pool, nprm_link *link) {
    report_repair(buffer_of(link), pool);
    pthread_mutex_lock(&pool.lock);
    unlink_if_free(pool, link);
    link->magic = NPRM_LINK_MAGIC;
    link->pool = &pool;
    link->ref_count = 1;
    give_back(pool, link);
    pthread_mutex_unlock(&pool.lock);
}

}  // namespace

nprm_buffer_pool *nprm_init_buffer_pool(nprm_buffer_pool *pool) {
    for (uint32_t i = 0; i < pool->count; ++i) {
        auto *link = reinterpret_cast<nprm_link *>(pool->area + i * stride(*pool));
        link->index = static_cast<uint16_t>(i);
        link->magic = NPRM_LINK_MAGIC;
        link->pool = pool;
        link->ref_count = 1;
        nprm_enqueue_link(link);
    }
    nprm_buffer_pool **place = &nprm_pool_list;
    while (*place != nullptr && (*place)->size <= pool->size)
        place = &(*place)->next;
    pool->next = *place;
    *place = pool;
    return pool->next;
}

void *nprm_pool_malloc(nprm_buffer_pool *pool) {
    nprm_link *link = nprm_dequeue_link(pool);
    return link != nullptr ? buffer_of(link) : nullptr;
}

void *nprm_pool_calloc(nprm_buffer_pool *pool) {
    void *buffer = nprm_pool_malloc(pool);
    if (buffer != nullptr) memset(buffer, 0, pool->size);
    return buffer;
}

void *nprm_malloc(uint32_t bytes) {
    for (nprm_buffer_pool *pool = nprm_pool_list; pool != nullptr; pool = pool->next) {
        // Asked outside the lock: a pool that another thread empties meanwhile gives null here, the next pool is not tried.
        if (pool->reserved == 0 && pool->size >= bytes && has_free(*pool)) return nprm_pool_malloc(pool);
    }
    return nullptr;
}

void *nprm_calloc(uint32_t count, uint32_t size) {
    const uint32_t bytes = count * size;
    void *buffer = nprm_malloc(bytes);
    if (buffer != nullptr) memset(buffer, 0, bytes);
    return buffer;
}

void *nprm_realloc(void *old, uint32_t bytes) {
    if (old == nullptr) return nprm_malloc(bytes);
    const nprm_buffer_pool *pool = find_pool(old);
    if (pool == nullptr) {
        report_foreign("nprm_realloc", old);
        return nullptr;
    }
    void *buffer = nprm_malloc(bytes);
    if (buffer == nullptr) return nullptr;
    memcpy(buffer, old, std::min(pool->size, bytes));
    nprm_free(old);
    return buffer;
}

void nprm_free(void *buffer) {
    nprm_buffer_pool *pool = find_pool(buffer);
    if (pool == nullptr) {
        report_foreign("nprm_free", buffer);
        return;
    }
    nprm_link *link = link_of(buffer);
    if (link->magic == NPRM_LINK_MAGIC && link->pool == pool)
        nprm_enqueue_link(link);
    else
        repair(*pool, link);
}

uint16_t nprm_get_buffer_index(const void *buffer) {
    return link_of(buffer)->index;
}

void *nprm_get_buffer_ptr(const nprm_buffer_pool *pool, uint16_t index) {
    return pool->area + stride(*pool) * index + sizeof(nprm_link);
}
