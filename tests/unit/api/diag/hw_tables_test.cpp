// Hardware tables, registers, traffic manager, port SRAM, debug facility: every byte of their requests and every use of their
// replies.

#include "api/diag/nprm_hw.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "api/frame/component.h"
#include "api/frame/nprm_client.h"
#include "api/frame/nprm_pool.h"
#include "short_of_memory.h"
#include "tests/support/bytes.h"
#include "tests/support/scripted_client.h"

namespace {

struct with_free {
    void operator()(void *buffer) const { free(buffer); }
};
using entries_buffer = std::unique_ptr<uint8_t, with_free>;
using values_buffer = std::unique_ptr<uint32_t, with_free>;

uint8_t *const untouched = reinterpret_cast<uint8_t *>(0x55);

class HwTables : public scripted_client {
  protected:
    void SetUp() override {
        scripted_client::SetUp();
        for (int i = 0; i < 11; ++i) {
            void *buffer = nprm_ipc_msg_malloc();
            std::memset(buffer, 0, 65536);
            nprm_free(buffer);
        }
        std::memset(&info, 0xEE, sizeof info);
        info.table_id = 0x11223344;
        info.sel1 = 0xA1A2A3A4;
        info.sel2 = 0xB1B2B3B4;
        info.search_arg = 0xC1C2C3C4;
        info.key = "10.1.2.3/24";
    }

    // A table reply of so many entries: entry i is filled with the byte i + 1.
    static std::vector<uint8_t> table_reply(uint32_t operation, uint32_t entries) {
        std::vector<uint8_t> reply(796 + 204 * size_t{entries}, 0);
        put_u32(reply, 0, operation);
        put_u32(reply, 4, 1);
        put_u32(reply, 20, entries);
        put_description(reply, 125, 217);
        for (uint32_t i = 0; i < entries; ++i)
            std::memset(reply.data() + 796 + 204 * size_t{i}, static_cast<int>(i + 1), 204);
        return reply;
    }
    static void put_description(std::vector<uint8_t> &reply, size_t descriptor, size_t geometry) {
        put_u32(reply, descriptor, 0x01010101);
        put_u32(reply, descriptor + 4, 0xD1);
        put_u32(reply, descriptor + 8, 0xD2);
        std::memcpy(reply.data() + descriptor + 12, "uidb table", 11);
        for (uint32_t word = 0; word < 12; ++word)
            put_u32(reply, geometry + 4 * word, 0x900 + word);
    }
    void expect_description() {
        EXPECT_EQ(info.table_id, 0x01010101u);
        EXPECT_EQ(info.desc1, 0xD1u);
        EXPECT_EQ(info.desc2, 0xD2u);
        EXPECT_EQ(info.geom1, 0x901u);
        EXPECT_EQ(info.geom4, 0x904u);
        EXPECT_EQ(info.geom5, 0x905u);
        EXPECT_STREQ(info.name, "uidb table");
    }
    // What a failed operation leaves: everything.
    void expect_untouched(const hw_table_info &before) { EXPECT_EQ(std::memcmp(&info, &before, sizeof info), 0); }

