// What a component's model is: rows of operations, each a function from a checked request to a reply.
//
// Adding a component is one file in models/, which ends with its component_model, and its name in components.cpp.
#ifndef SIMCARD_MODEL_H
#define SIMCARD_MODEL_H

#include <cstddef>
#include <cstdint>
#include <span>

#include <nlohmann/json_fwd.hpp>

#include "api/frame/nprm_result.h"
#include "api/wire/nprm_message.h"

// The traffic that the card sees.
struct traffic_setting {
    uint32_t packets_per_second = 10'000;  // offered to each port that is up
    bool frozen = false;                   // time stands still for counters; only advances by hand move them
};

// What the card is made of, as the command line gives it.
struct card_configuration {
    uint32_t tcam_entries = 65536;
    uint32_t fib_prefixes = 2000000;
    traffic_setting traffic = {};
};

// A request whose size is right: at least one record, and all of them there.
class model_request {
  public:
    model_request(uint32_t operation, uint32_t units, std::span<const std::byte> records)
        : operation_(operation), units_(units), records_(records) {}

    uint32_t operation() const { return operation_; }
    uint32_t units() const { return units_; }

    // Record i as the component's record type.  Requires: i < units().
    template <class record>
    const record &at(uint32_t i) const {
        return from<record>(i).front();
    }
    // The records from i on.  Requires: i <= units().
    template <class record>
    std::span<const record> from(uint32_t i) const {
        static_assert(alignof(record) == 1, "records are packed");
        const auto bytes = records_.subspan(i * sizeof(record));
        return {reinterpret_cast<const record *>(bytes.data()), bytes.size() / sizeof(record)};
    }

  private:
    uint32_t operation_, units_;
    std::span<const std::byte> records_;
};

// The reply under construction.  Records that were not written are zero, so is their result code: NPRM_OK.
class model_reply {
  public:
    // area: room for the header and the most records that a reply may have
    model_reply(std::span<std::byte> area, uint32_t operation, uint32_t record_bytes);

    // Gives the reply this many records, all zero.
    void resize(uint32_t units);
    uint32_t units() const { return units_; }

    // Record i, to be filled.  Requires: i < units().
    template <class record>
    record &at(uint32_t i) {
        return from<record>(i).front();
    }
    template <class record>
    std::span<record> from(uint32_t i) {
        static_assert(alignof(record) == 1, "records are packed");
        const auto bytes = area_.subspan(sizeof(nprm_message_header), units_ * record_bytes_).subspan(i * sizeof(record));
        return {reinterpret_cast<record *>(bytes.data()), bytes.size() / sizeof(record)};
    }
    // Writes record i's result code, which every component's records begin with.
    void set_result(uint32_t i, uint32_t code);

    // Gives the reply so many bytes behind its records, all zero, for an operation whose answer goes on there; false when a message
    // does not hold them.
    bool lengthen(size_t bytes);
    // Makes the whole message so long, which may end it inside a record; false when that is more than a message has.
    bool set_length(size_t bytes);
    // What is there from a byte of the message on.  Requires: offset <= message().size().
    std::span<std::byte> rest(size_t offset) { return area_.first(message().size()).subspan(offset); }

    // The whole message.
    std::span<const std::byte> message() const { return area_.first(length_); }

  private:
    std::span<std::byte> area_;
    uint32_t record_bytes_;
    uint32_t units_ = 0;
    size_t length_ = sizeof(nprm_message_header);  // of the message
};

constexpr uint32_t any_number = 0;  // of records

// One operation.  serve is called with a reply of as many records as a refusal would have, all zero, and returns NPRM_OK when the
// reply is as it shall be sent (its records may carry results of their own); any other code refuses the request as a whole, and
// then nothing may have changed.
struct model_operation {
    uint32_t number;
    const char *name;
    uint32_t (*serve)(const model_request &, model_reply &);
    uint32_t records = 1;  // of a request; one that has another number is malformed, and serve does not see it
};

// Simulated time that has passed, and how busy the card was in it.
struct traffic_step {
    uint64_t microseconds;
    uint32_t packets_per_second;  // offered to each port that is up
};

struct component_model {
    nprm_component component;
    std::span<const model_operation> operations;
    uint32_t head_records;       // a refusal has these, the code in the first; 0: one for each record asked, the code in every one
    uint32_t malformed;          // the code for a request whose size or number of records does not fit
    uint32_t unknown_operation;  // the code for an operation without a row
    bool status_not_code = false;  // a reply begins with a status, 1 when it was done and 0 when not, in place of the code
    void (*reset)(const card_configuration &);  // back to the state at start
    nlohmann::json (*describe)();               // the state in a few lines, for the control protocol's status
    // What moves with traffic moves on; null where nothing does.
    void (*advance)(const traffic_step &) = nullptr;
    // Answers a question of the control protocol about the state; throws std::invalid_argument with what it can be asked.  Null
    // where the status says all.
    nlohmann::json (*ask)(const nlohmann::json &question) = nullptr;
};

extern const component_model mac_model;
extern const component_model stats_model;
extern const component_model tcam_model;
extern const component_model if_model;
extern const component_model npa_model;
extern const component_model npdebug_model;
extern const component_model cmm_model;
extern const component_model fdm_model;
extern const component_model wccp_model;

#endif
