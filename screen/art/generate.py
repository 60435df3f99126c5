#!/usr/bin/env python3
# Turns the sheets of this folder (font_16.txt, font_8.txt, images.txt) into C for LVGL 6:
#
#     generate.py SHEET_DIR OUT_DIR
#
# writes font_16.c, font_32.c, font_8.c and images.c. font_32 has no sheet: it is font_16 with every pixel
# doubled. Each sheet explains its own format in its head. A mistake in a sheet ends the run with
# "SHEET:LINE: what is wrong". The same sheets always give the same bytes.

import os
import re
import sys


class SheetError(Exception):
    def __init__(self, path, line, what):
        super().__init__(f"{os.path.basename(path)}:{line}: {what}")


class Drawing:
    """A glyph or an image: the words of its heading line, and its rows of '#' and '.'."""

    def __init__(self, line, words):
        self.line, self.words, self.rows = line, words, []

    @property
    def width(self):
        return len(self.rows[0]) if self.rows else 0

    def bits(self):
        return "".join(self.rows).replace("#", "1").replace(".", "0")


# ---- Reading the sheets -----------------------------------------------------------------------------

def read_sheet(path, heading):
    """Returns the settings above the first drawing, as word: value, and the drawings."""
    settings, drawings = {}, []
    with open(path, "rb") as sheet:
        for number, line in enumerate(sheet, 1):
            text = read_text(path, number, line).rstrip()
            if not text or text.startswith(";"):
                continue
            words = text.split()
            if words[0] == heading:
                drawings.append(Drawing(number, words[1:]))
            elif drawings and set(text) <= {"#", "."}:
                add_row(path, number, drawings[-1], text)
            elif drawings and heading == "image" and words[0] == "palette" and not drawings[-1].rows:
                refuse_second(path, number, "palette", vars(drawings[-1]))
                drawings[-1].palette = read_palette(path, number, text)
            elif not drawings and heading == "glyph" and words[0] in ("line-height", "base-line"):
                refuse_second(path, number, words[0], settings)
                settings[words[0]] = read_number(path, number, words[1:], words[0])
            else:
                raise SheetError(path, number, f'expected "{heading} NAME", a row of "#" and "." or a '
                                               f'comment, not "{text}"')
    if not drawings:
        raise SheetError(path, 1, f"no {heading} in this sheet")
    return settings, drawings


def read_text(path, number, line):
    try:
        return line.decode("utf-8")
    except UnicodeDecodeError:
        raise SheetError(path, number, "this line is no UTF-8") from None


def refuse_second(path, number, word, given):
    if word in given:
        raise SheetError(path, number, f"{word} stands here a second time")


def add_row(path, number, drawing, row):
    if drawing.rows and len(row) != drawing.width:
        raise SheetError(path, number, f"this row is {len(row)} wide, the rows above it {drawing.width}")
    drawing.rows.append(row)


def read_number(path, line, words, what):
    if len(words) != 1 or not re.fullmatch(r"-?[0-9]{1,3}", words[0]):
        raise SheetError(path, line, f"{what} needs one whole number")
    return int(words[0])


def read_palette(path, line, text):
    entries = re.fullmatch(r"palette((?: [0-9a-fA-F]{2}){4}) /((?: [0-9a-fA-F]{2}){4})", text)
    if not entries:
        raise SheetError(path, line, 'a palette is "palette BB GG RR AA / BB GG RR AA" in hexadecimal')
    return bytes.fromhex("".join(entries.groups()))


# ---- Fonts ------------------------------------------------------------------------------------------

class Font:
    def __init__(self, line_height, base_line, glyphs):
        self.line_height, self.base_line, self.glyphs = line_height, base_line, glyphs


def read_font(path):
    settings, glyphs = read_sheet(path, "glyph")
    for name in ("line-height", "base-line"):
        if name not in settings:
            raise SheetError(path, glyphs[0].line, f"{name} must stand before the first glyph")
    font = Font(settings["line-height"], settings["base-line"], glyphs)
    for glyph in glyphs:
        read_glyph_heading(path, glyph)
        check_glyph(path, glyph, font)
    for before, glyph in zip(glyphs, glyphs[1:]):
        if glyph.code <= before.code:
            raise SheetError(path, glyph.line, f'"{glyph.words[0]}" does not come after "{before.words[0]}"')
    return font


