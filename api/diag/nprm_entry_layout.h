/* The layouts of hardware-table entries, field by field: what the printers of nprm_decode.h walk, as data.
 *
 * A field has a name, and is a number of 1 to 64 bits, or (its width is more than 64 bits) a string of width / 8 bytes.  Numbers
 * are in the host's byte order.  Fields may share bytes: a TCAM key's address is there as IPv4, IPv6 and MAC address.  Bits of no
 * field are reserved.
 *
 *   type: an nprm_entry_type;   entry, bytes: the entry and its size.  What it lacks of its layout reads as 0.
 *
 *   for (uint32_t i = 0; nprm_layout_field(type, i, entry, bytes, &field) == NPRM_OK; ++i)
 *       printf("%s = %llu\n", field.name, (unsigned long long)nprm_layout_value(&field, entry, bytes));
 *
 * Nothing is logged, and nothing blocks.   Threads: any. */
#ifndef NPRM_ENTRY_LAYOUT_H
#define NPRM_ENTRY_LAYOUT_H

#include "../frame/nprm_result.h"

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { NPRM_FIELD_NAME_BYTES = 32 };

typedef struct nprm_entry_field {
    char name[NPRM_FIELD_NAME_BYTES]; /* of a list's element with its index: member_port[2] */
    uint32_t byte;                    /* in which it starts */
    uint32_t lowest_bit;              /* in that byte; 0 is the least significant */
    uint32_t width;                   /* in bits */
} nprm_entry_field;

/* The title that the type's printer writes, blanks at its end included; empty for the type that prints nothing, null for a number
 * that is no type. */
NPRM_API const char *nprm_layout_title(uint32_t type);

/* The bytes that a type's fields cover, without the elements of a list; 0 for the type without fields and for no type.  Entries may
 * have more. */
NPRM_API uint32_t nprm_layout_bytes(uint32_t type);

/* The number of fields.  It depends on the entry where the type has a list: as many elements as the entry says, and holds. */
NPRM_API uint32_t nprm_layout_field_count(uint32_t type, const void *entry, uint32_t bytes);

/* Tells of field `index`, in the order in which they print.   field: written on NPRM_OK only
 * Returns NPRM_OK; NPRM_ERROR_PARAM for no type, no such field, or a null argument (of entry only when bytes is not 0). */
NPRM_API uint32_t nprm_layout_field(uint32_t type, uint32_t index, const void *entry, uint32_t bytes, nprm_entry_field *field);

/* A number's value; 0 for a null argument, and for a string of bytes. */
NPRM_API uint64_t nprm_layout_value(const nprm_entry_field *field, const void *entry, uint32_t bytes);

/* Writes a number into an entry; the bits around it stay.
 * Returns NPRM_OK; NPRM_ERROR_PARAM, and the entry stays as it is, for a value that the width does not hold, a field that reaches
 * behind the entry's end, a string of bytes, or a null argument. */
NPRM_API uint32_t nprm_layout_set_value(const nprm_entry_field *field, uint64_t value, void *entry, uint32_t bytes);

#ifdef __cplusplus
}
#endif

#endif
