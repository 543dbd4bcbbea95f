// The card's FIB: what each action does, what it refuses, and longest-prefix look-ups beside a reference that tries every route.

#include "messages.h"

#include <map>
#include <random>
#include <set>

#include "simcard/models/fib.h"

namespace {

constexpr uint32_t add = 0, read = 1, erase = 2, look_up = 3, replace = 4;

// One record as a client packs it.
struct record {
    uint8_t version, length;
    std::vector<uint8_t> address;
    uint16_t uidb = 0;
};

const record net_10 = {4, 8, {10}, 10};
const record net_10_1 = {4, 16, {10, 1}, 11};
const record default_v4 = {4, 0, {}, 1};
const record net_v6 = {6, 32, {0x20, 0x01, 0x0d, 0xb8}, 60};
const record default_v6 = {6, 0, {}, 66};

message fib_message(uint32_t action, const std::vector<record> &records) {
    message bytes(8 + 35 * records.size(), 0);
    put32(bytes, 0, 14);
    put32(bytes, 4, static_cast<uint32_t>(records.size()));
    for (size_t i = 0; i < records.size(); ++i) {
        const size_t at = 8 + 35 * i;
        put32(bytes, at, action);
        put8(bytes, at + 4, records[i].version);
        put8(bytes, at + 5, records[i].length);
        std::copy(records[i].address.begin(), records[i].address.end(), bytes.begin() + static_cast<ptrdiff_t>(at) + 6);
        put16(bytes, at + 27, records[i].uidb);
    }
    return bytes;
}

class Fib : public testing::Test {
  protected:
    message ask(const message &request) {
        const auto answer = card_.serve(*find_component(3), std::as_bytes(std::span(request)));
        message reply(answer.message.size());
        std::memcpy(reply.data(), answer.message.data(), reply.size());
        return reply;
    }
    uint32_t code(uint32_t action, const std::vector<record> &records) { return get32(ask(fib_message(action, records)), 8); }
    // The UIDB of the answer to one record; minus the code when it is refused.
    int uidb(uint32_t action, const record &one) {
        const message reply = ask(fib_message(action, {one}));
        const uint32_t code = get32(reply, 8);
        return code != 0 ? -static_cast<int>(code) : reply.at(35) | reply.at(36) << 8;
    }
    static nlohmann::json answer(const nlohmann::json &question) { return find_component(3)->model->ask(question); }

