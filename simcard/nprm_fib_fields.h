/* What the simulated card takes the fields of FIB records to mean, for tools and tests.  The library gives them no meaning.
 *
 *   prefix      u8_0     the address's IP version, 4 or 6
 *               u8_1     its length, 0 to 32 or 0 to 128; bits behind it are 0, but in addresses that are looked up
 *               address  in network order; of IPv4 the first 4 bytes, the others have no effect
 *   next hop    u8_0     five bytes that are kept and returned
 *               u16_5    UIDB: the number of the interface that packets leave by
 *               bytes_7  the destination MAC address that packets get
 *
 * Every record of a message has the same action. */
#ifndef NPRM_FIB_FIELDS_H
#define NPRM_FIB_FIELDS_H

typedef enum nprm_fib_action {
    NPRM_FIB_ADD = 0,     /* the prefix must be new */
    NPRM_FIB_READ = 1,    /* the next hop of exactly this prefix is returned */
    NPRM_FIB_DELETE = 2,  /* the prefix must be there; the next hop that it had is returned */
    NPRM_FIB_LOOK_UP = 3, /* prefix and next hop of the longest prefix that contains the address are returned */
    NPRM_FIB_REPLACE = 4  /* the prefix may be there; its next hop is the new one */
} nprm_fib_action;

enum { NPRM_FIB_IPV4 = 4, NPRM_FIB_IPV6 = 6 };

#endif
