// The names of the classification statistics and of the server's components.

#include "nprm_stats.h"

// The first has a small "to" where the second has a capital one; hosts compare them as they are.
constexpr const char *const nprm_class_stat_str[NPRM_CLASS_STAT_COUNT] = {
    "CLIENT to SERVER, REDIR FROM INTERCEPT TO SN",
    "CLIENT TO SERVER, RETURN FROM SN TO INTERCEPT",
    "SERVER TO CLIENT, REDIR FROM INTERCEPT TO SN",
    "SERVER TO CLIENT, RETURN FROM SN TO INTERCEPT",
    "OE PT REASON 4",
    "OE PT REASON 5",
    "OE PT REASON 6",
    "OE PT REASON 7",
    "OE PT REASON 8",
    "OE PT REASON 9",
    "OE PT REASON 10",
    "OE PT REASON 11",
    "OE PT REASON 12",
    "OE PT REASON 13",
    "OE PT REASON 14",
    "OE PT REASON 15",
    "OE PT REASON 16",
    "OE PT REASON 17",
    "OE PT REASON 18",
    "OE PT REASON 19",
    "OE PT REASON 20",
    "OE PT REASON 21",
    "OE PT REASON 22",
    "OE PT REASON 23",
    "OE PT REASON 24",
    "OE PT REASON 25",
    "INVALID OE PT REASON",
    "POLICY SPECIFIED",
    "SNG OVERLOAD",
    "SN UNDEF/DOWN",
    "CLUSTER MEMBER",
    "FLOW LEARN FAILURE",
    "FLOW QUERY FAILURE",
    "INTERCEPT ACL DENY",
    "SC INITIAL REDIR EVENT",
    "SN REDIR CMD",
    "SN PT CMD",
    "SN PT CMD IN REDIR STATE",
    "SC PT CMD IN REDIR STATE",
};
static_assert(nprm_class_stat_str[NPRM_CLASS_STAT_COUNT - 1] != nullptr, "a name is missing");

#define AS_NAME(number, name, opcode, record_bytes) #name,
constexpr const char *const nprm_queue_name[NPRM_QUEUE_NAME_COUNT] = {NPRM_COMPONENT_LIST(AS_NAME)};
