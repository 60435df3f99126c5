// The firmware box's bar through its life: steps of a second, any 32-bit duration on a 16-bit bar, restarts,
// and what is left of it when the box is closed, covered or built anew.
#include <algorithm>
#include <limits>

#include "messages.h"
#include "model.h"
#include "screen/overlays.h"
#include "support.h"
#include "widgets.h"

class FirmwareBar : public ComponentTest {
protected:
    void SetUp() override {
        ComponentTest::SetUp();
        remove_steering_files();
        answer_commands([](const std::string &) { return ""; });
        build_status_screen();
    }

    int value() { return lv_bar_get_value(display_state.fw_progress_bar); }
    int end() { return lv_bar_get_max_value(display_state.fw_progress_bar); }

    // Lets time pass until the next step has been made and its animation is over.
    void next_step() {
        const uint32_t before = display_state.fw_progress;
        for (int ms = 0; ms < 1001 && display_state.fw_progress == before; ms++) run_for(1);
        ASSERT_EQ(display_state.fw_progress, before + 1);
        run_for(130);
    }

    // Lit pixels of the middle of the bar, inside its border; 50 columns of it lie on the panel.
    int filled() { return lit_pixels(14, 43, 63, 43); }
};

constexpr int32_t LOWEST = std::numeric_limits<int32_t>::min();
constexpr int32_t HIGHEST = std::numeric_limits<int32_t>::max();

static int16_t low_16_bits(uint32_t number) { return static_cast<int16_t>(static_cast<uint16_t>(number & 0xFFFF)); }

// ---- Steps

TEST_F(FirmwareBar, FillsInTheGivenNumberOfSeconds) {
    send_command("cd_update", 8, "FT_MAIN");
    draw_now();
    EXPECT_EQ(value(), 0);
    EXPECT_EQ(filled(), 0);
    int last = 0;
    for (int second = 1; second <= 8; second++) {
        next_step();
        EXPECT_EQ(value(), second);
        EXPECT_GE(filled(), last);
        last = filled();
    }
    EXPECT_EQ(end(), 8);
    EXPECT_EQ(last, 50) << panel_text();

    for (int second = 9; second < 15; second++) {
        next_step();
        EXPECT_EQ(value(), 8) << "stays full";
        EXPECT_EQ(display_state.fw_progress, static_cast<uint32_t>(second)) << "the counter goes on";
    }
}

TEST_F(FirmwareBar, StepsComeOnceASecond) {
    send_command("cd_update", 120, "FT_MAIN");
    next_step();
    const uint32_t before = display_state.fw_progress;
    run_for(30000);
    EXPECT_EQ(display_state.fw_progress, before + 30);
    EXPECT_EQ(value(), static_cast<int>(before) + 30);
}

// Switching a paused task on does not begin its second anew: it is counted from the task's last run, and at
// first from its creation.
TEST_F(FirmwareBar, TheFirstStepComesWithTheNextPassWhenASecondHasGoneBy) {
    run_for(5000);
    send_command("cd_update", 120, "FT_MAIN");
    EXPECT_EQ(display_state.fw_progress, 0u) << "a step of its own, no part of the command";
    run_for(1);
    EXPECT_EQ(display_state.fw_progress, 1u);
    run_for(999);
    EXPECT_EQ(display_state.fw_progress, 1u);
    run_for(1);
    EXPECT_EQ(display_state.fw_progress, 2u);
}

TEST_F(FirmwareBar, TheFirstStepWaitsForTheRestOfTheSecond) {
    run_for(400);
    send_command("cd_update", 120, "FT_MAIN");
    run_for(599);
    EXPECT_EQ(display_state.fw_progress, 0u);
    run_for(1);
    EXPECT_EQ(display_state.fw_progress, 1u) << "a second after the task was made";

    run_for(300);
    send_command("clear_msg");
    send_command("cd_update", 120, "FT_MAIN");
    run_for(699);
    EXPECT_EQ(display_state.fw_progress, 0u);
    run_for(1);
    EXPECT_EQ(display_state.fw_progress, 1u) << "a second after its last step";

    run_for(250);
    send_command("cd_update", 60, "OTHER"); // the box is up: the counter begins anew, the second does not
    run_for(749);
    EXPECT_EQ(display_state.fw_progress, 0u);
    run_for(1);
    EXPECT_EQ(display_state.fw_progress, 1u);
}

