#include "sequence.h"

#include <math.h>

#include <algorithm>
#include <random>

#include "component/model.h"
#include "component/voltage_model.h"

namespace {

// ---- The box: paths and command lines as the services and the kernel have them

const std::string link_mode = "/sys/class/net/wlan0/link_mode";
const std::string operstate = "/sys/class/net/wlan0/operstate";
const std::string iio_raw = "/sys/bus/iio/devices/iio:device0/in_voltage0_raw";
const std::string iio_scale = "/sys/bus/iio/devices/iio:device0/in_voltage_scale";
const std::string fw_type_running = "/tmp/fw_type_running";
const std::string jack_tool = "/usr/local/bin/vcicp vjack";
const std::string signal_tool = "iw dev wlan0 link|grep signal|awk '{print $2}'";
const std::string ssid_tool = "iw wlan0 info|grep ssid|awk '{$1=\"\"; print substr($0,2)}'";
const std::string noise_tool = "wl noise";

// A control of the scenario language that is a flag file; `there` is the setting that makes the file.
struct FlagFile {
    std::string path, there;
};
const std::map<std::string, FlagFile> flag_files = {
    {"jack-ready", {"/tmp/.app_rcv_command_ready", "on"}},
    {"warranty-lock", {"/rodata/wlock", "on"}},
    {"hotspot", {"/userdata/configs/no_ap", "off"}},
    {"activity-alt", {"/tmp/bada", "on"}},
};
// A control that is the first line of a file, and what stands before it there.
struct LineFile {
    std::string path, before;
};
const std::map<std::string, LineFile> line_files = {
    {"serial", {"/rodata/serial_number", ""}},
    {"bluetooth", {"/rodata/bluetooth_name", "name="}},
    {"firmware-type", {fw_type_running, ""}},
};
// A control that is what a tool prints. Without a value it prints nothing.
const std::map<std::string, std::string> tool_controls = {
    {"jack", jack_tool}, {"signal", signal_tool}, {"ssid", ssid_tool}, {"noise", noise_tool}};

// The converter's count at a scale of 1 for which the meter reads these volts.
std::string raw_of(const std::string &volts) {
    static std::map<std::string, std::string> known;
    std::string &raw = known[volts];
    if (raw.empty()) raw = digits(nextafterf(raw_below(std::stof(volts)), INFINITY));
    return raw;
}

void set_file(BoxContent &box, const std::string &path, const std::optional<std::string> &bytes) {
    if (bytes)
        box.files[path] = *bytes;
    else
        box.files.erase(path);
}

void set_control(BoxContent &box, const std::string &name, const std::string &value) {
    using Bytes = std::optional<std::string>;
    const bool none = value == "none";
    if (flag_files.count(name) != 0) {
        const FlagFile &flag = flag_files.at(name);
        return set_file(box, flag.path, value == flag.there ? Bytes("") : std::nullopt);
    }
    if (line_files.count(name) != 0) {
        const LineFile &line = line_files.at(name);
        return set_file(box, line.path, none ? std::nullopt : Bytes(line.before + value + "\n"));
    }
    if (tool_controls.count(name) != 0) {
        box.tools[tool_controls.at(name)] = none || value.empty() ? "" : value + "\n";
    } else if (name == "supply") {
        set_file(box, iio_raw, none ? std::nullopt : Bytes(raw_of(value) + "\n"));
        set_file(box, iio_scale, none ? std::nullopt : Bytes("1.0\n"));
    } else { // wifi
        box.files[link_mode] = value == "up" ? "1\n" : "0\n";
        box.files[operstate] = value == "up" ? "up\n" : "down\n";
    }
}

// ---- Chance

// The distributions of the standard library differ from one to the next; a number must bring back its sequence.
class Chance {
public:
    explicit Chance(uint64_t number) : engine(number) {}
    int below(int limit) { return static_cast<int>(engine() % static_cast<uint64_t>(limit)); }
    bool percent(int share) { return below(100) < share; }
    template <typename T>
    const T &of(const std::vector<T> &all) {
        return all[static_cast<size_t>(below(static_cast<int>(all.size())))];
    }

private:
    std::mt19937_64 engine;
};

const std::string long_text =
    "A text of more bytes than a label's buffer has, for it must be cut somewhere: 1234567890 "
    "abcdefghijklmnopqrstuvwxyz ABCDEFGHIJKLMNOPQRSTUVWXYZ";

Step box_step(const std::string &control, const std::string &value) { return {Step::box, control, value, {}, 0}; }

Step signal_step(Chance &chance) { return box_step("signal", std::to_string(-15 - chance.below(85))); }

Step wait_step(Chance &chance) {
    static const std::vector<uint32_t> times = {1, 5, 10, 11, 50, 90, 100, 101, 499, 500, 501, 999, 1000, 1500, 2000};
    const uint32_t ms = chance.percent(50) ? chance.of(times) : static_cast<uint32_t>(1 + chance.below(700));
    return {Step::elapse, "", {}, {}, chance.percent(4) ? ms + 4000 : ms};
}

Step box_change(Chance &chance) {
    static const std::vector<std::vector<std::string>> controls = {
        {"supply", "none", "0", "5.9", "6", "6.1", "9.5", "11.9", "12", "12.4", "12.7", "13", "24", "99.9"},
        {"supply", "12.4", "12", "13", "14.2", "5"},
        {"jack", "none", "0", "5000", "5800", "11800", "12000", "24100", "98800", "150000"},
        {"jack-ready", "on", "on", "off"},
        {"wifi", "up", "up", "down"},
        {"wifi", "up"},
        {"ssid", "", "HomeNet", "Workshop 5 GHz", "ABCDEFGHIJK", "ABCDEFGHIJKL", "caf\xC3\xA9@home"},
        {"signal", "none", "-30", "-55", "-56", "-71", "-84", "-90", "-95", "-1001", "0", "5"},
        {"noise", "-92", "-101", "", "no noise at all today"},
        {"serial", "none", "QB418T-000815", "1", "a serial number that is too long for its row"},
        {"bluetooth", "none", "QB418T-BT", "a=b"},
        {"warranty-lock", "on", "on", "off"},
        {"hotspot", "on", "off"},
        {"activity-alt", "on", "off"},
        {"firmware-type", "none", "FT_MAINAPP_J2534", "FT_BOOT", "FT_MAINAPP_J2534 "},
    };
    const std::vector<std::string> &control = chance.of(controls);
    if (control[0] == "signal" && chance.percent(60)) return signal_step(chance);
    const int setting = 1 + chance.below(static_cast<int>(control.size()) - 1);
    return box_step(control[0], control[static_cast<size_t>(setting)]);
}

Step odd_change(Chance &chance) {
    struct Odd {
        Step::Kind kind;
        std::string word;
        std::optional<std::string> value;
    };
    static const std::vector<Odd> all = {
        {Step::file, iio_raw, "1000"},
        {Step::file, iio_raw, ""},
        {Step::file, iio_raw, "nan"},
        {Step::file, iio_raw, "  950 1\n"},
        {Step::file, iio_raw, {}},
        {Step::file, iio_scale, "0.5\n"},
        {Step::file, iio_scale, "1e30"},
        {Step::file, iio_scale, "scale"},
        {Step::file, iio_scale, {}},
        {Step::file, link_mode, {}},
        {Step::file, link_mode, "1 0"},
        {Step::file, operstate, {}},
        {Step::file, operstate, "dormant\n"},
        {Step::file, operstate, "down\n"},
        {Step::file, fw_type_running, "FT_MAINAPP_J2534"},
        {Step::file, fw_type_running, "FT_MAINAPP_J2534\nFT_BOOT\n"},
        {Step::file, fw_type_running, ""},
        {Step::file, fw_type_running, "\n"},
        {Step::file, "/rodata/serial_number", ""},
        {Step::file, "/rodata/serial_number", "first\nsecond\n"},
        {Step::file, "/rodata/bluetooth_name", "BOX-12"},
        {Step::tool, ssid_tool, {}},
        {Step::tool, ssid_tool, "first\nsecond\n"},
        {Step::tool, ssid_tool, long_text + "\n"},
        {Step::tool, signal_tool, {}},
        {Step::tool, signal_tool, "-40\n-60\n"},
        {Step::tool, signal_tool, "signal"},
        {Step::tool, noise_tool, {}},
        {Step::tool, jack_tool, {}},
        {Step::tool, jack_tool, "12345"},
        {Step::tool, jack_tool, "99000\n7000\n"},
        {Step::tool, jack_tool, "mV"},
    };
    const Odd &odd = chance.of(all);
    return {odd.kind, odd.word, odd.value, {}, 0};
}

// ---- Commands

bool may_stay_for_good(const std::string &word) {
    return word == "USB_update" || word == "USB_done" || word == "M4_update";
}

Argument any_type(Chance &chance) {
    return Argument::of_signature(ARGUMENT_SIGNATURES[chance.below(ARGUMENT_SIGNATURE_COUNT)]);
}

std::vector<Argument> arguments_for(Chance &chance, const std::string &word) {
    static const std::vector<std::string> codes = {"E42", "WIFI01", "WIFI",   "CWIFI", "CWIFI01",         "CWIFI1",
                                                   "WIF", "",       "P-0420", "A\nB",  "caf\xC3\xA9 '@'", long_text};
    static const std::vector<int32_t> seconds = {2,  3,     5,     10,    60,    120,       0,        1,
                                                 -1, 32767, 40000, 65536, 65541, INT32_MAX, INT32_MIN};
    static const std::vector<std::string> types = {"FT_MAIN", "FT_MAINAPP_J2534", "", "boot 1.2", long_text};
    std::vector<Argument> arguments;
    if (word == "Error_Code") arguments.emplace_back(chance.of(codes));
    if (word == "cd_update") {
        arguments.emplace_back(chance.of(seconds));
        arguments.emplace_back(chance.of(types));
    }
    if (chance.percent(5) && !arguments.empty()) arguments.pop_back();
    if (chance.percent(5) && !arguments.empty()) {
        arguments[static_cast<size_t>(chance.below(static_cast<int>(arguments.size())))] = any_type(chance);
    }
    if (chance.percent(3)) arguments.insert(arguments.begin(), any_type(chance));
    if (chance.percent(3)) arguments.push_back(any_type(chance));
    return arguments;
}

std::string spelled(Chance &chance, std::string word) {
    const int choice = chance.below(100);
    if (choice < 5) return word + (choice < 3 ? "_more" : " ");
    if (choice == 5) word.pop_back();
    if (choice == 6) word[0] = static_cast<char>(word[0] ^ 0x20);
    if (choice == 7) return "";
    return word;
}

Step command_step(Chance &chance, int &left_for_good) {
    static const std::vector<std::string> often = {"p_off", "cd_update", "Error_Code", "clear_msg", "chan_sta"};
    std::string word = chance.percent(15) ? chance.of(often) : chance.of(ALL_WORDS);
    if (may_stay_for_good(word) && ++left_for_good > 6) word = "clear_msg";
    return {Step::send, spelled(chance, word), {}, arguments_for(chance, word), 0};
}

Step odd_message(Chance &chance) {
    if (chance.percent(40)) return {Step::message, "Other", {}, {"REC_ON"}, 0};
    if (chance.percent(30)) return {Step::message, "", {}, {}, 0};
    Argument first = any_type(chance);
    if (first.code == "s") first = Argument(7);
    return {Step::message, "", {}, {first}, 0};
}

Step any_step(Chance &chance, int &left_for_good) {
    const int choice = chance.below(100);
    if (choice < 38) return wait_step(chance);
    if (choice < 52) return box_change(chance);
    if (choice < 59) return odd_change(chance);
    if (choice < 62) return odd_message(chance);
    return command_step(chance, left_for_good);
}

// A box in which something can happen: by chance alone all that a station or a jack needs would seldom come together.
void prepare_box(Chance &chance, Sequence &sequence) {
    if (chance.percent(60)) sequence.push_back(box_step("warranty-lock", "on"));
    if (chance.percent(40)) {
        sequence.push_back(box_step("wifi", "up"));
        sequence.push_back(box_step("ssid", "HomeNet"));
        sequence.push_back(signal_step(chance));
    }
    if (chance.percent(40)) sequence.push_back(box_step("supply", "12.4"));
    if (chance.percent(20)) sequence.push_back(box_step("jack-ready", "on"));
    for (int i = chance.below(5); i > 0; i--) {
        sequence.push_back(chance.percent(20) ? odd_change(chance) : box_change(chance));
    }
}

} // namespace

