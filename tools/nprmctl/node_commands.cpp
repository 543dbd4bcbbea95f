// sn, sng and sng-dist: service nodes, groups of them, and which hash index leads to which node.

#include "service_objects.h"
#include "id_list.h"

namespace {

constexpr const char *node_id_help = "the node's number, 0 to 255";
constexpr const char *group_id_help = "the group's number, 0 to 65535";

constexpr other_meaning no_node = {NPRM_ERROR_FDM_SN_NOT_EXIST, nullptr, "nprmctl sn show"};
constexpr other_meaning node_refusals[] = {
    no_node,
    {NPRM_ERROR_FDM_WRITE_SN, "the service node could not be written; it may exist already", "nprmctl sn show, nprmctl sn replace"},
    {NPRM_ERROR_FDM_DEL_SN, "the service node could not be deleted; a group may use it", "nprmctl sng-dist show GROUP"},
    {NPRM_ERROR_FDM_SN_MAX, nullptr, "nprmctl sn show, nprmctl sn delete"},
    {NPRM_ERROR_FDM_DUPLICATE_SN_IP, nullptr, "nprmctl sn show"},
    {NPRM_ERROR_FDM_INVALID_SEC_IP, wrong_secondary, nullptr},
    {NPRM_ERROR_PARAM, without_address, nullptr},
};
constexpr object_words node_words = {"service node", "the card has no service nodes", no_node, node_refusals};

constexpr other_meaning group_refusals[] = {
    {NPRM_ERROR_FDM_WRITE_ACTION, "the group could not be written; it may exist already, or there are too many",
     "nprmctl sng show GROUP, nprmctl sng replace"},
    {NPRM_ERROR_FDM_DEL_ACTION, "the group could not be deleted; it may be absent, or flows are distributed by it",
     "nprmctl sng show GROUP, nprmctl sng-dist show GROUP"},
};
constexpr object_words group_words = {
    "service-node group",
    "the card has none of these service-node groups",
    {NPRM_ERROR_FDM_READ_ACTION, "the group could not be read; it may be absent", "nprmctl sng show 0 --count 1024"},
    group_refusals};

constexpr other_meaning place_refusals[] = {
    {NPRM_ERROR_FDM_WRITE_SNG_DIST, "the group may be absent, or a hash index may lead to a node already",
     "nprmctl sng-dist show GROUP, nprmctl sng-dist replace"},
    {NPRM_ERROR_FDM_DEL_SNG_DIST, "a hash index leads nowhere already, or the card has no such group",
     "nprmctl sng-dist show GROUP"},
    {NPRM_ERROR_FDM_SN_NOT_EXIST, nullptr, "nprmctl sn show, nprmctl sn add"},
};
constexpr object_words place_words = {"hash index",
                                      "no hash index of the group is set, or the card has no such group",
                                      {NPRM_ERROR_FDM_READ_SNG_DIST, "the hash index leads nowhere, or the card has no such group",
                                       "nprmctl sng-dist show GROUP, nprmctl sng show GROUP"},
                                      place_refusals};

uint32_t node_operation(uint32_t action, uint32_t id, nprm_service_node &node) {
    const auto number = static_cast<uint8_t>(id);
    return nprm_sn_op(action, 1, &number, &node);
}

uint32_t group_operation(uint32_t action, uint32_t id, nprm_service_node_group &group) {
    const auto number = static_cast<uint16_t>(id);
    return nprm_sng_op(action, 1, &number, &group);
}

int write_node(invocation &call, uint32_t action) {
    addressed_arguments arguments;
    uint32_t vlan = 0;
    arguments.declare(call, node_id_help, "the node's IPv4 or IPv6 address", "[SECONDARY]",
                      "its secondary address, of the same IP version");
    call.number("--vlan VLAN", vlan, 0, UINT16_MAX, "the node's VLAN, 0 to 65535; 0 when not given");
    call.notes("Example: nprmctl sn add 1 192.0.2.11 192.0.2.12 --vlan 100\n");
    arguments.read(call, "SECONDARY", allowed::ip);
    nprm_service_node node = {};
    arguments.fill(node, NPRM_SERVICE_IPV4_FLAG, arguments.first.kind == address_kind::ipv4 ? NPRM_SERVICE_IPV4_FLAG : 0);
    node.u16_1 = static_cast<uint16_t>(vlan);
    return change_object(call, node_words, action, arguments.id, [&] { return node_operation(action, arguments.id, node); });
}

// Three numbers, "1.2.3", as fields of 4, 5 and 7 bits.
uint16_t fields_argument(const invocation &call, const std::string &text) {
    constexpr uint32_t widths[] = {4, 5, 7};
    uint32_t word = 0, shift = 0;
    size_t at = 0;
    for (const uint32_t width : widths) {
        const bool is_last = shift + width == 16;
        const size_t end = is_last ? text.size() : std::min(text.find('.', at), text.size());
        const auto number = decimal<uint32_t>(text.substr(std::min(at, text.size()), end - std::min(at, text.size())));
        if (!number || *number >= 1U << width)
            throw usage_error("--fields is " + in_quotes(text) + ", it must be A.B.C: 0 to 15, 0 to 31 and 0 to 127",
                              usage_of(call.row()));
        word |= *number << shift;
        shift += width;
        at = end + 1;
    }
    return static_cast<uint16_t>(word);
}

int write_group(invocation &call, uint32_t action) {
    uint32_t id = 0, flags = 0;
    std::string fields = "0.0.0";
    call.number("GROUP", id, 0, UINT16_MAX, group_id_help);
    call.text("--fields A.B.C", fields, "the group's fields of 4, 5 and 7 bits: 0 to 15, 0 to 31 and 0 to 127");
    call.number("--flags FLAGS", flags, 0, UINT8_MAX, "the group's flag byte, 0 to 255");
    call.notes("Example: nprmctl sng add 7 --fields 1.2.3\n");
    call.parse();
    const uint16_t word = fields_argument(call, fields);
    nprm_service_node_group group = {
        {static_cast<uint8_t>(flags), static_cast<uint8_t>(word & 0xFF), static_cast<uint8_t>(word >> 8)}};
    return change_object(call, group_words, action, id, [&] { return group_operation(action, id, group); });
}

nprm_distribution_group place_in(uint32_t group, uint32_t index) {
    return {{static_cast<uint8_t>(index), static_cast<uint8_t>(group & 0xFF), static_cast<uint8_t>(group >> 8)}};
}

// Hash indexes of one group, which one message changes: all of them or none.
class places {
  public:
    void declare(invocation &call) {
        call.number("GROUP", group_, 0, UINT16_MAX, group_id_help);
        call.text("INDEXES", text_, "hash indexes, 0 to 255: 7, or 0-99,200");
    }
    void declare_dry_run(invocation &call) { call.flag("--dry-run", dry_run_, "tell message and bytes, and send nothing"); }

