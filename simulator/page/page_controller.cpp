#include "simulator/page/page_controller.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <utility>

#include <syslog.h>

#include "simulator/desk/places.h"
#include "simulator/page/page_json.h"
#include "simulator/scenario/play_film.h"
#include "simulator/scenario/read_text.h"

namespace desk {

using nlohmann::json;

// How often the pages are told.
static constexpr std::chrono::milliseconds publishing_period{30};
// A wait holds the stage; nobody at a page waits longer than this.
static constexpr double longest_wait_ms = 10 * 60 * 1000.0;
// Beyond this much real time others get an answer; a step of a tenth of a second is over sooner.
static constexpr std::chrono::milliseconds long_wait{300};
// Whoever wants more than this of what has happened since a start makes a recording.
static constexpr size_t longest_history = 2000;

static std::string line_of(const Start &how) {
    return std::string("start ") + name_of(how.variant) + (how.bare ? " bare" : "");
}

PageController::PageController(Stage &stage, Pace &pace, EventHub &hub, std::function<bool()> end_wanted,
                               std::function<void()> meanwhile)
    : stage_(stage),
      pace_(pace),
      hub_(hub),
      fresh_box_(report_of(Box())),
      player_(stage, store_,
              {[this] { begin_anew(); }, [this](const Action &action) { carry_out(action); },
               [this](const ScenarioLine &line, int64_t before_us) { note_done(line.text, line.action, before_us); }}),
      end_wanted_(std::move(end_wanted)),
      meanwhile_(std::move(meanwhile)) {
    if (stage_.started()) {
        listener_.commands(stage_.bus()); // from here on it listens
        begin_history(line_of(stage_.start_made()));
    }
    stage_.set_watcher([this] { watch_wait(); });
}

PageController::~PageController() { stage_.set_watcher(nullptr); }

void PageController::turn() {
    try {
        if (trouble_.empty() && stage_.started()) {
            stage_.check_alive(); // also while time stands still
            if (stage_.bus().ended()) throw Error("the bus has ended");
            record_outside();
        }
        const int64_t due_ms = pace_.take_due_ms();
        if (!trouble_.empty()) {
            player_.fail(trouble_);
        } else if (player_.busy()) {
            turn_player(due_ms);
        } else if (stage_.started() && due_ms > 0) {
            player_.disturb("time went on");
            stage_.pass(due_ms);
        }
    } catch (const WaitFailed &) { // the end
    } catch (const Error &problem) {
        note_trouble(problem);
    }
    publish_changes();
}

static std::string as_comment(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < ' '; }, ' ');
    return "# " + text;
}

static std::string without_newline(std::string text) {
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
}

// The last lines of the log that say something.
static std::string last_lines(const std::vector<LogLine> &lines) {
    static constexpr size_t most = 8;
    std::string text;
    for (size_t i = lines.size() > most ? lines.size() - most : 0; i < lines.size(); i++) {
        text += "\n" + without_newline(lines[i].text);
    }
    return text.empty() ? "\nIt has logged nothing." : "\nIts last log lines:" + text;
}

// The first line names what has ended and how. What the bus takes along when it goes is no news of its own.
void PageController::note_trouble(const Error &problem) {
    const std::optional<int> bus = stage_.bus().ended();
    trouble_ = bus ? "The bus " + how_it_ended(*bus) + "; nothing reaches the display." : "";
    std::string further;
    for (View view : both_views) {
        Desk &ended = stage_.desk(view);
        if (bus || ended.alive()) continue;
        const std::string name = "The " + std::string(name_of(view)) + "'s daemon ";
        trouble_ += (trouble_.empty() ? "" : " ") + name + how_it_ended(ended.wait_for_exit()) + ".";
        further += last_lines(stage_.log(view));
    }
    if (trouble_.empty()) trouble_ = problem.what();
    player_.disturb("a daemon has ended");
    note(as_comment(trouble_.substr(0, trouble_.find('\n'))), stage_.now_us());
    trouble_ += further;
}

// While a line waits on the daemons' clock, the pages see the time fly.
void PageController::watch_wait() {
    if (end_wanted_()) throw WaitFailed("the simulator is ending");
    for (View view : both_views) publish_log(view); // at their moments
    publish_changes();
    record_outside();
    player_.look();
    if (waiting_.empty() || std::chrono::steady_clock::now() - waiting_since_ < long_wait) return;
    waits_long_ = true;
    meanwhile_();
    if (given_up_) throw WaitFailed("'" + waiting_ + "' was given up");
}

void PageController::refuse_while_waiting() const {
    if (waiting_.empty()) return;
    throw Error("'" + waiting_ + "' is still waiting; give it up first, or try again after it");
}

