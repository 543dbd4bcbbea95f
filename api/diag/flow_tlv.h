// The one walker of flow-debug lists.
#ifndef NPRM_DIAG_FLOW_TLV_H
#define NPRM_DIAG_FLOW_TLV_H

#include "nprm_dump.h"

#include <cstring>

namespace nprm {

struct flow_tlv {
    nprm_flow_tlv_header header;
    const uint8_t *value;  // header.length bytes
    uint32_t bytes;        // from this record's begin to the next one's, or to the area's end
};

// Steps through an area of `size` bytes.  A record that next() gives lies inside it, whole.
class flow_tlv_walk {
  public:
    flow_tlv_walk(const void *area, uint32_t size) : at_(static_cast<const uint8_t *>(area)), left_(area != nullptr ? size : 0) {}

    // False at the end of the list; when is_cut() as well, record.header is that of a record that the area does not hold.
    bool next(flow_tlv &record) {
        record = {};
        if (left_ < sizeof record.header) return false;
        memcpy(&record.header, at_, sizeof record.header);
        if (record.header.type == NPRM_FLOW_TLV_END) return false;
        const uint32_t needed = static_cast<uint32_t>(sizeof record.header) + record.header.length;
        is_cut_ = needed > left_;
        if (is_cut_) return false;
        const uint32_t aligned = (needed + 3) / 4 * 4;
        record.value = at_ + sizeof record.header;
        record.bytes = aligned < left_ ? aligned : left_;
        at_ += record.bytes;
        left_ -= record.bytes;
        return true;
    }

    bool is_cut() const { return is_cut_; }
    uint32_t left() const { return left_; }

  private:
    const uint8_t *at_;
    uint32_t left_;
    bool is_cut_ = false;
};

}  // namespace nprm

#endif
