// Which registers a user means.
#ifndef NPRMCTL_REGISTER_MAP_H
#define NPRMCTL_REGISTER_MAP_H

#include <cstdint>
#include <string>

struct register_range {
    uint32_t first, count;
};

// A block by number or name, a register by name (EZreg_NPA_ may be left out), or indexes: FIRST-LAST.  Case does not count.
// Throws a failure of exit status 2.
register_range registers_of(const std::string &text);

// The block that a register belongs to; 0 for no register.
uint32_t block_of_register(uint32_t index);

#endif