void PageController::refuse_while_playing() const {
    if (!player_.busy()) return;
    throw Error("the scenario '" + player_.scenario()->name + "' is playing; pause it first");
}

void PageController::refuse_while_recording() const {
    if (recorder_.running()) throw Error("a recording is running, and a scenario makes a fresh box; stop it first");
}

void PageController::give_up() {
    if (waiting_.empty()) throw Error("nothing waits");
    given_up_ = true;
}

/* ---- what comes from elsewhere ---- */

// What went over the bus by whomever: another program, a key in the terminal. Our own line is noted as it was written.
void PageController::record_commands(bool but_our_last) {
    std::vector<Overheard> heard = listener_.commands(stage_.bus());
    for (auto command = heard.rbegin(); but_our_last && command != heard.rend(); command++) {
        if (command->sender != stage_.bus().unique_name()) continue;
        heard.erase(std::next(command).base());
        break;
    }
    for (const Overheard &command : heard) {
        const std::string said =
            as_comment("Not in the display's vocabulary, from another program: " + command.command);
        note(command.line.empty() ? said : command.line, stage_.now_us());
        player_.disturb(command.command.substr(0, 80) + " was sent");
    }
}

// The box is looked at as often as the pages are told of it.
void PageController::record_outside() {
    if (stage_.bus().ended()) return;
    record_commands(false);
    const auto now = std::chrono::steady_clock::now();
    if (now - box_looked_at_ < publishing_period) return;
    box_looked_at_ = now;
    const BoxReport box = report_of(stage_.box());
    for (const std::string &line : lines_between(box_recorded_, box)) {
        note(line, stage_.now_us());
        player_.disturb("the box was changed: " + line);
    }
    box_recorded_ = box;
}

/* ---- what the pages ask for ---- */

static void refuse_what_a_page_cannot_do(const std::string &line, const Action &action) {
    const auto is_control = [](unsigned char c) { return c < ' ' && c != '\t'; };
    const bool control = std::any_of(line.begin(), line.end(), is_control);
    if (control) throw ScenarioError("one line at a time, without control characters");
    if (is(action, "expect")) {
        throw ScenarioError("'expect' compares with a file beside a scenario; a page has none");
    }
    if (is(action, "wait") && action.number > longest_wait_ms) throw ScenarioError("wait 10 minutes at most");
}

// Both belong to a recording; without one nothing would be kept.
static void refuse_what_a_recording_keeps(const Action &action, bool recording) {
    if (recording) return;
    if (is(action, "note")) throw Error("nothing is being recorded, so a note would be lost; begin a recording first");
    if (is(action, "picture")) {
        throw Error(
            "nothing is being recorded, so 'picture' has no place to put it; begin a recording first, or "
            "fetch /api/picture.png");
    }
}

void PageController::carry_out(const Action &action) {
    const bool starts = is(action, "start");
    waits_long_ = given_up_ = false;
    const bool needs_daemon = !starts && !action.command->prepares_box;
    if (needs_daemon && !trouble_.empty()) throw Error("the daemon has ended; start it again first");
    try {
        desk::perform(stage_, action);
        if (starts) trouble_.clear();
    } catch (const WaitFailed &) {
        throw;
    } catch (const Error &problem) {
        if (needs_daemon || starts) note_trouble(problem); // else it is the control's alone
        throw;
    }
}

void PageController::perform(const std::string &line) {
    const std::optional<Action> action = parse_action(line);
    if (!action) return;
    refuse_while_waiting();
    refuse_while_playing();
    refuse_what_a_page_cannot_do(line, *action);
    refuse_what_a_recording_keeps(*action, recorder_.running());
    // A recording must be playable: the second picture of one name is refused here and not only there.
    if (recorder_.running() && is(*action, "picture")) parse_scenario(recorder_.text() + line, "the recording");
    box_looked_at_ = {};
    record_outside();
    const int64_t before_us = stage_.now_us();
    const struct Waiting { // however it ends
        ~Waiting() { line.clear(); }
        std::string &line;
    } waiting{waiting_};
    if (is(*action, "wait")) waiting_ = line;
    waiting_since_ = std::chrono::steady_clock::now();
    carry_out(*action);
    waiting_.clear();
    if (!is(*action, "note") && !is(*action, "picture")) player_.disturb(line);
    note_done(line, *action, before_us);
    pace_.forget_lag();
    publish_now();
}

