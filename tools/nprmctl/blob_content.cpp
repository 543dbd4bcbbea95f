// Takes configuration blobs apart with the library's own steps, and finds what is wrong with them.

#include "blob_content.h"

#include "input_file.h"
#include "nprm.h"
#include "report.h"

#include <algorithm>
#include <cstdio>

namespace {

std::string at_byte(uint32_t offset, uint32_t type) {
    return "the entry at byte " + grouped(offset) + ", type " + std::to_string(type) + ",";
}

std::optional<std::string> defect_of(const nprm_config_entry &entry) {
    const uint32_t bytes = entry.words * 4, needed = nprm_layout_bytes(entry.type);
    if (nprm_layout_title(entry.type) == nullptr)
        return "the entry at byte " + grouped(entry.offset) + " has the type " + std::to_string(entry.type) + ", there are 1 to " +
               std::to_string(NPRM_ENTRY_TYPE_MAX) + ": nothing prints for it";
    if (bytes < needed)
        return at_byte(entry.offset, entry.type) + " has " + counted(bytes, "byte", "bytes") + ", its layout " +
               std::to_string(needed) + ": the others print as 0";
    // With room enough an entry's list is as long as the entry says.
    std::vector<uint8_t> roomy(entry.data, entry.data + bytes);
    roomy.resize(size_t{bytes} + UINT8_MAX);
    const uint32_t held = nprm_layout_field_count(entry.type, entry.data, bytes);
    const uint32_t said = nprm_layout_field_count(entry.type, roomy.data(), static_cast<uint32_t>(roomy.size()));
    if (held < said)
        return at_byte(entry.offset, entry.type) + " says that it has " + counted(said - held, "list element", "list elements") +
               " more than its " + counted(bytes, "byte", "bytes") + " hold";
    return std::nullopt;
}

std::optional<std::string> defect_at_end(const nprm_config_entry &end, size_t blob_bytes) {
    const auto left = static_cast<uint32_t>(blob_bytes) - end.offset;
    if (end.end == NPRM_CONFIG_CUT_HEADER)
        return "at byte " + grouped(end.offset) + " an entry begins, whose three words do not end within the blob's " +
               counted(blob_bytes, "byte", "bytes");
    if (end.end == NPRM_CONFIG_CUT_DATA)
        return at_byte(end.offset, end.type) + " claims " + counted(end.words, "word", "words") + " of data, the blob has " +
               counted(left - NPRM_BLOB_HEADER_BYTES, "byte", "bytes") + " more";
    if (end.end == NPRM_CONFIG_FULL && blob_bytes < NPRM_BLOB_BYTES_MAX)
        return "the blob ends at byte " + grouped(end.offset) + " without the type word of 0 that ends a blob";
    return std::nullopt;
}

}  // namespace

std::string read_blob(const std::string &path) {
    return read_bytes(path, NPRM_BLOB_BYTES_MAX, "a blob");
}

blob_content content_of_blob(const std::string &bytes) {
    blob_content content = {};
    nprm_config_entry entry = {};
    while (nprm_next_config_entry(bytes.data(), static_cast<uint32_t>(bytes.size()), &entry) != 0) {
        const std::string data(reinterpret_cast<const char *>(entry.data), size_t{entry.words} * 4);
        content.entries.push_back({entry.type, entry.addr, entry.offset, data});
        if (auto text = defect_of(entry)) content.defects.push_back({entry.offset, std::move(*text), false});
    }
    content.is_terminated = entry.end == NPRM_CONFIG_TERMINATED;
    content.end = entry.offset + (content.is_terminated ? 4U : 0U);
    if (auto text = defect_at_end(entry, bytes.size())) content.defects.push_back({entry.offset, std::move(*text), true});
    return content;
}

void print_entries(const std::vector<blob_entry> &entries) {
    std::vector<uint32_t> blob(NPRM_BLOB_BYTES_MAX / 4);  // of zeros: they end it
    uint32_t used = 0;
    for (const blob_entry &entry : entries)
        if (nprm_layout_title(entry.type) != nullptr)
            nprm_encode_config(entry.type, entry.addr, static_cast<uint32_t>(entry.data.size()), entry.data.data(),
                               reinterpret_cast<uint8_t *>(blob.data()), &used);
    nprm_syslog_flag = 0;  // what the library would log, the defects say
    nprm_decode_config_to_file(stdout, 0, nullptr, blob.data());
}

std::string title_of(const blob_entry &entry) {
    const char *title = nprm_layout_title(entry.type);
    std::string text = title != nullptr ? title : "";
    text.erase(text.find_last_not_of(' ') + 1);
    char addr[16];
    std::snprintf(addr, sizeof addr, " [%#x]", entry.addr);
    return (text.empty() ? "type " + std::to_string(entry.type) : text) + addr;
}

std::vector<field_text> fields_of(const blob_entry &entry) {
    std::vector<field_text> fields;
    const auto bytes = static_cast<uint32_t>(entry.data.size());
    nprm_entry_field field;
    for (uint32_t i = 0; nprm_layout_field(entry.type, i, entry.data.data(), bytes, &field) == NPRM_OK; ++i) {
        if (field.width > 64) {
            std::string part = entry.data.substr(std::min<size_t>(field.byte, bytes), field.width / 8);
            part.resize(field.width / 8);
            fields.push_back({field.name, hex_of_bytes(part)});
            continue;
        }
        const auto value = static_cast<unsigned long long>(nprm_layout_value(&field, entry.data.data(), bytes));
        char text[64];
        std::snprintf(text, sizeof text, "%#llx (%llu)", value, value);
        fields.push_back({field.name, text});
    }
    return fields;
}

std::string without_fields(const blob_entry &entry) {
    std::string rest = entry.data;
    const auto bytes = static_cast<uint32_t>(rest.size());
    nprm_entry_field field;
    for (uint32_t i = 0; nprm_layout_field(entry.type, i, entry.data.data(), bytes, &field) == NPRM_OK; ++i) {
        const size_t from = std::min<size_t>(field.byte, rest.size());
        if (nprm_layout_set_value(&field, 0, rest.data(), bytes) != NPRM_OK)  // a string of bytes, or cut by the entry's end
            std::fill_n(rest.begin() + static_cast<ptrdiff_t>(from), std::min<size_t>(field.width / 8, rest.size() - from), '\0');
    }
    return rest;
}
