// Decodes lists of flow-debug records from files.  The server is asked only for the names of service nodes and their groups.

#include "entry_json.h"
#include "failure.h"
#include "input_file.h"
#include "invocation.h"
#include "nprm.h"
#include "report.h"
#include "server.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <nlohmann/json.hpp>

using nlohmann::ordered_json;

namespace {

constexpr size_t list_bytes_max = size_t{16} << 20;

constexpr const char *without_server = "--offline decodes without the server";

struct tlv_record {
    uint32_t offset;
    nprm_flow_tlv_header header;
    std::string bytes;  // with the header, up to the next record
    std::string value() const { return bytes.substr(sizeof header, header.length); }
};

struct tlv_list {
    std::vector<tlv_record> records;
    std::string defect;  // at its end; empty when there is none
};

std::string offline_text(const std::string &bytes, uint32_t &step) {
    const auto size = static_cast<uint32_t>(bytes.size());
    std::string text(sizeof(nprm_flow_tlv_header) + UINT16_MAX + 1024, '\0');
    const uint32_t logged = std::exchange(nprm_syslog_flag, 0);  // what the library would log, the text says
    step = nprm_format_debug_tlv(bytes.data(), size, text.data(), static_cast<uint32_t>(text.size()));
    nprm_syslog_flag = logged;
    text.resize(std::strlen(text.c_str()));
    return text;
}

tlv_list records_of(const std::string &bytes) {
    tlv_list list;
    uint32_t offset = 0;
    for (;;) {
        const std::string rest = bytes.substr(offset, sizeof(nprm_flow_tlv_header) + UINT16_MAX + 4);
        tlv_record record = {offset, {}, {}};
        if (rest.size() < sizeof record.header) return list;
        std::memcpy(&record.header, rest.data(), sizeof record.header);
        uint32_t step = 0;
        offline_text(rest, step);
        if (step == 0 && record.header.type != NPRM_FLOW_TLV_END)
            list.defect = "the record at byte " + grouped(offset) + ", type " + std::to_string(record.header.type) + ", has " +
                          counted(record.header.length, "byte", "bytes") + " behind its header, the list has " +
                          grouped(bytes.size() - offset - sizeof record.header) + " more";
        if (step == 0) return list;
        record.bytes = rest.substr(0, step);
        list.records.push_back(std::move(record));
        offset += step;
    }
}

uint32_t number_at(const std::string &value, size_t at, size_t bytes) {
    uint32_t number = 0;
    if (at < value.size()) std::memcpy(&number, value.data() + at, std::min(bytes, value.size() - at));
    return number;
}

// Whether the library asks the server for what the record names; of a flow's result only when its cb1.sn_v is set.
bool names_a_node(const tlv_record &record) {
    constexpr uint8_t node_is_valid = 2;
    const uint16_t type = record.header.type;
    if (type == NPRM_FLOW_TLV_RESULT) return (number_at(record.value(), 1, 1) & node_is_valid) != 0;
    return type == NPRM_FLOW_TLV_SERVICE_NODE || type == NPRM_FLOW_TLV_NODE_GROUP;
}

// A record as the library prints it; asking says whether the server is asked.
std::string text_of(const tlv_record &record, bool asking) {
    uint32_t step = 0;
    std::string text;
    if (asking && names_a_node(record)) {
        char *written = nullptr;
        size_t bytes = 0;
        FILE *stream = open_memstream(&written, &bytes);
        if (stream == nullptr) throw refused("there is no memory for the text");
        const answer given = ask([&] {
            nprm_decode_flow_tlv(record.bytes.data(), static_cast<uint32_t>(record.bytes.size()), stream);
            return uint32_t{NPRM_OK};
        });
        std::fclose(stream);
        text.assign(written, bytes);
        std::free(written);
        // A node that the server does not know is N/A; a server that does not answer is no reason to say so.
        if (given.code != NPRM_OK && given.code != NPRM_ERROR) {
            failure problem = unknown_for("the record at byte " + grouped(record.offset) + " is not named", given);
            problem.next = without_server;
            throw problem;
        }
    } else
        text = offline_text(record.bytes, step);
    if (!text.ends_with('\n')) text += '\n';
    return text;
}

// What the record's value is made of.
ordered_json fields_of(const tlv_record &record) {
    const std::string value = record.value();
    switch (record.header.type) {
        case NPRM_FLOW_TLV_KEY:
            return json_of_fields(NPRM_ENTRY_FLOW_KEY, value);
        case NPRM_FLOW_TLV_RESULT:
            return json_of_fields(NPRM_ENTRY_FLOW_DATA, value);
        case NPRM_FLOW_TLV_STATE_CHANGE:
            return {{"from", number_at(value, 0, 1)}, {"to", number_at(value, 1, 1)}, {"event", number_at(value, 2, 2)}};
        case NPRM_FLOW_TLV_CLASS_STATISTIC:
            return {{"index", number_at(value, 0, 4)}};
        case NPRM_FLOW_TLV_SERVICE_NODE:
            return {{"id", number_at(value, 0, 1)}};
        case NPRM_FLOW_TLV_NODE_GROUP:
            return {{"id", number_at(value, 0, 2)}};
        default:
            return ordered_json::object();
    }
}

ordered_json name_of_type(uint16_t type) {
    constexpr const char *names[] = {"flow key",     "flow result",        "state change", "class statistic",
                                     "service node", "service node group", "text"};
    return type >= 1 && type <= std::size(names) ? ordered_json(names[type - 1]) : ordered_json(nullptr);
}

void print_json(const tlv_list &list, bool asking) {
    ordered_json document = {{"records", ordered_json::array()}};
    for (const tlv_record &record : list.records) {
        std::string text = text_of(record, asking);
        text.pop_back();
        document["records"].push_back({{"offset", record.offset},
                                       {"type", record.header.type},
                                       {"name", name_of_type(record.header.type)},
                                       {"length", record.header.length},
                                       {"fields", fields_of(record)},
                                       {"text", text},
                                       {"data", hex_of_bytes(record.value())}});
    }
    document["defect"] = list.defect.empty() ? ordered_json(nullptr) : ordered_json(list.defect);
    std::fputs((document.dump(2, ' ', false, ordered_json::error_handler_t::replace) + "\n").c_str(), stdout);
}

}  // namespace

int tlv_decode(invocation &call) {
    std::string path;
    bool offline = false;
    call.text("FILE", path, "a list of flow-debug records, or - for standard input");
    call.flag("--offline", offline, "do not ask the server for service nodes and groups");
    call.notes("Exit status 2 when the list breaks off; what stands before that is printed all the same.\n");
    call.parse();
    const std::string bytes = read_bytes(path, list_bytes_max, "a list of records");
    const tlv_list list = records_of(bytes);
    if (list.records.empty() && list.defect.empty()) throw unusable(name_of_file(path) + " holds no records");
    const bool asking = !offline && std::ranges::any_of(list.records, names_a_node);
    if (asking) connect_to_server(call, without_server);
    if (call.json())
        print_json(list, asking);
    else {
        std::string text;
        for (const tlv_record &record : list.records)
            text += text_of(record, asking);
        std::fwrite(text.data(), 1, text.size(), stdout);
        std::fflush(stdout);
        if (!list.defect.empty())
            std::fprintf(stderr, "nprmctl: %s: %s\n", printable(name_of_file(path)).c_str(), list.defect.c_str());
    }
    return list.defect.empty() ? exit_done : exit_usage;
}
