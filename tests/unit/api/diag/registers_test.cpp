// The register map: blocks, names, and what is asked for outside them.

#include "api/diag/nprm_registers.h"

#include <cstdio>
#include <cstring>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace {

// number, first, count, the block's name, its first register's name
constexpr struct {
    uint32_t number, first, count;
    const char *name;
    const char *first_name;
} blocks[] = {
    {1, 0, 6, "Ingress Classify Frame Descriptor", "EZreg_NPA_ICFD_LOWER_LIMIT"},
    {2, 6, 36, "Egress Classify Frame Descriptor", "EZreg_NPA_ECFD_LOWER_LIMIT"},
    {3, 42, 29, "Egress Trasmit Frame Descriptor", "EZreg_NPA_ETFD_LOWER_LIMIT"},
    {4, 71, 9, "Virtual Output Queuing", "EZreg_NPA_VOQ_LOWER_LIMIT"},
    {5, 80, 12, "Host Trasmit Frame Descriptor", "EZreg_NPA_HTFD_HIGH_LOWER_LIMIT"},
    {6, 0, 0, "RESERVED", nullptr},
    {7, 92, 27, "Index queue", "EZreg_NPA_INDEX_QUE_0_LOWER_LIMIT"},
    {8, 119, 7, "Statistic message", "EZreg_NPA_STAT_MSG_QUE_LOWER_LIMIT"},
    {9, 126, 164, "PCS - sgmii", "EZreg_NPA_PCS_AND_SERDES_SERDES_0_OPERATION_CFG"},
    {10, 290, 40, "Receive Frame Descriptor", "EZreg_NPA_RFD_ING_HOST_BUDGET_LIMIT"},
    {11, 330, 11, "Ingress Front DMA", "EZreg_NPA_IFDMA_CONFIG"},
    {12, 341, 12, "Egress Front DMA", "EZreg_NPA_EFDMA_CONFIG"},
    {13, 353, 96, "Top parse", "EZreg_NPA_PARSE_INTERRUPT"},
    {14, 449, 48, "Top search 1", "EZreg_NPA_SEARCH1_HOST_COMMAND"},
    {15, 497, 8, "Top search 2", "EZreg_NPA_SEARCH2_HOST_COMMAND"},
    {16, 505, 94, "Top modify", "EZreg_NPA_MODIFY_INTERRUPT"},
    {17, 599, 68, "Top resolve", "EZreg_NPA_RESOLVE_INTERRUPT"},
    {18, 667, 7, "Ingress Back DMA", "EZreg_NPA_IBDMA_CONFIG"},
    {19, 674, 9, "Egress Back DMA", "EZreg_NPA_EBDMA_CONFIG"},
    {20, 0, 0, "RESERVED", nullptr},
    {21, 683, 58, "Host interface", "EZreg_NPA_HOST_IF_ADDR_CMD_AND_TYPE"},
    {22, 741, 79, "Search pointers queue", "EZreg_NPA_SEARCH_QUE_0_LOWER_LIMIT"},
    {23, 820, 14, "Search message queue", "EZreg_NPA_SEARCH_MSG_QUE_LOWER_LIMIT"},
    {24, 834, 237, "Shared interface", "EZreg_NPA_SHARED_IF_SH_CFG"},
    {25, 1071, 60, "XAUI-B", "EZreg_NPA_XAUI_B_CONFIG1"},
    {26, 0, 0, "RESERVED", nullptr},
    {27, 0, 0, "RESERVED", nullptr},
    {28, 0, 0, "RESERVED", nullptr},
    {29, 0, 0, "RESERVED", nullptr},
    {30, 0, 0, "RESERVED", nullptr},
    {31, 0, 0, "RESERVED", nullptr},
    {32, 1131, 60, "XAUI-C", "EZreg_NPA_XAUI_C_CONFIG1"},
    {33, 1191, 60, "XAUI-A fabric side", "EZreg_NPA_XAUI_A_CONFIG1"},
    {34, 1251, 25, "General", "EZreg_NPA_GENERAL_PLL_2_CFG"},
    {35, 1276, 15, "Statistics", "EZreg_NPA_STAT_CMD"},
    {36, 1291, 145, "TM Ingress A", "EZreg_NPA_TMU_ING_SRAM_DATA_0"},
    {37, 1436, 60, "XAUI-D", "EZreg_NPA_XAUI_D_CONFIG1"},
    {38, 1496, 37, "TM Ingress DMA A", "EZreg_NPA_TMU_ING_DMA_ID_CTRL"},
    {39, 0, 0, "RESERVED", nullptr},
    {40, 1533, 32, "TM BIQ", "EZreg_NPA_TMU_BIQ_0_LOWEST_POINTER"},
    {41, 1565, 54, "TM WMI", "EZreg_NPA_TMU_WMI_DATA_0"},
    {42, 1619, 27, "TM NMI", "EZreg_NPA_TMU_NMI_DATA_0"},
    {43, 1646, 18, "TM WMC", "EZreg_NPA_TMU_WMC_CFG_0"},
    {44, 1664, 14, "TM NMC", "EZreg_NPA_TMU_NMC_CFG_0"},
    {45, 1678, 14, "TM Host interface", "EZreg_NPA_TMU_HOST_IF_STATUS"},
    {46, 1692, 184, "TM FCU", "EZreg_NPA_TMU_FCU_SRC_CONFIG"},
    {47, 1876, 4, "TM recycle DMA", "EZreg_NPA_TMU_RECYCLE_CONTROL"},
    {48, 0, 0, "RESERVED", nullptr},
    {49, 1880, 16, "TM FBU Farm", "EZreg_NPA_TMU_FBU_0_LOWEST_POINTER"},
    {50, 0, 0, "RESERVED", nullptr},
    {51, 1896, 43, "Int statistics", "EZreg_NPA_INT_STAT_CMD"},
    {52, 1939, 13, "CAM controller", "EZreg_NPA_CAMC_INTERNAL_TCAM_CFG"},
    {53, 1952, 18, "Additional Regs", "EZreg_NPA_PARSE_MCODE_CLKS_THRESH"},
};

