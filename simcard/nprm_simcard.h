/* The simulated card's control protocol, for tools and tests.
 *
 * The card listens on the socket "control" of its directory (platform/local/ruv_local.h), AF_UNIX SOCK_SEQPACKET, one JSON
 * object a datagram and one datagram back, at most NPRM_SIMCARD_CONTROL_MAX bytes.  It answers its own user only.  A connection
 * may carry any number of requests, one after the other.  A request names its command, the answer says whether it was done.
 *
 * Requests, and what comes back when they are done:
 *
 *   {"command": "status"}
 *       {"ok": true, "pid": 4711, "ready": true, ...}, see below
 *
 *   {"command": "fault", "kind": "delay", "component": "TCAM", "count": 3, "value": 250, "seed": 1}
 *       {"ok": true}
 *
 *   {"command": "fault", "kind": "none"}
 *       {"ok": true}: all faults have ended
 *
 *   {"command": "acknowledge-only", "on": true}
 *       {"ok": true}: every request is answered with 0, without running the models
 *
 *   {"command": "reset"}
 *       {"ok": true}
 *
 *   {"command": "ask", "component": "IF", "question": {...}}
 *       {"ok": true, "answer": ...}: what the component's model says about its state; docs/simulated-card.md lists the questions
 *
 *   what cannot be done
 *       {"ok": false, "error": "what is wrong and what to do about it"}
 *
 * Faults hit the next `count` messages, of one component or, without "component", of all; "component" is a number or a name of
 * nprm_message.h's list; "count" is 1 when it is not given; "value" is the kind's own number; "seed" makes the random ones
 * repeatable (one is chosen, and shown by status, when it is not given).  A member that a command does not know is refused.
 * "reset" ends all faults, ends acknowledge-only and puts every model back to its state at start.
 *
 * The answer of status has, in this order behind "ok":
 *
 *   "pid", "directory"
 *       of the card
 *   "ready"
 *       whether the status word says so
 *   "segment_removed"
 *       true when somebody removed the shared segment: clients that start now do not find it
 *   "acknowledge_only"
 *       whether requests are answered without running the models
 *   "connections"
 *       clients connected now
 *   "requests", "replies", "malformed", "lost_replies", "dropped_lines"
 *       since the start; dropped_lines are those of --verbose that standard error did not take
 *   "components"
 *       [{"component": 7, "name": "TCAM", "model": true, "requests": 12, "refused": 1}, ...]
 *   "faults"
 *       [{"kind": "delay", "component": "TCAM" or null, "remaining": 3, "value": 250 or null, "seed": 1}, ...]
 *   "models"
 *       an object a model, by the component's name:
 *       "TCAM": {"capacity": 65536, "free": 63488, "lists": [{"id": 0, "kind": "acl" or "policy" or null, "size": 2048, "used":
 * 3}]}
 *       "IF": {"fib": {"capacity": 2000000, "ipv4": 3, "ipv6": 0, "bytes": 118}}
 */
#ifndef NPRM_SIMCARD_H
#define NPRM_SIMCARD_H

enum { NPRM_SIMCARD_CONTROL_MAX = 65536 /* bytes of a request or an answer */ };

/* Every kind of fault: ROW(identifier, "kind", "what it does, and its value").  "none" ends them. */
/* clang-format off */
#define NPRM_SIMCARD_FAULT_LIST(ROW)                                                                  \
    ROW(drop,        "drop",        "the request is lost")                                            \
    ROW(delay,       "delay",       "the reply is held back for VALUE milliseconds")                  \
    ROW(truncate,    "truncate",    "the reply is cut to VALUE bytes, a random number without it")    \
    ROW(corrupt,     "corrupt",     "VALUE bytes of the reply are changed, 1 to 8 without it")        \
    ROW(oversize,    "oversize",    "the reply announces more records than it has; VALUE bytes long") \
    ROW(wrong_token, "wrong-token", "the reply answers another request")                              \
    ROW(duplicate,   "duplicate",   "the reply comes VALUE times more, once without it")              \
    ROW(result,      "result",      "the request is refused with the result code VALUE")              \
    ROW(not_ready,   "not-ready",   "the status word says not ready, requests are refused")           \
    ROW(exit,        "exit",        "the card ends without a reply, with status VALUE, 1 without it")
/* clang-format on */

#endif
