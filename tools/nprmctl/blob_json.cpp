// Writes a configuration blob as one JSON document, and makes a blob of such a document.

#include "blob_json.h"

#include "entry_json.h"
#include "input_file.h"
#include "nprm.h"
#include "report.h"

#include <algorithm>

#include <nlohmann/json.hpp>

using nlohmann::ordered_json;

namespace {

failure not_json(const std::string &text, const std::string &name, size_t byte) {
    const size_t at = std::min(byte > 0 ? byte - 1 : 0, text.size());
    const size_t begin = at == 0 ? 0 : text.rfind('\n', at - 1) + 1;  // npos + 1 is 0
    const auto line = static_cast<uint32_t>(1 + std::count(text.begin(), text.begin() + static_cast<ptrdiff_t>(begin), '\n'));
    failure problem = unusable(name + " is no JSON document");
    problem.file = name;
    problem.errors = {
        {line, static_cast<uint32_t>(at - begin + 1), "here it cannot go on", text.substr(begin, text.find('\n', begin) - begin)}};
    return problem;
}

ordered_json parsed(const std::string &text, const std::string &name) {
    if (text.empty()) throw unusable(name + " is empty, it must be a JSON document");
    try {
        return ordered_json::parse(text);
    } catch (const ordered_json::parse_error &error) {
        throw not_json(text, name, error.byte);
    }
}

void append(std::string &blob, const blob_entry &entry, const std::string &where) {
    uint32_t used = static_cast<uint32_t>(blob.size());
    blob.resize(NPRM_BLOB_BYTES_MAX);
    const int done = nprm_encode_config(entry.type, entry.addr, static_cast<uint32_t>(entry.data.size()), entry.data.data(),
                                        reinterpret_cast<uint8_t *>(blob.data()), &used);
    blob.resize(used);
    if (done == 0)
        throw unusable(where + " does not fit: from byte " + grouped(used) + " on it takes " +
                       grouped(NPRM_BLOB_HEADER_BYTES + entry.data.size()) + ", a blob has " + grouped(NPRM_BLOB_BYTES_MAX));
}

void append_rest(std::string &blob, const ordered_json &document, const std::string &name) {
    const auto check = [&](size_t bytes, const char *what) {
        if (bytes > NPRM_BLOB_BYTES_MAX)
            throw unusable(name + ": with " + what + " the blob has " + grouped(bytes) + " bytes, at most are " +
                           grouped(NPRM_BLOB_BYTES_MAX));
    };
    const ordered_json terminated = document.value("terminated", ordered_json(true));
    if (!terminated.is_boolean()) throw unusable(name + ": \"terminated\" must be true or false");
    if (terminated.get<bool>()) blob.append(4, '\0');
    check(blob.size(), "the word that ends it");
    if (document.contains("behind")) {
        if (!document["behind"].is_string()) throw unusable(name + ": \"behind\" must be text of hexadecimal digits");
        blob += bytes_of_hex(document["behind"].get<std::string>(), name + ": \"behind\"");
        check(blob.size(), "what is behind it");
    }
    if (!document.contains("size")) return;
    const ordered_json &size = document["size"];
    if (!size.is_number_unsigned() || size.get<uint64_t>() > NPRM_BLOB_BYTES_MAX)
        throw unusable(name + ": \"size\" is " + size.dump(-1, ' ', true) + ", it must be a number from 0 to " +
                       std::to_string(NPRM_BLOB_BYTES_MAX));
    blob.resize(std::max<size_t>(blob.size(), size.get<size_t>()));
}

}  // namespace

std::string json_of_blob(const std::string &bytes, const blob_content &content) {
    ordered_json document = {{"entries", ordered_json::array()}};
    for (const blob_entry &entry : content.entries)
        document["entries"].push_back(json_of_entry(entry));
    document["terminated"] = content.is_terminated;
    std::string behind = bytes.substr(content.end);
    behind.erase(behind.find_last_not_of('\0') + 1);
    if (!behind.empty()) document["behind"] = hex_of_bytes(behind);
    if (content.end + behind.size() != bytes.size()) document["size"] = bytes.size();
    document["defects"] = ordered_json::array();
    for (const blob_defect &defect : content.defects)
        document["defects"].push_back({{"offset", defect.offset}, {"what", defect.text}});
    return document.dump(2) + "\n";
}

encoded_blob blob_of_json(const std::string &text, const std::string &name) {
    const ordered_json document = parsed(text, name);
    if (!document.is_object() || !document.contains("entries") || !document["entries"].is_array())
        throw unusable(name + " is no object with an array \"entries\", as nprmctl blob decode --json prints it");
    for (const auto &[member, value] : document.items())
        if (member != "entries" && member != "terminated" && member != "behind" && member != "size" && member != "defects")
            throw unusable(name + " has the unknown member " + in_quotes(member));
    encoded_blob made = {{}, document["entries"].size()};
    for (size_t i = 0; i < made.entries; ++i) {
        const std::string where = name + ": entries[" + std::to_string(i) + "]";
        append(made.bytes, entry_of_json(document["entries"][i], where), where);
    }
    append_rest(made.bytes, document, name);
    return made;
}
