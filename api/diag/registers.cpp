// The register map: names by index, and the blocks.

#include "nprm_registers.h"

#include "../wire/nprm_npa_wire.h"

#include <iterator>

namespace {

struct register_block {
    uint32_t number;
    uint32_t first;
    uint32_t count;  // 0: reserved
};

#define BLOCK(number, name, first, last, unit, first_name) {number, first, (last) - (first) + 1},
#define RESERVED(number) {number, 0, 0},
constexpr register_block blocks[] = {
#include "register_blocks.inc"
};
#undef BLOCK
#undef RESERVED

constexpr bool tile_the_space() {
    uint32_t next = 0;
    for (uint32_t i = 0; i < std::size(blocks); ++i) {
        if (blocks[i].number != i + 1) return false;
        if (blocks[i].count != 0 && blocks[i].first != next) return false;
        next += blocks[i].count;
    }
    return std::size(blocks) == NPRM_NP_REGISTER_BLOCKS && next == NPRM_NP_REGISTER_COUNT;
}
static_assert(tile_the_space(), "a block is missing, out of place, or leaves a gap before it");

}  // namespace

#define BLOCK(number, name, first, last, unit, first_name) name,
#define RESERVED(number) "RESERVED",
constexpr const char *const register_block_names[NPRM_NP_REGISTER_BLOCKS] = {
#include "register_blocks.inc"
};
#undef BLOCK
#undef RESERVED

#define REGISTER(index, name) {name, index, 0},
constexpr nprm_npa_register npa_regs[NPRM_NP_REGISTER_COUNT + 1] = {
#include "register_names.inc"
    REGISTER(NPRM_NP_REGISTER_COUNT, "EZreg_NPA_Invalid")};
#undef REGISTER

namespace {

constexpr bool numbered_by_row() {
    for (uint32_t i = 0; i < std::size(npa_regs); ++i)
        if (npa_regs[i].id != i || npa_regs[i].name == nullptr) return false;
    return true;
}
static_assert(numbered_by_row(), "a register's name is missing or out of place");

}  // namespace

uint32_t nprm_np_get_reg_block(uint32_t block, uint32_t *first, uint32_t *count) {
    const bool known = block >= 1 && block <= std::size(blocks);
    const register_block found = known ? blocks[block - 1] : register_block{block, 0, 0};
    if (first != nullptr) *first = found.first;
    if (count != nullptr) *count = found.count;
    // The result of a block without registers is not its count; it is meant so.
    return found.count != 0 ? found.count : block - 1;
}

uint32_t nprm_get_register_block_names_size() {
    return std::size(register_block_names);
}

const char *const *nprm_get_get_register_block_names() {
    return register_block_names;
}

uint32_t nprm_get_number_of_regs() {
    return NPRM_NP_REGISTER_COUNT;
}

const char *get_npa_register_name(uint32_t index) {
    return npa_regs[index < NPRM_NP_REGISTER_COUNT ? index : uint32_t{NPRM_NP_REGISTER_COUNT}].name;
}

uint32_t nprm_get_config_sram_sz() {
    return NPRM_PORT_SRAM_BYTES;
}
