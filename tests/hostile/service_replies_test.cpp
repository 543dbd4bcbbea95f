// Damaged replies to reads of services, ports and modules: writes stay inside the caller's records, and the next read is whole
// again.

#include <cstring>
#include <functional>
#include <vector>

#include <gtest/gtest.h>

#include "damaged_replies.h"

namespace {

using nlohmann::json;
using bytes = std::vector<uint8_t>;

constexpr uint8_t untouched = 0xEE;
constexpr size_t guard = 4096;  // more than a damaged length of 8 bits, or a record too many, could reach

// A read of some records into one area; only the first `written` bytes of each `stride` may change.
struct service_read {
    const char *name, *component;
    size_t records, stride, written;
    size_t reply_bytes;
    std::function<uint32_t(uint8_t *into)> call;
};

const uint8_t ids[] = {1, 2, 3};
const uint16_t group_ids[] = {7, 7, 7};
const nprm_distribution_group places[] = {{{0, 7, 0}}, {{1, 7, 0}}, {{2, 7, 0}}};

const service_read reads[] = {
    {"sn", "FDM", 3, 35, 35, 248, [](uint8_t *into) { return nprm_sn_op(1, 3, ids, reinterpret_cast<nprm_service_node *>(into)); }},
    {"sng", "FDM", 3, 3, 2, 248,
     [](uint8_t *into) { return nprm_sng_op(1, 3, group_ids, reinterpret_cast<nprm_service_node_group *>(into)); }},
    {"sng-dist", "FDM", 3, 2, 2, 248,
     [](uint8_t *into) { return nprm_sng_dist_op(1, 3, places, reinterpret_cast<nprm_distribution_member *>(into)); }},
    {"flow dist", "FDM", 1, 60, 60, 88,
     [](uint8_t *into) {
         nprm_flow_dist_query query = {};
         query.u16_16 = 7;
         uint32_t words[15];
         std::memcpy(words, into, sizeof words);
         const uint32_t code = nprm_show_v4_flow_dist(&query, words);
         std::memcpy(into, words, sizeof words);
         return code;
     }},
    {"sc", "CMM", 3, 33, 33, 122,
     [](uint8_t *into) { return nprm_sc_op(1, 3, ids, reinterpret_cast<nprm_service_context *>(into)); }},
    {"scg", "CMM", 1, 17, 17, 46,
     [](uint8_t *into) { return nprm_scg_op(1, 4, reinterpret_cast<nprm_service_context_group *>(into)); }},
    {"wccp", "WCCP", 3, 33, 33, 128,
     [](uint8_t *into) { return nprm_wccp_op(1, 3, ids, reinterpret_cast<nprm_wccp_entry *>(into)); }},
    {"MTU", "MAC", 1, 4, 4, 20, [](uint8_t *into) { return nprm_mac_if_get_mtu(1, reinterpret_cast<uint32_t *>(into)); }},
    {"MAC address", "MAC", 1, 6, 6, 22, [](uint8_t *into) { return nprm_mac_if_get_macaddr(1, into); }},
    {"counters", "MAC", 1, 176, 176, 192,
     [](uint8_t *into) { return nprm_mac_if_get_counters(1, reinterpret_cast<uint32_t *>(into), 0); }},
    // A module has 256 bytes, however many are asked for.
    {"identification", "MAC", 1, 256, 256, 276, [](uint8_t *into) { return nprm_sfp_read_msa_all(1, into, 256); }},
    {"monitoring", "MAC", 1, 256, 256, 276, [](uint8_t *into) { return nprm_sfp_read_dom_all(1, into, 256); }},
    {"ten bytes of monitoring", "MAC", 1, 10, 10, 276, [](uint8_t *into) { return nprm_sfp_read_dom_all(1, into, 10); }},
    {"more than a module has", "MAC", 1, 4000, 256, 276, [](uint8_t *into) { return nprm_sfp_read_msa_all(1, into, 0xFFFFFFFF); }},
};

class ServiceReplies : public damaged_replies<service_read> {
  protected:
    const char *component() const override { return GetParam().component; }

