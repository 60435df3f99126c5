// One-bit pictures: comparing and plain PBM.
#include "simulator/desk/picture.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

#include <unistd.h>

#include "panel/drawing.h"
#include "simulator/desk/error.h"

namespace desk {

Picture::Picture(int width, int height)
    : width_(width), height_(height), lit_(static_cast<size_t>(width) * static_cast<size_t>(height), false) {}

bool Picture::at(int x, int y) const {
    if (x < 0 || y < 0 || x >= width_ || y >= height_) return false;
    return lit_[static_cast<size_t>(y) * static_cast<size_t>(width_) + static_cast<size_t>(x)];
}

void Picture::set(int x, int y, bool lit) {
    if (x < 0 || y < 0 || x >= width_ || y >= height_) return;
    lit_[static_cast<size_t>(y) * static_cast<size_t>(width_) + static_cast<size_t>(x)] = lit;
}

int Picture::count_lit() const { return static_cast<int>(std::count(lit_.begin(), lit_.end(), true)); }

Picture Picture::part(int x, int y, int width, int height) const {
    Picture result(width, height);
    for (int row = 0; row < height; row++) {
        for (int column = 0; column < width; column++) result.set(column, row, at(x + column, y + row));
    }
    return result;
}

bool Picture::operator==(const Picture &other) const {
    return width_ == other.width_ && height_ == other.height_ && lit_ == other.lit_;
}

int Picture::count_different(const Picture &other) const {
    if (width_ != other.width_ || height_ != other.height_) {
        return std::max(width_ * height_, other.width_ * other.height_);
    }
    return difference(other).count_lit();
}

Picture Picture::difference(const Picture &other) const {
    Picture result(std::max(width_, other.width_), std::max(height_, other.height_));
    for (int y = 0; y < result.height_; y++) {
        for (int x = 0; x < result.width_; x++) result.set(x, y, at(x, y) != other.at(x, y));
    }
    return result;
}

std::string Picture::to_pbm() const {
    std::string text = "P1\n# 1 is a lit pixel of the panel\n";
    text += std::to_string(width_) + " " + std::to_string(height_) + "\n";
    for (int y = 0; y < height_; y++) {
        for (int x = 0; x < width_; x++) text += at(x, y) ? '1' : '0';
        text += '\n';
    }
    return text;
}

static std::string without_comments(const std::string &text) {
    std::string result;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) result += line.substr(0, line.find('#')) + "\n";
    return result;
}

Picture Picture::from_pbm(const std::string &text) {
    std::istringstream words(without_comments(text));
    std::string magic;
    int width = 0;
    int height = 0;
    if (!(words >> magic >> width >> height) || magic != "P1" || width <= 0 || height <= 0 || width > 4096 ||
        height > 4096) {
        throw Error("no plain PBM picture (it begins with \"P1\", the width and the height)");
    }
    Picture result(width, height);
    for (size_t i = 0; i < result.lit_.size(); i++) {
        char pixel = 0;
        if (!(words >> pixel) || (pixel != '0' && pixel != '1')) {
            throw Error("the PBM picture ends at pixel " + std::to_string(i));
        }
        result.lit_[i] = pixel == '1';
    }
    return result;
}

Picture Picture::load_pbm(const std::string &path) {
    std::ifstream file(path);
    if (!file) throw system_error("can't read the picture " + path);
    std::ostringstream text;
    text << file.rdbuf();
    return from_pbm(text.str());
}

void save_bytes(const std::string &path, const std::string &bytes) {
    const std::string fresh = path + "." + std::to_string(getpid()) + ".part";
    std::ofstream file(fresh, std::ios::binary);
    file << bytes;
    file.close();
    if (file && std::rename(fresh.c_str(), path.c_str()) == 0) return;
    const Error problem = system_error("can't write " + path);
    unlink(fresh.c_str());
    throw problem;
}

void Picture::save_pbm(const std::string &path) const { save_bytes(path, to_pbm()); }

std::string Picture::to_half_blocks() const { return panel::drawn(frame(), panel::Marks::half_blocks); }

} // namespace desk
