// Any bytes as a configuration blob: walked inside exactly those bytes, viewed field by field, and printed.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "api/diag/nprm_decode.h"
#include "api/diag/nprm_entry_layout.h"
#include "quiet.h"

namespace {

// Every field of every entry, and each written back as it was.
void view(const nprm_config_entry &entry) {
    std::vector<uint8_t> copy(entry.data, entry.data + size_t{entry.words} * 4);
    const auto bytes = static_cast<uint32_t>(copy.size());
    const uint32_t fields = nprm_layout_field_count(entry.type, copy.data(), bytes);
    require(fields <= 512);
    nprm_entry_field field;
    for (uint32_t i = 0; i < fields; ++i) {
        require(nprm_layout_field(entry.type, i, copy.data(), bytes, &field) == NPRM_OK);
        require(std::strlen(field.name) < sizeof field.name);
        const uint64_t value = nprm_layout_value(&field, copy.data(), bytes);
        require(field.width >= 64 || value >> field.width == 0);
        const bool inside = field.byte + (field.lowest_bit + field.width + 7) / 8 <= bytes;
        require((nprm_layout_set_value(&field, value, copy.data(), bytes) == NPRM_OK) == (inside && field.width <= 64));
    }
    require(nprm_layout_field(entry.type, fields, copy.data(), bytes, &field) == NPRM_ERROR_PARAM);
    require(std::equal(copy.begin(), copy.end(), entry.data));
}

// Returns the number of entries.
size_t walk(const uint8_t *data, size_t size) {
    const std::vector<uint8_t> exact(data, data + size);
    const auto bytes = static_cast<uint32_t>(exact.size());
    nprm_config_entry entry = {};
    size_t end = 0;
    size_t entries = 0;
    while (nprm_next_config_entry(exact.data(), bytes, &entry) != 0) {
        require(entry.type != 0 && entry.offset == end);
        end = entry.offset + 12 + size_t{entry.words} * 4;
        require(end <= size);
        view(entry);
        ++entries;
    }
    require(entry.end != NPRM_CONFIG_GOES_ON && entry.offset == end && entry.data == nullptr);
    require(nprm_next_config_entry(exact.data(), bytes, &entry) == 0);
    return entries;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    constexpr size_t blob_bytes = NPRM_BLOB_BYTES_MAX;
    be_quiet();
    size = std::min(size, blob_bytes);
    std::vector<uint32_t> blob(blob_bytes / 4);
    if (size != 0) std::memcpy(blob.data(), data, size);
    walk(data, size);
    // Behind the input are zeros, with which a cut entry may be whole.
    const size_t entries = walk(reinterpret_cast<const uint8_t *>(blob.data()), blob_bytes);
    std::vector<char> text(entries * NPRM_ENTRY_TEXT_BYTES_MAX + 1);
    const int result = nprm_decode_config_to_file(nullptr, 0, text.data(), blob.data());
    require(result == 0 || result == 1);
    return 0;
}
