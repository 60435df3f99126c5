// Playing scenarios from files: `display-sim play`, in stepped time, so that a minute takes a moment and every run gives
// the same pictures. With a program beside the daemons, `display-sim exec`, time is the wall clock's.
#pragma once

#include <string>
#include <vector>

#include "simulator/scenario/stage.h"

namespace desk {

struct PlayOptions {
    std::string scenario;             // "-": from the standard input; "": none
    std::string out;                  // folder for pictures; "": a fresh one among the temporary files
    bool update = false;              // writes the expected pictures instead of comparing
    std::vector<std::string> program; // runs beside the daemons from their first start on
    Target target = Target::native;
};

// The worst of what has come up.
enum PlayStatus {
    play_well = 0,
    play_unmet = 1,  // an expectation failed, or a daemon ended
    play_bad = 2,    // no scenario, or words of the command line that mean nothing or must not be
    play_broken = 3, // it could not be carried out: no room for a picture, no desk, no daemon that starts
};

// How one scenario went.
struct PlayResult {
    std::string name;
    PlayStatus status = play_well;
    double seconds = 0.0;
    std::vector<std::string> problems; // each as it was said to standard error
};

// Plays and reports to standard output and standard error.
PlayResult play(const PlayOptions &options);

// The results as JUnit reads them. Throws Error.
void save_junit(const std::string &path, const std::vector<PlayResult> &results);

// `arguments` are the words after "play" or "exec".
int play_command(const std::vector<std::string> &arguments);
int exec_command(const std::vector<std::string> &arguments);

} // namespace desk
