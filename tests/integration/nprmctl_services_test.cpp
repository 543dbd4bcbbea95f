// The commands for service nodes, contexts, WCCP entries and flows against a real card: what they say, in text and as JSON.

#include "nprmctl_fixture.h"

#include <filesystem>

#include <gmock/gmock.h>

#include "api/wire/nprm_message.h"
#include "tests/hostile/raw_server.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;

class NprmctlServices : public Nprmctl {
  protected:
    json status_of(const char *component) const { return card.control({{"command", "status"}}).at("models").at(component); }
    static void expect_refused(const strings &arguments, const char *says) {
        const nprmctl_run run = run_nprmctl(arguments);
        EXPECT_EQ(run.status, 1) << arguments[0] << " " << arguments[1];
        EXPECT_EQ(run.output, "");
        EXPECT_THAT(run.errors, HasSubstr(says));
    }
};

TEST_F(NprmctlServices, MakeShowAndDeleteServiceNodes) {
    EXPECT_EQ(done({"sn", "show"}), "the card has no service nodes\n");
    EXPECT_EQ(done({"sn", "add", "1", "192.0.2.11", "192.0.2.12", "--vlan", "100", "--flags", "64"}), "service node 1 is added\n");
    EXPECT_EQ(done({"sn", "add", "200", "2001:db8::2"}), "service node 200 is added\n");
    EXPECT_EQ(done({"sn", "show"}),
              " id  kind  address      secondary   VLAN  flags\n"
              "  1  IPv4  192.0.2.11   192.0.2.12   100     66\n"
              "200  IPv6  2001:db8::2                 0      0\n");
    EXPECT_EQ(done({"sn", "show", "1"}),
              "id         1\nkind       IPv4\naddress    192.0.2.11\nsecondary  192.0.2.12\nVLAN       100\nflags      66\n");
    EXPECT_EQ(done_json({"sn", "show", "200"}),
              json({{"id", 200}, {"kind", "IPv6"}, {"address", "2001:db8::2"}, {"secondary", nullptr}, {"vlan", 0}, {"flags", 0}}));
    expect_refused({"sn", "add", "1", "192.0.2.99"}, "NPRM_ERROR_FDM_WRITE_SN (43)");
    expect_refused({"sn", "add", "2", "192.0.2.12"}, "NPRM_ERROR_FDM_DUPLICATE_SN_IP (60)");
    EXPECT_EQ(done({"sn", "replace", "1", "192.0.2.12"}), "service node 1 is replaced\n");
    EXPECT_EQ(done_json({"sn", "show", "1"}).at("secondary"), nullptr);
    EXPECT_EQ(done({"sn", "delete", "1"}), "service node 1 is deleted\n");
    expect_refused({"sn", "show", "1"}, "service node 1 cannot be read: NPRM_ERROR_FDM_SN_NOT_EXIST (36)");
    EXPECT_EQ(done_json({"sn", "show"}).at("nodes").size(), 1U);
}

