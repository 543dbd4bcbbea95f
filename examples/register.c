/* Registers with the server and reports its status; ends with 0 when the server takes calls.
 *
 *     register */
#include "nprm.h"

#include <inttypes.h>
#include <stdio.h>

int main(void) {
    if (nprm_ipc_register_client() != 1) {
        fprintf(stderr, "\nthe server has not published its status: is the card running?\n");
        return 1;
    }
    const uint32_t status = *nprm_server_status;
    printf("status %" PRIu32 ": %s\n", status, status == NPRM_SERVER_READY ? "ready" : "not ready");

    /* Needs no server: a constant of the library. */
    uint32_t most_flows = 0;
    if (nprm_get_flowlearn_max(&most_flows) == NPRM_OK) printf("learns at most %" PRIu32 " flows\n", most_flows);
    return status == NPRM_SERVER_READY ? 0 : 1;
}
