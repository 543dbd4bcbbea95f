// The printed form of every entry type, byte for byte, and the places where it goes.

#include "api/diag/nprm_decode.h"

#include <algorithm>
#include <cstring>
#include <map>

#include "printed.h"
#include "tests/support/bytes.h"
#include "tests/support/error_log.h"
#include "tests/support/scripted_client.h"

namespace {

class EntryPrinter : public ::testing::Test {
  protected:
    void SetUp() override { nprm_syslog_flag = 0; }
    void TearDown() override { nprm_syslog_flag = NPRM_SYSLOG_FLAG_DEFAULT; }
};

constexpr const char *rule = "-----------------------------------------------------";

// Byte patterns that tell each field's byte, bit and width apart from its neighbours'.
std::vector<uint8_t> pattern(int which) {
    constexpr uint8_t of_even[] = {0, 0xAA, 0xCC, 0xF0};
    std::vector<uint8_t> bytes(204);
    for (size_t i = 0; i < bytes.size(); ++i) {
        const auto alternating = static_cast<uint8_t>(i % 2 == 0 ? of_even[which] : ~of_even[which]);
        bytes[i] = which == 0 ? static_cast<uint8_t>(i * 37 + 11) : alternating;
    }
    return bytes;
}

std::vector<uint8_t> port_status(uint32_t link, uint32_t speed, uint64_t received, uint32_t receive_errors, uint64_t sent,
                                 uint32_t send_errors) {
    std::vector<uint8_t> bytes(32);
    std::memcpy(bytes.data(), &link, 4);
    std::memcpy(bytes.data() + 4, &speed, 4);
    std::memcpy(bytes.data() + 8, &received, 8);
    std::memcpy(bytes.data() + 16, &receive_errors, 4);
    std::memcpy(bytes.data() + 20, &sent, 8);
    std::memcpy(bytes.data() + 28, &send_errors, 4);
    return bytes;
}

TEST_F(EntryPrinter, PrintsEveryTypeAsItsGoldenFileHasIt) {
    for (uint32_t type = 1; type <= 24; ++type) {
        if (type == 2) continue;
        std::string text;
        for (int which = 0; which < 4; ++which)
            text += printed(type, type * 16 + static_cast<uint32_t>(which), pattern(which));
        if (type == 24) {
            constexpr uint32_t links[] = {0, 1, 1, 1, 1, 7, 1};
            for (uint32_t n = 0; n < 7; ++n)
                text += printed(type, n, port_status(links[n], n, n * 1000000000000ULL, n, n, 0xFFFFFFFF));
        }
        char name[32];
        std::snprintf(name, sizeof name, "/entries/type_%02u.txt", type);
        EXPECT_EQ(text, content_of(NPRM_GOLDEN_DIR + std::string(name))) << "type " << type;
    }
}

TEST_F(EntryPrinter, PrintsAPortTableEntryFieldByField) {
    const std::string text = printed(5, 0x2a, bytes_of("05 a3 00 00  78 56 34 12  00 00 00 00  00 81 64 00"));
    EXPECT_EQ(text, std::string("\n\nPort Table [0x2a]\n") + rule + "\n  Field Name                   #Bits  Value\n" + rule +
                        "\n  cb0.valid                       1    0x1 (1)"
                        "\n  cb0.match                       1    0 (0)"
                        "\n  cb0.default_qid_v               1    0x1 (1)"
                        "\n  cb0.l2_hdr                      1    0 (0)"
                        "\n  cb0.vif_tag                     1    0 (0)"
                        "\n  cb1.port_id                     7    0x23 (35)"
                        "\n  cb1.rx_tx                       1    0x1 (1)"
                        "\n  default_qid                    32    0x12345678 (305419896)"
                        "\n  vif_qid                        32    0 (0)"
                        "\n  tpid                           16    0x8100 (33024)"
                        "\n  vif_tag                        16    0x64 (100)");
}

TEST_F(EntryPrinter, PrintsTheAddressOfAFlowKeyBeforeItsFields) {
    const std::string text = printed(19, 0, bytes_of("0a 00 a8 c0  90 1f  07  01 02 03 0a  50 00"));
    EXPECT_EQ(text, std::string("\n\nFlow Table(key) Index  [0]\n") + rule + "\n  Field Name                   #Bits  Value\n" +
                        rule +
                        "\n     192.168.0.10:8080            10.3.2.1:80"
                        "\n  svr_ip                         32    0xc0a8000a (3232235530)"
                        "\n  svr_port                       16    0x1f90 (8080)"
                        "\n  cli_ip                         32    0xa030201 (167969281)"
                        "\n  cli_port                       16    0x50 (80)"
                        "\n  vrf                             8    0x7 (7)");
}

TEST_F(EntryPrinter, PrintsAMaskAsOneTextOf144Bits) {
    const std::string text = printed(7, 1, bytes_of("ff ff ff 00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f"));
    EXPECT_EQ(text, std::string("\n\nTCAM Mask [0x1]\n") + rule + "\n  Field Name                   #Bits  Value\n" + rule +
                        "\n  mask                           144    ffffff000102030405060708090a0b0c0d0e");
}

TEST_F(EntryPrinter, PrintsAPortsStatusAsATable) {
    EXPECT_EQ(printed(24, 3, port_status(1, 3, 123456789012345, 7, 0, 0)),
              "\n\nPort    Link     Speed       Rx pkts (err)       Tx pkts (err)"
              "\n3         up       10G 123456789012345 (7)               0 (0)");
    EXPECT_EQ(printed(24, 12, port_status(0, 99, 1, 0, 2, 3)),
              "\n\nPort    Link     Speed       Rx pkts (err)       Tx pkts (err)"
              "\n12         -   unknown               1 (0)               2 (3)");
}

TEST_F(EntryPrinter, AnIngressUidbOf0x81IsValidAndOfALag) {
    const std::string text = printed(3, 0, {0x81});
    EXPECT_NE(text.find("\n  cb0.valid                       1    0x1 (1)\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\n  cb0.lag                         1    0x1 (1)\n"), std::string::npos) << text;
    for (const char *name : {"match", "v4_en", "v6_en", "bvi", "punt", "drop"}) {
        char line[64];
        std::snprintf(line, sizeof line, "\n  %-30s  1    0 (0)\n", (std::string("cb0.") + name).c_str());
        EXPECT_NE(text.find(line), std::string::npos) << text;
    }
}

TEST_F(EntryPrinter, APortsByte7Of0xE0HasTheDecodeOffsetIn2BitsAndTheFrameType) {
    const std::string text = printed(1, 0, bytes_of("00 00 00 00 00 00 00 e0"));
    EXPECT_NE(text.find("\n  pc_sram_b7.decode_off           2    0x3 (3)"
                        "\n  pc_sram_b7.frame_type           1    0x1 (1)\n"),
              std::string::npos)
        << text;
}

TEST_F(EntryPrinter, ALagGroupPrintsAsManyMembersAsItHas) {
    EXPECT_EQ(printed(10, 0, bytes_of("00 00 00 00 00 00 00 00 ff")).find("member_port"), std::string::npos);
    const std::string text = printed(10, 0, bytes_of("00 00 00 00 00 00 00 02 09 0a 0b"));
    EXPECT_NE(text.find("\n  number_members                  8    0x2 (2)"
                        "\n  member_port[0]                  8    0x9 (9)"
                        "\n  member_port[1]                  8    0xa (10)"),
              std::string::npos)
        << text;
    EXPECT_EQ(text.find("member_port[2]"), std::string::npos);
}

TEST_F(EntryPrinter, ALagGroupsMembersStopAtTheEndOfTheLargestEntry) {
    const std::string text = printed(10, 0, bytes_of("00 00 00 00 00 00 00 ff"));
    EXPECT_NE(text.find("member_port[195]"), std::string::npos);
    EXPECT_EQ(text.find("member_port[196]"), std::string::npos);
}

// ---- where the lines go

TEST_F(EntryPrinter, AppendsToTheCallersText) {
    char text[NPRM_ENTRY_TEXT_BYTES_MAX] = "before";
    const std::vector<uint32_t> entry = entry_of({});
    EXPECT_EQ(decode_cfg_fib_tbl_key(0, entry.data(), 0, text, nullptr), 0);
    EXPECT_EQ(text, "before" + printed(21, 0, {}));
    const size_t once = std::strlen(text);
    decode_cfg_fib_tbl_key(0, entry.data(), 0, text, nullptr);
    EXPECT_EQ(text + once, printed(21, 0, {}));
}

TEST_F(EntryPrinter, EchoesToStandardOutputWhenAsked) {
    const std::vector<uint32_t> entry = entry_of({1, 2, 3});
    const std::string echoed = stdout_of([&] { decode_fib(7, entry.data(), 1, nullptr, nullptr); });
    EXPECT_EQ(echoed, printed(11, 7, {1, 2, 3}));
    EXPECT_EQ(flushed_stdout_of([&] { decode_fib(7, entry.data(), 1, nullptr, nullptr); }), echoed);
    EXPECT_EQ(stdout_of([&] { decode_fib(7, entry.data(), 0, nullptr, nullptr); }), "");
}

TEST_F(EntryPrinter, LogsEachLineUnderThePrintersName) {
    error_log log;
    const std::vector<uint32_t> entry = entry_of({1});
    decode_cfg_fib_tbl_key(0x10, entry.data(), 0, nullptr, nullptr);
    EXPECT_TRUE(log.texts().empty()) << "no bit of the mask is set";
    nprm_syslog_flag = 0xF0000000;
    decode_cfg_fib_tbl_key(0x10, entry.data(), 0, nullptr, nullptr);
    EXPECT_TRUE(log.texts().empty()) << "only bits above the low 28 are set";
    nprm_syslog_flag = 0x08000000;
    decode_cfg_fib_tbl_key(0x10, entry.data(), 0, nullptr, nullptr);
    const std::vector<std::string> texts = log.texts();
    ASSERT_EQ(texts.size(), 3u);
    EXPECT_NE(texts[0].find("decode_cfg_fib_tbl_key("), std::string::npos) << texts[0];
    EXPECT_NE(texts[0].find("): \nFIB Table(key) Index [0x10]\n"), std::string::npos) << texts[0];
    EXPECT_NE(texts[1].find("):   vrf                             8    0 (0)."), std::string::npos) << texts[1];
    EXPECT_NE(texts[2].find("):   ip_v4                          32    0x1 (1)."), std::string::npos) << texts[2];
}

TEST_F(EntryPrinter, LogsEveryTypeUnderItsOwnName) {
    const std::map<uint32_t, std::string> names = {{1, "decode_pcsram"},
                                                   {3, "decode_ing_uidb"},
                                                   {4, "decode_egr_uidb"},
                                                   {5, "decode_port_table"},
                                                   {6, "decode_host_key"},
                                                   {7, "decode_tcam_mask"},
                                                   {8, "decode_host_result"},
                                                   {9, "decode_if_encap"},
                                                   {10, "decode_lag"},
                                                   {11, "decode_fib"},
                                                   {12, "decode_vemo"},
                                                   {13, "decode_encap"},
                                                   {14, "decode_action"},
                                                   {15, "decode_sng_dist"},
                                                   {16, "decode_prs_cfg_dist_list"},
                                                   {17, "decode_res_cfg_dist_list"},
                                                   {18, "decode_cfg_flow_debug"},
                                                   {19, "decode_cfg_flow_tbl_key"},
                                                   {20, "decode_cfg_flow_tbl_data"},
                                                   {21, "decode_cfg_fib_tbl_key"},
                                                   {22, "decode_cfg_fib_tbl_data"},
                                                   {23, "decode_ethmon_cfg"},
                                                   {24, "decode_ethmon_portstatus"}};
    EXPECT_EQ(names.size(), 23u);
    const std::vector<uint32_t> entry = entry_of({});
    for (const auto &[type, name] : names) {
        nprm_syslog_flag = 1;
        const entry_printer print = printer_of(type);
        const std::string log = stderr_of([&] { print(0, entry.data(), 0, nullptr, nullptr); });
        nprm_syslog_flag = 0;
        const std::string text = printed(type, 0, {});
        size_t sites = 0;
        for (size_t at = 0; (at = log.find(name + "(", at)) != std::string::npos; ++at)
            ++sites;
        // Title and heading are one message of several lines; a port's status has a heading of two.
        const auto lines = static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
        EXPECT_EQ(sites, type == 24 ? lines - 1 : lines - 4) << log;
    }
}

TEST_F(EntryPrinter, RefusesANullEntry) {
    nprm_syslog_flag = 1;
    const std::string log = stderr_of([] { EXPECT_EQ(decode_vemo(1, nullptr, 1, nullptr, stdout), 1); });
    EXPECT_NE(log.find("decode_vemo("), std::string::npos) << log;
}

TEST_F(EntryPrinter, NeedsNoMoreTextThanItSays) {
    std::vector<uint8_t> most(204, 0xFF);
    for (uint32_t type = 1; type <= 24; ++type)
        if (type != 2) {
            EXPECT_LT(printed(type, 0xFFFFFFFF, most).size(), size_t{NPRM_ENTRY_TEXT_BYTES_MAX}) << type;
        }
}

}  // namespace
