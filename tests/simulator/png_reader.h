// Reads PNG files back for the tests, animated ones too: checks the structure of every chunk and composes the
// frames. Written against the format's definition and independent of what writes them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "panel/picture.h"

namespace simulator_test {

struct PngFrame {
    panel::Picture shown; // the whole picture after this frame
    int delay_ms = 0;
};

struct Png {
    std::string problem; // "" when the file is well-formed
    int width = 0;
    int height = 0;
    bool animated = false;
    std::vector<PngFrame> frames; // one for a still picture
};

Png read_png(const std::string &bytes);

// Each pixel once: the picture that was enlarged by `scale`. Empty when the pixels of a block differ.
panel::Picture reduced(const panel::Picture &large, int scale);

} // namespace simulator_test
