// Taking a buffer and giving it back, beside a free list written by hand and beside malloc.

#include <cstdlib>

#include <pthread.h>

#include "api/nprm.h"
#include "support/pair.h"

namespace {

constexpr uint32_t count = 64, size = 256;

uint8_t storage[NPRM_POOL_BYTES(count, size)];
nprm_buffer_pool pool = NPRM_POOL("bench", 0, count, size, storage);

// What a host would write in an afternoon: a mutex and a list through the free buffers, first in first out as the pool's.
struct free_list {
    struct node {
        node *next;
    };
    pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
    node *head = nullptr, *tail = nullptr;
    alignas(16) uint8_t storage[count][size];

    free_list() {
        for (auto &buffer : storage)
            give(buffer);
    }
    __attribute__((noinline)) void *take() {
        pthread_mutex_lock(&lock);
        node *taken = head;
        if (taken != nullptr) {
            head = taken->next;
            if (head == nullptr) tail = nullptr;
        }
        pthread_mutex_unlock(&lock);
        return taken;
    }
    __attribute__((noinline)) void give(void *buffer) {
        auto *given = static_cast<node *>(buffer);
        pthread_mutex_lock(&lock);
        given->next = nullptr;
        if (tail == nullptr)
            head = given;
        else
            tail->next = given;
        tail = given;
        pthread_mutex_unlock(&lock);
    }
};

free_list by_hand;

}  // namespace

int main(int argc, char **argv) {
    benchmark_run run("pool: take a buffer and give it back", argc, argv);
    nprm_init_buffer_pool(&pool);
    const auto take_and_give = [] {
        void *buffer = nprm_pool_malloc(&pool);
        keep(buffer);
        nprm_free(buffer);
    };
    run.pair("beside a free list under a mutex", 1.2, take_and_give, [] {
        void *buffer = by_hand.take();
        keep(buffer);
        by_hand.give(buffer);
    });
    run.pair("beside malloc and free", benchmark_run::no_limit, take_and_give, [] {
        void *buffer = std::malloc(size);
        keep(buffer);
        std::free(buffer);
    });
    run.pair(
        "by size (nprm_malloc), beside take by pool", benchmark_run::no_limit,
        [] {
            void *buffer = nprm_malloc(size);
            keep(buffer);
            nprm_free(buffer);
        },
        take_and_give);
    return run.finish();
}
