// The debug configuration: the record and where it is found, what its values come from, SIGUSR1.

#include "ad_debug.h"

#include "ad_param.h"
#include "state.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#undef NDEBUG  // a null output aborts release builds too
#include <cassert>

constinit ad_debug_cfg *ad_debug_cfg_p = nullptr;
constinit ad_debug_cfg ad_debug_cfg_no_share_mem = {};
constinit uint32_t ad_debug_module_id = 0;
constinit char ad_debug_process_name[AD_DEBUG_PROCESS_NAME_BYTES] = "";

constinit char ad_debug_lib_name[512] = "";
constinit struct sigaction ad_debug_old_usr1 = {};

namespace {

constexpr uint32_t all_ones = ~0U;  // what inet_addr() makes of text that is no address; "no change" to the setter
constexpr int32_t level_default = 1;

int number_of(const char *text) {
    return static_cast<int>(std::clamp<long>(strtol(text, nullptr, 10), INT_MIN, INT_MAX));
}

uint32_t address_in_environment(const char *variable, uint32_t otherwise) {
    const char *value = getenv(variable);
    return value != nullptr ? inet_addr(value) : otherwise;
}

void read_environment(int32_t *level, uint32_t *client_ip, uint32_t *server_ip) {
    if (const char *value = getenv("DEBUG_LEVEL")) {
        *level = number_of(value);
        if (*level > 0) ad_debug_set_syslog_critical_msg_only(1);
    }
    *client_ip = address_in_environment("DEBUG_CLIENT_IP", *client_ip);
    *server_ip = address_in_environment("DEBUG_SERVER_IP", *server_ip);
}

// The text goes up to the first zero byte: a short file is read together with what is left of the file's name behind it
// (AdReadDebugCfg.SearchesWhatTheFileNameLeftBehindAShortFile).
void search_configuration(const char *text, int32_t *level, uint32_t *client_ip) {
    constexpr char level_key[] = "debug_level=";
    constexpr char client_key[] = "debug_client_ip=";
    if (const char *key = strstr(text, level_key)) *level = number_of(key + strlen(level_key));
    if (const char *key = strstr(text, client_key)) *client_ip = inet_addr(key + strlen(client_key));
    // "debug_server_ip=" is a key of the file, but its value is not taken (AdReadDebugCfg.NeverTakesTheServerFilterFromTheFile).
}

ssize_t read_some(int fd, char *bytes, size_t bytes_max) {
    ssize_t came = 0;
    do {
        came = read(fd, bytes, bytes_max);
    } while (came < 0 && errno == EINTR);
    return came;
}

// The segment's id, or -1.
int find_segment(const char *path, bool create, bool *created) {
    const key_t key = path != nullptr ? ftok(path, AD_DEBUG_KEY_ID) : -1;
    if (key == -1) return -1;
    int id = shmget(key, 0, 0);
    if (id >= 0 || !create) return id;
    id = shmget(key, sizeof(ad_debug_cfg), IPC_CREAT | 0666);
    if (id < 0) perror("shmget");
    *created = id >= 0;
    return id;
}

// The shared record of a path, or null.
ad_debug_cfg *attach_record(const char *path, bool create) {
    bool created = false;
    const int id = find_segment(path, create, &created);
    if (id < 0) return nullptr;

    shmid_ds segment{};
    if (shmctl(id, IPC_STAT, &segment) != 0) {
        perror("shmctl");
        return nullptr;
    }
    if (segment.shm_segsz != sizeof(ad_debug_cfg)) {
        fprintf(stderr, "IPCSTAT shows size mismatch: %zd vs %zd\n", static_cast<ssize_t>(segment.shm_segsz),
                static_cast<ssize_t>(sizeof(ad_debug_cfg)));
        return nullptr;
    }
    void *const address = shmat(id, nullptr, 0);
    if (address == reinterpret_cast<void *>(-1)) {
        perror("shmat");
        if (shmctl(id, IPC_RMID, nullptr) != 0) perror("shmctl");
        return nullptr;
    }
    if (created) memset(address, 0, sizeof(ad_debug_cfg));
    return static_cast<ad_debug_cfg *>(address);
}

// Where this user has no daemon, user 0's is used, and its record.
void use_socket_of(const char *name, sockaddr_un *address) {
    ad_debug_cfg *record = nullptr;
    snprintf(address->sun_path, sizeof address->sun_path, "%s.%d", name, static_cast<int>(getuid()));
    if (ad_get_ad_debug_cfg_p(address->sun_path, &record) != 0) {
        snprintf(address->sun_path, sizeof address->sun_path, "%s.%d", name, 0);
        ad_get_ad_debug_cfg_p(address->sun_path, &record);
    }
    publish(ad_debug_cfg_p, record);
}

void read_configuration() {
    int32_t level = 0;
    uint32_t client_ip = 0;
    uint32_t server_ip = 0;
    ad_read_debug_cfg(ad_errorlog_addr.sun_path, &level, &client_ip, &server_ip);
    ad_set_debug_parameter(client_ip, server_ip, level, now(ad_debug_cfg_p));
}

void on_usr1(int signal_number) {
    const errno_kept keep;
    read_configuration();
    if (ad_debug_old_usr1.sa_flags & SA_SIGINFO) {
        siginfo_t information{};
        information.si_signo = signal_number;
        ad_debug_old_usr1.sa_sigaction(signal_number, &information, nullptr);
        return;
    }
    const auto handler = ad_debug_old_usr1.sa_handler;
    if (handler != SIG_DFL && handler != SIG_IGN) handler(signal_number);
}

// What was there is saved before the handler can run, and never the handler itself: it would call itself without end.
void install_usr1_handler() {
    struct sigaction before = {};
    sigaction(SIGUSR1, nullptr, &before);
    if (before.sa_handler != on_usr1) ad_debug_old_usr1 = before;
    struct sigaction action = {};
    action.sa_handler = on_usr1;
    sigemptyset(&action.sa_mask);
    sigaction(SIGUSR1, &action, nullptr);
}

}  // namespace

