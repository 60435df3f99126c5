// Putting the daemon into the box, and driving it there.
#include "simulator/desk/desk.h"

#include <algorithm>
#include <cstdio>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include <fcntl.h>
#include <unistd.h>

#include "simulator/desk/places.h"
#include "simulator/desk/sandbox.h"

namespace desk {

namespace fs = std::filesystem;

static std::vector<std::string> words_of(const char *text) {
    std::istringstream stream(text != nullptr ? text : "");
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(word);
    return words;
}

static std::string read_whole(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// What the caller left open is taken from the environment, then from the build.
static Options complete(Options options) {
    if (options.daemon.empty()) {
        const char *wanted = std::getenv("DESK_DAEMON");
        const std::string suffix = options.layout ? "-layout" : "";
        if (wanted != nullptr) options.daemon = wanted + suffix;
        if (wanted == nullptr || (options.layout && !fs::exists(options.daemon))) {
            options.daemon = find_program("status-display" + suffix);
        }
    }
    if (options.runner.empty()) options.runner = words_of(std::getenv("DESK_RUNNER"));
    if (!options.panel) options.panel = options.layout ? layout_panel : device_panel;
    return options;
}

Desk::Desk(const Options &options) : options_(complete(options)) {
    if (options.companion_of != nullptr) {
        box_ = options.companion_of->box_;
        bus_ = options.companion_of->bus_;
        fs::create_directories(box_->folder() + "/companion");
    } else {
        box_ = std::make_shared<Box>(options.contents);
        if (!options_.no_bus) bus_ = std::make_shared<Bus>(box_->host_path("/desk/bus"));
    }
    log_ = std::make_unique<LogSocket>(host_file("log"));
    clock_ = std::make_unique<Clock>(box_->host_path(guest_clock_path()),
                                     options_.origin_us.value_or(Clock::usual_origin()));
    if (!options_.no_panel) panel_ = std::make_unique<Panel>(host_file("fb0"), *options_.panel);
}

// A companion keeps its own files beside the box's folders and has them bound over the other desk's.
std::string Desk::host_file(const std::string &name) const {
    if (options_.companion_of != nullptr) return box_->folder() + "/companion/" + name;
    return name == "log" || name == "fb0" ? box_->host_path("/dev/" + name) : box_->folder() + "/" + name;
}

std::string Desk::guest_clock_path() const {
    return std::string(guest_clock) + (options_.companion_of != nullptr ? "-companion" : "");
}

Desk::~Desk() { stop(); }

Bus &Desk::bus() {
    if (!bus_) throw Error("this desk was made without a bus");
    return *bus_;
}

Panel &Desk::panel() {
    if (!panel_) throw Error("this desk was made without a panel");
    return *panel_;
}

/* ---- the command ---- */

static std::string panel_text(const Geometry &panel) {
    const std::string resolution = std::to_string(panel.xres) + "x" + std::to_string(panel.yres);
    return resolution + "x" + std::to_string(panel.bits_per_pixel);
}

// Sanitized builds: the shim goes before their library, and a tracing sandbox can't have a leak check.
static std::string sanitizer_options() {
    const char *wanted = std::getenv("ASAN_OPTIONS");
    const std::string ours = "verify_asan_link_order=0:detect_leaks=0";
    return wanted != nullptr ? ours + ":" + wanted : ours;
}

void Desk::describe_panel(std::map<std::string, std::string> &environment) const {
    if (!panel_) return;
    const Geometry &panel = panel_->geometry();
    environment["DESK_PANEL"] = panel_text(panel);
    environment["DESK_PANEL_LINE_LENGTH"] = std::to_string(panel.bytes_per_line());
    environment["DESK_PANEL_OFFSET"] = std::to_string(panel.xoffset) + "x" + std::to_string(panel.yoffset);
    if (!options_.panel_failure.empty()) environment["DESK_PANEL_FAIL"] = options_.panel_failure;
}

// The shim of the daemon's own build if it has one: it may be for another machine than this program.
static std::string shim_for(const std::string &daemon) {
    const fs::path folder = fs::path(daemon).parent_path();
    for (const fs::path &build : {folder, folder.parent_path()}) {
        const fs::path shim = build / "simulator/libdesk_shim.so";
        if (fs::exists(shim)) return shim.string();
    }
    return find_program("simulator/libdesk_shim.so");
}

std::vector<std::string> Desk::daemon_command() const {
    Guest guest;
    const std::string shim = shim_for(options_.daemon);
    const std::string shim_folder = fs::path(guest_shim).parent_path().string();
    guest.binds.push_back({fs::path(shim).parent_path().string(), shim_folder, false});
    guest.environment["DBUS_SYSTEM_BUS_ADDRESS"] = guest_bus_address;
    guest.environment["ASAN_OPTIONS"] = sanitizer_options();
    describe_panel(guest.environment);
    if (options_.time != Time::real) guest.environment["DESK_CLOCK"] = guest_clock_path();
    if (options_.companion_of != nullptr) {
        guest.binds.push_back({host_file("log"), "/dev/log", true});
        if (panel_) guest.binds.push_back({host_file("fb0"), "/dev/fb0", true});
    }

    std::vector<std::string> command;
    bring_paths(options_.runner, guest);
    for (const std::string &word : options_.runner) command.push_back(word);
    const bool emulated = !command.empty() && fs::path(command[0]).filename().string().rfind("qemu-", 0) == 0;
    if (emulated) {
        // The library is for the emulated program; the emulator itself could not load it.
        command.insert(command.end(), {"-E", std::string("LD_PRELOAD=") + guest_shim});
    } else {
        guest.environment["LD_PRELOAD"] = guest_shim;
    }
    command.push_back(bring_program(options_.daemon, guest));
    guest.environment["DESK_TARGET"] = fs::path(options_.daemon).filename().string();
    for (const auto &[name, value] : options_.environment) guest.environment[name] = value;
    return command_line(*box_, guest, command);
}

/* ---- its life ---- */

static int open_for_writing(const std::string &path) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600);
    if (file < 0) throw system_error("can't write " + path);
    return file;
}

