// log follow: the log daemon's live stream on the terminal.

#include "failure.h"
#include "invocation.h"
#include "log_record.h"
#include "tools/ad_logd/safe_text.h"

#include <cerrno>
#include <cstring>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

namespace {

using nlohmann::ordered_json;

constexpr size_t line_bytes_max = 1 << 16;

struct wanted_records {
    std::string process, tag, text;
    uint32_t count = 0;  // 0: without end
};

failure no_stream(const std::string &path, const std::string &why) {
    return {exit_refused, path + ": " + why, "start the log daemon: ad_logd", {}, {}, {}, {}};
}

// A connection to the stream of a daemon that is this user's or root's.
int connected_to(const std::string &path) {
    sockaddr_un address = {AF_UNIX, {}};
    if (path.size() >= sizeof address.sun_path) throw no_stream(path, "the path is longer than a socket's path can be");
    path.copy(address.sun_path, path.size());
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        const std::string why = std::strerror(errno);
        if (errno == EACCES) throw refused(path + ": " + why, "again as the user of the log daemon, or as root");
        throw no_stream(path, why);
    }
    ucred peer{};
    socklen_t bytes = sizeof peer;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &bytes) != 0 || (peer.uid != getuid() && peer.uid != 0))
        throw no_stream(path, "it is another user's");
    return fd;
}

std::string member(const ordered_json &record, const char *name) {
    const auto found = record.find(name);
    if (found == record.end()) return {};
    std::string text;
    append_safe(text, found->is_string() ? found->get<std::string>() : found->dump(), backslash::kept);
    return text;
}

bool is_of_daemon(const ordered_json &record) {
    return member(record, "from") == "daemon";
}

// What the daemon itself says concerns every reader: that records were lost, folded or cut.
bool is_wanted(const wanted_records &wanted, const ordered_json &record) {
    if (is_of_daemon(record)) return true;
    const bool process_fits =
        wanted.process.empty() || member(record, "process") == wanted.process || member(record, "pid") == wanted.process;
    return process_fits && (wanted.tag.empty() || member(record, "tag") == wanted.tag) &&
           member(record, "text").find(wanted.text) != std::string::npos;
}

struct tag_colour {
    const char *tag, *start;
};
constexpr tag_colour tag_colours[] = {{"CRTC", "\033[1;31m"}, {"ERRO", "\033[31m"}, {"WARN", "\033[33m"}};

const char *colour_of(const ordered_json &record) {
    if (is_of_daemon(record)) return "\033[36m";
    const std::string tag = member(record, "tag");
    for (const tag_colour &row : tag_colours)
        if (tag == row.tag) return row.start;
    return nullptr;
}

std::string line_of(const ordered_json &record) {
    std::string line = member(record, "time") + " " + member(record, "from");
    if (member(record, "pid") != "0" || !is_of_daemon(record))
        line += " pid " + member(record, "pid") + " uid " + member(record, "uid");
    for (const auto &[name, title] : {std::pair{"says_pid", "says pid "}, std::pair{"malformed", "malformed: "}})
        if (record.contains(name)) line += std::string(" (") + title + member(record, name) + ")";
    return line + ": " + member(record, "text");
}

void print_record(const invocation &call, const ordered_json &record) {
    static const bool is_terminal = isatty(STDOUT_FILENO) != 0;
    const char *const colour = is_terminal ? colour_of(record) : nullptr;
    if (call.json())
        std::printf("%s\n", record.dump(-1, ' ', true, ordered_json::error_handler_t::replace).c_str());
    else if (colour != nullptr)
        std::printf("%s%s\033[0m\n", colour, line_of(record).c_str());
    else
        std::printf("%s\n", line_of(record).c_str());
    std::fflush(stdout);
}

}  // namespace

int log_follow(invocation &call) {
    wanted_records wanted;
    std::string base;
    call.text("--process P", wanted.process, "only the process that calls itself so, or has this number");
    call.text("--tag T", wanted.tag, "only records with this tag, such as ERRO");
    call.text("--text X", wanted.text, "only records that contain this text");
    call.number("--count N", wanted.count, 1, UINT32_MAX, "end after so many records");
    call.text("--socket BASE", base, "the log's base name, instead of ERROR_LOG_SOCKET or /tmp/ad_errorlog");
    call.notes(
        "What the daemon itself says, of records lost, folded or cut, passes all filters.\n"
        "With --json each record is a line of JSON.  Ends by Ctrl-C, or with the log daemon.\n");
    call.parse();
    const std::string path = log_path(base) + ".follow";
    const int stream = connected_to(path);
    std::string pending;
    for (char bytes[4096];;) {
        const ssize_t came = recv(stream, bytes, sizeof bytes, 0);
        if (came < 0 && errno == EINTR) continue;
        if (came <= 0) throw no_stream(path, "the log daemon has ended, or ended the stream");
        pending.append(bytes, static_cast<size_t>(came));
        for (size_t end; (end = pending.find('\n')) != std::string::npos; pending.erase(0, end + 1)) {
            const ordered_json record = ordered_json::parse(pending.substr(0, end), nullptr, false);
            if (!record.is_object() || !is_wanted(wanted, record)) continue;
            print_record(call, record);
            if (wanted.count != 0 && --wanted.count == 0) return exit_done;
        }
        if (pending.size() > line_bytes_max) throw no_stream(path, "what comes is no log");
    }
}
