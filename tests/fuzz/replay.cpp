// Drives a fuzz target without a fuzzer: the corpus, then mutations of it for about a second, the same ones every time.
//
//     fuzz_NAME CORPUS [MUTATIONS [SEED]]

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

using input = std::vector<uint8_t>;
constexpr size_t input_bytes_max = 4096;

std::vector<input> read_corpus(const char *directory) {
    std::vector<std::filesystem::path> paths;
    for (const auto &entry : std::filesystem::directory_iterator(directory))
        paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());
    std::vector<input> corpus;
    for (const auto &path : paths) {
        std::ifstream file(path, std::ios::binary);
        corpus.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return corpus;
}

class mutator {
  public:
    mutator(const std::vector<input> &corpus, uint32_t seed) : corpus_(corpus), random_(seed) {}

    input next() {
        input bytes = corpus_[below(corpus_.size())];
        for (size_t changes = 1 + below(6); changes != 0; --changes)
            change(bytes);
        if (bytes.size() > input_bytes_max) bytes.resize(input_bytes_max);
        return bytes;
    }

  private:
    size_t below(size_t limit) { return random_() % limit; }

    void change(input &bytes) {
        constexpr uint8_t edges[] = {0x00, 0x01, 0x7F, 0x80, 0xFF};
        const size_t at = bytes.empty() ? 0 : below(bytes.size());
        const auto where = bytes.begin() + static_cast<std::ptrdiff_t>(at);
        switch (bytes.empty() ? 5 : below(7)) {
            case 0:
                *where = static_cast<uint8_t>(*where ^ 1u << below(8));
                break;
            case 1:
                *where = edges[below(std::size(edges))];
                break;
            case 2:
                *where = static_cast<uint8_t>(random_());
                break;
            case 3:
                bytes.resize(at);
                break;
            case 4:
                bytes.erase(where, where + static_cast<std::ptrdiff_t>(std::min(bytes.size() - at, 1 + below(12))));
                break;
            case 5:
                bytes.insert(where, 1 + below(12), edges[below(std::size(edges))]);
                break;
            default: {
                const input &other = corpus_[below(corpus_.size())];
                bytes.insert(where, other.begin(), other.end());
            }
        }
    }

    const std::vector<input> &corpus_;
    std::mt19937 random_;
};

}  // namespace

int main(int argc, char **argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s CORPUS [MUTATIONS [SEED]]\n", argv[0]);
        return 2;
    }
    const std::vector<input> corpus = read_corpus(argv[1]);
    if (corpus.empty()) {
        std::fprintf(stderr, "%s: no corpus in %s\n", argv[0], argv[1]);
        return 2;
    }
    const unsigned long mutations = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : ~0ul;
    const auto seed = static_cast<uint32_t>(argc > 3 ? std::strtoul(argv[3], nullptr, 10) : 1);
    std::fprintf(stderr, "%zu inputs, mutations with seed %u\n", corpus.size(), seed);

    for (const input &bytes : corpus)
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    mutator mutate(corpus, seed);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    unsigned long done = 0;
    // A count that is given is kept, however long it takes: so a failure comes again.
    while (done < mutations && (argc > 2 || std::chrono::steady_clock::now() < end)) {
        const input bytes = mutate.next();
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        ++done;
    }
    std::fprintf(stderr, "%lu mutations\n", done);
    return 0;
}
