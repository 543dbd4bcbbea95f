/* What every message has in common: the header, the server's components and their record sizes.
 *
 * A message is the 8-byte header and then `units` records, packed, all of the component's record size.  A reply has the
 * framing of its request, and the first four bytes of each of its records are a result code, written by the server.  All
 * integers are in the host's byte order; nothing is aligned. */
#ifndef NPRM_MESSAGE_H
#define NPRM_MESSAGE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define NPRM_STATIC_ASSERT(condition, text) static_assert(condition, text)
#else
#define NPRM_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#endif

/* Layouts are part of the interface: each record states its size, and the offset of every field that matters. */
#define NPRM_PACKED __attribute__((packed))
#define NPRM_WIRE(type, bytes) NPRM_STATIC_ASSERT(sizeof(type) == (bytes), #type " must be " #bytes " bytes")
#define NPRM_AT(type, field, offset) NPRM_STATIC_ASSERT(offsetof(type, field) == (offset), #type "." #field " must be at " #offset)

typedef struct nprm_message_header {
    uint32_t operation; /*  0  within the component */
    uint32_t units;     /*  4  records that follow */
} NPRM_PACKED nprm_message_header;
NPRM_WIRE(nprm_message_header, 8);
NPRM_AT(nprm_message_header, units, 4);

/* ROW(number, name, transport opcode, bytes a record).  The library sends nothing to components 4 and 8: they have no records.
 * The last opcode is not the next in sequence; the server has it so. */
#define NPRM_COMPONENT_LIST(ROW)                                                                                                   \
    ROW(0, CMM, 0x2E814, 38)                                                                                                       \
    ROW(1, MAC, 0x2E815, 268)                                                                                                      \
    ROW(2, FDM, 0x2E816, 80)                                                                                                       \
    ROW(3, IF, 0x2E817, 35)                                                                                                        \
    ROW(4, INTR, 0x2E818, 0)                                                                                                       \
    ROW(5, NPA, 0x2E819, 788)                                                                                                      \
    ROW(6, STATS, 0x2E81A, 9612)                                                                                                   \
    ROW(7, TCAM, 0x2E81B, 51)                                                                                                      \
    ROW(8, TM, 0x2E81C, 0)                                                                                                         \
    ROW(9, WCCP, 0x2E81D, 40)                                                                                                      \
    ROW(10, NPDEBUG, 0x2E826, 296)

#define NPRM_COMPONENT_NUMBER(number, name, opcode, record_bytes) NPRM_COMPONENT_##name = number,
#define NPRM_COMPONENT_OPCODE(number, name, opcode, record_bytes) NPRM_OPCODE_##name = opcode,
#define NPRM_COMPONENT_RECORD(number, name, opcode, record_bytes) NPRM_RECORD_BYTES_##name = record_bytes,
typedef enum nprm_component { NPRM_COMPONENT_LIST(NPRM_COMPONENT_NUMBER) NPRM_COMPONENT_COUNT } nprm_component;
typedef enum nprm_opcode { NPRM_COMPONENT_LIST(NPRM_COMPONENT_OPCODE) } nprm_opcode;
typedef enum nprm_record_bytes { NPRM_COMPONENT_LIST(NPRM_COMPONENT_RECORD) } nprm_record_bytes;
#undef NPRM_COMPONENT_NUMBER
#undef NPRM_COMPONENT_OPCODE
#undef NPRM_COMPONENT_RECORD

enum {
    NPRM_MESSAGE_BYTES_MAX = 65536, /* a request buffer, the reply area */
    NPRM_REPLY_BYTES_MIN = 12       /* header and the first record's result code: less is no reply */
};

#endif
