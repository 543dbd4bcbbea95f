// An existing log system: RFC 5424 messages to the local syslog socket, or over TCP with octet counting.
#ifndef AD_LOGD_SYSLOG_SINK_H
#define AD_LOGD_SYSLOG_SINK_H

#include "outgoing.h"
#include "sink.h"

#include <sys/socket.h>

class syslog_sink : public sink {
  public:
    // target: the path of a datagram socket, or ADDRESS:PORT (an IPv6 address in brackets; names are not looked up)
    // Throws std::runtime_error when it is neither.  That nobody listens there yet is no reason.
    syslog_sink(const std::string &target, unsigned facility);

    void add(const record &what) override;
    void flush() override;
    void watch(std::vector<pollfd> &watched) const override;
    bool is_waiting() const override { return !queue_.empty() || untold() != 0; }
    void give_up() override;

  private:
    bool queue_message(const record &what);
    void tell_losses();
    void begin_connection();
    bool is_connected();
    void end_connection(const char *reason);

    sockaddr_storage address_ = {};
    socklen_t address_bytes_ = 0;
    unsigned facility_;
    std::string host_;
    unique_fd socket_;
    bool is_connecting_ = false;
    int64_t next_attempt_ms_ = 0, pause_ms_ = 0;
    std::string reason_ = "the log system is not connected yet";
    outgoing queue_;
};

#endif
