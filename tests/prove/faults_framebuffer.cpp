// The framebuffer: missing, something else, refusing each call, of every depth, line length, size and offset.
//
// What lies in its memory is computed here from the expected pictures, by the driver's contract: on one bit a pixel the
// bits are counted by the resolution, deeper ones get each row as a block of our one-byte pixels.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "faults.h"

namespace faults {

using panel::Picture;

static const char *const device = "/dev/fb0";
static const char *const opened = "The framebuffer device was opened successfully.\n";

static std::string reason(int error) { return std::string(": ") + std::strerror(error) + "\n"; }

// ---- No picture

// Nobody sees what it does then, but it must do it: commands are handled, and the tools are asked.
static void must_serve_unseen(Trial &trial) {
    trial.must_obey();
    trial.box().set_wifi_link(true);
    trial.send("chan_timeout");
    trial.settle();
    trial.must_log({received("chan_timeout")});
    must(trial.box().count_calls("iw wlan0 info") >= 1, "it does not ask for the network any more");
    trial.must_hold();
}

static std::string nothing_to_see() { return ""; }

struct Impostor {
    int error; // of its opening; 0: it opens, and has no fixed information
    std::function<void(const std::string &path)> make;
};

static void make_link(const std::string &target, const std::string &path) {
    std::filesystem::create_symlink(target, path);
}

static void framebuffer_missing(Random &random) {
    static const std::vector<Impostor> impostors = {
        {ENOENT, [](const std::string &) {}},
        {ENOENT, [](const std::string &path) { make_link("nowhere", path); }},
        {ELOOP, [](const std::string &path) { make_link("fb0", path); }},
        {EISDIR, [](const std::string &path) { mkdir(path.c_str(), 0777); }},
        {0, [](const std::string &path) { make_link("zero", path); }},
        {0, [](const std::string &path) { mkfifo(path.c_str(), 0666); }},
    };
    desk::Options options;
    options.no_panel = true;
    Trial trial(random, false, options);
    const Impostor &impostor = one_of(random, impostors);
    impostor.make(trial.box().host_path(device));
    trial.look = nothing_to_see;
    trial.begin();
    if (impostor.error != 0) {
        trial.must_print("", "Error: cannot open framebuffer device" + reason(impostor.error));
    } else {
        trial.must_print(opened, "Error reading fixed information" + reason(ENOTTY));
    }
    must_serve_unseen(trial);
}

static Trial &refuse(Trial &trial, int32_t fault_control::*call, int error, const std::string &output,
                     const std::string &complaint) {
    trial.faults().*call = error;
    const std::function<std::string()> look = trial.look;
    trial.look = [&trial] {
        const int lit = trial.desk().picture().count_lit();
        return lit == 0 ? "" : std::to_string(lit) + " pixels are lit on a device that could not be had";
    };
    trial.begin();
    trial.must_print(output, complaint + reason(error));
    must_serve_unseen(trial);
    // The unit starts it again with the device.
    trial.faults().*call = 0;
    trial.look = look;
    trial.box().set_wifi_link(false);
    trial.unit_starts_it();
    trial.must_print(driver_output(desk::device_panel), "");
    trial.must_obey();
    return trial;
}

static void refuses_fixed(Random &random) {
    Trial trial(random, false);
    const int error = one_of<int>(random, {EIO, EINVAL, ENODEV, ENOTTY, EPERM, EFAULT, EBUSY, ENOSYS, EINTR});
    refuse(trial, &fault_control::fixed_error, error, opened, "Error reading fixed information");
}

static void refuses_variable(Random &random) {
    Trial trial(random, false);
    const int error = one_of<int>(random, {EIO, EINVAL, ENODEV, ENOTTY, EPERM, EFAULT, EBUSY, ENOSYS, EINTR});
    refuse(trial, &fault_control::variable_error, error, opened, "Error reading variable information");
}

static void refuses_mmap(Random &random) {
    if (pick(random, 0, 3) == 0) { // for real: there is nothing to map
        desk::Options options;
        options.panel = desk::Geometry{pick(random, 1, 200), 0, 1, 0, 0, 0};
        Trial trial(random, false, options);
        trial.look = nothing_to_see;
        trial.begin();
        trial.must_print(opened + std::to_string(options.panel->xres) + "x0, 1bpp\n",
                         "Error: failed to map framebuffer device to memory" + reason(EINVAL));
        must_serve_unseen(trial);
        return;
    }
    Trial trial(random, false);
    const int error = one_of<int>(random, {EINVAL, ENODEV, ENOMEM, EACCES, EPERM, EAGAIN, ENXIO});
    refuse(trial, &fault_control::map_error, error, std::string(opened) + "64x128, 1bpp\n",
           "Error: failed to map framebuffer device to memory");
}

// ---- Another memory

using Bytes = std::vector<unsigned char>;

// One bit a pixel: the memory that held `before` after this picture was drawn.
static Bytes drawn_as_bits(const Picture &picture, const desk::Geometry &panel, Bytes memory) {
    for (int y = 0; y < std::min(picture.height(), panel.yres); y++) {
        for (int x = 0; x < std::min(picture.width(), panel.xres); x++) {
            const size_t bit = static_cast<size_t>(x + panel.xoffset) +
                               static_cast<size_t>(y + panel.yoffset) * static_cast<size_t>(panel.xres);
            if (bit / 8 >= memory.size()) continue;
            const auto mask = static_cast<unsigned char>(1u << bit % 8);
            memory[bit / 8] =
                static_cast<unsigned char>(picture.at(x, y) ? memory[bit / 8] | mask : memory[bit / 8] & ~mask);
        }
    }
    return memory;
}

static std::string compare(const Bytes &seen, const Bytes &wanted) {
    if (seen == wanted) return "";
    const size_t shorter = std::min(seen.size(), wanted.size());
    const auto [place, other] =
        std::mismatch(seen.begin(), seen.begin() + static_cast<ptrdiff_t>(shorter), wanted.begin());
    if (place == seen.begin() + static_cast<ptrdiff_t>(shorter)) return "the memory has another size";
    return "byte " + std::to_string(place - seen.begin()) + " of the memory is " + std::to_string(*place) +
           " and should be " + std::to_string(*other);
}

// A one-bit device of this geometry whose memory is not empty: every picture exactly, and nothing beside it.
static void must_draw_on(Random &random, const desk::Geometry &panel) {
    desk::Options options;
    options.panel = panel;
    Trial trial(random, false, options);
    trial.look = [&] {
        const Bytes empty(static_cast<size_t>(panel.size_in_bytes()), 0);
        return compare(trial.desk().panel().bytes(), drawn_as_bits(picture_of(trial.shown, false), panel, empty));
    };
    trial.begin();
    trial.must_print(driver_output(panel), "");
    trial.must_obey();
    trial.must_obey();
    // What lies beside the picture is somebody else's.
    trial.desk().panel().fill(0xff);
    trial.send("Reboot");
    trial.desk().advance(600);
    trial.send("clear_msg");
    trial.desk().advance(600);
    const Bytes lit(static_cast<size_t>(panel.size_in_bytes()), 0xff);
    const Bytes touched = drawn_as_bits(Picture(panel::DEVICE_SIZE), panel, lit);
    const Bytes seen = trial.desk().panel().bytes();
    for (size_t i = 0; i < seen.size(); i++) {
        must((seen[i] & touched[i]) == touched[i],
             "byte " + std::to_string(i) + " has changed where no pixel of the picture lies");
    }
    trial.must_hold();
}

static void larger(Random &random) {
    must_draw_on(random, {pick(random, 64, 300), pick(random, 128, 300), 1, 0, 0, 0});
}

static void smaller(Random &random) { must_draw_on(random, {pick(random, 1, 64), pick(random, 1, 128), 1, 0, 0, 0}); }

// Longer than the row, odd, or too short for it: then the end of the picture has no place.
static void odd_line_length(Random &random) {
    must_draw_on(random, {pick(random, 33, 130), pick(random, 60, 140), 1, pick(random, 1, 40), 0, 0});
}

static void offset(Random &random) {
    const int far = one_of<int>(random, {10, 200, 100000, 100000000});
    must_draw_on(random,
                 {64, pick(random, 128, 200), 1, pick(random, 8, 16), pick(random, 0, far), pick(random, 0, far)});
}

// Of a deeper device the first picture is compared, which is drawn as a whole: each row begins with its own pixels.
static std::string first_picture_as_blocks(const Bytes &memory, const desk::Geometry &panel) {
    const Picture wanted = expected_picture("start/start_screen", false);
    const auto pixel_bytes = static_cast<size_t>(panel.bits_per_pixel == 24 ? 4 : panel.bits_per_pixel / 8);
    const auto line = static_cast<size_t>(panel.bytes_per_line());
    for (int y = 0; y < std::min(wanted.height(), panel.yres); y++) {
        for (int x = 0; x < std::min(wanted.width(), panel.xres); x++) {
            const size_t row = static_cast<size_t>(y) * line / pixel_bytes * pixel_bytes;
            const size_t place = row + static_cast<size_t>(x);
            if (place >= memory.size() || (memory[place] & 1) == (wanted.at(x, y) ? 1 : 0)) continue;
            return "pixel " + std::to_string(x) + "," + std::to_string(y) + " is wrong";
        }
    }
    return "";
}

static void depth(Random &random) {
    const int bits = one_of<int>(random, {8, 16, 24, 32, 2, 4, 12, 15, 30, 48});
    const bool known = bits % 8 == 0 && bits <= 32;
    desk::Geometry panel{pick(random, 64, 200), pick(random, 100, 200), bits, 0, 0, 0};
    if (pick(random, 0, 1) == 1) panel.line_length = panel.bytes_per_line() + pick(random, 1, 7);
    desk::Options options;
    options.panel = panel;
    Trial trial(random, false, options);
    trial.desk().start();
    trial.must_print(driver_output(panel), "");
    trial.desk().advance(50);
    const Bytes first = trial.desk().panel().bytes();
    if (known) {
        const std::string complaint = first_picture_as_blocks(first, panel);
        must(complaint.empty(), complaint);
    }
    trial.look = nothing_to_see;
    trial.begin();
    const Bytes before = trial.desk().panel().bytes();
    trial.must_obey();
    const Bytes after = trial.desk().panel().bytes();
    must((before != after) == known, known ? "a command changes nothing on the device"
                                           : "something is drawn on a device of a depth that nobody knows");
    must(known || std::count(after.begin(), after.end(), 0) == static_cast<ptrdiff_t>(after.size()),
         "something is drawn on a device of a depth that nobody knows");
    trial.must_hold();
}

const std::vector<Kind> &framebuffer_kinds() {
    static const std::vector<Kind> kinds = {
        {"framebuffer_missing", "a healthy box, the daemon starts",
         "no /dev/fb0, a link to nowhere or to itself, a folder, a pipe or another device",
         "the driver's one line with the reason; it handles commands and asks the tools", framebuffer_missing},
        {"framebuffer_refuses_fixed", "a healthy box, the daemon starts",
         "FBIOGET_FSCREENINFO fails, with one of nine errors",
         "the driver's lines with the reason, a dark panel, it goes on; the next start has a picture", refuses_fixed},
        {"framebuffer_refuses_variable", "a healthy box, the daemon starts",
         "FBIOGET_VSCREENINFO fails, with one of nine errors",
         "the driver's lines with the reason, a dark panel, it goes on; the next start has a picture",
         refuses_variable},
        {"framebuffer_refuses_mmap", "a healthy box, the daemon starts",
         "mmap fails, with one of seven errors, or because the device has no rows",
         "the driver's lines with the reason, a dark panel, it goes on; the next start has a picture", refuses_mmap},
        {"framebuffer_depth", "a healthy box, the daemon starts",
         "2 to 48 bits a pixel, sizes up to 200 x 200, any line length",
         "the depth is printed; rows lie where the driver puts them, on unknown depths nothing; it obeys", depth},
        {"framebuffer_line_length", "a healthy box, the daemon starts", "lines of 1 to 40 bytes, too short ones too",
         "the picture by the resolution, as far as the memory goes; nothing beside it", odd_line_length},
        {"framebuffer_larger", "a healthy box, the daemon starts", "up to 300 x 300 pixels",
         "the whole picture, dark beside; what others draw there stays", larger},
        {"framebuffer_smaller", "a healthy box, the daemon starts", "down to one pixel",
         "the part that fits, every pixel of it", smaller},
        {"framebuffer_offset", "a healthy box, the daemon starts", "offsets, far behind the memory too",
         "the picture moved by them, as far as the memory goes", offset},
    };
    return kinds;
}

} // namespace faults
