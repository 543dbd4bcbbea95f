// Level, filters and the system-log switch changed at run time, and checked allocation.

#include "ad_param.h"

#include "ad_errorlog.h"
#include "log_line.h"
#include "state.h"

#include "platform/ny_syslog.h"

#include <cstdlib>

#undef NDEBUG  // a null record aborts release builds too
#include <cassert>

namespace {

constexpr unsigned int no_change = ~0U;

// Without a record in use the sequence reads the environment before it logs.
void log_no_level_change() {
    ad_debug_print(1, "ERRO", "ad_init_debug_lib() not called, no level change\n");
}

}  // namespace

void ad_set_debug_parameter(unsigned int client_ip, unsigned int server_ip, int level, ad_debug_cfg *cfg_p) {
    assert(cfg_p);
    if (client_ip != no_change) publish(cfg_p->client_ip, client_ip);
    if (server_ip != no_change) publish(cfg_p->server_ip, server_ip);
    if (level < 0) return;
    if (level > AD_DEBUG_LEVEL_MAX) level = AD_DEBUG_LEVEL_MAX;
    if (now(cfg_p->level) == AD_DEBUG_LEVEL_SPECIAL && special_log_is_on()) ad_errorlog_printf_special("reset special log");
    publish(cfg_p->level, level);
}

void ad_debug_set_debug_parameter_directly(unsigned int client_ip, unsigned int server_ip, int level) {
    ad_debug_cfg *record = now(ad_debug_cfg_p);
    if (record == nullptr) return log_no_level_change();
    ad_set_debug_parameter(client_ip, server_ip, level, record);
}

void ad_debug_set_debug_level_directly(int level) {
    ad_debug_cfg *record = now(ad_debug_cfg_p);
    if (record == nullptr) return log_no_level_change();
    if (level > 0) ad_debug_set_syslog_critical_msg_only(1);
    ad_set_debug_parameter(no_change, no_change, level, record);
}

void ad_debug_set_syslog_critical_msg_only(int on) {
    publish(ad_debug_syslog_critical_msg_only, on);
    if (on == 0) return;
    ad_debug_print(1, "ERRO", "ad_debug_syslog_critical_msg_only set to true\n");
    ad_debug_print(1, "ERRO", "non-critical message won't be written to syslog in any case\n");
}

void *my_xmalloc(size_t size, const char *file, int line) {
    void *memory = malloc(size);
    if (memory != nullptr) return memory;

    file = text_or_null(file);
    if (const ad_debug_cfg *record = record_or_environment()) {
        log_route route = route_of(0, *record);
        route.system_log = false;  // it gets the one copy below, which nothing holds back
        log_line message;
        message.append_process_name();
        message.append_origin("CRTC", __FILE__, __LINE__);
        message.append("Malloc fail at ");
        message.append(file);
        message.append(":");
        message.append_decimal(line);
        message.append("\n");
        message.send(route);
    }
    ny_syslog(AD_SYSLOG_CRITICAL_PRIORITY, now(ad_debug_module_id), 0, AD_SYSLOG_NO_MEMORY_NUMBER, "Malloc fail at %s:%d\n", file,
              line);
    exit(AD_EXIT_NO_MEMORY);
}
