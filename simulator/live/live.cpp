// The live view: what stands on the screen, and what the keys do. The screen itself writes only what has changed.
#include "simulator/live/live.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

#include "simulator/desk/places.h"
#include "simulator/live/ending.h"
#include "simulator/live/live_keys.h"
#include "simulator/scenario/overheard.h"
#include "simulator/scenario/scenario.h"

namespace desk {

static constexpr int64_t step_ms = 100;
static constexpr int64_t long_step_ms = 1000;
static constexpr double speeds[] = {0.0, 0.1, 0.2, 0.5, 1.0, 2.0, 5.0, 10.0, 20.0, 50.0, desk::fastest};

class LiveScreen {
public:
    LiveScreen(desk::Stage &stage, desk::Pace &pace, const LiveView &what, const LiveWork &work)
        : stage_(stage), pace_(pace), what_(what), work_(work) {}

    // False: the end is wanted.
    bool turn();

private:
    bool obey(char pressed);
    void perform(const std::string &done, const std::function<void()> &work);
    void send(const std::string &command);
    void listen();
    void draw();
    std::string status() const;
    std::vector<std::string> head() const;
    std::string legend(int columns) const;

    desk::Stage &stage_;
    desk::Pace &pace_;
    const LiveView &what_;
    const LiveWork &work_;
    panel::Screen screen_;
    BusListener listener_;
    double speed_before_pause_ = 1.0;
    bool all_keys_ = false;
    std::string note_; // what happened last
};

/* ---- keys ---- */

static std::string number_text(double number) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", number);
    return text;
}

static double faster(double speed) {
    const auto *next = std::upper_bound(std::begin(speeds), std::end(speeds), speed);
    return next != std::end(speeds) ? *next : speed;
}

static double slower(double speed) {
    const auto *at = std::lower_bound(std::begin(speeds), std::end(speeds), speed);
    return at != std::begin(speeds) ? *(at - 1) : speed;
}

void LiveScreen::perform(const std::string &done, const std::function<void()> &work) {
    const std::string problem = work_.perform(work);
    note_ = problem.empty() ? done : problem;
}

// What it says comes over the bus, as every command does.
void LiveScreen::send(const std::string &command) {
    const std::string problem = work_.perform([&] { desk::perform(stage_, "send " + command); });
    if (!problem.empty()) note_ = problem;
}

bool LiveScreen::obey(char pressed) {
    const double speed = pace_.speed();
    if (pressed == key_quits) return false;
    if (pressed == key_lists) all_keys_ = !all_keys_;
    if (pressed == key_faster) pace_.set_speed(faster(speed));
    if (pressed == key_slower) pace_.set_speed(slower(speed));
    if (pressed == key_pauses) {
        if (speed > 0.0) speed_before_pause_ = speed;
        pace_.set_speed(speed > 0.0 ? 0.0 : speed_before_pause_);
    }
    if (pressed == key_steps || pressed == key_steps_far) {
        const int64_t ms = pressed == key_steps ? step_ms : long_step_ms;
        if (speed > 0.0) speed_before_pause_ = speed;
        pace_.set_speed(0.0);
        perform("Stepped " + std::to_string(ms) + " ms", [this, ms] {
            if (stage_.started()) stage_.pass(ms);
        });
    }
    const Key *key = key_of(pressed);
    if (key != nullptr) send(key->send);
    return true;
}

/* ---- what others send ---- */

void LiveScreen::listen() {
    const std::vector<Overheard> heard = listener_.commands(stage_.bus());
    if (heard.empty()) return;
    const Overheard &last = heard.back();
    const bool ours = last.sender == stage_.bus().unique_name();
    note_ = (ours ? "Sent: " : "From " + last.sender + ": ") + last.command;
    if (pace_.speed() == 0.0) note_ += " (the panel follows when time goes on)";
    if (heard.size() > 1) note_ += " (and " + std::to_string(heard.size() - 1) + " before it)";
}

/* ---- drawing ---- */

// The time is told only while it stands still: otherwise it would be drawn all the time.
std::string LiveScreen::status() const {
    const double speed = pace_.speed();
    std::string text;
    if (speed == 0.0) {
        char since[64];
        std::snprintf(since, sizeof since, "Stands still at %.3f s", static_cast<double>(stage_.now_us()) / 1e6);
        text = since;
    } else if (speed != 1.0) {
        text = number_text(speed) + " times as fast";
    }
    const std::string separator = text.empty() || note_.empty() ? "" : "  |  ";
    return text + separator + note_;
}

// For another terminal: with this line pasted there, the commands of the manuals work as they stand.
static std::string line_to_paste(desk::Bus &bus) {
    return "export DBUS_SYSTEM_BUS_ADDRESS=" + bus.address() + " PATH=\"" + program_folders() + ":$PATH\"; " +
           "displayctl send chan_bt";
}

// The most important first.
std::vector<std::string> LiveScreen::head() const {
    std::vector<std::string> lines;
    if (!what_.page.empty()) lines.push_back("The page: " + what_.page);
    lines.push_back(line_to_paste(stage_.bus()));
    lines.push_back("The box's folders: " + stage_.box().folder());
    return lines;
}

std::string LiveScreen::legend(int columns) const {
    if (!screen_.has_keys()) return "Ctrl-C ends";
    return all_keys_ ? full_legend(columns) : compact_legend(columns);
}

static std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

static int rows_of(const std::string &text, int columns) {
    return std::max(1, (static_cast<int>(text.size()) + columns - 1) / columns);
}

// The panel goes before everything but the status and a list of keys that was asked for; what there is no room for
// is left out.
void LiveScreen::draw() {
    const panel::Place place = screen_.place();
    const panel::Look look = panel::look_for(STDOUT_FILENO, what_.style);
    const panel::Picture frame = stage_.picture(what_.view);
    std::vector<std::string> legend_lines = lines_of(legend(place.columns));
    std::vector<panel::Row> rows;
    int left = place.lines - 1;
    const int spare = left - panel::fewest_lines(frame, look.style);
    int used = 0;
    if (all_keys_) {
        legend_lines.resize(std::min(legend_lines.size(), static_cast<size_t>(std::max(left, 0))));
        used = static_cast<int>(legend_lines.size());
    } else if (static_cast<int>(legend_lines.size()) > spare) {
        legend_lines.clear();
    } else {
        used = static_cast<int>(legend_lines.size());
    }
    for (const std::string &line : head()) {
        const int taken = rows_of(line, place.columns);
        if (used + taken > spare) continue;
        rows.push_back({line, taken});
        used += taken;
    }
    std::string status_text = status();
    if (legend_lines.empty() && status_text.empty()) status_text = "? lists the keys, q ends";
    rows.push_back({panel::printable(status_text, place.columns)});
    left -= used;
    for (const std::string &line : panel::fitted(frame, look.style, {left, place.columns}).lines) {
        rows.push_back({panel::dressed(line, look)});
    }
    for (const std::string &line : legend_lines) rows.push_back({panel::printable(line, place.columns)});
    screen_.show(rows);
}

bool LiveScreen::turn() {
    for (char pressed : screen_.wait(0)) {
        if (!obey(pressed)) return false;
    }
    listen();
    draw();
    work_.turn();
    return true;
}

void show_live(desk::Stage &stage, desk::Pace &pace, const LiveView &what, const LiveWork &work) {
    keys(); // a bad table is told before the screen changes
    LiveScreen screen(stage, pace, what, work);
    while (!end_wanted() && screen.turn()) {
    }
}

} // namespace desk
