// tcam load, show, compare, read: whole lists, sent and read back.

#include "failure.h"
#include "invocation.h"
#include "progress.h"
#include "rule_file.h"
#include "server.h"
#include "tcam_arguments.h"
#include "tcam_entries.h"

namespace {

std::string text_of(const acl_entry &entry) {
    const std::string fields =
        "key " + field_text(entry.key) + " mask " + field_text(entry.mask) + " result " + field_text(entry.result);
    return rule_text(entry).value_or(fields);
}

bool has_position(uint32_t list, uint32_t position) {
    acl_entry entry;
    const answer given = read_entries<acl_form>(list, position, {&entry, 1});
    if (given.code == NPRM_OK || given.code == NPRM_ERROR_TCAM_ITEM_NOT_FOUND) return true;
    if (given.code == NPRM_ERROR_TCAM_OUT_OF_RANGE) return false;
    throw unknown_for("list " + std::to_string(list) + " cannot be read", given);
}

// No operation tells a list's size; the last position that can be asked for does.
uint32_t size_of_list(uint32_t list) {
    uint32_t inside = 0, outside = tcam_entries_max;  // positions below `inside` are in the list
    while (inside < outside) {
        const uint32_t middle = (inside + outside) / 2;
        if (has_position(list, middle))
            inside = middle + 1;
        else
            outside = middle;
    }
    return inside;
}

// Takes what is left of an older, longer content away.
void remove_rest(uint32_t list, uint32_t from, uint32_t size) {
    if (from >= size) return;
    const answer given = ask([&] {
        return nprm_tcam_delete_v4_vmr_dup(static_cast<uint8_t>(list), static_cast<uint16_t>(from),
                                           static_cast<uint16_t>(size - from));
    });
    if (given.code != NPRM_OK && given.code != NPRM_ERROR_TCAM_ITEM_NOT_FOUND)
        throw unchanged_for(
            "the new entries are written, the older ones behind them were not removed: " + entries_of_list(list, from, size - from),
            given);
}

struct difference {
    uint32_t position;
    std::string on_card, in_file;  // empty: nothing is there
};

using placed_rule = placed_entry<acl_form>;

std::vector<difference> differences(std::span<const placed_rule> on_card, std::span<const acl_entry> in_file) {
    std::vector<difference> found;
    const auto missing = [&](uint32_t from, uint32_t to) {
        for (uint32_t i = from; i < std::min<size_t>(to, in_file.size()); ++i)
            found.push_back({i, "", text_of(in_file[i])});
    };
    uint32_t next = 0;
    for (const auto &[position, entry] : on_card) {
        missing(next, position);
        next = position + 1;
        if (position < in_file.size() && same_bytes(entry, in_file[position])) continue;
        found.push_back({position, text_of(entry), position < in_file.size() ? text_of(in_file[position]) : ""});
    }
    missing(next, tcam_entries_max);
    return found;
}

// Writes the file's entries over the list's, in steps, so that a failure tells how far it came.
void write_all(const invocation &call, uint32_t list, std::span<const acl_entry> entries) {
    progress_line progress(call, entries.size(), "entries");
    size_t done = 0;
    try {
        send_entries<acl_form>(list, 0, entries, acl_form::write, " not written", NPRM_TCAM_ENTRIES_MAX, [&](size_t now) {
            done = now;
            progress.show(done);
        });
    } catch (failure &problem) {
        problem.what +=
            "; list " + std::to_string(list) + " has " + grouped(done) + " of the file's " + grouped(entries.size()) + " entries";
        throw;
    }
}

// The answers alone do not prove that the card holds what was sent.
void verify(uint32_t list, std::span<const acl_entry> entries) {
    const auto count = static_cast<uint32_t>(entries.size());
    const size_t different = differences(read_list<acl_form>(list, 0, count, count), entries).size();
    if (different != 0)
        throw refused("list " + std::to_string(list) + " was written, but " + counted(different, "entry reads", "entries read") +
                          " back differently",
                      "nprmctl tcam compare LIST FILE shows them; load again");
}

struct entry_columns {
    std::vector<column> columns;
    size_t told;  // the column that tells of positions without entries
};
const entry_columns field_columns = {{{"position", "position"}, {"key", "key"}, {"mask", "mask"}, {"result", "result"}}, 1};
const entry_columns rule_columns = {
    {{"position", "position"}, {"line", "line"}, {"rule", "rule"}, {"key", nullptr}, {"mask", nullptr}, {"result", nullptr}}, 2};

std::vector<cell> field_row(const auto &placed) {
    return {uint64_t{placed.position}, field_text(placed.entry.key), field_text(placed.entry.mask),
            field_text(placed.entry.result)};
}

std::vector<cell> rule_row(const placed_rule &placed) {
    return {uint64_t{placed.position},    uint64_t{placed.entry.result.u32_4}, text_of(placed.entry),
            field_text(placed.entry.key), field_text(placed.entry.mask),       field_text(placed.entry.result)};
}

void add_gap(report &content, const entry_columns &shape, uint32_t from, uint32_t to) {
    std::vector<cell> cells(shape.columns.size());
    cells[0] = uint64_t{from};
    cells[shape.told] = from + 1 == to ? std::string("(holds none)")
                                       : "(positions " + std::to_string(from) + " to " + std::to_string(to - 1) + " hold none)";
    content.row(std::move(cells));
}

// The entries from a position on; for people, with a row where positions before an entry hold none.
void show_entries(const invocation &call, uint32_t list, uint32_t from, uint32_t wanted, const auto &entries,
                  const entry_columns &shape, const auto &cells_of) {
    report content;
    content.table("entries", shape.columns);
    uint32_t next = from;
    bool has_gaps = false;
    for (const auto &placed : entries) {
        const bool is_gap = placed.position != next;
        if (is_gap && !call.json()) add_gap(content, shape, next, placed.position);
        has_gaps = has_gaps || is_gap;
        next = placed.position + 1;
        content.row(cells_of(placed));
    }
    const std::string end = "position " + std::to_string(next) + " holds none";
    if (entries.empty())
        content.sentence("list " + std::to_string(list) + ": " + end);
    else if (has_gaps)
        content.sentence(counted(entries.size(), "entry", "entries") + " of list " + std::to_string(list) + ", with gaps");
    else
        content.sentence(entries_of_list(list, from, entries.size()) + (entries.size() < wanted ? "; " + end : ""));
    content.fact("list", nullptr, uint64_t{list});
    call.print(content);
}

uint32_t existing_list(const invocation &call, const std::string &target) {
    const auto number = decimal<uint32_t>(target);
    if (number && *number <= list_id_max) return *number;
    throw usage_error("LIST is " + in_quotes(target) + ", it must be new or a number from 0 to " + std::to_string(list_id_max),
                      usage_of(call.row()));
}

// The messages that carry the entries; what else a load sends depends on the list.
int tell_messages(const invocation &call, uint32_t count) {
    constexpr uint32_t most = NPRM_TCAM_ENTRIES_MAX;
    const auto bytes_of = [](uint64_t entries) {
        return sizeof(nprm_message_header) + (NPRM_TCAM_HEAD_UNITS + entries) * NPRM_RECORD_BYTES_TCAM;
    };
    const uint64_t full = count / most, rest = count % most, messages = full + (rest != 0 ? 1 : 0);
    const uint64_t bytes = full * bytes_of(most) + (rest != 0 ? bytes_of(rest) : 0);
    report told;
    told.sentence(counted(count, "entry", "entries") + " would go out in " + counted(messages, "message", "messages") + " of " +
                  grouped(bytes) + " bytes together, in this order, and be read back; nothing was sent");
    told.fact("entries", nullptr, uint64_t{count});
    told.fact("messages", nullptr, messages);
    told.fact("bytes", nullptr, bytes);
    told.table("order", {{"messages", "messages"},
                         {"entries", "entries each"},
                         {"bytes", "bytes each"},
                         {"first_position", "from position"},
                         {"last_position", "to position"}});
    if (full != 0) told.row({full, uint64_t{most}, bytes_of(most), uint64_t{0}, full * most - 1});
    if (rest != 0) told.row({uint64_t{1}, rest, bytes_of(rest), full * most, uint64_t{count} - 1});
    call.print(told);
    return exit_done;
}

}  // namespace

