// Printing a full configuration blob beside the plain way of writing the same text, and finding a register by its name.

#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "api/nprm.h"
#include "support/pair.h"
#include "tools/nprmctl/register_names.h"

namespace {

// FIB entries, as a reader of their layout would write them down.
constexpr struct {
    const char *name;
    uint32_t byte, bit, width;
} fields[] = {
    {"cb0.valid", 0, 0, 1},   {"cb0.match", 0, 1, 1},     {"cb0.for_us", 0, 2, 1},  {"cb0.forward", 0, 3, 1},
    {"cb0.drop", 0, 4, 1},    {"cb0.def_route", 0, 5, 1}, {"cb0.punt", 0, 6, 1},    {"cb0.bvi", 0, 7, 1},
    {"cb1.tr_cb8", 1, 0, 1},  {"cb1.tr_cb9", 1, 1, 1},    {"cb1.tr_cb10", 1, 2, 1}, {"cb1.tr_cb11", 1, 3, 1},
    {"cb1.tr_cb12", 1, 4, 1}, {"cb1.tr_cb13", 1, 5, 1},   {"cb1.tr_cb14", 1, 6, 1}, {"cb1.tr_cb15", 1, 7, 1},
    {"cb2.drop", 2, 3, 1},    {"cb2.match_all", 2, 4, 1}, {"cb2.punt", 2, 5, 1},    {"cb2.for_us", 2, 6, 1},
    {"cb2.forward", 2, 7, 1}, {"dmac[0]", 3, 0, 8},       {"dmac[1]", 4, 0, 8},     {"dmac[2]", 5, 0, 8},
    {"dmac[3]", 6, 0, 8},     {"dmac[4]", 7, 0, 8},       {"dmac[5]", 8, 0, 8},     {"uidb", 9, 0, 16},
};
constexpr size_t text_bytes = 8u << 20;

std::vector<uint32_t> blob_of(uint32_t bytes) {
    std::vector<uint32_t> blob(NPRM_BLOB_BYTES_MAX / 4);
    uint32_t used = 0;
    for (uint32_t i = 0;; ++i) {
        uint8_t entry[12];
        for (uint32_t at = 0; at < sizeof entry; ++at)
            entry[at] = static_cast<uint8_t>(i * 7 + at * 31);
        if (used + NPRM_BLOB_HEADER_BYTES + sizeof entry + 4 > bytes) return blob;
        nprm_encode_config(NPRM_ENTRY_FIB, i, sizeof entry, entry, reinterpret_cast<uint8_t *>(blob.data()), &used);
    }
}

// put(format, ...) writes one line.
template <typename Put>
void print_plainly(const std::vector<uint32_t> &blob, Put put) {
    constexpr const char *rule = "-----------------------------------------------------";
    for (const uint32_t *entry = blob.data(); entry[0] != 0; entry += 3 + entry[2]) {
        put("\n\n%s [%#x]\n%s\n  Field Name                   #Bits  Value\n%s", "FIB Entry", entry[1], rule, rule);
        const auto *bytes = reinterpret_cast<const uint8_t *>(entry + 3);
        for (const auto &field : fields) {
            const uint32_t word = bytes[field.byte] | uint32_t{bytes[field.byte + 1]} << 8;
            const uint32_t value = word >> field.bit & ((1u << field.width) - 1);
            put("\n  %-30s %2d    %#x (%u)", field.name, static_cast<int>(field.width), value, value);
        }
    }
}

void append_with_strcat(const std::vector<uint32_t> &blob, char *text) {
    text[0] = '\0';
    print_plainly(blob, [&](const char *format, auto... values) {
        char line[4096];
        snprintf(line, sizeof line, format, values...);
        strcat(text, line);
    });
}

// Kinder than strcat, which looks for the end of the text at every line.
void append_at_the_end(const std::vector<uint32_t> &blob, char *text) {
    text[0] = '\0';
    print_plainly(blob, [&](const char *format, auto... values) {
        char line[4096];
        const int bytes = snprintf(line, sizeof line, format, values...);
        memcpy(text, line, static_cast<size_t>(bytes) + 1);
        text += bytes;
    });
}

FILE *const nowhere = fopen("/dev/null", "w");

// Every blob ends with a newline on standard output, where this program's table is.
void decode(const std::vector<uint32_t> &blob, char *text, FILE *file) {
    FILE *const console = stdout;
    stdout = nowhere;
    if (text != nullptr) text[0] = '\0';
    nprm_decode_config_to_file(file, 0, text, blob.data());
    stdout = console;
}

bool texts_are_the_same(const std::vector<uint32_t> &blob, std::vector<char> &ours, std::vector<char> &plain) {
    decode(blob, ours.data(), nullptr);
    append_at_the_end(blob, plain.data());
    return strcmp(ours.data(), plain.data()) == 0;
}

// All names are looked at, whether one has the text or not.
uint32_t find_text(const register_search &search) {
    uint32_t found = 0;
    for (uint32_t index = 0; index < NPRM_NP_REGISTER_COUNT; ++index)
        found += search.finds(get_npa_register_name(index)) ? 1u : 0u;
    return found;
}

}  // namespace

int main(int argc, char **argv) {
    benchmark_run run("print: blobs as text, registers by name", argc, argv);
    nprm_syslog_flag = 0;

    const std::vector<uint32_t> full = blob_of(run.smoke() ? 4096 : NPRM_BLOB_BYTES_MAX);
    const std::vector<uint32_t> small = blob_of(4096);
    std::vector<char> text(text_bytes);
    std::vector<char> plain(text_bytes);
    if (!texts_are_the_same(full, text, plain)) {
        fprintf(stderr, "the two ways print different texts\n");
        return 1;
    }

    run.pair(
        "64 KiB blob into text beside snprintf at the text's end", 0.6, [&] { decode(full, text.data(), nullptr); },
        [&] { append_at_the_end(full, plain.data()); });
    run.pair(
        "4 KiB blob into text beside snprintf and strcat", 0.6, [&] { decode(small, text.data(), nullptr); },
        [&] { append_with_strcat(small, plain.data()); });
    run.pair(
        "64 KiB blob beside a 4 KiB blob, each by its size", 1.2, [&] { decode(full, text.data(), nullptr); },
        [&] { decode(small, text.data(), nullptr); }, run.smoke() ? 1 : 16, 1);
    run.pair(
        "64 KiB blob into a file beside fprintf", 0.8, [&] { decode(full, nullptr, nowhere); },
        [&] { print_plainly(full, [&](const char *format, auto... values) { fprintf(nowhere, format, values...); }); });

    constexpr double highest_ns = 20e3;
    const std::string last = get_npa_register_name(NPRM_NP_REGISTER_COUNT - 1);
    const register_search search("config");
    run.pair_by_difference(
        "the last register by its name, beside nothing", highest_ns, [&] { keep(register_named(last)); }, [] {});
    run.pair_by_difference(
        "all registers with a text in their names, beside nothing", run.no_limit, [&] { keep(find_text(search)); }, [] {});
    return run.finish();
}
