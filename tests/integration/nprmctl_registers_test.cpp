// nprmctl without a card: the map of registers, and lists of flow-debug records.

#include "run_nprmctl.h"

#include <cstdint>

#include <gmock/gmock.h>

#include "tests/support/scratch.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

// ---- registers

TEST(NprmctlRegBlocks, ListsAllBlocksTheReservedOnesWithoutRegisters) {
    const std::string text = run_nprmctl({"reg", "blocks"}).output;
    EXPECT_THAT(text, StartsWith("block  name                               first  last  registers\n"
                                 "    1  Ingress Classify Frame Descriptor      0     5          6\n"));
    EXPECT_THAT(text, HasSubstr("\n    6  RESERVED                                                0\n"));
    EXPECT_THAT(text, HasSubstr("\n   53  Additional Regs                     1952  1969         18\n"));
    const json blocks = run_nprmctl({"reg", "blocks", "--json"}).json().at("blocks");
    ASSERT_EQ(blocks.size(), 53U);
    EXPECT_EQ(blocks[5], json({{"block", 6}, {"name", "RESERVED"}, {"first", nullptr}, {"last", nullptr}, {"registers", 0}}));
}

TEST(NprmctlRegShow, TakesABlockANameOrARangeWhateverTheCase) {
    const auto shown = [](const char *what) { return run_nprmctl({"reg", "show", what, "--offline"}).output; };
    const std::string block =
        "index  register\n"
        "  667  EZreg_NPA_IBDMA_CONFIG\n";
    EXPECT_THAT(shown("18"), StartsWith(block));
    EXPECT_EQ(shown("ingress back dma"), shown("18"));
    EXPECT_EQ(shown("667-673"), shown("18"));
    EXPECT_EQ(shown("667-667"), block);
    EXPECT_EQ(shown("EZreg_NPA_IBDMA_CONFIG"), block);
    EXPECT_EQ(shown("ibdma_config"), block);
    EXPECT_EQ(shown("ezREG_npa_ibdma_config"), block);
    EXPECT_EQ(run_nprmctl({"reg", "show", "1969-1969", "--offline", "--json"}).json().at("registers").at(0).at("block"),
              "Additional Regs");
    EXPECT_EQ(run_nprmctl({"reg", "show", "0-1969", "--offline", "--json"}).json().at("registers").size(), 1970U);
}

TEST(NprmctlRegShow, RefusesWhatIsNoRegister) {
    const struct {
        const char *what, *says;
    } rows[] = {
        {"0", "BLOCK is \"0\", it must be a number from 1 to 53"},
        {"54", "BLOCK is \"54\", it must be a number from 1 to 53"},
        {"6", "block 6 is reserved, it has no registers"},
        {"5-2", "LAST of the range is \"2\", it must be a number from 5 to 1969"},
        {"0-1970", "LAST of the range is \"1970\", it must be a number from 0 to 1969"},
        {"1970-1970", "FIRST of the range is \"1970\", it must be a number from 0 to 1969"},
        {"1-", "LAST of the range is \"\""},
        {"reserved", "block 6 is reserved"},
        {"EZreg_NPA_Invalid", "\"EZreg_NPA_Invalid\" is no block, register or range of indexes"},
        {"", "\"\" is no block, register or range of indexes"},
    };
    for (const auto &row : rows) {
        const nprmctl_run run = run_nprmctl({"reg", "show", row.what, "--offline"});
        EXPECT_EQ(run.status, 2) << row.says;
        EXPECT_EQ(run.output, "") << row.says;
        EXPECT_THAT(run.errors, HasSubstr(row.says));
        EXPECT_THAT(run.errors, HasSubstr("\n  try: nprmctl reg blocks lists the blocks"));
    }
}

TEST(NprmctlRegShow, SaysWhatWorksWithoutTheServer) {
    use_private_ipc();
    const scratch_directory nobody;
    const nprmctl_run run = run_nprmctl({"reg", "show", "1", "--directory", nobody.path()});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.errors, HasSubstr("\n  try: --offline shows the names without the server\n"));
    EXPECT_THAT(run_nprmctl({"reg", "watch", "1", "--directory", nobody.path()}).errors,
                HasSubstr("\n  try: start a card: nprm-simcard; nprmctl card status tells whether one runs\n"));
}

TEST(NprmctlRegFind, FindsPartsOfNamesWhateverTheCase) {
    EXPECT_EQ(run_nprmctl({"reg", "find", "efdma_c"}).output,
              "index  register                block\n"
              "  341  EZreg_NPA_EFDMA_CONFIG  Egress Front DMA\n");
    EXPECT_EQ(run_nprmctl({"reg", "find", "EZreg", "--json"}).json().at("registers").size(), 1970U);
    // Also where the part begins inside what all names begin with, once or again.
    EXPECT_EQ(run_nprmctl({"reg", "find", "pa_efdma_c"}).output, run_nprmctl({"reg", "find", "EFDMA_C"}).output);
    EXPECT_EQ(run_nprmctl({"reg", "find", "_", "--json"}).json().at("registers").size(), 1970U);
    EXPECT_EQ(run_nprmctl({"reg", "find", "pa_x", "--json"}).json().at("registers").size(), 240U);
    EXPECT_EQ(run_nprmctl({"reg", "find", "pa", "--json"}).json().at("registers").size(), 1970U);
    EXPECT_EQ(run_nprmctl({"reg", "find", "parse_i"}).output,
              "index  register                   block\n"
              "  353  EZreg_NPA_PARSE_INTERRUPT  Top parse\n");
    const nprmctl_run none = run_nprmctl({"reg", "find", "nothing"});
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.output, "no register has \"nothing\" in its name\n");
    EXPECT_EQ(run_nprmctl({"reg", "find", ""}).status, 2);
}

