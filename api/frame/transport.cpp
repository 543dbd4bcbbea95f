// Registration, the request preparer, and one exchange over the transport.

#include "transport.h"

#include "../../platform/ruv.h"
#include "component.h"
#include "log.h"
#include "nprm_pool.h"
#include "nprm_shm.h"

#include <cerrno>
#include <cstdio>

namespace {

constexpr uint32_t request_buffers = 11;
constexpr uint32_t not_bound = 0xFFFFFFFF;

// The transport's own constants: what they mean is its business, the library passes exactly these.
constexpr uint32_t dynamic_sap_class = 4;
constexpr int32_t any_sap = -1;
constexpr uint32_t bind_parameters[6] = {1, 0, 1024, 0, 0, 15};
constexpr uint32_t server_domain = 0xFE000000;
constexpr uint32_t server_service = 62;

alignas(16) constinit uint8_t request_storage[NPRM_POOL_BYTES(request_buffers, NPRM_MESSAGE_BYTES_MAX)] = {};
constinit nprm_buffer_pool request_pool =
    NPRM_POOL("nprm_ipc_reply_pool", 1, request_buffers, NPRM_MESSAGE_BYTES_MAX, request_storage);
constinit pthread_once_t request_pool_once = PTHREAD_ONCE_INIT;

constinit uint32_t transport_handle = not_bound;
constinit uint32_t client_counter = 0;

// The status segment's one unit; kept by the segment table.
constexpr uint32_t status_unit_bytes[1] = {NPRM_SHM_STATUS_UNIT_BYTES};

bool server_is_ready() {
    return nprm_server_status != nullptr && *nprm_server_status == NPRM_SERVER_READY;
}

// The operation finds the code in errno, whatever the log wrote there.
void *refuse(uint32_t code) {
    errno = static_cast<int>(code);
    return nullptr;
}

// A server that goes away ends the attempts early.
uint32_t receive(ruv_message &received, uint32_t token, uint32_t attempts) {
    const uint32_t options[10] = {1, 0, 1, token};
    for (uint32_t attempt = 1;; ++attempt) {
        const int32_t outcome = ruv_recv(transport_handle, &received, options);
        if (outcome >= 0) return NPRM_OK;
        if (!server_is_ready()) return NPRM_FAIL("nprm_ipc_send_msg", NPRM_ERROR_NOT_READY, "NPRM server no longer available.");
        if (attempt >= attempts)
            return NPRM_FAIL("nprm_ipc_send_msg", NPRM_ERROR_TIMEOUT, "Failed to receive: retval = %d.", outcome);
    }
}

uint32_t take_reply(uint32_t component, const ruv_message &received, const ruv_message &sent) {
    const uint32_t bytes = ruv_payload_size(&received);
    NPRM_LOG_AT(NPRM_LEVEL_TRANSPORT, "nprm_ipc_send_msg", __LINE__, "Received %d byte reply.", static_cast<int>(bytes));
    const void *payload = ruv_payload_get(&received, bytes, &sent);
    if (payload == nullptr || bytes < NPRM_REPLY_BYTES_MIN)
        return NPRM_FAIL("nprm_ipc_send_msg", NPRM_ERROR, "Malformed reply from component %u: %u bytes, at least %u are needed.",
                         component, payload == nullptr ? 0 : bytes, static_cast<uint32_t>(NPRM_REPLY_BYTES_MIN));
    nprm::convert_reply(component, static_cast<const uint8_t *>(payload), bytes);
    return NPRM_OK;
}

}  // namespace

uint32_t nprm_ipc_register_client() {
    pthread_once(&request_pool_once, [] { nprm_init_buffer_pool(&request_pool); });

    char name[32];
    snprintf(name, sizeof name, "NPRM Client %d", static_cast<int>(client_counter));
    ++client_counter;
    transport_handle = ruv_bind(dynamic_sap_class, any_sap, bind_parameters, name);
    if (transport_handle == not_bound) {
        NPRM_LOG(NPRM_LEVEL_ERROR, "Unable to bind to any DYNAMIC SAP.");
        return 0;
    }
    nprm_server_status = static_cast<volatile uint32_t *>(nprm_shm_init(NPRM_SHM_STATUS, 1, status_unit_bytes, 0));
    return nprm_server_status != nullptr ? 1 : 0;
}

void *nprm_ipc_msg_malloc() {
    return nprm_pool_malloc(&request_pool);
}

void *nprm_prep_ipc_msg(uint32_t operation, uint32_t units) {
    if (!server_is_ready()) {
        NPRM_LOG(NPRM_LEVEL_ERROR, "Server is not ready to accept calls.");
        return refuse(NPRM_ERROR_NOT_READY);
    }
    void *buffer = nprm_ipc_msg_malloc();
    if (buffer == nullptr) {
        NPRM_LOG(NPRM_LEVEL_ERROR, "Memory pool does not appear initialized.");
        return refuse(NPRM_ERROR_MALLOC);
    }
    auto *header = static_cast<nprm_message_header *>(buffer);
    header->operation = operation;
    header->units = units;
    return buffer;
}

uint32_t nprm_ipc_send_msg(uint32_t component, void *request, uint32_t size, int attempts) {
    if (component >= NPRM_COMPONENT_COUNT || size > NPRM_MESSAGE_BYTES_MAX) {
        nprm_free(request);
        return NPRM_FAIL("nprm_ipc_send_msg", NPRM_ERROR_PARAM, "No message of %u bytes can go to component %u.", size, component);
    }
    const uint32_t opcode = nprm_component_opcode[component];
    NPRM_LOG(NPRM_LEVEL_TRANSPORT, "Sending %d byte message to component %d with RUV opcode %d.", static_cast<int>(size),
             static_cast<int>(component), static_cast<int>(opcode));

    ruv_message sent;
    const uint32_t send_options[17] = {1};
    if (ruv_send(transport_handle, server_domain, server_service, opcode, request, size, &sent, 0, send_options) < 0) {
        nprm_free(request);
        return NPRM_FAIL("nprm_ipc_send_msg", NPRM_ERROR_IPC_SEND, "Failed to send %d bytes.", static_cast<int>(size));
    }
    const uint32_t token = ruv_rr_token_get(&sent);
    nprm_free(request);
    ruv_drop(transport_handle, &sent);

    ruv_message received;
    const int allowed = attempts > 0 ? attempts : int{NPRM_RECEIVE_ATTEMPTS};
    const uint32_t failure = receive(received, token, static_cast<uint32_t>(allowed));
    if (failure != NPRM_OK) return failure;
    const uint32_t outcome = take_reply(component, received, sent);
    ruv_drop(transport_handle, &received);
    return outcome;
}
