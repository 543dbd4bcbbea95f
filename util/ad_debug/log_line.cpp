// The logging sequence: whether and where a message goes, its prefix, and its way to system log, error log and special log.

#include "log_line.h"

#include "process_id.h"
#include "send_record.h"
#include "state.h"

#include "platform/ny_syslog.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

bool filtered_out(const uint32_t &configured_ip, const uint32_t &handled_ip) {
    const uint32_t configured = now(configured_ip);
    const uint32_t handled = now(handled_ip);
    return configured != 0 && handled != 0 && configured != handled;
}

const char *behind_last_slash(const char *path) {
    const char *slash = strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

}  // namespace

log_route route_of(int level, const ad_debug_cfg &record) {
    const int32_t configured = now(record.level);
    if (level > 1 && level > configured) return {};
    if (filtered_out(record.client_ip, ad_current_client_ip) || filtered_out(record.server_ip, ad_current_server_ip)) return {};

    const bool copied = level <= 0 || (level == 1 && level <= configured && now(ad_debug_syslog_critical_msg_only) == 0);
    log_route route;
    route.system_log = copied && now(ad_debug_in_sighandler) == 0 && now(ad_debug_to_syslogd) != 0;
    route.error_log = level <= AD_DEBUG_LEVEL_MAX;
    route.special_log = configured == AD_DEBUG_LEVEL_SPECIAL && special_log_is_on();
    return route;
}

ad_debug_cfg *record_or_environment() {
    const errno_kept keep;
    if (now(ad_debug_cfg_p) == nullptr) ad_read_debug_cfg_direct_read_from_env();
    return now(ad_debug_cfg_p);
}

void log_line::append(const char *text, size_t text_bytes) {
    const size_t room = name_bytes_ + AD_ERRORLOG_TEXT_BYTES_MAX - bytes_;
    const size_t taken = std::min(text_bytes, room);
    memcpy(text_ + bytes_, text, taken);
    bytes_ += taken;
}

void log_line::append_process_name() {
    const size_t bytes = strnlen(ad_debug_process_name, AD_DEBUG_PROCESS_NAME_BYTES - 1);
    append(ad_debug_process_name, bytes);
    name_bytes_ = bytes;
}

void log_line::append_origin(const char *tag, const char *file, int line) {
    append("(");
    append_decimal(process_id());
    append(")");
    append(tag);
    append(":");
    append(behind_last_slash(text_or_null(file)));
    append(":");
    append_decimal(line);
    append("-> ");
}

void log_line::append(const char *text) {
    text = text_or_null(text);
    append(text, strlen(text));
}

void log_line::append_decimal(int number) {
    char digits[16];
    const char *end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    append(digits, static_cast<size_t>(end - digits));
}

void log_line::append_hexadecimal(unsigned number, int digits_min) {
    char digits[16];
    const char *end = std::to_chars(digits, digits + sizeof digits, number, 16).ptr;
    append("0x");
    for (auto missing = digits_min - (end - digits); missing > 0; --missing)
        append("0");
    append(digits, static_cast<size_t>(end - digits));
}

bool log_line::append_formatted(const char *format, va_list arguments) {
    const size_t room = name_bytes_ + AD_ERRORLOG_TEXT_BYTES_MAX - bytes_;
    const int text_bytes = vsnprintf(text_ + bytes_, room + 1, format, arguments);
    if (text_bytes < 0) return false;
    is_cut_ = static_cast<size_t>(text_bytes) > room;
    origin_bytes_ = bytes_ - name_bytes_;
    bytes_ += strlen(text_ + bytes_);
    return true;
}

bool log_line::send_whole_to_system_log(const char *format, va_list arguments) const {
    char *text = nullptr;
    if (vasprintf(&text, format, arguments) < 0) return false;
    ny_syslog(AD_SYSLOG_PRIORITY, now(ad_debug_module_id), 0, AD_SYSLOG_MESSAGE_NUMBER, "%.*s%s", static_cast<int>(origin_bytes_),
              text_ + name_bytes_, text);
    free(text);
    return true;
}

void log_line::vsend_formatted(log_route route, const char *format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const bool formatted = append_formatted(format, arguments);
    if (formatted && is_cut_ && route.system_log) route.system_log = !send_whole_to_system_log(format, again);
    va_end(again);
    if (formatted) send(route);
}

void log_line::send_formatted(const log_route &route, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vsend_formatted(route, format, arguments);
    va_end(arguments);
}

void log_line::send(const log_route &route) {
    char *const line = text_ + name_bytes_;
    const size_t line_bytes = bytes_ - name_bytes_;
    if (route.system_log) {
        text_[bytes_] = '\0';
        ny_syslog(AD_SYSLOG_PRIORITY, now(ad_debug_module_id), 0, AD_SYSLOG_MESSAGE_NUMBER, "%s", line);
    }
    if (route.error_log) send_record(ad_errorlog_addr, text_, std::min<size_t>(bytes_, AD_ERRORLOG_TEXT_BYTES_MAX));
    if (route.special_log) send_record(ad_errorlog_sp_addr, line, line_bytes);
}

void ad_debug_print_impl(int level, const char *tag, const char *file, int line, const char *format, ...) {
    const errno_kept keep;
    const ad_debug_cfg *record = record_or_environment();
    if (record == nullptr) return;
    const log_route route = route_of(level, *record);
    if (route.leads_nowhere()) return;

    log_line message;
    message.append_process_name();
    message.append_origin(tag, file, line);
    va_list arguments;
    va_start(arguments, format);
    message.vsend_formatted(route, format, arguments);
    va_end(arguments);
}
