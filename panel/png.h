// A picture as a PNG (ISO/IEC 15948): 1-bit greyscale, lit pixels white. The encoder is our own, because the box carries
// no image library and a whole panel is 1 KiB; what a file of several pictures is put together from is here too.
#pragma once

#include <cstdint>
#include <string>

#include "panel/picture.h"

namespace panel {

/// Makes a zlib stream (RFC 1950) of the bytes.
using Deflate = std::string (*)(const std::string &bytes);

/// Without compression.
std::string stored(const std::string &bytes);

/// The bytes of a PNG file in which each pixel of the panel is `scale` by `scale` pixels.
std::string to_png(const Picture &picture, int scale = 1, Deflate deflate = stored);

/// What a PNG file begins with.
constexpr char PNG_SIGNATURE[] = "\x89PNG\r\n\x1a\n";
std::string big_endian(uint32_t value);
/// Length, type, data and checksum.
std::string png_chunk(const std::string &type, const std::string &data);
/// The chunk that tells the size.
std::string png_header(Size size, int scale);
/// The data of a chunk of pixels.
std::string png_pixels(const Picture &picture, int scale, Deflate deflate);

} // namespace panel
