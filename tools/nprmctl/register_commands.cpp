// The network processor's registers: blocks, ranges, names.

#include "failure.h"
#include "invocation.h"
#include "nprm.h"
#include "register_map.h"
#include "register_names.h"
#include "register_values.h"
#include "report.h"

#include <cstdio>

namespace {

constexpr const char *what_notes =
    "WHAT is a block by number or name (13, \"Top parse\"), a register by name (EZreg_NPA_ICFD_LOWER_LIMIT, or without "
    "EZreg_NPA_),\n"
    "or indexes (0-5).\n";

std::string block_name(uint32_t index) {
    const uint32_t block = block_of_register(index);
    return block == 0 ? "" : register_block_names[block - 1];
}

std::string hex_text(uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", value);
    return text;
}

}  // namespace

int reg_blocks(invocation &call) {
    call.parse();
    report list;
    list.table("blocks", {{"block", "block"}, {"name", "name"}, {"first", "first"}, {"last", "last"}, {"registers", "registers"}});
    for (uint32_t block = 1; block <= nprm_get_register_block_names_size(); ++block) {
        uint32_t first = 0, count = 0;
        nprm_np_get_reg_block(block, &first, &count);
        const bool has_any = count != 0;
        list.row({uint64_t{block}, register_block_names[block - 1], has_any ? cell(uint64_t{first}) : cell(),
                  has_any ? cell(uint64_t{first} + count - 1) : cell(), uint64_t{count}});
    }
    call.print(list);
    return exit_done;
}

int reg_show(invocation &call) {
    std::string what;
    bool offline = false;
    call.text("WHAT", what, "which registers: a block, a name or indexes");
    call.flag("--offline", offline, "only indexes and names, without asking the server for the values");
    call.notes(what_notes);
    call.parse();
    const register_range range = registers_of(what);
    std::vector<uint32_t> values;
    if (!offline) values = read_registers(call, range.first, range.count, "--offline shows the names without the server");
    report list;
    std::vector<column> columns = {{"index", "index"}, {"name", "register"}, {"block", nullptr}};
    if (!offline) columns.insert(columns.end(), {{"value", nullptr}, {"hex", "value"}});
    list.table("registers", columns);
    for (uint32_t i = 0; i < range.count; ++i) {
        const uint32_t index = range.first + i;
        std::vector<cell> cells = {uint64_t{index}, get_npa_register_name(index), block_name(index)};
        if (!offline) cells.insert(cells.end(), {uint64_t{values[i]}, hex_text(values[i])});
        list.row(cells);
    }
    call.print(list);
    return exit_done;
}

int reg_find(invocation &call) {
    std::string text;
    call.text("TEXT", text, "part of a register's name, in capitals or not");
    call.notes("Exit status 1 when no register has such a name.\n");
    call.parse();
    if (text.empty()) throw usage_error("TEXT is empty, it must be part of a name", usage_of(call.row()));
    const register_search search(text);
    report list;
    list.table("registers", {{"index", "index"}, {"name", "register"}, {"block", "block"}});
    uint32_t found = 0;
    for (uint32_t index = 0; index < nprm_get_number_of_regs(); ++index)
        if (search.finds(get_npa_register_name(index))) {
            list.row({uint64_t{index}, get_npa_register_name(index), block_name(index)});
            ++found;
        }
    if (found == 0) list.sentence("no register has " + in_quotes(text) + " in its name");
    call.print(list);
    return found != 0 ? exit_done : exit_refused;
}
