// nprmctl and a real simulated card: what a user does with lists, and what is said when it goes wrong.

#include "nprmctl_fixture.h"

#include <future>

#include <csignal>

#include <gmock/gmock.h>

#include "simcard/nprm_simcard.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr const char *policy_line =
    "11.0a0b0c0d0e0f.0050.c0000201.c6336401 ff.ffffffffffff.ffff.ffffffff.ffffff00 0001.000000000000.00000002.00000003.04\n";

TEST_F(Nprmctl, DoesTheStepsOfTheDemo) {
    EXPECT_EQ(done({"status"}), "server             ready\nfree TCAM entries  65,536\n");
    EXPECT_EQ(done({"tcam", "load", "new", example}), "list 0: 371 rules became 2,341 entries, written and read back\n");
    EXPECT_EQ(done({"tcam", "compare", "0", example}), std::string("list 0 and ") + example + " are equal: 2,341 entries\n");
    EXPECT_EQ(done({"tcam", "space"}), "63,195 entries are free\n");
    EXPECT_EQ(done({"tcam", "lookup", "0", "tcp", "198.18.5.5", "eq", "40000", "192.0.2.32", "eq", "443", "--rules", example}),
              "permit, by the rule in line 128: permit tcp any 192.0.2.32 eq 443\n");
    EXPECT_EQ(done({"tcam", "lookup", "0", "tcp", "10.1.1.1", "192.0.2.32", "eq", "443"}), "deny, by the rule in line 8\n");
    EXPECT_EQ(done({"tcam", "show", "0", "--from", "2339"}),
              "entries 2339 to 2340 of list 0; position 2341 holds none\n"
              "\n"
              "position  line  rule\n"
              "    2339   405  permit icmp any 192.0.2.0/24\n"
              "    2340   406  deny ip any any\n");
    EXPECT_EQ(done({"tcam", "delete", "0"}), "list 0 is deleted\n");
    EXPECT_EQ(done({"tcam", "space"}), "65,536 entries are free\n");
}

TEST_F(Nprmctl, TellsTheSameAsJson) {
    EXPECT_EQ(done_json({"status"}), nlohmann::json({{"server", "ready"}, {"free_entries", 65536}}));
    EXPECT_EQ(done_json({"tcam", "create", "5"}), nlohmann::json({{"list", 0}, {"size", 5}}));
    EXPECT_EQ(done_json({"tcam", "load", "new", example}),
              nlohmann::json({{"list", 1}, {"created", true}, {"rules", 371}, {"entries", 2341}}));
    const auto shown = done_json({"tcam", "show", "1"});
    ASSERT_EQ(shown.at("entries").size(), 2341U);
    EXPECT_EQ(shown["entries"][1], nlohmann::json({{"position", 1},
                                                   {"line", 8},
                                                   {"rule", "deny ip 10.0.0.0/8 any"},
                                                   {"key", "00.00.0000.0000.0a000000.00000000"},
                                                   {"mask", "00.00.0000.0000.ff000000.00000000"},
                                                   {"result", "02000000.00000008.00000000"}}));
    EXPECT_EQ(done_json({"tcam", "compare", "1", example}).at("equal"), true);
    EXPECT_EQ(done_json({"tcam", "lookup", "1", "icmp", "10.0.0.1", "192.0.2.1"}).at("line"), 8);
    EXPECT_EQ(done_json({"tcam", "remove", "1", "7", "3"}), nlohmann::json({{"list", 1}, {"position", 7}, {"entries", 3}}));
    EXPECT_EQ(done_json({"error", "7"}).at("name"), "NPRM_ERROR_NOT_READY");
    EXPECT_EQ(done_json({"card", "status"}).at("pid"), card.pid());
    EXPECT_EQ(done_json({"tcam", "delete", "1"}), nlohmann::json({{"list", 1}}));
}

