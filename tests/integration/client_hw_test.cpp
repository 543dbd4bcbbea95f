// What the client library reads of a real card's hardware: blobs that decode to the configured state, and replies that are damaged.

#include <array>
#include <cstdlib>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "api/nprm.h"
#include "simcard/nprm_fib_fields.h"
#include "simcard/nprm_interface_fields.h"
#include "simcard/nprm_service_fields.h"
#include "tests/support/card_process.h"
#include "tests/support/scratch.h"

namespace {

using nlohmann::json;

class ClientHw : public testing::Test {
  protected:
    void SetUp() override {
        use_private_ipc();
        card.emplace(directory.path());
        ASSERT_TRUE(card->is_listening()) << card->output();
        ASSERT_EQ(nprm_ipc_register_client(), 1u);
        nprm_syslog_flag = 0;
        control({{"command", "traffic"}, {"frozen", true}});
    }
    void TearDown() override {
        nprm_syslog_flag = NPRM_SYSLOG_FLAG_DEFAULT;
        nprm_shm_free_all();
    }
    void control(const json &request) { ASSERT_EQ(card->control(request)["ok"], true) << request; }
    void fault(json request) {
        request["command"] = "fault";
        control(request);
    }

    static void configure() {
        const uint8_t mac[6] = {2, 0, 0, 0, 5, 1};
        const nprm_if_ip_cfg address = {24, NPRM_IF_ADDRESS_SET, 9, {192, 0, 2, 1}};
        ASSERT_EQ(nprm_if_create(5, NPRM_IF_LAYER_3, 3, mac), NPRM_OK);
        ASSERT_EQ(nprm_if_set_state(5, 1), NPRM_OK);
        ASSERT_EQ(nprm_if_v4_cfg(5, &address), NPRM_OK);
        ASSERT_EQ(nprm_if_create(70, NPRM_IF_PORT_CHANNEL, 0, mac), NPRM_OK);
        nprm_fib_prefix prefix = {NPRM_FIB_IPV4, 8, {10}};
        nprm_fib_nexthop next = {{}, 5, {2, 0, 0, 0, 0, 7}};
        ASSERT_EQ(nprm_v4_fib_op(NPRM_FIB_ADD, 1, &prefix, &next), NPRM_OK);
    }
    static void add_routes(uint32_t count) {
        std::vector<nprm_fib_prefix> prefixes(count);
        std::vector<nprm_fib_nexthop> nexthops(count);
        for (uint32_t i = 0; i < count; ++i) {
            prefixes[i] = {NPRM_FIB_IPV4, 32, {10, 1, static_cast<uint8_t>(i >> 8), static_cast<uint8_t>(i)}};
            nexthops[i] = {{}, 5, {2, 0, 0, 0, 0, 7}};
        }
        ASSERT_EQ(nprm_v4_fib_op(NPRM_FIB_ADD, count, prefixes.data(), nexthops.data()), NPRM_OK);
    }

    scratch_directory directory;
    scratch_variable where{"RUV_DIR", directory.path().c_str()};
    scratch_variable patience{"RUV_RECV_MS", "1"};
    std::optional<card_process> card;
};

// A configuration as it was read: the values of the fields, by type, address and name.
struct configuration {
    std::vector<uint32_t> blob = std::vector<uint32_t>(NPRM_BLOB_BYTES_MAX / sizeof(uint32_t), 0x5A5A5A5A);
    uint32_t bytes = 0, end = 0, end_offset = 0;
    std::map<uint32_t, uint32_t> entries;  // how many of each type
    uint32_t last_type = 0;

