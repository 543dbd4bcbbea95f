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
 *   {"command": "traffic", "rate": 10000, "frozen": true, "advance_ms": 1000}
 *       {"ok": true, "traffic": {"rate": 10000, "frozen": true}}: each member may be missing
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
 * Traffic is "rate" packets a second offered to each port that is up; counters move with it ten times a second unless it is frozen.
 * "advance_ms" lets so much time pass for the counters at once, frozen or not.
 * "reset" ends all faults, ends acknowledge-only and puts traffic and every model back to its state at start.
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
 *   "traffic"
 *       {"rate": 10000, "frozen": false}
 *   "connections"
 *       clients connected now
 *   "requests", "replies", "malformed", "lost_replies", "dropped_lines"
 *       since the start; dropped_lines are those of --verbose that standard error did not take
 *   "components"
 *       [{"component": 7, "name": "TCAM", "requests": 12, "refused": 1}, ...]
 *   "faults"
 *       [{"kind": "delay", "component": "TCAM" or null, "remaining": 3, "value": 250 or null, "seed": 1}, ...]
 *   "models"
 *       an object a model, by the component's name:
 *       "TCAM": {"capacity": 65536, "free": 63488,
 *                "lists": [{"id": 0, "kind": "acl" or "policy" or null, "size": 2048, "used": 3}]}
 *       "IF": {"fib": {"capacity": 2000000, "ipv4": 3, "ipv6": 0, "bytes": 118}, ...}
 *       and so on, one for each model
 */
#ifndef NPRM_SIMCARD_H
#define NPRM_SIMCARD_H

enum {
    NPRM_SIMCARD_CONTROL_MAX = 65536, /* bytes of a request or an answer */
    NPRM_SIMCARD_TRAFFIC_MAX = 100000000,
    NPRM_SIMCARD_ADVANCE_MS_MAX = 86400000
};

/* The counters of a port as the simulated card counts them, in their order: ROW(identifier, "what it counts").  A card's own server
 * may count other things in these places. */
/* clang-format off */
#define NPRM_SIMCARD_PORT_COUNTER_LIST(ROW)                              \
    ROW(rx_bytes_low,      "bytes received, modulo 2^32")                 \
    ROW(rx_bytes_high,     "bytes received, divided by 2^32")             \
    ROW(rx_packets,        "packets received")                            \
    ROW(rx_unicast,        "packets received for one address")            \
    ROW(rx_multicast,      "packets received for a group")                \
    ROW(rx_broadcast,      "packets received for all")                    \
    ROW(rx_64,             "packets received of 64 bytes")                \
    ROW(rx_65_127,         "packets received of 65 to 127 bytes")         \
    ROW(rx_128_255,        "packets received of 128 to 255 bytes")        \
    ROW(rx_256_511,        "packets received of 256 to 511 bytes")        \
    ROW(rx_512_1023,       "packets received of 512 to 1023 bytes")       \
    ROW(rx_1024_1518,      "packets received of 1024 to 1518 bytes")      \
    ROW(rx_1519_max,       "packets received of 1519 bytes or more")      \
    ROW(rx_undersize,      "packets received, too short")                 \
    ROW(rx_oversize,       "packets received, longer than the MTU")       \
    ROW(rx_fragments,      "packets received, short and damaged")         \
    ROW(rx_jabber,         "packets received, long and damaged")          \
    ROW(rx_crc_errors,     "packets received with a wrong checksum")      \
    ROW(rx_align_errors,   "packets received, not of whole bytes")        \
    ROW(rx_symbol_errors,  "symbols received that are none")              \
    ROW(rx_pause,          "pause frames received")                       \
    ROW(rx_dropped,        "packets received and dropped")                \
    ROW(tx_bytes_low,      "bytes sent, modulo 2^32")                     \
    ROW(tx_bytes_high,     "bytes sent, divided by 2^32")                 \
    ROW(tx_packets,        "packets sent")                                \
    ROW(tx_unicast,        "packets sent to one address")                 \
    ROW(tx_multicast,      "packets sent to a group")                     \
    ROW(tx_broadcast,      "packets sent to all")                         \
    ROW(tx_64,             "packets sent of 64 bytes")                    \
    ROW(tx_65_127,         "packets sent of 65 to 127 bytes")             \
    ROW(tx_128_255,        "packets sent of 128 to 255 bytes")            \
    ROW(tx_256_511,        "packets sent of 256 to 511 bytes")            \
    ROW(tx_512_1023,       "packets sent of 512 to 1023 bytes")           \
    ROW(tx_1024_1518,      "packets sent of 1024 to 1518 bytes")          \
    ROW(tx_1519_max,       "packets sent of 1519 bytes or more")          \
    ROW(tx_collisions,     "collisions")                                  \
    ROW(tx_late,           "late collisions")                             \
    ROW(tx_excessive,      "packets given up after collisions")           \
    ROW(tx_deferred,       "packets that had to wait")                    \
    ROW(tx_underruns,      "packets that came too slowly")                \
    ROW(tx_crc_errors,     "packets sent with a wrong checksum")          \
    ROW(tx_pause,          "pause frames sent")                           \
    ROW(tx_dropped,        "packets not sent")                            \
    ROW(link_changes,      "times that the link went up or down")
/* clang-format on */

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
