/* The least that asks the card a question: connects, does one exchange, prints.  What nprmctl's start is measured against. */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "api/wire/nprm_tcam_wire.h"
#include "platform/local/ruv_local.h"

int main(void) {
    struct sockaddr_un address = {.sun_family = AF_UNIX};
    const char *directory = getenv("RUV_DIR");
    snprintf(address.sun_path, sizeof address.sun_path, "%s/%d", directory != NULL ? directory : ".", NPRM_OPCODE_TCAM);
    int server = socket(AF_UNIX, SOCK_SEQPACKET, 0);
    if (connect(server, (struct sockaddr *)&address, sizeof address) != 0) {
        perror(address.sun_path);
        return 1;
    }
    struct {
        ruv_local_header frame;
        uint8_t message[offsetof(nprm_tcam_message, entry)];
    } exchange = {.frame = {RUV_LOCAL_MAGIC, 1, sizeof exchange.message, 0}};
    const nprm_message_header header = {NPRM_TCAM_SPACE, NPRM_TCAM_HEAD_UNITS};
    memcpy(exchange.message, &header, sizeof header);
    if (send(server, &exchange, sizeof exchange, 0) < 0 || recv(server, &exchange, sizeof exchange, 0) < 0) {
        perror("exchange");
        return 1;
    }
    uint32_t nr_free = 0;
    memcpy(&nr_free, exchange.message + offsetof(nprm_tcam_message, list.nr_entry), sizeof nr_free);
    printf("%u entries are free\n", nr_free);
    return 0;
}
