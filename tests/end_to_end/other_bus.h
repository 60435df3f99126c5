// A system bus with a configuration of the test's own, for refusals that the desk's bus never makes. Its
// socket lies in the box's /tmp, where the daemon finds it at guest_address().
#pragma once

#include <string>

#include <dbus/dbus.h>

#include "simulator/desk/box.h"
#include "simulator/desk/process.h"

namespace end_to_end {

class OtherBus {
public:
    // `policy` goes behind the rules that allow everything, `limits` to the end of the configuration.
    OtherBus(desk::Box &box, const std::string &policy, const std::string &limits);
    ~OtherBus();
    OtherBus(const OtherBus &) = delete;
    OtherBus &operator=(const OtherBus &) = delete;

    static const char *guest_address() { return "unix:path=/tmp/other-bus"; }
    // Emits the display signal; it lies in the daemon's socket when the call returns.
    void send(const char *word);

private:
    std::string address_;
    desk::Process process_;
    DBusConnection *connection_ = nullptr;
};

} // namespace end_to_end