def read_glyph_heading(path, glyph):
    if not glyph.words:
        raise SheetError(path, glyph.line, "the glyph has no name")
    name, rest = glyph.words[0], glyph.words[1:]
    if name == "space":
        glyph.code = ord(" ")
    elif re.fullmatch(r"U\+[0-9A-Fa-f]{1,6}", name):
        glyph.code = int(name[2:], 16)
    elif len(name) == 1:
        glyph.code = ord(name)
    else:
        raise SheetError(path, glyph.line, f'"{name}" is neither one character nor "space" nor U+hexadecimal')

    given = {}
    for word, value in zip(rest[0::2], rest[1::2]):
        if word not in ("advance", "left", "bottom"):
            raise SheetError(path, glyph.line, f'"{word}" is none of advance, left and bottom')
        refuse_second(path, glyph.line, word, given)
        given[word] = read_number(path, glyph.line, [value], word)
    if len(rest) % 2 or "advance" not in given:
        raise SheetError(path, glyph.line, "a glyph needs: NAME advance A [left L] [bottom B]")
    glyph.advance, glyph.left, glyph.bottom = given["advance"], given.get("left", 0), given.get("bottom", 0)


def check_glyph(path, glyph, font):
    top = glyph.bottom + len(glyph.rows) - 1
    lowest, highest = -font.base_line, font.line_height - font.base_line - 1
    if glyph.rows and (glyph.bottom < lowest or top > highest):
        raise SheetError(path, glyph.line, f'"{glyph.words[0]}" leaves its line: it covers the rows '
                                           f"{glyph.bottom} to {top}, the line has {lowest} to {highest}")
    if glyph.advance < 1 or glyph.left < 0 or glyph.left + glyph.width > glyph.advance:
        raise SheetError(path, glyph.line, f'"{glyph.words[0]}" is wider than its advance {glyph.advance}')


def doubled(font):
    """The same font with every pixel drawn two by two."""
    glyphs = []
    for small in font.glyphs:
        glyph = Drawing(small.line, small.words)
        glyph.code = small.code
        glyph.advance, glyph.left, glyph.bottom = small.advance * 2, small.left * 2, small.bottom * 2
        for row in small.rows:
            glyph.rows += ["".join(pixel * 2 for pixel in row)] * 2
        glyphs.append(glyph)
    return Font(font.line_height * 2, font.base_line * 2, glyphs)


def ranges(glyphs):
    """Runs of consecutive codes, as (first code, glyph ids). Id 0 is LVGL's "no such glyph"."""
    runs = []
    for glyph_id, glyph in enumerate(glyphs, 1):
        if runs and glyph.code == runs[-1][0] + len(runs[-1][1]):
            runs[-1][1].append(glyph_id)
        else:
            runs.append((glyph.code, [glyph_id]))
    return runs


def font_c(name, sheet, font):
    bitmaps, descriptors = [], []
    index = 0
    for glyph in font.glyphs:
        data = packed(glyph.bits())
        label = f"U+{glyph.code:04X}" if glyph.code <= 0x20 or glyph.code >= 0x7F else f"'{glyph.words[0]}'"
        if data:
            bitmaps.append(f"    /* {label} */\n{hex_lines(data)}")
        descriptors.append(f"    {{.bitmap_index = {index}, .adv_w = {glyph.advance * 16}, "
                           f".box_w = {glyph.width}, .box_h = {len(glyph.rows)}, "
                           f".ofs_x = {glyph.left}, .ofs_y = {glyph.bottom}}}, /* {label} */")
        index += len(data)
    return FONT_C.format(name=name, sheet=sheet, bitmaps="\n".join(bitmaps),
                         descriptors="\n".join(descriptors), maps=maps_c(font),
                         line_height=font.line_height, base_line=font.base_line)


def maps_c(font):
    lists, maps = [], []
    for number, (first, ids) in enumerate(ranges(font.glyphs)):
        lists.append(f"static const uint8_t ids_{number}[] = {{\n{number_lines(ids + [0])}\n}};")
        maps.append(f"    {{.range_start = 0x{first:02X}, .range_length = {len(ids)}, .glyph_id_start = 0,\n"
                    f"     .glyph_id_ofs_list = ids_{number}, .list_length = {len(ids) + 1}, "
                    ".type = LV_FONT_FMT_TXT_CMAP_FORMAT0_FULL},")
    table = "static const lv_font_fmt_txt_cmap_t maps[] = {\n" + "\n".join(maps) + "\n};"
    return "\n".join(lists) + "\n\n" + table


