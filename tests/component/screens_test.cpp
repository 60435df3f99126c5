// Both screens as they are built at start-up: every object with its size, place, look and text, and LVGL's
// tasks with their periods and priorities.
#include <string.h>
#include <syslog.h>

#include "probes/readers.h"
#include "screen/measurement_area.h"
#include "probes/wifi.h"
#include "screen/connectivity_line.h"
#include "screen/activity_icon.h"
#include "screen/art.h"
#include "screen/mode_line.h"
#include "screen/overlays.h"
#include "support.h"
#include "widgets.h"

class Screens : public ComponentTest {
protected:
    void SetUp() override {
        ComponentTest::SetUp();
        remove_steering_files();
        answer_commands([](const std::string &) { return ""; });
    }
};

// ---- Styles as they are meant to be

static lv_style_t box_style() { return black_body(lv_style_pretty_color, 0, 0); }

static lv_style_t box_text_style() {
    lv_style_t style = with_text(box_style(), &font_16);
    style.image.intense = 255;
    return style;
}

static lv_style_t screen_style() {
    lv_style_t style = box_style();
    style.image.intense = 255;
    return style;
}

static lv_style_t text_style() {
    lv_style_t style = with_text(screen_style(), &font_16);
    style.text.letter_space = 0;
    style.text.line_space = -4;
    return style;
}

static lv_style_t large_text_style() { return with_text(screen_style(), &font_32); }

static lv_style_t rule_style() {
    lv_style_t style = lv_style_plain;
    style.line.color = lv_color_make(255, 255, 255);
    style.line.width = 1;
    style.line.rounded = 0;
    return style;
}

// ---- What an object must be; "" when it is

static std::string box_wrong(lv_obj_t *box, const char *place, const lv_style_t &style) {
    std::string out = style_difference(style, *lv_obj_get_style(box));
    if (!is_a(box, "lv_obj")) out += "not a plain object; ";
    if (place_of(box) != place) out += "at " + place_of(box) + " instead of " + place + "; ";
    return out;
}

static std::string part_wrong(lv_obj_t *part, const lv_style_t &style, lv_align_t align, int x, int y) {
    std::string out = style_difference(style, *lv_obj_get_style(part));
    const std::string place = aligned_position(part, align, x, y);
    if (position_of(part) != place) out += "at " + position_of(part) + " instead of " + place + "; ";
    return out;
}

static std::string label_wrong(lv_obj_t *label, const char *text, const lv_style_t &style, lv_align_t align, int x = 0,
                               int y = 0) {
    if (!is_a(label, "lv_label")) return "not a label";
    if (strcmp(lv_label_get_text(label), text) != 0) return std::string("says ") + lv_label_get_text(label);
    return part_wrong(label, style, align, x, y);
}

static std::string image_wrong(lv_obj_t *image, const lv_img_dsc_t *source, lv_align_t align, int y) {
    if (!is_a(image, "lv_img")) return "not an image";
    if (lv_img_get_src(image) != source) return "another picture";
    return part_wrong(image, box_text_style(), align, 0, y);
}

static std::string rule_wrong(lv_obj_t *line, int y) {
    if (!is_a(line, "lv_line")) return "not a line";
    const auto *ext = static_cast<const lv_line_ext_t *>(lv_obj_get_ext_attr(line));
    if (ext->point_num != 2 || lv_line_get_y_invert(line)) return "points";
    const lv_point_t &from = ext->point_array[0], &to = ext->point_array[1];
    if (from.x != 5 || from.y != y || to.x != 123 || to.y != y) return "elsewhere";
    return style_difference(rule_style(), *lv_line_get_style(line, LV_LINE_STYLE_MAIN));
}

// ---- Status screen

