// Access to the network processor: hardware tables, registers, traffic manager, port SRAM, captures (component 5).

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "api/diag/nprm_decode.h"
#include "api/diag/nprm_registers.h"
#include "hw_key.h"
#include "hw_tables.h"
#include "mac_state.h"
#include "npa_state.h"

namespace {

constexpr uint32_t crash_arguments = 4;  // which processor's information is written

struct captures {
    uint32_t crash_dumps = 0, search_engine = 0;
    std::optional<uint32_t> last_crash_argument;
    std::string last_name;
};
captures made;

// What a summary and a reply with entries say of the table.  Clients see words 1, 4 and 5 of the geometry.
void describe_table(const hw_table &table, nprm_npa_descriptor &descriptor, nprm_npa_geometry &geometry) {
    descriptor.table_id = table.id;
    descriptor.word_1 = table.entry_type;
    descriptor.word_2 = table.entry_bytes;
    std::strncpy(descriptor.name, table.name, sizeof descriptor.name - 1);
    geometry.word[1] = table.capacity();
    geometry.word[4] = table.end();
    geometry.word[5] = used_entries(table);
}

uint32_t summarize(const model_request &from, model_reply &reply) {
    const hw_table *table = find_hw_table(from.at<nprm_npa_summary_record>(0).descriptor.table_id);
    if (table == nullptr) return NPRM_ERROR_PARM_STRUCT_ID;
    auto &answer = reply.at<nprm_npa_summary_record>(0);
    describe_table(*table, answer.descriptor, answer.geometry);
    const char *keys = table->find != nullptr ? "ADDRESS, IP or MAC address, FIELD=VALUE..." : "ADDRESS, FIELD=VALUE...";
    std::strncpy(reinterpret_cast<char *>(answer.summary), keys, sizeof answer.summary - 1);
    return NPRM_OK;
}

// Entries on their way into a reply.
class entry_list {
  public:
    bool is_full() const { return entries_.size() == NPRM_HW_ENTRIES_MAX; }
    void add(const hw_entry &entry) { entries_.push_back(entry); }

    uint32_t answer(const hw_table &table, model_reply &reply) const {
        auto &head = reply.at<nprm_npa_table_record>(0);
        describe_table(table, head.descriptor, head.geometry);
        head.entries = static_cast<uint32_t>(entries_.size());
        if (!reply.lengthen(entries_.size() * NPRM_HW_ENTRY_BYTES)) return NPRM_ERROR_PARAM;
        auto out = reply.rest(offsetof(nprm_npa_table_message, entry));
        for (const hw_entry &entry : entries_) {
            std::memcpy(out.data(), entry.bytes().data(), NPRM_HW_ENTRY_BYTES);
            out = out.subspan(NPRM_HW_ENTRY_BYTES);
        }
        return NPRM_OK;
    }

