// A command is a row: dispatch, usage, help, completion and the tests read the same rows.
#ifndef NPRMCTL_COMMAND_H
#define NPRMCTL_COMMAND_H

#include <span>
#include <string>
#include <vector>

class invocation;

struct command {
    const char *name;          // one or two words
    int (*run)(invocation &);  // returns the exit status, or throws a failure
    const char *arguments;     // as usage shows them; words in capitals are the user's, FILE is completed as a path
    const char *summary;
};

extern const std::span<const command> commands;

// The commands themselves, by file.
int show_status(invocation &);  // status_commands.cpp
int explain_error(invocation &);
int tcam_create(invocation &);  // tcam_commands.cpp
int tcam_delete(invocation &);
int tcam_space(invocation &);
int tcam_write(invocation &);
int tcam_insert(invocation &);
int tcam_remove(invocation &);
int tcam_lookup(invocation &);
int tcam_read(invocation &);  // tcam_views.cpp
int tcam_show(invocation &);
int tcam_load(invocation &);
int tcam_compare(invocation &);
int card_status(invocation &);  // card_commands.cpp
int card_fault(invocation &);
int card_reset(invocation &);
int card_traffic(invocation &);
int log_follow(invocation &);  // log_follow.cpp
int log_level(invocation &);   // log_commands.cpp
int log_filter(invocation &);
int log_show(invocation &);
int log_reload(invocation &);
int log_send(invocation &);
int fib_load(invocation &);     // fib_load.cpp
int blob_decode(invocation &);  // blob_commands.cpp
int blob_encode(invocation &);
int blob_check(invocation &);
int blob_diff(invocation &);
int tlv_decode(invocation &);  // tlv_commands.cpp
int hw_decode(invocation &);   // hw_decode.cpp
int reg_blocks(invocation &);  // register_commands.cpp
int reg_show(invocation &);
int reg_find(invocation &);
int sn_add(invocation &);  // node_commands.cpp
int sn_replace(invocation &);
int sn_show(invocation &);
int sn_delete(invocation &);
int sng_add(invocation &);
int sng_replace(invocation &);
int sng_show(invocation &);
int sng_delete(invocation &);
int sng_dist_add(invocation &);
int sng_dist_replace(invocation &);
int sng_dist_show(invocation &);
int sng_dist_delete(invocation &);
int sc_add(invocation &);  // context_commands.cpp
int sc_replace(invocation &);
int sc_show(invocation &);
int sc_delete(invocation &);
int scg_add(invocation &);
int scg_replace(invocation &);
int scg_show(invocation &);
int scg_delete(invocation &);
int wccp_add(invocation &);  // wccp_commands.cpp
int wccp_replace(invocation &);
int wccp_show(invocation &);
int wccp_delete(invocation &);
int wccp_mtu(invocation &);
int flow_trace(invocation &);  // flow_commands.cpp
int flow_dump(invocation &);
int flow_dist(invocation &);
int flow_swap(invocation &);
int flow_frames(invocation &);
int flow_limit(invocation &);
int port_show(invocation &);  // port_commands.cpp
int port_set(invocation &);
int port_counters(invocation &);
int port_led(invocation &);
int sfp_show(invocation &);  // sfp_commands.cpp
int sfp_raw(invocation &);
int fib_add(invocation &);  // fib_commands.cpp
int fib_delete(invocation &);
int fib_look_up(invocation &);
int fib_generate(invocation &);  // fib_table.cpp
int fib_bench(invocation &);
int hw_tables(invocation &);  // hw_commands.cpp
int hw_summary(invocation &);
int hw_get(invocation &);
int hw_search(invocation &);
int hw_look_up(invocation &);
int hw_crash_dump(invocation &);  // np_commands.cpp
int hw_capture(invocation &);
int tm_queue(invocation &);
int tm_stats(invocation &);
int npdebug_init(invocation &);
int npdebug_request(invocation &);
int show_port_sram(invocation &);  // port_sram.cpp
int reg_watch(invocation &);       // register_watch.cpp
int stats_tables(invocation &);    // stats_commands.cpp
int stats_show(invocation &);
int stats_clear(invocation &);
int stats_alloc(invocation &);
int stats_free(invocation &);
int stats_set(invocation &);
int stats_monitor(invocation &);
int stats_watch(invocation &);   // stats_watch.cpp
int stats_export(invocation &);  // stats_export.cpp
int stats_save(invocation &);
int if_create(invocation &);  // interface_commands.cpp
int if_delete(invocation &);
int if_state(invocation &);
int if_mac(invocation &);
int if_address(invocation &);
int if_no_address(invocation &);
int if_active(invocation &);
int if_show(invocation &);  // interface_views.cpp
int bg_show(invocation &);
int pc_balance(invocation &);  // group_commands.cpp
int pc_add(invocation &);
int pc_remove(invocation &);
int bg_create(invocation &);
int bg_delete(invocation &);
int bg_vlan(invocation &);
int bg_no_vlan(invocation &);
int acl_enable(invocation &);  // setting_commands.cpp
int acl_disable(invocation &);
int set_errorlog_mask(invocation &);
int crash(invocation &);
int config_read(invocation &);  // config_commands.cpp
int config_ports(invocation &);
int run_shell(invocation &);         // shell.cpp
int print_completion(invocation &);  // help.cpp
int print_help(invocation &);

// The row of these words, null when there is none.
const command *find_command(const std::string &first, const std::string &second);
// Every row's name and summary, or those of one family's rows alone; empty when there is no such family.
std::string overview(const std::string &first = {});
// The help of the commands that begin with this word; empty when there are none.
std::string help_of_family(const std::string &first);
// What may stand behind these words, with which a word begins; empty when arguments may.
std::vector<std::string> words_behind(std::vector<std::string> said, const std::string &begun);  // help.cpp
// What to try when the words are no command.
std::string nearest_commands(const std::string &first);

#endif
