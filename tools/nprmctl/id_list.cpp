// Numbered things as people name them.

#include "id_list.h"

#include "text_input.h"

namespace {

struct id_range {
    uint32_t first, last;
};

std::optional<id_range> parse_range(std::string_view text) {
    const size_t dash = text.find('-');
    const auto first = decimal<uint32_t>(text.substr(0, dash));
    const auto last = dash == std::string_view::npos ? first : decimal<uint32_t>(text.substr(dash + 1));
    if (!first || !last || *first > *last) return std::nullopt;
    return id_range{*first, *last};
}

}  // namespace

id_list parse_ids(std::string_view text, uint32_t entries, const id_words &words) {
    id_list found;
    std::vector<bool> seen(entries);
    for (size_t begin = 0; begin <= text.size();) {
        const size_t comma = std::min(text.find(',', begin), text.size());
        const std::string_view part = text.substr(begin, comma - begin);
        const auto range = parse_range(part);
        if (!range) return {{}, in_quotes(part) + " is neither " + words.a_one + " nor a range like 0-99"};
        if (range->last >= entries)
            return {{},
                    std::string(words.whose) + " has no " + words.one + " " + std::to_string(range->last) + ", the last one is " +
                        std::to_string(entries - 1)};
        for (uint32_t id = range->first; id <= range->last; ++id) {
            if (seen[id]) return {{}, std::string(words.one) + " " + std::to_string(id) + " is named twice"};
            seen[id] = true;
            found.ids.push_back(id);
        }
        begin = comma + 1;
    }
    return found;
}

std::string ids_text(const std::vector<uint32_t> &ids) {
    std::string text;
    for (size_t i = 0; i < ids.size();) {
        size_t end = i + 1;
        while (end < ids.size() && ids[end] == ids[end - 1] + 1)
            ++end;
        text += (text.empty() ? "" : ",") + std::to_string(ids[i]);
        if (end - i > 1) text += "-" + std::to_string(ids[end - 1]);
        i = end;
    }
    return text;
}