    hw_table_info info;
};

// ---- tables

TEST_F(HwTables, BlockHasItsFieldsInOrder) {
    const size_t offsets[] = {
        offsetof(hw_table_info, table_id), offsetof(hw_table_info, sel1),    offsetof(hw_table_info, sel2),
        offsetof(hw_table_info, geom5),    offsetof(hw_table_info, geom4),   offsetof(hw_table_info, desc1),
        offsetof(hw_table_info, desc2),    offsetof(hw_table_info, geom1),   offsetof(hw_table_info, num_entries),
        offsetof(hw_table_info, name),     offsetof(hw_table_info, summary), offsetof(hw_table_info, search_arg),
        offsetof(hw_table_info, key)};
    const size_t expected[] = {0, 4, 8, 12, 16, 20, 24, 28, 32, 36, 116, 644, 648};
    for (size_t i = 0; i < std::size(expected); ++i)
        EXPECT_EQ(offsets[i], expected[i]) << i;
}

TEST_F(HwTables, SummaryAsksByTableAndTakesTheDescription) {
    std::vector<uint8_t> reply(796);
    put_u32(reply, 4, 1);
    put_description(reply, 12, 104);
    std::memset(reply.data() + 152, 0x5A, 528);
    reply[152] = 1;
    reply[679] = 2;
    reply[680] = 3;
    ruv.reply(reply);
    EXPECT_EQ(get_hw_table_summary(&info), 0u);
    ASSERT_EQ(ruv.last_request().size(), 796u);
    EXPECT_EQ(ruv.sends[0].opcode, 190489u);
    EXPECT_BYTES(ruv.last_request(), 0, "00 00 00 00  01 00 00 00  00 00 00 00  44 33 22 11  00 00 00 00");
    expect_description();
    EXPECT_EQ(info.num_entries, 0xEEEEEEEEu) << "a summary has no entries";
    EXPECT_EQ(info.summary[0], 1);
    EXPECT_EQ(info.summary[1], 0x5A);
    EXPECT_EQ(info.summary[527], 2);
    EXPECT_EQ(info.search_arg, 0xC1C2C3C4u);
    EXPECT_NE(nprm_reply_slot[5], nullptr) << "the slot stays set";
}

TEST_F(HwTables, GetAsksByTableAndTwoSelectorsAndTakesTheEntries) {
    ruv.reply(table_reply(1, 3));
    uint8_t *entries = untouched;
    ASSERT_EQ(get_hw_table_data(&info, &entries), 0u);
    const entries_buffer owner(entries);
    ASSERT_EQ(ruv.last_request().size(), 796u);
    EXPECT_BYTES(ruv.last_request(), 0, "01 00 00 00  01 00 00 00  00 00 00 00  a4 a3 a2 a1  b4 b3 b2 b1  00 00 00 00");
    EXPECT_BYTES(ruv.last_request(), 124, "00 44 33 22 11 00");
    expect_description();
    EXPECT_EQ(info.num_entries, 3u);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(entries[204 * i], i + 1);
        EXPECT_EQ(entries[204 * i + 203], i + 1);
    }
    EXPECT_EQ(info.summary[0], 0xEE) << "only a summary has it";
    EXPECT_NE(nprm_reply_slot[5], nullptr) << "the slot stays set";
}

TEST_F(HwTables, SearchAsksByTableArgumentAndKey) {
    ruv.reply(table_reply(2, 1));
    uint8_t *entries = untouched;
    ASSERT_EQ(search_hw_table_data(&info, &entries), 0u);
    const entries_buffer owner(entries);
    EXPECT_BYTES(ruv.last_request(), 0,
                 "02 00 00 00  01 00 00 00  00 00 00 00  c4 c3 c2 c1  00 00 00 00  00 00 00 00  00 00 00 00");
    EXPECT_BYTES(ruv.last_request(), 28, "31 30 2e 31 2e 32 2e 33 2f 32 34 00 00");
    EXPECT_BYTES(ruv.last_request(), 125, "44 33 22 11");
    EXPECT_EQ(info.num_entries, 1u);
    expect_description();
}

TEST_F(HwTables, LookupAsksByTableAndKey) {
    ruv.reply(table_reply(3, 1));
    uint8_t *entries = untouched;
    ASSERT_EQ(lookup_hw_table_data(&info, &entries), 0u);
    const entries_buffer owner(entries);
    EXPECT_BYTES(ruv.last_request(), 0,
                 "03 00 00 00  01 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00");
    EXPECT_BYTES(ruv.last_request(), 28, "31 30 2e 31 2e 32 2e 33 2f 32 34 00 00");
    EXPECT_BYTES(ruv.last_request(), 125, "44 33 22 11");
    EXPECT_EQ(info.num_entries, 1u);
}

