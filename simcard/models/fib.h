// The card's forwarding table: IPv4 and IPv6 prefixes and where packets to them go.
//
// The operation is served for the model of interfaces; other models read.
#ifndef SIMCARD_MODELS_FIB_H
#define SIMCARD_MODELS_FIB_H

#include <cstddef>
#include <optional>

#include "api/wire/nprm_if_wire.h"
#include "simcard/model.h"

// In the fields of simcard/nprm_fib_fields.h.  Address bytes that a family does not have are 0.
struct fib_route {
    nprm_fib_prefix prefix;
    nprm_fib_nexthop nexthop;
};

// What is in the table now.  The references and numbers hold until the next request.
namespace fib {

size_t capacity();
size_t count();
size_t count(uint8_t version);  // of NPRM_FIB_IPV4 or NPRM_FIB_IPV6
// The routes by number: IPv4's first.   Requires: i < count().
fib_route at(size_t i);
// The longest prefix that contains the address, of which IPv4 has 4 bytes and IPv6 16; none when none does.
std::optional<fib_route> look_up(uint8_t version, const uint8_t *address);

}  // namespace fib

// What the model of interfaces calls.

// Operation NPRM_IF_FIB.
uint32_t serve_fib(const model_request &from, model_reply &reply);
void reset_fib(const card_configuration &configuration);
// {"capacity": 2000000, "ipv4": 3, "ipv6": 0, "bytes": 118}
nlohmann::json describe_fib();
// Answers {"lookup": ADDRESS} and {"count": "all", "ipv4" or "ipv6"}; throws std::invalid_argument on other questions.
nlohmann::json ask_fib(const nlohmann::json &question);

#endif