// ---- flow-debug records

std::string record(uint16_t type, const std::string &value) {
    std::string bytes;
    for (const size_t number : {size_t{type}, value.size()}) {
        bytes += static_cast<char>(number);
        bytes += static_cast<char>(number >> 8);
    }
    bytes += value;
    bytes.resize((bytes.size() + 3) / 4 * 4);
    return bytes;
}

const std::string key = record(1, std::string("\x0a\x00\xa8\xc0\x90\x1f\x07\x01\x02\x03\x0a\x50\x00", 13));
const std::string state_change = record(3, std::string("\1\2\5\1", 4));

TEST(NprmctlTlvDecode, PrintsEachRecordOnItsLines) {
    const nprmctl_run run =
        run_nprmctl({"tlv", "decode", "-"}, key + state_change + record(7, "words\n") + record(8, "x") + record(4, "\3"));
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output,
              "   DECODE KEY>>\n"
              "\tdest ip   : 192.168.0.10    dest port : 8080    \n"
              "\tvrf         : 7       \n"
              "\tsource ip   : 10.3.2.1        source port : 80      \n"
              "state change: from 1 to 2, event 261\n"
              "words\n"
              "Unhandled type in flow trace\n"
              "class statistic 3: SERVER TO CLIENT, RETURN FROM SN TO INTERCEPT\n");
}

TEST(NprmctlTlvDecode, TellsTheSameAsJsonWithTheFields) {
    const nprmctl_run run = run_nprmctl({"tlv", "decode", "-", "--json"}, key + state_change);
    const json records = run.json().at("records");
    ASSERT_EQ(records.size(), 2U) << run.output;
    EXPECT_EQ(records[0].at("fields"),
              json({{"svr_ip", 0xC0A8000A}, {"svr_port", 8080}, {"cli_ip", 0x0A030201}, {"cli_port", 80}, {"vrf", 7}}));
    EXPECT_EQ(records[1], json({{"offset", 20},
                                {"type", 3},
                                {"name", "state change"},
                                {"length", 4},
                                {"fields", {{"from", 1}, {"to", 2}, {"event", 261}}},
                                {"text", "state change: from 1 to 2, event 261"},
                                {"data", "01020501"}}));
    EXPECT_EQ(run.json().at("defect"), nullptr);
}

TEST(NprmctlTlvDecode, AsksTheServerOnlyForNodesAndGroups) {
    use_private_ipc();
    const scratch_directory nobody;
    const auto decode = [&nobody](const std::string &list, bool offline) {
        std::vector<std::string> command = {"tlv", "decode", "-", "--directory", nobody.path()};
        if (offline) command.emplace_back("--offline");
        return run_nprmctl(command, list);
    };
    EXPECT_EQ(decode(key + record(8, "x") + record(2, std::string(26, '\1')), false).status, 0);
    EXPECT_EQ(decode(record(8, "x"), false).errors, "");
    for (const std::string &named : {record(2, std::string(26, '\2')), record(5, "\7"), record(6, std::string("\1\0", 2))}) {
        const nprmctl_run asked = decode(state_change + named, false);
        EXPECT_EQ(asked.status, 1);
        EXPECT_THAT(asked.errors, HasSubstr("\n  try: --offline decodes without the server\n"));
        EXPECT_EQ(decode(state_change + named, true).status, 0);
    }
    EXPECT_EQ(decode(record(2, std::string(26, '\2')) + record(5, "\7") + record(6, std::string("\1\0", 2)), true).output,
              "   DECODE RESULT>>\nsn ip: N/A\nservice node 7\nservice node group 1\n");
}

TEST(NprmctlTlvDecode, PrintsWhatStandsBeforeACutRecordAndTellsIt) {
    const nprmctl_run run = run_nprmctl({"tlv", "decode", "-"}, state_change + key.substr(0, 10));
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output, "state change: from 1 to 2, event 261\n");
    EXPECT_EQ(run.errors,
              "nprmctl: standard input: the record at byte 8, type 1, has 13 bytes behind its header, the list has 6 more\n");
    const nprmctl_run json_run = run_nprmctl({"tlv", "decode", "-", "--json"}, state_change + key.substr(0, 10));
    EXPECT_EQ(json_run.status, 2);
    EXPECT_EQ(json_run.json().at("defect"), "the record at byte 8, type 1, has 13 bytes behind its header, the list has 6 more");
    for (const std::string &nothing : {std::string(), std::string(8, '\0'), std::string("\1\0", 2)}) {
        const nprmctl_run empty = run_nprmctl({"tlv", "decode", "-"}, nothing);
        EXPECT_EQ(empty.status, 2);
        EXPECT_EQ(empty.errors, "nprmctl: standard input holds no records\n");
    }
}

TEST(NprmctlTlvDecode, ShowsTheLongestTextWhole) {
    const std::string text(65535, 'w');
    EXPECT_EQ(run_nprmctl({"tlv", "decode", "-"}, record(7, text)).output, text + "\n");
}

}  // namespace
