// The plain model of the display in time: what the record holds after each millisecond, what is asked of the shell, and
// what lies on the screen. It stands on the models of the component tests, and adds the periods of the tasks, the
// files and tools that they look at, and every text and picture that is up.
#pragma once

#include <stdint.h>

#include <deque>
#include <string>
#include <vector>

#include "component/model.h"
#include "component/voltage_model.h"
#include "painter.h"
#include "sequence.h"

/// What the model takes for granted about time, in milliseconds. A test makes a wrong one of it.
struct Periods {
    uint32_t wifi_debug = 500, progress = 1000, meter = 500, mode_line = 500, activity = 100, refresh = 10,
             animation = 10, connectivity = 2000;
};

class TimedModel : private Model {
public:
    TimedModel(const std::string &screen, const BoxContent &box, const Periods &periods);

    /// The box changes.
    void change_box(const BoxContent &content) { box = content; }

    /// A message comes, which a pass will take: one each, behind its tasks.
    void receive(const Step &step) { queue.push_back(step); }

    /// So many milliseconds pass, each with one pass of the loop.
    void pass(uint32_t ms);

    /// "" when the record, the tasks, the objects, the log and what was asked of the shell are as modelled, else what
    /// differs. Log and shell are what came since the last forget_log().
    std::string record_difference() const;
    void forget_log();

    /// What was there to be seen when the panel was last drawn.
    const Scene &drawn() const { return drawn_scene; }
    bool was_drawn() const { return ever_drawn; } ///< since the start

private:
    // The order of tasks that are due in the same pass: by priority, and those of the same one newest first.
    enum Task {
        debug_task,
        progress_task,
        meter_task,
        mode_task,
        activity_task,
        refresh_task,
        animation_task,
        connectivity_task,
        task_count
    };
    struct Timer {
        uint32_t period = 0;
        int64_t last = 0;
        bool on = false;
    };

    // A firmware bar moves within a tenth of a second, as LVGL has it: from where the last move would have ended.
    struct Bar {
        int end_of_range = 100, value = 0;
        int from = 0, to = 0, moved_ms = -1; ///< -1: it stands still
        void set_range(int32_t end);
        void set_value(uint32_t wanted);
        void move(int ms);
        int lit() const;
    };
    struct Box {
        enum Kind { reboot, error, ignition, firmware, usb } kind;
        std::string text;
        Bar bar;
    };

    void show_box(bool DisplayState::*flag) override;
    void show_usb_box() override;
    void restart_fw_box() override;
    void close_box() override;
    void row_was_built() override;
    bool wifi_link_is_up() override;

    void take(const Step &step);
    void carry_out(const Step &step);
    void begin(Task task, uint32_t period, bool on);
    void follow_priorities();
    void run(Task task);
    void step_progress();
    void measure();
    void step_mode_line();
    void step_activity();
    void refresh_connectivity();
    void read_quality();
    void read_debug_values();
    std::string run_tool(const std::string &command, size_t limit, const std::string &before, bool *started = nullptr);
    bool link_file_says(const std::string &path, const std::string &wanted);
    std::string first_line(const std::string &path, const std::string &if_missing) const;

    Scene scene() const;
    Area mode_row() const;
    std::vector<Area> measurement() const;
    std::vector<Area> production_rows() const;
    Area area_of(const Box &box) const;

    const std::string screen;
    BoxContent box;
    std::deque<Step> queue;
    int64_t now = 0;
    std::vector<Task> order;
    Timer timers[task_count];

    std::vector<Box> shown;           ///< lowest first
    int tracked = -1, latest_fw = -1; ///< in `shown`; -1: none

    std::vector<Item> connectivity_row;
    std::string mode_text = "AUTOCHECK...";
    std::string activity_picture = "img_activity_1";
    int activity_y = -2;
    MeterModel meter;
    std::string noise, rssi;
    std::vector<Item> identity;
    std::vector<std::string> asked; ///< of the shell
    Scene drawn_scene;
    bool ever_drawn = false, changed = true;
};
