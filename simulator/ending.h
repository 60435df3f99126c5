// How display-sim is asked to end: Ctrl-C, Ctrl-\, SIGTERM, SIGHUP, or a reader of its output that has gone. It
// never dies of them on the spot, because there is a daemon to end, a folder to remove and a terminal to
// restore.
#pragma once

#include <string>

namespace display_sim {

// From now on the signals only set a flag.
void catch_endings();
bool end_wanted();

// Prints at once. Throws desk::Error when nobody reads any more.
void print(const std::string &text);

} // namespace display_sim