    void configure() override {
        nprm_service_node nodes[3] = {};
        nprm_service_context contexts[3] = {};
        nprm_wccp_entry entries[3] = {};
        for (uint8_t i = 0; i < 3; ++i) {
            std::memset(&nodes[i], 0x11 * (i + 1), sizeof nodes[i]);
            std::memset(&contexts[i], 0x11 * (i + 1), sizeof contexts[i]);
            std::memset(&entries[i], 0x11 * (i + 1), sizeof entries[i]);
            nodes[i].address_b[15] = contexts[i].address_b[15] = 9;
            nodes[i].flags = contexts[i].flags = 0;
            entries[i].flags = 4;
        }
        nprm_service_node_group group = {{1, 0x5A, 0xA5}};
        nprm_distribution_member members[3] = {{{1, 1}}, {{1, 2}}, {{1, 3}}};
        nprm_service_context_group list = {3, {1, 2, 3}};
        EXPECT_EQ(nprm_sn_op(0, 3, ids, nodes), 0U);
        EXPECT_EQ(nprm_sng_op(0, 1, group_ids, &group), 0U);
        EXPECT_EQ(nprm_sng_dist_op(0, 3, places, members), 0U);
        EXPECT_EQ(nprm_sc_op(0, 3, ids, contexts), 0U);
        EXPECT_EQ(nprm_scg_op(0, 4, &list), 0U);
        EXPECT_EQ(nprm_wccp_op(0, 3, ids, entries), 0U);
    }

    size_t area_bytes() const { return GetParam().records * GetParam().stride; }

    // Reads into the middle of an area of marks and returns what stands between the guards.
    static uint32_t read_into(bytes &area) {
        const service_read &one = GetParam();
        area.assign(guard + one.records * one.stride + guard, untouched);
        return one.call(area.data() + guard);
    }
    uint32_t read(bytes &records) override {
        bytes area;
        const uint32_t code = read_into(area);
        records.assign(area.begin() + guard, area.end() - guard);
        for (size_t i = 0; i < area.size(); ++i) {
            const bool inside = i >= guard && i < guard + records.size();
            const bool may_change = inside && (i - guard) % GetParam().stride < GetParam().written;
            if (!may_change) {
                EXPECT_EQ(area[i], untouched) << i;
            }
        }
        return code;
    }
};

TEST_P(ServiceReplies, ThatAreCutLeaveRecordsWholeOrAlone) {
    // Operations of many records take what came; those of one need theirs.
    const size_t stride = GetParam().stride, needed = GetParam().records == 1 ? GetParam().reply_bytes : 12;
    for (size_t left = 0; left < GetParam().reply_bytes; left += 5) {
        bytes records;
        const uint32_t code = read_damaged({{"kind", "truncate"}, {"value", left}}, records);
        EXPECT_EQ(code, left < needed ? 1U : 0U) << left;
        for (size_t at = 0; at < records.size(); at += stride) {
            const bytes one(records.begin() + static_cast<ptrdiff_t>(at), records.begin() + static_cast<ptrdiff_t>(at + stride));
            const bytes whole(expected.begin() + static_cast<ptrdiff_t>(at),
                              expected.begin() + static_cast<ptrdiff_t>(at + stride));
            EXPECT_TRUE(one == whole || one == bytes(stride, untouched)) << "record at " << at << ", cut to " << left;
        }
    }
    expect_healthy();
}

TEST_P(ServiceReplies, WithRandomBytesAnywhereWriteInsideTheRecords) {
    for (uint32_t seed = 0; seed < 60; ++seed) {
        bytes records;
        read_damaged({{"kind", "corrupt"}, {"seed", seed}, {"value", 1 + seed * 4}}, records);
    }
    expect_healthy();
}

TEST_P(ServiceReplies, ThatClaimMoreRecordsThanTheyHaveWriteInsideTheRecords) {
    for (uint32_t seed = 0; seed < 10; ++seed) {
        bytes records;
        read_damaged({{"kind", "oversize"}, {"seed", seed}}, records);
        read_damaged({{"kind", "oversize"}, {"seed", seed}, {"value", 65536}}, records);
    }
    expect_healthy();
}

TEST_P(ServiceReplies, WithACodeThatTheLibraryDoesNotKnowReturnItAndLeaveTheRecords) {
    bytes records;
    EXPECT_EQ(read_damaged({{"kind", "result"}, {"value", 4000000000U}}, records), 4000000000U);
    EXPECT_EQ(records, bytes(area_bytes(), untouched));
    expect_healthy();
}

INSTANTIATE_TEST_SUITE_P(Of, ServiceReplies, testing::ValuesIn(reads), [](const auto &row) {
    std::string name = row.param.name;
    std::erase_if(name, [](char c) { return c == '-' || c == ' '; });
    return name;
});

}  // namespace
