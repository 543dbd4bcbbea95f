// One message of the logging sequence: where it goes, how it is laid out, how it is handed on.
#ifndef AD_LOG_LINE_H
#define AD_LOG_LINE_H

#include <cstdarg>
#include <cstddef>

#include "ad_errorlog.h"

// Where messages of a level go by a record, read once so that a change meanwhile cannot split a decision.
struct log_route {
    bool system_log = false;
    bool error_log = false;
    bool special_log = false;

    bool leads_nowhere() const { return !system_log && !error_log && !special_log; }
};
log_route route_of(int level, const ad_debug_cfg &record);

// The record in use; without one, the private record with what the environment says.
ad_debug_cfg *record_or_environment();

// The text while it is laid out.  What exceeds 4,086 bytes is cut.  The process's name, which the error log alone shows, stands in
// front and counts there only.
class log_line {
  public:
    void append_process_name();
    void append_origin(const char *tag, const char *file, int line);  // "(PID)TAG:FILE:LINE-> ", FILE behind its last slash
    void append(const char *text);
    void append_decimal(int number);
    void append_hexadecimal(unsigned number, int digits_min);
    void send(const log_route &route);

    // Append a formatted text and send the line, unless it cannot be formatted.
    void send_formatted(const log_route &route, const char *format, ...) __attribute__((format(printf, 3, 4)));
    void vsend_formatted(log_route route, const char *format, va_list arguments) __attribute__((format(printf, 3, 0)));

  private:
    void append(const char *text, size_t text_bytes);
    bool append_formatted(const char *format, va_list arguments) __attribute__((format(printf, 2, 0)));  // false: not formattable

    // The bound is the datagrams': the system log gets a formatted text whole.  False without memory for that: nothing is sent.
    bool send_whole_to_system_log(const char *format, va_list arguments) const __attribute__((format(printf, 2, 0)));

    size_t name_bytes_ = 0;
    size_t bytes_ = 0;         // the name's and the line's
    size_t origin_bytes_ = 0;  // of the line, in front of the formatted text
    bool is_cut_ = false;      // the formatted text
    char text_[AD_DEBUG_PROCESS_NAME_BYTES - 1 + AD_ERRORLOG_TEXT_BYTES_MAX + AD_ERRORLOG_TAIL_BYTES];
};

#endif
