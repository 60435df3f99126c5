// The voltage meter's own input and what is shown: the arithmetic at every count, six volts, whole numbers,
// power-down, other screens, redrawing, and the production screen.
#include "voltage_model.h"

#include <math.h>
#include <unistd.h>

#include "messages.h"
#include "probes/readers.h"
#include "screen/art.h"
#include "screen/measurement_area.h"
#include "screen/production_screen.h"

namespace {

TEST_F(VoltageMeter, StartsWithoutAValue) {
    compare_values();
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "-.-v");
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_min_label), "Min. -.-");
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_max_label), "Max. -.-");
}

TEST_F(VoltageMeter, ThousandCountsAtOneMillivolt) {
    run(supply("1000\n", "1.0\n"));
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "13.4v");
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_min_label), "Min. 13.4");
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_max_label), "Max. 13.4");
    EXPECT_NEAR(static_cast<double>(display_state.supply_voltage), 13.4222, 0.0001);
}

TEST_F(VoltageMeter, EveryRawCountAtSeveralScales) {
    for (const char *scale : {"0.439453125", "0.805664062", "0.9", "1.0", "3.3", "0.1", "-0.5"}) {
        for (int raw = 0; raw < 4096; ++raw) {
            run(supply(std::to_string(raw) + "\n", std::string(scale) + "\n"));
            ASSERT_FALSE(HasFailure()) << raw << " at " << scale;
        }
    }
}

TEST_F(VoltageMeter, RisingAndFallingSequencesKeepTheirExtremes) {
    uint32_t seed = 1;
    for (int i = 0; i < 5000; ++i) {
        seed = seed * 1664525u + 1013904223u;
        const std::string value = std::to_string(seed >> 8 & 0xfff), millivolts = std::to_string((seed >> 7) % 110000);
        const bool from_jack = seed >> 30 == 0;
        model.power_down = (seed >> 26 & 15) == 0;
        run(from_jack ? jack({millivolts + "\n", std::to_string((seed >> 5) % 130000)}) : supply(value, "1.1"));
        ASSERT_FALSE(HasFailure()) << i;
    }
}

// ---- Six volts

TEST_F(VoltageMeter, AroundExactlySixVolts) {
    float raw = raw_below(6.0f);
    for (int i = 0; i < 20; ++i) raw = nextafterf(raw, 0.0f);
    bool below = false, exactly = false, above = false;
    for (int i = 0; i < 60; ++i, raw = nextafterf(raw, 1e9f)) {
        run(supply(digits(raw), "1"));
        ASSERT_FALSE(HasFailure()) << digits(raw);
        const float volts = MeterModel().measure_supply(supply(digits(raw), "1"));
        below |= volts<6.0f, exactly |= volts == 6.0f, above |= volts> 6.0f;
    }
    EXPECT_TRUE(below && exactly && above);
}

TEST_F(VoltageMeter, ExactlySixIsAReadingButNotShown) {
    const std::string six = digits(nextafterf(raw_below(6.0f), 1e9f));
    MeterInput input = supply(six, "1");
    input.jack_ready = true;
    input.jack = {"12000\n"};
    run(input);
    EXPECT_EQ(display_state.supply_voltage, 6.0f);
    EXPECT_TRUE(shell_commands.empty());
    EXPECT_EQ(display_state.voltage_min, 99.0f);
    EXPECT_EQ(display_state.voltage_max, 6.0f);
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_max_label), "Max. 6.0");
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "-.-v");
    run(supply("1000", "1"));
    run(input);
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "-.-v");
    EXPECT_EQ(display_state.voltage_last_whole, 13u);
}

TEST_F(VoltageMeter, BelowSixWithoutTheServiceKeepsEverythingShown) {
    run(supply("1000", "1"));
    forget_redraws();
    for (const MeterInput &low :
         {supply("100", "1"), supply("0", "1"), supply(digits(raw_below(6.0f)), "1"), MeterInput{}}) {
        run(low);
        EXPECT_EQ(display_state.supply_voltage, 0.0f);
        EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "13.4v");
        EXPECT_TRUE(shell_commands.empty());
    }
    model.power_down = true;
    run(supply("100", "1"));
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "13.4v");
    draw_now();
    EXPECT_EQ(redrawn_pixels(), 0u);
}

// ---- Whole volts

TEST_F(VoltageMeter, WholeNumberThatWasShownLastIsBlanked) {
    run(jack({"12400\n"}));
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "12.6v");
    EXPECT_EQ(display_state.voltage_last_whole, 12u);
    run(jack({"11800\n"}));
    EXPECT_EQ(display_state.supply_voltage, 12.0f);
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "-.-v");
    EXPECT_EQ(display_state.voltage_last_whole, 12u);
    run(jack({"11800\n"}));
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "-.-v");
    run(jack({"13000\n"}));
    run(jack({"11800\n"}));
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "12.0v");
}

TEST_F(VoltageMeter, EveryWholeNumberFromTheJack) {
    for (int whole = 6; whole <= 99; ++whole) {
        for (int millivolts : {whole * 1000 + 300, whole * 1000 - 200, whole * 1000 - 200, whole * 1000 - 199}) {
            run(jack({std::to_string(millivolts) + "\n"}));
            ASSERT_FALSE(HasFailure()) << millivolts;
        }
    }
}

