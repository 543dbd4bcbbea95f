// The process's id, kept in a page that the kernel empties in each child: a fork needs no notice, whoever makes it.

#include "process_id.h"

#include "state.h"

#include <atomic>
#include <cstddef>

#include <sys/mman.h>
#include <unistd.h>

namespace {

using kept_id = std::atomic<int>;

constexpr size_t page_bytes = sizeof(kept_id);  // the kernel gives a whole page

// Null: not made yet.  no_page: not to be had, the kernel is asked each time.
constinit std::atomic<kept_id *> page = nullptr;
constinit kept_id no_page = 0;

kept_id *new_page() {
    const errno_kept keep;
    void *const memory = mmap(nullptr, page_bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return &no_page;
    if (madvise(memory, page_bytes, MADV_WIPEONFORK) == 0) return static_cast<kept_id *>(memory);
    munmap(memory, page_bytes);
    return &no_page;
}

kept_id *the_page() {
    kept_id *existing = page.load(std::memory_order_acquire);
    if (existing != nullptr) return existing;
    kept_id *const made = new_page();
    if (page.compare_exchange_strong(existing, made, std::memory_order_acq_rel)) return made;
    if (made != &no_page) munmap(made, page_bytes);
    return existing;
}

}  // namespace

int process_id() {
    kept_id *const kept = the_page();
    int id = kept->load(std::memory_order_relaxed);
    if (id != 0) return id;
    id = getpid();
    if (kept != &no_page) kept->store(id, std::memory_order_relaxed);
    return id;
}
