// The boxes over the screen: how each is built, how they lie on one another, and how they are closed. The
// firmware box's bar has its own file.
#include "screen/overlays.h"

#include <string.h>

#include <algorithm>
#include <iterator>

#include "messages.h"
#include "model.h"
#include "screen/art.h"
#include "support.h"
#include "widgets.h"

class Overlays : public ComponentTest {
protected:
    void SetUp() override {
        ComponentTest::SetUp();
        remove_steering_files();
        build_status_screen();
        background = lv_obj_count_children(active_screen());
    }

    std::vector<lv_obj_t *> boxes() {
        std::vector<lv_obj_t *> all = children_of(active_screen());
        all.erase(all.begin(), all.begin() + background);
        return all;
    }

    int background = 0;
};

static lv_style_t box_style() { return black_body(lv_style_plain, 2, 4); }

static lv_style_t text_style() {
    lv_style_t style = with_text(black_body(lv_style_pretty_color, 2, 2), &font_16);
    style.text.letter_space = 0;
    style.text.line_space = -4;
    style.image.intense = 255;
    return style;
}

struct MessageBox {
    const char *name;
    void (*show)();
    bool DisplayState::*flag;
    const lv_img_dsc_t *icon;
    int icon_x, icon_y, text_x;
    const char *text;
};

static const MessageBox MESSAGES[] = {
    {"reboot", show_reboot_overlay, &DisplayState::reboot_shown, &icon_reboot, -30, -2, 20, "PLEASE\nREBOOT"},
    {"ignition", show_ignition_overlay, &DisplayState::ignition_shown, &icon_ignition, -30, -2, 20,
     "   CHECK  \nIGNITION"},
    {"error", show_error_overlay, &DisplayState::error_shown, &icon_error, -34, 0, 14, "ERROR\n E42"},
};

// All boxes.
struct Kind {
    void (*show)();
    bool DisplayState::*flag; ///< NULL: not tracked
};

static const Kind KINDS[] = {
    {show_reboot_overlay, &DisplayState::reboot_shown},
    {show_error_overlay, &DisplayState::error_shown},
    {show_ignition_overlay, &DisplayState::ignition_shown},
    {show_fw_overlay, &DisplayState::fw_overlay_shown},
    {show_usb_box, nullptr},
};

// ---- How they are built

TEST_F(Overlays, MessageBoxes) {
    for (const MessageBox &message : MESSAGES) {
        SCOPED_TRACE(message.name);
        close_overlays();
        strcpy(display_state.error_text, "ERROR\n E42");
        message.show();

        ASSERT_EQ(boxes(), std::vector<lv_obj_t *>{display_state.overlay});
        lv_obj_t *box = display_state.overlay;
        EXPECT_TRUE(is_a(box, "lv_obj"));
        EXPECT_EQ(place_of(box), "5,5 120x54");
        EXPECT_EQ(style_difference(box_style(), *lv_obj_get_style(box)), "");
        for (const NamedFlag &named : BOX_FLAGS) EXPECT_EQ(display_state.*named.flag, named.flag == message.flag);

        const auto parts = children_of(box);
        ASSERT_EQ(parts.size(), 2u);
        ASSERT_TRUE(is_a(parts[0], "lv_img"));
        EXPECT_EQ(lv_img_get_src(parts[0]), message.icon);
        EXPECT_EQ(position_of(parts[0]), aligned_position(parts[0], LV_ALIGN_CENTER, message.icon_x, message.icon_y));
        EXPECT_EQ(style_difference(text_style(), *lv_obj_get_style(parts[0])), "");
        ASSERT_TRUE(is_a(parts[1], "lv_label"));
        EXPECT_STREQ(lv_label_get_text(parts[1]), message.text);
        EXPECT_EQ(position_of(parts[1]), aligned_position(parts[1], LV_ALIGN_CENTER, message.text_x, 0));
        EXPECT_EQ(style_difference(text_style(), *lv_obj_get_style(parts[1])), "");
    }
}

