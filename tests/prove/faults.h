// The kinds of faults that the daemon must survive, and what every one of them is made of: a trial. A trial puts the
// unmodified daemon into a named state, has something outside it go wrong, and compares what is seen afterwards with
// what must be: log lines, exit status, the whole picture, what the process holds, and that it does what it is told.
//
// What must be seen is put together from the expected pictures of simulator/scenarios and never from the daemon's own.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <syslog.h>

#include "fault_control.h"
#include "holding.h"
#include "random.h"
#include "simulator/desk/desk.h"

namespace faults {

struct Kind {
    const char *name;
    const char *before; // the state that the fault meets
    const char *fault;
    const char *afterwards; // what must be seen
    void (*run)(Random &random);
};

const std::vector<Kind> &bus_kinds();
const std::vector<Kind> &log_kinds();
const std::vector<Kind> &framebuffer_kinds();
const std::vector<Kind> &tool_kinds();
const std::vector<Kind> &file_kinds();
const std::vector<Kind> &process_kinds();

// How long, in real time, a start, an end or a tool may take: other work may keep the machine from it.
constexpr std::chrono::milliseconds patience{60000};

// Thrown where a kind can't be had: what() is the reason.
struct Skipped : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Throws unless it holds; the text says what was seen and what should have been.
void must(bool holds, const std::string &otherwise);
void must_be(const std::string &what, const std::string &seen, const std::string &wanted);
void must_be(const std::string &what, long seen, long wanted);

// A line of the log. `text` may hold * for whatever a library or the system says there.
struct Line {
    int priority;
    std::string text;
};
Line received(const std::string &word);
std::vector<Line> start_lines();

// What the panel shows, each place by the name of an expected picture that has it.
struct Shown {
    std::string view = "start/icon_row"; // the row on top
    std::string mode = "start/icon_row"; // the word at the bottom
    std::string volts = "start/icon_row";
    std::string extremes = "start/icon_row"; // minimum and maximum
    std::string source = "start/icon_row";   // the icon of the supply or of the jack
};

// An expected picture of simulator/scenarios, "views/view_usb".
panel::Picture expected_picture(const std::string &name, bool layout);
panel::Picture picture_of(const Shown &shown, bool layout);

// "", or both pictures and where they differ.
std::string difference(const panel::Picture &seen, const panel::Picture &wanted);

class Trial {
public:
    // The layout's panel, because it shows everything; `layout` false is the device's.
    explicit Trial(Random &random, bool layout = true, const desk::Options &options = {});
    Trial(const Trial &) = delete;
    Trial &operator=(const Trial &) = delete;

    desk::Desk &desk() { return *desk_; }
    desk::Box &box() { return desk_->box(); }
    fault_control &faults() { return *control_; }
    Random &random() { return random_; }

    Shown shown; // what must be on the panel
    // Compares the panel with `shown`: "" or a complaint. Another panel than the usual ones has its own way.
    std::function<std::string()> look;
    // Hands a word to the bus. Another bus than the desk's has its own way.
    std::function<void(const std::string &word)> send;

    // Starts the daemon in the state that the box and `shown` are in, lets a random time pass, and notes what it holds.
    // Without `lines` its log is not looked at.
    void begin(const std::optional<std::vector<Line>> &lines = start_lines());
    // Time for each task to run, the slowest one included.
    void settle() { desk().advance(2100); }
    void advance(int from_ms, int to_ms) { desk().advance(pick(random_, from_ms, to_ms)); }

    // ---- What must be seen
    void must_show();
    // These lines exactly, since the last look at the log.
    void must_log(const std::vector<Line> &lines);
    // As many descriptors as at the beginning and `more`; no children.
    void must_hold(int more = 0);
    // What it has written to its standard streams.
    void must_print(const std::string &output, const std::string &errors);
    // A mode and a channel, any: logged and shown, exactly. Without a log only shown.
    void must_obey(bool logged = true);

    // The daemon is started and must end by itself, with this status and these lines; the panel stays dark.
    void must_end_at_start(int status, const std::vector<Line> &lines);
    // The unit has Restart=always without a limit: what has ended, however, is started again after a second. And
    // BindsTo=dbus.service with WantedBy=dbus.service: with the bus the daemon is stopped and started. Here the desk does
    // that, and the first pictures and lines must be those of any start.
    void unit_starts_it();
    // The same in a box that is as it was made.
    void unit_starts_it_after_repair();

private:
    void wait_until_running();

    Random &random_;
    bool layout_;
    bool has_panel_;
    std::unique_ptr<desk::Desk> desk_;
    fault_control *control_ = nullptr;
    std::shared_ptr<void> mapping_;
    Holding held_;
    size_t lines_seen_ = 0;
};

// What the framebuffer driver prints on a device that does what it should.
std::string driver_output(const desk::Geometry &panel);

// Makes a pipe with a name in the box.
void make_fifo(desk::Box &box, const std::string &path);

} // namespace faults
