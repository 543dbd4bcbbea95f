// A line of nprmctl's shell as the words of a command.
#ifndef NPRMCTL_SHELL_WORDS_H
#define NPRMCTL_SHELL_WORDS_H

#include <string>
#include <string_view>
#include <vector>

// Words stand between blanks.  A part in "double" or 'single' quotation marks is taken as it stands, and so is the character
// behind a backslash; '#' at the start of a word begins a comment.   False when a quotation mark or the line's last backslash
// has nothing that ends it.
bool split_into_words(std::string_view line, std::vector<std::string> &words);

#endif
