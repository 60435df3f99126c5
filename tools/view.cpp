// displayctl view: shows what a panel shows, in the terminal or as a picture file.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "tools/commands.h"
#include "tools/errors.h"
#include "tools/frame_source.h"
#include "tools/options.h"
#include "tools/png.h"

namespace display_tools {

static constexpr char HELP[] =
    R"(Usage: displayctl view [--follow] [--png OUT] [--pbm OUT] [--size WxH] [--scale N] [FILE | -]

Shows a panel in the terminal, or writes it to picture files. FILE is a framebuffer device (/dev/fb0 when it
is left out), a raw 1-bit frame, or a plain PBM; - is standard input.

  --follow    show it again whenever it changes, until interrupted; from standard input raw frame after
              raw frame
  --png OUT   write a PNG instead (OUT - is standard output)
  --pbm OUT   write a plain PBM instead, 1 for a lit pixel (OUT - is standard output)
  --size WxH  the size of raw frames. Without it 1024 bytes are 64x128, 1056 bytes are 128x66, and whole
              memory pages, as 'cat /dev/fb0' delivers them, begin with 64x128; a followed standard input is
              64x128. A device tells its own size
  --scale N   make each pixel of the PNG N by N, from 1 to 32
  --help, -h  this text

Examples:
  displayctl view --follow
  ssh box cat /dev/fb0 | displayctl view -
  ssh box 'while sleep 0.2; do head -c 1024 /dev/fb0 || exit; done' | displayctl view --follow -
  displayctl view --png panel.png --scale 4 frame.pbm

Exit status: 0 shown, 1 it could not be read or written, 2 the command line is wrong.
)";

struct ViewOptions {
    bool help = false;
    bool follow = false;
    std::string png;
    std::string pbm;
    std::optional<Size> size;
    int scale = 1;
    std::string path = "/dev/fb0";
};

// ---- Command line ----

static Size size_from(const std::string &text) {
    const size_t cross = text.find('x');
    if (cross == std::string::npos) {
        throw UsageError("--size must be WIDTHxHEIGHT, e.g. 64x128, not '" + text + "'");
    }
    return {number_from("the width in --size", text.substr(0, cross), 1, LARGEST_SIDE),
            number_from("the height in --size", text.substr(cross + 1), 1, LARGEST_SIDE)};
}

static std::string output_name(const std::string &option_name, const std::string &text) {
    if (text.empty()) throw UsageError(option_name + " needs a file name, or - for standard output");
    return text;
}

static void take_option(ViewOptions *result, int found, const std::string &value) {
    if (found == 'h') result->help = true;
    if (found == 'f') result->follow = true;
    if (found == 'g') result->png = output_name("--png", value);
    if (found == 'b') result->pbm = output_name("--pbm", value);
    if (found == 's') result->size = size_from(value);
    if (found == 'n') result->scale = number_from("--scale", value, 1, 32);
}

static void take_operands(ViewOptions *result, const std::vector<std::string> &operands) {
    if (operands.size() > 1) throw UsageError("view shows one panel: leave '" + operands[1] + "' out");
    if (!operands.empty()) result->path = operands[0];
    if (result->png == "-" && result->pbm == "-") {
        throw UsageError("only one of --png and --pbm can go to standard output");
    }
}

static ViewOptions parse(int argc, char **argv) {
    static const option table[] = {{"help", no_argument, nullptr, 'h'},
                                   {"follow", no_argument, nullptr, 'f'},
                                   {"png", required_argument, nullptr, 'g'},
                                   {"pbm", required_argument, nullptr, 'b'},
                                   {"size", required_argument, nullptr, 's'},
                                   {"scale", required_argument, nullptr, 'n'},
                                   {nullptr, 0, nullptr, 0}};
    ViewOptions result;
    Options options(argc, argv, table);
    for (int found; (found = options.next()) != -1;) {
        take_option(&result, found, options.value());
    }
    take_operands(&result, options.operands());
    return result;
}

// ---- Showing ----

[[noreturn]] static void fail_to_write(const std::string &path) {
    throw Failure("can't write " + path + ": " + strerror(errno));
}

