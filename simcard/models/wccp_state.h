// What the card's WCCP entries are now, for other models to read.
#ifndef SIMCARD_MODELS_WCCP_STATE_H
#define SIMCARD_MODELS_WCCP_STATE_H

#include <map>

#include "api/wire/nprm_wccp_wire.h"

struct wccp_state {
    std::map<uint8_t, nprm_wccp_entry> entries;  // by id; bytes that an entry's flags do not name are 0
    uint16_t mtu = 1500;
};

// Holds until the next request.
const wccp_state &wccp();

#endif
