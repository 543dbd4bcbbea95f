// One record of the log, and the three forms in which it is written.

#include "record.h"

#include "safe_text.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace {

constexpr const char *origin_names[] = {"log", "special", "daemon"};

const char *name_of(origin from) {
    return origin_names[static_cast<int>(from)];
}

template <typename number>
void append_number(std::string &out, number value) {
    char text[24];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    out.append(text, static_cast<size_t>(end - text));
}

// Records come many a second: the second's text is made once.
void append_time(std::string &out, log_time time) {
    static thread_local int64_t second_shown = -1;
    static thread_local char second_text[32] = "";
    if (time.seconds != second_shown || second_text[0] == '\0') {
        const auto seconds = static_cast<time_t>(time.seconds);
        tm parts{};
        gmtime_r(&seconds, &parts);
        std::strftime(second_text, sizeof second_text, "%Y-%m-%dT%H:%M:%S", &parts);
        second_shown = time.seconds;
    }
    char fraction[8] = ".000000";
    int32_t left = time.microseconds;
    for (int i = 6; i > 0; --i, left /= 10)
        fraction[i] = static_cast<char>('0' + left % 10);
    out += second_text;
    out.append(fraction, 7);
    out += 'Z';
}

void append_remarks(std::string &out, const record &what) {
    if (what.says_pid == 0 && what.malformed == nullptr) return;
    out += " (";
    if (what.says_pid != 0) {
        out += "says pid ";
        append_number(out, what.says_pid);
    }
    if (what.says_pid != 0 && what.malformed != nullptr) out += "; ";
    if (what.malformed != nullptr) (out += "malformed: ") += what.malformed;
    out += ')';
}

void append_member(std::string &out, const char *name, std::string_view value) {
    if (value.empty()) return;
    ((out += ",\"") += name) += "\":";
    append_json_string(out, value);
}

// Severities by tag; a tag that is not here is a notice.
struct tag_severity {
    std::string_view tag;
    unsigned severity;
};
constexpr unsigned critical = 2, error = 3, warning = 4, notice = 5, informational = 6, debug = 7;
constexpr tag_severity tag_severities[] = {
    {"CRTC", critical},      {"ERRO", error}, {"WARN", warning}, {"NOTI", notice},
    {"INFO", informational}, {"DBUG", debug}, {"DEBG", debug},   {"DUMP", debug},
};

unsigned severity_of(const record &what) {
    if (what.from == origin::daemon) return warning;
    const auto *row = std::ranges::find(tag_severities, what.tag, &tag_severity::tag);
    return row != std::end(tag_severities) ? row->severity : notice;
}

// A field of the header is visible ASCII, and "-" when there is none.
void append_header_field(std::string &out, std::string_view text, size_t bytes_max) {
    const size_t before = out.size();
    for (const char c : text.substr(0, bytes_max))
        out += c > 0x20 && c < 0x7F ? c : '_';
    if (out.size() == before) out += '-';
}

}  // namespace

void append_text_line(std::string &out, const record &what) {
    append_time(out, what.time);
    (out += ' ') += name_of(what.from);
    if (what.pid != 0 || what.from != origin::daemon) {
        out += " pid ";
        append_number(out, what.pid);
        out += " uid ";
        append_number(out, what.uid);
    }
    append_remarks(out, what);
    ((out += ": ") += what.text) += '\n';
}

void append_json_line(std::string &out, const record &what) {
    out += "{\"time\":\"";
    append_time(out, what.time);
    (out += "\",\"from\":\"") += name_of(what.from);
    out += "\",\"pid\":";
    append_number(out, what.pid);
    out += ",\"uid\":";
    append_number(out, what.uid);
    if (what.says_pid != 0) {
        out += ",\"says_pid\":";
        append_number(out, what.says_pid);
    }
    append_member(out, "process", what.process);
    append_member(out, "tag", what.tag);
    if (what.malformed != nullptr) append_member(out, "malformed", what.malformed);
    out += ",\"text\":";
    append_json_string(out, what.text);
    out += "}\n";
}

// What the kernel says of the sender goes into structured data, under the enterprise number that is kept for private use in
// documents: the number is nobody's.
void append_syslog_message(std::string &out, const record &what, unsigned facility, std::string_view host) {
    out += '<';
    append_number(out, facility * 8 + severity_of(what));
    out += ">1 ";
    append_time(out, what.time);
    out += ' ';
    append_header_field(out, host, 255);
    out += ' ';
    append_header_field(out, what.from == origin::daemon ? "ad_logd" : what.process, 48);
    out += ' ';
    if (what.pid != 0)
        append_number(out, what.pid);
    else
        out += '-';
    out += ' ';
    append_header_field(out, what.tag, 32);
    (out += " [sender@32473 from=\"") += name_of(what.from);
    out += "\" uid=\"";
    append_number(out, what.uid);
    if (what.says_pid != 0) {
        out += "\" saysPid=\"";
        append_number(out, what.says_pid);
    }
    if (what.malformed != nullptr) (out += "\" malformed=\"") += what.malformed;
    (out += "\"] ") += what.text;
}