    int change(const invocation &call, uint32_t action, nprm_distribution_member member) {
        constexpr id_words words = {"hash index", "a hash index", "a group"};
        const id_list list = parse_ids(text_, NPRM_SERVICE_HASH_INDEXES, words);
        if (!list.wrong.empty()) throw usage_error("INDEXES: " + list.wrong, usage_of(call.row()));
        const std::string names = (list.ids.size() == 1 ? "hash index " : "hash indexes ") + ids_text(list.ids) +
                                  " of service-node group " + std::to_string(group_);
        report result;
        result.fact("group", nullptr, uint64_t{group_});
        result.fact("indexes", nullptr, number_list{{list.ids.begin(), list.ids.end()}, false});
        if (dry_run_) {
            const uint64_t bytes = sizeof(nprm_message_header) + list.ids.size() * NPRM_RECORD_BYTES_FDM;
            result.sentence(names + " would be " + done_word(action) + " in 1 message of " + grouped(bytes) +
                            " bytes; nothing was sent");
            result.fact("messages", nullptr, uint64_t{1});
            result.fact("bytes", nullptr, bytes);
        } else {
            send(call, action, list.ids, member, names);
            result.sentence(names + outcome(action, member, list.ids.size() == 1));
        }
        call.print(result);
        return exit_done;
    }

