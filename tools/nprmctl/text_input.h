// Text files that people write, line by line: words with their columns, and errors that point at them.
#ifndef NPRMCTL_TEXT_INPUT_H
#define NPRMCTL_TEXT_INPUT_H

#include <charconv>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Lines and columns count from 1; a column is a byte of the line.
struct text_error {
    uint32_t line, column;
    std::string message;
    std::string source;  // the whole line
};

// One line's words, in order.  '#' and '!' at the start of a word begin a comment.
class word_reader {
  public:
    word_reader(std::string_view line, uint32_t number, std::vector<text_error> &errors);

    bool at_end() const { return word_.empty(); }
    std::string_view peek() const { return word_; }  // empty at the end
    uint32_t column() const { return column_; }      // of that word; at the end, one behind the last word
    uint32_t line() const { return number_; }
    std::string_view next();
    bool take(std::string_view word);  // steps over the word when it is the next one

    void fail(std::string message) { fail_at(column_, std::move(message)); }
    void fail_at(uint32_t column, std::string message);

  private:
    void find_word(size_t from);

    std::string_view line_, word_;
    uint32_t number_, column_ = 1;
    std::vector<text_error> &errors_;
};

// Hands the line to `line` when it has words.   content: without its line feed
void one_line(std::string_view content, uint32_t number, std::vector<text_error> &errors,
              const std::function<void(word_reader &)> &line);
// The same with each line of a text.
void each_line(std::string_view text, std::vector<text_error> &errors, const std::function<void(word_reader &)> &line);

// A number written in decimal digits and nothing else.
template <typename number>
std::optional<number> decimal(std::string_view text) {
    number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return value;
}

// The word in quotation marks, cut when it is long, as messages name it.
std::string in_quotes(std::string_view word);

// "FILE:12:8: message", the line and a caret below the column.  A long line is shown around the column.
std::string explained(const text_error &error, std::string_view file);

// Bytes that a terminal shows as they are; control characters and bytes above 126 become dots, tabs blanks.
std::string printable(std::string_view text);

#endif
