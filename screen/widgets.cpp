// Widget recipes that more than one screen area uses; see widgets.h.
#include "screen/widgets.h"

lv_obj_t *create_box(lv_coord_t x, lv_coord_t y, lv_coord_t width, lv_coord_t height, const lv_style_t *style) {
    lv_obj_t *box = lv_obj_create(lv_disp_get_scr_act(lv_disp_get_default()), nullptr);
    lv_obj_set_size(box, width, height);
    lv_obj_set_style(box, style);
    lv_obj_set_pos(box, x, y);
    return box;
}
