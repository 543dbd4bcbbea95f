// nprmctl fib beside a real card: routes in and out, files of routes, and exactly what was applied when loading ends early.

#include "nprmctl_fixture.h"
#include "terminal.h"

#include <csignal>

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using nlohmann::json;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

// "10.0.FROM.0/24" and so on, a line each.
std::string list_of(int from, int to) {
    std::string text;
    for (int i = from; i <= to; ++i)
        text += "10.0." + std::to_string(i) + ".0/24 02:00:00:00:00:01 " + std::to_string(i) + "\n";
    return text;
}

class NprmctlFib : public Nprmctl {
  protected:
    uint64_t count() const { return card.control({{"command", "status"}}).at("models").at("IF").at("fib").at("ipv4"); }
    json look_up(const char *address) const {
        return card.control({{"command", "ask"}, {"component", "IF"}, {"question", {{"lookup", address}}}}).at("answer");
    }
    std::string refused(const strings &arguments, int status = 1) const {
        const nprmctl_run run = run_nprmctl(arguments);
        EXPECT_EQ(run.status, status);
        EXPECT_EQ(run.output, "");
        return run.errors;
    }
};

// nprmctl fib load of a pipe that the test writes to.
class piped_load {
  public:
    piped_load(const scratch_directory &files, const char *batch = "1") : path_(files / "pipe"), errors_(files / "errors") {
        if (mkfifo(path_.c_str(), 0600) != 0) throw std::runtime_error("mkfifo");
        process_ = fork();
        if (process_ == 0) {
            const int errors = open(errors_.c_str(), O_WRONLY | O_CREAT, 0600);
            dup2(errors, STDERR_FILENO);
            strings words = {NPRMCTL_PROGRAM, "fib", "load", path_, "--batch", batch};
            std::vector<char *> arguments;
            for (std::string &word : words)
                arguments.push_back(word.data());
            arguments.push_back(nullptr);
            execv(NPRMCTL_PROGRAM, arguments.data());
            _exit(127);
        }
        pipe_ = open(path_.c_str(), O_RDWR | O_CLOEXEC);  // which waits for no reader
    }
    ~piped_load() {
        close(pipe_);
        if (process_ > 0) kill(process_, SIGKILL), waitpid(process_, nullptr, 0);
    }
    void write(const std::string &text) const {
        ASSERT_EQ(::write(pipe_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    void signal(int number) const { kill(process_, number); }
    // Its exit status; its errors are in errors().
    int wait() {
        int status = 0;
        waitpid(process_, &status, 0);
        process_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    std::string errors() const { return content_of(errors_); }

  private:
    std::string path_, errors_;
    pid_t process_ = -1;
    int pipe_ = -1;
};

TEST_F(NprmctlFib, AddsDeletesAndLooksRoutesUp) {
    EXPECT_EQ(done({"fib", "add", "10.0.0.0/8", "02:00:00:00:00:01", "7"}),
              "route 10.0.0.0/8 to 02:00:00:00:00:01, UIDB 7, was added\n");
    EXPECT_EQ(done({"fib", "add", "10.1.0.0/16", "02:00:00:00:00:02", "65535"}),
              "route 10.1.0.0/16 to 02:00:00:00:00:02, UIDB 65535, was added\n");
    EXPECT_EQ(done({"fib", "lookup", "10.1.2.3"}), "10.1.2.3 takes 10.1.0.0/16 to 02:00:00:00:00:02, UIDB 65535\n");
    EXPECT_EQ(done_json({"fib", "lookup", "10.2.2.3"}),
              json::parse(R"({"address": "10.2.2.3", "prefix": "10.0.0.0/8", "mac": "02:00:00:00:00:01", "uidb": 7})"));
    EXPECT_EQ(done({"fib", "del", "10.1.0.0/16"}), "route 10.1.0.0/16 was deleted\n");
    EXPECT_EQ(look_up("10.1.2.3").at("prefix"), "10.0.0.0/8");
    EXPECT_EQ(refused({"fib", "lookup", "11.0.0.1"}),
              "nprmctl: 11.0.0.1 was not found: NPRM_ERROR_IF_NOT_EXIST (121), no route contains it\n");
    fault({{"kind", "result"}, {"value", 145}});
    EXPECT_THAT(refused({"fib", "lookup", "10.2.2.3"}), StartsWith("nprmctl: 10.2.2.3 was not looked up: NPRM_ERROR_IF_WRITE_FIB"));
    EXPECT_EQ(refused({"fib", "del", "10.1.0.0/16"}),
              "nprmctl: 10.1.0.0/16 was not deleted: NPRM_ERROR_IF_NOT_EXIST (121), the prefix is not in the FIB\n");
    EXPECT_EQ(refused({"fib", "add", "10.0.0.0/8", "02:00:00:00:00:01", "8"}),
              "nprmctl: 10.0.0.0/8 was not added: NPRM_ERROR_IF_EXIST (120), the prefix is in the FIB already\n"
              "  try: --replace gives it the new next hop\n");
    done({"fib", "add", "10.0.0.0/8", "02:00:00:00:00:01", "8", "--replace"});
    EXPECT_EQ(look_up("10.1.2.3").at("uidb"), 8);
}

TEST_F(NprmctlFib, NamesTheArgumentThatIsWrong) {
    EXPECT_THAT(refused({"fib", "add", "10.0.0.1/8", "02:00:00:00:00:01", "8"}, 2),
                StartsWith("nprmctl: PREFIX: \"10.0.0.1/8\" has bits behind its length: 10.0.0.0/8 is the prefix\n"));
    EXPECT_THAT(refused({"fib", "add", "10.0.0.0/8", "02:00", "8"}, 2), StartsWith("nprmctl: MAC: \"02:00\" is no MAC address"));
    EXPECT_THAT(refused({"fib", "add", "10.0.0.0/8", "02:00:00:00:00:01", "65536"}, 2),
                StartsWith("nprmctl: UIDB is \"65536\", it must be a number from 0 to 65535\n"));
    EXPECT_THAT(refused({"fib", "lookup", "10.0.0.0/8"}, 2), StartsWith("nprmctl: ADDRESS: \"10.0.0.0/8\" is no address"));
    EXPECT_THAT(refused({"fib", "load", "x", "--mac", "02:00:00:00:00:01"}, 2),
                StartsWith("nprmctl: --mac and --uidb are given together"));
    EXPECT_THAT(refused({"fib", "load", "x", "--batch", "1873"}, 2), StartsWith("nprmctl: --batch is \"1873\""));
    EXPECT_EQ(refused({"fib", "load", files / "absent"}, 2),
              "nprmctl: " + (files / "absent") + " cannot be read: No such file or directory\n");
    EXPECT_THAT(refused({"fib", "load", files.path()}, 2), EndsWith(" cannot be read: Is a directory\n"));
    EXPECT_EQ(requests(), 0U);
}

TEST_F(NprmctlFib, LoadsWhatIpRoutePrints) {
    const std::string routes = file("routes",
                                    "default via 192.0.2.1 dev eth0 proto static\n10.0.0.0/8 dev eth1 scope link\n"
                                    "local 127.0.0.1 dev lo\n2001:db8::/32 via fe80::1 dev eth7 metric 100\n");
    const std::string names = file("names", "192.0.2.1 02:00:00:00:00:01 1\neth1 02:00:00:00:00:02 2\n");
    EXPECT_THAT(done({"fib", "load", routes, "--nexthops", names, "--mac", "02:00:00:00:00:09", "--uidb", "9"}),
                testing::MatchesRegex("3 routes applied, [0-9,]+ a second; 1 line left out\n"));
    EXPECT_EQ(look_up("8.8.8.8").at("mac"), "02:00:00:00:00:01");
    EXPECT_EQ(look_up("10.8.8.8").at("uidb"), 2);
    EXPECT_EQ(look_up("2001:db8::1").at("uidb"), 9);
}

TEST_F(NprmctlFib, GoesOnBehindARouteOfSeveralLines) {
    done({"fib", "add", "10.2.0.0/16", "02:00:00:00:00:01", "9"});
    const std::string routes = file("routes",
                                    "default proto static\n\tnexthop via 192.0.2.1 dev eth0\n\tnexthop via 192.0.2.2 dev eth1\n"
                                    "default via 192.0.2.2 dev eth1 metric 9\n10.2.0.0/16 dev eth1\n10.3.0.0/16 dev eth1\n");
    const std::string names = file("names", "eth0 02:00:00:00:00:01 1\n");
    const strings given = {"--nexthops", names, "--mac", "02:00:00:00:00:02", "--uidb", "2"};
    const std::string again =
        "nprmctl fib load " + routes + " --nexthops " + names + " --mac 02:00:00:00:00:02 --uidb 2 --first-line 3";
    strings words = {"fib", "load", routes};
    words.insert(words.end(), given.begin(), given.end());
    words.insert(words.end(), {"--batch", "1"});
    EXPECT_THAT(refused(words), EndsWith("\n  try: " + again + " --replace takes prefixes that are there\n"));
    words.insert(words.end(), {"--first-line", "3", "--replace"});
    EXPECT_THAT(done(words), StartsWith("2 routes applied, "));
    EXPECT_EQ(look_up("8.8.8.8").at("uidb"), 1);
    EXPECT_EQ(look_up("10.2.0.1").at("uidb"), 2);
    EXPECT_THAT(
        done({"fib", "load", routes, "--mac", "02:00:00:00:00:02", "--uidb", "2", "--dry-run"}),
        StartsWith("3 routes would go out in 1 message of 113 bytes together, in this order; 2 lines left out; nothing was sent"));
}

TEST_F(NprmctlFib, LoadsMoreThanAMessageHoldsAndTellsItBefore) {
    const nprmctl_run generated = run_nprmctl({"fib", "generate", "--ipv4", "4000", "--ipv6", "1000", "--seed", "9"});
    ASSERT_EQ(generated.status, 0);
    const std::string routes = file("routes", generated.output);
    EXPECT_EQ(done({"fib", "load", routes, "--dry-run"}),
              "5,000 routes would go out in 3 messages of 175,024 bytes together, in this order; nothing was sent\n\n"
              "messages  routes each  bytes each  from line  to line\n"
              "       2         1872       65528          1     3744\n"
              "       1         1256       43968       3745     5000\n");
    EXPECT_EQ(requests(), 0U);
    const json loaded = done_json({"fib", "load", routes});
    EXPECT_EQ(loaded.at("routes"), 5000);
    EXPECT_EQ(requests(), 3U);
    EXPECT_EQ(count(), 4000U);
}

TEST_F(NprmctlFib, SaysWhichLinesWereAppliedWhichFailedAndWhichWereNotTried) {
    const std::string routes = file("routes", "# seven\n" + list_of(1, 3) + list_of(2, 2) + list_of(4, 6));
    EXPECT_EQ(refused({"fib", "load", routes, "--batch", "2"}),
              "nprmctl: lines 4 to 5 (2 routes) were not applied: NPRM_ERROR_IF_EXIST (120), a prefix is in the FIB already, or "
              "comes twice; "
              "lines 1 to 3 (2 routes) were applied, and nothing from line 6 on was tried\n"
              "  try: nprmctl fib load " +
                  routes + " --first-line 4 --batch 1 finds the line\n");
    EXPECT_EQ(count(), 2U);
    const json problem = run_nprmctl({"fib", "load", routes, "--first-line", "4", "--batch", "1", "--json"}).json().at("error");
    EXPECT_EQ(problem.at("applied_routes"), 1);
    EXPECT_EQ(problem.at("applied_to_line"), 4);
    EXPECT_EQ(problem.at("failed_from_line"), 5);
    EXPECT_EQ(problem.at("failed_to_line"), 5);
    EXPECT_EQ(problem.at("failed_routes"), 1);
    EXPECT_EQ(problem.at("not_tried_from_line"), 6);
    EXPECT_EQ(problem.at("code"), 120);
    done({"fib", "load", routes, "--replace"});
    EXPECT_EQ(count(), 6U);
}

TEST_F(NprmctlFib, SendsNothingOfAFileThatHasErrors) {
    const std::string routes = file("routes", list_of(1, 2) + "10.0.0.0/33 dev eth0\n" + list_of(3, 3) + "10.0.3.0/24 dev eth9\n");
    EXPECT_EQ(
        refused({"fib", "load", routes}, 2),
        routes + ":3:10: \"33\" is no prefix length: 0 to 32\n    10.0.0.0/33 dev eth0\n             ^\n" + routes +
            ":5:17: no MAC address and UIDB are known for device eth9: name it in a file for --nexthops, or give --mac and --uidb\n"
            "    10.0.3.0/24 dev eth9\n                    ^\n"
            "nprmctl: " +
            routes + " has 2 errors, nothing was sent\n");
    EXPECT_EQ(requests(), 0U);
}

TEST_F(NprmctlFib, TakesNoHarmFromLinesWithoutEndAndBytesThatAreNoText) {
    const std::string huge = file("huge", list_of(1, 1) + std::string(3000000, 'x') + "\n" + std::string(4097, '1') + "\n" +
                                              std::string(4096, ' ') + std::string("\n10.0.2.0/24 dev\0eth0\n", 22));
    const std::string errors = refused({"fib", "load", huge}, 2);
    EXPECT_THAT(errors, HasSubstr(huge + ":2:4097: the line is longer than 4,096 bytes\n"));
    EXPECT_THAT(errors, HasSubstr(huge + ":3:4097: the line is longer than 4,096 bytes\n"));
    EXPECT_THAT(errors, EndsWith("nprmctl: " + huge + " has 3 errors, nothing was sent\n"));
    const std::string nul = file("nul", std::string("10.0.2.0/24\0 02:00:00:00:00:01 7\n\xFF\xFE\n", 36));
    EXPECT_EQ(refused({"fib", "load", nul}, 2),
              nul + ":1:10: \"24.\" is no prefix length: 0 to 32\n    10.0.2.0/24. 02:00:00:00:00:01 7\n             ^\n" + nul +
                  ":2:1: \"..\" is no prefix: A.B.C.D/LEN, an IPv6 prefix, or default\n    ..\n    ^\nnprmctl: " + nul +
                  " has 2 errors, nothing was sent\n");
    std::string many;
    for (int i = 0; i < 1000; ++i)
        many += "x\n";
    EXPECT_THAT(refused({"fib", "load", file("many", many)}, 2), EndsWith("many has 20 errors, nothing was sent\n"));
    EXPECT_THAT(refused({"fib", "load", file("empty", "\n# nothing\n")}, 2), EndsWith("empty holds no routes, nothing was sent\n"));
    EXPECT_EQ(done({"fib", "load", file("mark", "\xEF\xBB\xBF" + list_of(1, 1).substr(0, 35))}).substr(0, 15), "1 route applied");
}

TEST_F(NprmctlFib, StopsAtAPipesFirstWrongLine) {
    piped_load load(files, "2");
    load.write(list_of(1, 3) + "10.0.4.0/24\n" + list_of(5, 5));
    EXPECT_EQ(load.wait(), 2);
    EXPECT_THAT(load.errors(),
                StartsWith((files / "pipe") + ":4:12: a next hop is missing: MAC UIDB, or via GATEWAY or dev DEVICE\n"));
    EXPECT_THAT(load.errors(),
                EndsWith("nprmctl: a line is wrong; lines 1 to 2 (2 routes) were applied, and nothing from line 3 on was tried\n"));
    EXPECT_EQ(count(), 2U);
}

TEST_F(NprmctlFib, SaysWhatWasAppliedWhenItIsInterrupted) {
    piped_load load(files);
    load.write(list_of(1, 3));
    wait_for_requests(3);
    load.signal(SIGINT);
    EXPECT_EQ(load.wait(), 1);
    EXPECT_EQ(load.errors(), "nprmctl: interrupted; lines 1 to 3 (3 routes) were applied, and nothing from line 4 on was tried\n");
    EXPECT_EQ(count(), 3U);
}

TEST_F(NprmctlFib, SaysThatItCannotKnowWhenTheCardDiesMidway) {
    piped_load load(files);
    load.write(list_of(1, 2));
    wait_for_requests(2);
    fault({{"kind", "exit"}, {"component", "IF"}});
    load.write(list_of(3, 5));
    EXPECT_EQ(load.wait(), 1);
    EXPECT_THAT(load.errors(), StartsWith("nprmctl: line 3 (1 route) was not applied: "));
    EXPECT_THAT(load.errors(),
                HasSubstr("; whether the card has done it is not known; lines 1 to 2 (2 routes) were applied, and nothing "
                          "from line 4 on was tried\n"));
    EXPECT_THAT(load.errors(), HasSubstr(" --first-line 3 --replace goes on from there\n"));
}

TEST_F(NprmctlFib, TakesNoDamagedAnswerForASuccess) {
    const scratch_variable wait("RUV_RECV_MS", "1");
    const std::string routes = file("routes", list_of(1, 3));
    for (const json &what :
         {json{{"kind", "truncate"}, {"value", 8}}, json{{"kind", "truncate"}, {"value", 0}}, json{{"kind", "drop"}},
          json{{"kind", "wrong-token"}}, json{{"kind", "result"}, {"value", 145}}, json{{"kind", "truncate"}, {"value", 50}}}) {
        SCOPED_TRACE(what.dump());
        fault(what);
        const std::string errors = refused({"fib", "load", routes, "--replace"});
        EXPECT_THAT(errors, StartsWith("nprmctl: lines 1 to 3 (3 routes) were not applied: "));
        EXPECT_THAT(errors, HasSubstr("; nothing was applied, and nothing from line 4 on was tried\n"));
    }
    fault({{"kind", "truncate"}, {"value", 12}});
    EXPECT_EQ(run_nprmctl({"fib", "lookup", "10.0.1.1"}).status, 1);
    done({"fib", "load", routes, "--replace"});
}

TEST_F(NprmctlFib, GivesNoAdviceForAWrongLineWhenNobodyAnswers) {
    fault({{"kind", "exit"}});
    const std::string routes = file("routes", list_of(1, 3));
    refused({"fib", "load", routes});
    const std::string errors = refused({"fib", "load", routes});
    EXPECT_THAT(errors, HasSubstr("nobody answers in " + directory.path()));
    EXPECT_THAT(errors, testing::Not(HasSubstr("finds the line")));
}

TEST_F(NprmctlFib, TakesAPipeWithoutRoutesForAMistake) {
    EXPECT_THAT(refused({"fib", "load", "/dev/null"}, 2), HasSubstr("/dev/null holds no routes, nothing was sent\n"));
    EXPECT_EQ(requests(), 0U);
}

TEST_F(NprmctlFib, ShowsOnATerminalHowFarItIs) {
    if (!has_terminals()) GTEST_SKIP() << "this machine gives no pseudo-terminals";
    const std::string routes = file("routes", list_of(1, 30));
    const terminal_run load = run_on_terminal({"fib", "load", routes, "--batch", "10"});
    EXPECT_EQ(load.status, 0) << load.shown;
    const std::string &shown = load.shown;
    EXPECT_THAT(shown, StartsWith("\r10 of 30 routes, "));
    EXPECT_THAT(shown, testing::ContainsRegex("\r30 of 30 routes, [0-9,]+ a second\x1b\\[K\r\x1b\\[K"));
    EXPECT_THAT(shown, testing::ContainsRegex("30 routes applied, [0-9,]+ a second\r\n$"));
    EXPECT_THAT(run_on_terminal({"fib", "load", routes, "--replace", "--json"}).shown, StartsWith("{\r\n"));
}

TEST_F(NprmctlFib, MeasuresAndLeavesNothingBehind) {
    EXPECT_THAT(done({"fib", "bench", "--routes", "3000", "--batch", "1000"}),
                testing::MatchesRegex("3,000 routes in 3 messages, added and deleted again\n\naction +routes/s +us/message\n"
                                      "add +[0-9]+ +[0-9]+\ndelete +[0-9]+ +[0-9]+\n"));
    EXPECT_EQ(requests(), 6U);
    EXPECT_EQ(count(), 0U);
    fault({{"kind", "result"}, {"value", 120}});
    EXPECT_THAT(
        refused({"fib", "bench", "--routes", "10"}),
        testing::AllOf(HasSubstr("(120), a prefix is in the FIB already, or comes twice"), HasSubstr("; no route was added\n")));
}

}  // namespace