// Of a line that has been carried out, by a page or by the player.
void PageController::note_done(const std::string &line, const Action &action, int64_t before_us) {
    const bool starts = is(action, "start");
    if (is(action, "send")) record_commands(true);
    if (action.command->prepares_box || starts) box_recorded_ = report_of(stage_.box());
    if (starts) {
        listener_.commands(stage_.bus()); // it may be a new one
        publish_start();
    }
    recorder_.note(line, before_us, stage_.now_us());
    if (starts) {
        begin_history(line);
    } else if (!is(action, "picture") && !is(action, "expect")) {
        history_.note(line, before_us, stage_.now_us());
    }
    if (history_.lines() > longest_history) history_.end(stage_.now_us());
}

// What came from elsewhere, now.
void PageController::note(const std::string &line, int64_t now_us) {
    recorder_.note(line, now_us, now_us);
    history_.note(line, now_us, now_us);
    if (history_.lines() > longest_history) history_.end(now_us);
}

/* ---- what has happened since the start ---- */

// A start makes everything anew but the box.
void PageController::begin_history(const std::string &start) {
    std::vector<std::string> lines;
    box_recorded_ = report_of(stage_.box());
    if (!stage_.start_made().bare) lines = lines_between(fresh_box_, box_recorded_);
    lines.push_back(start);
    history_.begin(lines, stage_.now_us());
}

std::vector<RecordedLine> PageController::lines_to_here() {
    if (history_.lines() > longest_history) {
        throw Error("more than " + std::to_string(longest_history) + " things have happened since the start; " +
                    "restart, or make a recording");
    }
    box_looked_at_ = {};
    record_outside();
    Recorder up_to_now = history_;
    up_to_now.end(stage_.now_us());
    return up_to_now.recorded();
}

std::string PageController::exports() {
    return "export DBUS_SYSTEM_BUS_ADDRESS=" + stage_.bus().address() + " PATH=\"" + program_folders() + ":$PATH\"";
}

/* ---- scenarios ---- */

void PageController::load_scenario(ReadScenario scenario) {
    refuse_while_waiting();
    refuse_while_playing();
    player_.load(std::move(scenario));
    publish_now();
}

// A fresh box and nothing started, as every scenario begins.
void PageController::begin_anew() {
    stage_.begin_anew();
    trouble_.clear();
    listener_.commands(stage_.bus());
    box_recorded_ = report_of(stage_.box());
    history_.begin({}, 0);
    logged_.fill(0);
}

void PageController::play_scenario() {
    refuse_while_waiting();
    refuse_while_recording();
    player_.play();
    if (pace_.speed() == 0.0) pace_.set_speed(usual_speed_);
    held_ = false;
    then_ = Then::stand_still;
    publish_now();
}

void PageController::pause_scenario() {
    player_.pause();
    hold();
    publish_now();
}

void PageController::move_scenario(const std::function<void(ScenarioPlayer &)> &move, Then then) {
    refuse_while_waiting();
    refuse_while_recording();
    move(player_);
    then_ = then;
    publish_now();
}

std::vector<std::string> PageController::expect_this(int number) {
    const std::vector<std::string> written = player_.expect(number);
    publish_now();
    return written;
}

void PageController::hold() {
    held_ = held_ || pace_.speed() > 0.0;
    if (pace_.speed() > 0.0) usual_speed_ = pace_.speed();
    pace_.set_speed(0.0);
}

void PageController::turn_player(int64_t due_ms) {
    player_.turn(due_ms);
    if (player_.plays()) return;
    pace_.forget_lag(); // what went as fast as it could was not waiting
    if (player_.busy()) return;
    if (then_ == Then::stand_still) {
        hold();
    } else if (held_) {
        pace_.set_speed(usual_speed_);
        held_ = false;
    }
    publish_now(); // whoever waits for it gets what the pages are shown
}

// A recording begins with the box as it is and a fresh start, for only from there does everything repeat.
void PageController::begin_recording() {
    refuse_while_waiting();
    refuse_while_playing();
    const Start how = stage_.start_made();
    const std::string start = line_of(how);
    // A bare start empties the box anyway.
    std::vector<std::string> lines;
    if (!how.bare) lines = lines_between(fresh_box_, report_of(stage_.box()));
    recorder_.end(stage_.now_us());
    perform(start);
    lines.push_back(start);
    recorder_.begin(lines, stage_.now_us());
    listener_.commands(stage_.bus()); // what came before is not recorded
    box_recorded_ = report_of(stage_.box());
    publish_now();
}

void PageController::end_recording() {
    refuse_while_waiting();
    box_looked_at_ = {};
    record_outside();
    recorder_.end(stage_.now_us());
    publish_now();
}

void PageController::set_speed(const std::string &text) {
    char *end = nullptr;
    const double speed = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0') throw Error("'" + text + "' is no number");
    pace_.set_speed(speed);
    if (speed > 0.0) usual_speed_ = speed;
    held_ = false;
    publish_now();
}