TEST_F(Screens, StatusScreenInOrderOfCreation) {
    build_status_screen();
    EXPECT_EQ(style_difference(screen_style(), *lv_obj_get_style(active_screen())), "");
    const auto objects = children_of(active_screen());
    ASSERT_EQ(objects.size(), 6u);
    EXPECT_EQ(box_wrong(objects[0], "5,50 118x16", box_style()), "");
    EXPECT_EQ(box_wrong(objects[1], "5,0 118x16", text_style()), "");
    EXPECT_EQ(box_wrong(objects[2], "73,18 57x30", screen_style()), "");
    EXPECT_EQ(box_wrong(objects[3], "9,18 63x30", screen_style()), "");
    EXPECT_EQ(rule_wrong(objects[4], 49), "");
    EXPECT_EQ(rule_wrong(objects[5], 14), "");
    EXPECT_FALSE(display_state.prod_mode);
    EXPECT_TRUE(log_lines.empty());
    EXPECT_TRUE(shell_commands.empty());
}

TEST_F(Screens, ModeRow) {
    build_status_screen();
    const DisplayState &state = display_state;
    EXPECT_EQ(state.mode_box, children_of(active_screen())[0]);
    EXPECT_EQ(children_of(state.mode_box),
              (std::vector<lv_obj_t *>{state.mode_label, state.activity_icon, state.voltage_source_icon}));
    EXPECT_EQ(label_wrong(state.mode_label, "AUTOCHECK...", box_text_style(), LV_ALIGN_CENTER), "");
    EXPECT_EQ(image_wrong(state.activity_icon, &img_activity_1, LV_ALIGN_IN_RIGHT_MID, -2), "");
    EXPECT_EQ(image_wrong(state.voltage_source_icon, &img_supply_1, LV_ALIGN_IN_LEFT_MID, -1), "");
    EXPECT_EQ(place_of(state.activity_icon), "110,2 8x8");
    EXPECT_EQ(place_of(state.voltage_source_icon), "0,3 12x8");
}

TEST_F(Screens, ConnectivityRowIsCreatedEmpty) {
    build_status_screen();
    EXPECT_EQ(display_state.conn_box, children_of(active_screen())[1]);
    EXPECT_TRUE(children_of(display_state.conn_box).empty());
    EXPECT_EQ(display_state.conn_shown, 0);
}

TEST_F(Screens, MeasurementArea) {
    build_status_screen();
    const DisplayState &state = display_state;
    const auto objects = children_of(active_screen());
    EXPECT_EQ(children_of(objects[2]), (std::vector<lv_obj_t *>{state.voltage_max_label, state.voltage_min_label}));
    EXPECT_EQ(label_wrong(state.voltage_max_label, "Max. -.-", text_style(), LV_ALIGN_IN_TOP_LEFT), "");
    EXPECT_EQ(label_wrong(state.voltage_min_label, "Min. -.-", text_style(), LV_ALIGN_IN_BOTTOM_LEFT), "");
    EXPECT_EQ(children_of(objects[3]), std::vector<lv_obj_t *>{state.voltage_label});
    EXPECT_EQ(label_wrong(state.voltage_label, "-.-v", large_text_style(), LV_ALIGN_CENTER), "");
    EXPECT_EQ(state.debug_noise_label, nullptr);
    EXPECT_EQ(state.debug_rssi_label, nullptr);
}

TEST_F(Screens, DebugPanelTakesTheMeasurementAreasPlace) {
    for (const char *content : {"", "anything\n"}) {
        write_file(FLAG_WIFI_DEBUG, content);
        build_status_screen();
        const DisplayState &state = display_state;
        const auto objects = children_of(active_screen());
        ASSERT_EQ(objects.size(), 6u);
        EXPECT_EQ(objects[0], state.mode_box);
        EXPECT_EQ(objects[1], state.conn_box);
        EXPECT_EQ(box_wrong(objects[2], "64,18 59x30", screen_style()), "");
        EXPECT_EQ(box_wrong(objects[3], "5,18 59x30", screen_style()), "");
        const auto captions = children_of(objects[2]);
        ASSERT_EQ(captions.size(), 2u);
        EXPECT_EQ(label_wrong(captions[0], "noise", text_style(), LV_ALIGN_IN_TOP_LEFT), "");
        EXPECT_EQ(label_wrong(captions[1], "rssi", text_style(), LV_ALIGN_IN_BOTTOM_LEFT), "");
        EXPECT_EQ(children_of(objects[3]), (std::vector<lv_obj_t *>{state.debug_noise_label, state.debug_rssi_label}));
        EXPECT_EQ(label_wrong(state.debug_noise_label, "", text_style(), LV_ALIGN_IN_TOP_RIGHT, -2, -6), "");
        EXPECT_EQ(label_wrong(state.debug_rssi_label, "", text_style(), LV_ALIGN_IN_BOTTOM_RIGHT, -2, 2), "");
        for (lv_obj_t *label : {state.voltage_label, state.voltage_max_label, state.voltage_min_label}) {
            EXPECT_EQ(label, nullptr);
        }
        EXPECT_EQ(state.voltage_task, nullptr);
        EXPECT_EQ(rule_wrong(objects[4], 49) + rule_wrong(objects[5], 14), "");
    }
}

