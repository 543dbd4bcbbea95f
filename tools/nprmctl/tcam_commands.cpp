// tcam create, delete, space, write, insert, remove, lookup: one operation of the library each.

#include "failure.h"
#include "invocation.h"
#include "rule_file.h"
#include "server.h"
#include "tcam_arguments.h"
#include "tcam_entries.h"

namespace {

// The scatter-gather write takes pointers to records, and the same ones again in each message: one message a call.
void scatter_entries(uint32_t list, uint32_t position, std::span<const policy_entry> entries) {
    for (size_t at = 0; at < entries.size(); at += NPRM_TCAM_ENTRIES_MAX) {
        const auto part = entries.subspan(at, std::min<size_t>(NPRM_TCAM_ENTRIES_MAX, entries.size() - at));
        std::vector<const nprm_tcam_policy_key *> keys, masks;
        std::vector<const nprm_tcam_policy_result *> results;
        for (const policy_entry &entry : part) {
            keys.push_back(&entry.key);
            masks.push_back(&entry.mask);
            results.push_back(&entry.result);
        }
        const auto from = static_cast<uint32_t>(position + at);
        change(entries_of_list(list, from, part.size()) + " were not written", [&] {
            return nprm_tcam_sgwrite_v4_policy_vmr_dup(static_cast<uint8_t>(list), static_cast<uint16_t>(from),
                                                       static_cast<uint16_t>(part.size()), keys.data(), masks.data(),
                                                       results.data());
        });
    }
}

void report_entries(const invocation &call, const char *done, uint32_t list, uint32_t position, size_t count) {
    report result;
    result.sentence(entries_of_list(list, position, count) + (count == 1 ? " was " : " were ") + done);
    result.fact("list", nullptr, uint64_t{list});
    result.fact("position", nullptr, uint64_t{position});
    result.fact("entries", nullptr, uint64_t{count});
    call.print(result);
}

// What write and insert have in common.
struct store_arguments {
    uint32_t list = 0, position = 0;
    std::string file;
    bool policy = false;

