#include "screen/overlays.h"

#include <stdint.h>

#include "app/display_state.h"
#include "screen/art.h"
#include "screen/widgets.h"

// The styles outlive the boxes, and a box that a later one replaced stays on the screen: each kind has its
// own set, filled anew with every build.
struct OverlayStyles {
    lv_style_t box;
    lv_style_t text;
};

static OverlayStyles style_reboot;
static OverlayStyles style_error;
static OverlayStyles style_ignition;
static OverlayStyles style_fw;
static lv_style_t style_fw_small_text;
static lv_style_t style_bar_background;
static lv_style_t style_bar_indicator;
static lv_style_t style_usb_box;

static void set_black_body(lv_style_t *style, lv_coord_t radius, lv_coord_t border_width) {
    style->body.main_color = LV_COLOR_BLACK;
    style->body.grad_color = LV_COLOR_BLACK;
    style->body.radius = radius;
    style->body.border.color = LV_COLOR_WHITE;
    style->body.border.width = border_width;
}

static void prepare_styles(OverlayStyles *styles) {
    lv_style_copy(&styles->box, &lv_style_plain);
    set_black_body(&styles->box, 4, 2);

    lv_style_copy(&styles->text, &lv_style_pretty_color);
    set_black_body(&styles->text, 2, 2);
    styles->text.text.color = LV_COLOR_WHITE;
    styles->text.text.font = &font_16;
    styles->text.text.letter_space = 0;
    styles->text.text.line_space = -4;
    styles->text.image.intense = LV_OPA_COVER;
}

static void prepare_bar_styles() {
    lv_style_copy(&style_bar_background, &lv_style_plain);
    set_black_body(&style_bar_background, 0, 1);
    style_bar_background.text.color = LV_COLOR_WHITE;
    style_bar_background.text.line_space = 0;

    lv_style_copy(&style_bar_indicator, &lv_style_plain);
    lv_style_t &indicator = style_bar_indicator;
    indicator.body.main_color = LV_COLOR_WHITE;
    indicator.body.radius = 0;
    indicator.body.border.color = LV_COLOR_BLACK;
    indicator.body.border.width = 0;
    indicator.body.padding.top = 1;
    indicator.body.padding.bottom = 1;
    indicator.body.padding.left = 1;
    indicator.body.padding.right = 1;
}

// ---- Messages ----

struct MessageLayout {
    lv_coord_t icon_x;
    lv_coord_t icon_y;
    lv_coord_t text_x;
};

static void build_message(OverlayStyles *styles, const lv_img_dsc_t *icon, const char *text, MessageLayout layout) {
    prepare_styles(styles);
    display_state.overlay = create_container(5, 5, 120, 54, &styles->box);
    create_image(display_state.overlay, &styles->text, icon, LV_ALIGN_CENTER, layout.icon_x, layout.icon_y);
    create_label(display_state.overlay, &styles->text, text, LV_ALIGN_CENTER, layout.text_x, 0);
}

void show_reboot_overlay() {
    build_message(&style_reboot, &icon_reboot, "PLEASE\nREBOOT", {-30, -2, 20});
    display_state.reboot_shown = true;
}

void show_ignition_overlay() {
    build_message(&style_ignition, &icon_ignition, "   CHECK  \nIGNITION", {-30, -2, 20});
    display_state.ignition_shown = true;
}

void show_error_overlay() {
    build_message(&style_error, &icon_error, display_state.error_text, {-34, 0, 14});
    display_state.error_shown = true;
}

// ---- Firmware progress ----

static lv_design_cb_t lvgl_bar_design; // how LVGL draws a bar

// LVGL 6 divides by the width of the range when it draws a bar's indicator. A range of 0 to 0 has none: such a bar is
// drawn as a plain object, which is its frame, whatever value or animation it had before.
static bool draw_bar(lv_obj_t *bar, const lv_area_t *mask, lv_design_mode_t mode) {
    const bool has_range = lv_bar_get_min_value(bar) != lv_bar_get_max_value(bar);
    const lv_design_cb_t plain = lv_obj_get_design_cb(lv_obj_get_parent(bar));
    return (has_range ? lvgl_bar_design : plain)(bar, mask, mode);
}

// The bar keeps the range it was given: a duration that comes without a type changes fw_time_to_full and leaves the
// bar alone. It counts in 16 bits.
static void set_bar_range() {
    lv_bar_set_range(display_state.fw_progress_bar, 0, static_cast<int16_t>(display_state.fw_time_to_full));
}

