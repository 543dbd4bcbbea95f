// FIB operations of the client library against cards whose answers are damaged: a documented code, the caller's arrays and nothing
// behind them written, and the next call works.

#include <array>
#include <cstring>
#include <optional>

#include <gtest/gtest.h>

#include "api/nprm.h"
#include "simcard/nprm_fib_fields.h"
#include "tests/support/card_process.h"
#include "tests/support/scratch.h"

namespace {

using nlohmann::json;

constexpr uint32_t count = 4;

// Records between bytes that nobody may write.
struct guarded {
    std::array<uint8_t, 64> before;
    std::array<nprm_fib_prefix, count> prefixes;
    std::array<uint8_t, 64> between;
    std::array<nprm_fib_nexthop, count> nexthops;
    std::array<uint8_t, 64> behind;

    guarded() {
        std::memset(static_cast<void *>(this), 0xC7, sizeof *this);
        for (uint8_t i = 0; i < count; ++i) {
            prefixes[i] = {NPRM_FIB_IPV4, 24, {10, 0, i, 0}};
            nexthops[i] = {{}, i, {2, 0, 0, 0, 0, i}};
        }
    }
    bool is_whole() const {
        for (const auto *guard : {&before, &between, &behind})
            for (const uint8_t byte : *guard)
                if (byte != 0xC7) return false;
        return true;
    }
    uint32_t run(uint32_t action) { return nprm_v4_fib_op(action, count, prefixes.data(), nexthops.data()); }
};

class ClientFib : public testing::Test {
  protected:
    void SetUp() override {
        use_private_ipc();
        card.emplace(directory.path());
        ASSERT_TRUE(card->is_listening()) << card->output();
        ASSERT_EQ(nprm_ipc_register_client(), 1u);
        nprm_syslog_flag = 0;
    }
    void TearDown() override {
        nprm_syslog_flag = NPRM_SYSLOG_FLAG_DEFAULT;
        nprm_shm_free_all();
    }
    void fault(json request) {
        request["command"] = "fault";
        request["seed"] = 7;
        ASSERT_EQ(card->control(request)["ok"], true) << request;
    }

    scratch_directory directory;
    scratch_variable where{"RUV_DIR", directory.path().c_str()};
    scratch_variable patience{"RUV_RECV_MS", "1"};
    std::optional<card_process> card;
};

TEST_F(ClientFib, WritesBackWhatTheCardReturns) {
    guarded routes;
    ASSERT_EQ(routes.run(NPRM_FIB_ADD), NPRM_OK);
    guarded asked;
    asked.prefixes = {{{4, 32, {10, 0, 3, 9}}, {4, 32, {10, 0, 1, 1}}, {4, 32, {10, 0, 0, 255}}, {4, 32, {10, 0, 2, 0}}}};
    ASSERT_EQ(asked.run(NPRM_FIB_LOOK_UP), NPRM_OK);
    const uint16_t expected[] = {3, 1, 0, 2};
    for (size_t i = 0; i < count; ++i) {
        EXPECT_EQ(asked.nexthops[i].u16_5, expected[i]);
        EXPECT_EQ(asked.prefixes[i].u8_1, 24);
    }
    EXPECT_TRUE(asked.is_whole());
    EXPECT_EQ(routes.run(NPRM_FIB_ADD), NPRM_ERROR_IF_EXIST);
    EXPECT_EQ(routes.run(NPRM_FIB_DELETE), NPRM_OK);
    EXPECT_EQ(routes.run(NPRM_FIB_DELETE), NPRM_ERROR_IF_NOT_EXIST);
}

TEST_F(ClientFib, TakesShortAndLongAnswersAsWhatTheyAre) {
    const struct {
        json fault;
        uint32_t code;
        uint32_t written;  // records
    } rows[] = {
        {{{"kind", "truncate"}, {"value", 0}}, NPRM_ERROR, 0},
        {{{"kind", "truncate"}, {"value", 11}}, NPRM_ERROR, 0},
        {{{"kind", "truncate"}, {"value", 42}}, NPRM_OK, 0},
        {{{"kind", "truncate"}, {"value", 43 + 35 + 34}}, NPRM_OK, 2},
        {{{"kind", "oversize"}}, NPRM_OK, count},
        {{{"kind", "oversize"}, {"value", 65536}}, NPRM_OK, count},
        {{{"kind", "oversize"}, {"value", 70000}}, NPRM_ERROR_TIMEOUT, 0},
        {{{"kind", "wrong-token"}}, NPRM_ERROR_TIMEOUT, 0},
        {{{"kind", "drop"}}, NPRM_ERROR_TIMEOUT, 0},
        {{{"kind", "duplicate"}, {"value", 3}}, NPRM_OK, count},
        {{{"kind", "result"}, {"value", 4000000000U}}, 4000000000U, 0},
    };
    guarded first;
    ASSERT_EQ(first.run(NPRM_FIB_ADD), NPRM_OK);
    for (const auto &row : rows) {
        SCOPED_TRACE(row.fault.dump());
        guarded routes;
        std::memset(routes.nexthops.data(), 0xEE, sizeof routes.nexthops);
        fault(row.fault);
        EXPECT_EQ(routes.run(NPRM_FIB_READ), row.code);
        EXPECT_TRUE(routes.is_whole());
        for (uint32_t i = 0; i < count; ++i)
            EXPECT_EQ(routes.nexthops[i].u16_5, i < row.written ? i : 0xEEEE) << i;
        guarded after;
        EXPECT_EQ(after.run(NPRM_FIB_READ), NPRM_OK) << "the next call";
    }
}

TEST_F(ClientFib, SurvivesRandomCorruption) {
    guarded first;
    ASSERT_EQ(first.run(NPRM_FIB_ADD), NPRM_OK);
    fault({{"kind", "corrupt"}, {"count", 200}, {"value", 8}});
    for (int i = 0; i < 200; ++i) {
        guarded routes;
        routes.run(NPRM_FIB_READ);
        ASSERT_TRUE(routes.is_whole()) << i;
    }
    guarded after;
    EXPECT_EQ(after.run(NPRM_FIB_READ), NPRM_OK);
}

}  // namespace
