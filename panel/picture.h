// A panel's picture, one bit a pixel, and its forms in files: the raw frame of a framebuffer and plain PBM.
// png.h makes a PNG of it, drawing.h the text of a terminal.
//
// PBM calls 1 black ink. Here 1 is a lit pixel, so that the text of the file shows the picture as the panel does; a
// comment line in each file says so.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace panel {

struct Size {
    int width;
    int height;
    bool operator==(const Size &other) const { return width == other.width && height == other.height; }
    bool operator!=(const Size &other) const { return !(*this == other); }
};

/// The panel of the device.
constexpr Size DEVICE_SIZE{64, 128};
/// The panel that the layout is drawn for.
constexpr Size LAYOUT_SIZE{128, 66};
/// The largest width or height that is read.
constexpr int LARGEST_SIDE = 4096;

class Picture {
public:
    Picture() = default;
    /// A dark picture.
    Picture(int width, int height) : Picture(Size{width, height}) {}
    explicit Picture(Size size) : size_(size), lit_(size_t(size.width) * size_t(size.height)) {}

    /// Pixel (x, y) is bit x + y * width + first_bit, from the least significant bit of byte 0; a framebuffer's
    /// offsets make first_bit. Throws Failure when `bytes` is too short.
    static Picture from_raw(const std::string &bytes, Size size, size_t first_bit = 0);
    /// A plain PBM; 1 is a lit pixel. Throws Failure when it is none.
    static Picture from_pbm(const std::string &text);
    /// A raw frame or a plain PBM, whichever it is. Without `size` the length tells it: 1024 bytes are DEVICE_SIZE,
    /// 1056 are LAYOUT_SIZE, whole memory pages begin with DEVICE_SIZE. `unused`: bytes behind the frame. Throws
    /// Failure.
    static Picture from_bytes(const std::string &bytes, std::optional<Size> size, size_t *unused = nullptr);
    /// The plain PBM in that file. Throws Failure.
    static Picture load_pbm(const std::string &path);

    Size size() const { return size_; }
    int width() const { return size_.width; }
    int height() const { return size_.height; }
    /// False outside the picture.
    bool at(int x, int y) const { return inside(x, y) && lit_[index(x, y)]; }
    void set(int x, int y, bool lit) {
        if (inside(x, y)) lit_[index(x, y)] = lit;
    }
    int count_lit() const;
    /// The part with its upper left corner at (x, y); dark where it reaches outside.
    Picture part(int x, int y, int width, int height) const;

    bool operator==(const Picture &other) const { return size_ == other.size_ && lit_ == other.lit_; }
    bool operator!=(const Picture &other) const { return !(*this == other); }
    /// How many pixels differ; all of the larger one when the sizes differ.
    int count_different(const Picture &other) const;
    /// Lit where the two differ.
    Picture difference(const Picture &other) const;

    /// Plain PBM, one row a line.
    std::string to_pbm() const;
    /// Writes that to a file, whole or not at all. Throws Failure.
    void save_pbm(const std::string &path) const;

private:
    bool inside(int x, int y) const { return x >= 0 && y >= 0 && x < size_.width && y < size_.height; }
    size_t index(int x, int y) const { return size_t(y) * size_t(size_.width) + size_t(x); }

    Size size_{0, 0};
    std::vector<bool> lit_; // row by row
};

/// Bytes of a raw frame.
size_t raw_length(Size size);

/// "64x128".
std::string text_of(Size size);

} // namespace panel
