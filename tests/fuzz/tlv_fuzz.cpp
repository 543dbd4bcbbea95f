// Any bytes as a list of flow-debug records, read inside exactly those bytes: record by record into rooms of any size, and whole.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "api/diag/nprm_dump.h"
#include "quiet.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    be_quiet();
    if (size < 1) return 0;
    const uint32_t room = data[0];
    const std::vector<uint8_t> list(data + 1, data + size);

    for (size_t at = 0; at <= list.size();) {
        const auto left = static_cast<uint32_t>(list.size() - at);
        std::vector<char> text(room);
        const uint32_t step = nprm_format_debug_tlv(list.data() + at, left, text.data(), room);
        require(room == 0 || std::memchr(text.data(), '\0', room) != nullptr);
        require(step <= left && (step == 0 || step >= 4));
        if (step == 0) break;
        at += step;
    }
    // What the server knows stays unasked: this process is no client of it.
    nprm_decode_flow_tlv(list.data(), static_cast<uint32_t>(list.size()), stdout);
    return 0;
}
