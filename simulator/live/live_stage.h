// The live tool: both daemons on a stage that keeps up with the wall clock, the panel in the terminal and the
// page in the browser.
#pragma once

#include <optional>

#include "panel/drawing.h"
#include "simulator/scenario/stage.h"

namespace desk {

// The same from run to run, so that an open page finds the next run.
constexpr int usual_port = 8790;

struct LiveOptions {
    desk::View view = desk::View::device; // the one that the terminal shows
    std::optional<panel::Style> style;    // nothing: what the terminal can show
    bool terminal = true;                 // false: the page alone
    std::optional<int> port = usual_port; // of the page; 0: a free one; nothing: no page
    bool port_chosen = false;             // no other one will do
    double speed = 1.0;
    desk::Target target = desk::Target::native;
};

// Returns when the end is wanted. Throws desk::Error when a daemon ends by itself and no page shows it.
void run_live(const LiveOptions &options);

} // namespace desk
