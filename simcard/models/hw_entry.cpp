// Writes the fields of hardware-table entries by the library's layouts.

#include "hw_entry.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

#include "api/diag/nprm_decode.h"

namespace {

struct name_hash {
    using is_transparent = void;
    size_t operator()(std::string_view name) const { return std::hash<std::string_view>{}(name); }
};
using field_map = std::unordered_map<std::string, nprm_entry_field, name_hash, std::equal_to<>>;

// The fields that every entry of a type has; elements of a list come with the entry that counts them.
std::vector<field_map> make_maps() {
    std::vector<field_map> maps(NPRM_ENTRY_TYPE_MAX + 1);
    nprm_entry_field field;
    for (uint32_t type = 0; type < maps.size(); ++type)
        for (uint32_t i = 0; nprm_layout_field(type, i, nullptr, 0, &field) == NPRM_OK; ++i)
            maps[type].emplace(field.name, field);
    return maps;
}

const field_map &fields_of(uint32_t type) {
    static const std::vector<field_map> maps = make_maps();
    static const field_map none;
    return type < maps.size() ? maps[type] : none;
}

}  // namespace

std::string element_name(std::string_view field, size_t index) {
    return std::string(field) + "[" + std::to_string(index) + "]";
}

std::optional<nprm_entry_field> hw_entry::find(std::string_view field) const {
    const field_map &fields = fields_of(type_);
    if (const auto found = fields.find(field); found != fields.end()) return found->second;
    nprm_entry_field element;
    for (auto i = static_cast<uint32_t>(fields.size());
         nprm_layout_field(type_, i, bytes_.data(), sizeof bytes_, &element) == NPRM_OK; ++i)
        if (field == element.name) return element;
    return std::nullopt;
}

hw_entry &hw_entry::set(std::string_view field, uint64_t value) {
    const auto found = find(field);
    if (!found) throw std::logic_error("entries of type " + std::to_string(type_) + " have no field " + std::string(field));
    const uint64_t bits = found->width < 64 ? (uint64_t{1} << found->width) - 1 : UINT64_MAX;
    nprm_layout_set_value(&*found, value & bits, bytes_.data(), sizeof bytes_);
    return *this;
}

hw_entry &hw_entry::set_each(std::string_view field, std::span<const uint8_t> values) {
    for (size_t i = 0; i < values.size(); ++i)
        set(element_name(field, i), values[i]);
    return *this;
}

hw_entry &hw_entry::set_words(std::string_view field, std::span<const uint8_t> bytes) {
    for (size_t i = 0; i + 4 <= bytes.size(); i += 4)
        set(element_name(field, i / 4),
            uint32_t{bytes[i]} << 24 | uint32_t{bytes[i + 1]} << 16 | uint32_t{bytes[i + 2]} << 8 | bytes[i + 3]);
    return *this;
}

hw_entry &hw_entry::set_bytes(uint32_t offset, std::span<const uint8_t> bytes) {
    const size_t room = offset < bytes_.size() ? bytes_.size() - offset : 0;
    std::copy_n(bytes.begin(), std::min(room, bytes.size()),
                bytes_.begin() + static_cast<ptrdiff_t>(std::min<size_t>(offset, bytes_.size())));
    return *this;
}

std::optional<uint64_t> hw_entry::value(std::string_view field) const {
    const auto found = find(field);
    if (!found || found->width > 64) return std::nullopt;
    return nprm_layout_value(&*found, bytes_.data(), sizeof bytes_);
}
