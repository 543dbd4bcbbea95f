// Catches what the library logs and prints during a call.

#include "log_catcher.h"

#include "library_texts.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include <sys/types.h>

namespace {

// Standard error and output as they were before the catcher, and what was caught since.
FILE *real_error, *real_output;
std::vector<std::string> messages;
bool echoing;

ssize_t catch_message(void *, const char *text, size_t bytes) {
    messages.emplace_back(text, bytes);
    if (echoing) std::fprintf(real_error, "%s\n", messages.back().c_str());
    return static_cast<ssize_t>(bytes);
}

ssize_t drop(void *, const char *, size_t bytes) {
    return static_cast<ssize_t>(bytes);
}

FILE *stream_to(cookie_write_function_t *write) {
    FILE *stream = fopencookie(nullptr, "w", {nullptr, write, nullptr, nullptr});
    if (stream != nullptr) setvbuf(stream, nullptr, _IONBF, 0);  // a write a message
    return stream;
}

// "function(12): text" without its head.
std::string_view without_head(std::string_view message) {
    const size_t head = message.find("): ");
    return head == std::string_view::npos ? message : message.substr(head + 3);
}

}  // namespace

log_catcher::log_catcher(bool echo) : echo_(echo) {
    static FILE *const messages_stream = stream_to(catch_message);
    static FILE *const dropped_stream = stream_to(drop);
    echoing = echo_;
    messages.clear();
    real_error = stderr;
    real_output = stdout;
    if (messages_stream != nullptr) stderr = messages_stream;
    if (dropped_stream != nullptr) stdout = dropped_stream;
}

log_catcher::~log_catcher() {
    stderr = real_error;
    stdout = real_output;
}

std::vector<std::string> log_catcher::failures() const {
    std::vector<std::string> failures;
    for (const std::string &message : messages) {
        const std::string_view text = without_head(message);
        const bool is_trace =
            std::ranges::any_of(library_texts::traces, [text](std::string_view trace) { return text.starts_with(trace); });
        if (!is_trace) failures.emplace_back(text);
    }
    return failures;
}
