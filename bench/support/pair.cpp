// Calibrates, alternates, takes the medians and prints the rows.

#include "pair.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

namespace {

constexpr double control_lowest = 0.98;
constexpr double control_highest = 1.02;
constexpr int control_attempts = 3;

constexpr double block_ns = 1e6;
constexpr double row_ns = 400e6;  // the time for a row, as far as the number of ratios allows it
constexpr size_t fewest_ratios = 60;
constexpr size_t most_ratios = 300;

constexpr double smoke_block_ns = 20e3;
constexpr size_t smoke_ratios = 4;

constexpr const char *within = "met";
constexpr const char *exceeded = "MISSED";
constexpr const char *undecided = "-";
constexpr const char *too_noisy = "noisy";

// How many calls last about as long as a block should; these calls warm the caches up as well.
uint64_t calibrate(const std::function<double(uint64_t)> &run, double goal_ns) {
    uint64_t calls = 1;
    for (;;) {
        const double ns = std::max(run(calls), 1.0);
        if (ns >= goal_ns / 4) return std::max<uint64_t>(1, static_cast<uint64_t>(static_cast<double>(calls) * goal_ns / ns));
        calls *= 2;
    }
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

}  // namespace

benchmark_run::benchmark_run(const char *title, int argc, char **argv) : title_(title) {
    CLI::App options(title_);
    options.add_flag("--smoke", smoke_, "run everything once at the smallest size, without verdicts");
    options.add_flag("--json", json_, "print one JSON object at the end instead of the table");
    options.add_option("--filter", filter_, "run the rows only whose name contains the text")->type_name("TEXT");
    try {
        options.parse(argc, argv);
    } catch (const CLI::ParseError &stop) {
        std::exit(options.exit(stop));
    }
    if (!json_)
        std::printf("%s\n%-64s %12s %12s %8s  %-8s %s\n", title, "", "A ns", "B ns", "A/B", "limit", smoke_ ? "(smoke)" : "");
}

benchmark_run::timing benchmark_run::alternate(const subject &a, const subject &b) const {
    const double goal_ns = smoke_ ? smoke_block_ns : block_ns;
    const uint64_t calls_a = calibrate(a.run, goal_ns);
    const uint64_t calls_b = calibrate(b.run, goal_ns);
    std::vector<double> all_a, all_b, ratios, differences;
    const auto block_a = [&] { return a.run(calls_a) / static_cast<double>(calls_a * a.operations); };
    const auto block_b = [&] { return b.run(calls_b) / static_cast<double>(calls_b * b.operations); };
    const auto take = [&](double ns_a, double ns_b) {
        all_a.push_back(ns_a);
        all_b.push_back(ns_b);
        ratios.push_back(ns_a / ns_b);
        differences.push_back(ns_a - ns_b);
    };
    const auto start = clock::now();
    const auto enough = [&] {
        if (smoke_) return ratios.size() >= smoke_ratios;
        return ratios.size() >= most_ratios || (ratios.size() >= fewest_ratios && ns_since(start) >= row_ns);
    };
    while (!enough()) {
        const double first_a = block_a(), first_b = block_b();
        const double second_b = block_b(), second_a = block_a();
        take(first_a, first_b);
        take(second_a, second_b);
    }
    return {median(all_a), median(all_b), median(ratios), median(differences)};
}

void benchmark_run::control(const std::string &name, const subject &same) {
    controlled_ = true;
    timing measured{};
    for (int attempt = 0; attempt < control_attempts; ++attempt) {
        measured = alternate(same, same);
        noisy_ = !smoke_ && (measured.ratio < control_lowest || measured.ratio > control_highest);
        if (!noisy_) break;
    }
    add({"control: B of \"" + name + "\" beside itself", {no_limit, ratio}, measured, noisy_ ? too_noisy : undecided});
}

void benchmark_run::measure(const std::string &name, limit highest, const subject &a, const subject &b) {
    if (name.find(filter_) == std::string::npos) return;
    if (!controlled_) control(name, b);
    const timing measured = alternate(a, b);
    const double reached = highest.of == ratio ? measured.ratio : measured.difference_ns;
    const char *verdict = undecided;
    if (highest.most > 0 && !smoke_) verdict = noisy_ ? too_noisy : reached <= highest.most ? within : exceeded;
    add({name, highest, measured, verdict});
}

void benchmark_run::print(const result_row &row) {
    const timing &measured = row.measured;
    char limit[32] = "";
    if (row.highest.most > 0)
        std::snprintf(limit, sizeof limit, row.highest.of == ratio ? "<= %.2f" : "<= +%.0f ns", row.highest.most);
    char difference[32] = "";
    if (row.highest.of == difference_ns) std::snprintf(difference, sizeof difference, " (%+.2f ns)", measured.difference_ns);
    std::printf("%-64s %12.1f %12.1f %8.3f  %-8s %s%s\n", row.name.c_str(), measured.ns_a, measured.ns_b, measured.ratio, limit,
                row.verdict, difference);
    std::fflush(stdout);
}

void benchmark_run::add(result_row row) {
    if (!json_) print(row);
    rows_.push_back(std::move(row));
}

void benchmark_run::count(const std::string &name, uint64_t counted, uint64_t most) {
    if (name.find(filter_) == std::string::npos) return;
    counts_.push_back({name, counted, most});
    if (json_) return;
    const char *const verdict = smoke_ ? undecided : counted <= most ? within : exceeded;
    std::printf("%-64s %25" PRIu64 " %8s <= %-5" PRIu64 " %s\n", name.c_str(), counted, "", most, verdict);
}

int benchmark_run::finish() const {
    if (json_) {
        nlohmann::ordered_json rows = nlohmann::ordered_json::array();
        for (const result_row &row : rows_) {
            nlohmann::ordered_json object = {{"name", row.name},
                                             {"a_ns", row.measured.ns_a},
                                             {"b_ns", row.measured.ns_b},
                                             {"ratio", row.measured.ratio},
                                             {"difference_ns", row.measured.difference_ns},
                                             {"verdict", row.verdict}};
            if (row.highest.most > 0) object[row.highest.of == ratio ? "highest" : "highest_difference_ns"] = row.highest.most;
            rows.push_back(std::move(object));
        }
        for (const count_row &row : counts_)
            rows.push_back({{"name", row.name}, {"count", row.counted}, {"highest", row.most}});
        const nlohmann::ordered_json all = {{"title", title_}, {"smoke", smoke_}, {"too_noisy", noisy_}, {"rows", rows}};
        std::printf("%s\n", all.dump(2).c_str());
    }
    if (!smoke_ && std::ranges::any_of(counts_, [](const count_row &row) { return row.counted > row.most; })) return 1;
    if (noisy_) {
        std::fprintf(stderr, "the machine is too noisy: the same code beside itself is outside %.2f to %.2f\n", control_lowest,
                     control_highest);
        return 3;
    }
    const bool missed = std::any_of(rows_.begin(), rows_.end(), [](const result_row &row) { return row.verdict == exceeded; });
    return missed ? 1 : 0;
}
