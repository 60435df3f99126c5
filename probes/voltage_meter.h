// The supply voltage: from the SoC's ADC (Linux IIO), or from the vehicle jack when that input is below 6 V.
#pragma once

#include "lvgl.h"

constexpr char IIO_SCALE[] = "/sys/bus/iio/devices/iio:device0/in_voltage_scale";  ///< millivolts per count
constexpr char IIO_RAW[] = "/sys/bus/iio/devices/iio:device0/in_voltage0_raw";     ///< counts
constexpr char JACK_COMMAND[] = "/usr/local/bin/vcicp vjack";                      ///< prints millivolts

/// LVGL task, every 500 ms: measures and writes the voltage, its minimum and maximum, and the source icon.
/// Without labels (production screen) it only measures.
void voltage_task(lv_task_t *task);
