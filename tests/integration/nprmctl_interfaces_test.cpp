// nprmctl and the interfaces of a real simulated card: interfaces, port channels, bridge groups, look-ups, settings, configuration.

#include "nprmctl_fixture.h"

#include <filesystem>

#include <gmock/gmock.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using nlohmann::json;
using testing::HasSubstr;

class NprmctlInterfaces : public Nprmctl {
  protected:
    void expect_refused(const strings &arguments, int status, const std::string &why) const {
        const nprmctl_run run = run_nprmctl(arguments);
        EXPECT_EQ(run.status, status) << run.output;
        EXPECT_EQ(run.output, "");
        EXPECT_THAT(run.errors, HasSubstr(why));
    }
    json about(const json &question) const {
        return card.control({{"command", "ask"}, {"component", "IF"}, {"question", question}}).at("answer");
    }
    json state() const { return card.control({{"command", "status"}}).at("models").at("IF"); }
    void create(const char *id, const char *port) const {
        done({"if", "create", id, "physical", "02:00:00:00:00:01", "--port", port});
    }
};

TEST_F(NprmctlInterfaces, CreatesConfiguresAndDeletesAnInterface) {
    EXPECT_EQ(done({"if", "create", "300", "physical", "02:00:00:00:00:2A", "--port", "5", "--layer3"}),
              "interface 300 is created\n");
    EXPECT_EQ(done({"if", "state", "300", "up"}), "interface 300 is up\n");
    EXPECT_EQ(done({"if", "mac", "300", "02:00:00:00:00:2b"}), "interface 300 has the MAC address 02:00:00:00:00:2b\n");
    EXPECT_EQ(done({"if", "address", "300", "192.0.2.1/24", "--vrf", "3"}), "interface 300 has the address 192.0.2.1/24\n");
    EXPECT_EQ(done({"if", "address", "300", "2001:db8::1/64"}), "interface 300 has the address 2001:db8::1/64\n");
    EXPECT_EQ(about({{"interface", 300U}}), json::parse(R"({"id": 300, "kind": "physical", "layer": 3, "value": 5,
        "mac": [2, 0, 0, 0, 0, 43], "up": true, "v4": {"address": [192, 0, 2, 1], "prefix_length": 24, "vrf": 3},
        "v6": {"address": [32, 1, 13, 184, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1], "prefix_length": 64, "vrf": 0},
        "channel": null, "members": [], "active_on": null, "bridge_group": null})"));
    EXPECT_EQ(done({"if", "no-address", "300", "ipv4"}), "interface 300 has no IPv4 address\n");
    EXPECT_EQ(about({{"interface", 300U}}).at("v4"), nullptr);
    EXPECT_EQ(about({{"interface", 300U}}).at("v6").at("prefix_length"), 64);
    EXPECT_EQ(done({"if", "no-address", "300", "ipv6"}), "interface 300 has no IPv6 address\n");
    expect_refused({"if", "no-address", "300", "ipv6"}, 1, "NPRM_ERROR_IF_READ_MY_IP (150), the interface has no such address");
    EXPECT_EQ(done_json({"if", "state", "300", "0"}), json({{"interface", 300}, {"state", "down"}}));
    EXPECT_EQ(done({"if", "delete", "300"}), "interface 300 is deleted\n");
    expect_refused({"if", "delete", "300"}, 1, "interface 300 was not deleted: NPRM_ERROR_IF_NOT_EXIST (121)");
}

TEST_F(NprmctlInterfaces, ShowsOneOrAll) {
    EXPECT_EQ(done({"if", "show"}), "the card has no interfaces\n");
    for (uint32_t id = 1000; id < 1070; ++id)  // more than one answer holds
        done({"if", "create", std::to_string(id), "sb", "02:00:00:00:00:01"});
    create("7", "4");
    done({"if", "create", "65534", "physical", "02:00:00:00:00:2a", "--port", "5", "--layer3"});
    done({"if", "address", "65534", "192.0.2.1/24"});
    const json all = done_json({"if", "show"}).at("interfaces");
    ASSERT_EQ(all.size(), 72U);
    EXPECT_EQ(all[0].at("interface"), 7);
    EXPECT_EQ(all[71], json::parse(R"({"interface": 65534, "kind": "physical", "layer": 3, "state": "down", "port": 5,
        "mac": "02:00:00:00:00:2a", "ipv4": "192.0.2.1/24", "ipv6": null, "channel": null,
        "active_on": null, "bridge_group": null})"));
    EXPECT_THAT(done({"if", "show", "65534"}),
                HasSubstr("\n    65534  physical      3  down   02:00:00:00:00:2a     5  192.0.2.1/24"));
    expect_refused({"if", "show", "8"}, 1, "there is no such interface");
}

