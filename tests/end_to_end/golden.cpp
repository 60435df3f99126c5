#include "golden.h"

#include <algorithm>
#include <filesystem>
#include <vector>

namespace end_to_end {

using panel::Picture;

Picture golden(bool layout, const std::string &name) {
    const std::string path = TEST_SOURCE_DIR "/simulator/scenarios/" + name + (layout ? "-layout.pbm" : "-device.pbm");
    if (std::filesystem::exists(path)) return Picture::load_pbm(path);
    ADD_FAILURE() << "there is no golden picture " << path;
    return layout ? Picture(128, 66) : Picture(64, 128);
}

namespace {

struct Entry {
    std::string golden;
    std::string meaning;
};

// A place of the layout and what its golden pictures say.
struct Row {
    int x, y, width, height;
    std::vector<Entry> entries;

    Picture cut(const Picture &picture) const { return picture.part(x, y, width, height); }
};

const std::vector<Entry> view_dictionary = {
    {"start/start_screen", "nothing"},
    {"start/icon_row", "icons"},
    {"start/icon_row_without_hotspot", "icons without hotspot"},
    {"views/view_vpn", "vpn"},
    {"views/view_usb", "usb"},
    {"views/view_hotspot", "hotspot"},
    {"views/view_bluetooth", "bluetooth"},
    {"views/view_station_signal_1", "station, signal 1"},
    {"views/view_station_signal_2", "station, signal 2"},
    {"views/view_station_signal_3", "station, signal 3"},
    {"views/view_station_signal_4", "station, signal 4"},
    {"modes/mode_power_down", "serial"},
};
// Without the rule below.
const Row view_row{0, 0, 128, 14, view_dictionary};

const std::vector<Entry> mode_dictionary = {
    {"start/start_screen", "AUTOCHECK..."},
    {"modes/mode_no_warranty", "NO WARRANTY"},
    {"modes/mode_diagnosis", "DIAGNOSIS"},
    {"modes/mode_doip_ethernet", "DOIP ETHERNET"},
    {"modes/mode_rec_waiting", "REC ..."},
    {"modes/mode_rec_on", "REC ON"},
    {"modes/mode_doip", "DOIP"},
    {"modes/mode_passthru", "PASSTHRU"},
    {"modes/mode_power_down", "POWER DOWN"},
    {"modes/mode_restarting", "RESTARTING..."},
    {"modes/mode_ready", "READY"},
};
// Between the supply icon and the activity icon.
const Row mode_row{18, 50, 92, 16, mode_dictionary};

std::string read_row(const Row &row, const Picture &picture) {
    const Picture actual = row.cut(picture);
    const auto found = std::find_if(row.entries.begin(), row.entries.end(),
                                    [&](const Entry &entry) { return row.cut(golden(true, entry.golden)) == actual; });
    return found == row.entries.end() ? "?" : found->meaning;
}

} // namespace

std::string shown_view(desk::Desk &desk) { return read_row(view_row, desk.picture()); }
std::string shown_mode(desk::Desk &desk) { return read_row(mode_row, desk.picture()); }

// The upper rule runs from side to side unless a box lies over it.
bool overlay_shown(desk::Desk &desk) {
    const Picture rule = desk.picture().part(5, 14, 118, 1);
    return rule.count_lit() != rule.width();
}

} // namespace end_to_end