TEST(RegisterBlock, TellsFirstRegisterAndCount) {
    for (const auto &block : blocks) {
        uint32_t first = 0xEE;
        uint32_t count = 0xEE;
        const uint32_t result = nprm_np_get_reg_block(block.number, &first, &count);
        EXPECT_EQ(first, block.first) << block.number;
        EXPECT_EQ(count, block.count) << block.number;
        EXPECT_EQ(result, block.count != 0 ? block.count : block.number - 1) << block.number;
    }
}

TEST(RegisterBlock, OutsideTheBlocksTheResultIsTheNumberLess1) {
    constexpr struct {
        uint32_t block, result;
    } cases[] = {{0, 0xFFFFFFFF}, {54, 53}, {0x80000000, 0x7FFFFFFF}, {0xFFFFFFFF, 0xFFFFFFFE}, {6, 5}};
    for (const auto &[block, result] : cases) {
        uint32_t first = 0xEE;
        uint32_t count = 0xEE;
        EXPECT_EQ(nprm_np_get_reg_block(block, &first, &count), result);
        EXPECT_EQ(first, 0u);
        EXPECT_EQ(count, 0u);
    }
}

TEST(RegisterBlock, OutputsMayBeNull) {
    uint32_t value = 0;
    EXPECT_EQ(nprm_np_get_reg_block(53, nullptr, &value), 18u);
    EXPECT_EQ(value, 18u);
    EXPECT_EQ(nprm_np_get_reg_block(53, &value, nullptr), 18u);
    EXPECT_EQ(value, 1952u);
    EXPECT_EQ(nprm_np_get_reg_block(6, nullptr, nullptr), 5u);
}

TEST(RegisterBlockNames, AreTheChipsOwnLetterForLetter) {
    ASSERT_EQ(nprm_get_register_block_names_size(), 53u);
    ASSERT_EQ(nprm_get_get_register_block_names(), register_block_names);
    for (const auto &block : blocks)
        EXPECT_STREQ(register_block_names[block.number - 1], block.name);
}

TEST(Registers, CarryTheirIndexAndNoFlags) {
    ASSERT_EQ(nprm_get_number_of_regs(), 1970u);
    EXPECT_EQ(sizeof npa_regs / sizeof npa_regs[0], 1971u);
    for (uint32_t i = 0; i <= 1970; ++i) {
        EXPECT_EQ(npa_regs[i].id, i);
        EXPECT_EQ(npa_regs[i].flags, 0u);
    }
}

TEST(Registers, HaveNamesOfTheirOwnWithTheChipsPrefix) {
    std::set<std::string> names;
    for (const nprm_npa_register &each : npa_regs) {
        EXPECT_EQ(std::strncmp(each.name, "EZreg_NPA_", 10), 0) << each.name;
        EXPECT_TRUE(names.insert(each.name).second) << each.name;
    }
}

// Only without the chip's documentation: with it all names are the site's.
TEST(Registers, HaveTheBlocksFirstNamesAndNeutralOnesBehindThem) {
    if (NPRM_REGISTERS_DOCUMENTED) GTEST_SKIP() << "configured with the chip's documentation";
    for (const auto &block : blocks)
        if (block.count != 0) {
            EXPECT_STREQ(get_npa_register_name(block.first), block.first_name);
        }
    EXPECT_STREQ(get_npa_register_name(1), "EZreg_NPA_ICFD_R01");
    EXPECT_STREQ(get_npa_register_name(5), "EZreg_NPA_ICFD_R05");
    EXPECT_STREQ(get_npa_register_name(7), "EZreg_NPA_ECFD_R01");
    EXPECT_STREQ(get_npa_register_name(41), "EZreg_NPA_ECFD_R35");
    EXPECT_STREQ(get_npa_register_name(81), "EZreg_NPA_HTFD_R01");
    EXPECT_STREQ(get_npa_register_name(226), "EZreg_NPA_PCS_AND_SERDES_R100");
    EXPECT_STREQ(get_npa_register_name(1969), "EZreg_NPA_PARSE_MCODE_R17");
}

TEST(Registers, BehindTheLastIsTheInvalidOne) {
    for (const uint32_t index : {1970u, 1971u, 0x7FFFFFFFu, 0xFFFFFFFFu})
        EXPECT_STREQ(get_npa_register_name(index), "EZreg_NPA_Invalid");
    EXPECT_STRNE(get_npa_register_name(1969), "EZreg_NPA_Invalid");
}

TEST(ConfigSram, Has16Bytes) {
    EXPECT_EQ(nprm_get_config_sram_sz(), 16u);
}

}  // namespace
