"""Reads a 1-bit greyscale PNG: as a program, from the file named first, and prints it as plain PBM, 1 for white.

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


def decode_png(png):
    """Rows of '0' and '1'."""
    assert png[:8] == b"\x89PNG\r\n\x1a\n", "signature"
    parts = list(chunks(png))
    assert [kind for kind, _ in parts] == [b"IHDR", b"IDAT", b"IEND"], "chunks"
    width, height, *form = struct.unpack(">IIBBBBB", parts[0][1])
    assert form == [1, 0, 0, 0, 0], "depth, colour, compression, filter method, interlace"
    inflater = zlib.decompressobj()
    lines = inflater.decompress(parts[1][1])
    assert inflater.eof and not inflater.unused_data, "zlib stream"
    stride = 1 + (width + 7) // 8
    assert len(lines) == stride * height and not any(lines[::stride]), "length, filters"
    return ["".join(f"{byte:08b}" for byte in lines[y * stride + 1:(y + 1) * stride])[:width] for y in range(height)]


def main():
    with open(sys.argv[1], "rb") as file:
        rows = decode_png(file.read())
    print(f"P1\n# 1 is a lit pixel of the panel\n{len(rows[0])} {len(rows)}")
    print("\n".join(rows))


if __name__ == "__main__":
    main()
