// Register names from a site's file: what configuring accepts and what it says of a file that is not complete.

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/scratch.h"

namespace {

std::vector<std::string> complete_file() {
    std::vector<std::string> lines;
    lines.reserve(1970);
    for (int i = 0; i < 1970; ++i)
        lines.push_back(std::to_string(i) + " EZreg_NPA_UNIT_" + std::to_string(i));
    return lines;
}

class RegisterNames : public ::testing::Test {
  protected:
    // Runs the step that configuring runs; the rows that it wrote, or what it complained of.
    struct outcome {
        bool accepted;
        std::string rows, complaint;
    };
    outcome names_of(const std::vector<std::string> &lines) {
        FILE *file = std::fopen((directory_ / "names.txt").c_str(), "w");
        for (const std::string &line : lines)
            std::fprintf(file, "%s\n", line.c_str());
        std::fclose(file);
        return run("-DNAMES=" + directory_ / "names.txt");
    }
    outcome run(const std::string &names) {
        const std::string command = "cd '" + directory_.path() +
                                    "' && '" NPRM_CMAKE "' -DBLOCKS='" NPRM_DIAG_DIR "/register_blocks.inc' '" + names +
                                    "' -DOUTPUT=rows.inc -P '" NPRM_DIAG_DIR "/register_names.cmake' 2> complaint.txt";
        const bool accepted = std::system(command.c_str()) == 0;
        std::string complaint = content_of(directory_ / "complaint.txt");
        for (size_t at = 0; (at = complaint.find("\n  ", at)) != std::string::npos;)
            complaint.replace(at, 3, " ");
        return {accepted, accepted ? content_of(directory_ / "rows.inc") : "", complaint};
    }
    void expect_complaint(const std::vector<std::string> &lines, const std::string &text) {
        const outcome found = names_of(lines);
        EXPECT_FALSE(found.accepted);
        EXPECT_NE(found.complaint.find(text), std::string::npos) << found.complaint;
    }

    scratch_directory directory_;
};

TEST_F(RegisterNames, WithoutAFileAreNeutral) {
    const outcome found = run("-DNAMES=");
    ASSERT_TRUE(found.accepted) << found.complaint;
    EXPECT_EQ(found.rows.find("REGISTER(0, \"EZreg_NPA_ICFD_LOWER_LIMIT\")\nREGISTER(1, \"EZreg_NPA_ICFD_R01\")\n"), 0u);
    EXPECT_NE(found.rows.find("REGISTER(1969, \"EZreg_NPA_PARSE_MCODE_R17\")\n"), std::string::npos);
}

TEST_F(RegisterNames, OfACompleteFileAreTaken) {
    std::vector<std::string> lines = complete_file();
    std::swap(lines[3], lines[1900]);
    lines[7] = "0007,\tEZreg_NPA_with_a_comma";
    lines.insert(lines.begin(), {"# index name", "", "  "});
    const outcome found = names_of(lines);
    ASSERT_TRUE(found.accepted) << found.complaint;
    EXPECT_NE(found.rows.find("REGISTER(3, \"EZreg_NPA_UNIT_3\")\n"), std::string::npos);
    EXPECT_NE(found.rows.find("REGISTER(7, \"EZreg_NPA_with_a_comma\")\n"), std::string::npos);
    EXPECT_NE(found.rows.find("REGISTER(1969, \"EZreg_NPA_UNIT_1969\")\n"), std::string::npos);
}

TEST_F(RegisterNames, MayLackNone) {
    std::vector<std::string> lines = complete_file();
    lines.erase(lines.begin() + 12);
    lines.erase(lines.begin() + 100);
    expect_complaint(lines, "2 of 1970 registers have no name; the first is 12");
}

TEST_F(RegisterNames, MayNotRepeatAnIndex) {
    std::vector<std::string> lines = complete_file();
    lines.push_back("5 EZreg_NPA_ANOTHER");
    expect_complaint(lines, "names.txt:1971: register 5 has a name already, on line 6");
}

TEST_F(RegisterNames, MayNotRepeatAName) {
    std::vector<std::string> lines = complete_file();
    lines[40] = "40 EZreg_NPA_UNIT_6";
    expect_complaint(lines, "names.txt:41: the name EZreg_NPA_UNIT_6 is given already, on line 7");
}

TEST_F(RegisterNames, MayNotBeTheInvalidRegisters) {
    std::vector<std::string> lines = complete_file();
    lines[40] = "40 EZreg_NPA_Invalid";
    expect_complaint(lines, "names.txt:41: the name EZreg_NPA_Invalid is that of no register");
}

TEST_F(RegisterNames, NeedThePrefix) {
    for (const char *name : {"NPA_UNIT", "EZreg_NPA_", "ezreg_npa_x", "EZreg_NPA_a\"b", "EZreg_NPA_a-b"}) {
        std::vector<std::string> lines = complete_file();
        lines[2] = "2 " + std::string(name);
        expect_complaint(lines, "names.txt:3: " + std::string(name) + " is not EZreg_NPA_ and a register's name");
    }
}

TEST_F(RegisterNames, NeedAnIndexOfARegister) {
    for (const char *index : {"1970", "99999999999999999999"}) {
        std::vector<std::string> lines = complete_file();
        lines[2] = std::string(index) + " EZreg_NPA_X";
        expect_complaint(lines, "names.txt:3: there is no register " + std::string(index) + "; the last is 1969");
    }
}

TEST_F(RegisterNames, NeedTwoColumns) {
    for (const char *line : {"EZreg_NPA_X", "2", "-2 EZreg_NPA_X", "2 EZreg_NPA_X more"}) {
        std::vector<std::string> lines = complete_file();
        lines[2] = line;
        expect_complaint(lines, "names.txt:3: this is not an index and a name: " + std::string(line));
    }
}

// The configuring step's own special characters; in its messages each is a question mark.
TEST_F(RegisterNames, MayHaveNoSeparators) {
    for (const char *line : {"2;EZreg_NPA_X", "2 EZreg_NPA_X\\", "2 EZreg_NPA_[X", "2 EZreg_NPA_X]"}) {
        std::vector<std::string> lines = complete_file();
        lines[2] = line;
        expect_complaint(lines, "names.txt:3: ");
    }
}

TEST_F(RegisterNames, NeedAFileThatIsThere) {
    const outcome found = run("-DNAMES=" + directory_ / "elsewhere.txt");
    EXPECT_FALSE(found.accepted);
    EXPECT_NE(found.complaint.find("there is no file"), std::string::npos) << found.complaint;
}

}  // namespace
