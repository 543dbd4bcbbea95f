// Files that commands read and write, "-" for standard input.
#ifndef NPRMCTL_INPUT_FILE_H
#define NPRMCTL_INPUT_FILE_H

#include "failure.h"

#include <cstddef>
#include <string>

// A file that is of no use, which ends the command with exit status 2.
failure unusable(std::string what);

// As messages name it: "-" is standard input.
std::string name_of_file(const std::string &path);

// The file's bytes, without a byte order mark in front.  Throws unusable() when it cannot be read or is far too large for a text.
std::string read_text(const std::string &path);

// The file's bytes as they are.   what: what has at most bytes_max bytes, for the message when the file has more
std::string read_bytes(const std::string &path, size_t bytes_max, const char *what);

// Throws a refusal when the file cannot be written.
void write_file(const std::string &path, const std::string &bytes);

// The bytes that pairs of hexadecimal digits stand for, with blanks and line ends between them where one likes.
// Throws unusable(); `where` says where the digits stand.
std::string bytes_of_hex(const std::string &digits, const std::string &where);
std::string hex_of_bytes(const std::string &bytes);

#endif
