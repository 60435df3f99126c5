// Where frames come from: a framebuffer device, whose geometry the kernel tells, a file, or standard input.
// Throws Failure with the path and with advice.
#pragma once

#include <optional>
#include <string>

#include "tools/frame.h"

namespace display_tools {

/// The frame at `path` as it stands now; "-" is standard input up to its end. `size` overrules what a file's
/// length says; a device's own geometry always counts. `unused`: bytes behind the frame.
Frame read_frame(const std::string &path, std::optional<Size> size, size_t *unused = nullptr);

/// The next raw frame of a stream. Nothing at the stream's end.
std::optional<Frame> read_next_frame(int descriptor, Size size);

} // namespace display_tools
