// Service nodes and their groups: every byte of their requests and every use of their replies.

#include "api/config/nprm_service.h"

#include <cstring>

#include "api/frame/component.h"
#include "api/frame/nprm_client.h"
#include "api/frame/nprm_pool.h"
#include "tests/support/bytes.h"
#include "tests/support/scripted_client.h"

namespace {

class Service : public scripted_client {
  protected:
    void SetUp() override {
        scripted_client::SetUp();
        for (int i = 0; i < 11; ++i) {
            void *buffer = nprm_ipc_msg_malloc();
            std::memset(buffer, 0xEE, 65536);
            nprm_free(buffer);
        }
        for (size_t i = 0; i < 16; ++i) {
            node.address_a[i] = static_cast<uint8_t>(0xA0 + i);
            node.address_b[i] = static_cast<uint8_t>(0xB0 + i);
        }
    }
    nprm_service_node node = {0, 0x1234, {}, {}};
};

TEST_F(Service, ANodeGoesOutWithBothAddressesWhole) {
    node.flags = 0xFD;
    const uint8_t id = 9;
    ruv.reply(reply_of(0, 80, {0}));
    EXPECT_EQ(nprm_sn_op(0x77, 1, &id, &node), 0u);
    EXPECT_EQ(ruv.sends[0].opcode, 190486u);
    ASSERT_EQ(ruv.last_request().size(), 88u);
    EXPECT_BYTES(ruv.last_request(), 0,
                 "00 00 00 00  01 00 00 00  77 00 00 00  09  fd  34 12"
                 "  a0 a1 a2 a3 a4 a5 a6 a7 a8 a9 aa ab ac ad ae af  b0 b1 b2 b3 b4 b5 b6 b7 b8 b9 ba bb bc bd be bf  ee");
    EXPECT_EQ(nprm_reply_slot[2], nullptr);
}

TEST_F(Service, AnIpv4NodeGoesOutWithFourBytesOfEach) {
    node.flags = 0x02;
    const uint8_t id = 9;
    ruv.reply(reply_of(0, 80, {0}));
    EXPECT_EQ(nprm_sn_op(0, 1, &id, &node), 0u);
    EXPECT_BYTES(ruv.last_request(), 16, "a0 a1 a2 a3  ee ee ee ee ee ee ee ee ee ee ee ee  b0 b1 b2 b3  ee ee");
}

TEST_F(Service, AReadWritesTheRecordsThatTheReplyHas) {
    std::vector<uint8_t> reply = reply_of(0, 80, {0, 0});
    std::memset(reply.data() + 12, 0x11, 76);
    std::memset(reply.data() + 92, 0x22, 76);
    ruv.reply(reply);
    const uint8_t ids[3] = {1, 2, 3};
    nprm_service_node nodes[3] = {node, node, node};
    EXPECT_EQ(nprm_sn_op(1, 3, ids, nodes), 0u);
    EXPECT_EQ(nodes[0].flags, 0x11);
    EXPECT_EQ(nodes[0].address_b[15], 0x11);
    EXPECT_EQ(nodes[1].u16_1, 0x2222);
    EXPECT_EQ(nodes[2].u16_1, 0x1234) << "the reply has none for the third";
}

TEST_F(Service, OtherSubOperationsLeaveTheRecordsAlone) {
    std::vector<uint8_t> reply = reply_of(0, 80, {0});
    std::memset(reply.data() + 12, 0x11, 76);
    ruv.reply(reply);
    const uint8_t id = 1;
    EXPECT_EQ(nprm_sn_op(2, 1, &id, &node), 0u);
    EXPECT_EQ(node.u16_1, 0x1234);
}

TEST_F(Service, 820NodesAreMessagesOf819And1) {
    const std::vector<uint8_t> ids(820, 1);
    std::vector<nprm_service_node> nodes(820);
    ruv.reply(reply_of(0, 80, {0}));
    ruv.reply(reply_of(0, 80, {0}));
    EXPECT_EQ(nprm_sn_op(0, 820, ids.data(), nodes.data()), 0u);
    ASSERT_EQ(ruv.sends.size(), 2u);
    EXPECT_EQ(ruv.sends[0].payload.size(), 65528u);
    EXPECT_EQ(ruv.sends[1].payload.size(), 88u);
}

TEST_F(Service, TheFirstCodeThatIsNot0EndsTheCall) {
    const std::vector<uint8_t> ids(1000, 1);
    std::vector<nprm_service_node> nodes(1000);
    ruv.reply(reply_of(0, 80, {0, 39, 36}));
    EXPECT_EQ(nprm_sn_op(0, 1000, ids.data(), nodes.data()), 39u);
    EXPECT_EQ(ruv.sends.size(), 1u);
}

TEST_F(Service, AGroupIsSentFromBytes1And2AndReadIntoBytes0And1) {
    std::vector<uint8_t> reply = reply_of(1, 80, {0});
    reply[15] = 0x5A;
    reply[16] = 0xA5;
    ruv.reply(reply);
    const uint16_t id = 0x0102;
    nprm_service_node_group group = {{0x0F, 0x21, 0x43}};
    EXPECT_EQ(nprm_sng_op(1, 1, &id, &group), 0u);
    EXPECT_BYTES(ruv.last_request(), 0, "01 00 00 00  01 00 00 00  01 00 00 00  02 01  0f  21 43  ee");
    EXPECT_BYTES(group.byte, 0, "5a a5 43");
}

TEST_F(Service, ACountOf0IsAFailureAndNullArraysAreRefused) {
    EXPECT_EQ(nprm_sn_op(0, 0, nullptr, nullptr), 1u);
    EXPECT_EQ(nprm_sng_op(0, 0, nullptr, nullptr), 1u);
    const uint8_t id = 1;
    const uint16_t group_id = 1;
    nprm_service_node_group group = {};
    stderr_of([&] {
        EXPECT_EQ(nprm_sn_op(0, 1, nullptr, &node), 3u);
        EXPECT_EQ(nprm_sn_op(0, 1, &id, nullptr), 3u);
        EXPECT_EQ(nprm_sng_op(0, 1, nullptr, &group), 3u);
        EXPECT_EQ(nprm_sng_op(0, 1, &group_id, nullptr), 3u);
    });
    EXPECT_TRUE(ruv.sends.empty());
}

}  // namespace
