// A datagram of the log socket taken apart.

#include "datagram.h"

#include "ad_errorlog.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace {

constexpr size_t time_bytes = AD_ERRORLOG_TAIL_BYTES - 1;
constexpr int32_t microseconds_a_second = 1'000'000;
constexpr size_t tag_bytes_max = 16;

bool is_tag_character(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

std::string_view without_newline(std::string_view text) {
    if (text.ends_with('\n')) text.remove_suffix(1);
    return text;
}

// The text's end as the sender set it, and why the rest is no time.
const char *what_is_wrong(std::string_view bytes, size_t sent_bytes, size_t text_bytes, log_time &time) {
    if (sent_bytes == 0) return "empty";
    if (sent_bytes > AD_ERRORLOG_DATAGRAM_BYTES_MAX) return "too long, cut";
    if (text_bytes == bytes.size()) return "no terminator";
    const std::string_view tail = bytes.substr(text_bytes + 1);
    if (tail.size() < time_bytes) return "no time";
    if (tail.size() > time_bytes) return "bytes behind the time";
    int32_t words[2];
    std::memcpy(words, tail.data(), sizeof words);
    if (words[1] < 0 || words[1] >= microseconds_a_second) return "no such time";
    time = {words[0], words[1]};
    return nullptr;
}

}  // namespace

datagram take_apart(std::string_view bytes, size_t sent_bytes, log_time received) {
    const size_t text_bytes = std::min(bytes.find('\0'), bytes.size());
    datagram parts = {without_newline(bytes.substr(0, text_bytes)), received, nullptr};
    parts.malformed = what_is_wrong(bytes, sent_bytes, text_bytes, parts.time);
    return parts;
}

claim claim_of(std::string_view text) {
    // A process's name may hold parentheses itself: the first "(PID)TAG:" counts.
    const size_t head_bytes_max = AD_DEBUG_PROCESS_NAME_BYTES;
    for (size_t open = text.find('('); open < head_bytes_max; open = text.find('(', open + 1)) {
        claim found = {text.substr(0, open), {}, 0};
        const char *const end = text.data() + text.size();
        const auto [close, error] = std::from_chars(text.data() + open + 1, end, found.pid);
        if (error != std::errc{} || close == end || *close != ')' || found.pid <= 0) continue;
        const char *const tag_end = std::find_if_not(close + 1, end, is_tag_character);
        found.tag = {close + 1, static_cast<size_t>(tag_end - (close + 1))};
        if (!found.tag.empty() && found.tag.size() <= tag_bytes_max && tag_end != end && *tag_end == ':') return found;
    }
    return {{}, {}, 0};
}
