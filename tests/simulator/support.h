// What the simulator's tests share: a folder that goes with the test, and the real display-sim run to its
// end.
#pragma once

#include <string>
#include <vector>

namespace simulator_test {

// An empty folder, removed with the object.
class Folder {
public:
    Folder();
    ~Folder();
    Folder(const Folder &) = delete;
    Folder &operator=(const Folder &) = delete;

    const std::string &path() const { return path_; }
    std::string write(const std::string &name, const std::string &content) const; // the file's whole path
    std::string read(const std::string &name) const;                              // "" when there is none
    bool has(const std::string &name) const;
    std::vector<std::string> names() const; // files below it, sorted, relative

private:
    std::string path_;
};

std::string read_file(const std::string &path);

struct Outcome {
    int status = -1;
    std::string output;
    std::string errors;
};

// Runs display-sim with these words. What the shell does before goes to `before`: "DESK_ARMHF=/nowhere", or
// "cd '/tmp/stories' &&". The standard input is the file `input`.
Outcome display_sim(const std::vector<std::string> &words, const std::string &before = "",
                    const std::string &input = "/dev/null");

bool contains(const std::string &text, const std::string &part);

} // namespace simulator_test
