#include "timed_model.h"

#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <syslog.h>

#include <algorithm>
#include <optional>

#include "component/support.h"

// ---- The start

TimedModel::TimedModel(const std::string &start_screen, const BoxContent &content, const Periods &periods)
    : screen(start_screen), box(content) {
    static char some_row;
    const bool production = screen == "production";
    if (!production) state.conn_box = reinterpret_cast<lv_obj_t *>(&some_row);
    state.prod_mode = production;
    other_objects = production ? 4 : 6; // four rows; or two rows, two areas between them and two rules
    meter.on_active_screen = !production;
    voltage_prio = production ? LV_TASK_PRIO_OFF : LV_TASK_PRIO_MID;

    if (screen == "debug") begin(debug_task, periods.wifi_debug, true);
    if (screen == "normal") begin(meter_task, periods.meter, true);
    if (!production) begin(mode_task, periods.mode_line, true);
    if (!production) begin(activity_task, periods.activity, true);
    begin(refresh_task, periods.refresh, true);
    begin(animation_task, periods.animation, true);
    if (!production) begin(connectivity_task, periods.connectivity, true);
    if (production) begin(meter_task, periods.meter, false);
    begin(progress_task, periods.progress, false);

    if (production) log.push_back({LOG_ERR, "start prod interface."});
    log.push_back({LOG_INFO, "Listening for signals\n"});
    log.push_back({LOG_INFO, "Match rule sent\n"});
    queue.push_back({Step::message, "NameAcquired", {}, {}, 0}); // the bus's own
    if (!production) return;
    const std::string name = first_line("/rodata/bluetooth_name", "ERROR");
    for (const std::string &text : {"SN: " + first_line("/rodata/serial_number", "ERROR"),
                                    "BT: " + name.substr(name.rfind('=') + 1), std::string("HW: QB418T")}) {
        identity.push_back({Item::text, text, 16, 0, Place::left, 0, 0, 0});
    }
    asked.push_back("/usr/local/bin/vcicp vjack");
}

// ---- Time

void TimedModel::begin(Task task, uint32_t period, bool on) {
    timers[task] = {period, 0, on};
    order.push_back(task);
}

// A task that is switched on comes before the others of its priority: only the debug panel's is higher.
void TimedModel::follow_priorities() {
    for (const Task task : {meter_task, progress_task}) {
        const bool on = (task == meter_task ? voltage_prio : progress_prio) != LV_TASK_PRIO_OFF;
        if (timers[task].period == 0 || timers[task].on == on) continue;
        timers[task].on = on;
        order.erase(std::find(order.begin(), order.end(), task));
        order.insert(on ? order.begin() + (order[0] == debug_task) : order.end(), task);
    }
}

void TimedModel::pass(uint32_t ms) {
    const int64_t end = now + ms;
    while (now < end) {
        int64_t next = queue.empty() ? end : now + 1;
        for (const Timer &timer : timers) {
            if (timer.on) next = std::min(next, timer.last + int64_t{timer.period});
        }
        now = std::max(next, now + 1); // what is overdue runs in the next pass
        const std::vector<Task> tasks = order;
        for (const Task task : tasks) {
            Timer &timer = timers[task];
            if (!timer.on || now - timer.last < int64_t{timer.period}) continue;
            timer.last = now;
            run(task);
        }
        if (queue.empty()) continue;
        take(queue.front());
        queue.pop_front();
    }
}

void TimedModel::run(Task task) {
    if (task == refresh_task) {
        if (changed) drawn_scene = scene();
        ever_drawn = true;
        changed = false;
        return;
    }
    if (task == animation_task) {
        for (Box &one : shown) {
            if (one.bar.moved_ms >= 0) changed = true;
            one.bar.move(static_cast<int>(timers[task].period));
        }
        return;
    }
    changed = true;
    switch (task) {
        case debug_task: read_debug_values(); break;
        case progress_task: step_progress(); break;
        case meter_task: measure(); break;
        case mode_task: step_mode_line(); break;
        case activity_task: step_activity(); break;
        case connectivity_task: refresh_connectivity(); break;
        default: break;
    }
}

// ---- Messages

static bool is_display(const Step &step) { return step.kind == Step::send || step.word.empty(); }

void TimedModel::take(const Step &step) {
    changed = true;
    if (step.kind == Step::send) {
        carry_out(step);
    } else if (is_display(step)) {
        log.push_back({LOG_ERR, step.arguments.empty() ? "Message Has No Parameters\n" : "Argument is not string!\n"});
    }
    state.no_warranty = !box.has("/rodata/wlock");
    follow_priorities();
}