    card card_{{.fib_prefixes = 4}};
};

TEST_F(Fib, ReturnsTheRecordThatItKeptByteByByte) {
    message request(43, 0);
    put32(request, 0, 14);
    put32(request, 4, 1);
    const uint8_t route[35] = {0, 0, 0, 0, 4, 24, 192, 0, 2, 0, 0, 0, 0, 0,    0,    0,    0,   0,
                               0, 0, 0, 0, 1, 2,  3,   4, 5, 7, 1, 2, 0, 0x5e, 0x10, 0x20, 0x30};
    std::copy(std::begin(route), std::end(route), request.begin() + 8);
    EXPECT_EQ(hex_of(ask(request)), hex_of(request)) << "the result is 0 where the action was";
    put32(request, 8, read);
    std::fill(request.begin() + 30, request.end(), uint8_t{0});
    EXPECT_BYTES(ask(request), 0,
                 "0e 00 00 00  01 00 00 00  00 00 00 00  04 18  c0 00 02 00 00 00 00 00 00 00 00 00 00 00 00 00"
                 " 01 02 03 04 05  07 01  02 00 5e 10 20 30");
}

TEST_F(Fib, TakesANewPrefixOnceAndTellsADuplicate) {
    EXPECT_EQ(code(add, {net_10, net_10_1}), 0U);
    EXPECT_EQ(code(add, {net_10}), 120U);
    EXPECT_EQ(code(add, {{4, 8, {11}}, {4, 8, {11}}}), 120U) << "within one message";
    EXPECT_EQ(answer({{"count", "all"}}), 2);
}

TEST_F(Fib, TellsPrefixesByLengthAndFamily) {
    EXPECT_EQ(code(add, {{4, 8, {10}}, {4, 9, {10}}, {6, 8, {10}}, {6, 9, {10}}}), 0U);
    EXPECT_EQ(answer({{"count", "ipv4"}}), 2);
    EXPECT_EQ(answer({{"count", "ipv6"}}), 2);
}

TEST_F(Fib, ReturnsWhatItDeletes) {
    ASSERT_EQ(code(add, {net_10, net_10_1}), 0U);
    EXPECT_EQ(uidb(erase, {4, 8, {10}, 999}), 10);
    EXPECT_EQ(uidb(erase, {4, 8, {10}}), -121);
    EXPECT_EQ(uidb(read, {4, 16, {10, 1}}), 11);
    EXPECT_EQ(uidb(read, {4, 8, {10}}), -121);
}

TEST_F(Fib, ReplacesOrAdds) {
    EXPECT_EQ(code(replace, {net_10}), 0U);
    EXPECT_EQ(uidb(replace, {4, 8, {10}, 77}), 77);
    EXPECT_EQ(uidb(read, {4, 8, {10}}), 77);
    EXPECT_EQ(answer({{"count", "all"}}), 1);
}

TEST_F(Fib, LooksTheLongestPrefixUpAndReturnsIt) {
    ASSERT_EQ(code(add, {default_v4, net_10, net_10_1, net_v6}), 0U);
    EXPECT_EQ(uidb(look_up, {4, 32, {10, 1, 255, 255}}), 11);
    EXPECT_EQ(uidb(look_up, {4, 32, {10, 2, 0, 1}}), 10);
    EXPECT_EQ(uidb(look_up, {4, 200, {9, 255, 255, 255}}), 1) << "a look-up's length has no effect";
    EXPECT_EQ(uidb(look_up, {6, 128, {0x20, 0x01, 0x0d, 0xb8, 0xFF}}), 60);
    EXPECT_EQ(uidb(look_up, {6, 128, {0x20, 0x01, 0x0d, 0xb9}}), -121) << "IPv4's default route is not IPv6's";
    EXPECT_BYTES(ask(fib_message(look_up, {{4, 32, {10, 1, 2, 3}}})), 12, "04 10 0a 01 00 00 00 00");
}

TEST_F(Fib, HoldsHostRoutesAndDefaultRoutes) {
    const record host = {6, 128, {0x20, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}, 128};
    ASSERT_EQ(code(add, {host, default_v6, {4, 32, {255, 255, 255, 255}, 32}}), 0U);
    EXPECT_EQ(uidb(look_up, host), 128);
    EXPECT_EQ(uidb(look_up, {6, 0, {0x20, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2}}), 66);
    EXPECT_EQ(uidb(look_up, {4, 0, {255, 255, 255, 255}}), 32);
    EXPECT_EQ(uidb(look_up, {4, 0, {255, 255, 255, 254}}), -121);
}

TEST_F(Fib, IsFullAtItsCapacity) {
    ASSERT_EQ(code(add, {net_10, net_10_1, default_v4, default_v6}), 0U);
    EXPECT_EQ(code(add, {net_v6}), 145U);
    EXPECT_EQ(code(replace, {net_v6}), 145U);
    EXPECT_EQ(code(replace, {net_10}), 0U) << "takes no room";
    ASSERT_EQ(code(erase, {net_10}), 0U);
    EXPECT_EQ(code(add, {net_v6}), 0U);
}

TEST_F(Fib, RefusesWhatIsNoPrefix) {
    const std::vector<std::pair<uint32_t, record>> wrong = {
        {add, {4, 33, {10}}},
        {add, {6, 129, {10}}},
        {add, {5, 8, {10}}},
        {add, {0, 0, {}}},
        {add, {4, 7, {1}}},
        {erase, {4, 31, {0, 0, 0, 1}}},
        {read, {6, 63, {0, 0, 0, 0, 0, 0, 0, 1}}},
        {add, {6, 0, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}}},
        {look_up, {7, 0, {}}},
        {5, net_10},
        {0xFFFFFFFF, net_10},
    };
    for (const auto &[action, one] : wrong)
        EXPECT_EQ(code(action, {one}), 3U) << action << " " << int{one.version} << " " << int{one.length};
    EXPECT_EQ(answer({{"count", "all"}}), 0);
    record with_more = net_10;
    with_more.address = {10, 0, 0, 0, 5, 5};
    EXPECT_EQ(code(add, {with_more}), 0U) << "bytes that IPv4 does not have";
    EXPECT_EQ(code(add, {net_10}), 120U);
}

