// The commands of the scenario language: what each takes and what it does on the stage.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>

#include "simulator/scenario/controls.h"
#include "simulator/scenario/scenario.h"
#include "simulator/scenario/stage.h"
#include "client/did_you_mean.h"
#include "client/message.h"

namespace desk {

/* ---- what a command takes ---- */

[[noreturn]] static void expected(const Action &action) {
    std::string given = action.words.empty() ? "nothing" : "";
    for (const std::string &word : action.words) given += (given.empty() ? "" : " ") + quoted(word);
    throw ScenarioError("'" + action.command->name + "' takes " + action.command->arguments + ", not " + given);
}

static const std::string &only_word(const Action &action) {
    if (action.words.size() != 1) expected(action);
    return action.words[0];
}

static void take_text(Action &action) { action.text = only_word(action); }

static void check(const Action &action, const Switch &either) {
    if (action.text != either.on && action.text != either.off) expected(action);
}

static void check(const Action &action, const Measure &measure) {
    const std::string &word = action.text;
    if (word == none_word) return;
    double number = 0.0;
    const auto [stopped, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc() || stopped != word.data() + word.size() || !std::isfinite(number)) expected(action);
    if (number < measure.lowest || number > measure.highest) {
        char limits[80];
        std::snprintf(limits, sizeof(limits), "%g to %g", measure.lowest, measure.highest);
        throw ScenarioError("'" + action.command->name + " " + word + "' is out of range: " + limits);
    }
    if (measure.whole && number != std::floor(number)) expected(action);
}

static void check(const Action &, const Text &) {}

static void take_start(Action &action) {
    std::vector<std::string> words = action.words;
    action.start.bare = !words.empty() && words.back() == "bare";
    if (action.start.bare) words.pop_back();
    const std::string wanted = words.empty() ? "" : words[0];
    bool known = wanted.empty();
    for (Start::Variant variant : all_variants) {
        if (wanted != name_of(variant)) continue;
        action.start.variant = variant;
        known = true;
    }
    if (!known || words.size() > 1) expected(action);
}

static std::string unknown_word(const std::string &word) {
    const std::vector<std::string> likely = client::likely_words(word);
    return "'" + word + "' is no display command; " +
           (likely.empty() ? "'displayctl words' lists them" : "did you mean " + client::one_of(likely) + "?");
}

static void take_command(Action &action) {
    if (action.words.empty()) expected(action);
    action.text = action.words[0];
    if (client::acting_word(action.text) == nullptr) throw ScenarioError(unknown_word(action.text));
    const size_t given = action.words.size() - 1;
    // The display copes with missing arguments, so a scenario may leave the last ones out.
    std::vector<std::string> arguments(action.words.begin() + 1, action.words.end());
    arguments.resize(std::max(given, client::acting_word(action.text)->arguments.size()), "0");
    try {
        action.arguments = client::checked_message(action.text, arguments).arguments;
    } catch (const client::UsageError &problem) {
        throw ScenarioError(problem.what());
    }
    action.arguments.resize(given);
}

/* ---- waiting ---- */

// "500ms", "2s", "1.5s", "5m" or "5min", "1h".
static bool take_duration(const std::string &word, double &milliseconds) {
    static const std::map<std::string, double> units = {
        {"ms", 1.0}, {"s", 1e3}, {"m", 60e3}, {"min", 60e3}, {"h", 3600e3}};
    double number = 0.0;
    const auto [stopped, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    const auto unit = units.find(std::string(stopped, word.data() + word.size()));
    if (error != std::errc() || unit == units.end()) return false;
    milliseconds = number * unit->second;
    return milliseconds >= 1.0 && milliseconds <= static_cast<double>(longest_pause_ms);
}

static void take_wait(Action &action) {
    const std::string rest = only_word(action);
    const size_t blank = std::min(rest.find_first_of(" \t"), rest.size());
    const std::string kind = rest.substr(0, blank);
    const size_t text = rest.find_first_not_of(" \t", blank);
    action.words = {kind};
    if (text != std::string::npos) action.words.push_back(rest.substr(text));
    const bool for_text = kind == "log" || kind == "mode";
    if (action.words.size() != (for_text ? 2u : 1u)) expected(action);
    if (for_text) {
        action.text = action.words[1];
    } else if (kind != "settled" && !take_duration(kind, action.number)) {
        throw ScenarioError("'wait " + kind +
                            "': it waits for a time such as 500ms, 2s or 5m (1ms to 24h), for "
                            "'log TEXT', 'mode TEXT' or 'settled'");
    }
}

Wait begin_wait(Stage &stage, const Action &action) {
    const std::string &kind = action.words[0];
    if (kind == "log") return stage.wait_for_log(action.text);
    if (kind == "mode") return stage.wait_for_mode(action.text);
    if (kind == "settled") return stage.wait_until_settled();
    return {nullptr, nullptr, watch_step_ms, static_cast<int64_t>(action.number)};
}

// Nobody's turn comes in between, so a time passes in one go.
static void wait(Stage &stage, const Action &action) {
    Wait wait = begin_wait(stage, action);
    if (!wait.met) return stage.pass(wait.left_ms);
    while (!stage.go_on(wait)) {
    }
}

/* ---- the player's ---- */

static bool is_picture_name(const std::string &text) {
    static const char *const allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_";
    return !text.empty() && text.find_first_not_of(allowed) == std::string::npos;
}

static void take_picture_name(Action &action) {
    take_text(action);
    if (is_picture_name(action.text)) return;
    throw ScenarioError("a picture's name is made of letters, digits, '-' and '_', not " + quoted(action.text));
}

static bool ends_with(const std::string &text, const std::string &end) {
    return text.size() > end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// A name of both panels' pictures may have folders before it, as a file's has.
static void take_expected_file(Action &action) {
    take_text(action);
    if (ends_with(action.text, "-device.pbm") || ends_with(action.text, "-layout.pbm")) return;
    if (is_picture_name(action.text.substr(action.text.rfind('/') + 1))) return;
    throw ScenarioError("'expect' takes a NAME, or a file NAME-device.pbm or NAME-layout.pbm, not " +
                        quoted(action.text));
}

static void take_note(Action &action) { action.text = action.words.empty() ? "" : action.words[0]; }

/* ---- the table ---- */

static void start(Stage &stage, const Action &action) { stage.start(action.start); }
static void send(Stage &stage, const Action &action) { stage.send(action.text, action.arguments); }

static Command command_of(const Control &control) {
    return {control.name,
            arguments_of(control),
            control.meaning,
            true,
            false,
            [&control](Action &action) {
                take_text(action);
                std::visit([&action](const auto &kind) { check(action, kind); }, control.kind);
            },
            [&control](Stage &stage, const Action &action) { control.access.set(stage.box(), action.text); }};
}

static std::vector<Command> make_commands() {
    std::vector<Command> commands = {
        {"start", "[normal|debug|production] [bare]",
         "Start the daemons, or start them again, as that variant; 'bare' with a box that has no files and "
         "no tools",
         false, false, take_start, start},
        {"send", "WORD [ARGUMENTS...]",
         "Send a display command over the bus, its arguments in quotes if they have blanks", false, false, take_command,
         send},
    };
    for (const Control &control : controls()) commands.push_back(command_of(control));
    const std::vector<Command> further = {
        {"wait", "TIME | log TEXT | mode TEXT | settled",
         "Let the daemons' time pass, or wait (10 s of it at most) for a log line, the mode row's text or a "
         "still picture",
         false, true, take_wait, wait},
        {"picture", "NAME", "Take a picture of both panels under that name", false, false, take_picture_name, nullptr},
        {"expect", "NAME|FILE",
         "Compare both panels with the pictures NAME-device.pbm and NAME-layout.pbm beside the scenario, or one "
         "panel with one of these files",
         false, false, take_expected_file, nullptr},
        {"note", "[TEXT]", "A caption for what follows, in the film and the report", true, true, take_note, nullptr},
    };
    commands.insert(commands.end(), further.begin(), further.end());
    return commands;
}

const std::vector<Command> &scenario_commands() {
    static const std::vector<Command> commands = make_commands();
    return commands;
}

} // namespace desk
