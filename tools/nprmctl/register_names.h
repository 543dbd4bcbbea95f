// Registers by their names, whatever the case; EZreg_NPA_, which every name begins with, may be left out.
#ifndef NPRMCTL_REGISTER_NAMES_H
#define NPRMCTL_REGISTER_NAMES_H

#include <cstddef>
#include <cstdint>
#include <string>

// The register's index; how many registers there are when none has the name.
uint32_t register_named(const std::string &name);

// Looks for a text in one name after the other.
class register_search {
  public:
    explicit register_search(std::string text);  // not empty
    bool finds(const char *name) const;

  private:
    std::string text_;
    size_t first_;  // the place in a name before which the text cannot begin
};

#endif
