// Help, and the completion for shells: both walk the rows.

#include "failure.h"
#include "invocation.h"

#include <map>
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

// A line of the shell's case statement.
std::string choice(const std::string &pattern, const std::string &words) {
    std::string line = "        ";
    return line.append(pattern).append(") words=\"").append(words).append("\" ;;\n");
}

// The second words of commands by their first; a command of one word has none.
std::map<std::string, std::string> second_words() {
    std::map<std::string, std::string> words;
    for (const command &row : commands) {
        const std::string name = row.name;
        const size_t blank = name.find(' ');
        std::string &seconds = words[name.substr(0, blank)];
        if (blank != std::string::npos) seconds += name.substr(blank + 1) + " ";
    }
    return words;
}

std::string completion_of_bash() {
    std::string firsts, seconds, options;
    for (const auto &[first, words] : second_words()) {
        firsts += first + " ";
        if (!words.empty()) seconds += choice(first, words);
    }
    for (const command &row : commands) {
        const std::string name = row.name;
        const bool one_word = name.find(' ') == std::string::npos;
        options += choice(one_word ? "'" + name + " '*" : "'" + name + "'", options_of(row) + globals);
    }
    return "# Completion of nprmctl for bash: source <(nprmctl completion bash)\n"
           "_nprmctl() {\n"
           "    local current=${COMP_WORDS[COMP_CWORD]} first=${COMP_WORDS[1]} words=\n"
           "    if [ \"$COMP_CWORD\" -eq 1 ]; then\n"
           "        COMPREPLY=($(compgen -W \"" +
           firsts +
           "--help --version\" -- \"$current\"))\n"
           "        return\n"
           "    fi\n"
           "    if [ \"$COMP_CWORD\" -eq 2 ]; then\n"
           "        case $first in\n" +
           seconds + choice("completion", "bash") + choice("help", firsts) +
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