  private:
    std::vector<hw_entry> entries_;
};

uint32_t get_entries(const model_request &from, model_reply &reply) {
    const auto &asked = from.at<nprm_npa_table_record>(0);
    const hw_table *table = find_hw_table(asked.descriptor.table_id);
    if (table == nullptr) return NPRM_ERROR_PARM_STRUCT_ID;
    const uint32_t first = asked.selector_1, count = asked.selector_2;
    if (count > NPRM_HW_ENTRIES_MAX || uint64_t{first} + count > table->capacity()) return NPRM_ERROR_PARAM;
    const uint32_t end = table->end();
    entry_list list;
    for (uint32_t address = first; address < first + count; ++address) {
        hw_entry entry(table->entry_type);
        if (address < end) table->read(address, entry);
        list.add(entry);
    }
    return list.answer(*table, reply);
}

// The key's text; none without a terminator.
std::optional<std::string_view> key_text(const nprm_npa_table_record &asked) {
    const size_t length = strnlen(asked.key, sizeof asked.key);
    if (length == sizeof asked.key) return std::nullopt;
    return std::string_view(asked.key, length);
}

// Calls visit(entry) for each entry from an address on, in their order, until it returns false.
template <class visitor>
void walk(const hw_table &table, uint32_t from, const visitor &visit) {
    const uint32_t end = table.end();
    for (uint32_t address = from; address < end; ++address) {
        hw_entry entry(table.entry_type);
        if (table.read(address, entry) && !visit(entry)) return;
    }
}

uint32_t search(const model_request &from, model_reply &reply) {
    const auto &asked = from.at<nprm_npa_table_record>(0);
    const hw_table *table = find_hw_table(asked.descriptor.table_id);
    if (table == nullptr) return NPRM_ERROR_PARM_STRUCT_ID;
    const auto text = key_text(asked);
    if (!text) return NPRM_ERROR_PARAM_INVALID_KEY_LENGTH;
    const auto key = hw_key::parse(*text, table->entry_type);
    if (!key || asked.selector_1 > table->capacity()) return NPRM_ERROR_PARAM;
    entry_list list;
    walk(*table, asked.selector_1, [&](const hw_entry &entry) {
        if (key->matches(entry)) list.add(entry);
        return !list.is_full();
    });
    return list.answer(*table, reply);
}

enum class found { yes, no, wrong_key };

found find_conditions(const hw_table &table, std::string_view text, hw_entry &into) {
    const auto key = hw_key::parse(text, table.entry_type);
    if (!key) return found::wrong_key;
    found result = found::no;
    walk(table, 0, [&](const hw_entry &entry) {
        if (!key->matches(entry)) return true;
        into = entry;
        result = found::yes;
        return false;
    });
    return result;
}

found find_entry(const hw_table &table, std::string_view text, hw_entry &into) {
    if (const auto address = key_number(text)) {
        if (*address >= table.capacity()) return found::wrong_key;
        return *address < table.end() && table.read(static_cast<uint32_t>(*address), into) ? found::yes : found::no;
    }
    auto bytes = mac_bytes(text);
    if (!bytes) bytes = ip_bytes(text);
    if (!bytes) return find_conditions(table, text, into);
    if (table.find == nullptr) return found::wrong_key;
    return table.find(*bytes, into) ? found::yes : found::no;
}

uint32_t look_up(const model_request &from, model_reply &reply) {
    const auto &asked = from.at<nprm_npa_table_record>(0);
    const hw_table *table = find_hw_table(asked.descriptor.table_id);
    if (table == nullptr) return NPRM_ERROR_PARM_STRUCT_ID;
    const auto text = key_text(asked);
    if (!text || text->empty()) return NPRM_ERROR_PARAM_INVALID_KEY_LENGTH;
    hw_entry entry(table->entry_type);
    const found result = find_entry(*table, *text, entry);
    if (result == found::wrong_key) return NPRM_ERROR_PARAM;
    if (result == found::no) return NPRM_ERROR_PARAM_KEY_NOT_FOUND;
    entry_list list;
    list.add(entry);
    return list.answer(*table, reply);
}

// The record has the request's first and count behind the result, and the values go on behind the record.
uint32_t read_registers(const model_request &from, model_reply &reply) {
    uint32_t asked[3];  // result, first, count
    std::memcpy(asked, &from.at<nprm_npa_selector_record>(0), sizeof asked);
    const uint32_t first = asked[1], count = asked[2];
    if (uint64_t{first} + count > NPRM_NP_REGISTER_COUNT) return NPRM_ERROR_PARAM;
    if (!reply.lengthen(size_t{count} * sizeof(uint32_t))) return NPRM_ERROR_PARAM;
    auto head = reply.rest(offsetof(nprm_npa_register_message, first));
    std::memcpy(head.data(), &asked[1], 2 * sizeof(uint32_t));
    auto values = reply.rest(offsetof(nprm_npa_register_message, value));
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t value = register_value(first + i);
        std::memcpy(values.data() + size_t{i} * sizeof value, &value, sizeof value);
    }
    return NPRM_OK;
}

uint32_t tell_queue_depth(const model_request &from, model_reply &reply) {
    const auto depth = queue_depth(from.at<nprm_npa_selector_record>(0).selector);
    if (!depth) return NPRM_ERROR_PARAM;
    std::memcpy(&reply.at<nprm_npa_selector_record>(0).value, depth->data(), sizeof *depth);
    return NPRM_OK;
}

