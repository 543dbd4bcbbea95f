// Entries of a TCAM list, sent and fetched through the library; one form for ACL entries, one for policy entries.
#ifndef NPRMCTL_TCAM_ENTRIES_H
#define NPRMCTL_TCAM_ENTRIES_H

#include "access_list.h"
#include "nprm.h"
#include "policy_entries.h"
#include "server.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <span>
#include <string>
#include <vector>

constexpr uint32_t tcam_entries_max = 65535;  // of a list, and of a call

struct acl_form {
    using entry = acl_entry;
    static constexpr auto &read = nprm_tcam_read_v4_acl_vmr_dup;
    static constexpr auto &write = nprm_tcam_write_v4_acl_vmr_dup;
    static constexpr auto &insert = nprm_tcam_insert_v4_acl_vmr_dup;
};

struct policy_form {
    using entry = policy_entry;
    static constexpr auto &read = nprm_tcam_read_v4_policy_vmr_dup;
    static constexpr auto &write = nprm_tcam_write_v4_policy_vmr_dup;
    static constexpr auto &insert = nprm_tcam_insert_v4_policy_vmr_dup;
};

// The three arrays that the library takes.
template <class form>
struct entry_arrays {
    using entry = typename form::entry;
    std::vector<decltype(entry::key)> keys, masks;
    std::vector<decltype(entry::result)> results;

    explicit entry_arrays(std::span<const entry> entries) {
        for (const entry &one : entries) {
            keys.push_back(one.key);
            masks.push_back(one.mask);
            results.push_back(one.result);
        }
    }
    entry at(size_t i) const { return {keys[i], masks[i], results[i]}; }
};

template <class entry>
bool same_bytes(const entry &one, const entry &other) {
    return std::memcmp(&one, &other, sizeof one) == 0;
}

// "entry 5 of list 3", "entries 0 to 41 of list 3"
inline std::string entries_of_list(uint32_t list, uint32_t position, size_t count) {
    const std::string first = std::to_string(position), last = std::to_string(position + count - 1);
    return (count == 1 ? "entry " + first : "entries " + first + " to " + last) + " of list " + std::to_string(list);
}

// Reads into entries, all or none.  An entry that the library leaves as it was is a failure: the card's answer was incomplete.
// Requires: at most tcam_entries_max entries.
template <class form>
answer read_entries(uint32_t list, uint32_t position, std::span<typename form::entry> entries) {
    typename form::entry untouched;
    std::memset(&untouched, 0xA5, sizeof untouched);
    entry_arrays<form> arrays(std::vector<typename form::entry>(entries.size(), untouched));
    answer given = ask([&] {
        return form::read(static_cast<uint8_t>(list), static_cast<uint16_t>(position), static_cast<uint16_t>(entries.size()), 0,
                          arrays.keys.data(), arrays.masks.data(), arrays.results.data());
    });
    for (size_t i = 0; i < entries.size(); ++i) {
        entries[i] = arrays.at(i);
        if (given.code == NPRM_OK && same_bytes(entries[i], untouched)) given = {NPRM_ERROR, false, "The answer lacks entries."};
    }
    return given;
}

template <class form>
struct placed_entry {
    uint32_t position;
    typename form::entry entry;
};

// Reads from a position on, over positions that hold none, up to the list's last position, `end`, or as many entries as wanted.  No
// operation tells where entries are: a read that meets a position without one is refused as a whole.
template <class form>
std::vector<placed_entry<form>> read_list(uint32_t list, uint32_t position, uint32_t end, uint32_t wanted) {
    std::vector<placed_entry<form>> found;
    uint32_t count = NPRM_TCAM_ENTRIES_MAX;
    while (position < end && found.size() < wanted) {
        count = std::min({count, end - position, wanted - static_cast<uint32_t>(found.size())});
        std::vector<typename form::entry> entries(count);
        const answer given = read_entries<form>(list, position, entries);
        if (given.code == NPRM_OK) {
            for (const auto &entry : entries)
                found.push_back({position++, entry});
            count = std::min<uint32_t>(2 * count, NPRM_TCAM_ENTRIES_MAX);
            continue;
        }
        if (given.code != NPRM_ERROR_TCAM_ITEM_NOT_FOUND && given.code != NPRM_ERROR_TCAM_OUT_OF_RANGE)
            throw unknown_for("list " + std::to_string(list) + " cannot be read from position " + std::to_string(position) + " on",
                              given);
        if (count > 1)
            count /= 2;  // fewer may still be there
        else if (given.code == NPRM_ERROR_TCAM_OUT_OF_RANGE)
            break;
        else
            ++position;
    }
    return found;
}

// Hands the entries to the library's write or insert, in calls of at most `step` entries; after each, `done` hears how many are.
template <class form>
void send_entries(uint32_t list, uint32_t position, std::span<const typename form::entry> entries, decltype(form::write) &operation,
                  const char *what, size_t step = tcam_entries_max, const std::function<void(size_t)> &done = {},
                  const other_meaning *other = nullptr) {
    for (size_t at = 0; at < entries.size(); at += step) {
        const entry_arrays<form> arrays(entries.subspan(at, std::min(step, entries.size() - at)));
        const auto from = static_cast<uint32_t>(position + at);
        change(
            entries_of_list(list, from, arrays.keys.size()) + what,
            [&] {
                return operation(static_cast<uint8_t>(list), static_cast<uint16_t>(from), static_cast<uint16_t>(arrays.keys.size()),
                                 arrays.keys.data(), arrays.masks.data(), arrays.results.data());
            },
            other);
        if (done) done(at + arrays.keys.size());
    }
}

#endif
