#include "voltage_model.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>

#include "probes/readers.h"
#include "screen/measurement_area.h"
#include "screen/art.h"
#include "screen/status_screen.h"

// ---- The calculation

// A number as the meter takes it; anything that is no finite float counts as 0.
static float number(const std::string &text) {
    const float value = static_cast<float>(strtod(text.c_str(), nullptr));
    return isfinite(value) ? value : 0.0f;
}

static std::string first_word(const std::string &text, const std::string &before) {
    const size_t start = text.find_first_not_of(" \t\n\v\f\r");
    if (start == std::string::npos) return before;
    return text.substr(start, text.find_first_of(" \t\n\v\f\r", start) - start).substr(0, 63);
}

static std::string up_to_nul(const std::string &text) { return text.substr(0, text.find('\0')); }

std::string formatted(const char *before, float volts, const char *behind) {
    char text[64];
    snprintf(text, sizeof(text), "%s%.1f%s", before, static_cast<double>(volts), behind);
    return text;
}

float MeterModel::run_jack(const MeterInput &input) {
    const std::optional<std::string> output = input.jack.at(std::min(jack_runs++, input.jack.size() - 1));
    if (output) jack_text = last_piece(*output, 127, jack_text);
    const float thousandth = number(jack_text) / 1000.0f;
    return static_cast<float>(static_cast<double>(thousandth) + 0.2);
}

float MeterModel::measure_supply(const MeterInput &input) {
    if (input.scale) scale_text = first_word(*input.scale, scale_text);
    if (input.raw) raw_text = first_word(*input.raw, raw_text);
    const float scale = input.scale ? number(scale_text) : 0.0f;
    const float raw = input.raw ? number(raw_text) : 0.0f;
    const float product = raw * scale;
    double volts = static_cast<double>(product);
    volts = volts * 96.39;
    volts = volts / 7.29;
    volts = volts / 1000.0;
    volts = volts + 0.2;
    // Two numbers that a float holds may have a product that it does not: that is no reading.
    return isfinite(static_cast<float>(volts)) ? static_cast<float>(volts) : 0.0f;
}

float MeterModel::measure_jack(const MeterInput &input) {
    float volts = run_jack(input);
    if (volts > 99.0f) volts = run_jack(input);
    if (volts < 6.0f) volts = 0;
    jack = volts;
    return volts;
}

void MeterModel::show(float volts) {
    if (lowest > volts && volts > 6.0f) {
        lowest = volts;
        lowest_label = formatted("Min. ", volts, "");
    }
    if (highest < volts) {
        highest = volts;
        highest_label = formatted("Max. ", volts, "");
    }
    if (volts == static_cast<float>(last_whole) || !(volts > 6.0f)) {
        label = "-.-v";
    } else {
        if (on_active_screen) label = formatted("", volts, "v");
        // What 32 bits can't hold is remembered as the most that they can.
        last_whole = static_cast<uint32_t>(std::min(floor(static_cast<double>(volts)), 4294967295.0));
    }
    if (power_down) label = "-.-v";
}

void MeterModel::run(const MeterInput &input) {
    jack_runs = 0;
    supply = measure_supply(input);
    if (supply >= 6.0f) {
        icon_is_supply = true;
        return show(supply);
    }
    supply = 0;
    if (!input.jack_ready) return;
    supply = measure_jack(input);
    icon_is_supply = false;
    show(supply);
}

// ---- Inputs

MeterInput supply(const std::string &raw, const std::string &scale) {
    MeterInput input;
    input.raw = raw;
    input.scale = scale;
    return input;
}

MeterInput jack(std::vector<std::optional<std::string>> outputs) {
    MeterInput input;
    input.jack_ready = true;
    input.jack = std::move(outputs);
    return input;
}

std::string digits(float value) {
    char text[64];
    snprintf(text, sizeof(text), "%.9g", static_cast<double>(value));
    return text;
}

float raw_below(float wanted) {
    float raw = (wanted - 0.2f) / 96.39f * 7290.0f - 0.1f;
    while (MeterModel().measure_supply(supply(digits(nextafterf(raw, INFINITY)), "1")) < wanted)
        raw = nextafterf(raw, INFINITY);
    return raw;
}

