// wccp: WCCP entries and their MTU.

#include "service_objects.h"

namespace {

constexpr const char *entry_id_help = "the entry's number, 0 to 255";

constexpr other_meaning no_entry = {NPRM_ERROR_WCCP_NOT_EXIST, "the card has no such entry", "nprmctl wccp show"};
constexpr other_meaning entry_refusals[] = {
    no_entry,
    {NPRM_ERROR_WCCP_WRITE_WCCP, "the entry could not be written; it may exist already", "nprmctl wccp show, nprmctl wccp replace"},
    {NPRM_ERROR_WCCP_DEL_WCCP, "the entry could not be deleted", "nprmctl wccp show"},
    {NPRM_ERROR_WCCP_MAX, "no more entries can be made", "nprmctl wccp show, nprmctl wccp delete"},
    {NPRM_ERROR_PARAM, without_address, nullptr},
};
constexpr object_words entry_words = {"WCCP entry", "the card has no WCCP entries", no_entry, entry_refusals};

constexpr uint32_t kind_bits = NPRM_WCCP_MAC_FLAG | NPRM_WCCP_IPV4_FLAG | NPRM_WCCP_IPV6_FLAG;

uint32_t flag_of(address_kind kind) {
    if (kind == address_kind::none) return 0;
    if (kind == address_kind::mac) return NPRM_WCCP_MAC_FLAG;
    return kind == address_kind::ipv4 ? NPRM_WCCP_IPV4_FLAG : NPRM_WCCP_IPV6_FLAG;
}

// The first flag that is set counts, in this order.
address_kind kind_of(const nprm_wccp_entry &entry) {
    if ((entry.flags & NPRM_WCCP_MAC_FLAG) != 0) return address_kind::mac;
    if ((entry.flags & NPRM_WCCP_IPV4_FLAG) != 0) return address_kind::ipv4;
    return (entry.flags & NPRM_WCCP_IPV6_FLAG) != 0 ? address_kind::ipv6 : address_kind::none;
}

uint32_t entry_operation(uint32_t action, uint32_t id, nprm_wccp_entry &entry) {
    const auto number = static_cast<uint8_t>(id);
    return nprm_wccp_op(action, 1, &number, &entry);
}

int write_entry(invocation &call, uint32_t action) {
    addressed_arguments arguments;
    arguments.declare(call, entry_id_help, "the server's IPv4, IPv6 or MAC address, or none", "[ROUTER]",
                      "the router's address, of the same IP version; else none");
    call.notes("Example: nprmctl wccp add 1 192.0.2.11 192.0.2.1\n");
    arguments.read(call, "ROUTER", allowed::any);
    nprm_wccp_entry entry = {};
    arguments.fill(entry, kind_bits, flag_of(arguments.first.kind));
    return change_object(call, entry_words, action, arguments.id, [&] { return entry_operation(action, arguments.id, entry); });
}

}  // namespace

int wccp_add(invocation &call) {
    return write_entry(call, NPRM_SERVICE_ADD);
}

int wccp_replace(invocation &call) {
    return write_entry(call, NPRM_SERVICE_REPLACE);
}

int wccp_delete(invocation &call) {
    uint32_t id = 0;
    call.number("ID", id, 0, UINT8_MAX, entry_id_help);
    call.notes("Example: nprmctl wccp delete 1\n");
    call.parse();
    nprm_wccp_entry entry = {};
    return change_object(call, entry_words, NPRM_SERVICE_DELETE, id,
                         [&] { return entry_operation(NPRM_SERVICE_DELETE, id, entry); });
}

int wccp_show(invocation &call) {
    uint32_t id = 0;
    call.number("[ID]", id, 0, UINT8_MAX, "the entry's number, 0 to 255; all entries when not given");
    call.notes("Example: nprmctl wccp show 1\n");
    call.parse();
    const bool one = call.given("ID");
    const auto cells = [](uint32_t number, const nprm_wccp_entry &entry) -> std::vector<cell> {
        const address_kind kind = kind_of(entry);
        return {uint64_t{number}, kind_cell(kind), address_cell(kind, entry.address_a),
                kind == address_kind::mac ? cell{} : address_cell(kind, entry.address_b), uint64_t{entry.flags}};
    };
    return show_objects<nprm_wccp_entry>(
        call, entry_words, "entries",
        {{"id", "id"}, {"kind", "kind"}, {"address", "address"}, {"router", "router"}, {"flags", "flags"}}, id, one ? 1 : 256, !one,
        [](uint32_t number, nprm_wccp_entry &entry) { return entry_operation(NPRM_SERVICE_READ, number, entry); }, cells);
}

int wccp_mtu(invocation &call) {
    uint32_t mtu = 0;
    call.number("BYTES", mtu, 1, UINT16_MAX, "the MTU of WCCP, 1 to 65535 bytes");
    call.notes("Example: nprmctl wccp mtu 1476\n");
    call.parse();
    connect_to_server(call);
    change("the MTU of WCCP was not set", [&] { return nprm_wccp_set_mtu(static_cast<uint16_t>(mtu)); });
    report result;
    result.sentence("the MTU of WCCP is " + counted(mtu, "byte", "bytes"));
    result.fact("mtu", nullptr, uint64_t{mtu});
    call.print(result);
    return exit_done;
}
