// Takes the heap away from the library for as long as an object lives.
#ifndef TESTS_SHORT_OF_MEMORY_H
#define TESTS_SHORT_OF_MEMORY_H

class short_of_memory {
  public:
    short_of_memory();
    ~short_of_memory();
    short_of_memory(const short_of_memory &) = delete;
    short_of_memory &operator=(const short_of_memory &) = delete;
};

#endif
