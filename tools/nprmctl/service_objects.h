// Objects of the services that have an id: one form to add, replace, show and delete them.
#ifndef NPRMCTL_SERVICE_OBJECTS_H
#define NPRMCTL_SERVICE_OBJECTS_H

#include "failure.h"
#include "invocation.h"
#include "nprm.h"
#include "server.h"
#include "service_text.h"
#include "simcard/nprm_service_fields.h"

#include <cstring>
#include <optional>
#include <span>

struct object_words {
    const char *name;                         // "service node"
    const char *absent;                       // "the card has no service nodes"
    other_meaning not_exist;                  // what a read is refused with; no meaning of its own: null
    std::span<const other_meaning> refusals;  // what an add, a replace or a delete may be refused with
};

// What a command is about, and what it did: "service node 9 is added".
inline void report_done(const invocation &call, const std::string &name, const char *done, const char *key, uint64_t value) {
    report result;
    result.sentence(name + " is " + done);
    result.fact(key, nullptr, value);
    call.print(result);
}

inline const char *done_word(uint32_t action) {
    return action == NPRM_SERVICE_ADD ? "added" : action == NPRM_SERVICE_REPLACE ? "replaced" : "deleted";
}

// An add, replace or delete: asks the card, and tells what was done.
inline int change_object(const invocation &call, const object_words &words, uint32_t action, uint32_t id,
                         const std::function<uint32_t()> &operation) {
    const std::string name = std::string(words.name) + " " + std::to_string(id);
    connect_to_server(call);
    change_with_meanings(name + " was not " + done_word(action), operation, words.refusals);
    report_done(call, name, done_word(action), "id", id);
    return exit_done;
}

// A record that is still as it was may be one that the answer lacks: the library leaves those alone.  What stays as it was twice,
// with other bytes each time, did not come.
template <class record>
answer read_record(record &into, const std::function<uint32_t(record &)> &operation) {
    for (const int mark : {0, 0xFF}) {
        record before;
        std::memset(static_cast<void *>(&before), mark, sizeof before);
        into = before;
        answer given = ask([&] { return operation(into); });
        if (given.code != NPRM_OK || std::memcmp(&into, &before, sizeof before) != 0) return given;
    }
    return {NPRM_ERROR, false, "The answer lacks the record."};
}

// Reads one; none when the card has no such object and the command shows all that there are.
template <class record>
std::optional<record> read_object(const object_words &words, uint32_t id, bool may_be_absent,
                                  const std::function<uint32_t(record &)> &operation) {
    record read;
    answer given = read_record(read, operation);
    if (given.code == NPRM_OK) return read;
    const bool is_absent = given.code == words.not_exist.code;
    if (is_absent && may_be_absent) return std::nullopt;
    if (is_absent) given.meaning = words.not_exist.meaning;
    failure problem = unknown_for(std::string(words.name) + " " + std::to_string(id) + " cannot be read", given);
    if (is_absent && words.not_exist.next != nullptr) problem.next = words.not_exist.next;
    throw problem;
}

// One object field by field, or a table of those from an id on.
template <class record>
int show_objects(const invocation &call, const object_words &words, const char *key, const std::vector<column> &columns,
                 uint32_t first, uint32_t count, bool is_table, const std::function<uint32_t(uint32_t id, record &)> &operation,
                 const std::function<std::vector<cell>(uint32_t id, const record &)> &cells) {
    connect_to_server(call);
    report content;
    if (is_table) content.table(key, columns);
    bool any = false;
    for (uint32_t id = first; id < first + count; ++id) {
        const auto read = read_object<record>(words, id, is_table, [&](record &into) { return operation(id, into); });
        if (!read) continue;
        any = true;
        std::vector<cell> row = cells(id, *read);
        if (is_table) {
            content.row(std::move(row));
            continue;
        }
        for (size_t i = 0; i < columns.size(); ++i)
            content.fact(columns[i].key, columns[i].heading, std::move(row[i]));
    }
    if (!any) content.sentence(words.absent);
    call.print(content);
    return exit_done;
}

// What nodes, contexts and WCCP entries are written with.
struct addressed_arguments {
    uint32_t id = 0, flags = 0;
    std::string first_text, second_text;
    service_address first, second;

    void declare(invocation &call, const char *id_help, const char *address_help, const char *second_name,
                 const char *second_help) {
        call.number("ID", id, 0, UINT8_MAX, id_help);
        call.text("ADDRESS", first_text, address_help);
        call.text(second_name, second_text, second_help);
        call.number("--flags FLAGS", flags, 0, UINT8_MAX,
                    "the flag byte, 0 to 255; its bits for the address's kind follow from ADDRESS");
    }
    void read(invocation &call, const char *second_name, allowed kinds) {
        call.parse();
        first = address_argument(call, "ADDRESS", first_text, kinds);
        second = second_address(call, second_name, second_text, first.kind);
    }
    template <class record>
    void fill(record &to, uint32_t kind_bits, uint32_t kind) const {
        to.flags = static_cast<uint8_t>((flags & ~kind_bits) | kind);
        std::memcpy(to.address_a, first.bytes, sizeof to.address_a);
        std::memcpy(to.address_b, second.bytes, sizeof to.address_b);
    }
};

inline constexpr const char *without_address = "an argument is not valid; the address may be 0";
inline constexpr const char *wrong_secondary = "the secondary address is not valid; it may be the first one again";

template <class record>
address_kind ip_kind(const record &of, uint32_t ipv4_flag) {
    return (of.flags & ipv4_flag) != 0 ? address_kind::ipv4 : address_kind::ipv6;
}

#endif