static void write_bytes(const std::string &path, const std::string &bytes) {
    FILE *file = fopen(path.c_str(), "wb");
    if (file == nullptr) fail_to_write(path);
    const bool written = fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    if (fclose(file) != 0 || !written) fail_to_write(path);
}

// A picture file is replaced in one step, so that a viewer never sees half of it. What is no plain file (a
// pipe, a link) is written to.
static void write_output(const std::string &path, const std::string &bytes) {
    struct stat about;
    if (path == "-") {
        fwrite(bytes.data(), 1, bytes.size(), stdout);
    } else if (lstat(path.c_str(), &about) == 0 && !S_ISREG(about.st_mode)) {
        write_bytes(path, bytes);
    } else {
        const std::string unfinished = path + ".part";
        write_bytes(unfinished, bytes);
        if (rename(unfinished.c_str(), path.c_str()) != 0) fail_to_write(path);
    }
}

// Lit pixels are bright on black as on the panel, whatever the colours of the terminal.
static std::string for_terminal(const Frame &frame, bool follow) {
    const std::string clear = "\033[H\033[2J";
    std::string text = follow ? clear : "";
    bool at_line_start = true;
    for (char letter : to_half_blocks(frame)) {
        if (at_line_start) text += "\033[97;40m";
        at_line_start = letter == '\n';
        if (at_line_start) text += "\033[0m";
        text += letter;
    }
    return text;
}

static std::string scaled_png(const Frame &frame, int scale) {
    constexpr int largest_picture = 4 * LARGEST_SIDE;
    if (std::max(frame.size.width, frame.size.height) * scale > largest_picture) {
        throw Failure("the PNG would be more than " + std::to_string(largest_picture) +
                      " pixels wide or high: give a smaller --scale");
    }
    return to_png(frame, scale);
}

static void show(const Frame &frame, const ViewOptions &options) {
    if (!options.png.empty()) write_output(options.png, scaled_png(frame, options.scale));
    if (!options.pbm.empty()) write_output(options.pbm, to_pbm(frame));
    if (options.png.empty() && options.pbm.empty()) {
        const bool terminal = isatty(STDOUT_FILENO);
        fputs((terminal ? for_terminal(frame, options.follow) : to_half_blocks(frame)).c_str(), stdout);
    }
    if (fflush(stdout) != 0) fail_to_write("standard output");
}

// ---- Following ----

static void follow_input(const ViewOptions &options) {
    std::optional<Frame> shown;
    while (auto frame = read_next_frame(STDIN_FILENO, options.size.value_or(DEVICE_SIZE))) {
        if (shown != frame) show(*frame, options);
        shown = frame;
    }
}

// A file that is being written anew can be unreadable for a moment; the last picture stays meanwhile.
static void follow_path(const ViewOptions &options) {
    constexpr std::chrono::milliseconds period{100};
    constexpr int most_failures = 20;
    Frame shown = read_frame(options.path, options.size);
    show(shown, options);
    for (int failures = 0;;) {
        std::this_thread::sleep_for(period);
        try {
            Frame frame = read_frame(options.path, options.size);
            failures = 0;
            if (frame == shown) continue;
            shown = frame;
        } catch (const Failure &) {
            if (++failures == most_failures) throw;
            continue;
        }
        show(shown, options);
    }
}

static void show_once(const ViewOptions &options) {
    size_t unused = 0;
    const Frame frame = read_frame(options.path, options.size, &unused);
    show(frame, options);
    if (unused == 0) return;
    fprintf(stderr, "displayctl: note: shown as %dx%d; %zu bytes behind that frame were left out\n",
            frame.size.width, frame.size.height, unused);
}

int view_command(int argc, char **argv) {
    const ViewOptions options = parse(argc, argv);
    if (options.help) {
        fputs(HELP, stdout);
    } else if (!options.follow) {
        show_once(options);
    } else if (options.path == "-") {
        follow_input(options);
    } else {
        follow_path(options);
    }
    return 0;
}

} // namespace display_tools
