/* Writes an access list of three entries into a TCAM list, reads it back and compares.
 *
 *     write_acl */
#include "nprm.h"

#include <stdio.h>
#include <string.h>

enum { ENTRIES = 3 };

/* u32_6 is the source address, u32_10 the destination.  A mask's zero bits match anything.  flags[0]: 1 permits, 2 denies. */
static const nprm_tcam_acl_key keys[ENTRIES] = {
    {.u32_6 = 0xC0A80000, .u32_10 = 0x0A000001}, /* from 192.168.0.0/16 to 10.0.0.1 */
    {.u32_6 = 0x0A000000},                       /* from 10.0.0.0/8 */
    {.u8_0 = 0},                                 /* all else */
};
static const nprm_tcam_acl_key masks[ENTRIES] = {
    {.u32_6 = 0xFFFF0000, .u32_10 = 0xFFFFFFFF},
    {.u32_6 = 0xFF000000},
    {.u8_0 = 0},
};
static const nprm_tcam_acl_result results[ENTRIES] = {
    {.flags = {1}, .u32_4 = 1},
    {.flags = {1}, .u32_4 = 2},
    {.flags = {2}, .u32_4 = 3},
};

static int failed(const char *what, uint32_t code) {
    fprintf(stderr, "%s: ", what);
    return (int)nprm_error_condition(code, stderr); /* 1, after the reason */
}

int main(void) {
    if (nprm_ipc_register_client() != 1) {
        fprintf(stderr, "\nthe server has not published its status: is the card running?\n");
        return 1;
    }
    uint8_t list = 0;
    uint32_t code = nprm_tcam_create_v4_vmr_lst_dup(ENTRIES, &list);
    if (code != NPRM_OK) return failed("create the list", code);
    code = nprm_tcam_write_v4_acl_vmr_dup(list, 0, ENTRIES, keys, masks, results);
    if (code != NPRM_OK) return failed("write the entries", code);

    nprm_tcam_acl_key key[ENTRIES] = {{0}}, mask[ENTRIES] = {{0}};
    nprm_tcam_acl_result result[ENTRIES] = {{{0}, 0, 0}};
    code = nprm_tcam_read_v4_acl_vmr_dup(list, 0, ENTRIES, 0, key, mask, result);
    if (code != NPRM_OK) return failed("read the entries", code);
    const int same = memcmp(key, keys, sizeof keys) == 0 && memcmp(mask, masks, sizeof masks) == 0 &&
                     memcmp(result, results, sizeof results) == 0;
    printf("list %d: %d entries written, %s when read back\n", list, ENTRIES, same ? "the same" : "others");
    return same ? 0 : 1;
}
