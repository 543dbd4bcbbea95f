// sc and scg: service contexts and groups of them.

#include "service_objects.h"

namespace {

constexpr const char *context_id_help = "the context's number, 0 to 255";
constexpr const char *group_help = "the group's number, 0 to 255";

constexpr other_meaning no_context = {NPRM_ERROR_CMM_SC_NOT_EXIST, nullptr, "nprmctl sc show"};
constexpr other_meaning context_refusals[] = {
    no_context,
    {NPRM_ERROR_CMM_WRITE_SC, "the service context could not be written; it may exist already",
     "nprmctl sc show, nprmctl sc replace"},
    {NPRM_ERROR_CMM_DEL_SC, "the service context could not be deleted; a group may have it", "nprmctl scg show"},
    {NPRM_ERROR_CMM_SC_MAX, nullptr, "nprmctl sc show, nprmctl sc delete"},
    {NPRM_ERROR_CMM_DUPLICATE_SC_IP, nullptr, "nprmctl sc show"},
    {NPRM_ERROR_CMM_INVALID_SEC_IP, wrong_secondary, nullptr},
    {NPRM_ERROR_PARAM, without_address, nullptr},
};
constexpr object_words context_words = {"service context", "the card has no service contexts", no_context, context_refusals};

constexpr other_meaning group_refusals[] = {
    {NPRM_ERROR_CMM_WRITE_DIST_LIST, "the list could not be written; the group may exist already, or a context is in it twice",
     "nprmctl scg show, nprmctl scg replace"},
    {NPRM_ERROR_CMM_DEL_DIST_LIST, "the list could not be deleted; the group may be absent", "nprmctl scg show"},
    {NPRM_ERROR_CMM_SC_NOT_EXIST, "a service context of the list does not exist", "nprmctl sc show, nprmctl sc add"},
};
constexpr object_words group_words = {
    "service-context group",
    "the card has no service-context groups",
    {NPRM_ERROR_CMM_READ_DIST_LIST, "the list could not be read; the group may be absent", "nprmctl scg show"},
    group_refusals};

uint32_t context_operation(uint32_t action, uint32_t id, nprm_service_context &context) {
    const auto number = static_cast<uint8_t>(id);
    return nprm_sc_op(action, 1, &number, &context);
}

uint32_t group_operation(uint32_t action, uint32_t group, nprm_service_context_group &list) {
    return nprm_scg_op(action, static_cast<uint8_t>(group), &list);
}

int write_context(invocation &call, uint32_t action) {
    addressed_arguments arguments;
    arguments.declare(call, context_id_help, "the context's IPv4 or IPv6 address", "[SECONDARY]",
                      "its secondary address, of the same IP version");
    call.notes("Example: nprmctl sc add 1 2001:db8::1 2001:db8::2\n");
    arguments.read(call, "SECONDARY", allowed::ip);
    nprm_service_context context = {};
    arguments.fill(context, NPRM_SERVICE_CONTEXT_IPV4_FLAG,
                   arguments.first.kind == address_kind::ipv4 ? NPRM_SERVICE_CONTEXT_IPV4_FLAG : 0);
    return change_object(call, context_words, action, arguments.id,
                         [&] { return context_operation(action, arguments.id, context); });
}

int write_group(invocation &call, uint32_t action) {
    uint32_t group = 0;
    std::vector<std::string> ids;
    call.number("GROUP", group, 0, UINT8_MAX, group_help);
    call.texts("ID", ids, "the numbers of the group's contexts, 0 to 255, at most 29 of them");
    call.notes("Example: nprmctl scg add 4 1 2 3\n");
    call.parse();
    if (ids.size() > NPRM_CONTEXT_GROUP_BYTES_MAX)
        throw usage_error("ID is given " + std::to_string(ids.size()) + " times, a group has 1 to 29 contexts",
                          usage_of(call.row()));
    nprm_service_context_group list = {};
    list.length = static_cast<uint8_t>(ids.size());
    for (size_t i = 0; i < ids.size(); ++i)
        try {
            list.byte[i] = static_cast<uint8_t>(number_argument("ID", ids[i], 0, UINT8_MAX));
        } catch (failure &problem) {
            problem.next = usage_of(call.row());
            throw;
        }
    return change_object(call, group_words, action, group, [&] { return group_operation(action, group, list); });
}

std::vector<cell> group_cells(uint32_t number, const nprm_service_context_group &list) {
    const size_t came = std::min<size_t>(list.length, NPRM_CONTEXT_GROUP_BYTES_READ);
    return {uint64_t{number}, uint64_t{list.length}, number_list{{list.byte, list.byte + came}, list.length > came}};
}

}  // namespace