TEST_F(NprmctlInterfaces, MakesAStandbyInterfaceActive) {
    create("1", "0");
    done({"if", "create", "2", "sb", "02:00:00:00:00:02"});
    expect_refused({"if", "state", "2", "up"}, 1, "NPRM_ERROR_IF_SB_NOT_ACTIVE (166)");
    expect_refused({"if", "active", "1", "1"}, 1, "NPRM_ERROR_IF_NOT_SB (162)");
    EXPECT_EQ(done({"if", "active", "2", "1"}), "interface 2 is active on interface 1\n");
    EXPECT_EQ(about({{"interface", 2U}}).at("active_on"), 1);
}

TEST_F(NprmctlInterfaces, PutsInterfacesIntoPortChannels) {
    done({"if", "create", "100", "port-channel", "02:00:00:00:00:03"});
    create("1", "0");
    EXPECT_EQ(done({"pc", "add", "100", "1"}), "interface 1 is added to port channel 100\n");
    EXPECT_EQ(about({{"interface", 100U}}).at("members"), json({1}));
    expect_refused({"pc", "add", "100", "1"}, 1, "NPRM_ERROR_IF_EXIST (120), the interface is in a port channel already");
    expect_refused({"pc", "add", "1", "100"}, 1, "NPRM_ERROR_IF_NOT_PC (161)");
    EXPECT_EQ(done_json({"pc", "remove", "100", "1"}), json({{"channel", 100}, {"interface", 1}}));
    EXPECT_EQ(about({{"interface", 1U}}).at("channel"), nullptr);
    expect_refused({"pc", "remove", "100", "1"}, 1, "NPRM_ERROR_IF_NOT_PC_MEMBER (165)");
    EXPECT_EQ(done({"pc", "balance", "4294967295"}), "port channels balance their load by setting 4294967295\n");
    EXPECT_EQ(state().at("channel_balance"), 4294967295U);
}

TEST_F(NprmctlInterfaces, BridgesInterfacesAndTheirVlans) {
    create("10", "0");
    create("11", "1");
    EXPECT_EQ(done({"bg", "create", "5", "10", "11"}), "bridge group 5 bridges the interfaces 10 and 11\n");
    expect_refused({"bg", "create", "6", "10", "11"}, 1, "NPRM_ERROR_IF_IN_BG (151), one of the interfaces is in a bridge group");
    expect_refused({"if", "delete", "10"}, 1, "NPRM_ERROR_IF_IN_BG (151), it is in a bridge group");
    EXPECT_EQ(done({"bg", "vlan", "5", "100", "--value", "70000"}), "VLAN 100 is added to bridge group 5\n");
    EXPECT_EQ(about({{"bridge_group", 5U}}), json::parse(R"({"interfaces": [10, 11], "vlans": [{"vlan": 100, "value": 70000}]})"));
    EXPECT_EQ(done({"bg", "show", "5"}), "bridge group  5\nbridges       10\nand           11\n\nVLAN  value\n 100  70000\n");
    expect_refused({"bg", "delete", "5"}, 1, "NPRM_ERROR_IF_BG_HAS_VLAN_PT (154), the bridge group has VLANs");
    EXPECT_EQ(done({"bg", "no-vlan", "5", "100"}), "VLAN 100 is removed from bridge group 5\n");
    EXPECT_EQ(done_json({"bg", "delete", "5"}), json({{"group", 5}}));
    expect_refused({"bg", "show", "5"}, 1, "there is no such bridge group");
    expect_refused({"bg", "vlan", "5", "100"}, 1, "NPRM_ERROR_IF_BG_NOT_EXIST (153)");
}

