// Who may include whom: a folder reaches downward only.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

// A folder may include itself and what stands behind it.  The longest folder that a path begins with is its own; "public" is every
// public header, of whatever folder.
const std::map<std::string, std::vector<std::string>> directions = {
    {"api", {"api/wire", "api/frame", "api/config", "api/stats", "api/diag", "util"}},
    {"api/wire", {}},
    {"api/frame", {"api/wire", "util/ad_debug", "platform"}},
    {"api/config", {"api/frame", "api/wire"}},
    {"api/stats", {"api/frame", "api/wire"}},
    {"api/diag", {"api/frame", "api/wire", "api/config/nprm_service.h", "api/stats/nprm_stats.h"}},
    {"util", {"api/frame"}},
    {"util/ad_debug", {"platform"}},
    {"platform", {}},
    {"platform/local", {"platform"}},
    {"simcard", {"public", "platform", "platform/local"}},
    {"tools", {"public", "platform/local", "tools/ad_logd"}},
    {"tools/ad_logd", {"public"}},
    {"examples", {"public"}},
    {"bench",
     {"tools/ad_logd", "tools/nprmctl/register_names.h", "api", "api/wire", "api/frame", "api/config", "api/stats", "api/diag",
      "util", "util/ad_debug", "platform", "platform/local"}},
};

bool is_public(const std::string &path) {
    const std::string file = fs::path(path).filename();
    return std::regex_match(file, std::regex("(nprm|ad_).*\\.h|nprm\\.h|ruv\\.h|ny_syslog\\.h"));
}

std::string folder_of(const std::string &path) {
    std::string best;
    for (const auto &[folder, allowed] : directions)
        if (path.rfind(folder + "/", 0) == 0 && folder.size() > best.size()) best = folder;
    return best;
}

bool allowed(const std::string &from, const std::string &to) {
    if (from == folder_of(to)) return true;
    const auto &targets = directions.at(from);
    return std::any_of(targets.begin(), targets.end(), [&](const std::string &target) {
        return target == "public" ? is_public(to) : target == to || target == folder_of(to);
    });
}

// The file that an #include "..." of ours means: beside the includer, from the project's root, or by the folders that hosts are
// given.
std::string resolve(const fs::path &root, const fs::path &includer, const std::string &name) {
    for (const fs::path &base : {includer.parent_path(), root, root / "api", root / "util/ad_debug"}) {
        const fs::path found = base / name;
        if (fs::exists(found)) return fs::relative(fs::canonical(found), root);
    }
    return "";
}

struct inclusion {
    std::string from, name, to;
};

std::vector<inclusion> all_inclusions() {
    const fs::path root = fs::canonical(NPRM_SOURCE_DIR);
    std::vector<inclusion> found;
    const std::regex line_form("\\s*#\\s*include\\s*\"([^\"]+)\".*");
    for (const char *top : {"api", "util", "platform", "simcard", "tools", "examples", "bench"}) {
        if (!fs::exists(root / top)) continue;
        for (const auto &entry : fs::recursive_directory_iterator(root / top)) {
            const std::string extension = entry.path().extension();
            if (extension != ".h" && extension != ".c" && extension != ".cpp") continue;
            std::ifstream file(entry.path());
            std::smatch match;
            for (std::string line; std::getline(file, line);)
                if (std::regex_match(line, match, line_form))
                    found.push_back({fs::relative(entry.path(), root), match[1], resolve(root, entry.path(), match[1])});
        }
    }
    return found;
}

TEST(IncludeDirections, GoDownwardOnly) {
    const std::vector<inclusion> inclusions = all_inclusions();
    EXPECT_GT(inclusions.size(), 30u);
    for (const inclusion &each : inclusions) {
        if (each.to.empty()) continue;  // generated while building
        ASSERT_NE(folder_of(each.from), "") << each.from;
        EXPECT_TRUE(allowed(folder_of(each.from), each.to)) << each.from << " includes " << each.to;
    }
}

TEST(IncludeDirections, NobodyIncludesTests) {
    for (const inclusion &each : all_inclusions())
        EXPECT_NE(each.to.rfind("tests/", 0), 0u) << each.from << " includes " << each.to;
}

TEST(IncludeDirections, ARuleThatIsBrokenIsSeen) {
    EXPECT_FALSE(allowed("api/wire", "api/frame/nprm_pool.h"));
    EXPECT_FALSE(allowed("api/config", "api/stats/nprm_stats.h"));
    EXPECT_FALSE(allowed("tools", "api/frame/component.h"));
    EXPECT_TRUE(allowed("tools", "api/config/nprm_tcam.h"));
    EXPECT_TRUE(allowed("api/diag", "api/config/nprm_service.h"));
    EXPECT_FALSE(allowed("api/diag", "api/config/nprm_tcam.h"));
}

}  // namespace
