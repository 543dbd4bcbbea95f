// Splits a line of nprmctl's shell.

#include "shell_words.h"

bool split_into_words(std::string_view line, std::vector<std::string> &words) {
    words.clear();
    bool in_word = false;
    char quote = 0;
    for (size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        const bool is_blank = c == ' ' || c == '\t' || c == '\r';
        if (quote == 0 && is_blank) {
            in_word = false;
            continue;
        }
        if (!in_word && c == '#') return true;
        if (!in_word) words.emplace_back();
        in_word = true;
        if (c == quote) {
            quote = 0;
        } else if (quote == 0 && (c == '"' || c == '\'')) {
            quote = c;
        } else if (quote == 0 && c == '\\') {
            if (++i == line.size()) return false;
            words.back() += line[i];
        } else {
            words.back() += c;
        }
    }
    return quote == 0;
}
