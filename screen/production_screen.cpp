#include "screen/production_screen.h"

#include <syslog.h>

#include "app/display_state.h"
#include "probes/voltage.h"
#include "screen/art.h"
#include "screen/identity_text.h"
#include "screen/measurement_area.h"
#include "screen/overlays.h"
#include "screen/widgets.h"

static lv_style_t style_prod_row;
static lv_style_t style_prod_text;
static lv_style_t style_prod_text2; // prepared with the others; no row uses it
static lv_style_t style_prod_screen;

static void prepare_styles() {
    style_set_black_ground(&style_prod_row);
    lv_style_copy(&style_prod_text, &style_prod_row);
    style_set_text(&style_prod_text, &font_16);
    lv_style_copy(&style_prod_text2, &style_prod_row);
    style_set_text(&style_prod_text2, &font_16);
    style_set_black_ground(&style_prod_screen);
}

static lv_obj_t *create_row(lv_coord_t y, const char *text) {
    lv_obj_t *row = create_container(0, y, 128, 12, &style_prod_row);
    return create_label(row, &style_prod_text, text, LV_ALIGN_IN_LEFT_MID);
}

void production_screen_create() {
    DisplayState &state = display_state;
    syslog(LOG_ERR, "start prod interface."); // an error: see docs/compatibility.md
    state.prod_mode = true;
    prepare_styles();
    lv_obj_set_style(lv_disp_get_scr_act(lv_disp_get_default()), &style_prod_screen);

    char text[IDENTITY_TEXT_SIZE]; // a label keeps its own copy
    serial_number_text(text, "ERROR");
    create_row(0, text);
    bluetooth_name_text(text, "ERROR");
    create_row(12, text);
    wake_jack_measurement();
    create_row(24, "HW: QB418T");
    state.fw_status_label = create_row(36, "FW: Updating...");

    state.progress_task = lv_task_create(progress_step, 1000, LV_TASK_PRIO_OFF, nullptr);
    state.voltage_task = lv_task_create(voltage_task, 500, LV_TASK_PRIO_OFF, nullptr);
}