// In numbers: the 22 x 22 icon in a box of 120 x 54.
TEST_F(Overlays, IconsStandWhereTheyAreDrawn) {
    show_reboot_overlay();
    EXPECT_EQ(place_of(children_of(display_state.overlay)[0]), "19,14 22x22");
    show_error_overlay();
    EXPECT_EQ(place_of(children_of(display_state.overlay)[0]), "15,16 22x22");
}

// Pictures are drawn reversed: their clear bits light up. The reboot arrow's first row is empty but for its
// second row's run of clear bits, x 8 to 13.
TEST_F(Overlays, PictogramIsLitOnBlack) {
    show_reboot_overlay();
    draw_now();
    const int x = 5 + 19, y = 5 + 14;
    EXPECT_EQ(lit_pixels(x, y, x + 21, y), 0);
    EXPECT_EQ(lit_pixels(x, y + 1, x + 21, y + 1), 6);
    EXPECT_TRUE(pixel(x + 8, y + 1) && pixel(x + 13, y + 1));
    EXPECT_TRUE(pixel(5 + 30, 5) && pixel(5 + 30, 6)) << "a border two pixels wide";
    EXPECT_FALSE(pixel(5 + 30, 7));
}

TEST_F(Overlays, FirmwareBox) {
    strcpy(display_state.fw_type_text, "FT_MAIN");
    display_state.fw_type = display_state.fw_type_text;
    display_state.fw_time_to_full = 120;
    display_state.fw_progress = 17;
    show_fw_overlay();

    ASSERT_EQ(boxes(), std::vector<lv_obj_t *>{display_state.overlay});
    lv_obj_t *box = display_state.overlay;
    EXPECT_TRUE(is_a(box, "lv_obj"));
    EXPECT_EQ(place_of(box), "4,4 120x56");
    EXPECT_EQ(style_difference(box_style(), *lv_obj_get_style(box)), "");
    EXPECT_TRUE(display_state.fw_overlay_shown);
    EXPECT_EQ(display_state.fw_progress, 17u);

    const auto parts = children_of(box);
    ASSERT_EQ(parts.size(), 3u);
    EXPECT_STREQ(lv_label_get_text(parts[0]), "FW UPGRADE...");
    EXPECT_EQ(position_of(parts[0]), aligned_position(parts[0], LV_ALIGN_CENTER, 0, -14));
    EXPECT_EQ(style_difference(text_style(), *lv_obj_get_style(parts[0])), "");

    EXPECT_EQ(parts[1], display_state.fw_type_label);
    EXPECT_STREQ(lv_label_get_text(parts[1]), "FT_MAIN");
    EXPECT_EQ(position_of(parts[1]), aligned_position(parts[1], LV_ALIGN_CENTER, 0, -2));
    EXPECT_EQ(style_difference(with_text(text_style(), &font_8), *lv_obj_get_style(parts[1])), "");
    EXPECT_EQ(parts[2], display_state.fw_progress_bar);
}

TEST_F(Overlays, FirmwareBar) {
    display_state.fw_time_to_full = 120;
    show_fw_overlay();
    lv_obj_t *bar = display_state.fw_progress_bar;
    ASSERT_TRUE(is_a(bar, "lv_bar"));
    EXPECT_EQ(place_of(bar), "9,36 100x8");
    EXPECT_EQ(lv_bar_get_anim_time(bar), 100);
    EXPECT_EQ(lv_bar_get_min_value(bar), 0);
    EXPECT_EQ(lv_bar_get_max_value(bar), 120);
    EXPECT_EQ(lv_bar_get_value(bar), 0);

    lv_style_t background_style = black_body(lv_style_plain, 1, 0);
    background_style.text.color = lv_color_make(255, 255, 255);
    background_style.text.line_space = 0;
    EXPECT_EQ(style_difference(background_style, *lv_bar_get_style(bar, LV_BAR_STYLE_BG)), "");

    lv_style_t indicator = lv_style_plain;
    indicator.body.main_color = lv_color_make(255, 255, 255);
    indicator.body.radius = 0;
    indicator.body.border.color = lv_color_make(0, 0, 0);
    indicator.body.border.width = 0;
    indicator.body.padding.top = indicator.body.padding.bottom = 1;
    indicator.body.padding.left = indicator.body.padding.right = 1;
    EXPECT_EQ(style_difference(indicator, *lv_bar_get_style(bar, LV_BAR_STYLE_INDIC)), "");
}

