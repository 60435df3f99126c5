// The fake tools of a box: shell scripts for /usr/local/bin that note each call in /desk/state/calls and
// print what the files in /desk/state say, in the words of the real ones.
#pragma once

#include <map>
#include <string>

namespace desk {

// What they print: the network's name, the word after "signal:", the noise, and what the vehicle interface answers, a
// line a call. Without a line the network is none, and the others are silent.
constexpr const char *ssid_state = "/desk/state/ssid";
constexpr const char *signal_state = "/desk/state/signal";
constexpr const char *noise_state = "/desk/state/noise";
constexpr const char *jack_state = "/desk/state/jack";
constexpr const char *calls_state = "/desk/state/calls";

// Script text by tool name: "iw", "wl", "vcicp".
const std::map<std::string, std::string> &box_tools();

} // namespace desk
