// reg watch: which registers change, and how.

#include "failure.h"
#include "invocation.h"
#include "nprm.h"
#include "register_map.h"
#include "register_values.h"
#include "report.h"

#include <chrono>
#include <cstdio>
#include <thread>

namespace {

struct change {
    uint32_t reading, index, before, after;
};

std::vector<change> changes(uint32_t reading, uint32_t first, const std::vector<uint32_t> &before,
                            const std::vector<uint32_t> &after) {
    std::vector<change> found;
    for (uint32_t i = 0; i < before.size(); ++i)
        if (before[i] != after[i]) found.push_back({reading, first + i, before[i], after[i]});
    return found;
}

// The difference as a counter moves, which wraps.
void print_changes(const std::vector<change> &found) {
    for (const change &one : found)
        std::printf("%4u  %-44s 0x%08x -> 0x%08x  (+%u)\n", one.reading, get_npa_register_name(one.index), one.before, one.after,
                    one.after - one.before);
    std::fflush(stdout);
}

}  // namespace

int reg_watch(invocation &call) {
    std::string what;
    uint32_t interval_ms = 1000, count = 0;
    call.text("WHAT", what, "which registers: a block, a name or indexes");
    call.number("--interval MS", interval_ms, 1, 3'600'000, "milliseconds between two readings; 1000 when not given");
    call.number("--count COUNT", count, 2, UINT32_MAX, "how many readings; when not given, until it is stopped");
    call.notes(
        "A line a register that has changed since the reading before: the reading's number from 2 on, name, values, difference.\n"
        "--json needs --count, and prints all changes at the end.\n");
    call.parse();
    if (call.json() && count == 0) throw usage_error("--json needs --count", usage_of(call.row()));
    const register_range range = registers_of(what);
    report all;
    all.table("changes",
              {{"reading", "reading"}, {"index", "index"}, {"name", "register"}, {"before", "before"}, {"after", "after"}});
    bool has_changed = false;
    std::vector<uint32_t> before = read_registers(call, range.first, range.count);
    for (uint32_t reading = 2; count == 0 || reading <= count; ++reading) {
        std::this_thread::sleep_for(std::chrono::milliseconds(interval_ms));
        std::vector<uint32_t> after = read_registers(call, range.first, range.count);
        const auto found = changes(reading, range.first, before, after);
        if (!call.json()) print_changes(found);
        for (const change &one : found)
            if (call.json())
                all.row({uint64_t{one.reading}, uint64_t{one.index}, get_npa_register_name(one.index), uint64_t{one.before},
                         uint64_t{one.after}});
        has_changed = has_changed || !found.empty();
        before = std::move(after);
    }
    if (!has_changed) all.sentence("none of the registers has changed");
    if (call.json() || !has_changed) call.print(all);
    return exit_done;
}
