// The real log daemon on a private directory, for tests that look at its files.
#ifndef TESTS_AD_LOGD_FIXTURE_H
#define TESTS_AD_LOGD_FIXTURE_H

#include "tests/support/log_daemon_process.h"
#include "tests/support/scratch.h"

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

using strings = std::vector<std::string>;

class AdLogd : public testing::Test {
  protected:
    AdLogd() { use_private_ipc(); }

    // The lines of a file once there are that many.
    static strings lines_of(const std::string &path, size_t count) {
        wait_until([&] { return static_cast<size_t>(std::ranges::count(content_of(path), '\n')) >= count; });
        std::istringstream content(content_of(path));
        strings lines;
        for (std::string line; std::getline(content, line);)
            lines.push_back(line);
        return lines;
    }
    std::string file() const { return files / "file"; }

    const scratch_directory files;
};

struct descriptor {
    int fd;
    ~descriptor() { close(fd); }
};

#endif