TEST_F(HwTables, AKeyOf97BytesHasNoTerminatorAndALongerOneIsCut) {
    for (const size_t length : {97u, 98u, 1000u}) {
        const std::string key(length, 'k');
        info.key = key.c_str();
        ruv.reply(table_reply(3, 0));
        uint8_t *entries = nullptr;
        EXPECT_EQ(lookup_hw_table_data(&info, &entries), 0u);
        free(entries);
        EXPECT_BYTES(ruv.last_request(), 123, "6b 6b  44 33 22 11");
        info.table_id = 0x11223344;
    }
}

TEST_F(HwTables, AShorterKeyIsFollowedByZerosWhateverTheBufferHeld) {
    for (int i = 0; i < 11; ++i) {
        void *buffer = nprm_ipc_msg_malloc();
        std::memset(buffer, 0xEE, 65536);
        nprm_free(buffer);
    }
    info.key = "k";
    ruv.reply(table_reply(2, 0));
    uint8_t *entries = nullptr;
    EXPECT_EQ(search_hw_table_data(&info, &entries), 0u);
    free(entries);
    EXPECT_EQ(ruv.last_request()[27], 0xEE);
    EXPECT_EQ(ruv.last_request()[28], 'k');
    for (size_t at = 29; at < 125; ++at)
        EXPECT_EQ(ruv.last_request()[at], 0) << at;
}

TEST_F(HwTables, NoEntriesAreASuccessWithABuffer) {
    ruv.reply(table_reply(1, 0));
    uint8_t *entries = nullptr;
    EXPECT_EQ(get_hw_table_data(&info, &entries), 0u);
    EXPECT_EQ(info.num_entries, 0u);
    ASSERT_NE(entries, nullptr);
    free(entries);
}

TEST_F(HwTables, ANameWithoutTerminatorIsCut) {
    std::vector<uint8_t> reply = table_reply(1, 0);
    std::memset(reply.data() + 137, 'n', 80);
    ruv.reply(reply);
    uint8_t *entries = nullptr;
    EXPECT_EQ(get_hw_table_data(&info, &entries), 0u);
    free(entries);
    EXPECT_EQ(std::string(info.name), std::string(79, 'n'));
}

TEST_F(HwTables, EntriesThatDidNotComeAreNotCounted) {
    for (const uint32_t claimed : {4u, 318u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu, 21053762u /* * 204 wraps to 312 */}) {
        std::vector<uint8_t> reply = table_reply(1, 3);
        put_u32(reply, 20, claimed);
        reply.resize(reply.size() - 1);
        ruv.reply(reply);
        uint8_t *entries = untouched;
        const std::string log = stderr_of([&] { EXPECT_EQ(get_hw_table_data(&info, &entries), 0u); });
        EXPECT_EQ(info.num_entries, 2u);
        EXPECT_EQ(entries[2 * 204 - 1], 2);
        free(entries);
        EXPECT_NE(log.find("claims " + std::to_string(claimed) + " elements, 2 came."), std::string::npos) << log;
    }
}

TEST_F(HwTables, AsManyEntriesAsAMessageHoldsCome) {
    std::vector<uint8_t> reply = table_reply(1, 317);
    reply.resize(70000);
    put_u32(reply, 20, 330);
    ruv.reply(reply);
    uint8_t *entries = nullptr;
    EXPECT_NE(stderr_of([&] { EXPECT_EQ(get_hw_table_data(&info, &entries), 0u); }), "");
    EXPECT_EQ(info.num_entries, 317u);
    EXPECT_EQ(entries[317 * 204 - 1], 317 & 255);
    free(entries);
}

TEST_F(HwTables, AnEmptyPayloadBehindTheResultIsMalformed) {
    for (const size_t bytes : {12u, 20u, 795u}) {
        std::vector<uint8_t> reply = table_reply(1, 0);
        reply.resize(bytes);
        ruv.reply(reply);
        const hw_table_info before = info;
        uint8_t *entries = untouched;
        const std::string log = stderr_of([&] { EXPECT_EQ(get_hw_table_data(&info, &entries), 1u); });
        EXPECT_NE(log.find("claims 1 records, 0 came."), std::string::npos) << log;
        EXPECT_EQ(log.find("Malformed reply"), std::string::npos) << "one line is enough: " << log;
        EXPECT_EQ(entries, untouched);
        expect_untouched(before);
    }
}

