// The network processor's registers: reset values, revision, status, and counters that move with traffic.

#include "npa_state.h"

#include <iterator>

#include "api/diag/nprm_registers.h"
#include "mac_state.h"

namespace {

// The last four registers of the block "General".
constexpr uint32_t general_block = 34;
constexpr uint32_t revision = 0x00020301;  // 2.3, step 1
constexpr uint32_t ready_bit = 0x80000000;

// The value that a register has had since the reset: a number of its own.
uint32_t reset_value(uint32_t index) {
    const uint32_t mixed = (index + 1) * 2654435761U;
    return mixed >> 16;
}

uint32_t status() {
    uint32_t links = 0;
    for (uint32_t port = 0; port < card_ports; ++port)
        links |= (ports()[port].is_up() ? 1U : 0U) << port;
    return ready_bit | links;
}

uint32_t milliseconds() {
    return static_cast<uint32_t>(life_of_np().microseconds / 1000);
}
uint32_t packets() {
    return static_cast<uint32_t>(life_of_np().packets);
}
uint32_t chip_revision() {
    return revision;
}

struct block_range {
    uint32_t first, count;
};

block_range block_of(uint32_t index) {
    for (uint32_t block = 1; block <= NPRM_NP_REGISTER_BLOCKS; ++block) {
        block_range range = {};
        nprm_np_get_reg_block(block, &range.first, &range.count);
        if (index >= range.first && index - range.first < range.count) return range;
    }
    return {index, 1};
}

}  // namespace

uint32_t register_value(uint32_t index) {
    block_range general = {};
    nprm_np_get_reg_block(general_block, &general.first, &general.count);
    constexpr uint32_t (*living[])() = {chip_revision, status, milliseconds, packets};
    constexpr uint32_t living_count = std::size(living);
    const uint32_t first_living = general.first + general.count - living_count;
    if (index >= first_living && index - first_living < living_count) return living[index - first_living]();
    const block_range block = block_of(index);
    const bool is_last = index + 1 == block.first + block.count;
    return is_last ? packets() : reset_value(index);
}
