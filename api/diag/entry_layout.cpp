// The public view of the entry layouts: the rows that the printers walk, and the values of an entry's fields.

#include "nprm_entry_layout.h"

#include "entry_rows.h"

#include <cstdio>
#include <cstring>

namespace {

using nprm::entry_layout;
using nprm::field_row;
using nprm::row_form;

uint64_t read_word(const nprm_entry_field &field, const uint8_t *entry, uint32_t bytes) {
    uint64_t word = 0;
    const uint32_t left = field.byte < bytes ? bytes - field.byte : 0;
    if (left != 0) memcpy(&word, entry + field.byte, left < sizeof word ? left : sizeof word);
    return word;
}

constexpr uint64_t lowest_bits(uint32_t count) {
    return count < 64 ? (uint64_t{1} << count) - 1 : ~uint64_t{0};
}

bool is_number(const nprm_entry_field &field) {
    return field.width >= 1 && field.width <= 64 && field.lowest_bit <= 64 - field.width;
}

// The elements that the entry says it has and holds; what the count's own row says stands before the list.
uint32_t element_count(const entry_layout &layout, const uint8_t *entry, uint32_t bytes) {
    const field_row &list = layout.rows[layout.row_count - 1];
    const field_row &count = layout.rows[layout.row_count - 2];
    const auto said = static_cast<uint32_t>(read_word({{}, count.byte, 0, count.width}, entry, bytes) >> count.lowest_bit &
                                            lowest_bits(count.width));
    const uint32_t held = bytes > list.byte ? bytes - list.byte : 0;
    return said < held ? said : held;
}

bool ends_in_list(const entry_layout &layout) {
    return layout.row_count != 0 && layout.rows[layout.row_count - 1].form == row_form::list;
}

uint32_t field_count(const entry_layout &layout, const uint8_t *entry, uint32_t bytes) {
    return ends_in_list(layout) ? layout.row_count - 1 + element_count(layout, entry, bytes) : layout.row_count;
}

}  // namespace

const char *nprm_layout_title(uint32_t type) {
    const entry_layout *layout = nprm::layout_of(type);
    if (layout == nullptr) return nullptr;
    return layout->title != nullptr ? layout->title : "";
}

uint32_t nprm_layout_bytes(uint32_t type) {
    const entry_layout *layout = nprm::layout_of(type);
    return layout != nullptr ? layout->bytes : 0;
}

uint32_t nprm_layout_field_count(uint32_t type, const void *entry, uint32_t bytes) {
    const entry_layout *layout = nprm::layout_of(type);
    return layout != nullptr ? field_count(*layout, static_cast<const uint8_t *>(entry), entry != nullptr ? bytes : 0) : 0;
}

uint32_t nprm_layout_field(uint32_t type, uint32_t index, const void *entry, uint32_t bytes, nprm_entry_field *field) {
    const entry_layout *layout = nprm::layout_of(type);
    if (layout == nullptr || field == nullptr || (entry == nullptr && bytes != 0)) return NPRM_ERROR_PARAM;
    if (index >= field_count(*layout, static_cast<const uint8_t *>(entry), bytes)) return NPRM_ERROR_PARAM;
    const bool is_element = ends_in_list(*layout) && index >= layout->row_count - 1;
    const uint32_t element = is_element ? index - (layout->row_count - 1) : 0;
    const field_row &row = layout->rows[index - element];
    *field = {{}, row.byte + element, row.lowest_bit, row.width};
    snprintf(field->name, sizeof field->name, is_element ? "%s[%u]" : "%s", row.name, element);
    return NPRM_OK;
}

uint64_t nprm_layout_value(const nprm_entry_field *field, const void *entry, uint32_t bytes) {
    if (field == nullptr || entry == nullptr || !is_number(*field)) return 0;
    return read_word(*field, static_cast<const uint8_t *>(entry), bytes) >> field->lowest_bit & lowest_bits(field->width);
}

uint32_t nprm_layout_set_value(const nprm_entry_field *field, uint64_t value, void *entry, uint32_t bytes) {
    if (field == nullptr || entry == nullptr || !is_number(*field)) return NPRM_ERROR_PARAM;
    const uint32_t end_bytes = (field->lowest_bit + field->width + 7) / 8;
    if (end_bytes > bytes || field->byte > bytes - end_bytes || value > lowest_bits(field->width)) return NPRM_ERROR_PARAM;
    auto *at = static_cast<uint8_t *>(entry) + field->byte;
    uint64_t word = 0;
    memcpy(&word, at, end_bytes);
    word = (word & ~(lowest_bits(field->width) << field->lowest_bit)) | value << field->lowest_bit;
    memcpy(at, &word, end_bytes);
    return NPRM_OK;
}
