// Statistics: the shared segment, operations on tables, monitor statistics (component 6).

#include "nprm_stats.h"

#include "../frame/log.h"
#include "../frame/request.h"
#include "segment.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <sys/shm.h>

constinit pthread_mutex_t stats_mutex = PTHREAD_MUTEX_INITIALIZER;

constinit void *nprm::stats_segment = nullptr;

namespace {

using nprm::after_sending;
using nprm::stats_segment;
using stats_request = nprm::request<nprm_stats_message>;
using stats_reply = nprm::reply<nprm_stats_reply>;

constexpr uint32_t slot_bytes = sizeof(nprm_stats_counter);
constexpr uint32_t reply_data_offset = offsetof(nprm_stats_reply, data);

bool is_attached(const void *base) {
    return base != nullptr && base != reinterpret_cast<const void *>(-1);
}

// One line in the log; the failure to return.
bool fails(uint32_t level, const char *function, int line, const char *text) {
    NPRM_LOG_AT(level, function, line, "Stats Client: %s", text);
    return false;
}

bool refuse_null(const char *function) {
    return fails(NPRM_LEVEL_ERROR, function, __LINE__, "An argument is a null pointer.");
}

// From the heap, for the caller's free(); null when there is not so much, or cannot be.
void *allocate(uint64_t bytes) {
    return bytes <= PTRDIFF_MAX ? malloc(std::max<size_t>(static_cast<size_t>(bytes), 1)) : nullptr;
}

class stats_lock {
  public:
    stats_lock() { pthread_mutex_lock(&stats_mutex); }
    ~stats_lock() { pthread_mutex_unlock(&stats_mutex); }
    stats_lock(const stats_lock &) = delete;
    stats_lock &operator=(const stats_lock &) = delete;
};

// Where the messages about an exchange come from; function and lines are part of the interface.
struct exchange_site {
    const char *function;
    int no_reply_line, refused_line;
};

// Sends a request.  True when its reply says that it was done and brings at least so many bytes of data.
// Success is a status other than 0, and the sender calls a failed transport one too: what it returns says nothing here.
bool exchange(const exchange_site &site, stats_request &request, const stats_reply &answer, uint64_t data_bytes) {
    nprm_reply_slot[NPRM_COMPONENT_STATS] = nullptr;  // a reply that was there before answers nothing
    request.send(after_sending::keep_reply);
    const char *no_reply = "No reply from Stats Server.";
    if (!answer) return fails(NPRM_LEVEL_STATS, site.function, site.no_reply_line, no_reply);
    if (answer->status == 0) return fails(NPRM_LEVEL_STATS, site.function, site.refused_line, "Operation failed!.");
    if (nprm_reply_bytes < reply_data_offset + data_bytes && data_bytes != 0)
        return fails(NPRM_LEVEL_STATS, site.function, site.no_reply_line, no_reply);
    return true;
}

// An operation without a table.   out: where its monitor words go, or null
uint32_t run(const exchange_site &site, uint32_t operation, uint32_t *out) {
    const stats_reply answer(NPRM_COMPONENT_STATS);
    stats_request request(NPRM_COMPONENT_STATS, operation, 1);
    if (!request) return 0;
    const uint32_t bytes = out != nullptr ? sizeof answer->data.monitor : 0;
    if (!exchange(site, request, answer, bytes)) return 0;
    if (out != nullptr) memcpy(out, &answer->data.monitor, bytes);
    return 1;
}

// What nprm_stats_op() was called with.
struct table_call {
    uint32_t table, op, count;
    uint32_t *ids;
    void **data;