void Desk::reset() {
    stop();
    log_->clear();
    clock_->reset(options_.origin_us.value_or(Clock::usual_origin()));
    if (panel_) panel_->fill(0);
}

void Desk::launch() {
    reset();
    if (options_.time == Time::scaled) clock_->set_speed(options_.speed);
    Streams streams;
    streams.output = open_for_writing(host_file("output"));
    streams.errors = open_for_writing(host_file("errors"));
    process_.start(daemon_command(), streams);
    close(streams.output);
    close(streams.errors);
}

void Desk::start() {
    launch();
    const bool stepped = options_.time == Time::stepped;
    const auto listening = [&] { return log_->count("Match rule sent") > 0 && (!stepped || clock_->stands_still()); };
    const bool decided = wait_for_daemon([&] { return !alive() || listening(); });
    if (!alive()) throw Error("the daemon ended instead of listening: " + last_words());
    if (!decided) throw Error(hang("does not begin to listen"));
}

void Desk::stop() {
    const pid_t daemon = coverage_folder() != nullptr ? daemon_pid() : 0;
    if (daemon > 0 && ::kill(daemon, SIGTERM) == 0) wait_until([this] { return !alive(); });
    process_.kill();
}

// Inside bubblewrap the first process is its own; the daemon is that one's child.
pid_t Desk::daemon_pid() {
    if (!alive()) return 0;
    const std::vector<ProcessEntry> table = process_table();
    pid_t pid = process_.pid();
    for (int generation = sandbox_kind() == SandboxKind::bwrap ? 2 : 1; generation > 0; generation--) {
        const auto child = std::find_if(table.begin(), table.end(), [&](const ProcessEntry &entry) {
            return entry.parent == pid && entry.group == process_.pid();
        });
        if (child == table.end()) return 0;
        pid = child->pid;
    }
    return pid;
}

// proot reports a death by signal as 255 and names the signal in a line among the daemon's errors.
int Desk::wait_for_exit(std::chrono::milliseconds deadline) {
    const int status = process_.wait(deadline);
    if (status != 255 || sandbox_kind() != SandboxKind::proot) return status;
    static const std::string phrase = "terminated with signal ";
    const std::string all = read_whole(host_file("errors"));
    const size_t found = all.rfind(phrase);
    return found == std::string::npos ? status : 128 + std::atoi(all.c_str() + found + phrase.size());
}

std::string Desk::output() const { return read_whole(host_file("output")); }

std::string Desk::errors() const {
    std::istringstream all(read_whole(host_file("errors")));
    std::string own;
    for (std::string line; std::getline(all, line);) {
        if (line.rfind("proot ", 0) != 0) own += line + "\n";
    }
    return own;
}

