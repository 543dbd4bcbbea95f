// Packet dumps: header, rows, and where they go.

#include "util/ad_debug/ad_packet.h"

#include <cerrno>
#include <cstring>
#include <numeric>

#include "debug_library.h"
#include "util/ad_debug/state.h"

namespace {

class AdDebugPrintPkt : public debug_library {
  protected:
    log_socket error_log{main_path()};
    log_socket special_log{special_path()};
    const std::string pid = "(" + std::to_string(getpid()) + ")";

    // The rows of a dump of bytes 0x80, 0x81, ...
    std::vector<std::string> rows_of(int count) {
        std::vector<uint8_t> bytes(static_cast<size_t>(count) + 1);
        std::iota(bytes.begin(), bytes.end(), uint8_t{0x80});
        ad_debug_print_pkt_impl(1, "PKTS", bytes.data(), count, "a.c", 1, "d");
        std::vector<std::string> lines = error_log.texts();
        if (!lines.empty()) lines.erase(lines.begin());
        return lines;
    }
    std::vector<std::string> row(const std::string &text) const { return {pid + "PKTS: 0x000: " + text + "\n"}; }
};

TEST_F(AdDebugPrintPkt, PrintsTwentyBytesAsHeaderFullRowAndRowOfFour) {
    use_level(1);
    strcpy(ad_debug_process_name, "not shown");
    const char packet[] = "abcdefghijklmnopqrst";
    ad_debug_print_pkt_impl(1, "PKTS", packet, 20, "/src/host/main.c", 42, "from port 3");
    EXPECT_EQ(error_log.texts(),
              (std::vector<std::string>{
                  pid + "PKTS:main.c:42-> DUMP length = 0x14 (from port 3)\n",
                  pid + "PKTS: 0x000: 0x61,0x62,0x63,0x64,0x65,0x66,0x67,0x68,  0x69,0x6a,0x6b,0x6c,0x6d,0x6e,0x6f,0x70\n",
                  pid + "PKTS: 0x010: 0x71,0x72,0x73,0x74\n"}));
}

TEST_F(AdDebugPrintPkt, PrintsRowsOfEveryLengthWithUnsignedBytes) {
    use_level(1);
    EXPECT_EQ(rows_of(1), row("0x80"));
    EXPECT_EQ(rows_of(2), row("0x80,0x81"));
    EXPECT_EQ(rows_of(3), row("0x80,0x81,0x82"));
    EXPECT_EQ(rows_of(4), row("0x80,0x81,0x82,0x83"));
    EXPECT_EQ(rows_of(5), row("0x80,0x81,0x82,0x83,0x84"));
    EXPECT_EQ(rows_of(6), row("0x80,0x81,0x82,0x83,0x84,0x85"));
    EXPECT_EQ(rows_of(7), row("0x80,0x81,0x82,0x83,0x84,0x85,0x86"));
    EXPECT_EQ(rows_of(8), row("0x80,0x81,0x82,0x83,0x84,0x85,0x86,0x87"));
    EXPECT_EQ(rows_of(9), row("0x80,0x81,0x82,0x83,0x84,0x85,0x86,0x87,  0x88"));
    EXPECT_EQ(rows_of(10), row("0x80,0x81,0x82,0x83,0x84,0x85,0x86,0x87,  0x88,0x89"));
    EXPECT_EQ(rows_of(11), row("0x80,0x81,0x82,0x83,0x84,0x85,0x86,0x87,  0x88,0x89,0x8a"));
    EXPECT_EQ(rows_of(12), row("0x80,0x81,0x82,0x83,0x84,0x85,0x86,0x87,  0x88,0x89,0x8a,0x8b"));
    EXPECT_EQ(rows_of(13), row("0x80,0x81,0x82,0x83,0x84,0x85,0x86,0x87,  0x88,0x89,0x8a,0x8b,0x8c"));
    EXPECT_EQ(rows_of(14), row("0x80,0x81,0x82,0x83,0x84,0x85,0x86,0x87,  0x88,0x89,0x8a,0x8b,0x8c,0x8d"));
    EXPECT_EQ(rows_of(15), row("0x80,0x81,0x82,0x83,0x84,0x85,0x86,0x87,  0x88,0x89,0x8a,0x8b,0x8c,0x8d,0x8e"));
    EXPECT_EQ(rows_of(16), row("0x80,0x81,0x82,0x83,0x84,0x85,0x86,0x87,  0x88,0x89,0x8a,0x8b,0x8c,0x8d,0x8e,0x8f"));
}

TEST_F(AdDebugPrintPkt, PrintsSmallBytesWithTwoDigits) {
    use_level(1);
    ad_debug_print_pkt_impl(1, "PKTS", "\x00\x05\x0f", 3, "a.c", 1, "d");
    EXPECT_EQ(error_log.texts().at(1), pid + "PKTS: 0x000: 0x00,0x05,0x0f\n");
}

TEST_F(AdDebugPrintPkt, WidensOffsetsAbove0xfff) {
    use_level(1);
    const std::vector<std::string> rows = rows_of(0x1001);
    ASSERT_EQ(rows.size(), 257U);
    EXPECT_EQ(rows[255].substr(pid.size(), 13), "PKTS: 0xff0: ");
    EXPECT_EQ(rows[256], pid + "PKTS: 0x1000: 0x80\n");
}

TEST_F(AdDebugPrintPkt, PrintsTheHeaderAloneForLengthsOfZeroAndLessAndWithoutData) {
    use_level(1);
    ad_debug_print_pkt_impl(1, "PKTS", "x", 0, "a.c", 1, "none");
    ad_debug_print_pkt_impl(1, "PKTS", "x", -1, "a.c", 1, nullptr);
    ad_debug_print_pkt_impl(1, "PKTS", nullptr, 32, "a.c", 1, "null");
    EXPECT_EQ(error_log.texts(), (std::vector<std::string>{pid + "PKTS:a.c:1-> DUMP length = 0x0 (none)\n",
                                                           pid + "PKTS:a.c:1-> DUMP length = 0xffffffff ((null))\n",
                                                           pid + "PKTS:a.c:1-> DUMP length = 0x20 (null)\n"}));
}

TEST_F(AdDebugPrintPkt, PrintsNothingWithoutARecordNotEvenAtLevel0) {
    ad_debug_print_pkt_impl(0, "PKTS", "x", 1, "a.c", 1, "d");
    ad_debug_print_pkt(0, "PKTS", "x", 1, "d");
    EXPECT_TRUE(error_log.texts().empty());
    EXPECT_TRUE(fake_syslog_calls().empty());
    EXPECT_EQ(ad_debug_cfg_p, nullptr);
}

TEST_F(AdDebugPrintPkt, IsDroppedAboveTheConfiguredLevelAndByTheFilters) {
    use_level(2);
    ad_debug_print_pkt_impl(3, "PKTS", "x", 1, "a.c", 1, "d");
    ad_debug_print_pkt(3, "PKTS", "x", 1, "d");
    EXPECT_TRUE(error_log.texts().empty());
    ad_debug_print_pkt(2, "PKTS", "x", 1, "d");
    EXPECT_EQ(error_log.texts().size(), 2U);
    ad_debug_cfg_p->server_ip = 1;
    ad_current_server_ip = 2;
    ad_debug_print_pkt_impl(0, "PKTS", "x", 1, "a.c", 1, "d");
    EXPECT_TRUE(error_log.texts().empty());
    ad_debug_cfg_p->server_ip = 0;
    ad_debug_cfg_p->client_ip = 1;
    ad_current_client_ip = 2;
    ad_debug_print_pkt_impl(0, "PKTS", "x", 1, "a.c", 1, "d");
    EXPECT_TRUE(error_log.texts().empty());
}

TEST_F(AdDebugPrintPkt, RoutesEveryLineAsAMessageOfItsLevel) {
    use_level(4);
    ad_debug_module_id = 9;
    ad_debug_print_pkt(0, "PKTS", "x", 1, "d");
    EXPECT_EQ(error_log.texts().size(), 2U);
    EXPECT_EQ(special_log.texts().at(1), pid + "PKTS: 0x000: 0x78\n");
    ASSERT_EQ(fake_syslog_calls().size(), 2U);
    EXPECT_EQ(fake_syslog_calls()[1].priority, 7);
    EXPECT_EQ(fake_syslog_calls()[1].module_id, 9U);
    EXPECT_EQ(fake_syslog_calls()[1].zero, 0);
    EXPECT_EQ(fake_syslog_calls()[1].message_number, 100000U);
    EXPECT_EQ(fake_syslog_calls()[1].text, pid + "PKTS: 0x000: 0x78\n");

    fake_syslog_calls().clear();
    ad_debug_print_pkt(4, "PKTS", "x", 1, "d");
    EXPECT_EQ(error_log.texts().size(), 0U);
    EXPECT_EQ(special_log.texts().size(), 2U);
    EXPECT_TRUE(fake_syslog_calls().empty());
}

TEST_F(AdDebugPrintPkt, LeavesTheSpecialLogOutWhileItsPathIsEmpty) {
    set_path(ad_errorlog_sp_addr, "");
    use_level(4);
    EXPECT_EQ(stderr_of([] {
                  ad_debug_print_pkt(1, "PKTS", "x", 1, "d");
                  ad_debug_print_pkt(4, "PKTS", "x", 1, "d");
              }),
              "");
    EXPECT_EQ(error_log.texts().size(), 2U);
}

TEST_F(AdDebugPrintPkt, NamesTheSitesOwnFileAndLine) {
    use_level(1);
    const int line = __LINE__ + 1;
    ad_debug_print_pkt(1, "PKTS", "x", 1, "d");
    EXPECT_EQ(error_log.text(), origin("PKTS", "packet_dump_test.cpp", line) + "DUMP length = 0x1 (d)\n");
}

TEST_F(AdDebugPrintPkt, CutsARowWhoseTagIsTooLong) {
    use_level(1);
    const std::string tag(4080, 't');
    ad_debug_print_pkt_impl(1, tag.c_str(), "xy", 2, "a.c", 1, "d");
    EXPECT_EQ(error_log.texts().at(1), (pid + tag + ": 0x000: 0x78,0x79\n").substr(0, 4086));
}

TEST_F(AdDebugPrintPkt, GivesTheSystemLogALongDescriptionWhole) {
    use_level(1);
    const std::string description(5000, 'd');
    ad_debug_print_pkt_impl(0, "PKTS", "x", 1, "a.c", 1, description.c_str());
    const std::string header = origin("PKTS", "a.c", 1) + "DUMP length = 0x1 (" + description + ")\n";
    EXPECT_EQ(error_log.texts().at(0), header.substr(0, 4086));
    ASSERT_EQ(fake_syslog_calls().size(), 2U);
    EXPECT_EQ(fake_syslog_calls()[0].text, header);
}

TEST_F(AdDebugPrintPkt, LeavesErrnoAsItWas) {
    use_level(1);
    the_system_calls().send_error = [](size_t) { return ENOBUFS; };
    stderr_of([] {
        errno = 1234;
        ad_debug_print_pkt(1, "PKTS", "x", 1, "d");
        EXPECT_EQ(errno, 1234);
    });
}

}  // namespace
