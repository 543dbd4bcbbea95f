// Asks the server for the values of registers.

#include "register_values.h"

#include "library_memory.h"
#include "nprm.h"
#include "server.h"

std::vector<uint32_t> read_registers(const invocation &call, uint32_t first, uint32_t count, const char *otherwise) {
    connect_to_server(call, otherwise);
    library_memory<uint32_t> values;
    const answer given = ask([&] { return nprm_get_np_registers(first, count, &values.data); });
    if (given.code != NPRM_OK) {
        failure problem = unknown_for("the registers were not read", given);
        if (otherwise != nullptr) problem.next = otherwise;
        throw problem;
    }
    return {values.data, values.data + count};
}