// Each argument is read only when it is there in its type, and what stands before it too.
void TimedModel::carry_out(const Step &step) {
    const auto word = std::find_if(ALL_WORDS.begin(), ALL_WORDS.end(),
                                   [&step](const std::string &one) { return step.word.rfind(one, 0) == 0; });
    auto lines = std::move(log);
    log.clear();
    lines.push_back({LOG_INFO, "Got Signal with value " + step.word + "\n"});
    size_t next = 0;
    const auto has = [&](const char *code) {
        return next < step.arguments.size() && step.arguments[next].code == code;
    };
    std::optional<int32_t> seconds;
    std::optional<std::string> text;
    const bool update = word != ALL_WORDS.end() && *word == "cd_update";
    if (update && has("i")) seconds = step.arguments[next++].number;
    if ((!update || seconds) && has("s")) text = step.arguments[next].text;
    if (word != ALL_WORDS.end()) command(*word, seconds, text);
    for (auto &[priority, line] : log) {
        if (line == "not alone my friend... Error_Code\n") line = "not alone my friend... " + step.word + "\n";
        // The type as it is kept.
        if (line.rfind("fw type is: ", 0) == 0) line = std::string("fw type is: ") + state.fw_type + "\n";
    }
    log.insert(log.begin(), lines.begin(), lines.end());
}

// ---- Boxes

void TimedModel::Bar::set_range(int32_t end) {
    end_of_range = static_cast<int16_t>(static_cast<uint16_t>(static_cast<uint32_t>(end) & 0xFFFF));
    value = std::max(std::min(value, end_of_range), 0);
}

void TimedModel::Bar::set_value(uint32_t wanted) {
    const int cut = static_cast<int16_t>(static_cast<uint16_t>(wanted & 0xFFFF));
    const int next = std::max(std::min(cut, end_of_range), 0);
    if (value == cut || value == next) return;
    from = moved_ms < 0 ? value : to;
    to = next;
    moved_ms = 0;
}

void TimedModel::Bar::move(int ms) {
    if (moved_ms < 0) return;
    moved_ms += ms;
    if (moved_ms < 100) return;
    value = std::max(std::min(to, end_of_range), 0);
    moved_ms = -1;
}

int TimedModel::Bar::lit() const {
    constexpr int columns = 98;
    if (end_of_range == 0) return 0;
    const auto column = [this](int at) { return columns * at / end_of_range; };
    if (moved_ms < 0) return std::max(0, std::min(columns, column(value)));
    const int share = (moved_ms * 1024 / 100 * 256) >> 10; // of 256
    const int lit = column(from) + (((column(to) - column(from)) * share) >> 8);
    return std::max(0, std::min(columns, lit));
}

void TimedModel::show_box(bool DisplayState::*flag) {
    Model::show_box(flag);
    Box one = {Box::reboot, "", {}};
    if (flag == &DisplayState::error_shown) one = {Box::error, state.error_text, {}};
    if (flag == &DisplayState::ignition_shown) one = {Box::ignition, "", {}};
    tracked = static_cast<int>(shown.size());
    if (flag == &DisplayState::fw_overlay_shown) {
        // A new label of LVGL's says "Text".
        one = {Box::firmware, state.fw_type != nullptr ? state.fw_type_text : "Text", {}};
        one.bar.set_range(state.fw_time_to_full);
        latest_fw = tracked;
    }
    shown.push_back(one);
}

void TimedModel::show_usb_box() {
    Model::show_usb_box();
    shown.push_back({Box::usb, "", {}});
}

void TimedModel::restart_fw_box() {
    if (latest_fw < 0) return;
    Box &one = shown[static_cast<size_t>(latest_fw)];
    one.text = state.fw_type_text;
    one.bar.set_range(state.fw_time_to_full);
    one.bar.set_value(0);
}

void TimedModel::close_box() {
    if (any_box()) {
        shown.erase(shown.begin() + tracked);
        if (latest_fw == tracked) latest_fw = -1;
        if (latest_fw > tracked) latest_fw--;
        tracked = -1;
    }
    Model::close_box();
}

void TimedModel::step_progress() {
    state.fw_progress++;
    if (state.fw_progress > static_cast<uint32_t>(state.fw_time_to_full)) return;
    if (latest_fw >= 0) shown[static_cast<size_t>(latest_fw)].bar.set_value(state.fw_progress);
}

