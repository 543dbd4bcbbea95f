// One invocation of a command: it declares its arguments, parses them, and finds the global options here.
#ifndef NPRMCTL_INVOCATION_H
#define NPRMCTL_INVOCATION_H

#include "command.h"
#include "report.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

// Thrown by parse() when help is asked for.
struct help_wanted {
    std::string text;
};

class invocation {
  public:
    invocation(const command &row, std::vector<std::string> words);
    ~invocation();
    invocation(const invocation &) = delete;
    invocation &operator=(const invocation &) = delete;

    // Declare what the command takes.  Names that begin with "--" are options, "--count COUNT" with their value; others are
    // arguments in their order, which must be given unless they are in brackets.
    void number(const char *name, uint32_t &value, uint32_t lowest, uint32_t highest, const char *help);
    void text(const char *name, std::string &value, const char *help);
    void texts(const char *name, std::vector<std::string> &values, const char *help);
    void flag(const char *name, bool &value, const char *help);
    // More to say at the end of the command's help.
    void notes(const char *text);

    // Throws a failure of exit status 2 that names the argument, or help_wanted.
    void parse();
    // Whether the option or argument was given.
    bool given(const char *name) const;

    const command &row() const { return row_; }
    bool json() const { return json_; }
    bool verbose() const { return verbose_; }
    void print(const report &content) const { content.print(json_, stdout); }

  private:
    CLI::App &parser();
    CLI::Option *add_text(const char *name, std::string &value, const char *help);
    void refuse_repeated_options() const;
    std::string help_text() const;

    const command &row_;
    std::vector<std::string> words_;
    std::unique_ptr<CLI::App> parser_;
    bool json_ = false, verbose_ = false;
    std::string directory_;
};

// "usage: nprmctl tcam create SIZE"
std::string usage_of(const command &row);

// A number as arguments are, from lowest to highest; throws a failure of exit status 2 that names it.
uint32_t number_argument(const char *name, const std::string &text, uint32_t lowest, uint32_t highest);

#endif