TEST_F(FirmwareBar, AStepMovesTheBarWithinATenthOfASecond) {
    send_command("cd_update", 2, "FT_MAIN");
    run_for(1);
    const int start = filled();
    while (display_state.fw_progress == 0) run_for(1);
    run_for(50);
    const int halfway = filled();
    run_for(80);
    const int done = filled();
    EXPECT_LT(start, halfway);
    EXPECT_LT(halfway, done);
    run_for(300);
    EXPECT_EQ(filled(), done);
}

TEST_F(FirmwareBar, ASecondUpdateStartsAnew) {
    send_command("cd_update", 120, "FIRST");
    for (int i = 0; i < 5; i++) next_step();
    send_command("cd_update", 4, "SECOND");
    run_for(130);
    EXPECT_LE(display_state.fw_progress, 1u);
    for (int second = static_cast<int>(display_state.fw_progress) + 1; second <= 4; second++) {
        next_step();
        EXPECT_EQ(value(), second);
    }
    EXPECT_EQ(filled(), 50);
}

// From the second step on: LVGL takes an animation's start for its value, and from the first one that is 0
// already.
TEST_F(FirmwareBar, RestartInTheMiddleOfAnAnimation) {
    for (int ms = 0; ms < 130; ms++) {
        send_command("cd_update", 30, "FIRST");
        next_step();
        next_step();
        run_for(865 + static_cast<uint32_t>(ms));
        send_command("cd_update", 60, "SECOND");
        EXPECT_EQ(display_state.fw_progress, 0u);
        EXPECT_EQ(value(), 0);
        EXPECT_EQ(end(), 60);
    }
}

// The new range comes first and cuts a value beyond it: the bar runs back from its own right end, as one of
// that range does that was full.
TEST_F(FirmwareBar, AShorterUpdateRunsBackFromItsOwnEnd) {
    const auto run_back_from = [this](int32_t duration, uint32_t counter) {
        send_command("cd_update", duration, "FIRST");
        display_state.fw_progress = counter - 1;
        next_step();
        while (test_clock_us / 1000 % 300 != 0) run_for(1); // the panel is drawn, and moved, every 30 ms
        send_command("cd_update", 60, "SECOND");
        std::vector<int> seen;
        for (int ms = 0; ms < 150; ms++) {
            run_for(1);
            seen.push_back(filled());
        }
        return seen;
    };
    const std::vector<int> full = run_back_from(60, 60);
    EXPECT_EQ(full.back(), 0);
    EXPECT_EQ(run_back_from(100, 90), full);
}

// ---- Durations

constexpr int32_t DURATIONS[] = {LOWEST, LOWEST + 1, -65537, -65536, -65535, -65000, -32769,      -32768, -32767, -2,
                                 -1,     0,          1,      2,      120,    32766,  32767,       32768,  32769,  65534,
                                 65535,  65536,      65537,  70000,  131072, 131073, HIGHEST - 1, HIGHEST};

TEST_F(FirmwareBar, EndIsCutToSixteenBits) {
    for (const int32_t duration : DURATIONS) {
        send_command("cd_update", duration, "FT_MAIN"); // the first builds the box, the others restart it
        EXPECT_EQ(value(), 0) << duration;
        EXPECT_EQ(display_state.fw_time_to_full, duration);
        const int16_t expected = low_16_bits(static_cast<uint32_t>(duration));
        EXPECT_TRUE(expected == 0 || end() == expected) << end() << " for " << duration;

        send_command("clear_msg");
        send_command("M4_update");
        EXPECT_TRUE(expected == 0 || end() == expected) << end() << " for " << duration << ", built anew";
        run_for(20);
    }
}

