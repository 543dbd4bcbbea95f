// The system log's stand-in: the line's form, its bounds, where it goes.

#include "platform/ny_syslog.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/scratch.h"

namespace {

int logged_priority = -1;
std::string logged_text;

template <typename... arguments>
std::string on_standard_error(const char *format, arguments... values) {
    const scratch_variable where("NY_SYSLOG", "stderr");
    testing::internal::CaptureStderr();
    ny_syslog(3, 127, 0, 1, format, values...);
    return testing::internal::GetCapturedStderr();
}

}  // namespace

// Takes the place of syslog(3) for the library under test.
extern "C" void syslog(int priority, const char *format, ...) {
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    logged_priority = priority;
    logged_text = text;
}

namespace {

TEST(NySyslog, PutsModuleAndMessageNumberInFront) {
    EXPECT_EQ(on_standard_error("%s(%d): Failed to send %d bytes.", "nprm_ipc_send_msg", 42, 520),
              "module 127, message 1: nprm_ipc_send_msg(42): Failed to send 520 bytes.\n");
}

TEST(NySyslog, WritesToTheSystemLogUnlessToldOtherwise) {
    for (const char *said : {static_cast<const char *>(nullptr), "", "STDERR", "stderr2"}) {
        const scratch_variable where("NY_SYSLOG", said);
        logged_text = "";
        ny_syslog(2, 71, 0, 512035, "out of memory, 100%% of %d", 7);
        EXPECT_EQ(logged_priority, 2);
        EXPECT_EQ(logged_text, "module 71, message 512035: out of memory, 100% of 7");
    }
}

TEST(NySyslog, TakesNoFacilityFromItsCaller) {
    const scratch_variable where("NY_SYSLOG", nullptr);
    ny_syslog((4 << 3) | 6, 1, 0, 1, "text");
    EXPECT_EQ(logged_priority, 6);
}

TEST(NySyslog, TakesArgumentsAsText) {
    const scratch_variable where("NY_SYSLOG", nullptr);
    ny_syslog(6, 1, 0, 2, "%s", "%s%n");
    EXPECT_EQ(logged_text, "module 1, message 2: %s%n");
}

TEST(NySyslog, WritesOneLine) {
    EXPECT_EQ(on_standard_error("%s", "text\r\n\n"), "module 127, message 1: text\n");
    EXPECT_EQ(on_standard_error("%s", "one\ntwo\x1b[2J\tthree\x7f."), "module 127, message 1: one two [2J three .\n");
    EXPECT_EQ(on_standard_error("%s", "\xc3\xa9"), "module 127, message 1: \xc3\xa9\n");
}

TEST(NySyslog, MarksWhatWasCut) {
    const std::string front = "module 127, message 1: ";
    const size_t most = 2046 - front.size();
    EXPECT_EQ(on_standard_error("%s", std::string(most, 'x').c_str()), front + std::string(most, 'x') + "\n");
    EXPECT_EQ(on_standard_error("%s", std::string(most + 1, 'x').c_str()), front + std::string(most - 3, 'x') + "...\n");
    EXPECT_EQ(on_standard_error("%s", std::string(100000, 'x').c_str()), front + std::string(most - 3, 'x') + "...\n");
}

TEST(NySyslog, LeavesErrnoAlone) {
    const scratch_variable where("NY_SYSLOG", "stderr");
    testing::internal::CaptureStderr();
    errno = 7;
    ny_syslog(3, 127, 0, 1, "%m");
    EXPECT_EQ(errno, 7);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "module 127, message 1: Argument list too long\n");
}

}  // namespace
