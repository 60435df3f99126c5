// The tools that the daemon runs and waits for: missing, hanging, silent, talking without end or in zeros, killed.
//
// Each kind meets one of the three states in which tools are asked: the voltage comes from the jack (vcicp), the row on
// top from the wireless station (iw), or the debug panel is up (iw and wl).
#include <csignal>
#include <fstream>

#include <fcntl.h>
#include <unistd.h>

#include "faults.h"
#include "simulator/desk/box_tools.h"

namespace faults {

struct Asking {
    std::vector<const char *> tools;
    void (*prepare)(desk::Box &box);
    Shown read;   // what is shown with their answers
    Shown unread; // what is shown as long as there was none
    void (*change)(desk::Box &box);
    Shown changed; // what is shown after change(), if `read` was before
};

static Shown with_measurement(const char *volts, const char *extremes, const char *source) {
    Shown shown;
    shown.volts = volts;
    shown.extremes = extremes;
    shown.source = source;
    return shown;
}

static Shown with_view(const char *view) {
    Shown shown;
    shown.view = view;
    return shown;
}

static const Asking &jack() {
    static const Asking asking = {
        {"vcicp"},
        [](desk::Box &box) {
            box.remove_converter();
            box.set_jack_ready(true);
            box.set_jack_millivolts(11500);
        },
        with_measurement("voltage/voltage_from_jack", "voltage/voltage_from_jack", "voltage/voltage_from_jack"),
        with_measurement("voltage/voltage_none", "voltage/voltage_none", "voltage/voltage_from_jack"),
        [](desk::Box &box) { box.set_jack_millivolts(5000); },
        with_measurement("voltage/voltage_none", "voltage/voltage_from_jack", "voltage/voltage_from_jack"),
    };
    return asking;
}

static const Asking &station() {
    static const Asking asking = {
        {"iw"},
        [](desk::Box &box) {
            box.set_wifi_link(true);
            box.set_ssid("HomeNet");
            box.set_signal_dbm(-40);
        },
        with_view("views/view_station_signal_4"),
        with_view("start/start_screen"), // a link without a name is no station, and no lack of one
        [](desk::Box &box) { box.set_signal_dbm(-70); },
        with_view("views/view_station_signal_2"),
    };
    return asking;
}

static const Asking &debug_panel() {
    static const Asking asking = {
        {"iw", "wl"},
        [](desk::Box &box) {
            box.set_wifi_debug();
            box.set_ssid("HomeNet");
            box.set_signal_dbm(-55);
            box.set_noise("-92");
        },
        with_measurement("start/wifi_debug", "start/wifi_debug", "start/wifi_debug"),
        with_measurement("start/wifi_debug_without_readings", "start/wifi_debug_without_readings", "start/wifi_debug"),
        [](desk::Box &) {},
        with_measurement("start/wifi_debug", "start/wifi_debug", "start/wifi_debug"),
    };
    return asking;
}

static const Asking &any_asking(Random &random) {
    switch (pick(random, 0, 2)) {
        case 0: return jack();
        case 1: return station();
        default: return debug_panel();
    }
}

static std::string path_of(const std::string &tool) { return "/usr/local/bin/" + tool; }

static void write_tools(desk::Box &box, const Asking &asking, const std::string &script) {
    for (const char *tool : asking.tools) box.write_script(path_of(tool), "#!/bin/sh\n" + script + "\n");
}

static void repair(desk::Box &box, const Asking &asking) {
    for (const char *tool : asking.tools) {
        box.remove(path_of(tool));
        box.write_script(path_of(tool), desk::box_tools().at(tool));
    }
}

// ---- No reading

// Without a reading from the start nothing is shown; later what was read stays. A reading afterwards counts again.
static void must_get_by_without(Trial &trial, const Asking &asking, const std::function<void()> &spoil) {
    const bool from_start = pick(trial.random(), 0, 1) == 1;
    asking.prepare(trial.box());
    if (from_start) spoil();
    trial.shown = from_start ? asking.unread : asking.read;
    trial.begin();
    if (!from_start) spoil();
    trial.advance(0, 2000);
    trial.settle();
    trial.must_show();
    trial.must_log({});
    trial.must_hold();
    repair(trial.box(), asking);
    if (!from_start) asking.change(trial.box());
    trial.shown = from_start ? asking.read : asking.changed;
    trial.settle();
    trial.must_show();
    trial.must_obey();
    trial.must_hold();
}

static void tools_missing(Random &random) {
    Trial trial(random);
    const Asking &asking = any_asking(random);
    must_get_by_without(trial, asking, [&] {
        for (const char *tool : asking.tools) {
            const std::string path = path_of(tool);
            trial.box().remove(path);
            switch (pick(random, 0, 4)) {
                case 0: break;
                case 1: trial.box().write(path, "#!/bin/sh\necho 12000\n"); break; // not to be executed
                case 2: trial.box().write_script(path, "#!/no/such/shell\n"); break;
                case 3:
                    trial.box().write_script(path, std::string("\x7f"
                                                               "ELF\0\0\0",
                                                               7));
                    break;
                default: trial.box().write(path + "/folder", "");
            }
        }
    });
}

static void tools_print_nothing(Random &random) {
    Trial trial(random);
    const Asking &asking = any_asking(random);
    static const std::vector<std::string> silences = {"exit 0",
                                                      "exit 1",
                                                      "exit 255",
                                                      "exec >&-",
                                                      "echo 12000 >&2",
                                                      "exec </dev/null >/dev/null",
                                                      "cat >/dev/null </dev/null"};
    must_get_by_without(trial, asking, [&] { write_tools(trial.box(), asking, one_of(random, silences)); });
}

// ---- Too much

static constexpr size_t megabyte = 1000000;

// The tools print a file each, by their last argument.
static void print_files(desk::Box &box, const Asking &asking) {
    write_tools(box, asking, "for last; do :; done\ncat /tmp/says-$last");
}

static std::string lines_before(const std::string &wrong, const std::string &right) {
    std::string text;
    while (text.size() < megabyte) text += wrong + "\n";
    return text + right + "\n";
}

// A line is read in pieces of `piece` bytes, and the last one counts.
static std::string line_before(const std::string &begin, size_t piece, const std::string &right) {
    const size_t pieces = megabyte / piece + 1;
    return begin + std::string(piece * pieces, 'W') + right + "\n";
}

static void write_long_answers(Trial &trial, const Asking &asking) {
    const bool one_line = pick(trial.random(), 0, 1) == 1;
    const bool debug = asking.tools.size() == 2;
    const size_t signal_piece = debug ? 126 : 62;
    const std::string dbm = debug ? "-55" : "-40";
    desk::Box &box = trial.box();
    box.write("/tmp/says-vjack", one_line ? line_before("", 126, "11500") : lines_before("9000", "11500"));
    box.write("/tmp/says-noise", one_line ? line_before("", 126, "-92") : lines_before("-11", "-92"));
    box.write("/tmp/says-info",
              one_line ? line_before("\tssid ", 62, "HomeNet") : lines_before("\tssid Wrong", "\tssid HomeNet"));
    box.write("/tmp/says-link", one_line ? line_before("\tsignal: ", signal_piece, dbm)
                                         : lines_before("\tsignal: -93 dBm", "\tsignal: " + dbm + " dBm"));
    print_files(box, asking);
}

static void tools_print_a_megabyte(Random &random) {
    Trial trial(random);
    const Asking &asking = any_asking(random);
    const bool from_start = pick(random, 0, 1) == 1;
    asking.prepare(trial.box());
    if (from_start) {
        write_long_answers(trial, asking);
    } else {
        write_tools(trial.box(), asking, "exit 0");
    }
    trial.shown = from_start ? asking.read : asking.unread;
    trial.begin();
    if (!from_start) write_long_answers(trial, asking);
    trial.settle();
    trial.shown = asking.read;
    trial.must_show();
    trial.must_log({});
    trial.must_hold();
    repair(trial.box(), asking);
    trial.must_obey();
    trial.must_hold();
}

// ---- Zeros

// A text ends at its first zero, wherever the line ends. grep takes what holds a zero for binary and prints no line of it:
// no reading.
static void tools_print_zeros(Random &random) {
    Trial trial(random);
    const Asking &asking = any_asking(random);
    asking.prepare(trial.box());
    trial.shown = asking.read;
    trial.begin();
    const std::string zeros(static_cast<size_t>(pick(random, 1, 100)), '\0'); // a line is read in pieces of 126 bytes
    desk::Box &box = trial.box();
    const bool readable = pick(random, 0, 1) == 1;
    box.write("/tmp/says-vjack", (readable ? "11500" : "") + zeros + "9000\n");
    box.write("/tmp/says-noise", "-92" + zeros + "more\n");
    box.write("/tmp/says-info", "\tssid HomeNet\n");
    box.write("/tmp/says-link", zeros + "\tsignal: -93 dBm\n" + zeros);
    print_files(box, asking);
    if (!readable && asking.tools == jack().tools) trial.shown = asking.changed; // 0 V
    trial.settle();
    trial.must_show();
    trial.must_log({});
    trial.must_hold();
    asking.change(box);
    repair(box, asking);
    trial.shown = asking.changed;
    trial.settle();
    trial.must_show();
    trial.must_obey();
    trial.must_hold();
}

// ---- Hanging

static const char *const hang = "/tmp/hang";

// A tool that reads from a pipe which nobody writes to. It prints nothing then.
class HangingTool {
public:
    // Lets the daemon run into it.
    HangingTool(Trial &trial, const Asking &asking) {
        desk::Box &box = trial.box();
        make_fifo(box, hang);
        write_tools(box, asking, std::string("if [ -p ") + hang + " ]; then read line <" + hang + "; fi");
        trial.desk().clock().raise(2100);
        const std::string path = box.host_path(hang);
        must(desk::wait_until([&] { return (pipe_ = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC)) >= 0; },
                              patience),
             "no tool is run");
        box.remove(hang); // for those that come later
    }
    ~HangingTool() { release(); }
    HangingTool(const HangingTool &) = delete;
    HangingTool &operator=(const HangingTool &) = delete;

