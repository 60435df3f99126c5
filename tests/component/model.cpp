#include "model.h"

#include <string.h>
#include <syslog.h>

#include "support.h"

const std::vector<std::string> ALL_WORDS = {
    "Error_Code", "cd_update",    "clear_msg",      "Reboot",   "Req_reboot", "Check_Igni",
    "USB_update", "USB_done",     "chan_usb",       "chan_bt",  "chan_ap",    "chan_sta",
    "chan_vpn",   "chan_timeout", "M4_COMM",        "M4_ready", "M4_J2534",   "M4_none",
    "REC_ON",     "REC_OFF",      "rj45_pt_enable", "DoIP_on",  "DoIP_off",   "rj45_pt_disable",
    "p_off",      "p_on",         "M4_update",      "M4_done",  "M4_error",
};

const std::vector<const char *> ALL_MODE_TEXTS = {
    "AUTOCHECK...", "NO WARRANTY", "DIAGNOSIS",  "DOIP ETHERNET", "REC ON", "REC ...",
    "DOIP",         "PASSTHRU",    "POWER DOWN", "RESTARTING...", "READY",
};

const std::vector<int> ALL_VIEWS = {
    CONN_STATION, CONN_USB, CONN_HOTSPOT, CONN_BLUETOOTH, CONN_ICONS, CONN_VPN, CONN_SERIAL,
};

