/* The map of the network processor's registers: 1,970 registers in 53 blocks, some of them reserved and empty.
 *
 * nprm_get_np_registers() reads the ranges that this map gives.  All of it is constant.   Threads: any. */
#ifndef NPRM_REGISTERS_H
#define NPRM_REGISTERS_H

#include "../frame/nprm_result.h"

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { NPRM_NP_REGISTER_COUNT = 1970, NPRM_NP_REGISTER_BLOCKS = 53 };

typedef struct nprm_npa_register {
    const char *name; /* EZreg_NPA_, the block's unit, the register */
    uint32_t id;      /* the register's index, and its place in the array */
    uint32_t flags;   /* 0 */
} nprm_npa_register;

/* The registers by index, and EZreg_NPA_Invalid behind the last. */
extern NPRM_API const nprm_npa_register npa_regs[NPRM_NP_REGISTER_COUNT + 1];

/* The blocks' names, as the chip's documentation spells them; block b is at b - 1. */
extern NPRM_API const char *const register_block_names[NPRM_NP_REGISTER_BLOCKS];

/* Tells a block's first register and how many it has.   first, count: written when not null
 * Returns the count; for a reserved block and a number outside 1 to 53 the number less 1, with 0 in both outputs: a count of 0 is
 * what tells a block without registers. */
NPRM_API uint32_t nprm_np_get_reg_block(uint32_t block, uint32_t *first, uint32_t *count);

/* The size of register_block_names, and the array.  (The second name is spelled so.) */
NPRM_API uint32_t nprm_get_register_block_names_size(void);
NPRM_API const char *const *nprm_get_get_register_block_names(void);

/* How many registers there are; the one that is invalid does not count. */
NPRM_API uint32_t nprm_get_number_of_regs(void);

/* The name of a register; that of the invalid one when there is none of that index. */
NPRM_API const char *get_npa_register_name(uint32_t index);

/* The bytes of a port's configuration SRAM image. */
NPRM_API uint32_t nprm_get_config_sram_sz(void);

#ifdef __cplusplus
}
#endif

#endif