TEST_F(HwTables, AReplyOfNoRecordsIsMalformed) {
    std::vector<uint8_t> reply = table_reply(1, 0);
    put_u32(reply, 4, 0);
    ruv.reply(reply);
    const hw_table_info before = info;
    uint8_t *entries = untouched;
    const std::string log = stderr_of([&] { EXPECT_EQ(get_hw_table_data(&info, &entries), 1u); });
    EXPECT_EQ(log.find("get_hw_table_data("), 0u) << log;
    EXPECT_NE(log.find("): Malformed reply: 0 records, 1 are needed."), std::string::npos) << log;
    EXPECT_EQ(entries, untouched);
    expect_untouched(before);
}

TEST_F(HwTables, WithoutMemoryTheBufferIsNullAndTheRestStays) {
    using operation = uint32_t (*)(hw_table_info *, uint8_t **);
    const std::pair<operation, const char *> operations[] = {{get_hw_table_data, "get_hw_table_data("},
                                                             {search_hw_table_data, "search_hw_table_data("},
                                                             {lookup_hw_table_data, "lookup_hw_table_data("}};
    uint32_t code = 1;
    for (const auto &[run, name] : operations) {
        ruv.reply(table_reply(code++, 2));
        const hw_table_info before = info;
        uint8_t *entries = untouched;
        uint32_t result = 0;
        testing::internal::CaptureStderr();
        {
            const short_of_memory until_here;
            result = run(&info, &entries);
        }
        const std::string log = testing::internal::GetCapturedStderr();
        EXPECT_EQ(result, 4u);
        EXPECT_EQ(entries, nullptr);
        expect_untouched(before);
        EXPECT_EQ(log.find(name), 0u) << log;
        EXPECT_EQ(log.substr(log.find("): ")), "): Error in memory allocation for show table entries.");
    }
}

TEST_F(HwTables, NullArgumentsAreRefusedAndNothingIsSent) {
    uint8_t *entries = untouched;
    stderr_of([&] {
        EXPECT_EQ(get_hw_table_summary(nullptr), 3u);
        EXPECT_EQ(get_hw_table_data(nullptr, &entries), 3u);
        EXPECT_EQ(get_hw_table_data(&info, nullptr), 3u);
        EXPECT_EQ(search_hw_table_data(nullptr, &entries), 3u);
        EXPECT_EQ(search_hw_table_data(&info, nullptr), 3u);
        EXPECT_EQ(lookup_hw_table_data(nullptr, &entries), 3u);
        EXPECT_EQ(lookup_hw_table_data(&info, nullptr), 3u);
        info.key = nullptr;
        EXPECT_EQ(search_hw_table_data(&info, &entries), 3u);
        EXPECT_EQ(lookup_hw_table_data(&info, &entries), 3u);
        uint32_t out[5] = {};
        uint8_t image[16];
        EXPECT_EQ(nprm_get_np_registers(0, 1, nullptr), 3u);
        EXPECT_EQ(nprm_get_tm_queue_depth(0, nullptr), 3u);
        EXPECT_EQ(nprm_get_tm_gloabl_stats(nullptr), 3u);
        EXPECT_EQ(nprm_get_config_sram(0, nullptr), 3u);
        EXPECT_EQ(nprm_capture_se_config(nullptr), 3u);
        EXPECT_EQ(nprm_npdbg_init(nullptr, out), 3u);
        EXPECT_EQ(nprm_npdbg_request(reinterpret_cast<uint32_t *>(image), nullptr), 3u);
    });
    EXPECT_EQ(entries, untouched);
    EXPECT_TRUE(ruv.sends.empty());
}

// ---- registers

