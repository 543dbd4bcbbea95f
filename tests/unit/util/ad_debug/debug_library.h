// The debug library as a process finds it at its start, with its sockets in a private directory, and a log daemon to listen there.
#ifndef TESTS_DEBUG_LIBRARY_H
#define TESTS_DEBUG_LIBRARY_H

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "system_calls.h"
#include "tests/support/fake_syslog.h"
#include "tests/support/scratch.h"

inline constexpr char no_contact_warning[] = "WARNING: cannot contact ad_logd, will keep trying. Output redirected to stderr.\n";
inline constexpr char no_socket_warning[] = "WARNING: ad_logd is NOT enabled, no error will be logged in this session.\n";

// A bound log socket.  While it reads, it takes each datagram as soon as it was sent: a queue holds but a few.
class log_socket {
  public:
    enum behaviour { reads, stopped };
    explicit log_socket(const std::string &path, behaviour how = reads);
    ~log_socket();
    log_socket(const log_socket &) = delete;
    log_socket &operator=(const log_socket &) = delete;

    void read_all();
    std::vector<uint8_t> datagram();  // the oldest; empty when there is none
    std::string text();               // the oldest without its last nine bytes; "(nothing)" when there is none
    std::vector<std::string> texts();

  private:
    const std::string path_;
    const int fd_;
    std::mutex lock_;
    std::deque<std::vector<uint8_t>> datagrams_;
};

// What the library's state was when the process began.
struct initial_state {
    int32_t fd, contact, in_sighandler, to_syslogd, critical_only;
    uint32_t module_id, client_ip, server_ip;
    bool record_is_null;
    std::string error_log_path, special_path, process_name, library_name;
    int error_log_family, special_family;
};
const initial_state &state_at_start();

class debug_library : public testing::Test {
  protected:
    debug_library();
    ~debug_library() override;

    // Puts the private record in use, without filters.
    void use_level(int level);
    std::string main_path() const { return directory / "log"; }
    std::string special_path() const { return directory / "special"; }

    scratch_directory directory;

  private:
    scratch_variable socket_{"ERROR_LOG_SOCKET", nullptr};
    scratch_variable level_{"DEBUG_LEVEL", nullptr};
    scratch_variable client_{"DEBUG_CLIENT_IP", nullptr};
    scratch_variable server_{"DEBUG_SERVER_IP", nullptr};
};

// "(PID)TAG:FILE:LINE-> " of this process.
std::string origin(const std::string &tag, const std::string &file, int line);

// What is written to standard error meanwhile.
template <typename function>
std::string stderr_of(function what) {
    testing::internal::CaptureStderr();
    what();
    return testing::internal::GetCapturedStderr();
}

void set_path(struct sockaddr_un &address, const std::string &path);
void write_file(const std::string &path, const std::string &content);

#endif
