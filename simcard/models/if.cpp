// Interfaces and the FIB (component 3).

#include <nlohmann/json.hpp>

#include "fib.h"

namespace {

nlohmann::json describe() {
    return {{"fib", describe_fib()}};
}

constexpr model_operation operations[] = {
    {NPRM_IF_FIB, "FIB entries", serve_fib},
};

}  // namespace

constexpr component_model if_model = {
    .component = NPRM_COMPONENT_IF,
    .operations = operations,
    .head_records = 0,
    .malformed = NPRM_ERROR_PARAM,
    .unknown_operation = NPRM_ERROR_UNSUPPORTED,
    .reset = reset_fib,
    .describe = describe,
    .ask = ask_fib,
};
