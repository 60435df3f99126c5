// Builds the status screen. Nothing here is ever built again or freed: later changes
// rewrite texts, swap pictures, and fill the connectivity row.
//
// The layout lies in 128 x 66 pixels although the panel is registered as 64 x 128; both stand. Rows reach
// beyond the right edge of the device, and the mode row ends at y 65.
#include "screen/status_screen.h"

#include "app/display_state.h"
#include "screen/activity_icon.h"
#include "screen/art.h"
#include "screen/connectivity_line.h"
#include "screen/measurement_area.h"
#include "screen/mode_line.h"
#include "screen/overlays.h"
#include "screen/widgets.h"

static lv_style_t style_screen;
static lv_style_t style_text;
static lv_style_t style_text_large;
static lv_style_t style_box;
static lv_style_t style_box_text;
static lv_style_t style_rule;

static void prepare_screen_styles() {
    style_set_black_ground(&style_screen);
    style_screen.image.intense = LV_OPA_COVER;

    lv_style_copy(&style_text, &style_screen);
    style_set_text(&style_text, &font_16);
    style_text.text.letter_space = 0;
    style_text.text.line_space = -4;

    lv_style_copy(&style_text_large, &style_screen);
    style_set_text(&style_text_large, &font_32);
}

static void prepare_box_styles() {
    style_set_black_ground(&style_box);
    lv_style_copy(&style_box_text, &style_box);
    style_set_text(&style_box_text, &font_16);
    style_box_text.image.intense = LV_OPA_COVER;
}

static void create_mode_row() {
    DisplayState &state = display_state;
    state.mode_box = create_container(5, 50, 118, 16, &style_box);
    state.mode_label = create_label(state.mode_box, &style_box_text, "AUTOCHECK...", LV_ALIGN_CENTER);
    state.activity_icon = create_image(state.mode_box, &style_box_text, &img_activity_1, LV_ALIGN_IN_RIGHT_MID, 0, -2);
    state.voltage_source_icon =
        create_image(state.mode_box, &style_box_text, &img_supply_1, LV_ALIGN_IN_LEFT_MID, 0, -1);
    lv_task_create(activity_icon_task, 100, LV_TASK_PRIO_MID, state.activity_icon);
}

// `points` must outlive the line.
static void create_rule(const lv_point_t *points) {
    lv_obj_t *line = lv_line_create(lv_disp_get_scr_act(lv_disp_get_default()), nullptr);
    lv_line_set_points(line, points, 2);
    lv_line_set_y_invert(line, false);
    lv_line_set_style(line, LV_LINE_STYLE_MAIN, &style_rule);
}

static void create_rules() {
    static const lv_point_t lower_rule[] = {{5, 49}, {123, 49}};
    static const lv_point_t upper_rule[] = {{5, 14}, {123, 14}};
    lv_style_copy(&style_rule, &lv_style_plain);
    style_rule.line.color = LV_COLOR_WHITE;
    style_rule.line.width = 1;
    style_rule.line.rounded = 0;
    create_rule(lower_rule);
    create_rule(upper_rule);
}

void status_screen_create() {
    prepare_screen_styles();
    lv_obj_set_style(lv_disp_get_scr_act(lv_disp_get_default()), &style_screen);
    // Tasks of one priority run newest first, so the order of creation is part of the behaviour.
    lv_task_create(connectivity_refresh, 2000, LV_TASK_PRIO_LOWEST, nullptr);

    prepare_box_styles();
    create_mode_row();
    display_state.conn_box = create_container(5, 0, 118, 16, &style_text);
    lv_task_create(mode_line_task, 500, LV_TASK_PRIO_MID, nullptr);

    measurement_area_create({&style_screen, &style_text, &style_text_large});
    create_rules();
    display_state.progress_task = lv_task_create(progress_step, 1000, LV_TASK_PRIO_OFF, nullptr);
}
