// Packets in the log: a header line, then rows of sixteen bytes.

#include "ad_packet.h"

#include "log_line.h"
#include "process_id.h"
#include "state.h"

#include <algorithm>

namespace {

constexpr unsigned row_bytes = 16;

void send_header(const log_route &route, const char *tag, int length, const char *file, int line, const char *description) {
    log_line header;
    header.append_origin(tag, file, line);
    header.send_formatted(route, "DUMP length = 0x%x (%s)\n", static_cast<unsigned>(length), text_or_null(description));
}

void send_row(const log_route &route, const char *tag, unsigned offset, const uint8_t *bytes, unsigned count) {
    log_line row;
    row.append("(");
    row.append_decimal(process_id());
    row.append(")");
    row.append(tag);
    row.append(": ");
    row.append_hexadecimal(offset, 3);
    row.append(": ");
    for (unsigned i = 0; i < count; ++i) {
        if (i > 0) row.append(i == row_bytes / 2 ? ",  " : ",");
        row.append_hexadecimal(bytes[i], 2);
    }
    row.append("\n");
    row.send(route);
}

}  // namespace

void ad_debug_print_pkt_impl(int level, const char *tag, const void *data, int length, const char *file, int line,
                             const char *description) {
    const errno_kept keep;
    const ad_debug_cfg *record = now(ad_debug_cfg_p);
    if (record == nullptr) return;
    const log_route route = route_of(level, *record);
    if (route.leads_nowhere()) return;

    send_header(route, tag, length, file, line, description);
    const auto *bytes = static_cast<const uint8_t *>(data);
    const unsigned total = data != nullptr && length > 0 ? static_cast<unsigned>(length) : 0;
    for (unsigned offset = 0; offset < total; offset += row_bytes)
        send_row(route, tag, offset, bytes + offset, std::min(row_bytes, total - offset));
}
