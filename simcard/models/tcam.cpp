// The TCAM: value-mask-result lists, their entries, look-ups (component 7).
//
// A message is checked as a whole before it is applied: what is refused changes nothing.

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <vector>

#include <nlohmann/json.hpp>

#include "api/wire/nprm_tcam_wire.h"
#include "simcard/model.h"
#include "tcam_state.h"

namespace {

constexpr uint32_t positions_max = 65536;  // a position is 16 bits wide
constexpr uint32_t list_ids = 256;

enum class entry_kind : uint8_t { none, acl, policy };

// A write or insert whose last message has not come yet.
struct unfinished_operation {
    uint32_t operation, position, nr_entry;
    uint32_t next_index;

    bool operator==(const unfinished_operation &) const = default;
};

struct vmr_list {
    uint32_t size = 0;                     // 0: there is no such list
    entry_kind kind = entry_kind::none;    // fixed by the first entry, free again when the last one is gone
    std::vector<nprm_tcam_entry> entries;  // up to the last position that was written
    std::vector<uint8_t> written;          // one for each of them
    std::optional<unfinished_operation> unfinished;
};

struct tcam_state {
    uint32_t capacity;
    std::array<vmr_list, list_ids> lists;
};
tcam_state tcam;

// What a request's head says, by name.
struct tcam_request {
    explicit tcam_request(const model_request &from)
        : operation(from.operation()),
          progress(from.at<nprm_tcam_progress_record>(0)),
          vmr_id(from.at<nprm_tcam_list_record>(1).vmr_id),
          nr_entry(from.at<nprm_tcam_list_record>(1).nr_entry),
          position(from.at<nprm_tcam_list_record>(1).position),
          entries(from.from<nprm_tcam_entry>(NPRM_TCAM_HEAD_UNITS)) {}

    uint32_t count() const { return static_cast<uint32_t>(entries.size()); }
    uint32_t remaining() const { return nr_entry - progress.start_index; }  // entries from this message on
    vmr_list &list() const { return tcam.lists[vmr_id]; }

