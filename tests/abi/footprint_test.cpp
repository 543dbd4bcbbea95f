// How much memory the library takes, loaded and not yet used.

#include <cstdio>
#include <string>

#include <elf.h>
#include <link.h>

#include <gtest/gtest.h>

#include "tests/support/scratch.h"

namespace {

// Bytes of memory of all writable segments: data and what is zero at start.
size_t writable_bytes(const std::string &image) {
    ElfW(Ehdr) header;
    image.copy(reinterpret_cast<char *>(&header), sizeof header);
    size_t bytes = 0;
    for (size_t i = 0; i < header.e_phnum; ++i) {
        ElfW(Phdr) segment;
        image.copy(reinterpret_cast<char *>(&segment), sizeof segment, header.e_phoff + i * header.e_phentsize);
        if (segment.p_type == PT_LOAD && (segment.p_flags & PF_W) != 0) bytes += segment.p_memsz;
    }
    return bytes;
}

TEST(StaticMemory, IsUnderOneMebibyte) {
    if (NPRM_SANITIZED) GTEST_SKIP() << "instrumented data is larger";
    const size_t bytes = writable_bytes(content_of(NPRM_LIBRARY));
    EXPECT_GT(bytes, 11u * 65536 + 65536) << "the request buffers and the reply area are static";
    EXPECT_LT(bytes, 1u << 20);
}

}  // namespace
