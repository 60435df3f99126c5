// The file behind /dev/fb0.
#include "simulator/desk/panel.h"

#include <fstream>
#include <iterator>

#include "simulator/desk/error.h"

namespace desk {

int Geometry::bytes_per_line() const { return line_length > 0 ? line_length : (xres * bits_per_pixel + 7) / 8; }

Panel::Panel(const std::string &host_path, const Geometry &geometry) : path_(host_path), geometry_(geometry) {
    fill(0);
}

// Writes in place: the daemon may have the file mapped.
void Panel::fill(unsigned char value) {
    std::fstream file(path_, std::ios::in | std::ios::out | std::ios::binary);
    if (!file) file.open(path_, std::ios::out | std::ios::binary);
    file << std::string(static_cast<size_t>(geometry_.size_in_bytes()), static_cast<char>(value));
    if (!file.flush()) throw system_error("can't write the panel " + path_);
}

std::vector<unsigned char> Panel::bytes() const {
    std::ifstream file(path_, std::ios::binary);
    if (!file) throw system_error("can't read the panel " + path_);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

Picture Panel::picture_of(const std::vector<unsigned char> &bytes) const {
    if (geometry_.bits_per_pixel != 1) throw Error("only a panel of 1 bit per pixel shows a picture");
    std::string content(bytes.begin(), bytes.end());
    content.resize(static_cast<size_t>(geometry_.size_in_bytes()), '\0');
    return Picture::from_raw(content, {geometry_.xres, geometry_.yres});
}

} // namespace desk
