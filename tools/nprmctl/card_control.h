// The simulated card's control socket.
#ifndef NPRMCTL_CARD_CONTROL_H
#define NPRMCTL_CARD_CONTROL_H

#include <string>

#include <nlohmann/json.hpp>

// The card's answer to a request, without its "ok"; throws a failure when there is none, or a refusal.
nlohmann::ordered_json ask_card(const nlohmann::ordered_json &request);

// What to try when a TCAM list does not exist: names those that do, when the card tells.  Throws nothing.
std::string advice_for_absent_list();

#endif
