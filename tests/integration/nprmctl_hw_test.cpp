// nprmctl looks into a real card's hardware: tables, registers, queues, port SRAM, debug facility.

#include "nprmctl_fixture.h"

#include <gmock/gmock.h>

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class NprmctlHw : public Nprmctl {
  protected:
    NprmctlHw() { card.control({{"command", "traffic"}, {"frozen", true}}); }

    void let_run(uint32_t milliseconds) const {
        ASSERT_TRUE(card.control({{"command", "traffic"}, {"advance_ms", milliseconds}}).at("ok"));
    }
    void add_routes() const {
        done({"fib", "add", "10.0.0.0/8", "02:00:00:00:00:01", "7"});
        done({"fib", "add", "10.1.0.0/16", "02:00:00:00:00:02", "9"});
    }
};

TEST_F(NprmctlHw, ListsTheCardsTables) {
    EXPECT_THAT(done({"hw", "tables"}), AllOf(StartsWith("table  name "), HasSubstr("\n   11  FIB Entry  ")));
    const json tables = done_json({"hw", "tables"}).at("tables");
    EXPECT_EQ(tables.size(), 26U);
    EXPECT_EQ(
        tables[0],
        json({{"table", 1}, {"name", "Port Config RAM"}, {"layout", 1}, {"entry_bytes", 16}, {"addresses", 16}, {"used", 16}}));
    EXPECT_EQ(tables.back().at("layout"), nullptr);
}

TEST_F(NprmctlHw, DescribesATableByNumberOrName) {
    const std::string by_number = done({"hw", "summary", "15"});
    EXPECT_THAT(by_number, HasSubstr("addresses    16,777,216\n"));
    EXPECT_EQ(done({"hw", "summary", "sng dist entry"}), by_number);
    for (const char *wrong : {"2", "99", "nothing"}) {
        const nprmctl_run run = run_nprmctl({"hw", "summary", wrong});
        EXPECT_EQ(run.status, 1);
        EXPECT_THAT(run.errors, AllOf(HasSubstr("there is no table "), HasSubstr("try: nprmctl hw tables")));
    }
}

TEST_F(NprmctlHw, ShowsRoutesAsTheLibraryPrintsThem) {
    EXPECT_EQ(done({"hw", "get", "11"}), "table 11 (FIB Entry) is empty\n");
    add_routes();
    const std::string text = done({"hw", "get", "11", "--from", "1"});
    EXPECT_THAT(text, AllOf(HasSubstr("\nFIB Entry [0x1]\n-----"), HasSubstr("\n  uidb                           16    0x9 (9)\n"),
                            Not(HasSubstr("FIB Entry [0]"))));
    const json entries = done_json({"hw", "get", "fib entry"}).at("entries");
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[1].at("addr"), 1);
    EXPECT_EQ(entries[1].at("fields").at("dmac[5]"), 2);
    EXPECT_EQ(entries[1].at("data"), "0b0080020000000002090000");
}

TEST_F(NprmctlHw, ShowsRawWords) {
    add_routes();
    EXPECT_EQ(done({"hw", "get", "11", "--raw"}), "[0] 0280000b 00000000 00000701\n[0x1] 0280000b 00000000 00000902\n");
    const json entries = done_json({"hw", "get", "11", "--raw"}).at("entries");
    EXPECT_EQ(entries.at(0).at("words").size(), 51U);
    EXPECT_EQ(entries.at(0).at("words").at(2), 0x701);
    EXPECT_EQ(done({"hw", "get", "11", "--from", "5", "--count", "1", "--raw", "--all"}), "[0x5] 00000000\n");
    EXPECT_EQ(done({"hw", "get", "11", "--from", "5", "--count", "1", "--raw"}),
              "table 11 (FIB Entry) has nothing but zeros there; --all prints them\n");
}

TEST_F(NprmctlHw, ReadsMoreEntriesThanAMessageHolds) {
    std::string routes;
    for (int i = 0; i < 700; ++i)
        routes += "10." + std::to_string(i / 256) + "." + std::to_string(i % 256) + ".0/24 02:00:00:00:00:01 5\n";
    done({"fib", "load", file("routes", routes)});
    const json entries = done_json({"hw", "get", "21"}).at("entries");
    ASSERT_EQ(entries.size(), 700U);
    EXPECT_EQ(entries.at(699).at("fields").at("ip_v4"), 0x0A02BB00);
    const nprmctl_run search = run_nprmctl({"hw", "search", "11", "uidb=5", "--raw"});
    EXPECT_EQ(std::count(search.output.begin(), search.output.end(), '\n'), 317);
    EXPECT_THAT(search.errors, HasSubstr("317 entries at most"));
}

