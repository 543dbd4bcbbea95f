// One line on a terminal's standard error that counts up, with the rate, and is gone at the end.
#ifndef NPRMCTL_PROGRESS_H
#define NPRMCTL_PROGRESS_H

#include <chrono>
#include <cstdint>

class invocation;

class progress_line {
  public:
    // all: how many there will be, 0 when it is not known.   many: what they are, as people say it
    progress_line(const invocation &call, uint64_t all, const char *many);
    ~progress_line();
    progress_line(const progress_line &) = delete;
    progress_line &operator=(const progress_line &) = delete;

    void show(uint64_t done);
    // Ends the line, for what is said next.
    void clear();

  private:
    using clock = std::chrono::steady_clock;
    uint64_t all_;
    const char *many_;
    bool is_shown_;
    clock::time_point start_ = clock::now(), next_ = start_;
};

#endif
