// The panel live in a terminal, until the person at it or the system ends it.
#pragma once

#include <functional>
#include <string>

#include "simulator/stage.h"

namespace display_sim {

// What the view can't do itself.
struct LiveWork {
    // Called again and again: lets the daemons' time pass, takes about 10 ms.
    std::function<void()> turn;
    // Sends a command with its arguments. What there is to tell about it, one line.
    std::function<std::string(const std::string &command)> send;
};

// Shows one panel of a started stage with `line` above it, if there is one, and the keys below. Returns when
// the end is wanted (ending.h, or the key for it). The terminal is as before in every case.
void show_live(desk::Stage &stage, desk::View view, const std::string &line, const LiveWork &work);

} // namespace display_sim
