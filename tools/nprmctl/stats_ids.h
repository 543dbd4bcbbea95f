// Entries of a table as people name them: "7", "0-99,200".
#ifndef NPRMCTL_STATS_IDS_H
#define NPRMCTL_STATS_IDS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct id_list {
    std::vector<uint32_t> ids;  // in the order given
    std::string wrong;          // what is wrong with the text; empty when nothing is
};

// entries: how many the table has.  An id that comes twice is wrong.
id_list parse_ids(std::string_view text, uint32_t entries);

// "0-99,200"
std::string ids_text(const std::vector<uint32_t> &ids);

#endif
