// nprmctl without a card: help, completion and the man page against the rows of commands, and wrong usage.

#include "run_nprmctl.h"

#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

#include <gmock/gmock.h>

#include "simcard/nprm_simcard.h"
#include "tests/support/scratch.h"

namespace {

using testing::HasSubstr;
using strings = std::vector<std::string>;

nlohmann::json rows() {
    return run_nprmctl({"help", "--json"}).json().at("commands");
}

strings words_of(const std::string &text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

std::set<std::string> options_in(const std::string &text) {
    constexpr const char *letters = "abcdefghijklmnopqrstuvwxyz0123456789-";
    std::set<std::string> found;
    for (size_t at = text.find("--"); at != std::string::npos; at = text.find("--", at + 2))
        found.insert(text.substr(at, text.find_first_not_of(letters, at + 2) - at));
    return found;
}

TEST(NprmctlHelp, IsTheKnownText) {
    const nprmctl_run run = run_nprmctl({"help"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, content_of(NPRM_SOURCE_DIR "/tests/golden/nprmctl/help.txt"));
    EXPECT_EQ(run_nprmctl({"--help"}).output, run.output);
}

TEST(NprmctlHelp, ShowsTheCommandsThatBeginWithAWord) {
    const std::string text =
        "usage: nprmctl pc COMMAND [ARGUMENTS]\n\n"
        "  pc balance  set how port channels balance their load\n"
        "  pc add      add an interface to a port channel\n"
        "  pc remove   remove an interface from a port channel\n\n"
        "\"nprmctl help pc COMMAND\" shows a command in full.\n";
    for (const strings &command :
         {strings{"help", "pc"}, strings{"pc", "--help"}, strings{"pc", "-h"}, strings{"--verbose", "pc", "-h"}}) {
        const nprmctl_run run = run_nprmctl(command);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.output, text);
        EXPECT_EQ(run.errors, "");
    }
    EXPECT_EQ(run_nprmctl({"pc", "--json", "--help"}).json().at("help"), text);
    EXPECT_EQ(run_nprmctl({"--json", "--help"}).json(), run_nprmctl({"help", "--json"}).json());
}

TEST(NprmctlHelp, ShowsEachCommandWithTheOptionsOfItsRow) {
    ASSERT_GE(rows().size(), 18U);
    for (const auto &row : rows()) {
        const std::string name = row.at("name"), arguments = row.at("arguments");
        strings command = {"help"};
        for (const std::string &word : words_of(name))
            command.push_back(word);
        const nprmctl_run help = run_nprmctl(command);
        EXPECT_EQ(help.status, 0) << name;
        std::string head = "usage: nprmctl " + name;
        if (!arguments.empty()) head.append(" ").append(arguments);
        head.append("\n\n").append(row.at("summary")).append("\n");
        EXPECT_THAT(help.output, testing::StartsWith(head));
        const std::string options = help.output.substr(help.output.find("\n\n"));  // behind the usage
        std::set<std::string> expected = options_in(arguments),
                              found = options_in(options.substr(0, options.find("Options of every")));
        EXPECT_EQ(found, expected) << name;
    }
}

TEST(NprmctlCompletion, NamesEveryCommandAndOption) {
    const std::string script = run_nprmctl({"completion", "bash"}).output;
    for (const auto &row : rows()) {
        const std::string name = row.at("name");
        const strings words = words_of(name);
        EXPECT_THAT(script, HasSubstr(words.size() == 2 ? "'" + name + "') words=\"" : "'" + name + " '*) words=\"")) << name;
        for (const std::string &option : options_in(row.at("arguments")))
            EXPECT_THAT(script, HasSubstr(option + " ")) << name;
    }
}

TEST(NprmctlCompletion, CompletesInBash) {
    const scratch_directory files;
    const auto completed = [&files](const std::string &words, int count) {
        std::ofstream(files / "script") << run_nprmctl({"completion", "bash"}).output << "COMP_WORDS=(" << words
                                        << "); COMP_CWORD=" << count << "; _nprmctl; echo \"${COMPREPLY[*]}\"\n";
        const std::string command = "bash " + (files / "script") + " >" + (files / "out");
        EXPECT_EQ(std::system(command.c_str()), 0);
        return content_of(files / "out");
    };
    EXPECT_EQ(completed("nprmctl st", 1), "stats status\n");
    EXPECT_EQ(completed("nprmctl tcam re", 2), "read remove\n");
    EXPECT_EQ(completed("nprmctl tcam show 0 --fr", 4), "--from\n");
    EXPECT_EQ(completed("nprmctl status --j", 2), "--json\n");
    EXPECT_EQ(completed("nprmctl tcam load new ''", 4), "\n");  // left to bash: files
    EXPECT_EQ(completed("nprmctl --json st", 2), "stats status\n");
    EXPECT_EQ(completed("nprmctl --directory /x --json tcam re", 5), "read remove\n");
    EXPECT_EQ(completed("nprmctl --verbose tcam show 0 --fr", 5), "--from\n");
    EXPECT_EQ(completed("nprmctl --js", 1), "--json\n");
    EXPECT_EQ(completed("nprmctl card fault d", 3), "drop delay duplicate\n");
    EXPECT_EQ(completed("nprmctl card fault no", 3), "not-ready none\n");
    EXPECT_EQ(completed("nprmctl card fault drop --component T", 5), "TCAM\n");
    EXPECT_EQ(completed("nprmctl card fault drop --count ''", 5), "\n");
    EXPECT_EQ(completed("nprmctl tcam load n", 3), "new\n");
    EXPECT_EQ(completed("nprmctl help tcam cr", 3), "create\n");
    EXPECT_EQ(completed("nprmctl help tc", 2), "tcam\n");
    EXPECT_EQ(completed("nprmctl help card fault ''", 4), "\n");
    EXPECT_EQ(completed("nprmctl completion ''", 2), "bash\n");
}

TEST(NprmctlManPage, NamesEveryCommandAndOption) {
    const std::string page = content_of(NPRM_SOURCE_DIR "/docs/man/nprmctl.1");
    for (const auto &row : rows()) {
        const std::string name = row.at("name");
        const size_t at = page.find(name == "completion" ? ".It Cm completion bash" : ".It Cm " + name);
        ASSERT_NE(at, std::string::npos) << name;
        const std::string heading = page.substr(at, page.find('\n', at) - at);
        for (const std::string &option : options_in(row.at("arguments")))
            EXPECT_THAT(heading, HasSubstr("Fl " + option.substr(1))) << name;
    }
}

// The kinds stand in one list, which the card reads too.
TEST(NprmctlFaultKinds, AreInHelpCompletionAndManPage) {
    const std::string help = run_nprmctl({"card", "fault", "--help"}).output, script = run_nprmctl({"completion", "bash"}).output;
    const std::string page = content_of(NPRM_SOURCE_DIR "/docs/man/nprmctl.1"),
                      card = content_of(NPRM_SOURCE_DIR "/docs/simulated-card.md");
#define EXPECT_FAULT_KIND(identifier, kind, text)                                                                                  \
    EXPECT_NE(help.find("\n  " kind ": " text "\n"), std::string::npos) << kind;                                                   \
    EXPECT_THAT(script, testing::ContainsRegex("'2 card fault'. words=.*" kind));                                                  \
    EXPECT_NE(page.find("\n.It Cm " kind "\n"), std::string::npos) << kind << " in the man page";                                  \
    EXPECT_NE(card.find("\n| `" kind "` |"), std::string::npos) << kind << " in simulated-card.md";
    NPRM_SIMCARD_FAULT_LIST(EXPECT_FAULT_KIND)
#undef EXPECT_FAULT_KIND
}

TEST(NprmctlUsage, EndsWithStatus2AndNamesTheArgument) {
    const struct {
        strings command;
        const char *says;
    } wrong[] = {
        {{}, "no command is given"},
        {{"--verbose"}, "no command is given"},
        {{"--wrong", "--verbose"}, "there is no option \"--wrong\""},
        {{"foo"}, "there is no command \"foo\""},
        {{"foo", "--help"}, "there is no command \"foo\""},
        {{"tcam"}, "there is no command \"tcam\""},
        {{"tcam", "foo"}, "there is no command \"tcam foo\""},
        {{"help", "tcam", "foo"}, "there is no command \"tcam foo\""},
        {{"status", "more"}, "more"},
        {{"status", "--wrong"}, "--wrong"},
        {{"tcam", "create"}, "SIZE is required"},
        {{"tcam", "create", "0"}, "SIZE is \"0\", it must be a number from 1 to 65535"},
        {{"tcam", "create", "65536"}, "SIZE is \"65536\", it must be a number from 1 to 65535"},
        {{"tcam", "create", "010x"}, "SIZE is \"010x\", it must be a number from 1 to 65535"},
        {{"tcam", "delete", "256"}, "LIST is \"256\", it must be a number from 0 to 255"},
        {{"tcam", "load", "old", "f"},
         "LIST is \"old\", it must be new or a number from 0 to 255\n  usage: nprmctl tcam load LIST|new FILE [--dry-run]\n"},
        {{"tcam", "--verbose", "--directory", "/x", "create", "0"}, "SIZE is \"0\", it must be a number from 1 to 65535"},
        {{"tcam", "space", "--directory", ""}, "--directory is empty, it must be a path"},
        {{"tcam", "show", "0", "--count", "1", "--count", "2"}, "--count is given twice"},
        {{"tcam", "show", "0", "--directory", "/a", "--directory", "/b"}, "--directory is given twice"},
        {{"tcam", "read", "0", "65535", "1"}, "POSITION is \"65535\", it must be a number from 0 to 65534"},
        {{"tcam", "remove", "0", "0", "0"}, "COUNT is \"0\", it must be a number from 1 to 65535"},
        {{"tcam", "show", "0", "--count", "0"}, "--count is \"0\", it must be a number from 1 to 65535"},
        {{"tcam", "show", "0", "--count"}, "--count"},
        {{"tcam", "write", "0", "0", "f", "--scatter"}, "--scatter goes with --policy"},
        {{"tcam", "lookup", "0", "tcp", "1.2.3.4"}, "KEY:1:12: a destination is missing"},
        {{"tcam", "lookup", "0", "--policy", "11"}, "KEY:1:1: \"11\" is no key"},
        {{"tcam", "load", "new", "/nonexistent/file"}, "/nonexistent/file cannot be read: No such file or directory"},
        {{"tcam", "load", "new", "/"}, "/ cannot be read: Is a directory"},
        {{"tcam", "load", "new", "-"}, "standard input holds no entries, nothing was sent"},
        {{"error", "NPRM_NOTHING"}, "\"NPRM_NOTHING\" is no result code"},
        {{"completion", "fish"}, "there is no completion for \"fish\""},
        {{"card", "fault"}, "KIND is required"},
    };
    for (const auto &row : wrong) {
        const nprmctl_run run = run_nprmctl(row.command);
        EXPECT_EQ(run.status, 2) << row.says;
        EXPECT_EQ(run.output, "") << row.says;
        EXPECT_THAT(run.errors, HasSubstr(row.says));
        strings command = row.command;
        command.emplace_back("--json");
        const nprmctl_run json = run_nprmctl(command);
        EXPECT_EQ(json.status, 2) << row.says;
        EXPECT_TRUE(json.json().is_object() && json.json().contains("error")) << row.says << ": " << json.output;
        EXPECT_EQ(json.errors, "") << row.says;
    }
}

TEST(NprmctlUsage, RefusesAListThatNoTcamListHolds) {
    std::string rules;
    for (int i = 0; i < 73; ++i)
        rules += "permit tcp any range 1 65534 any range 1 65534\n";  // 900 entries each
    const nprmctl_run run = run_nprmctl({"tcam", "load", "new", "-"}, rules);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.errors, "nprmctl: standard input expands to 65,700 entries, a list holds 65,535; nothing was sent\n");
}

TEST(NprmctlError, ExplainsEveryCodeThatHasAName) {
    for (const char *empty : {"34", "101", "104", "106", "108", "112", "115", "170", "4294967295"}) {
        const nprmctl_run run = run_nprmctl({"error", empty});
        EXPECT_EQ(run.status, 0) << empty;
        EXPECT_EQ(run.output, std::string("the number ") + empty + " has no name: the library prints \"(null)\" for it\n");
        const nlohmann::json json = run_nprmctl({"error", empty, "--json"}).json();
        EXPECT_EQ(json, nlohmann::json({{"code", std::stoull(empty)}, {"name", nullptr}})) << empty;
    }
    EXPECT_EQ(run_nprmctl({"error", "NPRM_ERROR_IF_EXIST"}).output,
              "code     120\n"
              "name     NPRM_ERROR_IF_EXIST\n"
              "meaning  the interface exists already\n"
              "family   IF: interfaces, port channels, bridge groups, FIB\n");
    EXPECT_EQ(run_nprmctl({"error", "0"}).json().is_discarded(), true);
    EXPECT_EQ(run_nprmctl({"error", "169", "--json"}).json().at("family"), "flow learning and trace");
    EXPECT_EQ(run_nprmctl({"error", "35", "--json"}).json().at("family"), "TCAM: lists and entries");
    EXPECT_EQ(run_nprmctl({"error", "36", "--json"}).json().at("family"), "FDM: service nodes and distribution");
}

TEST(NprmctlHelp, IsAJsonDocumentWhenAsked) {
    for (const strings &command : {strings{"--json", "tcam", "load", "--help"}, strings{"tcam", "load", "--help", "--json"},
                                   strings{"help", "tcam", "load", "--json"}}) {
        const nprmctl_run run = run_nprmctl(command);
        EXPECT_EQ(run.status, 0);
        ASSERT_TRUE(run.json().is_object()) << run.output;
        EXPECT_THAT(std::string(run.json().at("help")),
                    testing::StartsWith("usage: nprmctl tcam load LIST|new FILE [--dry-run]\n"));
    }
}

TEST(NprmctlVersion, IsPrinted) {
    for (const strings &command : {strings{"--version", "--json"}, strings{"--json", "--version"}}) {
        EXPECT_EQ(run_nprmctl(command).json(), nlohmann::json({{"version", NPRM_VERSION}}));
        EXPECT_EQ(run_nprmctl(command).status, 0);
    }
    EXPECT_EQ(run_nprmctl({"--version"}).output, "nprmctl " NPRM_VERSION "\n");
}

}  // namespace
