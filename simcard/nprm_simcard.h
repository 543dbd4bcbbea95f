/* The simulated card's control protocol, for tools and tests.
 *
 * The card listens on the socket "control" of its directory (platform/local/ruv_local.h), AF_UNIX SOCK_SEQPACKET, one JSON
 * object a datagram and one datagram back, at most NPRM_SIMCARD_CONTROL_MAX bytes.  It answers its own user only.  A connection
 * may carry any number of requests, one after the other.  A request names its command, the answer says whether it was done:
 *
 *   {"command": "status"}                                                 {"ok": true, "pid": 4711, "ready": true, ...}, see below
 *   {"command": "fault", "kind": "delay", "component": "TCAM", "count": 3, "value": 250, "seed": 1}               {"ok": true}
 *   {"command": "fault", "kind": "none"}                                  all faults end                         {"ok": true}
 *   {"command": "acknowledge-only", "on": true}                           answer 0 without running the models    {"ok": true}
 *   {"command": "reset"}                                                                                         {"ok": true}
 *   anything that cannot be done                              {"ok": false, "error": "what is wrong and what to do about it"}
 *
 * Faults (simcard/faults.cpp has a row for each) hit the next `count` messages, of one component or, without "component", of all;
 * "component" is a number or a name of nprm_message.h's list; "count" is 1 when it is not given; "value" is the kind's own number;
 * "seed" makes the random ones repeatable (one is chosen, and shown by status, when it is not given).  A member that a command does
 * not know is refused.  "reset" ends all faults, ends acknowledge-only and puts every model back to its state at start.
 *
 * The answer of status has, beside "ok":
 *   "pid", "directory"        of the card
 *   "ready"                   whether the status word says so
 *   "segment_removed"         true when somebody removed the shared segment: clients that start now do not find it
 *   "acknowledge_only"        whether requests are answered without running the models
 *   "connections"             clients connected now
 *   "requests", "replies", "malformed", "lost_replies"                                                        since the start
 *   "components"              [{"component": 7, "name": "TCAM", "model": true, "requests": 12, "refused": 1}, ...]
 *   "faults"                  [{"kind": "delay", "component": "TCAM" or null, "remaining": 3, "value": 250 or null, "seed": 1},
 * ...] "models"                  an object a model, by the component's name: "TCAM": {"capacity": 65536, "free": 63488, "lists":
 * [{"id": 0, "kind": "acl", "policy" or null, "size": 2048, "used": 3}]} */
#ifndef NPRM_SIMCARD_H
#define NPRM_SIMCARD_H

enum { NPRM_SIMCARD_CONTROL_MAX = 65536 /* bytes of a request or an answer */ };

#endif
