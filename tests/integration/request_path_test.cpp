// What one request costs beside its system calls: no heap, no lock but the pool's, no page of a buffer that is not used.
//
// The program replaces malloc and pthread_mutex_lock for itself and its libraries, libnprm.so and libruv.so included, to count
// them.

#include <atomic>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <pthread.h>
#include <signal.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "api/nprm.h"
#include "platform/local/ruv_server.h"
#include "tests/support/scratch.h"

namespace {

std::atomic<uint64_t> allocations{0};
std::atomic<uint64_t> locks{0};

}  // namespace

extern "C" {
void *__libc_malloc(size_t);
void *__libc_calloc(size_t, size_t);
void *__libc_realloc(void *, size_t);

void *malloc(size_t size) {
    ++allocations;
    return __libc_malloc(size);
}
void *calloc(size_t nmemb, size_t size) {
    ++allocations;
    return __libc_calloc(nmemb, size);
}
void *realloc(void *ptr, size_t size) {
    ++allocations;
    return __libc_realloc(ptr, size);
}
int pthread_mutex_lock(pthread_mutex_t *mutex) {
    using function = int (*)(pthread_mutex_t *);
    static const auto real = reinterpret_cast<function>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
    ++locks;
    return real(mutex);
}
}

namespace {

// A server in a process of its own that answers every request with its own bytes.
class echo_server {
  public:
    explicit echo_server(const std::string &directory) {
        int ready[2];
        if (pipe(ready) != 0) throw std::runtime_error("no pipe");
        child_ = fork();
        if (child_ == 0) serve(directory, ready[1]);
        close(ready[1]);
        char byte = 0;
        if (read(ready[0], &byte, 1) != 1) throw std::runtime_error("the server does not start");
        close(ready[0]);
    }
    ~echo_server() {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
    echo_server(const echo_server &) = delete;
    echo_server &operator=(const echo_server &) = delete;

  private:
    [[noreturn]] static void serve(const std::string &directory, int ready) {
        const uint32_t opcodes[] = {NPRM_OPCODE_TCAM};
        ruv_server *server = nullptr;
        ruv_server instance([&](const ruv_request &request) { server->reply(request.peer, request.token, request.payload); });
        server = &instance;
        instance.listen(directory, opcodes);
        if (write(ready, "r", 1) != 1) _exit(1);
        for (;;) {
            fd_set set;
            FD_ZERO(&set);
            FD_SET(instance.descriptor(), &set);
            select(instance.descriptor() + 1, &set, nullptr, nullptr, nullptr);
            instance.dispatch();
        }
    }

    pid_t child_ = -1;
};

// The process's own memory; pages of program code, which all processes share, are not in it.
uint64_t resident_bytes() {
    const std::string status = content_of("/proc/self/status");
    const size_t at = status.find("RssAnon:");
    EXPECT_NE(at, std::string::npos);
    return std::stoull(status.substr(at + 8)) * 1024;
}

class RequestPath : public ::testing::Test {
  protected:
    void SetUp() override {
        use_private_ipc();
        const int id = shmget(0x50524D00, 16, IPC_CREAT | 0666);
        auto *status = static_cast<uint32_t *>(shmat(id, nullptr, 0));
        *status = 1;
        shmdt(status);
    }
    void TearDown() override { nprm_shm_free_all(); }

    scratch_directory directory_;
    scratch_variable variable_{"RUV_DIR", directory_.path().c_str()};
    echo_server server_{directory_.path()};
};

TEST_F(RequestPath, TakesNoHeapAndNoLockButThePoolsOverTenThousandRequests) {
    ASSERT_EQ(nprm_ipc_register_client(), 1u);
    uint32_t nr_free = 0;
    ASSERT_EQ(nprm_tcam_v4_space_dup(&nr_free), 0u);  // connects

    std::vector<nprm_tcam_acl_key> key(1282), mask(1282);
    std::vector<nprm_tcam_acl_result> result(1282);
    ASSERT_NE(allocations.load(), 0u) << "the counting works";
    constexpr uint32_t requests = 10000;
    uint32_t failures = 0;
    const uint64_t allocations_before = allocations, locks_before = locks;
    for (uint32_t i = 0; i < requests; ++i) {
        if (i % 10 == 0)
            failures += nprm_tcam_read_v4_acl_vmr_dup(1, 0, 1282, 0, key.data(), mask.data(), result.data()) != NPRM_OK;
        else if (i % 10 == 5)
            failures += nprm_tcam_write_v4_acl_vmr_dup(1, 0, 1282, key.data(), mask.data(), result.data()) != NPRM_OK;
        else
            failures += nprm_tcam_v4_space_dup(&nr_free) != NPRM_OK;
    }
    const uint64_t taken = allocations - allocations_before, locked = locks - locks_before;
    EXPECT_EQ(failures, 0u);
    EXPECT_EQ(taken, 0u);
    EXPECT_EQ(locked, 2u * requests) << "one to take the request's buffer, one to give it back";
}

TEST_F(RequestPath, RegistrationTouchesNoPageOfTheBuffers) {
    const uint64_t before = resident_bytes();
    ASSERT_EQ(nprm_ipc_register_client(), 1u);
    const uint64_t grown = resident_bytes() - before;
    EXPECT_LT(grown, 128u * 1024);
}

}  // namespace
