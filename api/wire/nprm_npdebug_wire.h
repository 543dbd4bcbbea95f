/* NPDEBUG (component 10): the server's debug facility of the network processor.
 *
 *   operation      request, beside the header     reply, beside the result
 *    0 init        command                        word
 *    1 request     command                        word
 *
 * What the command block and the three words of the answer mean is between the caller and the server. */
#ifndef NPRM_NPDEBUG_WIRE_H
#define NPRM_NPDEBUG_WIRE_H

#include "nprm_message.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum nprm_npdebug_operation { NPRM_NPDEBUG_INIT = 0, NPRM_NPDEBUG_REQUEST = 1 } nprm_npdebug_operation;

enum { NPRM_NPDEBUG_COMMAND_WORDS = 73, NPRM_NPDEBUG_ANSWER_WORDS = 3 };

typedef struct nprm_npdebug_record {
    uint32_t result; /*   0  written by the server */
    union {          /*   4 */
        uint32_t command[NPRM_NPDEBUG_COMMAND_WORDS];
        uint32_t answer[NPRM_NPDEBUG_ANSWER_WORDS]; /* written by the server */
    } NPRM_PACKED block;
} NPRM_PACKED nprm_npdebug_record;
NPRM_WIRE(nprm_npdebug_record, 296);
NPRM_AT(nprm_npdebug_record, block, 4);

typedef struct nprm_npdebug_message {
    nprm_message_header header; /*   0 */
    nprm_npdebug_record record; /*   8 */
} NPRM_PACKED nprm_npdebug_message;
NPRM_WIRE(nprm_npdebug_message, 304);
NPRM_STATIC_ASSERT(sizeof(nprm_npdebug_record) == NPRM_RECORD_BYTES_NPDEBUG, "one record a request");

#ifdef __cplusplus
}
#endif

#endif
