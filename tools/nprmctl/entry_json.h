// Hardware-table entries as JSON objects, from the layouts that the printers walk.
#ifndef NPRMCTL_ENTRY_JSON_H
#define NPRMCTL_ENTRY_JSON_H

#include "blob_content.h"

#include <string>

#include <nlohmann/json_fwd.hpp>

// Each field by its name: a number, or hexadecimal digits for a string of bytes.
nlohmann::ordered_json json_of_fields(uint32_t type, const std::string &data);

// {"type", "addr", "title", "fields", "data"}; the title is null and the fields are none for a type without layout.
nlohmann::ordered_json json_of_entry(const blob_entry &entry);

std::string json_text_of_entry(const blob_entry &entry);

// The entry that such an object stands for.  "data" is what it begins with, zeros when it is missing; a field that says something
// else than these is written over them, so one member alone is enough to change an entry.
// Throws a failure of exit status 2; `where` says where the object stands.
blob_entry entry_of_json(const nlohmann::ordered_json &object, const std::string &where);

#endif
