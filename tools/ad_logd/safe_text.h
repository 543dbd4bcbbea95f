// Text from other processes, made fit for a terminal and for a line.
#ifndef AD_LOGD_SAFE_TEXT_H
#define AD_LOGD_SAFE_TEXT_H

#include <string>
#include <string_view>

enum class backslash { doubled, kept };

// Appends the text with what could steer a terminal or end the line written out: control characters and bytes that are no UTF-8 as
// "\xNN"; C1 controls, line and paragraph separators, marks that turn the direction of writing and characters that cannot be seen
// as
// "\uNNNN" or "\UNNNNNNNN".
// A backslash is doubled, so that what is written out cannot be forged; kept is for text that went through here before.
void append_safe(std::string &out, std::string_view text, backslash how = backslash::doubled);

// Appends the text as a string of JSON, in its quotation marks.   text: safe
void append_json_string(std::string &out, std::string_view text);

#endif
