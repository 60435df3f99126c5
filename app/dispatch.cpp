// Carries out display commands. The words, their order and their handlers are in vocabulary.def.
//
// The commands are uneven; docs/compatibility.md says how and who depends on it.
#include "app/dispatch.h"

#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <syslog.h>

#include "app/display_state.h"
#include "app/log_text.h"
#include "probes/wifi.h"
#include "screen/connectivity_line.h"
#include "screen/overlays.h"
#include "screen/widgets.h"

bool is_prefix(const char *word, const char *text) { return strncmp(word, text, strlen(word)) == 0; }

// ---- Arguments ----

// Moves `args` to the next argument and reads it, if there is one and it has the D-Bus type `type`. Reading
// any other type would take whatever the sender put there for a pointer.
static bool next_argument(DBusMessageIter *args, int type, void *value) {
    if (!dbus_message_iter_has_next(args)) return false;
    dbus_message_iter_next(args);
    if (dbus_message_iter_get_arg_type(args) != type) return false;
    dbus_message_iter_get_basic(args, value);
    return true;
}

// ---- Helpers for the effects ----

static void clear_modes() {
    DisplayState &state = display_state;
    state.restarting = false;
    state.power_down = false;
    state.mode_rec = false;
    state.mode_doip = false;
    state.mode_passthru = false;
    state.mode_diagnosis = false;
    state.mode_doip_ethernet = false;
    state.ready = false;
}

static void set_only_mode(bool DisplayState::*mode) {
    clear_modes();
    display_state.*mode = true;
}

static void clear_channels() {
    DisplayState &state = display_state;
    state.chan_vpn = false;
    state.chan_usb = false;
    state.chan_ap = false;
    state.chan_sta = false;
    state.chan_bt = false;
}

static void write_error_text(const char *title, const char *code) {
    snprintf(display_state.error_text, sizeof display_state.error_text, "%s\n %s", title, code);
    make_whole_utf8(display_state.error_text);
}

static void set_firmware_status(const char *text) { set_label_text(display_state.fw_status_label, text); }

// ---- Overlays ----

static void on_error_code(const char *command, DBusMessageIter *args) {
    DisplayState &state = display_state;
    const char *code;
    if (!next_argument(args, DBUS_TYPE_STRING, &code)) {
        syslog(LOG_ERR, "not alone my friend... %.*s\n", logged_length(command), command);
        return;
    }
    if (is_prefix("WIFI", code)) {
        write_error_text("ERROR: WIFI", "Connection");
        close_overlays();
        show_error_overlay();
        state.wifi_error_latched = true;
    } else if (is_prefix("CWIFI", code)) {
        // The latch stays: once a Wi-Fi error has been shown, every later "CWIFI" acts.
        if (!state.wifi_error_latched || state.fw_overlay_shown) return;
        close_overlays();
        wifi_link_probe();
        state.chan_sta = true;
        connectivity_line(1);
    } else {
        write_error_text("ERROR", code);
        close_overlays();
        show_error_overlay();
    }
}

static void on_clear_msg(const char *, DBusMessageIter *) { close_overlays(); }

// In place of what is up.
template <void (*show)()>
static void on_overlay(const char *, DBusMessageIter *) {
    close_overlays();
    show();
}

// Opens over whatever is up.
template <void (*show)()>
static void on_overlay_above(const char *, DBusMessageIter *) {
    show();
}

// ---- Channels ----

template <bool DisplayState::*channel, uint32_t force>
static void on_channel(const char *, DBusMessageIter *) {
    clear_channels();
    display_state.*channel = true;
    connectivity_line(force);
}

static void on_chan_timeout(const char *, DBusMessageIter *) {
    DisplayState &state = display_state;
    state.chan_vpn = false;
    state.chan_ap = false;
    state.chan_bt = false;
    state.chan_usb = false;
    // chan_sta keeps its value: a station does not time out.
    connectivity_line(1);
}

// ---- Modes ----

template <bool DisplayState::*mode>
static void on_mode(const char *, DBusMessageIter *) {
    set_only_mode(mode);
}

template <bool DisplayState::*mode>
static void on_mode_unless_power_down(const char *, DBusMessageIter *) {
    if (!display_state.power_down) set_only_mode(mode);
}

static void on_m4_comm(const char *, DBusMessageIter *) {
    if (display_state.mode_rec) {
        display_state.rec_active = true;
        set_only_mode(&DisplayState::mode_rec);
    } else {
        set_only_mode(&DisplayState::mode_diagnosis);
    }
}

static void on_rec_off(const char *, DBusMessageIter *) {
    display_state.rec_active = false; // also while powering down
    if (!display_state.power_down) set_only_mode(&DisplayState::ready);
}

static void on_p_off(const char *, DBusMessageIter *) {
    set_only_mode(&DisplayState::power_down);
    clear_channels(); // the row follows with the next mode line
}

// ---- Firmware ----

static void on_cd_update(const char *, DBusMessageIter *args) {
    DisplayState &state = display_state;
    if (state.voltage_task != nullptr) lv_task_set_prio(state.voltage_task, LV_TASK_PRIO_OFF);
    if (state.prod_mode) set_firmware_status("FW: Updating...");

    if (!next_argument(args, DBUS_TYPE_INT32, &state.fw_time_to_full)) return;
    syslog(LOG_ERR, "time to 100/100 is: %d\n", state.fw_time_to_full);

    const char *type;
    if (!next_argument(args, DBUS_TYPE_STRING, &type)) return;
    snprintf(state.fw_type_text, sizeof state.fw_type_text, "%s", type);
    make_whole_utf8(state.fw_type_text);
    state.fw_type = state.fw_type_text;
    syslog(LOG_ERR, "fw type is: %s\n", state.fw_type);

    if (state.fw_overlay_shown) {
        restart_fw_overlay();
    } else {
        state.fw_progress = 0;
        show_fw_overlay();
    }
}

static void on_m4_update(const char *, DBusMessageIter *) {
    show_fw_overlay();
    if (display_state.prod_mode) set_firmware_status("FW: Updating...");
    syslog(LOG_ERR, "updating!");
}

static void on_m4_done(const char *, DBusMessageIter *) {
    close_overlays();
    if (display_state.prod_mode) {
        set_firmware_status("FW: Latest Version");
    } else {
        display_state.ready = true; // beside whatever mode is set, a power-down included
    }
}

static void on_m4_error(const char *, DBusMessageIter *) {
    close_overlays();
    if (display_state.prod_mode) {
        set_firmware_status("FW: Error Updating");
        syslog(LOG_ERR, "err!");
    } else {
        write_error_text("ERROR", "LX-M4-1");
        show_error_overlay();
    }
}

// ---- The table ----

struct Command {
    const char *word;
    void (*handler)(const char *command, DBusMessageIter *args);
};

static constexpr Command COMMANDS[] = {
#define DISPLAY_COMMAND(word, handler, arguments, group, meaning) {word, handler},
#include "app/vocabulary.def"
#undef DISPLAY_COMMAND
};

void dispatch(const char *command, DBusMessageIter *args) {
    for (const Command &entry : COMMANDS) {
        if (!is_prefix(entry.word, command)) continue;
        entry.handler(command, args);
        return;
    }
}
