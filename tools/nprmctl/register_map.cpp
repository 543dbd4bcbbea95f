// Finds registers by block, name or index in the library's map.

#include "register_map.h"

#include "failure.h"
#include "invocation.h"
#include "nprm.h"
#include "register_names.h"

#include <cctype>

#include <strings.h>

namespace {

constexpr const char *how = "nprmctl reg blocks lists the blocks, nprmctl reg find TEXT finds registers";

register_range block_range(uint32_t block) {
    register_range range = {};
    nprm_np_get_reg_block(block, &range.first, &range.count);
    if (range.count == 0) throw usage_error("block " + std::to_string(block) + " is reserved, it has no registers", how);
    return range;
}

register_range index_range(const std::string &first_text, const std::string &last_text) {
    const uint32_t last = nprm_get_number_of_regs() - 1;
    const uint32_t from = number_argument("FIRST of the range", first_text, 0, last);
    const uint32_t to = number_argument("LAST of the range", last_text, from, last);
    return {from, to - from + 1};
}

register_range range_of(const std::string &text) {
    const bool digits = !text.empty() && std::isdigit(static_cast<unsigned char>(text[0])) != 0;
    const size_t dash = text.find('-');
    if (digits && dash != std::string::npos) return index_range(text.substr(0, dash), text.substr(dash + 1));
    if (digits) return block_range(number_argument("BLOCK", text, 1, nprm_get_register_block_names_size()));
    for (uint32_t block = 1; block <= nprm_get_register_block_names_size(); ++block)
        if (strcasecmp(text.c_str(), register_block_names[block - 1]) == 0) return block_range(block);
    if (const uint32_t index = register_named(text); index < nprm_get_number_of_regs()) return {index, 1};
    throw usage_error(in_quotes(text) + " is no block, register or range of indexes", how);
}

}  // namespace

register_range registers_of(const std::string &text) {
    try {
        return range_of(text);
    } catch (failure &problem) {  // numbers out of range say that alone
        problem.next = how;
        throw;
    }
}

uint32_t block_of_register(uint32_t index) {
    for (uint32_t block = 1; block <= nprm_get_register_block_names_size(); ++block) {
        register_range range = {};
        nprm_np_get_reg_block(block, &range.first, &range.count);
        if (index >= range.first && index - range.first < range.count) return block;
    }
    return 0;
}
