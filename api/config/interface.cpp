// Interfaces, port channels, bridge groups, the FIB and the look-up switches (component 3).

#include "nprm_interface.h"

#include "../frame/log.h"
#include "exchange.h"

#include <cstring>
#include <iterator>

namespace {

using nprm::refuse_null;

// The families' numbers in calls of nprm_fib_op, which takes no notice of them.
constexpr uint32_t family_v4 = 14;
constexpr uint32_t family_v6 = 15;

// The look-ups of the packet path by type, as they are logged.  Texts and lines are part of the interface, "intercet" included.
constexpr struct {
    const char *name;
    int line;
} lookups[] = {
    {"dump_acl", 2967},
    {"trace_acl", 2971},
    {"intercet_acl", 2975},
    {"flow-policy", 2979},
};

template <typename Fill>
uint32_t send(uint32_t operation, Fill fill) {
    return nprm::send_one<nprm_if_message>(NPRM_COMPONENT_IF, operation,
                                           [=](nprm_if_message &message) { fill(message.record[0]); });
}

uint32_t set_address(const char *function, uint32_t operation, uint16_t interface_id, const nprm_if_ip_cfg *address) {
    if (address == nullptr) return refuse_null(function);
    return send(operation, [=](nprm_if_record &record) {
        record.address.interface_id = interface_id;
        record.address.address = *address;
    });
}

uint32_t change_member(uint32_t operation, uint16_t channel_id, uint16_t interface_id) {
    return send(operation, [=](nprm_if_record &record) {
        record.member.channel_id = channel_id;
        record.member.interface_id = interface_id;
    });
}

uint32_t change_vlan(uint32_t operation, uint8_t group, uint16_t vlan, uint32_t value) {
    return send(operation, [=](nprm_if_record &record) {
        record.bridge.group = group;
        record.bridge.value = value;
        record.bridge.vlan = vlan;
    });
}

// Writes action and prefix in two stores that overlap: the first reaches two bytes into the address, which is written after it.  A
// store less for each entry brings sending a full table nearer to sending its bytes.
void fill_prefix(nprm_if_record &record, uint32_t action, const nprm_fib_prefix &prefix) {
    static_assert(offsetof(nprm_if_fib_record, prefix) == sizeof action && offsetof(nprm_fib_prefix, address) == sizeof(uint16_t));
    uint16_t bytes_before_address;
    memcpy(&bytes_before_address, &prefix, sizeof bytes_before_address);
    const uint64_t head = action | uint64_t{bytes_before_address} << 32;
    memcpy(static_cast<void *>(&record), &head, sizeof head);
    memcpy(record.fib.prefix.address, prefix.address, sizeof prefix.address);
}

// Writes a next hop and 3 bytes more, which begin the next record and are written after this one: one store instead of two, which
// brings a message of entries within twice memcpy's time.  The last entry has no bytes behind it to copy.
void fill_nexthop(nprm_if_record &record, const nprm_fib_nexthop *nexthop, bool last) {
    constexpr size_t wide_bytes = 16;
    static_assert(offsetof(nprm_if_message, record) + NPRM_FIB_ENTRIES_MAX * sizeof(nprm_if_record) - sizeof(nprm_fib_nexthop) +
                      wide_bytes <=
                  NPRM_MESSAGE_BYTES_MAX);
    static_assert(wide_bytes - sizeof *nexthop <= sizeof record.fib.action);
    uint8_t *to = reinterpret_cast<uint8_t *>(&record) + offsetof(nprm_if_fib_record, nexthop);
    if (last)
        memcpy(to, nexthop, sizeof *nexthop);
    else
        memcpy(to, static_cast<const void *>(nexthop), wide_bytes);
}

// A table of a million routes is read from memory, once: what is asked for early is there when it is copied.  The address may lie
// behind the array, where nothing is read.
void prefetch_behind(const void *at) {
    constexpr uintptr_t ahead_bytes = 4096;
    __builtin_prefetch(reinterpret_cast<const void *>(reinterpret_cast<uintptr_t>(at) + ahead_bytes));
}

uint32_t low_byte(uint32_t code) {
    return code & 0xFF;
}

}  // namespace

uint32_t nprm_if_create(uint16_t interface_id, uint32_t attribute, uint8_t value, const uint8_t *mac_address) {
    if (mac_address == nullptr) return refuse_null(__func__);
    return send(NPRM_IF_CREATE, [=](nprm_if_record &record) {
        record.interface.interface_id = interface_id;
        record.interface.attribute = attribute;
        record.interface.value = value;
        memcpy(record.interface.mac_address, mac_address, sizeof record.interface.mac_address);
    });
}

uint32_t nprm_if_del(uint16_t interface_id) {
    return send(NPRM_IF_DELETE, [=](nprm_if_record &record) { record.interface.interface_id = interface_id; });
}

uint32_t nprm_if_set_state(uint16_t interface_id, uint8_t state) {
    return send(NPRM_IF_SET_STATE, [=](nprm_if_record &record) {
        record.interface.interface_id = interface_id;
        record.interface.state = state;
    });
}

