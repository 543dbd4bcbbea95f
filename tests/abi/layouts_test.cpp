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

TEST(Layouts, DebugRecordIsTheSameOnBothAbis) {
    EXPECT_EQ(sizeof(ad_debug_cfg), 140u);
    EXPECT_EQ(offsetof(ad_debug_cfg, level), 0u);
    EXPECT_EQ(offsetof(ad_debug_cfg, client_ip), 4u);
    EXPECT_EQ(offsetof(ad_debug_cfg, server_ip), 8u);
    EXPECT_EQ(offsetof(ad_debug_cfg, reserved), 12u);
}

TEST(Layouts, TransportMessageIs64Bytes) { EXPECT_EQ(sizeof(ruv_message), 64u); }

TEST(Layouts, PoolDescriptorHasItsFieldsInOrder) {
    const size_t offsets[] = {offsetof(nprm_buffer_pool, name),      offsetof(nprm_buffer_pool, reserved),
                              offsetof(nprm_buffer_pool, count),     offsetof(nprm_buffer_pool, size),
                              offsetof(nprm_buffer_pool, lock),      offsetof(nprm_buffer_pool, area),
                              offsetof(nprm_buffer_pool, free_head), offsetof(nprm_buffer_pool, free_tail),
                              offsetof(nprm_buffer_pool, next)};
    const size_t on_target[] = {0, 4, 8, 12, 16, 40, 44, 48, 52};
    const size_t on_native[] = {0, 8, 12, 16, 24, 64, 72, 80, 88};
    for (size_t i = 0; i < std::size(offsets); ++i)
        EXPECT_EQ(offsets[i], target ? on_target[i] : on_native[i]) << i;
    EXPECT_EQ(sizeof(nprm_buffer_pool), target ? 56u : 96u);
}

TEST(Layouts, LinkHeaderIs16BytesOnTheTarget) { EXPECT_EQ(sizeof(nprm_link), target ? 16u : 24u); }

TEST(Layouts, PoolStorageIsCountTimesSizeAndHeader) {
    EXPECT_EQ(NPRM_POOL_BYTES(11u, 65536u), target ? 11u * 65552u : 11u * 65560u);
}

}  // namespace
