// Structures that hosts lay out or share, by number, on both ABIs.

#include <cstddef>

#include <gtest/gtest.h>

#include "api/nprm.h"
#include "platform/ruv.h"
#include "util/ad_debug/ad_debug.h"

namespace {

constexpr bool target = sizeof(void *) == 4;

TEST(Layouts, WireRecordsAreTheSameOnBothAbis) {
    EXPECT_EQ(sizeof(nprm_message_header), 8u);
    EXPECT_EQ(sizeof(nprm_tcam_acl_key), 14u);
    EXPECT_EQ(sizeof(nprm_tcam_acl_result), 12u);
    EXPECT_EQ(sizeof(nprm_tcam_policy_key), 17u);
    EXPECT_EQ(sizeof(nprm_tcam_policy_result), 17u);
    EXPECT_EQ(sizeof(nprm_tcam_message), 65492u);
    EXPECT_EQ(offsetof(nprm_tcam_message, list.nr_entry), 60u);
    EXPECT_EQ(offsetof(nprm_tcam_message, list.position), 64u);
    EXPECT_EQ(offsetof(nprm_tcam_message, entry[1]), 161u);
}

TEST(Layouts, StatisticsAreTheSameOnBothAbis) {
    EXPECT_EQ(sizeof(nprm_stats_counter), 16u);
    EXPECT_EQ(sizeof(nprm_stats_message), 9620u);
    EXPECT_EQ(offsetof(nprm_stats_message, record.table), 8u);
    EXPECT_EQ(offsetof(nprm_stats_message, record.operation), 12u);
    EXPECT_EQ(offsetof(nprm_stats_message, record.count), 16u);
    EXPECT_EQ(offsetof(nprm_stats_message, record.id), 20u);
    EXPECT_EQ(offsetof(nprm_stats_message, record.counter), 1940u);
    EXPECT_EQ(sizeof(nprm_stats_reply), 65536u);
    EXPECT_EQ(offsetof(nprm_stats_reply, status), 8u);
    EXPECT_EQ(offsetof(nprm_stats_reply, data), 16u);
    EXPECT_EQ(sizeof(nprm_stats_table), 24u);
    EXPECT_EQ(offsetof(nprm_stats_table, shm_offset), 4u);
    EXPECT_EQ(offsetof(nprm_stats_table, np_base), 8u);
    EXPECT_EQ(offsetof(nprm_stats_table, entries), 12u);
    EXPECT_EQ(offsetof(nprm_stats_table, counters_per_entry), 16u);
    EXPECT_EQ(offsetof(nprm_stats_table, counters_used), 20u);
    EXPECT_EQ(sizeof stats_tbl_def, 432u);
}

TEST(Layouts, ConfigurationRecordsAreTheSameOnBothAbis) {
    EXPECT_EQ(sizeof(nprm_if_ip_cfg), 20u);
    EXPECT_EQ(sizeof(nprm_fib_prefix), 18u);
    EXPECT_EQ(sizeof(nprm_fib_nexthop), 13u);
    EXPECT_EQ(sizeof(nprm_if_record), 35u);
    EXPECT_EQ(sizeof(nprm_if_message), 65528u);
    EXPECT_EQ(offsetof(nprm_if_message, record[0].interface.mac_address), 20u);
    EXPECT_EQ(offsetof(nprm_if_message, record[0].interface.state), 26u);
    EXPECT_EQ(offsetof(nprm_if_message, record[0].bridge.value), 20u);
    EXPECT_EQ(offsetof(nprm_if_message, record[0].bridge.vlan), 24u);
    EXPECT_EQ(offsetof(nprm_if_message, record[1].fib.prefix), 47u);
    EXPECT_EQ(offsetof(nprm_if_message, record[1].fib.nexthop), 65u);
    EXPECT_EQ(sizeof(nprm_if_data_message), 65536u);
    EXPECT_EQ(offsetof(nprm_if_data_message, bytes), 16u);

    EXPECT_EQ(sizeof(nprm_service_node), 35u);
    EXPECT_EQ(sizeof(nprm_service_node_group), 3u);
    EXPECT_EQ(sizeof(nprm_distribution_group), 3u);
    EXPECT_EQ(sizeof(nprm_distribution_member), 2u);
    EXPECT_EQ(sizeof(nprm_flow_trace_record), 11u);
    EXPECT_EQ(sizeof(nprm_flow_dump_record), 7u);
    EXPECT_EQ(sizeof(nprm_flow_dist_query), 19u);
    EXPECT_EQ(sizeof(nprm_fdm_node_message), 65528u);
    EXPECT_EQ(offsetof(nprm_fdm_node_message, record[1].node), 93u);
    EXPECT_EQ(sizeof(nprm_fdm_single_message), 88u);
    EXPECT_EQ(offsetof(nprm_fdm_single_message, record.reply.word), 28u);

    EXPECT_EQ(sizeof(nprm_service_context), 33u);
    EXPECT_EQ(sizeof(nprm_service_context_group), 30u);
    EXPECT_EQ(sizeof(nprm_cmm_context_message), 65520u);
    EXPECT_EQ(sizeof(nprm_cmm_group_message), 46u);
    EXPECT_EQ(offsetof(nprm_cmm_group_message, record.list.byte), 17u);
    EXPECT_EQ(sizeof(nprm_wccp_entry), 33u);
    EXPECT_EQ(sizeof(nprm_wccp_entry_message), 65528u);
    EXPECT_EQ(sizeof(nprm_wccp_mtu_message), 48u);

    EXPECT_EQ(sizeof(nprm_mac_message), 276u);
    EXPECT_EQ(offsetof(nprm_mac_message, record.port), 12u);
    EXPECT_EQ(offsetof(nprm_mac_message, record.value), 16u);
    EXPECT_EQ(offsetof(nprm_mac_message, record.value.counters.option), 192u);
    EXPECT_EQ(offsetof(nprm_mac_message, record.sfp_length), 272u);
}

TEST(Layouts, EntryFieldsAreTheSameOnBothAbis) {
    EXPECT_EQ(sizeof(nprm_entry_field), 44u);
    EXPECT_EQ(offsetof(nprm_entry_field, byte), 32u);
    EXPECT_EQ(offsetof(nprm_entry_field, lowest_bit), 36u);
    EXPECT_EQ(offsetof(nprm_entry_field, width), 40u);
}

TEST(Layouts, ConfigEntryHasItsFieldsInOrder) {
    EXPECT_EQ(offsetof(nprm_config_entry, addr), 4u);
    EXPECT_EQ(offsetof(nprm_config_entry, words), 8u);
    EXPECT_EQ(offsetof(nprm_config_entry, offset), 12u);
    EXPECT_EQ(offsetof(nprm_config_entry, data), 16u);
    EXPECT_EQ(offsetof(nprm_config_entry, end), target ? 20u : 24u);
    EXPECT_EQ(sizeof(nprm_config_entry), target ? 24u : 32u);
}

TEST(Layouts, DebugRecordIsTheSameOnBothAbis) {
    EXPECT_EQ(sizeof(ad_debug_cfg), 140u);
    EXPECT_EQ(offsetof(ad_debug_cfg, level), 0u);
    EXPECT_EQ(offsetof(ad_debug_cfg, client_ip), 4u);
    EXPECT_EQ(offsetof(ad_debug_cfg, server_ip), 8u);
    EXPECT_EQ(offsetof(ad_debug_cfg, reserved), 12u);
}

TEST(Layouts, TransportMessageIs64Bytes) {
    EXPECT_EQ(sizeof(ruv_message), 64u);
}

TEST(Layouts, PoolDescriptorHasItsFieldsInOrder) {
    const size_t offsets[] = {
        offsetof(nprm_buffer_pool, name),      offsetof(nprm_buffer_pool, reserved),  offsetof(nprm_buffer_pool, count),
        offsetof(nprm_buffer_pool, size),      offsetof(nprm_buffer_pool, lock),      offsetof(nprm_buffer_pool, area),
        offsetof(nprm_buffer_pool, free_head), offsetof(nprm_buffer_pool, free_tail), offsetof(nprm_buffer_pool, next)};
    const size_t on_target[] = {0, 4, 8, 12, 16, 40, 44, 48, 52};
    const size_t on_native[] = {0, 8, 12, 16, 24, 64, 72, 80, 88};
    for (size_t i = 0; i < std::size(offsets); ++i)
        EXPECT_EQ(offsets[i], target ? on_target[i] : on_native[i]) << i;
    EXPECT_EQ(sizeof(nprm_buffer_pool), target ? 56u : 96u);
}

TEST(Layouts, LinkHeaderIs16BytesOnTheTarget) {
    EXPECT_EQ(sizeof(nprm_link), target ? 16u : 24u);
}

TEST(Layouts, PoolStorageIsCountTimesSizeAndHeader) {
    EXPECT_EQ(NPRM_POOL_BYTES(11u, 65536u), target ? 11u * 65552u : 11u * 65560u);
}

}  // namespace