// ---- Probes

std::string TimedModel::run_tool(const std::string &command, size_t limit, const std::string &before, bool *started) {
    asked.push_back(command);
    const std::optional<std::string> output = box.tool(command);
    if (started != nullptr) *started = output.has_value();
    return output ? last_piece(*output, limit, before) : before;
}

std::string TimedModel::first_line(const std::string &path, const std::string &if_missing) const {
    const std::optional<std::string> bytes = box.file(path);
    return bytes ? bytes->substr(0, bytes->find('\n')) : if_missing;
}

bool TimedModel::link_file_says(const std::string &path, const std::string &wanted) {
    const std::optional<std::string> bytes = box.file(path);
    if (!bytes) return false;
    const size_t start = std::min(bytes->find_first_not_of(" \t\n"), bytes->size());
    if (bytes->substr(start, bytes->find_first_of(" \t\n", start) - start) == wanted) return true;
    state.wifi_ssid[0] = '\0';
    return false;
}

bool TimedModel::wifi_link_is_up() {
    if (!link_file_says("/sys/class/net/wlan0/link_mode", "1")) return false;
    if (!link_file_says("/sys/class/net/wlan0/operstate", "up")) return false;
    bool started = false;
    const std::string ssid =
        run_tool("iw wlan0 info|grep ssid|awk '{$1=\"\"; print substr($0,2)}'", 63, state.wifi_ssid, &started);
    snprintf(state.wifi_ssid, sizeof(state.wifi_ssid), "%s", ssid.c_str());
    return started;
}

// Percent for the strongest signal of each step, from there to the next one's.
struct QualityStep {
    long dbm;
    const char *percent;
};
static const QualityStep quality_steps[] = {
    {-1, "100"}, {-21, "99"}, {-24, "98"}, {-27, "97"}, {-29, "96"}, {-31, "95"}, {-33, "94"}, {-34, "93"},
    {-36, "92"}, {-37, "91"}, {-38, "90"}, {-41, "88"}, {-42, "87"}, {-43, "86"}, {-44, "85"}, {-45, "84"},
    {-46, "83"}, {-47, "82"}, {-48, "81"}, {-49, "80"}, {-50, "79"}, {-51, "78"}, {-52, "76"}, {-53, "75"},
    {-54, "74"}, {-55, "73"}, {-56, "71"}, {-57, "70"}, {-58, "69"}, {-59, "67"}, {-60, "66"}, {-61, "64"},
    {-62, "63"}, {-63, "61"}, {-64, "60"}, {-65, "58"}, {-66, "56"}, {-67, "55"}, {-68, "53"}, {-69, "51"},
    {-70, "50"}, {-71, "48"}, {-72, "46"}, {-73, "44"}, {-74, "42"}, {-75, "40"}, {-76, "38"}, {-77, "36"},
    {-78, "34"}, {-79, "32"}, {-80, "30"}, {-81, "28"}, {-82, "26"}, {-83, "24"}, {-84, "22"}, {-85, "20"},
    {-86, "17"}, {-87, "15"}, {-88, "13"}, {-89, "10"}, {-90, "8"},  {-91, "6"},  {-92, "3"},  {-93, "1"},
};

void TimedModel::read_quality() {
    const std::string line = run_tool("iw dev wlan0 link|grep signal|awk '{print $2}'", 63, "");
    const long dbm = strtol(line.c_str(), nullptr, 10);
    if (dbm > -1 || dbm < -1000) return;
    for (const QualityStep &step : quality_steps) {
        if (dbm <= step.dbm) state.wifi_quality = step.percent;
    }
}

void TimedModel::read_debug_values() {
    rssi = run_tool("iw dev wlan0 link|grep signal|awk '{print $2}'", 127, rssi);
    noise = run_tool("wl noise", 127, noise);
    for (std::string *text : {&noise, &rssi}) *text = text->substr(0, text->find('\n'));
}

void TimedModel::measure() {
    MeterInput input;
    input.scale = box.file("/sys/bus/iio/devices/iio:device0/in_voltage_scale");
    input.raw = box.file("/sys/bus/iio/devices/iio:device0/in_voltage0_raw");
    input.jack_ready = box.has("/tmp/.app_rcv_command_ready");
    input.jack = {box.tool("/usr/local/bin/vcicp vjack")};
    meter.power_down = state.power_down;
    meter.run(input);
    asked.insert(asked.end(), meter.jack_runs, "/usr/local/bin/vcicp vjack");
}

