// A short scenario that shows what the panel can do. It is a table of steps: what happens to the box, which
// command is sent, how long the panel gets to follow, and where the picture must have changed.
#pragma once

#include <optional>

#include "panel/drawing.h"
#include "simulator/desk/desk.h"

namespace display_sim {

// Plays the scenario on a desk in stepped time and prints the panel after each step, in that style or in what the
// terminal can show. Throws desk::Error when
// a command is not received or the picture does not follow.
void play_demo(desk::Desk &desk, std::optional<panel::Style> style);

} // namespace display_sim
