// Where the voltage comes from: the vehicle jack with its single retry, and files that are missing, empty or
// hold anything else.
#include "voltage_model.h"

#include <math.h>
#include <unistd.h>

#include "probes/readers.h"
#include "screen/measurement_area.h"
#include "screen/art.h"

// ---- The jack

TEST_F(VoltageMeter, JackIsAskedWhenTheServiceIsReady) {
    MeterInput input = supply("100", "1");
    input.jack_ready = true;
    input.jack = {"12000\n"};
    run(input);
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "12.2v");
    EXPECT_EQ(lv_img_get_src(display_state.voltage_source_icon), &img_jack);
    EXPECT_EQ(display_state.jack_voltage, display_state.supply_voltage);
    run(supply("1000", "1"));
    EXPECT_EQ(lv_img_get_src(display_state.voltage_source_icon), &img_supply_1);
}

TEST_F(VoltageMeter, EveryJackReading) {
    for (int millivolts = -1000; millivolts <= 130000; millivolts += millivolts >= 5500 && millivolts < 6500 ? 1 : 37) {
        run(jack({std::to_string(millivolts) + "\n", "13370\n"}));
        ASSERT_FALSE(HasFailure()) << millivolts;
    }
}

TEST_F(VoltageMeter, JackOfFiveThousandIsNoVoltage) {
    run(jack({"12000\n"}));
    run(jack({"5000\n"}));
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "-.-v");
    EXPECT_EQ(display_state.jack_voltage, 0.0f);
    EXPECT_EQ(display_state.supply_voltage, 0.0f);
    EXPECT_EQ(lv_img_get_src(display_state.voltage_source_icon), &img_jack);
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_min_label), "Min. 12.2");
}

TEST_F(VoltageMeter, JackAboveNinetyNineIsAskedOnceMore) {
    for (const char *second : {"12000\n", "150000\n", "98800\n", "98801\n", "5000\n", "0\n", "garbage\n", ""}) {
        run(jack({"150000\n", second}));
        EXPECT_EQ(shell_commands.size(), 2u) << second;
        ASSERT_FALSE(HasFailure()) << second;
    }
    run(jack({"150000\n", std::nullopt}));
    EXPECT_EQ(shell_commands.size(), 2u);
}

TEST_F(VoltageMeter, AroundNinetyNineVolts) {
    bool once = false, twice = false;
    for (float millivolts = 98799.0f; millivolts < 98801.0f; millivolts = nextafterf(millivolts, 1e9f)) {
        run(jack({digits(millivolts), "12000"}));
        ASSERT_FALSE(HasFailure()) << digits(millivolts);
        once |= shell_commands.size() == 1, twice |= shell_commands.size() == 2;
    }
    EXPECT_TRUE(once && twice);
}

TEST_F(VoltageMeter, JackThatSaysNothingKeepsItsLastText) {
    run(jack({""}));
    run(jack({std::nullopt}));
    run(jack({"12000\n"}));
    run(jack({""}));
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "12.2v");
    run(jack({std::nullopt}));
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "12.2v");
}

TEST_F(VoltageMeter, LastLineOfTheJackCommandCounts) {
    for (const std::string text : {"9000\n12000\n", "9000\n12000", "vjack:\n12000\n", " 12000 mV\n", "12000\n\n",
                                   "12000\nend\n", "12000.5\n", "1.2e4\n", "0x2ee0\n", "-12000\n", "\n", "\xff\n"}) {
        run(jack({text}));
        ASSERT_FALSE(HasFailure()) << text;
    }
    for (size_t blanks = 100; blanks <= 260; ++blanks) {
        run(jack({std::string(blanks, ' ') + "12000\n"}));
        ASSERT_FALSE(HasFailure()) << blanks;
    }
    run(jack({std::string(100000, '1')}));
}

// ---- The two files

TEST_F(VoltageMeter, MissingFilesFallBackToTheJack) {
    for (const std::optional<std::string> &scale :
         {std::optional<std::string>(), std::optional<std::string>("1.0\n")}) {
        for (const std::optional<std::string> &raw :
             {std::optional<std::string>(), std::optional<std::string>("1000\n")}) {
            MeterInput input = jack({"12000\n"});
            input.scale = scale;
            input.raw = raw;
            run(input);
            EXPECT_EQ(shell_commands.size(), scale && raw ? 0u : 1u);
            EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), scale && raw ? "13.4v" : "12.2v");
        }
    }
}

