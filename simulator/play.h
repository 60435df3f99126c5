// Playing a scenario from a file: `display-sim play`. Stepped time, so a minute takes a moment and every run
// gives the same pictures.
#pragma once

#include <string>

#include "stage.h"

namespace desk {

struct PlayOptions {
    std::string scenario;
    std::string out;     // folder for pictures; "": one named after the scenario, in the current folder
    bool update = false; // writes the expected pictures instead of comparing
    Target target = Target::native;
};

enum PlayStatus {
    play_well = 0,
    play_unmet = 1, // an expectation failed, or the daemon or the desk did
    play_bad = 2,   // no scenario, or words of the command line that mean nothing
};

// Plays and reports to standard output and standard error.
PlayStatus play(const PlayOptions &options);

// `arguments` are the words after "play".
int play_command(const std::vector<std::string> &arguments);

} // namespace desk