    const nprm_stats_table &row() const { return stats_tbl_def[table]; }
    uint64_t entry_bytes() const { return uint64_t{row().counters_per_entry} * slot_bytes; }
    bool in_segment() const { return table >= NPRM_STATS_FIRST_SHARED_TABLE; }
    bool reads() const { return op == NPRM_STATS_READ || op == NPRM_STATS_READ_CLEAR; }
    bool asks_server() const { return !in_segment() || !reads(); }
    // The operations that find their entries by the ids, or return them.
    bool needs_ids() const {
        if (op == NPRM_STATS_ALLOCATE || op == NPRM_STATS_WRITE) return true;
        return in_segment() && (op == NPRM_STATS_CLEAR || (reads() && table < NPRM_STATS_TABLE_COUNT));
    }
    bool needs_data() const { return reads() || (op == NPRM_STATS_WRITE && count != 0); }
    bool has_slots_to_send() const { return !reads() && data != nullptr && *data != nullptr; }
};

// The part of a call that one exchange, or one walk over the segment, does.
struct call_part {
    uint32_t first, count;
};

constexpr const char *op_function = "nprm_stats_op";
constexpr exchange_site op_site = {op_function, 2012, 2022};

// Why a call is not begun; null: it is.
const char *refusal_of(const table_call &call) {
    if (call.table > NPRM_STATS_TABLE_COUNT) return "There is no such table.";
    if (call.op > NPRM_STATS_READ_CLEAR) return "There is no such operation.";
    const uint32_t slots = call.row().counters_per_entry;
    if (call.op == NPRM_STATS_WRITE && (slots == 0 || slots > NPRM_STATS_COUNTERS_MAX))
        return "No request holds an entry of the table.";
    if (call.needs_ids() && call.count != 0 && call.ids == nullptr) return "An argument is a null pointer.";
    if (call.needs_data() && call.data == nullptr) return "An argument is a null pointer.";
    if (call.op == NPRM_STATS_WRITE && call.count != 0 && *call.data == nullptr) return "An argument is a null pointer.";
    return nullptr;
}

void fill(nprm_stats_record &record, const table_call &call, const call_part &part) {
    record.table = call.table;
    record.operation = call.op;
    record.count = part.count;
    if (call.ids != nullptr)
        memcpy(record.id, call.ids + part.first, size_t{part.count} * sizeof *call.ids);
    else
        memset(record.id, 0, size_t{part.count} * sizeof *call.ids);
    if (!call.has_slots_to_send()) return;
    const auto *slots = static_cast<const uint8_t *>(*call.data) + static_cast<size_t>(part.first * call.entry_bytes());
    memcpy(record.counter, slots, static_cast<size_t>(std::min<uint64_t>(part.count * call.entry_bytes(), sizeof record.counter)));
}

bool ask_server(const table_call &call, const call_part &part, const stats_reply &answer) {
    stats_request request(NPRM_COMPONENT_STATS, NPRM_STATS_TABLE, 1);
    if (!request) return false;
    fill(request->record, call, part);
    uint64_t data_bytes = 0;
    if (call.op == NPRM_STATS_ALLOCATE) data_bytes = uint64_t{part.count} * sizeof *call.ids;
    if (call.reads()) data_bytes = part.count * call.entry_bytes();
    return exchange(op_site, request, answer, data_bytes);
}

// The addresses of a part's entries in the segment.
class entry_addresses {
  public:
    explicit entry_addresses(uint32_t count) : values_(static_cast<uint64_t *>(allocate(uint64_t{count} * sizeof(uint64_t)))) {}
    ~entry_addresses() { free(values_); }
    entry_addresses(const entry_addresses &) = delete;
    entry_addresses &operator=(const entry_addresses &) = delete;

    explicit operator bool() const { return values_ != nullptr; }
    const uint64_t *get() const { return values_; }

    // False, and a line in the log, when an entry does not lie in the segment: ids come from callers and from the server.  Whether
    // it lies in its table is not looked at: entries that are allocated in tables 0 to 6 are cleared inside table 7, it is meant
    // so.
    bool find(const table_call &call, const call_part &part) {
        if (!is_attached(stats_segment))
            return fails(NPRM_LEVEL_ERROR, op_function, __LINE__, "The shared memory is not attached.");
        const uint32_t *ids = call.ids + part.first;
        for (uint32_t i = 0; i < part.count; ++i)
            if (call.row().shm_offset + (uint64_t{ids[i]} + 1) * call.entry_bytes() > NPRM_STATS_SEGMENT_BYTES) {
                NPRM_LOG_AT(NPRM_LEVEL_ERROR, op_function, __LINE__,
                            "Stats Client: Entry %u of table %u is outside the shared memory.", ids[i], call.table);
                return false;
            }
        const uint64_t base = reinterpret_cast<uintptr_t>(stats_segment);
        stats_id_to_shm(values_, call.table, part.count, ids, &base);
        return true;
    }

