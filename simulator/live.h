// The panel live in a terminal, until the person at it or the system ends it.
#pragma once

#include <functional>
#include <string>

#include "simulator/stage.h"

namespace display_sim {

// Shows one panel of a started stage with `line` above it, if there is one. `turn` is called again and again:
// it lets the daemons' time pass and takes about 10 ms. Returns when the end is wanted (ending.h). The
// terminal is as before in every case.
void show_live(desk::Stage &stage, desk::View view, const std::string &line,
               const std::function<void()> &turn);

} // namespace display_sim