std::string Desk::last_words() {
    std::string text;
    if (!alive()) text += "status " + std::to_string(wait_for_exit()) + "; ";
    text += "its log:\n";
    for (const LogLine &line : log_->lines()) {
        const bool ended = !line.text.empty() && line.text.back() == '\n';
        text += "    " + line.text + (ended ? "" : "\n");
    }
    return text + "its errors:\n" + read_whole(host_file("errors"));
}

/* ---- time and commands ---- */

// Processor time of the daemon, its sandbox and the tools it runs.
static long group_ticks(pid_t group) {
    long ticks = 0;
    for (const ProcessEntry &entry : process_table()) {
        if (entry.group == group) ticks += entry.ticks;
    }
    return ticks;
}

// A deadline without progress, looked at in tenths of it. A pass of the daemon's loop is progress, a log line before
// the first one too. So is processor time, because a start or a tool may be slow on a busy machine; but only as much
// of it as the deadline is long, for what spins has hung.
bool Desk::wait_for_daemon(const std::function<bool()> &condition) {
    constexpr int parts = 10;
    const auto moves = [this]() -> size_t {
        const uint32_t passes = clock_->passes();
        return passes > 0 ? passes : log_->lines().size();
    };
    const long most_ticks = static_cast<long>(stretched().count()) * sysconf(_SC_CLK_TCK) / 1000;
    size_t moves_seen = moves();
    long ticks_seen = -1;
    long ticks_used = 0;
    int idle_parts = 0;
    while (!wait_until(condition, usual_deadline / parts)) {
        const size_t moves_now = moves();
        const long ticks_now = group_ticks(process_.pid());
        const bool moved = moves_now != moves_seen;
        const bool worked = ticks_seen >= 0 && ticks_now != ticks_seen;
        ticks_used = moved ? 0 : ticks_used + (worked ? std::labs(ticks_now - ticks_seen) : 0);
        idle_parts = moved || worked ? 0 : idle_parts + 1;
        if (idle_parts >= parts || ticks_used > most_ticks) return condition();
        moves_seen = moves_now;
        ticks_seen = ticks_now;
    }
    return true;
}

std::string Desk::hang(const std::string &what) {
    const auto waited = std::chrono::duration<double>(stretched()).count();
    char seconds[32];
    std::snprintf(seconds, sizeof(seconds), "%.3g", waited);
    return "the daemon " + what + ": nothing has moved for " + seconds +
           " s (DESK_PATIENCE=5 in the environment waits five times as long); " + last_words();
}

void Desk::advance(int64_t ms) {
    if (!alive()) throw Error("the daemon has ended: " + last_words());
    clock_->raise(ms);
    arrive(ms);
}

void Desk::arrive(int64_t ms) {
    const bool arrived = wait_for_daemon([this] { return clock_->stands_still() || !alive(); });
    if (!alive()) throw Error("the daemon ended while its clock ran: " + last_words());
    if (!arrived) throw Error(hang("hangs in the next " + std::to_string(ms) + " ms"));
}

bool Desk::advance_until(const std::function<bool()> &condition, int64_t limit_ms) {
    for (int64_t passed = 0; !condition(); passed++) {
        if (passed >= limit_ms) return false;
        if (bus_) bus_->catch_up();
        advance(1);
    }
    return true;
}

// On whatever clock the daemon lives by.
void Desk::let_pass(int64_t ms) {
    if (options_.time == Time::stepped) return advance(ms);
    const auto begin = std::chrono::steady_clock::now();
    const int64_t virtual_begin = clock_->now_us();
    const bool passed = wait_for_daemon([&] {
        if (!alive()) return true;
        if (options_.time == Time::scaled) return clock_->now_us() - virtual_begin >= ms * 1000;
        return std::chrono::steady_clock::now() - begin >= std::chrono::milliseconds(ms);
    });
    if (!alive()) throw Error("the daemon has ended: " + last_words());
    if (!passed) throw Error(hang("hangs in the next " + std::to_string(ms) + " ms"));
}

void Desk::send_and_settle(const std::string &word, const std::vector<Argument> &further, int64_t settle_ms) {
    const std::string line = "Got Signal with value " + word + "\n";
    const int before = log_->count(line);
    const auto logged = [&] { return log_->count(line) > before; };
    bus().send(word, further);
    const bool arrived = options_.time == Time::stepped ? advance_until(logged, 1000)
                                                        : wait_for_daemon([&] { return logged() || !alive(); });
    if (!arrived || !logged()) throw Error("the command \"" + word + "\" does not arrive: " + last_words());
    let_pass(settle_ms);
}

} // namespace desk
