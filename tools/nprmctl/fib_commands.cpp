// fib add, del, lookup: one route each.

#include "failure.h"
#include "fib_records.h"
#include "invocation.h"

#include <cstring>

namespace {

constexpr const char *prefix_help = "A.B.C.D/LEN or an IPv6 prefix; without a length a single address";

nprm_fib_prefix prefix_argument(const invocation &call, const char *name, const std::string &text,
                                decltype(prefix_of) &parse = prefix_of) {
    if (text == "default" && parse == prefix_of)
        throw usage_error(std::string(name) + " is \"default\", which may be IPv4's or IPv6's: give 0.0.0.0/0 or ::/0",
                          usage_of(call.row()));
    word_error error;
    const auto prefix = parse(text, error);
    if (!prefix) throw usage_error(std::string(name) + ": " + error.message, usage_of(call.row()));
    return *prefix;
}

struct code_meaning {
    uint32_t code;
    const char *meaning;
};

// One record there and back.   other: what a code means here
answer exchange(fib_entry &route, nprm_fib_action action, const code_meaning &other) {
    fib_batch one(1);
    one.add(route);
    answer given = one.send(action);
    if (given.code == other.code) given.meaning = other.meaning;
    route = one.at(0);
    return given;
}

void put_route(report &told, const fib_entry &route) {
    told.fact("prefix", nullptr, prefix_text(route.prefix));
    told.fact("mac", nullptr, mac_text(route.nexthop));
    told.fact("uidb", nullptr, uint64_t{route.nexthop.u16_5});
}

std::string text_of(const fib_entry &route) {
    return prefix_text(route.prefix) + " to " + mac_text(route.nexthop) + ", UIDB " + std::to_string(route.nexthop.u16_5);
}

}  // namespace

answer fib_batch::send(nprm_fib_action action) {
    answer given = ask([&] { return nprm_fib_op(0, action, count(), prefixes_.data(), nexthops_.data()); });
    if (given.code == NPRM_ERROR_IF_EXIST) given.meaning = "a prefix is in the FIB already, or comes twice";
    if (given.code == NPRM_ERROR_IF_NOT_EXIST) given.meaning = "a prefix is not in the FIB";
    if (given.code == NPRM_ERROR_IF_WRITE_FIB) given.meaning = "the FIB is full, or could not be written";
    return given;
}

int fib_add(invocation &call) {
    std::string prefix, mac;
    uint32_t uidb = 0;
    bool replace = false;
    call.text("PREFIX", prefix, prefix_help);
    call.text("MAC", mac, "the next hop's address, 02:00:00:00:00:01");
    call.number("UIDB", uidb, 0, UINT16_MAX, "of the interface that packets leave by, 0 to 65535");
    call.flag("--replace", replace, "take a prefix that is in the FIB already, with the new next hop");
    call.parse();
    word_error error;
    const auto nexthop = nexthop_of(mac, std::to_string(uidb), error);
    fib_entry route = {prefix_argument(call, "PREFIX", prefix), nexthop.value_or(nprm_fib_nexthop{})};
    if (!nexthop) throw usage_error("MAC: " + error.message, usage_of(call.row()));
    connect_to_server(call);
    fib_entry returned = route;
    const answer given =
        exchange(returned, replace ? NPRM_FIB_REPLACE : NPRM_FIB_ADD, {NPRM_ERROR_IF_EXIST, "the prefix is in the FIB already"});
    if (given.code != NPRM_OK) {
        failure problem = unchanged_for(prefix_text(route.prefix) + " was not added", given);
        if (given.code == NPRM_ERROR_IF_EXIST) problem.next = "--replace gives it the new next hop";
        throw problem;
    }
    report added;
    added.sentence("route " + text_of(route) + ", was added");
    put_route(added, route);
    call.print(added);
    return exit_done;
}

int fib_delete(invocation &call) {
    std::string prefix;
    call.text("PREFIX", prefix, prefix_help);
    call.parse();
    fib_entry route = {prefix_argument(call, "PREFIX", prefix), {}};
    connect_to_server(call);
    const std::string name = prefix_text(route.prefix);
    const answer given = exchange(route, NPRM_FIB_DELETE, {NPRM_ERROR_IF_NOT_EXIST, "the prefix is not in the FIB"});
    if (given.code != NPRM_OK) throw unchanged_for(name + " was not deleted", given);
    report deleted;
    deleted.sentence("route " + name + " was deleted");
    deleted.fact("prefix", nullptr, name);
    call.print(deleted);
    return exit_done;
}

int fib_look_up(invocation &call) {
    std::string address;
    call.text("ADDRESS", address, "A.B.C.D or an IPv6 address");
    call.notes("Exit status 1 when no route contains the address.\n");
    call.parse();
    fib_entry route = {prefix_argument(call, "ADDRESS", address, address_of), {}};
    // No server returns this, so that an answer without a record is seen.
    std::memset(&route.nexthop, 0xA5, sizeof route.nexthop);
    const fib_entry asked = route;
    connect_to_server(call);
    answer given = exchange(route, NPRM_FIB_LOOK_UP, {NPRM_ERROR_IF_NOT_EXIST, "no route contains it"});
    if (given.code == NPRM_OK && std::memcmp(&asked, &route, sizeof route) == 0)
        given = {NPRM_ERROR, false, "The answer lacks a route."};
    if (given.code != NPRM_OK)
        throw unknown_for(address + (given.code == NPRM_ERROR_IF_NOT_EXIST ? " was not found" : " was not looked up"), given);
    report found;
    found.sentence(address + " takes " + text_of(route));
    found.fact("address", nullptr, address);
    put_route(found, route);
    call.print(found);
    return exit_done;
}
