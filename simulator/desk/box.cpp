// The folder tree of a box and what its files say.
#include "simulator/desk/box.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <sys/stat.h>

#include "simulator/desk/box_tools.h"
#include "simulator/desk/error.h"

namespace desk {

namespace fs = std::filesystem;

const std::vector<BoxFolder> &box_folders() {
    static const std::vector<BoxFolder> folders = {
        {"/rodata", "rodata"}, {"/userdata", "userdata"},
        {"/tmp", "tmp"},       {"/sys", "sys"},
        {"/dev", "dev"},       {"/usr/local/bin", "usr-local-bin"},
        {"/desk/bus", "bus"},  {"/desk/state", "state"},
    };
    return folders;
}

Box::Box(Furnishing furnishing) {
    for (const BoxFolder &folder : box_folders()) fs::create_directories(folder_.path() + "/" + folder.name);
    fs::create_directories(folder_.path() + "/userdata/configs");
    fs::create_directories(folder_.path() + "/sys/class/net/wlan0");
    fs::create_directories(folder_.path() + "/sys/bus/iio/devices/iio:device0");
    // Places for the few devices that the sandbox lends from the host.
    for (const char *device : lent_devices) write(device);
    write(console);
    if (furnishing == Furnishing::healthy) furnish();
}

void Box::furnish() {
    install_tools();
    set_serial("QB418T-000123");
    set_bluetooth_name("QB418T-BT-000123");
    set_warranty_lock(true);
    set_supply_volts(12.4);
    set_jack_millivolts(12000);
    set_wifi_link(false);
    set_noise("-92");
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

void Box::write(const std::string &path_in_box, const std::string &content) {
    const std::string path = host_path(path_in_box);
    const std::string fresh = folder_.path() + "/fresh";
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream file(fresh, std::ios::binary);
    file << content;
    file.close();
    if (!file || std::rename(fresh.c_str(), path.c_str()) != 0) throw system_error("can't write " + path);
}

void Box::write_script(const std::string &path_in_box, const std::string &content) {
    write(path_in_box, content);
    chmod(host_path(path_in_box).c_str(), 0755);
}

void Box::remove(const std::string &path_in_box) {
    std::error_code ignored;
    fs::remove_all(host_path(path_in_box), ignored);
}

bool Box::exists(const std::string &path_in_box) const { return fs::exists(host_path(path_in_box)); }

std::string Box::read(const std::string &path_in_box) const {
    std::ifstream file(host_path(path_in_box), std::ios::binary);
    if (!file) throw system_error("can't read " + path_in_box + " of the box");
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

static void set_present(Box &box, const std::string &path, bool present) {
    if (present) {
        box.write(path);
    } else {
        box.remove(path);
    }
}

void Box::set_wifi_debug(bool wanted) { set_present(*this, "/userdata/debug_wlan0", wanted); }
void Box::set_warranty_lock(bool present) { set_present(*this, "/rodata/wlock", present); }
void Box::set_hotspot_off(bool off) { set_present(*this, "/userdata/configs/no_ap", off); }
void Box::set_alternative_icon(bool wanted) { set_present(*this, "/tmp/bada", wanted); }
void Box::set_jack_ready(bool ready) { set_present(*this, "/tmp/.app_rcv_command_ready", ready); }

void Box::set_production(bool wanted) {
    static const char *const script = "/usr/local/bin/zor-destroy-hwtest.sh";
    remove(script);
    // The daemon must never run it; the note in /desk/state/calls would tell.
    if (wanted) write_script(script, "#!/bin/sh\necho zor-destroy-hwtest.sh >>/desk/state/calls\n");
}

void Box::set_serial(const std::string &first_line) { write("/rodata/serial_number", first_line + "\n"); }

void Box::set_bluetooth_name(const std::string &name) {
    write("/rodata/bluetooth_name", "name=" + name + "\n");
}

void Box::set_firmware_type(const std::string &first_line) {
    remove("/tmp/fw_type_running");
    if (!first_line.empty()) write("/tmp/fw_type_running", first_line + "\n");
}

double meter_volts(double millivolts) { return millivolts * 96.39 / 7.29 / 1000.0 + 0.2; }

static double millivolts_for(double volts) { return std::fmax(0.0, (volts - 0.2) * 1000.0 * 7.29 / 96.39); }

// The meter's own sum, in its types.
static float meter_reading(float product) {
    return static_cast<float>(meter_volts(static_cast<double>(product)));
}

void Box::set_supply_volts(double volts) {
    const float wanted = static_cast<float>(volts);
    float product = static_cast<float>(millivolts_for(volts));
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
    std::snprintf(raw, sizeof(raw), "%.9g", static_cast<double>(product));
    set_converter(raw, "1.0");
}

void Box::set_converter(const std::string &raw_text, const std::string &scale_text) {
    write(converter_raw, raw_text + "\n");
    write(converter_scale, scale_text + "\n");
}

void Box::remove_converter() {
    remove(converter_raw);
    remove(converter_scale);
}

void Box::set_jack_millivolts(const std::vector<std::string> &replies) {
    std::string lines;
    for (const std::string &reply : replies) lines += reply + "\n";
    write("/desk/state/jack", lines);
}

void Box::set_jack_millivolts(int millivolts) { set_jack_millivolts({std::to_string(millivolts)}); }

void Box::set_wifi_link(bool up) {
    write("/sys/class/net/wlan0/link_mode", up ? "1\n" : "0\n");
    write("/sys/class/net/wlan0/operstate", up ? "up\n" : "down\n");
}

void Box::set_ssid(const std::string &name) { write("/desk/state/ssid", name + "\n"); }
void Box::set_signal_dbm(int dbm) { set_signal_text(std::to_string(dbm)); }
void Box::set_signal_text(const std::string &text) { write("/desk/state/signal", text + "\n"); }
void Box::set_noise(const std::string &text) { write("/desk/state/noise", text + "\n"); }

std::vector<std::string> Box::calls() const {
    std::vector<std::string> calls;
    std::ifstream file(host_path("/desk/state/calls"));
    for (std::string line; std::getline(file, line);) calls.push_back(line);
    return calls;
}

int Box::count_calls(const std::string &command) const {
    int count = 0;
    for (const std::string &call : calls()) {
        if (call == command) count++;
    }
    return count;
}

void Box::clear_calls() { remove("/desk/state/calls"); }

void Box::install_tools() {
    for (const auto &[name, script] : box_tools()) write_script("/usr/local/bin/" + name, script);
}

void Box::set_tool_delay(const std::string &tool, int milliseconds) {
    char seconds[32];
    std::snprintf(seconds, sizeof(seconds), "%d.%03d", milliseconds / 1000, milliseconds % 1000);
    write("/desk/state/" + tool + ".delay", std::string(seconds) + "\n");
}

} // namespace desk
