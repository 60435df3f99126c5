#include "simulator/desk/places.h"

#include <filesystem>

#include "simulator/desk/error.h"

namespace desk {

namespace fs = std::filesystem;

static fs::path own_folder() { return fs::read_symlink("/proc/self/exe").parent_path(); }

// The path below the program's folder or one of those above it; "" when there is none.
static std::string find_above(const std::string &path) {
    constexpr int levels = 5;
    fs::path folder = own_folder();
    for (int level = 0; level < levels; level++, folder = folder.parent_path()) {
        if (fs::exists(folder / path)) return (folder / path).string();
    }
    return "";
}

static std::string find(const std::string &installed_folder, const std::string &path, const std::string &advice) {
    const std::string name = fs::path(path).filename().string();
    const std::string installed = find_above(installed_folder + "/status-display-simulator/" + name);
    const std::string found = installed.empty() ? find_above(path) : installed;
    if (found.empty()) throw Error("can't find " + path + " " + advice);
    return found;
}

std::string find_program(const std::string &path_in_build) {
    return find("libexec", path_in_build, "in the build folder of this program; build it first");
}

std::string find_folder(const std::string &path_in_project) {
    return find("share", path_in_project, "above the folder of this program");
}

std::string program_folders() {
    const fs::path tools = own_folder().parent_path() / "tools";
    return (fs::exists(tools / "displayctl") ? tools.string() + ":" : "") + own_folder().string();
}

} // namespace desk
