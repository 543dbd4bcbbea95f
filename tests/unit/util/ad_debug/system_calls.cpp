#include "system_calls.h"

#include <cerrno>
#include <mutex>

#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/shm.h>
#include <unistd.h>

system_calls &the_system_calls() {
    static system_calls calls;
    return calls;
}

namespace {

std::mutex sends_lock;

template <typename function>
function *real(const char *name) {
    return reinterpret_cast<function *>(dlsym(RTLD_NEXT, name));
}

int failed(int error) {
    errno = error;
    return -1;
}

}  // namespace

// libc names its parameters with underscores.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" {

ssize_t sendto(int fd, const void *bytes, size_t count, int flags, const sockaddr *address, socklen_t address_bytes) {
    static const auto call = real<decltype(sendto)>("sendto");
    system_calls &calls = the_system_calls();
    if (calls.recording) {
        const std::lock_guard hold(sends_lock);
        calls.sends.push_back({count, flags, address_bytes});
        const int error = calls.send_error ? calls.send_error(calls.sends.size() - 1) : 0;
        if (error != 0) return failed(error);
    }
    const ssize_t sent = call(fd, bytes, count, flags, address, address_bytes);
    const int error = errno;
    if (calls.after_send) calls.after_send();
    errno = error;
    return sent;
}

uid_t getuid(void) noexcept {
    static const auto call = real<uid_t()>("getuid");
    return the_system_calls().user ? *the_system_calls().user : call();
}

int shmget(key_t key, size_t bytes, int flags) noexcept {
    static const auto call = real<int(key_t, size_t, int)>("shmget");
    if ((flags & IPC_CREAT) != 0 && the_system_calls().shmget_error != 0) return failed(the_system_calls().shmget_error);
    const int id = call(key, bytes, flags);
    if (id >= 0 && (flags & IPC_CREAT) != 0) the_system_calls().segments_made.push_back(id);
    return id;
}

int shmctl(int id, int command, shmid_ds *segment) noexcept {
    static const auto call = real<int(int, int, shmid_ds *)>("shmctl");
    const int error = command == IPC_STAT   ? the_system_calls().shmctl_stat_error
                      : command == IPC_RMID ? the_system_calls().shmctl_remove_error
                                            : 0;
    return error != 0 ? failed(error) : call(id, command, segment);
}

void *shmat(int id, const void *address, int flags) noexcept {
    static const auto call = real<void *(int, const void *, int)>("shmat");
    if (the_system_calls().shmat_error != 0) {
        errno = the_system_calls().shmat_error;
        return reinterpret_cast<void *>(-1);
    }
    return call(id, address, flags);
}

int shmdt(const void *address) noexcept {
    static const auto call = real<int(const void *)>("shmdt");
    if (the_system_calls().before_shmdt) the_system_calls().before_shmdt();
    return the_system_calls().shmdt_error != 0 ? failed(the_system_calls().shmdt_error) : call(address);
}

int madvise(void *address, size_t bytes, int advice) noexcept {
    static const auto call = real<int(void *, size_t, int)>("madvise");
    const bool refused = advice == MADV_WIPEONFORK && the_system_calls().madvise_error != 0;
    return refused ? failed(the_system_calls().madvise_error) : call(address, bytes, advice);
}

ssize_t read(int fd, void *bytes, size_t count) {
    static const auto call = real<decltype(read)>("read");
    system_calls &calls = the_system_calls();
    const int error = calls.read_error ? calls.read_error(calls.reads++) : 0;
    return error != 0 ? failed(error) : call(fd, bytes, count);
}
}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