TEST_F(Nprmctl, WritesInsertsReadsAndRemovesEntries) {
    const std::string two = file("two", "permit ip any any\ndeny tcp any eq 4 any\n");
    done({"tcam", "create", "10"});
    EXPECT_EQ(done({"tcam", "write", "0", "0", two}), "entries 0 to 1 of list 0 were written\n");
    // The library traces an insert on standard output; it must not show.
    EXPECT_EQ(done({"tcam", "insert", "0", "1", "-"}, "count icmp any any\n"), "entry 1 of list 0 was inserted\n");
    EXPECT_EQ(done({"tcam", "read", "0", "0", "3"}),
              "position  key                                mask                               result\n"
              "       0  00.00.0000.0000.00000000.00000000  00.00.0000.0000.00000000.00000000  01000000.00000001.00000000\n"
              "       1  01.00.0000.0000.00000000.00000000  ff.00.0000.0000.00000000.00000000  04000000.00000001.00000000\n"
              "       2  06.00.0004.0000.00000000.00000000  ff.00.ffff.0000.00000000.00000000  02000000.00000002.00000000\n");
    EXPECT_EQ(done({"tcam", "remove", "0", "0", "1"}), "entry 0 of list 0 was removed\n");
    EXPECT_THAT(done({"tcam", "show", "0"}), StartsWith("entries 0 to 1 of list 0; position 2 holds none\n"));
}

TEST_F(Nprmctl, ReachesThePolicyOperations) {
    std::string many;
    for (int i = 0; i < 1300; ++i)
        many += policy_line;
    many.replace(many.size() - 3, 2, "99");  // the last entry's result ends in 99
    const std::string path = file("policy", many);
    done({"tcam", "create", "3000"});
    for (const strings &how : {strings{"write"}, strings{"write", "--scatter"}, strings{"insert"}}) {
        strings arguments = {"tcam", how[0], "0", "0", path, "--policy"};
        arguments.insert(arguments.end(), how.begin() + 1, how.end());
        done(arguments);
        EXPECT_THAT(done({"tcam", "read", "0", "1298", "2", "--policy"}),
                    HasSubstr("1298  11.0a0b0c0d0e0f.0050.c0000201.c6336401  ff.ffffffffffff.ffff.ffffffff.ffffff00  "
                              "0001.000000000000.00000002.00000003.04\n"
                              "    1299  11.0a0b0c0d0e0f.0050.c0000201.c6336401  ff.ffffffffffff.ffff.ffffffff.ffffff00  "
                              "0001.000000000000.00000002.00000003.99\n"))
            << how.back();
    }
    EXPECT_EQ(done_json({"tcam", "show", "0", "--policy"}).at("entries").size(), 2600U);
    EXPECT_EQ(done({"tcam", "lookup", "0", "--policy", "11.0a0b0c0d0e0f.0050.c0000201.c63364ee"}),
              "key     11.0a0b0c0d0e0f.0050.c0000201.c63364ee\nresult  0001.000000000000.00000002.00000003.04\n");
    EXPECT_THAT(run_nprmctl({"tcam", "show", "0"}).errors, HasSubstr("NPRM_ERROR_TCAM_INVALID_DATA (18)"));
}

TEST_F(Nprmctl, ReplacesWhatAListHeld) {
    const std::string one = file("one", "permit ip any any\n");
    done({"tcam", "create", "2400"});
    done({"tcam", "load", "0", example});
    done({"tcam", "load", "0", one});
    EXPECT_EQ(done_json({"tcam", "compare", "0", one}).at("entries"), 1);
    EXPECT_EQ(run_nprmctl({"tcam", "compare", "0", example}).status, 1);
}

TEST_F(Nprmctl, SendsNothingIntoAListThatIsTooSmall) {
    const std::string one = file("one", "permit ip any any\n");
    done({"tcam", "create", "2340"});
    done({"tcam", "load", "0", one});
    const nprmctl_run run = run_nprmctl({"tcam", "load", "0", example});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("list 0 has room for 2,340 entries, "));
    EXPECT_EQ(done_json({"tcam", "compare", "0", one}).at("equal"), true);
}

TEST_F(Nprmctl, ComparesEntryByEntry) {
    done({"tcam", "load", "new", "-"}, "permit ip any any\ndeny tcp any any\ncount udp any any\n");
    const nprmctl_run run = run_nprmctl({"tcam", "compare", "0", "-"}, "permit ip any any\ndeny tcp any any eq 5\n");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output,
              "list 0 and standard input differ in 2 positions:\n"
              "\n"
              "position  on the card        in the file\n"
              "       1  deny tcp any any   deny tcp any any eq 5\n"
              "       2  count udp any any\n");
}

