// stats watch: how fast counters move, live.

#include "failure.h"
#include "invocation.h"
#include "line_stream.h"
#include "stats_rates.h"
#include "stats_source.h"

#include <algorithm>
#include <cstdio>

#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace {

using watch_clock = std::chrono::steady_clock;

constexpr const char *event_names[] = {"", "wrapped", "reset"};

// The terminal hands over each key at once, until the end.
class single_keys {
  public:
    single_keys()
        : is_terminal_(isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1 && tcgetattr(STDIN_FILENO, &before_) == 0) {
        if (!is_terminal_) return;
        termios now = before_;
        now.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        tcsetattr(STDIN_FILENO, TCSANOW, &now);
    }
    ~single_keys() {
        if (is_terminal_) tcsetattr(STDIN_FILENO, TCSANOW, &before_);
    }
    single_keys(const single_keys &) = delete;
    single_keys &operator=(const single_keys &) = delete;
    bool is_terminal() const { return is_terminal_; }

    // Waits; true when q was pressed or the process was interrupted.
    bool is_over_after(std::chrono::milliseconds time) const {
        const auto end = watch_clock::now() + time;
        while (!was_interrupted()) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - watch_clock::now());
            if (left.count() <= 0) return false;
            pollfd keys = {is_terminal_ ? STDIN_FILENO : -1, POLLIN, 0};
            if (poll(&keys, 1, static_cast<int>(left.count())) <= 0) continue;
            char key = 0;
            if (::read(STDIN_FILENO, &key, 1) <= 0 || key == 'q') return true;
        }
        return true;
    }

  private:
    termios before_{};  // in front: what fills it must come after its initialization
    bool is_terminal_;
};

struct watched {
    uint32_t table;
    std::vector<uint32_t> ids;
    uint32_t slots, top;
};

size_t rows_of_screen() {
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 4 ? size.ws_row - 4U : 20;
}

report table_of(const watched &what) {
    report list;
    list.fact("table", nullptr, uint64_t{what.table});
    std::vector<column> columns = {{"reading", nullptr}, {"id", "entry"}, {"counter", "counter"}};
    columns.push_back({"name", has_counter_names(what.table) ? "name" : nullptr});
    columns.insert(columns.end(), {{"packets_per_second", "packets/s"},
                                   {"bytes_per_second", "bytes/s"},
                                   {"packets", "packets"},
                                   {"bytes", "bytes"},
                                   {"event", "event"}});
    list.table("rates", columns);
    return list;
}

void add_rows(report &list, const watched &what, uint32_t reading, const std::vector<counter_rate> &rates, size_t most) {
    for (size_t i = 0; i < std::min(rates.size(), most); ++i) {
        const counter_rate &rate = rates[i];
        const uint32_t counter = rate.place % what.slots;
        const char *event = event_names[static_cast<size_t>(rate.event)];
        list.row({uint64_t{reading}, uint64_t{what.ids[rate.place / what.slots]}, uint64_t{counter},
                  counter_name(what.table, counter), rate.packet_rate, rate.byte_rate, uint64_t{rate.total.count[0]},
                  uint64_t{rate.total.count[1]}, event});
    }
}

}  // namespace

int stats_watch(invocation &call) {
    watched what = {0, {}, 0, 0};
    std::string ids_given;
    uint32_t interval_ms = 1000, count = 0;
    call.number("TABLE", what.table, 0, NPRM_STATS_TABLE_COUNT - 1, "the table");
    call.text("[IDS]", ids_given, "entries, such as 0-99,200; all when not given");
    call.number("--interval MS", interval_ms, 1, 3'600'000, "milliseconds between two readings; 1000 when not given");
    call.number("--count COUNT", count, 2, UINT32_MAX, "how many readings; when not given, until q is pressed");
    call.number("--top ROWS", what.top, 1, 65536, "show the fastest ROWS only; on a terminal as many as fit when not given");
    call.notes(
        "Counters that move, the fastest first.  event: reset, somebody has cleared the counter, and the rate is what came since;\n"
        "wrapped, it has passed 2^64.  --json, and output that is no terminal, need --count.\n");
    call.parse();
    catch_interrupts();
    const single_keys keys;
    if (count == 0 && (call.json() || !keys.is_terminal()))
        throw usage_error("--count is needed where no key can end the watch", usage_of(call.row()));
    what.ids = entries_of(call, what.table, ids_given);
    what.slots = stats_tbl_def[what.table].counters_per_entry;
    const bool fills_screen = keys.is_terminal() && !call.json();
    stats_source source(call, std::nullopt);
    report all = table_of(what);
    auto time = watch_clock::now();
    auto before = source.read(what.table, what.ids);
    for (uint32_t reading = 2; count == 0 || reading <= count; ++reading) {
        if (keys.is_over_after(std::chrono::milliseconds(interval_ms))) break;
        if (what.table >= NPRM_STATS_FIRST_SHARED_TABLE) source.attach_again();
        const auto now = watch_clock::now();
        auto after = source.read(what.table, what.ids);
        const auto rates = rates_between(before, after, std::chrono::duration_cast<std::chrono::microseconds>(now - time));
        const size_t most = what.top != 0 ? what.top : fills_screen ? rows_of_screen() : rates.size();
        if (call.json()) {
            add_rows(all, what, reading, rates, most);
        } else {
            report shown = table_of(what);
            add_rows(shown, what, reading, rates, most);
            std::printf("%stable %u, reading %u, %s%s\n", fills_screen ? "\x1b[H\x1b[2J" : "", what.table, reading,
                        counted(rates.size(), "counter moves", "counters move").c_str(), fills_screen ? "; q ends" : "");
            if (!rates.empty()) call.print(shown);
            std::fflush(stdout);
        }
        before = std::move(after);
        time = now;
    }
    if (call.json()) call.print(all);
    return exit_done;
}
