// status and error.

#include "failure.h"
#include "invocation.h"
#include "nprm.h"
#include "result_texts.h"
#include "server.h"

#include <algorithm>

namespace {

uint32_t code_argument(const invocation &call, const std::string &text) {
    if (const auto number = decimal<uint32_t>(text)) return *number;
    for (uint32_t code = 0; code < NPRM_RESULT_CODE_COUNT; ++code)
        if (nprm_error_str[code] != nullptr && text == nprm_error_str[code]) return code;
    throw usage_error(in_quotes(text) + " is no result code: a number, or a name such as NPRM_ERROR_NOT_READY",
                      usage_of(call.row()));
}

// What ask() makes of an exchange that failed, and not a server's refusal.
bool is_no_answer(uint32_t code) {
    return code == NPRM_ERROR || code == NPRM_ERROR_TIMEOUT || code == NPRM_ERROR_IPC_SEND || code == NPRM_ERROR_NOT_READY;
}

}  // namespace

int show_status(invocation &call) {
    call.parse();
    connect_to_server(call);
    uint32_t free_entries = 0;
    const answer given = ask([&free_entries] { return nprm_tcam_v4_space_dup(&free_entries); });
    if (given.code != NPRM_OK)
        throw unknown_for(is_no_answer(given.code) ? "the status word says ready, but the server does not answer"
                                                   : "the server is ready, but refuses to tell how much room is left",
                          given);
    report status;
    status.fact("server", "server", std::string("ready"));
    status.fact("free_entries", "free TCAM entries", uint64_t{free_entries});
    call.print(status);
    return exit_done;
}

int explain_error(invocation &call) {
    std::string text;
    call.text("CODE", text, "number or name of a result code");
    call.parse();
    const uint32_t code = code_argument(call, text);
    const auto name = result_name(code);
    if (!name) {
        report nameless;
        nameless.sentence("the number " + std::to_string(code) + " has no name: the library prints \"(null)\" for it");
        nameless.fact("code", nullptr, uint64_t{code});
        nameless.fact("name", nullptr, std::monostate{});
        call.print(nameless);
        return exit_done;
    }
    const result_text known = text_of_result(code);
    report explanation;
    explanation.fact("code", "code", uint64_t{code});
    explanation.fact("name", "name", *name);
    explanation.fact("meaning", "meaning", std::string(known.meaning));
    explanation.fact("family", "family", std::string(family_of_result(code)));
    if (known.next != nullptr) explanation.fact("next", "try", std::string(known.next));
    call.print(explanation);
    return exit_done;
}
