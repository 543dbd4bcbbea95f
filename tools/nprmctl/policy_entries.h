// Policy entries as text: one a line, "KEY MASK RESULT", each the record's fields in hexadecimal, in their order, joined by dots.
//
//   key and mask   u8.bytes.u16.u32.u32      11.0a0b0c0d0e0f.0050.c0000201.c6336401
//   result         u16.bytes.u32.u32.u8      0001.000000000000.00000002.00000003.04
//
// Numbers are written as values, the six-byte fields byte by byte; every digit is written.
#ifndef NPRMCTL_POLICY_ENTRIES_H
#define NPRMCTL_POLICY_ENTRIES_H

#include "nprm.h"
#include "text_input.h"

#include <string>
#include <string_view>
#include <vector>

struct policy_entry {
    nprm_tcam_policy_key key, mask;
    nprm_tcam_policy_result result;
};

std::vector<policy_entry> parse_policy_entries(std::string_view text, std::vector<text_error> &errors);
nprm_tcam_policy_key parse_policy_key(std::string_view text, std::vector<text_error> &errors);

std::string field_text(const nprm_tcam_policy_key &key);
std::string field_text(const nprm_tcam_policy_result &result);

#endif