  private:
    uint64_t *values_;
};

bool out_of_memory(int line) {
    return fails(NPRM_LEVEL_ERROR, op_function, line, "Malloc failed!.");
}

bool read_part(const table_call &call, const call_part &part, const stats_reply &answer) {
    uint8_t *out = static_cast<uint8_t *>(*call.data) + static_cast<size_t>(part.first * call.entry_bytes());
    entry_addresses addresses(part.count);
    if (!addresses) return out_of_memory(2039);
    if (!call.in_segment()) {
        copy_data_from_reply(call.table, part.count, &answer->data, out);
        return true;
    }
    if (call.table == NPRM_STATS_TABLE_COUNT) return true;
    if (!addresses.find(call, part)) return false;
    copy_data_from_shm(call.table, part.count, addresses.get(), out);
    if (call.op == NPRM_STATS_READ_CLEAR) clear_data_from_shm(call.table, part.count, addresses.get());
    return true;
}

bool clear_part(const table_call &call, const call_part &part, int out_of_memory_line) {
    entry_addresses addresses(part.count);
    if (!addresses) return out_of_memory(out_of_memory_line);
    if (!addresses.find(call, part)) return false;
    clear_data_from_shm(call.table, part.count, addresses.get());
    return true;
}

// Does what can be done at once from entry `first` on: all that remains, or what one message carries.
bool do_part(const table_call &call, call_part &part, const stats_reply &answer) {
    if (call.asks_server()) {
        const uint32_t most =
            call.op == NPRM_STATS_WRITE ? NPRM_STATS_COUNTERS_MAX / call.row().counters_per_entry : uint32_t{NPRM_STATS_IDS_MAX};
        part.count = std::min(part.count, most);
        if (!ask_server(call, part, answer)) return false;
    }
    if (call.reads()) return read_part(call, part, answer);
    if (call.op == NPRM_STATS_CLEAR && call.in_segment()) return clear_part(call, part, 2082);
    if (call.op == NPRM_STATS_ALLOCATE) {
        memcpy(call.ids + part.first, &answer->data, size_t{part.count} * sizeof *call.ids);
        return clear_part(call, part, 2111);
    }
    return true;
}

bool do_all(const table_call &call, const stats_reply &answer) {
    for (call_part part = {0, call.count}; part.count != 0; part = {part.first + part.count, call.count - part.first - part.count})
        if (!do_part(call, part, answer)) return false;
    return true;
}

bool run_table_call(const table_call &call) {
    const stats_lock lock;
    const stats_reply answer(NPRM_COMPONENT_STATS);
    if (const char *refusal = refusal_of(call)) return fails(NPRM_LEVEL_ERROR, op_function, __LINE__, refusal);
    if (stats_segment == nullptr && nprm_stats_client_init() == 0)
        return fails(NPRM_LEVEL_ERROR, op_function, 1937, "Shared memory mapping failed!.");
    if (call.reads()) {
        *call.data = allocate(call.count * call.entry_bytes());
        if (*call.data == nullptr) return out_of_memory(1955);
    }
    if (do_all(call, answer)) return true;
    if (call.data != nullptr) {
        free(*call.data);  // what a caller gave to be written as well; it is meant so
        *call.data = nullptr;
    }
    return false;
}

}  // namespace

uint32_t nprm_stats_client_init() {
    const int id = shmget(NPRM_STATS_SEGMENT_KEY, NPRM_STATS_SEGMENT_BYTES, 0666);  // fails for a segment that is smaller
    if (id == -1) return fails(NPRM_LEVEL_ERROR, __func__, 1804, "Failed to find shared memory!.");
    void *before = stats_segment;
    stats_segment = shmat(id, nullptr, 0);
    if (is_attached(before)) shmdt(before);
    if (is_attached(stats_segment)) return 1;
    return fails(NPRM_LEVEL_ERROR, __func__, 1811, "Failed to get shared memory identifier!.");
}

uint32_t nprm_get_monitor_stats(uint32_t out[NPRM_STATS_MONITOR_WORDS]) {
    if (out == nullptr) return refuse_null(__func__);
    return run({__func__, 1832, 1837}, NPRM_STATS_GET_MONITOR, out);
}

uint32_t nprm_clear_monitor_stats() {
    return run({__func__, 1864, 1869}, NPRM_STATS_CLEAR_MONITOR, nullptr);
}

uint32_t nprm_clear_all_np_stats() {
    const stats_lock lock;
    return run({__func__, 1899, 1906}, NPRM_STATS_CLEAR_ALL, nullptr);
}

int nprm_stats_op(uint32_t table, uint32_t op, uint32_t count, uint32_t *ids, void **data) {
    return run_table_call({table, op, count, ids, data}) ? 1 : 0;
}

uint32_t nprm_stats_hw_op(uint32_t table, int op, uint64_t **values) {
    if (table >= NPRM_STATS_FIRST_SHARED_TABLE || op < NPRM_STATS_READ || op > NPRM_STATS_READ_CLEAR)
        return fails(NPRM_LEVEL_ERROR, __func__, __LINE__, "There is no such table, or no such operation.");
    uint32_t entry = 0;
    const auto kind = static_cast<uint32_t>(op);
    if (op == NPRM_STATS_CLEAR) return nprm_stats_op(table, kind, 1, &entry, nullptr) != 0;
    if (values == nullptr || (op == NPRM_STATS_WRITE && *values == nullptr)) return refuse_null(__func__);

    const uint32_t slots = stats_tbl_def[table].counters_per_entry;
    if (op == NPRM_STATS_WRITE) {
        auto *counters = static_cast<nprm_stats_counter *>(allocate(slots * sizeof(nprm_stats_counter)));
        if (counters == nullptr) return fails(NPRM_LEVEL_ERROR, __func__, __LINE__, "Malloc failed!.");
        for (uint32_t slot = 0; slot < slots; ++slot)
            counters[slot] = {{(*values)[slot], 0}};
        void *data = counters;
        const int done = nprm_stats_op(table, kind, 1, &entry, &data);
        free(data);
        return done != 0;
    }

    *values = static_cast<uint64_t *>(allocate(slots * sizeof(uint64_t)));
    if (*values == nullptr) return fails(NPRM_LEVEL_ERROR, __func__, 2197, "Malloc failed!.");
    void *data = nullptr;
    if (nprm_stats_op(table, kind, 1, &entry, &data) == 0) return 0;
    for (uint32_t slot = 0; slot < slots; ++slot)
        (*values)[slot] = static_cast<const nprm_stats_counter *>(data)[slot].count[0];
    free(data);
    return 1;
}