/* ---- what the pages are told ---- */

Picture PageController::both_pictures() { return side_by_side(picture(View::layout), picture(View::device), ""); }

static json texts_json(const Picture &picture) {
    json texts = json::array();
    for (const TextOnPanel &line : texts_in(picture)) texts.push_back(line.text);
    return texts;
}

json PageController::texts() {
    json both = json::object();
    for (View view : both_views) both[name_of(view)] = texts_json(picture(view));
    return both;
}

json PageController::state() {
    json box = json::object();
    for (const auto &[command, word] : report_of(stage_.box())) box[command] = word ? json(*word) : json(nullptr);
    const Start how = stage_.start_made();
    return {
        {"variant", name_of(how.variant)},
        {"bare", how.bare},
        {"target", stage_.options().target == Target::armhf ? "armhf" : "native"},
        {"speed", pace_.speed()},
        {"trouble", trouble_},
        {"waiting", waits_long_ ? waiting_ : ""},
        {"box", box},
        {"recording", {{"running", recorder_.running()}, {"lines", recorder_.lines()}}},
        {"folder", stage_.box().folder()},
        {"bus", stage_.bus().address()},
    };
}

void PageController::publish_now() {
    published_ = {};
    publish_changes();
}

void PageController::publish_changes() {
    const auto now = std::chrono::steady_clock::now();
    if (now - published_ < publishing_period) return;
    published_ = now;
    for (View view : both_views) publish_picture(view);
    for (View view : both_views) publish_log(view);
    // Tenths of a second are enough to see it run.
    publish_if_new("time", std::to_string(stage_.now_us() / 100000), time_shown_);
    publish_if_new("state", one_line(state()), state_shown_);
    if (player_.moment() == player_shown_) return;
    player_shown_ = player_.moment();
    hub_.publish("player", one_line(player_.state()), Keep::newest);
}

// Rows from the top, pixels from the left, the first one in the highest bit; a row begins with a new byte.
static std::string packed_hex(const Picture &picture) {
    static const char *const digits = "0123456789abcdef";
    std::string text;
    for (int y = 0; y < picture.height(); y++) {
        for (int x = 0; x < (picture.width() + 7) / 8 * 8; x += 4) {
            int nibble = 0;
            for (int i = 0; i < 4; i++) nibble = nibble * 2 + (picture.at(x + i, y) ? 1 : 0);
            text += digits[nibble];
        }
    }
    return text;
}

void PageController::publish_picture(View view) {
    Picture &shown = shown_[static_cast<size_t>(view)];
    const Picture now = stage_.picture(view);
    if (now == shown) return;
    shown = now;
    const json picture = {
        {"view", name_of(view)}, {"width", now.width()}, {"height", now.height()}, {"rows", packed_hex(now)}};
    hub_.publish(std::string("picture-") + name_of(view), one_line(picture), Keep::newest);
    publish_texts(view, now);
}

// The activity icon, which moves ten times a second, is no text.
void PageController::publish_texts(View view, const Picture &now) {
    const auto index = static_cast<size_t>(view);
    const Picture without_icon = view == View::layout ? without_activity_icon(now) : now;
    if (without_icon == read_[index]) return;
    read_[index] = without_icon;
    publish_if_new(std::string("texts-") + name_of(view), one_line(texts_json(without_icon)), texts_shown_[index]);
}

// The log goes on; whoever reads it sees where the daemons began anew.
void PageController::publish_start() {
    const Start &how = stage_.start_made();
    logged_.fill(0);
    hub_.publish("log",
                 one_line({{"view", "both"},
                           {"seconds", 0},
                           {"error", false},
                           {"started", name_of(how.variant)},
                           {"text", std::string("Started: ") + name_of(how.variant) + (how.bare ? " bare" : "")}}),
                 Keep::history);
}

void PageController::publish_log(View view) {
    int &logged = logged_[static_cast<size_t>(view)];
    if (stage_.desk(view).log().count("") == logged) return;
    const std::vector<LogLine> lines = stage_.log(view);
    const int64_t now_ms = stage_.now_us() / 1000;
    for (; static_cast<size_t>(logged) < lines.size(); logged++) {
        const LogLine &line = lines[static_cast<size_t>(logged)];
        hub_.publish("log",
                     one_line({{"view", name_of(view)},
                               {"seconds", static_cast<double>(now_ms) / 1000.0},
                               {"error", line.priority <= LOG_ERR},
                               {"text", without_newline(line.text)}}),
                     Keep::history);
    }
}

void PageController::publish_if_new(const std::string &name, const std::string &data, std::string &shown) {
    if (data == shown) return;
    shown = data;
    hub_.publish(name, data, Keep::newest);
}

} // namespace desk
