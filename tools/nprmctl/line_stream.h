// A file of any length, line by line, in constant memory.
#ifndef NPRMCTL_LINE_STREAM_H
#define NPRMCTL_LINE_STREAM_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

class line_stream {
  public:
    static constexpr size_t line_bytes_max = 4096;

    // path: "-" is standard input.  Throws a failure of exit status 2 when it cannot be read; so does next().
    explicit line_stream(std::string path);
    ~line_stream();
    line_stream(const line_stream &) = delete;
    line_stream &operator=(const line_stream &) = delete;

    // The next line without its line feed; it is valid until the next call.  Of a line that is too long the first line_bytes_max +
    // 1 bytes come.  False at the end, and when was_interrupted() is true: nothing more is read then.
    bool next(std::string_view &line);
    uint32_t number() const { return number_; }  // of that line, from 1

    // Back to the beginning; false when this is no file that can be read again.
    bool rewind();

  private:
    void wait() const;
    bool fill();
    void skip_rest();

    std::string path_;
    int fd_;
    std::vector<char> buffer_;
    size_t begin_ = 0, end_ = 0;  // of what is read and not yet handed out
    uint32_t number_ = 0;
    bool has_rest_ = false;
};

// From the first call on, the first SIGINT or SIGTERM only sets was_interrupted(); a second one ends the process as usual.
void catch_interrupts();
bool was_interrupted();

#endif
