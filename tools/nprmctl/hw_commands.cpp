// Hardware tables of the card: which there are, their entries by address, search and look-up.

#include "failure.h"
#include "hw_table.h"
#include "invocation.h"
#include "report.h"
#include "server.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <optional>

namespace {

constexpr const char *table_help = "the table's number or name, as hw tables tells them";
constexpr const char *raw_help = "words in hexadecimal in place of fields; zeros at an entry's end are left out";
constexpr const char *key_notes =
    "KEY is conditions that all must hold, FIELD=VALUE, with the names that hw get prints; a VALUE is a number (0x begins a\n"
    "hexadecimal one), an IP address or a MAC address: cb0.valid=1  uidb=7  dmac=02:00:00:00:00:01  ip_v4=10.1.0.0\n"
    "A look-up also takes an address in the table, and in FIB and host tables an IP or MAC address.\n";
constexpr const char *order_notes =
    "Entries that are found are numbered from 0 in the card's order, for an answer has no addresses (in JSON \"addr\" is null).\n";

bool is_empty(const blob_entry &entry) {
    return entry.data.find_first_not_of('\0') == std::string::npos;
}

std::string joined(const std::vector<std::string> &words) {
    std::string text;
    for (const std::string &word : words)
        text += (text.empty() ? "" : " ") + word;
    if (text.size() >= NPRM_HW_KEY_BYTES)
        throw usage_error("KEY has " + counted(text.size(), "character", "characters") + ", a message holds " +
                              std::to_string(NPRM_HW_KEY_BYTES - 1),
                          "fewer conditions");
    return text;
}

void put(report &content, const table_description &table) {
    content.row({uint64_t{table.id}, table.name, table.layout != 0 ? cell(uint64_t{table.layout}) : cell(),
                 uint64_t{table.entry_bytes}, uint64_t{table.addresses}, uint64_t{table.used}});
}

std::string title_of(const table_description &table) {
    return "table " + std::to_string(table.id) + " (" + table.name + ")";
}

// The address that a look-up's key is, as the card reads it: decimal, or hexadecimal behind 0x.
std::optional<uint32_t> address_in(const std::string &key) {
    const bool is_hex = key.starts_with("0x") || key.starts_with("0X");
    const char *begin = key.data() + (is_hex ? 2 : 0), *end = key.data() + key.size();
    uint32_t address = 0;
    const auto [stopped, error] = std::from_chars(begin, end, address, is_hex ? 16 : 10);
    if (error != std::errc{} || stopped != end) return std::nullopt;
    return address;
}

// Search and look-up differ in what they send beside the key.
int find_entries(invocation &call, table_operation operation, bool is_search) {
    std::string which;
    std::vector<std::string> words;
    uint32_t from = 0;
    bool raw = false;
    call.text("TABLE", which, table_help);
    call.texts("KEY...", words, "what the entries must have");
    if (is_search) call.number("--from ADDRESS", from, 0, UINT32_MAX, "search from this address on; 0 when not given");
    call.flag("--raw", raw, raw_help);
    const std::string notes = std::string(key_notes) + order_notes;
    call.notes(notes.c_str());
    call.parse();
    const std::string key = joined(words);
    connect_to_server(call);
    const table_description table = table_of(which);
    hw_table_info info = {};
    info.search_arg = from;
    info.key = key.c_str();
    const auto address = is_search ? std::nullopt : address_in(key);
    const auto entries =
        fetch(table, operation, info, address.value_or(0), title_of(table) + " was not searched for " + in_quotes(key));
    entry_output output(call, table, raw, address ? entry_numbers::addresses : entry_numbers::of_the_answer);
    output.add(entries);
    output.finish(title_of(table) + " has no entry with " + key);
    if (entries.size() == NPRM_HW_ENTRIES_MAX)
        std::fprintf(stderr,
                     "nprmctl: the card answers with %u entries at most: there may be more, which narrower conditions\n"
                     "  or a later --from ADDRESS show\n",
                     unsigned{NPRM_HW_ENTRIES_MAX});
    return entries.empty() ? exit_refused : exit_done;
}

}  // namespace

int hw_tables(invocation &call) {
    call.parse();
    connect_to_server(call);
    report list;
    list.table("tables", {{"table", "table"},
                          {"name", "name"},
                          {"layout", "layout"},
                          {"entry_bytes", "entry bytes"},
                          {"addresses", "addresses"},
                          {"used", "used"}});
    for (const table_description &table : all_tables())
        put(list, table);
    call.print(list);
    return exit_done;
}

int hw_summary(invocation &call) {
    std::string which;
    call.text("TABLE", which, table_help);
    call.parse();
    connect_to_server(call);
    const table_description table = table_of(which);
    report summary;
    summary.fact("table", "table", uint64_t{table.id});
    summary.fact("name", "name", table.name);
    summary.fact("layout", "layout", table.layout != 0 ? cell(uint64_t{table.layout}) : cell());
    summary.fact("entry_bytes", "entry bytes", uint64_t{table.entry_bytes});
    summary.fact("addresses", "addresses", uint64_t{table.addresses});
    summary.fact("used", "used", uint64_t{table.used});
    summary.fact("end", "all before", uint64_t{table.end});
    summary.fact("keys", "keys", table.keys);
    call.print(summary);
    return exit_done;
}

int hw_get(invocation &call) {
    std::string which;
    uint32_t from = 0, count = UINT32_MAX;
    bool raw = false, all = false;
    call.text("TABLE", which, table_help);
    call.number("--from ADDRESS", from, 0, UINT32_MAX, "the first address; 0 when not given");
    call.number("--count COUNT", count, 1, UINT32_MAX, "how many addresses; when not given, up to the last that is in use");
    call.flag("--all", all, "empty entries too: those of zeros alone");
    call.flag("--raw", raw, raw_help);
    call.parse();
    connect_to_server(call);
    const table_description table = table_of(which);
    if (from >= table.addresses)
        throw refused(title_of(table) + " has " + counted(table.addresses, "address", "addresses") + ", there is no " +
                      std::to_string(from));
    const uint64_t last = call.given("--count") ? std::min<uint64_t>(uint64_t{from} + count, table.addresses) : table.end;
    entry_output output(call, table, raw);
    for (uint64_t at = from; at < last;) {
        hw_table_info info = {};
        info.sel1 = static_cast<uint32_t>(at);
        info.sel2 = static_cast<uint32_t>(std::min<uint64_t>(last - at, NPRM_HW_ENTRIES_MAX));
        auto entries = fetch(table, get_hw_table_data, info, info.sel1, title_of(table) + " was not read");
        at += entries.size();
        if (entries.size() < info.sel2) at = last;  // the server has no more
        if (!all) std::erase_if(entries, is_empty);
        output.add(std::move(entries));
    }
    const bool is_part = call.given("--count") || from != 0;
    output.finish(title_of(table) + (is_part ? " has nothing but zeros there; --all prints them" : " is empty"));
    return exit_done;
}

int hw_search(invocation &call) {
    return find_entries(call, search_hw_table_data, true);
}

int hw_look_up(invocation &call) {
    return find_entries(call, lookup_hw_table_data, false);
}
