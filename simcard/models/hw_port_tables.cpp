// Hardware tables of the Ethernet ports: configuration SRAM, port table, port configuration and status.

#include "hw_tables.h"

#include "api/diag/nprm_decode.h"
#include "if_lookups.h"
#include "if_state.h"
#include "mac_state.h"
#include "npa_state.h"

namespace {

constexpr uint32_t directions = 2;  // the port table has a port's reception, then its transmission

uint32_t port_count() {
    return card_ports;
}
uint32_t port_table_size() {
    return card_ports * directions;
}

bool read_config_ram(uint32_t address, hw_entry &entry) {
    const auto &lookups = packet_lookups();
    const auto at = [&](packet_lookup which) { return lookups[static_cast<size_t>(which)]; };
    const lookup_switch dump = at(packet_lookup::dump_acl), trace = at(packet_lookup::trace_acl),
                        intercept = at(packet_lookup::intercept_acl), policy = at(packet_lookup::flow_policy);
    entry.set("pc_sram_b0.port_en", ports()[address].is_enabled)
        .set("pc_sram_b0.dump_acl_en", dump.is_on)
        .set("pc_sram_b0.trace_acl_en", trace.is_on)
        .set("pc_sram_b0.intercept_acl_en", intercept.is_on)
        .set("pc_sram_b0.policy_en", policy.is_on)
        .set("dump_acl_vmr", dump.vmr_id)
        .set("trace_acl_vmr", trace.vmr_id)
        .set("intercept_acl_vmr", intercept.vmr_id)
        .set("policy_vmr", policy.vmr_id)
        .set("mapped_port", address)
        .set("virtual_port", address)
        .set("if_h", interface_of_port(address).value_or(0))
        .set("pc_sram_b15.pre_parse_en", 1);
    return true;
}

bool read_port_table(uint32_t address, hw_entry &entry) {
    const uint32_t port = address / directions;
    const bool sends = address % directions == 1;
    entry.set("cb0.valid", 1)
        .set("cb0.match", ports()[port].is_up())
        .set("cb0.default_qid_v", sends)
        .set("cb1.port_id", port)
        .set("cb1.rx_tx", sends)
        .set("default_qid", sends ? first_queue_of(port) : 0)
        .set("tpid", 0x8100)
        .set("vif_tag", port);
    return true;
}

bool read_port_configuration(uint32_t address, hw_entry &entry) {
    const port_state &port = ports()[address];
    entry.set("mtu", port.mtu)
        .set("speed", static_cast<uint32_t>(port.speed))
        .set("negotiate", port.negotiates)
        .set("linkstate", port.is_enabled)
        .set_each("macaddr", port.mac_address);
    return true;
}

void put(hw_entry &entry, uint32_t offset, uint64_t value, size_t bytes) {
    entry.set_bytes(offset, {reinterpret_cast<const uint8_t *>(&value), bytes});
}

// The status is a line of its own kind and not made of named fields alone: link, speed, received and sent packets with their
// errors.
bool read_port_status(uint32_t address, hw_entry &entry) {
    const port_state &port = ports()[address];
    const packet_totals received = totals_of(port.received - port.received_at_clear, port);
    const packet_totals sent = totals_of(port.sent - port.sent_at_clear, port);
    put(entry, 0, port.is_up() ? 1 : 0, sizeof(uint32_t));
    put(entry, 4, static_cast<uint32_t>(port.speed), sizeof(uint32_t));
    put(entry, 8, received.packets, sizeof(uint64_t));
    put(entry, 16, received.errors, sizeof(uint32_t));
    put(entry, 20, sent.packets, sizeof(uint64_t));
    put(entry, 28, sent.errors, sizeof(uint32_t));
    return true;
}

constexpr hw_table tables[] = {
    {NPRM_ENTRY_PORT_CONFIG_RAM, NPRM_ENTRY_PORT_CONFIG_RAM, "Port Config RAM", 16, port_count, port_count, read_config_ram},
    {NPRM_ENTRY_PORT_TABLE, NPRM_ENTRY_PORT_TABLE, "Port Table", 16, port_table_size, port_table_size, read_port_table},
    {NPRM_ENTRY_PORT_CONFIG, NPRM_ENTRY_PORT_CONFIG, "Ethmon Config Port", 24, port_count, port_count, read_port_configuration},
    {NPRM_ENTRY_PORT_STATUS, NPRM_ENTRY_PORT_STATUS, "Ethmon Port Status", 32, port_count, port_count, read_port_status},
};

}  // namespace

constexpr std::span<const hw_table> hw_port_tables = tables;