TEST_F(NprmctlInterfaces, SwitchesTheFourLookups) {
    const char *lookups[] = {"dump", "trace", "intercept", "policy"};
    json wanted = json::parse("[null, null, null, null]");
    for (size_t i = 0; i < 4; ++i) {
        const std::string list = std::to_string(252 + i);
        EXPECT_EQ(done({"acl", "enable", lookups[i], list}),
                  std::string("the ") + lookups[i] + " look-up is on, in list " + list + "\n");
        wanted[i] = 252 + i;
        EXPECT_EQ(state().at("lookups"), wanted);
    }
    EXPECT_EQ(done({"acl", "disable", "trace"}), "the trace look-up is off\n");
    wanted[1] = nullptr;
    EXPECT_EQ(state().at("lookups"), wanted);
}

TEST_F(NprmctlInterfaces, SetsTheCardsLimitsAndMasks) {
    EXPECT_EQ(done_json({"flow", "limit"}), json({{"limit", 2000000}, {"maximum", 2000000}}));
    EXPECT_EQ(done({"flow", "limit", "1500"}), "limit of flows  1,500\nlargest limit   2,000,000\n");
    EXPECT_EQ(done_json({"flow", "limit"}).at("limit"), 1500);
    EXPECT_EQ(done({"errorlog-mask", "0xFf"}), "the error-log mask is 0xff\n");
    EXPECT_EQ(state().at("errorlog_mask"), 255);
    EXPECT_EQ(done_json({"errorlog-mask", "4294967295"}), json({{"mask", 4294967295U}}));
    EXPECT_EQ(state().at("errorlog_mask"), 4294967295U);
}

TEST_F(NprmctlInterfaces, ReadsTheConfigurationAsABlobIsDecoded) {
    done({"card", "traffic", "frozen"});  // flows and counters are a part of it
    create("10", "3");
    const std::string printed = done({"config", "read"}), blob = files / "blob";
    EXPECT_THAT(printed, HasSubstr("Port Config RAM [0x3]"));
    EXPECT_THAT(printed, HasSubstr("Port Table [0"));
    EXPECT_THAT(done({"config", "read", "--save", blob}), HasSubstr("blob has "));
    EXPECT_EQ(done({"blob", "decode", blob}), printed);
    const json ports = done_json({"config", "read", "1", "--input", "00 ff"});
    ASSERT_EQ(ports.at("entries").size(), 16U);
    EXPECT_EQ(ports.at("entries")[15].at("addr"), 15);
    EXPECT_EQ(ports.at("entries")[15].at("type"), 1);
    EXPECT_EQ(ports.at("defects"), json::array());
    expect_refused({"config", "read", "99"}, 1, "the configuration cannot be read: NPRM_ERROR_PARM_STRUCT_ID (9)");
    expect_refused({"config", "read", "--save", files / "none/blob"}, 1, "cannot be written");
}

TEST_F(NprmctlInterfaces, TellsWhichInterfaceHasWhichPort) {
    EXPECT_EQ(done({"config", "ports"}), "no port has an interface\n");
    create("300", "15");
    create("7", "2");
    EXPECT_EQ(done({"config", "ports"}), "port  interface\n   2          7\n  15        300\n");
    EXPECT_EQ(done_json({"config", "ports"}).at("ports")[1], json({{"port", 15}, {"interface", 300}}));
}

TEST_F(NprmctlInterfaces, SaysSoWhenAReplysBytesAreMissing) {
    create("7", "2");
    const strings reads[] = {{"config", "read"}, {"config", "ports"}, {"flow", "limit"}};
    for (const strings &command : reads)
        for (const uint32_t bytes : {0U, 12U, 30U}) {
            if (bytes == 30 && command[1] == "limit") continue;  // which is whole then
            fault({{"kind", "truncate"}, {"component", "IF"}, {"value", bytes}});
            expect_refused(command, 1, "NPRM_ERROR (1), no usable answer came");
        }
}

