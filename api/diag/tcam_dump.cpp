// Dumps TCAM entries (mask, value, result) as hexadecimal text to the log.

#include "nprm_dump.h"

#include "../frame/log.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr uint32_t bytes_a_line = 24;
constexpr const char *next_line = "\n         ";

// A text that grows inside a fixed room and is always terminated.
class dump_text {
  public:
    dump_text(char *text, size_t room) : start_(text), at_(text), end_(text + room - 1) { *at_ = '\0'; }

    void restart() {
        at_ = start_;
        *at_ = '\0';
    }
    void add(const char *piece) {
        while (*piece != '\0' && at_ != end_)
            *at_++ = *piece++;
        *at_ = '\0';
    }
    void add_hex(uint8_t byte) {
        constexpr char digits[] = "0123456789abcdef";
        const char two[] = {digits[byte >> 4], digits[byte & 15], '\0'};
        add(two);
    }

  private:
    char *start_;
    char *at_;
    char *end_;
};

// The blank after every second byte stands at a line's end too.
void add_wide(dump_text &text, const uint8_t *bytes, uint32_t count) {
    for (uint32_t i = 1; i <= count; ++i) {
        text.add_hex(bytes[i - 1]);
        if (i % 2 == 0) text.add(" ");
        if (i % bytes_a_line == 0 && i != count) text.add(next_line);
    }
}

void add_result(dump_text &text, const uint8_t *bytes, uint32_t count) {
    for (uint32_t i = 1; i <= count; ++i) {
        text.add_hex(bytes[i - 1]);
        if (i % 4 == 0) text.add(" ");
    }
}

uint64_t text_bytes(uint32_t k, uint32_t r) {
    return uint64_t{5} * k + uint64_t{30} * (k / bytes_a_line) + uint64_t{9} * r / 4 + 45;
}

}  // namespace

void nprm_tcam_vmr_data(int /*tag*/, uint16_t count, uint32_t k, uint32_t r, const uint8_t *arrays[2]) {
    const uint64_t bytes = text_bytes(k, r);
    // More than an int counts is no TCAM entry's, on either ABI.
    char *buffer = bytes <= INT32_MAX ? static_cast<char *>(malloc(static_cast<size_t>(bytes))) : nullptr;
    if (buffer == nullptr) {
        NPRM_LOG(NPRM_LEVEL_ERROR, "%s: Unable to allocate memory %d.\n.", __func__, static_cast<int>(bytes));
        return;
    }
    const bool complete = arrays != nullptr && (arrays[0] != nullptr || k == 0) && (arrays[1] != nullptr || r == 0);
    if (!complete && count != 0) NPRM_LOG(NPRM_LEVEL_ERROR, "An argument is a null pointer.");

    dump_text text(buffer, static_cast<size_t>(bytes));
    for (size_t entry = 0; complete && entry < count; ++entry) {
        const uint8_t *value = arrays[0] + entry * 2 * k;
        text.restart();
        text.add("      M: ");
        add_wide(text, value + k, k);
        text.add("\n      V: ");
        add_wide(text, value, k);
        text.add("\n      R: ");
        add_result(text, arrays[1] + entry * r, r);
        text.add("\n");
        NPRM_LOG(NPRM_LEVEL_ERROR, "%s.", buffer);
    }
    free(buffer);
}
