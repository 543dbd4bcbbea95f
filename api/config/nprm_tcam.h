/* TCAM value-mask-result lists: create and delete lists, write, insert, read and delete entries, look keys up.
 *
 * Operations come in pairs.  A name ending in _dup returns the result code; its plain twin takes the same arguments and returns
 * 1 on NPRM_OK, else 0 after logging the code's name.  The look-ups have no twin.
 *
 * Arrays are contiguous, one element an entry.  Calls of more than 1,282 entries go out as several messages; when the server
 * refuses one, the entries of the messages before it stay applied.  A call of 0 entries returns NPRM_OK and sends nothing.
 *
 * Returns (all): NPRM_OK; NPRM_ERROR_NOT_READY or NPRM_ERROR_MALLOC when no request could be made; the server's code, general or of
 * the TCAM family; NPRM_ERROR_PARAM for a null array or output (nothing is sent); NPRM_ERROR when a reply lacks what it should
 * carry.  A failed transport counts as NPRM_OK (but in the look-ups) and the outputs stay as they were: set them before, or read
 * back.  A read that is refused in a later message has filled the entries of the messages before it.
 * Blocks: 75 receive attempts a message.   Threads: nprm.h (5). */
#ifndef NPRM_TCAM_H
#define NPRM_TCAM_H

#include "../frame/nprm_result.h"
#include "../wire/nprm_tcam_wire.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Creates a list of nr_entry entries.   vmr_id: the new list's id, written on NPRM_OK. */
NPRM_API uint32_t nprm_tcam_create_v4_vmr_lst_dup(uint16_t nr_entry, uint8_t *vmr_id);
NPRM_API uint32_t nprm_tcam_create_v4_vmr_lst(uint16_t nr_entry, uint8_t *vmr_id);

/* Deletes a list with its entries. */
NPRM_API uint32_t nprm_tcam_delete_v4_vmr_lst_dup(uint8_t vmr_id);
NPRM_API uint32_t nprm_tcam_delete_v4_vmr_lst(uint8_t vmr_id);

/* Tells how many entries are free in the TCAM.   nr_free: written on NPRM_OK. */
NPRM_API uint32_t nprm_tcam_v4_space_dup(uint32_t *nr_free);
NPRM_API uint32_t nprm_tcam_v4_space(uint32_t *nr_free);

/* Deletes nr_entry entries from a position on; those behind close up. */
NPRM_API uint32_t nprm_tcam_delete_v4_vmr_dup(uint8_t vmr_id, uint16_t position, uint16_t nr_entry);
NPRM_API uint32_t nprm_tcam_delete_v4_vmr(uint8_t vmr_id, uint16_t position, uint16_t nr_entry);

/* Writes ACL entries over those at a position. */
NPRM_API uint32_t nprm_tcam_write_v4_acl_vmr_dup(uint8_t vmr_id, uint16_t position, uint16_t nr_entry, const nprm_tcam_acl_key *key,
                                                 const nprm_tcam_acl_key *mask, const nprm_tcam_acl_result *result);
NPRM_API uint32_t nprm_tcam_write_v4_acl_vmr(uint8_t vmr_id, uint16_t position, uint16_t nr_entry, const nprm_tcam_acl_key *key,
                                             const nprm_tcam_acl_key *mask, const nprm_tcam_acl_result *result);

/* Inserts ACL entries at a position; those behind shift.
 * Each message that goes well is traced on standard output and in the log. */
NPRM_API uint32_t nprm_tcam_insert_v4_acl_vmr_dup(uint8_t vmr_id, uint16_t position, uint16_t nr_entry,
                                                  const nprm_tcam_acl_key *key, const nprm_tcam_acl_key *mask,
                                                  const nprm_tcam_acl_result *result);
NPRM_API uint32_t nprm_tcam_insert_v4_acl_vmr(uint8_t vmr_id, uint16_t position, uint16_t nr_entry, const nprm_tcam_acl_key *key,
                                              const nprm_tcam_acl_key *mask, const nprm_tcam_acl_result *result);

/* Reads ACL entries.   shadow_copy: has no effect;   key, mask, result: nr_entry elements each, those that the server sent are
 * written. */
