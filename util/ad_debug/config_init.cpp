// The debug library's set-up: whose sockets and record are used, and SIGUSR1, at which the configuration is read again.

#include "ad_debug.h"

#include "ad_param.h"
#include "state.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

constinit char ad_debug_lib_name[512] = "";
constinit struct sigaction ad_debug_old_usr1 = {};

namespace {

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

void call_handler_before(int signal_number) {
    const struct sigaction &before = ad_debug_old_usr1;
    if (before.sa_handler == SIG_DFL || before.sa_handler == SIG_IGN) return;
    if ((before.sa_flags & SA_SIGINFO) == 0) return before.sa_handler(signal_number);
    siginfo_t information{};
    information.si_signo = signal_number;
    before.sa_sigaction(signal_number, &information, nullptr);
}

// A handler of the host's that was installed after this one calls it, and a later set-up saves that handler: each would then call
// the other without end.  Initial-exec: a handler must not be what makes the thread's copy.
__attribute__((tls_model("initial-exec"))) constinit thread_local volatile sig_atomic_t inside_handler = 0;

void on_usr1(int signal_number) {
    if (inside_handler != 0) return;
    inside_handler = 1;
    const errno_kept keep;
    read_configuration();
    call_handler_before(signal_number);
    inside_handler = 0;
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
