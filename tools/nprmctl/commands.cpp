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
    {"tcam load", tcam_load, "LIST|new FILE [--dry-run]", "put the rules of FILE into a list, in place of what it holds"},
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
    {"blob decode", blob_decode, "FILE", "print a configuration blob field by field; no server is needed"},
    {"blob encode", blob_encode, "FILE [--output BLOB]", "make a blob of the JSON that blob decode prints"},
    {"blob check", blob_check, "FILE", "tell the first thing that is wrong with a blob"},
    {"blob diff", blob_diff, "A B", "compare two blobs field by field"},
    {"tlv decode", tlv_decode, "FILE [--offline]", "print a list of flow-debug records"},
    {"hw decode", hw_decode, "TYPE FILE [--addr ADDR] [--hex]", "print a hardware-table entry by the layout of its type"},
    {"reg blocks", reg_blocks, "", "list the blocks of registers"},
    {"reg show", reg_show, "BLOCK|NAME|RANGE [--offline]", "show registers with their values"},
    {"reg find", reg_find, "TEXT", "find registers by a part of their names"},
    {"reg watch", reg_watch, "BLOCK|NAME|RANGE [--interval MS] [--count COUNT]", "show which registers change, live"},
    {"sn add", sn_add, "ID ADDRESS [SECONDARY] [--vlan VLAN] [--flags FLAGS]", "make a service node"},
    {"sn replace", sn_replace, "ID ADDRESS [SECONDARY] [--vlan VLAN] [--flags FLAGS]",
     "make a service node, in place of one with this number"},
    {"sn show", sn_show, "[ID]", "show a service node, or all of them"},
    {"sn delete", sn_delete, "ID", "delete a service node"},
    {"sng add", sng_add, "GROUP [--fields A.B.C] [--flags FLAGS]", "make a service-node group"},
    {"sng replace", sng_replace, "GROUP [--fields A.B.C] [--flags FLAGS]",
     "make a service-node group, or change one; its distribution stays"},
    {"sng show", sng_show, "GROUP [--count COUNT]", "show service-node groups"},
    {"sng delete", sng_delete, "GROUP", "delete a service-node group"},
    {"sng-dist add", sng_dist_add, "GROUP INDEXES NODE [--invalid] [--flags FLAGS] [--dry-run]",
     "have hash indexes of a group lead to a service node"},
    {"sng-dist replace", sng_dist_replace, "GROUP INDEXES NODE [--invalid] [--flags FLAGS] [--dry-run]",
     "the same, in place of where they lead"},
    {"sng-dist show", sng_dist_show, "GROUP [INDEX]", "show which hash index of a group leads to which service node"},
    {"sng-dist delete", sng_dist_delete, "GROUP INDEXES [--dry-run]", "have hash indexes lead nowhere"},
    {"sc add", sc_add, "ID ADDRESS [SECONDARY] [--flags FLAGS]", "make a service context"},
    {"sc replace", sc_replace, "ID ADDRESS [SECONDARY] [--flags FLAGS]",
     "make a service context, in place of one with this number"},
    {"sc show", sc_show, "[ID]", "show a service context, or all of them"},
    {"sc delete", sc_delete, "ID", "delete a service context"},
    {"scg add", scg_add, "GROUP ID...", "make a group of service contexts"},
    {"scg replace", scg_replace, "GROUP ID...", "make a group of service contexts, in place of one with this number"},
    {"scg show", scg_show, "[GROUP]", "show a group of service contexts, or all of them"},
    {"scg delete", scg_delete, "GROUP", "delete a group of service contexts"},
    {"wccp add", wccp_add, "ID ADDRESS [ROUTER] [--flags FLAGS]", "make a WCCP entry"},
    {"wccp replace", wccp_replace, "ID ADDRESS [ROUTER] [--flags FLAGS]", "make a WCCP entry, in place of one with this number"},
    {"wccp show", wccp_show, "[ID]", "show a WCCP entry, or all of them"},
    {"wccp delete", wccp_delete, "ID", "delete a WCCP entry"},
    {"wccp mtu", wccp_mtu, "BYTES", "set the MTU of WCCP"},
    {"flow trace", flow_trace, "start|stop [--address ADDRESS] [--port PORT] [--vrf VRF]", "start or stop the trace of flows"},
    {"flow dump", flow_dump, "start|stop [--address ADDRESS] [--port PORT]", "start or stop the dump of flows"},
    {"flow dist", flow_dist, "GROUP SOURCE DESTINATION [--from PORT] [--to PORT] [--vlan VLAN] [--vrf VRF]",
     "tell which service node of a group takes an IPv4 flow"},
    {"flow limit", flow_limit, "[FLOWS]", "show or set how many flows the card learns at most"},
    {"flow swap", flow_swap, "on|off", "switch the swapping of source addresses"},
    {"flow frames", flow_frames, "VERSION", "set the version of the port channel's frames"},
    {"port show", port_show, "[PORTS]", "show the settings of Ethernet ports, of all when none is named"},
    {"port set", port_set, "PORT [--link STATE] [--speed SPEED] [--negotiate SWITCH] [--mtu BYTES] [--mac ADDRESS]",
     "set what is given of a port"},
    {"port counters", port_counters, "PORT [--clear] [--all]", "show what a port has counted"},
    {"port led", port_led, "PORT LED", "switch a port's LED"},
    {"sfp show", sfp_show, "[PORT] [--file FILE] [--monitor FILE]", "tell what a port's module is and measures, alarms marked"},
    {"sfp raw", sfp_raw, "PORT [--monitoring] [--binary]", "dump the 256 bytes of a module's memory"},
    {"fib add", fib_add, "PREFIX MAC UIDB [--replace]", "add a route: where packets to a prefix go"},
    {"fib del", fib_delete, "PREFIX", "delete a route"},
    {"fib lookup", fib_look_up, "ADDRESS", "which route packets to an address take"},
    {"fib load", fib_load,
     "FILE [--nexthops NAMES] [--mac MAC --uidb UIDB] [--ipv6] [--replace] [--batch COUNT] [--first-line LINE] [--dry-run]",
     "add the routes of FILE, of any length, as ip route prints them or as a list"},
    {"fib generate", fib_generate, "[--ipv4 COUNT] [--ipv6 COUNT] [--seed SEED]",
     "print made-up routes with the lengths of the Internet's tables"},
    {"fib bench", fib_bench, "[--routes COUNT] [--batch COUNT]", "measure how fast the card takes routes, and delete them again"},
    {"hw tables", hw_tables, "", "list the card's hardware tables"},
    {"hw summary", hw_summary, "TABLE", "describe a hardware table"},
    {"hw get", hw_get, "TABLE [--from ADDRESS] [--count COUNT] [--all] [--raw]",
     "print a hardware table's entries, field by field"},
    {"hw search", hw_search, "TABLE KEY... [--from ADDRESS] [--raw]", "print a hardware table's entries that have such fields"},
    {"hw lookup", hw_look_up, "TABLE KEY... [--raw]", "print the one entry of a hardware table that a key has"},
    {"hw crash-dump", hw_crash_dump, "NUMBER", "have the card write crash-dump information"},
    {"hw capture", hw_capture, "NAME", "have the card capture its search engine's configuration"},
    {"tm queue", tm_queue, "QUEUE", "tell how many packets wait in a queue of the traffic manager"},
    {"tm stats", tm_stats, "", "tell what the traffic manager has done"},
    {"sram", show_port_sram, "PORT [--raw]", "print a port's configuration SRAM"},
    {"npdebug init", npdebug_init, "WORD...", "start the server's debug facility"},
    {"npdebug request", npdebug_request, "WORD...", "ask the server's debug facility"},
    {"stats tables", stats_tables, "", "list the tables of counters"},
    {"stats show", stats_show, "TABLE [IDS] [--names] [--nonzero] [--clear] [--segment FILE]",
     "show counters, of the card or of a saved segment"},
    {"stats watch", stats_watch, "TABLE [IDS] [--interval MS] [--count COUNT] [--top ROWS]",
     "watch how fast counters move; q ends"},
    {"stats clear", stats_clear, "TABLE|monitor|all [IDS]", "clear counters"},
    {"stats alloc", stats_alloc, "TABLE COUNT", "have the server give out entries of a table"},
    {"stats free", stats_free, "TABLE IDS", "give entries back to the server"},
    {"stats set", stats_set, "TABLE ENTRY COUNTER PACKETS [BYTES]", "set a counter"},
    {"stats monitor", stats_monitor, "", "show the monitor statistics"},
    {"stats export", stats_export, "[TABLE] [--csv] [--segment FILE]", "print a snapshot of the counters as JSON or CSV"},
    {"stats save", stats_save, "FILE", "save the shared counters, to be shown without a card"},
    {"if create", if_create, "INTERFACE KIND MAC [--port PORT] [--layer3]", "create an interface"},
    {"if delete", if_delete, "INTERFACE", "delete an interface"},
    {"if show", if_show, "[INTERFACE]", "show one interface of a simulated card, or all"},
    {"if state", if_state, "INTERFACE up|down", "bring an interface up or down"},
    {"if mac", if_mac, "INTERFACE MAC", "set an interface's MAC address"},
    {"if address", if_address, "INTERFACE ADDRESS/LENGTH [--vrf VRF]", "set an interface's IPv4 or IPv6 address"},
    {"if no-address", if_no_address, "INTERFACE ipv4|ipv6", "take an interface's address away"},
    {"if active", if_active, "SB PHYSICAL", "make an SB interface active on a physical one"},
    {"pc balance", pc_balance, "SETTING", "set how port channels balance their load"},
    {"pc add", pc_add, "CHANNEL INTERFACE", "add an interface to a port channel"},
    {"pc remove", pc_remove, "CHANNEL INTERFACE", "remove an interface from a port channel"},
    {"bg create", bg_create, "GROUP FIRST SECOND", "bridge two interfaces"},
    {"bg delete", bg_delete, "GROUP", "delete a bridge group"},
    {"bg show", bg_show, "GROUP", "show a bridge group of a simulated card"},
    {"bg vlan", bg_vlan, "GROUP VLAN [--value VALUE]", "add a VLAN to a bridge group"},
    {"bg no-vlan", bg_no_vlan, "GROUP VLAN [--value VALUE]", "remove a VLAN from a bridge group"},
    {"acl enable", acl_enable, "dump|trace|intercept|policy LIST", "have the packet path look up in a list"},
    {"acl disable", acl_disable, "dump|trace|intercept|policy [LIST]", "switch a look-up of the packet path off"},
    {"errorlog-mask", set_errorlog_mask, "MASK", "set which errors the card logs"},
    {"config read", config_read, "[SELECTOR] [--input HEX] [--save FILE]", "read the card's configuration, field by field"},
    {"config ports", config_ports, "", "tell which interface has which port"},
    {"crash", crash, "[ARGUMENT] [--yes]", "have the card's server crash, for a dump; asks first"},
    {"shell", run_shell, "[FILE] [--keep-going]", "run a command a line, typed or from FILE"},
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

std::string overview(const std::string &first) {
    std::vector<command> shown(commands.begin(), commands.end());
    if (!first.empty()) std::erase_if(shown, [&](const command &row) { return !std::string(row.name).starts_with(first + " "); });
    size_t width = 0;
    for (const command &row : shown)
        width = std::max(width, std::strlen(row.name));
    std::string text;
    for (const command &row : shown) {
        std::string name = row.name;
        name.resize(width, ' ');
        text += "  " + name + "  " + row.summary + "\n";
    }
    return text;
}

std::string help_of_family(const std::string &first) {
    const std::string rows_of_it = overview(first);
    if (rows_of_it.empty()) return {};
    return "usage: nprmctl " + first + " COMMAND [ARGUMENTS]\n\n" + rows_of_it + "\n\"nprmctl help " + first +
           " COMMAND\" shows a command in full.\n";
}

std::string nearest_commands(const std::string &first) {
    std::string names;
    for (const command &row : commands)
        if (std::string(row.name).starts_with(first + " "))
            names += (names.empty() ? "" : "|") + std::string(row.name).substr(first.size() + 1);
    return names.empty() ? "nprmctl help" : "nprmctl " + first + " " + names;
}
