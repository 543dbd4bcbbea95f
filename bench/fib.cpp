// A full table, 1.2 million routes of nprmctl fib generate, into the real simulated card, beside sending the same bytes bare.
//
// The limit is on the library: the card acknowledges only, as the bare server does.  What the card's model adds stands beside it.

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "api/nprm.h"
#include "support/exchange_servers.h"
#include "support/pair.h"

namespace {

constexpr size_t record_bytes = 35, header_bytes = 8;
constexpr uint32_t add = 0, remove_route = 2;  // as the simulated card takes the action

[[noreturn]] void give_up(const std::string &what) {
    std::perror(what.c_str());
    std::exit(2);
}

std::string beside_me(const char *program) {
    char path[4096];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    if (length <= 0) give_up("/proc/self/exe");
    const std::string self(path, static_cast<size_t>(length));
    return self.substr(0, self.rfind('/') + 1) + program;
}

struct routes {
    std::vector<nprm_fib_prefix> v4, v6;
    std::vector<nprm_fib_nexthop> v4_nexthops, v6_nexthops;

    size_t count() const { return v4.size() + v6.size(); }
};

// A line of nprmctl fib generate: PREFIX/LENGTH MAC UIDB.
void add_route(routes &all, const char *line) {
    char address[64];
    unsigned length, uidb;
    std::array<unsigned, 6> mac;
    if (std::sscanf(line, "%63[^/]/%u %x:%x:%x:%x:%x:%x %u", address, &length, &mac[0], &mac[1], &mac[2], &mac[3], &mac[4], &mac[5],
                    &uidb) != 9)
        give_up("a generated route");
    const bool is_v6 = std::strchr(address, ':') != nullptr;
    nprm_fib_prefix prefix = {static_cast<uint8_t>(is_v6 ? 6 : 4), static_cast<uint8_t>(length), {}};
    if (inet_pton(is_v6 ? AF_INET6 : AF_INET, address, prefix.address) != 1) give_up("a generated address");
    nprm_fib_nexthop nexthop = {};
    nexthop.u16_5 = static_cast<uint16_t>(uidb);
    for (size_t i = 0; i < mac.size(); ++i)
        nexthop.bytes_7[i] = static_cast<uint8_t>(mac[i]);
    (is_v6 ? all.v6 : all.v4).push_back(prefix);
    (is_v6 ? all.v6_nexthops : all.v4_nexthops).push_back(nexthop);
}

routes generate(bool small) {
    const std::string command = beside_me("nprmctl") + " fib generate" + (small ? " --ipv4 5000 --ipv6 1000" : "");
    FILE *lines = popen(command.c_str(), "r");
    if (lines == nullptr) give_up(command);
    routes all;
    char line[256];
    while (std::fgets(line, sizeof line, lines) != nullptr)
        add_route(all, line);
    if (pclose(lines) != 0) give_up(command);
    return all;
}

// The simulated card as a process of its own.
class card_process {
  public:
    card_process(const std::string &directory, const char *option) : directory_(directory) {
        int ready[2];
        if (pipe(ready) != 0) give_up("pipe");
        process_ = fork();
        if (process_ < 0) give_up("fork");
        if (process_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            const std::string fd = std::to_string(ready[1]), program = beside_me("nprm-simcard");
            execl(program.c_str(), program.c_str(), "--quiet", "--directory", directory.c_str(), "--ready-fd", fd.c_str(), option,
                  nullptr);
            _exit(127);
        }
        close(ready[1]);
        char byte;
        if (read(ready[0], &byte, 1) != 1) give_up("nprm-simcard");
        close(ready[0]);
    }
    ~card_process() {
        kill(process_, SIGTERM);
        waitpid(process_, nullptr, 0);
    }
    card_process(const card_process &) = delete;
    card_process &operator=(const card_process &) = delete;

    void run_on(size_t processor) const {
        cpu_set_t set;
        CPU_ZERO(&set);
        CPU_SET(processor, &set);
        sched_setaffinity(process_, sizeof set, &set);
    }

  private:
    std::string directory_;
    pid_t process_;
};

void must(uint32_t code) {
    if (code == NPRM_OK) return;
    std::fprintf(stderr, "the card refused routes: %u\n", code);
    std::exit(2);
}

void program(uint32_t action, routes &all) {
    must(nprm_v4_fib_op(action, static_cast<uint32_t>(all.v4.size()), all.v4.data(), all.v4_nexthops.data()));
    must(nprm_v6_fib_op(action, static_cast<uint32_t>(all.v6.size()), all.v6.data(), all.v6_nexthops.data()));
}

// As many messages of as many bytes, ready made.
void send_bare(exchange_servers &servers, const std::vector<uint8_t> &image, size_t records) {
    for (size_t at = 0; at < records; at += NPRM_FIB_ENTRIES_MAX) {
        const size_t part = std::min<size_t>(NPRM_FIB_ENTRIES_MAX, records - at);
        servers.exchange_bare(image.data() + at * record_bytes, header_bytes + part * record_bytes);
    }
}

uint64_t peak_kib() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<uint64_t>(usage.ru_maxrss);
}

}  // namespace

int main(int argc, char **argv) {
    benchmark_run run("a full table: the library and the card beside sending the same bytes", argc, argv);
    exchange_servers servers(exchange_servers::answer::head);
    const routes generated = generate(run.smoke());
    const std::vector<uint8_t> image(header_bytes + generated.count() * record_bytes, 0x5A);
    const std::string name = std::to_string(generated.count()) + " routes, ";
    const auto bare = [&] {
        send_bare(servers, image, generated.v4.size());
        send_bare(servers, image, generated.v6.size());
    };
    const size_t last_processor = static_cast<size_t>(sysconf(_SC_NPROCESSORS_ONLN)) - 1;
    for (const bool acknowledge : {true, false}) {
        routes all = generated;  // the card's answers come back into it
        char directory[] = "/tmp/nprm-bench-card-XXXXXX";
        if (mkdtemp(directory) == nullptr) give_up(directory);
        setenv("RUV_DIR", directory, 1);
        {
            const card_process card(directory, acknowledge ? "--acknowledge-only" : nullptr);
            if (nprm_ipc_register_client() != 1) give_up("the card's status");
            for (const bool share : {true, false}) {
                servers.share_one_processor(share);
                card.run_on(share ? 0 : last_processor);
                const char *where = share ? ", one processor" : ", two processors";
                if (acknowledge) {
                    program(add, all);  // uses each buffer of the request pool once, which is the library's own from then on
                    const uint64_t before = peak_kib();
                    run.pair(
                        name + "acknowledged" + where, 1.3, [&] { program(add, all); }, bare, all.count(), all.count());
                    run.count("KiB that the client's memory grew by" + std::string(where), peak_kib() - before, 256);
                } else {
                    const auto add_and_remove = [&] {
                        program(add, all);
                        program(remove_route, all);
                    };
                    run.pair(name + "kept and deleted again" + where, benchmark_run::no_limit, add_and_remove, bare,
                             2 * all.count(), all.count());
                }
            }
        }
        for (const char *left : {"control", "lock"})
            unlink((std::string(directory) + "/" + left).c_str());
        rmdir(directory);
    }
    return run.finish();
}
