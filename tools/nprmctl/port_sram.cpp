// sram: a port's configuration SRAM.

#include "entry_json.h"
#include "invocation.h"
#include "nprm.h"
#include "server.h"

#include <cstdio>
#include <cstring>

#include <nlohmann/json.hpp>

int show_port_sram(invocation &call) {
    uint32_t port = 0;
    bool raw = false;
    call.number("PORT", port, 0, INT32_MAX, "the port's number");
    call.flag("--raw", raw, "the image's words alone");
    call.parse();
    connect_to_server(call);
    uint8_t image[NPRM_PORT_SRAM_BYTES] = {};
    learn("the SRAM of port " + std::to_string(port) + " was not read", [&] { return nprm_get_config_sram(port, image); });
    if (call.json()) {
        const std::string data(reinterpret_cast<const char *>(image), sizeof image);
        std::puts(json_of_entry({NPRM_ENTRY_PORT_CONFIG_RAM, port, 0, data}).dump(2).c_str());
        return exit_done;
    }
    if (!raw) {
        nprm_decode_pc_sram(static_cast<int>(port), image, stdout);
        return exit_done;
    }
    uint32_t words[sizeof image / sizeof(uint32_t)];
    std::memcpy(words, image, sizeof image);
    std::printf("%08x %08x %08x %08x\n", words[0], words[1], words[2], words[3]);
    return exit_done;
}
