/* What the simulated card takes the words of the debug facility's command blocks to mean, for tools and tests.  The library gives
 * them no meaning; words that are not named have no effect.
 *
 *   init       word 0  the protocol, NPRM_NPDEBUG_PROTOCOL
 *              answer  the protocol, the session's number, how many commands there are
 *   request    word 0  the session's number, as the last init answered it
 *              word 1  an nprm_npdebug_command, word 2 and on its arguments */
#ifndef NPRM_NPDEBUG_FIELDS_H
#define NPRM_NPDEBUG_FIELDS_H

typedef enum nprm_npdebug_command {
    NPRM_NPDEBUG_ECHO = 0,     /* words 2 to 4 come back */
    NPRM_NPDEBUG_REGISTER = 1, /* word 2: its index.  Answer: the index, the value */
    NPRM_NPDEBUG_TABLE = 2,    /* word 2: a hardware table.  Answer: addresses, entries in use, bytes of an entry */
    NPRM_NPDEBUG_TIME = 3,     /* answer: microseconds since the start, low and high word; packets */
    NPRM_NPDEBUG_COMMANDS = 4
} nprm_npdebug_command;

enum { NPRM_NPDEBUG_PROTOCOL = 1 };

#endif
