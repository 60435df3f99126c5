// The virtual panel: a plain file that is /dev/fb0 in the box. The shim tells the daemon its geometry.
// On a one-bit panel the pixel (x, y) is bit x + y * xres, counted from the least significant bit of byte 0.
#pragma once

#include <string>
#include <vector>

#include "panel/picture.h"

namespace desk {

using panel::Picture;

struct Geometry {
    int xres = 64;
    int yres = 128;
    int bits_per_pixel = 1;
    int line_length = 0; // in bytes; 0: as few as hold a row
    int xoffset = 0;
    int yoffset = 0;

    int bytes_per_line() const;
    int size_in_bytes() const { return bytes_per_line() * yres; }
};

// The panel of the device and the one that the layout is drawn for.
constexpr Geometry device_panel{64, 128, 1, 0, 0, 0};
constexpr Geometry layout_panel{128, 66, 1, 0, 0, 0};

class Panel {
public:
    // Makes the file, all dark.
    Panel(const std::string &host_path, const Geometry &geometry);

    const Geometry &geometry() const { return geometry_; }
    const std::string &host_path() const { return path_; }

    // The whole file as it stands.
    std::vector<unsigned char> bytes() const;
    void fill(unsigned char value);
    // What a one-bit panel shows now. Throws Error on another depth.
    Picture picture() const { return picture_of(bytes()); }
    // What it showed when the file held these.
    Picture picture_of(const std::vector<unsigned char> &bytes) const;
    bool at(int x, int y) const { return picture().at(x, y); }

private:
    std::string path_;
    Geometry geometry_;
};

} // namespace desk
