// stats export, save: a snapshot of the counters for programs, and a copy of the segment for later.

#include "failure.h"
#include "input_file.h"
#include "invocation.h"
#include "stats_source.h"

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <memory>

#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr uint32_t piece_bytes = 4U << 20;  // of a table at once
constexpr uint32_t page_bytes = 4096;

std::string time_text(time_t time) {
    tm parts{};
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", gmtime_r(&time, &parts));
    return text;
}

// Two snapshots of one boot may be subtracted.
std::string boot_identity() {
    std::string identity;
    std::getline(std::ifstream("/proc/sys/kernel/random/boot_id"), identity);
    return identity;
}

// Hands over a table piece by piece.
template <class visit>
void each_piece(stats_source &source, uint32_t table, visit &&with) {
    const nprm_stats_table &row = stats_tbl_def[table];
    const uint32_t entry_bytes = row.counters_per_entry * uint32_t{sizeof(nprm_stats_counter)};
    const uint32_t entries_a_piece = std::max(piece_bytes / entry_bytes, 1U);
    std::vector<uint32_t> ids;
    for (uint32_t first = 0; first < row.entries; first += entries_a_piece) {
        ids.clear();
        for (uint32_t id = first; id < std::min(row.entries, first + entries_a_piece); ++id)
            ids.push_back(id);
        with(first, source.read(table, ids));
    }
}

class snapshot_writer {
  public:
    explicit snapshot_writer(bool csv) : csv_(csv) {}

    // A saved segment has a time of its own, and tells no boot.
    void begin(time_t time, const std::string &boot) const {
        const std::string when = time_text(time);
        if (csv_)
            std::printf("time,boot,table,id,counter,name,packets,bytes\n");
        else
            std::printf("{\"time\": \"%s\", \"boot\": %s, \"counters\": [", when.c_str(),
                        boot.empty() ? "null" : ("\"" + boot + "\"").c_str());
        prefix_ = when + "," + boot;
    }
    void counter(uint32_t table, uint32_t id, uint32_t counter, const nprm_stats_counter &value) {
        const uint64_t packets = value.count[0], bytes = value.count[1];
        const std::string name = counter_name(table, counter);
        if (csv_)
            std::printf("%s,%u,%u,%u,%s,%" PRIu64 ",%" PRIu64 "\n", prefix_.c_str(), table, id, counter,
                        name.empty() ? "" : ("\"" + name + "\"").c_str(), packets, bytes);
        else
            std::printf("%s\n  {\"table\": %u, \"id\": %u, \"counter\": %u, \"name\": \"%s\", \"packets\": %" PRIu64
                        ", \"bytes\": %" PRIu64 "}",
                        is_first_ ? "" : ",", table, id, counter, name.c_str(), packets, bytes);
        is_first_ = false;
    }
    void end() const {
        if (!csv_) std::printf("\n]}\n");
    }

  private:
    bool csv_, is_first_ = true;
    mutable std::string prefix_;
};

bool is_zero_page(const char *bytes, size_t size) {
    return bytes[0] == 0 && std::memcmp(bytes, bytes + 1, size - 1) == 0;
}

// A file that is there is replaced by a whole one or stays as it is.  What is written has a name of its own until then: two savers
// do not disturb each other, and what a killed one left behind stops nobody.
class new_file {
  public:
    explicit new_file(const std::string &path) : path_(path), partial_(path + ".part.XXXXXX") {
        struct stat about {};
        if (stat(path.c_str(), &about) == 0 && !S_ISREG(about.st_mode)) throw unusable(path + " is there and no regular file");
        const mode_t mask = umask(0);
        umask(mask);
        fd_ = mkstemp(partial_.data());
        if (fd_ < 0) throw unusable(path + " cannot be written: " + std::strerror(errno));
        fchmod(fd_, 0666 & ~mask);
    }
    ~new_file() {
        if (fd_ >= 0) close(fd_);
        if (!is_finished_) std::remove(partial_.c_str());
    }
    new_file(const new_file &) = delete;
    new_file &operator=(const new_file &) = delete;

