// Lines on standard error that never stop the card: what standard error does not take at once is dropped and counted.
#ifndef SIMCARD_TRACE_OUTPUT_H
#define SIMCARD_TRACE_OUTPUT_H

#include <cstdint>
#include <string_view>

class trace_output {
  public:
    trace_output();
    ~trace_output();
    trace_output(const trace_output &) = delete;
    trace_output &operator=(const trace_output &) = delete;

    void line(std::string_view text);  // with its newline
    uint64_t dropped() const { return dropped_; }

  private:
    int descriptor_;
    uint64_t dropped_ = 0;
};

#endif
