// The status word in shared segment 0, which tells clients whether the server accepts calls.
//
// The word behind it is the card's own: its process id, so that a second card does not take a living one's segment.
#ifndef SIMCARD_SEGMENTS_H
#define SIMCARD_SEGMENTS_H

#include <cstdint>

#include "shared_segment.h"

class status_segment {
  public:
    // Takes the segment that is there, so that attached clients see the new server's life, or makes it.
    // Throws std::runtime_error with a text that says what to do: a segment of another size, no permission, a living
    // card that publishes there.
    status_segment();
    ~status_segment();  // clears both words, unless another card has them by now
    status_segment(const status_segment &) = delete;
    status_segment &operator=(const status_segment &) = delete;

    void publish(bool ready);
    bool is_ready() const;
    const shared_segment &segment() const { return segment_; }

  private:
    bool is_ours() const;
    void claim();

    shared_segment segment_;
    uint32_t *status_;  // and the owner's process id behind it
};

#endif
