/* Result codes, their names, and the library's one logging entry. */
#ifndef NPRM_RESULT_H
#define NPRM_RESULT_H

#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Marks what libnprm.so exports. */
#define NPRM_API __attribute__((visibility("default")))

/* Every result code by number: the enumeration and the table of names are made from this list.  An EMPTY number has no name. */
/* clang-format off */
#define NPRM_RESULT_CODES(CODE, EMPTY)                                                          \
    /* general */                                                                               \
    CODE(0, NPRM_OK)                                                                            \
    CODE(1, NPRM_ERROR)                                                                         \
    CODE(2, NPRM_ERROR_UNSUPPORTED)                                                             \
    CODE(3, NPRM_ERROR_PARAM)                                                                   \
    CODE(4, NPRM_ERROR_MALLOC)                                                                  \
    CODE(5, NPRM_ERROR_TIMEOUT)                                                                 \
    CODE(6, NPRM_ERROR_IPC_SEND)                                                                \
    CODE(7, NPRM_ERROR_NOT_READY)                                                               \
    CODE(8, NPRM_ERROR_NP_API_CALL)                                                             \
    CODE(9, NPRM_ERROR_PARM_STRUCT_ID)                                                          \
    CODE(10, NPRM_ERROR_PARM_VERIFY_STRUCT_ID)                                                  \
    CODE(11, NPRM_ERROR_PARAM_INVALID_KEY_LENGTH)                                               \
    CODE(12, NPRM_ERROR_PARAM_KEY_NOT_FOUND)                                                    \
    CODE(13, NPRM_ERROR_LOG_INIT_TBS)                                                           \
    CODE(14, NPRM_ERROR_LOG_INIT_DRV)                                                           \
    /* TCAM manager: VMR lists and entries */                                                   \
    CODE(15, NPRM_ERROR_TCAM_INTERNAL)                                                          \
    CODE(16, NPRM_ERROR_TCAM_TCAM_INVALID_ARG)                                                  \
    CODE(17, NPRM_ERROR_TCAM_INVALID_MSG)                                                       \
    CODE(18, NPRM_ERROR_TCAM_INVALID_DATA)                                                      \
    CODE(19, NPRM_ERROR_TCAM_NO_RSRC_HEAP)                                                      \
    CODE(20, NPRM_ERROR_TCAM_ITEM_NOT_FOUND)                                                    \
    CODE(21, NPRM_ERROR_TCAM_INVALID_DEV)                                                       \
    CODE(22, NPRM_ERROR_TCAM_INVALID_PARM)                                                      \
    CODE(23, NPRM_ERROR_TCAM_INVALID_OPERATION)                                                 \
    CODE(24, NPRM_ERROR_TCAM_OUT_OF_RANGE)                                                      \
    CODE(25, NPRM_ERROR_TCAM_EXIST)                                                             \
    CODE(26, NPRM_ERROR_TCAM_RESOURCE_EXHAUSTED)                                                \
    CODE(27, NPRM_ERROR_TCAM_INCONSISTENT_DATA)                                                 \
    CODE(28, NPRM_ERROR_TCAM_TCAM_INIT_FAIL)                                                    \
    CODE(29, NPRM_ERROR_TCAM_TCAM_DRV)                                                          \
    CODE(30, NPRM_ERROR_TCAM_TCAM_INACTIVE_LIST)                                                \
    CODE(31, NPRM_ERROR_TCAM_SHMEM_NOT_AVAIL)                                                   \
    CODE(32, NPRM_ERROR_TCAM_MALLOC)                                                            \
    CODE(33, NPRM_ERROR_TCAM_CONCURRENT_USAGE)                                                  \
    EMPTY(34)                                                                                   \
    CODE(35, NPRM_ERROR_TCAM_UNKNOWN)                                                           \
    /* FDM: service nodes and distribution */                                                   \
    CODE(36, NPRM_ERROR_FDM_SN_NOT_EXIST)                                                       \
    CODE(37, NPRM_ERROR_FDM_MALLOC_ENCAP)                                                       \
    CODE(38, NPRM_ERROR_FDM_MALLOC_INT_TCAM)                                                    \
    CODE(39, NPRM_ERROR_FDM_SN_MAX)                                                             \
    CODE(40, NPRM_ERROR_FDM_WRITE_ENCAP)                                                        \
    CODE(41, NPRM_ERROR_FDM_DEL_ENCAP)                                                          \
    CODE(42, NPRM_ERROR_FDM_READ_ENCAP)                                                         \
    CODE(43, NPRM_ERROR_FDM_WRITE_SN)                                                           \
    CODE(44, NPRM_ERROR_FDM_DEL_SN)                                                             \
    CODE(45, NPRM_ERROR_FDM_READ_SN)                                                            \
    CODE(46, NPRM_ERROR_FDM_WRITE_HOST_RESULT)                                                  \
    CODE(47, NPRM_ERROR_FDM_DEL_HOST_RESULT)                                                    \
    CODE(48, NPRM_ERROR_FDM_WRITE_INT_TCAM)                                                     \
    CODE(49, NPRM_ERROR_FDM_DEL_INT_TCAM)                                                       \
    CODE(50, NPRM_ERROR_FDM_WRITE_ACTION)                                                       \
    CODE(51, NPRM_ERROR_FDM_READ_ACTION)                                                        \
    CODE(52, NPRM_ERROR_FDM_DEL_ACTION)                                                         \
    CODE(53, NPRM_ERROR_FDM_WRITE_SNG_DIST)                                                     \
    CODE(54, NPRM_ERROR_FDM_READ_SNG_DIST)                                                      \
    CODE(55, NPRM_ERROR_FDM_DEL_SNG_DIST)                                                       \
    CODE(56, NPRM_ERROR_FDM_TR_CONFIG)                                                          \
    CODE(57, NPRM_ERROR_FDM_DP_CONFIG)                                                          \
    CODE(58, NPRM_ERROR_FDM_READ_FLOW_TABLE)                                                    \
    CODE(59, NPRM_ERROR_FDM_READ_FIB_TABLE)                                                     \
    CODE(60, NPRM_ERROR_FDM_DUPLICATE_SN_IP)                                                    \
    CODE(61, NPRM_ERROR_FDM_INVALID_SEC_IP)                                                     \
    /* CMM: service contexts */                                                                 \
    CODE(62, NPRM_ERROR_CMM_SC_NOT_EXIST)                                                       \
    CODE(63, NPRM_ERROR_CMM_MALLOC_ENCAP)                                                       \
    CODE(64, NPRM_ERROR_CMM_MALLOC_INT_TCAM)                                                    \
    CODE(65, NPRM_ERROR_CMM_SC_MAX)                                                             \
    CODE(66, NPRM_ERROR_CMM_WRITE_ENCAP)                                                        \
    CODE(67, NPRM_ERROR_CMM_DEL_ENCAP)                                                          \
    CODE(68, NPRM_ERROR_CMM_WRITE_SC)                                                           \
    CODE(69, NPRM_ERROR_CMM_DEL_SC)                                                             \
    CODE(70, NPRM_ERROR_CMM_READ_SC)                                                            \
    CODE(71, NPRM_ERROR_CMM_WRITE_HOST_RESULT)                                                  \
    CODE(72, NPRM_ERROR_CMM_DEL_HOST_RESULT)                                                    \
    CODE(73, NPRM_ERROR_CMM_READ_HOST_RESULT)                                                   \
    CODE(74, NPRM_ERROR_CMM_WRITE_INT_TCAM)                                                     \
    CODE(75, NPRM_ERROR_CMM_DEL_INT_TCAM)                                                       \
    CODE(76, NPRM_ERROR_CMM_READ_INT_TCAM)                                                      \
    CODE(77, NPRM_ERROR_CMM_WRITE_DIST_LIST)                                                    \
    CODE(78, NPRM_ERROR_CMM_DEL_DIST_LIST)                                                      \
    CODE(79, NPRM_ERROR_CMM_READ_DIST_LIST)                                                     \
    CODE(80, NPRM_ERROR_CMM_WRITE_LIST_CONFIG)                                                  \
    CODE(81, NPRM_ERROR_CMM_READ_LIST_CONFIG)                                                   \
    CODE(82, NPRM_ERROR_CMM_DUPLICATE_SC_IP)                                                    \
    CODE(83, NPRM_ERROR_CMM_INVALID_SEC_IP)                                                     \
    /* WCCP */                                                                                  \
    CODE(84, NPRM_ERROR_WCCP_NOT_EXIST)                                                         \
    CODE(85, NPRM_ERROR_WCCP_MALLOC_ENCAP)                                                      \
    CODE(86, NPRM_ERROR_WCCP_MALLOC_INT_TCAM)                                                   \
    CODE(87, NPRM_ERROR_WCCP_MAX)                                                               \
    CODE(88, NPRM_ERROR_WCCP_WRITE_ENCAP)                                                       \
    CODE(89, NPRM_ERROR_WCCP_DEL_ENCAP)                                                         \
    CODE(90, NPRM_ERROR_WCCP_WRITE_WCCP)                                                        \
    CODE(91, NPRM_ERROR_WCCP_DEL_WCCP)                                                          \
    CODE(92, NPRM_ERROR_WCCP_READ_WCCP)                                                         \
    CODE(93, NPRM_ERROR_WCCP_WRITE_HOST_RESULT)                                                 \
    CODE(94, NPRM_ERROR_WCCP_DEL_HOST_RESULT)                                                   \
    CODE(95, NPRM_ERROR_WCCP_WRITE_INT_TCAM)                                                    \
    CODE(96, NPRM_ERROR_WCCP_DEL_INT_TCAM)                                                      \
    /* ETHMON: Ethernet ports and SFPs; the empty numbers keep the set and get pairs aligned */ \
    CODE(97, NPRM_ERROR_ETHMON_INVALID_PORT)                                                    \
    CODE(98, NPRM_ERROR_ETHMON_SET_MTU_NPA)                                                     \
    CODE(99, NPRM_ERROR_ETHMON_GET_MTU_NPA)                                                     \
    CODE(100, NPRM_ERROR_ETHMON_SET_SPEED_MV)                                                   \
    EMPTY(101)                                                                                  \
    CODE(102, NPRM_ERROR_ETHMON_SET_SPEED_NPA)                                                  \
    CODE(103, NPRM_ERROR_ETHMON_GET_SPEED_MV)                                                   \
    EMPTY(104)                                                                                  \
    CODE(105, NPRM_ERROR_ETHMON_SET_NEGO_MV)                                                    \
    EMPTY(106)                                                                                  \
    CODE(107, NPRM_ERROR_ETHMON_GET_NEGO_MV)                                                    \
    EMPTY(108)                                                                                  \
    CODE(109, NPRM_ERROR_ETHMON_SET_MACADDR_NPA)                                                \
    CODE(110, NPRM_ERROR_ETHMON_GET_MACADDR_NPA)                                                \
    CODE(111, NPRM_ERROR_ETHMON_SET_LINK_MV)                                                    \
    EMPTY(112)                                                                                  \
    CODE(113, NPRM_ERROR_ETHMON_SET_LINK_NPA)                                                   \
    CODE(114, NPRM_ERROR_ETHMON_GET_LINK_MV)                                                    \
    EMPTY(115)                                                                                  \
    CODE(116, NPRM_ERROR_ETHMON_GET_COUNTERS_NPA)                                               \
    CODE(117, NPRM_ERROR_ETHMON_SFP_READ_MSA)                                                   \
    CODE(118, NPRM_ERROR_ETHMON_SFP_READ_DOM)                                                   \
    CODE(119, NPRM_ERROR_ETHMON_SET_NEGO_NPA)                                                   \
    /* IF: interfaces, port channels, bridge groups, FIB */                                     \
    CODE(120, NPRM_ERROR_IF_EXIST)                                                              \
    CODE(121, NPRM_ERROR_IF_NOT_EXIST)                                                          \
    CODE(122, NPRM_ERROR_IF_MALLOC_PORT_TABLE)                                                  \
    CODE(123, NPRM_ERROR_IF_MALLOC_INT_TCAM_L2)                                                 \
    CODE(124, NPRM_ERROR_IF_MALLOC_INT_TCAM_L3)                                                 \
    CODE(125, NPRM_ERROR_IF_MALLOC_LAG)                                                         \
    CODE(126, NPRM_ERROR_IF_MALLOC_UIDB)                                                        \
    CODE(127, NPRM_ERROR_IF_MALLOC_ENCAP_V4)                                                    \
    CODE(128, NPRM_ERROR_IF_MALLOC_ENCAP_V6)                                                    \
    CODE(129, NPRM_ERROR_IF_MALLOC_CTRL)                                                        \
    CODE(130, NPRM_ERROR_IF_WRITE_BCAM)                                                         \
    CODE(131, NPRM_ERROR_IF_WRITE_PCSRAM)                                                       \
    CODE(132, NPRM_ERROR_IF_READ_PCSRAM)                                                        \
    CODE(133, NPRM_ERROR_IF_WRITE_ING_UIDB)                                                     \
    CODE(134, NPRM_ERROR_IF_READ_ING_UIDB)                                                      \
    CODE(135, NPRM_ERROR_IF_WRITE_EGR_UIDB)                                                     \
    CODE(136, NPRM_ERROR_IF_READ_EGR_UIDB)                                                      \
    CODE(137, NPRM_ERROR_IF_WRITE_PORT_TABLE)                                                   \
    CODE(138, NPRM_ERROR_IF_READ_PORT_TABLE)                                                    \
    CODE(139, NPRM_ERROR_IF_WRITE_HOST_RESULT)                                                  \
    CODE(140, NPRM_ERROR_IF_READ_HOST_RESULT)                                                   \
    CODE(141, NPRM_ERROR_IF_WRITE_ENCAP)                                                        \
    CODE(142, NPRM_ERROR_IF_READ_ENCAP)                                                         \
    CODE(143, NPRM_ERROR_IF_WRITE_LAG)                                                          \
    CODE(144, NPRM_ERROR_IF_READ_LAG)                                                           \
    CODE(145, NPRM_ERROR_IF_WRITE_FIB)                                                          \
    CODE(146, NPRM_ERROR_IF_READ_FIB)                                                           \
    CODE(147, NPRM_ERROR_IF_WRITE_MY_MAC)                                                       \
    CODE(148, NPRM_ERROR_IF_READ_MY_MAC)                                                        \
    CODE(149, NPRM_ERROR_IF_WRITE_MY_IP)                                                        \
    CODE(150, NPRM_ERROR_IF_READ_MY_IP)                                                         \
    CODE(151, NPRM_ERROR_IF_IN_BG)                                                              \
    CODE(152, NPRM_ERROR_IF_BG_EXIST)                                                           \
    CODE(153, NPRM_ERROR_IF_BG_NOT_EXIST)                                                       \
    CODE(154, NPRM_ERROR_IF_BG_HAS_VLAN_PT)                                                     \
    CODE(155, NPRM_ERROR_IF_VLAN_IN_USE)                                                        \
    CODE(156, NPRM_ERROR_IF_VLAN_NOT_IN_USE)                                                    \
    CODE(157, NPRM_ERROR_IF_WRITE_VLAN_PT)                                                      \
    CODE(158, NPRM_ERROR_IF_IS_L3)                                                              \
    CODE(159, NPRM_ERROR_IF_NOT_L2)                                                             \
    CODE(160, NPRM_ERROR_IF_NOT_L3)                                                             \
    CODE(161, NPRM_ERROR_IF_NOT_PC)                                                             \
    CODE(162, NPRM_ERROR_IF_NOT_SB)                                                             \
    CODE(163, NPRM_ERROR_IF_NOT_PHYSICAL)                                                       \
    CODE(164, NPRM_ERROR_IF_PC_MAX_PORTS)                                                       \
    CODE(165, NPRM_ERROR_IF_NOT_PC_MEMBER)                                                      \
    CODE(166, NPRM_ERROR_IF_SB_NOT_ACTIVE)                                                      \
    /* flow learning and trace set-up */                                                        \
    CODE(167, NPRM_ERROR_WRITE_TR_CFG)                                                          \
    CODE(168, NPRM_ERROR_FL_PARSE_SCRATCH)                                                      \
    CODE(169, NPRM_ERROR_FL_TR_CFG)
