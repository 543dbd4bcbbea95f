// sfp show, raw: what a port's module tells of itself and measures, decoded or as bytes.

#include "failure.h"
#include "input_file.h"
#include "invocation.h"
#include "nprm.h"
#include "port_text.h"
#include "server.h"
#include "sfp_decode.h"

#include <algorithm>
#include <cstring>

namespace {

using memory_bytes = std::array<uint8_t, sfp_memory_bytes>;
static_assert(sfp_memory_bytes == NPRM_SFP_BYTES);

memory_bytes read_identification(uint32_t port) {
    memory_bytes bytes = {};
    learn("the module of " + port_name(port) + " does not tell what it is",
          [&] { return nprm_sfp_read_msa_all(port, bytes.data(), sfp_memory_bytes); });
    return bytes;
}

memory_bytes read_monitoring(uint32_t port) {
    memory_bytes bytes = {};
    learn("the module of " + port_name(port) + " does not tell what it measures",
          [&] { return nprm_sfp_read_dom_all(port, bytes.data(), sfp_memory_bytes); });
    return bytes;
}

memory_bytes read_image(const std::string &path) {
    const std::string content = read_bytes(path, 2 * sfp_memory_bytes, "a module's memory");
    if (content.size() != sfp_memory_bytes)
        throw unusable(name_of_file(path) + " has " + counted(content.size(), "byte", "bytes") +
                       "; a module's memory has 256, nprmctl sfp raw PORT --binary > FILE makes one");
    memory_bytes bytes = {};
    std::memcpy(bytes.data(), content.data(), bytes.size());
    return bytes;
}

std::string joined(const std::vector<std::string> &parts) {
    std::string text;
    for (const std::string &part : parts)
        text += (text.empty() ? "" : ", ") + part;
    return text;
}

cell text_or_nothing(const std::string &text) {
    return text.empty() ? cell{} : cell{text};
}

std::string sum_text(bool is_right) {
    return is_right ? "right" : "WRONG";
}

void add_identification(report &shown, const sfp_identification &told) {
    shown.fact("identifier", "module", told.identifier);
    shown.fact("vendor", "vendor", text_or_nothing(told.vendor));
    shown.fact("oui", "vendor OUI", told.oui);
    shown.fact("part", "part", text_or_nothing(told.part));
    shown.fact("revision", "revision", text_or_nothing(told.revision));
    shown.fact("serial", "serial", text_or_nothing(told.serial));
    shown.fact("date", "date", text_or_nothing(told.date));
    shown.fact("lot", told.lot.empty() ? nullptr : "lot", text_or_nothing(told.lot));
    shown.fact("compliance", "compliance", text_or_nothing(joined(told.compliance)));
    shown.fact("connector", "connector", told.connector);
    shown.fact("encoding", "encoding", told.encoding);
    shown.fact("rate_mbd", "rate", decimal_value{static_cast<double>(told.rate_mbd), 0, "MBd"});
    if (told.wavelength_nm)
        shown.fact("wavelength_nm", "wavelength", decimal_value{static_cast<double>(*told.wavelength_nm), 0, "nm"});
    else
        shown.fact("wavelength_nm", nullptr, std::monostate{});
    shown.fact("reach", "reach", text_or_nothing(joined(told.reach)));
    shown.fact("base_sum_is_right", nullptr, told.base_sum_is_right);
    shown.fact("extended_sum_is_right", nullptr, told.extended_sum_is_right);
    shown.fact("sums", "check sums", sum_text(told.base_sum_is_right) + ", " + sum_text(told.extended_sum_is_right));
}

std::string state_of(const sfp_monitoring &told) {
    std::vector<std::string> states;
    if (told.is_not_ready) states.emplace_back("NOT READY");
    if (told.has_transmit_fault) states.emplace_back("TRANSMIT FAULT");
    if (told.is_transmit_disabled) states.emplace_back("transmitter off");
    if (told.is_without_light) states.emplace_back("NO LIGHT");
    return states.empty() ? "ok" : joined(states);
}

void add_monitoring(report &shown, const sfp_identification &module, const memory_bytes &memory) {
    const sfp_monitoring told = decode_monitoring(memory, module);
    shown.fact("calibrated_by", "calibrated by", std::string(module.is_calibrated_by_reader ? "the reader" : "the module"));
    shown.fact("monitoring_sum_is_right", nullptr, told.sum_is_right);
    shown.fact("monitoring_sum", "monitoring sum", sum_text(told.sum_is_right));
    shown.fact("state", "state", state_of(told));
    shown.table("monitoring", {{"name", nullptr},
                               {"quantity", "quantity"},
                               {"unit", nullptr},
                               {"value", "value"},
                               {"dbm", "dBm"},
                               {"mark", "mark"},
                               {"alarm_low", "low alarm"},
                               {"warning_low", "low warning"},
                               {"warning_high", "high warning"},
                               {"alarm_high", "high alarm"}});
    for (size_t i = 0; i < sfp_quantity_count; ++i) {
        const sfp_quantity_name &name = sfp_quantity_names[i];
        const sfp_reading &reading = told.readings[i];
        const auto value = [&name](double number, bool has_unit = false) {
            return decimal_value{number, name.digits, has_unit ? name.unit : ""};
        };
        const bool is_power = i == sfp_sent || i == sfp_received;
        const auto dbm = is_power ? dbm_of(reading.now) : std::nullopt;
        shown.row({std::string(name.key), std::string(name.name), std::string(name.unit), value(reading.now, true),
                   dbm ? cell{decimal_value{*dbm, 2, ""}} : cell{}, std::string(mark_text(reading.mark)), value(reading.alarm_low),
                   value(reading.warning_low), value(reading.warning_high), value(reading.alarm_high)});
    }
}

std::string hex_dump(const memory_bytes &bytes) {
    std::string text;
    for (size_t row = 0; row < bytes.size(); row += 16) {
        char part[16];
        std::snprintf(part, sizeof part, "%02x ", static_cast<unsigned>(row));
        text += part;
        for (size_t i = row; i < row + 16; ++i) {
            std::snprintf(part, sizeof part, " %02x", bytes[i]);
            text += part;
        }
        text += "  " + printable({reinterpret_cast<const char *>(bytes.data()) + row, 16}) + "\n";
    }
    return text;
}

std::string hex_of(const memory_bytes &bytes) {
    std::string text;
    char part[4];
    for (const uint8_t byte : bytes) {
        std::snprintf(part, sizeof part, "%02x", byte);
        text += part;
    }
    return text;
}

}  // namespace

