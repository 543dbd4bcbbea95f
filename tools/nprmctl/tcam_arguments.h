// What the tcam commands have in common.
#ifndef NPRMCTL_TCAM_ARGUMENTS_H
#define NPRMCTL_TCAM_ARGUMENTS_H

#include <cstdint>

constexpr uint32_t list_id_max = 255;
constexpr const char *list_help = "the list's number, 0 to 255, as tcam create told it";

#define NPRMCTL_RULE_FILE_NOTES                                                                                                    \
    "FILE has a rule a line; # and ! begin comments:\n"                                                                            \
    "  permit|deny|count tcp|udp|icmp|ip|NUMBER SOURCE [PORTS] DESTINATION [PORTS]\n"                                              \
    "  SOURCE, DESTINATION: A.B.C.D, A.B.C.D/LEN or any;  PORTS, for tcp and udp: eq N or range A B\n"

constexpr const char *rule_file_notes = NPRMCTL_RULE_FILE_NOTES;

constexpr const char *entry_file_notes = NPRMCTL_RULE_FILE_NOTES
    "With --policy, a policy entry a line: KEY MASK RESULT, their fields in hexadecimal and joined by dots:\n"
    "  KEY, MASK: u8.bytes.u16.u32.u32    11.0a0b0c0d0e0f.0050.c0000201.c6336401\n"
    "  RESULT:    u16.bytes.u32.u32.u8    0001.000000000000.00000002.00000003.04\n";

// Makes a list and returns its number; throws the failure.
uint8_t create_list(uint32_t size);

#endif
