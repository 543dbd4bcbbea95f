// Asks the server for hardware tables, and prints their entries.

#include "hw_table.h"

#include "entry_json.h"
#include "input_file.h"
#include "invocation.h"
#include "library_memory.h"
#include "server.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <iterator>

#include <strings.h>

#include <nlohmann/json.hpp>

namespace {

constexpr uint32_t table_ids = 64;      // that are tried for a list of all tables
constexpr size_t entries_a_blob = 256;  // that the printer takes at once
constexpr size_t words_a_line = 8;

bool has_layout(uint32_t type) {
    const char *title = nprm_layout_title(type);
    return title != nullptr && *title != '\0';
}

table_description described(const hw_table_info &info) {
    const std::string keys(reinterpret_cast<const char *>(info.summary),
                           strnlen(reinterpret_cast<const char *>(info.summary), 200));
    return {info.table_id,        has_layout(info.desc1) ? info.desc1 : 0,
            printable(info.name), info.geom1,
            info.geom4,           info.geom5,
            info.desc2,           printable(keys)};
}

answer ask_summary(uint32_t id, hw_table_info &info) {
    info = {};
    info.table_id = id;
    return ask([&] { return get_hw_table_summary(&info); });
}

void print_words(const std::vector<blob_entry> &entries) {
    for (const blob_entry &entry : entries) {
        std::vector<uint32_t> words(entry.data.size() / sizeof(uint32_t));
        std::memcpy(words.data(), entry.data.data(), words.size() * sizeof(uint32_t));
        while (words.size() > 1 && words.back() == 0)
            words.pop_back();
        std::printf("[%#x]", entry.addr);
        for (size_t i = 0; i < words.size(); ++i)
            std::printf("%s%08x", i % words_a_line == 0 && i != 0 ? "\n     " : " ", words[i]);
        std::putchar('\n');
    }
}

// Without the bytes that the layout, lists included, does not reach.
blob_entry cut(blob_entry entry) {
    uint32_t end = 0;
    nprm_entry_field field;
    for (uint32_t i = 0; nprm_layout_field(entry.type, i, entry.data.data(), NPRM_HW_ENTRY_BYTES, &field) == NPRM_OK; ++i)
        end = std::max(end, field.byte + (field.lowest_bit + field.width + 7) / 8);
    entry.data.resize((end + 3) / 4 * 4);
    return entry;
}

nlohmann::ordered_json json_of(const blob_entry &entry, bool raw) {
    if (!raw) return json_of_entry(cut(entry));
    std::vector<uint32_t> words(entry.data.size() / sizeof(uint32_t));
    std::memcpy(words.data(), entry.data.data(), words.size() * sizeof(uint32_t));
    return {{"addr", entry.addr}, {"words", words}};
}

}  // namespace

std::vector<table_description> all_tables() {
    std::vector<table_description> tables;
    hw_table_info info;
    for (uint32_t id = 0; id < table_ids; ++id) {
        const answer given = ask_summary(id, info);
        if (given.code == NPRM_OK)
            tables.push_back(described(info));
        else if (given.code != NPRM_ERROR_PARM_STRUCT_ID)
            throw unknown_for("the summary of table " + std::to_string(id) + " was not read", given);
    }
    return tables;
}

table_description table_of(const std::string &text) {
    if (!text.empty() && std::isdigit(static_cast<unsigned char>(text[0])) != 0) {
        const uint32_t id = number_argument("TABLE", text, 0, UINT32_MAX);
        hw_table_info info;
        const answer given = ask_summary(id, info);
        if (given.code == NPRM_ERROR_PARM_STRUCT_ID) throw refused("there is no table " + text, "nprmctl hw tables");
        if (given.code != NPRM_OK) throw unknown_for("the summary of table " + text + " was not read", given);
        return described(info);
    }
    for (table_description &table : all_tables())
        if (strcasecmp(table.name.c_str(), text.c_str()) == 0) return std::move(table);
    throw refused("there is no table " + in_quotes(text), "nprmctl hw tables");
}

std::vector<blob_entry> fetch(const table_description &table, table_operation operation, hw_table_info &info, uint32_t first,
                              const std::string &what) {
    info.table_id = table.id;
    library_memory<uint8_t> bytes;
    const answer given = ask([&] { return operation(&info, &bytes.data); });
    if (given.code == NPRM_ERROR_PARAM_KEY_NOT_FOUND) return {};
    if (given.code != NPRM_OK) {
        failure problem = unknown_for(what, given);
        if (given.code == NPRM_ERROR_PARAM && info.key != nullptr) problem.next = "the table takes as key: " + table.keys;
        throw problem;
    }
    std::vector<blob_entry> entries;
    for (uint32_t i = 0; i < info.num_entries; ++i) {
        const auto *entry = reinterpret_cast<const char *>(bytes.data) + size_t{i} * NPRM_HW_ENTRY_BYTES;
        entries.push_back({table.layout, first + i, 0, std::string(entry, NPRM_HW_ENTRY_BYTES)});
    }
    return entries;
}

void entry_output::add(std::vector<blob_entry> entries) {
    const bool is_text = !call_.json() && !raw_ && table_.layout != 0;
    if (is_text && numbers_ == entry_numbers::of_the_answer && !entries.empty())
        std::puts("[numbers] count what was found: an answer has no addresses");
    count_ += entries.size();
    if (call_.json())
        std::ranges::move(entries, std::back_inserter(kept_));
    else if (raw_ || table_.layout == 0)
        print_words(entries);
    else
        for (size_t at = 0; at < entries.size(); at += entries_a_blob) {
            const size_t end = std::min(entries.size(), at + entries_a_blob);
            print_entries({entries.begin() + static_cast<ptrdiff_t>(at), entries.begin() + static_cast<ptrdiff_t>(end)});
        }
}

void entry_output::finish(const std::string &none) {
    if (!call_.json()) {
        if (count_ == 0) std::puts(none.c_str());
        return;
    }
    nlohmann::ordered_json document = {{"table", table_.id}, {"name", table_.name}};
    document["layout"] = table_.layout != 0 ? nlohmann::ordered_json(table_.layout) : nlohmann::ordered_json(nullptr);
    document["entries"] = nlohmann::ordered_json::array();
    for (const blob_entry &entry : kept_) {
        nlohmann::ordered_json object = json_of(entry, raw_ || table_.layout == 0);
        if (numbers_ == entry_numbers::of_the_answer) object["addr"] = nullptr;
        document["entries"].push_back(std::move(object));
    }
    std::puts(document.dump(2).c_str());
}