int sc_add(invocation &call) {
    return write_context(call, NPRM_SERVICE_ADD);
}

int sc_replace(invocation &call) {
    return write_context(call, NPRM_SERVICE_REPLACE);
}

int sc_delete(invocation &call) {
    uint32_t id = 0;
    call.number("ID", id, 0, UINT8_MAX, context_id_help);
    call.notes("Example: nprmctl sc delete 1\n");
    call.parse();
    nprm_service_context context = {};
    return change_object(call, context_words, NPRM_SERVICE_DELETE, id,
                         [&] { return context_operation(NPRM_SERVICE_DELETE, id, context); });
}

int sc_show(invocation &call) {
    uint32_t id = 0;
    call.number("[ID]", id, 0, UINT8_MAX, "the context's number, 0 to 255; all contexts when not given");
    call.notes("Example: nprmctl sc show 1\n");
    call.parse();
    const bool one = call.given("ID");
    const auto cells = [](uint32_t number, const nprm_service_context &context) -> std::vector<cell> {
        const address_kind kind = ip_kind(context, NPRM_SERVICE_CONTEXT_IPV4_FLAG);
        return {uint64_t{number}, kind_cell(kind), address_cell(kind, context.address_a), address_cell(kind, context.address_b),
                uint64_t{context.flags}};
    };
    return show_objects<nprm_service_context>(
        call, context_words, "contexts",
        {{"id", "id"}, {"kind", "kind"}, {"address", "address"}, {"secondary", "secondary"}, {"flags", "flags"}}, id, one ? 1 : 256,
        !one, [](uint32_t number, nprm_service_context &context) { return context_operation(NPRM_SERVICE_READ, number, context); },
        cells);
}

int scg_add(invocation &call) {
    return write_group(call, NPRM_SERVICE_ADD);
}

int scg_replace(invocation &call) {
    return write_group(call, NPRM_SERVICE_REPLACE);
}

int scg_delete(invocation &call) {
    uint32_t group = 0;
    call.number("GROUP", group, 0, UINT8_MAX, group_help);
    call.notes("Example: nprmctl scg delete 4\n");
    call.parse();
    nprm_service_context_group list = {};
    return change_object(call, group_words, NPRM_SERVICE_DELETE, group,
                         [&] { return group_operation(NPRM_SERVICE_DELETE, group, list); });
}

int scg_show(invocation &call) {
    uint32_t group = 0;
    call.number("[GROUP]", group, 0, UINT8_MAX, "the group's number, 0 to 255; all groups when not given");
    call.notes(
        "A read returns a group's first 16 contexts; \"...\" stands for those that it does not return.\n"
        "Example: nprmctl scg show 4\n");
    call.parse();
    const bool one = call.given("GROUP");
    return show_objects<nprm_service_context_group>(
        call, group_words, "groups", {{"id", "group"}, {"size", "contexts"}, {"contexts", "first 16"}}, group, one ? 1 : 256, !one,
        [](uint32_t number, nprm_service_context_group &list) { return group_operation(NPRM_SERVICE_READ, number, list); },
        group_cells);
}