    // Pages of zeros become holes.
    void write_at(uint32_t offset, const std::vector<nprm_stats_counter> &counters) {
        const auto *bytes = reinterpret_cast<const char *>(counters.data());
        const size_t size = counters.size() * sizeof counters[0];
        for (size_t at = 0; at < size; at += page_bytes) {
            const size_t part = std::min<size_t>(page_bytes, size - at);
            if (is_zero_page(bytes + at, part)) continue;
            if (pwrite(fd_, bytes + at, part, static_cast<off_t>(offset + at)) != static_cast<ssize_t>(part)) fail();
        }
    }
    void finish(off_t size) {
        if (ftruncate(fd_, size) != 0) fail();
        const int closed = close(fd_);
        fd_ = -1;
        if (closed != 0 || std::rename(partial_.c_str(), path_.c_str()) != 0) fail();
        is_finished_ = true;
    }

  private:
    [[noreturn]] void fail() const { throw refused(path_ + " cannot be written: " + std::strerror(errno)); }

    std::string path_, partial_;
    int fd_ = -1;
    bool is_finished_ = false;
};

}  // namespace

int stats_export(invocation &call) {
    uint32_t table = 0;
    bool csv = false;
    std::string file;
    call.number("[TABLE]", table, 0, NPRM_STATS_TABLE_COUNT - 1, "the table; all that the source has when not given");
    call.flag("--csv", csv, "lines of comma-separated values in place of JSON");
    call.text("--segment FILE", file, "read a file that stats save made");
    call.notes(
        "Counters that are zero are left out.  Of a saved segment the time is the file's, and the boot is not known.\n"
        "A counter is whole, but counters are read one after the other while the card goes on counting.\n");
    call.parse();
    if (csv && call.json()) throw usage_error("--csv and --json exclude each other", usage_of(call.row()));
    stats_source source(call, saved_segment(call, file));
    struct stat about {};
    if (source.is_file() && stat(file.c_str(), &about) != 0) throw unusable(file + " cannot be read: " + std::strerror(errno));
    const bool is_one = call.given("TABLE");
    const uint32_t first = is_one ? table : source.is_file() ? uint32_t{NPRM_STATS_FIRST_SHARED_TABLE} : 0;
    const uint32_t end = is_one ? table + 1 : uint32_t{NPRM_STATS_TABLE_COUNT};
    // What fails at all fails before the first line.
    const auto probe = source.read(first, {0});
    snapshot_writer snapshot(csv);
    snapshot.begin(source.is_file() ? about.st_mtime : std::time(nullptr), source.is_file() ? "" : boot_identity());
    for (uint32_t of = first; of < end; ++of)
        each_piece(source, of, [&](uint32_t first_id, const std::vector<nprm_stats_counter> &counters) {
            const uint32_t slots = stats_tbl_def[of].counters_per_entry;
            for (uint32_t i = 0; i < counters.size(); ++i)
                if (counters[i].count[0] != 0 || counters[i].count[1] != 0)
                    snapshot.counter(of, first_id + i / slots, i % slots, counters[i]);
        });
    snapshot.end();
    return exit_done;
}

int stats_save(invocation &call) {
    std::string path;
    call.text("FILE", path, "the file, which is replaced when it is there");
    call.notes(
        "stats show and stats export read it with --segment.  The card may be gone already, as long as its segment is there.\n");
    call.parse();
    if (path.empty()) throw usage_error("FILE is empty", usage_of(call.row()));
    stats_source source(call, std::nullopt);
    const auto probe = source.read(NPRM_STATS_FIRST_SHARED_TABLE, {0});
    new_file saved(path);
    for (uint32_t table = NPRM_STATS_FIRST_SHARED_TABLE; table < NPRM_STATS_TABLE_COUNT; ++table) {
        const nprm_stats_table &row = stats_tbl_def[table];
        each_piece(source, table, [&](uint32_t first, const std::vector<nprm_stats_counter> &counters) {
            const uint32_t entry_bytes = row.counters_per_entry * uint32_t{sizeof(nprm_stats_counter)};
            saved.write_at(row.shm_offset + first * entry_bytes, counters);
        });
    }
    saved.finish(NPRM_STATS_SEGMENT_BYTES);
    report done;
    done.sentence("saved " + grouped(NPRM_STATS_SEGMENT_BYTES) + " bytes of counters in " + printable(path));
    done.fact("file", nullptr, path);
    done.fact("bytes", nullptr, uint64_t{NPRM_STATS_SEGMENT_BYTES});
    call.print(done);
    return exit_done;
}
