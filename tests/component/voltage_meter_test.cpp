// The voltage meter against a model of its own: the same float and double steps in the same order, every boundary,
// both sources, and what the labels and the source icon show.
#include "support.h"

#include <math.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <map>

#include "probes/flag_files.h"
#include "probes/voltage_meter.h"
#include "screen/images.h"
#include "screen/production_screen.h"
#include "screen/status_screen.h"

// ---- The model

struct Input {
    std::optional<std::string> scale, raw;  ///< content of the two files; none: no file
    bool jack_ready = false;
    std::vector<std::optional<std::string>> jack;  ///< what each run of the command prints; none: popen fails
};

// A number as the meter takes it; anything that is no finite float counts as 0.
static float number(const std::string &text) {
    const float value = static_cast<float>(strtod(text.c_str(), nullptr));
    return isfinite(value) ? value : 0.0f;
}

static std::string first_word(const std::string &text, const std::string &before) {
    const size_t start = text.find_first_not_of(" \t\n\v\f\r");
    if (start == std::string::npos) return before;
    return text.substr(start, text.find_first_of(" \t\n\v\f\r", start) - start).substr(0, 63);
}

static std::string last_line(const std::string &text, const std::string &before) {
    std::string piece = before;
    for (size_t at = 0; at < text.size();) {
        const size_t newline = std::min(text.find('\n', at), text.size() - 1);
        piece = text.substr(at, std::min<size_t>(newline - at + 1, 126));
        at += piece.size();
    }
    return piece;
}

static std::string up_to_nul(const std::string &text) {
    return text.substr(0, text.find('\0'));
}

static std::string formatted(const char *before, float volts, const char *behind) {
    char text[64];
    snprintf(text, sizeof(text), "%s%.1f%s", before, static_cast<double>(volts), behind);
    return text;
}

struct MeterModel {
    float supply = 0, jack = 0, lowest = 99.0f, highest = 0.0f;
    uint32_t last_whole = 1;
    bool icon_is_supply = true;
    std::string scale_text, raw_text, jack_text;
    std::string label = "-.-v", lowest_label = "Min. -.-", highest_label = "Max. -.-";
    std::string buffer;  ///< what the formatting buffer holds after a run
    bool power_down = false, on_active_screen = true;
    size_t jack_runs = 0;

    float run_jack(const Input &input) {
        const std::optional<std::string> output = input.jack.at(std::min(jack_runs++, input.jack.size() - 1));
        if (output) jack_text = last_line(*output, jack_text);
        const float thousandth = number(jack_text) / 1000.0f;
        return static_cast<float>(static_cast<double>(thousandth) + 0.2);
    }

    float measure_supply(const Input &input) {
        if (input.scale) scale_text = first_word(*input.scale, scale_text);
        if (input.raw) raw_text = first_word(*input.raw, raw_text);
        const float scale = input.scale ? number(scale_text) : 0.0f;
        const float raw = input.raw ? number(raw_text) : 0.0f;
        const float product = raw * scale;
        double volts = static_cast<double>(product);
        volts = volts * 96.39;
        volts = volts / 7.29;
        volts = volts / 1000.0;
        volts = volts + 0.2;
        return static_cast<float>(volts);
    }

    float measure_jack(const Input &input) {
        float volts = run_jack(input);
        if (volts > 99.0f) volts = run_jack(input);
        if (volts < 6.0f) volts = 0;
        jack = volts;
        return volts;
    }

    void show(float volts) {
        if (lowest > volts && volts > 6.0f) {
            lowest = volts;
            lowest_label = formatted("Min. ", volts, "");
        }
        if (highest < volts) {
            highest = volts;
            highest_label = formatted("Max. ", volts, "");
        }
        if (volts == static_cast<float>(last_whole) || !(volts > 6.0f)) {
            label = "-.-v";
        } else {
            if (on_active_screen) label = buffer = formatted("", volts, "v");
            last_whole = static_cast<uint32_t>(volts);
        }
        if (power_down) label = "-.-v";
    }

    void run(const Input &input) {
        jack_runs = 0;
        buffer = "";
        supply = measure_supply(input);
        if (supply >= 6.0f) {
            icon_is_supply = true;
            return show(supply);
        }
        supply = 0;
        if (!input.jack_ready) return;
        supply = measure_jack(input);
        icon_is_supply = false;
        show(supply);
    }
};

// ---- The meter on the status screen

