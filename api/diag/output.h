// Formatted text into a bounded buffer or onto a stream, whichever the caller has.
#ifndef NPRM_DIAG_OUTPUT_H
#define NPRM_DIAG_OUTPUT_H

#include <cstdarg>
#include <cstdint>
#include <cstdio>

namespace nprm {

class output {
  public:
    // At most room bytes with the terminator; the rest is counted and cut.
    output(char *text, uint32_t room) : text_(text), room_(text != nullptr ? room : 0) {
        if (room_ != 0) *text_ = '\0';
    }
    explicit output(FILE *stream) : stream_(stream) {}

    __attribute__((format(printf, 2, 3))) void add(const char *format, ...) {
        va_list arguments;
        va_start(arguments, format);
        const bool cut = length_ >= room_;
        const int bytes = stream_ != nullptr
                              ? vfprintf(stream_, format, arguments)
                              : vsnprintf(cut ? nullptr : text_ + length_, cut ? 0 : room_ - length_, format, arguments);
        va_end(arguments);
        if (bytes > 0) length_ += static_cast<uint32_t>(bytes);
    }

    // Of the whole text, cut or not; of a stream the bytes that it took.
    uint32_t length() const { return length_; }

  private:
    FILE *stream_ = nullptr;
    char *text_ = nullptr;
    uint32_t room_ = 0;
    uint32_t length_ = 0;
};

}  // namespace nprm

#endif
