// The top row. Decides which view the row should show, and draws it if it changed.
#include "screen/connectivity_line.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "app/display_state.h"
#include "probes/readers.h"
#include "probes/wifi.h"
#include "screen/art.h"
#include "screen/identity_text.h"
#include "screen/widgets.h"

static lv_style_t style_conn;
static lv_style_t style_conn_text;

constexpr size_t STATION_NAME_BYTES = 11; // what fits between the two icons
constexpr int32_t KEEP_VIEW = -1;         // decision: leave the row as it is

static void prepare_styles() {
    style_set_black_ground(&style_conn);
    lv_style_copy(&style_conn_text, &style_conn);
    style_set_text(&style_conn_text, &font_16);
    style_conn_text.text.letter_space = 0;
    style_conn_text.text.line_space = -4;
    style_conn_text.image.intense = LV_OPA_COVER;
}

// ---- Drawing ----

static void add_label(const char *text) {
    create_label(display_state.conn_box, &style_conn_text, text, LV_ALIGN_CENTER);
}

static lv_obj_t *add_image(const lv_img_dsc_t *source, lv_align_t align, lv_coord_t x) {
    return create_image(display_state.conn_box, &style_conn_text, source, align, x, -2);
}

static const lv_img_dsc_t *signal_icon(long quality) {
    if (quality < 0 || quality >= 1000) return nullptr;
    if (quality <= 25) return &icon_signal_1;
    if (quality <= 50) return &icon_signal_2;
    if (quality <= 75) return &icon_signal_3;
    return &icon_signal_4;
}

static void draw_station() {
    DisplayState &state = display_state;
    state.wifi_ssid[strcspn(state.wifi_ssid, "\n")] = '\0';
    char name[STATION_NAME_BYTES + 1];
    snprintf(name, sizeof name, "%.*s", static_cast<int>(STATION_NAME_BYTES), state.wifi_ssid);
    add_label(name);
    add_image(&icon_wifi, LV_ALIGN_IN_RIGHT_MID, 0);
    state.quality_icon = add_image(signal_icon(strtol(state.wifi_quality, nullptr, 10)), LV_ALIGN_IN_LEFT_MID, 0);
    snprintf(state.last_quality, sizeof state.last_quality, "%s", state.wifi_quality);
}

static void draw_serial_number() {
    char text[IDENTITY_TEXT_SIZE];
    serial_number_text(text, "-");
    add_label(text);
}

static void draw_channel_icons() {
    if (file_exists(FLAG_NO_AP)) {
        add_image(&icon_wifi, LV_ALIGN_CENTER, -13);
        add_image(&icon_usb, LV_ALIGN_CENTER, 0);
        add_image(&icon_bt, LV_ALIGN_CENTER, 13);
        return;
    }
    add_image(&icon_wifi, LV_ALIGN_CENTER, -20);
    add_image(&icon_usb, LV_ALIGN_CENTER, -7);
    add_image(&icon_hotspot, LV_ALIGN_CENTER, 7);
    add_image(&icon_bt, LV_ALIGN_CENTER, 20);
}

static void draw_channel(const char *text, const lv_img_dsc_t *icon) {
    add_label(text);
    add_image(icon, LV_ALIGN_IN_RIGHT_MID, 0);
}

static void draw_view(int32_t view) {
    display_state.conn_shown = view;
    lv_obj_clean(display_state.conn_box);
    switch (view) {
        case CONN_VPN: add_label("WireGuard VPN"); break;
        case CONN_USB: draw_channel("USB", &icon_usb); break;
        case CONN_HOTSPOT: draw_channel("HOTSPOT", &icon_hotspot); break;
        case CONN_BLUETOOTH: draw_channel("BLUETOOTH", &icon_bt); break;
        case CONN_STATION: draw_station(); break;
        case CONN_ICONS: draw_channel_icons(); break;
        case CONN_SERIAL: draw_serial_number(); break;
    }
}

// ---- Deciding ----

static bool is_shown(int32_t view) { return display_state.conn_shown == view; }

static int32_t unless_shown(int32_t view) { return is_shown(view) ? KEEP_VIEW : view; }

static bool quality_moved() { return strcmp(display_state.wifi_quality, display_state.last_quality) != 0; }

// What VPN, a power-down, USB and the hotspot ask for, first line that fits:
//
//   VPN set, not shown                              VPN
//   power-down: serial number not shown             serial number; takes turns with VPN
//   power-down: USB set                             USB
//   power-down: hotspot set                         hotspot
//   USB set, not shown                              USB
//   USB set (and shown), hotspot set                hotspot
//   hotspot set, USB not set, hotspot not shown     hotspot
//   anything else                                   KEEP_VIEW: the choice is the station's and Bluetooth's
//
// A view that is up lets the next one have its turn, so with two of these set the row alternates.
static int32_t choose_first_channels() {
    const DisplayState &state = display_state;
    if (state.chan_vpn && !is_shown(CONN_VPN)) return CONN_VPN;
    if (state.power_down) {
        if (!is_shown(CONN_SERIAL)) return CONN_SERIAL;
        if (state.chan_usb) return CONN_USB;
        if (state.chan_ap) return CONN_HOTSPOT;
    } else if (state.chan_usb) {
        if (!is_shown(CONN_USB)) return CONN_USB;
        if (state.chan_ap) return CONN_HOTSPOT;
    } else if (state.chan_ap) {
        return unless_shown(CONN_HOTSPOT);
    }
    return KEEP_VIEW;
}

static int32_t choose_station_or_less(bool force) {
    const DisplayState &state = display_state;
    const bool has_name = state.wifi_ssid[0] != '\0';
    if (state.chan_sta) {
        if (has_name && (force || quality_moved())) return CONN_STATION;
        return state.chan_bt ? unless_shown(CONN_BLUETOOTH) : KEEP_VIEW;
    }
    // Even without its flag; see docs/compatibility.md.
    if (force && has_name) return CONN_STATION;
    if (state.chan_bt) return unless_shown(CONN_BLUETOOTH);
    if (state.chan_vpn || state.chan_usb || state.chan_ap || state.power_down) return KEEP_VIEW;
    return unless_shown(CONN_ICONS);
}

uint32_t connectivity_line(uint32_t force) {
    if (display_state.conn_box == nullptr) return 0; // production screen
    prepare_styles();
    int32_t view = choose_first_channels();
    if (view == KEEP_VIEW) view = choose_station_or_less(force != 0);
    if (view == KEEP_VIEW) return 0;
    draw_view(view);
    return 1;
}

// ---- The two-second refresh ----

static bool station_is_up() {
    const DisplayState &state = display_state;
    if (state.chan_usb || state.chan_bt || state.chan_ap || state.chan_vpn || state.power_down) return false;
    if (wifi_link_probe() == 0) return false;
    wifi_quality_probe();
    return true;
}

void connectivity_refresh(lv_task_t *) {
    display_state.chan_sta = station_is_up();
    connectivity_line(0);
}
