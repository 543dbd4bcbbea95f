// The component table, made from the wire's list and the models.

#include "components.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include <strings.h>

namespace {

constexpr const component_model *models[] = {&mac_model,   &fdm_model,  &if_model,   &cmm_model,    &npa_model,
                                             &stats_model, &tcam_model, &wccp_model, &npdebug_model};

#define RECORD_BYTES(number, name, opcode, record_bytes) record_bytes,
constexpr uint32_t record_sizes[] = {NPRM_COMPONENT_LIST(RECORD_BYTES)};
#undef RECORD_BYTES
static_assert(std::size(models) + std::ranges::count(record_sizes, 0U) == std::size(record_sizes),
              "a component with records has no model, or a model no component");

const component_model *model_of(uint32_t component) {
    return *std::ranges::find_if(models, [&](const auto *model) { return model->component == component; });
}

std::vector<component_row> make_rows() {
#define COMPONENT_ROW(number, name, opcode, record_bytes) {number, #name, opcode, record_bytes, nullptr},
    std::vector<component_row> rows = {NPRM_COMPONENT_LIST(COMPONENT_ROW)};
#undef COMPONENT_ROW
    std::erase_if(rows, [](const component_row &row) { return row.record_bytes == 0; });
    for (component_row &row : rows)
        row.model = model_of(row.number);
    return rows;
}

template <class predicate>
const component_row *find_row(predicate fits) {
    const auto rows = served_components();
    const auto found = std::ranges::find_if(rows, fits);
    return found == rows.end() ? nullptr : &*found;
}

}  // namespace

std::span<const component_row> served_components() {
    static const std::vector<component_row> rows = make_rows();
    return rows;
}

const component_row *find_component(uint32_t number) {
    return find_row([&](const component_row &row) { return row.number == number; });
}

const component_row *find_component(std::string_view name) {
    return find_row([&](const component_row &row) {
        return std::string_view(row.name).size() == name.size() && strncasecmp(row.name, name.data(), name.size()) == 0;
    });
}

const component_row *find_component_of_opcode(uint32_t opcode) {
    return find_row([&](const component_row &row) { return row.opcode == opcode; });
}
