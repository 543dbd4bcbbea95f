// Messages for the card's models, field by field at their offsets, and the way to a reply without sockets.
#ifndef TESTS_UNIT_SIMCARD_MESSAGES_H
#define TESTS_UNIT_SIMCARD_MESSAGES_H

#include <cstring>
#include <vector>

#include <nlohmann/json.hpp>

#include "simcard/card.h"
#include "tests/support/bytes.h"

using message = std::vector<uint8_t>;

inline void put8(message &bytes, size_t offset, uint32_t value) {
    bytes.at(offset) = static_cast<uint8_t>(value);
}
inline void put16(message &bytes, size_t offset, uint32_t value) {
    put8(bytes, offset, value & 0xFF);
    put8(bytes, offset + 1, value >> 8 & 0xFF);
}
inline void put32(message &bytes, size_t offset, uint32_t value) {
    put16(bytes, offset, value & 0xFFFF);
    put16(bytes, offset + 2, value >> 16);
}
inline uint32_t get32(const message &bytes, size_t offset) {
    return bytes.at(offset) | uint32_t{bytes.at(offset + 1)} << 8 | uint32_t{bytes.at(offset + 2)} << 16 |
           uint32_t{bytes.at(offset + 3)} << 24;
}

// A TCAM request of this many records whose operation is one message long.  Bytes that a client does not set are not zero.
inline message tcam_message(uint32_t operation, uint32_t units) {
    message bytes(8 + 51 * size_t{units}, 0xA5);
    put32(bytes, 0, operation);
    put32(bytes, 4, units);
    if (units < 2) return bytes;
    put32(bytes, 12, 0);
    put8(bytes, 16, 1);
    put8(bytes, 17, 1);
    return bytes;
}

// The same, with the list, the entries' number and the position.
inline message tcam_message(uint32_t operation, uint32_t units, uint8_t vmr_id, uint32_t nr_entry, uint16_t position = 0) {
    message bytes = tcam_message(operation, units);
    put8(bytes, 59, vmr_id);
    put32(bytes, 60, nr_entry);
    put16(bytes, 64, position);
    return bytes;
}

// This message's place among those of its operation.
inline void put_progress(message &bytes, uint32_t start_index, uint32_t first, uint32_t last) {
    put32(bytes, 12, start_index);
    put8(bytes, 16, first);
    put8(bytes, 17, last);
}

class tcam_under_test {
  public:
    explicit tcam_under_test(uint32_t capacity = 65536) : card_({.tcam_entries = capacity}) {}

    message ask(const message &request) {
        const auto answer = card_.serve(*find_component(7), std::as_bytes(std::span(request)));
        message reply(answer.message.size());
        std::memcpy(reply.data(), answer.message.data(), reply.size());
        return reply;
    }
    uint32_t code_of(const message &request) { return get32(ask(request), 8); }

    uint8_t create(uint32_t size) { return ask(tcam_message(0, 2, 0, size)).at(59); }

    // An ACL entry that is told apart by one number: bytes 6 to 9 of its key, and word 8 of its result.
    static void put_acl(message &bytes, uint32_t slot, uint32_t number) {
        const size_t at = 110 + 51 * size_t{slot};
        std::fill_n(bytes.begin() + static_cast<ptrdiff_t>(at), 51, uint8_t{0});
        put32(bytes, at + 6, number);
        put32(bytes, at + 14 + 6, 0xFFFFFFFF);
        put32(bytes, at + 28 + 8, number);
    }
    static message acl_message(uint32_t operation, uint8_t list, uint16_t position, const std::vector<uint32_t> &numbers) {
        const auto count = static_cast<uint32_t>(numbers.size());
        message bytes = tcam_message(operation, count + 2, list, count, position);
        for (uint32_t i = 0; i < count; ++i)
            put_acl(bytes, i, numbers[i]);
        return bytes;
    }
    uint32_t write(uint8_t list, uint16_t position, const std::vector<uint32_t> &numbers) {
        return code_of(acl_message(5, list, position, numbers));
    }
    uint32_t insert(uint8_t list, uint16_t position, const std::vector<uint32_t> &numbers) {
        return code_of(acl_message(3, list, position, numbers));
    }
    uint32_t erase(uint8_t list, uint16_t position, uint32_t count) { return code_of(tcam_message(9, 2, list, count, position)); }

    // The numbers of a list from its beginning; -1 where nothing was written.
    std::vector<int64_t> numbers(uint8_t list, uint32_t size) {
        std::vector<int64_t> found;
        for (uint32_t i = 0; i < size; ++i) {
            const message reply = ask(tcam_message(4, 3, list, 1, static_cast<uint16_t>(i)));
            found.push_back(get32(reply, 8) == 0 ? int64_t{get32(reply, 110 + 28 + 8)} : -1);
        }
        return found;
    }
    nlohmann::json state() { return find_component(7)->model->describe(); }

  private:
    card card_;
};

#endif
