// The hexadecimal dump of TCAM entries: its blanks, its lines, and where it goes.

#include "api/diag/nprm_dump.h"

#include <optional>
#include <string>
#include <vector>

#include "short_of_memory.h"
#include "tests/support/error_log.h"
#include "tests/support/scripted_client.h"

namespace {

class TcamDump : public ::testing::Test {
  protected:
    void SetUp() override { nprm_syslog_flag = 1; }
    void TearDown() override { nprm_syslog_flag = NPRM_SYSLOG_FLAG_DEFAULT; }

    // The dump's messages, without the function's name and line.
    std::vector<std::string> dump(uint16_t count, uint32_t k, uint32_t r) {
        std::vector<uint8_t> values(size_t{2} * k * count);
        std::vector<uint8_t> results(size_t{r} * count);
        for (size_t i = 0; i < values.size(); ++i)
            values[i] = static_cast<uint8_t>(i);
        for (size_t i = 0; i < results.size(); ++i)
            results[i] = static_cast<uint8_t>(0xF0 + i);
        const uint8_t *arrays[2] = {values.data(), results.data()};
        if (!log_) log_.emplace();
        nprm_tcam_vmr_data(7, count, k, r, arrays);
        std::vector<std::string> texts;
        for (const std::string &text : log_->texts()) {
            EXPECT_EQ(text.find("nprm_tcam_vmr_data("), 0u) << text;
            texts.push_back(text.substr(text.find("): ") + 3));
        }
        return texts;
    }

  private:
    std::optional<error_log> log_;  // from the first dump on
};

TEST_F(TcamDump, PrintsMaskValueAndResultOfAnEntry) {
    const std::vector<std::string> texts = dump(1, 3, 5);
    ASSERT_EQ(texts.size(), 1u);
    EXPECT_EQ(texts[0],
              "      M: 0304 05\n"
              "      V: 0001 02\n"
              "      R: f0f1f2f3 f4\n"
              ".");
}

TEST_F(TcamDump, TakesEachEntryFromItsPlaceInBothArrays) {
    const std::vector<std::string> texts = dump(3, 2, 1);
    ASSERT_EQ(texts.size(), 3u);
    EXPECT_EQ(texts[0], "      M: 0203 \n      V: 0001 \n      R: f0\n.");
    EXPECT_EQ(texts[1], "      M: 0607 \n      V: 0405 \n      R: f1\n.");
    EXPECT_EQ(texts[2], "      M: 0a0b \n      V: 0809 \n      R: f2\n.");
}

TEST_F(TcamDump, AValueOf24BytesIsOneLine) {
    const std::vector<std::string> texts = dump(1, 24, 4);
    ASSERT_EQ(texts.size(), 1u);
    EXPECT_EQ(texts[0],
              "      M: 1819 1a1b 1c1d 1e1f 2021 2223 2425 2627 2829 2a2b 2c2d 2e2f \n"
              "      V: 0001 0203 0405 0607 0809 0a0b 0c0d 0e0f 1011 1213 1415 1617 \n"
              "      R: f0f1f2f3 \n"
              ".");
}

TEST_F(TcamDump, AValueOf48BytesIsTwoLines) {
    const std::vector<std::string> texts = dump(1, 48, 0);
    ASSERT_EQ(texts.size(), 1u);
    EXPECT_EQ(texts[0],
              "      M: 3031 3233 3435 3637 3839 3a3b 3c3d 3e3f 4041 4243 4445 4647 \n"
              "         4849 4a4b 4c4d 4e4f 5051 5253 5455 5657 5859 5a5b 5c5d 5e5f \n"
              "      V: 0001 0203 0405 0607 0809 0a0b 0c0d 0e0f 1011 1213 1415 1617 \n"
              "         1819 1a1b 1c1d 1e1f 2021 2223 2425 2627 2829 2a2b 2c2d 2e2f \n"
              "      R: \n"
              ".");
}

TEST_F(TcamDump, AValueOf25BytesContinuesForOne) {
    const std::vector<std::string> texts = dump(1, 25, 0);
    ASSERT_EQ(texts.size(), 1u);
    EXPECT_NE(texts[0].find("2f30 \n         31\n      V: "), std::string::npos) << texts[0];
}

TEST_F(TcamDump, FitsItsBufferAtEverySize) {
    for (uint32_t k = 0; k <= 100; ++k) {
        for (const uint32_t r : {0u, 1u, 3u, 4u, 5u, 12u, 64u}) {
            const std::vector<std::string> texts = dump(1, k, r);
            ASSERT_EQ(texts.size(), 1u);
            const size_t lines = k == 0 ? 1 : (k + 23) / 24;
            const size_t expected = 2 * (9 + 2 * k + k / 2 + 10 * (lines - 1)) + 1 + 10 + 2 * r + r / 4 + 1 + 1;
            EXPECT_EQ(texts[0].size(), expected) << "k " << k << " r " << r;
        }
    }
}

TEST_F(TcamDump, NoEntriesAreNoMessages) {
    EXPECT_TRUE(dump(0, 24, 4).empty());
}

TEST_F(TcamDump, IsSilentWhileTheErrorBitIsOff) {
    nprm_syslog_flag = ~1u;
    EXPECT_TRUE(dump(2, 4, 4).empty());
}

TEST_F(TcamDump, SizesThatNoEntryHasAreAFailedAllocation) {
    const uint8_t *arrays[2] = {nullptr, nullptr};
    const std::string log = stderr_of([&] { nprm_tcam_vmr_data(0, 1, 0xFFFFFFFF, 0xFFFFFFFF, arrays); });
    EXPECT_EQ(log.find("nprm_tcam_vmr_data("), 0u);
    EXPECT_NE(log.find("): nprm_tcam_vmr_data: Unable to allocate memory "), std::string::npos) << log;
    EXPECT_EQ(log.substr(log.size() - 3), ".\n.");
}

TEST_F(TcamDump, WithoutMemorySaysHowMuchItNeeded) {
    const uint8_t bytes[100] = {};
    const uint8_t *arrays[2] = {bytes, bytes};
    testing::internal::CaptureStderr();
    {
        const short_of_memory until_here;
        nprm_tcam_vmr_data(0, 1, 48, 10, arrays);
        nprm_syslog_flag = ~1u;
        nprm_tcam_vmr_data(0, 1, 48, 10, arrays);
    }
    const std::string log = testing::internal::GetCapturedStderr();
    // 5 * 48 + 30 * 2 + 9 * 10 / 4 + 45
    EXPECT_EQ(log.substr(log.find("): ")), "): nprm_tcam_vmr_data: Unable to allocate memory 367.\n.");
}

TEST_F(TcamDump, NullArraysAreRefused) {
    const uint8_t bytes[8] = {};
    const uint8_t *without_values[2] = {nullptr, bytes};
    const uint8_t *without_results[2] = {bytes, nullptr};
    for (const uint8_t **arrays : {static_cast<const uint8_t **>(nullptr), &without_values[0], &without_results[0]})
        EXPECT_NE(stderr_of([&] { nprm_tcam_vmr_data(0, 1, 4, 4, arrays); }).find("null pointer"), std::string::npos);
}

}  // namespace