TEST_F(NprmctlServices, MakeShowAndDeleteGroupsAndTheirDistribution) {
    done({"sn", "add", "5", "192.0.2.11"});
    EXPECT_EQ(done({"sng", "add", "65535", "--fields", "15.31.127", "--flags", "3"}), "service-node group 65535 is added\n");
    EXPECT_EQ(done({"sng", "replace", "7", "--fields", "1.2.3"}), "service-node group 7 is replaced\n");
    EXPECT_EQ(done({"sng", "show", "7"}), "group    7\nfield A  1\nfield B  2\nfield C  3\n");
    EXPECT_EQ(done({"sng", "show", "65530", "--count", "6"}),
              "group  field A  field B  field C\n65535       15       31      127\n");
    EXPECT_EQ(done_json({"sng", "show", "0", "--count", "5"}).at("groups"), json::array());

    EXPECT_EQ(done({"sng-dist", "add", "7", "255", "5", "--flags", "127"}),
              "hash index 255 of service-node group 7 leads to service node 5\n");
    EXPECT_EQ(done({"sng-dist", "add", "7", "0", "9", "--invalid"}),
              "hash index 0 of service-node group 7 is not valid; it names service node 9\n");
    EXPECT_EQ(done({"sng-dist", "show", "7"}),
              "index  valid  node  flags\n"
              "    0  no        9      0\n"
              "  255  yes       5    127\n");
    EXPECT_EQ(done_json({"sng-dist", "show", "7", "255"}), json({{"index", 255}, {"valid", true}, {"node", 5}, {"flags", 127}}));
    expect_refused({"sng-dist", "add", "7", "0", "5"}, "NPRM_ERROR_FDM_WRITE_SNG_DIST (53)");
    expect_refused({"sng-dist", "replace", "7", "0", "9"}, "NPRM_ERROR_FDM_SN_NOT_EXIST (36)");
    expect_refused({"sn", "delete", "5"}, "nprmctl sng-dist show GROUP");
    expect_refused({"sng", "delete", "7"}, "NPRM_ERROR_FDM_DEL_ACTION (52)");
    EXPECT_EQ(done({"sng-dist", "replace", "7", "0", "5"}), "hash index 0 of service-node group 7 leads to service node 5\n");
    for (const char *index : {"0", "255"})
        EXPECT_EQ(done({"sng-dist", "delete", "7", index}),
                  std::string("hash index ") + index + " of service-node group 7 leads nowhere\n");
    EXPECT_EQ(done({"sng-dist", "show", "7"}), "no hash index of the group is set, or the card has no such group\n");
    EXPECT_EQ(done({"sng", "delete", "7"}), "service-node group 7 is deleted\n");
}

TEST_F(NprmctlServices, HaveManyHashIndexesLeadToANodeInOneMessage) {
    done({"sn", "add", "5", "192.0.2.11"});
    done({"sng", "add", "7"});
    const uint64_t before = requests();
    EXPECT_EQ(done({"sng-dist", "add", "7", "0-255", "5", "--dry-run"}),
              "hash indexes 0-255 of service-node group 7 would be added in 1 message of 20,488 bytes; nothing was sent\n");
    EXPECT_EQ(done_json({"sng-dist", "delete", "7", "9", "--dry-run"}),
              json::parse(R"({"group": 7, "indexes": [9], "messages": 1, "bytes": 88})"));
    EXPECT_EQ(requests(), before);
    EXPECT_EQ(done({"sng-dist", "add", "7", "200,0-99", "5"}),
              "hash indexes 200,0-99 of service-node group 7 lead to service node 5\n");
    EXPECT_EQ(requests(), before + 1);
    EXPECT_EQ(done_json({"sng-dist", "show", "7"}).at("members").size(), 101U);
    // All or none: 200 leads to a node already.
    expect_refused({"sng-dist", "add", "7", "100-255", "5"},
                   "hash indexes 100-255 of service-node group 7 were not added: NPRM_ERROR_FDM_WRITE_SNG_DIST (53)");
    EXPECT_EQ(done_json({"sng-dist", "show", "7"}).at("members").size(), 101U);
    EXPECT_EQ(done({"sng-dist", "replace", "7", "0,1", "9", "--invalid"}),
              "hash indexes 0-1 of service-node group 7 are not valid; they name service node 9\n");
    EXPECT_EQ(done_json({"sng-dist", "delete", "7", "0-99,200"}).at("indexes").size(), 101U);
    EXPECT_EQ(done_json({"sng-dist", "show", "7"}).at("members").size(), 0U);
}

