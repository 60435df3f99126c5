// The process itself: killed, out of LVGL's memory, out of descriptors or address space, and a process table that
// changes while it is read.
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "faults.h"
#include "simulator/desk/places.h"
#include "simulator/desk/sandbox.h"

namespace faults {

#ifdef STATUS_DISPLAY_SANITIZE
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

// ---- LVGL's pool

static Line pool_is_full() { return {LOG_CRIT, "LVGL: ?* in ?*, aborting\n"}; }

// What is opened and never closed: the USB box, and firmware boxes over one another.
static std::vector<Line> send_what_stays(Trial &trial) {
    switch (pick(trial.random(), 0, 2)) {
        case 0: trial.send("USB_update"); return {received("USB_update")};
        case 1: trial.send("USB_done"); return {received("USB_done")};
        default: trial.send("M4_update"); return {received("M4_update"), {LOG_ERR, "updating!"}};
    }
}

static void pool_full(Random &random) {
    if (sanitized) throw Skipped("a sanitized daemon keeps LVGL's objects on the heap");
    Trial trial(random);
    trial.begin();
    trial.must_obey();
    std::vector<std::vector<Line>> sent;
    for (int i = 0; i < 300; i++) sent.push_back(send_what_stays(trial));
    trial.desk().clock().raise(1000);
    must_be("its exit status", trial.desk().wait_for_exit(patience), 128 + SIGABRT);
    // Command by command up to the one that had no room, and one line more.
    const std::vector<desk::LogLine> all = trial.desk().log().lines();
    const auto commands = static_cast<size_t>(trial.desk().log().count("Got Signal")) - 2;
    must(commands > 10 && commands < sent.size(), "the pool is full after " + std::to_string(commands) + " boxes");
    std::vector<Line> lines;
    for (size_t i = 0; i < commands; i++) lines.insert(lines.end(), sent[i].begin(), sent[i].end());
    if (lines.back().priority == LOG_ERR && all[all.size() - 2].priority == LOG_INFO) lines.pop_back();
    lines.push_back(pool_is_full());
    trial.must_log(lines);
    trial.unit_starts_it();
    trial.must_obey();
    trial.must_hold();
}

// ---- An end from outside

static void daemon_killed(Random &random) {
    Trial trial(random);
    trial.begin();
    trial.must_obey();
    for (int i = pick(random, 0, 20); i > 0; i--) trial.send("chan_usb");
    trial.desk().clock().raise(pick(random, 0, 30)); // it may run meanwhile
    const int signal = one_of<int>(random, {SIGKILL, SIGTERM, SIGSEGV, SIGBUS, SIGFPE, SIGQUIT});
    must(kill(trial.desk().daemon_pid(), signal) == 0, "the daemon can't be killed");
    const int status = trial.desk().wait_for_exit(patience);
    // Of some signals the sanitizer makes a report and an end of its own.
    if (!sanitized) must_be("its exit status", status, 128 + signal);
    trial.unit_starts_it();
    trial.must_obey();
    trial.must_hold();
}

// ---- Limits

static std::set<int> open_numbers(pid_t pid) {
    std::set<int> numbers;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/fd")) {
        numbers.insert(std::atoi(entry.path().filename().c_str()));
    }
    return numbers;
}

// A limit at which as many descriptors can be opened and no more.
static rlim_t limit_with_free(pid_t pid, int free) {
    const std::set<int> taken = open_numbers(pid);
    rlim_t limit = 0;
    while (free > 0 || static_cast<int>(limit) <= *taken.rbegin()) {
        if (taken.count(static_cast<int>(limit)) == 0 && free-- == 0) break;
        limit++;
    }
    return limit;
}

static long kilobytes_of(pid_t pid, const std::string &field) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string word; status >> word;) {
        long kilobytes = 0;
        if (word == field && status >> kilobytes) return kilobytes;
    }
    throw desk::Error("no " + field + " of the daemon");
}

static rlimit set_limit(pid_t pid, int resource, rlim_t soft) {
    rlimit before{};
    must(prlimit(pid, static_cast<__rlimit_resource>(resource), nullptr, &before) == 0, "can't read a limit");
    const rlimit now{soft, before.rlim_max};
    must(prlimit(pid, static_cast<__rlimit_resource>(resource), &now, nullptr) == 0, "can't set a limit");
    return before;
}

// The two that ask tools: the jack, which has not been asked yet, and a station that was shown. Under the limit neither
// can be asked; it obeys all the same. `is_station_lost`: not even the link's file can be opened, or no tool.
static void must_get_by_under(Trial &trial, int resource, const std::function<rlim_t(pid_t)> &limit) {
    desk::Box &box = trial.box();
    box.remove_converter();
    box.set_jack_millivolts(11500);
    box.set_wifi_link(true);
    box.set_ssid("HomeNet");
    box.set_signal_dbm(-40);
    trial.shown.view = "views/view_station_signal_4";
    trial.shown.volts = trial.shown.extremes = "voltage/voltage_none";
    trial.begin();
    const pid_t pid = trial.desk().daemon_pid();
    const rlimit before = set_limit(pid, resource, limit(pid));
    box.clear_calls();
    box.set_jack_ready(true);
    trial.advance(0, 2000);
    trial.settle();
    trial.shown.view = "start/icon_row"; // a link whose network can't be asked for is none
    trial.shown.source = "voltage/voltage_from_jack";
    trial.must_show();
    trial.must_log({});
    trial.must_hold();
    must(box.calls().empty(), "a tool was run in spite of the limit: " + (box.calls().empty() ? "" : box.calls()[0]));
    trial.must_obey();
    set_limit(pid, resource, before.rlim_cur);
    trial.send("chan_timeout");
    box.set_signal_dbm(-70);
    trial.settle();
    trial.must_log({received("chan_timeout")});
    trial.shown.view = "views/view_station_signal_2";
    trial.shown.volts = trial.shown.extremes = "voltage/voltage_from_jack";
    trial.must_show();
    trial.must_obey();
    trial.must_hold();
}