uint32_t tell_queue_totals(const model_request &from, model_reply &reply) {
    if (from.at<nprm_npa_selector_record>(0).selector != 0) return NPRM_ERROR_PARAM;
    const auto totals = queue_totals();
    std::memcpy(&reply.at<nprm_npa_selector_record>(0).value, totals.data(), sizeof totals);
    return NPRM_OK;
}

uint32_t read_port_sram(const model_request &from, model_reply &reply) {
    const uint32_t port = from.at<nprm_npa_selector_record>(0).selector;
    if (port >= card_ports) return NPRM_ERROR_PARAM;
    hw_entry entry(NPRM_ENTRY_PORT_CONFIG_RAM);
    const hw_table *table = find_hw_table(NPRM_ENTRY_PORT_CONFIG_RAM);
    if (port < table->end()) table->read(port, entry);
    std::memcpy(&reply.at<nprm_npa_selector_record>(0).value, entry.bytes().data(), NPRM_PORT_SRAM_BYTES);
    return NPRM_OK;
}

uint32_t write_crash_information(const model_request &from, model_reply &) {
    const uint32_t argument = from.at<nprm_npa_selector_record>(0).selector;
    if (argument >= crash_arguments) return NPRM_ERROR_PARAM;
    ++made.crash_dumps;
    made.last_crash_argument = argument;
    return NPRM_OK;
}

uint32_t capture_search_engine(const model_request &from, model_reply &) {
    const auto &asked = from.at<nprm_npa_text_record>(0);
    const size_t length = strnlen(asked.text, sizeof asked.text);
    if (length == 0 || length == sizeof asked.text) return NPRM_ERROR_PARAM;
    ++made.search_engine;
    made.last_name.assign(asked.text, length);
    std::ranges::replace_if(
        made.last_name, [](char one) { return one < ' ' || one > '~'; }, '.');  // as JSON takes it
    return NPRM_OK;
}

void reset(const card_configuration &) {
    made = {};
    reset_traffic();
}

nlohmann::json describe() {
    nlohmann::json state = {{"microseconds", life_of_np().microseconds},
                            {"packets", life_of_np().packets},
                            {"tables", all_hw_tables().size()},
                            {"crash_dumps", made.crash_dumps},
                            {"last_crash_argument", nullptr},
                            {"captures", made.search_engine},
                            {"last_capture", nullptr}};
    if (made.last_crash_argument) state["last_crash_argument"] = *made.last_crash_argument;
    if (made.search_engine != 0) state["last_capture"] = made.last_name;
    return state;
}

constexpr model_operation operations[] = {
    {NPRM_NPA_TABLE_SUMMARY, "table summary", summarize},
    {NPRM_NPA_TABLE_GET, "get table entries", get_entries},
    {NPRM_NPA_TABLE_SEARCH, "search a table", search},
    {NPRM_NPA_TABLE_LOOKUP, "look up in a table", look_up},
    {NPRM_NPA_REGISTERS, "registers", read_registers},
    {NPRM_NPA_TM_QUEUE_DEPTH, "TM queue depth", tell_queue_depth},
    {NPRM_NPA_TM_GLOBAL_STATS, "TM global statistics", tell_queue_totals},
    {NPRM_NPA_CONFIG_SRAM, "port SRAM", read_port_sram},
    {NPRM_NPA_CRASH_DUMP_INFO, "crash-dump information", write_crash_information},
    {NPRM_NPA_CAPTURE_SE_CONFIG, "capture the search engine's configuration", capture_search_engine},
};

}  // namespace

constexpr component_model npa_model = {
    .component = NPRM_COMPONENT_NPA,
    .operations = operations,
    .head_records = 0,
    .malformed = NPRM_ERROR_PARAM,
    .unknown_operation = NPRM_ERROR_UNSUPPORTED,
    .reset = reset,
    .describe = describe,
    .advance = advance_traffic,
};
