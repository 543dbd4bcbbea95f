// All TCAM operations alike: refusals before anything is sent, older replies, and the yes/no twins.

#include "tcam_fixture.h"

#include "tests/support/error_log.h"

namespace {

// ---- refusals before anything is sent, for all operations

struct call {
    const char *name;
    uint32_t (*raw)();
    uint32_t (*plain)();
    int line;
    const char *text;
};

uint8_t some_id;
uint32_t some_free;
acl_entries some_acl(1);
policy_entries some_policy(1);
const nprm_tcam_policy_key *some_key = some_policy.key.data(), *some_mask = some_policy.mask.data();
const nprm_tcam_policy_result *some_result = some_policy.result.data();

#define ACL some_acl.key.data(), some_acl.mask.data(), some_acl.result.data()
#define POLICY some_policy.key.data(), some_policy.mask.data(), some_policy.result.data()
#define BOTH(name, ...) #name, [] { return name##_dup(__VA_ARGS__); }, [] { return name(__VA_ARGS__); }

const call calls[] = {
    {BOTH(nprm_tcam_create_v4_vmr_lst, 9, &some_id), 1173, "nprm_tcam_create_v4_vmr_lst_dup(nr_entry, vmr_id)"},
    {BOTH(nprm_tcam_delete_v4_vmr_lst, 9), 1197, "nprm_tcam_delete_v4_vmr_lst_dup(vmr_id)"},
    {BOTH(nprm_tcam_v4_space, &some_free), 1227, "nprm_tcam_v4_space_dup(nr_free)"},
    {BOTH(nprm_tcam_delete_v4_vmr, 9, 0, 1), 1255, "nprm_tcam_delete_v4_vmr_dup(vmr_id, position, nr_entry)"},
    {BOTH(nprm_tcam_write_v4_acl_vmr, 9, 0, 1, ACL), 1310,
     "nprm_tcam_write_v4_acl_vmr_dup(vmr_id, position, nr_entry, key, mask, result)"},
    {BOTH(nprm_tcam_insert_v4_acl_vmr, 9, 0, 1, ACL), 1370,
     "nprm_tcam_insert_v4_acl_vmr_dup (vmr_id, position, nr_entry, key, mask, result)"},
    {BOTH(nprm_tcam_read_v4_acl_vmr, 9, 0, 1, 0, ACL), 1439,
     "nprm_tcam_read_v4_acl_vmr_dup(vmr_id, position, nr_entry, shadow_copy, key, mask, result)"},
    {BOTH(nprm_tcam_sgwrite_v4_policy_vmr, 9, 0, 1, &some_key, &some_mask, &some_result), 1502,
     "nprm_tcam_sgwrite_v4_policy_vmr_dup(vmr_id, position, nr_entry, p_key, p_mask, p_result)"},
    {BOTH(nprm_tcam_write_v4_policy_vmr, 9, 0, 1, POLICY), 1564,
     "nprm_tcam_write_v4_policy_vmr_dup (vmr_id, position, nr_entry, key, mask, result)"},
    {BOTH(nprm_tcam_insert_v4_policy_vmr, 9, 0, 1, POLICY), 1623,
     "nprm_tcam_insert_v4_policy_vmr_dup (vmr_id, position, nr_entry, key, mask, result)"},
    {BOTH(nprm_tcam_read_v4_policy_vmr, 9, 0, 1, 0, POLICY), 1693,
     "nprm_tcam_read_v4_policy_vmr_dup (vmr_id, position, nr_entry, shadow_copy, key, mask, result)"},
};

TEST_F(Tcam, EveryOperationReturnsThePreparersCode) {
    const nprm_tcam_acl_key acl_key{};
    const nprm_tcam_policy_key policy_key{};
    nprm_tcam_acl_result acl_result{};
    nprm_tcam_policy_result policy_result{};
    stderr_of([&] {
        set_status(0);
        for (const call &each : calls)
            EXPECT_EQ(each.raw(), 7u) << each.name;
        EXPECT_EQ(nprm_ext_tcam_v4_acl_lkup(1, &acl_key, &acl_result), 7u);
        EXPECT_EQ(nprm_ext_tcam_v4_policy_lkup(1, &policy_key, &policy_result), 7u);
        set_status(1);
        std::vector<void *> taken;
        while (void *buffer = nprm_ipc_msg_malloc())
            taken.push_back(buffer);
        for (const call &each : calls)
            EXPECT_EQ(each.raw(), 4u) << each.name;
        EXPECT_EQ(nprm_ext_tcam_v4_acl_lkup(1, &acl_key, &acl_result), 4u);
        EXPECT_EQ(nprm_ext_tcam_v4_policy_lkup(1, &policy_key, &policy_result), 4u);
        for (void *buffer : taken)
            nprm_free(buffer);
    });
    EXPECT_TRUE(ruv.sends.empty());
}

TEST_F(Tcam, NoOperationAnswersFromAReplyThatSomebodyElseLeft) {
    // A host that uses the frame directly leaves the slot full.
    std::vector<uint8_t> older = entries_reply(4, 1, 0x11);
    const auto leave_reply = [&] {
        nprm_api_ipc_msg_handler(7, older.data());
        ASSERT_NE(nprm_reply_slot[7], nullptr);
    };
    const nprm_tcam_acl_key acl_key{};
    const nprm_tcam_policy_key policy_key{};
    nprm_tcam_acl_result acl_result = {{9, 9, 9, 9}, 9, 9};
    nprm_tcam_policy_result policy_result{};
    ruv.send_result = -1;
    some_id = 55;
    some_free = 55;
    stdout_of([&] {
        stderr_of([&] {
            for (const call &each : calls) {
                leave_reply();
                EXPECT_EQ(each.raw(), 0u) << each.name;
                expect_slot_empty();
            }
            leave_reply();
            EXPECT_EQ(nprm_ext_tcam_v4_acl_lkup(1, &acl_key, &acl_result), 1u);
            leave_reply();
            EXPECT_EQ(nprm_ext_tcam_v4_policy_lkup(1, &policy_key, &policy_result), 1u);
            expect_slot_empty();
            set_status(0);
            for (const call &each : calls) {
                leave_reply();
                EXPECT_EQ(each.raw(), 7u) << each.name;
                expect_slot_empty();
            }
        });
    });
    EXPECT_EQ(some_id, 55);
    EXPECT_EQ(some_free, 55u);
    EXPECT_EQ(some_acl.key[0].u32_6, 0x100u);
    EXPECT_EQ(some_policy.key[0].u32_9, 0x100u);
    EXPECT_EQ(acl_result.u32_8, 9u);
}

TEST_F(Tcam, EveryOperationRefusesNullPointers) {
    const acl_entries acl(1);
    const policy_entries policy(1);
    acl_entries out(1);
    nprm_tcam_acl_result result{};
    const nprm_tcam_policy_key *p_null = nullptr;
    stderr_of([&] {
        EXPECT_EQ(nprm_tcam_create_v4_vmr_lst_dup(1, nullptr), 3u);
        EXPECT_EQ(nprm_tcam_v4_space_dup(nullptr), 3u);
        EXPECT_EQ(nprm_tcam_write_v4_acl_vmr_dup(1, 0, 1, nullptr, acl.mask.data(), acl.result.data()), 3u);
        EXPECT_EQ(nprm_tcam_insert_v4_acl_vmr_dup(1, 0, 1, acl.key.data(), nullptr, acl.result.data()), 3u);
        EXPECT_EQ(nprm_tcam_read_v4_acl_vmr_dup(1, 0, 1, 0, out.key.data(), out.mask.data(), nullptr), 3u);
        EXPECT_EQ(nprm_tcam_write_v4_policy_vmr_dup(1, 0, 1, policy.key.data(), policy.mask.data(), nullptr), 3u);
        EXPECT_EQ(nprm_tcam_insert_v4_policy_vmr_dup(1, 0, 1, nullptr, policy.mask.data(), policy.result.data()), 3u);
        EXPECT_EQ(nprm_tcam_read_v4_policy_vmr_dup(1, 0, 1, 0, nullptr, nullptr, nullptr), 3u);
        EXPECT_EQ(nprm_tcam_sgwrite_v4_policy_vmr_dup(1, 0, 1, nullptr, &some_mask, &some_result), 3u);
        EXPECT_EQ(nprm_tcam_sgwrite_v4_policy_vmr_dup(1, 0, 1, &p_null, &some_mask, &some_result), 3u);
        EXPECT_EQ(nprm_ext_tcam_v4_acl_lkup(1, nullptr, &result), 3u);
        EXPECT_EQ(nprm_ext_tcam_v4_policy_lkup(1, nullptr, nullptr), 3u);
    });
    EXPECT_TRUE(ruv.sends.empty());
}

// ---- the plain twins

std::vector<uint8_t> any_reply(uint32_t result) {
    return reply_of(0, 51, {result, 0, 0});
}

TEST_F(Tcam, PlainTwinsReturn1OnSuccess) {
    for (const call &each : calls) {
        ruv.reply(any_reply(0));
        stdout_of([&] { stderr_of([&] { EXPECT_EQ(each.plain(), 1u) << each.name; }); });
    }
}

TEST_F(Tcam, PlainTwinsReturn0AndLogTheirCallOnFailure) {
    error_log log;
    for (const call &each : calls) {
        ruv.reply(any_reply(24));
        EXPECT_EQ(each.plain(), 0u);
        EXPECT_EQ(log.texts(), std::vector<std::string>{std::string(each.name) + "(" + std::to_string(each.line) + "): TCAM API " +
                                                        each.text + " returned - NPRM_ERROR_TCAM_OUT_OF_RANGE error."});
    }
}

TEST_F(Tcam, PlainTwinsPassAllFailuresAs0) {
    for (const uint32_t code : {1u, 7u, 15u, 169u, 170u, 0xFFFFFFFFu}) {
        ruv.reply(any_reply(code));
        stderr_of([&] { EXPECT_EQ(nprm_tcam_delete_v4_vmr_lst(1), 0u); });
    }
}

TEST_F(Tcam, PlainTwinsPrintNullForCodesWithoutName) {
    for (const uint32_t code : {34u, 170u, 0xFFFFFFFFu}) {
        ruv.reply(any_reply(code));
        const std::string log = stderr_of([&] { EXPECT_EQ(nprm_tcam_delete_v4_vmr_lst(1), 0u); });
        EXPECT_NE(log.find(" returned - (null) error."), std::string::npos) << log;
    }
}

TEST_F(Tcam, PlainTwinsLogNothingWhenBit0IsClear) {
    nprm_syslog_flag = 0x0FFFFFF0;
    for (const call &each : calls) {
        ruv.reply(any_reply(24));
        EXPECT_EQ(stderr_of([&] { EXPECT_EQ(each.plain(), 0u); }), "") << each.name;
    }
}

}  // namespace
