// Listens on the desk's bus: the display commands of everyone, so that a person at the terminal sees what another
// program has sent, also while the daemons stand still and log nothing.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <dbus/dbus.h>

namespace desk {

// One command as it went over the bus.
struct Overheard {
    std::string command; // "cd_update 120 MAIN_FW"; foreign text as it came
    std::string sender;  // the unique name, such as ":1.7"
};

class Ear {
public:
    // Throws desk::Error.
    explicit Ear(const std::string &bus_address);

    // The commands that have come since the last question; never waits.
    std::vector<Overheard> commands();

private:
    struct Close {
        void operator()(DBusConnection *connection) const;
    };
    std::unique_ptr<DBusConnection, Close> connection_;
};

} // namespace desk
