// One record of the log, and the three forms in which it is written.
#ifndef AD_LOGD_RECORD_H
#define AD_LOGD_RECORD_H

#include "datagram.h"

#include <string>
#include <string_view>

#include <sys/types.h>

enum class origin { log, special, daemon };

struct record {
    origin from;    // the socket that it came by; daemon: what the daemon itself has to say
    log_time time;  // UTC
    pid_t pid;      // the sender by the kernel's word; 0: nobody's, or a process of another pid namespace
    uid_t uid;
    pid_t says_pid;                 // what the sender claims where that differs; 0: nothing
    std::string_view process, tag;  // the sender's claims, safe text; may be empty
    const char *malformed;          // null: it is not
    std::string_view text;          // safe text
};

// Each appends one line with its newline.
// "2026-11-21T03:12:22.123456Z log pid 12 uid 0 (says pid 13; malformed: no time): text"
void append_text_line(std::string &out, const record &what);
// {"time":"...","from":"log","pid":12,"uid":0,"says_pid":13,"process":"np","tag":"ERRO","malformed":"no time","text":"..."}
void append_json_line(std::string &out, const record &what);
using line_form = void (*)(std::string &out, const record &what);

// Appends an RFC 5424 message without any framing.
void append_syslog_message(std::string &out, const record &what, unsigned facility, std::string_view host);

#endif
