// libnprm.so as a host sees it: the map, the headers and the library name the same things, and it needs nothing of a C++ runtime;
// what nprmctl needs to start.

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/scratch.h"

namespace {

using names = std::set<std::string>;

std::string output_of(const std::string &command) {
    std::string text;
    FILE *pipe = popen(command.c_str(), "r");
    char part[4096];
    for (size_t bytes = 0; (bytes = std::fread(part, 1, sizeof part, pipe)) > 0;)
        text.append(part, bytes);
    EXPECT_EQ(pclose(pipe), 0) << command;
    return text;
}

names all_matches(const std::string &text, const std::string &pattern) {
    names found;
    const std::regex expression(pattern);
    for (std::sregex_iterator at(text.begin(), text.end(), expression), end; at != end; ++at)
        found.insert((*at)[1]);
    return found;
}

names exported_by_library() {
    names found = all_matches(output_of("nm -D --defined-only --format=posix " NPRM_LIBRARY), "(?:^|\n)([^ ]+) [A-Z] ");
    names plain;
    for (std::string name : found) {
        name = name.substr(0, name.find('@'));  // without the version
        if (name != "NPRM_1.0") plain.insert(name);
    }
    return plain;
}

names listed_in_map() {
    return all_matches(content_of(NPRM_SOURCE_DIR "/api/nprm.map"), "\n +([a-z][a-zA-Z0-9_]*);");
}

// What the public headers declare: the word before the bracket or the array of every declaration that is marked as exported.
names declared_in_headers() {
    names found;
    for (const char *folder : {NPRM_SOURCE_DIR "/api", NPRM_SOURCE_DIR "/util"}) {
        for (const auto &entry : std::filesystem::recursive_directory_iterator(folder)) {
            const std::string file = entry.path().filename();
            if (entry.path().extension() != ".h" || (file.rfind("nprm", 0) != 0 && file.rfind("ad_", 0) != 0)) continue;
            std::string text = content_of(entry.path());
            text = std::regex_replace(text, std::regex("/\\*[^*]*\\*+(?:[^/*][^*]*\\*+)*/|//[^\n]*|#define[^\n]*(?:\\\\\n[^\n]*)*"),
                                      "");
            text = std::regex_replace(text, std::regex("__attribute__\\(\\(.*?\\)\\)\\)?"), "");
            names here = all_matches(text, "(?:NPRM_API|AD_API)[^;(\\[]*?([a-zA-Z_0-9]+)\\s*(?=[;(\\[])");
            found.insert(here.begin(), here.end());
        }
    }
    return found;
}

std::string difference(const names &left, const names &right) {
    std::ostringstream text;
    for (const std::string &name : left)
        if (right.count(name) == 0) text << name << " ";
    return text.str();
}

TEST(ExportedNames, AreThoseOfTheMap) {
    EXPECT_GT(listed_in_map().size(), 50u);
    EXPECT_EQ(difference(exported_by_library(), listed_in_map()), "") << "exported, but not in api/nprm.map";
    EXPECT_EQ(difference(listed_in_map(), exported_by_library()), "") << "in api/nprm.map, but not exported";
}

TEST(ExportedNames, AreThoseOfThePublicHeaders) {
    EXPECT_EQ(difference(listed_in_map(), declared_in_headers()), "") << "in api/nprm.map, but in no public header";
    EXPECT_EQ(difference(declared_in_headers(), listed_in_map()), "") << "in a public header, but not in api/nprm.map";
}

TEST(ExportedNames, AreUnmangled) {
    for (const std::string &name : exported_by_library())
        EXPECT_NE(name.rfind("_Z", 0), 0u) << name;
}

TEST(Library, HasItsSoname) {
    EXPECT_EQ(all_matches(output_of("readelf -dW " NPRM_LIBRARY), "SONAME.*\\[(.*?)\\]"), names{"libnprm.so.1"});
}

TEST(Library, NeedsLibcAndThePlatformAndNothingOfACxxRuntime) {
    if (NPRM_SANITIZED) GTEST_SKIP() << "instrumented libraries need their runtime";
    names needed = all_matches(output_of("readelf -dW " NPRM_LIBRARY), "NEEDED.*\\[(.*?)\\]");
    needed.erase("ld-linux.so.2");
    needed.erase("ld-linux-x86-64.so.2");
    EXPECT_EQ(needed, (names{"libc.so.6", "libruv.so.1", "libsyslog.so.1"}));
}

// A command lives for half a millisecond, in which a library that is loaded, or <iostream>, which sets its streams up, shows.
TEST(Nprmctl, LoadsNothingButLibcAndThePlatformAndSetsNoStreamsUp) {
    if (NPRM_SANITIZED) GTEST_SKIP() << "instrumented programs need their runtime";
    names needed = all_matches(output_of("readelf -dW " NPRMCTL_PROGRAM), "NEEDED.*\\[(.*?)\\]");
    needed.erase("ld-linux.so.2");
    needed.erase("ld-linux-x86-64.so.2");
    EXPECT_EQ(needed, (names{"libc.so.6", "libruv.so.1", "libsyslog.so.1"}));
    EXPECT_EQ(output_of("nm " NPRMCTL_PROGRAM).find("ios_base4InitC"), std::string::npos);
}

TEST(Library, UsesNoNameOfACxxRuntime) {
    if (NPRM_SANITIZED) GTEST_SKIP() << "instrumented libraries need their runtime";
    // __cxa_finalize is libc's, called by every shared library's own end.
    for (const std::string &name :
         all_matches(output_of("nm -D --undefined-only --format=posix " NPRM_LIBRARY), "(?:^|\n)([^ ]+) "))
        EXPECT_TRUE(name.rfind("__cxa_finalize", 0) == 0 ||
                    (name.rfind("_Z", 0) != 0 && name.rfind("__cxa_", 0) != 0 && name.rfind("__gxx", 0) != 0))
            << name;
}

TEST(Library, RunsNoCodeWhenItIsLoaded) {
    if (NPRM_SANITIZED) GTEST_SKIP() << "instrumented libraries have constructors";
    const std::string sections = output_of("readelf -SW " NPRM_LIBRARY);
    // The compiler's own frame_dummy is one entry; a constructor of ours would be a second.
    std::smatch size;
    ASSERT_TRUE(std::regex_search(sections, size, std::regex("\\.init_array\\s+INIT_ARRAY\\s+\\S+\\s+\\S+\\s+(\\S+)")));
    EXPECT_EQ(std::stoul(size[1], nullptr, 16), sizeof(void *));
}

}  // namespace