std::vector<uint8_t> register_reply(uint32_t count) {
    std::vector<uint8_t> reply(796 + 4 * size_t{count});
    put_u32(reply, 0, 4);
    put_u32(reply, 4, 1);
    put_u32(reply, 16, count);
    for (uint32_t i = 0; i < count; ++i)
        put_u32(reply, 20 + 4 * size_t{i}, 0x70000000 + i);
    return reply;
}

TEST_F(HwTables, RegistersAskForARangeAndTakeItsValues) {
    for (const uint32_t count : {1u, 3u, 194u, 195u, 1970u}) {
        ruv.reply(register_reply(count));
        uint32_t *values = nullptr;
        ASSERT_EQ(nprm_get_np_registers(0x123, count, &values), 0u);
        const values_buffer owner(values);
        EXPECT_EQ(values[0], 0x70000000u);
        EXPECT_EQ(values[count - 1], 0x70000000 + count - 1);
    }
    ASSERT_EQ(ruv.last_request().size(), 796u);
    EXPECT_BYTES(ruv.last_request(), 0, "04 00 00 00  01 00 00 00  00 00 00 00  23 01 00 00  b2 07 00 00  00 00 00 00");
    EXPECT_NE(nprm_reply_slot[5], nullptr) << "the slot stays set";
}

TEST_F(HwTables, NoRegistersAreASuccessWithABuffer) {
    ruv.reply(register_reply(0));
    uint32_t *values = nullptr;
    EXPECT_EQ(nprm_get_np_registers(0, 0, &values), 0u);
    EXPECT_NE(values, nullptr);
    free(values);
}

TEST_F(HwTables, FewerRegistersThanAskedForAreAFailure) {
    uint32_t *values = reinterpret_cast<uint32_t *>(untouched);
    ruv.reply(register_reply(9));
    std::string log = stderr_of([&] { EXPECT_EQ(nprm_get_np_registers(0, 10, &values), 1u); });
    EXPECT_NE(log.find("nprm_get_np_registers("), std::string::npos) << log;
    EXPECT_NE(log.find("The reply has 9 of 10 registers."), std::string::npos) << log;

    std::vector<uint8_t> reply = register_reply(1970);  // whose tail was lost
    reply.resize(796);
    ruv.reply(reply);
    log = stderr_of([&] { EXPECT_EQ(nprm_get_np_registers(0, 1970, &values), 1u); });
    EXPECT_NE(log.find("claims 1970 elements, 194 came."), std::string::npos) << log;
    EXPECT_EQ(log.find("The reply has"), std::string::npos) << "one line is enough: " << log;

    put_u32(reply, 16, 0xFFFFFFFF);
    ruv.reply(reply);
    stderr_of([&] { EXPECT_EQ(nprm_get_np_registers(0, 0xFFFFFFFF, &values), 1u); });
    EXPECT_EQ(values, reinterpret_cast<uint32_t *>(untouched));
}

TEST_F(HwTables, MoreRegistersThanAskedForAreCut) {
    ruv.reply(register_reply(10));
    uint32_t *values = nullptr;
    ASSERT_EQ(nprm_get_np_registers(0, 2, &values), 0u);
    EXPECT_EQ(values[1], 0x70000001u);
    free(values);
}

TEST_F(HwTables, WithoutMemoryThereAreNoRegisters) {
    ruv.reply(register_reply(10));
    uint32_t *values = reinterpret_cast<uint32_t *>(untouched);
    uint32_t result = 0;
    testing::internal::CaptureStderr();
    {
        const short_of_memory until_here;
        result = nprm_get_np_registers(0, 10, &values);
    }
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(result, 4u);
    EXPECT_EQ(values, reinterpret_cast<uint32_t *>(untouched));
    EXPECT_EQ(log.substr(log.find("): ")), "): Error in memory allocation for NP get registers.");
}

// ---- traffic manager, port SRAM, commands

std::vector<uint8_t> counting_reply(uint32_t operation, size_t bytes) {
    std::vector<uint8_t> reply(bytes);
    for (size_t at = 12; at < bytes; ++at)
        reply[at] = static_cast<uint8_t>(at);
    put_u32(reply, 0, operation);
    put_u32(reply, 4, 1);
    put_u32(reply, 8, 0);
    return reply;
}

