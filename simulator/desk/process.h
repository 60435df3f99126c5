// A child process in a process group of its own, so that everything it started can be ended with it, also
// where no process namespace does that. It dies with the desk.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "simulator/desk/error.h"

namespace desk {

// Descriptors for the child; -1 is /dev/null.
struct Streams {
    int input = -1;
    int output = -1;
    int errors = -1;
};

class Process {
public:
    Process() = default;
    ~Process() { kill(); }
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

    // The child also ends when the calling thread does: start it from a thread that stays.
    void start(const std::vector<std::string> &command, const Streams &streams);

    pid_t pid() const { return pid_; }
    bool alive();
    // 0..255, or 128 + the signal that ended it; nothing while it runs or before it was started.
    std::optional<int> status();
    // Waits for the end. Throws Error when it still runs at the deadline.
    int wait(std::chrono::milliseconds deadline = usual_deadline);
    // Ends the whole group; returns when it is gone.
    void kill();

private:
    pid_t pid_ = -1;
    std::optional<int> status_;
};

// "was killed by SIGSEGV" for 128 + its number, else "ended with status 1".
std::string how_it_ended(int status);

// One line of the host's process table.
struct ProcessEntry {
    pid_t pid = 0;
    pid_t parent = 0;
    pid_t group = 0;
    long ticks = 0; // processor time, of ended children too
};
std::vector<ProcessEntry> process_table();

} // namespace desk
