// nprmctl and the ports of a real simulated card: settings, counters, modules, and replies that are not as they should be.

#include "nprmctl_fixture.h"

#include <gmock/gmock.h>

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

class NprmctlPorts : public Nprmctl {
  protected:
    NprmctlPorts() : Nprmctl({"--remove-segments", "--traffic", "frozen"}) {}

    void expect_refused(const strings &arguments, int status, const std::string &why) const {
        const nprmctl_run run = run_nprmctl(arguments);
        EXPECT_EQ(run.status, status) << run.output;
        EXPECT_EQ(run.output, "");
        EXPECT_THAT(run.errors, HasSubstr(why));
    }
};

TEST_F(NprmctlPorts, ShowsOnePortOrAll) {
    EXPECT_EQ(done({"port", "show", "4"}),
              "port  link  speed  negotiation   MTU  MAC address\n"
              "   4  down  10G    off          1518  02:00:00:00:00:04\n");
    const json all = done_json({"port", "show"}).at("ports");
    ASSERT_EQ(all.size(), 16U);
    EXPECT_EQ(all[8], json::parse(R"({"port": 8, "link": "up", "speed": "1000M", "speed_code": 2, "negotiation": "on",
                                      "mtu": 1518, "mac": "02:00:00:00:00:08"})"));
    const json named = done_json({"port", "show", "9,0-1"}).at("ports");
    ASSERT_EQ(named.size(), 3U);
    EXPECT_EQ(named[0], all[9]);
    EXPECT_EQ(named[2], all[1]);
    expect_refused({"port", "show", "14-17"}, 1,
                   "there is no port 16: NPRM_ERROR_ETHMON_INVALID_PORT (97), there is no such port\n");
    expect_refused({"port", "show", "16"}, 1, "there is no port 16: NPRM_ERROR_ETHMON_INVALID_PORT (97)");
}

TEST_F(NprmctlPorts, SetsWhatIsGivenAndSaysWhatWasSetBeforeARefusal) {
    EXPECT_EQ(done({"port", "set", "8", "--link", "down", "--speed", "100M", "--negotiate", "off", "--mtu", "9000", "--mac",
                    "02:Aa:00:00:00:42"}),
              "port 8: link state, speed, negotiation, MTU, MAC address set\n");
    EXPECT_EQ(done({"port", "show", "8"}),
              "port  link  speed  negotiation   MTU  MAC address\n"
              "   8  down  100M   off          9000  02:aa:00:00:00:42\n");
    expect_refused(
        {"port", "set", "8", "--speed", "10M", "--mtu", "9217"}, 1,
        "the MTU of port 8 was not set (set before: speed): NPRM_ERROR_ETHMON_SET_MTU_NPA (98), the MTU could not be set; it "
        "may be too small or too large\n  try: nprmctl help port set tells what ports of the simulated card take\n");
    expect_refused({"port", "set", "0", "--speed", "10M"}, 1,
                   "(100), the speed could not be set; the port may not have it\n  try: ");
    expect_refused({"port", "set", "0", "--negotiate", "on"}, 1,
                   "(105), negotiation could not be set; the port may not negotiate\n");
    expect_refused({"port", "set", "0", "--mac", "01:00:00:00:00:00"}, 1,
                   "(109), the MAC address could not be set; it may be 0 or a group's\n");
    expect_refused({"port", "led", "0", "4"}, 1, "try: off, green, amber and blink are what the simulated card takes\n");
    expect_refused({"port", "led", "16", "off"}, 1, "(97), there is no such port\n  try: nprmctl port show\n");
    expect_refused({"port", "counters", "16"}, 1,
                   "there is no port 16: NPRM_ERROR_ETHMON_INVALID_PORT (97), there is no such port\n  try: nprmctl port show\n");
    EXPECT_EQ(done_json({"port", "show", "8"}).at("ports")[0].at("speed"), "10M");
    EXPECT_EQ(done({"port", "led", "3", "blink"}), "the LED of port 3 is set to blink\n");
    EXPECT_EQ(card.control({{"command", "ask"}, {"component", "MAC"}, {"question", {{"led", 3U}}}}).at("answer").at("led"), 3);
}