TEST_F(Nprmctl, ListsTheErrorsOfAFileAndSendsNothing) {
    const std::string bad = file("bad", "permit ip any any\nallow tcp any any\npermit tcp any eq 70000 any\n");
    done({"tcam", "create", "10"});
    const uint64_t before = requests();
    for (const strings &command :
         {strings{"tcam", "load", "new", bad}, strings{"tcam", "load", "0", bad}, strings{"tcam", "compare", "0", bad},
          strings{"tcam", "write", "0", "0", bad}, strings{"tcam", "insert", "0", "0", bad}}) {
        const nprmctl_run run = run_nprmctl(command);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.output, "");
        std::string expected = bad;
        expected.append(":2:1: \"allow\" is no action: permit, deny or count\n    allow tcp any any\n    ^\n");
        expected.append(bad).append(":3:19: \"70000\" is no port: 0 to 65535\n    permit tcp any eq 70000 any\n");
        expected.append("                      ^\nnprmctl: ").append(bad).append(" has 2 errors, nothing was sent\n");
        EXPECT_EQ(run.errors, expected);
    }
    EXPECT_EQ(requests(), before);
    const auto error = run_nprmctl({"tcam", "load", "new", bad, "--json"}).json().at("error");
    EXPECT_EQ(error.at("errors")[1], nlohmann::json({{"line", 3},
                                                     {"column", 19},
                                                     {"message", "\"70000\" is no port: 0 to 65535"},
                                                     {"text", "permit tcp any eq 70000 any"}}));
}

