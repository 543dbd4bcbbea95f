// fib load: a file of routes into the card's FIB, of any length in constant memory.

#include "failure.h"
#include "fib_records.h"
#include "invocation.h"
#include "line_stream.h"
#include "progress.h"
#include "rule_file.h"

#include <chrono>
#include <optional>

namespace {

constexpr size_t errors_max = 20;

constexpr const char *notes =
    "FILE has a route a line; # and ! begin comments:\n"
    "  PREFIX MAC UIDB         192.0.2.0/24 02:00:00:00:00:01 7\n"
    "  as ip route prints it   192.0.2.0/24 via 198.51.100.1 dev eth0 proto static\n"
    "Lines of ip route have no MAC address and no UIDB.  They come from the file of --nexthops, a line each,\n"
    "  NAME MAC UIDB           NAME: a GATEWAY, a DEVICE, or GATEWAY%DEVICE, which goes first\n"
    "and for other next hops from --mac and --uidb.  Of several next hops, and of routes to one prefix that differ\n"
    "by metric, the first is taken.  Left out are routes of the host itself (local, broadcast, multicast, anycast)\n"
    "and those for some packets only (tos, from, table).\n"
    "\n"
    "A file is checked before anything is sent; a pipe is read once, and loading stops at its first wrong line.\n"
    "Routes go in the order of the file, at most 1872 a message, and loading stops at the first message that is\n"
    "refused, or at Ctrl-C.  --first-line goes on from there.\n";

struct load_options {
    std::string path, names, mac;
    uint32_t uidb = 0, batch = NPRM_FIB_ENTRIES_MAX, first_line = 1;
    bool ipv6 = false, replace = false, dry_run = false;

    void declare(invocation &call) {
        call.text("FILE", path, "routes, or - for standard input");
        call.text("--nexthops NAMES", names, "file with the MAC addresses and UIDBs of gateways and devices");
        call.text("--mac MAC", mac, "of next hops that NAMES does not have");
        call.number("--uidb UIDB", uidb, 0, UINT16_MAX, "likewise");
        call.flag("--ipv6", ipv6, "a default route without a gateway is IPv6's");
        call.flag("--replace", replace, "take prefixes that are in the FIB already, with the new next hop");
        call.number("--batch COUNT", batch, 1, NPRM_FIB_ENTRIES_MAX, "routes a message, 1872 when not given");
        call.number("--first-line LINE", first_line, 1, UINT32_MAX, "leave the lines before this one out");
        call.flag("--dry-run", dry_run, "tell messages, bytes and order, and send nothing");
        call.notes(notes);
    }
    nprm_fib_action action() const { return replace ? NPRM_FIB_REPLACE : NPRM_FIB_ADD; }
    // The command that goes on at a line, with what decides which routes the lines become.
    std::string again(uint32_t line, bool replacing, const char *more) const {
        std::string text = "nprmctl fib load " + path;
        if (!names.empty()) text += " --nexthops " + names;
        if (!mac.empty()) text += " --mac " + mac + " --uidb " + std::to_string(uidb);
        if (ipv6) text += " --ipv6";
        text += " --first-line " + std::to_string(line);
        return text + (replacing ? " --replace" : "") + more;
    }
};

nexthop_names names_of(const invocation &call, const load_options &options) {
    nexthop_names names;
    if (!options.names.empty()) {
        std::vector<text_error> errors;
        names.read(read_text(options.names), errors);
        if (!errors.empty()) throw text_errors(name_of_file(options.names), std::move(errors));
    }
    if (call.given("--mac") != call.given("--uidb"))
        throw usage_error("--mac and --uidb are given together or not at all", usage_of(call.row()));
    if (call.given("--mac")) {
        word_error error;
        const auto other = nexthop_of(options.mac, std::to_string(options.uidb), error);
        if (!other) throw usage_error("--mac: " + error.message, usage_of(call.row()));
        names.set_other(*other);
    }
    return names;
}

// The file's routes, one after the other.
class route_feed {
  public:
    enum class step { route, wrong, end };  // wrong: errors() has grown;  end: also when interrupted

    route_feed(line_stream &lines, const nexthop_names &names, const load_options &options)
        : lines_(lines), reader_(names, options.ipv6), first_line_(options.first_line) {}

    step next(fib_entry &route) {
        const size_t known = errors_.size();
        for (std::string_view line; lines_.next(line);) {
            if (lines_.number() < first_line_) {
                step_over(line);
                continue;
            }
            const auto entry = read(line);
            if (errors_.size() > known) return step::wrong;
            if (!entry) continue;
            route = *entry;
            return step::route;
        }
        if (!was_interrupted()) reader_.end(errors_);
        return errors_.size() > known ? step::wrong : step::end;
    }
    std::vector<text_error> &errors() { return errors_; }
    uint32_t line() const { return lines_.number(); }
    uint32_t left_out() const { return reader_.left_out() - left_out_before_; }

