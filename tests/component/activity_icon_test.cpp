// The activity icon: every step of both sets of pictures, and changing between the sets at every step.
#include "support.h"

#include "probes/readers.h"
#include "screen/activity_icon.h"
#include "screen/art.h"
#include "screen/status_screen.h"

namespace {

static const lv_img_dsc_t *const NORMAL[] = {&img_activity_1, &img_activity_2, &img_activity_3};
static const lv_img_dsc_t *const ALTERNATIVE[] = {&img_activity_alt_1, &img_activity_alt_2, &img_activity_alt_3};

// Number of the picture for the step that is taken (1 to 60), or 0 where nothing changes.
static int picture_at(int step) {
    if (step <= 14 || step == 60) return 1;
    if (step == 15 || step == 30 || step == 45) return 0;
    if (step <= 29) return 2;
    if (step <= 44) return 3;
    return 2;
}

class ActivityIcon : public ComponentTest {
protected:
    void SetUp() override {
        ComponentTest::SetUp();
        answer_commands([](const std::string &) { return std::nullopt; });
        remove_file(FLAG_ACTIVITY_ALT);
        status_screen_create();
        icon = display_state.activity_icon;
        ASSERT_NE(icon, nullptr);
    }

    void set_alternative(bool present) {
        if (present)
            write_file(FLAG_ACTIVITY_ALT, "");
        else
            remove_file(FLAG_ACTIVITY_ALT);
        alternative = present;
    }

    /// One step of the task and of the expectation.
    void step() {
        taken = taken % 60 + 1;
        const int picture = picture_at(taken);
        if (picture != 0) shown = (alternative ? ALTERNATIVE : NORMAL)[picture - 1];
        activity_icon_task(nullptr);
        ASSERT_EQ(lv_img_get_src(icon), shown) << "step " << taken << (alternative ? ", alternative" : "");
        ASSERT_EQ(display_state.activity_step, taken % 60);
        expect_place();
    }

    // At the right of 118 x 16, one above the middle.
    void expect_place() const {
        ASSERT_EQ(lv_obj_get_x(icon), 118 - lv_obj_get_width(icon)) << "step " << taken;
        ASSERT_EQ(lv_obj_get_y(icon), 16 / 2 - lv_obj_get_height(icon) / 2 - 1) << "step " << taken;
        ASSERT_EQ(lv_obj_get_width(icon), shown->header.w);
        ASSERT_EQ(lv_obj_get_height(icon), shown->header.h);
    }

    lv_obj_t *icon = nullptr;
    const lv_img_dsc_t *shown = &img_activity_1;
    bool alternative = false;
    int taken = 0;
};

TEST_F(ActivityIcon, StartsWithTheFirstPictureALittleHigher) {
    EXPECT_EQ(lv_img_get_src(icon), &img_activity_1);
    EXPECT_EQ(lv_obj_get_x(icon), 118 - 8);
    EXPECT_EQ(lv_obj_get_y(icon), 16 / 2 - 8 / 2 - 2);
    EXPECT_EQ(display_state.activity_step, 0);
}

TEST_F(ActivityIcon, ThreeRoundsOfEachSet) {
    for (bool present : {false, true, false}) {
        set_alternative(present);
        for (int i = 0; i < 180 && !HasFatalFailure(); ++i) step();
    }
}

TEST_F(ActivityIcon, AppearsAndVanishesAtEveryStep) {
    for (int from = 0; from < 60; ++from) {
        for (int length = 1; length <= 60 && !HasFatalFailure(); length += length < 4 ? 1 : 7) {
            while (taken % 60 != from) step();
            set_alternative(true);
            for (int i = 0; i < length; ++i) step();
            set_alternative(false);
            for (int i = 0; i < 3; ++i) step();
        }
    }
}

TEST_F(ActivityIcon, PictureStaysOverTheStepsWithoutOne) {
    for (int quiet : {15, 30, 45}) {
        while (taken != quiet - 1) step();
        set_alternative(!alternative);
        const void *before = lv_img_get_src(icon);
        step();
        EXPECT_EQ(lv_img_get_src(icon), before) << quiet;
        step();
        EXPECT_NE(lv_img_get_src(icon), before) << quiet;
    }
}

TEST_F(ActivityIcon, CounterWrapsFromFiftyNine) {
    set_alternative(true);
    while (taken != 59) step();
    EXPECT_EQ(lv_img_get_src(icon), &img_activity_alt_2);
    step();
    EXPECT_EQ(display_state.activity_step, 0);
    EXPECT_EQ(lv_img_get_src(icon), &img_activity_alt_1);
    step();
    EXPECT_EQ(display_state.activity_step, 1);
}

TEST_F(ActivityIcon, DrawsOnlyWhenThePictureChanges) {
    // The icon's own place lies beyond the registered 64 columns; drawing shows only inside of them.
    lv_obj_set_pos(display_state.mode_box, -60, 50);
    for (bool present : {false, true}) {
        set_alternative(present);
        step();
        for (int i = 0; i < 130; ++i) {
            const void *before = lv_img_get_src(icon);
            forget_redraws();
            step();
            draw_now();
            const bool changed = lv_img_get_src(icon) != before;
            EXPECT_EQ(redrawn_pixels() != 0, changed) << "step " << taken;
        }
    }
}

TEST_F(ActivityIcon, FileMayBeAnything) {
    for (int kind = 0; kind < 3; ++kind) {
        if (kind == 0) write_file(FLAG_ACTIVITY_ALT, "any content\n");
        if (kind == 1) make_folder(FLAG_ACTIVITY_ALT);
        if (kind == 2) make_fifo(FLAG_ACTIVITY_ALT);
        alternative = true;
        step();
        set_alternative(false);
        step();
    }
}

TEST_F(ActivityIcon, IsPutBackInItsPlaceByEveryStep) {
    for (int i = 0; i < 60; ++i) {
        lv_obj_set_pos(icon, 3, 5);
        step();
    }
}

TEST_F(ActivityIcon, OneStepEveryHundredMilliseconds) {
    run_for(1000);
    const int first = display_state.activity_step;
    EXPECT_GE(first, 9);
    EXPECT_LE(first, 10);
    run_for(3000);
    EXPECT_GE(display_state.activity_step, first + 29);
    EXPECT_LE(display_state.activity_step, first + 30);
    set_alternative(true);
    run_for(110);
    EXPECT_EQ(lv_img_get_src(icon), &img_activity_alt_3);
}

} // namespace
