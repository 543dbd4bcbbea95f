// The simulated statistics server: requests by their bytes, counters at their addresses in the segment.

#include <gtest/gtest.h>

#include <sys/mman.h>

#include "service_messages.h"
#include "simcard/models/stats_store.h"

namespace {

constexpr size_t segment_bytes = 55312640;

class Statistics : public testing::Test {
  protected:
    void SetUp() override {
        void *memory = mmap(nullptr, segment_bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        ASSERT_NE(memory, MAP_FAILED);
        segment_ = static_cast<uint8_t *>(memory);
        attach_statistics(memory);
    }
    void TearDown() override {
        attach_statistics(nullptr);
        munmap(segment_, segment_bytes);
    }

    static message request(uint32_t operation) {
        message bytes(9620, 0);
        put32(bytes, 0, operation);
        put32(bytes, 4, 1);
        return bytes;
    }
    static message table_request(uint32_t table, uint32_t operation, const std::vector<uint32_t> &ids) {
        message bytes = request(0);
        put32(bytes, 8, table);
        put32(bytes, 12, operation);
        put32(bytes, 16, static_cast<uint32_t>(ids.size()));
        for (size_t i = 0; i < ids.size(); ++i)
            put32(bytes, 20 + 4 * i, ids[i]);
        return bytes;
    }
    message ask(uint32_t component, const message &bytes) {
        const auto answer = card_.serve(*find_component(component), std::as_bytes(std::span(bytes)));
        message reply(answer.message.size());
        std::memcpy(reply.data(), answer.message.data(), reply.size());
        return reply;
    }
    message ask(const message &bytes) { return ask(6, bytes); }
    uint32_t status_of(const message &bytes) { return get32(ask(bytes), 8); }
    static uint64_t get64(const message &bytes, size_t offset) {
        return get32(bytes, offset) | uint64_t{get32(bytes, offset + 4)} << 32;
    }
    uint64_t in_segment(size_t offset) const {
        uint64_t value;
        std::memcpy(&value, segment_ + offset, sizeof value);
        return value;
    }

    // An interface of kind physical on a port, up; and a service node.
    void make_interface(uint32_t id, uint32_t port) {
        message create(43, 0), state(43, 0);
        put32(create, 4, 1);
        put32(create, 8, id);
        put32(create, 16, port);
        put8(create, 20, 2);
        ASSERT_EQ(get32(ask(3, create), 8), 0U);
        put32(state, 0, 2);
        put32(state, 4, 1);
        put32(state, 8, id);
        put32(state, 26, 1);
        ASSERT_EQ(get32(ask(3, state), 8), 0U);
    }

    uint8_t *segment_ = nullptr;
    card card_{{}};
};

TEST_F(Statistics, GivesOutTheLowestFreeEntriesAndTakesThemBack) {
    const message reply = ask(table_request(9, 0, {0, 0, 0}));
    EXPECT_EQ(reply.size(), 28U);
    EXPECT_BYTES(reply, 0, "00 00 00 00  01 00 00 00  01 00 00 00  00 00 00 00  00 00 00 00  01 00 00 00  02 00 00 00");
    EXPECT_EQ(status_of(table_request(9, 1, {1, 0})), 1U);
    EXPECT_EQ(get32(ask(table_request(9, 0, {7})), 16), 0U);
    EXPECT_EQ(status_of(table_request(9, 1, {1})), 0U) << "it was given back already";
    EXPECT_EQ(status_of(table_request(9, 1, {2, 2})), 0U);
    EXPECT_EQ(get32(ask(table_request(9, 0, {7, 7})), 20), 3U) << "the refused request gave nothing back";
    EXPECT_EQ(status_of(table_request(3, 0, {0})), 1U);
    EXPECT_EQ(status_of(table_request(3, 0, {0})), 0U) << "table 3 has one entry";
}

TEST_F(Statistics, GivesOutNoEntryOfAnInterface) {
    make_interface(0, 2);
    EXPECT_EQ(get32(ask(table_request(14, 0, {0})), 16), 1U);
    EXPECT_EQ(get32(ask(table_request(8, 0, {0})), 16), 1U);
    EXPECT_EQ(get32(ask(table_request(10, 0, {0})), 16), 0U);
}

TEST_F(Statistics, WritesReadsAndClearsItsOwnTables) {
    message write = table_request(3, 3, {0});
    for (uint32_t slot = 0; slot < 8; ++slot) {
        put32(write, 1940 + 16 * slot, 100 + slot);
        put32(write, 1940 + 16 * slot + 12, slot);
    }
    EXPECT_EQ(status_of(write), 1U);
    const message read = ask(table_request(3, 2, {0, 0}));
    EXPECT_EQ(read.size(), 16U + 2 * 8 * 16);
    EXPECT_EQ(get64(read, 16 + 7 * 16), 107U);
    EXPECT_EQ(get64(read, 16 + 7 * 16 + 8), uint64_t{7} << 32);
    EXPECT_EQ(get64(read, 16 + 8 * 16), 100U) << "the second entry of the reply";
    EXPECT_EQ(get64(ask(table_request(3, 5, {0})), 16), 100U);
    EXPECT_EQ(get64(ask(table_request(3, 2, {0})), 16), 0U);
    EXPECT_EQ(status_of(write), 1U);
    EXPECT_EQ(status_of(table_request(3, 4, {0})), 1U);
    EXPECT_EQ(get64(ask(table_request(3, 2, {0})), 16), 0U);
}

TEST_F(Statistics, WritesAndClearsTheSharedTablesInTheSegment) {
    message write = table_request(12, 3, {5, 32767});
    put32(write, 1940 + 16 * 3, 33);
    put32(write, 1940 + 16 * 4 + 8, 44);
    EXPECT_EQ(status_of(write), 1U);
    EXPECT_EQ(in_segment(0xC0000 + (4 * 5 + 3) * 16), 33U);
    EXPECT_EQ(in_segment(0xC0000 + 4 * 32767 * 16 + 8), 44U);
    EXPECT_EQ(status_of(table_request(12, 4, {5})), 1U);
    EXPECT_EQ(in_segment(0xC0000 + (4 * 5 + 3) * 16), 0U);
    EXPECT_EQ(in_segment(0xC0000 + 4 * 32767 * 16 + 8), 44U);
    EXPECT_EQ(status_of(request(3)), 1U);
    EXPECT_EQ(in_segment(0xC0000 + 4 * 32767 * 16 + 8), 0U);
}

TEST_F(Statistics, RefusesWithTheStatus0) {
    const message refused = ask(table_request(17, 0, {0}));
    EXPECT_EQ(refused.size(), 9620U);
    EXPECT_EQ(get32(refused, 8), 0U);
    EXPECT_EQ(status_of(table_request(9, 6, {0})), 0U);
    EXPECT_EQ(status_of(table_request(9, 4, {})), 0U);
    EXPECT_EQ(status_of(table_request(9, 4, {256})), 0U);
    EXPECT_EQ(status_of(table_request(9, 2, {0})), 0U) << "clients read the segment themselves";
    EXPECT_EQ(status_of(table_request(0, 2, std::vector<uint32_t>(16, 0))), 0U) << "a reply brings 15 of these entries";
    EXPECT_EQ(ask(table_request(0, 2, std::vector<uint32_t>(15, 0))).size(), 16U + 15 * 256 * 16);
    EXPECT_EQ(status_of(table_request(14, 3, std::vector<uint32_t>(11, 0))), 0U) << "a request brings 10 of these entries";
    message too_many = table_request(9, 4, {0});
    put32(too_many, 16, 481);
    EXPECT_EQ(status_of(too_many), 0U);
    message two = request(1);
    put32(two, 4, 2);
    two.resize(8 + 2 * 9612);
    EXPECT_EQ(status_of(two), 0U);
}

TEST_F(Statistics, CountsTrafficSoThatPartsSumUp) {
    make_interface(300, 0);
    make_interface(301, 1);
    card_.advance(std::chrono::milliseconds(1501));
    const message card_totals = ask(table_request(0, 2, {0})), port_totals = ask(table_request(6, 2, {0}));
    uint64_t port_packets = 0, port_bytes = 0;
    for (uint32_t port = 0; port < 16; ++port) {
        port_packets += get64(port_totals, 16 + 8 * port * 16);
        port_bytes += get64(port_totals, 16 + 8 * port * 16 + 8);
    }
    EXPECT_EQ(port_packets, 15U * 15'010) << "16 ports, one of them without a module, 10,000 packets a second";
    EXPECT_EQ(get64(card_totals, 16), port_packets);
    EXPECT_EQ(get64(card_totals, 16 + 8), port_bytes);
    EXPECT_GE(port_bytes, 64 * port_packets);
    for (const uint32_t id : {300U, 301U}) {
        const uint64_t received = in_segment(0x4000 + size_t{id} * 2 * 16), bytes = in_segment(0x4000 + size_t{id} * 2 * 16 + 8);
        EXPECT_EQ(received, 15'010U);
        uint64_t by_reason = 0, bytes_by_reason = 0;
        for (uint32_t reason = 0; reason < 48; ++reason) {
            const size_t at = 0x2C0100 + (size_t{id} * 48 + reason) * 16;
            const uint64_t packets = in_segment(at), packet_bytes = in_segment(at + 8);
            by_reason += packets;
            bytes_by_reason += packet_bytes;
            EXPECT_GE(packet_bytes, 64 * packets);
            EXPECT_TRUE(reason >= 4 || packets == 0) << "there is no service node";
        }
        EXPECT_EQ(by_reason, received);
        EXPECT_EQ(bytes_by_reason, bytes);
    }
    uint64_t monitored = 0;
    const message monitor = ask(request(1));
    EXPECT_EQ(monitor.size(), 16U + 39 * 4);
    for (uint32_t reason = 0; reason < 39; ++reason)
        monitored += get32(monitor, 16 + 4 * reason);
    EXPECT_EQ(monitored, 2U * 15'010);
    EXPECT_EQ(status_of(request(2)), 1U);
    EXPECT_EQ(get32(ask(request(1)), 16 + 4 * 4), 0U);
}

TEST_F(Statistics, SpreadsRedirectedTrafficOverTheServiceNodes) {
    make_interface(7, 0);
    for (const uint8_t id : {uint8_t{1}, uint8_t{9}})
        ASSERT_EQ(get32(ask(2, node_message(act_add, id, 0x0A000000U + id)), 8), 0U);
    card_.advance(std::chrono::seconds(1));
    uint64_t redirected = 0;
    for (uint32_t reason = 0; reason < 4; ++reason)
        redirected += in_segment(0x2C0100 + (size_t{7} * 48 + reason) * 16);
    EXPECT_EQ(redirected, 8000U) << "310 + 240 + 180 + 70 of a thousand";
    EXPECT_EQ(in_segment(0xAC000 + size_t{1} * 16 * 16), 4000U);
    EXPECT_EQ(in_segment(0xAC000 + size_t{9} * 16 * 16), 4000U);
    EXPECT_EQ(in_segment(0xAC000 + (size_t{9} * 16 + 1) * 16), 4000U) << "all come back";
    EXPECT_EQ(get64(ask(table_request(0, 2, {0})), 16 + 3 * 16), 8000U);
}

TEST_F(Statistics, KeepsWhatTheSegmentHeldUntilReset) {
    segment_[0x4000] = 5;
    EXPECT_EQ(status_of(table_request(8, 4, {1})), 1U);
    EXPECT_EQ(in_segment(0x4000), 5U);
    card_.reset();
    EXPECT_EQ(in_segment(0x4000), 0U);
}

TEST_F(Statistics, AreCountedWithoutASegmentInTheCardsOwnTables) {
    attach_statistics(nullptr);
    make_interface(7, 0);
    card_.advance(std::chrono::seconds(1));
    EXPECT_EQ(get64(ask(table_request(6, 2, {0})), 16), 10'000U);
}

}  // namespace
