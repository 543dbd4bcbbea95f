// stats tables, show, clear, alloc, monitor: the card's counters.

#include "failure.h"
#include "invocation.h"
#include "id_list.h"
#include "stats_source.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <optional>

namespace {

constexpr uint32_t last_table = NPRM_STATS_TABLE_COUNT - 1;
constexpr const char *table_help = "the table's number, as stats tables lists them";
constexpr uint32_t written_counters_max = 480;  // of an entry, by one request
constexpr uint64_t zero_rows_max = 100'000;     // beyond that nobody looks at counters that are zero

bool is_zero(const nprm_stats_counter &counter) {
    return counter.count[0] == 0 && counter.count[1] == 0;
}

// As the table of the shared segment's layout has it.
std::string hex_text(uint64_t value) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%" PRIX64, value);
    return text;
}

std::array<uint32_t, NPRM_STATS_MONITOR_WORDS> monitor_words;

uint32_t read_monitor() {
    return nprm_get_monitor_stats(monitor_words.data());
}

}  // namespace

int stats_tables(invocation &call) {
    call.parse();
    report list;
    list.table("tables", {{"table", "table"},
                          {"entries", "entries"},
                          {"counters_per_entry", "counters"},
                          {"counters_used", "used"},
                          {"np_base", nullptr},
                          {"offset", nullptr},
                          {"np_base_hex", "first NP counter"},
                          {"offset_hex", "offset in the segment"}});
    for (uint32_t table = 0; table <= last_table; ++table) {
        const nprm_stats_table &row = stats_tbl_def[table];
        const bool is_shared = table >= NPRM_STATS_FIRST_SHARED_TABLE;
        list.row({uint64_t{row.id}, uint64_t{row.entries}, uint64_t{row.counters_per_entry}, uint64_t{row.counters_used},
                  uint64_t{row.np_base}, is_shared ? cell(uint64_t{row.shm_offset}) : cell(), hex_text(row.np_base),
                  is_shared ? cell(hex_text(row.shm_offset)) : cell()});
    }
    call.print(list);
    return exit_done;
}

int stats_show(invocation &call) {
    uint32_t table = 0;
    std::string ids_given, file;
    bool has_names = false, is_nonzero = false, and_clear = false;
    call.number("TABLE", table, 0, last_table, table_help);
    call.text("[IDS]", ids_given, "entries, such as 0-99,200; all when not given");
    call.flag("--names", has_names, "say what each counter counts, where that has a name");
    call.flag("--nonzero", is_nonzero, "leave out counters that are zero");
    call.flag("--clear", and_clear, "read and clear them");
    call.text("--segment FILE", file, "read a file that stats save made");
    call.parse();
    if (and_clear && call.given("--segment"))
        throw usage_error("--clear is of the card's counters, a saved segment stays as it is", usage_of(call.row()));
    has_names = has_names && has_counter_names(table);
    const std::vector<uint32_t> ids = entries_of(call, table, ids_given);
    const nprm_stats_table &row = stats_tbl_def[table];
    if (!is_nonzero && uint64_t{ids.size()} * row.counters_used > zero_rows_max)
        throw usage_error("these are " + grouped(uint64_t{ids.size()} * row.counters_used) + " counters",
                          "add --nonzero, or name fewer entries");
    const auto counters = stats_source(call, saved_segment(call, file)).read(table, ids, and_clear);
    report list;
    std::vector<column> columns = {{"id", "entry"}, {"counter", "counter"}};
    if (has_names) columns.push_back({"name", "name"});
    columns.insert(columns.end(), {{"packets", "packets"}, {"bytes", "bytes"}});
    list.table("counters", columns);
    bool is_empty = true;
    for (size_t i = 0; i < ids.size(); ++i)
        for (uint32_t k = 0; k < row.counters_used; ++k) {
            const nprm_stats_counter counter = counters[i * row.counters_per_entry + k];
            if (is_nonzero && is_zero(counter)) continue;
            is_empty = false;
            std::vector<cell> cells = {uint64_t{ids[i]}, uint64_t{k}};
            if (has_names) cells.emplace_back(counter_name(table, k));
            cells.insert(cells.end(), {uint64_t{counter.count[0]}, uint64_t{counter.count[1]}});
            list.row(cells);
        }
    if (is_empty) list.sentence("all of these counters are zero");
    call.print(list);
    return exit_done;
}

