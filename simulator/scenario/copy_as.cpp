// Lines of the scenario language in other people's words.
#include "simulator/scenario/copy_as.h"

#include <algorithm>
#include <cstdio>
#include <optional>

#include "app/signal_names.h"
#include "simulator/scenario/scenario.h"

namespace desk {

// The page takes no longer wait at once.
static constexpr int64_t longest_wait_ms = 10 * 60 * 1000;

const char *name_of(CopyForm form) {
    static const char *const names[] = {"scenario", "curl", "dbus-send", "displayctl"};
    return names[static_cast<size_t>(form)];
}

static std::string in_shell(const std::string &word) {
    static const char *const plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-.,:/=+@%";
    if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) return word;
    std::string text = "'";
    for (char letter : word) text += letter == '\'' ? std::string("'\\''") : std::string(1, letter);
    return text + "'";
}

/* ---- commands on the bus ---- */

static std::string with_dbus_send(const Action &action) {
    std::string line = std::string("dbus-send --system --type=signal ") + SIGNAL_PATH + " " + SIGNAL_INTERFACE + "." +
                       SIGNAL_MEMBER + " " + in_shell("string:" + action.text);
    for (const Argument &argument : action.arguments) {
        const auto *number = std::get_if<int32_t>(&argument);
        line += " " + (number != nullptr ? "int32:" + std::to_string(*number)
                                         : in_shell("string:" + std::get<std::string>(argument)));
    }
    return line;
}

static std::string with_displayctl(const Action &action) {
    // Without its last arguments it is sent by force alone, which wants their types.
    const client::Word *const word = client::acting_word(action.text);
    const bool force = word == nullptr || action.arguments.size() < word->arguments.size();
    std::string words;
    bool option = false;
    for (const Argument &argument : action.arguments) {
        const auto *number = std::get_if<int32_t>(&argument);
        std::string text = number != nullptr ? std::to_string(*number) : std::get<std::string>(argument);
        if (force) text = (number != nullptr ? "i:" : "s:") + text;
        option = option || text[0] == '-';
        words += " " + in_shell(text);
    }
    return std::string("displayctl send ") + (force ? "--force " : "") + (option ? "-- " : "") + in_shell(action.text) +
           words;
}

static std::string on_the_bus(CopyForm form, const Action &action) {
    return form == CopyForm::dbus_send ? with_dbus_send(action) : with_displayctl(action);
}

static std::string seconds_text(int64_t us) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f", static_cast<double>(us) / 1e6);
    std::string short_text = text;
    short_text.erase(short_text.find_last_not_of('0') + 1);
    if (short_text.back() == '.') short_text.pop_back();
    return short_text;
}

static std::string all_on_the_bus(CopyForm form, const std::vector<RecordedLine> &lines, const CopyPlace &place) {
    std::string text = place.exports.empty() ? "" : place.exports + "\n";
    int64_t told_us = 0; // up to here the pauses account for the time
    for (const RecordedLine &line : lines) {
        const std::optional<Action> action = parse_action(line.text);
        if (action && is(*action, "wait")) continue;
        if (!action || !is(*action, "send")) {
            text += (action ? "# " : "") + line.text + "\n";
            told_us = line.end_us;
            continue;
        }
        if (line.end_us > told_us) text += "sleep " + seconds_text(line.end_us - told_us) + "\n";
        told_us = line.end_us;
        text += on_the_bus(form, *action) + "\n";
    }
    return text;
}

/* ---- scenario and curl ---- */

static std::string as_scenario(const std::vector<RecordedLine> &lines) {
    std::string text =
        "# From a fresh box to a state shown on the simulator's page. Play it with: display-sim play FILE\n";
    for (const RecordedLine &line : lines) text += line.text + "\n";
    return text + "picture here\n";
}

static std::string with_curl(const std::string &line, const char *path = "do") {
    return "curl -sf --data " + in_shell(line) + " $PAGE/api/" + path + "\n";
}

static std::string page_line(const CopyPlace &place) {
    std::string address = place.page;
    if (!address.empty() && address.back() == '/') address.pop_back();
    return "PAGE=" + address + "\n";
}

// Another start than the one before makes a new box; a time that stands still moves by the waits alone.
static std::string all_with_curl(const std::vector<RecordedLine> &lines, const CopyPlace &place) {
    std::string text = page_line(place) + with_curl("0", "speed") + with_curl("start normal bare") + with_curl("start");
    for (const RecordedLine &line : lines) {
        const std::optional<Action> action = parse_action(line.text);
        if (!action) {
            text += line.text + "\n";
        } else if (is(*action, "wait") && action->number > static_cast<double>(longest_wait_ms)) {
            for (auto left = static_cast<int64_t>(action->number); left > 0; left -= longest_wait_ms) {
                text += with_curl("wait " + std::to_string(std::min(left, longest_wait_ms)) + "ms");
            }
        } else if (!is(*action, "note")) {
            text += with_curl(line.text);
        }
    }
    return text;
}

std::string copied_as(CopyForm form, const std::vector<RecordedLine> &lines, const CopyPlace &place) {
    if (form == CopyForm::scenario) return as_scenario(lines);
    return form == CopyForm::curl ? all_with_curl(lines, place) : all_on_the_bus(form, lines, place);
}

std::string last_copied_as(CopyForm form, const std::vector<RecordedLine> &lines, const CopyPlace &place) {
    const auto is_command = [](const RecordedLine &line) {
        const std::optional<Action> action = parse_action(line.text);
        return action && is(*action, "send");
    };
    const auto last = std::find_if(lines.rbegin(), lines.rend(), is_command);
    if (last == lines.rend()) return "";
    if (form == CopyForm::scenario) return last->text + "\n";
    if (form == CopyForm::curl) return page_line(place) + with_curl(last->text);
    return (place.exports.empty() ? "" : place.exports + "\n") + on_the_bus(form, *parse_action(last->text)) + "\n";
}

} // namespace desk
