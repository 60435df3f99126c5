// The fake tools of a box: shell scripts for /usr/local/bin that note each call in /desk/state/calls and
// print what the files in /desk/state say, in the words of the real ones.
#pragma once

#include <map>
#include <string>

namespace desk {

// Script text by tool name: "iw", "wl", "vcicp".
const std::map<std::string, std::string> &box_tools();

} // namespace desk
