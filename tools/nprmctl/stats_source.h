// Where the stats commands read counters: from the card, or from a saved copy of the shared segment.
#ifndef NPRMCTL_STATS_SOURCE_H
#define NPRMCTL_STATS_SOURCE_H

#include "nprm.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class invocation;

// What each slot of a table counts; empty where that has no name.
bool has_counter_names(uint32_t table);
std::string counter_name(uint32_t table, uint32_t counter);

// Entries of a table from the text of an argument, all of them when it is empty; throws a failure of exit status 2.
std::vector<uint32_t> entries_of(const invocation &call, uint32_t table, const std::string &text);

// The file that an option --segment names, when it was given.
std::optional<std::string> saved_segment(const invocation &call, const std::string &file);

class stats_source {
  public:
    // file: a saved segment; none: the card.  Throws a failure of exit status 2 when the file is none.
    stats_source(const invocation &call, const std::optional<std::string> &file);
    ~stats_source();
    stats_source(const stats_source &) = delete;
    stats_source &operator=(const stats_source &) = delete;

    bool is_file() const { return fd_ >= 0; }
    // Goes on with the segment that is there now: a restarted card may have made another one.  Throws a failure.
    static void attach_again();
    // counters_per_entry slots for each id, in their order.  Tables 0 to 6 need the card; the others need only its segment, so
    // that they can be read when the card is gone.  and_clear: the card's become 0.  Throws a failure.
    std::vector<nprm_stats_counter> read(uint32_t table, const std::vector<uint32_t> &ids, bool and_clear = false);

  private:
    const invocation &call_;
    std::string file_;
    int fd_ = -1;
    bool is_connected_ = false;
};

// Asks the library; its operations return 1 when they are done.
void read_statistics(const invocation &call, const std::string &what, uint32_t (*operation)());
void change_statistics(const invocation &call, const std::string &what, uint32_t (*operation)());
void change_table(const invocation &call, const std::string &what, uint32_t table, uint32_t operation, std::vector<uint32_t> &ids);
// Makes these slots the entry's counters.
void write_entry(const invocation &call, uint32_t table, uint32_t entry, const std::vector<nprm_stats_counter> &counters);

#endif