TEST_F(Nprmctl, TellsARefusalWithItsNameAndWhatToTry) {
    const nprmctl_run run = run_nprmctl({"tcam", "delete", "9"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors,
              "nprmctl: list 9 was not deleted: NPRM_ERROR_TCAM_TCAM_INACTIVE_LIST (30), there is no such list\n"
              "  try: the card has no lists; make one: nprmctl tcam create SIZE\n");
    const nprmctl_run json = run_nprmctl({"--json", "tcam", "delete", "9"});
    EXPECT_EQ(json.status, 1);
    EXPECT_EQ(json.errors, "");
    EXPECT_EQ(json.json().at("error").at("code"), 30);
    EXPECT_EQ(json.json().at("error").at("name"), "NPRM_ERROR_TCAM_TCAM_INACTIVE_LIST");
}

// The library takes a failed exchange for a success; a user must not.
TEST_F(Nprmctl, NeverTakesAnAnswerThatIsNoneForSuccess) {
    const std::string one = file("one", "permit ip any any\n"), policy = file("policy", policy_line);
    done({"tcam", "create", "10"});
    done({"tcam", "create", "10"});
    done({"tcam", "load", "0", one});
    done({"tcam", "write", "1", "0", policy, "--policy"});
    for (const strings &command :
         {strings{"status"}, strings{"tcam", "space"}, strings{"tcam", "create", "3"}, strings{"tcam", "write", "0", "0", one},
          strings{"tcam", "insert", "0", "0", one}, strings{"tcam", "read", "0", "0", "1"}, strings{"tcam", "show", "0"},
          strings{"tcam", "compare", "0", one}, strings{"tcam", "lookup", "0", "tcp", "10.0.0.1", "10.0.0.1"},
          strings{"tcam", "load", "0", one}, strings{"tcam", "load", "new", one}, strings{"tcam", "remove", "0", "0", "1"},
          strings{"tcam", "write", "1", "0", policy, "--policy"},
          strings{"tcam", "write", "1", "0", policy, "--policy", "--scatter"},
          strings{"tcam", "insert", "1", "0", policy, "--policy"}, strings{"tcam", "read", "1", "0", "1", "--policy"},
          strings{"tcam", "lookup", "1", "--policy", "11.0a0b0c0d0e0f.0050.c0000201.c63364ee"}, strings{"tcam", "delete", "0"}}) {
        fault({{"kind", "truncate"}, {"value", 8}});
        const nprmctl_run run = run_nprmctl(command);
        EXPECT_EQ(run.status, 1) << testing::PrintToString(command);
        EXPECT_EQ(run.output, "") << testing::PrintToString(command);
        EXPECT_THAT(run.errors, HasSubstr("the library says: Malformed reply")) << testing::PrintToString(command);
    }
}

TEST_F(Nprmctl, NeverTakesALostReplyForSuccess) {
    const std::string one = file("one", "permit ip any any\n");
    done({"tcam", "create", "10"});
    const scratch_variable wait("RUV_RECV_MS", "1");
    for (const strings &command :
         {strings{"tcam", "write", "0", "0", one}, strings{"tcam", "remove", "0", "0", "1"}, strings{"tcam", "delete", "0"}}) {
        fault({{"kind", "drop"}});
        const nprmctl_run run = run_nprmctl(command);
        EXPECT_EQ(run.status, 1) << testing::PrintToString(command);
        EXPECT_THAT(run.errors,
                    HasSubstr("NPRM_ERROR_TIMEOUT (5), no answer came in time; whether the card has done it is not known\n"));
        EXPECT_THAT(run.errors, HasSubstr("the library says: Failed to receive: retval = ")) << testing::PrintToString(command);
    }
}

TEST_F(Nprmctl, SaysHowFarALoadCameWhenTheCardIsKilled) {
    fault({{"kind", "delay"}, {"count", 1000}, {"value", 400}});
    auto loading = std::async(std::launch::async, [] { return run_nprmctl({"tcam", "load", "new", example, "--json"}); });
    wait_for_requests(3);  // the list is made, the first message is answered, the second is not
    card.stop(SIGKILL);
    const nprmctl_run run = loading.get();
    EXPECT_EQ(run.status, 1);
    const auto error = run.json().at("error");
    EXPECT_THAT(error.at("what"), HasSubstr("entries 1282 to 2340 of list 0 not written: NPRM_ERROR_TIMEOUT (5)"));
    EXPECT_THAT(error.at("what"), HasSubstr("whether the card has done it is not known"));
    EXPECT_THAT(error.at("what"), HasSubstr("list 0 has 1,282 of the file's 2,341 entries"));
    // The status word still says ready; whoever asks now is told that nobody answers.
    const nprmctl_run after = run_nprmctl({"status"});
    EXPECT_EQ(after.status, 1);
    EXPECT_THAT(after.errors,
                HasSubstr("NPRM_ERROR_IPC_SEND (6), the request could not be sent; nobody answers in " + directory.path()));
    EXPECT_THAT(after.errors, HasSubstr("start a card: nprm-simcard"));
}

TEST_F(Nprmctl, TellsARefusalOfTheStatusFromNoAnswer) {
    fault({{"kind", "result"}, {"value", 3}});
    EXPECT_THAT(run_nprmctl({"status"}).errors,
                StartsWith("nprmctl: the server is ready, but refuses to tell how much room is left: NPRM_ERROR_PARAM (3)"));
    fault({{"kind", "truncate"}, {"value", 3}});
    EXPECT_THAT(run_nprmctl({"status"}).errors,
                StartsWith("nprmctl: the status word says ready, but the server does not answer: "));
}

TEST_F(Nprmctl, TakesAYesWithoutTheEntriesBehindItForAFailure) {
    card.stop();
    const card_process yes_sayer(directory.path(), {"--acknowledge-only", "--remove-segments"});
    const nprmctl_run run = run_nprmctl({"tcam", "load", "new", example});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.errors, StartsWith("nprmctl: list 0 cannot be read from position 0 on: "));
}

