// acl, errorlog-mask, crash: switches of the whole card.

#include "failure.h"
#include "invocation.h"
#include "nprm.h"
#include "server.h"
#include "service_text.h"
#include "tcam_arguments.h"

#include <cstdio>
#include <cstring>
#include <iterator>
#include <string_view>

#include <unistd.h>

namespace {

constexpr const char *lookups[] = {"dump", "trace", "intercept", "policy"};
constexpr const char *lookup_help = "dump, trace, intercept or policy";

// Words only: the library takes a number above 3 for done, and sends nothing.
uint32_t lookup_argument(const invocation &call, const std::string &text) {
    return value_of(call, "LOOKUP", lookups, text, std::size(lookups) - 1);
}

int switch_lookup(const invocation &call, uint32_t type, bool on, uint32_t list) {
    const std::string name = std::string("the ") + lookups[type] + " look-up";
    connect_to_server(call);
    change(name + " was not switched " + (on ? "on" : "off"),
           [&] { return nprm_tcam_v4_cfg(type, on ? 1 : 0, static_cast<uint8_t>(list)); });
    report result;
    result.sentence(name + (on ? " is on, in list " + std::to_string(list) : " is off"));
    result.fact("lookup", nullptr, std::string(lookups[type]));
    result.fact("enabled", nullptr, on);
    result.fact("list", nullptr, uint64_t{list});
    call.print(result);
    return exit_done;
}

// In decimal, or in hexadecimal behind 0x.
uint32_t mask_argument(const invocation &call, const std::string &text) {
    const bool is_hex = text.starts_with("0x") || text.starts_with("0X");
    const char *first = text.data() + (is_hex ? 2 : 0), *last = text.data() + text.size();
    uint32_t mask = 0;
    const auto [end, error] = std::from_chars(first, last, mask, is_hex ? 16 : 10);
    if (error != std::errc{} || end != last)
        throw usage_error("MASK is " + in_quotes(text) + ", it must be a number from 0 to 4294967295, or from 0x0 to 0xffffffff",
                          usage_of(call.row()));
    return mask;
}

bool is_confirmed(const invocation &call) {
    if (isatty(STDIN_FILENO) == 0)
        throw usage_error("there is no terminal to ask on: --yes has the server crash without asking", usage_of(call.row()));
    std::fputs("The server ends and leaves a dump; traffic may stop. Crash it? [y/N] ", stderr);
    char line[64] = "";
    if (std::fgets(line, sizeof line, stdin) == nullptr) return false;
    const std::string_view answer(line, std::strcspn(line, "\n"));
    return answer == "y" || answer == "Y" || answer == "yes";
}

}  // namespace

int acl_enable(invocation &call) {
    std::string lookup;
    uint32_t list = 0;
    call.text("LOOKUP", lookup, lookup_help);
    call.number("LIST", list, 0, list_id_max, list_help);
    call.notes("Example: nprmctl acl enable intercept 3\n");
    call.parse();
    return switch_lookup(call, lookup_argument(call, lookup), true, list);
}

int acl_disable(invocation &call) {
    std::string lookup;
    uint32_t list = 0;
    call.text("LOOKUP", lookup, lookup_help);
    call.number("[LIST]", list, 0, list_id_max, "the list's number that stays with the look-up, 0 to 255; 0 when not given");
    call.notes("Example: nprmctl acl disable intercept\n");
    call.parse();
    return switch_lookup(call, lookup_argument(call, lookup), false, list);
}

int set_errorlog_mask(invocation &call) {
    std::string text;
    call.text("MASK", text, "which errors the card logs, a bit each: 0 to 4294967295, or 0x0 to 0xffffffff");
    call.notes("Example: nprmctl errorlog-mask 0x3f\n");
    call.parse();
    const uint32_t mask = mask_argument(call, text);
    connect_to_server(call);
    change("the error-log mask was not set", [&] { return nprm_set_errorlog_mask(mask); });
    char hex[16];
    std::snprintf(hex, sizeof hex, "%#x", mask);
    report result;
    result.sentence(std::string("the error-log mask is ") + hex);
    result.fact("mask", nullptr, uint64_t{mask});
    call.print(result);
    return exit_done;
}

int crash(invocation &call) {
    uint32_t argument = 0;
    bool yes = false;
    call.number("[ARGUMENT]", argument, 0, UINT32_MAX, "a number for the server, 0 to 4294967295; 0 when not given");
    call.flag("--yes", yes, "do not ask");
    call.notes(
        "Asks on the terminal first, and refuses where there is none. The simulated card counts the request and goes on.\n"
        "Example: nprmctl crash 7\n");
    call.parse();
    if (!yes && !is_confirmed(call)) throw refused("nothing was sent: the answer was not y");
    connect_to_server(call);
    change("the server was not asked to crash", [&] { return nprm_request_crash(argument); });
    report result;
    result.sentence("the server was asked to crash, argument " + std::to_string(argument));
    result.fact("argument", nullptr, uint64_t{argument});
    call.print(result);
    return exit_done;
}
