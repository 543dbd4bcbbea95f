// Interfaces and the FIB (component 3).

#include <nlohmann/json.hpp>

#include "fib.h"
#include "if_lookups.h"

namespace {

nlohmann::json describe() {
    return {{"fib", describe_fib()}};
}

void reset(const card_configuration &configuration) {
    reset_fib(configuration);
    reset_lookups();
}

constexpr model_operation operations[] = {
    {NPRM_IF_FIB, "FIB entries", serve_fib},
    {NPRM_IF_TCAM_LOOKUP, "switch a look-up", serve_lookup_switch},
};

}  // namespace

constexpr component_model if_model = {
    .component = NPRM_COMPONENT_IF,
    .operations = operations,
    .head_records = 0,
    .malformed = NPRM_ERROR_PARAM,
    .unknown_operation = NPRM_ERROR_UNSUPPORTED,
    .reset = reset,
    .describe = describe,
    .ask = ask_fib,
};
