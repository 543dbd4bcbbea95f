// Hardware tables, registers, traffic manager, port SRAM and the debug facility, read through the server (components 5 and 10).

#include "nprm_hw.h"

#include "../frame/log.h"
#include "../frame/request.h"

#include <cstdlib>
#include <cstring>

namespace {

using nprm::after_sending;
using nprm::refuse_null;

constexpr const char *one_stop = "Non-zero errorno from server routine.";
constexpr const char *two_stops = "Non-zero errorno from server routine..";

// What the operations do differently without a reason that shows; hosts have seen it so for long, and it is meant so.
struct manner {
    bool tells_why_unprepared;  // the preparer's own code, else NPRM_ERROR_MALLOC with a line in the log
    const char *refusal;        // the line for a code of the server
    bool empties_slot;          // the reply is gone afterwards; else it stays until the next
};
constexpr manner query = {true, one_stop, false};
constexpr manner image = {true, one_stop, true};
constexpr manner command = {false, two_stops, true};

struct operation {
    const char *function;
    manner ways;
    uint32_t component;
    uint32_t code;
    bool has_output = true;
};

// One exchange of one record: fill(request) before it, take(reply) after one that went well.
template <typename Message, typename Fill, typename Take>
uint32_t exchange(const operation &which, Fill fill, Take take) {
    const char *function = which.function;
    nprm::request<Message> request(which.component, which.code, 1);
    if (!request && which.ways.tells_why_unprepared) return nprm::request_error();
    if (!request) return NPRM_FAIL(function, NPRM_ERROR_MALLOC, "nprm_prep_ipc_msg failed.");
    fill(*request);

    const uint32_t code = request.send(after_sending::keep_reply);
    const auto *answer = reinterpret_cast<const Message *>(nprm_reply_slot[which.component]);
    if (answer == nullptr) return NPRM_FAIL(function, code != NPRM_OK ? code : uint32_t{NPRM_ERROR}, "No reply from nprm.");
    if (which.ways.empties_slot) nprm_reply_slot[which.component] = nullptr;
    if (code != NPRM_OK) return NPRM_FAIL(function, code, "%s", which.ways.refusal);
    if (which.has_output && answer->header.units == 0) return nprm::refuse_short(function, 0, 1);
    return take(*answer);
}

void take_table(hw_table_info &info, const nprm_npa_descriptor &descriptor, const nprm_npa_geometry &geometry) {
    info.table_id = descriptor.table_id;
    info.desc1 = descriptor.word_1;
    info.desc2 = descriptor.word_2;
    memcpy(info.name, descriptor.name, sizeof info.name);
    info.name[sizeof info.name - 1] = '\0';
    info.geom1 = geometry.word[1];
    info.geom4 = geometry.word[4];
    info.geom5 = geometry.word[5];
}

// The reply's entries are at most those that came: the frame lowers a count that promises more.
uint32_t take_entries(const char *function, const nprm_npa_table_message &answer, hw_table_info &info, uint8_t **entries) {
    const uint32_t count = answer.record.entries;
    const size_t bytes = size_t{count} * sizeof(nprm_hw_entry);
    *entries = static_cast<uint8_t *>(malloc(bytes));
    if (*entries == nullptr) return NPRM_FAIL(function, NPRM_ERROR_MALLOC, "Error in memory allocation for show table entries.");
    if (bytes != 0) memcpy(*entries, answer.entry, bytes);
    take_table(info, answer.record.descriptor, answer.record.geometry);
    info.num_entries = count;
    return NPRM_OK;
}

// fill(record) adds what the operation sends beside the table's id.
template <typename Fill>
uint32_t fetch_entries(const char *function, uint32_t code, hw_table_info *info, uint8_t **entries, Fill fill) {
    return exchange<nprm_npa_table_message>(
        {function, query, NPRM_COMPONENT_NPA, code},
        [&](nprm_npa_table_message &request) {
            request.record.descriptor.table_id = info->table_id;
            fill(request.record);
        },
        [&](const nprm_npa_table_message &answer) { return take_entries(function, answer, *info, entries); });
}

// As much of the text as the field holds; zeros follow a shorter one, for request buffers are used again.
void put_key(nprm_npa_table_record &record, const char *key) {
    const size_t bytes = strnlen(key, sizeof record.key);
    memcpy(record.key, key, bytes);
    memset(record.key + bytes, 0, sizeof record.key - bytes);
}

uint32_t take_registers(const char *function, const nprm_npa_register_message &answer, uint32_t n, uint32_t **values) {
    const uint32_t came = answer.count;
    if (came < n && nprm::reply_was_cut()) return NPRM_ERROR;
    if (came < n) return NPRM_FAIL(function, NPRM_ERROR, "The reply has %u of %u registers.", came, n);
    const size_t bytes = size_t{n} * sizeof(uint32_t);
    auto *copy = static_cast<uint32_t *>(malloc(bytes));
    if (copy == nullptr) return NPRM_FAIL(function, NPRM_ERROR_MALLOC, "Error in memory allocation for NP get registers.");
    if (bytes != 0) memcpy(copy, answer.value, bytes);
    *values = copy;
    return NPRM_OK;
}

// An operation that sends one word; its output is the first `bytes` of the reply's value.
uint32_t ask(const operation &which, uint32_t selector, void *out, size_t bytes) {
    return exchange<nprm_npa_selector_message>(
        which, [&](nprm_npa_selector_message &request) { request.record.selector = selector; },
        [&](const nprm_npa_selector_message &answer) -> uint32_t {
            if (bytes != 0) memcpy(out, &answer.record.value, bytes);
            return NPRM_OK;
        });
}

uint32_t debug(const char *function, uint32_t code, const uint32_t *cmd, uint32_t *out) {
    if (cmd == nullptr || out == nullptr) return refuse_null(function);
    return exchange<nprm_npdebug_message>(
        {function, command, NPRM_COMPONENT_NPDEBUG, code},
        [&](nprm_npdebug_message &request) { memcpy(&request.record.block.command, cmd, sizeof request.record.block.command); },
        [&](const nprm_npdebug_message &answer) -> uint32_t {
            memcpy(out, &answer.record.block.answer, sizeof answer.record.block.answer);
            return NPRM_OK;
        });
}

}  // namespace

