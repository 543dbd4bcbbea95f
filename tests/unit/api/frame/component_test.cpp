// Request sizes, result rules and reply converters of the components.

#include "api/frame/component.h"

#include <cstring>

#include "api/frame/nprm_pool.h"
#include "api/frame/transport.h"
#include "tests/support/bytes.h"
#include "tests/support/scripted_client.h"

namespace {

class Sender : public scripted_client {
  protected:
    uint32_t send(uint32_t component, uint32_t units, bool consume = true, uint32_t operation = 0) {
        return nprm_send_to_component(component, nprm_prep_ipc_msg(operation, units), consume ? 1 : 0);
    }
};

constexpr struct {
    uint32_t component, record_bytes;
} with_records[] = {{0, 38}, {1, 268}, {2, 80}, {3, 35}, {5, 788}, {6, 9612}, {7, 51}, {9, 40}, {10, 296}};

TEST_F(Sender, SendsAHeaderAndItsRecords) {
    for (const auto &[component, record_bytes] : with_records) {
        for (const uint32_t units : {0u, 1u, 2u, 6u}) {
            ruv.reply(reply_of(0, record_bytes, {0}));
            EXPECT_EQ(send(component, units), 0u);
            EXPECT_EQ(ruv.last_request().size(), units * record_bytes + 8) << component;
        }
    }
}

TEST_F(Sender, SendsTheSizesThatTheServerKnows) {
    const struct {
        uint32_t component, units;
        size_t bytes;
    } cases[] = {{7, 2, 110}, {6, 1, 9620}, {5, 1, 796}, {7, 1284, 65492}};
    for (const auto &[component, units, bytes] : cases) {
        ruv.reply(std::vector<uint8_t>(12));
        send(component, units);
        EXPECT_EQ(ruv.last_request().size(), bytes);
    }
}

TEST_F(Sender, RefusesWhatNoBufferHolds) {
    for (const uint32_t units : {1285u, 0x80000000u, 0xFFFFFFFFu})
        EXPECT_NE(stderr_of([&] { EXPECT_EQ(send(7, units), 3u); }), "");
    for (const uint32_t component : {4u, 8u})
        EXPECT_NE(stderr_of([&] { EXPECT_EQ(send(component, 1), 3u); }), "");
    EXPECT_TRUE(ruv.sends.empty());
    EXPECT_EQ(free_request_buffers(), 11u);
}

TEST_F(Sender, AllowsEachExchange75Attempts) {
    ruv.fail_receive(-110);
    ruv.repeat_last = true;
    stderr_of([&] { EXPECT_EQ(send(1, 1), 5u); });
    EXPECT_EQ(ruv.receives.size(), 75u);
}

TEST_F(Sender, GivesTheFirstFailureOfAllRecordsOrTheResultOfTheFirst) {
    for (const auto &[component, record_bytes] : with_records) {
        const bool walks = component == 0 || component == 2 || component == 9;
        ruv.reply(reply_of(0, record_bytes, {0, 36, 0, 40}));
        EXPECT_EQ(send(component, 4), walks ? 36u : 0u) << component;
        ruv.reply(reply_of(0, record_bytes, {0, 0, 0}));
        EXPECT_EQ(send(component, 3), 0u) << component;
        ruv.reply(reply_of(0, record_bytes, {21, 36}));
        EXPECT_EQ(send(component, 2), 21u) << component;
        ruv.reply(reply_of(0, record_bytes, {0, 0, 0xFFFFFFFF}));
        EXPECT_EQ(send(component, 3), walks ? 0xFFFFFFFFu : 0u) << component;
    }
}

TEST_F(Sender, WalksTheRecordsThatCameNotThoseThatWereAsked) {
    ruv.reply(reply_of(0, 80, {0, 0, 0, 44}));
    EXPECT_EQ(send(2, 1), 44u);
}

TEST_F(Sender, EmptiesTheSlotWhenToldTo) {
    for (const auto &[component, record_bytes] : with_records) {
        ruv.reply(reply_of(0, record_bytes, {0}));
        send(component, 1, false);
        EXPECT_EQ(nprm_reply_slot[component], nprm_reply_area);
        ruv.reply(reply_of(0, record_bytes, {5}));
        EXPECT_EQ(send(component, 1, true), 5u);
        EXPECT_EQ(nprm_reply_slot[component], nullptr);
    }
}

TEST_F(Sender, HidesAFailedTransportOfStatisticsAndTcamOnly) {
    for (const auto &[component, record_bytes] : with_records) {
        const bool hides = component == 6 || component == 7;
        stderr_of([&, component = component] {
            ruv.send_result = -1;
            EXPECT_EQ(send(component, 1), hides ? 0u : 6u) << component;
            ruv.send_result = 0;
            ruv.answers = {{-1, {}, {}}};
            ruv.repeat_last = true;
            EXPECT_EQ(send(component, 1), hides ? 0u : 5u) << component;
            set_status(1);
            ruv.answers = {{-1, {}, [&] { set_status(0); }}};
            EXPECT_EQ(send(component, 1), hides ? 0u : 7u) << component;
            set_status(1);
            ruv.answers = {{0, std::vector<uint8_t>(11), {}}};
            EXPECT_EQ(send(component, 1), hides ? 0u : 1u) << component;
        });
        EXPECT_EQ(nprm_reply_slot[component], nullptr);
    }
}

TEST_F(Sender, LeavesTheSlotOfAFailedExchangeAsItWas) {
    for (const auto &[component, record_bytes] : with_records) {
        ruv.send_result = 0;
        ruv.reply(reply_of(0, record_bytes, {0}));
        send(component, 1, false);
        ASSERT_EQ(nprm_reply_slot[component], nprm_reply_area);
        ruv.send_result = -1;
        stderr_of([&, component = component] { send(component, 1, true); });
        EXPECT_EQ(nprm_reply_slot[component], nprm_reply_area);
    }
}

TEST_F(Sender, FindsNoFailureInAReplyOfNoRecords) {
    for (const uint32_t component : {0u, 2u, 9u}) {
        std::vector<uint8_t> reply(12);
        put_u32(reply, 8, 44);
        ruv.reply(reply);
        EXPECT_EQ(send(component, 1), 0u);
    }
}

TEST_F(Sender, TakesTheResultOfAReplyOf12Bytes) {
    for (const auto &[component, record_bytes] : with_records) {
        std::vector<uint8_t> reply = reply_of(0, record_bytes, {24});
        reply.resize(12);
        ruv.reply(reply);
        const std::string log = stderr_of([&, component = component] { EXPECT_EQ(send(component, 1, false), 24u) << component; });
        ASSERT_EQ(nprm_reply_slot[component], nprm_reply_area);
        EXPECT_BYTES(nprm_reply_area, 8, "18 00 00 00  00 00 00 00");
        if (component == 6) {  // a statistics reply is as long as its data
            EXPECT_EQ(log, "");
            EXPECT_BYTES(nprm_reply_area, 4, "01 00 00 00");
        } else {
            EXPECT_NE(log.find("claims 1 records, 0 came."), std::string::npos) << log;
            EXPECT_BYTES(nprm_reply_area, 4, "00 00 00 00");
        }
        nprm_reply_slot[component] = nullptr;
    }
}

// ---- converters, through the exported handler and through the transport

class Converter : public scripted_client {
  protected:
    // What the transport received: as long as it says.
    void receive(uint32_t component, const std::vector<uint8_t> &payload) {
        ruv.reply(payload);
        EXPECT_EQ(nprm_ipc_send_msg(component, nprm_prep_ipc_msg(0, 1), 8, 1), 0u);
    }
    static std::vector<uint8_t> filled(uint32_t operation, size_t record_bytes, uint32_t units, uint8_t with) {
        std::vector<uint8_t> reply(8 + record_bytes * units, with);
        put_u32(reply, 0, operation);
        put_u32(reply, 4, units);
        return reply;
    }
    std::span<const uint8_t> area{nprm_reply_area, 65536};
};

TEST_F(Converter, IgnoresComponentsThatAreNotThereOrHaveNoRecords) {
    std::vector<uint8_t> reply(65536, 0xEE);
    put_u32(reply, 4, 1);
    const std::vector<uint8_t> before(area.begin(), area.end());
    for (const uint32_t component : {4u, 8u, 11u, 12u, 0xFFFFFFFFu})
        nprm_api_ipc_msg_handler(component, reply.data());
    EXPECT_EQ(std::vector<uint8_t>(area.begin(), area.end()), before);
    for (const uint32_t component : {4u, 8u, 11u})
        nprm_api_ipc_msg_handler(component, nullptr);
    for (const uint8_t *slot : nprm_reply_slot)
        EXPECT_EQ(slot, nullptr);
}

TEST_F(Converter, CopiesTheFieldsOfTheOperationAndClearsTheRest) {
    receive(7, filled(2, 51, 2, 0xEE));  // space: result and the four bytes after vmr_id
    EXPECT_BYTES(area, 0, "02 00 00 00  02 00 00 00  ee ee ee ee ee 00 00 00");
    EXPECT_BYTES(area, 59, "ee ee ee ee ee 00 00");
    receive(7, filled(4, 51, 3, 0xEE));  // read ACL: 40 bytes of each record
    EXPECT_BYTES(area, 110, "ee ee ee ee");
    EXPECT_BYTES(area, 148, "ee ee 00 00 00 00 00 00 00 00 00 00 00 00");
    receive(7, filled(7, 51, 3, 0xEE));  // read policy: all of it
    EXPECT_BYTES(area, 158, "ee ee ee 00");
    receive(7, filled(10, 51, 3, 0xEE));  // ACL look-up: result code and result
    EXPECT_BYTES(area, 110, "ee ee ee ee 00 00");
    EXPECT_BYTES(area, 136, "00 00 ee ee ee ee ee ee ee ee ee ee ee ee 00");
    receive(7, filled(11, 51, 3, 0xEE));  // policy look-up
    EXPECT_BYTES(area, 142, "00 00 ee ee ee ee ee ee ee ee ee ee ee ee ee ee ee ee ee 00");
}

TEST_F(Converter, CopiesOnlyResultCodesOfOperationsThatReturnNothing) {
    for (const uint32_t operation : {1u, 3u, 5u, 6u, 8u, 9u}) {
        receive(7, filled(operation, 51, 3, 0xEE));
        EXPECT_BYTES(area, 8, "ee ee ee ee 00 00 00 00");
        EXPECT_BYTES(area, 59, "ee ee ee ee 00 00 00 00");
        EXPECT_BYTES(area, 110, "ee ee ee ee 00 00 00 00");
    }
}

TEST_F(Converter, CopiesOnlyResultCodesOfOperationsThatNobodyKnows) {
    for (const uint32_t component : {0u, 1u, 2u, 3u, 7u, 9u}) {
        const uint32_t record_bytes = component == 0   ? 38
                                      : component == 1 ? 268
                                      : component == 2 ? 80
                                      : component == 3 ? 35
                                      : component == 7 ? 51
                                                       : 40;
        EXPECT_EQ(stderr_of([&] { receive(component, filled(999, record_bytes, 2, 0xEE)); }), "");
        EXPECT_BYTES(area, 8, "ee ee ee ee 00 00 00 00");
        EXPECT_BYTES(area, 8 + record_bytes, "ee ee ee ee 00 00 00 00");
    }
}

TEST_F(Converter, CopiesAllOfAStatisticsReplyWhateverItsOperationAndRecords) {
    for (const uint32_t operation : {0u, 1u, 2u, 3u, 999u}) {
        for (const size_t bytes : {12u, 17u, 9620u, 61456u, 65536u}) {
            std::vector<uint8_t> reply(bytes, 0xEE);
            put_u32(reply, 0, operation);
            put_u32(reply, 4, 0x05050506);
            EXPECT_EQ(stderr_of([&] { receive(6, reply); }), "");
            EXPECT_EQ(std::vector<uint8_t>(area.begin(), area.begin() + static_cast<std::ptrdiff_t>(bytes)), reply);
            EXPECT_EQ(nprm_reply_bytes, bytes);
        }
    }
    receive(6, std::vector<uint8_t>(70000, 0x11));
    EXPECT_BYTES(area, 65534, "11 11");
    EXPECT_EQ(nprm_reply_bytes, 65536u);
    receive(6, std::vector<uint8_t>(12, 0x22));
    EXPECT_BYTES(area, 8, "22 22 22 22 00 00 00 00");
    EXPECT_BYTES(area, 65534, "00 00");
}

TEST_F(Converter, LogsOperationsThatNobodyKnowsOnceAReplyForTwoComponents) {
    std::string log = stderr_of([&] { receive(5, filled(999, 788, 3, 0xEE)); });
    EXPECT_EQ(log.substr(0, 25), "nprm_npa_api_msg_handler(");
    const size_t first = log.find("): Received unknown message type: 999.");
    EXPECT_NE(first, std::string::npos) << log;
    EXPECT_EQ(log.find("unknown", first + 20), std::string::npos) << log;
    EXPECT_BYTES(area, 8 + 788, "ee ee ee ee 00 00 00 00");
    log = stderr_of([&] { receive(10, filled(2, 296, 1, 0xEE)); });
    EXPECT_EQ(log.substr(0, 27), "nprm_npdbg_api_msg_handler(");
    EXPECT_NE(log.find("): Received unknown message type: 2."), std::string::npos) << log;
    EXPECT_BYTES(area, 8, "ee ee ee ee 00 00 00 00");
}

TEST_F(Converter, CopiesHeaderAndFirstRecordOfDebugReplies) {
    for (const uint32_t operation : {0u, 1u}) {
        std::vector<uint8_t> reply = filled(operation, 296, 2, 0xEE);
        reply[303] = 0x77;
        receive(10, reply);
        EXPECT_BYTES(area, 8, "ee ee ee ee ee ee");
        EXPECT_BYTES(area, 302, "ee 77  ee ee ee ee 00 00");
    }
}

// A record of service contexts: 0x40 + offset at every byte, so that each copied byte tells where it came from.
std::vector<uint8_t> service_context_reply(uint8_t flags) {
    std::vector<uint8_t> reply(8 + 2 * 38);
    put_u32(reply, 4, 2);
    for (size_t i = 8; i < reply.size(); ++i)
        reply[i] = static_cast<uint8_t>(0x40 + (i - 8) % 38);
    reply[8 + 5] = reply[8 + 38 + 5] = flags;
    return reply;
}

TEST_F(Converter, CopiesOneWordOfEachAddressOfAnIpv4ServiceContext) {
    for (const char *flags : {"02", "fa", "ff"}) {
        receive(0, service_context_reply(bytes_of(flags)[0]));
        for (const size_t record : {8u, 46u}) {
            EXPECT_BYTES(area, record, "40 41 42 43 44");
            EXPECT_BYTES(area, record + 5, flags);
            EXPECT_BYTES(area, record + 6, "46 47 48 49 00 00 00 00 00 00 00 00 00 00 00 00");
            EXPECT_BYTES(area, record + 22, "56 57 58 59 00 00 00 00 00 00 00 00 00 00 00 00");
        }
    }
}

TEST_F(Converter, CopiesFourWordsOfEachAddressOfAnotherServiceContext) {
    for (const char *flags : {"00", "05", "fd"}) {
        receive(0, service_context_reply(bytes_of(flags)[0]));
        for (const size_t record : {8u, 46u}) {
            EXPECT_BYTES(area, record, "40 41 42 43 44");
            EXPECT_BYTES(area, record + 5, flags);
            EXPECT_BYTES(area, record + 6, "46 47 48 49 4a 4b 4c 4d 4e 4f 50 51 52 53 54 55");
            EXPECT_BYTES(area, record + 22, "56 57 58 59 5a 5b 5c 5d 5e 5f 60 61 62 63 64 65");
        }
    }
}

TEST_F(Converter, CopiesTheListOfAContextGroupFromInsideItsLengthWord) {
    std::vector<uint8_t> reply(46);
    put_u32(reply, 0, 1);
    put_u32(reply, 4, 1);
    put_u32(reply, 8, 62);
    put_u32(reply, 12, 0x0A0B0C0D);
    put_u32(reply, 16, 5);
    for (size_t i = 20; i < 46; ++i)
        reply[i] = static_cast<uint8_t>(i);
    receive(0, reply);
    // Words at 8, 12 and 16, then five bytes from 17 on: three of the length word and two of the list.
    EXPECT_BYTES(area, 8, "3e 00 00 00  0d 0c 0b 0a  05 00 00 00  14 15 00 00 00 00");
}

TEST_F(Converter, ClampsTheListOfAContextGroupToWhatCame) {
    std::vector<uint8_t> reply(46);
    put_u32(reply, 0, 1);
    put_u32(reply, 4, 1);
    put_u32(reply, 16, 0xFFFFFFFF);
    reply[45] = 0x77;
    receive(0, reply);
    EXPECT_BYTES(area, 44, "00 77 00 00 00 00");

    std::vector<uint8_t> whole(65536, 0x11);
    put_u32(whole, 0, 1);
    put_u32(whole, 4, 1);
    put_u32(whole, 16, 0xFFFFFFFF);
    nprm_api_ipc_msg_handler(0, whole.data());
    EXPECT_BYTES(area, 65534, "11 11");
}

TEST_F(Converter, CutsWhatAReplyClaimsToWhatCame) {
    for (const uint32_t claimed : {4u, 0x05050506u, 0x80000000u, 0xFFFFFFFFu}) {  // the second wraps 32 bits when multiplied by 51
        std::vector<uint8_t> reply = filled(7, 51, 3, 0xEE);
        put_u32(reply, 4, claimed);
        reply.resize(reply.size() + 50, 0xDD);  // fifty bytes of a fourth record
        const std::string log = stderr_of([&] { receive(7, reply); });
        EXPECT_EQ(log.substr(0, 25), "nprm_api_ipc_msg_handler(");
        EXPECT_NE(log.find("claims " + std::to_string(claimed) + " records, 3 came."), std::string::npos) << log;
        EXPECT_BYTES(area, 0, "07 00 00 00  03 00 00 00");
        EXPECT_BYTES(area, 160, "ee 00 00");
    }
}

TEST_F(Converter, TakesNoMoreThanTheAreaFromAPayloadThatIsLarger) {
    std::vector<uint8_t> reply(70000, 0xEE);
    put_u32(reply, 0, 7);
    put_u32(reply, 4, 1372);
    const std::string log = stderr_of([&] { receive(7, reply); });
    EXPECT_NE(log.find("claims 1372 records, 1284 came."), std::string::npos) << log;
    EXPECT_BYTES(area, 65491, "ee 00 00");
}

TEST_F(Converter, CalledDirectlyIsBoundedByTheAreaAlone) {
    std::vector<uint8_t> reply(65536, 0xEE);
    put_u32(reply, 0, 7);
    put_u32(reply, 4, 0xFFFFFFFF);
    stderr_of([&] { nprm_api_ipc_msg_handler(7, reply.data()); });
    EXPECT_BYTES(area, 0, "07 00 00 00  04 05 00 00  ee");
    EXPECT_BYTES(area, 65491, "ee 00");
    EXPECT_EQ(nprm_reply_slot[7], nprm_reply_area);
}

TEST_F(Converter, CalledDirectlyReadsOnlyTheHeaderOfAnEmptyReply) {
    std::vector<uint8_t> reply(8);
    put_u32(reply, 0, 2);
    nprm_api_ipc_msg_handler(7, reply.data());
    EXPECT_BYTES(area, 0, "02 00 00 00  00 00 00 00  00 00 00 00");
}

TEST_F(Converter, LeavesNothingOfAnEarlierReply) {
    receive(7, filled(7, 51, 1284, 0xEE));
    EXPECT_BYTES(area, 65490, "ee ee 00");
    receive(7, filled(2, 51, 2, 0xEE));
    const std::vector<uint8_t> rest(area.begin() + 64, area.end());
    EXPECT_EQ(rest, std::vector<uint8_t>(rest.size(), 0));
}

}  // namespace
