// Configuration blobs as JSON, and back: every byte of the one is in the other.
#ifndef NPRMCTL_BLOB_JSON_H
#define NPRMCTL_BLOB_JSON_H

#include "blob_content.h"

#include <string>

// {"entries": [{"type", "addr", "title", "fields": {...}, "data": "hex"}], "terminated", "behind", "size", "defects"}
std::string json_of_blob(const std::string &bytes, const blob_content &content);

struct encoded_blob {
    std::string bytes;
    size_t entries;
};

// Throws a failure of exit status 2 that names the member, and what it may be.   name: of the text, for messages
encoded_blob blob_of_json(const std::string &text, const std::string &name);

#endif