uint32_t nprm_if_mac_cfg(uint16_t interface_id, const uint8_t *mac_address) {
    if (mac_address == nullptr) return refuse_null(__func__);
    return send(NPRM_IF_SET_MAC, [=](nprm_if_record &record) {
        record.interface.interface_id = interface_id;
        memcpy(record.interface.mac_address, mac_address, sizeof record.interface.mac_address);
    });
}

uint32_t nprm_if_v4_cfg(uint16_t interface_id, const nprm_if_ip_cfg *address) {
    return set_address(__func__, NPRM_IF_SET_V4, interface_id, address);
}

uint32_t nprm_if_v6_cfg(uint16_t interface_id, const nprm_if_ip_cfg *address) {
    return set_address(__func__, NPRM_IF_SET_V6, interface_id, address);
}

uint32_t nprm_sb_if_active(uint16_t first_id, uint16_t second_id) {
    return send(NPRM_IF_SB_ACTIVE, [=](nprm_if_record &record) {
        record.active.first_id = first_id;
        record.active.second_id = second_id;
    });
}

uint32_t nprm_pc_lb_cfg(uint32_t setting) {
    return send(NPRM_IF_PC_BALANCE, [=](nprm_if_record &record) { record.setting = setting; });
}

uint32_t nprm_pc_if_add(uint16_t channel_id, uint16_t interface_id) {
    return change_member(NPRM_IF_PC_ADD, channel_id, interface_id);
}

uint32_t nprm_pc_if_del(uint16_t channel_id, uint16_t interface_id) {
    return change_member(NPRM_IF_PC_DELETE, channel_id, interface_id);
}

uint32_t nprm_bg_create(uint8_t group, uint16_t a, uint16_t b) {
    return send(NPRM_IF_BG_CREATE, [=](nprm_if_record &record) {
        record.bridge.group = group;
        record.bridge.u16_a = a;
        record.bridge.u16_b = b;
    });
}

uint32_t nprm_bg_del(uint8_t group) {
    return send(NPRM_IF_BG_DELETE, [=](nprm_if_record &record) { record.bridge.group = group; });
}

uint32_t nprm_bg_add_vlan_cfg(uint8_t group, uint16_t vlan, uint32_t value) {
    return change_vlan(NPRM_IF_BG_ADD_VLAN, group, vlan, value);
}

uint32_t nprm_bg_del_vlan_cfg(uint8_t group, uint16_t vlan, uint32_t value) {
    return change_vlan(NPRM_IF_BG_DELETE_VLAN, group, vlan, value);
}

uint32_t nprm_fib_op(uint32_t /*family*/, uint32_t action, uint32_t count, nprm_fib_prefix *prefixes, nprm_fib_nexthop *nexthops) {
    if (count == 0) return NPRM_OK;
    if (prefixes == nullptr || nexthops == nullptr) return refuse_null(__func__);
    const auto fill = [=](nprm_if_record &record, size_t i) {
        prefetch_behind(prefixes + i);
        prefetch_behind(nexthops + i);
        fill_prefix(record, action, prefixes[i]);
        fill_nexthop(record, nexthops + i, i + 1 == count);
    };
    const auto take = [=](const nprm_if_record &record, size_t i) {
        prefixes[i] = record.fib.prefix;
        nexthops[i] = record.fib.nexthop;
    };
    return nprm::send_objects<nprm_if_message>({NPRM_COMPONENT_IF, NPRM_IF_FIB, NPRM_FIB_ENTRIES_MAX, count, true}, fill, take);
}

uint32_t nprm_v4_fib_op(uint32_t action, uint32_t count, nprm_fib_prefix *prefixes, nprm_fib_nexthop *nexthops) {
    return nprm_fib_op(family_v4, action, count, prefixes, nexthops);
}

uint32_t nprm_v6_fib_op(uint32_t action, uint32_t count, nprm_fib_prefix *prefixes, nprm_fib_nexthop *nexthops) {
    return nprm_fib_op(family_v6, action, count, prefixes, nexthops);
}

uint32_t nprm_tcam_v4_cfg(uint32_t lookup_type, uint8_t enable, uint8_t vmr_id) {
    if (lookup_type >= std::size(lookups)) return NPRM_OK;
    nprm::request<nprm_if_message> request(NPRM_COMPONENT_IF, NPRM_IF_TCAM_LOOKUP, 1);
    if (!request) return low_byte(nprm::request_error());
    NPRM_LOG_AT(NPRM_LEVEL_IF_TCAM, "nprm_tcam_v4_cfg", lookups[lookup_type].line, "%sable %s VMR %d.", enable == 1 ? "en" : "dis",
                lookups[lookup_type].name, int{vmr_id});
    request->record[0].lookup.type = lookup_type;
    request->record[0].lookup.enable = enable;
    request->record[0].lookup.vmr_id = vmr_id;
    return low_byte(request.send(nprm::after_sending::consume_reply));
}
