// The checks that all components share, and the way to an operation's row.

#include "dispatch.h"

#include <algorithm>
#include <cstring>

model_reply::model_reply(std::span<std::byte> area, uint32_t operation, uint32_t record_bytes)
    : area_(area), record_bytes_(record_bytes) {
    const nprm_message_header header = {operation, 0};
    std::memcpy(area_.data(), &header, sizeof header);
}

void model_reply::resize(uint32_t units) {
    units_ = units;
    length_ = sizeof(nprm_message_header) + units * record_bytes_;
    std::memcpy(area_.data() + offsetof(nprm_message_header, units), &units, sizeof units);
    std::memset(area_.data() + sizeof(nprm_message_header), 0, units * record_bytes_);
}

bool model_reply::lengthen(size_t bytes) {
    return set_length(sizeof(nprm_message_header) + units_ * record_bytes_ + bytes);
}

bool model_reply::set_length(size_t bytes) {
    if (bytes > area_.size()) return false;
    if (bytes > length_) std::memset(area_.data() + length_, 0, bytes - length_);
    length_ = bytes;
    return true;
}

void model_reply::set_result(uint32_t i, uint32_t code) {
    std::memcpy(area_.data() + sizeof(nprm_message_header) + i * record_bytes_, &code, sizeof code);
}

namespace {

// The header as far as it came; the rest is zero.
nprm_message_header header_of(std::span<const std::byte> message) {
    nprm_message_header header = {0, 0};
    const bool operation_is_there = message.size() >= sizeof header.operation;
    if (operation_is_there) std::memcpy(&header, message.data(), std::min(message.size(), sizeof header));
    return header;
}

bool size_fits(const nprm_message_header &header, uint32_t record_bytes, size_t message_bytes) {
    return header.units > 0 && message_bytes == sizeof header + uint64_t{header.units} * record_bytes;
}

const model_operation *find_operation(const component_model &model, uint32_t number) {
    const auto found = std::ranges::find(model.operations, number, &model_operation::number);
    return found == model.operations.end() ? nullptr : &*found;
}

// What refuses a request before its operation sees it; NPRM_OK when nothing does.
uint32_t check(const component_row &component, const model_operation *operation, const nprm_message_header &header,
               size_t message_bytes) {
    if (!size_fits(header, component.record_bytes, message_bytes)) return component.model->malformed;
    if (operation == nullptr) return component.model->unknown_operation;
    const bool number_fits = operation->records == any_number || operation->records == header.units;
    return number_fits ? uint32_t{NPRM_OK} : component.model->malformed;
}

uint32_t refusal_units(const component_row &component, uint32_t units_asked) {
    if (component.model->head_records > 0) return component.model->head_records;
    const auto most = static_cast<uint32_t>((NPRM_MESSAGE_BYTES_MAX - sizeof(nprm_message_header)) / component.record_bytes);
    return std::clamp(units_asked, 1U, most);
}

void refuse(const component_row &component, uint32_t units, uint32_t code, model_reply &reply) {
    reply.resize(units);
    if (component.model->status_not_code) return;
    const uint32_t coded = component.model->head_records > 0 ? 1 : units;
    for (uint32_t i = 0; i < coded; ++i)
        reply.set_result(i, code);
}

void accept(const component_model &model, model_reply &reply) {
    if (model.status_not_code) reply.set_result(0, 1);
}

}  // namespace

dispatcher::answer dispatcher::serve(const component_row &component, std::span<const std::byte> message,
                                     std::optional<uint32_t> refuse_with) {
    const nprm_message_header header = header_of(message);
    const component_model &model = *component.model;
    const model_operation *operation = find_operation(model, header.operation);
    const uint32_t units = refusal_units(component, header.units);
    model_reply reply(area_, header.operation, component.record_bytes);
    reply.resize(units);

    uint32_t result = refuse_with.value_or(check(component, operation, header, message.size()));
    if (!refuse_with && result == NPRM_OK)
        result = operation->serve({header.operation, header.units, message.subspan(sizeof header)}, reply);
    if (result == NPRM_OK)
        accept(model, reply);
    else
        refuse(component, units, result, reply);
    return {header.operation, operation == nullptr ? "?" : operation->name, result, reply.message()};
}

dispatcher::answer dispatcher::acknowledge(const component_row &component, std::span<const std::byte> message) {
    const nprm_message_header header = header_of(message);
    model_reply reply(area_, header.operation, component.record_bytes);
    reply.resize(std::max(component.model->head_records, 1U));
    accept(*component.model, reply);
    return {header.operation, "acknowledged", NPRM_OK, reply.message()};
}