int sfp_show(invocation &call) {
    uint32_t port = 0;
    std::string file, monitor;
    call.number("[PORT]", port, 0, port_most, port_help);
    call.text("--file FILE", file, "decode this file of 256 bytes instead of asking the card");
    call.text("--monitor FILE", monitor, "with --file: the 256 bytes of optical monitoring");
    call.notes("Example: nprmctl sfp show 3\nExample: nprmctl sfp raw 3 --binary > a0; nprmctl sfp show --file a0\n");
    call.parse();
    const bool offline = call.given("--file");
    if (offline == call.given("[PORT]")) throw usage_error("PORT or --file must be given, and not both", usage_of(call.row()));
    if (call.given("--monitor") && !offline) throw usage_error("--monitor goes with --file", usage_of(call.row()));
    if (!offline) connect_to_server(call);
    const memory_bytes identification = offline ? read_image(file) : read_identification(port);
    const sfp_identification told = decode_identification(identification);
    report shown;
    if (!offline) shown.fact("port", "port", uint64_t{port});
    add_identification(shown, told);
    if (call.given("--monitor"))
        add_monitoring(shown, told, read_image(monitor));
    else if (!told.has_monitoring)
        shown.fact("monitoring_note", "monitoring", std::string("none"));
    else if (told.needs_address_change)
        shown.fact("monitoring_note", "monitoring", std::string("not readable without a change of address"));
    else if (offline)
        shown.fact("monitoring_note", "monitoring", std::string("not given"));
    else
        add_monitoring(shown, told, read_monitoring(port));
    call.print(shown);
    return exit_done;
}

int sfp_raw(invocation &call) {
    uint32_t port = 0;
    bool monitoring = false, binary = false;
    call.number("PORT", port, 0, port_most, port_help);
    call.flag("--monitoring", monitoring, "the optical monitoring instead of the identification");
    call.flag("--binary", binary, "the 256 bytes as they are");
    call.notes("Example: nprmctl sfp raw 3 --monitoring --binary > a2\n");
    call.parse();
    if (binary && call.json()) throw usage_error("--binary and --json exclude each other", usage_of(call.row()));
    connect_to_server(call);
    const memory_bytes bytes = monitoring ? read_monitoring(port) : read_identification(port);
    if (binary) {
        std::fwrite(bytes.data(), 1, bytes.size(), stdout);
        return exit_done;
    }
    if (!call.json()) {
        const std::string text = hex_dump(bytes);
        std::fwrite(text.data(), 1, text.size(), stdout);
        return exit_done;
    }
    report raw;
    raw.fact("port", nullptr, uint64_t{port});
    raw.fact("memory", nullptr, std::string(monitoring ? "monitoring" : "identification"));
    raw.fact("bytes", nullptr, hex_of(bytes));
    call.print(raw);
    return exit_done;
}
