// The statistics server (component 6): requests about tables, the monitor, clearing.

#include <algorithm>
#include <cstring>
#include <vector>

#include <nlohmann/json.hpp>

#include "api/wire/nprm_stats_wire.h"
#include "simcard/model.h"
#include "stats_store.h"
#include "stats_traffic.h"

namespace {

constexpr size_t data_offset = offsetof(nprm_stats_reply, data);

// Entries that were given out, by table.
std::array<std::vector<bool>, NPRM_STATS_TABLE_COUNT> allocated;

void reset(const card_configuration &) {
    for (uint32_t table = 0; table < NPRM_STATS_TABLE_COUNT; ++table)
        allocated[table].assign(stats_tbl_def[table].entries, false);
    clear_all_counters();
    forget_traffic();
}

// A request whose table, number and ids are inside what there is.
struct table_request {
    const nprm_stats_record &record;
    const nprm_stats_table &table;

    uint32_t id(uint32_t i) const { return record.id[i]; }
    uint32_t slots() const { return table.counters_per_entry; }
};

bool has_known_ids(const table_request &request) {
    for (uint32_t i = 0; i < request.record.count; ++i)
        if (request.id(i) >= request.table.entries) return false;
    return true;
}

bool answer_data(model_reply &reply, size_t bytes) {
    return reply.set_length(data_offset + bytes);
}

uint32_t allocate(const table_request &request, model_reply &reply) {
    std::vector<bool> &taken = allocated[request.table.id];
    std::vector<uint32_t> ids;
    for (uint32_t id = 0; id < taken.size() && ids.size() < request.record.count; ++id)
        if (!taken[id] && !belongs_to_configuration(request.table.id, id)) ids.push_back(id);
    if (ids.size() < request.record.count) return NPRM_ERROR;
    for (const uint32_t id : ids)
        taken[id] = true;
    answer_data(reply, ids.size() * sizeof(uint32_t));
    std::memcpy(reply.rest(data_offset).data(), ids.data(), ids.size() * sizeof(uint32_t));
    return NPRM_OK;
}

uint32_t give_back(const table_request &request, model_reply &) {
    std::vector<bool> left = allocated[request.table.id];
    for (uint32_t i = 0; i < request.record.count; ++i) {
        if (!left[request.id(i)]) return NPRM_ERROR_PARAM;
        left[request.id(i)] = false;
    }
    allocated[request.table.id] = left;
    return NPRM_OK;
}

uint32_t read(const table_request &request, model_reply &reply) {
    const size_t counters = size_t{request.record.count} * request.slots();
    if (!answer_data(reply, counters * sizeof(nprm_stats_counter))) return NPRM_ERROR_PARAM;
    std::byte *to = reply.rest(data_offset).data();
    for (uint32_t i = 0; i < request.record.count; ++i)
        for (uint32_t slot = 0; slot < request.slots(); ++slot, to += sizeof(nprm_stats_counter)) {
            const nprm_stats_counter counter = read_counter(request.table.id, request.id(i), slot);
            std::memcpy(to, &counter, sizeof counter);
        }
    return NPRM_OK;
}

uint32_t write(const table_request &request, model_reply &) {
    if (uint64_t{request.record.count} * request.slots() > NPRM_STATS_COUNTERS_MAX) return NPRM_ERROR_PARAM;
    for (uint32_t i = 0; i < request.record.count; ++i)
        for (uint32_t slot = 0; slot < request.slots(); ++slot)
            write_counter(request.table.id, request.id(i), slot, request.record.counter[i * request.slots() + slot]);
    return NPRM_OK;
}

uint32_t clear(const table_request &request, model_reply &) {
    for (uint32_t i = 0; i < request.record.count; ++i)
        for (uint32_t slot = 0; slot < request.slots(); ++slot)
            write_counter(request.table.id, request.id(i), slot, {});
    return NPRM_OK;
}

uint32_t read_and_clear(const table_request &request, model_reply &reply) {
    const uint32_t result = read(request, reply);
    return result == NPRM_OK ? clear(request, reply) : result;
}

struct table_operation {
    uint32_t (*serve)(const table_request &, model_reply &);
    bool chooses_ids;       // those of the request mean nothing
    bool is_of_own_tables;  // clients do it themselves in the segment
};
// By their numbers, nprm_stats_table_operation; the card takes 1 for giving back what was allocated.
constexpr table_operation table_operations[] = {
    {allocate, true, false},        // 0
    {give_back, false, false},      // 1
    {read, false, true},            // 2
    {write, false, false},          // 3
    {clear, false, false},          // 4
    {read_and_clear, false, true},  // 5
};
static_assert(std::size(table_operations) == NPRM_STATS_READ_CLEAR + 1);

uint32_t serve_table(const model_request &from, model_reply &reply) {
    const auto &record = from.at<nprm_stats_record>(0);
    if (record.table >= NPRM_STATS_TABLE_COUNT || record.operation >= std::size(table_operations)) return NPRM_ERROR_PARAM;
    if (record.count == 0 || record.count > NPRM_STATS_IDS_MAX) return NPRM_ERROR_PARAM;
    const table_operation &operation = table_operations[record.operation];
    const table_request request = {record, stats_tbl_def[record.table]};
    if (operation.is_of_own_tables && record.table >= NPRM_STATS_FIRST_SHARED_TABLE) return NPRM_ERROR_UNSUPPORTED;
    if (!operation.chooses_ids && !has_known_ids(request)) return NPRM_ERROR_PARAM;
    answer_data(reply, 0);
    return operation.serve(request, reply);
}

uint32_t get_monitor(const model_request &, model_reply &reply) {
    answer_data(reply, 0);
    answer_data(reply, sizeof(monitor_words));
    std::memcpy(reply.rest(data_offset).data(), monitor().data(), sizeof(monitor_words));
    return NPRM_OK;
}

uint32_t clear_monitor(const model_request &, model_reply &reply) {
    answer_data(reply, 0);
    monitor() = {};
    return NPRM_OK;
}

uint32_t clear_all(const model_request &, model_reply &reply) {
    answer_data(reply, 0);
    clear_all_counters();
    return NPRM_OK;
}

void advance(const traffic_step &) {
    count_traffic();
}

nlohmann::json describe() {
    nlohmann::json tables = nlohmann::json::array();
    for (uint32_t table = 0; table < NPRM_STATS_TABLE_COUNT; ++table)
        if (const auto count = std::ranges::count(allocated[table], true); count > 0)
            tables.push_back({{"id", table}, {"allocated", count}});
    return {{"segment_bytes", static_cast<uint32_t>(NPRM_STATS_SEGMENT_BYTES)}, {"tables", tables}};
}

constexpr model_operation operations[] = {
    {NPRM_STATS_TABLE, "table", serve_table},
    {NPRM_STATS_GET_MONITOR, "get monitor statistics", get_monitor},
    {NPRM_STATS_CLEAR_MONITOR, "clear monitor statistics", clear_monitor},
    {NPRM_STATS_CLEAR_ALL, "clear all statistics", clear_all},
};

}  // namespace

constexpr component_model stats_model = {
    .component = NPRM_COMPONENT_STATS,
    .operations = operations,
    .head_records = 1,
    .malformed = NPRM_ERROR_PARAM,
    .unknown_operation = NPRM_ERROR_UNSUPPORTED,
    .status_not_code = true,
    .reset = reset,
    .describe = describe,
    .advance = advance,
};
