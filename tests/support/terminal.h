// A program in a terminal of its own, as a person has it: a pseudo terminal whose screen is read back, keys that are
// typed, and what is left behind when it has ended.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <sys/types.h>
#include <termios.h>

#include "support/programs.h"
#include "support/screen.h"

namespace test_support {

struct Setting {
    int rows = 24;
    int columns = 80;
    // Goes over what every test has: a UTF-8 locale, TERM=xterm and no NO_COLOR.
    std::map<std::string, std::string> environment = {};
    // Below a shell that has jobs, so that Ctrl-Z can stop the program; a line typed then makes it go on.
    bool job_control = false;
};

class Terminal {
public:
    // Starts the program with these words. Its temporary files go below a folder of its own.
    explicit Terminal(const std::vector<std::string> &command, const Setting &setting = {});
    ~Terminal();
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    void type(const std::string &keys) const;
    void signal(int number) const;
    // Gives it another size, which the program is told by a signal.
    void resize(int rows, int columns);

    // Reads on until all of `part` stands on the screen, or these rows do; false at the deadline.
    bool shows(const std::string &part);
    bool shows_rows(const std::vector<std::string> &lines);
    bool read_until(const std::function<bool()> &condition);
    // Reads what has been written up to now.
    void catch_up();
    const EmulatedScreen &screen() const { return screen_; }

    // All bytes since the last forget().
    const std::string &written() const { return written_; }
    void forget() { written_.clear(); }

    // The exit status; -1 when it still runs at the deadline or ended by a signal.
    int wait_for_end();
    // The same without reading what it writes.
    int wait_for_end_unread();
    // Ctrl-Z, and on again, below a shell that has jobs: what the terminal was not given back as, "" when all was well.
    std::string stop_and_go_on();
    termios settings() const;
    // What they were before the command was started.
    const termios &settings_before() const { return settings_before_; }
    // Of what was typed, the bytes that nobody has read: the next program would get them.
    int bytes_left_to_read() const;
    // None of its processes outlives it; waits for those that are about to end.
    bool left_no_process();
    std::vector<std::string> left_files() const; // and folders
    const std::string &folder() const { return folder_.path(); }

private:
    bool read_some(int milliseconds);
    bool has_ended() const;

    Folder folder_;
    EmulatedScreen screen_;
    pid_t pid_ = -1;
    int master_ = -1;
    termios settings_before_ = {};
    int slave_ = -1; // kept open, so that the settings can be asked for at the end
    std::string written_;
};

// Both as tcgetattr() tells them.
bool same_settings(const termios &one, const termios &other);

} // namespace test_support
