// Lines that people type at a terminal: edited and completed by libedit where the machine has it, plain where not.
#ifndef NPRMCTL_LINE_EDITOR_H
#define NPRMCTL_LINE_EDITOR_H

#include <string>
#include <vector>

// What may stand behind these words; empty when a file's name may.
using word_source = std::vector<std::string> (*)(const std::vector<std::string> &said, const std::string &begun);

class line_editor {
  public:
    // One at a time: libedit has one state a process.  From now on SIGINT only gives up the line that is typed.
    line_editor(const char *prompt, word_source words);

    // The next line, without its line feed; false at the end.
    bool next(std::string &line);

  private:
    char *read_edited();
    bool next_plain(std::string &line);

    const char *prompt_;
    char *(*read_line_)(const char *prompt) = nullptr;
    int (*remember_)(const char *line) = nullptr;
};

#endif
