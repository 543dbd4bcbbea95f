// A log file with rotation by size and count.
//
// By hand and not by spdlog's rotating sink: that opens by name with fopen(), which follows symbolic links and waits at a FIFO; it
// buffers in stdio, so that a full disk leaves half a record behind and nobody knows which records are lost; and a failing rename
// empties the file.
#ifndef AD_LOGD_FILE_SINK_H
#define AD_LOGD_FILE_SINK_H

#include "sink.h"

#include <cstddef>

struct file_options {
    std::string path;
    line_form form;
    uint64_t bytes_max;   // a file is rotated before it grows beyond; 0: never
    unsigned kept_files;  // path.1 is the youngest of those kept
};

class file_sink : public sink {
  public:
    // Throws std::runtime_error when the file cannot be had.
    explicit file_sink(file_options options);

    void add(const record &what) override;
    void flush() override;
    void reopen() override;

  private:
    bool open_file(std::string &problem);
    bool is_ready();
    bool is_in_its_place() const;
    void open_by_name();
    void rotate();
    int move_names() const;
    size_t write_bytes(int &error) const;
    void cut_back_to(int64_t bytes);

    file_options options_;
    unique_fd file_;
    int64_t file_bytes_ = 0;
    uint64_t rotated_above_ = 0;  // bytes; more than bytes_max after a rotation that failed
    bool torn_ = false;           // the file ends inside a record
    std::string lines_;
};

#endif