int stats_clear(invocation &call) {
    std::string what, ids_given;
    call.text("WHAT", what, "a table, monitor, or all");
    call.text("[IDS]", ids_given, "entries of the table, such as 0-99,200; all when not given");
    call.parse();
    report done;
    if (what == "all" || what == "monitor") {
        if (call.given("IDS")) throw usage_error("IDS are entries of a table, " + what + " has none", usage_of(call.row()));
        change_statistics(call, "the statistics were not cleared",
                          what == "all" ? nprm_clear_all_np_stats : nprm_clear_monitor_stats);
        done.sentence(what == "all" ? "all statistics are cleared" : "the monitor statistics are cleared");
        done.fact("cleared", nullptr, what);
    } else {
        const auto number = decimal<uint32_t>(what);
        if (!number || *number > last_table)
            throw usage_error(
                "WHAT is " + in_quotes(what) + ", it must be all, monitor, or a table from 0 to " + std::to_string(last_table),
                usage_of(call.row()));
        const uint32_t table = *number;
        std::vector<uint32_t> ids = entries_of(call, table, ids_given);
        change_table(call, "the entries were not cleared", table, NPRM_STATS_CLEAR, ids);
        done.sentence("cleared " + counted(ids.size(), "entry", "entries") + " of table " + std::to_string(table));
        done.fact("table", nullptr, uint64_t{table});
        done.fact("entries", nullptr, uint64_t{ids.size()});
    }
    call.print(done);
    return exit_done;
}

int stats_alloc(invocation &call) {
    uint32_t table = 0, count = 0;
    call.number("TABLE", table, 0, last_table, table_help);
    call.number("COUNT", count, 1, 65536, "how many entries");
    call.notes("The server chooses the entries, and their counters are cleared.\n");
    call.parse();
    std::vector<uint32_t> ids(count);
    change_table(call, "no entries were given out", table, NPRM_STATS_ALLOCATE, ids);
    report given;
    given.fact("table", "table", uint64_t{table});
    given.fact("entries", "entries", uint64_t{count});
    given.fact("ids", "ids", ids_text(ids));
    call.print(given);
    return exit_done;
}

int stats_free(invocation &call) {
    uint32_t table = 0;
    std::string ids_given;
    call.number("TABLE", table, 0, last_table, table_help);
    call.text("IDS", ids_given, "entries that were given out, such as 0-99,200");
    call.parse();
    std::vector<uint32_t> ids = entries_of(call, table, ids_given);
    change_table(call, "the entries were not given back", table, NPRM_STATS_SERVER, ids);
    report done;
    done.sentence("gave " + counted(ids.size(), "entry", "entries") + " of table " + std::to_string(table) + " back");
    done.fact("table", nullptr, uint64_t{table});
    done.fact("entries", nullptr, uint64_t{ids.size()});
    call.print(done);
    return exit_done;
}

int stats_set(invocation &call) {
    uint32_t table = 0, entry = 0, counter = 0;
    std::string packets, bytes = "0";
    call.number("TABLE", table, 0, last_table, table_help);
    call.number("ENTRY", entry, 0, UINT32_MAX, "the table's entry");
    call.number("COUNTER", counter, 0, UINT32_MAX, "which of the entry's counters");
    call.text("PACKETS", packets, "its first count");
    call.text("[BYTES]", bytes, "its second count, 0 when not given");
    call.notes("The entry's other counters are read and written as they were.\n");
    call.parse();
    const nprm_stats_table &row = stats_tbl_def[table];
    if (entry >= row.entries || counter >= row.counters_used)
        throw usage_error("table " + std::to_string(table) + " has " + counted(row.entries, "entry", "entries") + " of " +
                              counted(row.counters_used, "counter", "counters"),
                          "nprmctl stats tables");
    if (row.counters_per_entry > written_counters_max)
        throw usage_error("an entry of table " + std::to_string(table) + " has more counters than a request holds, " +
                              grouped(written_counters_max),
                          {});
    const auto first = decimal<uint64_t>(packets), second = decimal<uint64_t>(bytes);
    if (!first || !second)
        throw usage_error(in_quotes(first ? bytes : packets) + " is no count, which is a number below 2^64", usage_of(call.row()));
    std::vector<nprm_stats_counter> counters = stats_source(call, std::nullopt).read(table, {entry});
    counters[counter] = {{*first, *second}};
    write_entry(call, table, entry, counters);
    report done;
    done.sentence("counter " + std::to_string(counter) + " of entry " + std::to_string(entry) + " is " + grouped(*first) +
                  " packets, " + grouped(*second) + " bytes");
    done.fact("table", nullptr, uint64_t{table});
    done.fact("entry", nullptr, uint64_t{entry});
    done.fact("counter", nullptr, uint64_t{counter});
    done.fact("packets", nullptr, *first);
    done.fact("bytes", nullptr, *second);
    call.print(done);
    return exit_done;
}

int stats_monitor(invocation &call) {
    call.parse();
    read_statistics(call, "the monitor statistics were not read", read_monitor);
    report list;
    list.table("words", {{"word", "word"}, {"value", "value"}});
    for (uint32_t word = 0; word < NPRM_STATS_MONITOR_WORDS; ++word)
        list.row({uint64_t{word}, uint64_t{monitor_words[word]}});
    call.print(list);
    return exit_done;
}