TEST_F(VoltageMeter, EveryPairOfContents) {
    const std::vector<std::optional<std::string>> contents = {std::nullopt,
                                                              "",
                                                              "\n",
                                                              "garbage\n",
                                                              "1000\n",
                                                              "1.0",
                                                              "  1000\n",
                                                              "1000 2000\n",
                                                              "1e3",
                                                              "0x3e8",
                                                              "-1000\n",
                                                              "1000volts",
                                                              "nan",
                                                              "inf",
                                                              "-inf",
                                                              "1e300",
                                                              "-1e300",
                                                              "1e-300",
                                                              ".",
                                                              "-",
                                                              "+1000",
                                                              std::string(200, '0') + "1000",
                                                              "1000." + std::string(500, '0'),
                                                              std::string(500, ' ') + "x",
                                                              "\xff\xfe",
                                                              std::string("10\00000", 5)};
    for (bool ready : {false, true}) {
        for (const auto &scale : contents) {
            for (const auto &raw : contents) {
                MeterInput input = jack({"12000\n"});
                input.jack_ready = ready;
                input.scale = scale;
                input.raw = raw;
                // A text that is kept is read again: each file's own state decides, so begin with known
                // texts.
                run(supply("1000", "1"));
                run(input);
                ASSERT_FALSE(HasFailure())
                    << (scale ? scale->substr(0, 40) : "(none)") << " and " << (raw ? raw->substr(0, 40) : "(none)");
            }
        }
    }
}

// It opens but holds no word: what was read last from that place counts on, and nothing at first.
TEST_F(VoltageMeter, FolderOrFifoInAFilesPlace) {
    struct Case {
        const char *path;
        const char *other_path, *other_word;
        const char *shown; ///< the word read last, 1000 or 1, beside the other file's new one
    };
    alarm(60);
    for (const Case &one : {Case{IIO_SCALE, IIO_RAW, "1100\n", "14.7v"}, Case{IIO_RAW, IIO_SCALE, "2\n", "26.6v"}}) {
        for (void (*make)(const std::string &) : {make_folder, make_fifo}) {
            display_state.scale_text[0] = display_state.raw_text[0] = '\0';
            lv_label_set_text(display_state.voltage_label, "");
            provide(supply("1000", "1"));
            make(one.path);
            voltage_task(nullptr);
            EXPECT_EQ(display_state.supply_voltage, 0.0f) << one.path;
            EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "") << one.path;

            write_file(FLAG_VCI_READY, "");
            answer_commands([](const std::string &) { return "12000\n"; });
            voltage_task(nullptr);
            EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "12.2v") << one.path;

            remove_file(one.path);
            there.clear();
            provide(supply("1000", "1"));
            voltage_task(nullptr);
            EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "13.4v") << one.path;
            make(one.path);
            write_file(one.other_path, one.other_word);
            voltage_task(nullptr);
            EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), one.shown) << one.path;
            remove_file(one.path);
            there.clear();
        }
    }
    alarm(0);
}

// ---- Numbers beyond any supply

// 1e15 millivolts are 13,222,222,222,222.4 volts; floats lie 1,048,576 apart there, and this is the nearest.
TEST_F(VoltageMeter, HugeFiniteNumbersAreShownWhole) {
    for (int again = 0; again < 2; ++again) {
        run(supply("1e15", "1"));
        EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "13222222495744.0v");
        EXPECT_STREQ(lv_label_get_text(display_state.voltage_max_label), "Max. 13222222495744.0");
    }
    run(supply("3.4e38", "1"));
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "4495555523830185446127060353042874368.0v");
}

TEST_F(VoltageMeter, WholeVoltsBeyondThirtyTwoBitsAreRememberedAsTheMost) {
    for (const char *raw : {"1e12", "1e15", "1e30", "3.4e38"}) {
        run(supply(raw, "1"));
        EXPECT_EQ(display_state.voltage_last_whole, 4294967295u) << raw;
    }
    float raw = raw_below(4294967296.0f);
    for (int i = 0; i < 20; ++i) raw = nextafterf(raw, 0.0f);
    bool below = false, beyond = false;
    for (int i = 0; i < 40; ++i, raw = nextafterf(raw, INFINITY)) {
        run(supply(digits(raw), "1"));
        (display_state.supply_voltage < 4294967296.0f ? below : beyond) = true;
        ASSERT_FALSE(HasFailure()) << digits(raw);
    }
    EXPECT_TRUE(below && beyond);
    run(jack({"1e13"}));
    EXPECT_EQ(display_state.voltage_last_whole, 4294967295u);
}

// Each is a number, their product is none.
TEST_F(VoltageMeter, ProductBeyondAFloatIsNoReading) {
    for (const char *scale : {"1e30", "-1e30", "3.4e38"}) {
        MeterInput input = jack({"12000\n"});
        input.scale = scale;
        input.raw = "1e30";
        run(input);
        EXPECT_EQ(display_state.supply_voltage, 12.2f) << scale;
        EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "12.2v") << scale;
        EXPECT_STREQ(lv_label_get_text(display_state.voltage_max_label), "Max. 12.2") << scale;
        EXPECT_EQ(lv_img_get_src(display_state.voltage_source_icon), &img_jack) << scale;
        run(supply("1e30", scale));
        EXPECT_EQ(display_state.supply_voltage, 0.0f) << scale;
    }
}

TEST_F(VoltageMeter, JackThroughTheRealShell) {
    provide(jack({}));
    answer_commands(nullptr);
    write_tool("vcicp", "echo 12700");
    voltage_task(nullptr);
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "12.9v");
    EXPECT_EQ(tool_calls(), std::vector<std::string>{"vcicp|vjack|"});
    remove_file("/usr/local/bin/vcicp");
    voltage_task(nullptr);
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "12.9v");
}