uint32_t get_hw_table_summary(hw_table_info *info) {
    if (info == nullptr) return refuse_null(__func__);
    return exchange<nprm_npa_summary_message>(
        {__func__, query, NPRM_COMPONENT_NPA, NPRM_NPA_TABLE_SUMMARY},
        [&](nprm_npa_summary_message &request) { request.record.descriptor.table_id = info->table_id; },
        [&](const nprm_npa_summary_message &answer) -> uint32_t {
            take_table(*info, answer.record.descriptor, answer.record.geometry);
            memcpy(info->summary, answer.record.summary, sizeof info->summary);
            return NPRM_OK;
        });
}

uint32_t get_hw_table_data(hw_table_info *info, uint8_t **entries) {
    if (info == nullptr || entries == nullptr) return refuse_null(__func__);
    return fetch_entries(__func__, NPRM_NPA_TABLE_GET, info, entries, [&](nprm_npa_table_record &record) {
        record.selector_1 = info->sel1;
        record.selector_2 = info->sel2;
    });
}

uint32_t search_hw_table_data(hw_table_info *info, uint8_t **entries) {
    if (info == nullptr || entries == nullptr || info->key == nullptr) return refuse_null(__func__);
    return fetch_entries(__func__, NPRM_NPA_TABLE_SEARCH, info, entries, [&](nprm_npa_table_record &record) {
        record.selector_1 = info->search_arg;
        put_key(record, info->key);
    });
}

uint32_t lookup_hw_table_data(hw_table_info *info, uint8_t **entries) {
    if (info == nullptr || entries == nullptr || info->key == nullptr) return refuse_null(__func__);
    return fetch_entries(__func__, NPRM_NPA_TABLE_LOOKUP, info, entries,
                         [&](nprm_npa_table_record &record) { put_key(record, info->key); });
}

uint32_t nprm_get_np_registers(uint32_t first, uint32_t n, uint32_t **values) {
    if (values == nullptr) return refuse_null(__func__);
    const char *function = __func__;
    return exchange<nprm_npa_register_message>(
        {function, query, NPRM_COMPONENT_NPA, NPRM_NPA_REGISTERS},
        [&](nprm_npa_register_message &request) {
            request.first = first;
            request.count = n;
        },
        [&](const nprm_npa_register_message &answer) { return take_registers(function, answer, n, values); });
}

uint32_t nprm_get_tm_queue_depth(uint32_t queue, uint32_t out[NPRM_TM_QUEUE_DEPTH_WORDS]) {
    if (out == nullptr) return refuse_null(__func__);
    return ask({__func__, query, NPRM_COMPONENT_NPA, NPRM_NPA_TM_QUEUE_DEPTH}, queue, out,
               sizeof(uint32_t[NPRM_TM_QUEUE_DEPTH_WORDS]));
}

uint32_t nprm_get_tm_gloabl_stats(uint32_t out[NPRM_TM_GLOBAL_STATS_WORDS]) {
    if (out == nullptr) return refuse_null(__func__);
    return ask({__func__, query, NPRM_COMPONENT_NPA, NPRM_NPA_TM_GLOBAL_STATS}, 0, out,
               sizeof(uint32_t[NPRM_TM_GLOBAL_STATS_WORDS]));
}

uint32_t nprm_get_config_sram(uint32_t port, uint8_t *out) {
    if (out == nullptr) return refuse_null(__func__);
    return ask({__func__, image, NPRM_COMPONENT_NPA, NPRM_NPA_CONFIG_SRAM}, port, out, NPRM_PORT_SRAM_BYTES);
}

uint32_t nprm_request_crash_dump_info(uint32_t arg) {
    return ask({__func__, command, NPRM_COMPONENT_NPA, NPRM_NPA_CRASH_DUMP_INFO, false}, arg, nullptr, 0);
}

uint32_t nprm_capture_se_config(const char *text) {
    if (text == nullptr) return refuse_null(__func__);
    const size_t length = strnlen(text, NPRM_NPA_TEXT_BYTES);
    if (length == NPRM_NPA_TEXT_BYTES)
        return NPRM_FAIL(__func__, NPRM_ERROR_PARAM, "The text is longer than %u characters.", uint32_t{NPRM_NPA_TEXT_BYTES} - 1);
    return exchange<nprm_npa_text_message>(
        {__func__, command, NPRM_COMPONENT_NPA, NPRM_NPA_CAPTURE_SE_CONFIG, false},
        [&](nprm_npa_text_message &request) { memcpy(request.record.text, text, length + 1); },
        [](const nprm_npa_text_message &) -> uint32_t { return NPRM_OK; });
}

uint32_t nprm_npdbg_init(const uint32_t cmd[NPRM_NPDEBUG_COMMAND_WORDS], uint32_t out[NPRM_NPDEBUG_ANSWER_WORDS]) {
    return debug(__func__, NPRM_NPDEBUG_INIT, cmd, out);
}

uint32_t nprm_npdbg_request(const uint32_t cmd[NPRM_NPDEBUG_COMMAND_WORDS], uint32_t out[NPRM_NPDEBUG_ANSWER_WORDS]) {
    return debug(__func__, NPRM_NPDEBUG_REQUEST, cmd, out);
}