unsigned int ad_debug_inited(void) {
    return now(ad_debug_cfg_p) != nullptr ? 1 : 0;
}

void ad_read_debug_cfg_direct_read_from_env(void) {
    ad_debug_cfg &record = ad_debug_cfg_no_share_mem;
    const char *const level_text = getenv("DEBUG_LEVEL");
    const int32_t level = level_text != nullptr ? number_of(level_text) : level_default;
    const uint32_t client_ip = address_in_environment("DEBUG_CLIENT_IP", all_ones);
    const uint32_t server_ip = address_in_environment("DEBUG_SERVER_IP", now(record.server_ip));
    publish(record.level, level < 0 || level > AD_DEBUG_LEVEL_MAX ? level_default : level);
    publish(record.client_ip, client_ip == all_ones ? 0 : client_ip);
    publish(record.server_ip, server_ip == all_ones ? 0 : server_ip);
    publish(ad_debug_cfg_p, &record);
}

void ad_read_debug_cfg(const char *path, int32_t *level, uint32_t *cip, uint32_t *sip) {
    assert(path && level && cip && sip);
    *level = -1;
    *cip = all_ones;
    *sip = all_ones;
    ad_debug_set_syslog_critical_msg_only(0);

    char buffer[1024] = {};
    snprintf(buffer, sizeof buffer, "%s.cfg", path);
    // Whatever lies at that path, opening it does not wait.
    const int fd = open(buffer, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) return read_environment(level, cip, sip);
    const ssize_t came = read_some(fd, buffer, sizeof buffer);
    if (came > 0) {
        buffer[sizeof buffer - 1] = '\0';
        search_configuration(buffer, level, cip);
    }
    close(fd);
}

int ad_get_ad_debug_cfg_p_impl(const char *path, ad_debug_cfg **out, int no_create) {
    ad_debug_cfg *const shared = attach_record(path, no_create == 0);
    *out = shared != nullptr ? shared : &ad_debug_cfg_no_share_mem;
    return shared != nullptr ? 0 : 1;
}

int ad_get_ad_debug_cfg_p(const char *path, ad_debug_cfg **out) {
    return ad_get_ad_debug_cfg_p_impl(path, out, 0);
}

int ad_get_ad_debug_cfg_p_no_create(const char *path, ad_debug_cfg **out) {
    return ad_get_ad_debug_cfg_p_impl(path, out, 1);
}

int ad_return_ad_debug_cfg_p(ad_debug_cfg *record) {
    if (record == nullptr || record == &ad_debug_cfg_no_share_mem) return 1;
    const int result = shmdt(record);
    if (result == 0 && record == now(ad_debug_cfg_p)) publish(ad_debug_cfg_p, &ad_debug_cfg_no_share_mem);
    return result;
}

int ad_init_debug_lib(const char *name) {
    if (name != nullptr && strncmp(name, ad_debug_lib_name, sizeof ad_debug_lib_name - 1) == 0) return 0;

    memset(&ad_debug_cfg_no_share_mem, 0, sizeof ad_debug_cfg_no_share_mem);
    memset(ad_errorlog_sp_addr.sun_path, 0, sizeof ad_errorlog_sp_addr.sun_path);
    if (name == nullptr) name = getenv("ERROR_LOG_SOCKET");
    if (name == nullptr) {
        memset(ad_errorlog_addr.sun_path, 0, sizeof ad_errorlog_addr.sun_path);
        return -1;
    }
    use_socket_of(name, &ad_errorlog_addr);
    read_configuration();
    install_usr1_handler();
    snprintf(ad_debug_lib_name, sizeof ad_debug_lib_name, "%s", name);
    return 0;
}

int ad_set_special_log_path(const char *name) {
    if (name != nullptr) use_socket_of(name, &ad_errorlog_sp_addr);
    return 0;
}

void ad_debug_set_default_module_id(unsigned int id) {
    publish(ad_debug_module_id, id);
}

int ad_debug_set_process_name(const char *name) {
    return snprintf(ad_debug_process_name, sizeof ad_debug_process_name, "%s", text_or_null(name));
}

const char *getprocname(void) {
    return ad_debug_process_name;
}
