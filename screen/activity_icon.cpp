#include "screen/activity_icon.h"

#include "app/display_state.h"
#include "probes/readers.h"
#include "screen/art.h"

constexpr int16_t LAST_STEP = 59;

// Which of the three frames step `s` (1 to 60) shows, or -1: the steps 15, 30 and 45 keep what is shown.
static int frame_of_step(int s) {
    if (s < 15 || s == LAST_STEP + 1) return 0;
    if (s == 15 || s == 30 || s == 45) return -1;
    if (s < 30) return 1;
    if (s < 45) return 2;
    return 1;
}

void activity_icon_task(lv_task_t *) {
    static const lv_img_dsc_t *const frames[2][3] = {
        {&img_activity_1, &img_activity_2, &img_activity_3},
        {&img_activity_alt_1, &img_activity_alt_2, &img_activity_alt_3},
    };
    lv_obj_t *icon = display_state.activity_icon;

    // The wrapping step stores 0 but is still step 60 for the choice below.
    const int s = display_state.activity_step + 1;
    display_state.activity_step = static_cast<int16_t>(s > LAST_STEP ? 0 : s);

    const int set = file_exists(FLAG_ACTIVITY_ALT) ? 1 : 0;
    const int frame = frame_of_step(s > LAST_STEP ? LAST_STEP + 1 : s);
    if (frame != -1) {
        const lv_img_dsc_t *chosen = frames[set][frame];
        if (lv_img_get_src(icon) != chosen) lv_img_set_src(icon, chosen);
    }
    // The frames differ in size, and the first one was placed a pixel higher.
    lv_obj_align(icon, nullptr, LV_ALIGN_IN_RIGHT_MID, 0, -1);
}