  private:
    // A line before the first one is still what next hops and routes to the same prefix behind it refer to.
    void step_over(std::string_view line) {
        std::vector<text_error> nobodys;
        if (line.size() <= line_stream::line_bytes_max) reader_.read(line, lines_.number(), nobodys);
        left_out_before_ = reader_.left_out();
    }
    std::optional<fib_entry> read(std::string_view line) {
        constexpr uint32_t most = line_stream::line_bytes_max;
        if (line.size() <= most) return reader_.read(line, lines_.number(), errors_);
        errors_.push_back({lines_.number(), most + 1, "the line is longer than " + grouped(most) + " bytes", std::string(line)});
        return std::nullopt;
    }

    line_stream &lines_;
    route_reader reader_;
    uint32_t first_line_, left_out_before_ = 0;
    std::vector<text_error> errors_;
};

// The lines of one or more messages.
struct line_range {
    uint32_t first, last;
    uint64_t routes;
};

std::string text_of(const line_range &lines) {
    const std::string name =
        lines.first == lines.last ? "line " + grouped(lines.first) : "lines " + grouped(lines.first) + " to " + grouped(lines.last);
    return name + " (" + counted(lines.routes, "route", "routes") + ")";
}

struct file_plan {
    line_range full;  // the messages that are full
    line_range last;  // the message that is not, if it has routes
    uint32_t left_out = 0;

    uint64_t routes() const { return full.routes + last.routes; }
};

// Reads the whole file; throws its errors.
file_plan read_ahead(line_stream &lines, const nexthop_names &names, const load_options &options) {
    route_feed feed(lines, names, options);
    file_plan plan = {{options.first_line, 0, 0}, {options.first_line, 0, 0}};
    fib_entry route;
    for (auto step = feed.next(route); step != route_feed::step::end && feed.errors().size() < errors_max;
         step = feed.next(route)) {
        if (step == route_feed::step::wrong) continue;
        plan.last.last = feed.line();
        if (++plan.last.routes < options.batch) continue;
        plan.full = {options.first_line, feed.line(), plan.full.routes + options.batch};
        plan.last = {feed.line() + 1, 0, 0};
    }
    if (was_interrupted()) throw refused("interrupted; nothing was sent");
    if (!feed.errors().empty()) throw text_errors(name_of_file(options.path), std::move(feed.errors()));
    plan.left_out = feed.left_out();
    return plan;
}

std::string left_out_text(uint32_t lines) {
    return lines == 0 ? "" : "; " + counted(lines, "line", "lines") + " left out";
}

int tell_plan(const invocation &call, const load_options &options, const file_plan &plan) {
    const uint64_t full = plan.full.routes / options.batch, messages = full + (plan.last.routes != 0 ? 1 : 0);
    const uint64_t bytes =
        full * fib_message_bytes(options.batch) + (plan.last.routes != 0 ? fib_message_bytes(plan.last.routes) : 0);
    report told;
    told.sentence(counted(plan.routes(), "route", "routes") + " would go out in " + counted(messages, "message", "messages") +
                  " of " + grouped(bytes) + " bytes together, in this order" + left_out_text(plan.left_out) + "; nothing was sent");
    told.fact("routes", nullptr, plan.routes());
    told.fact("messages", nullptr, messages);
    told.fact("bytes", nullptr, bytes);
    told.fact("left_out", nullptr, uint64_t{plan.left_out});
    told.table("order", {{"messages", "messages"},
                         {"routes", "routes each"},
                         {"bytes", "bytes each"},
                         {"first_line", "from line"},
                         {"last_line", "to line"}});
    const auto row = [&](uint64_t count, uint64_t routes, const line_range &lines) {
        if (count != 0) told.row({count, routes, fib_message_bytes(routes), uint64_t{lines.first}, uint64_t{lines.last}});
    };
    row(full, options.batch, plan.full);
    row(plan.last.routes != 0 ? 1 : 0, plan.last.routes, plan.last);
    call.print(told);
    return exit_done;
}

// What is on the card, and what is not, when loading ends early.
class loading {
  public:
    loading(const invocation &call, const load_options &options, uint64_t routes)
        : options_(options), batch_(options.batch), progress_(call, routes, "routes"), pending_{options.first_line, 0, 0} {
        applied_ = pending_;
    }

    void add(const fib_entry &route, uint32_t line) {
        batch_.add(route);
        pending_.last = line;
        ++pending_.routes;
        if (batch_.is_full()) send();
    }