Sequence random_sequence(uint64_t number) {
    Chance chance(number);
    Sequence sequence;
    prepare_box(chance, sequence);
    const int screen = chance.below(100);
    const std::string word = screen < 80 ? "normal" : screen < 90 ? "debug" : "production";
    sequence.push_back({Step::start, word, {}, {}, 0});
    int left_for_good = 0;
    for (int i = 10 + chance.below(30); i > 0; i--) sequence.push_back(any_step(chance, left_for_good));
    sequence.push_back(wait_step(chance));
    return sequence;
}

// ---- The box

std::optional<std::string> BoxContent::file(const std::string &path) const {
    const auto found = files.find(path);
    return found == files.end() ? std::nullopt : std::optional<std::string>(found->second);
}

std::optional<std::string> BoxContent::tool(const std::string &command) const {
    const auto found = tools.find(command);
    return found == tools.end() ? std::nullopt : std::optional<std::string>(found->second);
}

BoxContent empty_box() {
    BoxContent box;
    for (const auto &[control, command] : tool_controls) box.tools[command] = "";
    return box;
}

void change(BoxContent &box, const Step &step) {
    if (step.kind == Step::box) set_control(box, step.word, *step.value);
    if (step.kind == Step::file) set_file(box, step.word, step.value);
    if (step.kind != Step::tool) return;
    if (step.value)
        box.tools[step.word] = *step.value;
    else
        box.tools.erase(step.word);
}