TEST_F(NprmctlInterfaces, NamesWrongArgumentsAndSendsNothing) {
    const uint64_t before = requests();
    const struct {
        strings command;
        const char *says;
    } wrong[] = {
        {{"if", "create", "65536", "sb", "02:00:00:00:00:01"}, "INTERFACE is \"65536\", it must be a number from 0 to 65535"},
        {{"if", "create", "1", "lag", "02:00:00:00:00:01"}, "KIND: \"lag\" is none of physical|port-channel|sb, and no number"},
        {{"if", "create", "1", "sb", "02:00:00:00:00"}, "MAC: \"02:00:00:00:00\" is no MAC address"},
        {{"if", "create", "1", "physical", "02:00:00:00:00:01"}, "a physical interface has a port: give --port, 0 to 255"},
        {{"if", "create", "1", "physical", "02:00:00:00:00:01", "--port", "256"}, "must be a number from 0 to 255"},
        {{"if", "state", "1", "256"}, "STATE: \"256\" is none of down|up, and no number from 0 to 255"},
        {{"if", "address", "1", "192.0.2.1"}, "LENGTH must be a number from 0 to 32"},
        {{"if", "address", "1", "192.0.2.1/33"}, "LENGTH must be a number from 0 to 32"},
        {{"if", "address", "1", "2001:db8::1/129"}, "LENGTH must be a number from 0 to 128"},
        {{"if", "address", "1", "192.0.2/24"}, "ADDRESS/LENGTH: "},
        {{"if", "no-address", "1", "ipv5"}, "VERSION is \"ipv5\", it must be ipv4 or ipv6"},
        {{"bg", "create", "256", "1", "2"}, "GROUP is \"256\", it must be a number from 0 to 255"},
        {{"bg", "vlan", "5", "65536"}, "VLAN is \"65536\", it must be a number from 0 to 65535"},
        {{"pc", "add", "100", "65536"}, "INTERFACE is \"65536\", it must be a number from 0 to 65535"},
        {{"acl", "enable", "flow", "1"}, "LOOKUP: \"flow\" is none of dump|trace|intercept|policy, and no number from 0 to 3"},
        {{"acl", "enable", "4", "1"}, "LOOKUP: \"4\" is none of"},
        {{"acl", "enable", "dump", "256"}, "LIST is \"256\", it must be a number from 0 to 255"},
        {{"acl", "enable", "dump"}, "LIST is required"},
        {{"flow", "limit", "2000001"}, "FLOWS is \"2000001\", it must be a number from 0 to 2000000"},
        {{"errorlog-mask", "0x100000000"}, "MASK is \"0x100000000\", it must be a number from 0 to 4294967295"},
        {{"errorlog-mask", "0x"}, "MASK is \"0x\""},
        {{"errorlog-mask", "-1"}, "-1"},
        {{"config", "read", "--input", "abc"}, "--input ends in half a byte"},
        {{"config", "read", "--input", std::string(56, '0')}, "--input has 28 bytes, at most 27 are sent"},
        {{"config", "read", "--save", ""}, "--save is empty"},
        {{"crash", "4294967296"}, "must be a number from 0 to 4294967295"},
    };
    for (const auto &[command, says] : wrong)
        expect_refused(command, 2, says);
    EXPECT_EQ(requests(), before);
}

// Types the answer on a terminal of nprmctl's own, and returns its exit status.
int run_on_terminal(const strings &arguments, const std::string &answer) {
    int terminal = -1;
    std::vector<char *> words{const_cast<char *>(NPRMCTL_PROGRAM)};
    for (const std::string &argument : arguments)
        words.push_back(const_cast<char *>(argument.c_str()));
    words.push_back(nullptr);
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        execv(NPRMCTL_PROGRAM, words.data());
        _exit(127);
    }
    EXPECT_EQ(write(terminal, answer.data(), answer.size()), static_cast<ssize_t>(answer.size()));
    char shown[256];
    while (read(terminal, shown, sizeof shown) > 0)
        continue;
    int status = 0;
    waitpid(child, &status, 0);
    close(terminal);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

TEST_F(NprmctlInterfaces, CrashesTheServerOnlyWhenThatIsConfirmed) {
    expect_refused({"crash", "7"}, 2, "there is no terminal to ask on: --yes");
    EXPECT_EQ(run_on_terminal({"crash", "7"}, "n\n"), 1);
    EXPECT_EQ(run_on_terminal({"crash", "7"}, "\n"), 1);
    EXPECT_EQ(state().at("crash_requests"), 0);
    EXPECT_EQ(run_on_terminal({"crash", "7"}, "y\n"), 0);
    EXPECT_EQ(state().at("crash_argument"), 7);
    EXPECT_EQ(done({"crash", "--yes"}), "the server was asked to crash, argument 0\n");
    EXPECT_EQ(state().at("crash_argument"), 0);
    EXPECT_EQ(state().at("crash_requests"), 2);
}

}  // namespace