FONT_C = """\
/* Made from screen/art/{sheet} by generate.py: change the sheet, not this file. */
#include "lvgl.h"

static const uint8_t bitmaps[] = {{
{bitmaps}
}};

static const lv_font_fmt_txt_glyph_dsc_t glyphs[] = {{
    {{.bitmap_index = 0}}, /* id 0: no such glyph */
{descriptors}
}};

/* LVGL looks one code beyond the end of each range, so every list ends with id 0. */
{maps}

/* Writable: LVGL keeps the last letter it looked up in here. */
static lv_font_fmt_txt_dsc_t descriptor = {{
    .glyph_bitmap = bitmaps,
    .glyph_dsc = glyphs,
    .cmaps = maps,
    .cmap_num = sizeof maps / sizeof maps[0],
    .bpp = 1,
    .bitmap_format = LV_FONT_FMT_TXT_PLAIN,
}};

lv_font_t {name} = {{
    .get_glyph_dsc = lv_font_get_glyph_dsc_fmt_txt,
    .get_glyph_bitmap = lv_font_get_bitmap_fmt_txt,
    .line_height = {line_height},
    .base_line = {base_line},
    .subpx = LV_FONT_SUBPX_NONE,
    .dsc = &descriptor,
}};
"""


# ---- Images -----------------------------------------------------------------------------------------

BLACK_AND_WHITE = bytes.fromhex("000000FF FFFFFFFF")


def read_images(path):
    _, images = read_sheet(path, "image")
    names = set()
    for image in images:
        if len(image.words) != 1 or not re.fullmatch(r"[a-z][a-z0-9_]*", image.words[0]):
            raise SheetError(path, image.line, "an image needs one name in lower case, fit for C")
        if image.words[0] in names:
            raise SheetError(path, image.line, f"{image.words[0]} stands here a second time")
        if not image.rows:
            raise SheetError(path, image.line, f"{image.words[0]} has no rows")
        names.add(image.words[0])
    return images


def image_c(image):
    name = image.words[0]
    palette = getattr(image, "palette", BLACK_AND_WHITE)
    rows = [packed(row.replace("#", "1").replace(".", "0")) for row in image.rows]
    size = len(palette) + sum(map(len, rows))
    lines = "\n".join(hex_lines(data) for data in [palette] + rows)
    return IMAGE_C.format(name=name, lines=lines, width=image.width, height=len(rows), size=size)


IMAGES_C_HEAD = """\
/* Made from screen/art/images.txt by generate.py: change the sheet, not this file. */
#include "lvgl.h"
"""

# Aligned because LVGL reads the palette as 32-bit colours.
IMAGE_C = """
static const _Alignas(4) uint8_t {name}_data[] = {{
{lines}
}};

const lv_img_dsc_t {name} = {{
    .header = {{.cf = LV_IMG_CF_INDEXED_1BIT, .w = {width}, .h = {height}}},
    .data_size = {size},
    .data = {name}_data,
}};
"""


# ---- Writing ----------------------------------------------------------------------------------------

def packed(bits):
    """Bytes of a string of 0 and 1, the first bit highest, the last byte filled up with 0."""
    bits += "0" * (-len(bits) % 8)
    return bytes(int(bits[at:at + 8], 2) for at in range(0, len(bits), 8))


def hex_lines(data):
    parts = [data[at:at + 12] for at in range(0, len(data), 12)]
    return "\n".join("    " + " ".join(f"0x{byte:02X}," for byte in part) for part in parts)


def number_lines(numbers):
    parts = [numbers[at:at + 16] for at in range(0, len(numbers), 16)]
    return "\n".join("    " + " ".join(f"{number}," for number in part) for part in parts)


def write(out_dir, name, text):
    with open(os.path.join(out_dir, name), "w", encoding="utf-8", newline="\n") as out:
        out.write(text)


def main(sheet_dir, out_dir):
    font_16 = read_font(os.path.join(sheet_dir, "font_16.txt"))
    font_8 = read_font(os.path.join(sheet_dir, "font_8.txt"))
    images = read_images(os.path.join(sheet_dir, "images.txt"))

    os.makedirs(out_dir, exist_ok=True)
    write(out_dir, "font_16.c", font_c("font_16", "font_16.txt", font_16))
    write(out_dir, "font_32.c", font_c("font_32", "font_16.txt", doubled(font_16)))
    write(out_dir, "font_8.c", font_c("font_8", "font_8.txt", font_8))
    write(out_dir, "images.c", IMAGES_C_HEAD + "".join(image_c(image) for image in images))


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit("usage: generate.py SHEET_DIR OUT_DIR")
    try:
        main(sys.argv[1], sys.argv[2])
    except (SheetError, OSError) as error:
        sys.exit(str(error))