TEST_F(Nprmctl, SaysThatNoCardRuns) {
    card.stop();
    for (const strings &command : {strings{"status"}, strings{"tcam", "space"}, strings{"tcam", "load", "new", example}}) {
        const nprmctl_run run = run_nprmctl(command);
        EXPECT_EQ(run.status, 1);
        EXPECT_THAT(run.errors, HasSubstr("NPRM_ERROR_NOT_READY (7)"));
        EXPECT_THAT(run.errors, HasSubstr("try: start a card: nprm-simcard"));
    }
    const nprmctl_run run = run_nprmctl({"card", "status", "--json"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.json().at("error").at("what"), StartsWith("no simulated card answers: "));
}

// Every kind of fault; the last one ends the card.
TEST_F(Nprmctl, PrintsJsonWhateverTheCardAnswers) {
#define KIND_OF(identifier, kind, help) kind,
    constexpr std::string_view kinds[] = {NPRM_SIMCARD_FAULT_LIST(KIND_OF)};
#undef KIND_OF
    const scratch_variable wait("RUV_RECV_MS", "1");
    done({"tcam", "load", "new", "-"}, "permit ip any any\n");
    for (const std::string_view kind : kinds) {
        const bool is_random = kind == "corrupt" || kind == "truncate" || kind == "oversize";
        for (uint32_t seed = 1; seed <= (is_random ? 10U : 1U); ++seed)
            for (const strings &command :
                 {strings{"tcam", "show", "0", "--json"}, strings{"tcam", "lookup", "0", "tcp", "1.1.1.1", "1.1.1.1", "--json"},
                  strings{"status", "--json"}}) {
                nlohmann::json request = {{"kind", kind}, {"seed", seed}};
                if (kind == "delay" || kind == "result") request["value"] = 19 + seed;
                fault(request);
                const nprmctl_run run = run_nprmctl(command);
                EXPECT_TRUE(run.status == 0 || run.status == 1) << kind << " " << seed << ": " << run.status;
                EXPECT_TRUE(run.json().is_object()) << kind << " " << seed << ": " << run.output;
                if (kind == "exit") {
                    EXPECT_EQ(kind, kinds[std::size(kinds) - 1]);
                    EXPECT_EQ(card.wait_for_end(), 1);
                    return;
                }
                card.control({{"command", "fault"}, {"kind", "none"}});
            }
    }
    FAIL() << "the card was not ended";
}

TEST_F(Nprmctl, SetsAndEndsFaults) {
    EXPECT_EQ(done({"card", "fault", "delay", "--count", "3", "--component", "TCAM", "--value", "7", "--seed", "2"}),
              "the card has the fault\n");
    const auto faults = done_json({"card", "status"}).at("faults");
    ASSERT_EQ(faults.size(), 1U);
    EXPECT_EQ(faults[0].at("kind"), "delay");
    EXPECT_EQ(done({"card", "fault", "none"}), "the card has no faults\n");
    EXPECT_EQ(done_json({"card", "status"}).at("faults").size(), 0U);
    done({"tcam", "create", "10"});
    EXPECT_EQ(done({"card", "reset"}), "the card is as it was at its start\n");
    EXPECT_EQ(done({"tcam", "space"}), "65,536 entries are free\n");
    const nprmctl_run run = run_nprmctl({"card", "fault", "xx"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, StartsWith("nprmctl: the card says: "));
}

TEST_F(Nprmctl, ShowsTheTransportWhenAsked) {
    const nprmctl_run run = run_nprmctl({"--verbose", "tcam", "space"});
    EXPECT_EQ(run.output, "65,536 entries are free\n");
    EXPECT_THAT(run.errors, HasSubstr("Sending 110 byte message to component 7 with RUV opcode 190491.\n"));
    EXPECT_THAT(run.errors, HasSubstr("Received 110 byte reply.\n"));
}

TEST_F(Nprmctl, FailsWhenItsOutputCannotBeWritten) {
    const nprmctl_run run = run_nprmctl({"tcam", "space"}, {}, "/dev/full");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "nprmctl: standard output cannot be written: No space left on device\n");
}

TEST_F(Nprmctl, TellsALoadsMessagesAndSendsNone) {
    const std::string before = done({"tcam", "load", "new", example, "--dry-run"});
    EXPECT_EQ(
        before,
        "2,341 entries would go out in 2 messages of 119,611 bytes together, in this order, and be read back; nothing was sent\n"
        "\n"
        "messages  entries each  bytes each  from position  to position\n"
        "       1          1282       65492              0         1281\n"
        "       1          1059       54119           1282         2340\n");
    EXPECT_EQ(requests(), 0U);
    EXPECT_EQ(done_json({"tcam", "load", "3", example, "--dry-run"}).at("order").at(1).at("first_position"), 1282);
}

}  // namespace
