// The table of the scenario language: what each command takes and what it does on the stage.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <map>

#include "simulator/scenario/scenario.h"
#include "simulator/scenario/stage.h"
#include "client/did_you_mean.h"
#include "client/message.h"

namespace desk {

/* ---- what a command takes ---- */

[[noreturn]] static void expected(const Action &action) {
    const std::string name = action.command->name;
    const std::string arguments = action.command->arguments;
    std::string given = action.words.empty() ? "nothing" : "";
    for (const std::string &word : action.words) given += (given.empty() ? "" : " ") + quoted(word);
    throw ScenarioError("'" + name + "' takes " + (arguments.empty() ? "nothing" : arguments) + ", not " +
                        given);
}

static const std::string &only_word(const Action &action) {
    if (action.words.size() != 1) expected(action);
    return action.words[0];
}

static double number_within(const Action &action, double lowest, double highest) {
    const std::string &word = only_word(action);
    double number = 0.0;
    const auto [stopped, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc() || stopped != word.data() + word.size() || !std::isfinite(number)) {
        expected(action);
    }
    if (number < lowest || number > highest) {
        char limits[80];
        std::snprintf(limits, sizeof(limits), "%g to %g", lowest, highest);
        throw ScenarioError("'" + std::string(action.command->name) + " " + word +
                            "' is out of range: " + limits);
    }
    return number;
}

static void take_number_or_none(Action &action, double lowest, double highest) {
    action.none = only_word(action) == "none";
    if (!action.none) action.number = number_within(action, lowest, highest);
}

static void take_whole_or_none(Action &action, double lowest, double highest) {
    take_number_or_none(action, lowest, highest);
    if (action.number != std::floor(action.number)) expected(action);
}

static void take_volts(Action &action) { take_number_or_none(action, 0, 1000); }
static void take_millivolts(Action &action) { take_whole_or_none(action, 0, 1000000); }
static void take_dbm(Action &action) { take_whole_or_none(action, -10000, 10000); }
static void take_text(Action &action) { action.text = only_word(action); }

static void take_text_or_none(Action &action) {
    take_text(action);
    action.none = action.text == "none";
}

static void take_on_off(Action &action) {
    const std::string &word = only_word(action);
    if (word != "on" && word != "off") expected(action);
    action.on = word == "on";
}

static void take_up_down(Action &action) {
    const std::string &word = only_word(action);
    if (word != "up" && word != "down") expected(action);
    action.on = word == "up";
}

static void take_start(Action &action) {
    size_t place = 0;
    if (place < action.words.size() && action.words[place] != "bare") action.text = action.words[place++];
    if (place < action.words.size() && action.words[place] == "bare") {
        action.on = true;
        place++;
    }
    const bool known = action.text.empty() || action.text == "normal" || action.text == "debug" ||
                       action.text == "production";
    if (!known || place != action.words.size()) expected(action);
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

static void wait(Stage &stage, const Action &action) {
    const std::string &kind = action.words[0];
    if (kind == "log") return stage.wait_for_log(action.text);
    if (kind == "mode") return stage.wait_for_mode(action.text);
    if (kind == "settled") return stage.wait_until_settled();
    stage.pass(static_cast<int64_t>(action.number));
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

/* ---- doing it ---- */

static void start(Stage &stage, const Action &action) {
    Start how;
    if (action.text == "debug") how.variant = Start::Variant::debug;
    if (action.text == "production") how.variant = Start::Variant::production;
    how.bare = action.on;
    stage.start(how);
}

static void send(Stage &stage, const Action &action) { stage.send(action.text, action.arguments); }

static int whole(const Action &action) { return static_cast<int>(action.number); }

static void set_supply(Stage &stage, const Action &action) {
    if (action.none) return stage.box().remove_converter();
    stage.box().set_supply_volts(action.number);
}

static void set_jack(Stage &stage, const Action &action) {
    if (action.none) return stage.box().remove("/desk/state/jack");
    stage.box().set_jack_millivolts(whole(action));
}

static void set_signal(Stage &stage, const Action &action) {
    stage.box().set_signal_text(action.none ? "" : std::to_string(whole(action)));
}

static void set_serial(Stage &stage, const Action &action) {
    if (action.none) return stage.box().remove("/rodata/serial_number");
    stage.box().set_serial(action.text);
}

static void set_bluetooth(Stage &stage, const Action &action) {
    if (action.none) return stage.box().remove("/rodata/bluetooth_name");
    stage.box().set_bluetooth_name(action.text);
}

static void set_firmware_type(Stage &stage, const Action &action) {
    stage.box().set_firmware_type(action.none ? "" : action.text);
}

static void set_jack_ready(Stage &stage, const Action &action) { stage.box().set_jack_ready(action.on); }
static void set_wifi(Stage &stage, const Action &action) { stage.box().set_wifi_link(action.on); }
static void set_ssid(Stage &stage, const Action &action) { stage.box().set_ssid(action.text); }
static void set_noise(Stage &stage, const Action &action) { stage.box().set_noise(action.text); }
static void set_warranty_lock(Stage &stage, const Action &action) {
    stage.box().set_warranty_lock(action.on);
}
static void set_hotspot(Stage &stage, const Action &action) { stage.box().set_hotspot_off(!action.on); }
static void set_activity_alt(Stage &stage, const Action &action) {
    stage.box().set_alternative_icon(action.on);
}

static const Command command_table[] = {
    {"start", "[normal|debug|production] [bare]",
     "Start the daemons, or start them again, as that variant; 'bare' with a box that has no files and "
     "no tools",
     false, false, take_start, start},
    {"send", "WORD [ARGUMENTS...]",
     "Send a display command over the bus, its arguments in quotes if they have blanks", false, false,
     take_command, send},
    {"supply", "VOLTS|none",
     "The supply voltage that the converter measures; none: the converter is gone", true, false,
     take_volts, set_supply},
    {"jack", "MILLIVOLTS|none",
     "What the vehicle interface answers for the jack; none: it does not answer", true, false,
     take_millivolts, set_jack},
    {"jack-ready", "on|off",
     "Whether the vehicle interface takes questions (/tmp/.app_rcv_command_ready)", true, false,
     take_on_off, set_jack_ready},
    {"wifi", "up|down", "The Wi-Fi station's link", true, false, take_up_down, set_wifi},
    {"ssid", "NAME", "The network that the station has joined; \"\" for none", true, false, take_text,
     set_ssid},
    {"signal", "DBM|none", "The station's signal; none: the tool does not tell", true, false, take_dbm,
     set_signal},
    {"noise", "TEXT", "What the noise tool prints, for the debug panel", true, false, take_text,
     set_noise},
    {"serial", "TEXT|none", "The serial number; none: the file is gone", true, false, take_text_or_none,
     set_serial},
    {"bluetooth", "NAME|none", "The Bluetooth name; none: the file is gone", true, false,
     take_text_or_none, set_bluetooth},
    {"warranty-lock", "on|off", "The warranty lock (/rodata/wlock)", true, false, take_on_off,
     set_warranty_lock},
    {"hotspot", "on|off", "Whether the box offers a hotspot; off makes /userdata/configs/no_ap", true,
     false, take_on_off, set_hotspot},
    {"activity-alt", "on|off", "The other set of activity pictures (/tmp/bada)", true, false, take_on_off,
     set_activity_alt},
    {"firmware-type", "TEXT|none",
     "The firmware that runs (/tmp/fw_type_running): FT_MAINAPP_J2534 brings PASSTHRU, which stays up until "
     "another mode comes; none: the file is gone",
     true, false, take_text_or_none, set_firmware_type},
    {"wait", "TIME | log TEXT | mode TEXT | settled",
     "Let the daemons' time pass, or wait (10 s of it at most) for a log line, the mode row's text or a "
     "still picture",
     false, true, take_wait, wait},
    {"picture", "NAME", "Take a picture of both panels under that name", false, false, take_picture_name,
     nullptr},
    {"expect", "NAME|FILE",
     "Compare both panels with the pictures NAME-device.pbm and NAME-layout.pbm beside the scenario, or one "
     "panel with one of these files",
     false, false, take_expected_file, nullptr},
    {"note", "[TEXT]", "A caption for what follows, in the film and the report", true, true, take_note,
     nullptr},
};

const std::vector<Command> &scenario_commands() {
    static const std::vector<Command> commands(std::begin(command_table), std::end(command_table));
    return commands;
}

} // namespace desk
