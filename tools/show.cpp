#include "tools/show.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "panel/files.h"
#include "panel/png.h"
#include "panel/terminal.h"
#include "tools/errors.h"

namespace displayctl {

static void flush_output() {
    if (fflush(stdout) == 0 && !ferror(stdout)) return;
    throw Failure(std::string("can't write standard output: ") + strerror(errno));
}

// ---- Files ----

// What is no plain file (a pipe, a link) is written to.
static void write_output(const std::string &path, const std::string &bytes) {
    struct stat about;
    if (path == "-") {
        fwrite(bytes.data(), 1, bytes.size(), stdout);
    } else if (lstat(path.c_str(), &about) == 0 && !S_ISREG(about.st_mode)) {
        panel::write_bytes(path, bytes);
    } else {
        panel::save_bytes(path, bytes);
    }
}

static std::string scaled_png(const panel::Picture &frame, int scale) {
    constexpr int largest_picture = 4 * panel::LARGEST_SIDE;
    if (std::max(frame.width(), frame.height()) * scale > largest_picture) {
        throw Failure("the PNG would be more than " + std::to_string(largest_picture) +
                      " pixels wide or high: give a smaller --scale");
    }
    return panel::to_png(frame, scale);
}

bool goes_to_files(const ViewOptions &options) { return !options.png.empty() || !options.pbm.empty(); }

void write_files(const panel::Picture &frame, const ViewOptions &options) {
    if (!options.png.empty()) write_output(options.png, scaled_png(frame, options.scale));
    if (!options.pbm.empty()) write_output(options.pbm, frame.to_pbm());
    flush_output();
}

// ---- Text ----

std::string what_is_seen(const panel::Picture &frame, const panel::Drawing &drawing) {
    return (drawing.whole ? "" : "the upper left " + panel::text_of(drawing.seen) + " of ") +
           panel::text_of(frame.size());
}

void print_frame(const panel::Picture &frame, const ViewOptions &options) {
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

} // namespace displayctl