// ---- The meter beside it

void VoltageMeter::SetUp() {
    ComponentTest::SetUp();
    answer_commands([](const std::string &) { return std::nullopt; });
    status_screen_create();
    ASSERT_NE(display_state.voltage_label, nullptr);
    for (const char *path : {IIO_SCALE, IIO_RAW, FLAG_VCI_READY}) remove_file(path);
}
void VoltageMeter::TearDown() {
    EXPECT_EQ(open_pipes, 0);
    EXPECT_EQ(null_pcloses, 0);
    ComponentTest::TearDown();
}

// Sweeps change one file of three: only that one is written.
void VoltageMeter::put(const char *path, const std::optional<std::string> &bytes) {
    if (there.count(path) != 0 && there[path] == bytes) return;
    there[path] = bytes;
    if (bytes)
        write_file(path, *bytes);
    else
        remove_file(path);
}

void VoltageMeter::provide(const MeterInput &input) {
    put(IIO_SCALE, input.scale);
    put(IIO_RAW, input.raw);
    put(FLAG_VCI_READY, input.jack_ready ? std::optional<std::string>("") : std::nullopt);
    size_t runs = 0;
    answer_commands([input, runs](const std::string &) mutable -> std::optional<std::string> {
        return input.jack.empty() ? std::nullopt : input.jack.at(std::min(runs++, input.jack.size() - 1));
    });
    shell_commands.clear();
}

void VoltageMeter::run(const MeterInput &input) {
    provide(input);
    display_state.power_down = model.power_down;
    model.run(input);
    voltage_task(nullptr);
    compare_values();
    compare_screen();
    EXPECT_EQ(shell_commands, std::vector<std::string>(model.jack_runs, "/usr/local/bin/vcicp vjack"));
}

void VoltageMeter::compare_values() const {
    EXPECT_EQ(display_state.supply_voltage, model.supply);
    EXPECT_EQ(display_state.jack_voltage, model.jack);
    EXPECT_EQ(display_state.voltage_min, model.lowest);
    EXPECT_EQ(display_state.voltage_max, model.highest);
    EXPECT_EQ(display_state.voltage_last_whole, model.last_whole);
    EXPECT_EQ(display_state.source_icon_is_supply, model.icon_is_supply);
    EXPECT_EQ(up_to_nul(display_state.scale_text), up_to_nul(model.scale_text));
    EXPECT_EQ(up_to_nul(display_state.raw_text), up_to_nul(model.raw_text));
    EXPECT_EQ(up_to_nul(display_state.vjack_text), up_to_nul(model.jack_text));
}

static void expect_at(const lv_obj_t *object, int x, int y) {
    EXPECT_EQ(lv_obj_get_x(object), x);
    EXPECT_EQ(lv_obj_get_y(object), y);
}

// The value in the middle of 63 x 30; minimum and maximum in the left corners of 57 x 30; the icon at the
// left of 118 x 16, one above the middle.
static void expect_places() {
    const DisplayState &state = display_state;
    expect_at(state.voltage_label, 63 / 2 - lv_obj_get_width(state.voltage_label) / 2,
              30 / 2 - lv_obj_get_height(state.voltage_label) / 2);
    expect_at(state.voltage_max_label, 0, 0);
    expect_at(state.voltage_min_label, 0, 30 - lv_obj_get_height(state.voltage_min_label));
    expect_at(state.voltage_source_icon, 0, 16 / 2 - lv_obj_get_height(state.voltage_source_icon) / 2 - 1);
}

void VoltageMeter::compare_screen() const {
    EXPECT_EQ(lv_label_get_text(display_state.voltage_label), model.label);
    EXPECT_EQ(lv_label_get_text(display_state.voltage_min_label), model.lowest_label);
    EXPECT_EQ(lv_label_get_text(display_state.voltage_max_label), model.highest_label);
    const lv_img_dsc_t *icon = model.icon_is_supply ? &img_supply_1 : &img_jack;
    EXPECT_EQ(lv_img_get_src(display_state.voltage_source_icon), icon);
    expect_places();
}
