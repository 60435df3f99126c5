#include "beside.h"

#include <algorithm>
#include <memory>

#include "app/listener.h"
#include "component/listener_bus.h"
#include "component/widgets.h"

Beside::Beside(const Periods &model_periods) : periods(model_periods) {
    SetUp();
    test_clock_us = CLOCK_AT_START_US;
    for (const char *path :
         {"/tmp/fw_type_running", "/tmp/bada", "/tmp/.app_rcv_command_ready", "/userdata/configs/no_ap",
          "/userdata/debug_wlan0", "/rodata/serial_number", "/rodata/bluetooth_name", "/rodata/wlock",
          "/sys/class/net/wlan0/link_mode", "/sys/class/net/wlan0/operstate",
          "/sys/bus/iio/devices/iio:device0/in_voltage0_raw", "/sys/bus/iio/devices/iio:device0/in_voltage_scale"}) {
        remove_file(path);
    }
    answer_commands([this](const std::string &command) { return in_place.tool(command); });
}

Beside::~Beside() { TearDown(); }

// ---- The daemon

// An empty screen that is drawn, and a clock at its start: LVGL's own tasks run in the first pass, since for them time
// has gone back, and so each sequence finds them at the same point.
void Beside::start_over() {
    take_screen_down();
    test_clock_us = CLOCK_AT_START_US;
    lv_task_handler();
    draw_now();
    listener_bus = {};
    in_place.tools = empty_box().tools;
    fill_box(empty_box());
}

void Beside::fill_box(const BoxContent &content) {
    for (const auto &[path, bytes] : content.files) {
        if (in_place.file(path) != bytes) write_file(path, bytes);
    }
    for (const auto &[path, bytes] : in_place.files) {
        if (!content.has(path)) remove_file(path);
    }
    in_place = content;
}

void Beside::start(const std::string &screen) {
    BoxContent content = in_place;
    if (screen == "debug") content.files["/userdata/debug_wlan0"] = "";
    fill_box(content);
    if (screen == "production")
        build_production_screen();
    else
        build_status_screen();
    connection = listener_connect();
}

static DBusMessage *message_of(const Step &step) {
    const bool other = step.kind == Step::message && !step.word.empty();
    DBusMessage *message =
        dbus_message_new_signal("/zor/signal", "zor.signal.Type", other ? step.word.c_str() : "Display");
    if (message == nullptr) abort();
    if (step.kind == Step::send) append_argument(message, step.word);
    for (const Argument &argument : step.arguments) append_argument(message, argument);
    return message;
}

// As the loop does after the tasks of a pass. Passes without a message do not poll: a poll that finds nothing changes
// nothing.
void Beside::receive(const Step &step) {
    listener_bus.receive(message_of(step));
    if (listener_poll(connection)) display_state.no_warranty = access("/rodata/wlock", F_OK) != 0;
    listener_bus.calls.clear();
}

// ---- Beside the model

// As the sheets have it, and '?' where a pixel may be either.
static std::string row_of(const Picture &picture, int y) {
    std::string text;
    for (int x = 0; x < PANEL_WIDTH; x++) text += ".#?"[picture[static_cast<size_t>(y * PANEL_WIDTH + x)]];
    return text;
}

static std::string actual_row(int y) {
    std::string text;
    for (int x = 0; x < PANEL_WIDTH; x++) text += pixel(x, y) ? '#' : '.';
    return text;
}

static bool differs(Pixel must, bool is) { return must != either && (must == lit) != is; }

std::string Beside::panel_difference(const TimedModel &model) {
    // Until then it is what start_over() has left.
    if (!model.was_drawn()) return "";
    const Picture &expected = painter.paint(model.drawn());
    const bool *actual = panel_pixels();
    panels_compared++;
    unsigned different = 0;
    for (size_t i = 0; i < expected.size(); i++) different += differs(expected[i], actual[i]);
    if (different == 0) return "";
    std::string out = std::to_string(different) + " pixels of the panel:\n";
    for (int y = 0; y < PANEL_HEIGHT; y++) {
        const std::string must = row_of(expected, y), is = actual_row(y);
        if (!std::equal(must.begin(), must.end(), is.begin(), [](char a, char b) { return a == b || a == '?'; })) {
            out += "row " + std::to_string(y) + " must be " + must + "\n    and is  " + is + "\n";
        }
    }
    return out;
}

Difference Beside::run(const Sequence &sequence) {
    start_over();
    std::unique_ptr<TimedModel> model;
    BoxContent content = empty_box();
    for (size_t i = 0; i < sequence.size(); i++) {
        const Step &step = sequence[i];
        log_lines.clear();
        shell_commands.clear();
        if (model) model->forget_log();
        switch (step.kind) {
            case Step::box:
            case Step::file:
            case Step::tool:
                change(content, step);
                fill_box(content);
                if (model) model->change_box(content);
                break;
            case Step::start:
                model = std::make_unique<TimedModel>(step.word, content, periods);
                start(step.word);
                break;
            case Step::send:
            case Step::message:
                run_for(1);
                ms_run++;
                receive(step);
                model->pass(1);
                model->take(step);
                break;
            case Step::wait:
                run_for(step.ms);
                ms_run += step.ms;
                model->pass(step.ms);
                break;
        }
        steps_run++;
        if (!model) continue;
        Difference difference = {i, model->record_difference(), panel_difference(*model)};
        if (difference.any()) return difference;
    }
    return {};
}
