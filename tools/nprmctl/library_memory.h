// Memory that the library makes for its caller, released whatever becomes of the answer: the library may say that all went well
// where nprmctl, which reads its log, says otherwise.
#ifndef NPRMCTL_LIBRARY_MEMORY_H
#define NPRMCTL_LIBRARY_MEMORY_H

#include <cstdlib>

template <typename Type>
struct library_memory {
    library_memory() = default;
    explicit library_memory(Type *taken) : data(taken) {}
    ~library_memory() { std::free(data); }
    library_memory(const library_memory &) = delete;
    library_memory &operator=(const library_memory &) = delete;

    Type *data = nullptr;  // where it has released memory itself the library stores null
};

#endif
