// Registers with the server and calls the library so that no failure stays hidden.

#include "server.h"

#include "card_control.h"
#include "card_place.h"
#include "invocation.h"
#include "library_texts.h"
#include "log_catcher.h"
#include "nprm.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

bool verbose;
card_place place;  // as the local transport knows it

// The transport's error number at the end of "Failed to receive: retval = -110."
bool was_lost(std::string_view message) {
    message.remove_prefix(library_texts::not_received.size());
    if (message.ends_with('.')) message.remove_suffix(1);
    const auto error = decimal<int32_t>(message);
    return error && *error != -ETIMEDOUT;
}

// What the log tells of the exchange, none when the operation's result tells it.
std::optional<answer> told_outcome(const std::string &first) {
    for (const library_texts::outcome &row : library_texts::outcomes) {
        if (!first.starts_with(row.text)) continue;
        const bool lost = row.text == library_texts::not_received && was_lost(first);
        return answer{row.code, row.is_uncertain, {}, lost ? "the connection to the card was lost before it answered" : nullptr};
    }
    return std::nullopt;
}

std::string joined(const std::vector<std::string> &messages) {
    std::string text;
    for (const std::string &message : messages)
        text += (text.empty() ? "" : " ") + message;
    return text;
}

// The local transport writes to standard error itself what is wrong with the directory.  nprmctl says that in its message, so the
// line goes; whatever else a transport writes is shown.
class transport_words {
  public:
    transport_words() {
        if (verbose || place.wrong.empty()) return;
        caught_ = memfd_create("transport", MFD_CLOEXEC);
        real_ = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
        if (caught_ >= 0 && real_ >= 0) dup2(caught_, STDERR_FILENO);
    }
    ~transport_words() {
        if (caught_ >= 0 && real_ >= 0) {
            dup2(real_, STDERR_FILENO);
            std::ifstream words("/proc/self/fd/" + std::to_string(caught_));
            for (std::string line; std::getline(words, line);)
                if (line.find(place.directory) == std::string::npos && line.find("the directory's name") == std::string::npos)
                    std::fprintf(stderr, "%s\n", line.c_str());
        }
        if (caught_ >= 0) close(caught_);
        if (real_ >= 0) close(real_);
    }
    transport_words(const transport_words &) = delete;
    transport_words &operator=(const transport_words &) = delete;

  private:
    int caught_ = -1, real_ = -1;
};

void register_client(const invocation &call) {
    verbose = call.verbose();
    place = find_card_place();
    nprm_syslog_flag = NPRM_LEVEL_ERROR | (verbose ? uint32_t{NPRM_LEVEL_TRANSPORT} : 0);
    std::string words;
    {
        const transport_words transport;
        const log_catcher catcher(verbose);
        nprm_ipc_register_client();
        words = joined(catcher.failures());
    }
    if (words.starts_with(library_texts::not_bound)) throw refusal("this process is not registered", NPRM_ERROR_IPC_SEND, words);
    if (nprm_server_status == nullptr) throw refusal("no server has published its status on this machine", NPRM_ERROR_NOT_READY);
    if (*nprm_server_status != NPRM_SERVER_READY)
        throw refusal("the server's status word is " + std::to_string(*nprm_server_status), NPRM_ERROR_NOT_READY);
}

}  // namespace

answer ask(const std::function<uint32_t()> &call) {
    const transport_words words;
    const log_catcher catcher(verbose);
    const uint32_t code = call();
    const std::vector<std::string> failures = catcher.failures();
    answer given = {code, code == NPRM_ERROR, {}, nullptr};
    if (!failures.empty()) {
        const auto told = told_outcome(failures.front());
        if (told && (code == NPRM_OK || code == NPRM_ERROR || code == told->code))
            given = *told;
        else if (code == NPRM_OK)
            given = {NPRM_ERROR, true, {}, nullptr};
    }
    given.words = joined(failures);
    return given;
}

failure unknown_for(const std::string &what, const answer &given) {
    failure problem = refusal(what, given.code, given.words, given.meaning);
    if (given.code == NPRM_ERROR_TCAM_TCAM_INACTIVE_LIST) problem.next = advice_for_absent_list();
    if (given.code != NPRM_ERROR_IPC_SEND) return problem;
    problem.what += "; " + (place.wrong.empty() ? "nobody answers in " + place.directory : place.wrong);
    if (!place.next.empty()) problem.next = place.next;
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

void change(const std::string &what, const std::function<uint32_t()> &call, const other_meaning *other) {
    change_with_meanings(what, call, std::span(other, other == nullptr ? 0 : 1));
}

void change_with_meanings(const std::string &what, const std::function<uint32_t()> &call, std::span<const other_meaning> meanings) {
    answer given = ask(call);
    if (given.code == NPRM_OK) return;
    const auto other = std::ranges::find(meanings, given.code, &other_meaning::code);
    if (other != meanings.end()) given.meaning = other->meaning;
    failure problem = unchanged_for(what, given);
    if (other != meanings.end()) problem.next = other->next == nullptr ? "" : other->next;
    throw problem;
}

void connect_to_server(const invocation &call, const char *otherwise) {
    try {
        register_client(call);
    } catch (failure &problem) {
        if (otherwise != nullptr) problem.next = otherwise;
        throw;
    }
}
