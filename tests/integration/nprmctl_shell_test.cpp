// The shell against a real card: files of commands, and a person at a terminal.

#include "nprmctl_fixture.h"
#include "terminal.h"

#include <dlfcn.h>

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;
using testing::StartsWith;

bool has_libedit() {
    void *library = dlopen("libedit.so.2", RTLD_NOW);
    if (library != nullptr) dlclose(library);
    return library != nullptr;
}

class NprmctlShell : public Nprmctl {
  protected:
    // What people see at the end of a line depends on the terminal's kind.
    scratch_variable terminal{"TERM", "dumb"};
};

TEST_F(NprmctlShell, RunsTheCommandsOfStandardInputInTheirOrder) {
    const nprmctl_run run = run_nprmctl({"shell"},
                                        "# a list\ntcam create 100\n\n  nprmctl tcam space   # with the program's name\n"
                                        "exit\ntcam space\n");
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output, "list 0 has room for 100 entries\n65,436 entries are free\n");
    EXPECT_EQ(run.errors, "");
}

TEST_F(NprmctlShell, StopsAtTheFirstCommandThatFailsAndNamesItsLine) {
    const std::string script = file("script", "tcam space\ntcam delete 9\ntcam space\n");
    const nprmctl_run run = run_nprmctl({"shell", script});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "65,536 entries are free\n");
    EXPECT_THAT(run.errors, HasSubstr("nprmctl: " + script +
                                      ":2: \"tcam delete 9\" ended with status 1, nothing behind it was run\n"
                                      "  try: --keep-going runs the other lines all the same\n"));
    const std::string wrong = file("wrong", "tcam space \"\ntcam space\n");
    const nprmctl_run open = run_nprmctl({"shell", wrong});
    EXPECT_EQ(open.status, 2);
    EXPECT_EQ(open.output, "");
    EXPECT_THAT(open.errors,
                StartsWith("nprmctl: a quotation mark or a backslash at the end of the line has nothing that ends it\n"));
}

TEST_F(NprmctlShell, KeepsGoingWhenAskedToAndEndsWithTheFirstFailure) {
    const std::string script = file("script", "tcam create 0\ntcam delete 9\ntcam space");
    const nprmctl_run run = run_nprmctl({"shell", script, "--keep-going"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output, "65,536 entries are free\n");
    EXPECT_THAT(run.errors, HasSubstr(script + ":1: \"tcam create 0\" ended with status 2\n"));
    EXPECT_THAT(run.errors, HasSubstr(script + ":2: \"tcam delete 9\" ended with status 1\n"));
}

TEST_F(NprmctlShell, HandsItsOptionsToEveryCommand) {
    scratch_variable elsewhere{"RUV_DIR", "/nonexistent"};
    const nprmctl_run run = run_nprmctl({"shell", "--json", "--directory", directory.path()}, "tcam space\ntcam space --json\n");
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output, "{\n  \"free_entries\": 65536\n}\n{\n  \"free_entries\": 65536\n}\n");
}

TEST_F(NprmctlShell, KeepsItsLinesFromCommandsThatReadStandardInput) {
    const nprmctl_run run = run_nprmctl({"shell", "--keep-going"}, "tcam load new -\ntcam space\n");
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.errors, HasSubstr("standard input holds no entries"));
    EXPECT_EQ(run.output, "65,536 entries are free\n");
}

TEST_F(NprmctlShell, SaysWhatIsWrongWithItsFile) {
    EXPECT_THAT(run_nprmctl({"shell", files / "none"}).errors, HasSubstr("cannot be read: No such file or directory"));
    const std::string script = file("long", "tcam space\n#" + std::string(5000, 'x') + "\n");
    const nprmctl_run run = run_nprmctl({"shell", script});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.errors, HasSubstr(script + ":2: the line is too long, nothing from it on was run"));
}

TEST_F(NprmctlShell, RunsWhatIsTypedAndGoesOnBehindFailuresAndGivenUpCommands) {
    if (!has_terminals()) GTEST_SKIP() << "this machine gives no pseudo-terminals";
    const terminal_run run = run_on_terminal({"shell"}, {{"nprm> ", "tcam delete 9\n"},
                                                         {"SIZE\r\nnprm> ", "stats watch 14 --interval 50\n"},
                                                         {"q ends", "\x03"},
                                                         {"nprm> ", "tcam create 7\n"},
                                                         {"7 entries\r\nnprm> ", "quit\n"}});
    EXPECT_EQ(run.status, 0) << run.shown;
    EXPECT_THAT(run.shown, StartsWith("A command a line, as behind nprmctl; \"help\" shows them, \"exit\" leaves.\r\nnprm> "));
    EXPECT_THAT(run.shown, HasSubstr("nprmctl: list 9 was not deleted: NPRM_ERROR_TCAM_TCAM_INACTIVE_LIST (30)"));
    EXPECT_THAT(run.shown, HasSubstr("list 0 has room for 7 entries\r\n"));
    const terminal_run ended = run_on_terminal({"shell"}, {{"nprm> ", "\x04", has_libedit()}});
    EXPECT_EQ(ended.status, 0) << ended.shown;
}

TEST_F(NprmctlShell, CompletesWordsWhereTheMachineHasLibedit) {
    if (!has_terminals()) GTEST_SKIP() << "this machine gives no pseudo-terminals";
    if (!has_libedit()) GTEST_SKIP() << "this machine has no libedit in this ABI";
    const std::string path = file("list.txt", "permit ip any any\n");
    const terminal_run run =
        run_on_terminal({"shell"}, {{"nprm> ", "tc\tsp\t\n"},
                                    {"are free\r\nnprm> ", "tcam load --dr\tnew " + path.substr(0, path.size() - 3) + "\t\n"},
                                    {"161              0            0\r\nnprm> ", "no such\x03", true},
                                    {"\r\nnprm> ", "exi\t\n", true}});
    EXPECT_EQ(run.status, 0) << run.shown;
    EXPECT_THAT(run.shown, HasSubstr("65,536 entries are free\r\n"));
    EXPECT_THAT(run.shown, HasSubstr("1 entry would go out"));
}

}  // namespace
