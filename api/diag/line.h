// One line of printed text on its way to the places where it is wanted.
#ifndef NPRM_DIAG_LINE_H
#define NPRM_DIAG_LINE_H

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace nprm {

// A line with the newline that stands before it everywhere but in the log.  What does not fit is cut.
class line {
  public:
    line() { restart(); }

    void restart() {
        text_[0] = '\n';
        end_ = text_ + 1;
    }
    void add(const char *text, size_t bytes) {
        if (bytes > room()) bytes = room();
        memcpy(end_, text, bytes);
        end_ += bytes;
    }
    // The beginning of an array: copied whole, which takes fewer steps than the right number of bytes does.
    template <size_t size>
    void add_some(const char (&text)[size], size_t bytes) {
        if (size > room()) return;
        memcpy(end_, text, size);
        end_ += bytes;
    }
    void add(const char *text) { add(text, strlen(text)); }
    void blanks(size_t count) {
        if (count > room()) count = room();
        memset(end_, ' ', count);
        end_ += count;
    }
    void add_number(uint64_t value, int base = 10) { end_ = std::to_chars(end_, text_ + sizeof text_ - 1, value, base).ptr; }
    // As "%#x" has it: zero has no prefix.
    void add_hex(uint32_t value) {
        if (value != 0) add("0x", 2);
        add_number(value, 16);
    }
    // Fills a column that began at `start` characters up to its width.
    void pad(size_t start, size_t width) {
        const size_t used = length() - start;
        if (used < width) blanks(width - used);
    }
    // Text at the right end of a column.
    void add_right(const char *text, size_t width) {
        const size_t bytes = strlen(text);
        if (bytes < width) blanks(width - bytes);
        add(text, bytes);
    }

    // With the newline, terminated.
    const char *text() {
        *end_ = '\0';
        return text_;
    }
    size_t length() const { return static_cast<size_t>(end_ - text_); }

  private:
    size_t room() const { return static_cast<size_t>(text_ + sizeof text_ - 1 - end_); }

    char *end_;
    char text_[4096];
};

// Where an entry's lines go, in this order: the caller's text, file, standard output, the log.
class sinks {
  public:
    sinks(uint8_t echo, char *text, FILE *file) : echo_(echo != 0), text_end_(text), file_(file) {
        if (text_end_ != nullptr) text_end_ += strlen(text_end_);
    }

    // printer: the name under which the line is logged.
    void put(line &what, const char *printer);

  private:
    bool echo_;
    char *text_end_;  // of the caller's text so far; kept, so that printing much text does not search for its end again and again
    FILE *file_;
};

}  // namespace nprm

#endif
