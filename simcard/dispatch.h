// From the bytes of a request to the bytes of its reply: the checks that all components share, the operation's row, the model.
#ifndef SIMCARD_DISPATCH_H
#define SIMCARD_DISPATCH_H

#include <array>
#include <optional>

#include "components.h"

class dispatcher {
  public:
    struct answer {
        uint32_t operation;                  // as asked; 0 when the request was too short to tell
        const char *name;                    // of the operation; "?" when there is no row for it
        uint32_t result;                     // NPRM_OK, or the code that refused the whole request
        std::span<const std::byte> message;  // valid until the next call
    };

    // Serves the request; a code in refuse_with answers it instead.
    answer serve(const component_row &component, std::span<const std::byte> message, std::optional<uint32_t> refuse_with = {});

    // Answers NPRM_OK with the head's records, or one, and leaves the models alone.
    answer acknowledge(const component_row &component, std::span<const std::byte> message);

  private:
    alignas(8) std::array<std::byte, NPRM_MESSAGE_BYTES_MAX> area_;
};

#endif
