// Result codes' names and explanations, nprm_syslog and its mask.

#include "api/frame/log.h"
#include "api/frame/nprm_result.h"

#include <cstdlib>
#include <string>

#include "tests/support/error_log.h"
#include "tests/support/scratch.h"
#include "tests/support/scripted_client.h"

namespace {

struct condition {
    uint32_t returned;
    std::string text;
};

condition condition_of(uint32_t code) {
    char *text = nullptr;
    size_t bytes = 0;
    FILE *out = open_memstream(&text, &bytes);
    const uint32_t returned = nprm_error_condition(code, out);
    std::fclose(out);
    condition found{returned, std::string(text, bytes)};
    std::free(text);
    return found;
}

TEST(ResultCodes, HaveTheNamesOfTheirFamilies) {
    const struct {
        uint32_t code;
        const char *name;
    } known[] = {
        {0, "NPRM_OK"},
        {1, "NPRM_ERROR"},
        {4, "NPRM_ERROR_MALLOC"},
        {5, "NPRM_ERROR_TIMEOUT"},
        {6, "NPRM_ERROR_IPC_SEND"},
        {7, "NPRM_ERROR_NOT_READY"},
        {14, "NPRM_ERROR_LOG_INIT_DRV"},
        {15, "NPRM_ERROR_TCAM_INTERNAL"},
        {33, "NPRM_ERROR_TCAM_CONCURRENT_USAGE"},
        {35, "NPRM_ERROR_TCAM_UNKNOWN"},
        {36, "NPRM_ERROR_FDM_SN_NOT_EXIST"},
        {61, "NPRM_ERROR_FDM_INVALID_SEC_IP"},
        {62, "NPRM_ERROR_CMM_SC_NOT_EXIST"},
        {83, "NPRM_ERROR_CMM_INVALID_SEC_IP"},
        {84, "NPRM_ERROR_WCCP_NOT_EXIST"},
        {96, "NPRM_ERROR_WCCP_DEL_INT_TCAM"},
        {97, "NPRM_ERROR_ETHMON_INVALID_PORT"},
        {100, "NPRM_ERROR_ETHMON_SET_SPEED_MV"},
        {119, "NPRM_ERROR_ETHMON_SET_NEGO_NPA"},
        {120, "NPRM_ERROR_IF_EXIST"},
        {166, "NPRM_ERROR_IF_SB_NOT_ACTIVE"},
        {167, "NPRM_ERROR_WRITE_TR_CFG"},
        {169, "NPRM_ERROR_FL_TR_CFG"},
    };
    for (const auto &[code, name] : known)
        EXPECT_STREQ(nprm_error_str[code], name) << code;
}

TEST(ResultCodes, HaveAllTheirNamesAsKept) {
    std::string list;
    for (uint32_t code = 0; code < 170; ++code)
        list += std::to_string(code) + " " + (nprm_error_str[code] != nullptr ? nprm_error_str[code] : "-") + "\n";
    EXPECT_EQ(list, content_of(NPRM_GOLDEN_DIR "/result_codes.txt"));
}

TEST(ResultCodes, AreInA170SlotTableOfWhichSevenAreEmpty) {
    static_assert(sizeof nprm_error_str == 170 * sizeof(char *));
    std::string empty;
    for (uint32_t code = 0; code < 170; ++code)
        if (nprm_error_str[code] == nullptr) empty += std::to_string(code) + " ";
    EXPECT_EQ(empty, "34 101 104 106 108 112 115 ");
}

TEST(ResultCodes, MayBeGivenNamesByTheHost) {
    nprm_error_str[34] = "HOST_NAME";
    EXPECT_EQ(condition_of(34).text, "Error: HOST_NAME\n");
    nprm_error_str[34] = nullptr;
}

TEST(ErrorCondition, WritesNothingForCode0) {
    EXPECT_EQ(condition_of(0).returned, 0u);
    EXPECT_EQ(condition_of(0).text, "");
}

TEST(ErrorCondition, HasTextsOfItsOwnForNineCodes) {
    const struct {
        uint32_t code;
        const char *text;
    } known[] = {
        {1, "IPC failure\n"},
        {3, "Invalid parameter\n"},
        {4, "Cannot allocate memory\n"},
        {6, "IPC send error\n"},
        {8, "NP API call failure\n"},
        {9, "Invalid structure ID\n"},
        {10, "Could not get structure information\n"},
        {11, "Invalid key length\n"},
        {12, "No Match found\n"},
    };
    for (const auto &[code, text] : known) {
        EXPECT_EQ(condition_of(code).text, text);
        EXPECT_EQ(condition_of(code).returned, 1u);
    }
}

TEST(ErrorCondition, PrintsTheNamesOfTheOthers) {
    EXPECT_EQ(condition_of(2).text, "Error: NPRM_ERROR_UNSUPPORTED\n");
    EXPECT_EQ(condition_of(5).text, "Error: NPRM_ERROR_TIMEOUT\n");
    EXPECT_EQ(condition_of(7).text, "Error: NPRM_ERROR_NOT_READY\n");
    EXPECT_EQ(condition_of(13).text, "Error: NPRM_ERROR_LOG_INIT_TBS\n");
    EXPECT_EQ(condition_of(169).text, "Error: NPRM_ERROR_FL_TR_CFG\n");
    EXPECT_EQ(condition_of(169).returned, 1u);
}

TEST(ErrorCondition, PrintsNullForACodeWithoutName) {
    for (const uint32_t code : {34u, 101u, 104u, 106u, 108u, 112u, 115u})
        EXPECT_EQ(condition_of(code).text, "Error: (null)\n") << code;
}

TEST(ErrorCondition, PrintsTheNumberAbove169) {
    EXPECT_EQ(condition_of(170).text, "Error rc = 170\n");
    EXPECT_EQ(condition_of(170).returned, 1u);
    EXPECT_EQ(condition_of(0xFFFFFFFF).text, "Error rc = -1\n");
}

TEST(Syslog, DefaultMaskLeavesTransportTraceOff) {
    EXPECT_EQ(nprm_syslog_flag, 0x0FFFFFF1u);
    EXPECT_EQ(nprm_syslog_flag & 0x2u, 0u);
}

TEST(Syslog, WritesToStandardErrorBeforeTheDebugLibraryIsUp) {
    const std::string text = stderr_of([] { nprm_syslog(127, 0, 0, 1, "%s(%d): %s", "here", 12, "said"); });
    EXPECT_EQ(text, "here(12): said");
}

TEST(Syslog, CutsAt127CharactersOnStandardError) {
    const std::string text = stderr_of([] { nprm_syslog(127, 0, 0, 1, "%s", std::string(200, 'x').c_str()); });
    EXPECT_EQ(text, std::string(127, 'x'));
}

TEST(Syslog, DoesNotTestTheMaskItself) {
    nprm_syslog_flag = 0;
    EXPECT_EQ(stderr_of([] { nprm_syslog(127, 0, 0, 1, "said"); }), "said");
    nprm_syslog_flag = NPRM_SYSLOG_FLAG_DEFAULT;
}

TEST(Syslog, SitesTestTheMaskFirst) {
    nprm_syslog_flag = 0x2;
    EXPECT_EQ(stderr_of([] { NPRM_LOG_AT(0x1, "f", 1, "error"); }), "");
    EXPECT_EQ(stderr_of([] { NPRM_LOG_AT(0x2, "f", 1, "trace %d", 5); }), "f(1): trace 5");
    EXPECT_EQ(stderr_of([] { NPRM_LOG_AT(NPRM_LEVEL_ANY, "f", 1, "any"); }), "f(1): any");
    nprm_syslog_flag = NPRM_SYSLOG_FLAG_DEFAULT;
}

TEST(Syslog, GoesWholeToTheErrorLogOnceTheDebugLibraryIsUp) {
    error_log log;
    const std::string nothing =
        stderr_of([] { nprm_syslog(127, 0, 0, 1, "%s(%d): %s", "here", 12, std::string(200, 'y').c_str()); });
    EXPECT_EQ(nothing, "");
    EXPECT_EQ(log.texts(), std::vector<std::string>{"here(12): " + std::string(200, 'y')});
}

}  // namespace
