#include "exchange_servers.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "api/frame/nprm_shm.h"
#include "api/wire/nprm_tcam_wire.h"
#include "platform/local/ruv_local.h"

namespace {

constexpr size_t message_bytes_max = 65536;
constexpr uint32_t head_bytes = offsetof(nprm_tcam_message, entry);

[[noreturn]] void give_up(const char *what) {
    std::perror(what);
    std::exit(2);
}

// The payload's header and result become those of an answer; its size is returned.
uint32_t make_answer(uint8_t *payload, uint32_t bytes, exchange_servers::answer how) {
    const uint32_t answer_bytes = how == exchange_servers::answer::whole || bytes < head_bytes ? bytes : head_bytes;
    const uint32_t units = (answer_bytes - static_cast<uint32_t>(sizeof(nprm_message_header))) / NPRM_RECORD_BYTES_TCAM, result = 0;
    std::memcpy(payload + offsetof(nprm_message_header, units), &units, sizeof units);
    std::memcpy(payload + offsetof(nprm_tcam_message, progress.result), &result, sizeof result);
    return answer_bytes;
}

uint8_t buffer[sizeof(ruv_local_header) + message_bytes_max];

[[noreturn]] void serve_framed(int listener, exchange_servers::answer how) {
    for (;;) {
        const int client = accept(listener, nullptr, nullptr);
        for (;;) {
            const ssize_t bytes = recv(client, buffer, sizeof buffer, 0);
            if (bytes < static_cast<ssize_t>(sizeof(ruv_local_header))) break;
            ruv_local_header header;
            std::memcpy(&header, buffer, sizeof header);
            header.size =
                make_answer(buffer + sizeof header, static_cast<uint32_t>(static_cast<size_t>(bytes) - sizeof header), how);
            header.flags = RUV_LOCAL_REPLY;
            std::memcpy(buffer, &header, sizeof header);
            if (send(client, buffer, sizeof header + header.size, MSG_NOSIGNAL) < 0) break;
        }
        close(client);
    }
}

[[noreturn]] void serve_bare(int client, exchange_servers::answer how) {
    for (;;) {
        const ssize_t bytes = recv(client, buffer, message_bytes_max, 0);
        if (bytes <= 0) _exit(0);
        const uint32_t answer_bytes = make_answer(buffer, static_cast<uint32_t>(bytes), how);
        if (send(client, buffer, answer_bytes, MSG_NOSIGNAL) < 0) _exit(0);
    }
}

template <typename Serve>
pid_t start(Serve serve) {
    const pid_t child = fork();
    if (child < 0) give_up("fork");
    if (child != 0) return child;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    serve();
    _exit(0);
}

void pin(pid_t process, size_t processor) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(processor, &set);
    sched_setaffinity(process, sizeof set, &set);
}

void write_once(const char *path, const std::string &text) {
    if (FILE *file = std::fopen(path, "w")) {
        std::fputs(text.c_str(), file);
        std::fclose(file);
    }
}

// The status word's key is fixed: a card that runs on this machine must not notice the benchmark.
bool enter_ipc_namespace() {
    if (unshare(CLONE_NEWIPC) == 0) return true;
    const std::string user = std::to_string(geteuid()), group = std::to_string(getegid());
    if (unshare(CLONE_NEWUSER | CLONE_NEWIPC) != 0) return false;
    write_once("/proc/self/setgroups", "deny");
    write_once("/proc/self/uid_map", user + " " + user + " 1");
    write_once("/proc/self/gid_map", group + " " + group + " 1");
    return true;
}

void publish_status() {
    const int id = shmget(NPRM_SHM_KEY, 16, IPC_CREAT | 0666);
    void *segment = id != -1 ? shmat(id, nullptr, 0) : reinterpret_cast<void *>(-1);
    if (segment == reinterpret_cast<void *>(-1)) give_up("the status segment");
    *static_cast<volatile uint32_t *>(segment) = NPRM_SERVER_READY;
    shmdt(segment);
}

}  // namespace

exchange_servers::exchange_servers(answer how) {
    char form[] = "/tmp/nprm-bench-XXXXXX";
    if (mkdtemp(form) == nullptr) give_up(form);
    directory_ = form;
    setenv("RUV_DIR", form, 1);
    if (!enter_ipc_namespace() && shmget(NPRM_SHM_KEY, 0, 0) != -1) {
        std::fprintf(stderr, "a card's shared memory is in the way, and this machine allows no IPC namespace: run this as root\n");
        std::exit(2);
    }
    publish_status();

    sockaddr_un address{};
    char name[16];
    std::snprintf(name, sizeof name, "%d", NPRM_OPCODE_TCAM);
    const int listener = socket(AF_UNIX, SOCK_SEQPACKET, 0);
    if (ruv_local_address(&address, form, name) != 0 ||
        bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 || listen(listener, 4) != 0)
        give_up("the framed server's socket");
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, pair) != 0) give_up("socketpair");
    framed_ = start([=] { serve_framed(listener, how); });
    bare_ = start([=] {
        close(pair[0]);
        serve_bare(pair[1], how);
    });
    close(listener);
    close(pair[1]);
    bare_socket_ = pair[0];
}

exchange_servers::~exchange_servers() {
    for (const pid_t child : {framed_, bare_}) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
    close(bare_socket_);
    unlink((directory_ + "/" + std::to_string(NPRM_OPCODE_TCAM)).c_str());
    rmdir(directory_.c_str());
}

void exchange_servers::exchange_bare(const void *request, size_t request_bytes) {
    static uint8_t answer_bytes[message_bytes_max];
    if (send(bare_socket_, request, request_bytes, MSG_NOSIGNAL) < 0 ||
        recv(bare_socket_, answer_bytes, sizeof answer_bytes, 0) <= 0)
        give_up("the bare exchange");
}

void exchange_servers::share_one_processor(bool share) {
    const size_t other = share ? 0 : static_cast<size_t>(sysconf(_SC_NPROCESSORS_ONLN)) - 1;
    pin(0, 0);
    pin(framed_, other);
    pin(bare_, other);
}
