// The components that the card serves: the rows of nprm_message.h that have records, each with its model.
#ifndef SIMCARD_COMPONENTS_H
#define SIMCARD_COMPONENTS_H

#include <span>
#include <string_view>

#include "model.h"

struct component_row {
    uint32_t number;
    const char *name;
    uint32_t opcode;
    uint32_t record_bytes;
    const component_model *model;
};

std::span<const component_row> served_components();

// Null when there is none, or none that is served.
const component_row *find_component(uint32_t number);
const component_row *find_component(std::string_view name);  // in capital or small letters
const component_row *find_component_of_opcode(uint32_t opcode);

#endif
