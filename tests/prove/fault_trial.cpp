// A trial: the daemon in its box with both preloaded libraries, and the comparisons.
#include <fcntl.h>
#include <fnmatch.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "faults.h"
#include "panel/drawing.h"
#include "panel/files.h"
#include "simulator/desk/places.h"
#include "simulator/desk/sandbox.h"

namespace faults {

using panel::Picture;

void must(bool holds, const std::string &otherwise) {
    if (!holds) throw desk::Error(otherwise);
}

void must_be(const std::string &what, const std::string &seen, const std::string &wanted) {
    must(seen == wanted, what + " is \"" + seen + "\" and should be \"" + wanted + "\"");
}

void must_be(const std::string &what, long seen, long wanted) {
    must(seen == wanted, what + " is " + std::to_string(seen) + " and should be " + std::to_string(wanted));
}

// ---- Pictures

Picture expected_picture(const std::string &name, bool layout) {
    static std::map<std::string, Picture> known;
    const std::string file = name + (layout ? "-layout.pbm" : "-device.pbm");
    const auto found = known.find(file);
    if (found != known.end()) return found->second;
    return known[file] = Picture::load_pbm(TEST_SOURCE_DIR "/simulator/scenarios/" + file);
}

struct Area {
    int x, y, width, height;
};
constexpr Area view_area{0, 0, 128, 14};
// With the rules above and below.
constexpr Area volts_area{0, 14, 73, 36};
constexpr Area extremes_area{73, 14, 55, 36};
constexpr Area source_area{0, 50, 18, 16};
constexpr Area mode_area{18, 50, 91, 16};
// The activity icon moves all the time, so that any of its frames is right. On the device it lies beside the panel.
constexpr Area activity_area{109, 50, 19, 16};
static const char *const activity_frames[] = {"voltage/voltage_none", "edges/activity_frame_2",
                                              "edges/activity_frame_3"};

static void copy_area(const Picture &from, const Area &area, Picture &to) {
    for (int y = area.y; y < area.y + area.height; y++) {
        for (int x = area.x; x < area.x + area.width; x++) to.set(x, y, from.at(x, y));
    }
}

Picture picture_of(const Shown &shown, bool layout) {
    Picture picture(layout ? panel::LAYOUT_SIZE : panel::DEVICE_SIZE);
    copy_area(expected_picture(shown.view, layout), view_area, picture);
    copy_area(expected_picture(shown.volts, layout), volts_area, picture);
    copy_area(expected_picture(shown.extremes, layout), extremes_area, picture);
    copy_area(expected_picture(shown.source, layout), source_area, picture);
    copy_area(expected_picture(shown.mode, layout), mode_area, picture);
    return picture;
}

static Picture cut(const Picture &picture, const Area &area) {
    return picture.part(area.x, area.y, area.width, area.height);
}

static Picture without_activity(Picture picture) {
    for (const char *frame : activity_frames) {
        if (cut(picture, activity_area) != cut(expected_picture(frame, true), activity_area)) continue;
        copy_area(Picture(panel::LAYOUT_SIZE), activity_area, picture);
        break;
    }
    return picture;
}

std::string difference(const Picture &seen, const Picture &wanted) {
    if (seen == wanted) return "";
    const auto drawn = [](const Picture &picture) { return panel::drawn(picture, panel::Marks::half_blocks); };
    return "the panel shows\n" + drawn(seen) + "and should show\n" + drawn(wanted);
}

// ---- The daemon in its box

static const char *const guest_control = "/desk/state/faults";
static const char *const guest_library = "/desk/state/libfault_shim.so";

static fault_control *map_control(const std::string &path) {
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file < 0 || ftruncate(file, sizeof(fault_control)) != 0) throw desk::system_error("can't make " + path);
    void *place = mmap(nullptr, sizeof(fault_control), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    if (place == MAP_FAILED) throw desk::system_error("can't map " + path);
    static_cast<fault_control *>(place)->magic = FAULT_CONTROL_MAGIC;
    return static_cast<fault_control *>(place);
}

static desk::Options with_faults(desk::Options options, bool layout) {
    options.layout = layout;
    options.environment["FAULT_CONTROL"] = guest_control;
    options.environment["FAULT_TARGET"] = layout ? "status-display-layout" : "status-display";
    options.environment["LD_PRELOAD"] = std::string(guest_library) + ":" + desk::guest_shim;
    return options;
}

Trial::Trial(Random &random, bool layout, const desk::Options &options)
    : random_(random),
      layout_(layout),
      has_panel_(!options.no_panel),
      desk_(std::make_unique<desk::Desk>(with_faults(options, layout))) {
    box().write(guest_library, panel::load_bytes(desk::find_program("tests/prove/libfault_shim.so")));
    control_ = map_control(box().host_path(guest_control));
    mapping_ = std::shared_ptr<void>(control_, [](void *place) { munmap(place, sizeof(fault_control)); });
    look = [this] {
        const Picture seen = desk().picture();
        return difference(layout_ ? without_activity(seen) : seen, picture_of(shown, layout_));
    };
    send = [this](const std::string &word) { desk().bus().send(word); };
}

// Not by its log, which may be what fails.
void Trial::wait_until_running() {
    desk().launch();
    desk::wait_until([this] { return !desk().alive() || desk().clock().stands_still(); }, patience);
    must(desk().alive(), "the daemon has ended and should run; its errors: " + desk().errors());
    must(desk().clock().stands_still(), "the daemon has not come to its first sleep");
    lines_seen_ = 0;
}

void Trial::begin(const std::optional<std::vector<Line>> &lines) {
    wait_until_running();
    if (lines) must_log(*lines);
    desk().advance(2600);
    must_show();
    advance(0, 2500);
    held_ = holding_of(desk().daemon_pid());
}

// ---- What must be seen

Line received(const std::string &word) { return {LOG_INFO, "Got Signal with value " + word + "\n"}; }

std::vector<Line> start_lines() { return {{LOG_INFO, "Listening for signals\n"}, {LOG_INFO, "Match rule sent\n"}}; }

std::string driver_output(const desk::Geometry &panel) {
    return "The framebuffer device was opened successfully.\n" + std::to_string(panel.xres) + "x" +
           std::to_string(panel.yres) + ", " + std::to_string(panel.bits_per_pixel) +
           "bpp\nThe framebuffer device was mapped to memory successfully.\n";
}

void Trial::must_show() {
    must(desk().alive(), "the daemon has ended");
    const std::string complaint = look();
    must(complaint.empty(), complaint);
}

static std::string in_words(const std::vector<Line> &lines) {
    std::string text;
    for (const Line &line : lines) text += "\n    <" + std::to_string(line.priority) + "> " + line.text.substr(0, 200);
    return text.empty() ? " nothing" : text;
}

static bool matches(const Line &seen, const Line &wanted) {
    return seen.priority == wanted.priority && fnmatch(wanted.text.c_str(), seen.text.c_str(), 0) == 0;
}

void Trial::must_log(const std::vector<Line> &lines) {
    const std::vector<desk::LogLine> all = desk().log().lines();
    std::vector<Line> seen;
    for (size_t i = lines_seen_; i < all.size(); i++) {
        seen.push_back({all[i].priority, all[i].text});
        must(all[i].ident == "Display" && all[i].facility == LOG_LOCAL1 && all[i].pid > 0,
             "a line of the log is not the daemon's: " + all[i].text);
    }
    lines_seen_ = all.size();
    must(std::equal(seen.begin(), seen.end(), lines.begin(), lines.end(), matches),
         "it has logged" + in_words(seen) + "\nand should have logged" + in_words(lines));
}

void Trial::must_hold(int more) {
    const Holding now = holding_of(desk().daemon_pid());
    must_be("the number of its descriptors", now.descriptors, held_.descriptors + more);
    must_be("the number of its children", now.children, 0);
}

void Trial::must_print(const std::string &output, const std::string &errors) {
    must_be("its standard output", desk().output(), output);
    must_be("its standard error", desk().errors(), errors);
}

struct Answer {
    const char *word;
    const char *picture;
};

void Trial::must_obey(bool logged) {
    static const std::vector<Answer> modes = {{"M4_ready", "modes/mode_ready"},
                                              {"M4_COMM", "modes/mode_diagnosis"},
                                              {"DoIP_on", "modes/mode_doip"},
                                              {"M4_J2534", "modes/mode_passthru"},
                                              {"rj45_pt_enable", "modes/mode_doip_ethernet"},
                                              {"p_on", "modes/mode_restarting"}};
    static const std::vector<Answer> channels = {{"chan_usb", "views/view_usb"},
                                                 {"chan_bt", "views/view_bluetooth"},
                                                 {"chan_ap", "views/view_hotspot"},
                                                 {"chan_vpn", "views/view_vpn"}};
    // Never what is shown already: that would prove nothing.
    const auto another = [this](const std::vector<Answer> &answers, const std::string &now) {
        for (;;) {
            const Answer &answer = one_of(random_, answers);
            if (answer.picture != now) return answer;
        }
    };
    const Answer mode = another(modes, shown.mode);
    const Answer channel = another(channels, shown.view);
    shown.mode = mode.picture;
    shown.view = channel.picture;
    send(mode.word);
    advance(1, 700);
    send(channel.word);
    desk().advance(600);
    if (logged) must_log({received(mode.word), received(channel.word)});
    must_show();
}

void Trial::must_end_at_start(int status, const std::vector<Line> &lines) {
    desk().launch();
    must_be("its exit status", desk().wait_for_exit(patience), status);
    lines_seen_ = 0;
    must_log(lines);
    // The bus comes before the first picture.
    if (has_panel_) must_be("lit pixels", desk().picture().count_lit(), 0);
}

void Trial::unit_starts_it() {
    desk().stop();
    shown = Shown{};
    wait_until_running();
    must_log(start_lines());
    desk().advance(2600);
    must_show();
    held_ = holding_of(desk().daemon_pid());
}

void Trial::unit_starts_it_after_repair() {
    box().set_supply_volts(12.4);
    box().set_jack_ready(false);
    box().set_jack_millivolts(12000);
    unit_starts_it();
}

void make_fifo(desk::Box &box, const std::string &path) {
    box.remove(path);
    if (mkfifo(box.host_path(path).c_str(), 0666) != 0) throw desk::system_error("can't make a pipe " + path);
}

} // namespace faults
