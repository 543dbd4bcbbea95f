// The debug configuration's values: the ".cfg" file beside a socket, the environment, the names.

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
#include <unistd.h>

#undef NDEBUG  // a null output aborts release builds too
#include <cassert>

constinit uint32_t ad_debug_module_id = 0;
constinit char ad_debug_process_name[AD_DEBUG_PROCESS_NAME_BYTES] = "";

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

}  // namespace

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
    const bool no_path = *path == '\0';  // after a set-up without a name: a ".cfg" of the working directory is nobody's
    // Whatever lies at that path, opening it does not wait.
    const int fd = no_path ? -1 : open(buffer, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) return read_environment(level, cip, sip);
    const ssize_t came = read_some(fd, buffer, sizeof buffer);
    if (came > 0) {
        buffer[sizeof buffer - 1] = '\0';
        search_configuration(buffer, level, cip);
    }
    close(fd);
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
