// The record that the processes of a log socket share, as the log commands see and change it.
#ifndef NPRMCTL_LOG_RECORD_H
#define NPRMCTL_LOG_RECORD_H

#include "ad_debug.h"

#include <string>
#include <vector>

#include <sys/types.h>

// The base names that processes log to unless told otherwise.
constexpr const char *log_base_default = "/tmp/ad_errorlog";
constexpr const char *special_base_default = "/tmp/ad_errorlog_sp";

// "BASE.UID", or "BASE.0" where the first does not exist, as the library chooses.   base: empty for ERROR_LOG_SOCKET or the default
std::string log_path(const std::string &base);
// The same of the special log.   base: empty for the default
std::string special_path(const std::string &base);

// An attached record.
class shared_record {
  public:
    // Throws a failure when nobody has made a record for the path.
    explicit shared_record(const std::string &path);
    ~shared_record() { ad_return_ad_debug_cfg_p(record_); }
    shared_record(const shared_record &) = delete;
    shared_record &operator=(const shared_record &) = delete;

    // The words as they stand; other processes may have written anything.
    ad_debug_cfg content() const;
    void set_level(int32_t level);
    void set_client(uint32_t address) { set_filter(address, true); }
    void set_server(uint32_t address) { set_filter(address, false); }

    int segment() const { return segment_; }
    uint32_t key() const { return key_; }
    pid_t maker() const { return maker_; }
    // The processes that have it attached, without this one; those that this user may not look into are missing.
    std::vector<pid_t> attached() const;

  private:
    void set_filter(uint32_t address, bool client);

    ad_debug_cfg *record_ = nullptr;
    uint32_t key_ = 0;
    int segment_ = -1;
    pid_t maker_ = 0;
};

// The daemon that reads a log socket: the process that holds the lock beside it, or listens at its live stream where the lock file
// is not to be read.   Returns 0 when none does, -1 when this user may not know.
pid_t log_daemon_of(const std::string &path);

// What a process calls itself; empty when it is not known.
std::string process_name(pid_t pid);

#endif
