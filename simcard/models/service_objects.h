// Messages of many objects, which are applied as a whole or not at all, and tables of objects that have an id and addresses.
#ifndef SIMCARD_MODELS_SERVICE_OBJECTS_H
#define SIMCARD_MODELS_SERVICE_OBJECTS_H

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <utility>

#include "simcard/model.h"
#include "simcard/nprm_service_fields.h"

// A family's actions, one record each: the state as the records before left it, the record, the record of the answer.
template <class state, class record>
struct object_actions {
    using action = uint32_t (*)(state &, const record &, record &answer);
    action add, read, erase, replace;

    action of(uint32_t number) const {
        switch (number) {
            case NPRM_SERVICE_ADD:
                return add;
            case NPRM_SERVICE_READ:
                return read;
            case NPRM_SERVICE_DELETE:
                return erase;
            case NPRM_SERVICE_REPLACE:
                return replace;
            default:
                return nullptr;
        }
    }
};

template <class state, class record>
uint32_t serve_each(state &of, typename object_actions<state, record>::action serve, std::span<const record> records,
                    model_reply &reply) {
    for (uint32_t i = 0; i < records.size(); ++i)
        if (const uint32_t code = serve(of, records[i], reply.at<record>(i))) return code;
    return NPRM_OK;
}

template <class state, class record>
uint32_t serve_objects(state &now, const object_actions<state, record> &actions, const model_request &from, model_reply &reply) {
    const auto records = from.from<record>(0);
    const uint32_t number = records.front().result;  // of a request: the action
    const auto serve = actions.of(number);
    if (serve == nullptr) return NPRM_ERROR_UNSUPPORTED;
    if (!std::ranges::all_of(records, [&](const record &one) { return one.result == number; })) return NPRM_ERROR_PARAM;
    if (number == NPRM_SERVICE_READ) return serve_each(now, serve, records, reply);
    state next = now;
    if (const uint32_t code = serve_each(next, serve, records, reply)) return code;
    now = std::move(next);
    return NPRM_OK;
}

// What a table of objects refuses with.
struct object_codes {
    uint32_t not_exist, full, write, duplicate_address, invalid_secondary;
};

template <class object>
using object_table = std::map<uint8_t, object>;

using address_bytes = std::array<uint8_t, 16>;

inline address_bytes address_of(const uint8_t (&bytes)[16]) {
    address_bytes address;
    std::memcpy(address.data(), bytes, address.size());
    return address;
}
inline bool is_set(const address_bytes &address) {
    return address != address_bytes{};
}

inline void clear_from(uint8_t (&address)[16], size_t first) {
    std::memset(address + first, 0, sizeof address - first);
}

// The object without the address bytes that IPv4 addresses do not have: clients do not set them.
template <class object>
object without_unset_bytes(object one, uint8_t ipv4_flag) {
    const size_t bytes = (one.flags & ipv4_flag) != 0 ? sizeof(uint32_t) : sizeof one.address_a;
    clear_from(one.address_a, bytes);
    clear_from(one.address_b, bytes);
    return one;
}

template <class object>
bool shares_address(const object &one, const object &other) {
    const address_bytes ours[] = {address_of(one.address_a), address_of(one.address_b)};
    const address_bytes theirs[] = {address_of(other.address_a), address_of(other.address_b)};
    return std::ranges::any_of(ours, [&](const address_bytes &address) {
        return is_set(address) && std::ranges::find(theirs, address) != std::end(theirs);
    });
}

// Checks of objects whose primary address must be set and whose addresses nobody else of the same version may have.
template <class object>
uint32_t check_addresses(const object_table<object> &table, uint8_t id, const object &one, uint8_t version_flag,
                         const object_codes &codes) {
    if (!is_set(address_of(one.address_a))) return NPRM_ERROR_PARAM;
    if (address_of(one.address_a) == address_of(one.address_b)) return codes.invalid_secondary;
    const bool taken = std::ranges::any_of(table, [&](const auto &row) {
        const bool is_same_version = ((row.second.flags ^ one.flags) & version_flag) == 0;
        return row.first != id && is_same_version && shares_address(one, row.second);
    });
    return taken ? codes.duplicate_address : uint32_t{NPRM_OK};
}

enum class writing : uint8_t { add, replace };

template <class key, class object>
uint32_t check_place(const std::map<key, object> &table, key id, size_t most, writing how, uint32_t exists, uint32_t full) {
    if (table.contains(id)) return how == writing::add ? exists : uint32_t{NPRM_OK};
    return table.size() < most ? uint32_t{NPRM_OK} : full;
}

#endif
