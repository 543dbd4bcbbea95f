// nprmctl never says more than it knows: gaps, lost answers, cards that hang, directories that will not do.

#include "nprmctl_fixture.h"

#include <csignal>

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST_F(Nprmctl, ShowsAndComparesWhatLiesBehindAGap) {
    const std::string one = file("one", "permit ip any any\n"), two = file("two", "deny tcp any any\ncount udp any any\n");
    done({"tcam", "create", "3000"});
    done({"tcam", "write", "0", "0", one});
    done({"tcam", "write", "0", "7", two});
    done({"tcam", "write", "0", "2999", one});
    EXPECT_EQ(done({"tcam", "show", "0"}),
              "4 entries of list 0, with gaps\n"
              "\n"
              "position  line  rule\n"
              "       0     1  permit ip any any\n"
              "       1        (positions 1 to 6 hold none)\n"
              "       7     1  deny tcp any any\n"
              "       8     2  count udp any any\n"
              "       9        (positions 9 to 2998 hold none)\n"
              "    2999     1  permit ip any any\n");
    EXPECT_EQ(done({"tcam", "show", "0", "--from", "2", "--count", "1"}),
              "1 entry of list 0, with gaps\n"
              "\n"
              "position  line  rule\n"
              "       2        (positions 2 to 6 hold none)\n"
              "       7     1  deny tcp any any\n");
    const nlohmann::json shown = done_json({"tcam", "show", "0"}).at("entries");
    ASSERT_EQ(shown.size(), 4U);
    EXPECT_EQ(shown[3].at("position"), 2999);
    const nprmctl_run run = run_nprmctl({"tcam", "compare", "0", one});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "list 0 and " + one +
                              " differ in 3 positions:\n"
                              "\n"
                              "position  on the card        in the file\n"
                              "       7  deny tcp any any\n"
                              "       8  count udp any any\n"
                              "    2999  permit ip any any\n");
}

TEST_F(Nprmctl, ShowsPolicyEntriesBehindAGap) {
    const std::string policy = file("policy",
                                    "11.0a0b0c0d0e0f.0050.c0000201.c6336401 ff.ffffffffffff.ffff.ffffffff.ffffff00 "
                                    "0001.000000000000.00000002.00000003.04\n");
    done({"tcam", "create", "9"});
    done({"tcam", "write", "0", "4", policy, "--policy"});
    EXPECT_THAT(done({"tcam", "show", "0", "--policy"}),
                HasSubstr("       0  (positions 0 to 3 hold none)\n       4  11.0a0b0c0d0e0f."));
}

TEST_F(Nprmctl, DoesNotClaimThatNoListWasMadeWhenItCannotKnow) {
    const scratch_variable wait("RUV_RECV_MS", "1");
    for (const nlohmann::json &what :
         {nlohmann::json{{"kind", "truncate"}, {"value", 8}}, nlohmann::json{{"kind", "wrong-token"}}}) {
        fault(what);
        const nprmctl_run run = run_nprmctl({"tcam", "create", "3"});
        EXPECT_EQ(run.status, 1);
        EXPECT_THAT(run.errors, StartsWith("nprmctl: it is not known whether a list was made: "));
        EXPECT_THAT(run.errors, HasSubstr("  try: nprmctl card status shows the lists\n"));
        EXPECT_THAT(run.errors, Not(HasSubstr("no list was made")));
    }
    EXPECT_EQ(done_json({"card", "status"}).at("models").at("TCAM").at("lists").size(), 2U);
    EXPECT_THAT(run_nprmctl({"tcam", "create", "65535"}).errors, StartsWith("nprmctl: no list was made: "));
}

TEST_F(Nprmctl, TellsHowToTakeAHalfLoadedNewListAway) {
    fault({{"kind", "delay"}, {"value", 0}});  // takes the message that makes the list
    fault({{"kind", "delay"}, {"value", 0}, {"count", 2}});
    fault({{"kind", "result"}, {"value", 15}, {"count", 3}});
    const nprmctl_run refused = run_nprmctl({"tcam", "load", "new", example});
    EXPECT_THAT(refused.errors, StartsWith("nprmctl: no list was made: "));
    card.control({{"command", "reset"}});
    card.stop();
    const card_process yes_sayer(directory.path(), {"--acknowledge-only", "--remove-segments"});
    const nprmctl_run run = run_nprmctl({"tcam", "load", "new", example});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("nprmctl tcam delete 0 takes the new list away\n"));
}

