// What the printers wrote, as text.
#ifndef TESTS_PRINTED_H
#define TESTS_PRINTED_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "api/nprm.h"

using entry_printer = int (*)(uint32_t addr, const uint32_t *data, uint8_t echo, char *text, FILE *file);

// The printers by type; null where a type has none.
inline entry_printer printer_of(uint32_t type) {
    constexpr entry_printer printers[] = {
        nullptr,
        decode_pcsram,
        nullptr,
        decode_ing_uidb,
        decode_egr_uidb,
        decode_port_table,
        decode_host_key,
        decode_tcam_mask,
        decode_host_result,
        decode_if_encap,
        decode_lag,
        decode_fib,
        decode_vemo,
        decode_encap,
        decode_action,
        decode_sng_dist,
        decode_prs_cfg_dist_list,
        decode_res_cfg_dist_list,
        decode_cfg_flow_debug,
        decode_cfg_flow_tbl_key,
        decode_cfg_flow_tbl_data,
        decode_cfg_fib_tbl_key,
        decode_cfg_fib_tbl_data,
        decode_ethmon_cfg,
        decode_ethmon_portstatus,
    };
    return printers[type];
}

// What run(stream) writes to the stream.
template <typename Run>
std::string stream_of(Run run) {
    char *text = nullptr;
    size_t bytes = 0;
    FILE *stream = open_memstream(&text, &bytes);
    run(stream);
    fclose(stream);
    std::string written(text, bytes);
    free(text);
    return written;
}

// An entry of the largest size whose first bytes are given, zeros behind them.
inline std::vector<uint32_t> entry_of(const std::vector<uint8_t> &bytes) {
    std::vector<uint32_t> words(51);
    std::copy(bytes.begin(), bytes.end(), reinterpret_cast<uint8_t *>(words.data()));
    return words;
}

inline std::string printed(uint32_t type, uint32_t addr, const std::vector<uint8_t> &bytes) {
    const std::vector<uint32_t> words = entry_of(bytes);
    return stream_of([&](FILE *file) { printer_of(type)(addr, words.data(), 0, nullptr, file); });
}

#endif
