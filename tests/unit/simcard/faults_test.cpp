// The kinds of faults, each on one delivery, and how active ones are counted down.

#include "messages.h"

namespace {

constexpr uint32_t token = 0x1234;

delivery deliver(fault_set &faults, uint32_t component, const message &reply) {
    delivery through(component, token);
    faults.before_serving(through);
    if (!through.is_lost) through.take(std::as_bytes(std::span(reply)));
    faults.on_reply(through);
    return through;
}

delivery deliver_with(const char *kind, std::optional<uint32_t> value, const message &reply, uint32_t seed = 1) {
    fault_set faults;
    faults.add(*find_fault_kind(kind), {}, 1, value, seed);
    return deliver(faults, 7, reply);
}

message payload_of(const delivery &through) {
    message bytes(through.payload.size());
    std::memcpy(bytes.data(), through.payload.data(), bytes.size());
    return bytes;
}

const message reply_110 = [] {
    message bytes(110);
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<uint8_t>(i);
    return bytes;
}();

TEST(Faults, AreNamedOnceEach) {
    std::string names;
    for (const fault_kind &kind : fault_kinds()) {
        names += std::string(kind.name) + " ";
        EXPECT_EQ(find_fault_kind(kind.name), &kind);
    }
    EXPECT_EQ(names, "drop delay truncate corrupt oversize wrong-token duplicate result not-ready exit ");
    EXPECT_EQ(find_fault_kind("none"), nullptr);
}

TEST(FaultFree, DeliveryIsTheReplyWithTheRequestsToken) {
    fault_set faults;
    const delivery through = deliver(faults, 7, reply_110);
    EXPECT_EQ(payload_of(through), reply_110);
    EXPECT_EQ(through.header.magic, 0x31565552U);
    EXPECT_EQ(through.header.token, token);
    EXPECT_EQ(through.header.size, 110U);
    EXPECT_EQ(through.header.flags, 1U);
    EXPECT_EQ(through.copies, 1U);
}

TEST(FaultDrop, LosesTheRequestUnserved) {
    EXPECT_TRUE(deliver_with("drop", {}, reply_110).is_lost);
}

TEST(FaultDelay, HoldsTheReplyBack) {
    EXPECT_EQ(deliver_with("delay", 250, reply_110).delay.count(), 250);
}

TEST(FaultTruncate, LeavesAsManyBytesAsItsValueSays) {
    const delivery through = deliver_with("truncate", 11, reply_110);
    EXPECT_EQ(hex_of(payload_of(through)), "00 01 02 03 04 05 06 07 08 09 0a");
    EXPECT_EQ(through.header.size, 11U);
    EXPECT_EQ(deliver_with("truncate", 0, reply_110).payload.size(), 0U);
    EXPECT_EQ(payload_of(deliver_with("truncate", 500, reply_110)), reply_110);
}

TEST(FaultTruncate, CutsAnywhereWithoutAValue) {
    std::vector<bool> seen(110);
    for (uint32_t seed = 0; seed < 2000; ++seed) {
        const size_t bytes = deliver_with("truncate", {}, reply_110, seed).payload.size();
        ASSERT_LT(bytes, 110U);
        seen[bytes] = true;
    }
    EXPECT_EQ(std::ranges::count(seen, true), 110);
}

TEST(FaultCorrupt, ChangesExactlyAsManyBytesAsItsValueSays) {
    for (const uint32_t wanted : {0U, 1U, 7U, 110U}) {
        const message hit = payload_of(deliver_with("corrupt", wanted, reply_110));
        ASSERT_EQ(hit.size(), 110U);
        size_t changed = 0;
        for (size_t i = 0; i < hit.size(); ++i)
            if (hit[i] != reply_110[i]) ++changed;
        EXPECT_EQ(changed, wanted);
    }
    EXPECT_EQ(deliver_with("corrupt", 500, reply_110).payload.size(), 110U);
}

TEST(FaultCorrupt, IsRepeatedByItsSeed) {
    EXPECT_EQ(payload_of(deliver_with("corrupt", {}, reply_110, 5)), payload_of(deliver_with("corrupt", {}, reply_110, 5)));
    EXPECT_NE(payload_of(deliver_with("corrupt", {}, reply_110, 5)), payload_of(deliver_with("corrupt", {}, reply_110, 6)));
}

TEST(FaultOversize, AnnouncesMoreRecordsThanCome) {
    for (uint32_t seed = 0; seed < 100; ++seed) {
        const message hit = payload_of(deliver_with("oversize", {}, reply_110, seed));
        ASSERT_EQ(hit.size(), 110U);
        EXPECT_GT(get32(hit, 4), 2U);
        EXPECT_BYTES(hit, 0, "00 01 02 03");
        EXPECT_BYTES(hit, 8, "08 09 0a 0b");
    }
}

TEST(FaultOversize, LengthensThePayloadToItsValue) {
    const delivery through = deliver_with("oversize", 70000, reply_110);
    const message hit = payload_of(through);
    ASSERT_EQ(hit.size(), 70000U);
    EXPECT_EQ(through.header.size, 70000U);
    EXPECT_GT(get32(hit, 4), 70000U / 51);
    EXPECT_BYTES(hit, 108, "6c 6d 00 00");
    EXPECT_EQ(deliver_with("oversize", 5, reply_110).payload.size(), 110U);
}

TEST(FaultWrongToken, ChangesTheTokenAlone) {
    const delivery through = deliver_with("wrong-token", {}, reply_110);
    EXPECT_NE(through.header.token, token);
    EXPECT_EQ(payload_of(through), reply_110);
}

TEST(FaultDuplicate, SendsTheReplyOnceMoreOrAsOftenAsItsValueSays) {
    EXPECT_EQ(deliver_with("duplicate", {}, reply_110).copies, 2U);
    EXPECT_EQ(deliver_with("duplicate", 4, reply_110).copies, 5U);
}

TEST(FaultResult, RefusesWithItsCode) {
    EXPECT_EQ(deliver_with("result", 24, reply_110).refuse_with, 24U);
}

TEST(FaultNotReady, HidesReadinessUntilItsMessagesAreThrough) {
    fault_set faults;
    EXPECT_FALSE(faults.hides_ready());
    faults.add(*find_fault_kind("not-ready"), {}, 2, {}, 0);
    EXPECT_TRUE(faults.hides_ready());
    EXPECT_EQ(deliver(faults, 7, reply_110).refuse_with, 7U);
    EXPECT_TRUE(faults.hides_ready());
    deliver(faults, 7, reply_110);
    EXPECT_FALSE(faults.hides_ready());
}

TEST(FaultExit, EndsTheCardWithItsStatus) {
    EXPECT_EQ(deliver_with("exit", {}, reply_110).exit_status, 1);
    EXPECT_EQ(deliver_with("exit", 9, reply_110).exit_status, 9);
}

TEST(FaultSet, CountsDownTheMessagesOfItsComponentOnly) {
    fault_set faults;
    faults.add(*find_fault_kind("drop"), 7, 2, {}, 0);
    EXPECT_FALSE(faults.hits(3));
    EXPECT_FALSE(deliver(faults, 3, reply_110).is_lost);
    EXPECT_TRUE(deliver(faults, 7, reply_110).is_lost);
    EXPECT_EQ(faults.active()[0].remaining, 1U);
    EXPECT_TRUE(deliver(faults, 7, reply_110).is_lost);
    EXPECT_FALSE(faults.hits(7));
    EXPECT_TRUE(faults.active().empty());
}

TEST(FaultSet, LetsSeveralFaultsHitOneMessage) {
    fault_set faults;
    faults.add(*find_fault_kind("delay"), {}, 1, 10, 0);
    faults.add(*find_fault_kind("delay"), 7, 1, 20, 0);
    faults.add(*find_fault_kind("truncate"), 7, 3, 4, 0);
    const delivery through = deliver(faults, 7, reply_110);
    EXPECT_EQ(through.delay.count(), 30);
    EXPECT_EQ(through.payload.size(), 4U);
    EXPECT_EQ(faults.active().size(), 1U);
}

TEST(FaultSet, SurvivesEveryKindOnAnEmptyReply) {
    for (const fault_kind &kind : fault_kinds()) {
        const delivery through =
            deliver_with(kind.name, kind.value == fault_value::required ? std::optional(1U) : std::nullopt, {});
        EXPECT_LE(through.payload.size(), 0U) << kind.name;
    }
}

}  // namespace
