// What the tests of the tools share: running displayctl as a person would, a private bus that is listened to,
// temporary folders, and pictures with something to recognise in them.
#pragma once

#include <string>
#include <thread>
#include <vector>

#include <dbus/dbus.h>
#include <sys/types.h>

#include "panel/drawing.h"
#include "support/programs.h"

namespace tools_test {

using test_support::Folder;
using test_support::read_file;
using test_support::Result;
using test_support::run;
using test_support::wait_until;
using test_support::Words;

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
    DBusConnection *listener_ = nullptr;
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