TEST_F(NprmctlPorts, NamesWrongArgumentsAndSendsNothing) {
    const uint64_t before = requests();
    expect_refused({"port", "set", "0", "--speed", "fast"}, 2, "--speed: \"fast\" is none of 10M|100M|1000M|10G|40G|100G");
    expect_refused({"port", "set", "0", "--link", "maybe"}, 2, "--link: \"maybe\" is none of down|up");
    for (const char *mac : {"02:00:00:00:00", "02:00:00:00:00:0g", "02-00-00-00-00-01", "+2:00:00:00:00:01", ""})
        expect_refused({"port", "set", "0", "--mac", mac}, 2, "is no MAC address");
    expect_refused({"port", "set", "0"}, 2, "nothing is to be set");
    expect_refused({"port", "show", "4294967296"}, 2,
                   "PORTS: \"4294967296\" is neither a port's number, 0 to 4294967295, nor a range like 0-99");
    expect_refused({"port", "show", "0-256"}, 2, "PORTS: a list has no port 256, the last one is 255");
    expect_refused({"port", "show", "1,1"}, 2, "PORTS: port 1 is named twice");
    expect_refused({"sfp", "show"}, 2, "PORT or --file");
    expect_refused({"sfp", "show", "1", "--file", "x"}, 2, "PORT or --file");
    expect_refused({"card", "traffic", "5x"}, 2, "it must be frozen or a number from 0 to 100000000");
    EXPECT_EQ(requests(), before);
}

TEST_F(NprmctlPorts, CountsTrafficThatIsAdvancedByHand) {
    EXPECT_EQ(done({"port", "counters", "0"}), "all counters of port 0 are 0\n");
    EXPECT_EQ(done({"card", "traffic", "--advance", "2000"}), "traffic rate    10,000\ntraffic frozen  yes\n");
    const json now = done_json({"port", "counters", "0", "--clear"}).at("counters");
    ASSERT_EQ(now.size(), 44U);
    EXPECT_EQ(now[2], json::parse(R"({"index": 2, "name": "rx_packets", "meaning": "packets received", "count": 20000})"));
    EXPECT_EQ(done({"port", "counters", "0"}), "all counters of port 0 are 0\n");
    EXPECT_THAT(done({"port", "counters", "0", "--all"}), HasSubstr("   43  times that the link went up or down         0\n"));
    expect_refused({"port", "counters", "77"}, 1, "NPRM_ERROR_ETHMON_INVALID_PORT");
}

TEST_F(NprmctlPorts, RunsTrafficByItselfUnlessItIsFrozen) {
    EXPECT_EQ(done_json({"card", "traffic", "1000000"}).at("traffic"), json({{"rate", 1000000}, {"frozen", false}}));
    const auto packets = [this] { return done_json({"port", "counters", "1"}).at("counters")[2].at("count").get<uint64_t>(); };
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (packets() == 0 && std::chrono::steady_clock::now() < end)
        continue;
    EXPECT_GT(packets(), 0U);
    done({"card", "traffic", "frozen"});
    const uint64_t frozen = packets();
    EXPECT_EQ(packets(), frozen);
}

TEST_F(NprmctlPorts, TellsModulesInWordsWithAlarmsMarked) {
    EXPECT_THAT(done({"sfp", "show", "3"}),
                HasSubstr("C         HIGH WARNING       -5.0          0.0          70.0        75.0\n"));
    EXPECT_THAT(done({"sfp", "show", "3"}), HasSubstr("part            SIM-10G-SR\n"));
    EXPECT_THAT(done({"sfp", "show", "8"}), HasSubstr("compliance  1000BASE-T\n"));
    EXPECT_THAT(done({"sfp", "show", "8"}), HasSubstr("monitoring  none\n"));
    for (const char *port : {"4", "5"})
        expect_refused({"sfp", "show", port}, 1, "NPRM_ERROR_ETHMON_SFP_READ_MSA (117)");
    expect_refused({"sfp", "raw", "8", "--monitoring"}, 1, "NPRM_ERROR_ETHMON_SFP_READ_DOM (118)");
    const json told = done_json({"sfp", "show", "0"});
    EXPECT_EQ(told.at("wavelength_nm"), 1310);
    EXPECT_EQ(told.at("monitoring")[1].at("alarm_high"), 3.63);
    EXPECT_TRUE(told.at("monitoring_sum_is_right"));
}

