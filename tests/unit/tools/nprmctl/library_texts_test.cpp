// The library's log lines that nprmctl understands, as the library really logs them.

#include "tools/nprmctl/library_texts.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <vector>

#include "tests/support/error_log.h"
#include "tests/support/scripted_client.h"

namespace {

class LibraryTexts : public scripted_client {
  protected:
    void SetUp() override {
        scripted_client::SetUp();
        nprm_syslog_flag = NPRM_LEVEL_ERROR | NPRM_LEVEL_TRANSPORT;
    }
    // What a call logs.
    template <typename Call>
    std::string logged(Call call) {
        return stderr_of(call);
    }
    static uint32_t ask_space() {
        uint32_t free_entries = 0;
        return nprm_tcam_v4_space_dup(&free_entries);
    }
    static void expect(const std::string &log, std::string_view text) {
        EXPECT_NE(log.find("): " + std::string(text)), std::string::npos) << text << " is not in: " << log;
    }
};

TEST_F(LibraryTexts, OfTheOutcomesAreLogged) {
    ASSERT_EQ(std::size(library_texts::outcomes), 4U);
    ruv.send_result = -1;
    expect(logged(ask_space), library_texts::outcomes[0].text);
    ruv.send_result = 0;
    ruv.answers.push_back({-ETIMEDOUT, {}, [this] { set_status(0); }});
    expect(logged(ask_space), library_texts::outcomes[1].text);
    set_status(1);
    ruv.fail_receive(-ETIMEDOUT, 100);
    expect(logged(ask_space), std::string(library_texts::not_received) + "-110.");
    ruv.answers.clear();
    ruv.fail_receive(-ENOTCONN, 100);
    expect(logged(ask_space), std::string(library_texts::outcomes[2].text) + "-107.");
    ruv.answers.clear();
    ruv.reply(std::vector<uint8_t>(8));
    expect(logged(ask_space), library_texts::outcomes[3].text);
}

TEST_F(LibraryTexts, OfTheTracesAreLogged) {
    ASSERT_EQ(std::size(library_texts::traces), 3U);
    const nprm_tcam_acl_key key = {};
    const nprm_tcam_acl_result result = {};
    std::string log;
    stdout_of([&] { log = logged([&] { nprm_tcam_insert_v4_acl_vmr_dup(0, 0, 1, &key, &key, &result); }); });
    for (const std::string_view text : library_texts::traces)
        expect(log, text);
}

TEST_F(LibraryTexts, OfAFailedRegistrationIsLogged) {
    ruv.next_handle = 0xFFFFFFFF;
    expect(logged([] { nprm_ipc_register_client(); }), library_texts::not_bound);
}

}  // namespace
