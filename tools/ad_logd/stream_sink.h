// Standard output: a terminal, a pipe, a file, whatever it is.
#ifndef AD_LOGD_STREAM_SINK_H
#define AD_LOGD_STREAM_SINK_H

#include "sink.h"

class stream_sink : public sink {
  public:
    stream_sink(int fd, line_form form) : fd_(fd), form_(form) {}

    void add(const record &what) override;
    void flush() override;
    bool is_waiting() const override { return !lines_.empty() || untold() != 0; }
    void give_up() override;

  private:
    size_t rest_bytes() const;
    size_t write_bytes(const char *&problem);

    int fd_;
    line_form form_;
    bool is_stalled_ = false;     // nobody reads: it is not waited for again until somebody does
    bool begins_inside_ = false;  // lines_ begins with the rest of a half-written line, which is kept
    std::string lines_;
};

#endif
