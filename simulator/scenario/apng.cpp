// Chunks of PNG: length, name, content and checksum, numbers with the most significant byte first.
#include "simulator/scenario/apng.h"

#include <algorithm>

#include <zlib.h>

#include "simulator/desk/error.h"

namespace desk {

static const char *const signature = "\x89PNG\r\n\x1a\n";

static std::string number_32(uint64_t value) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift & 0xff);
    return bytes;
}

static std::string number_16(uint64_t value) { return number_32(value).substr(2); }

static std::string chunk(const std::string &name, const std::string &content) {
    const std::string checked = name + content;
    const auto sum = crc32(0, reinterpret_cast<const Bytef *>(checked.data()),
                           static_cast<uInt>(checked.size()));
    return number_32(content.size()) + checked + number_32(sum);
}

static std::string header(int width, int height) {
    static const char one_bit_greyscale[] = {1, 0, 0, 0, 0};
    return chunk("IHDR", number_32(static_cast<uint64_t>(width)) + number_32(static_cast<uint64_t>(height)) +
                             std::string(one_bit_greyscale, sizeof(one_bit_greyscale)));
}

// A row begins with the byte of its filter, here none; pixels lie from the most significant bit on.
static std::string row_bytes(const Picture &picture, int y, int scale) {
    const int width = picture.width() * scale;
    std::string row(static_cast<size_t>(1 + (width + 7) / 8), '\0');
    for (int x = 0; x < width; x++) {
        if (!picture.at(x / scale, y)) continue;
        char &byte = row[static_cast<size_t>(1 + x / 8)];
        byte = static_cast<char>(byte | 0x80 >> (x % 8));
    }
    return row;
}

static std::string image_data(const Picture &picture, int scale) {
    std::string rows;
    for (int y = 0; y < picture.height(); y++) {
        const std::string row = row_bytes(picture, y, scale);
        for (int i = 0; i < scale; i++) rows += row;
    }
    uLongf length = compressBound(static_cast<uLong>(rows.size()));
    std::string data(length, '\0');
    const int result = compress2(reinterpret_cast<Bytef *>(data.data()), &length,
                                 reinterpret_cast<const Bytef *>(rows.data()),
                                 static_cast<uLong>(rows.size()), 9);
    if (result != Z_OK) throw Error("no memory to compress a picture");
    data.resize(length);
    return data;
}

std::string to_png(const Picture &picture, int scale) {
    return signature + header(picture.width() * scale, picture.height() * scale) +
           chunk("IDAT", image_data(picture, scale)) + chunk("IEND", "");
}

/* ---- moving ---- */

// The rectangle in which two pictures of one size differ; one pixel when they don't, because a frame can't be
// empty.
static void changed_part(const Picture &before, const Picture &now, int &x, int &y, Picture &part) {
    const Picture difference = now.difference(before);
    int right = 0;
    int bottom = 0;
    x = now.width() - 1;
    y = now.height() - 1;
    for (int row = 0; row < now.height(); row++) {
        for (int column = 0; column < now.width(); column++) {
            if (!difference.at(column, row)) continue;
            x = std::min(x, column);
            y = std::min(y, row);
            right = std::max(right, column);
            bottom = std::max(bottom, row);
        }
    }
    part = now.part(x, y, std::max(1, right - x + 1), std::max(1, bottom - y + 1));
}

void AnimatedPng::add(const Picture &picture, int64_t shown_before_ms) {
    Frame frame;
    if (frames_.empty()) {
        frame.changed = picture;
    } else {
        frames_.back().shown_ms = shown_before_ms;
        changed_part(latest_, picture, frame.x, frame.y, frame.changed);
    }
    frames_.push_back(frame);
    latest_ = picture;
}

// Where a frame goes and how long it stays; it is drawn over what is there.
static std::string frame_control(uint32_t sequence, const Picture &part, int x, int y, int scale,
                                 int64_t shown_ms) {
    std::string content = number_32(sequence);
    for (int value : {part.width(), part.height(), x, y}) {
        content += number_32(static_cast<uint64_t>(value * scale));
    }
    content += number_16(static_cast<uint64_t>(std::clamp<int64_t>(shown_ms, 0, 65535))) + number_16(1000);
    return chunk("fcTL", content + std::string(2, '\0'));
}

std::string AnimatedPng::bytes(int64_t last_ms) const {
    if (frames_.empty()) throw Error("an animation without a frame");
    const Picture &first = frames_[0].changed;
    std::string file = signature + header(first.width() * scale_, first.height() * scale_) +
                       chunk("acTL", number_32(frames_.size()) + number_32(0));
    uint32_t sequence = 0;
    for (size_t i = 0; i < frames_.size(); i++) {
        const Frame &frame = frames_[i];
        const int64_t shown_ms = i + 1 == frames_.size() ? last_ms : frame.shown_ms;
        file += frame_control(sequence++, frame.changed, frame.x, frame.y, scale_, shown_ms);
        const std::string data = image_data(frame.changed, scale_);
        file += i == 0 ? chunk("IDAT", data) : chunk("fdAT", number_32(sequence++) + data);
    }
    return file + chunk("IEND", "");
}

} // namespace desk
