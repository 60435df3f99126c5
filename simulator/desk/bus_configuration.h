// A private system bus in dbus-daemon's own words. Header only: the tests of displayctl need it where there is no desk.
#pragma once

#include <string>

namespace desk {

// Everything is allowed but what `policy` forbids, which is read last; `limits` goes to the end.
inline std::string bus_configuration(const std::string &address, const std::string &policy = "",
                                     const std::string &limits = "") {
    return "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
           " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
           "<busconfig>\n"
           "  <type>system</type>\n"
           "  <listen>" +
           address +
           "</listen>\n"
           "  <auth>EXTERNAL</auth>\n"
           "  <policy context=\"default\">\n"
           "    <allow user=\"*\"/>\n"
           "    <allow own=\"*\"/>\n"
           "    <allow send_destination=\"*\"/>\n"
           "    <allow send_type=\"signal\"/>\n"
           "    <allow receive_sender=\"*\"/>\n" +
           policy + "  </policy>\n" + limits + "</busconfig>\n";
}

} // namespace desk
