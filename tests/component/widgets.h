// What stands on the screen, as a test can ask for it: the place and the look of an object, and texts and
// pictures among the children of one. Also screens that are built and taken down many times in one test.
//
// Positions are computed here from the alignment rules, not by asking LVGL to align a second time.
#pragma once

#include <string>
#include <vector>

#include "app/display_state.h"
#include "lvgl.h"

/// Place relative to the parent and size, as "x,y wxh".
std::string place_of(const lv_obj_t *object);

/// Position relative to the parent that an alignment with these offsets means for the object's present
/// size, as "x,y". Knows the alignments that the screens use.
std::string aligned_position(const lv_obj_t *object, lv_align_t align, int x, int y);
std::string position_of(const lv_obj_t *object);

/// The first child of `parent` that is an image with this source, or NULL.
lv_obj_t *image_with_source(const lv_obj_t *parent, const void *source);

/// "" when every field of the two styles is equal, else each field that differs with both values.
std::string style_difference(const lv_style_t &expected, const lv_style_t &actual);

/// A copy of `base` with black body, white border of the given width, and the given corner radius.
lv_style_t black_body(const lv_style_t &base, int border_width, int radius);

/// `style` with white text in `font`.
lv_style_t with_text(lv_style_t style, const lv_font_t *font);

/// Takes everything off the screen, deletes the daemon's tasks and clears the record.
void take_screen_down();
/// A new status screen or production screen on an empty panel, with an empty record.
void build_status_screen();
void build_production_screen();
/// Deletes the screen's youngest children until `count` are left: clears all boxes off, tracked or not.
void remove_boxes_beyond(int count);

/// No Wi-Fi and none of the small files that steer rows: what Model takes for granted.
void remove_steering_files();