TEST_F(Fib, RefusesAMessageOfTwoActions) {
    message request = fib_message(add, {net_10, net_10_1});
    put32(request, 43, erase);
    EXPECT_EQ(get32(ask(request), 8), 3U);
    EXPECT_EQ(answer({{"count", "all"}}), 0);
}

TEST_F(Fib, DoesAllOfAMessageOrNothing) {
    ASSERT_EQ(code(add, {net_10, net_10_1}), 0U);
    const message refused = ask(fib_message(add, {default_v4, net_v6, net_10}));
    EXPECT_EQ(refused.size(), 8U + 3 * 35);
    for (const size_t i : {0U, 1U, 2U})
        EXPECT_EQ(get32(refused, 8 + 35 * i), 120U);
    EXPECT_EQ(code(add, {default_v4, net_v6, default_v6}), 145U);
    EXPECT_EQ(code(erase, {net_10, net_10_1, net_10}), 121U);
    EXPECT_EQ(code(replace, {{4, 8, {10}, 70}, {4, 8, {10}, 71}, default_v4, default_v6, net_v6}), 145U);
    EXPECT_EQ(answer({{"count", "all"}}), 2);
    EXPECT_EQ(uidb(look_up, {4, 0, {10, 1, 1, 1}}), 11);
    EXPECT_EQ(uidb(look_up, {4, 0, {10, 2, 1, 1}}), 10);
}

TEST_F(Fib, AnswersQuestions) {
    ASSERT_EQ(code(add, {net_10, net_v6}), 0U);
    EXPECT_EQ(
        answer({{"lookup", "10.9.8.7"}}),
        nlohmann::json::parse(R"({"prefix": "10.0.0.0/8", "mac": "00:00:00:00:00:00", "uidb": 10, "bytes": [0, 0, 0, 0, 0]})"));
    EXPECT_EQ(answer({{"lookup", "2001:db8::1"}}).at("prefix"), "2001:db8::/32");
    EXPECT_EQ(answer({{"lookup", "11.0.0.1"}}), nullptr);
    for (const char *wrong : {R"({"lookup": "10.1"})", R"({"lookup": 7})", R"({"count": "ipv5"})", R"({"count": 1})", R"({})",
                              R"({"lookup": "10.0.0.1", "count": "all"})"})
        EXPECT_THROW(answer(nlohmann::json::parse(wrong)), std::invalid_argument) << wrong;
}

TEST_F(Fib, IsEmptyAfterAReset) {
    ASSERT_EQ(code(add, {net_10, net_v6}), 0U);
    card_.reset();
    EXPECT_EQ(find_component(3)->model->describe().at("fib"),
              nlohmann::json::parse(R"({"capacity": 4, "ipv4": 0, "ipv6": 0, "bytes": 0})"));
    EXPECT_EQ(uidb(look_up, {4, 0, {10}}), -121);
}

// Random steps beside a map, and a look-up that tries every route.
using key = std::tuple<uint8_t, uint8_t, std::vector<uint8_t>>;  // version, length, address

bool contains(const key &route, uint8_t version, const std::vector<uint8_t> &address) {
    const auto &[of, length, bits] = route;
    if (of != version) return false;
    for (uint32_t bit = 0; bit < length; ++bit)
        if ((bits[bit / 8] ^ address[bit / 8]) >> (7 - bit % 8) & 1) return false;
    return true;
}

class random_routes {
  public:
    explicit random_routes(uint32_t seed) : random_(seed) {}

