#include "simulator/scenario/apng.h"

#include <algorithm>

#include <zlib.h>

#include "panel/png.h"
#include "simulator/desk/error.h"

namespace desk {

static std::string number_16(int64_t value) { return panel::big_endian(static_cast<uint32_t>(value)).substr(2); }

static std::string compressed(const std::string &bytes) {
    uLongf length = compressBound(static_cast<uLong>(bytes.size()));
    std::string stream(length, '\0');
    const int result = compress2(reinterpret_cast<Bytef *>(stream.data()), &length,
                                 reinterpret_cast<const Bytef *>(bytes.data()), static_cast<uLong>(bytes.size()), 9);
    if (result != Z_OK) throw Error("no memory to compress a picture");
    stream.resize(length);
    return stream;
}

std::string to_png(const panel::Picture &picture, int scale) { return panel::to_png(picture, scale, compressed); }

/* ---- moving ---- */

// The rectangle in which two pictures of one size differ; one pixel when they don't, because a frame can't be
// empty.
static void changed_part(const panel::Picture &before, const panel::Picture &now, int &x, int &y,
                         panel::Picture &part) {
    if (now == before) {
        x = now.width() - 1;
        y = now.height() - 1;
        part = now.part(x, y, 1, 1);
        return;
    }
    const panel::Picture difference = now.difference(before);
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

void AnimatedPng::add(const panel::Picture &picture, int64_t shown_before_ms) {
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
static std::string frame_control(uint32_t sequence, const panel::Picture &part, int x, int y, int scale,
                                 int64_t shown_ms) {
    std::string content = panel::big_endian(sequence);
    for (int value : {part.width(), part.height(), x, y}) {
        content += panel::big_endian(static_cast<uint32_t>(value * scale));
    }
    content += number_16(std::clamp<int64_t>(shown_ms, 0, 65535)) + number_16(1000);
    return panel::png_chunk("fcTL", content + std::string(2, '\0'));
}

std::string AnimatedPng::bytes(int64_t last_ms) const {
    using panel::big_endian;
    using panel::png_chunk;
    if (frames_.empty()) throw Error("an animation without a frame");
    const uint32_t count = static_cast<uint32_t>(frames_.size());
    std::string file = panel::PNG_SIGNATURE + panel::png_header(frames_[0].changed.size(), scale_) +
                       png_chunk("acTL", big_endian(count) + big_endian(0));
    uint32_t sequence = 0;
    for (size_t i = 0; i < frames_.size(); i++) {
        const Frame &frame = frames_[i];
        const int64_t shown_ms = i + 1 == frames_.size() ? last_ms : frame.shown_ms;
        file += frame_control(sequence++, frame.changed, frame.x, frame.y, scale_, shown_ms);
        const std::string data = panel::png_pixels(frame.changed, scale_, compressed);
        file += i == 0 ? png_chunk("IDAT", data) : png_chunk("fdAT", big_endian(sequence++) + data);
    }
    return file + png_chunk("IEND", "");
}

} // namespace desk