TEST_F(Screens, RulesOnThePanel) {
    build_status_screen();
    draw_now();
    for (const int y : {14, 49}) {
        EXPECT_EQ(lit_pixels(0, y, 4, y), 0);
        EXPECT_EQ(lit_pixels(5, y, 63, y), 59) << panel_text();
    }
    EXPECT_EQ(lit_pixels(0, 66, 63, 127), 0) << "nothing lies below the layout";
}

// A file that comes or goes later does not matter.
TEST_F(Screens, TheChoiceIsMadeOnce) {
    build_status_screen();
    write_file(FLAG_WIFI_DEBUG, "");
    write_file(FLAG_PRODUCTION_TEST, "");
    run_for(3000);
    EXPECT_NE(display_state.voltage_label, nullptr);
    EXPECT_EQ(display_state.debug_noise_label, nullptr);
    EXPECT_FALSE(display_state.prod_mode);
}

// ---- Tasks

struct TaskRow {
    lv_task_cb_t callback;
    uint32_t period;
    lv_task_prio_t prio;
};

// All the tasks of the daemon, each exactly so.
static void expect_tasks(const std::vector<TaskRow> &rows) {
    EXPECT_EQ(daemon_tasks().size(), rows.size());
    for (const TaskRow &row : rows) {
        const lv_task_t *task = find_task(row.callback);
        ASSERT_NE(task, nullptr);
        EXPECT_EQ(task->period, row.period);
        EXPECT_EQ(task->prio, row.prio) << row.period;
        EXPECT_EQ(task->once, 0);
        EXPECT_EQ(task->user_data, row.callback == activity_icon_task ? display_state.activity_icon : nullptr);
    }
}

TEST_F(Screens, TasksOfTheStatusScreen) {
    build_status_screen();
    expect_tasks({{connectivity_refresh, 2000, LV_TASK_PRIO_LOWEST},
                  {activity_icon_task, 100, LV_TASK_PRIO_MID},
                  {mode_line_task, 500, LV_TASK_PRIO_MID},
                  {voltage_task, 500, LV_TASK_PRIO_MID},
                  {progress_step, 1000, LV_TASK_PRIO_OFF}});
    EXPECT_EQ(display_state.voltage_task, find_task(voltage_task));
    EXPECT_EQ(display_state.progress_task, find_task(progress_step));
}

TEST_F(Screens, TasksOfTheDebugScreen) {
    write_file(FLAG_WIFI_DEBUG, "");
    build_status_screen();
    expect_tasks({{connectivity_refresh, 2000, LV_TASK_PRIO_LOWEST},
                  {activity_icon_task, 100, LV_TASK_PRIO_MID},
                  {mode_line_task, 500, LV_TASK_PRIO_MID},
                  {wifi_debug_task, 500, LV_TASK_PRIO_HIGHEST},
                  {progress_step, 1000, LV_TASK_PRIO_OFF}});
    EXPECT_EQ(display_state.progress_task, find_task(progress_step));
}

TEST_F(Screens, TasksOfTheProductionScreen) {
    build_production_screen();
    expect_tasks({{progress_step, 1000, LV_TASK_PRIO_OFF}, {voltage_task, 500, LV_TASK_PRIO_OFF}});
    EXPECT_EQ(display_state.voltage_task, find_task(voltage_task));
    EXPECT_EQ(display_state.progress_task, find_task(progress_step));
}

