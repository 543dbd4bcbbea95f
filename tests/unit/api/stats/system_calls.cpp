// The linker sends the program's own calls of malloc and shmat here.

#include "system_calls.h"

#include <cerrno>
#include <cstring>

size_t shmat_calls = 0;

namespace {

watched_heap *watched = nullptr;
bool shmat_fails = false;
constexpr size_t machine_bytes = size_t{1} << 30;

}  // namespace

extern "C" void *__real_malloc(size_t bytes);
extern "C" void *__wrap_malloc(size_t bytes);
extern "C" void *__real_shmat(int id, const void *address, int flags);
extern "C" void *__wrap_shmat(int id, const void *address, int flags);

watched_heap::watched_heap(size_t failing_call) : failing_call_(failing_call) {
    requests_.reserve(64);
    watched = this;
}

watched_heap::~watched_heap() {
    watched = nullptr;
}

failing_shmat::failing_shmat() {
    shmat_fails = true;
}

failing_shmat::~failing_shmat() {
    shmat_fails = false;
}

void *answer_malloc(size_t bytes) {
    if (watched != nullptr) {
        watched->requests_.push_back(bytes);
        if (watched->requests_.size() == watched->failing_call_) return nullptr;
    }
    void *memory = bytes <= machine_bytes ? __real_malloc(bytes) : nullptr;
    if (watched != nullptr && memory != nullptr) std::memset(memory, 0xA5, bytes);
    return memory;
}

void *__wrap_malloc(size_t bytes) {
    return answer_malloc(bytes);
}

void *__wrap_shmat(int id, const void *address, int flags) {
    ++shmat_calls;
    if (!shmat_fails) return __real_shmat(id, address, flags);
    errno = ENOMEM;
    return reinterpret_cast<void *>(-1);
}