// ---- As a scenario

static std::string in_quotes(const std::string &text) {
    std::string out = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') out += '\\';
        out += c == '\n' ? std::string("\\n") : std::string(1, c);
    }
    return out + "\"";
}

static std::string value_or_gone(const std::optional<std::string> &value) {
    return value ? "= " + in_quotes(*value) : "is gone";
}

// `send` knows no types but those that each word takes.
static bool can_be_sent(const Step &step) {
    if (step.word.empty() || std::find(ALL_WORDS.begin(), ALL_WORDS.end(), step.word) == ALL_WORDS.end()) return false;
    std::string codes;
    for (const Argument &argument : step.arguments) codes += argument.code;
    const std::string taken = step.word == "Error_Code" ? "s" : step.word == "cd_update" ? "is" : "";
    return taken.compare(0, codes.size(), codes) == 0;
}

static std::string in_words(const std::vector<Argument> &arguments) {
    std::string out;
    for (const Argument &argument : arguments) {
        const bool text = argument.code == "s";
        const bool known = text || argument.code == "i";
        out += known ? " " : " (" + argument.code + ") ";
        out += text ? in_quotes(argument.text) : known ? std::to_string(argument.number) : "";
    }
    return out;
}

std::string scenario_line(const Step &step) {
    switch (step.kind) {
        case Step::send:
            if (!can_be_sent(step)) return "# a command " + in_quotes(step.word) + in_words(step.arguments);
            return "send " + step.word + in_words(step.arguments);
        case Step::message: return "# a signal " + in_quotes(step.word) + in_words(step.arguments);
        case Step::box:
            return step.word + " " +
                   (step.value->find_first_of(" \n\"") == std::string::npos && !step.value->empty()
                        ? *step.value
                        : in_quotes(*step.value));
        case Step::file: return "# the file " + step.word + " " + value_or_gone(step.value);
        case Step::tool: return "# the tool " + in_quotes(step.word) + " " + value_or_gone(step.value);
        case Step::start: return "start " + step.word + " bare";
        case Step::elapse: return "wait " + std::to_string(step.ms) + "ms";
    }
    return "";
}
