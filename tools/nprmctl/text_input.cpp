// Text files that people write: words with their columns, and errors that point at them.

#include "text_input.h"

#include <algorithm>

namespace {

constexpr size_t shown_columns_max = 110;  // of a line in an error
constexpr size_t quoted_bytes_max = 40;

bool is_blank(char c) {
    return c == ' ' || c == '\t';
}

}  // namespace

word_reader::word_reader(std::string_view line, uint32_t number, std::vector<text_error> &errors)
    : line_(line), number_(number), errors_(errors) {
    find_word(0);
}

void word_reader::find_word(size_t from) {
    size_t begin = from;
    while (begin < line_.size() && is_blank(line_[begin]))
        ++begin;
    if (begin == line_.size() || line_[begin] == '#' || line_[begin] == '!') {
        word_ = {};
        column_ = static_cast<uint32_t>(from + 1);
        return;
    }
    size_t end = begin;
    while (end < line_.size() && !is_blank(line_[end]))
        ++end;
    word_ = line_.substr(begin, end - begin);
    column_ = static_cast<uint32_t>(begin + 1);
}

std::string_view word_reader::next() {
    const std::string_view word = word_;
    if (!at_end()) find_word(column_ - 1 + word.size());
    return word;
}

bool word_reader::take(std::string_view word) {
    if (at_end() || word_ != word) return false;
    next();
    return true;
}

void word_reader::fail_at(uint32_t column, std::string message) {
    errors_.push_back({number_, column, std::move(message), std::string(line_)});
}

void one_line(std::string_view content, uint32_t number, std::vector<text_error> &errors,
              const std::function<void(word_reader &)> &line) {
    if (content.ends_with('\r')) content.remove_suffix(1);
    word_reader words(content, number, errors);
    if (const size_t lone = content.find('\r'); lone != std::string_view::npos)
        words.fail_at(static_cast<uint32_t>(lone + 1), "the line ends in a carriage return alone: end lines with a line feed");
    else if (!words.at_end())
        line(words);
}

void each_line(std::string_view text, std::vector<text_error> &errors, const std::function<void(word_reader &)> &line) {
    for (uint32_t number = 1; !text.empty(); ++number) {
        const size_t end = std::min(text.find('\n'), text.size());
        const std::string_view content = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        one_line(content, number, errors, line);
    }
}

std::string printable(std::string_view text) {
    std::string shown(text);
    for (char &c : shown) {
        if (c == '\t')
            c = ' ';
        else if (c < ' ' || c > '~')
            c = '.';
    }
    return shown;
}

std::string in_quotes(std::string_view word) {
    if (word.size() <= quoted_bytes_max) return "\"" + printable(word) + "\"";
    return "\"" + printable(word.substr(0, quoted_bytes_max)) + "...\"";
}

std::string explained(const text_error &error, std::string_view file) {
    size_t from = 0;
    if (error.column > shown_columns_max) from = error.column - shown_columns_max / 2;
    const std::string line = printable(std::string_view(error.source).substr(from, shown_columns_max));
    return std::string(file) + ":" + std::to_string(error.line) + ":" + std::to_string(error.column) + ": " + error.message +
           "\n    " + line + "\n    " + std::string(error.column - 1 - from, ' ') + "^\n";
}
