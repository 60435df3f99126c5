// The command line of the live tool and of the demo: what the words mean, and what is wrong with them. "play"
// and "gallery" have command lines of their own.
#pragma once

#include <string>
#include <vector>

#include "simulator/desk/error.h"
#include "simulator/live/live_stage.h"

namespace desk {

extern const char *const usage;

// what() names the option and what it takes.
class UsageError : public desk::Error {
public:
    using desk::Error::Error;
};

struct Choice {
    bool help = false;
    bool demo = false;
    LiveOptions live; // view and target mean something for the demo too
};

// What the words ask for, without the program's name. `terminal`: whether the output is one that can be drawn
// on; elsewhere it is the demo, unless the page alone is asked for. Throws UsageError for the first wrong word.
Choice parse_options(const std::vector<std::string> &words, bool terminal);

} // namespace desk
