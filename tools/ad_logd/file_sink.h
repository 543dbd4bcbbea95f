// A log file with rotation by size and count.
//
// By hand and not by a library's rotating sink: those open by name through symbolic links and FIFOs, buffer in stdio, and leave
// half a record behind when the disk is full.
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
    void reopen() override { file_.reset(); }

  private:
    bool open_file(std::string &problem);
    bool is_ready();
    void rotate();
    size_t write_bytes(int &error) const;
    void cut_back_to(int64_t bytes);

    file_options options_;
    unique_fd file_;
    int64_t file_bytes_ = 0;
    bool torn_ = false;  // the file ends inside a record
    std::string lines_;
};

#endif
