"""Reads a 1-bit greyscale PNG from the file named first and prints it as plain PBM, 1 for white.

Stands in for a viewer: it trusts nothing of the encoder under test and ends with an error on any flaw.
"""
import struct
import sys
import zlib


def chunks(data):
    position = 8
    while position < len(data):
        length, kind = struct.unpack(">I4s", data[position:position + 8])
        body = data[position + 8:position + 8 + length]
        (crc,) = struct.unpack(">I", data[position + 8 + length:position + 12 + length])
        assert crc == zlib.crc32(kind + body), f"checksum of {kind}"
        position += 12 + length
        yield kind, body


with open(sys.argv[1], "rb") as file:
    png = file.read()
assert png[:8] == b"\x89PNG\r\n\x1a\n", "signature"
parts = list(chunks(png))
assert [kind for kind, _ in parts] == [b"IHDR", b"IDAT", b"IEND"], "chunks"
width, height, depth, colour, compression, filtering, interlace = struct.unpack(">IIBBBBB", parts[0][1])
assert (depth, colour, compression, filtering, interlace) == (1, 0, 0, 0, 0), "header"
inflater = zlib.decompressobj()
lines = inflater.decompress(parts[1][1])
assert inflater.eof and not inflater.unused_data, "zlib stream"
stride = 1 + (width + 7) // 8
assert len(lines) == stride * height, "length"
print(f"P1\n# 1 is a lit pixel of the panel\n{width} {height}")
for row in range(height):
    line = lines[row * stride:(row + 1) * stride]
    assert line[0] == 0, "filter"
    print("".join(str(line[1 + x // 8] >> 7 - x % 8 & 1) for x in range(width)))
