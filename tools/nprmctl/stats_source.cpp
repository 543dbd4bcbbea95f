// Where the stats commands read counters.

#include "stats_source.h"

#include "input_file.h"
#include "invocation.h"
#include "server.h"
#include "id_list.h"
#include "library_memory.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <numeric>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char *no_segment_next =
    "start the card, which makes the statistics segment; restart the one whose segment was removed; when it was started in another "
    "IPC namespace, work in that one";

// The library tells refusals of the server at its own level.
void hear_statistics() {
    nprm_syslog_flag |= NPRM_LEVEL_ERROR | NPRM_LEVEL_STATS;
}

void connect(const invocation &call) {
    connect_to_server(call);
    hear_statistics();
}

// failed: what is made of an exchange that failed; a change may have been made all the same
void do_or_throw(const std::string &what, const std::function<uint32_t()> &operation,
                 failure (*failed)(const std::string &, const answer &) = unknown_for) {
    const answer given = ask([&] { return operation() == 1 ? uint32_t{NPRM_OK} : uint32_t{NPRM_ERROR}; });
    if (given.code == NPRM_OK) return;
    failure problem = failed(what, given);
    if (given.words.find("Failed to find shared memory") != std::string::npos) {
        problem =
            refused(what + ": there is no statistics segment of " + grouped(NPRM_STATS_SEGMENT_BYTES) + " bytes", no_segment_next);
        problem.detail = given.words;
    }
    if (given.words.find("Operation failed") != std::string::npos) {
        problem = refused(what + ": the server refuses it",
                          "nprmctl stats tables tells what there is, nprmctl card status what is given out");
        problem.detail = given.words;
    }
    throw problem;
}

}  // namespace

bool has_counter_names(uint32_t table) {
    return table == NPRM_STATS_CLASS_TABLE;
}

std::string counter_name(uint32_t table, uint32_t counter) {
    return has_counter_names(table) && counter < NPRM_CLASS_STAT_COUNT ? nprm_class_stat_str[counter] : "";
}

std::vector<uint32_t> entries_of(const invocation &call, uint32_t table, const std::string &text) {
    const uint32_t entries = stats_tbl_def[table].entries;
    if (text.empty() && !call.given("IDS")) {
        std::vector<uint32_t> all(entries);
        std::iota(all.begin(), all.end(), 0U);
        return all;
    }
    id_list list = parse_ids(text, entries);
    if (!list.wrong.empty()) throw usage_error(list.wrong, usage_of(call.row()));
    return std::move(list.ids);
}

std::optional<std::string> saved_segment(const invocation &call, const std::string &file) {
    return call.given("--segment") ? std::optional(file) : std::nullopt;
}

stats_source::stats_source(const invocation &call, const std::optional<std::string> &file) : call_(call), file_(file.value_or("")) {
    if (!file) return;
    fd_ = open(file_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd_ < 0) throw unusable(file_ + " cannot be read: " + std::strerror(errno));
    struct stat about {};
    if (fstat(fd_, &about) == 0 && S_ISREG(about.st_mode) && about.st_size == NPRM_STATS_SEGMENT_BYTES) return;
    close(fd_);
    throw unusable(file_ + " is no saved statistics segment, which is a file of " + grouped(NPRM_STATS_SEGMENT_BYTES) +
                   " bytes; this one has " + grouped(static_cast<uint64_t>(about.st_size)));
}

stats_source::~stats_source() {
    if (fd_ >= 0) close(fd_);
}

void stats_source::attach_again() {
    hear_statistics();
    do_or_throw("the statistics were not attached", nprm_stats_client_init);
}

std::vector<nprm_stats_counter> stats_source::read(uint32_t table, const std::vector<uint32_t> &ids, bool and_clear) {
    const nprm_stats_table &row = stats_tbl_def[table];
    const bool is_shared = table >= NPRM_STATS_FIRST_SHARED_TABLE;
    std::vector<nprm_stats_counter> counters(ids.size() * row.counters_per_entry);
    if (!is_file()) {
        if (!is_shared && !is_connected_) connect(call_);
        is_connected_ = is_connected_ || !is_shared;
        hear_statistics();
        library_memory<void> slots;
        std::vector<uint32_t> wanted = ids;
        do_or_throw("table " + std::to_string(table) + " was not read", [&] {
            const uint32_t operation = and_clear ? NPRM_STATS_READ_CLEAR : NPRM_STATS_READ;
            return static_cast<uint32_t>(
                nprm_stats_op(table, operation, static_cast<uint32_t>(wanted.size()), wanted.data(), &slots.data));
        });
        if (!counters.empty()) std::memcpy(counters.data(), slots.data, counters.size() * sizeof(nprm_stats_counter));
        return counters;
    }
    if (!is_shared)
        throw usage_error("table " + std::to_string(table) + " is not in the segment, only tables 7 to 16 are",
                          "ask the card, without --segment");
    const size_t entry_bytes = size_t{row.counters_per_entry} * sizeof(nprm_stats_counter);
    for (size_t i = 0; i < ids.size();) {  // a run of ids at once
        size_t end = i + 1;
        while (end < ids.size() && ids[end] == ids[end - 1] + 1)
            ++end;
        const size_t bytes = (end - i) * entry_bytes;
        const auto offset = static_cast<off_t>(row.shm_offset + ids[i] * entry_bytes);
        if (pread(fd_, &counters[i * row.counters_per_entry], bytes, offset) != static_cast<ssize_t>(bytes))
            throw unusable(file_ + " cannot be read as a whole");
        i = end;
    }
    return counters;
}

void read_statistics(const invocation &call, const std::string &what, uint32_t (*operation)()) {
    connect(call);
    do_or_throw(what, operation);
}

void change_statistics(const invocation &call, const std::string &what, uint32_t (*operation)()) {
    connect(call);
    do_or_throw(what, operation, unchanged_for);
}

void change_table(const invocation &call, const std::string &what, uint32_t table, uint32_t operation, std::vector<uint32_t> &ids) {
    connect(call);
    const auto change = [&] {
        return static_cast<uint32_t>(nprm_stats_op(table, operation, static_cast<uint32_t>(ids.size()), ids.data(), nullptr));
    };
    do_or_throw(what, change, unchanged_for);
}

void write_entry(const invocation &call, uint32_t table, uint32_t entry, const std::vector<nprm_stats_counter> &counters) {
    connect(call);
    const size_t bytes = counters.size() * sizeof(nprm_stats_counter);
    library_memory<void> written(std::malloc(bytes));  // the library releases it when the write fails
    if (written.data == nullptr) throw std::bad_alloc();
    std::memcpy(written.data, counters.data(), bytes);
    const auto write = [&] { return static_cast<uint32_t>(nprm_stats_op(table, NPRM_STATS_WRITE, 1, &entry, &written.data)); };
    do_or_throw("the counters were not written", write, unchanged_for);
}
