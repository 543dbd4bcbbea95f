// Configuration blobs: appending an entry, walking the entries, printing them.

#include "blob.h"

#include "../frame/log.h"
#include "../wire/nprm_npa_wire.h"
#include "entry_printer.h"
#include "nprm_decode.h"

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
void print_whole(const entry_layout &layout, const blob_entry &entry, uint32_t offset, sinks &out) {
    const uint32_t bytes = entry.words * word_bytes;
    if (bytes >= layout.bytes) return print_entry(layout, entry.addr, entry.data, bytes, out);
    uint8_t filled[NPRM_HW_ENTRY_BYTES] = {};
    memcpy(filled, entry.data, bytes);
    NPRM_LOG_AT(NPRM_LEVEL_ERROR, "nprm_decode_config_to_file", __LINE__,
                "The entry at byte %u has %u bytes, type %u has %u: the others print as 0.", offset, bytes, entry.type,
                layout.bytes);
    print_entry(layout, entry.addr, filled, layout.bytes, out);
}

int print_entries(blob_walk &walk, sinks &out) {
    int result = 1;
    blob_entry entry = {};
    while (walk.next(entry)) {
        const entry_layout *layout = layout_of(entry.type);
        if (layout != nullptr) {
            print_whole(*layout, entry, walk.offset(), out);
            result = 0;
            continue;
        }
        NPRM_LOG_AT(NPRM_LEVEL_ERROR, "nprm_decode_config_to_file", __LINE__, "type = %d, addr = %d, len = %d.",
                    static_cast<int>(entry.type), static_cast<int>(entry.addr), static_cast<int>(entry.words));
        // An unknown type ends the blob when nothing was printed before it, and is passed by otherwise; it is meant so.
        if (result != 0) break;
    }
    if (walk.end() == blob_end::cut_header || walk.end() == blob_end::cut_data)
        NPRM_LOG_AT(NPRM_LEVEL_ERROR, "nprm_decode_config_to_file", __LINE__,
                    "The entry at byte %u, type %u with %u words, does not end within the blob's %u bytes.", walk.offset(),
                    entry.type, entry.words, uint32_t{NPRM_BLOB_BYTES_MAX});
    return result;
}

}  // namespace

bool blob_walk::next(blob_entry &entry) {
    offset_ = following_;
    const uint32_t left = bytes_ - offset_;
    blob_header header = {};
    if (left < word_bytes) {
        end_ = left == 0 ? blob_end::full : blob_end::cut_header;
        return false;
    }
    memcpy(&header, blob_ + offset_, left < sizeof header ? left : sizeof header);
    entry = {header.type, header.addr, header.words, nullptr};
    if (header.type == NPRM_ENTRY_END) {
        end_ = blob_end::terminated;
        return false;
    }
    if (left < sizeof header || header.words > (left - sizeof header) / word_bytes) {
        end_ = left < sizeof header ? blob_end::cut_header : blob_end::cut_data;
        return false;
    }
    entry.data = blob_ + offset_ + sizeof header;
    following_ = offset_ + static_cast<uint32_t>(sizeof header) + header.words * word_bytes;
    return true;
}

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

int nprm_decode_config_to_file(FILE *file, uint8_t echo, char *text, const uint32_t *blob) {
    nprm::sinks out(echo, text, file);
    nprm::blob_walk walk(blob, blob != nullptr ? uint32_t{NPRM_BLOB_BYTES_MAX} : 0);
    const int result = nprm::print_entries(walk, out);
    fputc('\n', stdout);
    fflush(stdout);
    NPRM_LOG(NPRM_LEVEL_ANY, ".");
    return result;
}

int nprm_decode_config(const uint32_t *blob) {
    return nprm_decode_config_to_file(nullptr, 1, nullptr, blob);
}
