// Help, and the completion for shells: both walk the rows.

#include "failure.h"
#include "invocation.h"

#include "api/wire/nprm_message.h"
#include "simcard/nprm_simcard.h"

#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string_view>

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

// The options of all rows that take no value, as alternatives of a regular expression: "policy|scatter".
std::string flags() {
    std::set<std::string> found;
    for (const command &row : commands) {
        std::istringstream words(row.arguments);
        for (std::string word; words >> word;)
            if (word.starts_with("[--") && word.ends_with(']')) found.insert(word.substr(3, word.size() - 4));
    }
    std::string text = "json|verbose";
    for (const std::string &flag : found)
        text += "|" + flag;
    return text;
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

// Holes are between at signs.
constexpr std::string_view bash_script = R"(# Completion of nprmctl for bash: source <(nprmctl completion bash)
_nprmctl() {
    local current=${COMP_WORDS[COMP_CWORD]} words= i
    local -a said=()  # the words before this one, without the options of every command
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
        --json | --verbose) ;;
        --directory) i=$((i + 1)) ;;
        *) said+=("${COMP_WORDS[i]}") ;;
        esac
    done
    case ${COMP_WORDS[COMP_CWORD-1]} in
    --directory) COMPREPLY=($(compgen -d -- "$current")); return ;;
    --component) COMPREPLY=($(compgen -W "@components@" -- "$current")); return ;;
    --*) [[ $current == -* || ${COMP_WORDS[COMP_CWORD-1]} =~ ^--(@flags@)$ ]] || return ;;
    esac
    local helping=
    if [ "${said[0]-}" = help ]; then
        helping=yes
        said=("${said[@]:1}")
    fi
    if [[ $current == -* && -z $helping && ${#said[@]} -gt 0 ]]; then
        case "${said[0]-} ${said[1]-}" in
@options@        esac
    else
        case "${#said[@]} ${said[*]}" in
        '0 ') words="@firsts@@globals@" ;;
@seconds@        esac
        [ -n "$helping" ] || case "${#said[@]} ${said[*]}" in
@arguments@        esac
    fi
    [ -n "$words" ] || return  # files, by the default
    COMPREPLY=($(compgen -W "$words" -- "$current"))
}
complete -o default -F _nprmctl nprmctl
)";

std::string filled(std::string_view script, const std::map<std::string, std::string> &holes) {
    std::string text(script);
    for (const auto &[hole, content] : holes)
        text.replace(text.find(hole), hole.size(), content);
    return text;
}

std::string fault_kinds() {
#define FAULT_KIND(identifier, kind, help) kind " "
    return NPRM_SIMCARD_FAULT_LIST(FAULT_KIND) "none";
#undef FAULT_KIND
}

std::string component_names() {
    std::string names;
#define COMPONENT_NAME(number, name, opcode, record_bytes)                                                                         \
    if ((record_bytes) != 0) names += #name " ";
    NPRM_COMPONENT_LIST(COMPONENT_NAME)
#undef COMPONENT_NAME
    return names;
}

std::string completion_of_bash() {
    std::string firsts, seconds, options;
    for (const auto &[first, words] : second_words()) {
        firsts += first + " ";
        if (!words.empty()) seconds += choice("'1 " + first + "'", words);
    }
    for (const command &row : commands) {
        const std::string name = row.name;
        const bool one_word = name.find(' ') == std::string::npos;
        options += choice(one_word ? "'" + name + " '*" : "'" + name + "'", options_of(row) + globals);
    }
    return filled(bash_script, {{"@components@", component_names()},
                                {"@flags@", flags()},
                                {"@options@", options},
                                {"@firsts@", firsts},
                                {"@globals@", "--json --directory --verbose --help --version"},
                                {"@seconds@", seconds},
                                {"@arguments@", choice("'1 completion'", "bash") + choice("'2 tcam load'", "new") +
                                                    choice("'2 acl enable' | '2 acl disable'", "dump trace intercept policy") +
                                                    choice("'2 card fault'", fault_kinds())}});
}

void print_all(const invocation &call) {
    report list;
    list.sentence(
        "nprmctl talks to the server of a line card, or to a simulated card.\n\n"
        "usage: nprmctl COMMAND [ARGUMENTS] [--json] [--directory DIR] [--verbose]\n"
        "       nprmctl --version\n\n" +
        overview() +
        "\n\"nprmctl help COMMAND\" shows a command in full, \"nprmctl help tcam\" those that begin with a word.\n"
        "Exit status: 0 done, 1 refused by the library or the server, 2 wrong usage or a file with errors.");
    list.table("commands", {{"name", nullptr}, {"arguments", nullptr}, {"summary", nullptr}});
    for (const command &row : commands)
        list.row({row.name, row.arguments, row.summary});
    call.print(list);
}

}  // namespace

std::vector<std::string> words_behind(std::vector<std::string> said, const std::string &begun) {
    if (!said.empty() && said[0] == "help") said.erase(said.begin());
    const auto listed = [](const std::string &text) {
        std::istringstream words(text);
        return std::vector<std::string>{std::istream_iterator<std::string>(words), {}};
    };
    const std::map<std::string, std::string> seconds = second_words();
    std::vector<std::string> words;
    if (said.empty()) {
        for (const auto &[first, others] : seconds)
            words.push_back(first);
    } else if (begun.starts_with("-")) {
        const command *row = find_command(said[0], said.size() > 1 ? said[1] : "");
        if (row != nullptr) words = listed(options_of(*row) + globals);
    } else if (said.size() == 1 && seconds.contains(said[0])) {
        words = listed(seconds.at(said[0]));
    }
    return words;
}

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
    if (const std::string family = help_of_family(words[0]); words[1].empty() && !family.empty()) throw help_wanted{family};
    if (row == nullptr)
        throw usage_error("there is no command " + in_quotes(words[0] + (words[1].empty() ? "" : " ") + words[1]),
                          nearest_commands(words[0]));
    invocation wanted(*row, {"--help"});
    return row->run(wanted);
}
