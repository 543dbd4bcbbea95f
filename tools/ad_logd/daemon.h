// The log daemon: sockets in, sinks out, one thread, one loop.
#ifndef AD_LOGD_DAEMON_H
#define AD_LOGD_DAEMON_H

#include "intake.h"

#include <optional>

struct daemon_options {
    std::string path;          // of the log socket, without ".UID"
    std::string special_path;  // the same; empty: no special log
    mode_t mode;
    unsigned queue;
    bool to_stdout;
    std::string file, json_file;  // empty: none
    uint64_t file_bytes_max;
    unsigned kept_files;
    std::string syslog;  // empty: none
    unsigned facility;
    intake_options intake;
};

class log_daemon {
  public:
    // Throws std::runtime_error for what cannot be had.
    explicit log_daemon(const daemon_options &wanted);

    // Where it listens, and how: "/tmp/ad_errorlog.0, /tmp/ad_errorlog_sp.0"
    std::string places() const;
    // Serves until SIGTERM or SIGINT comes by the descriptor (a signalfd), then reads and writes what is left.
    void run(int signals);
    std::string statistics() const { return intake_.statistics(); }

  private:
    void add_follow_sink(const std::string &path);
    void tell_in_time();
    void wait(int signals);
    bool read_sockets();
    bool take_signals(int signals);
    void flush();
    void drain();

    // In this order: nothing is bound before all else is to be had, and the locks are held longest.
    unique_fd log_lock_, special_lock_;
    std::vector<std::unique_ptr<sink>> sinks_;
    intake intake_;
    receiver log_;
    std::optional<receiver> special_;
    std::vector<pollfd> watched_;
    int64_t telling_at_ms_ = 0;  // 0: nothing is to be told
};

#endif
