// The network processor beside its tables: traffic manager, captures, debug facility.

#include "failure.h"
#include "invocation.h"
#include "nprm.h"
#include "report.h"
#include "server.h"

#include <charconv>
#include <cstdio>

namespace {

constexpr const char *names_notes =
    "The library gives the words of the answer no meaning; they are named as the simulated card counts.\n";

// A number in decimal digits, or in hexadecimal ones behind 0x.
uint32_t word_argument(const invocation &call, const std::string &text) {
    const bool is_hex = text.starts_with("0x");
    const char *begin = text.data() + (is_hex ? 2 : 0), *end = text.data() + text.size();
    uint32_t word = 0;
    const auto [stopped, error] = std::from_chars(begin, end, word, is_hex ? 16 : 10);
    if (error != std::errc{} || stopped != end)
        throw usage_error("WORD is " + in_quotes(text) + ", it must be a number of 32 bits", usage_of(call.row()));
    return word;
}

using debug_operation = uint32_t (*)(const uint32_t *, uint32_t *);

int debug(invocation &call, debug_operation operation, const char *notes) {
    std::vector<std::string> texts;
    call.texts("WORD...", texts, "the command's words, decimal or behind 0x hexadecimal; those behind are 0");
    call.notes(notes);
    call.parse();
    if (texts.size() > NPRM_NPDEBUG_COMMAND_WORDS)
        throw usage_error(
            "there are " + std::to_string(texts.size()) + " words, a command has " + std::to_string(NPRM_NPDEBUG_COMMAND_WORDS),
            usage_of(call.row()));
    uint32_t command[NPRM_NPDEBUG_COMMAND_WORDS] = {}, words[NPRM_NPDEBUG_ANSWER_WORDS] = {};
    for (size_t i = 0; i < texts.size(); ++i)
        command[i] = word_argument(call, texts[i]);
    connect_to_server(call);
    learn("the debug facility gave no words", [&] { return operation(command, words); });
    report content;
    content.table("words", {{"word", "word"}, {"value", "value"}, {"hex", "hex"}});
    for (uint32_t i = 0; i < NPRM_NPDEBUG_ANSWER_WORDS; ++i) {
        char hex[16];
        std::snprintf(hex, sizeof hex, "0x%08x", words[i]);
        content.row({uint64_t{i}, uint64_t{words[i]}, std::string(hex)});
    }
    call.print(content);
    return exit_done;
}

}  // namespace

int tm_queue(invocation &call) {
    uint32_t queue = 0;
    call.number("QUEUE", queue, 0, UINT32_MAX, "the queue's number; the simulated card has 8 a port");
    call.notes(names_notes);
    call.parse();
    connect_to_server(call);
    uint32_t words[NPRM_TM_QUEUE_DEPTH_WORDS] = {};
    learn("the depth of queue " + std::to_string(queue) + " was not read", [&] { return nprm_get_tm_queue_depth(queue, words); });
    report depth;
    depth.fact("queue", "queue", uint64_t{queue});
    depth.fact("waiting", "packets waiting", uint64_t{words[0]});
    depth.fact("most_waiting", "most at once", uint64_t{words[1]});
    depth.fact("came", "packets so far", uint64_t{words[2]});
    depth.fact("dropped", "of them dropped", uint64_t{words[3]});
    call.print(depth);
    return exit_done;
}

int tm_stats(invocation &call) {
    call.notes(names_notes);
    call.parse();
    connect_to_server(call);
    uint32_t words[NPRM_TM_GLOBAL_STATS_WORDS] = {};
    learn("the traffic manager's statistics were not read", [&] { return nprm_get_tm_gloabl_stats(words); });
    report totals;
    totals.fact("came", "packets so far", uint64_t{words[0]});
    totals.fact("forwarded", "forwarded", uint64_t{words[1]});
    totals.fact("dropped", "dropped", uint64_t{words[2]});
    totals.fact("waiting", "waiting", uint64_t{words[3]});
    totals.fact("free_buffers", "free buffers", uint64_t{words[4]});
    call.print(totals);
    return exit_done;
}

int npdebug_init(invocation &call) {
    return debug(
        call, nprm_npdbg_init,
        "What the words mean is the server's.  The simulated card takes 1, its protocol, and answers with the protocol, the\n"
        "session's number and how many commands there are.\n");
}

int npdebug_request(invocation &call) {
    return debug(call, nprm_npdbg_request,
                 "What the words mean is the server's.  The simulated card takes the session's number that npdebug init answered,\n"
                 "the command and its arguments: 0 echo, 1 register INDEX, 2 table NUMBER, 3 time.\n");
}

int hw_crash_dump(invocation &call) {
    uint32_t argument = 0;
    call.number("NUMBER", argument, 0, UINT32_MAX, "what to write, as the server counts; the simulated card takes 0 to 3");
    call.parse();
    connect_to_server(call);
    change("no crash-dump information was written", [&] { return nprm_request_crash_dump_info(argument); });
    report done;
    done.sentence("the card has written crash-dump information " + std::to_string(argument));
    done.fact("number", nullptr, uint64_t{argument});
    call.print(done);
    return exit_done;
}

int hw_capture(invocation &call) {
    std::string name;
    call.text("NAME", name, "where the server puts it, at most 779 characters");
    call.parse();
    if (name.empty()) throw usage_error("NAME is empty", usage_of(call.row()));
    if (name.size() >= NPRM_NPA_TEXT_BYTES)
        throw usage_error("NAME has " + counted(name.size(), "character", "characters") + ", a message holds " +
                              std::to_string(NPRM_NPA_TEXT_BYTES - 1),
                          usage_of(call.row()));
    connect_to_server(call);
    change("the search engine's configuration was not captured", [&] { return nprm_capture_se_config(name.c_str()); });
    report done;
    done.sentence("the card has captured the search engine's configuration as " + in_quotes(name));
    done.fact("name", nullptr, name);
    call.print(done);
    return exit_done;
}