    void send() {
        if (pending_.routes == 0) return;
        const answer given = batch_.send(options_.action());
        if (given.code != NPRM_OK) throw refused_message(given);
        applied_.last = pending_.last;
        applied_.routes += pending_.routes;
        pending_ = {pending_.last + 1, 0, 0};
        batch_.clear();
        progress_.show(applied_.routes);
    }

    // Sends what is left, and has the terminal for the report.
    void finish() {
        send();
        progress_.clear();
    }

    failure interrupted() const { return ended(refused("interrupted; " + applied_text() + not_tried(pending_.first)), false); }
    failure wrong_line(std::vector<text_error> errors) const {
        failure problem = text_errors(name_of_file(options_.path), std::move(errors));
        problem.what = "a line is wrong; " + applied_text() + not_tried(pending_.first);
        return ended(problem, false);
    }
    uint64_t applied() const { return applied_.routes; }

  private:
    std::string applied_text() const {
        return applied_.routes == 0 ? "nothing was applied"
                                    : text_of(applied_) + (applied_.routes == 1 ? " was" : " were") + " applied";
    }
    static std::string not_tried(uint32_t first) { return ", and nothing from line " + grouped(first) + " on was tried"; }

    failure refused_message(const answer &given) const {
        failure problem =
            unchanged_for(text_of(pending_) + (pending_.routes == 1 ? " was not applied" : " were not applied"), given);
        problem.what += "; " + applied_text() + not_tried(pending_.last + 1);
        const bool was_sent = given.code != NPRM_ERROR_IPC_SEND && given.code != NPRM_ERROR_NOT_READY;
        if (given.is_uncertain)
            problem.next = options_.again(pending_.first, true, " goes on from there");
        else if (was_sent && pending_.routes > 1)
            problem.next = options_.again(pending_.first, options_.replace, " --batch 1 finds the line");
        else if (given.code == NPRM_ERROR_IF_EXIST)
            problem.next = options_.again(pending_.first, true, " takes prefixes that are there");
        return ended(problem, true);
    }

    failure ended(failure problem, bool has_failed) const {
        problem.numbers = {{"applied_routes", applied_.routes}, {"applied_to_line", applied_.last}};
        if (has_failed)
            problem.numbers.insert(
                problem.numbers.end(),
                {{"failed_from_line", pending_.first}, {"failed_to_line", pending_.last}, {"failed_routes", pending_.routes}});
        problem.numbers.emplace_back("not_tried_from_line", has_failed ? pending_.last + 1 : pending_.first);
        return problem;
    }

    const load_options &options_;
    fib_batch batch_;
    progress_line progress_;
    line_range pending_;  // in the batch; an interruption finds it not sent
    line_range applied_;
};

failure without_routes(const load_options &options) {
    return usage_error(name_of_file(options.path) + " holds no routes, nothing was sent", {});
}

int load(const invocation &call, const load_options &options, line_stream &lines, const nexthop_names &names, uint64_t routes) {
    const auto start = std::chrono::steady_clock::now();
    route_feed feed(lines, names, options);
    loading onto_card(call, options, routes);
    fib_entry route;
    auto step = feed.next(route);
    for (; step == route_feed::step::route; step = feed.next(route))
        onto_card.add(route, feed.line());
    if (step == route_feed::step::wrong) throw onto_card.wrong_line(std::move(feed.errors()));
    if (was_interrupted()) throw onto_card.interrupted();
    onto_card.finish();
    if (onto_card.applied() == 0) throw without_routes(options);

    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const auto rate = static_cast<uint64_t>(static_cast<double>(onto_card.applied()) / seconds);
    report loaded;
    loaded.sentence(counted(onto_card.applied(), "route", "routes") + " applied, " + grouped(rate) + " a second" +
                    left_out_text(feed.left_out()));
    loaded.fact("routes", nullptr, onto_card.applied());
    loaded.fact("left_out", nullptr, uint64_t{feed.left_out()});
    loaded.fact("routes_per_second", nullptr, rate);
    call.print(loaded);
    return exit_done;
}

}  // namespace

int fib_load(invocation &call) {
    load_options options;
    options.declare(call);
    call.parse();
    const nexthop_names names = names_of(call, options);
    catch_interrupts();
    line_stream lines(options.path);
    uint64_t routes = 0;  // of a pipe it is not known
    if (options.dry_run || lines.rewind()) {
        const file_plan plan = read_ahead(lines, names, options);
        if (options.dry_run) return tell_plan(call, options, plan);
        if (plan.routes() == 0) throw without_routes(options);
        routes = plan.routes();
        lines.rewind();
    }
    connect_to_server(call);
    return load(call, options, lines, names, routes);
}
