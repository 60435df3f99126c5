// display-sim in a terminal of its own, as a person has it: a pseudo terminal whose screen is read back, keys
// that are typed, and what is left behind when it has ended.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>
#include <termios.h>

#include "support.h"

namespace simulator_test {

class Terminal {
public:
    // Starts it with these words in a terminal of that size. Its temporary folders go below folder().
    explicit Terminal(const std::vector<std::string> &words, int rows = 90, int columns = 150);
    ~Terminal();
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    void type(const std::string &keys) const;
    void signal(int number) const;
    // Reads on until all of `part` has been written since the last forget(); false at the deadline.
    bool shows(const std::string &part);
    // From here on only what is written later counts.
    void forget() { written_.clear(); }
    const std::string &written() const { return written_; }
    // The exit status; -1 when it still runs at the deadline or ended by a signal.
    int wait_for_end();

    termios settings() const;
    // None of its processes outlives it; waits for those that are about to end.
    bool left_no_process();
    std::vector<std::string> left_files() const; // and folders

private:
    bool read_until(const std::function<bool()> &condition);

    Folder folder_;
    pid_t pid_ = -1;
    int master_ = -1;
    int slave_ = -1; // kept open, so that the settings can be asked for at the end
    std::string written_;
};

// Both as tcgetattr() tells them.
bool same_settings(const termios &one, const termios &other);

} // namespace simulator_test