TEST_F(HwTables, QueueDepthAsksByQueueAndTakesFourWords) {
    ruv.reply(counting_reply(5, 796));
    uint32_t out[5] = {0, 0, 0, 0, 0x55};
    EXPECT_EQ(nprm_get_tm_queue_depth(0xABCD, out), 0u);
    EXPECT_BYTES(ruv.last_request(), 0, "05 00 00 00  01 00 00 00  00 00 00 00  cd ab 00 00  00 00");
    EXPECT_EQ(ruv.last_request().size(), 796u);
    EXPECT_EQ(out[0], 0x13121110u);
    EXPECT_EQ(out[3], 0x1f1e1d1cu);
    EXPECT_EQ(out[4], 0x55u);
    EXPECT_NE(nprm_reply_slot[5], nullptr) << "the slot stays set";
}

TEST_F(HwTables, GlobalStatisticsAskWith0AndTakeFiveWords) {
    for (int i = 0; i < 11; ++i) {
        void *buffer = nprm_ipc_msg_malloc();
        std::memset(buffer, 0xEE, 65536);
        nprm_free(buffer);
    }
    ruv.reply(counting_reply(6, 796));
    uint32_t out[6] = {0, 0, 0, 0, 0, 0x55};
    EXPECT_EQ(nprm_get_tm_gloabl_stats(out), 0u);
    EXPECT_BYTES(ruv.last_request(), 0, "06 00 00 00  01 00 00 00  ee ee ee ee  00 00 00 00  ee");
    EXPECT_EQ(out[0], 0x13121110u);
    EXPECT_EQ(out[4], 0x23222120u);
    EXPECT_EQ(out[5], 0x55u);
    EXPECT_NE(nprm_reply_slot[5], nullptr) << "the slot stays set";
}

TEST_F(HwTables, ConfigSramAsksByPortAndTakes16Bytes) {
    ruv.reply(counting_reply(7, 796));
    uint8_t out[17] = {};
    out[16] = 0x55;
    EXPECT_EQ(nprm_get_config_sram(3, out), 0u);
    EXPECT_BYTES(ruv.last_request(), 0, "07 00 00 00  01 00 00 00  00 00 00 00  03 00 00 00  00 00");
    EXPECT_BYTES(out, 0, "10 11 12 13 14 15 16 17 18 19 1a 1b 1c 1d 1e 1f  55");
    EXPECT_EQ(nprm_reply_slot[5], nullptr) << "the slot is emptied";
}

TEST_F(HwTables, CrashDumpInfoSendsItsArgument) {
    ruv.reply(counting_reply(8, 796));
    EXPECT_EQ(nprm_request_crash_dump_info(0x1234), 0u);
    EXPECT_BYTES(ruv.last_request(), 0, "08 00 00 00  01 00 00 00  00 00 00 00  34 12 00 00  00 00");
    EXPECT_EQ(nprm_reply_slot[5], nullptr) << "the slot is emptied";
    ruv.reply(std::vector<uint8_t>(12));
    EXPECT_EQ(nprm_request_crash_dump_info(1), 0u) << "a result is all that it needs";
}

TEST_F(HwTables, CaptureSendsItsTextWithTheTerminator) {
    ruv.reply(counting_reply(9, 796));
    EXPECT_EQ(nprm_capture_se_config("/tmp/se"), 0u);
    EXPECT_BYTES(ruv.last_request(), 0, "09 00 00 00  01 00 00 00  00 00 00 00  2f 74 6d 70 2f 73 65 00");
    EXPECT_EQ(nprm_reply_slot[5], nullptr) << "the slot is emptied";
}

TEST_F(HwTables, CaptureTakesATextOf779CharactersAndNotOneMore) {
    ruv.reply(counting_reply(9, 796));
    EXPECT_EQ(nprm_capture_se_config(std::string(779, 't').c_str()), 0u);
    EXPECT_BYTES(ruv.last_request(), 789, "74 74 00 00");
    ruv.sends.clear();
    for (const size_t length : {780u, 5000u}) {
        const std::string log = stderr_of([&] { EXPECT_EQ(nprm_capture_se_config(std::string(length, 't').c_str()), 3u); });
        EXPECT_EQ(log.substr(0, 23), "nprm_capture_se_config(");
    }
    EXPECT_TRUE(ruv.sends.empty());
}

