// Hardware tables of the FIB: what packets to a prefix get, and IPv4 prefixes with their data.

#include "hw_tables.h"

#include "api/diag/nprm_decode.h"
#include "fib.h"
#include "simcard/nprm_fib_fields.h"

namespace {

uint32_t capacity() {
    return static_cast<uint32_t>(fib::capacity());
}
uint32_t routes() {
    return static_cast<uint32_t>(fib::count());
}
uint32_t ipv4_routes() {
    return static_cast<uint32_t>(fib::count(NPRM_FIB_IPV4));
}

// Both layouts of a route's data have these fields; a route that names an interface forwards to it.
void put_data(const fib_route &route, hw_entry &entry) {
    const bool forwards = route.nexthop.u16_5 != 0;
    entry.set("cb0.valid", 1)
        .set("cb0.match", 1)
        .set("cb0.forward", forwards)
        .set("cb0.drop", !forwards)
        .set("cb0.def_route", route.prefix.u8_1 == 0)
        .set("cb2.match_all", route.prefix.u8_1 == 0)
        .set("cb2.drop", !forwards)
        .set("cb2.forward", forwards)
        .set_each("dmac", route.nexthop.bytes_7)
        .set("uidb", route.nexthop.u16_5);
}

bool read_route(uint32_t address, hw_entry &entry) {
    put_data(fib::at(address), entry);
    return true;
}

void put_key(const fib_route &route, hw_entry &entry) {
    uint32_t address = 0;
    for (size_t i = 0; i < sizeof address; ++i)
        address = address << 8 | route.prefix.address[i];
    entry.set("ip_v4", address).set("vrf", 0);
}

bool read_key(uint32_t address, hw_entry &entry) {
    put_key(fib::at(address), entry);
    return true;
}

template <void put(const fib_route &, hw_entry &)>
bool find(std::span<const uint8_t> address, hw_entry &entry) {
    const auto route = fib::look_up(address.size() == 4 ? NPRM_FIB_IPV4 : NPRM_FIB_IPV6, address.data());
    if (route) put(*route, entry);
    return route.has_value();
}

template <void put(const fib_route &, hw_entry &)>
bool find_ipv4(std::span<const uint8_t> address, hw_entry &entry) {
    return address.size() == 4 && find<put>(address, entry);
}

constexpr hw_table tables[] = {
    {NPRM_ENTRY_FIB, NPRM_ENTRY_FIB, "FIB Entry", 12, capacity, routes, read_route, find<put_data>, routes},
    {NPRM_ENTRY_FIB_KEY, NPRM_ENTRY_FIB_KEY, "FIB Table(key)", 8, capacity, ipv4_routes, read_key, find_ipv4<put_key>, ipv4_routes},
    {NPRM_ENTRY_FIB_DATA, NPRM_ENTRY_FIB_DATA, "FIB Table(Data)", 12, capacity, ipv4_routes, read_route, find_ipv4<put_data>,
     ipv4_routes},
};

}  // namespace

constexpr std::span<const hw_table> hw_fib_tables = tables;
