// Writing 60,000 ACL entries through the library, beside copying and sending the same bytes bare.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "api/nprm.h"
#include "support/exchange_servers.h"
#include "support/pair.h"

namespace {

struct entries {
    std::vector<nprm_tcam_acl_key> key, mask;
    std::vector<nprm_tcam_acl_result> result;
    explicit entries(uint16_t count) : key(count), mask(count), result(count) {
        for (uint16_t i = 0; i < count; ++i) {
            key[i].u32_6 = 0x0A000000u + i;
            mask[i].u32_6 = 0xFFFFFFFF;
            result[i].u32_8 = i;
        }
    }
    uint16_t count() const { return static_cast<uint16_t>(key.size()); }
};

void write_through_library(const entries &all) {
    if (nprm_tcam_write_v4_acl_vmr_dup(1, 0, all.count(), all.key.data(), all.mask.data(), all.result.data()) == NPRM_OK) return;
    std::fprintf(stderr, "the write failed\n");
    std::exit(2);
}

// The bytes of each message, ready made: copied into a buffer and sent.
void write_bare(exchange_servers &servers, const std::vector<uint8_t> &image, uint32_t count) {
    static uint8_t buffer[65536];
    size_t from = 0;
    for (uint32_t left = count; left != 0;) {
        const uint32_t part = left < NPRM_TCAM_ENTRIES_MAX ? left : uint32_t{NPRM_TCAM_ENTRIES_MAX};
        const size_t bytes = 8 + 51 * (part + NPRM_TCAM_HEAD_UNITS);
        std::memcpy(buffer, image.data() + from, bytes);
        servers.exchange_bare(buffer, bytes);
        from += bytes;
        left -= part;
    }
}

}  // namespace

int main(int argc, char **argv) {
    benchmark_run run("bulk write: the library beside copying and sending", argc, argv);
    exchange_servers servers(exchange_servers::answer::head);
    if (nprm_ipc_register_client() != 1) return 2;
    const entries all(run.smoke() ? 3000 : 60000);
    const std::vector<uint8_t> image(size_t{64} * 65536);
    for (const bool share : {true, false}) {
        servers.share_one_processor(share);
        run.pair(
            std::to_string(all.count()) + " ACL entries" + (share ? ", one processor" : ", two processors"), 1.15,
            [&] { write_through_library(all); }, [&] { write_bare(servers, image, all.count()); }, all.count(), all.count());
    }
    return run.finish();
}