// LVGL runs tasks of one priority newest first, so the order of creation shows.
TEST_F(Screens, TasksOfOnePriorityInOrderOfCreation) {
    build_status_screen();
    std::vector<lv_task_cb_t> newest_first;
    for (const lv_task_t *task : daemon_tasks()) {
        if (task->prio == LV_TASK_PRIO_MID) newest_first.push_back(task->task_cb);
    }
    EXPECT_EQ(newest_first, (std::vector<lv_task_cb_t>{voltage_task, mode_line_task, activity_icon_task}));
}

TEST_F(Screens, DisplayIsRegisteredAsThePanelIs) {
    lv_disp_t *display = lv_disp_get_default();
    EXPECT_EQ(lv_disp_get_hor_res(display), 64);
    EXPECT_EQ(lv_disp_get_ver_res(display), 128);
    EXPECT_TRUE(lv_disp_get_antialiasing(display));
    EXPECT_EQ(lv_color_make(255, 255, 255).full, 1);
    EXPECT_EQ(sizeof(lv_color_t), 1u);
    ASSERT_NE(display->refr_task, nullptr);
    EXPECT_EQ(display->refr_task->period, 10u);
    EXPECT_EQ(display->refr_task->prio, LV_TASK_PRIO_MID);
}

// ---- Production screen

static std::string row_wrong(size_t row, const std::string &text) {
    const auto rows = children_of(active_screen());
    if (rows.size() != 4) return "rows: " + std::to_string(rows.size());
    const std::string place = "0," + std::to_string(12 * row) + " 128x12";
    const auto parts = children_of(rows[row]);
    if (parts.size() != 1) return "parts: " + std::to_string(parts.size());
    return box_wrong(rows[row], place.c_str(), box_style()) +
           label_wrong(parts[0], text.c_str(), with_text(box_style(), &font_16), LV_ALIGN_IN_LEFT_MID);
}

TEST_F(Screens, ProductionScreen) {
    write_file(FILE_SERIAL_NUMBER, "QB418T-000123\n");
    write_file(FILE_BLUETOOTH_NAME, "name=BOX-12\n");
    build_production_screen();
    EXPECT_EQ(style_difference(box_style(), *lv_obj_get_style(active_screen())), "");
    EXPECT_EQ(row_wrong(0, "SN: QB418T-000123"), "");
    EXPECT_EQ(row_wrong(1, "BT: BOX-12"), "");
    EXPECT_EQ(row_wrong(2, "HW: QB418T"), "");
    EXPECT_EQ(row_wrong(3, "FW: Updating..."), "");
    EXPECT_EQ(display_state.fw_status_label, children_of(children_of(active_screen())[3])[0]);
    EXPECT_TRUE(display_state.prod_mode);
    for (lv_obj_t *absent : {display_state.conn_box, display_state.mode_box, display_state.mode_label,
                             display_state.activity_icon, display_state.voltage_label}) {
        EXPECT_EQ(absent, nullptr);
    }
}

TEST_F(Screens, ProductionIsAnnouncedAtErrorPriority) {
    build_production_screen();
    ASSERT_EQ(log_lines.size(), 1u);
    EXPECT_EQ(log_lines[0].priority, LOG_ERR);
    EXPECT_EQ(log_lines[0].text, "start prod interface.");
}

TEST_F(Screens, SerialRowFromEveryKindOfFile) {
    struct Case {
        std::string content, row;
    };
    const Case cases[] = {{"A1\n", "SN: A1"},
                          {"A1", "SN: A1"},
                          {"A1\nB2\nC3\n", "SN: A1"},
                          {"", "SN: "},
                          {"\n", "SN: "},
                          {"\nB2\n", "SN: "},
                          {"a=b=c\n", "SN: a=b=c"},
                          {" A 1 \n", "SN:  A 1 "},
                          {"%s%n\n", "SN: %s%n"},
                          {"caf\u00e9\n", "SN: caf\u00e9"}};
    for (const Case &one : cases) {
        write_file(FILE_SERIAL_NUMBER, one.content);
        build_production_screen();
        EXPECT_EQ(row_wrong(0, one.row), "") << one.content;
    }
    remove_file(FILE_SERIAL_NUMBER);
    build_production_screen();
    EXPECT_EQ(row_wrong(0, "SN: ERROR"), "");
}

