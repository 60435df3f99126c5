// The demo's steps, and how one is played.
#include "simulator/live/demo.h"

#include <functional>
#include <string>
#include <vector>

#include <unistd.h>

#include "panel/terminal.h"
#include "simulator/live/ending.h"

namespace display_sim {

// Where a step shows. Only the text of the mode row: the icon at its end moves by itself.
struct Area {
    int x, y, width, height;
};
static constexpr Area everywhere{0, 0, 128, 128};
static constexpr Area connectivity_row{0, 0, 128, 16};
static constexpr Area mode_text{20, 50, 88, 16};
static constexpr Area voltage{9, 18, 55, 30};
static constexpr Area source_icon{5, 50, 13, 16};
static constexpr Area box_in_front{5, 5, 59, 54};

struct Command {
    std::string word;
    std::vector<desk::Argument> further = {};
};

struct Step {
    const char *caption;
    // Happens to the box before the command; may be empty.
    std::function<void(desk::Box &)> event;
    // Sent one after the other; may be none.
    std::vector<Command> commands;
    // How long the panel follows: the mode row is redrawn twice a second, the connectivity row each two
    // seconds.
    int64_t settle_ms;
    // Each of these must look different afterwards.
    std::vector<Area> changes;
};

static void join_network(desk::Box &box) {
    box.set_ssid("Workshop");
    box.set_signal_dbm(-48);
    box.set_wifi_link(true);
}

static void supply_sinks(desk::Box &box) {
    box.set_supply_volts(11.3);
}

static void supply_gone(desk::Box &box) {
    box.set_supply_volts(0.2);
    box.set_jack_millivolts(12300);
    box.set_jack_ready(true);
}

static const std::vector<Step> &steps() {
    static const std::vector<Step> all = {
        {"Start-up", nullptr, {}, 2500, {everywhere}},
        {"A phone connects by Bluetooth: chan_bt", nullptr, {{"chan_bt"}}, 600, {connectivity_row}},
        {"The coprocessor is ready: M4_ready", nullptr, {{"M4_ready"}}, 600, {mode_text}},
        {"Recording, confirmed by the coprocessor: REC_ON, M4_COMM", nullptr, {{"REC_ON"}, {"M4_COMM"}}, 600,
         {mode_text}},
        {"Bluetooth gone (chan_timeout), the box joins the network Workshop at -48 dBm", join_network,
         {{"chan_timeout"}}, 2500, {connectivity_row}},
        {"The supply voltage falls", supply_sinks, {}, 600, {voltage}},
        {"It fails, and the voltage comes from the vehicle jack", supply_gone, {}, 600, {voltage, source_icon}},
        {"A firmware update of 120 s begins: cd_update 120 MAIN_FW", nullptr,
         {{"cd_update", {int32_t{120}, "MAIN_FW"}}}, 600, {box_in_front}},
        {"Half of it is done, a minute later", nullptr, {}, 60000, {box_in_front}},
        {"It fails: M4_error", nullptr, {{"M4_error"}}, 600, {box_in_front}},
        {"The message is cleared: clear_msg", nullptr, {{"clear_msg"}}, 600, {box_in_front}},
        {"Power goes down, the serial number shows: p_off", nullptr, {{"p_off"}}, 2500,
         {connectivity_row, mode_text}},
    };
    return all;
}

static void perform(desk::Desk &desk, const Step &step) {
    if (step.event) step.event(desk.box());
    for (const Command &command : step.commands) desk.send_and_settle(command.word, command.further, 10);
    desk.advance(step.settle_ms);
}

static void expect_change(const Step &step, const desk::Picture &before, const desk::Picture &now) {
    for (const Area &area : step.changes) {
        const auto cut = [&area](const desk::Picture &whole) {
            return whole.part(area.x, area.y, area.width, area.height);
        };
        if (cut(before) == cut(now)) {
            throw desk::Error(std::string("the panel does not follow the step \"") + step.caption + "\"");
        }
    }
}

// The rows that matter, in a terminal as large as the caption leaves room for.
static std::string drawn(const desk::Picture &picture, std::optional<panel::Style> style) {
    const panel::Look look = panel::look_for(STDOUT_FILENO, style);
    panel::Place place = panel::place_of(STDOUT_FILENO);
    place.lines -= 4;
    const desk::Picture upper = picture.part(0, 0, picture.width(), panel::rows_that_matter(picture));
    std::string text;
    for (const std::string &line : panel::fitted(upper, look.style, place).lines) {
        text += panel::dressed(line, look) + "\n";
    }
    return text;
}

void play_demo(desk::Desk &desk, std::optional<panel::Style> style) {
    desk::Picture before(desk.panel().geometry().xres, desk.panel().geometry().yres);
    int number = 0;
    for (const Step &step : steps()) {
        if (end_wanted()) return;
        perform(desk, step);
        const desk::Picture now = desk.picture();
        print("\n" + std::to_string(++number) + ". " + step.caption + "\n" + drawn(now, style));
        expect_change(step, before, now);
        before = now;
    }
    print("\ndisplayctl and display-sim, ready to be called by name:\n  export PATH=\"" PROGRAM_FOLDERS ":$PATH\"\n");
}

} // namespace display_sim