TEST_F(NprmctlHw, SearchesAndLooksUp) {
    add_routes();
    EXPECT_EQ(done({"hw", "search", "11", "uidb=9", "cb0.valid=1", "--raw"}), "[0] 0280000b 00000000 00000902\n");
    EXPECT_EQ(done({"hw", "lookup", "11", "10.1.2.3", "--raw"}), "[0] 0280000b 00000000 00000902\n");
    EXPECT_EQ(done({"hw", "lookup", "22", "10.2.2.3", "--raw"}), "[0] 0280000b 00000000 00000701\n");
    const nprmctl_run none = run_nprmctl({"hw", "lookup", "11", "11.0.0.1"});
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.output, "table 11 (FIB Entry) has no entry with 11.0.0.1\n");
    const nprmctl_run wrong = run_nprmctl({"hw", "search", "11", "colour=3"});
    EXPECT_EQ(wrong.status, 1);
    EXPECT_THAT(wrong.errors, HasSubstr("try: the table takes as key: ADDRESS, IP or MAC address, FIELD=VALUE..."));
    EXPECT_EQ(run_nprmctl({"hw", "search", "11", std::string(97, 'x')}).status, 2);
}

// Only what was looked up by its address has one: answers carry none.
TEST_F(NprmctlHw, TellsNoNumberOfAnAnswerForAnAddress) {
    add_routes();
    EXPECT_EQ(done({"hw", "lookup", "11", "1", "--raw"}), "[0x1] 0280000b 00000000 00000902\n");
    EXPECT_THAT(done({"hw", "lookup", "11", "0x1"}), StartsWith("\n\nFIB Entry [0x1]\n"));
    EXPECT_EQ(done_json({"hw", "lookup", "11", "0X1"}).at("entries").at(0).at("addr"), 1);
    for (const strings &command : {strings{"hw", "search", "11", "uidb=9"}, strings{"hw", "lookup", "11", "10.1.0.1"}}) {
        EXPECT_THAT(done(command), StartsWith("[numbers] count what was found: an answer has no addresses\n\n\nFIB Entry [0]\n"));
        EXPECT_EQ(done_json(command).at("entries").at(0).at("addr"), nullptr);
    }
    EXPECT_EQ(done_json({"hw", "search", "11", "uidb=9", "--raw"}).at("entries").at(0).at("addr"), nullptr);
}

TEST_F(NprmctlHw, ShowsTheRulesOfAnAclInTheTcam) {
    done({"tcam", "load", "new", file("acl", "permit tcp 10.0.0.0/8 any eq 80\n")});
    EXPECT_THAT(done({"hw", "get", "vmr mask"}), HasSubstr("\nTCAM Mask [0]\n"));
    EXPECT_EQ(done_json({"hw", "get", "32"}).at("entries").size(), 1U);
    EXPECT_EQ(done_json({"hw", "get", "34"}).at("layout"), nullptr);
}

TEST_F(NprmctlHw, ShowsWhatPortsDo) {
    let_run(1000);
    EXPECT_THAT(done({"hw", "get", "24", "--count", "1"}), HasSubstr("\n0         up       10G           10000 (0)"));
    EXPECT_EQ(done_json({"hw", "get", "19"}).at("entries").size(), 60U);
}

TEST_F(NprmctlHw, PrintsAPortsSram) {
    EXPECT_THAT(done({"sram", "3"}),
                AllOf(HasSubstr("Port=3  Port Config SRAM"), HasSubstr("\n  Mapped port number         8    0x3\n")));
    EXPECT_EQ(done({"sram", "3", "--raw"}), "00000001 00000000 00000303 80000000\n");
    EXPECT_EQ(done_json({"sram", "3"}).at("fields").at("mapped_port"), 3);
    EXPECT_THAT(run_nprmctl({"sram", "16"}).errors, HasSubstr("the SRAM of port 16 was not read: NPRM_ERROR_PARAM (3)"));
}

