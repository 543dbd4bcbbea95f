// One exchange through the client library and the local transport, beside a bare exchange of the same sizes.

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "api/nprm.h"
#include "support/exchange_servers.h"
#include "support/pair.h"

namespace {

void must(bool good, const char *what) {
    if (good) return;
    std::fprintf(stderr, "%s failed\n", what);
    std::exit(2);
}

// A request as large as one gets, answered in full; no operation looks at it, so that this is frame and transport alone.
void exchange_message(uint32_t operation, uint32_t units) {
    auto *message = static_cast<nprm_tcam_message *>(nprm_ipc_msg_malloc());
    message->header = {operation, units};
    must(nprm_ipc_send_msg(NPRM_COMPONENT_TCAM, message, 8 + 51 * units, 75) == NPRM_OK, "the exchange");
}

}  // namespace

int main(int argc, char **argv) {
    benchmark_run run("round trip: the library beside a bare socket", argc, argv);
    exchange_servers servers(exchange_servers::answer::whole);
    must(nprm_ipc_register_client() == 1, "the registration");
    static uint8_t bytes[65536];
    for (const bool share : {true, false}) {
        servers.share_one_processor(share);
        const std::string where = share ? ", one processor" : ", two processors";
        run.pair(
            "110 bytes and back (space)" + where, 1.08,
            [] {
                uint32_t nr_free = 0;
                must(nprm_tcam_v4_space_dup(&nr_free) == NPRM_OK, "space");
            },
            [&] { servers.exchange_bare(bytes, 110); });
        run.pair(
            "65,492 bytes and back, result codes only" + where, 1.05, [] { exchange_message(NPRM_TCAM_WRITE_POLICY, 1284); },
            [&] { servers.exchange_bare(bytes, 65492); });
        run.pair(
            "65,492 bytes and back, every byte returned" + where, 1.05, [] { exchange_message(NPRM_TCAM_READ_POLICY, 1284); },
            [&] { servers.exchange_bare(bytes, 65492); });
    }
    return run.finish();
}
