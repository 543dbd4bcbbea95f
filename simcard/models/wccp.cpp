// WCCP entries and their MTU (component 9).

#include "wccp_state.h"

#include <nlohmann/json.hpp>

#include "service_objects.h"

namespace {

wccp_state state;

// Without what the flags do not name: the client does not set those bytes.
nprm_wccp_entry kept(nprm_wccp_entry entry) {
    size_t bytes_a = 0, bytes_b = 0;
    if ((entry.flags & NPRM_WCCP_MAC_FLAG) != 0)
        bytes_a = NPRM_WCCP_MAC_BYTES;
    else if ((entry.flags & NPRM_WCCP_IPV4_FLAG) != 0)
        bytes_a = bytes_b = sizeof(uint32_t);
    else if ((entry.flags & NPRM_WCCP_IPV6_FLAG) != 0)
        bytes_a = bytes_b = sizeof entry.address_a;
    clear_from(entry.address_a, bytes_a);
    clear_from(entry.address_b, bytes_b);
    return entry;
}

template <writing how>
uint32_t write_entry(wccp_state &of, const nprm_wccp_entry_record &from, nprm_wccp_entry_record &) {
    const nprm_wccp_entry entry = kept(from.entry);
    const uint8_t id = from.id;
    if (const uint32_t code =
            check_place(of.entries, id, NPRM_SERVICE_WCCP_MAX, how, NPRM_ERROR_WCCP_WRITE_WCCP, NPRM_ERROR_WCCP_MAX))
        return code;
    constexpr uint8_t kinds = NPRM_WCCP_MAC_FLAG | NPRM_WCCP_IPV4_FLAG | NPRM_WCCP_IPV6_FLAG;
    if ((entry.flags & kinds) != 0 && !is_set(address_of(entry.address_a))) return NPRM_ERROR_PARAM;
    of.entries[id] = entry;
    return NPRM_OK;
}

uint32_t read_entry(wccp_state &of, const nprm_wccp_entry_record &from, nprm_wccp_entry_record &answer) {
    const auto found = of.entries.find(from.id);
    if (found == of.entries.end()) return NPRM_ERROR_WCCP_NOT_EXIST;
    answer.id = from.id;
    answer.entry = found->second;
    return NPRM_OK;
}

uint32_t erase_entry(wccp_state &of, const nprm_wccp_entry_record &from, nprm_wccp_entry_record &) {
    return of.entries.erase(from.id) != 0 ? uint32_t{NPRM_OK} : uint32_t{NPRM_ERROR_WCCP_NOT_EXIST};
}

uint32_t serve_entries(const model_request &from, model_reply &reply) {
    constexpr object_actions<wccp_state, nprm_wccp_entry_record> actions = {write_entry<writing::add>, read_entry, erase_entry,
                                                                            write_entry<writing::replace>};
    return serve_objects(state, actions, from, reply);
}

uint32_t set_mtu(const model_request &from, model_reply &) {
    const uint32_t mtu = from.at<nprm_wccp_mtu_record>(0).mtu;
    if (mtu == 0 || mtu > UINT16_MAX) return NPRM_ERROR_PARAM;
    state.mtu = static_cast<uint16_t>(mtu);
    return NPRM_OK;
}

void reset(const card_configuration &) {
    state = {};
}

nlohmann::json describe() {
    return {{"entries", state.entries.size()}, {"mtu", state.mtu}};
}

constexpr model_operation operations[] = {
    {NPRM_WCCP_ENTRY, "entries", serve_entries, any_number},
    {NPRM_WCCP_SET_MTU, "set MTU", set_mtu},
};

}  // namespace

const wccp_state &wccp() {
    return state;
}

constexpr component_model wccp_model = {
    .component = NPRM_COMPONENT_WCCP,
    .operations = operations,
    .head_records = 0,
    .malformed = NPRM_ERROR_PARAM,
    .unknown_operation = NPRM_ERROR_UNSUPPORTED,
    .reset = reset,
    .describe = describe,
};
