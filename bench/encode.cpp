// Encoding alone: whole messages of FIB entries and of service records through the library, beside memcpy of the same bytes.
//
// The transport is this program's own: it sends nothing and answers every request at once with the least that is a reply.  What is
// left is the library's work on a request.  The peer copies messages that are ready made into the library's request buffers, taken
// and given back in the same way, so that both write the same memory.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "api/nprm.h"
#include "platform/ruv.h"
#include "support/pair.h"

namespace {

constexpr uint32_t messages = 4;
constexpr double half_the_speed = 2.0;

uint8_t accepted[12];  // no records and result 0
uint64_t bytes_sent;

volatile uint32_t ready = NPRM_SERVER_READY;

void must(uint32_t code) {
    if (code == NPRM_OK) return;
    std::fprintf(stderr, "a call failed: %u\n", code);
    std::exit(2);
}

// The peer: as many messages of as many bytes.
struct ready_made {
    std::vector<uint8_t> image;
    size_t message_bytes;
    explicit ready_made(size_t bytes) : image(bytes * messages, 0x5A), message_bytes(bytes) {}
    void copy() const {
        for (uint32_t i = 0; i < messages; ++i) {
            void *buffer = nprm_ipc_msg_malloc();
            std::memcpy(buffer, image.data() + i * message_bytes, message_bytes);
            keep_memory();
            nprm_free(buffer);
        }
    }
};

template <typename Call>
void measure(benchmark_run &run, const char *name, uint32_t records, size_t record_bytes, Call call) {
    const ready_made peer(8 + record_bytes * records);
    bytes_sent = 0;
    call();
    if (bytes_sent != peer.image.size()) {
        std::fprintf(stderr, "%s: %llu bytes went out, the peer copies %zu\n", name, static_cast<unsigned long long>(bytes_sent),
                     peer.image.size());
        std::exit(2);
    }
    run.pair(
        name, half_the_speed, call, [&] { peer.copy(); }, messages * records, messages * records);
}

}  // namespace

uint32_t ruv_bind(uint32_t, int32_t, const uint32_t *, const char *) {
    return 1;
}

int32_t ruv_send(uint32_t, uint32_t, uint32_t, uint32_t, const void *payload, uint32_t size, ruv_message *, uint32_t,
                 const uint32_t *) {
    keep(*static_cast<const uint8_t *>(payload));
    bytes_sent += size;
    return 0;
}

uint32_t ruv_rr_token_get(const ruv_message *) {
    return 1;
}

int32_t ruv_recv(uint32_t, ruv_message *, const uint32_t *) {
    return 0;
}

uint32_t ruv_payload_size(const ruv_message *) {
    return sizeof accepted;
}

void *ruv_payload_get(const ruv_message *, uint32_t, const ruv_message *) {
    return accepted;
}

int32_t ruv_drop(uint32_t, ruv_message *) {
    return 0;
}

int main(int argc, char **argv) {
    benchmark_run run("encoding alone: the library beside memcpy of the same bytes", argc, argv);
    nprm_syslog_flag = 0;
    nprm_ipc_register_client();  // there is no card: only the buffers and the binding are of use
    nprm_server_status = &ready;

    constexpr uint32_t routes = messages * NPRM_FIB_ENTRIES_MAX;
    std::vector<nprm_fib_prefix> prefixes(routes);
    std::vector<nprm_fib_nexthop> nexthops(routes);
    measure(run, "FIB entries", NPRM_FIB_ENTRIES_MAX, 35,
            [&] { must(nprm_v4_fib_op(0, routes, prefixes.data(), nexthops.data())); });

    const std::vector<uint8_t> ids(messages * NPRM_CMM_UNITS_MAX);
    std::vector<nprm_service_node> nodes(messages * NPRM_FDM_UNITS_MAX);
    const auto send_nodes = [&] { must(nprm_sn_op(0, static_cast<uint32_t>(nodes.size()), ids.data(), nodes.data())); };
    measure(run, "service nodes, IPv6", NPRM_FDM_UNITS_MAX, 80, send_nodes);
    for (nprm_service_node &node : nodes)
        node.flags = NPRM_SERVICE_IPV4_FLAG;
    measure(run, "service nodes, IPv4", NPRM_FDM_UNITS_MAX, 80, send_nodes);

    std::vector<nprm_service_context> contexts(messages * NPRM_CMM_UNITS_MAX);
    measure(run, "service contexts, IPv6", NPRM_CMM_UNITS_MAX, 38,
            [&] { must(nprm_sc_op(0, static_cast<uint32_t>(contexts.size()), ids.data(), contexts.data())); });

    std::vector<nprm_wccp_entry> entries(messages * NPRM_WCCP_UNITS_MAX);
    for (nprm_wccp_entry &entry : entries)
        entry.flags = NPRM_WCCP_IPV6_FLAG;
    measure(run, "WCCP entries, IPv6", NPRM_WCCP_UNITS_MAX, 40,
            [&] { must(nprm_wccp_op(0, static_cast<uint32_t>(entries.size()), ids.data(), entries.data())); });
    return run.finish();
}
