// The log daemon's way from its socket to a file, beside a bare loop that receives and writes the same datagrams.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "support/pair.h"
#include "tools/ad_logd/file_sink.h"
#include "tools/ad_logd/intake.h"

namespace {

constexpr unsigned burst = 64;
constexpr uint64_t file_bytes_max = 16 << 20;

std::string datagram_of(const std::string &text) {
    std::string bytes = text + std::string(9, '\0');
    bytes[text.size() + 4] = 0x65;
    return bytes;
}

// Sends a burst of different records, as a host's would be.
class burst_sender {
  public:
    burst_sender() {
        for (unsigned i = 0; i < burst; ++i)
            datagrams_[i] = datagram_of("host(1234)ERRO:file.c:" + std::to_string(100 + i) + "-> port " + std::to_string(i) +
                                        " is down, its neighbour has not answered for three seconds");
    }
    void send_to(const std::string &path) {
        const sockaddr_un address = address_of(path);
        for (const std::string &bytes : datagrams_)
            if (sendto(socket_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT, reinterpret_cast<const sockaddr *>(&address),
                       sizeof address) < 0)
                ++lost;
    }
    uint64_t lost = 0;

  private:
    std::string datagrams_[burst];
    unique_fd socket_{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
};

// A receive and a write a datagram, and a file that does not grow without end.
class bare_loop {
  public:
    explicit bare_loop(const std::string &directory)
        : socket_(bind_place(directory + "/bare", SOCK_DGRAM, 0600, 2 * burst)),
          file_(open((directory + "/bare.log").c_str(), O_CREAT | O_WRONLY | O_APPEND | O_CLOEXEC, 0600)) {}
    void run() {
        char bytes[4096];
        for (ssize_t came; (came = recv(socket_.get(), bytes, sizeof bytes, MSG_DONTWAIT)) > 0;) {
            const ssize_t wrote = write(file_.get(), bytes, static_cast<size_t>(came));
            written_ += wrote > 0 ? static_cast<uint64_t>(wrote) : 0;
        }
        if (written_ < file_bytes_max) return;
        if (ftruncate(file_.get(), 0) != 0) std::abort();
        written_ = 0;
    }

  private:
    unique_fd socket_, file_;
    uint64_t written_ = 0;
};

}  // namespace

int main(int argc, char **argv) {
    benchmark_run run("log daemon: from the socket to a file", argc, argv);
    std::string directory = (std::filesystem::temp_directory_path() / "nprm-bench-XXXXXX").string();
    if (mkdtemp(directory.data()) == nullptr) return 2;
    uint64_t lost = 0;
    {
        receiver log({directory + "/log", 0600, 2 * burst});
        std::vector<std::unique_ptr<sink>> sinks;
        sinks.push_back(std::make_unique<file_sink>(file_options{directory + "/log.log", append_text_line, file_bytes_max, 1}));
        intake into({0, true}, sinks);
        bare_loop bare(directory);
        burst_sender sender;
        // Both sides contain the sending of the burst, as nothing can be received that was not sent.
        run.pair(
            "receive and write, beside a bare loop (a rate of at least 0.85)", 1 / 0.85,
            [&] {
                sender.send_to(directory + "/log");
                while (log.receive([&](const received_datagram &what) { into.take(origin::log, what, time_of_day(), 0); }) == burst)
                    continue;
                sinks[0]->flush();
            },
            [&] {
                sender.send_to(directory + "/bare");
                bare.run();
            },
            burst, burst);
        lost = sender.lost + sinks[0]->lost();
    }
    std::filesystem::remove_all(directory);
    if (lost != 0) std::printf("%llu datagrams were lost\n", static_cast<unsigned long long>(lost));
    const int status = run.finish();
    return lost != 0 && status == 0 ? 1 : status;
}