    void release() {
        if (pipe_ >= 0) close(pipe_);
        pipe_ = -1;
    }

private:
    int pipe_ = -1;
};

static void must_stand_and_wait(Trial &trial) {
    must(!trial.desk().clock().stands_still(), "the loop goes on although a tool hangs");
    trial.must_show();
    trial.must_log({});
}

static void must_go_on(Trial &trial) {
    must(desk::wait_until([&] { return trial.desk().clock().stands_still() || !trial.desk().alive(); }, patience),
         "the daemon does not go on after the tool's end");
    trial.settle();
}

static void tools_hang(Random &random) {
    Trial trial(random);
    const Asking &asking = any_asking(random);
    asking.prepare(trial.box());
    trial.shown = asking.read;
    trial.begin();
    std::vector<Line> lines;
    {
        HangingTool tool(trial, asking);
        for (int i = pick(random, 1, 20); i > 0; i--) {
            const std::string word = "nonsense " + std::to_string(i);
            trial.send(word);
            lines.push_back(received(word));
        }
        must_stand_and_wait(trial);
        trial.desk().clock().skip(pick(random, 1000, 5000));
        must_stand_and_wait(trial);
        asking.change(trial.box());
        repair(trial.box(), asking);
    }
    must_go_on(trial);
    trial.must_log(lines);
    trial.shown = asking.changed;
    trial.must_show();
    trial.must_obey();
    trial.must_hold();
}

