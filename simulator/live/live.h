// The panel live in a terminal, until the person at it or the system ends it.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "panel/drawing.h"
#include "simulator/scenario/pace.h"
#include "simulator/scenario/stage.h"

namespace desk {

// What is shown, and how.
struct LiveView {
    desk::View view = desk::View::device;
    std::optional<panel::Style> style; // nothing: what the terminal can show
    std::string page;                  // the page's address; empty without one
};

// What the view can't do itself. Both carry on where the page may have begun.
struct LiveWork {
    // Called again and again: lets the daemons' time pass, takes about 10 ms.
    std::function<void()> turn;
    // Does that to the stage, unless the daemon has ended; empty, or why it was not done.
    std::function<std::string(const std::function<void()> &work)> perform;
};

// Shows one panel of a started stage with what a person beside it needs, as far as there is room. Returns when the
// end is wanted (ending.h, or the key for it). The terminal is as before in every case.
void show_live(desk::Stage &stage, desk::Pace &pace, const LiveView &what, const LiveWork &work);

} // namespace desk