int tcam_load(invocation &call) {
    std::string target, path;
    bool dry_run = false;
    call.text("LIST", target, "the list's number, or new to make one of the size that is needed");
    call.text("FILE", path, "access list, or - for standard input");
    call.flag("--dry-run", dry_run, "tell messages, bytes and order, and send nothing");
    call.notes(rule_file_notes);
    call.parse();
    const bool is_new = target == "new";
    uint32_t list = 0;
    if (!is_new) list = existing_list(call, target);
    const rule_file file = read_rules(path);
    const auto count = static_cast<uint32_t>(file.entries.size());
    if (dry_run) return tell_messages(call, count);
    connect_to_server(call);
    if (is_new) list = create_list(count);
    const uint32_t size = is_new ? count : size_of_list(list);
    if (size < count)
        throw refused("list " + std::to_string(list) + " has room for " + counted(size, "entry", "entries") + ", " +
                          name_of_file(path) + " needs " + grouped(count) + "; nothing was sent",
                      "nprmctl tcam load new " + path);
    try {
        write_all(call, list, file.entries);
        remove_rest(list, count, size);
        verify(list, file.entries);
    } catch (failure &problem) {
        if (is_new)
            problem.next +=
                (problem.next.empty() ? "" : "; ") + ("nprmctl tcam delete " + std::to_string(list)) + " takes the new list away";
        throw;
    }

    report loaded;
    loaded.sentence("list " + std::to_string(list) + ": " + counted(file.rules, "rule", "rules") + " became " +
                    counted(count, "entry", "entries") + ", written and read back");
    loaded.fact("list", nullptr, uint64_t{list});
    loaded.fact("created", nullptr, is_new);
    loaded.fact("rules", nullptr, uint64_t{file.rules});
    loaded.fact("entries", nullptr, uint64_t{count});
    call.print(loaded);
    return exit_done;
}

