// The supply voltage: from the SoC's ADC (Linux IIO), or from the vehicle jack when that input is below 6 V.
#pragma once

/// Volts below which a reading counts as none.
constexpr float LOWEST_VOLTAGE = 6.0f;

enum class VoltageSource {
    none,   ///< no supply, and the interface service is not ready to be asked for the jack
    supply, ///< the converter
    jack,   ///< the vehicle jack; 0 V when that reads below LOWEST_VOLTAGE
};

/// Measures once: `supply_voltage` becomes what the display is to show, in volts, 0 for none; `jack_voltage` the jack's
/// reading when it was asked. Asking the jack runs the interface service's client, twice at most, and blocks until
/// it ends.
VoltageSource voltage_probe();

/// Asks for the jack voltage and drops the answer: the interface service measures when asked, and only that is wanted.
void wake_jack_measurement();
