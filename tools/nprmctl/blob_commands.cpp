// Configuration blobs in files: decode, encode, check, and compare field by field.  No server is needed.

#include "blob_content.h"
#include "blob_json.h"
#include "failure.h"
#include "input_file.h"
#include "invocation.h"
#include "report.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>

#include <unistd.h>

namespace {

constexpr const char *blob_help = "a blob of at most 65,536 bytes, or - for standard input";

// ---- compare

struct difference {
    std::string entry, field;
    cell first, second;
};

// Entries of two blobs belong together when type and address are equal; of several such the first to the first, and so on.
using entry_key = std::tuple<uint32_t, uint32_t, uint32_t>;

std::map<entry_key, const blob_entry *> by_key(const blob_content &content) {
    std::map<entry_key, const blob_entry *> entries;
    std::map<std::pair<uint32_t, uint32_t>, uint32_t> seen;
    for (const blob_entry &entry : content.entries)
        entries[{entry.type, entry.addr, seen[{entry.type, entry.addr}]++}] = &entry;
    return entries;
}

std::string byte_text(const std::string &data, size_t byte) {
    return byte < data.size() ? hex_of_bytes(data.substr(byte, 1)) : "none";
}

// Fields, then the bytes that differ in what no field has.  An element of a list that only one of the two has is empty in the
// other.
void compare_fields(const blob_entry &first, const blob_entry &second, std::vector<difference> &found) {
    const std::string title = title_of(first);
    const std::vector<field_text> ours = fields_of(first), theirs = fields_of(second);
    for (size_t i = 0; i < std::max(ours.size(), theirs.size()); ++i) {
        const cell one = i < ours.size() ? cell(ours[i].value) : cell(), other = i < theirs.size() ? cell(theirs[i].value) : cell();
        if (one != other) found.push_back({title, i < ours.size() ? ours[i].name : theirs[i].name, one, other});
    }
    const std::string our_rest = without_fields(first), their_rest = without_fields(second);
    for (size_t byte = 0; byte < std::max(our_rest.size(), their_rest.size()); ++byte)
        if (byte_text(our_rest, byte) != byte_text(their_rest, byte))
            found.push_back({title, "byte " + std::to_string(byte), byte_text(first.data, byte), byte_text(second.data, byte)});
}

std::vector<difference> compare(const blob_content &first, const blob_content &second) {
    std::vector<difference> found;
    const auto ours = by_key(first), theirs = by_key(second);
    for (const auto &[key, entry] : ours) {
        const auto other = theirs.find(key);
        if (other == theirs.end())
            found.push_back({title_of(*entry), "(the entry)", std::string("is there"), std::string("is missing")});
        else
            compare_fields(*entry, *other->second, found);
    }
    for (const auto &[key, entry] : theirs)
        if (!ours.contains(key))
            found.push_back({title_of(*entry), "(the entry)", std::string("is missing"), std::string("is there")});
    return found;
}

}  // namespace

int show_blob(const invocation &call, const std::string &bytes, const std::string &name) {
    const blob_content content = content_of_blob(bytes);
    if (call.json())
        std::fputs(json_of_blob(bytes, content).c_str(), stdout);
    else {
        print_entries(content.entries);
        std::fflush(stdout);
        for (const blob_defect &defect : content.defects)
            std::fprintf(stderr, "nprmctl: %s: %s\n", printable(name).c_str(), defect.text.c_str());
        if (content.entries.empty() && content.defects.empty())
            std::fprintf(stderr, "nprmctl: %s holds no entries\n", printable(name).c_str());
    }
    return content.is_cut() ? exit_usage : exit_done;
}

int blob_decode(invocation &call) {
    std::string path;
    call.text("FILE", path, blob_help);
    call.notes(
        "What is wrong with the blob is told on standard error, or as \"defects\" in JSON.  Exit status 2 when the blob\n"
        "breaks off; what stands before that is printed all the same.\n");
    call.parse();
    return show_blob(call, read_blob(path), name_of_file(path));
}