int tcam_show(invocation &call) {
    uint32_t list = 0, from = 0, count = tcam_entries_max;
    bool policy = false;
    call.number("LIST", list, 0, list_id_max, list_help);
    call.number("--from POSITION", from, 0, tcam_entries_max - 1, "the first position to show, 0 when not given");
    call.number("--count COUNT", count, 1, tcam_entries_max, "how many entries at most");
    call.flag("--policy", policy, "the list holds policy entries");
    call.notes("Where positions before an entry hold none, a line says so.\n");
    call.parse();
    connect_to_server(call);
    const uint32_t wanted = std::min(count, tcam_entries_max - from);
    if (policy)
        show_entries(call, list, from, wanted, read_list<policy_form>(list, from, tcam_entries_max, count), field_columns,
                     [](const auto &placed) { return field_row(placed); });
    else
        show_entries(call, list, from, wanted, read_list<acl_form>(list, from, tcam_entries_max, count), rule_columns, rule_row);
    return exit_done;
}

int tcam_read(invocation &call) {
    uint32_t list = 0, position = 0, count = 0;
    bool policy = false;
    call.number("LIST", list, 0, list_id_max, list_help);
    call.number("POSITION", position, 0, tcam_entries_max - 1, "of the first entry to read");
    call.number("COUNT", count, 1, tcam_entries_max, "entries to read, 1 to 65535");
    call.flag("--policy", policy, "the list holds policy entries");
    call.notes("Fields are in hexadecimal, in the order of the record, joined by dots.\n");
    call.parse();
    connect_to_server(call);
    report content;
    content.fact("list", nullptr, uint64_t{list});
    const auto read = [&]<class form>(form) {
        std::vector<typename form::entry> entries(count);
        const answer given = read_entries<form>(list, position, entries);
        if (given.code != NPRM_OK) throw unknown_for(entries_of_list(list, position, count) + " not read", given);
        content.table("entries", field_columns.columns);
        for (uint32_t i = 0; i < count; ++i)
            content.row(field_row(placed_entry<form>{position + i, entries[i]}));
    };
    if (policy)
        read(policy_form{});
    else
        read(acl_form{});
    call.print(content);
    return exit_done;
}

int tcam_compare(invocation &call) {
    constexpr size_t shown_max = 20;
    uint32_t list = 0;
    std::string path;
    call.number("LIST", list, 0, list_id_max, list_help);
    call.text("FILE", path, "access list, or - for standard input");
    call.notes("Exit status 0: the list holds exactly the entries of FILE, in their order; 1: it does not.\n");
    call.parse();
    const rule_file file = read_rules(path);
    connect_to_server(call);
    const auto on_card = read_list<acl_form>(list, 0, tcam_entries_max, tcam_entries_max);
    const std::vector<difference> found = differences(on_card, file.entries);
    report content;
    const std::string subject = "list " + std::to_string(list) + " and " + name_of_file(path);
    content.sentence(found.empty() ? subject + " are equal: " + counted(on_card.size(), "entry", "entries")
                                   : subject + " differ in " + counted(found.size(), "position", "positions") +
                                         (found.size() > shown_max ? "; the first " + std::to_string(shown_max) + ":" : ":"));
    content.fact("list", nullptr, uint64_t{list});
    content.fact("equal", nullptr, found.empty());
    content.fact("entries", nullptr, uint64_t{on_card.size()});
    content.fact("entries_of_file", nullptr, uint64_t{file.entries.size()});
    content.fact("different", nullptr, uint64_t{found.size()});
    content.table("differences", {{"position", "position"}, {"card", "on the card"}, {"file", "in the file"}});
    for (size_t i = 0; i < std::min(found.size(), shown_max); ++i)
        content.row({uint64_t{found[i].position}, found[i].on_card, found[i].in_file});
    call.print(content);
    return found.empty() ? exit_done : exit_refused;
}