static void set_bar_value(uint32_t step) {
    lv_bar_set_value(display_state.fw_progress_bar, static_cast<int16_t>(step), LV_ANIM_ON);
}

static void create_progress_bar() {
    prepare_bar_styles();
    lv_obj_t *bar = lv_bar_create(display_state.overlay, nullptr);
    display_state.fw_progress_bar = bar;
    lvgl_bar_design = lv_obj_get_design_cb(bar);
    lv_obj_set_design_cb(bar, draw_bar);
    lv_obj_set_size(bar, 100, 8);
    lv_obj_set_pos(bar, 9, 36);
    lv_bar_set_anim_time(bar, 100);
    set_bar_range();
    set_bar_value(0);
    lv_bar_set_style(bar, LV_BAR_STYLE_BG, &style_bar_background);
    lv_bar_set_style(bar, LV_BAR_STYLE_INDIC, &style_bar_indicator);
}

void show_fw_overlay() {
    DisplayState &state = display_state;
    prepare_styles(&style_fw);
    lv_style_copy(&style_fw_small_text, &style_fw.text);
    style_fw_small_text.text.font = &font_8;

    // Two pixels taller and one further up and left than the messages; see docs/compatibility.md.
    state.overlay = create_container(4, 4, 120, 56, &style_fw.box);
    create_label(state.overlay, &style_fw.text, "FW UPGRADE...", LV_ALIGN_CENTER, 0, -14);
    state.fw_type_label = create_label(state.overlay, &style_fw_small_text, state.fw_type, LV_ALIGN_CENTER, 0, -2);
    create_progress_bar();
    lv_task_set_prio(state.progress_task, LV_TASK_PRIO_MID);
    state.fw_overlay_shown = true;
}

void restart_fw_overlay() {
    DisplayState &state = display_state;
    state.fw_progress = 0;
    set_aligned_text(state.fw_type_label, state.fw_type, LV_ALIGN_CENTER, 0, -2);
    set_bar_range();
    set_bar_value(0);
}

void progress_step(lv_task_t *) {
    DisplayState &state = display_state;
    state.fw_progress += 1;
    // Compared without sign: a negative time to full is a huge one, and every step sets the bar.
    if (state.fw_progress > static_cast<uint32_t>(state.fw_time_to_full)) return;
    set_bar_value(state.fw_progress);
}

// ---- The rest ----

bool any_overlay_shown() {
    const DisplayState &state = display_state;
    return state.error_shown || state.reboot_shown || state.ignition_shown || state.fw_overlay_shown;
}

void close_overlays() {
    DisplayState &state = display_state;
    if (!any_overlay_shown()) return;
    lv_obj_clean(state.overlay);
    lv_obj_del(state.overlay);
    state.overlay = nullptr;
    state.fw_overlay_shown = false;
    state.ignition_shown = false;
    state.reboot_shown = false;
    state.error_shown = false;
    lv_task_set_prio(state.progress_task, LV_TASK_PRIO_OFF);
    if (state.voltage_task != nullptr) lv_task_set_prio(state.voltage_task, LV_TASK_PRIO_MID);
}

void show_usb_box() {
    lv_style_copy(&style_usb_box, &lv_style_plain);
    set_black_body(&style_usb_box, 2, 2);
    style_usb_box.text.color = LV_COLOR_WHITE;
    style_usb_box.text.font = &font_16;
    style_usb_box.text.line_space = 0;

    lv_obj_t *box = lv_ta_create(lv_scr_act(), nullptr);
    lv_obj_set_size(box, 110, 56);
    lv_ta_set_style(box, LV_TA_STYLE_BG, &style_usb_box);
    lv_obj_align(box, nullptr, LV_ALIGN_CENTER, 0, 0);
    lv_ta_set_cursor_type(box, LV_CURSOR_NONE);
    lv_ta_set_text(box, "USB\nUpgrade\n...");
    lv_ta_set_text_align(box, LV_LABEL_ALIGN_CENTER);
    // LVGL 6 reads one byte past the end of a centred text; the same text with a byte to spare is read instead.
    static const char padded[] = "USB\nUpgrade\n...\0";
    lv_label_set_static_text(lv_ta_get_label(box), padded);
}
