// Configuration blobs: appending an entry, walking the entries, printing them.

#include "nprm_decode.h"

#include "../frame/log.h"
#include "../wire/nprm_npa_wire.h"
#include "entry_printer.h"

#include <cstring>

namespace nprm {

namespace {

constexpr uint32_t word_bytes = 4;

struct blob_header {
    uint32_t type;
    uint32_t addr;
    uint32_t words;
};
static_assert(sizeof(blob_header) == NPRM_BLOB_HEADER_BYTES);

// An entry that is shorter than its layout is printed from a copy with zeros behind it.
void print_whole(const entry_layout &layout, const nprm_config_entry &entry, sinks &out) {
    const uint32_t bytes = entry.words * word_bytes;
    if (bytes >= layout.bytes) return print_entry(layout, entry.addr, entry.data, bytes, out);
    uint8_t filled[NPRM_HW_ENTRY_BYTES] = {};
    memcpy(filled, entry.data, bytes);
    NPRM_LOG_AT(NPRM_LEVEL_ERROR, "nprm_decode_config_to_file", __LINE__,
                "The entry at byte %u has %u bytes, type %u has %u: the others print as 0.", entry.offset, bytes, entry.type,
                layout.bytes);
    print_entry(layout, entry.addr, filled, layout.bytes, out);
}

int print_entries(const uint32_t *blob, uint32_t blob_bytes, sinks &out) {
    int result = 1;
    nprm_config_entry entry = {};
    while (nprm_next_config_entry(blob, blob_bytes, &entry) != 0) {
        const entry_layout *layout = layout_of(entry.type);
        if (layout != nullptr) {
            print_whole(*layout, entry, out);
            result = 0;
            continue;
        }
        NPRM_LOG_AT(NPRM_LEVEL_ERROR, "nprm_decode_config_to_file", __LINE__, "type = %d, addr = %d, len = %d.",
                    static_cast<int>(entry.type), static_cast<int>(entry.addr), static_cast<int>(entry.words));
        // An unknown type ends the blob when nothing was printed before it, and is passed by otherwise; it is meant so.
        if (result != 0) break;
    }
    if (entry.end == NPRM_CONFIG_CUT_HEADER || entry.end == NPRM_CONFIG_CUT_DATA)
        NPRM_LOG_AT(NPRM_LEVEL_ERROR, "nprm_decode_config_to_file", __LINE__,
                    "The entry at byte %u, type %u with %u words, does not end within the blob's %u bytes.", entry.offset,
                    entry.type, entry.words, blob_bytes);
    return result;
}

}  // namespace

}  // namespace nprm

int nprm_encode_config(uint32_t type, uint32_t addr, uint32_t len_bytes, const void *data, uint8_t *blob, uint32_t *used) {
    if (blob == nullptr || used == nullptr || (data == nullptr && len_bytes != 0)) return 0;
    const uint64_t padded_bytes = (uint64_t{len_bytes} + nprm::word_bytes - 1) / nprm::word_bytes * nprm::word_bytes;
    const uint64_t end = *used + padded_bytes + NPRM_BLOB_HEADER_BYTES;
    if (end > NPRM_BLOB_BYTES_MAX) return 0;

    uint8_t *at = blob + *used;
    const nprm::blob_header header = {type, addr, static_cast<uint32_t>(padded_bytes) / nprm::word_bytes};
    memcpy(at, &header, sizeof header);
    if (len_bytes != 0) memcpy(at + sizeof header, data, len_bytes);
    memset(at + sizeof header + len_bytes, 0, static_cast<size_t>(padded_bytes) - len_bytes);
    *used = static_cast<uint32_t>(end);
    return 1;
}

int nprm_next_config_entry(const void *blob, uint32_t bytes, nprm_config_entry *entry) {
    if (entry == nullptr || entry->end != NPRM_CONFIG_GOES_ON) return 0;
    // Zeros are the begin: an entry that was given has data.
    uint64_t at = entry->offset;
    if (entry->data != nullptr) at += NPRM_BLOB_HEADER_BYTES + uint64_t{entry->words} * nprm::word_bytes;
    const uint32_t size = blob != nullptr ? bytes : 0;
    const uint32_t offset = at < size ? static_cast<uint32_t>(at) : size;
    const uint32_t left = size - offset;

    // The type word before the others: behind a 0 nothing need be readable.
    const auto *start = static_cast<const uint8_t *>(blob) + offset;
    nprm::blob_header header = {};
    if (left >= nprm::word_bytes) memcpy(&header.type, start, sizeof header.type);
    if (header.type != NPRM_ENTRY_END) memcpy(&header, start, left < sizeof header ? left : sizeof header);
    uint32_t end = NPRM_CONFIG_GOES_ON;
    if (left == 0)
        end = NPRM_CONFIG_FULL;
    else if (left >= nprm::word_bytes && header.type == NPRM_ENTRY_END)
        end = NPRM_CONFIG_TERMINATED;
    else if (left < sizeof header)
        end = NPRM_CONFIG_CUT_HEADER;
    else if (header.words > (left - sizeof header) / nprm::word_bytes)
        end = NPRM_CONFIG_CUT_DATA;
    const uint8_t *data = end == NPRM_CONFIG_GOES_ON ? start + sizeof header : nullptr;
    *entry = {header.type, header.addr, header.words, offset, data, end};
    return end == NPRM_CONFIG_GOES_ON ? 1 : 0;
}

int nprm_decode_config_to_file(FILE *file, uint8_t echo, char *text, const uint32_t *blob) {
    nprm::sinks out(echo, text, file);
    const int result = nprm::print_entries(blob, NPRM_BLOB_BYTES_MAX, out);
    fputc('\n', stdout);
    fflush(stdout);
    NPRM_LOG(NPRM_LEVEL_ANY, ".");
    return result;
}

int nprm_decode_config(const uint32_t *blob) {
    return nprm_decode_config_to_file(nullptr, 1, nullptr, blob);
}
