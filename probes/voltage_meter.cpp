// The supply-voltage meter; see voltage_meter.h.
//
// Its comparisons are uneven on purpose: below 6.0 V is no voltage and asks the jack; exactly 6.0 V is a
// reading, but is shown as "-.-v" and never becomes the minimum; a value that equals the whole number last
// written shows "-.-v" for that one run.
#include "probes/voltage_meter.h"

#include <math.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "app/display_state.h"
#include "probes/command.h"
#include "probes/flag_files.h"
#include "probes/text_file.h"
#include "screen/images.h"
#include "screen/label_text.h"

constexpr float LOWEST_VOLTAGE = 6.0f;
constexpr double OFFSET_VOLTS = 0.2;  // added to every reading, to zero too
constexpr char NO_VOLTAGE[] = "-.-v";

// Text that is no finite number counts as 0, as text that is no number at all does.
static float number(const char *text) {
    const auto value = static_cast<float>(strtod(text, nullptr));
    return isfinite(value) ? value : 0.0f;
}

// Volts at the supply input. A file that is not there counts as 0, so that only the offset is left of the sum.
static float read_supply() {
    DisplayState &state = display_state;
    const bool has_scale = read_word(IIO_SCALE, state.scale_text, sizeof state.scale_text);
    const bool has_raw = read_word(IIO_RAW, state.raw_text, sizeof state.raw_text);
    const float scale = has_scale ? number(state.scale_text) : 0.0f;
    const float raw = has_raw ? number(state.raw_text) : 0.0f;
    const float product = raw * scale;  // millivolts at the converter
    // 96.39 / 7.29 is the input's voltage divider; the order of the operations is part of the result.
    const double volts = static_cast<double>(product) * 96.39 / 7.29 / 1000.0 + OFFSET_VOLTS;
    const auto narrowed = static_cast<float>(volts);
    return isfinite(narrowed) ? narrowed : 0.0f;
}

// Runs the jack command once. Returns volts.
static float read_jack() {
    read_last_line(JACK_COMMAND, display_state.vjack_text, 127);
    const float volts = number(display_state.vjack_text) / 1000.0f;
    return static_cast<float>(static_cast<double>(volts) + OFFSET_VOLTS);
}

static float measure_jack() {
    float volts = read_jack();
    if (volts > 99.0f) volts = read_jack();  // the service's first answer may be nonsense; one retry only
    if (volts < LOWEST_VOLTAGE) volts = 0.0f;
    display_state.jack_voltage = volts;
    return volts;
}

static void show_source(bool is_supply) {
    if (display_state.source_icon_is_supply == is_supply) return;
    display_state.source_icon_is_supply = is_supply;
    lv_obj_t *icon = display_state.voltage_source_icon;
    if (icon == nullptr) return;
    lv_img_set_src(icon, is_supply ? &img_supply_1 : &img_jack);
    lv_obj_align(icon, nullptr, LV_ALIGN_IN_LEFT_MID, 0, -1);
}

// Formats `volts` with one decimal into voltage_text, between the two texts.
static const char *format_volts(const char *before, float volts, const char *after) {
    char *text = display_state.voltage_text;
    snprintf(text, sizeof display_state.voltage_text, "%s%.1f%s", before, static_cast<double>(volts), after);
    return text;
}

static void clear_voltage_text() {
    memset(display_state.voltage_text, 0, sizeof display_state.voltage_text);
}

static void show_extremes(float volts) {
    DisplayState &state = display_state;
    if (state.voltage_min > volts && volts > LOWEST_VOLTAGE) {
        state.voltage_min = volts;
        set_aligned_text(state.voltage_min_label, format_volts("Min. ", volts, ""), LV_ALIGN_IN_BOTTOM_LEFT, 0, 0);
        clear_voltage_text();
    }
    if (state.voltage_max < volts) {
        state.voltage_max = volts;
        set_aligned_text(state.voltage_max_label, format_volts("Max. ", volts, ""), LV_ALIGN_IN_TOP_LEFT, 0, 0);
        clear_voltage_text();
    }
}

static uint32_t whole_volts(float volts) {
    return volts < 4294967296.0f ? static_cast<uint32_t>(volts) : UINT32_MAX;
}

static bool is_on_active_screen(const lv_obj_t *label) {
    return label != nullptr && lv_obj_get_screen(label) == lv_disp_get_scr_act(lv_disp_get_default());
}

// While powering down the label always reads "-.-v"; the meter goes on measuring and remembering. The text is
// chosen first and set once, so that a value that is not to be seen is not drawn either.
static void show_value(float volts) {
    DisplayState &state = display_state;
    const char *text = NO_VOLTAGE;
    if (volts != static_cast<float>(state.voltage_last_whole) && volts > LOWEST_VOLTAGE) {
        const bool visible = is_on_active_screen(state.voltage_label);
        text = visible ? format_volts("", volts, "v") : nullptr;
        state.voltage_last_whole = whole_volts(volts);
    }
    if (state.power_down) text = NO_VOLTAGE;
    if (text != nullptr) set_aligned_text(state.voltage_label, text, LV_ALIGN_CENTER, 0, 0);
}

void voltage_task(lv_task_t *) {
    DisplayState &state = display_state;
    clear_voltage_text();
    state.supply_voltage = read_supply();
    const bool from_supply = state.supply_voltage >= LOWEST_VOLTAGE;
    if (!from_supply) {
        state.supply_voltage = 0.0f;
        if (!file_exists(FLAG_VCI_READY)) return;
        state.supply_voltage = measure_jack();
    }
    show_source(from_supply);
    show_extremes(state.supply_voltage);
    show_value(state.supply_voltage);
}
