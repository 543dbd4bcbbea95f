// log level, filter, show, reload, send: what processes log, steered while they run.

#include "ad_errorlog.h"
#include "failure.h"
#include "invocation.h"
#include "log_catcher.h"
#include "log_record.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>

#include <arpa/inet.h>
#include <unistd.h>

namespace {

constexpr const char *socket_help = "the log's base name, instead of ERROR_LOG_SOCKET or /tmp/ad_errorlog";
constexpr const char *special_help = "the special log's record, which processes use that have a special log";

std::string address_text(uint32_t address) {
    char text[INET_ADDRSTRLEN] = "";
    if (address == 0) return "off";
    inet_ntop(AF_INET, &address, text, sizeof text);
    return text;
}

cell level_cell(int32_t level) {
    if (level < 0) return std::to_string(level);
    return static_cast<uint64_t>(level);
}

uint32_t address_argument(const invocation &call, const std::string &text) {
    if (text == "off") return 0;
    in_addr address{};
    if (inet_pton(AF_INET, text.c_str(), &address) != 1 || address.s_addr == INADDR_ANY || address.s_addr == INADDR_NONE)
        throw usage_error("ADDRESS is " + in_quotes(text) + ", it must be an IPv4 address such as 10.0.0.1, or off",
                          usage_of(call.row()));
    return address.s_addr;
}

std::string place_of_values(const std::string &path) {
    const std::string file = path + ".cfg";
    return access(file.c_str(), R_OK) == 0 ? file : "the environment (" + file + " cannot be read)";
}

std::string daemon_text(pid_t daemon) {
    if (daemon < 0) return "not known: its lock file and its live stream are another user's";
    return daemon == 0 ? "none runs" : "process " + std::to_string(daemon);
}

// SIGUSR1 ends a process that has no handler for it.
bool handles_usr1(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("SigCgt:")) return (std::strtoull(line.c_str() + 7, nullptr, 16) >> (SIGUSR1 - 1) & 1) != 0;
    return false;
}

bool takes_message(const std::string &name, const std::string &text) {
    const log_catcher caught(false);
    // Not by ad_init_debug_lib(), which writes this process's environment or the ".cfg" file into the record that all share.
    ad_set_special_log_path(name.c_str());
    ad_errorlog_printf_special("nprmctl(%d)TEST:%s:%d-> %s\n", static_cast<int>(getpid()), "log_commands.cpp", __LINE__,
                               text.c_str());
    return caught.failures().empty();
}

}  // namespace

int log_level(invocation &call) {
    uint32_t level = 0;
    std::string base;
    bool special = false;
    call.number("[N]", level, 0, AD_DEBUG_LEVEL_SPECIAL, "0 and 1 log the same; 2 and 3 more; 4 all, to the special log too");
    call.flag("--special", special, special_help);
    call.text("--socket BASE", base, socket_help);
    call.notes("Example: nprmctl log level 3\n");
    call.parse();
    shared_record record(special ? special_path(base) : log_path(base));
    if (call.given("[N]")) record.set_level(static_cast<int32_t>(level));
    report now;
    now.fact("level", "level", level_cell(record.content().level));
    call.print(now);
    return exit_done;
}

int log_filter(invocation &call) {
    std::string side, address, base;
    bool special = false;
    call.text("SIDE", side, "client or server");
    call.text("[ADDRESS]", address, "only what concerns this IPv4 address is logged; off: everything");
    call.flag("--special", special, special_help);
    call.text("--socket BASE", base, socket_help);
    call.notes("Example: nprmctl log filter client 10.1.2.3\n");
    call.parse();
    const bool client = side == "client";
    if (!client && side != "server") throw usage_error(in_quotes(side) + " is neither client nor server", usage_of(call.row()));
    const uint32_t wanted = call.given("[ADDRESS]") ? address_argument(call, address) : 0;
    shared_record record(special ? special_path(base) : log_path(base));
    if (call.given("[ADDRESS]")) client ? record.set_client(wanted) : record.set_server(wanted);
    const ad_debug_cfg content = record.content();
    report now;
    now.fact(client ? "client" : "server", client ? "client filter" : "server filter",
             address_text(client ? content.client_ip : content.server_ip));
    call.print(now);
    return exit_done;
}

int log_show(invocation &call) {
    std::string base;
    bool special = false;
    call.flag("--special", special, special_help);
    call.text("--socket BASE", base, socket_help);
    call.notes("Example: nprmctl log show --special\n");
    call.parse();
    const std::string path = special ? special_path(base) : log_path(base);
    const shared_record record(path);
    const ad_debug_cfg content = record.content();
    char key[16];
    std::snprintf(key, sizeof key, "0x%08x", record.key());
    report shown;
    shown.fact("socket", "socket", path);
    shown.fact("daemon", "log daemon", daemon_text(log_daemon_of(path)));
    shown.fact("level", "level", level_cell(content.level));
    shown.fact("client", "client filter", address_text(content.client_ip));
    shown.fact("server", "server filter", address_text(content.server_ip));
    shown.fact(
        "record", "shared record",
        std::string(key) + ", segment " + std::to_string(record.segment()) + ", made by process " + std::to_string(record.maker()));
    shown.fact("values", "processes start with", place_of_values(path));
    shown.table("attached", {{"pid", "PID"}, {"process", "ATTACHED"}});
    for (const pid_t pid : record.attached())
        shown.row({static_cast<uint64_t>(pid), process_name(pid)});
    call.print(shown);
    return exit_done;
}

int log_reload(invocation &call) {
    uint32_t number = 0;
    call.number("PID", number, 1, INT32_MAX, "the process that is to read its configuration again");
    call.notes("Example: nprmctl log reload 4711\n");
    call.parse();
    const auto pid = static_cast<pid_t>(number);
    const std::string who = "process " + std::to_string(pid);
    const char *next = "nprmctl log show, which lists the processes that share the record";
    if (kill(pid, 0) != 0) throw refused(who + ": " + std::strerror(errno), next);
    if (!handles_usr1(pid)) throw refused(who + " does not handle SIGUSR1, which would end it", next);
    if (kill(pid, SIGUSR1) != 0) throw refused(who + ": " + std::strerror(errno), next);
    report done;
    done.sentence(who + " reads its log configuration again");
    done.fact("reloaded", nullptr, uint64_t{number});
    call.print(done);
    return exit_done;
}

int log_send(invocation &call) {
    std::string text, base;
    call.text("TEXT", text, "what the log is to say");
    call.text("--socket BASE", base, socket_help);
    call.notes("Example: nprmctl log send \"card 3 swapped\"\n");
    call.parse();
    const std::string path = log_path(base);
    const std::string name = path.substr(0, path.rfind('.'));
    if (!takes_message(name, text)) throw refused("no log daemon takes messages at " + path, "ad_logd, which starts one");
    report done;
    done.sentence("the log daemon at " + path + " has the message");
    done.fact("socket", nullptr, path);
    call.print(done);
    return exit_done;
}
