// The one printer of all entry types.
#ifndef NPRM_DIAG_ENTRY_PRINTER_H
#define NPRM_DIAG_ENTRY_PRINTER_H

#include "entry_rows.h"
#include "line.h"

#include <cstdint>

namespace nprm {

// Prints an entry of `bytes` bytes, at least layout.bytes.  Nothing is read behind them: a list of members ends there.
void print_entry(const entry_layout &layout, uint32_t addr, const uint8_t *entry, uint32_t bytes, sinks &out);

// The value of a row of the form number.
uint32_t row_value(const field_row &row, const uint8_t *entry);

}  // namespace nprm

#endif
