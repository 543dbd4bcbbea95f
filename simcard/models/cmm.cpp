// Service contexts and groups of them (component 0).

#include "cmm_state.h"

#include <set>

#include <nlohmann/json.hpp>

#include "service_objects.h"

namespace {

cmm_state state;

constexpr object_codes codes = {.not_exist = NPRM_ERROR_CMM_SC_NOT_EXIST,
                                .full = NPRM_ERROR_CMM_SC_MAX,
                                .write = NPRM_ERROR_CMM_WRITE_SC,
                                .duplicate_address = NPRM_ERROR_CMM_DUPLICATE_SC_IP,
                                .invalid_secondary = NPRM_ERROR_CMM_INVALID_SEC_IP};

template <writing how>
uint32_t write_context(cmm_state &of, const nprm_cmm_context_record &from, nprm_cmm_context_record &) {
    const nprm_service_context context = without_unset_bytes(from.context, NPRM_SERVICE_CONTEXT_IPV4_FLAG);
    const uint8_t id = from.id;
    if (const uint32_t code = check_place(of.contexts, id, NPRM_SERVICE_CONTEXTS_MAX, how, codes.write, codes.full)) return code;
    if (const uint32_t code = check_addresses(of.contexts, id, context, NPRM_SERVICE_CONTEXT_IPV4_FLAG, codes)) return code;
    of.contexts[id] = context;
    return NPRM_OK;
}

uint32_t read_context(cmm_state &of, const nprm_cmm_context_record &from, nprm_cmm_context_record &answer) {
    const auto found = of.contexts.find(from.id);
    if (found == of.contexts.end()) return codes.not_exist;
    answer.id = from.id;
    answer.context = found->second;
    return NPRM_OK;
}

bool is_grouped(const cmm_state &of, uint8_t id) {
    return std::ranges::any_of(of.groups,
                               [&](const auto &group) { return std::ranges::find(group.second, id) != group.second.end(); });
}

uint32_t erase_context(cmm_state &of, const nprm_cmm_context_record &from, nprm_cmm_context_record &) {
    if (!of.contexts.contains(from.id)) return codes.not_exist;
    if (is_grouped(of, from.id)) return NPRM_ERROR_CMM_DEL_SC;
    of.contexts.erase(from.id);
    return NPRM_OK;
}

uint32_t serve_contexts(const model_request &from, model_reply &reply) {
    constexpr object_actions<cmm_state, nprm_cmm_context_record> actions = {write_context<writing::add>, read_context,
                                                                            erase_context, write_context<writing::replace>};
    return serve_objects(state, actions, from, reply);
}

// The library has a group in 8 bits and sends it in 32.
bool is_group_number(uint32_t group) {
    return group <= UINT8_MAX;
}

template <writing how>
uint32_t write_group(cmm_state &of, const nprm_cmm_group_record &from, nprm_cmm_group_record &) {
    if (!is_group_number(from.group) || from.list.length > NPRM_CONTEXT_GROUP_BYTES_MAX) return NPRM_ERROR_CMM_WRITE_LIST_CONFIG;
    const auto group = static_cast<uint8_t>(from.group);
    if (how == writing::add && of.groups.contains(group)) return NPRM_ERROR_CMM_WRITE_DIST_LIST;
    const std::vector<uint8_t> ids(from.list.byte, from.list.byte + from.list.length);
    if (std::set(ids.begin(), ids.end()).size() != ids.size()) return NPRM_ERROR_CMM_WRITE_DIST_LIST;
    if (!std::ranges::all_of(ids, [&](uint8_t id) { return of.contexts.contains(id); })) return codes.not_exist;
    of.groups[group] = ids;
    return NPRM_OK;
}

uint32_t read_group(cmm_state &of, const nprm_cmm_group_record &from, nprm_cmm_group_record &answer) {
    if (!is_group_number(from.group)) return NPRM_ERROR_CMM_READ_LIST_CONFIG;
    const auto found = of.groups.find(static_cast<uint8_t>(from.group));
    if (found == of.groups.end()) return NPRM_ERROR_CMM_READ_DIST_LIST;
    answer.group = from.group;
    answer.list.length = static_cast<uint8_t>(found->second.size());
    std::ranges::copy(found->second, answer.list.byte);
    return NPRM_OK;
}

uint32_t erase_group(cmm_state &of, const nprm_cmm_group_record &from, nprm_cmm_group_record &) {
    if (!is_group_number(from.group)) return NPRM_ERROR_CMM_DEL_DIST_LIST;
    return of.groups.erase(static_cast<uint8_t>(from.group)) != 0 ? uint32_t{NPRM_OK} : uint32_t{NPRM_ERROR_CMM_DEL_DIST_LIST};
}

uint32_t serve_groups(const model_request &from, model_reply &reply) {
    constexpr object_actions<cmm_state, nprm_cmm_group_record> actions = {write_group<writing::add>, read_group, erase_group,
                                                                          write_group<writing::replace>};
    return serve_objects(state, actions, from, reply);
}

void reset(const card_configuration &) {
    state = {};
}

nlohmann::json describe() {
    return {{"contexts", state.contexts.size()}, {"groups", state.groups.size()}};
}

constexpr model_operation operations[] = {
    {NPRM_CMM_SERVICE_CONTEXT, "service contexts", serve_contexts, any_number},
    {NPRM_CMM_CONTEXT_GROUP, "context groups", serve_groups},
};

}  // namespace

const cmm_state &cmm() {
    return state;
}

constexpr component_model cmm_model = {
    .component = NPRM_COMPONENT_CMM,
    .operations = operations,
    .head_records = 0,
    .malformed = NPRM_ERROR_PARAM,
    .unknown_operation = NPRM_ERROR_UNSUPPORTED,
    .reset = reset,
    .describe = describe,
};
