// The one walker of configuration blobs.
#ifndef NPRM_DIAG_BLOB_H
#define NPRM_DIAG_BLOB_H

#include <cstdint>

namespace nprm {

struct blob_entry {
    uint32_t type;
    uint32_t addr;
    uint32_t words;
    const uint8_t *data;  // words * 4 bytes
};

// Why a walk has no further entry.
enum class blob_end : uint8_t { none, terminated, full, cut_header, cut_data };

// Steps through a blob of `bytes` bytes.  An entry that next() gives lies inside them, whole.
class blob_walk {
  public:
    blob_walk(const void *blob, uint32_t bytes) : blob_(static_cast<const uint8_t *>(blob)), bytes_(bytes) {}

    // False at the end: end() says which, and the entry is what its header says, as far as there is one.
    bool next(blob_entry &entry);

    blob_end end() const { return end_; }
    uint32_t offset() const { return offset_; }  // of the entry that next() gave, or at which the walk ended

  private:
    const uint8_t *blob_;
    uint32_t bytes_;
    uint32_t offset_ = 0;
    uint32_t following_ = 0;
    blob_end end_ = blob_end::none;
};

}  // namespace nprm

#endif
