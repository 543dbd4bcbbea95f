// Switches the TCAM look-ups of the packet path.

#include "if_lookups.h"

#include "api/wire/nprm_if_wire.h"

namespace {

std::array<lookup_switch, 4> lookups;

}  // namespace

const std::array<lookup_switch, 4> &packet_lookups() {
    return lookups;
}

uint32_t serve_lookup_switch(const model_request &from, model_reply &) {
    const nprm_if_lookup_record &wanted = from.at<nprm_if_record>(0).lookup;
    const bool fits = wanted.type < lookups.size() && wanted.enable <= 1 && wanted.vmr_id <= UINT8_MAX;
    if (!fits) return NPRM_ERROR_PARAM;
    lookups[wanted.type] = {wanted.enable == 1, static_cast<uint8_t>(wanted.vmr_id)};
    return NPRM_OK;
}

void reset_lookups() {
    lookups = {};
}