int blob_encode(invocation &call) {
    std::string path, output;
    call.text("FILE", path, "JSON as blob decode prints it, or - for standard input");
    call.text("--output BLOB", output, "the file that gets the blob, standard output when not given");
    call.notes(
        "An entry is {\"type\": 5, \"addr\": 1, \"fields\": {...}, \"data\": \"hex digits\"}: data is what it begins with, zeros "
        "when\n"
        "missing, and fields that say something else are written over it.\n");
    call.parse();
    if (output.empty() && call.json()) throw usage_error("--json goes with --output: a blob is no JSON", usage_of(call.row()));
    if (output.empty() && isatty(STDOUT_FILENO) != 0)
        throw usage_error("a blob is nothing for a terminal: give --output", usage_of(call.row()));
    const encoded_blob made = blob_of_json(read_text(path), name_of_file(path));
    if (output.empty()) {
        std::fwrite(made.bytes.data(), 1, made.bytes.size(), stdout);
        return exit_done;
    }
    write_file(output, made.bytes);
    report done;
    done.sentence(output + " has " + counted(made.entries, "entry", "entries") + " in " +
                  counted(made.bytes.size(), "byte", "bytes"));
    done.fact("file", nullptr, output);
    done.fact("entries", nullptr, uint64_t{made.entries});
    done.fact("bytes", nullptr, uint64_t{made.bytes.size()});
    call.print(done);
    return exit_done;
}

int blob_check(invocation &call) {
    std::string path;
    call.text("FILE", path, blob_help);
    call.notes("Tells the first thing that is wrong.  Exit status 1 when there is one.\n");
    call.parse();
    const std::string bytes = read_blob(path);
    const blob_content content = content_of_blob(bytes);
    const std::string name = name_of_file(path);
    const bool is_good = content.defects.empty();
    const size_t more = is_good ? 0 : content.defects.size() - 1;
    report found;
    found.sentence(is_good ? name + " is in order: " + counted(content.entries.size(), "entry", "entries") + " in " +
                                 counted(content.end, "byte", "bytes")
                           : name + ": " + content.defects[0].text + (more == 0 ? "" : "; and " + grouped(more) + " more"));
    found.fact("in_order", nullptr, is_good);
    found.fact("entries", nullptr, uint64_t{content.entries.size()});
    found.fact("bytes", nullptr, uint64_t{content.end});
    found.fact("size", nullptr, uint64_t{bytes.size()});
    found.table("defects", {{"offset", nullptr}, {"what", nullptr}});
    for (const blob_defect &defect : content.defects)
        found.row({uint64_t{defect.offset}, defect.text});
    call.print(found);
    return is_good ? exit_done : exit_refused;
}

int blob_diff(invocation &call) {
    std::string first_path, second_path;
    call.text("A", first_path, blob_help);
    call.text("B", second_path, "the blob to compare it with");
    call.notes("Entries belong together by type and address, whatever their order.  Exit status 1 when the blobs differ.\n");
    call.parse();
    if (first_path == "-" && second_path == "-") throw usage_error("only one blob can be standard input", usage_of(call.row()));
    const blob_content first = content_of_blob(read_blob(first_path)), second = content_of_blob(read_blob(second_path));
    for (const auto &[path, content] : {std::pair(first_path, &first), std::pair(second_path, &second)})
        if (content->is_cut()) throw unusable(name_of_file(path) + ": " + content->defects.back().text);
    const std::vector<difference> found = compare(first, second);
    std::set<std::string> entries;
    for (const difference &one : found)
        entries.insert(one.entry);
    report result;
    result.sentence(found.empty() ? "the blobs are equal: " + counted(first.entries.size(), "entry", "entries")
                                  : counted(found.size(), "difference", "differences") + " in " +
                                        counted(entries.size(), "entry", "entries"));
    result.fact("equal", nullptr, found.empty());
    result.table("differences", {{"entry", "entry"}, {"field", "field"}, {"a", "A"}, {"b", "B"}});
    for (const difference &one : found)
        result.row({one.entry, one.field, one.first, one.second});
    call.print(result);
    return found.empty() ? exit_done : exit_refused;
}
