// Standard output: a terminal, a pipe, a file, whatever it is.
#ifndef AD_LOGD_STREAM_SINK_H
#define AD_LOGD_STREAM_SINK_H

#include "sink.h"

class stream_sink : public sink {
  public:
    stream_sink(int fd, line_form form) : fd_(fd), form_(form) {}

    void add(const record &what) override;
    void flush() override;
    bool is_waiting() const override { return !lines_.empty(); }
    void give_up() override;

  private:
    struct unwritten {
        uint64_t lines;
        const char *reason;
    };
    unwritten write_lines();
    size_t write_bytes(const char *&problem);

    int fd_;
    line_form form_;
    bool is_stalled_ = false;     // nobody reads: it is not waited for again until somebody does
    bool begins_inside_ = false;  // lines_ begins with a line that is kept: half written, or the one that tells of losses
    std::string lines_;
};

#endif