// Each step from each counter: compared in 32 bits without sign, set in 16 bits with sign.
TEST_F(FirmwareBar, EveryDurationWithEveryCounter) {
    constexpr uint32_t COUNTERS[] = {
        0,          1,          2,           118,         119,         120,         32765,      32766,  32767,
        32768,      65533,      65534,       65535,       65536,       65537,       69999,      131071, 131072,
        0x7FFFFFFE, 0x7FFFFFFF, 0x80000000u, 0xFFFF0000u, 0xFFFFFFFDu, 0xFFFFFFFEu, 0xFFFFFFFFu};
    for (const int32_t duration : DURATIONS) {
        send_command("cd_update", duration, "FT_MAIN");
        lv_task_set_prio(display_state.progress_task, LV_TASK_PRIO_OFF);
        const int bar_end = low_16_bits(static_cast<uint32_t>(duration));
        int expected = 0;
        for (const uint32_t counter : COUNTERS) {
            display_state.fw_progress = counter;
            progress_step(display_state.progress_task);
            const uint32_t step = counter + 1;
            ASSERT_EQ(display_state.fw_progress, step);
            if (step <= static_cast<uint32_t>(duration)) {
                expected = std::max(0, std::min<int>(low_16_bits(step), bar_end));
            }
            ASSERT_EQ(value(), expected) << step << " of " << duration;
            run_for(120);
            ASSERT_EQ(value(), expected) << step << " of " << duration;
        }
    }
}

TEST_F(FirmwareBar, NoDurationIsAnEmptyBarForEver) {
    send_command("M4_update"); // before any "cd_update" the duration is 0
    for (int i = 0; i < 5; i++) next_step();
    EXPECT_EQ(filled(), 0);
    for (const int32_t duration : {0, 65536, -65536, 131072, LOWEST}) {
        send_command("cd_update", duration, "FT_MAIN");
        for (int i = 0; i < 5; i++) {
            next_step();
            EXPECT_EQ(filled(), 0) << duration;
            EXPECT_EQ(value(), 0) << duration;
        }
    }
    send_command("cd_update", 2, "FT_MAIN");
    for (int i = 0; i < 3; i++) next_step();
    EXPECT_EQ(filled(), 50) << "and a proper one fills again";
}

// From every value and at every moment of the animation: an empty bar, at once and for good.
TEST_F(FirmwareBar, NoDurationEmptiesTheBarAtEveryMoment) {
    for (const int32_t nothing : {0, 65536}) {
        for (const int32_t duration : {1, 2, 5, 120, 40000, -1}) {
            for (uint32_t phase = 0; phase <= 130; phase += duration < 5 ? 1 : 5) {
                for (const int steps : {0, 1, 2, 5}) {
                    send_command("clear_msg");
                    send_command("cd_update", duration, "FT_MAIN");
                    lv_task_set_prio(display_state.progress_task, LV_TASK_PRIO_OFF);
                    for (int step = 1; step <= steps; step++) {
                        progress_step(display_state.progress_task);
                        run_for(step < steps ? 130 : phase);
                    }
                    send_command("cd_update", nothing, "FT_MAIN");
                    draw_now();
                    SCOPED_TRACE(testing::Message() << duration << " s, " << steps << " steps, " << phase << " ms");
                    ASSERT_EQ(filled(), 0) << "at once";
                    for (int ms = 0; ms < 150; ms += 10) {
                        run_for(10);
                        ASSERT_EQ(filled(), 0) << ms << " ms later";
                    }
                    progress_step(display_state.progress_task);
                    run_for(130);
                    ASSERT_EQ(filled(), 0) << "a step later";
                }
            }
        }
    }
}

// An empty bar that another box covers, and one left behind under it, stay empty too.
TEST_F(FirmwareBar, NoDurationWithAnOldBarBelow) {
    send_command("cd_update", 3, "FT_MAIN");
    for (int i = 0; i < 3; i++) next_step();
    EXPECT_EQ(filled(), 50);
    send_command("cd_update", 0); // without a type: for the next box
    send_command("M4_update");
    for (int i = 0; i < 3; i++) {
        next_step();
        EXPECT_EQ(filled(), 0);
    }
    send_command("clear_msg");
    draw_now();
    EXPECT_EQ(filled(), 50) << "the first box as it was left";
}