TEST_F(NprmctlServices, MakeShowAndDeleteContextsAndTheirGroups) {
    EXPECT_EQ(done({"sc", "add", "1", "2001:db8::1", "2001:db8::2"}), "service context 1 is added\n");
    EXPECT_EQ(done({"sc", "add", "2", "10.0.0.1", "--flags", "253"}), "service context 2 is added\n");
    EXPECT_EQ(done({"sc", "show"}),
              "id  kind  address      secondary    flags\n"
              " 1  IPv6  2001:db8::1  2001:db8::2      0\n"
              " 2  IPv4  10.0.0.1                    255\n");
    EXPECT_EQ(done({"sc", "show", "2"}), "id         2\nkind       IPv4\naddress    10.0.0.1\nsecondary  none\nflags      255\n");
    EXPECT_EQ(done({"scg", "add", "4", "2", "1"}), "service-context group 4 is added\n");
    EXPECT_EQ(done({"scg", "show", "4"}), "group     4\ncontexts  2\nfirst 16  2 1\n");
    EXPECT_EQ(done_json({"scg", "show"}).at("groups"), json::parse(R"([{"id": 4, "size": 2, "contexts": [2, 1]}])"));
    expect_refused({"scg", "add", "4", "1"}, "NPRM_ERROR_CMM_WRITE_DIST_LIST (77)");
    expect_refused({"sc", "delete", "1"}, "NPRM_ERROR_CMM_DEL_SC (69)");
    EXPECT_EQ(done({"scg", "replace", "4", "2"}), "service-context group 4 is replaced\n");
    EXPECT_EQ(done({"sc", "replace", "1", "10.0.0.2"}), "service context 1 is replaced\n");
    EXPECT_EQ(done({"sc", "delete", "1"}), "service context 1 is deleted\n");
    EXPECT_EQ(done({"scg", "delete", "4"}), "service-context group 4 is deleted\n");
    expect_refused({"scg", "show", "4"}, "NPRM_ERROR_CMM_READ_DIST_LIST (79)");
    EXPECT_EQ(done({"scg", "show"}), "the card has no service-context groups\n");
}

TEST_F(NprmctlServices, ShowOfAGroupThatARead16ContextsOfEndsInDots) {
    strings add = {"scg", "add", "0"};
    for (int id = 1; id <= 17; ++id) {
        done({"sc", "add", std::to_string(id), "10.0.0." + std::to_string(id)});
        add.push_back(std::to_string(id));
    }
    done(add);
    EXPECT_EQ(done({"scg", "show", "0"}), "group     0\ncontexts  17\nfirst 16  1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 ...\n");
}

TEST_F(NprmctlServices, MakeShowAndDeleteWccpEntries) {
    done({"wccp", "add", "1", "192.0.2.11", "192.0.2.1"});
    done({"wccp", "add", "2", "00:11:22:aa:BB:ff"});
    EXPECT_EQ(done({"wccp", "replace", "3", "2001:db8::1"}), "WCCP entry 3 is replaced\n");
    EXPECT_EQ(done({"wccp", "show"}),
              "id  kind  address            router     flags\n"
              " 1  IPv4  192.0.2.11         192.0.2.1      2\n"
              " 2  MAC   00:11:22:aa:bb:ff                 8\n"
              " 3  IPv6  2001:db8::1                       4\n");
    EXPECT_EQ(done_json({"wccp", "show", "2"}),
              json({{"id", 2}, {"kind", "MAC"}, {"address", "00:11:22:aa:bb:ff"}, {"router", nullptr}, {"flags", 8}}));
    expect_refused({"wccp", "add", "1", "192.0.2.11"}, "nprmctl wccp show, nprmctl wccp replace");
    EXPECT_EQ(done({"wccp", "add", "4", "none", "--flags", "193"}), "WCCP entry 4 is added\n");
    EXPECT_EQ(done({"wccp", "show", "4"}), "id       4\nkind     none\naddress  none\nrouter   none\nflags    193\n");
    EXPECT_EQ(done({"wccp", "delete", "4"}), "WCCP entry 4 is deleted\n");
    EXPECT_EQ(done({"wccp", "delete", "1"}), "WCCP entry 1 is deleted\n");
    expect_refused({"wccp", "delete", "1"},
                   "NPRM_ERROR_WCCP_NOT_EXIST (84), the card has no such entry\n  try: nprmctl wccp show\n");
    EXPECT_EQ(done({"wccp", "mtu", "1476"}), "the MTU of WCCP is 1,476 bytes\n");
    EXPECT_EQ(status_of("WCCP"), json({{"entries", 2}, {"mtu", 1476}}));
}

