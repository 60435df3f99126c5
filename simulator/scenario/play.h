// Playing a scenario from a file: `display-sim play`. Stepped time, so a minute takes a moment and every run
// gives the same pictures.
#pragma once

#include <string>

#include "simulator/scenario/stage.h"

namespace desk {

struct PlayOptions {
    std::string scenario; // "-": from the standard input
    std::string out;      // folder for pictures; "": a fresh one among the temporary files
    bool update = false;  // writes the expected pictures instead of comparing
    Target target = Target::native;
};

// The worst of what has come up.
enum PlayStatus {
    play_well = 0,
    play_unmet = 1,  // an expectation failed, or a daemon ended
    play_bad = 2,    // no scenario, or words of the command line that mean nothing or must not be
    play_broken = 3, // it could not be carried out: no room for a picture, no desk, no daemon that starts
};

// Plays and reports to standard output and standard error.
PlayStatus play(const PlayOptions &options);

// `arguments` are the words after "play".
int play_command(const std::vector<std::string> &arguments);

} // namespace desk
