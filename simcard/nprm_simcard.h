/* The simulated card's control protocol, for tools and tests.
 *
 * The card listens on the socket "control" of its directory (platform/local/ruv_local.h), AF_UNIX SOCK_SEQPACKET, one JSON
 * object a datagram and one datagram back, at most NPRM_SIMCARD_CONTROL_MAX bytes.  A request names its command, the
 * answer says whether it was done:
 *
 *   {"command": "status"}       {"ok": true, "pid": 4711, "ready": true, "components": [...], "faults": [...], "models": {...}}
 *   {"command": "fault", "kind": "delay", "component": "TCAM", "count": 3, "value": 250, "seed": 1}      {"ok": true}
 *   {"command": "fault", "kind": "none"}                                                              {"ok": true}
 *   {"command": "reset"}                                                                              {"ok": true}
 *   anything that cannot be done                                      {"ok": false, "error": "what is wrong and what to do"}
 *
 * Faults (simcard/faults.cpp has a row for each) hit the next `count` messages, of one component or, without "component", of all;
 * "component" is a number or a name of nprm_message.h's list; "count" is 1 when it is not given; "seed" makes the random ones
 * repeatable.  "reset" ends all faults and puts every model back to its state at start. */
#ifndef NPRM_SIMCARD_H
#define NPRM_SIMCARD_H

enum { NPRM_SIMCARD_CONTROL_MAX = 65536 /* bytes of a request or an answer */ };

#endif