static void no_descriptors(Random &random) {
    Trial trial(random);
    const int free = pick(random, 0, 1); // none, or one for a file; a tool's pipe takes two
    must_get_by_under(trial, RLIMIT_NOFILE, [&](pid_t pid) { return limit_with_free(pid, free); });
}

static void no_memory(Random &random) {
    if (sanitized) throw Skipped("a sanitized daemon has reserved its address space");
    Trial trial(random);
    // A tool is started on a stack of its own, of more than 32 kB.
    must_get_by_under(trial, RLIMIT_AS, [&](pid_t pid) {
        return static_cast<rlim_t>(kilobytes_of(pid, "VmSize:") + pick(random, 0, 7) * 4) * 1024;
    });
}

// The log takes the first descriptor, the framebuffer the second, the bus the third: with those it runs.
static void few_descriptors_at_start(Random &random) {
    const int limit = pick(random, 4, 6);
    desk::Options options;
    options.runner = {"/usr/bin/prlimit", "--nofile=" + std::to_string(limit)};
    options.no_panel = true;
    Trial trial(random, true, options);
    std::filesystem::create_symlink("zero", trial.box().host_path("/dev/fb0"));
    trial.look = [] { return ""; };
    if (limit < 6) {
        trial.must_end_at_start(1, {{LOG_INFO, "Listening for signals\n"}, {LOG_ERR, "Connection Error (?*)\n"}});
    } else {
        trial.begin();
    }
    if (limit == 4) {
        trial.must_print("", "Error: cannot open framebuffer device: Too many open files\n");
    } else {
        trial.must_print("The framebuffer device was opened successfully.\n",
                         "Error reading fixed information: Inappropriate ioctl for device\n");
    }
    if (limit < 6) return;
    trial.must_obey();
    trial.must_hold();
}

// ---- The process table

// No command and no task of the daemon scans it, so the function itself is what runs here.
static void processes_vanish(Random &random) {
    if (desk::sandbox_kind() == desk::SandboxKind::proot) {
        throw Skipped("without a namespace of processes others come and go in the table");
    }
    const int count = pick(random, 1, 20);
    const int wanted = pick(random, 0, count - 1);
    const bool opened = pick(random, 0, 1) == 1;
    std::set<int> victims;
    for (int i = pick(random, 1, count); i > 0; i--) victims.insert(pick(random, 0, count - 1));

    const desk::Box box(desk::Contents::bare);
    desk::Guest guest;
    guest.environment["ASAN_OPTIONS"] = desk::sanitizer_options_of_guest();
    std::vector<std::string> command = {desk::bring_program(desk::find_program("tests/prove/scan_processes"), guest),
                                        std::to_string(count), std::to_string(wanted)};
    for (const int victim : victims) command.push_back(std::to_string(victim));
    command.emplace_back(opened ? "opened" : "listed");
    const std::string output = box.folder() + "/output";
    desk::Streams streams;
    streams.output = open(output.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    streams.errors = streams.output;
    desk::Process process;
    process.start(desk::command_line(box, guest, command), streams);
    close(streams.output);
    const int status = process.wait(patience);

    // A file that is open and whose process is gone gives no line: that ends the whole scan. One that is gone before is
    // passed over. The table is in the order of the children's start.
    std::string found = victims.count(wanted) > 0 ? "none\n" : "child-" + std::to_string(wanted) + "\n";
    if (opened && *victims.begin() <= wanted) found = "fscanf failed \nnone\n";
    std::ifstream file(output);
    const std::string seen{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    must_be("what the scan prints and finds", seen, found + "0 descriptors left open\n");
    must_be("its exit status", status, 0);
}

const std::vector<Kind> &process_kinds() {
    static const std::vector<Kind> kinds = {
        {"pool_full", "a channel and a mode are shown", "up to 300 boxes of three kinds that nobody closes",
         "one critical line behind the last command, SIGABRT; the unit's next start obeys", pool_full},
        {"daemon_killed", "a channel and a mode are shown; up to 20 signals wait", "one of six signals at any moment",
         "its status; the unit's next start shows the icons and obeys", daemon_killed},
        {"no_descriptors", "a station is shown; then the jack is to be asked",
         "a limit of open files that leaves none or one: no pipe for a tool",
         "no tool is run, no station, no voltage; it obeys; without the limit both are shown", no_descriptors},
        {"no_memory", "a station is shown; then the jack is to be asked",
         "a limit of address space that leaves up to 28 kB: no process for a tool",
         "no tool is run, no station, no voltage; it obeys; without the limit both are shown", no_memory},
        {"few_descriptors_at_start", "a box with a device that is no framebuffer, the daemon starts",
         "4, 5 or 6 open files: enough for the log, a device, the bus",
         "the driver's lines; without one for the bus Connection Error and status 1, with it it obeys",
         few_descriptors_at_start},
        {"processes_vanish", "a table of up to 20 processes",
         "some end when the scan has listed them, or when it has opened their files",
         "passed over, or \"fscanf failed \" and no result; no descriptor is left", processes_vanish},
    };
    return kinds;
}

} // namespace faults