TEST_F(Nprmctl, TellsALostConnectionFromALateAnswer) {
    done({"tcam", "create", "10"});
    fault({{"kind", "exit"}});
    const nprmctl_run run = run_nprmctl({"tcam", "delete", "0"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("NPRM_ERROR_TIMEOUT (5), the connection to the card was lost before it answered; whether the "
                                      "card has done it is not known\n"));
    EXPECT_THAT(run.errors, Not(HasSubstr("no answer came in time")));
}

TEST_F(Nprmctl, TellsThatAStoppedCardDoesNotAnswer) {
    kill(card.pid(), SIGSTOP);
    const nprmctl_run run = run_nprmctl({"card", "status"});
    kill(card.pid(), SIGCONT);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "nprmctl: the simulated card, process " + std::to_string(card.pid()) +
                              ", does not answer within 2 seconds\n  try: ps -o pid,stat,args -p " + std::to_string(card.pid()) +
                              " shows whether it is stopped (T) or busy (R)\n");
}

TEST_F(Nprmctl, NamesTheListsThatThereAre) {
    EXPECT_THAT(run_nprmctl({"tcam", "delete", "9"}).errors,
                HasSubstr("  try: the card has no lists; make one: nprmctl tcam create SIZE\n"));
    done({"tcam", "create", "10"});
    EXPECT_THAT(run_nprmctl({"tcam", "delete", "9"}).errors, HasSubstr("  try: the card has list 0\n"));
    done({"tcam", "create", "10"});
    done({"tcam", "create", "10"});
    EXPECT_THAT(run_nprmctl({"tcam", "delete", "9"}).errors, HasSubstr("  try: the card has lists 0, 1, 2\n"));
    ASSERT_EQ(unlink((directory / "control").c_str()), 0);
    EXPECT_THAT(run_nprmctl({"tcam", "delete", "9"}).errors,
                HasSubstr("  try: nprmctl tcam show LIST tells whether there is one; nprmctl tcam create SIZE makes one\n"));
}

TEST_F(Nprmctl, TellsAFullListFromAFullTcam) {
    const std::string one = file("one", "permit ip any any\n");
    done({"tcam", "create", "1"});
    done({"tcam", "write", "0", "0", one});
    const nprmctl_run run = run_nprmctl({"tcam", "insert", "0", "0", one});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors,
                HasSubstr("NPRM_ERROR_TCAM_RESOURCE_EXHAUSTED (26), the list is full: an insert would push entries out of "
                          "it\n  try: nprmctl tcam remove entries, or load them into a larger list\n"));
}

TEST_F(Nprmctl, ShowsNoRuleThatDoesNotFitTheResult) {
    const std::string loaded = file("loaded", "# edge\npermit tcp any any eq 80\ndeny ip any any\n");
    done({"tcam", "load", "new", loaded});
    const strings lookup = {"tcam", "lookup", "0", "tcp", "10.0.0.1", "10.0.0.2", "eq", "80", "--rules"};
    const auto with = [&lookup](const std::string &path) {
        strings command = lookup;
        command.push_back(path);
        return command;
    };
    EXPECT_EQ(done(with(loaded)), "permit, by the rule in line 2: permit tcp any any eq 80\n");
    for (const char *other :
         {"# edge\ndeny tcp any any eq 80\n", "# edge\npermit tcp any any eq 81\n", "# edge\n# permit\n", "x\n", "# edge\nfoo\n"}) {
        const std::string path = file("other", other);
        EXPECT_EQ(done(with(path)),
                  "permit, by the rule in line 2; " + path + " is not the file that was loaded: its line 2 is no such rule\n")
            << other;
        nlohmann::json json = nlohmann::json::parse(run_nprmctl([&] {
                                                        strings command = with(path);
                                                        command.emplace_back("--json");
                                                        return command;
                                                    }())
                                                        .output);
        EXPECT_EQ(json.at("file_fits"), false);
        EXPECT_FALSE(json.contains("rule"));
    }
}

TEST_F(Nprmctl, ReadsFilesOfOtherSystems) {
    const std::string marked = file("marked", "\xef\xbb\xbfpermit ip any any\r\ndeny ip any any\r\n");
    EXPECT_EQ(done({"tcam", "load", "new", marked}), "list 0: 2 rules became 2 entries, written and read back\n");
    const nprmctl_run old = run_nprmctl({"tcam", "load", "new", file("old", "permit ip any any\rdeny ip any any\r")});
    EXPECT_EQ(old.status, 2);
    EXPECT_THAT(old.errors, HasSubstr("old:1:18: the line ends in a carriage return alone: end lines with a line feed\n"));
    EXPECT_EQ(run_nprmctl({"tcam", "compare", "0", "-"}, "permit ip any any\n").output.substr(0, 34),
              "list 0 and standard input differ i");
}