/* clang-format on */

#define NPRM_RESULT_ENUMERATOR(number, name) name = number,
#define NPRM_RESULT_NO_ENUMERATOR(number)
typedef enum nprm_result { NPRM_RESULT_CODES(NPRM_RESULT_ENUMERATOR, NPRM_RESULT_NO_ENUMERATOR) } nprm_result;
#undef NPRM_RESULT_ENUMERATOR
#undef NPRM_RESULT_NO_ENUMERATOR

enum { NPRM_RESULT_CODE_COUNT = 170 };

/* The codes' names, indexed by code; null where a code has no name.  Writable, so that a host may put names of its own. */
extern NPRM_API const char *nprm_error_str[NPRM_RESULT_CODE_COUNT];

/* Writes one line that explains the code to out; nothing for NPRM_OK.
 * Returns 0 for NPRM_OK, else 1.   Blocks: as the stream.   Threads: any. */
NPRM_API uint32_t nprm_error_condition(uint32_t code, FILE *out);

/* Which messages the library logs: a site logs when its level and this mask have a bit in common.  May be changed at any time. */
extern NPRM_API uint32_t nprm_syslog_flag;

enum {
    NPRM_LEVEL_ERROR = 0x1,       /* failures */
    NPRM_LEVEL_TRANSPORT = 0x2,   /* a line a request sent and a reply received; off by default */
    NPRM_LEVEL_PERIODIC = 0x10,   /* the periodic thread */
    NPRM_LEVEL_STATS = 0x8000,    /* the statistics client */
    NPRM_LEVEL_IF_TCAM = 0x20000, /* the interface TCAM configuration */
    NPRM_LEVEL_ANY = 0x0FFFFFFF,  /* logged while any bit is on: decoders, pool corruption, unhandled events */
    NPRM_SYSLOG_FLAG_DEFAULT = 0x0FFFFFF1
};

/* Logs one message: through the debug library when it is initialised, else as at most 127 characters to standard error.
 *   facility, reserved1, reserved2, level: accepted and ignored; the caller has tested the level against nprm_syslog_flag
 * Returns what the output call returned.   Blocks: as ad_errorlog_vprintf.   Threads: any. */
NPRM_API int nprm_syslog(uint32_t facility, uint32_t reserved1, uint32_t reserved2, uint32_t level, const char *format, ...)
    __attribute__((format(printf, 5, 6)));

#ifdef __cplusplus
}
#endif

#endif
