// The controls: what each is set to stands in the box and is read back. The values come from the table, so that a new
// control is tested by being there.
#include <cstdio>
#include <filesystem>

#include <gtest/gtest.h>

#include "simulator/scenario/controls.h"
#include "simulator/scenario/recorder.h"
#include "simulator/scenario/scenario.h"

static std::string number_text(double number) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.10g", number);
    return text;
}

static std::vector<std::string> values_of(const desk::Switch &either) { return {either.on, either.off, either.on}; }

static std::vector<std::string> values_of(const desk::Measure &measure) {
    const auto &slider = measure.slider;
    return {number_text(slider.first), desk::none_word, number_text(measure.highest), number_text(slider.highest),
            number_text(slider.highest - slider.step)};
}

static std::vector<std::string> values_of(const desk::Text &text) {
    std::vector<std::string> values = {"My \"Net\"  x\\",
                                       "Plain-1",
                                       " blank ",
                                       "größer #5",
                                       std::string(static_cast<size_t>(text.longest), 'W'),
                                       text.takes_none ? desk::none_word : ""};
    if (*text.suggestion != '\0') values.push_back(text.suggestion);
    return values;
}

static std::vector<std::string> values_of(const desk::Control &control) {
    return std::visit([](const auto &kind) { return values_of(kind); }, control.kind);
}

TEST(Controls, AreReadBackAsTheyWereSet) {
    desk::Stage stage;
    for (const desk::Control &control : desk::controls()) {
        for (const std::string &value : values_of(control)) {
            desk::BoxReport wanted = desk::report_of(stage.box());
            for (auto &[name, word] : wanted) {
                if (name == control.name) word = value;
            }
            perform(stage, control.name + (" " + desk::quoted(value)));
            EXPECT_EQ(desk::report_of(stage.box()), wanted) << control.name << " " << value << ", and nothing else";
        }
    }
    EXPECT_FALSE(stage.started()) << "these lines may stand before the start";
}

// As a recording begins.
TEST(Controls, AreBroughtBackByLines) {
    const desk::Box untouched;
    const desk::BoxReport healthy = desk::report_of(untouched);
    EXPECT_EQ(desk::lines_between(healthy, healthy), std::vector<std::string>{});
    desk::Stage changed;
    for (const desk::Control &control : desk::controls()) {
        for (const std::string &value : values_of(control)) {
            if (control.access.get(changed.box()) != control.access.get(untouched)) break;
            perform(changed, control.name + (" " + desk::quoted(value)));
        }
    }
    const std::vector<std::string> lines = desk::lines_between(healthy, desk::report_of(changed.box()));
    EXPECT_EQ(lines.size(), desk::controls().size()) << "each of them once";
    desk::Stage repeated;
    for (const std::string &line : lines) perform(repeated, line);
    EXPECT_EQ(desk::report_of(repeated.box()), desk::report_of(changed.box()));
}

static std::string told(const desk::Box &box, const std::string &name) {
    for (const desk::Control &control : desk::controls()) {
        if (name == control.name) return control.access.get(box);
    }
    return "not told";
}

TEST(Controls, TellWhatTheDisplayMakesOfFiles) {
    desk::Box box;
    box.write("/rodata/bluetooth_name", "device=one\tname=A=B\nname=C\n");
    EXPECT_EQ(told(box, "bluetooth"), "B") << "what stands behind the first line's last '='";
    box.write("/rodata/bluetooth_name", "plain\n");
    EXPECT_EQ(told(box, "bluetooth"), "plain");
    box.write("/rodata/serial_number", "one\ntwo\n");
    EXPECT_EQ(told(box, "serial"), "one");
    box.set_wifi_link(true);
    EXPECT_EQ(told(box, "wifi"), "up");
    box.write("/sys/class/net/wlan0/link_mode", "0\n");
    EXPECT_EQ(told(box, "wifi"), "down") << "both files must say so";
    box.set_wifi_link(true);
    box.write("/sys/class/net/wlan0/operstate", "dormant\n");
    EXPECT_EQ(told(box, "wifi"), "down");
    for (const auto &[volts, text] : {std::pair{12.0, "12"}, {12.4, "12.4"}, {100.0, "100"}, {0.25, "0.25"}}) {
        box.set_supply_volts(volts);
        EXPECT_EQ(told(box, "supply"), text);
    }
    box.write("/sys/bus/iio/devices/iio:device0/in_voltage0_raw", "nan\n");
    EXPECT_EQ(told(box, "supply"), "none");
    box.set_supply_volts(12);
    box.remove("/sys/bus/iio/devices/iio:device0/in_voltage0_raw");
    EXPECT_EQ(told(box, "supply"), "none");
    box.set_supply_volts(12);
    box.remove("/sys/bus/iio/devices/iio:device0/in_voltage_scale");
    EXPECT_EQ(told(box, "supply"), "none");
}

// Empty, absent and unreadable are three things.
TEST(Controls, TellAFileThatCannotBeRead) {
    desk::Box box;
    const auto word = [&](const std::string &name) {
        for (const auto &[control, told] : desk::report_of(box)) {
            if (control == name) return told;
        }
        return std::optional<std::string>("not told");
    };
    for (const auto &[name, path] : {std::pair{"serial", "/rodata/serial_number"},
                                     {"bluetooth", "/rodata/bluetooth_name"},
                                     {"firmware-type", "/tmp/fw_type_running"}}) {
        box.write(path);
        EXPECT_EQ(word(name), "") << name;
        box.remove(path);
        EXPECT_EQ(word(name), desk::none_word) << name;
        std::filesystem::create_directory(box.host_path(path));
        EXPECT_EQ(word(name), std::nullopt) << name;
    }
    const desk::Box untouched;
    EXPECT_EQ(desk::lines_between(desk::report_of(untouched), desk::report_of(box)), std::vector<std::string>{})
        << "and no line could bring it about";
}
