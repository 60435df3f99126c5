#include "panel/picture.h"

#include <algorithm>
#include <cctype>

#include "panel/failure.h"
#include "panel/files.h"

namespace panel {

// ---- Pixels ----

int Picture::count_lit() const { return int(std::count(lit_.begin(), lit_.end(), true)); }

Picture Picture::part(int x, int y, int width, int height) const {
    Picture result(width, height);
    for (int row = 0; row < height; row++) {
        for (int column = 0; column < width; column++) result.set(column, row, at(x + column, y + row));
    }
    return result;
}

int Picture::count_different(const Picture &other) const {
    if (size_ != other.size_) return int(std::max(lit_.size(), other.lit_.size()));
    return difference(other).count_lit();
}

Picture Picture::difference(const Picture &other) const {
    Picture result(std::max(width(), other.width()), std::max(height(), other.height()));
    for (int y = 0; y < result.height(); y++) {
        for (int x = 0; x < result.width(); x++) result.set(x, y, at(x, y) != other.at(x, y));
    }
    return result;
}

// ---- Raw ----

size_t raw_length(Size size) { return (size_t(size.width) * size_t(size.height) + 7) / 8; }

std::string text_of(Size size) { return std::to_string(size.width) + "x" + std::to_string(size.height); }

Picture Picture::from_raw(const std::string &bytes, Size size, size_t first_bit) {
    const size_t pixels = size_t(size.width) * size_t(size.height);
    const size_t needed = (first_bit + pixels + 7) / 8;
    if (bytes.size() < needed) {
        throw Failure("a frame of " + text_of(size) + " has " + std::to_string(needed) + " bytes, but there are only " +
                      std::to_string(bytes.size()));
    }
    Picture picture(size);
    for (size_t i = 0; i < pixels; i++) {
        const size_t bit = first_bit + i;
        picture.lit_[i] = (static_cast<unsigned char>(bytes[bit / 8]) >> (bit % 8)) & 1u;
    }
    return picture;
}

// ---- PBM ----

// What a reader of PBM has before it.
struct PbmText {
    const std::string &text;
    size_t position;

    // The next character that is neither white space nor part of a comment; NUL at the end.
    char next() {
        while (position < text.size()) {
            if (text[position] == '#') {
                position = text.find('\n', position);
                if (position == std::string::npos) position = text.size();
            } else if (std::isspace(static_cast<unsigned char>(text[position]))) {
                position++;
            } else {
                return text[position];
            }
        }
        return '\0';
    }
};

static bool looks_like_pbm(const std::string &text) {
    return text.size() > 2 && text.compare(0, 2, "P1") == 0 &&
           (text[2] == '#' || std::isspace(static_cast<unsigned char>(text[2])));
}

static int read_side(PbmText *pbm, const char *name) {
    int side = 0;
    pbm->next();
    while (pbm->position < pbm->text.size() && side <= LARGEST_SIDE) {
        const char digit = pbm->text[pbm->position];
        if (digit < '0' || digit > '9') break;
        side = side * 10 + (digit - '0');
        pbm->position++;
    }
    if (side >= 1 && side <= LARGEST_SIDE) return side;
    throw Failure(std::string("the PBM's ") + name + " is not a number from 1 to " + std::to_string(LARGEST_SIDE));
}

Picture Picture::from_pbm(const std::string &text) {
    if (!looks_like_pbm(text)) throw Failure("this is no plain PBM: it does not begin with 'P1'");
    PbmText pbm{text, 2};
    const int width = read_side(&pbm, "width");
    const int height = read_side(&pbm, "height");
    Picture picture(width, height);
    for (size_t i = 0; i < picture.lit_.size(); i++) {
        const char pixel = pbm.next();
        if (pixel != '0' && pixel != '1') {
            throw Failure("the PBM has " + std::to_string(i) + " pixels of 0 and 1 where its size " +
                          text_of(picture.size_) + " needs " + std::to_string(picture.lit_.size()));
        }
        picture.lit_[i] = pixel == '1';
        pbm.position++;
    }
    return picture;
}

Picture Picture::load_pbm(const std::string &path) {
    const std::string text = load_bytes(path, "the picture ");
    try {
        return from_pbm(text);
    } catch (const Failure &problem) {
        throw Failure(path + ": " + problem.what());
    }
}

std::string Picture::to_pbm() const {
    std::string text =
        "P1\n# 1 is a lit pixel of the panel\n" + std::to_string(width()) + " " + std::to_string(height()) + "\n";
    for (int y = 0; y < height(); y++) {
        for (int x = 0; x < width(); x++) text += at(x, y) ? '1' : '0';
        text += '\n';
    }
    return text;
}

void Picture::save_pbm(const std::string &path) const { save_bytes(path, to_pbm()); }

// ---- Either ----

// A framebuffer device hands out whole memory pages, whatever the panel needs of them.
static bool is_whole_pages(size_t length) {
    constexpr size_t page = 4096;
    return length > 0 && length % page == 0;
}

static Size size_by_length(size_t length) {
    if (length == raw_length(DEVICE_SIZE) || is_whole_pages(length)) return DEVICE_SIZE;
    if (length == raw_length(LAYOUT_SIZE)) return LAYOUT_SIZE;
    throw Failure("these " + std::to_string(length) + " bytes are neither a plain PBM nor a 1-bit frame of " +
                  text_of(DEVICE_SIZE) + " (" + std::to_string(raw_length(DEVICE_SIZE)) + " bytes) or " +
                  text_of(LAYOUT_SIZE) + " (" + std::to_string(raw_length(LAYOUT_SIZE)) +
                  " bytes): give its size with --size WxH");
}

Picture Picture::from_bytes(const std::string &bytes, std::optional<Size> size, size_t *unused) {
    if (unused != nullptr) *unused = 0;
    // A raw frame may begin with these two letters by chance; a PBM is never as short as a frame of its size.
    const bool exactly_a_frame =
        bytes.size() == raw_length(size.value_or(DEVICE_SIZE)) || (!size && bytes.size() == raw_length(LAYOUT_SIZE));
    if (!exactly_a_frame && looks_like_pbm(bytes)) return from_pbm(bytes);
    const Size wanted = size ? *size : size_by_length(bytes.size());
    const Picture picture = from_raw(bytes, wanted);
    if (unused != nullptr) *unused = bytes.size() - raw_length(wanted);
    return picture;
}

} // namespace panel
