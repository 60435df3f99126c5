// The measurement area in the middle of the status screen.
//
// The meter's comparisons are uneven; docs/compatibility.md says who depends on them.
#include "screen/measurement_area.h"

#include <stdint.h>
#include <stdio.h>

#include "app/display_state.h"
#include "probes/readers.h"
#include "probes/voltage.h"
#include "probes/wifi.h"
#include "screen/art.h"
#include "screen/widgets.h"

constexpr char NO_VOLTAGE[] = "-.-v";

// ---- The meter ----

static void show_source(bool is_supply) {
    if (display_state.source_icon_is_supply == is_supply) return;
    display_state.source_icon_is_supply = is_supply;
    lv_obj_t *icon = display_state.voltage_source_icon;
    if (icon == nullptr) return;
    lv_img_set_src(icon, is_supply ? &img_supply_1 : &img_jack);
    lv_obj_align(icon, nullptr, LV_ALIGN_IN_LEFT_MID, 0, -1);
}

// One voltage with a decimal, between two texts.
struct VoltageText {
    char text[64];
};

static VoltageText format_volts(const char *before, float volts, const char *after) {
    VoltageText formatted;
    snprintf(formatted.text, sizeof formatted.text, "%s%.1f%s", before, static_cast<double>(volts), after);
    return formatted;
}

static void show_extremes(float volts) {
    DisplayState &state = display_state;
    if (state.voltage_min > volts && volts > LOWEST_VOLTAGE) {
        state.voltage_min = volts;
        set_aligned_text(state.voltage_min_label, format_volts("Min. ", volts, "").text, LV_ALIGN_IN_BOTTOM_LEFT, 0, 0);
    }
    if (state.voltage_max < volts) {
        state.voltage_max = volts;
        set_aligned_text(state.voltage_max_label, format_volts("Max. ", volts, "").text, LV_ALIGN_IN_TOP_LEFT, 0, 0);
    }
}

static uint32_t whole_volts(float volts) { return volts < 4294967296.0f ? static_cast<uint32_t>(volts) : UINT32_MAX; }

static bool is_on_active_screen(const lv_obj_t *label) {
    return label != nullptr && lv_obj_get_screen(label) == lv_disp_get_scr_act(lv_disp_get_default());
}

// While powering down the label always reads "-.-v"; the meter goes on measuring and remembering. The text is
// chosen first and set once, so that a value that is not to be seen is not drawn either.
static void show_value(float volts) {
    DisplayState &state = display_state;
    const VoltageText value = format_volts("", volts, "v");
    const char *text = NO_VOLTAGE;
    if (volts != static_cast<float>(state.voltage_last_whole) && volts > LOWEST_VOLTAGE) {
        text = is_on_active_screen(state.voltage_label) ? value.text : nullptr;
        state.voltage_last_whole = whole_volts(volts);
    }
    if (state.power_down) text = NO_VOLTAGE;
    if (text != nullptr) set_aligned_text(state.voltage_label, text, LV_ALIGN_CENTER, 0, 0);
}

void voltage_task(lv_task_t *) {
    const VoltageSource source = voltage_probe();
    if (source == VoltageSource::none) return;
    show_source(source == VoltageSource::supply);
    show_extremes(display_state.supply_voltage);
    show_value(display_state.supply_voltage);
}

// ---- The Wi-Fi debug panel ----

void wifi_debug_task(lv_task_t *) {
    const DisplayState &state = display_state;
    wifi_debug_probe();
    set_aligned_text(state.debug_noise_label, state.debug_noise_text, LV_ALIGN_IN_TOP_RIGHT, -2, 0);
    set_aligned_text(state.debug_rssi_label, state.debug_rssi_text, LV_ALIGN_IN_BOTTOM_RIGHT, -2, 0);
}

// ---- Building ----

static void create_voltage_meter(const AreaStyles &styles) {
    DisplayState &state = display_state;
    lv_obj_t *minmax_box = create_container(73, 18, 57, 30, styles.area);
    state.voltage_max_label = create_label(minmax_box, styles.text, "Max. -.-", LV_ALIGN_IN_TOP_LEFT);
    state.voltage_min_label = create_label(minmax_box, styles.text, "Min. -.-", LV_ALIGN_IN_BOTTOM_LEFT);
    lv_obj_t *volt_box = create_container(9, 18, 63, 30, styles.area);
    state.voltage_label = create_label(volt_box, styles.large_text, NO_VOLTAGE, LV_ALIGN_CENTER);
    state.voltage_task = lv_task_create(voltage_task, 500, LV_TASK_PRIO_MID, nullptr);
}

// The captions lie beyond the right edge of the device; the values move to a vertical offset of 0 with the first
// reading.
static void create_wifi_debug_panel(const AreaStyles &styles) {
    DisplayState &state = display_state;
    lv_obj_t *captions = create_container(64, 18, 59, 30, styles.area);
    create_label(captions, styles.text, "noise", LV_ALIGN_IN_TOP_LEFT);
    create_label(captions, styles.text, "rssi", LV_ALIGN_IN_BOTTOM_LEFT);
    lv_obj_t *values = create_container(5, 18, 59, 30, styles.area);
    state.debug_noise_label = create_label(values, styles.text, "", LV_ALIGN_IN_TOP_RIGHT, -2, -6);
    state.debug_rssi_label = create_label(values, styles.text, "", LV_ALIGN_IN_BOTTOM_RIGHT, -2, 2);
    lv_task_create(wifi_debug_task, 500, LV_TASK_PRIO_HIGHEST, nullptr);
}

void measurement_area_create(const AreaStyles &styles) {
    if (file_exists(FLAG_WIFI_DEBUG)) {
        create_wifi_debug_panel(styles);
    } else {
        create_voltage_meter(styles);
    }
}