  private:
    void send(const invocation &call, uint32_t action, const std::vector<uint32_t> &indexes, nprm_distribution_member member,
              const std::string &names) const {
        std::vector<nprm_distribution_group> groups;
        groups.reserve(indexes.size());
        for (const uint32_t index : indexes)
            groups.push_back(place_in(group_, index));
        std::vector<nprm_distribution_member> members(indexes.size(), member);
        const auto count = static_cast<uint32_t>(indexes.size());
        connect_to_server(call);
        change_with_meanings(
            names + (count == 1 ? " was not " : " were not ") + done_word(action),
            [&] { return nprm_sng_dist_op(action, count, groups.data(), members.data()); }, place_words.refusals);
    }
    static std::string outcome(uint32_t action, nprm_distribution_member member, bool one) {
        if (action == NPRM_SERVICE_DELETE) return one ? " leads nowhere" : " lead nowhere";
        const std::string node = "service node " + std::to_string(member.byte[1]);
        if ((member.byte[0] & NPRM_SERVICE_MEMBER_VALID) != 0) return (one ? " leads to " : " lead to ") + node;
        return (one ? " is not valid; it names " : " are not valid; they name ") + node;
    }

    uint32_t group_ = 0;
    std::string text_;
    bool dry_run_ = false;
};

int write_places(invocation &call, uint32_t action) {
    places at;
    uint32_t node = 0, flags = 0;
    bool invalid = false;
    at.declare(call);
    call.number("NODE", node, 0, UINT8_MAX, "the number of the service node that they lead to, 0 to 255");
    call.flag("--invalid", invalid, "write them as not valid: they lead to no node yet");
    call.number("--flags FLAGS", flags, 0, 127, "the other seven bits of the members' flags, 0 to 127");
    at.declare_dry_run(call);
    call.notes("One message has all of them: the card changes all or none.\nExample: nprmctl sng-dist add 7 0-255 1\n");
    call.parse();
    const uint32_t bits = flags << 1 | (invalid ? 0U : uint32_t{NPRM_SERVICE_MEMBER_VALID});
    return at.change(call, action, {{static_cast<uint8_t>(bits), static_cast<uint8_t>(node)}});
}

}  // namespace

int sn_add(invocation &call) {
    return write_node(call, NPRM_SERVICE_ADD);
}

int sn_replace(invocation &call) {
    return write_node(call, NPRM_SERVICE_REPLACE);
}

int sn_delete(invocation &call) {
    uint32_t id = 0;
    call.number("ID", id, 0, UINT8_MAX, node_id_help);
    call.notes("Example: nprmctl sn delete 1\n");
    call.parse();
    nprm_service_node node = {};
    return change_object(call, node_words, NPRM_SERVICE_DELETE, id, [&] { return node_operation(NPRM_SERVICE_DELETE, id, node); });
}

int sn_show(invocation &call) {
    uint32_t id = 0;
    call.number("[ID]", id, 0, UINT8_MAX, "the node's number, 0 to 255; all nodes when not given");
    call.notes("Example: nprmctl sn show 1\n");
    call.parse();
    const bool one = call.given("ID");
    const auto cells = [](uint32_t number, const nprm_service_node &node) -> std::vector<cell> {
        const address_kind kind = ip_kind(node, NPRM_SERVICE_IPV4_FLAG);
        return {uint64_t{number},     kind_cell(kind),     address_cell(kind, node.address_a), address_cell(kind, node.address_b),
                uint64_t{node.u16_1}, uint64_t{node.flags}};
    };
    return show_objects<nprm_service_node>(
        call, node_words, "nodes",
        {{"id", "id"}, {"kind", "kind"}, {"address", "address"}, {"secondary", "secondary"}, {"vlan", "VLAN"}, {"flags", "flags"}},
        id, one ? 1 : 256, !one,
        [](uint32_t number, nprm_service_node &node) { return node_operation(NPRM_SERVICE_READ, number, node); }, cells);
}

