// Help, and the completion for shells: both walk the rows.

#include "failure.h"
#include "invocation.h"

#include <set>
#include <sstream>

namespace {

// The options that a row's usage names: "[--count COUNT]" gives --count.
std::string options_of(const command &row) {
    std::istringstream words(row.arguments);
    std::string options;
    for (std::string word; words >> word;) {
        const size_t dashes = word.find("--");
        if (dashes == std::string::npos) continue;
        options += word.substr(dashes, word.find(']', dashes) - dashes) + " ";
    }
    return options;
}

constexpr const char *globals = "--json --directory --verbose --help";

std::string completion_of_bash() {
    std::string families, seconds, options;
    std::set<std::string> seen;
    for (const command &row : commands) {
        const std::string name = row.name;
        const std::string first = name.substr(0, name.find(' '));
        if (!seen.insert(first).second) continue;
        families += (families.empty() ? "" : " ") + first;
        std::string words;
        for (const command &other : commands)
            if (std::string(other.name).starts_with(first + " ")) words += std::string(other.name).substr(first.size() + 1) + " ";
        if (!words.empty()) seconds += "        " + first + ") words=\"" + words + "\" ;;\n";
    }
    for (const command &row : commands) {
        const std::string name = row.name;
        const std::string pattern = name.find(' ') == std::string::npos ? "'" + name + " '*" : "'" + name + "'";
        options += "        " + pattern + ") words=\"" + options_of(row) + globals + "\" ;;\n";
    }
    return "# Completion of nprmctl for bash: source <(nprmctl completion bash)\n"
           "_nprmctl() {\n"
           "    local current=${COMP_WORDS[COMP_CWORD]} first=${COMP_WORDS[1]} words=\n"
           "    if [ \"$COMP_CWORD\" -eq 1 ]; then\n"
           "        COMPREPLY=($(compgen -W \"" +
           families +
           " --help --version\" -- \"$current\"))\n"
           "        return\n"
           "    fi\n"
           "    if [ \"$COMP_CWORD\" -eq 2 ]; then\n"
           "        case $first in\n" +
           seconds +
           "        completion) words=bash ;;\n"
           "        help) words=\"" +
           families +
           "\" ;;\n"
           "        esac\n"
           "        [ -n \"$words\" ] && COMPREPLY=($(compgen -W \"$words\" -- \"$current\")) && return\n"
           "    fi\n"
           "    [[ $current == -* ]] || return  # files, by the default\n"
           "    case \"$first ${COMP_WORDS[2]}\" in\n" +
           options +
           "    esac\n"
           "    COMPREPLY=($(compgen -W \"$words\" -- \"$current\"))\n"
           "}\n"
           "complete -o default -F _nprmctl nprmctl\n";
}

void print_all(const invocation &call) {
    report list;
    list.sentence(
        "nprmctl talks to the server of a line card, or to a simulated card.\n\n"
        "usage: nprmctl COMMAND [ARGUMENTS] [--json] [--directory DIR] [--verbose]\n"
        "       nprmctl --version\n\n" +
        overview() +
        "\n\"nprmctl help COMMAND\" shows a command in full.  Exit status: 0 done, 1 refused by the library or the server,\n"
        "2 wrong usage or a file with errors.");
    list.table("commands", {{"name", nullptr}, {"arguments", nullptr}, {"summary", nullptr}});
    for (const command &row : commands)
        list.row({row.name, row.arguments, row.summary});
    call.print(list);
}

}  // namespace

int print_completion(invocation &call) {
    std::string shell;
    call.text("SHELL", shell, "bash");
    call.notes("To have it in this shell: source <(nprmctl completion bash)\n");
    call.parse();
    if (shell != "bash") throw usage_error("there is no completion for " + in_quotes(shell), usage_of(call.row()));
    const std::string script = completion_of_bash();
    report content;
    content.fact("completion", nullptr, script);
    if (call.json())
        call.print(content);
    else
        std::fputs(script.c_str(), stdout);
    return exit_done;
}

int print_help(invocation &call) {
    std::vector<std::string> words;
    call.texts("[COMMAND]", words, "the command's words");
    call.parse();
    if (words.empty()) {
        print_all(call);
        return exit_done;
    }
    words.resize(2);
    const command *row = find_command(words[0], words[1]);
    if (row == nullptr)
        throw usage_error("there is no command " + in_quotes(words[0] + (words[1].empty() ? "" : " ") + words[1]),
                          nearest_commands(words[0]));
    invocation wanted(*row, {"--help"});
    return row->run(wanted);
}
