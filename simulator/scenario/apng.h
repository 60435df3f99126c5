// One-bit pictures as PNG files, single or moving. zlib does the compression; the rest of the format is a few
// chunks. A moving one is an animated PNG: programs that don't know the extension show its first frame.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "panel/picture.h"

namespace desk {

// The bytes of a PNG file, 1-bit greyscale, lit pixels white, each pixel `scale` by `scale`.
std::string to_png(const panel::Picture &picture, int scale = 1);

// Frames are added one by one, all of one size; each stores only the rectangle that changed.
class AnimatedPng {
public:
    explicit AnimatedPng(int scale) : scale_(scale) {}

    // `picture` follows. The one before was shown for `shown_before_ms`.
    void add(const panel::Picture &picture, int64_t shown_before_ms);
    size_t frames() const { return frames_.size(); }

    // The whole file; the last frame is shown for `last_ms`. There must be a frame.
    std::string bytes(int64_t last_ms) const;

private:
    struct Frame {
        int x = 0;
        int y = 0;
        panel::Picture changed;
        int64_t shown_ms = 0;
    };

    int scale_;
    panel::Picture latest_;
    std::vector<Frame> frames_;
};

} // namespace desk
