// Damaged replies to configuration reads, the flow-learning limit and FIB entries: nothing is written outside the caller's buffers,
// nothing that did not come is taken for an answer, and the next request is whole again.

#include <cstring>
#include <functional>
#include <vector>

#include <gtest/gtest.h>

#include "damaged_replies.h"
#include "simcard/nprm_fib_fields.h"
#include "simcard/nprm_interface_fields.h"

namespace {

using nlohmann::json;
using bytes = std::vector<uint8_t>;

constexpr uint8_t untouched = 0xEE;
constexpr size_t guard = 4096;
constexpr uint32_t unknown_code = 4000000000U;

// A request and its outputs.
struct reading {
    const char *name;
    size_t output_bytes;
    size_t reply_bytes;        // as much of the reply as is cut off byte by byte
    bool is_whole_or_nothing;  // a reply that is cut there has no answer
    bool has_inputs_in_outputs;
    std::function<uint32_t(uint8_t *into)> call;
};

constexpr size_t fib_records = 3;
constexpr size_t fib_stride = sizeof(nprm_fib_prefix) + sizeof(nprm_fib_nexthop);

// Prefix and next hop of each record side by side in the area.
uint32_t read_fib(uint8_t *into) {
    struct guarded {
        uint8_t before[guard];
        nprm_fib_prefix prefixes[fib_records];
        uint8_t between[guard];
        nprm_fib_nexthop nexthops[fib_records];
        uint8_t behind[guard];
    };
    static guarded area;
    std::memset(&area, untouched, sizeof area);
    for (uint8_t i = 0; i < fib_records; ++i)
        area.prefixes[i] = {NPRM_FIB_IPV4, 24, {10, 0, i}};
    const uint32_t code = nprm_v4_fib_op(NPRM_FIB_READ, fib_records, area.prefixes, area.nexthops);
    for (const auto *one : {&area.before, &area.between, &area.behind})
        for (const uint8_t byte : *one)
            EXPECT_EQ(byte, untouched);
    for (size_t i = 0; i < fib_records; ++i) {
        std::memcpy(into + i * fib_stride, &area.prefixes[i], sizeof area.prefixes[i]);
        std::memcpy(into + i * fib_stride + sizeof area.prefixes[i], &area.nexthops[i], sizeof area.nexthops[i]);
    }
    return code;
}

const reading readings[] = {
    // 16 ports, each an entry of 12 bytes of header and 16 of data, and the word that ends the blob
    {"configuration", NPRM_CONFIG_BYTES_MAX, 60, false, false,
     [](uint8_t *into) {
         uint32_t length = 0x5A5A5A5A;
         const uint32_t code = nprm_read_config(1, nullptr, 0, into, &length);
         EXPECT_TRUE(length == 0x5A5A5A5A ? code != 0 : length <= NPRM_CONFIG_BYTES_MAX) << length;
         for (uint32_t i = code == 0 ? length : 0; i < NPRM_CONFIG_BYTES_MAX; ++i)
             EXPECT_EQ(into[i], untouched) << "behind the " << length << " bytes that were told";
         return code;
     }},
    {"port mapping", NPRM_CONFIG_BYTES_MAX, 48, false, false, [](uint8_t *into) { return nprm_read_port_mapping(into); }},
    {"limit", sizeof(uint32_t), 16, true, false,
     [](uint8_t *into) { return nprm_get_flowlearn_limit(reinterpret_cast<uint32_t *>(into)); }},
    {"FIB", fib_records *fib_stride, 8 + 3 * 35, false, true, read_fib},
};

class InterfaceReplies : public damaged_replies<reading> {
  protected:
    const char *component() const override { return "IF"; }

    void configure() override {
        const uint8_t mac_address[6] = {2, 0, 0, 0, 0, 1};
        EXPECT_EQ(nprm_if_create(0x1234, NPRM_IF_PHYSICAL, 3, mac_address), 0U);
        EXPECT_EQ(nprm_set_flowlearn_limit(0x00012345), 0U);
        nprm_fib_prefix prefixes[fib_records];
        nprm_fib_nexthop nexthops[fib_records];
        for (uint8_t i = 0; i < fib_records; ++i) {
            prefixes[i] = {NPRM_FIB_IPV4, 24, {10, 0, i}};
            nexthops[i] = {{1, 2, 3, 4, 5}, static_cast<uint16_t>(100 + i), {2, 0, 0, 0, 0, i}};
        }
        EXPECT_EQ(nprm_v4_fib_op(NPRM_FIB_ADD, fib_records, prefixes, nexthops), 0U);
    }

    uint32_t read(bytes &content) override {
        const reading &one = GetParam();
        const size_t inside = one.output_bytes;
        bytes area(guard + inside + guard, untouched);
        const uint32_t code = one.call(area.data() + guard);
        content.assign(area.begin() + guard, area.begin() + static_cast<ptrdiff_t>(guard + inside));
        EXPECT_EQ(bytes(area.begin(), area.begin() + guard), bytes(guard, untouched));
        EXPECT_EQ(bytes(area.end() - guard, area.end()), bytes(guard, untouched));
        return code;
    }
};

TEST_P(InterfaceReplies, ThatAreCutChangeNothingBehindWhatCame) {
    for (size_t left = 0; left < GetParam().reply_bytes; ++left) {
        bytes content;
        const uint32_t code = read_damaged({{"kind", "truncate"}, {"value", left}}, content);
        EXPECT_LE(code, 1U) << left;
        if (left < 12 || GetParam().is_whole_or_nothing) {
            EXPECT_EQ(code, 1U) << left;
        }
        // A byte is the whole answer's, or was never written.
        for (size_t i = 0; i < content.size(); ++i)
            if (content[i] != expected[i]) {
                EXPECT_EQ(content[i], untouched) << "byte " << i << ", cut to " << left;
            }
    }
    expect_healthy();
}

TEST_P(InterfaceReplies, WithRandomBytesAnywhereWriteInsideTheBuffers) {
    for (uint32_t seed = 0; seed < 40; ++seed) {
        bytes content;
        read_damaged({{"kind", "corrupt"}, {"seed", seed}, {"value", 1 + seed * 4}}, content);
    }
    expect_healthy();
}

TEST_P(InterfaceReplies, ThatAreLongerThanAskedWriteInsideTheBuffers) {
    for (uint32_t seed = 0; seed < 6; ++seed) {
        bytes content;
        read_damaged({{"kind", "oversize"}, {"seed", seed}}, content);
        read_damaged({{"kind", "oversize"}, {"seed", seed}, {"value", 65536}}, content);
    }
    expect_healthy();
}

TEST_P(InterfaceReplies, WithACodeThatTheLibraryDoesNotKnowReturnItAndWriteNothing) {
    bytes content;
    EXPECT_EQ(read_damaged({{"kind", "result"}, {"value", unknown_code}}, content), unknown_code);
    if (!GetParam().has_inputs_in_outputs) {
        EXPECT_EQ(content, bytes(content.size(), untouched));
    }
    expect_healthy();
}

INSTANTIATE_TEST_SUITE_P(Of, InterfaceReplies, testing::ValuesIn(readings), [](const auto &row) {
    std::string name = row.param.name;
    std::erase(name, ' ');
    return name;
});

}  // namespace
