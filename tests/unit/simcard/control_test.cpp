// The control protocol: requests and answers as text.

#include "messages.h"
#include "simcard/control.h"

namespace {

using nlohmann::json;

class Control : public testing::Test {
  protected:
    std::string answer(std::string_view request) { return answer_control(card_, {"/here", true, false, {}, 5}, request); }
    json ask(std::string_view request) { return json::parse(answer(request)); }
    void expect_done(std::string_view request) { EXPECT_EQ(answer(request), R"({"ok":true})") << request; }
    void expect_refused(std::string_view request, const std::string &why) {
        const json refused = ask(request);
        EXPECT_EQ(refused["ok"], false) << request;
        EXPECT_NE(refused.value("error", "").find(why), std::string::npos) << request << " gave " << refused;
    }

    card card_{{}};
};

TEST_F(Control, TellsTheStatus) {
    const json status = ask(R"({"command": "status"})");
    EXPECT_EQ(status["ok"], true);
    EXPECT_EQ(status["pid"], getpid());
    EXPECT_EQ(status["directory"], "/here");
    EXPECT_EQ(status["ready"], true);
    EXPECT_EQ(status["segment_removed"], false);
    EXPECT_EQ(status["acknowledge_only"], false);
    EXPECT_EQ(status["connections"], 0);
    EXPECT_EQ(status["dropped_lines"], 5);
    EXPECT_EQ(status["faults"], json::array());
    EXPECT_EQ(status["components"].size(), 9U);
    EXPECT_EQ(status["components"][6], json::parse(R"({"component": 7, "name": "TCAM", "requests": 0, "refused": 0})"));
    EXPECT_EQ(status["models"]["TCAM"], json::parse(R"({"capacity": 65536, "free": 65536, "lists": []})"));
}

TEST_F(Control, TellsTheStatusInTheOrderOfItsDescription) {
    const std::string status = answer(R"({"command": "status"})");
    size_t at = 0;
    for (const char *name : {"ok", "pid", "directory", "ready", "segment_removed", "acknowledge_only", "connections", "requests",
                             "replies", "malformed", "lost_replies", "dropped_lines", "components", "faults", "models"}) {
        const size_t found = status.find("\"" + std::string(name) + "\":", at);
        ASSERT_NE(found, std::string::npos) << name << ": " << status;
        at = found;
    }
    EXPECT_NE(status.find(R"({"component":7,"name":"TCAM","requests":0,"refused":0})"), std::string::npos) << status;
}

TEST_F(Control, AsksAModelOnlyWhatItAnswers) {
    expect_refused(R"({"command": "ask", "question": {}})", "\"component\" tells whose state is asked for");
    expect_refused(R"({"command": "ask", "component": "TCAM", "question": {}})", "the model of TCAM answers no questions");
}

TEST_F(Control, AddsFaultsAndEndsThem) {
    expect_done(R"({"command": "fault", "kind": "delay", "component": "TCAM", "count": 3, "value": 250, "seed": 1})");
    expect_done(R"({"command": "fault", "kind": "drop", "component": 3, "seed": 2})");
    expect_done(R"({"command": "fault", "kind": "exit", "count": 4294967295, "seed": 4294967295})");
    EXPECT_EQ(ask(R"({"command": "status"})")["faults"], json::parse(R"([
        {"kind": "delay", "component": "TCAM", "remaining": 3, "value": 250, "seed": 1},
        {"kind": "drop", "component": "IF", "remaining": 1, "value": null, "seed": 2},
        {"kind": "exit", "component": null, "remaining": 4294967295, "value": null, "seed": 4294967295}])"));
    expect_done(R"({"command": "fault", "kind": "none"})");
    EXPECT_TRUE(card_.faults.active().empty());
}

TEST_F(Control, SwitchesAcknowledgeOnly) {
    expect_done(R"({"command": "acknowledge-only", "on": true})");
    EXPECT_TRUE(card_.acknowledge_only);
    expect_done(R"({"command": "acknowledge-only", "on": false})");
    EXPECT_FALSE(card_.acknowledge_only);
    expect_refused(R"({"command": "acknowledge-only", "on": 1})", "true or false");
    expect_refused(R"({"command": "acknowledge-only"})", "true or false");
}

TEST_F(Control, Resets) {
    expect_done(R"({"command": "fault", "kind": "drop"})");
    expect_done(R"({"command": "reset"})");
    EXPECT_TRUE(card_.faults.active().empty());
}

TEST_F(Control, RefusesWhatItDoesNotKnowAndSaysWhatThereIs) {
    expect_refused(R"({"command": "fly"})", "status, fault, acknowledge-only, reset");
    expect_refused(R"({"command": "fault", "kind": "fire"})", "drop, delay, truncate, corrupt, oversize, wrong-token, duplicate");
    expect_refused(R"({"command": "fault", "kind": "drop", "component": "TM"})",
                   "CMM, MAC, FDM, IF, NPA, STATS, TCAM, WCCP, NPDEBUG");
    expect_refused(R"({"command": "fault", "kind": "drop", "component": 8})", "no such component");
    expect_refused(R"({"command": "fault", "kind": "drop", "component": 4294967303})", "no such component");
    expect_refused(R"({"command": "fault", "kind": "drop", "component": -1})", "no such component");
    expect_refused(R"({"command": "fault", "kind": "drop", "counts": 2})", "no member \"counts\"");
    expect_refused(R"({"command": "status", "count": 2})", "no member \"count\"");
    EXPECT_TRUE(card_.faults.active().empty());
}

TEST_F(Control, RefusesNumbersOutsideTheirRange) {
    expect_refused(R"({"command": "fault", "kind": "drop", "count": 0})", "from 1 to 4294967295");
    expect_refused(R"({"command": "fault", "kind": "drop", "count": -1})", "from 1 to 4294967295");
    expect_refused(R"({"command": "fault", "kind": "drop", "count": 4294967296})", "from 1 to 4294967295");
    expect_refused(R"({"command": "fault", "kind": "drop", "count": 1.5})", "from 1 to 4294967295");
    expect_refused(R"({"command": "fault", "kind": "drop", "count": "1"})", "from 1 to 4294967295");
    expect_refused(R"({"command": "fault", "kind": "delay", "value": 600001})", "from 0 to 600000");
    expect_refused(R"({"command": "fault", "kind": "exit", "value": 256})", "from 0 to 255");
    expect_refused(R"({"command": "fault", "kind": "drop", "seed": -1})", "from 0 to 4294967295");
    EXPECT_TRUE(card_.faults.active().empty());
}

TEST_F(Control, AsksForValuesWhereTheyAreNeeded) {
    expect_refused(R"({"command": "fault", "kind": "delay"})", "needs a \"value\"");
    expect_refused(R"({"command": "fault", "kind": "result"})", "needs a \"value\"");
    expect_refused(R"({"command": "fault", "kind": "drop", "value": 0})", "has no \"value\"");
    expect_refused(R"({"command": "fault", "kind": "drop", "value": 3})", "the fault drop has no \"value\"");
}

TEST_F(Control, BoundsTheActiveFaults) {
    for (int i = 0; i < 64; ++i)
        expect_done(R"({"command": "fault", "kind": "drop"})");
    expect_refused(R"({"command": "fault", "kind": "drop"})", "64 faults active");
}

TEST_F(Control, SurvivesWhatIsNoRequest) {
    expect_refused("", "not JSON");
    expect_refused("{", "not JSON");
    expect_refused("\xff\xfe", "not JSON");
    expect_refused("[]", "an object");
    expect_refused("{}", "\"command\" is needed");
    expect_refused(R"({"command": 7})", "\"command\" is needed");
    expect_refused(R"({"command": "fault"})", "\"kind\" is needed");
    expect_refused(std::string(65536, '['), "nested");
    expect_refused(R"({"command": "status", "x": [[[[[[]]]]]]})", "nested");
    expect_refused(std::string(65537, ' '), "at most 65536 bytes");
    EXPECT_LT(answer(R"({"command": ")" + std::string(60000, 'x') + R"("})").size(), 2000U);
}

TEST_F(Control, AnswersWithWhatFitsADatagramWhenAllListsAreTaken) {
    for (int i = 0; i < 256; ++i) {
        const message create = tcam_message(0, 2, 0, 256);
        card_.serve(*find_component(7), std::as_bytes(std::span(create)));
    }
    const std::string status = answer(R"({"command": "status"})");
    EXPECT_LE(status.size(), 65536U);
    EXPECT_EQ(json::parse(status)["models"]["TCAM"]["lists"].size(), 256U);
}

TEST_F(Control, SteersTraffic) {
    EXPECT_EQ(answer(R"({"command": "traffic"})"), R"({"ok":true,"traffic":{"rate":10000,"frozen":false}})");
    EXPECT_EQ(answer(R"({"command": "traffic", "rate": 5, "frozen": true, "advance_ms": 2000})"),
              R"({"ok":true,"traffic":{"rate":5,"frozen":true}})");
    EXPECT_EQ(ask(R"({"command": "status"})")["traffic"], json::parse(R"({"rate": 5, "frozen": true})"));
    EXPECT_EQ(ask(R"({"command": "status"})")["models"]["MAC"]["seconds"], 2);
    expect_refused(R"({"command": "traffic", "rate": 100000001, "advance_ms": 1000})", "from 0 to 100000000");
    expect_refused(R"({"command": "traffic", "rate": 7, "advance_ms": 86400001})", "from 0 to 86400000");
    expect_refused(R"({"command": "traffic", "rate": 7, "frozen": 1})", "true or false");
    expect_refused(R"({"command": "traffic", "speed": 7})", "no member");
    EXPECT_EQ(card_.traffic.packets_per_second, 5U);
    EXPECT_EQ(ask(R"({"command": "status"})")["models"]["MAC"]["seconds"], 2);
}

}  // namespace
