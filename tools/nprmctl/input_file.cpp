// Reads files, as text or as bytes.

#include "input_file.h"

#include "report.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace {

constexpr size_t text_bytes_max = size_t{64} << 20;  // far above 65,535 entries with comments

failure unreadable(const std::string &path, const std::string &why) {
    return unusable(name_of_file(path) + " cannot be read: " + why);
}

// At most bytes_max bytes, and one more where there are more.
std::string read_some(const std::string &path, size_t bytes_max) {
    struct closer {
        void operator()(FILE *file) const {
            if (file != stdin) std::fclose(file);
        }
    };
    const std::unique_ptr<FILE, closer> file(path == "-" ? stdin : std::fopen(path.c_str(), "re"));
    if (!file) throw unreadable(path, std::strerror(errno));
    std::string content;
    char part[65536];
    while (content.size() <= bytes_max) {
        const size_t wanted = std::min(sizeof part, bytes_max + 1 - content.size());
        const size_t bytes = std::fread(part, 1, wanted, file.get());
        if (bytes == 0) break;
        content.append(part, bytes);
    }
    if (std::ferror(file.get()) != 0) throw unreadable(path, std::strerror(errno));
    return content;
}

int value_of(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    return digit >= 'A' && digit <= 'F' ? digit - 'A' + 10 : -1;
}

}  // namespace

failure unusable(std::string what) {
    failure problem = refused(std::move(what));
    problem.status = exit_usage;
    return problem;
}

std::string name_of_file(const std::string &path) {
    return path == "-" ? "standard input" : path;
}

std::string read_text(const std::string &path) {
    std::string text = read_some(path, text_bytes_max);
    if (text.size() > text_bytes_max) throw unreadable(path, "it is larger than " + grouped(text_bytes_max) + " bytes");
    constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
    if (text.starts_with(byte_order_mark)) text.erase(0, byte_order_mark.size());
    return text;
}

std::string read_bytes(const std::string &path, size_t bytes_max, const char *what) {
    std::string bytes = read_some(path, bytes_max);
    if (bytes.size() > bytes_max)
        throw unusable(name_of_file(path) + " is larger than " + grouped(bytes_max) + " bytes, the most that " + what + " has");
    return bytes;
}

void write_file(const std::string &path, const std::string &bytes) {
    FILE *file = std::fopen(path.c_str(), "wbe");
    const bool written = file != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    const bool closed = file != nullptr && std::fclose(file) == 0;
    if (!written || !closed) throw refused(path + " cannot be written: " + std::strerror(errno));
}

std::string bytes_of_hex(const std::string &digits, const std::string &where) {
    std::string bytes;
    int high = -1;
    for (const char digit : digits) {
        if (high < 0 && (digit == ' ' || digit == '\n' || digit == '\t' || digit == '\r')) continue;
        const int value = value_of(digit);
        if (value < 0) throw unusable(where + " has " + in_quotes({&digit, 1}) + " where a hexadecimal digit must stand");
        if (high >= 0) bytes += static_cast<char>(high << 4 | value);
        high = high < 0 ? value : -1;
    }
    if (high >= 0) throw unusable(where + " ends in half a byte: a byte has two hexadecimal digits");
    return bytes;
}

std::string hex_of_bytes(const std::string &bytes) {
    constexpr const char *digits = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const char byte : bytes) {
        text += digits[static_cast<uint8_t>(byte) >> 4];
        text += digits[static_cast<uint8_t>(byte) & 15];
    }
    return text;
}