TEST_F(Overlays, TypeBeforeAnyUpdateIsWhatLvglGivesALabel) {
    ASSERT_EQ(display_state.fw_type, nullptr);
    show_fw_overlay();
    EXPECT_STREQ(lv_label_get_text(display_state.fw_type_label), "Text");
    EXPECT_EQ(position_of(display_state.fw_type_label),
              aligned_position(display_state.fw_type_label, LV_ALIGN_CENTER, 0, -2));
}

TEST_F(Overlays, UsbBox) {
    show_usb_box();
    const auto all = boxes();
    ASSERT_EQ(all.size(), 1u);
    lv_obj_t *box = all[0];
    ASSERT_TRUE(is_a(box, "lv_ta"));
    EXPECT_EQ(lv_obj_get_width(box), 110);
    EXPECT_EQ(lv_obj_get_height(box), 56);
    EXPECT_EQ(position_of(box), aligned_position(box, LV_ALIGN_CENTER, 0, 0));
    EXPECT_STREQ(lv_ta_get_text(box), "USB\nUpgrade\n...");
    EXPECT_EQ(lv_ta_get_cursor_type(box), LV_CURSOR_NONE);
    EXPECT_EQ(lv_label_get_align(lv_ta_get_label(box)), LV_LABEL_ALIGN_CENTER);

    lv_style_t style = with_text(black_body(lv_style_plain, 2, 2), &font_16);
    style.text.line_space = 0;
    EXPECT_EQ(style_difference(style, *lv_ta_get_style(box, LV_TA_STYLE_BG)), "");
    for (const NamedFlag &named : BOX_FLAGS) EXPECT_FALSE(display_state.*named.flag) << named.name;
}

// A box that a later one covers keeps its look, so no kind may share a style with another.
TEST_F(Overlays, EachKindHasItsOwnStyles) {
    std::vector<const lv_style_t *> styles;
    for (const Kind &kind : KINDS) {
        if (!kind.flag) continue; // the USB box has no parts of its own
        kind.show();
        styles.push_back(lv_obj_get_style(display_state.overlay));
        styles.push_back(lv_obj_get_style(children_of(display_state.overlay)[0]));
    }
    styles.push_back(lv_obj_get_style(display_state.fw_type_label));
    for (size_t i = 0; i < styles.size(); i++) {
        for (size_t k = 0; k < i; k++) EXPECT_NE(styles[i], styles[k]) << i << " and " << k;
    }
}

// ---- On one another

// Four deep: what is covered stays where it is, only the last tracked one is deleted, only once.
TEST_F(Overlays, EveryKindOverEveryKind) {
    constexpr size_t n = std::size(KINDS);
    for (size_t sequence = 0; sequence < n * n * n * n; sequence++) {
        const Kind *kinds[] = {&KINDS[sequence % n], &KINDS[sequence / n % n], &KINDS[sequence / n / n % n],
                               &KINDS[sequence / n / n / n % n]};
        DisplayState flags;
        std::vector<lv_obj_t *> stack;
        lv_obj_t *tracked = nullptr;
        for (const Kind *kind : kinds) {
            kind->show();
            if (kind->flag) flags.*kind->flag = true;
            ASSERT_EQ(boxes().size(), stack.size() + 1);
            stack.push_back(boxes().back());
            ASSERT_EQ(boxes(), stack) << "covered boxes stay, in their order: " << sequence;
            if (kind->flag) tracked = display_state.overlay;
            ASSERT_TRUE(!kind->flag || tracked == stack.back());
            for (const NamedFlag &named : BOX_FLAGS) ASSERT_EQ(display_state.*named.flag, flags.*named.flag);
        }
        run_for(25);

        for (int again = 0; again < 2; again++) {
            close_overlays();
            if (tracked) stack.erase(std::find(stack.begin(), stack.end(), tracked));
            tracked = nullptr;
            ASSERT_EQ(boxes(), stack) << sequence;
            ASSERT_FALSE(any_overlay_shown());
        }
        run_for(25);
        remove_boxes_beyond(background);
    }
}

