// What the tests of the tools share: running displayctl as a person would, a private bus with an ear on it,
// temporary folders, and pictures with something to recognise in them.
#pragma once

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <dbus/dbus.h>
#include <sys/types.h>

#include "panel/drawing.h"

namespace tools_test {

struct Result {
    int status = -1; // exit status, or 128 + the signal
    std::string output;
    std::string errors;
};

using Words = std::vector<std::string>;

// Runs a program to its end.
Result run(const Words &command, const std::string &input = "");
// displayctl with these arguments as a command; through the emulator in a cross build.
Words displayctl_command(const Words &arguments);
// Runs displayctl with these arguments.
Result displayctl(const Words &arguments, const std::string &input = "");

// displayctl running beside the test; what it writes is read bit by bit.
class Running {
public:
    explicit Running(const Words &arguments);
    ~Running();
    Running(const Running &) = delete;
    Running &operator=(const Running &) = delete;

    void write(const std::string &bytes);
    void close_input();
    // Reads until the output so far contains `part`. False: it ended, or nothing came in time.
    bool wait_for(const std::string &part);
    const std::string &output() const { return output_; }
    // Its end by itself: the exit status.
    int wait();

private:
    pid_t pid_;
    int input_;
    int output_descriptor_;
    std::string output_;
};

// A folder that goes with the object.
class Folder {
public:
    Folder();
    ~Folder();
    Folder(const Folder &) = delete;
    Folder &operator=(const Folder &) = delete;

    std::string file(const std::string &name) const { return path_ + "/" + name; }
    // Writes in one step, so that a reader never sees half of it.
    std::string write(const std::string &name, const std::string &content) const;

private:
    std::string path_;
};

std::string read_file(const std::string &path);
bool wait_until(const std::function<bool()> &condition);

// A private dbus-daemon that allows everything but what `policy` forbids, in the words of its configuration.
class PrivateBus {
public:
    explicit PrivateBus(const std::string &policy = "");
    ~PrivateBus();
    PrivateBus(const PrivateBus &) = delete;
    PrivateBus &operator=(const PrivateBus &) = delete;

    const std::string &address() const { return address_; }
    void own_display_name();
    // From now on nobody on this bus asks for display commands; next_signal() has nothing to give.
    void stop_listening();
    // The next signal on zor.signal.Type. The caller releases it; null when none came in time.
    DBusMessage *next_signal();

private:
    Folder folder_;
    std::string address_;
    pid_t pid_ = -1;
    DBusConnection *ear_ = nullptr;
};

// A bus that goes away: stands before another one and passes on what is said, up to a moment.
class LeavingBus {
public:
    enum class Moment {
        after_hello, // the client has its name, and nothing that it says arrives any more
        at_question, // it has asked for the owner of a name, and gets no answer
    };
    LeavingBus(const std::string &bus_address, Moment moment);
    ~LeavingBus();
    LeavingBus(const LeavingBus &) = delete;
    LeavingBus &operator=(const LeavingBus &) = delete;

    const std::string &address() const { return address_; }

private:
    void serve();

    Folder folder_;
    std::string address_;
    Moment moment_;
    int listening_;
    int bus_;
    std::thread thread_;
};

// A picture without symmetry, different for each `seed`.
panel::Picture pattern(panel::Size size, unsigned seed = 1);
// Its bytes on the panel, worked out independently of the code under test.
std::string raw_of(const panel::Picture &frame);

} // namespace tools_test
