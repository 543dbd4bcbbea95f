/* An allocator of numbered entries, such as the rows of a hardware table: one bit an entry in a bitmap of the owner's.
 *
 *     static uint8_t bitmap[NPRM_ENTRY_BYTES(1000)];
 *     static nprm_entry_table rows = NPRM_ENTRY_TABLE(1000, bitmap);
 *
 * A table of 0 entries is allowed: nothing can be taken from it.
 * Threads (all): there is no lock; the owner serialises access. */
#ifndef NPRM_ENTRY_H
#define NPRM_ENTRY_H

#include "../api/frame/nprm_result.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Entry n is bit 0x80 >> (n mod 8) of byte n / 8; a set bit is a used entry.  The bits behind the last entry are set. */
typedef struct nprm_entry_table {
    uint32_t reserved; /* not used */
    uint16_t count;    /* entries */
    uint16_t bytes;    /* of the bitmap: NPRM_ENTRY_BYTES(count) */
    uint8_t *bitmap;
} nprm_entry_table;

/* The bitmap that a table needs, in bytes, and a descriptor to start from. */
#define NPRM_ENTRY_BYTES(count) (((count) + 7u) / 8u)
#define NPRM_ENTRY_TABLE(count, bitmap)                                                                                            \
    { 0, count, NPRM_ENTRY_BYTES(count), bitmap }

/* Frees all entries.  A bitmap that is longer than its entries need is taken for as long as they do: bytes is lowered to that. */
NPRM_API void nprm_init_entry_table(nprm_entry_table *table);

/* Takes the lowest free entry.   index: the entry, written on 1.   Returns 1, or 0 when all are used. */
NPRM_API uint32_t nprm_entry_alloc(nprm_entry_table *table, uint32_t *index);

/* Takes the entries from first to first + n - 1, or gives them back: all of them, or none.
 * Returns 1; or 0 when one of them is used (free, for giving back) already, or when the range ends behind the last entry.  An empty
 * range that does not is 1. */
NPRM_API uint32_t nprm_entry_reserve(nprm_entry_table *table, uint32_t first, uint32_t n);
NPRM_API uint32_t nprm_entry_free_multiple(nprm_entry_table *table, uint32_t first, uint32_t n);

/* Returns the number of used entries. */
NPRM_API uint32_t nprm_entry_used(const nprm_entry_table *table);

/* Calls the callback with every used entry, in ascending order.  The callback may take and give back entries: those behind its own
 * are looked at after it returns.
 *   user: handed to the callback */
NPRM_API void nprm_entry_walk(const nprm_entry_table *table, void (*callback)(uint32_t index, uint32_t user), uint32_t user);

#ifdef __cplusplus
}
#endif

#endif
