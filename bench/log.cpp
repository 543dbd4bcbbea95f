// Logging: a record formatted and sent beside a bare sendto() of the same bytes, and sites that are turned off beside an empty
// loop.

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "api/nprm.h"
#include "support/pair.h"
#include "util/ad_debug/ad_errorlog.h"

namespace {

constexpr unsigned burst = 8;  // a socket's queue holds ten

class log_receiver {
  public:
    explicit log_receiver(const std::string &path) : path_(path), fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        ready_ = bind(fd_, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
    }
    ~log_receiver() {
        close(fd_);
        unlink(path_.c_str());
    }
    log_receiver(const log_receiver &) = delete;
    log_receiver &operator=(const log_receiver &) = delete;

    bool is_ready() const { return ready_; }
    size_t bytes_of_a_datagram() const { return static_cast<size_t>(recv(fd_, nullptr, 0, MSG_TRUNC)); }

    // Empties the queue with one call and copies nothing, so that next to nothing is added to what sending costs.
    void drain() const {
        mmsghdr messages[burst] = {};
        recvmmsg(fd_, messages, burst, MSG_DONTWAIT, nullptr);
    }

    // Takes every datagram as soon as it is there, as long as the other lives, without a wait that senders would have to end.
    class by_a_thread {
      public:
        explicit by_a_thread(const log_receiver &receiver)
            : thread_([this, &receiver] {
                  while (!end_)
                      receiver.drain();
              }) {}
        ~by_a_thread() {
            end_ = true;
            thread_.join();
        }
        by_a_thread(const by_a_thread &) = delete;
        by_a_thread &operator=(const by_a_thread &) = delete;

      private:
        std::atomic<bool> end_ = false;
        std::thread thread_;
    };

    sockaddr_un address = {AF_UNIX, ""};

  private:
    std::string path_;
    int fd_;
    bool ready_ = false;
};

void log_one_record() {
    ad_debug_print(1, "ERRO", "port %d of interface %s is down, %u packets were lost\n", 7, "GigabitEthernet 2/0", 123456U);
}

void measure_records(benchmark_run &run, const log_receiver &receiver) {
    log_one_record();
    const std::string datagram(receiver.bytes_of_a_datagram(), 'x');
    const int bare = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const auto send_bare = [&] {
        const auto *address = reinterpret_cast<const sockaddr *>(&receiver.address);
        sendto(bare, datagram.data(), datagram.size(), 0, address, sizeof receiver.address);
    };
    const auto in_bursts = [&](auto send) {
        return [&receiver, send] {
            for (unsigned i = 0; i < burst; ++i)
                send();
            receiver.drain();
        };
    };
    run.pair("a record formatted and sent, beside a bare sendto of its bytes", 1.6, in_bursts(log_one_record), in_bursts(send_bare),
             burst, burst);
    const log_receiver::by_a_thread drained(receiver);
    run.pair("the same, with a receiver on another processor", 1.6, log_one_record, send_bare);
    close(bare);
}

void measure_sites(benchmark_run &run) {
    run.pair_by_difference(
        "a site above the level, beside an empty loop", 2, [] { ad_debug_print(3, "INFO", "port %d is down\n", 7); }, [] {});
    nprm_syslog_flag = 0;
    run.pair_by_difference(
        "a site that the mask turns off, beside an empty loop", 2,
        [] {
            if ((nprm_syslog_flag & NPRM_LEVEL_ERROR) != 0) nprm_syslog(127, 0, 0, NPRM_LEVEL_ERROR, "port %d is down\n", 7);
        },
        [] {});
}

}  // namespace

int main(int argc, char **argv) {
    benchmark_run run("log: records, and sites that are turned off", argc, argv);
    char directory[] = "/tmp/bench_log.XXXXXX";
    if (mkdtemp(directory) == nullptr) {
        perror("mkdtemp");
        return 1;
    }
    const std::string base = std::string(directory) + "/log";
    // Before there is a socket: the record is private then, and no segment is left behind.
    ad_init_debug_lib(base.c_str());
    ad_debug_set_process_name("bench_log");
    ad_debug_cfg_p->level = 1;
    ad_debug_to_syslogd = 0;
    {
        const log_receiver receiver(base + ".0");
        if (!receiver.is_ready()) {
            std::fprintf(stderr, "%s cannot be bound\n", receiver.address.sun_path);
            return 1;
        }
        measure_records(run, receiver);
    }
    rmdir(directory);
    measure_sites(run);
    return run.finish();
}
