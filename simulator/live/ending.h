// How display-sim is asked to end: Ctrl-C, Ctrl-\, SIGTERM, SIGHUP, or a reader of its output that has gone. It
// never dies of them on the spot, because there is a daemon to end, a folder to remove and a terminal to
// restore.
#pragma once

#include <string>

#include "panel/terminal.h"

namespace desk {

using panel::catch_endings;
using panel::end_wanted;

// Prints at once. Throws desk::Error when nobody reads any more.
void print(const std::string &text);

} // namespace desk
