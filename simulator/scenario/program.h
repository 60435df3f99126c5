// Somebody's program beside the daemons: in their box, with their bus as its system bus, in real time. Whoever writes a
// service of the box sees what its signals and files do to the panel.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simulator/desk/process.h"
#include "simulator/scenario/stage.h"

namespace desk {

class Program {
public:
    // Starts it in the box of a started stage; its output and errors are this program's own. The current folder and
    // the absolute paths among the words are at their places inside, the rest is the box. Throws Error.
    Program(Stage &stage, const std::vector<std::string> &command);

    // Its exit status, or 128 + the signal that ended it; nothing while it runs.
    std::optional<int> status() { return process_.status(); }
    // Asks it to end, and ends it when it doesn't within some seconds.
    void end();

private:
    Process process_;
};

} // namespace desk
