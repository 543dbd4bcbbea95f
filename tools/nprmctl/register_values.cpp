// Asks the server for the values of registers.

#include "register_values.h"

#include "nprm.h"
#include "server.h"

#include <cstdlib>
#include <memory>

std::vector<uint32_t> read_registers(const invocation &call, uint32_t first, uint32_t count, const char *otherwise) {
    connect_to_server(call, otherwise);
    uint32_t *values = nullptr;
    const answer given = ask([&] { return nprm_get_np_registers(first, count, &values); });
    if (given.code != NPRM_OK) {
        failure problem = unknown_for("the registers were not read", given);
        if (otherwise != nullptr) problem.next = otherwise;
        throw problem;
    }
    const std::unique_ptr<uint32_t, decltype(&std::free)> owned(values, &std::free);
    return {values, values + count};
}
