// The linker sends the program's own calls of malloc here.

#include "short_of_memory.h"

#include <cstddef>

namespace {

bool is_short = false;

}  // namespace

short_of_memory::short_of_memory() {
    is_short = true;
}

short_of_memory::~short_of_memory() {
    is_short = false;
}

extern "C" void *__real_malloc(size_t bytes);
extern "C" void *__wrap_malloc(size_t bytes);

void *__wrap_malloc(size_t bytes) {
    return is_short ? nullptr : __real_malloc(bytes);
}