// ---- Rows

void TimedModel::step_mode_line() {
    std::optional<std::string> type;
    const std::optional<std::string> bytes = box.file("/tmp/fw_type_running");
    if (bytes && !bytes->empty()) type = first_line("/tmp/fw_type_running", "");
    mode_text = mode_line(mode_text, type);
}

void TimedModel::step_activity() {
    state.activity_step++;
    const int step = state.activity_step;
    if (state.activity_step > 59) state.activity_step = 0;
    const std::string set = box.has("/tmp/bada") ? "img_activity_alt_" : "img_activity_";
    if (step < 15 || step == 60) activity_picture = set + "1";
    if ((step > 15 && step < 30) || (step > 45 && step < 60)) activity_picture = set + "2";
    if (step > 30 && step < 45) activity_picture = set + "3";
    activity_y = -1;
}

void TimedModel::refresh_connectivity() {
    const bool other = state.chan_usb || state.chan_bt || state.chan_ap || state.chan_vpn || state.power_down;
    state.chan_sta = !other && wifi_link_is_up();
    if (state.chan_sta) read_quality();
    connectivity_line(false);
}

static Item icon(const char *name, Place place, int x, int y) { return {Item::picture, name, 0, 0, place, x, y, 0}; }
static Item row_text(const std::string &text) { return {Item::text, text, 16, -4, Place::centre, 0, 0, 0}; }

void TimedModel::row_was_built() {
    const auto channel = [this](const char *name, const char *picture) {
        connectivity_row = {row_text(name), icon(picture, Place::right, 0, -2)};
    };
    switch (state.conn_shown) {
        case CONN_VPN: connectivity_row = {row_text("WireGuard VPN")}; break;
        case CONN_USB: channel("USB", "icon_usb"); break;
        case CONN_HOTSPOT: channel("HOTSPOT", "icon_hotspot"); break;
        case CONN_BLUETOOTH: channel("BLUETOOTH", "icon_bt"); break;
        case CONN_SERIAL: connectivity_row = {row_text("SN: " + first_line("/rodata/serial_number", "-"))}; break;
        case CONN_STATION: {
            channel(cut_to(state.wifi_ssid, 11).c_str(), "icon_wifi");
            const int quality = atoi(state.wifi_quality);
            const char *signal = quality <= 25   ? "icon_signal_1"
                                 : quality <= 50 ? "icon_signal_2"
                                 : quality <= 75 ? "icon_signal_3"
                                                 : "icon_signal_4";
            connectivity_row.push_back(icon(signal, Place::left, 0, -2));
            break;
        }
        default:
            if (box.has("/userdata/configs/no_ap")) {
                connectivity_row = {icon("icon_wifi", Place::centre, -13, -2), icon("icon_usb", Place::centre, 0, -2),
                                    icon("icon_bt", Place::centre, 13, -2)};
            } else {
                connectivity_row = {icon("icon_wifi", Place::centre, -20, -2), icon("icon_usb", Place::centre, -7, -2),
                                    icon("icon_hotspot", Place::centre, 7, -2), icon("icon_bt", Place::centre, 20, -2)};
            }
    }
}

// ---- What lies on the screen

Area TimedModel::mode_row() const {
    Area row = {5, 50, 118, 16, 0, 0, {}};
    row.items.push_back({Item::text, mode_text, 16, 0, Place::centre, 0, 0, 0});
    row.items.push_back(icon(activity_picture.c_str(), Place::right, 0, activity_y));
    row.items.push_back(icon(meter.icon_is_supply ? "img_supply_1" : "img_jack", Place::left, 0, -1));
    return row;
}

std::vector<Area> TimedModel::measurement() const {
    const auto text = [](const std::string &what, Place place, int x) {
        return Item{Item::text, what, 16, -4, place, x, 0, 0};
    };
    if (screen == "debug") {
        return {{64, 18, 59, 30, 0, 0, {text("noise", Place::top_left, 0), text("rssi", Place::bottom_left, 0)}},
                {5, 18, 59, 30, 0, 0, {text(noise, Place::top_right, -2), text(rssi, Place::bottom_right, -2)}}};
    }
    const Item volts = {Item::text, meter.label, 32, 0, Place::centre, 0, 0, 0};
    return {{73,
             18,
             57,
             30,
             0,
             0,
             {text(meter.highest_label, Place::top_left, 0), text(meter.lowest_label, Place::bottom_left, 0)}},
            {9, 18, 63, 30, 0, 0, {volts}}};
}

