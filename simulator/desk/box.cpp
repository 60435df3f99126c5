// The folder tree of a box and what its files say.
#include "simulator/desk/box.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "simulator/desk/error.h"
#include "simulator/desk/sandbox.h"

namespace desk {

namespace fs = std::filesystem;

const std::vector<BoxFolder> &box_folders() {
    static const std::vector<BoxFolder> folders = {
        {"/rodata", "rodata"}, {"/userdata", "userdata"},           {"/tmp", "tmp"},      {"/sys", "sys"},
        {"/dev", "dev"},       {"/usr/local/bin", "usr-local-bin"}, {"/desk/bus", "bus"}, {"/desk/state", "state"},
    };
    return folders;
}

Box::Box(Contents contents) {
    for (const BoxFolder &folder : box_folders()) fs::create_directories(folder_.path() + "/" + folder.name);
    // Places for the few devices that the sandbox lends from the host.
    for (const char *device : host_devices) write(device);
    write(console);
    make_folders();
    if (contents == Contents::healthy) fill();
}

// Hands and other programs put what they like there.
void Box::make_folders() {
    for (const char *path : {FLAG_NO_AP, WLAN_OPERSTATE, IIO_RAW}) {
        fs::create_directories(fs::path(host_path(path)).parent_path());
    }
}

void Box::fill() {
    for (const auto &[name, script] : box_tools()) write_script("/usr/local/bin/" + name, script);
    write(FILE_SERIAL_NUMBER, "QB418T-000123\n");
    write(FILE_BLUETOOTH_NAME, "name=QB418T-BT-000123\n");
    set_warranty_lock(true);
    set_supply_volts(12.4);
    set_jack_millivolts(12000);
    set_wifi_link(false);
    set_noise("-92");
}

void Box::begin_anew() {
    for (const char *folder : {"/rodata", "/userdata", "/tmp", "/sys", "/usr/local/bin", "/desk/state"}) {
        if (fs::is_symlink(host_path(folder))) throw Error(std::string("a link stands for ") + folder + " of the box");
        for (const auto &item : fs::directory_iterator(host_path(folder))) {
            const bool clock = item.path().filename().string().rfind(fs::path(guest_clock).filename().string(), 0) == 0;
            if (!clock) fs::remove_all(item.path());
        }
    }
    make_folders();
    fill();
}

std::string Box::host_path(const std::string &path_in_box) const {
    for (const BoxFolder &folder : box_folders()) {
        const std::string guest = folder.guest;
        if (path_in_box == guest) return folder_.path() + "/" + folder.name;
        if (path_in_box.compare(0, guest.size() + 1, guest + "/") != 0) continue;
        return folder_.path() + "/" + folder.name + path_in_box.substr(guest.size());
    }
    throw Error("the box has no place for " + path_in_box);
}

/* ---- files ---- */

// Somebody may put anything into the box while it is looked at, so no link is followed, nothing but a plain file is
// read, and not more of it than the display could show.
static constexpr size_t longest_read = 8192;

// A descriptor that closes itself.
class Handle {
public:
    explicit Handle(int number) : number_(number) {}
    Handle(Handle &&other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Handle &operator=(Handle &&other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Handle() {
        if (number_ >= 0) close(number_);
    }
    int number() const { return number_; }
    bool is_open() const { return number_ >= 0; }

private:
    int number_;
};

static Error box_error(const std::string &doing, const std::string &path_in_box) {
    return system_error("can't " + doing + " " + path_in_box + " of the box");
}

static constexpr int folder_flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// The folder that holds the file at `place`, a path below `root`. Not open: it is not there. Throws Error where a link
// or a file stands for a folder.
static Handle open_parent(const std::string &root, const fs::path &place, bool make, const std::string &path_in_box) {
    Handle folder(open(root.c_str(), folder_flags));
    for (const fs::path &part : place.parent_path()) {
        if (make) mkdirat(folder.number(), part.c_str(), 0777);
        Handle next(openat(folder.number(), part.c_str(), folder_flags));
        if (!next.is_open() && errno == ENOENT && !make) return next;
        if (!next.is_open()) throw box_error("get at", path_in_box);
        folder = std::move(next);
    }
    return folder;
}

static void write_all(int file, const std::string &content, const std::string &path_in_box) {
    for (size_t done = 0; done < content.size();) {
        const ssize_t written = ::write(file, content.data() + done, content.size() - done);
        if (written < 0) throw box_error("write", path_in_box);
        done += static_cast<size_t>(written);
    }
}

static void write_file(const std::string &root, const fs::path &place, const std::string &path_in_box,
                       const std::string &content, bool script) {
    const Handle folder = open_parent(root, place, true, path_in_box);
    const std::string fresh = root + "/fresh";
    unlink(fresh.c_str());
    const Handle file(open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
    if (!file.is_open()) throw box_error("write", path_in_box);
    write_all(file.number(), content, path_in_box);
    if (script) fchmod(file.number(), 0755);
    if (renameat(AT_FDCWD, fresh.c_str(), folder.number(), place.filename().c_str()) != 0) {
        throw box_error("write", path_in_box);
    }
}

std::string Box::place_of(const std::string &path_in_box) const {
    return host_path(path_in_box).substr(folder_.path().size() + 1);
}

void Box::write(const std::string &path_in_box, const std::string &content) {
    write_file(folder_.path(), place_of(path_in_box), path_in_box, content, false);
}

void Box::write_script(const std::string &path_in_box, const std::string &content) {
    write_file(folder_.path(), place_of(path_in_box), path_in_box, content, true);
}

void Box::remove(const std::string &path_in_box) {
    const fs::path place = place_of(path_in_box);
    const Handle folder = open_parent(folder_.path(), place, false, path_in_box);
    if (!folder.is_open() || unlinkat(folder.number(), place.filename().c_str(), 0) == 0 || errno == ENOENT) return;
    std::error_code problem; // it may be a folder
    fs::remove_all("/proc/self/fd/" + std::to_string(folder.number()) + "/" + place.filename().string(), problem);
    if (problem) throw Error("can't remove " + path_in_box + " of the box: " + problem.message());
}

bool Box::exists(const std::string &path_in_box) const {
    const fs::path place = place_of(path_in_box);
    const Handle folder = open_parent(folder_.path(), place, false, path_in_box);
    struct stat ignored {};
    return folder.is_open() && fstatat(folder.number(), place.filename().c_str(), &ignored, AT_SYMLINK_NOFOLLOW) == 0;
}

std::string Box::read(const std::string &path_in_box) const {
    const fs::path place = place_of(path_in_box);
    const Handle folder = open_parent(folder_.path(), place, false, path_in_box);
    if (!folder.is_open()) throw box_error("read", path_in_box);
    const int flags = O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC;
    const Handle file(openat(folder.number(), place.filename().c_str(), flags));
    struct stat kind {};
    if (!file.is_open() || fstat(file.number(), &kind) != 0) throw box_error("read", path_in_box);
    if (!S_ISREG(kind.st_mode)) throw Error("can't read " + path_in_box + " of the box: it is no plain file");
    std::string content(longest_read, '\0');
    size_t length = 0;
    for (ssize_t more = 1; more > 0 && length < content.size(); length += static_cast<size_t>(more)) {
        more = ::read(file.number(), &content[length], content.size() - length);
        if (more < 0) throw box_error("read", path_in_box);
    }
    content.resize(length);
    return content;
}

void Box::set_present(const std::string &path_in_box, bool present) {
    if (present) {
        write(path_in_box);
    } else {
        remove(path_in_box);
    }
}

std::string Box::first_line(const std::string &path_in_box) const {
    if (!exists(path_in_box)) return "";
    const std::string content = read(path_in_box);
    return content.substr(0, content.find('\n'));
}

void Box::set_production(bool wanted) {
    remove(FLAG_PRODUCTION_TEST);
    // The daemon must never run it; its note would tell.
    if (wanted) write_script(FLAG_PRODUCTION_TEST, std::string("#!/bin/sh\necho \"${0##*/}\" >>") + calls_state + "\n");
}

void Box::set_firmware_type(const std::string &first_line) {
    remove(FILE_FW_TYPE_RUNNING);
    if (!first_line.empty()) write(FILE_FW_TYPE_RUNNING, first_line + "\n");
}

// What the meter makes of the converter's product: the voltage divider and the 0.2 V that it adds to each reading.
static double meter_volts(double millivolts) { return millivolts * 96.39 / 7.29 / 1000.0 + 0.2; }

// The same in the meter's own types.
static float meter_reading(float product) { return static_cast<float>(meter_volts(static_cast<double>(product))); }

void Box::set_supply_volts(double volts) {
    const float wanted = static_cast<float>(volts);
    float product = static_cast<float>(std::fmax(0.0, (volts - 0.2) * 1000.0 * 7.29 / 96.39));
    // Rounding can end one float beside the wanted one; a neighbour of the product gives it.
    float upwards = product;
    float downwards = product;
    for (int i = 0; i < 8 && meter_reading(product) != wanted; i++) {
        upwards = std::nextafter(upwards, 1e9f);
        downwards = std::nextafter(downwards, 0.0f);
        if (meter_reading(upwards) == wanted) product = upwards;
        if (meter_reading(downwards) == wanted) product = downwards;
    }
    char raw[32];
    std::snprintf(raw, sizeof(raw), "%.9g\n", static_cast<double>(product));
    write(IIO_RAW, raw);
    write(IIO_SCALE, "1.0\n");
}

void Box::remove_converter() {
    remove(IIO_RAW);
    remove(IIO_SCALE);
}

std::optional<double> Box::supply_volts() const {
    if (!exists(IIO_RAW) || !exists(IIO_SCALE)) return std::nullopt;
    const double raw = std::strtod(first_line(IIO_RAW).c_str(), nullptr);
    const double volts = meter_volts(raw * std::strtod(first_line(IIO_SCALE).c_str(), nullptr));
    return std::isfinite(volts) ? std::optional(volts) : std::nullopt;
}

void Box::set_jack_millivolts(const std::vector<std::string> &replies) {
    std::string lines;
    for (const std::string &reply : replies) lines += reply + "\n";
    write(jack_state, lines);
}

void Box::set_wifi_link(bool up) {
    write(WLAN_LINK_MODE, up ? "1\n" : "0\n");
    write(WLAN_OPERSTATE, up ? "up\n" : "down\n");
}

bool Box::wifi_link() const { return first_line(WLAN_LINK_MODE) == "1" && first_line(WLAN_OPERSTATE) == "up"; }

std::vector<std::string> Box::calls() const {
    std::vector<std::string> calls;
    std::ifstream file(host_path(calls_state));
    for (std::string line; std::getline(file, line);) calls.push_back(line);
    return calls;
}

int Box::count_calls(const std::string &command) const {
    const std::vector<std::string> all = calls();
    return static_cast<int>(std::count(all.begin(), all.end(), command));
}

void Box::clear_calls() { remove(calls_state); }

void Box::set_tool_delay(const std::string &tool, int milliseconds) {
    char seconds[32];
    std::snprintf(seconds, sizeof(seconds), "%d.%03d", milliseconds / 1000, milliseconds % 1000);
    write("/desk/state/" + tool + ".delay", std::string(seconds) + "\n");
}

} // namespace desk
