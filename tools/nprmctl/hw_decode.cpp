// Decodes one hardware-table entry from a file, by the layout of its type.  No server is needed.

#include "entry_json.h"
#include "failure.h"
#include "input_file.h"
#include "invocation.h"
#include "nprm.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <sstream>

namespace {

constexpr uint32_t hex_text_bytes_max = 4096;

std::string without_blanks_at_end(std::string text) {
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

std::string all_types() {
    std::string text = "Types:\n";
    for (uint32_t type = 1; type <= NPRM_ENTRY_TYPE_MAX; ++type)
        if (*nprm_layout_title(type) != '\0') {
            char line[80];
            std::snprintf(line, sizeof line, "  %2u  %s, %u bytes\n", type, without_blanks_at_end(nprm_layout_title(type)).c_str(),
                          nprm_layout_bytes(type));
            text += line;
        }
    return text;
}

// By number or title, in capitals or not.
uint32_t entry_type(const std::string &text) {
    if (!text.empty() && std::isdigit(static_cast<unsigned char>(text[0])) != 0) {
        const uint32_t type = number_argument("TYPE", text, 1, NPRM_ENTRY_TYPE_MAX);
        if (*nprm_layout_title(type) == '\0')
            throw usage_error("type " + text + " has no fields to decode", "nprmctl hw decode --help");
        return type;
    }
    for (uint32_t type = 1; type <= NPRM_ENTRY_TYPE_MAX; ++type)
        if (!text.empty() && strcasecmp(without_blanks_at_end(nprm_layout_title(type)).c_str(), text.c_str()) == 0) return type;
    throw usage_error("TYPE is " + in_quotes(text) + ", it must be the number or the title of a type", "nprmctl hw decode --help");
}

// Bytes as pairs of digits in their order, and words, which begin with 0x, in the host's.
std::string bytes_of_text(const std::string &text, const std::string &name) {
    std::string bytes;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        if (!word.starts_with("0x") && !word.starts_with("0X")) {
            bytes += bytes_of_hex(word, name);
            continue;
        }
        std::string digits = word.substr(2);
        if (digits.empty() || digits.size() > 8) throw unusable(name + ": " + in_quotes(word) + " is no word of 32 bits");
        digits.insert(0, 8 - digits.size(), '0');
        const std::string big = bytes_of_hex(digits, name);
        bytes.append(big.rbegin(), big.rend());
    }
    return bytes;
}

std::string read_entry(const std::string &path, bool hex) {
    const std::string name = name_of_file(path);
    std::string bytes = hex ? bytes_of_text(read_bytes(path, hex_text_bytes_max, "an entry's text"), name)
                            : read_bytes(path, NPRM_HW_ENTRY_BYTES, "an entry");
    if (bytes.empty()) throw unusable(name + " is empty");
    if (bytes.size() > NPRM_HW_ENTRY_BYTES)
        throw unusable(name + " has " + std::to_string(bytes.size()) + " bytes, an entry at most " +
                       std::to_string(NPRM_HW_ENTRY_BYTES));
    return bytes;
}

}  // namespace

int hw_decode(invocation &call) {
    std::string type, path;
    uint32_t addr = 0;
    bool hex = false;
    call.text("TYPE", type, "the entry's type, by number or title");
    call.text("FILE", path, "the entry's bytes, or - for standard input");
    call.number("--addr ADDR", addr, 0, UINT32_MAX, "the entry's place in its table, for the title; 0 when not given");
    call.flag("--hex", hex, "FILE is text: bytes such as \"05 a3\", or words such as \"0x12345678\"");
    const std::string types = all_types();
    call.notes(types.c_str());
    call.parse();
    blob_entry entry = {entry_type(type), addr, 0, read_entry(path, hex)};
    if (call.json()) {
        std::fputs(json_text_of_entry(entry).c_str(), stdout);
        return exit_done;
    }
    print_entries({entry});
    const uint32_t needed = nprm_layout_bytes(entry.type);
    if (entry.data.size() < needed)
        std::fprintf(stderr, "nprmctl: the entry has %s, its layout %u: the others print as 0\n",
                     counted(entry.data.size(), "byte", "bytes").c_str(), needed);
    return exit_done;
}