TEST_F(NprmctlServices, ControlTheFlowPath) {
    const auto asked = [this](const char *what) {
        return card.control({{"command", "ask"}, {"component", "FDM"}, {"question", {{"flow", what}}}}).dump();
    };
    EXPECT_EQ(done({"flow", "trace", "start", "--address", "10.0.0.1", "--port", "443", "--vrf", "9"}),
              "the flow trace is started\n");
    EXPECT_THAT(asked("trace"), HasSubstr(R"({"address":167772161,"bytes":[1,0,0,0],"port":443,"vrf":9})"));
    EXPECT_EQ(done({"flow", "dump", "start", "--address", "10.0.0.2", "--port", "80"}), "the flow dump is started\n");
    EXPECT_THAT(asked("dump"), HasSubstr(R"({"bytes":[1,10,0,0,2],"port":80})"));
    EXPECT_EQ(done({"flow", "trace", "stop"}), "the flow trace is stopped\n");
    EXPECT_EQ(done_json({"flow", "dump", "stop"}), json({{"dump", false}}));
    EXPECT_EQ(done({"flow", "swap", "on"}), "the swapping of source addresses is on\n");
    EXPECT_EQ(done({"flow", "frames", "250"}), "the port channel's frames have version 250\n");
    const json state = status_of("FDM");
    EXPECT_EQ(state.at("traces"), false);
    EXPECT_EQ(state.at("swaps"), true);
    EXPECT_EQ(state.at("frames"), 250);
    EXPECT_EQ(done({"flow", "swap", "off"}), "the swapping of source addresses is off\n");
    EXPECT_EQ(status_of("FDM").at("swaps"), false);
}

TEST_F(NprmctlServices, TellWhichNodeTakesAFlow) {
    const strings flow = {"flow", "dist", "7", "198.51.100.7", "192.0.2.10", "--from", "40000", "--to", "443"};
    expect_refused(flow, "the distribution of group 7 is not known: NPRM_ERROR_FDM_READ_SNG_DIST (54)");
    done({"sn", "add", "5", "192.0.2.11"});
    done({"sng", "add", "7"});
    const json unserved = done_json(flow);
    EXPECT_EQ(unserved.at("node"), nullptr);
    const uint32_t index = unserved.at("hash_index");
    done({"sng-dist", "add", "7", std::to_string(index), "5"});
    EXPECT_EQ(done(flow), "hash index                        " + std::to_string(index) +
                              "\nservice node                      5\nits address                       192.0.2.11\n"
                              "hash indexes that lead to a node  1\nnodes of the group                1\n");
    EXPECT_EQ(done_json(flow).at("words").size(), 15U);
    strings other = flow;
    other[6] = "40001";
    EXPECT_NE(done_json(other).at("hash_index"), index);
}

TEST_F(NprmctlServices, ShowNothingOfAnAnswerThatIsCut) {
    done({"sn", "add", "1", "192.0.2.11"});
    for (const int left : {4, 12, 87}) {
        fault({{"kind", "truncate"}, {"component", "FDM"}, {"value", left}});
        expect_refused({"sn", "show", "1"}, "service node 1 cannot be read: NPRM_ERROR (1)");
    }
    done({"sn", "show", "1"});
}

TEST_F(NprmctlServices, SayThatAGroupMayBeAbsentWhenACodeDoesNotTellIt) {
    expect_refused({"sng", "show", "9"},
                   "NPRM_ERROR_FDM_READ_ACTION (51), the group could not be read; it may be absent\n"
                   "  try: nprmctl sng show 0 --count 1024\n");
    expect_refused({"scg", "show", "9"},
                   "NPRM_ERROR_CMM_READ_DIST_LIST (79), the list could not be read; the group may be absent\n");
    expect_refused({"sng-dist", "show", "9", "0"}, "(54), the hash index leads nowhere, or the card has no such group\n");
    expect_refused({"sng-dist", "delete", "9", "0"}, "(55), a hash index leads nowhere already, or the card has no such group\n");
    expect_refused({"flow", "dist", "9", "10.0.0.1", "10.0.0.2"},
                   "(54), the group's distribution could not be read; it may be absent");
}

