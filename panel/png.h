// A frame as a PNG: 1-bit greyscale, lit pixels white. The encoder is our own, without compression, because
// the box carries no image library and a whole panel is 1 KiB.
#pragma once

#include <string>

#include "panel/frame.h"

namespace panel {

/// The bytes of a PNG file in which each pixel of the panel is `scale` by `scale` pixels.
std::string to_png(const Frame &frame, int scale = 1);

} // namespace panel
