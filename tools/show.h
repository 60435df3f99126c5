// Where displayctl view puts a frame: picture files, standard output as text, or the terminal. Throws Failure.
#pragma once

#include <optional>
#include <string>

#include "panel/drawing.h"

namespace displayctl {

/// What the command line of `displayctl view` asks for.
struct ViewOptions {
    bool help = false;
    bool follow = false;
    std::string png; ///< empty: none
    std::string pbm;
    std::optional<panel::Size> size;
    std::optional<panel::Style> style;
    int scale = 1;
    std::string path = "/dev/fb0";
};

/// Whether it goes to picture files and not to people.
bool goes_to_files(const ViewOptions &options);

/// Writes the frame to the picture files.
void write_files(const panel::Picture &frame, const ViewOptions &options);

/// Prints the frame: fitted into a terminal, with a line that tells when that is too small, and whole elsewhere.
void print_frame(const panel::Picture &frame, const ViewOptions &options);

/// "64x128", or how much of it where not all of it fits.
std::string what_is_seen(const panel::Picture &frame, const panel::Drawing &drawing);

/// Shows the panel again and again until the end of its source, or until the person wants the end.
void follow(const ViewOptions &options);

} // namespace displayctl
