// Live values of registers.
#ifndef NPRMCTL_REGISTER_VALUES_H
#define NPRMCTL_REGISTER_VALUES_H

#include <cstdint>
#include <vector>

class invocation;

// Asks the server for `count` registers from `first` on; throws a failure that says why there are no values.
// otherwise: what to try without the server; null: what the result code says
std::vector<uint32_t> read_registers(const invocation &call, uint32_t first, uint32_t count, const char *otherwise = nullptr);

#endif
