// config: what the card tells of its configuration: blobs of hardware-table entries, and which interface has which port.

#include "blob_content.h"
#include "blob_json.h"
#include "failure.h"
#include "input_file.h"
#include "invocation.h"
#include "nprm.h"
#include "server.h"

#include <vector>

namespace {

constexpr uint16_t no_interface = 0xFFFF;

std::string configuration(uint32_t selector, const std::string &input) {
    std::string bytes(NPRM_CONFIG_BYTES_MAX, '\0');
    uint32_t length = 0;
    learn("the configuration cannot be read", [&] {
        return nprm_read_config(selector, reinterpret_cast<const uint8_t *>(input.data()), static_cast<uint32_t>(input.size()),
                                reinterpret_cast<uint8_t *>(bytes.data()), &length);
    });
    bytes.resize(length);
    return bytes;
}

}  // namespace

int config_read(invocation &call) {
    uint32_t selector = 0;
    std::string digits, path;
    call.number("[SELECTOR]", selector, 0, UINT32_MAX,
                "what to read, 0 to 4294967295; on the simulated card a type of entries, or 0, all of them");
    call.text("--input HEX", digits, "bytes for the server in hexadecimal, at most 27");
    call.text("--save FILE", path, "put the blob into FILE in place of printing it");
    call.notes(
        "Prints as blob decode does, and ends as it does: status 2 when the blob breaks off.\n"
        "Example: nprmctl config read 1 --save ports.blob\n");
    call.parse();
    const std::string input = bytes_of_hex(digits, "--input");
    if (input.size() > NPRM_CONFIG_BYTES_SENT)
        throw usage_error("--input has " + counted(input.size(), "byte", "bytes") + ", at most " +
                              std::to_string(NPRM_CONFIG_BYTES_SENT) + " are sent",
                          usage_of(call.row()));
    if (call.given("--save") && path.empty()) throw usage_error("--save is empty, it must be a path", usage_of(call.row()));
    connect_to_server(call);
    const std::string bytes = configuration(selector, input);
    if (path.empty()) return show_blob(call, bytes, "the configuration");
    write_file(path, bytes);
    report done;
    done.sentence(path + " has " + counted(bytes.size(), "byte", "bytes"));
    done.fact("file", nullptr, path);
    done.fact("bytes", nullptr, uint64_t{bytes.size()});
    call.print(done);
    return exit_done;
}

int config_ports(invocation &call) {
    call.notes(
        "As the simulated card tells it: two bytes a port from port 0 on, 65535 where no interface has the port.\n"
        "Example: nprmctl config ports --json\n");
    call.parse();
    connect_to_server(call);
    // The library does not tell how many ports there are: behind the last, none has an interface.
    std::vector<uint16_t> interfaces(NPRM_CONFIG_BYTES_MAX / sizeof(uint16_t), no_interface);
    learn("the port mapping is not known", [&] { return nprm_read_port_mapping(reinterpret_cast<uint8_t *>(interfaces.data())); });
    report told;
    told.table("ports", {{"port", "port"}, {"interface", "interface"}});
    bool any = false;
    for (size_t port = 0; port < interfaces.size(); ++port) {
        if (interfaces[port] == no_interface) continue;
        any = true;
        told.row({uint64_t{port}, uint64_t{interfaces[port]}});
    }
    if (!any) told.sentence("no port has an interface");
    call.print(told);
    return exit_done;
}