// Every word about a directory comes once, from nprmctl, in text as in JSON.
TEST_F(Nprmctl, SaysWhatIsWrongWithTheDirectory) {
    const std::string open_to_all = files / "open", everybodys = files / "tmp", plain = file("plain", ""), lost = files / "lost";
    ASSERT_EQ(mkdir(open_to_all.c_str(), 0700), 0);
    ASSERT_EQ(chmod(open_to_all.c_str(), 0777), 0);
    ASSERT_EQ(mkdir(everybodys.c_str(), 0700), 0);
    ASSERT_EQ(chmod(everybodys.c_str(), 01777), 0);
    const std::string foreign = geteuid() == 0 ? files / "foreign" : "/";
    if (geteuid() == 0) {
        ASSERT_EQ(mkdir(foreign.c_str(), 0700), 0);
        ASSERT_EQ(chown(foreign.c_str(), 4711, 4711), 0);
    }
    const std::string longest(200, 'd');
    const struct {
        std::string path, why, next;
    } rows[] = {
        {lost, " does not exist", "start the card, or set RUV_DIR to the directory of one that runs"},
        {plain, " is not a directory (symbolic links are not followed)", "remove it, or set RUV_DIR to another path"},
        {foreign, " belongs to another user", "set RUV_DIR to a directory of your own"},
        {open_to_all, " may be written by other users",
         "set RUV_DIR to a private directory, or chmod 700 this one if it is yours alone"},
        {everybodys, " is everybody's (it has the sticky bit)", "set RUV_DIR to a directory of your own"},
        {"/tmp/" + longest, " is too long", "a socket's whole path has at most 107 bytes; set RUV_DIR to a shorter one"},
    };
    for (const auto &row : rows) {
        const nprmctl_run run = run_nprmctl({"tcam", "space", "--directory", row.path});
        EXPECT_EQ(run.status, 1) << row.path;
        EXPECT_EQ(run.errors, "nprmctl: the free entries are not known: NPRM_ERROR_IPC_SEND (6), the request could not be sent; " +
                                  row.path + row.why + "\n  the library says: Failed to send 110 bytes.\n  try: " + row.next +
                                  "\n");
        const nprmctl_run json = run_nprmctl({"tcam", "space", "--json", "--directory", row.path});
        EXPECT_EQ(json.errors, "") << row.path;
        EXPECT_THAT(std::string(json.json().at("error").at("what")), HasSubstr(row.path + row.why));
        EXPECT_EQ(json.json().at("error").at("next"), row.next);
        const nprmctl_run status = run_nprmctl({"card", "status", "--json", "--directory", row.path});
        EXPECT_THAT(std::string(status.json().at("error").at("what")), HasSubstr(row.path + row.why));
        EXPECT_EQ(status.json().at("error").at("next"), row.next);
    }
}

TEST_F(Nprmctl, CountsUpOnATerminalAndLeavesNothing) {
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (terminal < 0 || access(ptsname(terminal), F_OK) != 0) GTEST_SKIP() << "no pseudo-terminal is to be had here";
    ASSERT_EQ(grantpt(terminal), 0);
    ASSERT_EQ(unlockpt(terminal), 0);
    const std::string name = ptsname(terminal);
    const std::string command = std::string(NPRMCTL_PROGRAM) + " tcam load new " + example + " >" + (files / "out") + " 2>" + name;
    EXPECT_EQ(std::system(command.c_str()), 0);
    std::string shown;
    char part[4096];
    for (ssize_t bytes; (bytes = read(terminal, part, sizeof part)) > 0;)  // ends with an error, as nobody else has it open
        shown.append(part, static_cast<size_t>(bytes));
    EXPECT_THAT(shown, testing::MatchesRegex("\r1,282 of 2,341 entries, [0-9,]+ a second\033\\[K"
                                             "\r2,341 of 2,341 entries, [0-9,]+ a second\033\\[K\r\033\\[K"));
    close(terminal);
}

TEST_F(Nprmctl, TellsTheCardsStatusToPeople) {
    done({"tcam", "create", "2048"});
    const std::string text = done({"card", "status"});
    EXPECT_THAT(text, ContainsRegex("\nsegment removed +no\n"));
    EXPECT_THAT(text, ContainsRegex("\nTCAM capacity +65,536\n"));
    EXPECT_THAT(text, ContainsRegex("^pid +" + std::to_string(card.pid()) + "\n"));
    EXPECT_THAT(text, HasSubstr("\nTCAM lists\nid  kind   size  used\n 0  -     2,048     0\n"));
    EXPECT_THAT(text, ContainsRegex("\nIF lookups +-, -, -, -\n"));
    EXPECT_EQ(text.find('_'), std::string::npos) << text;
    EXPECT_TRUE(done_json({"card", "status"}).contains("segment_removed"));
}

}  // namespace