TEST_F(HwTables, DebugOperationsSendTheCommandVerbatimAndTakeThreeWords) {
    uint32_t cmd[73];
    for (uint32_t i = 0; i < 73; ++i)
        cmd[i] = 0x01000000 * i + i;
    using operation = uint32_t (*)(const uint32_t *, uint32_t *);
    uint8_t code = 0;
    for (const operation run : {operation{nprm_npdbg_init}, operation{nprm_npdbg_request}}) {
        ruv.reply(counting_reply(code, 304));
        uint32_t out[4] = {0, 0, 0, 0x55};
        EXPECT_EQ(run(cmd, out), 0u);
        ASSERT_EQ(ruv.last_request().size(), 304u);
        EXPECT_EQ(ruv.sends.back().opcode, 190502u);
        EXPECT_EQ(ruv.last_request()[0], code++);
        EXPECT_BYTES(ruv.last_request(), 1, "00 00 00  01 00 00 00  00 00 00 00  00 00 00 00  01 00 00 01  02 00 00 02");
        EXPECT_BYTES(ruv.last_request(), 300, "48 00 00 48");
        EXPECT_EQ(out[0], 0x0f0e0d0cu);
        EXPECT_EQ(out[1], 0x13121110u);
        EXPECT_EQ(out[2], 0x17161514u);
        EXPECT_EQ(out[3], 0x55u);
        EXPECT_EQ(nprm_reply_slot[10], nullptr) << "the slot is emptied";
    }
}

// ---- failures, all operations

struct operation_row {
    const char *name;
    uint32_t component, code;
    bool says_malloc;  // whatever kept the request from being made
    bool empties_slot;
    uint32_t (*run)();
};

uint32_t words[73];
hw_table_info table;
uint8_t *entries;
uint32_t *values;

const operation_row operations[] = {
    {"get_hw_table_summary", 5, 0, false, false, [] { return get_hw_table_summary(&table); }},
    {"get_hw_table_data", 5, 1, false, false, [] { return get_hw_table_data(&table, &entries); }},
    {"search_hw_table_data", 5, 2, false, false, [] { return search_hw_table_data(&table, &entries); }},
    {"lookup_hw_table_data", 5, 3, false, false, [] { return lookup_hw_table_data(&table, &entries); }},
    {"nprm_get_np_registers", 5, 4, false, false, [] { return nprm_get_np_registers(0, 1, &values); }},
    {"nprm_get_tm_queue_depth", 5, 5, false, false, [] { return nprm_get_tm_queue_depth(0, words); }},
    {"nprm_get_tm_gloabl_stats", 5, 6, false, false, [] { return nprm_get_tm_gloabl_stats(words); }},
    {"nprm_get_config_sram", 5, 7, false, true, [] { return nprm_get_config_sram(0, reinterpret_cast<uint8_t *>(words)); }},
    {"nprm_request_crash_dump_info", 5, 8, true, true, [] { return nprm_request_crash_dump_info(0); }},
    {"nprm_capture_se_config", 5, 9, true, true, [] { return nprm_capture_se_config("x"); }},
    {"nprm_npdbg_init", 10, 0, true, true, [] { return nprm_npdbg_init(words, words); }},
    {"nprm_npdbg_request", 10, 1, true, true, [] { return nprm_npdbg_request(words, words); }},
};

class HwFailures : public HwTables {
  protected:
    void SetUp() override {
        HwTables::SetUp();
        table = {};
        table.key = "key";
        entries = untouched;
        values = reinterpret_cast<uint32_t *>(untouched);
        std::memset(words, 0xEE, sizeof words);
    }
    void expect_no_output() {
        EXPECT_EQ(entries, untouched);
        EXPECT_EQ(values, reinterpret_cast<uint32_t *>(untouched));
        for (const uint32_t word : words)
            EXPECT_EQ(word, 0xEEEEEEEEu);
    }
    static size_t record_bytes(const operation_row &row) { return row.component == 5 ? 788 : 296; }
};

