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
int port_show(invocation &);  // port_commands.cpp
int port_set(invocation &);
int port_counters(invocation &);
int port_led(invocation &);
int sfp_show(invocation &);  // sfp_commands.cpp
int sfp_raw(invocation &);
int print_completion(invocation &);  // help.cpp
int print_help(invocation &);

// The row of these words, null when there is none.
const command *find_command(const std::string &first, const std::string &second);
// Every row with its arguments and summary.
std::string overview();
// What to try when the words are no command.
std::string nearest_commands(const std::string &first);

#endif