// ---- Power-down, other screens, redrawing

TEST_F(VoltageMeter, PowerDownBlanksAfterEveryReading) {
    model.power_down = true;
    for (const MeterInput &input : {supply("1000", "1"), supply("1100", "1"), jack({"12000\n"}), jack({"5000\n"})}) {
        run(input);
        EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "-.-v");
    }
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_max_label), model.highest_label.c_str());
    model.power_down = false;
    run(supply("1000", "1"));
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "13.4v");
}

TEST_F(VoltageMeter, LabelOnAnotherScreenIsLeftAlone) {
    run(supply("1000", "1"));
    lv_obj_t *screen = active_screen();
    lv_obj_t *other = lv_obj_create(nullptr, nullptr);
    lv_disp_load_scr(other);
    model.on_active_screen = false;
    run(supply("800", "1"));
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "13.4v");
    EXPECT_EQ(display_state.voltage_last_whole, 10u);
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_min_label), "Min. 10.8");
    run(jack({"9800\n"})); // exactly 10: equal to the whole number remembered
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "-.-v");
    lv_disp_load_scr(screen);
    model.on_active_screen = true;
    lv_obj_del(other);
    run(supply("900", "1"));
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "12.1v");
}

TEST_F(VoltageMeter, SameReadingIsNotDrawnAgain) {
    for (const MeterInput &input : {supply("1000", "1"), jack({"12000\n"}), jack({"5000\n"}), supply("1005", "1")}) {
        run(input);
        run(input);
        forget_redraws();
        for (int i = 0; i < 5; ++i) run(input);
        draw_now();
        EXPECT_EQ(redrawn_pixels(), 0u);
    }
}

TEST_F(VoltageMeter, NothingIsDrawnWhilePoweringDown) {
    model.power_down = true;
    run(supply("1000", "1"));
    run(supply("1200", "1"));
    forget_redraws();
    for (const char *raw : {"1100", "1000", "1150", "1100", "1200"}) {
        run(supply(raw, "1"));
        draw_now();
    }
    EXPECT_EQ(redrawn_pixels(), 0u);
}

TEST_F(VoltageMeter, MeasuresTwiceASecond) {
    provide(jack({"12000\n"}));
    run_for(5000);
    int runs = 0;
    for (const std::string &command : shell_commands) runs += command == JACK_COMMAND;
    EXPECT_GE(runs, 9);
    EXPECT_LE(runs, 11);
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "12.2v");
}

// Resumed, it measures when half a second has gone by since it last did, neither at once nor later.
TEST_F(VoltageMeter, ClosingABoxDoesNotMeasureOutOfTurn) {
    provide(jack({"12000\n"}));
    const auto measured = [] { return shell_commands.size(); };
    while (measured() == 0) run_for(1);
    for (const char *box : {"Reboot", "M4_update", "cd_update"}) {
        shell_commands.clear();
        run_for(100);
        send_command(box, 120, "FT_MAIN");
        run_for(100);
        send_command("clear_msg");
        EXPECT_EQ(measured(), 0u) << box;
        run_for(299);
        EXPECT_EQ(measured(), 0u) << box << ": out of turn";
        run_for(1);
        EXPECT_EQ(measured(), 1u) << box;
    }

    shell_commands.clear();
    send_command("cd_update", 120, "FT_MAIN");
    run_for(1300);
    EXPECT_EQ(measured(), 0u) << "paused";
    send_command("clear_msg");
    EXPECT_EQ(measured(), 0u) << "the command itself measures nothing";
    run_for(1);
    EXPECT_EQ(measured(), 1u) << "its turn has come meanwhile";
    run_for(499);
    EXPECT_EQ(measured(), 1u);
    run_for(1);
    EXPECT_EQ(measured(), 2u);
}

// ---- The production screen has nothing to show a voltage on

class VoltageMeterInProduction : public VoltageMeter {
protected:
    void SetUp() override {
        ComponentTest::SetUp();
        answer_commands([](const std::string &) { return std::nullopt; });
        production_screen_create();
        for (const char *path : {IIO_SCALE, IIO_RAW, FLAG_VCI_READY}) remove_file(path);
    }
};

TEST_F(VoltageMeterInProduction, OnlyMeasures) {
    ASSERT_EQ(display_state.voltage_label, nullptr);
    forget_redraws();
    for (bool power_down : {false, true}) {
        display_state.power_down = power_down;
        for (const MeterInput &input :
             {supply("1000", "1"), supply("100", "1"), jack({"12000\n"}), jack({"5000\n"}),
              jack({"150000\n", "13000\n"}), jack({std::nullopt}), supply("1200", "1"), MeterInput{}}) {
            provide(input);
            model.run(input);
            voltage_task(nullptr);
            EXPECT_EQ(display_state.supply_voltage, model.supply);
            EXPECT_EQ(display_state.jack_voltage, model.jack);
            EXPECT_EQ(shell_commands.size(), model.jack_runs);
        }
    }
    draw_now();
    EXPECT_EQ(redrawn_pixels(), 0u);
}

} // namespace
