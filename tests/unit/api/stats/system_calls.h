// The library's malloc() and shmat(), as a test wants them.
#ifndef TESTS_STATS_SYSTEM_CALLS_H
#define TESTS_STATS_SYSTEM_CALLS_H

#include <cstddef>
#include <vector>

// While an object lives: memory is filled with 0xA5, requests are recorded, one of them fails if wanted.  Without one, and with
// one, no machine has more than a gibibyte for a call.
class watched_heap {
  public:
    explicit watched_heap(size_t failing_call = none);
    ~watched_heap();
    watched_heap(const watched_heap &) = delete;
    watched_heap &operator=(const watched_heap &) = delete;

    const std::vector<size_t> &requests() const { return requests_; }

    static constexpr size_t none = 0;  // the first call is 1

  private:
    friend void *answer_malloc(size_t bytes);
    size_t failing_call_;
    std::vector<size_t> requests_;
};

// shmat() fails while an object lives.
class failing_shmat {
  public:
    failing_shmat();
    ~failing_shmat();
    failing_shmat(const failing_shmat &) = delete;
    failing_shmat &operator=(const failing_shmat &) = delete;
};

// How often shmat() was called.
extern size_t shmat_calls;

#endif