class VoltageMeter : public ComponentTest {
protected:
    void SetUp() override {
        ComponentTest::SetUp();
        answer_commands([](const std::string &) { return std::nullopt; });
        status_screen_create();
        ASSERT_NE(display_state.voltage_label, nullptr);
        for (const char *path : {IIO_SCALE, IIO_RAW, FLAG_VCI_READY}) remove_file(path);
    }
    void TearDown() override {
        EXPECT_EQ(open_pipes, 0);
        EXPECT_EQ(null_pcloses, 0);
        ComponentTest::TearDown();
    }

    // Sweeps change one file of three: only that one is written.
    void put(const char *path, const std::optional<std::string> &bytes) {
        if (there.count(path) != 0 && there[path] == bytes) return;
        there[path] = bytes;
        if (bytes) write_file(path, *bytes);
        else remove_file(path);
    }

    void provide(const Input &input) {
        put(IIO_SCALE, input.scale);
        put(IIO_RAW, input.raw);
        put(FLAG_VCI_READY, input.jack_ready ? std::optional<std::string>("") : std::nullopt);
        size_t runs = 0;
        answer_commands([input, runs](const std::string &) mutable -> std::optional<std::string> {
            return input.jack.empty() ? std::nullopt : input.jack.at(std::min(runs++, input.jack.size() - 1));
        });
        shell_commands.clear();
    }

    /// One run of meter and model, and everything compared.
    void run(const Input &input) {
        provide(input);
        display_state.power_down = model.power_down;
        model.run(input);
        voltage_task(nullptr);
        compare_values();
        compare_screen();
        EXPECT_EQ(shell_commands, std::vector<std::string>(model.jack_runs, "/usr/local/bin/vcicp vjack"));
    }

    void compare_values() const {
        EXPECT_EQ(display_state.supply_voltage, model.supply);
        EXPECT_EQ(display_state.jack_voltage, model.jack);
        EXPECT_EQ(display_state.voltage_min, model.lowest);
        EXPECT_EQ(display_state.voltage_max, model.highest);
        EXPECT_EQ(display_state.voltage_last_whole, model.last_whole);
        EXPECT_EQ(display_state.source_icon_is_supply, model.icon_is_supply);
        EXPECT_EQ(up_to_nul(display_state.scale_text), up_to_nul(model.scale_text));
        EXPECT_EQ(up_to_nul(display_state.raw_text), up_to_nul(model.raw_text));
        EXPECT_EQ(up_to_nul(display_state.vjack_text), up_to_nul(model.jack_text));
        EXPECT_EQ(display_state.voltage_text, model.buffer);
    }

    void compare_screen() const {
        EXPECT_EQ(lv_label_get_text(display_state.voltage_label), model.label);
        EXPECT_EQ(lv_label_get_text(display_state.voltage_min_label), model.lowest_label);
        EXPECT_EQ(lv_label_get_text(display_state.voltage_max_label), model.highest_label);
        const lv_img_dsc_t *icon = model.icon_is_supply ? &img_supply_1 : &img_jack;
        EXPECT_EQ(lv_img_get_src(display_state.voltage_source_icon), icon);
        expect_places();
    }

    static void expect_at(const lv_obj_t *object, int x, int y) {
        EXPECT_EQ(lv_obj_get_x(object), x);
        EXPECT_EQ(lv_obj_get_y(object), y);
    }

    // The value in the middle of 63 x 30; minimum and maximum in the left corners of 57 x 30; the icon at the left
    // of 118 x 16, one above the middle.
    static void expect_places() {
        const DisplayState &state = display_state;
        expect_at(state.voltage_label, 63 / 2 - lv_obj_get_width(state.voltage_label) / 2,
                  30 / 2 - lv_obj_get_height(state.voltage_label) / 2);
        expect_at(state.voltage_max_label, 0, 0);
        expect_at(state.voltage_min_label, 0, 30 - lv_obj_get_height(state.voltage_min_label));
        expect_at(state.voltage_source_icon, 0, 16 / 2 - lv_obj_get_height(state.voltage_source_icon) / 2 - 1);
    }

    MeterModel model;
    std::map<std::string, std::optional<std::string>> there;
};

static Input supply(const std::string &raw, const std::string &scale) {
    Input input;
    input.raw = raw;
    input.scale = scale;
    return input;
}

static Input jack(std::vector<std::optional<std::string>> outputs) {
    Input input;
    input.jack_ready = true;
    input.jack = std::move(outputs);
    return input;
}

static std::string digits(float value) {
    char text[64];
    snprintf(text, sizeof(text), "%.9g", static_cast<double>(value));
    return text;
}

