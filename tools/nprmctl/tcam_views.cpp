// tcam load, show, compare, read: whole lists, sent and read back.

#include "failure.h"
#include "invocation.h"
#include "rule_file.h"
#include "server.h"
#include "tcam_arguments.h"
#include "tcam_entries.h"

#include <unistd.h>

namespace {

// One line on a terminal's standard error that counts up, and is gone at the end.
class progress_line {
  public:
    progress_line(const invocation &call, size_t all) : all_(all), is_shown_(!call.json() && isatty(STDERR_FILENO) != 0) {}
    ~progress_line() {
        if (is_shown_) std::fputs("\r\033[K", stderr);
    }
    progress_line(const progress_line &) = delete;
    progress_line &operator=(const progress_line &) = delete;

    void show(size_t done) const {
        if (is_shown_) std::fprintf(stderr, "\r%s of %s entries", grouped(done).c_str(), grouped(all_).c_str());
    }

  private:
    size_t all_;
    bool is_shown_;
};

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

std::vector<difference> differences(std::span<const acl_entry> on_card, std::span<const acl_entry> in_file) {
    std::vector<difference> found;
    for (size_t i = 0; i < std::max(on_card.size(), in_file.size()); ++i) {
        if (i < on_card.size() && i < in_file.size() && same_bytes(on_card[i], in_file[i])) continue;
        found.push_back({static_cast<uint32_t>(i), i < on_card.size() ? text_of(on_card[i]) : "",
                         i < in_file.size() ? text_of(in_file[i]) : ""});
    }
    return found;
}

// Writes the file's entries over the list's, in steps, so that a failure tells how far it came.
void write_all(const invocation &call, uint32_t list, std::span<const acl_entry> entries) {
    const progress_line progress(call, entries.size());
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
    const auto on_card = read_until_empty<acl_form>(list, 0, static_cast<uint32_t>(entries.size()));
    const size_t different = differences(on_card, entries).size();
    if (different != 0)
        throw failure{exit_refused,
                      "list " + std::to_string(list) + " was written, but " + counted(different, "entry reads", "entries read") +
                          " back differently",
                      "nprmctl tcam compare LIST FILE shows them; load again",
                      {},
                      {},
                      {},
                      {}};
}

template <class form>
void add_rows(report &content, std::span<const typename form::entry> entries, uint32_t position) {
    content.table("entries", {{"position", "position"}, {"key", "key"}, {"mask", "mask"}, {"result", "result"}});
    for (const auto &entry : entries)
        content.row({uint64_t{position++}, field_text(entry.key), field_text(entry.mask), field_text(entry.result)});
}

void add_rules(report &content, std::span<const acl_entry> entries, uint32_t position) {
    content.table(
        "entries",
        {{"position", "position"}, {"line", "line"}, {"rule", "rule"}, {"key", nullptr}, {"mask", nullptr}, {"result", nullptr}});
    for (const acl_entry &entry : entries)
        content.row({uint64_t{position++}, uint64_t{entry.result.u32_4}, text_of(entry), field_text(entry.key),
                     field_text(entry.mask), field_text(entry.result)});
}

std::string count_sentence(uint32_t list, uint32_t from, size_t count, uint32_t wanted) {
    const std::string end = "position " + std::to_string(from + count) + " holds none";
    if (count == 0) return "list " + std::to_string(list) + ": " + end;
    return entries_of_list(list, from, count) + (count < wanted ? "; " + end : "");
}

}  // namespace

int tcam_load(invocation &call) {
    std::string target, path;
    call.text("LIST", target, "the list's number, or new to make one of the size that is needed");
    call.text("FILE", path, "access list, or - for standard input");
    call.notes(rule_file_notes);
    call.parse();
    const bool is_new = target == "new";
    uint32_t list = 0;
    if (!is_new) list = number_argument("LIST", target, 0, list_id_max);
    const rule_file file = read_rules(path);
    const auto count = static_cast<uint32_t>(file.entries.size());
    connect_to_server(call);
    if (is_new) list = create_list(count);
    const uint32_t size = is_new ? count : size_of_list(list);
    if (size < count)
        throw failure{exit_refused,
                      "list " + std::to_string(list) + " has room for " + counted(size, "entry", "entries") + ", " + path +
                          " needs " + grouped(count) + "; nothing was sent",
                      "nprmctl tcam load new " + path,
                      {},
                      {},
                      {},
                      {}};
    write_all(call, list, file.entries);
    remove_rest(list, count, size);
    verify(list, file.entries);

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
    call.notes("Shows entries up to the first position that holds none.\n");
    call.parse();
    connect_to_server(call);
    report content;
    size_t found = 0;
    if (policy) {
        const auto entries = read_until_empty<policy_form>(list, from, count);
        add_rows<policy_form>(content, entries, from);
        found = entries.size();
    } else {
        const auto entries = read_until_empty<acl_form>(list, from, count);
        add_rules(content, entries, from);
        found = entries.size();
    }
    content.sentence(count_sentence(list, from, found, std::min(count, tcam_entries_max - from)));
    content.fact("list", nullptr, uint64_t{list});
    call.print(content);
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
        add_rows<form>(content, entries, position);
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
    const auto on_card = read_until_empty<acl_form>(list, 0, tcam_entries_max);
    const std::vector<difference> found = differences(on_card, file.entries);
    report content;
    const std::string subject = "list " + std::to_string(list) + " and " + path;
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
