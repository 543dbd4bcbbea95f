// The status word in shared segment 0, which tells clients whether the server accepts calls.
//
// The word behind it is the card's own: its process id, so that a second card does not take a living one's segment.
#ifndef SIMCARD_SEGMENTS_H
#define SIMCARD_SEGMENTS_H

#include <cstdint>

class status_segment {
  public:
    // Takes the segment that is there, so that attached clients see the new server's life, or makes it.
    // Throws std::runtime_error with a text that says what to do: a segment of another size, no permission, a living
    // card that publishes there.
    status_segment();
    ~status_segment();  // clears both words, unless another card has them by now, and detaches
    status_segment(const status_segment &) = delete;
    status_segment &operator=(const status_segment &) = delete;

    void publish(bool ready);
    bool is_ready() const;
    // Whether somebody removed the segment since: clients that start now do not find it.
    bool was_removed() const;
    // Marks the segment for removal.
    void remove();

  private:
    bool is_ours() const;
    void claim();

    int id_;
    uint32_t *status_;  // and the owner's process id behind it
};

#endif
