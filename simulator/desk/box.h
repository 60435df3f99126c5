// The box that the daemon believes to run on: a temporary folder tree on the host that the sandbox binds at
// /rodata, /userdata, /tmp, /sys, /usr/local/bin and /dev, and the fake tools iw, wl and vcicp with the state
// they report. Paths given to a Box are the daemon's own absolute ones, e.g. "/rodata/wlock". Everything may
// be changed while the daemon runs. The tree is removed with the Box; one whose process was killed goes with the next.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "probes/readers.h"
#include "simulator/desk/box_tools.h"
#include "simulator/desk/temporary_folder.h"

namespace desk {

// A folder of the tree and where the sandbox binds it.
struct BoxFolder {
    const char *guest;
    const char *name;
};
const std::vector<BoxFolder> &box_folders();

// Devices of the host that the box has too. /dev/fb0 and /dev/log are the desk's own.
constexpr const char *host_devices[] = {"/dev/null", "/dev/zero", "/dev/random", "/dev/urandom"};

// A plain file; the C library writes a log line there that the log does not take.
constexpr const char *console = "/dev/console";

enum class Contents {
    healthy, // serial number, Bluetooth name, warranty lock, Wi-Fi down, supply at 12.4 V, tools installed
    bare,    // empty folders; not even the tools exist
};

class Box {
public:
    explicit Box(Contents contents = Contents::healthy);
    Box(const Box &) = delete;
    Box &operator=(const Box &) = delete;

    // The tree's place on the host.
    const std::string &folder() const { return folder_.path(); }
    // Where on the host a path of the box lies.
    std::string host_path(const std::string &path_in_box) const;

    // Files, by their path in the box. Missing folders are made; writing replaces a file in one step, so that
    // a reader sees the old content or the new one. Removing what is not there is fine. No link is followed: writing
    // replaces one, a folder that is one is an Error. Reading never waits, and what is no plain file is an Error; of a
    // large one the first KiB are read.
    void write(const std::string &path_in_box, const std::string &content = "");
    void write_script(const std::string &path_in_box, const std::string &content);
    void remove(const std::string &path_in_box);
    void set_present(const std::string &path_in_box, bool present); // as an empty file
    bool exists(const std::string &path_in_box) const;
    std::string read(const std::string &path_in_box) const;
    std::string first_line(const std::string &path_in_box) const; // "" when there is no file

    // As it was made as a healthy one, in the same folders: a bind of theirs still holds. The devices, the bus and the
    // clocks stay. While daemons run nobody should.
    void begin_anew();

    // Start-up variants; they count at the daemon's next start.
    void set_wifi_debug(bool wanted = true) { set_present(FLAG_WIFI_DEBUG, wanted); }
    void set_production(bool wanted = true);

    // Flags.
    void set_warranty_lock(bool present) { set_present(FLAG_WARRANTY_LOCK, present); }
    void set_hotspot_off(bool off) { set_present(FLAG_NO_AP, off); }
    void set_alternative_icon(bool wanted) { set_present(FLAG_ACTIVITY_ALT, wanted); }
    void set_firmware_type(const std::string &first_line); // "" removes the file

    // Supply and jack. The converter's two files are written so that the meter arrives at `volts`, the 0.2 V
    // that it adds to each reading included.
    void set_supply_volts(double volts);
    void remove_converter();
    // What the meter arrives at; nothing without both files, or when they say nothing that is a number.
    std::optional<double> supply_volts() const;
    // What "vcicp vjack" prints, one text a call; the last one stays for all later calls.
    void set_jack_millivolts(const std::vector<std::string> &replies);
    void set_jack_millivolts(int millivolts) { set_jack_millivolts({std::to_string(millivolts)}); }
    void set_jack_ready(bool ready) { set_present(FLAG_VCI_READY, ready); }

    // Wi-Fi station on wlan0, as sysfs and the wireless tools report it.
    void set_wifi_link(bool up);
    bool wifi_link() const;
    void set_ssid(const std::string &name) { write(ssid_state, name + "\n"); } // "" : not joined to any network
    void set_signal_dbm(int dbm) { set_signal_text(std::to_string(dbm)); }
    // The word after "signal:"; "" leaves the line out.
    void set_signal_text(const std::string &text) { write(signal_state, text + "\n"); }
    void set_noise(const std::string &text) { write(noise_state, text + "\n"); } // what "wl noise" prints

    // Calls of the fake tools since the start or the last clear_calls(), oldest first: "vcicp vjack",
    // "iw dev wlan0 link", "iw wlan0 info", "wl noise".
    std::vector<std::string> calls() const;
    int count_calls(const std::string &command) const;
    void clear_calls();
    // From now on each call of `tool` ("iw", "wl", "vcicp") takes this long, in real milliseconds.
    void set_tool_delay(const std::string &tool, int milliseconds);

private:
    void make_folders();
    void fill();
    std::string place_of(const std::string &path_in_box) const; // below folder()

    TemporaryFolder folder_{"desk-"};
};

} // namespace desk
