// A request that frees itself, the reply that an operation reads its outputs from, and the refusals that operations share.
#ifndef NPRM_FRAME_REQUEST_H
#define NPRM_FRAME_REQUEST_H

#include "component.h"
#include "log.h"
#include "nprm_pool.h"
#include "nprm_result.h"
#include "transport.h"

#include <cerrno>
#include <utility>

namespace nprm {

enum class after_sending : uint8_t { keep_reply = 0, consume_reply = 1 };

// The code of a request that could not be prepared.
inline uint32_t request_error() {
    return static_cast<uint32_t>(errno);
}

inline uint32_t refuse_null(const char *function) {
    return NPRM_FAIL(function, NPRM_ERROR_PARAM, "An argument is a null pointer.");
}

// A reply that ends before the output that its result code 0 promises; one that was cut has been logged.
inline uint32_t refuse_short(const char *function, uint32_t units, uint32_t needed) {
    if (reply_was_cut()) return NPRM_ERROR;
    return NPRM_FAIL(function, NPRM_ERROR, "Malformed reply: %u records, %u are needed.", units, needed);
}

// A message of the wire layout Message to one component.  False when it could not be prepared: return request_error() then.
template <typename Message>
class request {
  public:
    request(uint32_t component, uint32_t operation, uint32_t units)
        : component_(component), message_(static_cast<Message *>(nprm_prep_ipc_msg(operation, units))) {}
    ~request() {
        if (message_ != nullptr) nprm_free(message_);
    }
    request(const request &) = delete;
    request &operator=(const request &) = delete;

    explicit operator bool() const { return message_ != nullptr; }
    Message *operator->() const { return message_; }
    Message &operator*() const { return *message_; }

    // Once: the message is gone afterwards, whatever came of it.
    uint32_t send(after_sending then) {
        return nprm_send_to_component(component_, std::exchange(message_, nullptr), static_cast<uint8_t>(then));
    }

  private:
    uint32_t component_;
    Message *message_;
};

// Empties a component's slot at both ends of an operation: for components whose senders hide a failed transport, so that nothing is
// ever answered from an older reply.
class empty_slot {
  public:
    explicit empty_slot(uint32_t component) : component_(component) { nprm_reply_slot[component_] = nullptr; }
    ~empty_slot() { nprm_reply_slot[component_] = nullptr; }
    empty_slot(const empty_slot &) = delete;
    empty_slot &operator=(const empty_slot &) = delete;

  private:
    uint32_t component_;
};

// The reply in a component's slot, read in place.  The slot is empty when the object ends.
template <typename Message>
class reply {
  public:
    explicit reply(uint32_t component) : component_(component) {}
    ~reply() { nprm_reply_slot[component_] = nullptr; }
    reply(const reply &) = delete;
    reply &operator=(const reply &) = delete;

    explicit operator bool() const { return nprm_reply_slot[component_] != nullptr; }
    const Message *operator->() const { return reinterpret_cast<const Message *>(nprm_reply_slot[component_]); }
    const Message &operator*() const { return *operator->(); }

  private:
    uint32_t component_;
};

}  // namespace nprm

#endif
