// fib generate, bench: whole tables of made-up routes.

#include "failure.h"
#include "fib_generator.h"
#include "fib_records.h"
#include "invocation.h"
#include "line_stream.h"
#include "progress.h"

#include <chrono>
#include <cstdio>

namespace {

// Counts the routes that the card took, and takes them away again.
class measured_table {
  public:
    measured_table(const invocation &call, const route_generator &routes, uint32_t batch)
        : call_(call), routes_(routes), batch_(batch), step_(batch) {}

    // Runs the action over the first `count` routes; returns the seconds that it took.
    double run(nprm_fib_action action, uint32_t count, const char *what) {
        progress_line progress(call_, count, what);
        std::chrono::steady_clock::duration spent{};
        for (done_ = 0; done_ < count;) {
            batch_.clear();
            for (uint32_t i = done_; i < count && !batch_.is_full(); ++i)
                batch_.add(routes_.at(i));
            const auto start = std::chrono::steady_clock::now();
            const answer given = batch_.send(action);
            spent += std::chrono::steady_clock::now() - start;
            if (given.code != NPRM_OK)
                throw unchanged_for(counted(batch_.count(), "route was", "routes were") + " not " + what, given);
            done_ += batch_.count();
            progress.show(done_);
            if (action == NPRM_FIB_ADD && was_interrupted()) throw refused("interrupted");
        }
        return std::chrono::duration<double>(spent).count();
    }
    uint32_t done() const { return done_; }
    uint32_t messages() const { return (routes_.count() + step_ - 1) / step_; }

  private:
    const invocation &call_;
    const route_generator &routes_;
    fib_batch batch_;
    uint32_t step_, done_ = 0;
};

double add_all(measured_table &table, uint32_t count) {
    try {
        return table.run(NPRM_FIB_ADD, count, "added");
    } catch (failure &problem) {
        const uint32_t added = table.done();
        try {
            table.run(NPRM_FIB_DELETE, added, "deleted");
            problem.what += "; " + (added == 0 ? "no route was added"
                                               : counted(added, "route was", "routes were") + " added and deleted again");
        } catch (const failure &) {
            problem.what += "; " + counted(added - table.done(), "route is", "routes are") + " left on the card";
        }
        throw;
    }
}

}  // namespace

int fib_generate(invocation &call) {
    generated_table table;
    const std::string notes =
        "A line each, PREFIX MAC UIDB, in mixed order, with 64 next hops.  No prefix comes twice; the\n"
        "same seed makes the same routes.\n" +
        generated_lengths();
    call.number("--ipv4 COUNT", table.ipv4, 0, generated_max, "IPv4 routes, 1000000 when not given");
    call.number("--ipv6 COUNT", table.ipv6, 0, generated_max, "IPv6 routes, 200000 when not given");
    call.number("--seed SEED", table.seed, 0, UINT32_MAX, "1 when not given");
    call.notes(notes.c_str());
    call.parse();
    if (call.json()) throw usage_error("routes are lines, there is no JSON of them", usage_of(call.row()));
    const route_generator routes(table);
    for (uint32_t i = 0; i < routes.count() && std::ferror(stdout) == 0; ++i) {
        const fib_entry route = routes.at(i);
        std::printf("%s %s %u\n", prefix_text(route.prefix).c_str(), mac_text(route.nexthop).c_str(), route.nexthop.u16_5);
    }
    return exit_done;
}

int fib_bench(invocation &call) {
    uint32_t count = 100000, batch = NPRM_FIB_ENTRIES_MAX;
    call.number("--routes COUNT", count, 1, generated_max, "100000 when not given, five of six IPv4");
    call.number("--batch COUNT", batch, 1, NPRM_FIB_ENTRIES_MAX, "routes a message, 1872 when not given");
    call.notes("The routes are those of fib generate.  One that the card has already is refused, and ends the measurement.\n");
    call.parse();
    const route_generator routes({.ipv4 = count - count / 6, .ipv6 = count / 6});
    catch_interrupts();
    connect_to_server(call);
    measured_table table(call, routes, batch);
    const double adding = add_all(table, count);
    const double deleting = table.run(NPRM_FIB_DELETE, count, "deleted");

    report measured;
    measured.sentence(counted(count, "route", "routes") + " in " + counted(table.messages(), "message", "messages") +
                      ", added and deleted again");
    measured.fact("routes", nullptr, uint64_t{count});
    measured.fact("messages", nullptr, uint64_t{table.messages()});
    measured.table("rates", {{"action", "action"}, {"routes_per_second", "routes/s"}, {"us_per_message", "us/message"}});
    for (const auto &[name, seconds] : {std::pair{"add", adding}, std::pair{"delete", deleting}})
        measured.row(
            {std::string(name), static_cast<uint64_t>(count / seconds), static_cast<uint64_t>(1e6 * seconds / table.messages())});
    call.print(measured);
    return exit_done;
}
