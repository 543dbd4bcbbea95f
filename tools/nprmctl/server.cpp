// Registers with the server and calls the library so that no failure stays hidden.

#include "server.h"

#include "invocation.h"
#include "log_catcher.h"
#include "nprm.h"
#include "platform/local/ruv_local.h"

#include <string_view>
#include <vector>

namespace {

bool verbose;

// How the library's log tells of the exchange's outcome where the operation's result does not.
struct told_outcome {
    std::string_view text;
    uint32_t code;
    bool is_uncertain;
};
constexpr told_outcome told_outcomes[] = {
    {"Failed to send ", NPRM_ERROR_IPC_SEND, false},
    {"NPRM server no longer available.", NPRM_ERROR_NOT_READY, true},
    {"Failed to receive: ", NPRM_ERROR_TIMEOUT, true},
};

answer hidden_failure(const std::string &first, std::string words) {
    for (const told_outcome &row : told_outcomes)
        if (first.starts_with(row.text)) return {row.code, row.is_uncertain, std::move(words)};
    return {NPRM_ERROR, true, std::move(words)};
}

std::string joined(const std::vector<std::string> &messages) {
    std::string text;
    for (const std::string &message : messages)
        text += (text.empty() ? "" : " ") + message;
    return text;
}

// Where the card was looked for.  The local transport itself says what is wrong with a directory.
std::string place_of_the_card() {
    char directory[4096];
    const bool is_usable = ruv_local_directory(directory, sizeof directory) == 0 && ruv_local_check_directory(directory) == 0;
    return is_usable ? std::string("; nobody answers in ") + directory : "";
}

}  // namespace

answer ask(const std::function<uint32_t()> &call) {
    const log_catcher catcher(verbose);
    const uint32_t code = call();
    const std::vector<std::string> failures = catcher.failures();
    if (code == NPRM_OK && !failures.empty()) return hidden_failure(failures.front(), joined(failures));
    return {code, false, joined(failures)};
}

failure unknown_for(const std::string &what, const answer &given) {
    failure problem = refusal(what, given.code, given.words);
    if (given.code == NPRM_ERROR_IPC_SEND) problem.what += place_of_the_card();
    return problem;
}

failure unchanged_for(const std::string &what, const answer &given) {
    failure problem = unknown_for(what, given);
    if (given.is_uncertain) problem.what += "; whether the card has done it is not known";
    return problem;
}

void learn(const std::string &what, const std::function<uint32_t()> &call) {
    const answer given = ask(call);
    if (given.code != NPRM_OK) throw unknown_for(what, given);
}

void change(const std::string &what, const std::function<uint32_t()> &call) {
    const answer given = ask(call);
    if (given.code != NPRM_OK) throw unchanged_for(what, given);
}

void connect_to_server(const invocation &call) {
    verbose = call.verbose();
    nprm_syslog_flag = NPRM_LEVEL_ERROR | (verbose ? uint32_t{NPRM_LEVEL_TRANSPORT} : 0);
    std::string words;
    {
        const log_catcher catcher(verbose);
        nprm_ipc_register_client();
        words = joined(catcher.failures());
    }
    if (words.starts_with("Unable to bind")) throw refusal("this process is not registered", NPRM_ERROR_IPC_SEND, words);
    if (nprm_server_status == nullptr) throw refusal("no server has published its status on this machine", NPRM_ERROR_NOT_READY);
    if (*nprm_server_status != NPRM_SERVER_READY)
        throw refusal("the server's status word is " + std::to_string(*nprm_server_status), NPRM_ERROR_NOT_READY);
}
