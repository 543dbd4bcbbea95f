// The control protocol's commands: a JSON request in, a JSON answer out.
#ifndef SIMCARD_CONTROL_H
#define SIMCARD_CONTROL_H

#include <string>
#include <string_view>

#include "platform/local/ruv_server.h"

#include "card.h"

// What the server knows beside the card, for status.
struct server_view {
    std::string directory;
    bool ready;
    bool segment_removed;
    ruv_server::counters transport;
    uint64_t dropped_lines;
};

// Carries a request out.  Always an answer of at most NPRM_SIMCARD_CONTROL_MAX bytes, whatever the request.
std::string answer_control(card &card, const server_view &server, std::string_view request);

#endif