TEST_F(NprmctlHw, TellsOfTheTrafficManager) {
    EXPECT_EQ(done_json({"tm", "stats"}),
              json({{"came", 0}, {"forwarded", 0}, {"dropped", 0}, {"waiting", 0}, {"free_buffers", 65536}}));
    let_run(1000);
    const json totals = done_json({"tm", "stats"}), queue = done_json({"tm", "queue", "7"});
    EXPECT_EQ(totals.at("came"),
              totals.at("forwarded").get<uint32_t>() + totals.at("dropped").get<uint32_t>() + totals.at("waiting").get<uint32_t>());
    EXPECT_GT(queue.at("came"), 0);
    EXPECT_THAT(done({"tm", "queue", "7"}), StartsWith("queue            7\npackets waiting  "));
    EXPECT_EQ(run_nprmctl({"tm", "queue", "128"}).status, 1);
}

TEST_F(NprmctlHw, ShowsRegistersWithTheirValues) {
    let_run(1000);
    const std::string packets = card.control({{"command", "status"}}).at("models").at("NPA").at("packets").dump();
    char packets_hex[16];
    std::snprintf(packets_hex, sizeof packets_hex, "0x%08x", static_cast<uint32_t>(std::stoul(packets)));
    EXPECT_EQ(done({"reg", "show", "1272-1275"}),
              "index  register               value\n"
              " 1272  EZreg_NPA_GENERAL_R21  0x00020301\n"
              " 1273  EZreg_NPA_GENERAL_R22  0x8000ffef\n"  // port 4 has no module
              " 1274  EZreg_NPA_GENERAL_R23  0x000003e8\n"
              " 1275  EZreg_NPA_GENERAL_R24  " +
                  std::string(packets_hex) + "\n");
    EXPECT_EQ(done_json({"reg", "show", "general_r23"}), json({{"registers",
                                                                {{{"index", 1274},
                                                                  {"name", "EZreg_NPA_GENERAL_R23"},
                                                                  {"block", "General"},
                                                                  {"value", 1000},
                                                                  {"hex", "0x000003e8"}}}}}));
    const json general = done_json({"reg", "show", "general"}).at("registers");
    ASSERT_EQ(general.size(), 25U);
    EXPECT_EQ(general, done_json({"reg", "show", "34"}).at("registers"));
    EXPECT_EQ(general[24].at("value").dump(), packets);
    EXPECT_EQ(done_json({"reg", "show", "0-1969"}).at("registers").at(1272).at("value"), 0x20301);
}

TEST_F(NprmctlHw, NamesNodesAndGroupsOfFlowTraces) {
    done({"sn", "add", "5", "192.0.2.11"});
    done({"sn", "add", "6", "2001:db8::6"});
    done({"sng", "add", "7", "--fields", "1.2.3"});
    const auto record = [](char type, std::string value) {
        const char header[] = {type, 0, static_cast<char>(value.size()), 0};
        value.resize((value.size() + 3) / 4 * 4);
        return std::string(header, sizeof header) + value;
    };
    std::string result(26, '\0');
    result[1] = 2;
    result[8] = 6;
    const std::string list = record(5, "\5") + record(6, std::string("\7\0", 2)) + record(2, result) + record(5, "\11") +
                             record(6, std::string("\11\0", 2));
    EXPECT_EQ(done({"tlv", "decode", "-"}, list),
              "service node 5: 192.0.2.11\n"
              "service node group 7: 1 2 3\n"
              "   DECODE RESULT>>\n"
              "sn ip: 2001:db8::6\n"
              "service node 9: N/A\n"
              "service node group 9: N/A\n");
    const nprmctl_run as_json = run_nprmctl({"tlv", "decode", "-", "--json"}, list);
    EXPECT_EQ(as_json.json().at("records").at(1).at("text"), "service node group 7: 1 2 3");
}