#define FLAG(name) \
    NamedFlag { #name, &DisplayState::name }
const std::vector<NamedFlag> MODE_FLAGS = {
    FLAG(no_warranty), FLAG(mode_diagnosis), FLAG(mode_doip_ethernet), FLAG(mode_rec),   FLAG(rec_active),
    FLAG(mode_doip),   FLAG(mode_passthru),  FLAG(power_down),         FLAG(restarting), FLAG(ready),
};
const std::vector<NamedFlag> CHANNEL_FLAGS = {
    FLAG(chan_vpn), FLAG(chan_usb), FLAG(chan_ap), FLAG(chan_sta), FLAG(chan_bt),
};
const std::vector<NamedFlag> BOX_FLAGS = {
    FLAG(reboot_shown), FLAG(error_shown), FLAG(fw_overlay_shown), FLAG(ignition_shown), FLAG(wifi_error_latched),
};

std::string cut_to(const std::string &text, size_t limit) {
    size_t end = text.size() < limit ? text.size() : limit;
    while (end < text.size() && end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) end--;
    return text.substr(0, end);
}

static void put(char *buffer, const std::string &text) { strcpy(buffer, cut_to(text, TEXT_SIZE - 1).c_str()); }

// ---- Boxes.

bool Model::any_box() const {
    return state.error_shown || state.reboot_shown || state.ignition_shown || state.fw_overlay_shown;
}

void Model::close_box() {
    if (!any_box()) return;
    boxes--;
    state.error_shown = state.reboot_shown = state.ignition_shown = state.fw_overlay_shown = false;
    progress_prio = LV_TASK_PRIO_OFF;
    voltage_prio = LV_TASK_PRIO_MID;
}

void Model::show_box(bool DisplayState::*flag) {
    boxes++;
    state.*flag = true;
    if (flag == &DisplayState::fw_overlay_shown) progress_prio = LV_TASK_PRIO_MID;
}

// ---- Modes and channels.

void Model::clear_modes() {
    for (const NamedFlag &mode : MODE_FLAGS) {
        if (mode.flag != &DisplayState::rec_active && mode.flag != &DisplayState::no_warranty) state.*mode.flag = false;
    }
}

void Model::set_mode(bool DisplayState::*flag) {
    clear_modes();
    state.*flag = true;
}

void Model::choose_channel(bool DisplayState::*channel, bool force) {
    for (const NamedFlag &other : CHANNEL_FLAGS) state.*other.flag = false;
    state.*channel = true;
    connectivity_line(force);
}

// ---- Commands with arguments.

void Model::error_code(const std::optional<std::string> &code) {
    if (!code) {
        log.push_back({LOG_ERR, "not alone my friend... Error_Code\n"});
    } else if (code->rfind("WIFI", 0) == 0) {
        put(state.error_text, "ERROR: WIFI\n Connection");
        close_box();
        show_box(&DisplayState::error_shown);
        state.wifi_error_latched = true;
    } else if (code->rfind("CWIFI", 0) == 0) {
        if (!state.wifi_error_latched || state.fw_overlay_shown) return;
        close_box();
        wifi_link_is_up();
        state.chan_sta = true;
        connectivity_line(true);
    } else {
        put(state.error_text, "ERROR\n " + *code);
        close_box();
        show_box(&DisplayState::error_shown);
    }
}

void Model::update_started(std::optional<int32_t> seconds, const std::optional<std::string> &type) {
    voltage_prio = LV_TASK_PRIO_OFF;
    if (state.prod_mode) fw_status = "FW: Updating...";
    if (!seconds) return;
    state.fw_time_to_full = *seconds;
    log.push_back({LOG_ERR, "time to 100/100 is: " + std::to_string(*seconds) + "\n"});
    if (!type) return;
    put(state.fw_type_text, *type);
    state.fw_type = state.fw_type_text;
    log.push_back({LOG_ERR, "fw type is: " + *type + "\n"});
    state.fw_progress = 0;
    if (state.fw_overlay_shown)
        restart_fw_box();
    else
        show_box(&DisplayState::fw_overlay_shown);
}

void Model::update_ended(bool well) {
    close_box();
    if (state.prod_mode) {
        fw_status = well ? "FW: Latest Version" : "FW: Error Updating";
        if (!well) log.push_back({LOG_ERR, "err!"});
    } else if (well) {
        state.ready = true;
    } else {
        put(state.error_text, "ERROR\n LX-M4-1");
        show_box(&DisplayState::error_shown);
    }
}

// ---- All commands, one line each.

void Model::command(const std::string &word, std::optional<int32_t> seconds, std::optional<std::string> text) {
    using S = DisplayState;
    log.clear();
    const bool going_down = state.power_down;
    const auto is = [&word](const char *name) { return word == name; };

    if (is("Error_Code")) error_code(text);
    if (is("cd_update")) update_started(seconds, text);
    if (is("clear_msg")) close_box();
    if (is("Reboot") || is("Req_reboot")) close_box(), show_box(&S::reboot_shown);
    if (is("Check_Igni")) close_box(), show_box(&S::ignition_shown);
    if (is("USB_update")) show_usb_box();
    if (is("USB_done")) show_box(&S::reboot_shown);
    if (is("chan_usb")) choose_channel(&S::chan_usb, false);
    if (is("chan_bt")) choose_channel(&S::chan_bt, false);
    if (is("chan_ap")) choose_channel(&S::chan_ap, false);
    if (is("chan_sta")) choose_channel(&S::chan_sta, true);
    if (is("chan_vpn")) choose_channel(&S::chan_vpn, false);
    if (is("chan_timeout")) {
        state.chan_vpn = state.chan_ap = state.chan_bt = state.chan_usb = false;
        connectivity_line(true);
    }
    if (is("M4_COMM")) {
        if (state.mode_rec) state.rec_active = true;
        set_mode(state.mode_rec ? &S::mode_rec : &S::mode_diagnosis);
    }
    if (is("REC_OFF")) state.rec_active = false;
    if (is("M4_ready") || is("M4_none") || is("REC_OFF") || is("DoIP_off") || is("rj45_pt_disable")) {
        if (!going_down) set_mode(&S::ready);
    }
    if (is("rj45_pt_enable") && !going_down) set_mode(&S::mode_doip_ethernet);
    if (is("M4_J2534")) set_mode(&S::mode_passthru);
    if (is("REC_ON")) set_mode(&S::mode_rec);
    if (is("DoIP_on")) set_mode(&S::mode_doip);
    if (is("p_off")) {
        set_mode(&S::power_down);
        for (const NamedFlag &channel : CHANNEL_FLAGS) state.*channel.flag = false;
    }
    if (is("p_on")) set_mode(&S::restarting);
    if (is("M4_update")) {
        show_box(&S::fw_overlay_shown);
        if (state.prod_mode) fw_status = "FW: Updating...";
        log.push_back({LOG_ERR, "updating!"});
    }
    if (is("M4_done")) update_ended(true);
    if (is("M4_error")) update_ended(false);
}

// ---- The two rows.

std::string Model::mode_line(const std::string &label, std::optional<std::string> file) {
    struct Check {
        bool DisplayState::*flag;
        const char *text;
    };
    using S = DisplayState;
    const Check checks[] = {
        {&S::no_warranty, "NO WARRANTY"},
        {&S::mode_diagnosis, "DIAGNOSIS"},
        {&S::mode_doip_ethernet, "DOIP ETHERNET"},
        {&S::mode_rec, state.rec_active ? "REC ON" : "REC ..."},
        {&S::mode_doip, "DOIP"},
        {nullptr, "the firmware-type file"},
        {&S::mode_passthru, "PASSTHRU"},
        {&S::power_down, "POWER DOWN"},
        {&S::restarting, "RESTARTING..."},
        {&S::ready, "READY"},
    };
    std::string shown = label;
    ended_early = false;
    for (const Check &check : checks) {
        if (!check.flag) {
            if (file) state.mode_passthru = *file == "FT_MAINAPP_J2534";
            continue;
        }
        if (!(state.*check.flag) || (check.flag == &S::ready && state.no_warranty)) continue;
        if (shown == check.text) {
            ended_early = true;
            return shown;
        }
        const bool warranty_before = state.no_warranty;
        set_mode(check.flag);
        state.no_warranty = warranty_before && check.flag == &S::no_warranty;
        shown = check.text;
        connectivity_line(false);
    }
    return shown;
}

int Model::view_to_show(bool force) const {
    const DisplayState &s = state;
    const int shown = s.conn_shown;
    const bool network = s.wifi_ssid[0] != '\0';
    const bool moved = strcmp(s.wifi_quality, s.last_quality) != 0;

    if (s.chan_vpn && shown != CONN_VPN) return CONN_VPN;
    if (s.power_down) {
        if (shown != CONN_SERIAL || s.chan_vpn) return CONN_SERIAL;
        if (s.chan_usb) return CONN_USB;
        if (s.chan_ap) return CONN_HOTSPOT;
    } else if (s.chan_usb) {
        if (shown != CONN_USB) return CONN_USB;
        if (s.chan_ap) return CONN_HOTSPOT;
    } else if (s.chan_ap && shown != CONN_HOTSPOT) {
        return CONN_HOTSPOT;
    }

    if (network && (s.chan_sta ? force || moved : force)) return CONN_STATION;
    if (s.chan_bt) return shown == CONN_BLUETOOTH ? NO_NEW_VIEW : int{CONN_BLUETOOTH};
    if (s.chan_sta || s.chan_vpn || s.chan_usb || s.chan_ap) return NO_NEW_VIEW;
    return shown == CONN_ICONS || s.power_down ? NO_NEW_VIEW : int{CONN_ICONS};
}

bool Model::connectivity_line(bool force) {
    if (!state.conn_box) return false;
    const int view = view_to_show(force);
    if (view == NO_NEW_VIEW) return false;
    state.conn_shown = view;
    if (view == CONN_STATION) {
        state.wifi_ssid[strcspn(state.wifi_ssid, "\n")] = '\0';
        snprintf(state.last_quality, sizeof(state.last_quality), "%s", state.wifi_quality);
    }
    row_was_built();
    return true;
}

void Model::connectivity_refresh_without_wifi() {
    state.chan_sta = false;
    connectivity_line(false);
}

// ---- Comparing.

#define NUMBER(name) \
    if (a.name != b.name) out += #name ": expected " + std::to_string(a.name) + ", is " + std::to_string(b.name) + "; ";
#define TEXT(name) \
    if (strcmp(a.name, b.name) != 0) out += #name ": expected '" + std::string(a.name) + "', is '" + b.name + "'; ";

std::string record_difference(const DisplayState &a, const DisplayState &b) {
    std::string out;
    for (const auto *flags : {&MODE_FLAGS, &CHANNEL_FLAGS, &BOX_FLAGS}) {
        for (const NamedFlag &named : *flags) {
            if (a.*named.flag != b.*named.flag)
                out += std::string(named.name) + " must be " + (a.*named.flag ? "1; " : "0; ");
        }
    }
    NUMBER(prod_mode)
    NUMBER(conn_shown)
    NUMBER(fw_time_to_full)
    NUMBER(fw_progress)
    TEXT(error_text)
    TEXT(fw_type_text)
    TEXT(last_quality)
    TEXT(wifi_ssid)
    TEXT(wifi_quality)
    if ((a.fw_type == nullptr) != (b.fw_type == nullptr)) out += "fw_type is NULL in one only; ";
    return out;
}

static int priority_of(const lv_task_t *task, int without) { return task ? int{task->prio} : without; }

Model Model::of_display() {
    Model model;
    model.state = display_state;
    model.voltage_prio = priority_of(display_state.voltage_task, LV_TASK_PRIO_OFF);
    model.progress_prio = priority_of(display_state.progress_task, LV_TASK_PRIO_OFF);
    if (display_state.fw_status_label) model.fw_status = lv_label_get_text(display_state.fw_status_label);
    model.other_objects = lv_obj_count_children(active_screen());
    return model;
}

std::string Model::difference() const {
    std::string out = record_difference(state, display_state);
    const auto compare = [&out](const char *what, int expected, int actual) {
        if (expected == actual) return;
        out += std::string(what) + ": expected " + std::to_string(expected) + ", is " + std::to_string(actual) + "; ";
    };
    compare("objects on the screen", other_objects + boxes, lv_obj_count_children(active_screen()));
    compare("voltage_task", voltage_prio, priority_of(display_state.voltage_task, voltage_prio));
    compare("progress_task", progress_prio, priority_of(display_state.progress_task, progress_prio));
    if (display_state.fw_status_label && fw_status != lv_label_get_text(display_state.fw_status_label)) {
        out += "the firmware row must be '" + fw_status + "'; ";
    }
    compare("log lines", static_cast<int>(log.size()), static_cast<int>(log_lines.size()));
    for (size_t i = 0; i < log.size() && i < log_lines.size(); i++) {
        compare("log priority", log[i].first, log_lines[i].priority);
        if (log[i].second != log_lines[i].text) out += "logged: " + log_lines[i].text + "; ";
    }
    return out;
}
