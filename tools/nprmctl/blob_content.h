// A configuration blob as commands see it: its entries, whatever its bytes are, and what is wrong with it.
#ifndef NPRMCTL_BLOB_CONTENT_H
#define NPRMCTL_BLOB_CONTENT_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class invocation;

struct blob_entry {
    uint32_t type, addr, offset;
    std::string data;
};

struct blob_defect {
    uint32_t offset;
    std::string text;
    bool is_end;  // nothing behind it can be told apart
};

struct blob_content {
    std::vector<blob_entry> entries;
    bool is_terminated;
    uint32_t end;                      // one behind the terminator, or behind the last whole entry
    std::vector<blob_defect> defects;  // in their order

    // It breaks off: what is behind its last whole entry is lost.
    bool is_cut() const { return !defects.empty() && defects.back().is_end; }
};

// Throws a failure when the file cannot be read or is larger than a blob.
std::string read_blob(const std::string &path);

blob_content content_of_blob(const std::string &bytes);

// Has the library print a blob of these entries, at most a blob's worth, on standard output; entries of unknown types are left out.
void print_entries(const std::vector<blob_entry> &entries);

// Prints a blob as text with its defects on standard error, or as JSON.   name: of the blob, for messages
// Returns: the exit status, exit_usage when the blob breaks off.
int show_blob(const invocation &call, const std::string &bytes, const std::string &name);

// "Port Table [0x2a]", "type 99 [0x2a]"
std::string title_of(const blob_entry &entry);

// Each field's name and what the library prints as its value.
struct field_text {
    std::string name, value;
};
std::vector<field_text> fields_of(const blob_entry &entry);
// The entry's data with zeros in place of its fields: reserved bits, and bytes behind the layout.
std::string without_fields(const blob_entry &entry);

#endif
