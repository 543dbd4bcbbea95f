// Random steps against a model: seeded anew in every run, the seed is printed, NPRM_TEST_SEED=SEED repeats the run.
#ifndef TESTS_UTIL_RANDOM_STEPS_H
#define TESTS_UTIL_RANDOM_STEPS_H

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>

class random_steps {
  public:
    random_steps() {
        const char *wanted = std::getenv("NPRM_TEST_SEED");
        const auto seed = wanted != nullptr ? static_cast<uint32_t>(std::strtoul(wanted, nullptr, 0)) : std::random_device{}();
        std::cout << "NPRM_TEST_SEED=" << seed << "\n";
        engine_.seed(seed);
    }

    // 0 to below - 1.
    uint32_t below(uint32_t below) { return static_cast<uint32_t>(engine_() % below); }
    uint64_t any() { return uint64_t{engine_()} << 32 | engine_(); }

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    static constexpr uint32_t steps = 100'000;  // instrumented code takes ten times as long
#else
    static constexpr uint32_t steps = 1'000'000;
#endif

  private:
    std::mt19937 engine_;
};

#endif
