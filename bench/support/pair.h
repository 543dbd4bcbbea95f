// Two pieces of code measured against each other in one process: the median of the ratios of alternating blocks.
//
// On a shared machine times drift and ratios hold, so blocks alternate A B B A, each about a millisecond long, and every A is
// divided by its neighbour B.  Before the first pair its B runs against itself: outside 0.98 to 1.02 the machine is too noisy and
// no verdict is given.  Written here and not taken from Google Benchmark, which measures one thing after the other and which Debian
// does not carry for both ABIs at once.
//
//     int main(int argc, char **argv) {
//         benchmark_run run("pool: buffers of 64 bytes", argc, argv);
//         run.pair("take and give back beside malloc", 1.2, [] { nprm_free(nprm_pool_malloc(&pool)); }, [] { ... });
//         return run.finish();
//     }
#ifndef BENCH_PAIR_H
#define BENCH_PAIR_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// Keeps a value, or everything in memory, as if somebody looked at it.
template <typename Value>
inline void keep(const Value &value) {
    asm volatile("" : : "m"(value) : "memory");
}
inline void keep_memory() {
    asm volatile("" : : : "memory");
}

class benchmark_run {
  public:
    // Reads the options --smoke, --json and --filter TEXT; ends the process on others, and on --help.
    benchmark_run(const char *title, int argc, char **argv);

    // Everything once, in a fraction of a second, without verdicts: programs choose their smallest sizes then.
    bool smoke() const { return smoke_; }

    // Measures operation A beside operation B.  highest: the ratio A / B that the row must not exceed, or no_limit.
    // operations: how many operations one call is, where a call is more than one.
    template <typename A, typename B>
    void pair(const std::string &name, double highest, A a, B b, uint64_t operations_a = 1, uint64_t operations_b = 1) {
        measure(name, {highest, ratio}, {repeated(a), operations_a}, {repeated(b), operations_b});
    }
    // The same where operation B is next to nothing, so that a ratio would say nothing.
    //   highest_ns: the nanoseconds that an operation A may take longer than an operation B
    template <typename A, typename B>
    void pair_by_difference(const std::string &name, double highest_ns, A a, B b) {
        measure(name, {highest_ns, difference_ns}, {repeated(a), 1}, {repeated(b), 1});
    }
    // The same as pair() where each call needs a preparation whose time is not measured.
    template <typename PrepareA, typename A, typename PrepareB, typename B>
    void pair_prepared(const std::string &name, double highest, PrepareA prepare_a, A a, PrepareB prepare_b, B b,
                       uint64_t operations_a = 1, uint64_t operations_b = 1) {
        measure(name, {highest, ratio}, {prepared(prepare_a, a), operations_a}, {prepared(prepare_b, b), operations_b});
    }
    static constexpr double no_limit = 0;

    // A number that was counted and not measured, with the largest that is right.
    void count(const std::string &name, uint64_t counted, uint64_t most);

    // Prints what is still to be printed.   Returns the process's exit status: 0, 1 when a row exceeds its limit, 3 when the
    // machine is too noisy to tell.
    int finish() const;

  private:
    using clock = std::chrono::steady_clock;
    static double ns_since(clock::time_point start) {
        return std::chrono::duration<double, std::nano>(clock::now() - start).count();
    }

    struct subject {
        std::function<double(uint64_t)> run;  // runs so many calls and tells their nanoseconds
        uint64_t operations;                  // a call
    };
    struct timing {
        double ns_a, ns_b, ratio, difference_ns;  // medians, an operation
    };
    enum measure_of { ratio, difference_ns };
    struct limit {
        double most;
        measure_of of;
    };
    struct result_row {
        std::string name;
        limit highest;
        timing measured;
        const char *verdict;
    };

    struct count_row {
        std::string name;
        uint64_t counted, most;
    };

    // The loop over the calls is compiled with the operation, so that its cost is the same few instructions for A and for B.
    template <typename Operation>
    static std::function<double(uint64_t)> repeated(Operation operation) {
        return [operation](uint64_t calls) mutable {
            const auto start = clock::now();
            for (; calls != 0; --calls) {
                operation();
                keep_memory();
            }
            return ns_since(start);
        };
    }
    // For operations that are long beside a reading of the clock.
    template <typename Preparation, typename Operation>
    static std::function<double(uint64_t)> prepared(Preparation prepare, Operation operation) {
        return [prepare, operation](uint64_t calls) mutable {
            double ns = 0;
            for (; calls != 0; --calls) {
                prepare();
                const auto start = clock::now();
                operation();
                keep_memory();
                ns += ns_since(start);
            }
            return ns;
        };
    }

    void measure(const std::string &name, limit highest, const subject &a, const subject &b);
    timing alternate(const subject &a, const subject &b) const;
    void control(const std::string &name, const subject &same);
    void add(result_row row);
    static void print(const result_row &row);

    std::string title_;
    std::string filter_;
    bool smoke_ = false;
    bool json_ = false;
    bool controlled_ = false;
    bool noisy_ = false;
    std::vector<result_row> rows_;
    std::vector<count_row> counts_;
};

#endif