// Without a type the command ends after the number is stored: the bar that is up keeps its range.
TEST_F(FirmwareBar, DurationAloneLeavesTheBarAsItIs) {
    send_command("cd_update", 120, "FT_MAIN");
    for (int i = 0; i < 3; i++) next_step();
    for (const int32_t duration : {200, 65536, 0x20000, 65537}) {
        const uint32_t before = display_state.fw_progress;
        send_command("cd_update", duration);
        EXPECT_EQ(display_state.fw_progress, before);
        EXPECT_EQ(end(), 120) << duration;
        next_step();
        EXPECT_EQ(value(), static_cast<int>(before) + 1) << duration;
    }
    send_command("cd_update", 2);
    const int before = value();
    next_step();
    EXPECT_EQ(value(), before) << "past the new duration the bar is not set any more";
}

TEST_F(FirmwareBar, DurationAloneDoesNotFillABarWithoutRange) {
    send_command("M4_update");
    send_command("cd_update", 120);
    for (int i = 0; i < 3; i++) {
        next_step();
        EXPECT_EQ(value(), 0);
        EXPECT_EQ(filled(), 0) << "its range is still 0 to 0";
    }
}

// ---- Closed, covered, built anew

TEST_F(FirmwareBar, TheCounterSurvivesAndTheNewBarJumpsToIt) {
    send_command("cd_update", 100, "FT_MAIN");
    for (int i = 0; i < 10; i++) next_step();
    send_command("clear_msg");
    run_for(5000);
    EXPECT_EQ(display_state.fw_progress, 10u) << "paused with the box";

    send_command("M4_update");
    EXPECT_EQ(value(), 0);
    EXPECT_EQ(end(), 100);
    EXPECT_STREQ(lv_label_get_text(display_state.fw_type_label), "FT_MAIN");
    next_step();
    EXPECT_EQ(value(), 11);
}

TEST_F(FirmwareBar, BuiltTwiceTheFirstIsLeftBehind) {
    const size_t before = children_of(active_screen()).size();
    send_command("cd_update", 10, "FT_MAIN");
    next_step();
    lv_obj_t *first = display_state.overlay;
    lv_obj_t *first_bar = display_state.fw_progress_bar;
    send_command("M4_update");
    send_command("M4_update");
    EXPECT_EQ(children_of(active_screen()).size(), before + 3);
    next_step();
    EXPECT_EQ(value(), 2);
    EXPECT_EQ(lv_bar_get_value(first_bar), 1) << "only the latest bar moves";

    send_command("M4_done");
    EXPECT_EQ(children_of(active_screen()).size(), before + 2);
    EXPECT_EQ(children_of(active_screen())[before], first);
    run_for(3000);
    EXPECT_EQ(display_state.fw_progress, 2u);
}

TEST_F(FirmwareBar, UpdatePausesTheMeterAndRebuildDoesNot) {
    send_command("M4_update");
    EXPECT_EQ(display_state.voltage_task->prio, LV_TASK_PRIO_MID);
    EXPECT_EQ(display_state.progress_task->prio, LV_TASK_PRIO_MID);
    send_command("cd_update");
    EXPECT_EQ(display_state.voltage_task->prio, LV_TASK_PRIO_OFF);
    EXPECT_EQ(display_state.progress_task->prio, LV_TASK_PRIO_MID);
    send_command("M4_done");
    EXPECT_EQ(display_state.voltage_task->prio, LV_TASK_PRIO_MID);
    EXPECT_EQ(display_state.progress_task->prio, LV_TASK_PRIO_OFF);
}

TEST_F(FirmwareBar, GoesOnUnderACoverAndInProduction) {
    for (const bool production : {false, true}) {
        production ? build_production_screen() : build_status_screen();
        send_command("cd_update", 10, "FT_MAIN");
        send_command("USB_done");
        for (int second = 1; second <= 12; second++) {
            next_step();
            EXPECT_EQ(value(), std::min(second, 10));
        }
        send_command("clear_msg");
        run_for(3000);
        EXPECT_EQ(display_state.fw_progress, 12u);
    }
}
