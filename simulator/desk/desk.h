// The desk: the unmodified daemon in a box, with a private bus, a virtual panel, a log socket and a driven
// clock.
//
//     desk::Desk desk;                          // a healthy box, stepped time, the device's panel
//     desk.box().set_production();              // prepare the box
//     desk.start();                             // returns when the daemon listens
//     desk.send_and_settle("chan_bt");          // one command, handled and drawn
//     EXPECT_EQ(desk.picture(), golden);
//     EXPECT_TRUE(desk.alive());
//
// Environment: DESK_DAEMON (another binary instead of the build's), DESK_RUNNER (words put before it, e.g.
// "valgrind -q --error-exitcode=99"), DESK_SANDBOX, DESK_PATIENCE, DESK_COVERAGE (see sandbox.h).
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "simulator/desk/box.h"
#include "simulator/desk/bus.h"
#include "simulator/desk/clock.h"
#include "simulator/desk/error.h"
#include "simulator/desk/log_socket.h"
#include "simulator/desk/panel.h"
#include "simulator/desk/process.h"

namespace desk {

enum class Time {
    stepped, // the daemon moves only in advance()
    scaled,  // runs at Options::speed
    real,    // the daemon's clock is left alone
};

class Desk;

struct Options {
    // Another desk whose box and bus this one uses too, with a panel, a log and a clock of its own. It must
    // outlive this one; `contents` and `no_bus` are that desk's then.
    Desk *companion_of = nullptr;
    Contents contents = Contents::healthy;
    bool layout = false;           // status-display-layout on its 128 x 66 panel
    std::optional<Geometry> panel; // another panel than the binary's own
    bool no_panel = false;         // no /dev/fb0 at all
    std::string panel_failure;     // "fix", "var" or "mmap": this call on the panel fails
    bool no_bus = false;           // no system bus answers
    Time time = Time::stepped;
    double speed = 1.0;
    std::optional<int64_t> origin_us;               // start of the daemon's clock, see Clock
    std::map<std::string, std::string> environment; // further variables for the daemon
    std::string daemon;                             // another binary; "": DESK_DAEMON or the build's
    std::vector<std::string> runner;                // words before the binary; empty: DESK_RUNNER or none
};

class Desk {
public:
    explicit Desk(const Options &options = {});
    ~Desk();
    Desk(const Desk &) = delete;
    Desk &operator=(const Desk &) = delete;

    Box &box() { return *box_; }
    Bus &bus();
    LogSocket &log() { return *log_; }
    Panel &panel();
    Clock &clock() { return *clock_; }
    Picture picture() { return panel().picture(); }

    // Starts the daemon and waits until it listens ("Match rule sent" logged, in stepped time also standing
    // still at its first sleep). Throws Error with the daemon's own words when it ended instead. After stop()
    // or an exit it may be called again: log and panel are as at the beginning then, the box stays as it is.
    void start();
    // Starts it and waits for nothing: for daemons that are expected to end.
    void launch();
    void stop();
    // Ends the daemon; log, clock and panel are as before the first start then.
    void reset();

    bool alive() { return process_.alive(); }
    // The daemon's process id on the host; 0 while it does not run.
    pid_t daemon_pid();
    // Waits until the daemon has ended: its exit status, or 128 + the signal.
    int wait_for_exit(std::chrono::milliseconds deadline = usual_deadline);
    // What it has written to standard output and standard error so far.
    std::string output() const;
    std::string errors() const;

    // Stepped time: the daemon runs `ms` further and stands still again. Throws Error when it ended.
    void advance(int64_t ms);
    // The second half of that, after clock().raise(ms): so several desks run at the same time.
    void arrive(int64_t ms);
    // Stepped time: 1 ms at a time until `condition` holds. False: `limit_ms` passed first.
    bool advance_until(const std::function<bool()> &condition, int64_t limit_ms);

    // Sends a command, waits until the daemon has logged it, then lets `settle_ms` pass (long enough by
    // default for the 500 ms tasks and a refresh). In real and scaled time it waits that long on the daemon's
    // clock. Throws Error when the command does not arrive.
    void send_and_settle(const std::string &word, const std::vector<Argument> &further = {}, int64_t settle_ms = 600);

private:
    std::string guest_clock_path() const;
    std::string host_file(const std::string &name) const;
    std::vector<std::string> daemon_command() const;
    void describe_panel(std::map<std::string, std::string> &environment) const;
    void let_pass(int64_t ms);
    bool wait_for_daemon(const std::function<bool()> &condition);
    std::string hang(const std::string &what);
    std::string last_words();

    Options options_;
    std::shared_ptr<Box> box_;
    std::unique_ptr<LogSocket> log_;
    std::shared_ptr<Bus> bus_;
    std::unique_ptr<Clock> clock_;
    std::unique_ptr<Panel> panel_;
    Process process_;
};

} // namespace desk
