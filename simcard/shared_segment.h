// A System V segment with a fixed key, as clients expect it.
#ifndef SIMCARD_SHARED_SEGMENT_H
#define SIMCARD_SHARED_SEGMENT_H

#include <cstddef>
#include <string>

#include <sys/types.h>

class shared_segment {
  public:
    // Attaches the segment that is there, so that attached clients go on with it, or makes it, of zeros.
    // Throws std::runtime_error with a text that says what to do: a segment of another size, no permission.
    shared_segment(key_t key, size_t bytes);
    ~shared_segment();  // detaches
    shared_segment(const shared_segment &) = delete;
    shared_segment &operator=(const shared_segment &) = delete;

    void *address() const { return address_; }
    // Whether somebody removed it since: clients that start now do not find it.
    bool was_removed() const;
    // Marks it for removal.
    void remove() const;

    // Throws std::runtime_error that names the segment.
    [[noreturn]] void fail(const std::string &what) const;

  private:
    int find(size_t bytes) const;
    int find_or_make(size_t bytes) const;

    key_t key_;
    int id_;
    void *address_;
};

#endif
