// What is read back of the configuration: blobs of hardware-table entries, and which interface has which port.

#include <cstring>

#include "api/diag/nprm_decode.h"
#include "api/wire/nprm_if_wire.h"
#include "hw_tables.h"
#include "if_requests.h"
#include "mac_state.h"

namespace {

constexpr size_t bytes_offset = offsetof(nprm_if_data_message, bytes);
constexpr uint32_t terminator_bytes = 4;
constexpr uint32_t bytes_most = NPRM_CONFIG_BYTES_MAX / 4 * 4;

// Tells the length and makes room for the bytes, which may end before the record does.
std::span<std::byte> answer_bytes(model_reply &reply, uint32_t length) {
    reply.at<nprm_if_data_record>(0).length = length;
    reply.set_length(bytes_offset + length);
    return reply.rest(bytes_offset).first(length);
}

// Entries as many as there is room for.  A blob that is cut ends behind a whole entry and has no gaps: smaller entries that would
// still fit behind one that did not are left out too.
class config_blob {
  public:
    void append(const hw_table &table, uint32_t address) {
        hw_entry entry(table.entry_type);
        if (!table.read(address, entry)) return;
        is_full_ =
            used_ + NPRM_BLOB_HEADER_BYTES + (table.entry_bytes + 3) / 4 * 4 + terminator_bytes > bytes_most ||
            nprm_encode_config(table.entry_type, address, table.entry_bytes, entry.bytes().data(), bytes_.data(), &used_) != 1;
    }
    // An entry found no room: nothing goes behind it.
    bool is_full() const { return is_full_; }
    // With the word that ends it.
    std::span<const uint8_t> bytes() const { return std::span(bytes_).first(used_ + terminator_bytes); }

  private:
    std::array<uint8_t, NPRM_BLOB_BYTES_MAX> bytes_ = {};
    uint32_t used_ = 0;
    bool is_full_ = false;
};

}  // namespace

uint32_t read_config(const model_request &from, model_reply &reply) {
    const auto &asked = from.at<nprm_if_data_record>(0);
    const uint32_t selector = asked.selector;
    uint32_t first = 0;
    if (selector != NPRM_IF_CONFIG_ALL && asked.length >= sizeof first) std::memcpy(&first, asked.bytes, sizeof first);
    config_blob blob;
    bool is_known = selector == NPRM_IF_CONFIG_ALL;
    for (const hw_table *table : all_hw_tables()) {
        if (table->entry_type == 0 || table->id != table->entry_type) continue;
        if (selector != NPRM_IF_CONFIG_ALL && selector != table->entry_type) continue;
        is_known = true;
        const uint32_t end = table->end();
        for (uint32_t address = first; address < end && !blob.is_full(); ++address)
            blob.append(*table, address);
    }
    if (!is_known) return NPRM_ERROR_PARM_STRUCT_ID;
    const auto bytes = blob.bytes();
    std::memcpy(answer_bytes(reply, static_cast<uint32_t>(bytes.size())).data(), bytes.data(), bytes.size());
    return NPRM_OK;
}

// Two bytes a port: its interface, 0xFFFF where it has none.
uint32_t read_port_mapping(const model_request &, model_reply &reply) {
    std::array<uint16_t, card_ports> mapping;
    for (uint32_t port = 0; port < card_ports; ++port)
        mapping[port] = interface_of_port(port).value_or(NPRM_IF_NONE);
    std::memcpy(answer_bytes(reply, sizeof mapping).data(), mapping.data(), sizeof mapping);
    return NPRM_OK;
}
