// Service nodes and the controls of the flow path (component 2).  Groups and their distribution are in fdm_groups.cpp.

#include "fdm.h"

#include <stdexcept>

#include <nlohmann/json.hpp>

#include "service_objects.h"

namespace {

using json = nlohmann::json;

fdm_state state;

constexpr object_codes node_codes = {.not_exist = NPRM_ERROR_FDM_SN_NOT_EXIST,
                                     .full = NPRM_ERROR_FDM_SN_MAX,
                                     .write = NPRM_ERROR_FDM_WRITE_SN,
                                     .duplicate_address = NPRM_ERROR_FDM_DUPLICATE_SN_IP,
                                     .invalid_secondary = NPRM_ERROR_FDM_INVALID_SEC_IP};

template <writing how>
uint32_t write_node(fdm_state &of, const nprm_fdm_node_record &from, nprm_fdm_node_record &) {
    const nprm_service_node node = without_unset_bytes(from.node, NPRM_SERVICE_IPV4_FLAG);
    const uint8_t id = from.id;
    if (const uint32_t code = check_place(of.nodes, id, NPRM_SERVICE_NODES_MAX, how, node_codes.write, node_codes.full))
        return code;
    if (const uint32_t code = check_addresses(of.nodes, id, node, NPRM_SERVICE_IPV4_FLAG, node_codes)) return code;
    of.nodes[id] = node;
    return NPRM_OK;
}

uint32_t read_node(fdm_state &of, const nprm_fdm_node_record &from, nprm_fdm_node_record &answer) {
    const auto found = of.nodes.find(from.id);
    if (found == of.nodes.end()) return node_codes.not_exist;
    answer.id = from.id;
    answer.node = found->second;
    return NPRM_OK;
}

uint32_t erase_node(fdm_state &of, const nprm_fdm_node_record &from, nprm_fdm_node_record &) {
    if (!of.nodes.contains(from.id)) return node_codes.not_exist;
    if (is_distributed_to(of, from.id)) return NPRM_ERROR_FDM_DEL_SN;
    of.nodes.erase(from.id);
    return NPRM_OK;
}

uint32_t serve_nodes(const model_request &from, model_reply &reply) {
    constexpr object_actions<fdm_state, nprm_fdm_node_record> actions = {write_node<writing::add>, read_node, erase_node,
                                                                         write_node<writing::replace>};
    return serve_objects(state, actions, from, reply);
}

uint32_t serve_groups(const model_request &from, model_reply &reply) {
    return serve_objects(state, group_actions, from, reply);
}

uint32_t serve_distribution(const model_request &from, model_reply &reply) {
    return serve_objects(state, distribution_actions, from, reply);
}

// Trace and dump: their first byte starts or ends them.
template <class flow>
uint32_t start_or_end(std::optional<flow> &watched, const model_request &from, uint32_t refusal) {
    flow asked;
    std::memcpy(&asked, &from.at<nprm_fdm_single_record>(0), sizeof asked);
    if (asked.u8_0[0] > 1) return refusal;
    watched.reset();
    if (asked.u8_0[0] == 1) watched = asked;
    return NPRM_OK;
}

uint32_t trace_flow(const model_request &from, model_reply &) {
    return start_or_end(state.trace, from, NPRM_ERROR_FDM_TR_CONFIG);
}

uint32_t dump_flow(const model_request &from, model_reply &) {
    return start_or_end(state.dump, from, NPRM_ERROR_FDM_DP_CONFIG);
}

uint32_t tell_distribution(const model_request &from, model_reply &reply) {
    uint32_t words[NPRM_FLOW_DISTRIBUTION_WORDS] = {};
    if (const uint32_t code = distribute(state, from.at<nprm_fdm_single_record>(0).query, words)) return code;
    std::memcpy(reply.at<nprm_fdm_single_record>(0).reply.word, words, sizeof words);
    return NPRM_OK;
}

uint32_t swap_source(const model_request &from, model_reply &) {
    if (from.at<nprm_fdm_single_record>(0).value > 1) return NPRM_ERROR_PARAM;
    state.swaps_source = from.at<nprm_fdm_single_record>(0).value == 1;
    return NPRM_OK;
}

uint32_t set_frame_version(const model_request &from, model_reply &) {
    state.frame_version = from.at<nprm_fdm_single_record>(0).value;
    return NPRM_OK;
}

void reset(const card_configuration &) {
    state = {};
}

json describe() {
    size_t members = 0;
    for (const auto &[id, group] : state.groups)
        members += static_cast<size_t>(std::ranges::count_if(group.members, [](const auto &member) { return member.has_value(); }));
    return {{"nodes", state.nodes.size()},       {"groups", state.groups.size()},   {"members", members},
            {"traces", state.trace.has_value()}, {"dumps", state.dump.has_value()}, {"swaps", state.swaps_source},
            {"frames", state.frame_version}};
}

json trace_fields() {
    if (!state.trace) return nullptr;
    const nprm_flow_trace_record flow = *state.trace;
    return {{"bytes", flow.u8_0}, {"port", uint16_t{flow.u16_4}}, {"vrf", uint8_t{flow.u8_6}}, {"address", uint32_t{flow.u32_7}}};
}

json dump_fields() {
    if (!state.dump) return nullptr;
    const nprm_flow_dump_record flow = *state.dump;
    return {{"bytes", flow.u8_0}, {"port", uint16_t{flow.u16_5}}};
}

json ask(const json &question) {
    if (question == json{{"flow", "trace"}}) return trace_fields();
    if (question == json{{"flow", "dump"}}) return dump_fields();
    throw std::invalid_argument(R"(FDM can be asked {"flow": "trace"} and {"flow": "dump"})");
}

constexpr model_operation operations[] = {
    {NPRM_FDM_SERVICE_NODE, "service nodes", serve_nodes, any_number},
    {NPRM_FDM_NODE_GROUP, "node groups", serve_groups, any_number},
    {NPRM_FDM_DISTRIBUTION, "distribution", serve_distribution, any_number},
    {NPRM_FDM_FLOW_TRACE, "flow trace", trace_flow},
    {NPRM_FDM_FLOW_DUMP, "flow dump", dump_flow},
    {NPRM_FDM_FLOW_DISTRIBUTION, "flow distribution", tell_distribution},
    {NPRM_FDM_SWAP_SOURCE, "swap source addresses", swap_source},
    {NPRM_FDM_FRAME_VERSION, "port-channel frame version", set_frame_version},
};

}  // namespace

const fdm_state &fdm() {
    return state;
}

constexpr component_model fdm_model = {
    .component = NPRM_COMPONENT_FDM,
    .operations = operations,
    .head_records = 0,
    .malformed = NPRM_ERROR_PARAM,
    .unknown_operation = NPRM_ERROR_UNSUPPORTED,
    .reset = reset,
    .describe = describe,
    .ask = ask,
};
