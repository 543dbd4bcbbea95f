// What the port and sfp commands have in common.
#ifndef NPRMCTL_PORT_TEXT_H
#define NPRMCTL_PORT_TEXT_H

#include <cstdint>
#include <string>

constexpr uint32_t port_most = UINT32_MAX;  // which ports there are, the card knows
constexpr const char *port_help = "the port's number, from 0; 0 to 15 on the simulated card";

inline std::string port_name(uint32_t port) {
    return "port " + std::to_string(port);
}

#endif
