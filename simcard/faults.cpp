// The kinds of faults, a row each, and those that are active.

#include "faults.h"

#include <algorithm>
#include <cstring>
#include <numeric>

#include "api/frame/nprm_result.h"
#include "api/wire/nprm_message.h"

#include "nprm_simcard.h"

namespace {

constexpr uint32_t delay_max_ms = 600'000;
constexpr uint32_t oversize_max_bytes = 131'072;
constexpr uint32_t corrupt_default_max = 8;  // bytes
constexpr uint32_t copies_max = 16;

uint32_t payload_bytes(const delivery &message) {
    return static_cast<uint32_t>(message.payload.size());
}

void resize_payload(delivery &message, uint32_t bytes) {
    message.payload.resize(bytes);
    message.header.size = bytes;
}

void lose(delivery &message, active_fault &) {
    message.is_lost = true;
}

void delay(delivery &message, active_fault &fault) {
    message.delay += std::chrono::milliseconds(*fault.value);
}

// The transport's header goes with the cut, so that the reply arrives as a whole, short one.
void truncate(delivery &message, active_fault &fault) {
    const uint32_t whole = payload_bytes(message);
    resize_payload(message, std::min(whole, fault.value ? *fault.value : fault.below(whole)));
}

void corrupt(delivery &message, active_fault &fault) {
    const uint32_t wanted = fault.value ? *fault.value : 1 + fault.below(corrupt_default_max);
    std::vector<uint32_t> untouched(payload_bytes(message));
    std::iota(untouched.begin(), untouched.end(), 0U);
    for (uint32_t i = 0; i < wanted && !untouched.empty(); ++i) {
        uint32_t &chosen = untouched[fault.below(static_cast<uint32_t>(untouched.size()))];
        message.payload[chosen] ^= static_cast<std::byte>(1 + fault.below(255));
        chosen = untouched.back();
        untouched.pop_back();
    }
}

// More records announced than come; with a value, also a payload of that many bytes, which may be more than a reply may have.
void oversize(delivery &message, active_fault &fault) {
    if (fault.value) resize_payload(message, std::max(payload_bytes(message), *fault.value));
    constexpr size_t at = offsetof(nprm_message_header, units);
    if (message.payload.size() < sizeof(nprm_message_header)) return;
    const uint32_t more_than_fit = payload_bytes(message) / sizeof(uint32_t);  // no record is smaller
    const uint32_t units = more_than_fit + fault.below(UINT32_MAX - more_than_fit) + 1;
    std::memcpy(message.payload.data() + at, &units, sizeof units);
}

void change_token(delivery &message, active_fault &fault) {
    message.header.token ^= 1 + fault.below(UINT32_MAX);
}

void duplicate(delivery &message, active_fault &fault) {
    message.copies += fault.value.value_or(1);
}

void refuse(delivery &message, active_fault &fault) {
    message.refuse_with = *fault.value;
}

void refuse_as_not_ready(delivery &message, active_fault &) {
    message.refuse_with = NPRM_ERROR_NOT_READY;
}

void end_the_card(delivery &message, active_fault &fault) {
    message.exit_status = static_cast<int>(fault.value.value_or(1));
}

// clang-format off
//                                            value                  hides ready  at most             before serving        on the reply
constexpr fault_behaviour drop_fault        = {fault_value::none,     false,       0,                  lose,                 nullptr};
constexpr fault_behaviour delay_fault       = {fault_value::required, false,       delay_max_ms,       nullptr,              delay};
constexpr fault_behaviour truncate_fault    = {fault_value::optional, false,       oversize_max_bytes, nullptr,              truncate};
constexpr fault_behaviour corrupt_fault     = {fault_value::optional, false,       oversize_max_bytes, nullptr,              corrupt};
constexpr fault_behaviour oversize_fault    = {fault_value::optional, false,       oversize_max_bytes, nullptr,              oversize};
constexpr fault_behaviour wrong_token_fault = {fault_value::none,     false,       0,                  nullptr,              change_token};
constexpr fault_behaviour duplicate_fault   = {fault_value::optional, false,       copies_max,         nullptr,              duplicate};
constexpr fault_behaviour result_fault      = {fault_value::required, false,       UINT32_MAX,         refuse,               nullptr};
constexpr fault_behaviour not_ready_fault   = {fault_value::none,     true,        0,                  refuse_as_not_ready,  nullptr};
constexpr fault_behaviour exit_fault        = {fault_value::optional, false,       255,                end_the_card,         nullptr};
// clang-format on

#define KIND_ROW(identifier, name, help) {identifier##_fault, name},
constexpr fault_kind kinds[] = {NPRM_SIMCARD_FAULT_LIST(KIND_ROW)};
#undef KIND_ROW

bool fault_hits(const active_fault &fault, uint32_t component) {
    return !fault.component || *fault.component == component;
}

}  // namespace

std::span<const fault_kind> fault_kinds() {
    return kinds;
}

const fault_kind *find_fault_kind(std::string_view name) {
    const auto *found = std::ranges::find(kinds, name, [](const fault_kind &kind) { return std::string_view(kind.name); });
    return found == std::end(kinds) ? nullptr : found;
}

void fault_set::add(const fault_kind &kind, std::optional<uint32_t> component, uint32_t count, std::optional<uint32_t> value,
                    uint32_t seed) {
    active_.push_back({&kind, component, count, value, seed, std::mt19937(seed)});
}

bool fault_set::hides_ready() const {
    return std::ranges::any_of(active_, [](const active_fault &fault) { return fault.kind->hides_ready; });
}

bool fault_set::hits(uint32_t component) const {
    return std::ranges::any_of(active_, [&](const active_fault &fault) { return fault_hits(fault, component); });
}

void fault_set::before_serving(delivery &message) {
    for (active_fault &fault : active_)
        if (fault_hits(fault, message.component) && fault.kind->before_serving != nullptr)
            fault.kind->before_serving(message, fault);
}

void fault_set::on_reply(delivery &message) {
    for (active_fault &fault : active_) {
        if (!fault_hits(fault, message.component)) continue;
        if (!message.is_lost && fault.kind->on_reply != nullptr) fault.kind->on_reply(message, fault);
        --fault.remaining;
    }
    std::erase_if(active_, [](const active_fault &fault) { return fault.remaining == 0; });
}
