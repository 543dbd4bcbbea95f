// The system calls that the debug library makes, as this process makes them: real, but for what a test asks otherwise.
#ifndef TESTS_SYSTEM_CALLS_H
#define TESTS_SYSTEM_CALLS_H

#include <functional>
#include <optional>
#include <vector>

#include <sys/socket.h>
#include <sys/types.h>

struct send_call {
    size_t bytes;
    int flags;
    socklen_t address_bytes;
};

struct system_calls {
    // What sendto() fails with, by the number of the call from 0 on; 0: the call is real.
    std::function<int(size_t)> send_error;
    std::function<void()> after_send;
    std::vector<send_call> sends;  // kept while recording
    bool recording = true;

    std::vector<int> segments_made;  // the ids of new segments, for the fixture to remove
    std::optional<uid_t> user;       // what getuid() says
    int shmget_error = 0;            // with IPC_CREAT only
    int shmctl_stat_error = 0;
    int shmctl_remove_error = 0;
    int shmat_error = 0;
    int shmdt_error = 0;
    int madvise_error = 0;
    std::function<void()> before_shmdt;

    std::function<int(size_t)> read_error;  // what read() fails with, by the number of the call from 0 on; 0: the call is real
    size_t reads = 0;                       // counted while there is a read_error
};

system_calls &the_system_calls();

#endif