/// The raw count (at a scale of 1) for which the model's volts are nearest to `wanted` from below.
static float raw_below(float wanted) {
    float raw = (wanted - 0.2f) / 96.39f * 7290.0f - 0.1f;
    while (MeterModel().measure_supply(supply(digits(nextafterf(raw, 1e9f)), "1")) < wanted) raw = nextafterf(raw, 1e9f);
    return raw;
}

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
        below |= volts < 6.0f, exactly |= volts == 6.0f, above |= volts > 6.0f;
    }
    EXPECT_TRUE(below && exactly && above);
}

TEST_F(VoltageMeter, ExactlySixIsAReadingButNotShown) {
    const std::string six = digits(nextafterf(raw_below(6.0f), 1e9f));
    Input input = supply(six, "1");
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
    for (const Input &low : {supply("100", "1"), supply("0", "1"), supply(digits(raw_below(6.0f)), "1"), Input{}}) {
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

// ---- The jack

TEST_F(VoltageMeter, JackIsAskedWhenTheServiceIsReady) {
    Input input = supply("100", "1");
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
    for (const std::string text : {"9000\n12000\n", "9000\n12000", "vjack:\n12000\n", " 12000 mV\n", "12000\n\n", "12000\nend\n",
                                   "12000.5\n", "1.2e4\n", "0x2ee0\n", "-12000\n", "\n", "\xff\n"}) {
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
    for (const std::optional<std::string> &scale : {std::optional<std::string>(), std::optional<std::string>("1.0\n")}) {
        for (const std::optional<std::string> &raw : {std::optional<std::string>(), std::optional<std::string>("1000\n")}) {
            Input input = jack({"12000\n"});
            input.scale = scale;
            input.raw = raw;
            run(input);
            EXPECT_EQ(shell_commands.size(), scale && raw ? 0u : 1u);
            EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), scale && raw ? "13.4v" : "12.2v");
        }
    }
}

TEST_F(VoltageMeter, EveryPairOfContents) {
    const std::vector<std::optional<std::string>> contents = {
        std::nullopt, "", "\n", "garbage\n", "1000\n", "1.0", "  1000\n", "1000 2000\n", "1e3", "0x3e8", "-1000\n", "1000volts",
        "nan", "inf", "-inf", "1e300", "-1e300", "1e-300", ".", "-", "+1000", std::string(200, '0') + "1000",
        "1000." + std::string(500, '0'), std::string(500, ' ') + "x", "\xff\xfe", std::string("10\00000", 5)};
    for (bool ready : {false, true}) {
        for (const auto &scale : contents) {
            for (const auto &raw : contents) {
                Input input = jack({"12000\n"});
                input.jack_ready = ready;
                input.scale = scale;
                input.raw = raw;
                // A text that is kept is read again: each file's own state decides, so begin with known texts.
                run(supply("1000", "1"));
                run(input);
                ASSERT_FALSE(HasFailure()) << (scale ? scale->substr(0, 40) : "(none)") << " and "
                                           << (raw ? raw->substr(0, 40) : "(none)");
            }
        }
    }
}

TEST_F(VoltageMeter, FolderOrFifoInAFilesPlace) {
    alarm(60);
    for (const char *path : {IIO_SCALE, IIO_RAW}) {
        for (void (*make)(const std::string &) : {make_folder, make_fifo}) {
            provide(supply("1000", "1"));
            make(path);
            voltage_task(nullptr);
            remove_file(path);
            there.clear();
        }
    }
    alarm(0);
}

TEST_F(VoltageMeter, HugeFiniteNumbersAreShownWhole) {
    provide(supply("1e15", "1"));
    voltage_task(nullptr);
    EXPECT_EQ(lv_label_get_text(display_state.voltage_label), formatted("", display_state.supply_voltage, "v"));
}

// ---- Power-down, other screens, redrawing

TEST_F(VoltageMeter, PowerDownBlanksAfterEveryReading) {
    model.power_down = true;
    for (const Input &input : {supply("1000", "1"), supply("1100", "1"), jack({"12000\n"}), jack({"5000\n"})}) {
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
    run(jack({"9800\n"}));  // exactly 10: equal to the whole number remembered
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "-.-v");
    lv_disp_load_scr(screen);
    model.on_active_screen = true;
    lv_obj_del(other);
    run(supply("900", "1"));
    EXPECT_STREQ(lv_label_get_text(display_state.voltage_label), "12.1v");
}

TEST_F(VoltageMeter, SameReadingIsNotDrawnAgain) {
    for (const Input &input : {supply("1000", "1"), jack({"12000\n"}), jack({"5000\n"}), supply("1005", "1")}) {
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
        for (const Input &input : {supply("1000", "1"), supply("100", "1"), jack({"12000\n"}), jack({"5000\n"}),
                                   jack({"150000\n", "13000\n"}), jack({std::nullopt}), supply("1200", "1"), Input{}}) {
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
