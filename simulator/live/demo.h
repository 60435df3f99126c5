// A tour of what the panel can do: simulator/scenarios/demo.scenario, which is built into the program. The panel is
// printed after each note's lines.
#pragma once

#include <string>

#include "simulator/live/live_stage.h"

namespace desk {

extern const std::string demo_scenario;

// Plays the tour, or another scenario, in stepped time up to its end or until the end is wanted; of the options view,
// style and target count. Throws desk::Error when a line can't be carried out, or the panel looks the same after a
// note's lines as before.
void play_demo(const LiveOptions &options, const std::string &scenario = demo_scenario);

} // namespace desk