TEST_F(Overlays, AnyFlagCounts) {
    EXPECT_FALSE(any_overlay_shown());
    for (const Kind &kind : KINDS) {
        if (!kind.flag) continue;
        display_state.*kind.flag = true;
        EXPECT_TRUE(any_overlay_shown());
        display_state.*kind.flag = false;
    }
    display_state.wifi_error_latched = true;
    EXPECT_FALSE(any_overlay_shown());
}

TEST_F(Overlays, RebootCoversAnErrorAndClearUncoversIt) {
    send_command("Error_Code", "E42");
    draw_now();
    const std::string error = panel_text();
    send_command("USB_done");
    draw_now();
    EXPECT_NE(panel_text(), error);
    send_command("clear_msg");
    draw_now();
    EXPECT_EQ(panel_text(), error);
    send_command("clear_msg");
    send_command("Reboot");
    send_command("clear_msg");
    draw_now();
    EXPECT_EQ(panel_text(), error) << "the error box is out of reach now";
}

// ---- Closing

TEST_F(Overlays, ClosingWithNothingUpTouchesNothing) {
    for (int voltage = LV_TASK_PRIO_OFF; voltage <= LV_TASK_PRIO_HIGHEST; voltage++) {
        for (int progress = LV_TASK_PRIO_OFF; progress <= LV_TASK_PRIO_HIGHEST; progress++) {
            lv_task_set_prio(display_state.voltage_task, static_cast<lv_task_prio_t>(voltage));
            lv_task_set_prio(display_state.progress_task, static_cast<lv_task_prio_t>(progress));
            close_overlays();
            send_command("clear_msg");
            EXPECT_EQ(display_state.voltage_task->prio, voltage);
            EXPECT_EQ(display_state.progress_task->prio, progress);
        }
    }
    EXPECT_TRUE(boxes().empty());
}

TEST_F(Overlays, ClosingPausesTheBarAndResumesTheMeter) {
    for (const Kind &kind : KINDS) {
        if (!kind.flag) continue;
        lv_task_set_prio(display_state.voltage_task, LV_TASK_PRIO_OFF);
        lv_task_set_prio(display_state.progress_task, LV_TASK_PRIO_MID);
        kind.show();
        EXPECT_EQ(display_state.voltage_task->prio, LV_TASK_PRIO_OFF) << "showing leaves the meter alone";
        close_overlays();
        EXPECT_EQ(display_state.voltage_task->prio, LV_TASK_PRIO_MID);
        EXPECT_EQ(display_state.progress_task->prio, LV_TASK_PRIO_OFF);
    }
}

TEST_F(Overlays, OnlyTheFirmwareBoxStartsTheBar) {
    for (const Kind &kind : KINDS) {
        kind.show();
        const bool is_firmware = kind.flag == &DisplayState::fw_overlay_shown;
        EXPECT_EQ(display_state.progress_task->prio, is_firmware ? LV_TASK_PRIO_MID : LV_TASK_PRIO_OFF);
        EXPECT_EQ(display_state.voltage_task->prio, LV_TASK_PRIO_MID);
        close_overlays();
    }
}

TEST_F(Overlays, ClosingWithoutAMeter) {
    display_state.voltage_task = nullptr;
    show_fw_overlay();
    close_overlays();
    EXPECT_FALSE(any_overlay_shown());
    EXPECT_EQ(display_state.progress_task->prio, LV_TASK_PRIO_OFF);
}
