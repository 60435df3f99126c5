#include "panel/png.h"

#include <algorithm>
#include <cstdint>

namespace panel {

std::string big_endian(uint32_t value) { return {char(value >> 24), char(value >> 16), char(value >> 8), char(value)}; }

static uint32_t crc32(const std::string &bytes) {
    uint32_t crc = 0xffffffffu;
    for (char byte : bytes) {
        crc ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; bit++) crc = (crc >> 1) ^ (crc & 1u ? 0xedb88320u : 0u);
    }
    return ~crc;
}

static uint32_t adler32(const std::string &bytes) {
    uint32_t low = 1;
    uint32_t high = 0;
    for (char byte : bytes) {
        low = (low + static_cast<unsigned char>(byte)) % 65521;
        high = (high + low) % 65521;
    }
    return high << 16 | low;
}

std::string png_chunk(const std::string &type, const std::string &data) {
    return big_endian(uint32_t(data.size())) + type + data + big_endian(crc32(type + data));
}

std::string stored(const std::string &data) {
    constexpr size_t longest_block = 65535;
    std::string stream = "\x78\x01";
    for (size_t start = 0; start < data.size(); start += longest_block) {
        const size_t length = std::min(longest_block, data.size() - start);
        const bool last = start + length == data.size();
        // Little-endian length and its complement.
        const char head[] = {char(last), char(length), char(length >> 8), char(~length), char(~length >> 8)};
        stream.append(head, sizeof head).append(data, start, length);
    }
    return stream + big_endian(adler32(data));
}

// Rows of bits from the left, the most significant bit first, each behind the byte of filter 0.
static std::string scan_lines(const Picture &picture, int scale) {
    const size_t width = size_t(picture.width()) * size_t(scale);
    std::string lines;
    for (int y = 0; y < picture.height(); y++) {
        std::string line(1 + (width + 7) / 8, '\0');
        for (size_t x = 0; x < width; x++) {
            if (picture.at(int(x) / scale, y)) line[1 + x / 8] = char(line[1 + x / 8] | 0x80 >> x % 8);
        }
        for (int copy = 0; copy < scale; copy++) lines += line;
    }
    return lines;
}

std::string png_header(Size size, int scale) {
    // Depth 1, colour type grey, and the only compression, filter and interlace there need be.
    const std::string one_bit_grey("\x01\x00\x00\x00\x00", 5);
    return png_chunk(
        "IHDR", big_endian(uint32_t(size.width * scale)) + big_endian(uint32_t(size.height * scale)) + one_bit_grey);
}

std::string png_pixels(const Picture &picture, int scale, Deflate deflate) {
    return deflate(scan_lines(picture, scale));
}

std::string to_png(const Picture &picture, int scale, Deflate deflate) {
    return PNG_SIGNATURE + png_header(picture.size(), scale) + png_chunk("IDAT", png_pixels(picture, scale, deflate)) +
           png_chunk("IEND", "");
}

} // namespace panel
