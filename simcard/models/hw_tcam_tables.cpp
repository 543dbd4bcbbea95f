// Hardware tables of the TCAM: values, masks and results of the entries of all lists.

#include "hw_tables.h"

#include "api/diag/nprm_decode.h"
#include "tcam_state.h"

namespace {

using tcam_places::place;

template <class type>
std::span<const uint8_t> bytes_of(const type &value) {
    return {reinterpret_cast<const uint8_t *>(&value), sizeof value};
}

std::span<const uint8_t> value_of(const place &of) {
    return of.is_policy ? bytes_of(of.entry->policy.key) : bytes_of(of.entry->acl.key);
}
std::span<const uint8_t> mask_of(const place &of) {
    return of.is_policy ? bytes_of(of.entry->policy.mask) : bytes_of(of.entry->acl.mask);
}
std::span<const uint8_t> result_of(const place &of) {
    return of.is_policy ? bytes_of(of.entry->policy.result) : bytes_of(of.entry->acl.result);
}

template <std::span<const uint8_t> part(const place &)>
bool read(uint32_t address, hw_entry &entry) {
    const auto found = tcam_places::at(address);
    if (found) entry.set_bytes(0, part(*found));
    return found.has_value();
}

// A value and a mask are 14 bytes in an ACL and 17 in a policy, of the 18 that a TCAM's row has.
constexpr hw_table tables[] = {
    {hw_vmr_value, NPRM_ENTRY_TCAM_KEY, "VMR Value", 18, tcam_places::capacity, tcam_places::end, read<value_of>, nullptr,
     tcam_places::used},
    {hw_vmr_mask, NPRM_ENTRY_TCAM_MASK, "VMR Mask", 18, tcam_places::capacity, tcam_places::end, read<mask_of>, nullptr,
     tcam_places::used},
    {hw_vmr_result, NPRM_ENTRY_END, "VMR Result", 17, tcam_places::capacity, tcam_places::end, read<result_of>, nullptr,
     tcam_places::used},
};

}  // namespace

constexpr std::span<const hw_table> hw_tcam_tables = tables;
