/* What the simulated card takes the fields of interface requests to mean, for tools and tests.  The library gives them no meaning.
 *
 *   attribute of nprm_if_create()   the kind in bits 0 to 3, NPRM_IF_LAYER_3 for one that has IP addresses
 *   value of nprm_if_create()       physical: the port's number; port channels and SB interfaces: kept, no meaning
 *   state of nprm_if_set_state()    0 down, 1 up
 *   nprm_if_ip_cfg                  u8_0 the prefix length; u8_1 0 sets the address, 1 takes it away; u16_2 the VRF
 *   nprm_sb_if_active()             the SB interface, then the physical interface that it becomes active on
 *   nprm_bg_create()                the group, then the two L2 interfaces that it bridges
 *   nprm_bg_add_vlan_cfg()          the group, a VLAN that no group has, and a number that is kept with it */
#ifndef NPRM_INTERFACE_FIELDS_H
#define NPRM_INTERFACE_FIELDS_H

typedef enum nprm_if_kind { NPRM_IF_PHYSICAL = 0, NPRM_IF_PORT_CHANNEL = 1, NPRM_IF_SB = 2 } nprm_if_kind;

enum {
    NPRM_IF_KIND_MASK = 0x0F,
    NPRM_IF_LAYER_3 = 0x10,
    NPRM_IF_ADDRESS_SET = 0,
    NPRM_IF_ADDRESS_REMOVE = 1,
    NPRM_IF_MAX = 4096,        /* interfaces */
    NPRM_IF_CHANNELS_MAX = 64, /* of them port channels */
    NPRM_IF_MEMBERS_MAX = 8,   /* of a port channel */
    NPRM_IF_VLAN_MAX = 4094,
    NPRM_IF_NONE = 0xFFFF, /* no interface's id: what the port mapping has for a port without one */
    NPRM_IF_CONFIG_ALL = 0 /* selector of nprm_read_config(): entries of all types; else the one type, from the address on that the
                              first four bytes of the input give, 0 without them */
};

#endif
