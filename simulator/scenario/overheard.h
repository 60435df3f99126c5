// Listens on the desk's bus: the display commands of everyone, so that a person at the terminal sees what another
// program has sent, also while the daemons stand still and log nothing, and a recording has it.
#pragma once

#include <string>
#include <vector>

#include "simulator/desk/bus.h"

namespace desk {

// One command as it went over the bus.
struct Overheard {
    std::string command; // "cd_update 120 MAIN_FW"; foreign text as it came
    std::string sender;  // the unique name, such as ":1.7"
    std::string line;    // of a scenario that sends exactly that; empty when none can
};

class BusListener {
public:
    // The commands that have come over that bus since the last question, or since the first one; never waits. A bus
    // that has ended says nothing. Throws desk::Error.
    std::vector<Overheard> commands(Bus &bus);

private:
    void follow(Bus &bus);

    client::Connection connection_;
    std::string address_;
};

} // namespace desk
