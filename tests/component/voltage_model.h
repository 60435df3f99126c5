// What the voltage meter must do, written as a second, plain calculation, and the fixture that runs the meter
// beside it: the same files and jack answers for both, then every value, text, place and icon compared.
#pragma once

#include "support.h"

#include <map>

struct MeterInput {
    std::optional<std::string> scale, raw; ///< content of the two files; none: no file
    bool jack_ready = false;
    std::vector<std::optional<std::string>> jack; ///< what each run of the command prints; none: popen fails
};

/// The supply's two files with these contents; the service of the jack is not ready.
MeterInput supply(const std::string &raw, const std::string &scale);

/// No files, and a jack command that prints these texts one after the other, the last one again and again.
MeterInput jack(std::vector<std::optional<std::string>> outputs);

struct MeterModel {
    float supply = 0, jack = 0, lowest = 99.0f, highest = 0.0f;
    uint32_t last_whole = 1;
    bool icon_is_supply = true;
    std::string scale_text, raw_text, jack_text;
    std::string label = "-.-v", lowest_label = "Min. -.-", highest_label = "Max. -.-";
    bool power_down = false, on_active_screen = true;
    size_t jack_runs = 0;

    void run(const MeterInput &input);
    float measure_supply(const MeterInput &input);

private:
    float run_jack(const MeterInput &input);
    float measure_jack(const MeterInput &input);
    void show(float volts);
};

/// "%.1f" between two texts.
std::string formatted(const char *before, float volts, const char *behind);

/// The number with all the digits that tell it from its neighbours.
std::string digits(float value);

/// The raw count (at a scale of 1) for which the model's volts are nearest to `wanted` from below.
float raw_below(float wanted);

/// The meter on the status screen.
class VoltageMeter : public ComponentTest {
protected:
    void SetUp() override;
    void TearDown() override;

    /// Files, flag and jack as the input says.
    void provide(const MeterInput &input);

    /// One run of meter and model, and everything compared.
    void run(const MeterInput &input);

    void compare_values() const;

    MeterModel model;
    std::map<std::string, std::optional<std::string>> there; ///< what provide() has put in place

private:
    void put(const char *path, const std::optional<std::string> &bytes);
    void compare_screen() const;
};
