// The conversations that the families share: one record and its result, one record and its answer, a record an object.
#ifndef NPRM_CONFIG_EXCHANGE_H
#define NPRM_CONFIG_EXCHANGE_H

#include "../frame/request.h"

#include <algorithm>

namespace nprm {

// fill(message) writes the one record of an operation that returns only its result.
template <typename Message, typename Fill>
uint32_t send_one(uint32_t component, uint32_t operation, Fill fill) {
    request<Message> message(component, operation, 1);
    if (!message) return request_error();
    fill(*message);
    return message.send(after_sending::consume_reply);
}

// take(reply) hands the answer to the caller and has the operation's result; it sees only replies that have their record.  The slot
// keeps a reply that refuses.
template <typename Message, typename Fill, typename Take>
uint32_t fetch_one(const char *function, uint32_t component, uint32_t operation, Fill fill, Take take) {
    request<Message> message(component, operation, 1);
    if (!message) return request_error();
    fill(*message);
    const uint32_t code = message.send(after_sending::keep_reply);
    if (code != NPRM_OK) return code;
    const reply<Message> answer(component);
    if (!answer) return NPRM_OK;
    if (answer->header.units == 0) return refuse_short(function, 0, 1);
    return take(*answer);
}

// An operation on objects, one a record, as many messages as it takes.
struct object_operation {
    uint32_t component;
    uint32_t operation;
    uint32_t units_max;  // of a message
    uint32_t count;      // of objects, at least 1
    bool reads;
};

// A function of its own: on the card's ABI the loop needs all registers, and takes twice the time in the middle of its caller.
template <typename Record, typename Fill>
__attribute__((noinline)) void fill_records(Record *records, size_t count, size_t start, Fill fill) {
    for (size_t i = 0; i < count; ++i)
        fill(records[i], start + i);
}

// fill(record, i) writes what object i sends, take(record, i) hands a read on; objects that the reply lacks are left alone.  The
// slot keeps a reply that refuses.
template <typename Message, typename Fill, typename Take>
uint32_t send_objects(const object_operation &all, Fill fill, Take take) {
    for (size_t start = 0;;) {
        const uint32_t part = std::min(all.count - static_cast<uint32_t>(start), all.units_max);
        request<Message> message(all.component, all.operation, part);
        if (!message) return request_error();
        fill_records(message->record, part, start, fill);
        const uint32_t code = message.send(after_sending::keep_reply);
        if (code != NPRM_OK) return code;
        const reply<Message> answer(all.component);
        const uint32_t came = answer && all.reads ? std::min(answer->header.units, part) : 0;
        for (size_t i = 0; i < came; ++i)
            take(answer->record[i], start + i);
        start += part;
        if (start == all.count) return NPRM_OK;
    }
}

}  // namespace nprm

#endif