TEST_F(NprmctlServices, SayWhatToTryWhenARefusalLeavesAChoice) {
    done({"sn", "add", "1", "192.0.2.11"});
    done({"sc", "add", "1", "192.0.2.11"});
    done({"sng", "add", "7"});
    const std::pair<strings, const char *> refusals[] = {
        {{"sn", "add", "2", "192.0.2.11"}, "(60), another service node has the address\n  try: nprmctl sn show\n"},
        {{"sn", "replace", "1", "10.0.0.1", "10.0.0.1"},
         "(61), the secondary address is not valid; it may be the first one again\n"},
        {{"sn", "add", "2", "0.0.0.0"}, "NPRM_ERROR_PARAM (3), an argument is not valid; the address may be 0\n"},
        {{"sn", "delete", "2"}, "(36), the service node does not exist\n  try: nprmctl sn show\n"},
        {{"sng-dist", "add", "7", "0", "2"}, "(36), the service node does not exist\n  try: nprmctl sn show, nprmctl sn add\n"},
        {{"sc", "replace", "2", "192.0.2.11"}, "(82), another service context has the address\n  try: nprmctl sc show\n"},
        {{"sc", "add", "2", "::"}, "NPRM_ERROR_PARAM (3), an argument is not valid; the address may be 0\n"},
        {{"scg", "replace", "1", "1", "2"},
         "(62), a service context of the list does not exist\n  try: nprmctl sc show, nprmctl sc add\n"},
        {{"wccp", "add", "1", "::"}, "NPRM_ERROR_PARAM (3), an argument is not valid; the address may be 0\n"},
    };
    for (const auto &[arguments, says] : refusals)
        expect_refused(arguments, says);
    const std::pair<const char *, strings> full[] = {{"FDM", {"sn", "add", "2", "10.0.0.1"}},
                                                     {"CMM", {"sc", "add", "2", "10.0.0.1"}},
                                                     {"WCCP", {"wccp", "add", "2", "10.0.0.1"}}};
    for (const auto &[component, arguments] : full) {
        const int code = component[0] == 'F' ? 39 : component[0] == 'C' ? 65 : 87;
        fault({{"kind", "result"}, {"component", component}, {"value", code}});
        const std::string next = "can be made\n  try: nprmctl " + arguments[0] + " show, nprmctl " + arguments[0] + " delete\n";
        expect_refused(arguments, next.c_str());
    }
}

// A server of one component that answers every request with its operation, no records, and the word that a result would be.
TEST_F(NprmctlServices, ShowNothingOfAnAnswerWithoutRecords) {
    const std::pair<uint32_t, std::vector<strings>> answers[] = {
        {NPRM_OPCODE_FDM, {{"sn", "show", "1"}, {"sn", "show"}, {"sng", "show", "7"}, {"sng-dist", "show", "7", "0"}}},
        {NPRM_OPCODE_CMM, {{"sc", "show", "1"}, {"scg", "show", "1"}}},
        {NPRM_OPCODE_WCCP, {{"wccp", "show", "1"}}}};
    for (const auto &[opcode, commands] : answers) {
        std::filesystem::remove(directory / std::to_string(opcode));
        raw_process server(directory.path(), opcode, [](int connection) {
            for (raw_request request; next_request(connection, &request);) {
                byte_list payload(request.payload.begin(), request.payload.begin() + 4);
                payload.resize(12);
                send_bytes(connection, reply_of(request.token, payload));
            }
        });
        for (const strings &command : commands)
            expect_refused(command, "cannot be read: NPRM_ERROR (1)");
    }
}

