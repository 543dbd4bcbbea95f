/* Text helpers: fields of hardware entries in seven fixed styles, and a string copy that always terminates. */
#ifndef NPRM_FORMAT_H
#define NPRM_FORMAT_H

#include "../api/frame/nprm_result.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
    NPRM_FORMAT_BITS = 0,   /* value of 1, 2, 4 or 8 bytes, host order: "1010 0101", bits first_bit to last_bit in groups of four */
    NPRM_FORMAT_IPV4 = 1,   /* 4 bytes: "192.168.0.1" */
    NPRM_FORMAT_IPV6 = 2,   /* eight 16-bit words, host order: "2001:db8:0:0:0:0:0:1" */
    NPRM_FORMAT_MAC = 3,    /* 6 bytes: "00:1b:2c:3d:4e:5f" */
    NPRM_FORMAT_NUMBER = 4, /* 64-bit value, low word first: "0x00ff (255)", size hexadecimal digits at least */
    NPRM_FORMAT_BYTES = 5,  /* size bytes: "00ff" */
    NPRM_FORMAT_INVERTED = 6 /* size bytes, each bit inverted: "ff00" for the bytes 00ff; a mask as the bits that are compared */
};

/* Writes a field as text.
 *   out: large enough for the style: 80 characters (bits), 16, 40, 18, max(size, 16) + 26, 2 x size + 1; any other style leaves it
 *   data: of any alignment
 *   size: as the style says.  Bits: 0 gives an empty text, sizes other than 1, 2, 4 and 8 read one byte.  Number: 0 pads nothing,
 *     and a size above 2,147,483,647 gives an empty text.  Bytes, inverted: 0 writes nothing at all, not even the end of the text.
 *   first_bit, last_bit: of the bits only.  Bit 0 is the highest; a bit behind the last one counts as the last one; a range without
 *     a bit gives an empty text.  The last character is always taken off again, which is a blank where the range ends with a group
 *     of four and else the last digit.
 * Returns out.   Threads: any. */
NPRM_API char *nprm_format_str(uint32_t style, char *out, const void *data, uint32_t size, uint32_t first_bit, uint32_t last_bit);

/* Copies text, at most n - 1 characters of it, and ends it; an n of 0 writes the end all the same, so dst has one character at
 * least.
 * Returns the number of characters copied.   Threads: any. */
NPRM_API uint32_t sstrncpy(char *dst, const char *src, uint32_t n);

#ifdef __cplusplus
}
#endif

#endif
