// Where the card is looked for, and what is wrong with that place.

#include "card_place.h"

#include "platform/local/ruv_local.h"

#include <cerrno>

#include <sys/stat.h>

namespace {

// A directory like /tmp, which is meant to be written by all.
bool is_everybodys(const std::string &path) {
    struct stat found;
    return stat(path.c_str(), &found) == 0 && S_ISDIR(found.st_mode) &&
           (found.st_mode & (S_ISVTX | S_IWOTH)) == (S_ISVTX | S_IWOTH);
}

}  // namespace

card_place explained_place(int error, const std::string &path) {
    if (error == -EACCES && is_everybodys(path))
        return {path, path + " is everybody's (it has the sticky bit)", "set RUV_DIR to a directory of your own"};
    char text[5000];
    ruv_local_explain(error, path.c_str(), text, sizeof text);
    const std::string whole = text;
    const size_t advice = whole.find(": ", path.size());
    if (advice == std::string::npos) return {path, whole, {}};
    return {path, whole.substr(0, advice), whole.substr(advice + 2)};
}

card_place find_card_place() {
    char directory[4096];
    int error = ruv_local_directory(directory, sizeof directory);
    if (error != 0) return explained_place(error, "the directory's name");
    error = ruv_local_check_directory(directory);
    sockaddr_un address;
    if (error == 0) error = ruv_local_address(&address, directory, "1234567890");  // an opcode at its longest
    if (error != 0) return explained_place(error, directory);
    return {directory, {}, {}};
}
