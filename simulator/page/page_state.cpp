// The box's files read back into the language of the scenarios.
#include "simulator/page/page_state.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "simulator/scenario/scenario.h"
#include "client/vocabulary.h"

namespace desk {

using nlohmann::json;

static const char *const none = "none";

static std::string first_line(const Box &box, const std::string &path) {
    try {
        const std::string content = box.read(path);
        return content.substr(0, content.find('\n'));
    } catch (const Error &) { // the daemon's tools or a person may have removed it in between
        return "";
    }
}

static std::string file_or_none(const Box &box, const std::string &path) {
    return box.exists(path) ? first_line(box, path) : none;
}

static std::string text_or_none(const std::string &text) { return text.empty() ? none : text; }

// Three decimals are more than the display shows and fewer than a float's rounding.
static std::string short_number(double number) {
    char text[64];
    std::snprintf(text, sizeof(text), "%.3f", number);
    std::string digits = text;
    digits.erase(digits.find_last_not_of('0') + 1);
    if (digits.back() == '.') digits.pop_back();
    return digits;
}

// What the meter will make of the converter's two files.
static std::string supply(const Box &box) {
    if (!box.exists(converter_raw) || !box.exists(converter_scale)) return none;
    const double raw = std::strtod(first_line(box, converter_raw).c_str(), nullptr);
    const double scale = std::strtod(first_line(box, converter_scale).c_str(), nullptr);
    const double volts = meter_volts(raw * scale);
    return std::isfinite(volts) ? short_number(volts) : none;
}

static std::string bluetooth_name(const Box &box) {
    const std::string line = file_or_none(box, "/rodata/bluetooth_name");
    return line.substr(line.rfind('=') + 1); // the whole line when there is none
}

static const char *on_off(bool on) { return on ? "on" : "off"; }

static bool link_is_up(const Box &box) {
    static const std::string folder = "/sys/class/net/wlan0/";
    return first_line(box, folder + "link_mode") == "1" && first_line(box, folder + "operstate") == "up";
}

BoxReport report_of(const Box &box) {
    return {
        {"supply", supply(box)},
        {"jack", text_or_none(first_line(box, "/desk/state/jack"))},
        {"jack-ready", on_off(box.exists("/tmp/.app_rcv_command_ready"))},
        {"wifi", link_is_up(box) ? "up" : "down"},
        {"ssid", first_line(box, "/desk/state/ssid")},
        {"signal", text_or_none(first_line(box, "/desk/state/signal"))},
        {"noise", first_line(box, "/desk/state/noise")},
        {"serial", file_or_none(box, "/rodata/serial_number")},
        {"bluetooth", bluetooth_name(box)},
        {"warranty-lock", on_off(box.exists("/rodata/wlock"))},
        {"hotspot", on_off(!box.exists("/userdata/configs/no_ap"))},
        {"activity-alt", on_off(box.exists("/tmp/bada"))},
        {"firmware-type", file_or_none(box, "/tmp/fw_type_running")},
    };
}

static bool contains(const BoxReport &report, const std::pair<std::string, std::string> &wanted) {
    for (const auto &entry : report) {
        if (entry == wanted) return true;
    }
    return false;
}

// Texts that take the rest of a line stand there as they are.
static std::string as_argument(const std::string &command_name, const std::string &text) {
    for (const Command &command : scenario_commands()) {
        if (command_name == command.name && command.takes_rest) return text;
    }
    return quoted(text);
}

std::vector<std::string> lines_between(const BoxReport &before, const BoxReport &after) {
    std::vector<std::string> lines;
    for (const auto &entry : after) {
        if (contains(before, entry)) continue;
        lines.push_back(entry.first + " " + as_argument(entry.first, entry.second));
    }
    return lines;
}

static json argument_json(const client::Argument &argument) {
    return {{"name", argument.name}, {"type", std::string(1, argument.type)}};
}

static json word_json(const client::Word &word) {
    json arguments = json::array();
    for (const auto &argument : word.arguments) arguments.push_back(argument_json(argument));
    return {{"word", word.word}, {"meaning", word.meaning}, {"arguments", arguments}};
}

json vocabulary_json() {
    json groups = json::array();
    for (const std::string &group : client::vocabulary_groups()) {
        json words = json::array();
        for (const auto &word : client::vocabulary()) {
            if (word.group == group) words.push_back(word_json(word));
        }
        groups.push_back({{"group", group}, {"words", words}});
    }
    return groups;
}

json commands_json() {
    json commands = json::array();
    for (const Command &command : scenario_commands()) {
        commands.push_back({{"name", command.name},
                            {"arguments", command.arguments},
                            {"meaning", command.meaning},
                            {"takesRest", command.takes_rest}});
    }
    return commands;
}

std::string one_line(const json &value) { return value.dump(-1, ' ', false, json::error_handler_t::replace); }

} // namespace desk
