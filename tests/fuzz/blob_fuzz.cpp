// Any bytes as a configuration blob: walked inside exactly those bytes, and printed as the public operation does it.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "api/diag/blob.h"
#include "api/diag/nprm_decode.h"
#include "quiet.h"

namespace {

void walk(const uint8_t *data, size_t size) {
    const std::vector<uint8_t> exact(data, data + size);
    nprm::blob_walk walk(exact.data(), static_cast<uint32_t>(exact.size()));
    nprm::blob_entry entry = {};
    uint32_t sum = 0;
    size_t end = 0;
    while (walk.next(entry)) {
        require(entry.type != 0 && walk.offset() == end);
        for (size_t i = 0; i < size_t{entry.words} * 4; ++i)
            sum += entry.data[i];
        end = walk.offset() + 12 + size_t{entry.words} * 4;
        require(end <= size);
    }
    require(walk.end() != nprm::blob_end::none && walk.offset() == end && !walk.next(entry));
    require(sum <= 255 * size);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    constexpr size_t blob_bytes = NPRM_BLOB_BYTES_MAX;
    be_quiet();
    size = std::min(size, blob_bytes);
    walk(data, size);

    std::vector<uint32_t> blob(blob_bytes / 4);
    if (size != 0) std::memcpy(blob.data(), data, size);
    std::vector<char> text((size / NPRM_BLOB_HEADER_BYTES + 1) * NPRM_ENTRY_TEXT_BYTES_MAX);
    const int result = nprm_decode_config_to_file(nullptr, 0, text.data(), blob.data());
    require(result == 0 || result == 1);
    return 0;
}
