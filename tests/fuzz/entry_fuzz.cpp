// Any bytes as an entry of each type: the printer reads inside exactly those bytes, and prints lines that fit what it promises.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "api/diag/entry_printer.h"
#include "api/diag/nprm_decode.h"
#include "quiet.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    constexpr size_t largest_entry_bytes = 204;
    be_quiet();
    if (size < 1) return 0;
    const nprm::entry_layout *layout = nprm::layout_of(data[0] % (NPRM_ENTRY_TYPE_MAX + 2));
    if (layout == nullptr) return 0;

    std::vector<uint8_t> entry(data + 1, data + std::min(size, largest_entry_bytes + 1));
    entry.resize(std::max<size_t>(entry.size(), layout->bytes));
    std::vector<char> text(NPRM_ENTRY_TEXT_BYTES_MAX);
    nprm::sinks out(0, text.data(), nullptr);
    nprm::print_entry(*layout, 0xFFFFFFFF, entry.data(), static_cast<uint32_t>(entry.size()), out);

    const size_t length = std::strlen(text.data());
    require(layout->printer == nullptr ? length == 0 : text[0] == '\n' && length > 50);
    for (size_t i = 0; i < length; ++i)
        require(text[i] == '\n' || (text[i] >= ' ' && text[i] <= '~'));
    return 0;
}
