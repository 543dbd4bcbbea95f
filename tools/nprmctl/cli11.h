// CLI11 without the standard streams.
//
// <iostream> sets all eight streams and their locale up at the start of every program that includes it, which takes a fifth of a
// short command's time.  CLI11 includes it for App::exit() alone, which nprmctl does not call: the streams are declared here, and
// never used.
#ifndef NPRMCTL_CLI11_H
#define NPRMCTL_CLI11_H

#define _GLIBCXX_IOSTREAM 1  // the guard of <iostream>
#include <istream>
#include <ostream>
namespace std {
extern istream cin;
extern ostream cout, cerr, clog;
}  // namespace std

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#endif
