// Where the armhf build lies: build/armhf with its libraries in build/armhf-sysroot, beside the build folder
// of the running program or in the project; DESK_ARMHF names another one.
#include "simulator/scenario/stage_target.h"

#include <cstdlib>
#include <filesystem>

namespace desk {

namespace fs = std::filesystem;

static bool on_path(const std::string &program) {
    const char *path = std::getenv("PATH");
    const std::string all = path != nullptr ? path : "/usr/bin:/bin";
    for (size_t start = 0; start <= all.size();) {
        const size_t end = std::min(all.find(':', start), all.size());
        if (fs::exists(all.substr(start, end - start) + "/" + program)) return true;
        start = end + 1;
    }
    return false;
}

static fs::path armhf_build() {
    const char *wanted = std::getenv("DESK_ARMHF");
    if (wanted != nullptr) return wanted;
    fs::path folder = fs::read_symlink("/proc/self/exe").parent_path();
    for (int level = 0; level < 5; level++, folder = folder.parent_path()) {
        if (fs::exists(folder / "armhf/status-display")) return folder / "armhf";
    }
    return fs::current_path() / "build/armhf";
}

void choose_armhf(Options &options) {
    const fs::path build = armhf_build();
    const std::string daemon = (build / (options.layout ? "status-display-layout" : "status-display")).string();
    const std::string sysroot = (build.parent_path() / "armhf-sysroot").string();
    for (const std::string &needed : {daemon, (build / "simulator/libdesk_shim.so").string(), sysroot + "/usr/lib"}) {
        if (!fs::exists(needed)) {
            throw Error("there is no " + needed + "; './setup armhf' makes the 32-bit ARM build");
        }
    }
    if (!on_path("qemu-arm")) throw Error("qemu-arm is missing (as root: apt-get install qemu-user)");
    options.daemon = daemon;
    options.runner = {"qemu-arm", "-L", sysroot};
}

} // namespace desk