NPRM_API uint32_t nprm_tcam_read_v4_acl_vmr_dup(uint8_t vmr_id, uint16_t position, uint16_t nr_entry, uint32_t shadow_copy,
                                                nprm_tcam_acl_key *key, nprm_tcam_acl_key *mask, nprm_tcam_acl_result *result);
NPRM_API uint32_t nprm_tcam_read_v4_acl_vmr(uint8_t vmr_id, uint16_t position, uint16_t nr_entry, uint8_t shadow_copy,
                                            nprm_tcam_acl_key *key, nprm_tcam_acl_key *mask, nprm_tcam_acl_result *result);

/* Writes policy entries, given as arrays of pointers to records.  Meant for at most 1,282 entries: every message of a longer call
 * takes its entries from the beginning of the arrays again. */
NPRM_API uint32_t nprm_tcam_sgwrite_v4_policy_vmr_dup(uint8_t vmr_id, uint16_t position, uint16_t nr_entry,
                                                      const nprm_tcam_policy_key *const *p_key,
                                                      const nprm_tcam_policy_key *const *p_mask,
                                                      const nprm_tcam_policy_result *const *p_result);
NPRM_API uint32_t nprm_tcam_sgwrite_v4_policy_vmr(uint8_t vmr_id, uint16_t position, uint16_t nr_entry,
                                                  const nprm_tcam_policy_key *const *p_key,
                                                  const nprm_tcam_policy_key *const *p_mask,
                                                  const nprm_tcam_policy_result *const *p_result);

/* Writes policy entries over those at a position. */
NPRM_API uint32_t nprm_tcam_write_v4_policy_vmr_dup(uint8_t vmr_id, uint16_t position, uint16_t nr_entry,
                                                    const nprm_tcam_policy_key *key, const nprm_tcam_policy_key *mask,
                                                    const nprm_tcam_policy_result *result);
NPRM_API uint32_t nprm_tcam_write_v4_policy_vmr(uint8_t vmr_id, uint16_t position, uint16_t nr_entry,
                                                const nprm_tcam_policy_key *key, const nprm_tcam_policy_key *mask,
                                                const nprm_tcam_policy_result *result);

/* Inserts policy entries at a position; those behind shift. */
NPRM_API uint32_t nprm_tcam_insert_v4_policy_vmr_dup(uint8_t vmr_id, uint16_t position, uint16_t nr_entry,
                                                     const nprm_tcam_policy_key *key, const nprm_tcam_policy_key *mask,
                                                     const nprm_tcam_policy_result *result);
NPRM_API uint32_t nprm_tcam_insert_v4_policy_vmr(uint8_t vmr_id, uint16_t position, uint16_t nr_entry,
                                                 const nprm_tcam_policy_key *key, const nprm_tcam_policy_key *mask,
                                                 const nprm_tcam_policy_result *result);

/* Reads policy entries.   Arguments as in the read of ACL entries. */
NPRM_API uint32_t nprm_tcam_read_v4_policy_vmr_dup(uint8_t vmr_id, uint16_t position, uint16_t nr_entry, uint32_t shadow_copy,
                                                   nprm_tcam_policy_key *key, nprm_tcam_policy_key *mask,
                                                   nprm_tcam_policy_result *result);
NPRM_API uint32_t nprm_tcam_read_v4_policy_vmr(uint8_t vmr_id, uint16_t position, uint16_t nr_entry, uint8_t shadow_copy,
                                               nprm_tcam_policy_key *key, nprm_tcam_policy_key *mask,
                                               nprm_tcam_policy_result *result);

/* Look one key up in a list.   result: the matching entry's, written on NPRM_OK.  Without a reply: NPRM_ERROR, result untouched. */
NPRM_API uint32_t nprm_ext_tcam_v4_acl_lkup(uint8_t vmr_id, const nprm_tcam_acl_key *key, nprm_tcam_acl_result *result);
NPRM_API uint32_t nprm_ext_tcam_v4_policy_lkup(uint8_t vmr_id, const nprm_tcam_policy_key *key, nprm_tcam_policy_result *result);

#ifdef __cplusplus
}
#endif

#endif