std::vector<Area> TimedModel::production_rows() const {
    std::vector<Area> rows;
    std::vector<Item> texts = identity;
    texts.push_back({Item::text, fw_status, 16, 0, Place::left, 0, 0, 0});
    for (const Item &text : texts) rows.push_back({0, 12 * static_cast<int>(rows.size()), 128, 12, 0, 0, {text}});
    return rows;
}

Area TimedModel::area_of(const Box &one) const {
    const auto text = [](const std::string &what, int x, int y, int font = 16) {
        return Item{Item::text, what, font, -4, Place::centre, x, y, 0};
    };
    Area area = {5, 5, 120, 54, 2, 4, {}};
    switch (one.kind) {
        case Box::reboot:
            area.items = {icon("icon_reboot", Place::centre, -30, -2), text("PLEASE\nREBOOT", 20, 0)};
            break;
        case Box::ignition:
            area.items = {icon("icon_ignition", Place::centre, -30, -2), text("   CHECK  \nIGNITION", 20, 0)};
            break;
        case Box::error: area.items = {icon("icon_error", Place::centre, -34, 0), text(one.text, 14, 0)}; break;
        case Box::firmware:
            area = {4, 4, 120, 56, 2, 4, {text("FW UPGRADE...", 0, -14), text(one.text, 0, -2, 8)}};
            area.items.push_back({Item::bar, "", 0, 0, Place::top_left, 9, 36, one.bar.lit()});
            break;
        case Box::usb:
            area = {PANEL_WIDTH / 2 - 55, PANEL_HEIGHT / 2 - 28, 110, 56, 2, 2, {}};
            // Three pixels below the edge: the border, and one of LVGL's text area.
            area.items.push_back({Item::centred_text, "USB\nUpgrade\n...", 16, 0, Place::top_left, 3, 3, 0});
            break;
    }
    return area;
}

Scene TimedModel::scene() const {
    Scene all;
    if (screen == "production") {
        all.rows = production_rows();
    } else {
        all.rows = measurement();
        all.rows.push_back(mode_row());
        all.rows.push_back({5, 0, 118, 16, 0, 0, connectivity_row});
        all.rules = {{5, 123, 49}, {5, 123, 14}};
    }
    for (const Box &one : shown) all.boxes.push_back(area_of(one));
    return all;
}

// ---- Comparing

void TimedModel::forget_log() {
    log.clear();
    asked.clear();
}

static std::string listed(const std::vector<std::string> &all) {
    std::string out;
    for (const std::string &one : all) out += one + "; ";
    return out;
}

std::string TimedModel::record_difference() const {
    std::string out = difference();
    const auto number = [&out](const char *what, double expected, double actual) {
        if (expected == actual) return;
        out += std::string(what) + ": expected " + std::to_string(expected) + ", is " + std::to_string(actual) + "; ";
    };
    const auto text = [&out](const char *what, const std::string &expected, const char *actual) {
        if (expected != actual) out += std::string(what) + ": expected '" + expected + "', is '" + actual + "'; ";
    };
    const DisplayState &is = display_state;
    number("supply_voltage", static_cast<double>(meter.supply), static_cast<double>(is.supply_voltage));
    number("jack_voltage", static_cast<double>(meter.jack), static_cast<double>(is.jack_voltage));
    number("voltage_min", static_cast<double>(meter.lowest), static_cast<double>(is.voltage_min));
    number("voltage_max", static_cast<double>(meter.highest), static_cast<double>(is.voltage_max));
    number("voltage_last_whole", meter.last_whole, is.voltage_last_whole);
    number("source_icon_is_supply", meter.icon_is_supply, is.source_icon_is_supply);
    number("activity_step", state.activity_step, is.activity_step);
    text("scale_text", meter.scale_text, is.scale_text);
    text("raw_text", meter.raw_text, is.raw_text);
    text("vjack_text", meter.jack_text, is.vjack_text);
    text("debug_noise_text", noise, is.debug_noise_text);
    text("debug_rssi_text", rssi, is.debug_rssi_text);
    if (asked != shell_commands)
        out += "asked of the shell: expected " + listed(asked) + "is " + listed(shell_commands);
    return out;
}
