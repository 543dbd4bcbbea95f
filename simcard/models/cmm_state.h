// What the card's service contexts and groups of them are now, for other models to read.
#ifndef SIMCARD_MODELS_CMM_STATE_H
#define SIMCARD_MODELS_CMM_STATE_H

#include <map>
#include <vector>

#include "api/wire/nprm_cmm_wire.h"

struct cmm_state {
    std::map<uint8_t, nprm_service_context> contexts;  // by id; address bytes that a context does not have are 0
    std::map<uint8_t, std::vector<uint8_t>> groups;    // by number: the ids of their contexts, in the order given
};

// Holds until the next request.
const cmm_state &cmm();

#endif
