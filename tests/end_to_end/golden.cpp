// Comparing with golden pictures and reading rows back; see golden.h.
#include "golden.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <vector>

#include "panel/drawing.h"

namespace end_to_end {

namespace fs = std::filesystem;
using desk::Picture;

// Filled before main() begins, so made when it is first asked for.
static std::set<std::string> &names() {
    static std::set<std::string> all;
    return all;
}

GoldenName::GoldenName(const char *text) : text_(text) { names().insert(text_); }

const std::set<std::string> &golden_names() { return names(); }

static std::string folder_of(bool layout) { return layout ? "layout" : "device"; }

static fs::path golden_path(bool layout, const std::string &name) {
    return fs::path(GOLDEN_DIR) / folder_of(layout) / (name + ".pbm");
}

// The sentence goes to the second line, before the picture's own comment.
static std::string golden_text(const Picture &picture, const std::string &eye) {
    std::string text = picture.to_pbm();
    text.insert(text.find('\n') + 1, "# " + eye + "\n");
    return text;
}

static std::string file_text(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

static bool updating() {
    const char *wanted = std::getenv("UPDATE_GOLDENS");
    return wanted != nullptr && std::string(wanted) == "1";
}

static void update(const fs::path &path, const std::string &text) {
    if (file_text(path) == text) return;
    std::cout << (fs::exists(path) ? "changed: " : "new: ") << path.string() << "\n";
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

static std::string leave_behind(const Picture &actual, const Picture *wanted, bool layout,
                                const std::string &name) {
    const fs::path folder = fs::path(TEST_BINARY_DIR) / "end_to_end_results" / folder_of(layout);
    fs::create_directories(folder);
    const fs::path actual_path = folder / (name + ".actual.pbm");
    actual.save_pbm(actual_path.string());
    if (wanted == nullptr) return "actual: " + actual_path.string();
    const fs::path difference_path = folder / (name + ".difference.pbm");
    actual.difference(*wanted).save_pbm(difference_path.string());
    return "actual: " + actual_path.string() + "\ndifference: " + difference_path.string();
}

void expect_golden(desk::Desk &desk, bool layout, const GoldenName &golden_name, const std::string &eye) {
    const std::string &name = golden_name.text();
    const fs::path path = golden_path(layout, name);
    const Picture actual = desk.picture();
    if (updating()) update(path, golden_text(actual, layout ? eye : "on 64 columns: " + eye));
    if (!fs::exists(path)) {
        ADD_FAILURE() << "there is no golden picture " << path
                      << " (UPDATE_GOLDENS=1 writes it; look at it then)\n"
                      << leave_behind(actual, nullptr, layout, name);
        return;
    }
    const Picture wanted = Picture::load_pbm(path.string());
    if (actual == wanted) return;
    ADD_FAILURE() << "\"" << name << "\" looks different in " << actual.count_different(wanted)
                  << " pixels; it should be: " << eye << "\ngolden: " << path.string() << "\n"
                  << leave_behind(actual, &wanted, layout, name) << "\n"
                  << panel::drawn(actual, panel::Marks::half_blocks);
}

Picture golden(bool layout, const std::string &name) {
    const fs::path path = golden_path(layout, name);
    if (fs::exists(path)) return Picture::load_pbm(path.string());
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
    {"start_screen", "nothing"},
    {"icon_row", "icons"},
    {"icon_row_without_hotspot", "icons without hotspot"},
    {"view_vpn", "vpn"},
    {"view_usb", "usb"},
    {"view_hotspot", "hotspot"},
    {"view_bluetooth", "bluetooth"},
    {"view_station_signal_1", "station, signal 1"},
    {"view_station_signal_2", "station, signal 2"},
    {"view_station_signal_3", "station, signal 3"},
    {"view_station_signal_4", "station, signal 4"},
    {"mode_power_down", "serial"},
};
// Without the rule below.
const Row view_row{0, 0, 128, 14, view_dictionary};

const std::vector<Entry> mode_dictionary = {
    {"start_screen", "AUTOCHECK..."},
    {"mode_no_warranty", "NO WARRANTY"},
    {"mode_diagnosis", "DIAGNOSIS"},
    {"mode_doip_ethernet", "DOIP ETHERNET"},
    {"mode_rec_waiting", "REC ..."},
    {"mode_rec_on", "REC ON"},
    {"mode_doip", "DOIP"},
    {"mode_passthru", "PASSTHRU"},
    {"mode_power_down", "POWER DOWN"},
    {"mode_restarting", "RESTARTING..."},
    {"mode_ready", "READY"},
};
// Between the supply icon and the activity icon.
const Row mode_row{18, 50, 92, 16, mode_dictionary};

std::string read_row(const Row &row, const Picture &picture) {
    const Picture actual = row.cut(picture);
    const auto found = std::find_if(row.entries.begin(), row.entries.end(), [&](const Entry &entry) {
        return row.cut(golden(true, entry.golden)) == actual;
    });
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