int sng_add(invocation &call) {
    return write_group(call, NPRM_SERVICE_ADD);
}

int sng_replace(invocation &call) {
    return write_group(call, NPRM_SERVICE_REPLACE);
}

int sng_delete(invocation &call) {
    uint32_t id = 0;
    call.number("GROUP", id, 0, UINT16_MAX, group_id_help);
    call.notes("Example: nprmctl sng delete 7\n");
    call.parse();
    nprm_service_node_group group = {};
    return change_object(call, group_words, NPRM_SERVICE_DELETE, id,
                         [&] { return group_operation(NPRM_SERVICE_DELETE, id, group); });
}

int sng_show(invocation &call) {
    uint32_t id = 0, count = 1;
    call.number("GROUP", id, 0, UINT16_MAX, group_id_help);
    call.number("--count COUNT", count, 1, NPRM_SERVICE_GROUPS_MAX, "show those of so many numbers from GROUP on, 1 to 1024");
    call.notes(
        "A read returns the group's fields; the card does not return its flag byte.\nExample: nprmctl sng show 0 --count 100\n");
    call.parse();
    if (id + count > UINT16_MAX + 1U)
        throw usage_error("GROUP and --count reach behind the last group, 65535", usage_of(call.row()));
    const auto cells = [](uint32_t number, const nprm_service_node_group &group) -> std::vector<cell> {
        // A read leaves the fields one byte before where writes take them.
        const uint32_t word = group.byte[0] | uint32_t{group.byte[1]} << 8;
        return {uint64_t{number}, uint64_t{word & 15}, uint64_t{word >> 4 & 31}, uint64_t{word >> 9}};
    };
    return show_objects<nprm_service_node_group>(
        call, group_words, "groups", {{"id", "group"}, {"field_a", "field A"}, {"field_b", "field B"}, {"field_c", "field C"}}, id,
        count, call.given("--count"),
        [](uint32_t number, nprm_service_node_group &group) { return group_operation(NPRM_SERVICE_READ, number, group); }, cells);
}

int sng_dist_add(invocation &call) {
    return write_places(call, NPRM_SERVICE_ADD);
}

int sng_dist_replace(invocation &call) {
    return write_places(call, NPRM_SERVICE_REPLACE);
}

int sng_dist_delete(invocation &call) {
    places at;
    at.declare(call);
    at.declare_dry_run(call);
    call.notes("One message has all of them: the card changes all or none.\nExample: nprmctl sng-dist delete 7 0-99,200\n");
    call.parse();
    return at.change(call, NPRM_SERVICE_DELETE, {});
}

int sng_dist_show(invocation &call) {
    uint32_t group = 0, index = 0;
    call.number("GROUP", group, 0, UINT16_MAX, group_id_help);
    call.number("[INDEX]", index, 0, NPRM_SERVICE_HASH_INDEXES - 1, "the hash index, 0 to 255; all that are set when not given");
    call.notes("Example: nprmctl sng-dist show 7\n");
    call.parse();
    const bool one = call.given("INDEX");
    const auto operation = [group](uint32_t at, nprm_distribution_member &member) {
        const nprm_distribution_group place = place_in(group, at);
        return nprm_sng_dist_op(NPRM_SERVICE_READ, 1, &place, &member);
    };
    const auto cells = [](uint32_t at, const nprm_distribution_member &member) -> std::vector<cell> {
        return {uint64_t{at}, (member.byte[0] & NPRM_SERVICE_MEMBER_VALID) != 0, uint64_t{member.byte[1]},
                uint64_t{static_cast<uint32_t>(member.byte[0] >> 1)}};
    };
    return show_objects<nprm_distribution_member>(call, place_words, "members",
                                                  {{"index", "index"}, {"valid", "valid"}, {"node", "node"}, {"flags", "flags"}},
                                                  index, one ? 1 : uint32_t{NPRM_SERVICE_HASH_INDEXES}, !one, operation, cells);
}
