// What the commands of interfaces, port channels and bridge groups have in common.
#ifndef NPRMCTL_INTERFACE_WORDS_H
#define NPRMCTL_INTERFACE_WORDS_H

#include <cstdint>
#include <string>

constexpr const char *interface_help = "the interface's number, 0 to 65535";

inline std::string interface_name(uint32_t id) {
    return "interface " + std::to_string(id);
}

#endif
