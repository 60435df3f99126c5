// See show.h.
#include "tools/show.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "panel/png.h"
#include "panel/terminal.h"
#include "tools/errors.h"

namespace display_tools {

[[noreturn]] static void fail_to_write(const std::string &path) {
    throw Failure("can't write " + path + ": " + strerror(errno));
}

static void flush_output() {
    if (fflush(stdout) != 0 || ferror(stdout)) fail_to_write("standard output");
}

// ---- Files ----

static void write_bytes(const std::string &path, const std::string &bytes) {
    FILE *file = fopen(path.c_str(), "wb");
    if (file == nullptr) fail_to_write(path);
    const bool written = fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    if (fclose(file) != 0 || !written) fail_to_write(path);
}

// A picture file is replaced in one step, so that a viewer never sees half of it.
static void replace_file(const std::string &path, const std::string &bytes) {
    const std::string unfinished = path + ".part";
    try {
        write_bytes(unfinished, bytes);
        if (rename(unfinished.c_str(), path.c_str()) != 0) fail_to_write(path);
    } catch (const Failure &) {
        unlink(unfinished.c_str());
        throw;
    }
}

// What is no plain file (a pipe, a link) is written to.
static void write_output(const std::string &path, const std::string &bytes) {
    struct stat about;
    if (path == "-") {
        fwrite(bytes.data(), 1, bytes.size(), stdout);
    } else if (lstat(path.c_str(), &about) == 0 && !S_ISREG(about.st_mode)) {
        write_bytes(path, bytes);
    } else {
        replace_file(path, bytes);
    }
}

static std::string scaled_png(const panel::Frame &frame, int scale) {
    constexpr int largest_picture = 4 * panel::LARGEST_SIDE;
    if (std::max(frame.size.width, frame.size.height) * scale > largest_picture) {
        throw Failure("the PNG would be more than " + std::to_string(largest_picture) +
                      " pixels wide or high: give a smaller --scale");
    }
    return panel::to_png(frame, scale);
}

bool goes_to_files(const ViewOptions &options) {
    return !options.png.empty() || !options.pbm.empty();
}

void write_files(const panel::Frame &frame, const ViewOptions &options) {
    if (!options.png.empty()) write_output(options.png, scaled_png(frame, options.scale));
    if (!options.pbm.empty()) write_output(options.pbm, panel::to_pbm(frame));
    flush_output();
}

// ---- Text ----

static std::string text_of(panel::Size size) {
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}

std::string what_is_seen(const panel::Frame &frame, const panel::Drawing &drawing) {
    return (drawing.whole ? "" : "the upper left " + text_of(drawing.seen) + " of ") + text_of(frame.size);
}

void print_frame(const panel::Frame &frame, const ViewOptions &options) {
    const panel::Look look = panel::look_for(STDOUT_FILENO, options.style);
    panel::Place place = panel::place_of(STDOUT_FILENO);
    place.lines -= 1; // the shell's prompt comes below
    panel::Drawing drawing = panel::fitted(frame, look.style, place);
    if (!drawing.whole) {
        place.lines -= 1;
        drawing = panel::fitted(frame, look.style, place);
    }
    for (const std::string &line : drawing.lines) puts(panel::dressed(line, look).c_str());
    if (!drawing.whole) puts(panel::printable("(" + what_is_seen(frame, drawing) + ")", place.columns).c_str());
    flush_output();
}

} // namespace display_tools