    uint32_t operation;
    const nprm_tcam_progress_record &progress;
    uint8_t vmr_id;
    uint32_t nr_entry;
    uint16_t position;
    std::span<const nprm_tcam_entry> entries;
};

entry_kind kind_of(uint32_t operation) {
    switch (operation) {
        case NPRM_TCAM_INSERT_ACL:
        case NPRM_TCAM_READ_ACL:
        case NPRM_TCAM_WRITE_ACL:
        case NPRM_TCAM_LOOKUP_ACL:
            return entry_kind::acl;
        default:
            return entry_kind::policy;
    }
}

uint32_t free_entries() {
    uint32_t taken = 0;
    for (const vmr_list &list : tcam.lists)
        taken += list.size;
    return tcam.capacity - taken;
}

// Checks.  Each returns NPRM_OK or the code that refuses the request.

uint32_t check_single_message(const model_request &from) {
    const auto &progress = from.at<nprm_tcam_progress_record>(0);
    const bool whole = progress.start_index == 0 && progress.first == 1 && progress.last == 1;
    return whole ? NPRM_OK : NPRM_ERROR_TCAM_INVALID_MSG;
}

uint32_t check_bulk_message(const model_request &from) {
    if (from.units() < NPRM_TCAM_HEAD_UNITS) return NPRM_ERROR_TCAM_INVALID_MSG;
    const tcam_request request(from);
    if (request.nr_entry == 0) return NPRM_ERROR_TCAM_TCAM_INVALID_ARG;
    const uint32_t start = request.progress.start_index;
    const uint64_t end = uint64_t{start} + request.count();
    if (request.count() == 0 || end > request.nr_entry) return NPRM_ERROR_TCAM_INVALID_MSG;
    const bool flags_fit = request.progress.first == (start == 0) && request.progress.last == (end == request.nr_entry);
    return flags_fit ? NPRM_OK : NPRM_ERROR_TCAM_INVALID_MSG;
}

uint32_t check_list(const tcam_request &request) {
    return request.list().size > 0 ? NPRM_OK : NPRM_ERROR_TCAM_TCAM_INACTIVE_LIST;
}

uint32_t check_kind(const tcam_request &request) {
    const entry_kind kind = request.list().kind;
    return kind == entry_kind::none || kind == kind_of(request.operation) ? NPRM_OK : NPRM_ERROR_TCAM_INVALID_DATA;
}

uint32_t check_range(const tcam_request &request, uint32_t nr_entry) {
    return uint64_t{request.position} + nr_entry <= request.list().size ? NPRM_OK : NPRM_ERROR_TCAM_OUT_OF_RANGE;
}

// The second and later messages must go on where the one before them ended, with nothing done to the list in between.
uint32_t check_continuation(const tcam_request &request) {
    if (request.progress.start_index == 0) return NPRM_OK;
    const unfinished_operation expected = {request.operation, request.position, request.nr_entry, request.progress.start_index};
    return request.list().unfinished == expected ? NPRM_OK : NPRM_ERROR_TCAM_INCONSISTENT_DATA;
}

// All that writes and inserts have in common.
uint32_t check_store(const model_request &from) {
    if (const uint32_t code = check_bulk_message(from)) return code;
    const tcam_request request(from);
    if (const uint32_t code = check_list(request)) return code;
    if (const uint32_t code = check_kind(request)) return code;
    if (const uint32_t code = check_range(request, request.nr_entry)) return code;
    return check_continuation(request);
}

// Clears what is no field of an entry: clients do not set those bits.
void keep_fields_only(entry_kind kind, std::span<nprm_tcam_entry> entries) {
    if (kind != entry_kind::acl) return;
    constexpr uint8_t flag_bits[4] = {0x07, 0x03, 0x07, 0x01};
    for (nprm_tcam_entry &entry : entries) {
        for (size_t i = 0; i < sizeof flag_bits; ++i)
            entry.acl.result.flags[i] &= flag_bits[i];
        std::memset(entry.acl.unused_40, 0, sizeof entry.acl.unused_40);
    }
}

void store(const tcam_request &request, uint32_t at) {
    vmr_list &list = request.list();
    const size_t end = size_t{at} + request.count();
    if (list.entries.size() < end) {
        list.entries.resize(end);
        list.written.resize(end);
    }
    std::memcpy(&list.entries[at], request.entries.data(), request.entries.size_bytes());
    std::memset(&list.written[at], 1, request.count());
    list.kind = kind_of(request.operation);
    keep_fields_only(list.kind, std::span(list.entries).subspan(at, request.count()));

    list.unfinished.reset();
    const uint32_t next_index = request.progress.start_index + request.count();
    if (next_index < request.nr_entry) list.unfinished = {request.operation, request.position, request.nr_entry, next_index};
}

// Operations.

uint32_t create_list(const model_request &from, model_reply &reply) {
    if (const uint32_t code = check_single_message(from)) return code;
    const tcam_request request(from);
    if (request.nr_entry == 0) return NPRM_ERROR_TCAM_TCAM_INVALID_ARG;
    if (request.nr_entry > positions_max) return NPRM_ERROR_TCAM_OUT_OF_RANGE;
    const auto unused = std::ranges::find(tcam.lists, 0U, &vmr_list::size);
    if (unused == tcam.lists.end() || request.nr_entry > free_entries()) return NPRM_ERROR_TCAM_RESOURCE_EXHAUSTED;
    unused->size = request.nr_entry;
    reply.at<nprm_tcam_list_record>(1).vmr_id = static_cast<uint8_t>(unused - tcam.lists.begin());
    return NPRM_OK;
}

uint32_t delete_list(const model_request &from, model_reply &) {
    if (const uint32_t code = check_single_message(from)) return code;
    const tcam_request request(from);
    if (const uint32_t code = check_list(request)) return code;
    request.list() = {};
    return NPRM_OK;
}

uint32_t tell_space(const model_request &from, model_reply &reply) {
    if (const uint32_t code = check_single_message(from)) return code;
    reply.at<nprm_tcam_list_record>(1).nr_entry = free_entries();
    return NPRM_OK;
}

uint32_t write_entries(const model_request &from, model_reply &) {
    if (const uint32_t code = check_store(from)) return code;
    const tcam_request request(from);
    store(request, request.position + request.progress.start_index);
    return NPRM_OK;
}

uint32_t insert_entries(const model_request &from, model_reply &) {
    if (const uint32_t code = check_store(from)) return code;
    const tcam_request request(from);
    vmr_list &list = request.list();
    const uint32_t at = request.position + request.progress.start_index;
    if (at < list.entries.size()) {
        // The whole operation must fit from its first message on, or it would end half applied.
        if (list.entries.size() + request.remaining() > list.size) return NPRM_ERROR_TCAM_RESOURCE_EXHAUSTED;
        list.entries.insert(list.entries.begin() + static_cast<ptrdiff_t>(at), request.count(), nprm_tcam_entry{});
        list.written.insert(list.written.begin() + static_cast<ptrdiff_t>(at), request.count(), 0);
    }
    store(request, at);
    return NPRM_OK;
}

uint32_t delete_entries(const model_request &from, model_reply &) {
    if (const uint32_t code = check_single_message(from)) return code;
    const tcam_request request(from);
    if (request.nr_entry == 0) return NPRM_ERROR_TCAM_TCAM_INVALID_ARG;
    if (const uint32_t code = check_list(request)) return code;
    if (const uint32_t code = check_range(request, request.nr_entry)) return code;
    vmr_list &list = request.list();
    if (request.position >= list.entries.size()) return NPRM_ERROR_TCAM_ITEM_NOT_FOUND;

    const ptrdiff_t first = request.position;
    const auto end = static_cast<ptrdiff_t>(std::min<size_t>(request.position + size_t{request.nr_entry}, list.entries.size()));
    list.entries.erase(list.entries.begin() + first, list.entries.begin() + end);
    list.written.erase(list.written.begin() + first, list.written.begin() + end);
    while (!list.written.empty() && list.written.back() == 0)
        list.written.pop_back();
    list.entries.resize(list.written.size());
    if (list.entries.empty()) list.kind = entry_kind::none;
    list.unfinished.reset();
    return NPRM_OK;
}

uint32_t read_entries(const model_request &from, model_reply &reply) {
    if (const uint32_t code = check_bulk_message(from)) return code;
    const tcam_request request(from);
    if (const uint32_t code = check_list(request)) return code;
    if (const uint32_t code = check_kind(request)) return code;
    // A read's position is this message's own.
    if (const uint32_t code = check_range(request, request.remaining())) return code;
    const vmr_list &list = request.list();
    const size_t end = size_t{request.position} + request.count();
    if (end > list.written.size() || std::memchr(&list.written[request.position], 0, request.count()) != nullptr)
        return NPRM_ERROR_TCAM_ITEM_NOT_FOUND;
    reply.resize(NPRM_TCAM_HEAD_UNITS + request.count());
    const auto entries = reply.from<nprm_tcam_entry>(NPRM_TCAM_HEAD_UNITS);
    std::memcpy(entries.data(), &list.entries[request.position], entries.size_bytes());
    return NPRM_OK;
}

// Whether the key meets the entry's value under its mask, by words that overlap at the end.
template <class key_type>
bool matches(const key_type &key, const key_type &value, const key_type &mask) {
    const auto word = [](const key_type &of, size_t offset) {
        uint64_t bytes;
        std::memcpy(&bytes, reinterpret_cast<const char *>(&of) + offset, sizeof bytes);
        return bytes;
    };
    const auto differs = [&](size_t offset) { return ((word(key, offset) ^ word(value, offset)) & word(mask, offset)) != 0; };
    constexpr size_t last = sizeof(key_type) - sizeof(uint64_t);
    for (size_t offset = 0; offset < last; offset += sizeof(uint64_t))
        if (differs(offset)) return false;
    return !differs(last);
}

template <auto form>
uint32_t look_up(const model_request &from, model_reply &reply) {
    if (const uint32_t code = check_single_message(from)) return code;
    const tcam_request request(from);
    if (request.nr_entry != 1) return NPRM_ERROR_TCAM_INVALID_MSG;
    if (const uint32_t code = check_list(request)) return code;
    if (const uint32_t code = check_kind(request)) return code;
    const vmr_list &list = request.list();
    const auto &key = (request.entries[0].*form).key;
    for (size_t i = 0; i < list.entries.size(); ++i) {
        const auto &entry = list.entries[i].*form;
        if (list.written[i] == 0 || !matches(key, entry.key, entry.mask)) continue;
        reply.resize(NPRM_TCAM_HEAD_UNITS + 1);
        (reply.at<nprm_tcam_entry>(NPRM_TCAM_HEAD_UNITS).*form).result = entry.result;
        return NPRM_OK;
    }
    return NPRM_ERROR_TCAM_ITEM_NOT_FOUND;
}

void reset(const card_configuration &configuration) {
    tcam = {.capacity = configuration.tcam_entries, .lists = {}};
}

nlohmann::json describe() {
    const nlohmann::json kind_names[] = {nullptr, "acl", "policy"};
    nlohmann::json lists = nlohmann::json::array();
    for (uint32_t id = 0; id < list_ids; ++id) {
        const vmr_list &list = tcam.lists[id];
        if (list.size == 0) continue;
        lists.push_back({{"id", id},
                         {"kind", kind_names[static_cast<size_t>(list.kind)]},
                         {"size", list.size},
                         {"used", std::ranges::count(list.written, 1)}});
    }
    return {{"capacity", tcam.capacity}, {"free", free_entries()}, {"lists", std::move(lists)}};
}

constexpr model_operation operations[] = {
    {NPRM_TCAM_CREATE_LIST, "create list", create_list, NPRM_TCAM_HEAD_UNITS},
    {NPRM_TCAM_DELETE_LIST, "delete list", delete_list, NPRM_TCAM_HEAD_UNITS},
    {NPRM_TCAM_SPACE, "space", tell_space, NPRM_TCAM_HEAD_UNITS},
    {NPRM_TCAM_INSERT_ACL, "insert ACL entries", insert_entries, any_number},
    {NPRM_TCAM_READ_ACL, "read ACL entries", read_entries, any_number},
    {NPRM_TCAM_WRITE_ACL, "write ACL entries", write_entries, any_number},
    {NPRM_TCAM_INSERT_POLICY, "insert policy entries", insert_entries, any_number},
    {NPRM_TCAM_READ_POLICY, "read policy entries", read_entries, any_number},
    {NPRM_TCAM_WRITE_POLICY, "write policy entries", write_entries, any_number},
    {NPRM_TCAM_DELETE_ENTRIES, "delete entries", delete_entries, NPRM_TCAM_HEAD_UNITS},
    {NPRM_TCAM_LOOKUP_ACL, "look up in an ACL list", look_up<&nprm_tcam_entry::acl>, NPRM_TCAM_HEAD_UNITS + 1},
    {NPRM_TCAM_LOOKUP_POLICY, "look up in a policy list", look_up<&nprm_tcam_entry::policy>, NPRM_TCAM_HEAD_UNITS + 1},
};

}  // namespace

uint32_t tcam_places::capacity() {
    return tcam.capacity;
}

uint32_t tcam_places::end() {
    return tcam.capacity - free_entries();
}

uint32_t tcam_places::used() {
    ptrdiff_t used = 0;
    for (const vmr_list &list : tcam.lists)
        used += std::ranges::count(list.written, 1);
    return static_cast<uint32_t>(used);
}

std::optional<tcam_places::place> tcam_places::at(uint32_t number) {
    for (uint32_t id = 0; id < list_ids; ++id) {
        const vmr_list &list = tcam.lists[id];
        if (number >= list.size) {
            number -= list.size;
            continue;
        }
        if (number >= list.written.size() || list.written[number] == 0) return std::nullopt;
        return place{static_cast<uint8_t>(id), list.kind == entry_kind::policy, &list.entries[number]};
    }
    return std::nullopt;
}

constexpr component_model tcam_model = {
    .component = NPRM_COMPONENT_TCAM,
    .operations = operations,
    .head_records = NPRM_TCAM_HEAD_UNITS,
    .malformed = NPRM_ERROR_TCAM_INVALID_MSG,
    .unknown_operation = NPRM_ERROR_TCAM_INVALID_OPERATION,
    .reset = reset,
    .describe = describe,
};
