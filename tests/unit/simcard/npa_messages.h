// Messages of components 5 and 10 by their offsets, and a card that answers them.
#ifndef TESTS_UNIT_SIMCARD_NPA_MESSAGES_H
#define TESTS_UNIT_SIMCARD_NPA_MESSAGES_H

#include <string>

#include "messages.h"

class np_under_test {
  public:
    // A message of one record; component 5's has 788 bytes, component 10's 296.
    static message request(uint32_t operation, size_t record_bytes = 788) {
        message bytes(8 + record_bytes, 0);
        put32(bytes, 0, operation);
        put32(bytes, 4, 1);
        return bytes;
    }
    static message selector(uint32_t operation, uint32_t word) {
        message bytes = request(operation);
        put32(bytes, 12, word);
        return bytes;
    }
    static message get(uint32_t table, uint32_t first, uint32_t count) {
        message bytes = selector(1, first);
        put32(bytes, 16, count);
        put32(bytes, 125, table);
        return bytes;
    }
    // operation 2 searches from an address on, 3 looks up
    static message find(uint32_t operation, uint32_t table, const std::string &key, uint32_t from = 0) {
        message bytes = selector(operation, from);
        put32(bytes, 125, table);
        std::copy(key.begin(), key.end(), bytes.begin() + 28);
        return bytes;
    }

    message ask(uint32_t component, const message &bytes) {
        const auto answer = card_.serve(*find_component(component), std::as_bytes(std::span(bytes)));
        message reply(answer.message.size());
        std::memcpy(reply.data(), answer.message.data(), reply.size());
        return reply;
    }
    message ask(const message &bytes) { return ask(5, bytes); }
    uint32_t code_of(const message &bytes) { return get32(ask(bytes), 8); }

    // The bytes of an entry of a reply.
    static message entry(const message &reply, uint32_t number = 0) {
        const auto begin = reply.begin() + 796 + static_cast<ptrdiff_t>(number) * 204;
        return {begin, begin + 204};
    }
    message entry_at(uint32_t table, uint32_t address) { return entry(ask(get(table, address, 1))); }

    void let_run(uint32_t milliseconds) { card_.advance(std::chrono::milliseconds(milliseconds)); }

    // What other components are asked to make something of.
    void add_route(const std::vector<uint8_t> &address, uint8_t length, uint16_t uidb, uint8_t mac_last) {
        message bytes = request(14, 35);
        put8(bytes, 12, address.size() == 4 ? 4 : 6);
        put8(bytes, 13, length);
        std::copy(address.begin(), address.end(), bytes.begin() + 14);
        put16(bytes, 35, uidb);
        put8(bytes, 37, 2);
        put8(bytes, 42, mac_last);
        ASSERT_EQ(get32(ask(3, bytes), 8), 0U);
    }
    void make_interface(uint32_t id, uint32_t attribute, uint32_t value) {
        message bytes = request(0, 35);
        put32(bytes, 8, id);
        put32(bytes, 12, attribute);
        put32(bytes, 16, value);
        put8(bytes, 20, 2);
        put8(bytes, 25, id & 0xFF);
        ASSERT_EQ(get32(ask(3, bytes), 8), 0U);
    }
    void add_member(uint32_t channel, uint32_t interface) {
        message bytes = request(8, 35);
        put32(bytes, 12, channel);
        put32(bytes, 16, interface);
        ASSERT_EQ(get32(ask(3, bytes), 8), 0U);
    }
    void switch_lookup(uint32_t type, uint32_t enable, uint32_t vmr_id) {
        message bytes = request(18, 35);
        put32(bytes, 8, type);
        put32(bytes, 12, enable);
        put32(bytes, 16, vmr_id);
        ASSERT_EQ(get32(ask(3, bytes), 8), 0U);
    }

  private:
    card card_{card_configuration{}};
};

#endif
