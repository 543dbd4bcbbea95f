// The demonstration as a user runs it: every step of it, and a clean end.

#include <cstdlib>

#include <gmock/gmock.h>

#include "tests/support/scratch.h"

namespace {

TEST(Demo, ShowsEveryStepAndStopsCleanly) {
    use_private_ipc();
    const scratch_directory files;
    const std::string command =
        std::string(NPRM_SOURCE_DIR "/examples/demo.sh " NPRM_PROGRAMS " >") + (files / "out") + " 2>" + (files / "err");
    EXPECT_EQ(std::system(command.c_str()), 0);
    EXPECT_EQ(content_of(files / "err"), "");
    const std::string output = content_of(files / "out");
    size_t at = 0;
    for (const char *step :
         {"\n$ nprm-simcard &\n", "nprm-simcard: listening in ", "\n$ nprmctl status\nserver             ready\n",
          "\n$ nprmctl tcam load new edge-acl.txt\nlist 0: 371 rules became 2,341 entries, written and read back\n",
          "list 0 and edge-acl.txt are equal: 2,341 entries\n", "\n$ nprmctl tcam show 0 --from 20 --count 6\n",
          "permit, by the rule in line 128: permit tcp any 192.0.2.32 eq 443\n",
          "deny, by the rule in line 8: deny ip 10.0.0.0/8 any ", "63,195 entries are free\n", "list 0 is deleted\n",
          "65,536 entries are free\n", "\nThe card stopped cleanly."}) {
        const size_t found = output.find(step, at);
        ASSERT_NE(found, std::string::npos) << step << " is not behind this:\n" << output.substr(at);
        at = found;
    }
}

TEST(Demo, AsksForTheProgramsDirectory) {
    EXPECT_NE(std::system(NPRM_SOURCE_DIR "/examples/demo.sh 2>/dev/null"), 0);
}

}  // namespace
