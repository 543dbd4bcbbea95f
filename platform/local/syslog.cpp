// libsyslog.so of a developer's machine: one line a message, to syslog(3), or to standard error when NY_SYSLOG is "stderr".

#include "platform/ny_syslog.h"

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <syslog.h>
#include <unistd.h>

namespace {

constexpr char cut_mark[] = "...";

// One message is one line: line ends at its end go, what else could move a terminal's cursor becomes a blank.
size_t make_one_line(char *text, size_t length) {
    while (length > 0 && (text[length - 1] == '\n' || text[length - 1] == '\r'))
        --length;
    for (size_t i = 0; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte < 0x20 || byte == 0x7F) text[i] = ' ';
    }
    text[length] = '\0';
    return length;
}

void write_line(const char *text, size_t length) {
    size_t done = 0;
    while (done < length) {
        const ssize_t written = write(STDERR_FILENO, text + done, length - done);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return;
        done += static_cast<size_t>(written);
    }
}

}  // namespace

void ny_syslog(int priority, unsigned module_id, int, unsigned message_number, const char *format, ...) {
    const int error = errno;
    char text[2048];
    constexpr size_t room = sizeof text - 1;  // a newline may follow
    const int front = snprintf(text, room, "module %u, message %u: ", module_id, message_number);
    const size_t begin = static_cast<size_t>(front);
    errno = error;  // for %m
    va_list arguments;
    va_start(arguments, format);
    const int wanted = vsnprintf(text + begin, room - begin, format, arguments);
    va_end(arguments);

    size_t length = begin + (wanted < 0 ? 0 : strlen(text + begin));
    if (wanted >= 0 && static_cast<size_t>(wanted) >= room - begin)
        memcpy(text + length + 1 - sizeof cut_mark, cut_mark, sizeof cut_mark);
    length = make_one_line(text, length);

    const char *where = getenv("NY_SYSLOG");
    if (where != nullptr && strcmp(where, "stderr") == 0) {
        text[length] = '\n';
        write_line(text, length + 1);
    } else {
        syslog(priority & LOG_PRIMASK, "%s", text);
    }
    errno = error;
}
