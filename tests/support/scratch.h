// A private place for a test: a directory, an IPC namespace, an environment variable.  All end with their object.
#ifndef TESTS_SCRATCH_H
#define TESTS_SCRATCH_H

#include <optional>
#include <string>

// A new directory of mode 0700, removed with all its content.
class scratch_directory {
  public:
    scratch_directory();
    ~scratch_directory();
    scratch_directory(const scratch_directory &) = delete;
    scratch_directory &operator=(const scratch_directory &) = delete;

    const std::string &path() const { return path_; }
    std::string operator/(const std::string &name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

// System V keys are fixed by the interface.  From the first call on this process (and what it starts) has an IPC namespace of its
// own; where the machine does not allow that, a lock keeps other such tests out until the process ends, and the segments of the
// interface are removed first.
void use_private_ipc();

// Sets or (null) unsets an environment variable; what was there comes back.
class scratch_variable {
  public:
    scratch_variable(const char *name, const char *value);
    ~scratch_variable();
    scratch_variable(const scratch_variable &) = delete;
    scratch_variable &operator=(const scratch_variable &) = delete;

  private:
    std::string name_;
    std::optional<std::string> before_;
};

// What a file holds, whole.
std::string content_of(const std::string &path);

#endif