TEST_F(NprmctlPorts, DecodesFilesOfAModuleThatTheReaderCalibratesWithoutACard) {
    const std::string a0 = file("a0", done({"sfp", "raw", "6", "--binary"}));
    const std::string a2 = file("a2", done({"sfp", "raw", "6", "--monitoring", "--binary"}));
    const std::string online = done({"sfp", "show", "6"});
    EXPECT_THAT(online, HasSubstr("calibrated by   the reader\n"));
    const uint64_t before = requests();
    EXPECT_EQ("port            6\n" + done({"sfp", "show", "--file", a0, "--monitor", a2}), online);
    EXPECT_THAT(done({"sfp", "show", "--file", a0}), HasSubstr("monitoring  not given\n"));
    expect_refused({"sfp", "show", "--file", file("short", "abc")}, 2, "has 3 bytes; a module's memory has 256");
    EXPECT_EQ(requests(), before);
}

TEST_F(NprmctlPorts, DecodesTheMonitoringThatIsGivenWhateverTheIdentificationSays) {
    std::string a0 = done({"sfp", "raw", "0", "--binary"});
    const std::string a2 = file("a2", done({"sfp", "raw", "0", "--monitoring", "--binary"}));
    a0[92] |= 0x04;
    const std::string moved = file("moved", a0);
    EXPECT_THAT(done({"sfp", "show", "--file", moved}), HasSubstr("monitoring  not readable without a change of address\n"));
    EXPECT_THAT(done({"sfp", "show", "--file", moved, "--monitor", a2}), HasSubstr("supply voltage"));
    expect_refused({"sfp", "show", "--file", moved, "--monitor", files / "none"}, 2, "cannot be read");
    a0[92] = 0x04;  // says nothing where there is no monitoring
    const std::string without = file("without", a0);
    EXPECT_THAT(done({"sfp", "show", "--file", without}), HasSubstr("monitoring  none\n"));
}

TEST_F(NprmctlPorts, DumpsAModulesMemory) {
    const std::string dump = done({"sfp", "raw", "0"});
    EXPECT_THAT(dump, StartsWith("00  03 04 07 20 00 00 00 00 00 00 00 06 67 00 0a 64  ... ........g..d\n"
                                 "10  00 00 00 00 53 49 4d 55 4c 41 54 45 44 20 4f 50  ....SIMULATED OP\n"));
    EXPECT_EQ(std::ranges::count(dump, '\n'), 16);
    const std::string hex = done_json({"sfp", "raw", "0"}).at("bytes");
    EXPECT_EQ(hex.size(), 512U);
    EXPECT_THAT(hex, StartsWith("0304072000"));
}

TEST_F(NprmctlPorts, SaysSoWhenARepliesBytesAreMissing) {
    for (const strings &command :
         {strings{"port", "show", "0"}, {"port", "counters", "0"}, {"sfp", "show", "0"}, {"sfp", "raw", "0"}})
        for (const uint32_t bytes : {0U, 12U, 20U, 200U}) {
            if (command[1] == "show" && command[0] == "port" && bytes >= 20) continue;  // a whole word is all that it needs
            if (command[1] == "counters" && bytes == 200) continue;                     // and 192 bytes are all counters
            fault({{"kind", "truncate"}, {"component", "MAC"}, {"value", bytes}});
            const nprmctl_run run = run_nprmctl(command);
            EXPECT_EQ(run.status, 1) << command[0] << " " << command[1] << " " << bytes << run.output;
            EXPECT_NE(run.errors, "");
        }
    EXPECT_EQ(done_json({"port", "show"}).at("ports").size(), 16U);
}

TEST_F(NprmctlPorts, SurvivesAReplyWhateverItHolds) {
    const strings all[] = {{"sfp", "show", "6"}, {"sfp", "raw", "6"}, {"port", "counters", "0"}, {"port", "show", "0"}};
    for (const strings &command : all)
        for (uint32_t seed = 0; seed < 8; ++seed) {
            fault({{"kind", "corrupt"}, {"component", "MAC"}, {"value", 200}, {"seed", seed}});
            const nprmctl_run run = run_nprmctl(command);
            EXPECT_LE(run.status, 1) << command[0] << " " << command[1] << " " << seed;
            EXPECT_NE(run.output.empty(), run.errors.empty());
        }
    fault({{"kind", "oversize"}, {"component", "MAC"}, {"value", 65536}, {"seed", 1}});
    EXPECT_LE(run_nprmctl({"sfp", "raw", "0"}).status, 1);
}

}  // namespace
