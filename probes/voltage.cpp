// Measures the supply voltage.
//
// Below 6.0 V at the supply input is no voltage there and asks the vehicle jack; exactly 6.0 V is a reading.
#include "probes/voltage.h"

#include <math.h>
#include <stdlib.h>

#include "app/display_state.h"
#include "probes/readers.h"

constexpr double OFFSET_VOLTS = 0.2; // added to every reading, to zero too

// Text that is no finite number counts as 0, as text that is no number at all does.
static float number(const char *text) {
    const auto value = static_cast<float>(strtod(text, nullptr));
    return isfinite(value) ? value : 0.0f;
}

// Volts at the supply input. A file that is not there counts as 0, so that only the offset is left of the sum.
static float read_supply() {
    DisplayState &state = display_state;
    const bool has_scale = read_word(IIO_SCALE, state.scale_text, sizeof state.scale_text);
    const bool has_raw = read_word(IIO_RAW, state.raw_text, sizeof state.raw_text);
    const float scale = has_scale ? number(state.scale_text) : 0.0f;
    const float raw = has_raw ? number(state.raw_text) : 0.0f;
    const float product = raw * scale; // millivolts at the converter
    // 96.39 / 7.29 is the input's voltage divider; the order of the operations is part of the result.
    const double volts = static_cast<double>(product) * 96.39 / 7.29 / 1000.0 + OFFSET_VOLTS;
    const auto narrowed = static_cast<float>(volts);
    return isfinite(narrowed) ? narrowed : 0.0f;
}

// Runs the jack command once. Returns volts.
static float read_jack() {
    read_last_line(JACK_COMMAND, display_state.vjack_text, 127);
    const float volts = number(display_state.vjack_text) / 1000.0f;
    return static_cast<float>(static_cast<double>(volts) + OFFSET_VOLTS);
}

static float measure_jack() {
    float volts = read_jack();
    if (volts > 99.0f) volts = read_jack(); // the service's first answer may be nonsense; one retry only
    if (volts < LOWEST_VOLTAGE) volts = 0.0f;
    display_state.jack_voltage = volts;
    return volts;
}

VoltageSource voltage_probe() {
    DisplayState &state = display_state;
    state.supply_voltage = read_supply();
    if (state.supply_voltage >= LOWEST_VOLTAGE) return VoltageSource::supply;
    state.supply_voltage = 0.0f;
    if (!file_exists(FLAG_VCI_READY)) return VoltageSource::none;
    state.supply_voltage = measure_jack();
    return VoltageSource::jack;
}

void wake_jack_measurement() {
    char dropped[TEXT_SIZE];
    read_last_line(JACK_COMMAND, dropped, sizeof dropped);
}