TEST(NprmctlServicesUsage, EndsWithStatus2AndNamesTheArgument) {
    const std::pair<strings, const char *> wrong[] = {
        {{"sn", "add", "256", "192.0.2.1"}, "ID is \"256\", it must be a number from 0 to 255"},
        {{"sn", "add", "1", "192.0.2"}, "ADDRESS is \"192.0.2\", it must be an IPv4 or IPv6 address"},
        {{"sn", "add", "1", "192.0.2.1", "::1"}, "SECONDARY is \"::1\", it must be of the same IP version as the first address"},
        {{"sn", "add", "1", "::1", "--vlan", "65536"}, "--vlan is \"65536\", it must be a number from 0 to 65535"},
        {{"sn", "add", "1", "::1", "--flags", "x"}, "--flags is \"x\", it must be a number from 0 to 255"},
        {{"sng", "add", "7", "--fields", "16.0.0"}, "--fields is \"16.0.0\", it must be A.B.C: 0 to 15, 0 to 31 and 0 to 127"},
        {{"sng", "add", "7", "--fields", "1.2"}, "--fields is \"1.2\""},
        {{"sng", "add", "7", "--fields", "1.2.3.4"}, "--fields is \"1.2.3.4\""},
        {{"sng", "add", "7", "--fields", "1.2.128"}, "--fields is \"1.2.128\""},
        {{"sng", "show", "65535", "--count", "2"}, "GROUP and --count reach behind the last group, 65535"},
        {{"sng-dist", "add", "7", "256", "1"}, "INDEXES: a group has no hash index 256, the last one is 255"},
        {{"sng-dist", "add", "7", "0-3,2", "1"}, "INDEXES: hash index 2 is named twice"},
        {{"sng-dist", "delete", "7", "3-1"}, "INDEXES: \"3-1\" is neither a hash index nor a range like 0-99"},
        {{"sng-dist", "add", "7", "0", "1", "--flags", "128"}, "--flags is \"128\", it must be a number from 0 to 127"},
        {{"sc", "add", "1", "fe80::1%eth0"}, "it must be an IPv4 or IPv6 address"},
        {{"scg", "add", "1", "2", "x"}, "ID is \"x\", it must be a number from 0 to 255"},
        {{"scg", "add", "1"}, "ID is required"},
        {{"wccp", "add", "1", "00:11:22:33:44:5"}, ", a MAC address such as 00:11:22:33:44:55, or none"},
        {{"wccp", "add", "1", "00:11:22:33:44-55"}, ", a MAC address such as 00:11:22:33:44:55, or none"},
        {{"wccp", "add", "1", "00:11:22:33:44:55", "192.0.2.1"}, "ROUTER is \"192.0.2.1\", it is given behind an IP address only"},
        {{"wccp", "add", "1", "none", "192.0.2.1"}, "ROUTER is \"192.0.2.1\", it is given behind an IP address only"},
        {{"sn", "add", "1", "none"}, "ADDRESS is \"none\", it must be an IPv4 or IPv6 address"},
        {{"wccp", "mtu", "0"}, "BYTES is \"0\", it must be a number from 1 to 65535"},
        {{"flow", "trace", "maybe"}, "STATE is \"maybe\", it must be start or stop"},
        {{"flow", "dump", "start", "--address", "::1"}, "--address is \"::1\", it must be an IPv4 address"},
        {{"flow", "dist", "7", "1.2.3.4", "host"}, "DESTINATION is \"host\", it must be an IPv4 address"},
        {{"flow", "swap", "1"}, "STATE is \"1\", it must be on or off"},
        {{"flow", "frames", "256"}, "VERSION is \"256\", it must be a number from 0 to 255"},
    };
    for (const auto &[arguments, says] : wrong) {
        const nprmctl_run run = run_nprmctl(arguments);
        EXPECT_EQ(run.status, 2) << says;
        EXPECT_THAT(run.errors, HasSubstr(says));
        EXPECT_THAT(run.errors, HasSubstr("usage: nprmctl " + arguments[0]));
    }
}

}  // namespace
