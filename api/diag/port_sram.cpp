// Prints a port's configuration SRAM image with labels, and names the flow-debug record types.

#include "nprm_dump.h"

#include "../wire/nprm_npa_wire.h"
#include "entry_printer.h"
#include "nprm_decode.h"

#include <cstring>
#include <iterator>

namespace {

// The labels of entry type 1's rows, in their order.
constexpr const char *labels[] = {
    "Port enable",
    "Debug acl enabled",
    "Trace acl enabled",
    "Intercept acl enabled",
    "Policy lookup enabled",
    "L4 port loopback hash",
    "Control plane interface",
    "Dump acl vmr id",
    "Trace acl vmr id",
    "Intercept acl vmr id",
    "Policy vmr id",
    "Decode off",
    "Frame type",
    "Mapped port number",
    "Virtual port number",
    "Interface handle",
    "Header offset enable",
    "Rx/tx frame to tcam",
    "Tcam key gen profile",
    "Pre-parse tcam enable",
};

constexpr const char *punt_reasons[] = {
    "DIAG PKT", "DUMP", "TRACE", "DUMP AND TRACE", "STATISTICS", "PUNT PKT CAPTURE", "INVALID",
};

constexpr char invalid[] = "Invalid parameter";
constexpr const char *rule = "-----------------------------------------------\n";

}  // namespace

const char *nprm_get_punt_reason(uint32_t code) {
    constexpr uint32_t last = std::size(punt_reasons) - 1;
    return punt_reasons[code < last ? code : last];
}

int nprm_decode_pc_sram(int port, const uint8_t *sram, FILE *stream) {
    if (stream == nullptr) return EOF;
    if (sram == nullptr) return static_cast<int>(fwrite(invalid, 1, sizeof invalid - 1, stream));

    uint32_t words[NPRM_PORT_SRAM_BYTES / sizeof(uint32_t)];
    memcpy(words, sram, sizeof words);
    fprintf(stream, "\nPort=%d  Port Config SRAM  \n", port);
    fputs("-------------------------------------------\n", stream);
    fprintf(stream, "  0x%08x %08x %08x %08x\n", words[0], words[1], words[2], words[3]);
    // The heading goes to standard output, whatever the stream is; it is meant so.
    printf("%s  Field Name              #Bits  Value   \n%s", rule, rule);

    const nprm::entry_layout &layout = *nprm::layout_of(NPRM_ENTRY_PORT_CONFIG_RAM);
    for (uint32_t i = 0; i < layout.row_count && i < std::size(labels); ++i)
        fprintf(stream, "  %-25s %2d    0x%x\n", labels[i], int{layout.rows[i].width}, nprm::row_value(layout.rows[i], sram));
    return fputc('\n', stream);
}
