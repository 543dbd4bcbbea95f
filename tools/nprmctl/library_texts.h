// The library's log lines that nprmctl understands, by how they begin.  A test makes the library log each of them.
#ifndef NPRMCTL_LIBRARY_TEXTS_H
#define NPRMCTL_LIBRARY_TEXTS_H

#include "nprm.h"

#include <string_view>

namespace library_texts {

// What is logged when all goes well.
inline constexpr std::string_view traces[] = {"Sending ", "Received ", "got a reply with error no 0"};

// How the exchange went, where the operation's own result does not tell.
struct outcome {
    std::string_view text;
    uint32_t code;
    bool is_uncertain;  // the request may have been carried out
};
inline constexpr outcome outcomes[] = {
    {"Failed to send ", NPRM_ERROR_IPC_SEND, false},
    {"NPRM server no longer available.", NPRM_ERROR_NOT_READY, true},
    {"Failed to receive: retval = ", NPRM_ERROR_TIMEOUT, true},
    {"Malformed reply from component ", NPRM_ERROR, true},
};
inline constexpr std::string_view not_received = outcomes[2].text;  // the transport's error number follows

inline constexpr std::string_view not_bound = "Unable to bind";

}  // namespace library_texts

#endif