TEST_F(NprmctlHw, WatchesRegisters) {
    EXPECT_EQ(done({"reg", "watch", "34", "--count", "2", "--interval", "1"}),
              "none of the registers has changed\n");  // traffic is frozen
    EXPECT_EQ(done_json({"reg", "watch", "34", "--count", "3", "--interval", "1"}), json({{"changes", json::array()}}));
    EXPECT_EQ(run_nprmctl({"reg", "watch", "34", "--json"}).status, 2);
    card.control({{"command", "traffic"}, {"frozen", false}});
    json changes;
    for (int tries = 0; changes.empty() && tries < 100; ++tries)  // as often as the card's traffic has not moved in between
        changes = done_json({"reg", "watch", "1274-1274", "--count", "2", "--interval", "120"}).at("changes");
    ASSERT_EQ(changes.size(), 1U);
    EXPECT_EQ(changes[0].at("index"), 1274);
    EXPECT_GT(changes[0].at("after"), changes[0].at("before"));
}

TEST_F(NprmctlHw, AsksTheDebugFacility) {
    EXPECT_EQ(run_nprmctl({"npdebug", "request", "1", "0"}).status, 1);
    EXPECT_THAT(done({"npdebug", "init", "1"}), StartsWith("word  value  hex\n   0      1  0x00000001\n"));
    EXPECT_EQ(done_json({"npdebug", "request", "1", "0", "0x10", "17", "18"}).at("words").at(1),
              json({{"word", 1}, {"value", 17}, {"hex", "0x00000011"}}));
    EXPECT_THAT(run_nprmctl({"npdebug", "init", "1x"}).errors, HasSubstr("WORD is \"1x\""));
    EXPECT_EQ(run_nprmctl({"npdebug", "init", "4294967296"}).status, 2);
    strings many(74, "1");
    many.insert(many.begin(), {"npdebug", "init"});
    EXPECT_THAT(run_nprmctl(many).errors, HasSubstr("there are 74 words, a command has 73"));
}

TEST_F(NprmctlHw, HasTheCardWriteAndCapture) {
    EXPECT_EQ(done({"hw", "crash-dump", "2"}), "the card has written crash-dump information 2\n");
    EXPECT_EQ(done({"hw", "capture", "before"}), "the card has captured the search engine's configuration as \"before\"\n");
    const json state = card.control({{"command", "status"}}).at("models").at("NPA");
    EXPECT_EQ(state.at("last_crash_argument"), 2);
    EXPECT_EQ(state.at("last_capture"), "before");
    EXPECT_EQ(run_nprmctl({"hw", "crash-dump", "4"}).status, 1);
    EXPECT_EQ(run_nprmctl({"hw", "capture", std::string(780, 'x')}).status, 2);
    EXPECT_EQ(run_nprmctl({"hw", "capture", ""}).status, 2);
}

// Damaged replies: a command ends by itself with an exit status, whatever came.
TEST_F(NprmctlHw, EndsWithAnErrorWhenRepliesAreCut) {
    add_routes();
    const strings commands[] = {{"hw", "get", "5"},
                                {"hw", "search", "5", "cb0.valid=1"},
                                {"hw", "lookup", "5", "1"},
                                {"reg", "show", "34"},
                                {"tm", "queue", "1"},
                                {"tm", "stats"},
                                {"sram", "1"},
                                {"npdebug", "init", "1"}};
    for (const strings &command : commands)
        for (const uint32_t left : {0U, 4U, 8U, 11U}) {
            fault({{"kind", "truncate"}, {"value", left}});
            const nprmctl_run run = run_nprmctl(command);
            EXPECT_EQ(run.status, 1) << command[0] << " " << left << run.output;
            EXPECT_THAT(run.errors, StartsWith("nprmctl: ")) << command[0] << " " << left;
            fault({{"kind", "none"}});
        }
    // Registers that came whole in a reply that announces more of them: what the library made of it is released.
    fault({{"kind", "oversize"}, {"component", "NPA"}});
    EXPECT_EQ(run_nprmctl({"reg", "show", "34"}).status, 1);
}

TEST_F(NprmctlHw, SurvivesRepliesOfRandomBytes) {
    for (uint32_t seed = 1; seed <= 8; ++seed) {
        fault({{"kind", "corrupt"}, {"count", 60}, {"value", 600}, {"component", "NPA"}, {"seed", seed}});
        for (const strings &command : {strings{"hw", "get", "24", "--count", "3"}, strings{"hw", "summary", "5"},
                                       strings{"hw", "lookup", "6", "3"}, strings{"reg", "show", "34"}})
            EXPECT_LE(run_nprmctl(command).status, 1) << seed << command[1];
        fault({{"kind", "none"}});
    }
}

}  // namespace
