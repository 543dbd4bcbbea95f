// Made-up tables: the lengths are the Internet's, no prefix comes twice, the seed decides.

#include "fib_generator.h"

#include <cstring>
#include <map>
#include <set>

#include <gtest/gtest.h>

namespace {

std::string bytes_of(const nprm_fib_prefix &prefix) {
    return {reinterpret_cast<const char *>(&prefix), sizeof prefix};
}

TEST(GeneratedTable, HasTheLengthsThatHelpShows) {
    ASSERT_EQ(route_generator({}).count(), 1200000U);
    const route_generator routes({.ipv4 = 100000, .ipv6 = 100000});
    std::map<std::pair<int, int>, uint32_t> counts;
    for (uint32_t i = 0; i < routes.count(); ++i) {
        const nprm_fib_prefix prefix = routes.at(i).prefix;
        ++counts[{prefix.u8_0, prefix.u8_1}];
    }
    EXPECT_EQ((counts[{4, 24}]), 62442U);
    EXPECT_EQ((counts[{4, 22}]), 11100U);
    EXPECT_EQ((counts[{4, 16}]), 1370U);
    EXPECT_EQ((counts[{4, 8}]), 2U);
    EXPECT_EQ((counts[{6, 48}]), 42212U);
    EXPECT_EQ((counts[{6, 32}]), 11800U);
    EXPECT_EQ(counts.size(), 40U);
    EXPECT_EQ(generated_lengths().substr(0, 122),
              "Lengths of IPv4 prefixes:\n"
              "    /8 0.002%     /9 0.001%     /10 0.004%    /11 0.010%    /12 0.030%    /13 0.058%\n"
              "    /14 0.1");
}

TEST(GeneratedTable, HasNoPrefixTwiceAndNoBitBehindALength) {
    for (const uint32_t seed : {0U, 4294967295U}) {
        const route_generator routes({.ipv4 = 30000, .ipv6 = 15000, .seed = seed});
        std::set<std::string> all;
        for (uint32_t i = 0; i < routes.count(); ++i) {
            const nprm_fib_prefix prefix = routes.at(i).prefix;
            all.insert(bytes_of(prefix));
            word_error error;
            ASSERT_TRUE(prefix_of(prefix_text(prefix), error)) << error.message;
            const int first = prefix.address[0];
            ASSERT_TRUE(prefix.u8_0 == 6 ? first >> 5 == 1 : first >= 1 && first <= 223 && first != 10 && first != 127) << first;
        }
        EXPECT_EQ(all.size(), 45000U);
    }
}

TEST(GeneratedTable, IsTheSeeds) {
    const route_generator one({.ipv4 = 1000, .ipv6 = 100}), same({.ipv4 = 1000, .ipv6 = 100}),
        other({.ipv4 = 1000, .ipv6 = 100, .seed = 2});
    uint32_t equal = 0;
    for (uint32_t i = 0; i < one.count(); ++i) {
        const fib_entry entry = one.at(i), again = same.at(i), different = other.at(i);
        ASSERT_EQ(std::memcmp(&entry, &again, sizeof entry), 0);
        equal += bytes_of(entry.prefix) == bytes_of(different.prefix) ? 1U : 0U;
    }
    EXPECT_LT(equal, 20U);
}

TEST(GeneratedTable, MayBeSmallOrOfOneFamily) {
    EXPECT_EQ(route_generator({.ipv4 = 0, .ipv6 = 0}).count(), 0U);
    const route_generator one({.ipv4 = 0, .ipv6 = 1});
    ASSERT_EQ(one.count(), 1U);
    EXPECT_EQ(one.at(0).prefix.u8_0, 6);
    const route_generator most({.ipv4 = generated_max, .ipv6 = generated_max});
    EXPECT_EQ(most.count(), 2 * generated_max);
}

}  // namespace