    explicit configuration(uint32_t selector) {
        EXPECT_EQ(nprm_read_config(selector, nullptr, 0, reinterpret_cast<uint8_t *>(blob.data()), &bytes), NPRM_OK);
        nprm_config_entry entry = {};
        while (nprm_next_config_entry(blob.data(), bytes, &entry) != 0) {
            ++entries[entry.type];
            EXPECT_LE(last_type, entry.type);
            last_type = entry.type;
        }
        end = entry.end;
        end_offset = entry.offset;
    }
    std::optional<uint64_t> value(uint32_t type, uint32_t addr, const std::string &name) const {
        nprm_config_entry entry = {};
        while (nprm_next_config_entry(blob.data(), bytes, &entry) != 0) {
            if (entry.type != type || entry.addr != addr) continue;
            nprm_entry_field field;
            const uint32_t size = entry.words * 4;
            for (uint32_t i = 0; nprm_layout_field(type, i, entry.data, size, &field) == NPRM_OK; ++i)
                if (name == field.name) return nprm_layout_value(&field, entry.data, size);
        }
        return std::nullopt;
    }
};

TEST_F(ClientHw, ReadsTheConfigurationAsABlobOfWhatWasConfigured) {
    configure();
    ASSERT_EQ(nprm_tcam_v4_cfg(2, 1, 44), NPRM_OK);
    const configuration all(NPRM_IF_CONFIG_ALL);
    EXPECT_EQ(all.end, uint32_t{NPRM_CONFIG_TERMINATED});
    EXPECT_EQ(all.end_offset + 4, all.bytes);
    const struct {
        uint32_t type, addr;
        const char *field;
        uint64_t value;
    } rows[] = {
        {NPRM_ENTRY_PORT_CONFIG_RAM, 3, "if_h", 5},
        {NPRM_ENTRY_PORT_CONFIG_RAM, 3, "pc_sram_b0.intercept_acl_en", 1},
        {NPRM_ENTRY_PORT_CONFIG_RAM, 3, "pc_sram_b0.dump_acl_en", 0},
        {NPRM_ENTRY_PORT_CONFIG_RAM, 15, "intercept_acl_vmr", 44},
        {NPRM_ENTRY_INGRESS_UIDB, 5, "cb0.match", 1},
        {NPRM_ENTRY_INGRESS_UIDB, 5, "cb0.v4_en", 1},
        {NPRM_ENTRY_INGRESS_UIDB, 5, "cb0.v6_en", 0},
        {NPRM_ENTRY_INGRESS_UIDB, 5, "lag_or_port", 3},
        {NPRM_ENTRY_INGRESS_UIDB, 5, "vrf", 9},
        {NPRM_ENTRY_INGRESS_UIDB, 70, "cb0.lag", 1},
        {NPRM_ENTRY_EGRESS_UIDB, 5, "mtu", 1518},
        {NPRM_ENTRY_EGRESS_UIDB, 5, "v4_if_encaps", 5},
        {NPRM_ENTRY_IF_ENCAP, 5, "l2_hdr[10]", 5},
        {NPRM_ENTRY_IF_ENCAP, 5, "l2_hdr[11]", 1},
        {NPRM_ENTRY_IF_ENCAP, 5, "ip_addr[0]", 0xC0000201},
        {NPRM_ENTRY_LAG_GROUP, 0, "cb0.valid", 1},
        {NPRM_ENTRY_FIB, 0, "cb0.forward", 1},
        {NPRM_ENTRY_FIB, 0, "dmac[5]", 7},
        {NPRM_ENTRY_FIB, 0, "uidb", 5},
        {NPRM_ENTRY_FIB_KEY, 0, "ip_v4", 0x0A000000},
        {NPRM_ENTRY_PORT_CONFIG, 3, "mtu", 1518},
    };
    for (const auto &row : rows)
        EXPECT_EQ(all.value(row.type, row.addr, row.field), row.value) << row.type << " [" << row.addr << "] " << row.field;
    EXPECT_EQ(all.entries.at(NPRM_ENTRY_INGRESS_UIDB), 2u);
    EXPECT_EQ(all.entries.at(NPRM_ENTRY_PORT_STATUS), 16u);

    std::vector<char> text(8u << 20);
    EXPECT_EQ(nprm_decode_config_to_file(nullptr, 0, text.data(), all.blob.data()), 0);
    EXPECT_NE(std::strstr(text.data(), "\nIngress UIDB [0x5]\n"), nullptr);
    EXPECT_NE(std::strstr(text.data(), "\n  uidb                           16    0x5 (5)"), nullptr);
}

TEST_F(ClientHw, ReadsTheConfigurationOfOneTypeAlone) {
    configure();
    const configuration routes(NPRM_ENTRY_FIB);
    EXPECT_EQ(routes.entries, (std::map<uint32_t, uint32_t>{{NPRM_ENTRY_FIB, 1}}));
    EXPECT_EQ(routes.bytes, 12u + 12 + 4);
    const configuration none(NPRM_ENTRY_VEMO);
    EXPECT_EQ(none.bytes, 4u);
    EXPECT_EQ(none.end, uint32_t{NPRM_CONFIG_TERMINATED});
    std::array<uint8_t, 8> output = {7, 7};
    uint32_t bytes = 99;
    for (const uint32_t unknown : {2u, 25u, 32u, 0xFFFFFFFFu})
        EXPECT_EQ(nprm_read_config(unknown, nullptr, 0, output.data(), &bytes), NPRM_ERROR_PARM_STRUCT_ID) << unknown;
    EXPECT_EQ(output[0], 7);
}

TEST_F(ClientHw, CutsAConfigurationThatAMessageDoesNotHoldBehindAWholeEntry) {
    configure();
    nprm_service_node_group group = {};
    const uint16_t group_id = 1;  // whose entry is smaller than a route's, and would fit behind the last one
    ASSERT_EQ(nprm_sng_op(NPRM_SERVICE_ADD, 1, &group_id, &group), NPRM_OK);
    add_routes(3000);
    const configuration routes(NPRM_ENTRY_FIB);
    EXPECT_EQ(routes.end, uint32_t{NPRM_CONFIG_TERMINATED});
    EXPECT_EQ(routes.entries.at(NPRM_ENTRY_FIB), (NPRM_CONFIG_BYTES_MAX - 4u) / 24);
    EXPECT_EQ(routes.bytes, routes.entries.at(NPRM_ENTRY_FIB) * 24 + 4);
    // The entries of an address and of each interface move the place of the cut: one leaves room for the group's entry.
    const nprm_if_ip_cfg address = {24, NPRM_IF_ADDRESS_SET, 9, {192, 0, 2, 71}};
    for (uint8_t port = 4; port < 8; ++port) {
        const uint8_t mac[6] = {2, 0, 0, 0, 6, port};
        const auto id = static_cast<uint16_t>(70 + port);
        ASSERT_EQ(nprm_if_create(id, NPRM_IF_LAYER_3, port, mac), NPRM_OK);
        if (port == 4) {
            ASSERT_EQ(nprm_if_v4_cfg(id, &address), NPRM_OK);
        }
        const configuration all(NPRM_IF_CONFIG_ALL);
        EXPECT_EQ(all.end, uint32_t{NPRM_CONFIG_TERMINATED});
        EXPECT_EQ(all.last_type, uint32_t{NPRM_ENTRY_FIB}) << all.bytes;
        EXPECT_GT(all.bytes, NPRM_CONFIG_BYTES_MAX - 28u);
    }
}

// A damaged answer: refused, or what it says has come and is read inside the buffer, which an address sanitizer watches.
TEST_F(ClientHw, TakesDamagedAnswersAsFailuresOrAsWhatCame) {
    hw_table_info asked = {};
    asked.table_id = NPRM_ENTRY_PORT_TABLE;
    asked.sel2 = 4;
    uint32_t taken = 0;
    for (uint32_t seed = 1; seed <= 40; ++seed) {
        SCOPED_TRACE(seed);
        hw_table_info info = asked;
        std::memset(info.name, 'n', sizeof info.name);
        uint8_t *entries = nullptr;
        fault({{"kind", "corrupt"}, {"value", 400}, {"seed", seed}});
        if (get_hw_table_data(&info, &entries) == NPRM_OK) {
            const std::vector<uint8_t> copy(entries, entries + size_t{info.num_entries} * NPRM_HW_ENTRY_BYTES);
            EXPECT_LE(info.num_entries, 4u);
            EXPECT_EQ(info.name[sizeof info.name - 1], '\0');
            ++taken;
        }
        free(entries);
        fault({{"kind", "none"}});

        info = asked;
        entries = nullptr;
        ASSERT_EQ(get_hw_table_data(&info, &entries), NPRM_OK);
        EXPECT_EQ(info.num_entries, 4u);
        free(entries);
    }
    EXPECT_GT(taken, 0u);  // the seeds hit not only what refuses an answer whole
}

TEST_F(ClientHw, CountsTheEntriesThatCameOfAnAnswerThatWasCut) {
    hw_table_info info = {};
    info.table_id = NPRM_ENTRY_PORT_TABLE;
    info.sel2 = 4;
    const struct {
        uint32_t bytes, code, entries;
    } rows[] = {{796, NPRM_OK, 0}, {999, NPRM_OK, 0}, {1000, NPRM_OK, 1}, {1611, NPRM_OK, 3}, {795, NPRM_ERROR, 9}};
    for (const auto &row : rows) {
        uint8_t *entries = nullptr;
        info.num_entries = 9;
        fault({{"kind", "truncate"}, {"value", row.bytes}});
        EXPECT_EQ(get_hw_table_data(&info, &entries), row.code) << row.bytes;
        EXPECT_EQ(info.num_entries, row.entries) << row.bytes;
        free(entries);
    }
    uint32_t *values = nullptr;
    fault({{"kind", "truncate"}, {"value", 20 + 4 * 199}});
    EXPECT_EQ(nprm_get_np_registers(0, 200, &values), NPRM_ERROR);
    EXPECT_EQ(values, nullptr);
}

}  // namespace