    uint32_t below(uint32_t end) { return static_cast<uint32_t>(random_() % end); }
    uint8_t version() { return below(2) == 0 ? 4 : 6; }
    // Few bytes differ, so that routes nest and meet.
    std::vector<uint8_t> address(uint8_t version) {
        std::vector<uint8_t> bytes(version == 4 ? 4 : 16);
        for (size_t i = 0; i < bytes.size(); ++i)
            bytes[i] = static_cast<uint8_t>(below(i % 4 == 3 ? 256 : 3) << (i == 1 ? 6 : 0));
        return bytes;
    }
    record route() {
        record one = {version(), 0, {}, static_cast<uint16_t>(below(65536))};
        one.address = address(one.version);
        one.length = static_cast<uint8_t>(below(static_cast<uint32_t>(one.address.size()) * 8 + 1));
        for (uint32_t bit = one.length; bit < one.address.size() * 8; ++bit)
            one.address[bit / 8] = static_cast<uint8_t>(one.address[bit / 8] & ~(0x80U >> bit % 8));
        return one;
    }

  private:
    std::mt19937 random_;
};

TEST(FibBesideAReference, AnswersTheSameAfterRandomSteps) {
    for (const uint32_t seed : {1U, 2U, 3U}) {
        SCOPED_TRACE(seed);
        card under_test({.fib_prefixes = 100000});
        const auto code_of = [&](uint32_t action, const record &one) {
            const message request = fib_message(action, {one});
            const auto reply = under_test.serve(*find_component(3), std::as_bytes(std::span(request))).message;
            uint32_t code;
            std::memcpy(&code, reply.data() + 8, sizeof code);
            return code;
        };
        random_routes random(seed);
        std::map<key, uint16_t> reference;
        for (int step = 0; step < 4000; ++step) {
            const record one = random.route();
            const key at = {one.version, one.length, one.address};
            const bool is_there = reference.contains(at);
            if (random.below(3) != 0) {
                ASSERT_EQ(code_of(add, one), is_there ? 120U : 0U);
                if (!is_there) reference[at] = one.uidb;
            } else {
                const auto victim = random.below(2) == 0 ? reference.lower_bound(at) : reference.find(at);
                const bool known = victim != reference.end();
                const record gone =
                    known ? record{std::get<0>(victim->first), std::get<1>(victim->first), std::get<2>(victim->first)} : one;
                ASSERT_EQ(code_of(erase, gone), known ? 0U : 121U);
                if (known) reference.erase(victim);
            }
        }
        ASSERT_EQ(fib::count(), reference.size());
        ASSERT_EQ(fib::count(4) + fib::count(6), reference.size());

        std::map<key, uint16_t> walked;
        for (size_t number = 0; number < fib::count(); ++number) {
            const fib_route route = fib::at(number);
            const size_t bytes = route.prefix.u8_0 == 4 ? 4 : 16;
            walked[{route.prefix.u8_0, route.prefix.u8_1, {route.prefix.address, route.prefix.address + bytes}}] =
                route.nexthop.u16_5;
        }
        EXPECT_EQ(walked, reference);

        for (int i = 0; i < 500; ++i) {
            const uint8_t version = random.version();
            const std::vector<uint8_t> address = random.address(version);
            const key *best = nullptr;
            for (const auto &[route, uidb] : reference)
                if (contains(route, version, address) && (best == nullptr || std::get<1>(route) > std::get<1>(*best)))
                    best = &route;
            const auto found = fib::look_up(version, address.data());
            ASSERT_EQ(found.has_value(), best != nullptr);
            if (best == nullptr) continue;
            ASSERT_EQ(found->prefix.u8_1, std::get<1>(*best));
            ASSERT_EQ(found->nexthop.u16_5, reference[*best]);
        }
    }
}

TEST(FibMemory, IsUnder60BytesAPrefix) {
    card under_test({.fib_prefixes = 2000000});
    random_routes random(7);
    std::set<key> all;
    std::vector<record> part;
    while (all.size() < 20000) {
        record one = random.route();
        for (size_t i = 1; i < one.length / 8U; ++i)
            one.address[i] = static_cast<uint8_t>(random.below(256));
        if (!all.insert({one.version, one.length, one.address}).second) continue;
        part.push_back(one);
        if (part.size() < 500) continue;
        const message request = fib_message(add, part);
        under_test.serve(*find_component(3), std::as_bytes(std::span(request)));
        part.clear();
    }
    ASSERT_EQ(fib::count(), 20000U);
    EXPECT_LT(find_component(3)->model->describe().at("fib").at("bytes"), 20000 * 60);
}

}  // namespace
