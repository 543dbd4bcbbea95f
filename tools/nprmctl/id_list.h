// Entries of a table, and other numbered things, as people name them: "7", "0-99,200".
#ifndef NPRMCTL_ID_LIST_H
#define NPRMCTL_ID_LIST_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct id_list {
    std::vector<uint32_t> ids;  // in the order given
    std::string wrong;          // what is wrong with the text; empty when nothing is
};

// What is named, and what has it.
struct id_words {
    const char *one = "entry", *a_one = "an entry", *whose = "the table";
};

// entries: how many there are.  An id that comes twice is wrong.
id_list parse_ids(std::string_view text, uint32_t entries, const id_words &words = {});

// "0-99,200"
std::string ids_text(const std::vector<uint32_t> &ids);

#endif
