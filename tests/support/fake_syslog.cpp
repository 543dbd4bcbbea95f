#include "fake_syslog.h"

#include <cstdarg>
#include <cstdio>

std::vector<fake_syslog_call> &fake_syslog_calls() {
    static std::vector<fake_syslog_call> calls;
    return calls;
}

void ny_syslog(int priority, unsigned module_id, int zero, unsigned message_number, const char *format, ...) {
    char text[8192];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    fake_syslog_calls().push_back({priority, module_id, zero, message_number, text});
}
