// The commands, a row each.

#include "command.h"

#include <cstring>

namespace {

constexpr command rows[] = {
    {"status", show_status, "", "is the server ready, and how much room is left"},
    {"error", explain_error, "CODE", "name and explain a result code, given by number or name"},
    {"tcam create", tcam_create, "SIZE", "make a list of SIZE entries"},
    {"tcam delete", tcam_delete, "LIST", "delete a list with its entries"},
    {"tcam space", tcam_space, "", "tell how many entries are free"},
    {"tcam load", tcam_load, "LIST|new FILE", "put the rules of FILE into a list, in place of what it holds"},
    {"tcam show", tcam_show, "LIST [--from POSITION] [--count COUNT] [--policy]", "show a list's entries as rules"},
    {"tcam compare", tcam_compare, "LIST FILE", "read a list back and compare it with the rules of FILE"},
    {"tcam lookup", tcam_lookup, "LIST KEY... [--rules FILE] [--policy]", "which rule of a list decides about a packet"},
    {"tcam write", tcam_write, "LIST POSITION FILE [--policy] [--scatter]", "write the entries of FILE over those at POSITION"},
    {"tcam insert", tcam_insert, "LIST POSITION FILE [--policy]", "insert the entries of FILE at POSITION; those behind shift"},
    {"tcam read", tcam_read, "LIST POSITION COUNT [--policy]", "read entries, field by field"},
    {"tcam remove", tcam_remove, "LIST POSITION COUNT", "remove entries; those behind close up"},
    {"card status", card_status, "", "tell how the simulated card is"},
    {"card fault", card_fault, "KIND [--count COUNT] [--component NAME] [--value VALUE] [--seed SEED]",
     "make the simulated card misbehave; none ends it"},
    {"card traffic", card_traffic, "[RATE|frozen] [--advance MS]",
     "show or set the traffic that moves the simulated card's counters"},
    {"card reset", card_reset, "", "put the simulated card back to its state at start"},
    {"log follow", log_follow, "[--process P] [--tag T] [--text X] [--count N] [--socket BASE]", "watch what processes log, live"},
    {"log level", log_level, "[N] [--special] [--socket BASE]", "show or set the level up to which processes log"},
    {"log filter", log_filter, "client|server [ADDRESS|off] [--special] [--socket BASE]",
     "show or set the one address that processes log about"},
    {"log show", log_show, "[--special] [--socket BASE]", "show the shared debug record, and who has it attached"},
    {"log reload", log_reload, "PID", "have a process read its log configuration again"},
    {"log send", log_send, "TEXT [--socket BASE]", "send a test message through the library"},
    {"port show", port_show, "[PORT]", "show the settings of one Ethernet port, or of all"},
    {"port set", port_set, "PORT [--link STATE] [--speed SPEED] [--negotiate SWITCH] [--mtu BYTES] [--mac ADDRESS]",
     "set what is given of a port"},
    {"port counters", port_counters, "PORT [--clear] [--all]", "show what a port has counted"},
    {"port led", port_led, "PORT LED", "switch a port's LED"},
    {"sfp show", sfp_show, "[PORT] [--file FILE] [--monitor FILE]", "tell what a port's module is and measures, alarms marked"},
    {"sfp raw", sfp_raw, "PORT [--monitoring] [--binary]", "dump the 256 bytes of a module's memory"},
    {"completion", print_completion, "bash", "print the completion for a shell"},
    {"help", print_help, "[COMMAND...]", "show all commands, or one in full"},
};

}  // namespace

constexpr std::span<const command> commands = rows;

const command *find_command(const std::string &first, const std::string &second) {
    const std::string both = first + " " + second;
    for (const command &row : commands)
        if (both == row.name || first == row.name) return &row;
    return nullptr;
}

std::string overview() {
    size_t width = 0;
    for (const command &row : commands)
        width = std::max(width, std::strlen(row.name));
    std::string text;
    for (const command &row : commands) {
        std::string name = row.name;
        name.resize(width, ' ');
        text += "  " + name + "  " + row.summary + "\n";
    }
    return text;
}

std::string nearest_commands(const std::string &first) {
    std::string names;
    for (const command &row : commands)
        if (std::string(row.name).starts_with(first + " "))
            names += (names.empty() ? "" : "|") + std::string(row.name).substr(first.size() + 1);
    return names.empty() ? "nprmctl help" : "nprmctl " + first + " " + names;
}
