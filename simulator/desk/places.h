// Where the other files of this project lie, from the running program on: in the build folder, or as installed.
#pragma once

#include <string>

namespace desk {

// A program or library, by its place in the build folder: "status-display", "simulator/libdesk_shim.so". Installed they
// lie in libexec/status-display-simulator, so that no daemon of the host is taken for them. Throws Error.
std::string find_program(const std::string &path_in_build);

// A folder of the sources, such as "simulator/scenarios"; installed, its last name in share/status-display-simulator.
// Throws Error.
std::string find_folder(const std::string &path_in_project);

// The folders of display-sim and displayctl, parted by ":", for a PATH.
std::string program_folders();

} // namespace desk
