// What the card's TCAM holds now, for other models to read.
#ifndef SIMCARD_MODELS_TCAM_STATE_H
#define SIMCARD_MODELS_TCAM_STATE_H

#include <cstdint>
#include <optional>

#include "api/wire/nprm_tcam_wire.h"

// The lists lie one behind the other in the order of their ids, so a place is a list's beginning and a position.
namespace tcam_places {

struct place {
    uint8_t vmr_id;
    bool is_policy;  // else the entry is of an ACL
    const nprm_tcam_entry *entry;
};

uint32_t capacity();
uint32_t end();   // of the lists: no place from here on holds an entry
uint32_t used();  // places that hold one
// None where no entry was written.  It holds until the next request.
std::optional<place> at(uint32_t number);

}  // namespace tcam_places

#endif
