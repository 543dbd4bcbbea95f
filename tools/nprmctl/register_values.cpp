// Asks the server for the values of registers.

#include "register_values.h"

#include "nprm.h"
#include "server.h"

#include <cstdlib>
#include <memory>

std::vector<uint32_t> read_registers(const invocation &call, uint32_t first, uint32_t count) {
    connect_to_server(call, "--offline shows the names without the server");
    uint32_t *values = nullptr;
    learn("the registers were not read", [&] { return nprm_get_np_registers(first, count, &values); });
    const std::unique_ptr<uint32_t, decltype(&std::free)> owned(values, &std::free);
    return {values, values + count};
}