TEST_F(Screens, BluetoothRowFromEveryKindOfFile) {
    struct Case {
        std::string content, row;
    };
    const Case cases[] = {{"name=BOX-12\n", "BT: BOX-12"},
                          {"a=b=c\n", "BT: c"},
                          {"name=BOX-12", "BT: BOX-12"},
                          {"name=\n", "BT: "},
                          {"=x\n", "BT: x"},
                          {"=\n", "BT: "},
                          {"plain\n", "BT: plain"},
                          {"plain\nname=second\n", "BT: plain"},
                          {"", "BT: "},
                          {"\nname=x\n", "BT: "},
                          {"name= a b \n", "BT:  a b "},
                          {"name=%s%n\n", "BT: %s%n"},
                          {"a=" + std::string(3000, 'k') + "=BOX-12\n", "BT: BOX-12"}};
    for (const Case &one : cases) {
        write_file(FILE_BLUETOOTH_NAME, one.content);
        build_production_screen();
        EXPECT_EQ(row_wrong(1, one.row), "") << one.content;
    }
    remove_file(FILE_BLUETOOTH_NAME);
    build_production_screen();
    EXPECT_EQ(row_wrong(1, "BT: ERROR"), "");
}

TEST_F(Screens, IdentityOf255BytesIsShownWhole) {
    write_file(FILE_SERIAL_NUMBER, std::string(251, 'x') + "\n");
    write_file(FILE_BLUETOOTH_NAME, "name=" + std::string(251, 'y') + "\n");
    build_production_screen();
    EXPECT_EQ(row_wrong(0, "SN: " + std::string(251, 'x')), "");
    EXPECT_EQ(row_wrong(1, "BT: " + std::string(251, 'y')), "");
}

TEST_F(Screens, IdentityFilesOfAnySizeAndKind) {
    for (const char *path : {FILE_SERIAL_NUMBER, FILE_BLUETOOTH_NAME}) {
        for (const size_t length : {100, 127, 128, 255, 256, 257, 5000, 1000000}) {
            write_file(path, std::string(length, 'x') + "\n");
            build_production_screen();
            draw_now();
            ASSERT_EQ(children_of(active_screen()).size(), 4u) << length;
        }
        write_file(path, "\xff\xc3\n");
        build_production_screen();
        draw_now();
        remove_file(path);
        make_fifo(path);
        build_production_screen();
        remove_file(path);
        make_folder(path);
        build_production_screen();
        draw_now();
        EXPECT_EQ(children_of(active_screen()).size(), 4u);
        remove_file(path);
    }
}

TEST_F(Screens, JackCommandIsRunOnceAndItsAnswerDropped) {
    for (const std::string &answer : {std::string("12000\n"), std::string(), std::string(1000, 'y') + "\nmore\n"}) {
        shell_commands.clear();
        answer_commands([answer](const std::string &) { return answer; });
        build_production_screen();
        EXPECT_EQ(shell_commands, std::vector<std::string>{"/usr/local/bin/vcicp vjack"});
        EXPECT_EQ(open_pipes, 0);
        EXPECT_EQ(row_wrong(2, "HW: QB418T"), "");
        EXPECT_STREQ(display_state.vjack_text, "");
        EXPECT_EQ(display_state.jack_voltage, 0.0f);
    }
    answer_commands([](const std::string &) { return std::nullopt; });
    build_production_screen();
    EXPECT_EQ(row_wrong(2, "HW: QB418T"), "") << "no shell, no matter";
    EXPECT_EQ(null_pcloses, 0);
}

TEST_F(Screens, NothingMovesOnTheProductionScreen) {
    build_production_screen();
    shell_commands.clear();
    run_for(3000);
    forget_redraws();
    run_for(10000);
    EXPECT_EQ(redrawn_pixels(), 0u);
    EXPECT_TRUE(shell_commands.empty());
}
