// What the result codes mean to a user, a row each, and the families.

#include "result_texts.h"

#include "nprm.h"

#include <algorithm>
#include <iterator>

namespace {

struct result_row {
    uint32_t code;
    result_text text;
};

constexpr result_row results[] = {
    {NPRM_OK, {"done", nullptr}},
    {NPRM_ERROR, {"no usable answer came", "nprmctl status"}},
    {NPRM_ERROR_UNSUPPORTED,
     {"the server does not support the operation", "the card does not have this operation, or not with these arguments"}},
    {NPRM_ERROR_PARAM, {"an argument is not valid", nullptr}},
    {NPRM_ERROR_MALLOC, {"no request buffer is free", nullptr}},
    {NPRM_ERROR_TIMEOUT, {"no answer came in time", "nprmctl status, and nprmctl --verbose with this command to see the exchange"}},
    {NPRM_ERROR_IPC_SEND, {"the request could not be sent", "start a card: nprm-simcard"}},
    {NPRM_ERROR_NOT_READY,
     {"the server is not ready to accept calls", "start a card: nprm-simcard; nprmctl card status tells whether one runs"}},
    {NPRM_ERROR_NP_API_CALL, {"a call into the network processor failed", nullptr}},
    {NPRM_ERROR_PARM_STRUCT_ID, {"the structure id is not valid", nullptr}},
    {NPRM_ERROR_PARM_VERIFY_STRUCT_ID, {"the structure cannot be described", nullptr}},
    {NPRM_ERROR_PARAM_INVALID_KEY_LENGTH, {"the key has the wrong length", nullptr}},
    {NPRM_ERROR_PARAM_KEY_NOT_FOUND, {"the key was not found", nullptr}},
    {NPRM_ERROR_LOG_INIT_TBS, {"the log of the TBS could not be set up", nullptr}},
    {NPRM_ERROR_LOG_INIT_DRV, {"the log of the driver could not be set up", nullptr}},
    {NPRM_ERROR_TCAM_INTERNAL, {"the TCAM manager failed inside", nullptr}},
    {NPRM_ERROR_TCAM_TCAM_INVALID_ARG, {"the TCAM refused an argument", nullptr}},
    {NPRM_ERROR_TCAM_INVALID_MSG, {"the TCAM manager cannot read the request", nullptr}},
    {NPRM_ERROR_TCAM_INVALID_DATA,
     {"the data does not fit the list", "a list holds ACL or policy entries, not both: give or leave out --policy"}},
    {NPRM_ERROR_TCAM_NO_RSRC_HEAP, {"the TCAM manager has no memory left", nullptr}},
    {NPRM_ERROR_TCAM_ITEM_NOT_FOUND, {"there is no such item", "nprmctl tcam show LIST tells what the list holds"}},
    {NPRM_ERROR_TCAM_INVALID_DEV, {"there is no such TCAM device", nullptr}},
    {NPRM_ERROR_TCAM_INVALID_PARM, {"the TCAM manager refused a parameter", nullptr}},
    {NPRM_ERROR_TCAM_INVALID_OPERATION, {"the TCAM manager has no such operation", nullptr}},
    {NPRM_ERROR_TCAM_OUT_OF_RANGE,
     {"a position or count is outside the list", "other positions, or a larger list: nprmctl tcam create SIZE"}},
    {NPRM_ERROR_TCAM_EXIST, {"the item exists already", nullptr}},
    {NPRM_ERROR_TCAM_RESOURCE_EXHAUSTED,
     {"the TCAM has no room left", "nprmctl tcam space tells what is left; an insert also needs room in its list"}},
    {NPRM_ERROR_TCAM_INCONSISTENT_DATA, {"the request does not continue the one before it", nullptr}},
    {NPRM_ERROR_TCAM_TCAM_INIT_FAIL, {"the TCAM could not be set up", nullptr}},
    {NPRM_ERROR_TCAM_TCAM_DRV, {"the TCAM driver failed", nullptr}},
    {NPRM_ERROR_TCAM_TCAM_INACTIVE_LIST, {"there is no such list", "make a list: nprmctl tcam create SIZE"}},
    {NPRM_ERROR_TCAM_SHMEM_NOT_AVAIL, {"the TCAM manager has no shared memory", nullptr}},
    {NPRM_ERROR_TCAM_MALLOC, {"the TCAM manager could not get memory", nullptr}},
    {NPRM_ERROR_TCAM_CONCURRENT_USAGE, {"the list is in use by another request", nullptr}},
    {NPRM_ERROR_TCAM_UNKNOWN, {"the TCAM manager failed for an unknown reason", nullptr}},
    {NPRM_ERROR_FDM_SN_NOT_EXIST, {"the service node does not exist", nullptr}},
    {NPRM_ERROR_FDM_MALLOC_ENCAP, {"no encapsulation entry is left for the service node", nullptr}},
    {NPRM_ERROR_FDM_MALLOC_INT_TCAM, {"no internal TCAM entry is left for the service node", nullptr}},
    {NPRM_ERROR_FDM_SN_MAX, {"no more service nodes can be made", nullptr}},
    {NPRM_ERROR_FDM_WRITE_ENCAP, {"the encapsulation entry of the service node could not be written", nullptr}},
    {NPRM_ERROR_FDM_DEL_ENCAP, {"the encapsulation entry of the service node could not be deleted", nullptr}},
    {NPRM_ERROR_FDM_READ_ENCAP, {"the encapsulation entry of the service node could not be read", nullptr}},
    {NPRM_ERROR_FDM_WRITE_SN, {"the service node could not be written", nullptr}},
    {NPRM_ERROR_FDM_DEL_SN, {"the service node could not be deleted", nullptr}},
    {NPRM_ERROR_FDM_READ_SN, {"the service node could not be read", nullptr}},
    {NPRM_ERROR_FDM_WRITE_HOST_RESULT, {"the host result of the service node could not be written", nullptr}},
    {NPRM_ERROR_FDM_DEL_HOST_RESULT, {"the host result of the service node could not be deleted", nullptr}},
    {NPRM_ERROR_FDM_WRITE_INT_TCAM, {"the internal TCAM entry of the service node could not be written", nullptr}},
    {NPRM_ERROR_FDM_DEL_INT_TCAM, {"the internal TCAM entry of the service node could not be deleted", nullptr}},
    {NPRM_ERROR_FDM_WRITE_ACTION, {"the action could not be written", nullptr}},
    {NPRM_ERROR_FDM_READ_ACTION, {"the action could not be read", nullptr}},
    {NPRM_ERROR_FDM_DEL_ACTION, {"the action could not be deleted", nullptr}},
    {NPRM_ERROR_FDM_WRITE_SNG_DIST, {"the distribution of the service-node group could not be written", nullptr}},
    {NPRM_ERROR_FDM_READ_SNG_DIST, {"the distribution of the service-node group could not be read", nullptr}},
    {NPRM_ERROR_FDM_DEL_SNG_DIST, {"the distribution of the service-node group could not be deleted", nullptr}},
    {NPRM_ERROR_FDM_TR_CONFIG, {"the flow trace could not be configured", nullptr}},
    {NPRM_ERROR_FDM_DP_CONFIG, {"the flow dump could not be configured", nullptr}},
    {NPRM_ERROR_FDM_READ_FLOW_TABLE, {"the flow table could not be read", nullptr}},
    {NPRM_ERROR_FDM_READ_FIB_TABLE, {"the FIB table could not be read", nullptr}},
    {NPRM_ERROR_FDM_DUPLICATE_SN_IP, {"another service node has the address", nullptr}},
    {NPRM_ERROR_FDM_INVALID_SEC_IP, {"the secondary address is not valid", nullptr}},
    {NPRM_ERROR_CMM_SC_NOT_EXIST, {"the service context does not exist", nullptr}},
    {NPRM_ERROR_CMM_MALLOC_ENCAP, {"no encapsulation entry is left for the service context", nullptr}},
    {NPRM_ERROR_CMM_MALLOC_INT_TCAM, {"no internal TCAM entry is left for the service context", nullptr}},
    {NPRM_ERROR_CMM_SC_MAX, {"no more service contexts can be made", nullptr}},
    {NPRM_ERROR_CMM_WRITE_ENCAP, {"the encapsulation entry of the service context could not be written", nullptr}},
    {NPRM_ERROR_CMM_DEL_ENCAP, {"the encapsulation entry of the service context could not be deleted", nullptr}},
    {NPRM_ERROR_CMM_WRITE_SC, {"the service context could not be written", nullptr}},
    {NPRM_ERROR_CMM_DEL_SC, {"the service context could not be deleted", nullptr}},
    {NPRM_ERROR_CMM_READ_SC, {"the service context could not be read", nullptr}},
    {NPRM_ERROR_CMM_WRITE_HOST_RESULT, {"the host result of the service context could not be written", nullptr}},
    {NPRM_ERROR_CMM_DEL_HOST_RESULT, {"the host result of the service context could not be deleted", nullptr}},
    {NPRM_ERROR_CMM_READ_HOST_RESULT, {"the host result of the service context could not be read", nullptr}},
    {NPRM_ERROR_CMM_WRITE_INT_TCAM, {"the internal TCAM entry of the service context could not be written", nullptr}},
    {NPRM_ERROR_CMM_DEL_INT_TCAM, {"the internal TCAM entry of the service context could not be deleted", nullptr}},
    {NPRM_ERROR_CMM_READ_INT_TCAM, {"the internal TCAM entry of the service context could not be read", nullptr}},
    {NPRM_ERROR_CMM_WRITE_DIST_LIST, {"the distribution list could not be written", nullptr}},
    {NPRM_ERROR_CMM_DEL_DIST_LIST, {"the distribution list could not be deleted", nullptr}},
    {NPRM_ERROR_CMM_READ_DIST_LIST, {"the distribution list could not be read", nullptr}},
    {NPRM_ERROR_CMM_WRITE_LIST_CONFIG, {"the list configuration could not be written", nullptr}},
    {NPRM_ERROR_CMM_READ_LIST_CONFIG, {"the list configuration could not be read", nullptr}},
    {NPRM_ERROR_CMM_DUPLICATE_SC_IP, {"another service context has the address", nullptr}},
    {NPRM_ERROR_CMM_INVALID_SEC_IP, {"the secondary address is not valid", nullptr}},
    {NPRM_ERROR_WCCP_NOT_EXIST, {"the WCCP service group does not exist", nullptr}},
    {NPRM_ERROR_WCCP_MALLOC_ENCAP, {"no encapsulation entry is left for the WCCP service group", nullptr}},
    {NPRM_ERROR_WCCP_MALLOC_INT_TCAM, {"no internal TCAM entry is left for the WCCP service group", nullptr}},
    {NPRM_ERROR_WCCP_MAX, {"no more WCCP service groups can be made", nullptr}},
    {NPRM_ERROR_WCCP_WRITE_ENCAP, {"the encapsulation entry of the WCCP service group could not be written", nullptr}},
    {NPRM_ERROR_WCCP_DEL_ENCAP, {"the encapsulation entry of the WCCP service group could not be deleted", nullptr}},
    {NPRM_ERROR_WCCP_WRITE_WCCP, {"the WCCP service group could not be written", nullptr}},
    {NPRM_ERROR_WCCP_DEL_WCCP, {"the WCCP service group could not be deleted", nullptr}},
    {NPRM_ERROR_WCCP_READ_WCCP, {"the WCCP service group could not be read", nullptr}},
    {NPRM_ERROR_WCCP_WRITE_HOST_RESULT, {"the host result of the WCCP service group could not be written", nullptr}},
    {NPRM_ERROR_WCCP_DEL_HOST_RESULT, {"the host result of the WCCP service group could not be deleted", nullptr}},
    {NPRM_ERROR_WCCP_WRITE_INT_TCAM, {"the internal TCAM entry of the WCCP service group could not be written", nullptr}},
    {NPRM_ERROR_WCCP_DEL_INT_TCAM, {"the internal TCAM entry of the WCCP service group could not be deleted", nullptr}},
    {NPRM_ERROR_ETHMON_INVALID_PORT, {"there is no such port", nullptr}},
    {NPRM_ERROR_ETHMON_SET_MTU_NPA, {"the MTU could not be set in the network processor", nullptr}},
    {NPRM_ERROR_ETHMON_GET_MTU_NPA, {"the MTU could not be read from the network processor", nullptr}},
    {NPRM_ERROR_ETHMON_SET_SPEED_MV, {"the speed could not be set in the MV device", nullptr}},
    {NPRM_ERROR_ETHMON_SET_SPEED_NPA, {"the speed could not be set in the network processor", nullptr}},
    {NPRM_ERROR_ETHMON_GET_SPEED_MV, {"the speed could not be read from the MV device", nullptr}},
    {NPRM_ERROR_ETHMON_SET_NEGO_MV, {"the negotiation could not be set in the MV device", nullptr}},
    {NPRM_ERROR_ETHMON_GET_NEGO_MV, {"the negotiation could not be read from the MV device", nullptr}},
    {NPRM_ERROR_ETHMON_SET_MACADDR_NPA, {"the MAC address could not be set in the network processor", nullptr}},
    {NPRM_ERROR_ETHMON_GET_MACADDR_NPA, {"the MAC address could not be read from the network processor", nullptr}},
    {NPRM_ERROR_ETHMON_SET_LINK_MV, {"the link could not be set in the MV device", nullptr}},
    {NPRM_ERROR_ETHMON_SET_LINK_NPA, {"the link could not be set in the network processor", nullptr}},
    {NPRM_ERROR_ETHMON_GET_LINK_MV, {"the link could not be read from the MV device", nullptr}},
    {NPRM_ERROR_ETHMON_GET_COUNTERS_NPA, {"the counters could not be read from the network processor", nullptr}},
    {NPRM_ERROR_ETHMON_SFP_READ_MSA, {"the identification of the SFP could not be read", nullptr}},
    {NPRM_ERROR_ETHMON_SFP_READ_DOM, {"the optical monitoring of the SFP could not be read", nullptr}},
    {NPRM_ERROR_ETHMON_SET_NEGO_NPA, {"the negotiation could not be set in the network processor", nullptr}},
    {NPRM_ERROR_IF_EXIST, {"the interface exists already", nullptr}},
    {NPRM_ERROR_IF_NOT_EXIST, {"the interface does not exist", nullptr}},
    {NPRM_ERROR_IF_MALLOC_PORT_TABLE, {"no port-table entry is left", nullptr}},
    {NPRM_ERROR_IF_MALLOC_INT_TCAM_L2, {"no internal TCAM entry is left for an L2 interface", nullptr}},
    {NPRM_ERROR_IF_MALLOC_INT_TCAM_L3, {"no internal TCAM entry is left for an L3 interface", nullptr}},
    {NPRM_ERROR_IF_MALLOC_LAG, {"no link-aggregation entry is left", nullptr}},
    {NPRM_ERROR_IF_MALLOC_UIDB, {"no UIDB is left", nullptr}},
    {NPRM_ERROR_IF_MALLOC_ENCAP_V4, {"no IPv4 encapsulation entry is left", nullptr}},
    {NPRM_ERROR_IF_MALLOC_ENCAP_V6, {"no IPv6 encapsulation entry is left", nullptr}},
    {NPRM_ERROR_IF_MALLOC_CTRL, {"no control entry is left", nullptr}},
    {NPRM_ERROR_IF_WRITE_BCAM, {"the BCAM could not be written", nullptr}},
    {NPRM_ERROR_IF_WRITE_PCSRAM, {"the port configuration memory could not be written", nullptr}},
    {NPRM_ERROR_IF_READ_PCSRAM, {"the port configuration memory could not be read", nullptr}},
    {NPRM_ERROR_IF_WRITE_ING_UIDB, {"the ingress UIDB could not be written", nullptr}},
    {NPRM_ERROR_IF_READ_ING_UIDB, {"the ingress UIDB could not be read", nullptr}},
    {NPRM_ERROR_IF_WRITE_EGR_UIDB, {"the egress UIDB could not be written", nullptr}},
    {NPRM_ERROR_IF_READ_EGR_UIDB, {"the egress UIDB could not be read", nullptr}},
    {NPRM_ERROR_IF_WRITE_PORT_TABLE, {"the port table could not be written", nullptr}},
    {NPRM_ERROR_IF_READ_PORT_TABLE, {"the port table could not be read", nullptr}},
    {NPRM_ERROR_IF_WRITE_HOST_RESULT, {"the host result could not be written", nullptr}},
    {NPRM_ERROR_IF_READ_HOST_RESULT, {"the host result could not be read", nullptr}},
    {NPRM_ERROR_IF_WRITE_ENCAP, {"the encapsulation entry could not be written", nullptr}},
    {NPRM_ERROR_IF_READ_ENCAP, {"the encapsulation entry could not be read", nullptr}},
    {NPRM_ERROR_IF_WRITE_LAG, {"the link-aggregation entry could not be written", nullptr}},
    {NPRM_ERROR_IF_READ_LAG, {"the link-aggregation entry could not be read", nullptr}},
    {NPRM_ERROR_IF_WRITE_FIB, {"the FIB could not be written", nullptr}},
    {NPRM_ERROR_IF_READ_FIB, {"the FIB could not be read", nullptr}},
    {NPRM_ERROR_IF_WRITE_MY_MAC, {"the own MAC address could not be written", nullptr}},
    {NPRM_ERROR_IF_READ_MY_MAC, {"the own MAC address could not be read", nullptr}},
    {NPRM_ERROR_IF_WRITE_MY_IP, {"the own IP address could not be written", nullptr}},
    {NPRM_ERROR_IF_READ_MY_IP, {"the own IP address could not be read", nullptr}},
    {NPRM_ERROR_IF_IN_BG, {"the interface is in a bridge group", nullptr}},
    {NPRM_ERROR_IF_BG_EXIST, {"the bridge group exists already", nullptr}},
    {NPRM_ERROR_IF_BG_NOT_EXIST, {"the bridge group does not exist", nullptr}},
    {NPRM_ERROR_IF_BG_HAS_VLAN_PT, {"the bridge group has a VLAN port", nullptr}},
    {NPRM_ERROR_IF_VLAN_IN_USE, {"the VLAN is in use", nullptr}},
    {NPRM_ERROR_IF_VLAN_NOT_IN_USE, {"the VLAN is not in use", nullptr}},
    {NPRM_ERROR_IF_WRITE_VLAN_PT, {"the VLAN port could not be written", nullptr}},
    {NPRM_ERROR_IF_IS_L3, {"the interface is an L3 interface", nullptr}},
    {NPRM_ERROR_IF_NOT_L2, {"the interface is no L2 interface", nullptr}},
    {NPRM_ERROR_IF_NOT_L3, {"the interface is no L3 interface", nullptr}},
    {NPRM_ERROR_IF_NOT_PC, {"the interface is no port channel", nullptr}},
    {NPRM_ERROR_IF_NOT_SB, {"the interface is no standby interface", nullptr}},
    {NPRM_ERROR_IF_NOT_PHYSICAL, {"the interface is not physical", nullptr}},
    {NPRM_ERROR_IF_PC_MAX_PORTS, {"the port channel has all the ports it can have", nullptr}},
    {NPRM_ERROR_IF_NOT_PC_MEMBER, {"the interface is no member of a port channel", nullptr}},
    {NPRM_ERROR_IF_SB_NOT_ACTIVE, {"the standby interface is not active", nullptr}},
    {NPRM_ERROR_WRITE_TR_CFG, {"the trace configuration could not be written", nullptr}},
    {NPRM_ERROR_FL_PARSE_SCRATCH, {"the scratch memory of flow learning could not be read", nullptr}},
    {NPRM_ERROR_FL_TR_CFG, {"the trace of flow learning could not be configured", nullptr}},
};

#define NPRM_COUNT_CODE(number, name) +1
#define NPRM_COUNT_NONE(number)
static_assert(std::size(results) == 0 NPRM_RESULT_CODES(NPRM_COUNT_CODE, NPRM_COUNT_NONE), "a result code has no row, or two");
#undef NPRM_COUNT_CODE
#undef NPRM_COUNT_NONE
static_assert(std::ranges::is_sorted(results, {}, &result_row::code) &&
                  std::ranges::adjacent_find(results, {}, &result_row::code) == std::end(results),
              "rows stand in the order of their codes");

struct family_row {
    uint32_t last;
    const char *name;
};

constexpr family_row families[] = {
    {NPRM_ERROR_LOG_INIT_DRV, "general: the library itself, and any part of the server"},
    {NPRM_ERROR_TCAM_UNKNOWN, "TCAM: lists and entries"},
    {NPRM_ERROR_FDM_INVALID_SEC_IP, "FDM: service nodes and distribution"},
    {NPRM_ERROR_CMM_INVALID_SEC_IP, "CMM: service contexts"},
    {NPRM_ERROR_WCCP_DEL_INT_TCAM, "WCCP: service groups"},
    {NPRM_ERROR_ETHMON_SET_NEGO_NPA, "ETHMON: Ethernet ports and SFPs"},
    {NPRM_ERROR_IF_SB_NOT_ACTIVE, "IF: interfaces, port channels, bridge groups, FIB"},
    {NPRM_ERROR_FL_TR_CFG, "flow learning and trace"},
};

}  // namespace

result_text text_of_result(uint32_t code) {
    const auto *row = std::ranges::lower_bound(results, code, {}, &result_row::code);
    return row != std::end(results) && row->code == code ? row->text : result_text{nullptr, nullptr};
}

const char *family_of_result(uint32_t code) {
    const auto *row = std::ranges::lower_bound(families, code, {}, &family_row::last);
    return row != std::end(families) ? row->name : "unknown";
}
