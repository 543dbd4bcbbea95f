// Which fields of a reply's records the library hands to its operations: one row an operation.
#ifndef NPRM_WIRE_REPLY_RULES_H
#define NPRM_WIRE_REPLY_RULES_H

#include "nprm_message.h"

namespace nprm {

// A run of bytes of every record.
struct reply_field {
    uint16_t offset;
    uint16_t bytes;
};

// A list whose length the first record tells.  Its elements may begin inside the record; the reply reaches to count elements behind
// it.
struct reply_list {
    uint16_t count_offset;    // of the record
    uint16_t first_offset;    // of the record: where element 0 begins
    uint16_t element_bytes;   // 0: the operation has no list
    bool ends_reply = false;  // the reply may end with the list, before its record does
};

// The operation's fields, beside the result code that every record returns.  A field of 0 bytes ends them early.
struct reply_rule {
    uint32_t operation;
    reply_field fields[3];
    reply_list list = {0, 0, 0};
};

// The rule of an operation, or null.
const reply_rule *reply_rule_of(uint32_t component, uint32_t operation);

}  // namespace nprm

#endif
