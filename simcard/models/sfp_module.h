// Simulated SFP modules: what they tell of themselves and what they measure, laid out as SFF-8472 says.
#ifndef SIMCARD_MODELS_SFP_MODULE_H
#define SIMCARD_MODELS_SFP_MODULE_H

#include <array>
#include <cstdint>

#include "api/wire/nprm_mac_wire.h"

enum class sfp_kind : uint8_t {
    none,        // an empty cage
    unreadable,  // light passes, but its memory does not answer
    copper,      // without optical monitoring
    short_10g,
    long_10g,
    extended_10g,
    short_1g,
    long_1g,
};

struct sfp_module {
    sfp_kind kind;
    bool is_hot;                   // warns of its temperature
    bool is_calibrated_by_reader;  // measures raw values, and tells the constants to convert them with
    uint32_t serial;
};

using sfp_image = std::array<uint8_t, NPRM_SFP_BYTES>;

bool has_identification(const sfp_module &module);
bool has_monitoring(const sfp_module &module);

// The 256 bytes at address A0h.  Requires: has_identification().
sfp_image identification_of(const sfp_module &module);

// The 256 bytes at address A2h after so many seconds of drifting; light tells whether the far end sends.  Requires:
// has_monitoring().
sfp_image monitoring_of(const sfp_module &module, uint64_t seconds, bool light);

#endif
