// What differs between the server's components, the senders, and the replies that lie in the reply area.
#ifndef NPRM_FRAME_COMPONENT_H
#define NPRM_FRAME_COMPONENT_H

#include "../wire/nprm_message.h"

// The transport opcode of each component.
extern const uint32_t nprm_component_opcode[NPRM_COMPONENT_COUNT];

// The one area for replies, and for each component the address of its unread reply in there, or null.
extern uint8_t nprm_reply_area[NPRM_MESSAGE_BYTES_MAX];
extern uint8_t *nprm_reply_slot[NPRM_COMPONENT_COUNT];

// How far the reply reaches into the area; behind it all is zero.
extern uint32_t nprm_reply_bytes;

// Sends a prepared request with the default number of receive attempts and returns the reply's result code by the component's rule.
// The request buffer is given back on every path; `consume` empties the component's slot.
uint32_t nprm_send_to_component(uint32_t component, void *request, uint8_t consume);

namespace nprm {

// Converts the reply in the payload into the reply area and sets the component's slot.  At least NPRM_REPLY_BYTES_MIN bytes.
void convert_reply(uint32_t component, const uint8_t *payload, uint32_t payload_bytes);

// Tells whether the reply in the area claimed more records, or more elements of a list, than came, which has been logged.
bool reply_was_cut();

}  // namespace nprm

#endif
