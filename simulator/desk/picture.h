// A one-bit picture: what the panel shows at one moment, or a golden one from a file. Pictures are compared
// pixel by pixel, without tolerance.
//
// As text a picture is plain PBM, one panel row a line. PBM calls 1 black ink; here 1 is a lit pixel, so that
// a review of the text shows the picture. A comment line in each file says so.
#pragma once

#include <string>
#include <vector>

#include "panel/frame.h"

namespace desk {

class Picture {
public:
    Picture() = default;
    // A dark picture.
    Picture(int width, int height);

    int width() const { return width_; }
    int height() const { return height_; }
    // False outside the picture.
    bool at(int x, int y) const;
    void set(int x, int y, bool lit);
    int count_lit() const;
    // The part of the picture with its upper left corner at (x, y); dark where it reaches outside.
    Picture part(int x, int y, int width, int height) const;

    bool operator==(const Picture &other) const;
    bool operator!=(const Picture &other) const { return !(*this == other); }

    // How many pixels differ; all of the larger one when the sizes differ.
    int count_different(const Picture &other) const;
    // Lit where the two differ.
    Picture difference(const Picture &other) const;

    std::string to_pbm() const;
    // Throws Error when `text` is no plain PBM.
    static Picture from_pbm(const std::string &text);
    static Picture load_pbm(const std::string &path);
    void save_pbm(const std::string &path) const;

    // For people: two rows a line.
    std::string to_half_blocks() const;
    // The same picture for the room that draws in terminals and makes PNGs.
    panel::Frame frame() const { return {{width_, height_}, lit_}; }

private:
    int width_ = 0;
    int height_ = 0;
    std::vector<bool> lit_;
};

// Writes a file whole or not at all: a full disk leaves the one before, a link is replaced and not written through.
// Throws Error.
void save_bytes(const std::string &path, const std::string &bytes);

} // namespace desk
