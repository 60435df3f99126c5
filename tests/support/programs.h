// What tests of several programs share: a folder that goes with the test, programs run to their end, and waiting for a
// condition. Deadlines are multiplied by the environment variable DESK_PATIENCE, as the desk's own.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace test_support {

/// An empty folder, removed with the object.
class Folder {
public:
    Folder();
    ~Folder();
    Folder(const Folder &) = delete;
    Folder &operator=(const Folder &) = delete;

    const std::string &path() const { return path_; }
    std::string file(const std::string &name) const { return path_ + "/" + name; }
    /// Writes in one step, so that a reader never sees half of it; missing folders are made. The file's whole path.
    std::string write(const std::string &name, const std::string &content) const;
    /// "" when there is none.
    std::string read(const std::string &name) const;
    bool has(const std::string &name) const;
    /// Files below it, sorted, relative.
    std::vector<std::string> names() const;

private:
    std::string path_;
};

/// "" when there is none.
std::string read_file(const std::string &path);

bool contains(const std::string &text, const std::string &part);

using Words = std::vector<std::string>;

/// The end of what a test waits for.
std::chrono::steady_clock::time_point deadline();

/// False at the deadline.
bool wait_until(const std::function<bool()> &condition);

struct Result {
    int status = -1; ///< exit status, or 128 + the signal
    std::string output;
    std::string errors;
};

/// Runs a program to its end, in a UTF-8 locale.
Result run(const Words &command, const std::string &input = "");

/// Starts one with the given descriptors as its standard ones; it dies with the calling thread.
pid_t start(const Words &command, int input, int output, int errors);

/// Exit status, or 128 + the signal.
int wait_for_exit(pid_t pid);

} // namespace test_support
