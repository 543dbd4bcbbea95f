// Compares names of registers from behind the prefix that they share.

#include "register_names.h"

#include "nprm.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include <strings.h>

namespace {

constexpr std::string_view prefix = "EZreg_NPA_";

// Capitals and small letters fold together; what else does is told apart by the comparison behind it.
unsigned fold(char character) {
    return static_cast<unsigned char>(character) | 0x20U;
}

// Where in a name the text may begin at the earliest: inside the prefix only when it goes on as the prefix does.
size_t earliest(const std::string &text) {
    size_t at = 0;
    while (at < prefix.size() && strncasecmp(prefix.data() + at, text.c_str(), std::min(prefix.size() - at, text.size())) != 0)
        ++at;
    return at;
}

}  // namespace

uint32_t register_named(const std::string &name) {
    const bool whole = strncasecmp(name.c_str(), prefix.data(), prefix.size()) == 0;
    const char *own = name.c_str() + (whole ? prefix.size() : 0);
    const uint32_t count = nprm_get_number_of_regs();
    uint32_t index = 0;
    while (index < count && strcasecmp(get_npa_register_name(index) + prefix.size(), own) != 0)
        ++index;
    return index;
}

register_search::register_search(std::string text) : text_(std::move(text)), first_(earliest(text_)) {}

bool register_search::finds(const char *name) const {
    const unsigned begin = fold(text_[0]);
    for (const char *at = name + first_; *at != '\0'; ++at)
        if (fold(*at) == begin && strncasecmp(at, text_.c_str(), text_.size()) == 0) return true;
    return false;
}
