#include "widgets.h"

#include "probes/readers.h"
#include "screen/production_screen.h"
#include "screen/status_screen.h"
#include "support.h"

std::string position_of(const lv_obj_t *object) {
    return std::to_string(lv_obj_get_x(object)) + "," + std::to_string(lv_obj_get_y(object));
}

std::string place_of(const lv_obj_t *object) {
    return position_of(object) + " " + std::to_string(lv_obj_get_width(object)) + "x" +
           std::to_string(lv_obj_get_height(object));
}

std::string aligned_position(const lv_obj_t *object, lv_align_t align, int x, int y) {
    const lv_obj_t *parent = lv_obj_get_parent(object);
    const int right = lv_obj_get_width(parent) - lv_obj_get_width(object);
    const int bottom = lv_obj_get_height(parent) - lv_obj_get_height(object);
    const int centre = lv_obj_get_width(parent) / 2 - lv_obj_get_width(object) / 2;
    const int middle = lv_obj_get_height(parent) / 2 - lv_obj_get_height(object) / 2;
    switch (align) {
        case LV_ALIGN_CENTER: x += centre, y += middle; break;
        case LV_ALIGN_IN_LEFT_MID: y += middle; break;
        case LV_ALIGN_IN_RIGHT_MID: x += right, y += middle; break;
        case LV_ALIGN_IN_TOP_LEFT: break;
        case LV_ALIGN_IN_TOP_RIGHT: x += right; break;
        case LV_ALIGN_IN_BOTTOM_LEFT: y += bottom; break;
        case LV_ALIGN_IN_BOTTOM_RIGHT: x += right, y += bottom; break;
        default: return "an alignment that no screen uses";
    }
    return std::to_string(x) + "," + std::to_string(y);
}

lv_obj_t *image_with_source(const lv_obj_t *parent, const void *source) {
    for (lv_obj_t *child : children_of(parent)) {
        if (is_a(child, "lv_img") && lv_img_get_src(child) == source) return child;
    }
    return nullptr;
}

// ---- Styles.

static std::string field(const char *name, long expected, long actual) {
    if (expected == actual) return "";
    return std::string(name) + ": expected " + std::to_string(expected) + ", is " + std::to_string(actual) + "; ";
}

#define FIELD(name) field(#name, static_cast<long>(a.name), static_cast<long>(b.name))

static std::string body_difference(const lv_style_t &a, const lv_style_t &b) {
    return FIELD(glass) + FIELD(body.main_color.full) + FIELD(body.grad_color.full) + FIELD(body.radius) +
           FIELD(body.opa) + FIELD(body.border.color.full) + FIELD(body.border.width) + FIELD(body.border.part) +
           FIELD(body.border.opa) + FIELD(body.shadow.color.full) + FIELD(body.shadow.width) + FIELD(body.shadow.type) +
           FIELD(body.padding.top) + FIELD(body.padding.bottom) + FIELD(body.padding.left) + FIELD(body.padding.right) +
           FIELD(body.padding.inner);
}

static std::string content_difference(const lv_style_t &a, const lv_style_t &b) {
    return FIELD(text.color.full) + FIELD(text.sel_color.full) + FIELD(text.letter_space) + FIELD(text.line_space) +
           FIELD(text.opa) + FIELD(image.color.full) + FIELD(image.intense) + FIELD(image.opa) +
           FIELD(line.color.full) + FIELD(line.width) + FIELD(line.opa) + FIELD(line.rounded) +
           (a.text.font == b.text.font ? "" : "text.font differs; ");
}

std::string style_difference(const lv_style_t &expected, const lv_style_t &actual) {
    return body_difference(expected, actual) + content_difference(expected, actual);
}

lv_style_t black_body(const lv_style_t &base, int border_width, int radius) {
    lv_style_t style = base;
    style.body.main_color = lv_color_make(0, 0, 0);
    style.body.grad_color = lv_color_make(0, 0, 0);
    style.body.border.color = lv_color_make(255, 255, 255);
    style.body.border.width = static_cast<lv_coord_t>(border_width);
    style.body.radius = static_cast<lv_coord_t>(radius);
    return style;
}

lv_style_t with_text(lv_style_t style, const lv_font_t *font) {
    style.text.color = lv_color_make(255, 255, 255);
    style.text.font = font;
    return style;
}

// ---- Screens.

void take_screen_down() {
    for (lv_task_t *task : daemon_tasks()) lv_task_del(task);
    lv_obj_clean(active_screen());
    lv_obj_set_style(active_screen(), &lv_style_scr);
    display_state = DisplayState{};
}

void build_status_screen() {
    take_screen_down();
    status_screen_create();
}

void build_production_screen() {
    take_screen_down();
    production_screen_create();
}

void remove_boxes_beyond(int count) {
    while (lv_obj_count_children(active_screen()) > count) lv_obj_del(lv_obj_get_child(active_screen(), nullptr));
}

void remove_steering_files() {
    remove_file("/sys/class/net/wlan0/link_mode");
    remove_file("/sys/class/net/wlan0/operstate");
    remove_file(FILE_FW_TYPE_RUNNING);
    remove_file(FLAG_NO_AP);
    remove_file(FLAG_WIFI_DEBUG);
}
