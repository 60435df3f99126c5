// A panel's picture, one bit a pixel, and its forms in files: the raw frame of a framebuffer and plain PBM.
// png.h makes a PNG of it, drawing.h the text of a terminal.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace panel {

struct Size {
    int width;
    int height;
};

/// The panel of the device.
constexpr Size DEVICE_SIZE{64, 128};
/// The panel that the layout is drawn for.
constexpr Size LAYOUT_SIZE{128, 66};
/// The largest width or height that is read.
constexpr int LARGEST_SIDE = 4096;

struct Frame {
    Size size{0, 0};
    std::vector<bool> lit; ///< row by row

    bool at(int x, int y) const { return lit[size_t(y) * size_t(size.width) + size_t(x)]; }
    bool operator==(const Frame &other) const {
        return size.width == other.size.width && size.height == other.size.height && lit == other.lit;
    }
    bool operator!=(const Frame &other) const { return !(*this == other); }
};

/// Bytes of a raw frame.
size_t raw_length(Size size);

/// Pixel (x, y) is bit x + y * width + first_bit, from the least significant bit of byte 0; a framebuffer's
/// offsets make first_bit. Throws Failure when `bytes` is too short.
Frame frame_from_raw(const std::string &bytes, Size size, size_t first_bit = 0);

/// A plain PBM; 1 is a lit pixel. Throws Failure when it is none.
Frame frame_from_pbm(const std::string &text);

/// A raw frame or a plain PBM, whichever it is. Without `size` the length tells it: 1024 bytes are
/// DEVICE_SIZE, 1056 are LAYOUT_SIZE, whole memory pages begin with DEVICE_SIZE. `unused`: bytes behind the
/// frame.
Frame frame_from_bytes(const std::string &bytes, std::optional<Size> size, size_t *unused = nullptr);

/// Plain PBM, one panel row a line.
std::string to_pbm(const Frame &frame);

} // namespace panel