    void declare(invocation &call) {
        call.number("LIST", list, 0, list_id_max, list_help);
        call.number("POSITION", position, 0, tcam_entries_max - 1, "where the first entry goes");
        call.text("FILE", file, "access list, or - for standard input");
        call.flag("--policy", policy, "FILE holds policy entries: KEY MASK RESULT, a line each");
    }
    void check_end(const invocation &call, size_t count) const {
        if (position + count > tcam_entries_max)
            throw usage_error(counted(count, "entry", "entries") + " from position " + std::to_string(position) +
                                  " on reach behind the last position, " + std::to_string(tcam_entries_max - 1),
                              usage_of(call.row()));
    }
};

struct store_words {
    const char *done, *not_done;
    other_meaning other;
};

template <class form>
int store(const invocation &call, const store_arguments &arguments, std::span<const typename form::entry> entries,
          decltype(form::write) &operation, store_words words) {
    arguments.check_end(call, entries.size());
    connect_to_server(call);
    send_entries<form>(arguments.list, arguments.position, entries, operation, words.not_done, tcam_entries_max, {}, &words.other);
    report_entries(call, words.done, arguments.list, arguments.position, entries.size());
    return exit_done;
}

constexpr store_words written = {"written", " not written", {}};
constexpr store_words inserted = {"inserted",
                                  " not inserted",
                                  {NPRM_ERROR_TCAM_RESOURCE_EXHAUSTED, "the list is full: an insert would push entries out of it",
                                   "nprmctl tcam remove entries, or load them into a larger list"}};

std::string joined(const std::vector<std::string> &words) {
    std::string text;
    for (const std::string &word : words)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

template <class key_type, class result_type, class operation_type>
result_type look_up(uint32_t list, const key_type &key, operation_type &operation) {
    result_type result = {};
    const answer given = ask([&] { return operation(static_cast<uint8_t>(list), &key, &result); });
    if (given.code == NPRM_OK) return result;
    throw unknown_for(given.code == NPRM_ERROR_TCAM_ITEM_NOT_FOUND ? "no entry of list " + std::to_string(list) + " matches"
                                                                   : "list " + std::to_string(list) + " was not looked up",
                      given);
}

// Whether the line is a rule that makes an entry with this result, and for packets like this one.
bool makes(const std::string &line, const nprm_tcam_acl_key &key, const nprm_tcam_acl_result &result) {
    const access_list list = parse_access_list(line);
    if (!list.errors.empty() || list.rules.size() != 1) return false;
    std::vector<acl_entry> entries;
    expand_rule(list.rules[0], entries);
    return std::ranges::any_of(entries, [&](const acl_entry &entry) {
        const auto *value = reinterpret_cast<const uint8_t *>(&entry.key), *mask = reinterpret_cast<const uint8_t *>(&entry.mask),
                   *packet = reinterpret_cast<const uint8_t *>(&key);
        for (size_t i = 0; i < sizeof key; ++i)
            if ((packet[i] & mask[i]) != (value[i] & mask[i])) return false;
        return action_text(entry.result) == action_text(result);
    });
}

int look_up_packet(const invocation &call, uint32_t list, const nprm_tcam_acl_key &key, const std::string &rules) {
    const std::string text = rules.empty() ? "" : read_text(rules);
    connect_to_server(call);
    const auto result = look_up<nprm_tcam_acl_key, nprm_tcam_acl_result>(list, key, nprm_ext_tcam_v4_acl_lkup);
    const std::string action = action_text(result).value_or("no action"), number = std::to_string(result.u32_4);
    const std::string rule = line_of(text, result.u32_4);
    const bool fits = makes(rule, key, result);
    std::string sentence = action + ", by the rule in line " + number;
    if (fits)
        sentence += ": " + printable(rule);
    else if (!rules.empty())
        sentence += "; " + name_of_file(rules) + " is not the file that was loaded: its line " + number + " is no such rule";
    report found;
    found.sentence(sentence);
    found.fact("list", nullptr, uint64_t{list});
    found.fact("action", nullptr, action);
    found.fact("line", nullptr, uint64_t{result.u32_4});
    if (!rules.empty()) found.fact("file_fits", nullptr, fits);
    if (fits) found.fact("rule", nullptr, rule);
    found.fact("key", nullptr, field_text(key));
    found.fact("result", nullptr, field_text(result));
    call.print(found);
    return exit_done;
}

int look_up_policy(const invocation &call, uint32_t list, const nprm_tcam_policy_key &key) {
    connect_to_server(call);
    const auto result = look_up<nprm_tcam_policy_key, nprm_tcam_policy_result>(list, key, nprm_ext_tcam_v4_policy_lkup);
    report found;
    found.fact("list", nullptr, uint64_t{list});
    found.fact("key", "key", field_text(key));
    found.fact("result", "result", field_text(result));
    call.print(found);
    return exit_done;
}

}  // namespace

int tcam_create(invocation &call) {
    uint32_t size = 0;
    call.number("SIZE", size, 1, tcam_entries_max, "entries that the list has room for, 1 to 65535");
    call.parse();
    connect_to_server(call);
    const uint8_t list = create_list(size);
    report made;
    made.sentence("list " + std::to_string(list) + " has room for " + counted(size, "entry", "entries"));
    made.fact("list", nullptr, uint64_t{list});
    made.fact("size", nullptr, uint64_t{size});
    call.print(made);
    return exit_done;
}

uint8_t create_list(uint32_t size) {
    uint8_t list = 0;
    const answer given = ask([&] { return nprm_tcam_create_v4_vmr_lst_dup(static_cast<uint16_t>(size), &list); });
    if (given.code == NPRM_OK) return list;
    if (!given.is_uncertain) throw unknown_for("no list was made", given);
    failure problem = unknown_for("it is not known whether a list was made", given);
    problem.next = "nprmctl card status shows the lists";
    throw problem;
}

int tcam_delete(invocation &call) {
    uint32_t list = 0;
    call.number("LIST", list, 0, list_id_max, list_help);
    call.parse();
    connect_to_server(call);
    change("list " + std::to_string(list) + " was not deleted",
           [&] { return nprm_tcam_delete_v4_vmr_lst_dup(static_cast<uint8_t>(list)); });
    report gone;
    gone.sentence("list " + std::to_string(list) + " is deleted");
    gone.fact("list", nullptr, uint64_t{list});
    call.print(gone);
    return exit_done;
}

int tcam_space(invocation &call) {
    call.parse();
    connect_to_server(call);
    uint32_t free_entries = 0;
    learn("the free entries are not known", [&] { return nprm_tcam_v4_space_dup(&free_entries); });
    report space;
    space.sentence(counted(free_entries, "entry is", "entries are") + " free");
    space.fact("free_entries", nullptr, uint64_t{free_entries});
    call.print(space);
    return exit_done;
}

int tcam_write(invocation &call) {
    store_arguments arguments;
    bool scatter = false;
    arguments.declare(call);
    call.flag("--scatter", scatter, "with --policy: by the library's scatter-gather write");
    call.notes(entry_file_notes);
    call.parse();
    if (scatter && !arguments.policy) throw usage_error("--scatter goes with --policy", usage_of(call.row()));
    if (!arguments.policy) return store<acl_form>(call, arguments, read_rules(arguments.file).entries, acl_form::write, written);
    const std::vector<policy_entry> entries = read_policy(arguments.file);
    if (!scatter) return store<policy_form>(call, arguments, entries, policy_form::write, written);
    arguments.check_end(call, entries.size());
    connect_to_server(call);
    scatter_entries(arguments.list, arguments.position, entries);
    report_entries(call, written.done, arguments.list, arguments.position, entries.size());
    return exit_done;
}

int tcam_insert(invocation &call) {
    store_arguments arguments;
    arguments.declare(call);
    call.notes(entry_file_notes);
    call.parse();
    if (arguments.policy) return store<policy_form>(call, arguments, read_policy(arguments.file), policy_form::insert, inserted);
    return store<acl_form>(call, arguments, read_rules(arguments.file).entries, acl_form::insert, inserted);
}

int tcam_remove(invocation &call) {
    uint32_t list = 0, position = 0, count = 0;
    call.number("LIST", list, 0, list_id_max, list_help);
    call.number("POSITION", position, 0, tcam_entries_max - 1, "of the first entry to remove");
    call.number("COUNT", count, 1, tcam_entries_max, "entries to remove, 1 to 65535");
    call.parse();
    connect_to_server(call);
    change(entries_of_list(list, position, count) + " not removed", [&] {
        return nprm_tcam_delete_v4_vmr_dup(static_cast<uint8_t>(list), static_cast<uint16_t>(position),
                                           static_cast<uint16_t>(count));
    });
    report_entries(call, "removed", list, position, count);
    return exit_done;
}

int tcam_lookup(invocation &call) {
    uint32_t list = 0;
    std::vector<std::string> words;
    std::string rules;
    bool policy = false;
    call.number("LIST", list, 0, list_id_max, list_help);
    call.texts("KEY", words, "the packet: PROTOCOL SOURCE [eq PORT] DESTINATION [eq PORT]");
    call.text("--rules FILE", rules, "the file that was loaded, to show the rule itself");
    call.flag("--policy", policy, "look a policy key up: u8.bytes.u16.u32.u32 in hexadecimal");
    call.notes("Example: nprmctl tcam lookup 0 tcp 198.51.100.7 eq 40000 192.0.2.10 eq 443 --rules examples/edge-acl.txt\n");
    call.parse();
    std::vector<text_error> errors;
    const std::string text = joined(words);
    if (policy) {
        const nprm_tcam_policy_key key = parse_policy_key(text, errors);
        if (!errors.empty()) throw text_errors("KEY", std::move(errors));
        return look_up_policy(call, list, key);
    }
    const nprm_tcam_acl_key key = parse_packet(text, errors);
    if (!errors.empty()) throw text_errors("KEY", std::move(errors));
    return look_up_packet(call, list, key, rules);
}
