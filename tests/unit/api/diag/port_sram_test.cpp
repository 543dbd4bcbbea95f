// The labelled print of a port's SRAM image, and the names of flow-debug record types.

#include "api/diag/nprm_dump.h"

#include "printed.h"
#include "tests/support/bytes.h"
#include "tests/support/scripted_client.h"

namespace {

constexpr const char *heading =
    "-----------------------------------------------\n"
    "  Field Name              #Bits  Value   \n"
    "-----------------------------------------------\n";

std::string print(int port, const char *hex) {
    const std::vector<uint8_t> image = bytes_of(hex);
    std::string text;
    const std::string to_stdout = stdout_of(
        [&] { text = stream_of([&](FILE *stream) { EXPECT_EQ(nprm_decode_pc_sram(port, image.data(), stream), '\n'); }); });
    EXPECT_EQ(to_stdout, heading) << "the heading goes to standard output, the rest to the stream";
    return text;
}

TEST(PortSram, PrintsTheImageAndEveryField) {
    EXPECT_EQ(print(12, "95 11 22 33  44 00 00 a0  55 66 cd ab  00 00 00 f4"),
              "\nPort=12  Port Config SRAM  \n"
              "-------------------------------------------\n"
              "  0x33221195 a0000044 abcd6655 f4000000\n"
              "  Port enable                1    0x1\n"
              "  Debug acl enabled          1    0x1\n"
              "  Trace acl enabled          1    0x0\n"
              "  Intercept acl enabled      1    0x1\n"
              "  Policy lookup enabled      1    0x0\n"
              "  L4 port loopback hash      1    0x0\n"
              "  Control plane interface    1    0x1\n"
              "  Dump acl vmr id            8    0x11\n"
              "  Trace acl vmr id           8    0x22\n"
              "  Intercept acl vmr id       8    0x33\n"
              "  Policy vmr id              8    0x44\n"
              "  Decode off                 2    0x1\n"
              "  Frame type                 1    0x1\n"
              "  Mapped port number         8    0x55\n"
              "  Virtual port number        8    0x66\n"
              "  Interface handle          16    0xabcd\n"
              "  Header offset enable       1    0x1\n"
              "  Rx/tx frame to tcam        1    0x0\n"
              "  Tcam key gen profile       3    0x7\n"
              "  Pre-parse tcam enable      1    0x1\n"
              "\n");
}

TEST(PortSram, TellsTheOneBitFieldsApart) {
    constexpr const char *of_byte_0[] = {"Port enable",           nullptr,
                                         "Debug acl enabled",     "Trace acl enabled",
                                         "Intercept acl enabled", "Policy lookup enabled",
                                         "L4 port loopback hash", "Control plane interface"};
    for (int bit = 0; bit < 8; ++bit) {
        char image[64];
        std::snprintf(image, sizeof image, "%02x 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00", 1 << bit);
        const std::string text = print(0, image);
        const size_t set = text.find("  1    0x1\n");
        if (of_byte_0[bit] == nullptr) {
            EXPECT_EQ(set, std::string::npos) << text;
            continue;
        }
        char line[64];
        std::snprintf(line, sizeof line, "\n  %-25s  1    0x1\n", of_byte_0[bit]);
        EXPECT_NE(text.find(line), std::string::npos) << text;
        EXPECT_EQ(text.find("  1    0x1\n", set + 1), std::string::npos) << text;
    }
}

TEST(PortSram, AByte15Of0xF0HasKeyProfile7AndThePreParse) {
    const std::string text = print(-1, "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 f0");
    EXPECT_EQ(text.find("\nPort=-1  Port Config SRAM  \n"), 0u);
    EXPECT_NE(text.find("\n  Rx/tx frame to tcam        1    0x0"
                        "\n  Tcam key gen profile       3    0x7"
                        "\n  Pre-parse tcam enable      1    0x1\n"),
              std::string::npos)
        << text;
}

TEST(PortSram, ANullImageIsAnInvalidParameter) {
    EXPECT_EQ(stream_of([](FILE *stream) { EXPECT_EQ(nprm_decode_pc_sram(1, nullptr, stream), 17); }), "Invalid parameter");
}

TEST(PortSram, ANullStreamIsTheEndOfIt) {
    const uint8_t image[16] = {};
    EXPECT_EQ(stdout_of([&] { EXPECT_EQ(nprm_decode_pc_sram(1, image, nullptr), EOF); }), "");
}

TEST(PuntReason, NamesTheFlowDebugRecordTypes) {
    constexpr const char *names[] = {"DIAG PKT", "DUMP", "TRACE", "DUMP AND TRACE", "STATISTICS", "PUNT PKT CAPTURE", "INVALID"};
    for (uint32_t code = 0; code < 7; ++code)
        EXPECT_STREQ(nprm_get_punt_reason(code), names[code]);
    for (const uint32_t code : {7u, 1000u, 0x80000000u, 0xFFFFFFFFu})
        EXPECT_STREQ(nprm_get_punt_reason(code), "INVALID");
}

}  // namespace
