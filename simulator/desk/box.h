// The box that the daemon believes to run on: a temporary folder tree on the host that the sandbox binds at
// /rodata, /userdata, /tmp, /sys, /usr/local/bin and /dev, and the fake tools iw, wl and vcicp with the state
// they report. Paths given to a Box are the daemon's own absolute ones, e.g. "/rodata/wlock". Everything may
// be changed while the daemon runs. The tree is removed with the Box; one whose process was killed goes with the next.
#pragma once

#include <string>
#include <vector>

#include "simulator/desk/temporary_folder.h"

namespace desk {

// A folder of the tree and where the sandbox binds it.
struct BoxFolder {
    const char *guest;
    const char *name;
};
const std::vector<BoxFolder> &box_folders();

// Devices of the host that the box has too. /dev/fb0 and /dev/log are the desk's own.
constexpr const char *lent_devices[] = {"/dev/null", "/dev/zero", "/dev/random", "/dev/urandom"};

// A plain file; the C library writes a log line there that the log does not take.
constexpr const char *console = "/dev/console";

// The supply's converter: counts, and millivolts a count.
constexpr const char *converter_raw = "/sys/bus/iio/devices/iio:device0/in_voltage0_raw";
constexpr const char *converter_scale = "/sys/bus/iio/devices/iio:device0/in_voltage_scale";
// What the meter makes of their product: the voltage divider and the 0.2 V that it adds to each reading.
double meter_volts(double millivolts);

enum class Furnishing {
    healthy, // serial number, Bluetooth name, warranty lock, Wi-Fi down, supply at 12.4 V, tools installed
    bare,    // empty folders; not even the tools exist
};

class Box {
public:
    explicit Box(Furnishing furnishing = Furnishing::healthy);
    Box(const Box &) = delete;
    Box &operator=(const Box &) = delete;

    // The tree's place on the host.
    const std::string &folder() const { return folder_.path(); }
    // Where on the host a path of the box lies.
    std::string host_path(const std::string &path_in_box) const;

    // Files, by their path in the box. Missing folders are made; writing replaces a file in one step, so that
    // a reader sees the old content or the new one. Removing what is not there is fine.
    void write(const std::string &path_in_box, const std::string &content = "");
    void write_script(const std::string &path_in_box, const std::string &content);
    void remove(const std::string &path_in_box);
    bool exists(const std::string &path_in_box) const;
    std::string read(const std::string &path_in_box) const;

    // Start-up variants; they count at the daemon's next start.
    void set_wifi_debug(bool wanted = true);  // /userdata/debug_wlan0
    void set_production(bool wanted = true);  // /usr/local/bin/zor-destroy-hwtest.sh

    // Identity and flags.
    void set_serial(const std::string &first_line);         // "QB418T-000123" (a newline is added)
    void set_bluetooth_name(const std::string &name);       // written as "name=<name>"
    void set_warranty_lock(bool present);                   // /rodata/wlock
    void set_hotspot_off(bool off);                         // /userdata/configs/no_ap
    void set_alternative_icon(bool wanted);                 // /tmp/bada
    void set_firmware_type(const std::string &first_line);  // /tmp/fw_type_running; "" removes the file

    // Supply and jack. The converter's two files are written so that the meter arrives at `volts`, the 0.2 V
    // that it adds to each reading included.
    void set_supply_volts(double volts);
    void set_converter(const std::string &raw_text, const std::string &scale_text);
    void remove_converter();
    // What "vcicp vjack" prints, one text a call; the last one stays for all later calls.
    void set_jack_millivolts(const std::vector<std::string> &replies);
    void set_jack_millivolts(int millivolts);
    void set_jack_ready(bool ready); // /tmp/.app_rcv_command_ready

    // Wi-Fi station on wlan0, as sysfs and the wireless tools report it.
    void set_wifi_link(bool up);
    void set_ssid(const std::string &name);   // "" : not joined to any network
    void set_signal_dbm(int dbm);
    void set_signal_text(const std::string &text); // the word after "signal:"; "" leaves the line out
    void set_noise(const std::string &text);       // what "wl noise" prints

    // Calls of the fake tools since the start or the last clear_calls(), oldest first: "vcicp vjack",
    // "iw dev wlan0 link", "iw wlan0 info", "wl noise".
    std::vector<std::string> calls() const;
    int count_calls(const std::string &command) const;
    void clear_calls();
    void install_tools();
    // From now on each call of `tool` ("iw", "wl", "vcicp") takes this long, in real milliseconds.
    void set_tool_delay(const std::string &tool, int milliseconds);

private:
    void furnish();

    TemporaryFolder folder_{"desk-"};
};

} // namespace desk