TEST_F(HwFailures, ARefusalOfTheServerIsItsCodeAndOneLine) {
    for (const operation_row &row : operations) {
        std::vector<uint8_t> reply = reply_of(row.code, record_bytes(row), {0x2A});
        put_u32(reply, 16, 100000);  // a refusal's other fields mean nothing
        put_u32(reply, 20, 100000);
        ruv.reply(reply);
        const std::string log = stderr_of([&] { EXPECT_EQ(row.run(), 0x2Au) << row.name; });
        EXPECT_EQ(log.find(std::string(row.name) + "("), 0u) << log;
        const char *text =
            row.says_malloc ? "): Non-zero errorno from server routine.." : "): Non-zero errorno from server routine.";
        EXPECT_EQ(log.substr(log.find("): ")), text);
        EXPECT_EQ(nprm_reply_slot[row.component] == nullptr, row.empties_slot) << row.name;
    }
    expect_no_output();
}

TEST_F(HwFailures, ATransportFailureIsItsCodeAndNoReply) {
    for (const operation_row &row : operations) {
        nprm_reply_slot[row.component] = nullptr;
        ruv.send_result = -1;
        const std::string log = stderr_of([&] { EXPECT_EQ(row.run(), 6u) << row.name; });
        ruv.send_result = 0;
        EXPECT_NE(log.find(std::string(row.name) + "("), std::string::npos) << log;
        EXPECT_EQ(log.substr(log.rfind("): ")), "): No reply from nprm.");
    }
    expect_no_output();
}

TEST_F(HwFailures, ATransportFailureBesideAnOlderReplyIsItsCodeToo) {
    for (const operation_row &row : operations) {
        nprm_reply_slot[row.component] = nprm_reply_area;
        ruv.send_result = -1;
        const std::string log = stderr_of([&] { EXPECT_EQ(row.run(), 6u) << row.name; });
        ruv.send_result = 0;
        EXPECT_NE(log.find("): Non-zero errorno from server routine."), std::string::npos) << log;
    }
    expect_no_output();
}

TEST_F(HwFailures, AServerThatIsNotReadyIsToldByTheQueriesAndCalledMemoryByTheCommands) {
    set_status(0);
    for (const operation_row &row : operations) {
        const std::string log = stderr_of([&] { EXPECT_EQ(row.run(), row.says_malloc ? 4u : 7u) << row.name; });
        const std::string line = std::string(row.name) + "(";
        EXPECT_EQ(log.find(line) != std::string::npos, row.says_malloc) << log;
        if (row.says_malloc) {
            EXPECT_EQ(log.substr(log.rfind("): ")), "): nprm_prep_ipc_msg failed.");
        }
    }
    expect_no_output();
    EXPECT_TRUE(ruv.sends.empty());
}

TEST_F(HwFailures, AReplyOfAResultAloneIsMalformedWhereThereIsAnOutput) {
    for (const operation_row &row : operations) {
        std::vector<uint8_t> reply(12);
        put_u32(reply, 0, row.code);
        ruv.reply(reply);
        const bool result_only = row.code == 8 || row.code == 9;
        stderr_of([&] { EXPECT_EQ(row.run(), result_only ? 0u : 1u) << row.name; });
    }
    expect_no_output();
}

TEST_F(HwFailures, NothingIsLoggedWhileTheErrorBitIsOff) {
    nprm_syslog_flag = ~1u;
    for (const operation_row &row : operations) {
        ruv.reply(reply_of(row.code, record_bytes(row), {9}));
        const std::string log = stderr_of([&] { EXPECT_EQ(row.run(), 9u); });
        EXPECT_EQ(log.find("Non-zero"), std::string::npos) << log;
    }
}

}  // namespace
