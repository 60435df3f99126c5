// Chunks, checksums, sequence numbers, and one-bit rows.
#include "png_reader.h"

#include <zlib.h>

namespace simulator_test {

struct Chunk {
    std::string name;
    std::string content;
};

static uint32_t number_32(const std::string &bytes, size_t place) {
    uint32_t value = 0;
    for (size_t i = 0; i < 4; i++) value = value << 8 | static_cast<unsigned char>(bytes.at(place + i));
    return value;
}

static uint32_t number_16(const std::string &bytes, size_t place) {
    return static_cast<uint32_t>(static_cast<unsigned char>(bytes.at(place)) << 8 |
                                 static_cast<unsigned char>(bytes.at(place + 1)));
}

struct Problem {
    std::string text;
};

static std::vector<Chunk> chunks_of(const std::string &bytes) {
    if (bytes.compare(0, 8, "\x89PNG\r\n\x1a\n") != 0) throw Problem{"no PNG signature"};
    std::vector<Chunk> chunks;
    for (size_t place = 8; place < bytes.size();) {
        if (place + 12 > bytes.size()) throw Problem{"a chunk is cut off"};
        const size_t length = number_32(bytes, place);
        if (place + 12 + length > bytes.size()) throw Problem{"a chunk is longer than the file"};
        const std::string checked = bytes.substr(place + 4, 4 + length);
        const auto sum = crc32(0, reinterpret_cast<const Bytef *>(checked.data()), static_cast<uInt>(checked.size()));
        if (sum != number_32(bytes, place + 8 + length)) throw Problem{"wrong checksum"};
        chunks.push_back({checked.substr(0, 4), checked.substr(4)});
        place += 12 + length;
    }
    if (chunks.empty() || chunks.front().name != "IHDR" || chunks.back().name != "IEND") {
        throw Problem{"IHDR or IEND out of place"};
    }
    return chunks;
}

// One-bit rows without filters.
static panel::Picture inflated(const std::string &data, int width, int height) {
    const size_t row_length = static_cast<size_t>(1 + (width + 7) / 8);
    std::string rows(row_length * static_cast<size_t>(height) + 1, '\0');
    uLongf length = static_cast<uLongf>(rows.size());
    const int result = uncompress(reinterpret_cast<Bytef *>(rows.data()), &length,
                                  reinterpret_cast<const Bytef *>(data.data()), static_cast<uLong>(data.size()));
    if (result != Z_OK || length != rows.size() - 1) throw Problem{"the pixels do not fill the frame"};
    panel::Picture picture(width, height);
    for (int y = 0; y < height; y++) {
        const size_t row = static_cast<size_t>(y) * row_length;
        if (rows[row] != 0) throw Problem{"an unexpected filter"};
        for (int x = 0; x < width; x++) {
            picture.set(
                x, y, (static_cast<unsigned char>(rows[row + 1 + static_cast<size_t>(x / 8)]) >> (7 - x % 8) & 1) != 0);
        }
    }
    return picture;
}

// What an fcTL chunk says.
struct Control {
    int width = 0;
    int height = 0;
    int x = 0;
    int y = 0;
    int delay_ms = 0;
};

struct Reading {
    Png png;
    uint32_t next_sequence = 0;
    size_t announced = 0;
    Control control;
    bool has_control = false;
};

static void take_header(Reading &reading, const std::string &content) {
    reading.png.width = static_cast<int>(number_32(content, 0));
    reading.png.height = static_cast<int>(number_32(content, 4));
    if (content.substr(8) != std::string("\1\0\0\0\0", 5)) throw Problem{"not 1-bit greyscale"};
}

static void take_control(Reading &reading, const std::string &content) {
    if (number_32(content, 0) != reading.next_sequence++) throw Problem{"fcTL out of sequence"};
    Control &control = reading.control;
    control = {static_cast<int>(number_32(content, 4)), static_cast<int>(number_32(content, 8)),
               static_cast<int>(number_32(content, 12)), static_cast<int>(number_32(content, 16)), 0};
    const bool inside = control.width > 0 && control.height > 0 && control.x + control.width <= reading.png.width &&
                        control.y + control.height <= reading.png.height;
    if (!inside) throw Problem{"a frame reaches outside the picture"};
    if (content.substr(24) != std::string(2, '\0')) throw Problem{"a frame is disposed of or blended"};
    control.delay_ms = static_cast<int>(number_16(content, 20) * 1000 / number_16(content, 22));
    reading.has_control = true;
}

static void take_image(Reading &reading, const std::string &data) {
    Control control = reading.control;
    if (!reading.has_control) control = {reading.png.width, reading.png.height, 0, 0, 0};
    reading.has_control = false;
    const bool first = reading.png.frames.empty();
    if (first && (control.width != reading.png.width || control.height != reading.png.height)) {
        throw Problem{"the first frame is not the whole picture"};
    }
    panel::Picture shown = first ? panel::Picture(control.width, control.height) : reading.png.frames.back().shown;
    const panel::Picture part = inflated(data, control.width, control.height);
    for (int y = 0; y < part.height(); y++) {
        for (int x = 0; x < part.width(); x++) shown.set(control.x + x, control.y + y, part.at(x, y));
    }
    reading.png.frames.push_back({shown, control.delay_ms});
}

static void take_chunk(Reading &reading, const Chunk &chunk) {
    if (chunk.name == "IHDR") {
        take_header(reading, chunk.content);
    } else if (chunk.name == "acTL") {
        reading.png.animated = true;
        reading.announced = number_32(chunk.content, 0);
    } else if (chunk.name == "fcTL") {
        take_control(reading, chunk.content);
    } else if (chunk.name == "IDAT") {
        take_image(reading, chunk.content);
    } else if (chunk.name == "fdAT") {
        if (number_32(chunk.content, 0) != reading.next_sequence++) throw Problem{"fdAT out of sequence"};
        if (!reading.has_control) throw Problem{"fdAT without fcTL"};
        take_image(reading, chunk.content.substr(4));
    } else if (chunk.name != "IEND") {
        throw Problem{"an unknown chunk " + chunk.name};
    }
}

Png read_png(const std::string &bytes) {
    Reading reading;
    try {
        for (const Chunk &chunk : chunks_of(bytes)) take_chunk(reading, chunk);
        if (reading.png.frames.empty()) throw Problem{"no picture"};
        if (reading.png.animated && reading.announced != reading.png.frames.size()) {
            throw Problem{"wrong number of frames"};
        }
    } catch (const Problem &problem) {
        reading.png.problem = problem.text;
    }
    return reading.png;
}

panel::Picture reduced(const panel::Picture &large, int scale) {
    panel::Picture small(large.width() / scale, large.height() / scale);
    for (int y = 0; y < large.height(); y++) {
        for (int x = 0; x < large.width(); x++) {
            const bool lit = large.at(x, y);
            if (x % scale == 0 && y % scale == 0) small.set(x / scale, y / scale, lit);
            if (small.at(x / scale, y / scale) != lit) return {};
        }
    }
    return small;
}

} // namespace simulator_test
