#include "beside.h"

#include <algorithm>
#include <memory>

#include "app/listener.h"
#include "component/listener_bus.h"
#include "component/model.h"
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
    while (connection != nullptr && listener_poll(connection)) {
    }
    take_screen_down();
    test_clock_us = CLOCK_AT_START_US;
    lv_task_handler();
    draw_now();
    listener_bus = {};
    open_pipes = null_pcloses = 0;
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
    receive({Step::message, "NameAcquired", {}, {}, 0});
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

void Beside::receive(const Step &step) { listener_bus.receive(message_of(step)); }

// The loop. Passes without a message do not poll: a poll that finds nothing changes nothing.
void Beside::pass(uint32_t ms) {
    for (; ms > 0; ms--) {
        run_for(1);
        if (listener_bus.socket.empty() && listener_bus.queue.empty()) continue;
        if (listener_poll(connection)) display_state.no_warranty = access("/rodata/wlock", F_OK) != 0;
        listener_bus.calls.clear();
    }
}

// What the daemon has taken it must give back.
static std::string not_given_back() {
    std::string out;
    const size_t waiting = listener_bus.socket.size() + listener_bus.queue.size();
    if (static_cast<size_t>(listener_bus.alive) != waiting) {
        out += std::to_string(listener_bus.alive) + " messages are alive, and " + std::to_string(waiting) + " wait; ";
    }
    if (open_pipes != 0) out += std::to_string(open_pipes) + " pipes are open; ";
    if (null_pcloses != 0) out += "a pipe is closed that was never opened; ";
    return out;
}

// ---- Beside the model

// As the sheets have it, and '?' where a pixel may be either.
static std::string row_of(const Picture &picture, int y) {
    std::string text;
    for (int x = 0; x < PANEL_WIDTH; x++) text += ".#?"[picture[index_of(x, y)]];
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
    scenes.insert(std::hash<std::string>()(model.drawn().key()));
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

// ---- Figures

void Beside::count(const Step &step) {
    kinds[step.kind]++;
    if (step.kind != Step::send) return;
    for (const std::string &word : ALL_WORDS) {
        if (step.word.rfind(word, 0) == 0) words[word]++;
    }
}

std::string Beside::summary() const {
    uint64_t steps = 0;
    for (const auto &[kind, times] : kinds) steps += times;
    const auto share = [&](std::initializer_list<Step::Kind> some) {
        uint64_t times = 0;
        for (const Step::Kind kind : some) times += kinds.count(kind) != 0 ? kinds.at(kind) : 0;
        return std::to_string(steps == 0 ? 0 : (times * 100 + steps / 2) / steps) + " %";
    };
    const auto fewer = [](const auto &a, const auto &b) { return a.second < b.second; };
    const auto [rarest, commonest] = std::minmax_element(words.begin(), words.end(), fewer);
    std::string out = std::to_string(steps) + " steps: " + share({Step::send}) + " commands, " +
                      share({Step::message}) + " other messages, " + share({Step::box, Step::file, Step::tool}) +
                      " files and tools, " + share({Step::elapse}) + " time, " + share({Step::start}) + " starts\n";
    if (!words.empty()) {
        out += std::to_string(words.size()) + " of " + std::to_string(ALL_WORDS.size()) + " words: from " +
               rarest->first + " " + std::to_string(rarest->second) + " times to " + commonest->first + " " +
               std::to_string(commonest->second) + " times\n";
    }
    return out + std::to_string(ms_run / 3600000) + " hours of the display's time; " + std::to_string(panels_compared) +
           " panels compared, of " + std::to_string(scenes.size()) + " different scenes\n";
}

// ---- The run

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
                receive(step);
                model->receive(step);
                break;
            case Step::elapse:
                pass(step.ms);
                ms_run += step.ms;
                model->pass(step.ms);
                break;
        }
        count(step);
        if (!model) continue;
        Difference difference = {i, model->record_difference() + not_given_back(), panel_difference(*model)};
        if (difference.any()) return difference;
    }
    return {};
}