// ---- Killed

static std::string command_name(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/comm");
    std::string name;
    std::getline(file, name);
    return name;
}

// Whatever the daemon has started, children before their own.
static std::vector<pid_t> started_by(pid_t daemon) {
    const std::vector<desk::ProcessEntry> table = desk::process_table();
    std::vector<pid_t> found = {daemon};
    for (size_t i = 0; i < found.size(); i++) {
        for (const desk::ProcessEntry &entry : table) {
            if (entry.parent == found[i]) found.push_back(entry.pid);
        }
    }
    found.erase(found.begin());
    return found;
}

static int kill_tools(Trial &trial, const Asking &asking, int signal, bool all) {
    int killed = 0;
    for (const pid_t pid : started_by(trial.desk().daemon_pid())) {
        bool wanted = all;
        for (const char *tool : asking.tools) wanted = wanted || command_name(pid) == tool;
        if (wanted && ::kill(pid, signal) == 0) killed++;
    }
    return killed;
}

static void tools_killed(Random &random) {
    Trial trial(random);
    const Asking &asking = any_asking(random);
    asking.prepare(trial.box());
    trial.shown = asking.read;
    trial.begin();
    {
        HangingTool tool(trial, asking);
        must_stand_and_wait(trial);
        write_tools(trial.box(), asking, "kill -" + std::to_string(one_of<int>(random, {SIGKILL, SIGTERM})) + " $$");
        const int signal = one_of<int>(random, {SIGKILL, SIGTERM, SIGSEGV, SIGABRT, SIGBUS, SIGFPE});
        must(kill_tools(trial, asking, signal, pick(random, 0, 1) == 1) > 0, "there is no tool to be killed");
        must_go_on(trial);
    }
    trial.must_log({});
    trial.must_show(); // what was read before
    trial.must_hold();
    asking.change(trial.box());
    repair(trial.box(), asking);
    trial.shown = asking.changed;
    trial.settle();
    trial.must_show();
    trial.must_obey();
    trial.must_hold();
}

const std::vector<Kind> &tool_kinds() {
    static const char *const asked = "the voltage comes from the jack, or a station is shown, or the debug panel";
    static const std::vector<Kind> kinds = {
        {"tools_missing", asked, "no tool, one that can't be executed, or a folder; from the start or later",
         "what was read stays; with the tool the next reading is shown; it obeys, no child is left", tools_missing},
        {"tools_hang", asked, "a tool hangs for one to five seconds of the display's time; up to 20 signals arrive",
         "the panel stands still; then every signal is logged in order, and the new reading is shown; it obeys",
         tools_hang},
        {"tools_print_nothing", asked, "no output, with any status; from the start or later",
         "what was read stays; the next reading is shown; it obeys, no child is left", tools_print_nothing},
        {"tools_print_a_megabyte", asked, "1 MB, in lines or as one; from the start or later",
         "the last line, or the last piece of the one, is the reading; it obeys", tools_print_a_megabyte},
        {"tools_print_zeros", asked, "up to 100 zero bytes before or in the reading",
         "the reading up to the first zero, or none; the next one is shown; it obeys", tools_print_zeros},
        {"tools_killed", asked, "a tool, or all that the daemon has started, killed by one of six signals",
         "what was read stays; no child is left; the next reading is shown; it obeys", tools_killed},
    };
    return kinds;
}

} // namespace faults
