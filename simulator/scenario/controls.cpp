// The table of controls, and the ways into the box and out of it.
#include "simulator/scenario/controls.h"

#include <cstdio>

#include "simulator/desk/error.h"

namespace desk {

// A file that counts by being there.
static Access presence(const char *path, const std::string &there = "on", const std::string &gone = "off") {
    return {[=](Box &box, const std::string &word) { box.set_present(path, word == there); },
            [=](const Box &box) { return box.exists(path) ? there : gone; }};
}

// A file's first line; none is no file.
static Access line_or_none(const char *path) {
    return {
        [=](Box &box, const std::string &word) { word == none_word ? box.remove(path) : box.write(path, word + "\n"); },
        [=](const Box &box) { return box.exists(path) ? box.first_line(path) : none_word; }};
}

// The display takes what stands behind the last '='; the whole line when there is none.
static Access bluetooth_name() {
    const Access line = line_or_none(FILE_BLUETOOTH_NAME);
    return {[=](Box &box, const std::string &word) { line.set(box, word == none_word ? word : "name=" + word); },
            [=](const Box &box) {
                const std::string whole = line.get(box);
                return whole.substr(whole.rfind('=') + 1);
            }};
}

// Here an empty word is no file, too: an empty line would end a mode.
static Access firmware_type() {
    return {[](Box &box, const std::string &word) { box.set_firmware_type(word == none_word ? "" : word); },
            line_or_none(FILE_FW_TYPE_RUNNING).get};
}

// What a tool prints.
static Access tool_text(const char *state) {
    return {[=](Box &box, const std::string &word) { box.write(state, word + "\n"); },
            [=](const Box &box) { return box.first_line(state); }};
}

// A whole number that a tool prints; none is silence.
static Access tool_number(const char *state) {
    const auto set = [=](Box &box, const std::string &word) {
        if (word == none_word) return box.remove(state);
        box.write(state, std::to_string(static_cast<int>(std::stod(word))) + "\n");
    };
    const auto get = [=](const Box &box) {
        const std::string line = box.first_line(state);
        return line.empty() ? none_word : line;
    };
    return {set, get};
}

static void set_supply(Box &box, const std::string &word) {
    if (word == none_word) return box.remove_converter();
    box.set_supply_volts(std::stod(word));
}

// Three decimals are more than the display shows and fewer than a float's rounding.
static std::string supply(const Box &box) {
    const std::optional<double> volts = box.supply_volts();
    if (!volts) return none_word;
    char text[64];
    std::snprintf(text, sizeof(text), "%.3f", *volts);
    std::string digits = text;
    digits.erase(digits.find_last_not_of('0') + 1);
    if (digits.back() == '.') digits.pop_back();
    return digits;
}

static void set_link(Box &box, const std::string &word) { box.set_wifi_link(word == "up"); }
static std::string link(const Box &box) { return box.wifi_link() ? "up" : "down"; }

static std::string code(const char *path) { return std::string("`") + path + "`"; }

const std::vector<Control> &controls() {
    static const std::vector<Control> table = {
        {"supply",
         "The supply voltage that the converter measures; `none`: the converter is gone",
         "Supply",
         "Supply voltage",
         Measure{"VOLTS", 0, 1000, false, "V", "present", {0, 32, 0.1, 12.4}},
         {set_supply, supply}},
        {"jack", "What the vehicle interface answers for the jack; `none`: it does not answer", "Supply",
         "Jack voltage", Measure{"MILLIVOLTS", 0, 1000000, true, "mV", "answers", {0, 30000, 100, 12000}},
         tool_number(jack_state)},
        {"jack-ready", "Whether the vehicle interface takes questions (" + code(FLAG_VCI_READY) + ")", "Supply",
         "Jack ready", Switch{}, presence(FLAG_VCI_READY)},
        {"wifi", "The Wi-Fi station's link", "Wi-Fi station", "Link up", Switch{"up", "down"}, {set_link, link}},
        {"ssid", "The network that the station has joined; `\"\"` for none", "Wi-Fi station", "Network",
         Text{"NAME", false, 70, "not joined"}, tool_text(ssid_state)},
        {"signal", "The station's signal; `none`: the tool does not tell", "Wi-Fi station", "Signal",
         Measure{"DBM", -10000, 10000, true, "dBm", "known", {-100, -10, 1, -55}}, tool_number(signal_state)},
        {"noise", "What the noise tool prints, for the debug panel", "Wi-Fi station", "Noise", Text{"TEXT", false, 40},
         tool_text(noise_state)},
        {"serial", "The serial number; `none`: the file is gone", "Identity", "Serial number",
         Text{"TEXT", true, 60, "no file"}, line_or_none(FILE_SERIAL_NUMBER)},
        {"bluetooth", "The Bluetooth name; `none`: the file is gone", "Identity", "Bluetooth name",
         Text{"NAME", true, 60, "no file"}, bluetooth_name()},
        {"warranty-lock", "The warranty lock (" + code(FLAG_WARRANTY_LOCK) + ")", "Flags", "Warranty lock", Switch{},
         presence(FLAG_WARRANTY_LOCK)},
        {"hotspot", "Whether the box offers a hotspot; `off` makes " + code(FLAG_NO_AP), "Flags", "Hotspot allowed",
         Switch{}, presence(FLAG_NO_AP, "off", "on")},
        {"activity-alt", "The other set of activity pictures (" + code(FLAG_ACTIVITY_ALT) + ")", "Flags",
         "Other activity icon", Switch{}, presence(FLAG_ACTIVITY_ALT)},
        {"firmware-type",
         "The firmware that runs (" + code(FILE_FW_TYPE_RUNNING) +
             "): `FT_MAINAPP_J2534` brings PASSTHRU, which "
             "stays up until another mode comes; `none`: the file is gone",
         "Flags", "Firmware type", Text{"TEXT", true, 60, "no file", "FT_MAINAPP_J2534"}, firmware_type()},
    };
    return table;
}

std::string arguments_of(const Control &control) {
    if (const auto *either = std::get_if<Switch>(&control.kind)) return std::string(either->on) + "|" + either->off;
    if (const auto *measure = std::get_if<Measure>(&control.kind)) return std::string(measure->word) + "|" + none_word;
    const Text &text = std::get<Text>(control.kind);
    return text.takes_none ? std::string(text.word) + "|" + none_word : text.word;
}

BoxReport report_of(const Box &box) {
    BoxReport report;
    for (const Control &control : controls()) {
        std::optional<std::string> word;
        try {
            word = control.access.get(box);
        } catch (const Error &) { // somebody put there what is no file
        }
        report.emplace_back(control.name, word);
    }
    return report;
}

} // namespace desk
