#!/usr/bin/env python3
"""The generator of the fonts and pictures: what it makes of small sheets, and each mistake in one that it refuses.

In the sheets of the refusals the guilty line ends with "<-"; the mark is taken off before the sheet is read.
"""

import importlib.util
import os
import re
import subprocess
import sys
import tempfile
import unittest

ART = os.environ.get("ART_DIR") or os.path.join(os.path.dirname(__file__), "..", "..", "screen", "art")
PROGRAM = os.path.join(ART, "generate.py")

found = importlib.util.spec_from_file_location("generate", PROGRAM)
generate = importlib.util.module_from_spec(found)
found.loader.exec_module(generate)

FONT = """\
; A letter with a descender, two neighbours, and one far away.
line-height 5
base-line 2

glyph space advance 2

glyph A advance 4 left 1 bottom -2
##.
..#

glyph B advance 9
#.......#

glyph U+00e4 advance 1
#
"""

IMAGES = """\
image wide
#.......#
.........

image grey_2
palette 0a 02 0B FF / fc FE fc FF
#
"""


class Folder:
    """The three sheets in a folder of their own, and the folder for what is made of them."""

    def __init__(self, test, **texts):
        self.folder = tempfile.TemporaryDirectory()
        test.addCleanup(self.folder.cleanup)
        self.out = os.path.join(self.folder.name, "new", "out")
        sheets = {"font_16": FONT, "font_8": FONT, "images": IMAGES}
        for name, text in {**sheets, **texts}.items():
            with open(self.sheet(name), "wb") as file:
                file.write(text if isinstance(text, bytes) else text.encode())

    def sheet(self, name):
        return os.path.join(self.folder.name, name + ".txt")

    def generate(self):
        generate.main(self.folder.name, self.out)

    def made(self, name):
        with open(os.path.join(self.out, name), encoding="utf-8") as file:
            return file.read()


class SheetTest(unittest.TestCase):
    def made_of(self, **texts):
        folder = Folder(self, **texts)
        folder.generate()
        return folder


# ---- What is made ----

class FontC:
    """What a font's C says, read back."""

    def __init__(self, text):
        self.metrics = [int(re.search(rf"\.{word} = (\d+),", text)[1]) for word in ("line_height", "base_line")]
        bitmaps = re.search(r"bitmaps\[\] = \{(.*?)\};", text, re.S)[1]
        self.bytes = bytes.fromhex("".join(re.findall(r"0x(..),", bitmaps)))
        glyphs = re.search(r"glyphs\[\] = \{(.*?)\n\};", text, re.S)[1]
        words = "bitmap_index", "adv_w", "box_w", "box_h", "ofs_x", "ofs_y"
        self.glyphs = [tuple(int(number) for number in found) for found in
                       re.findall(r"\{" + ", ".join(rf"\.{word} = (-?\d+)" for word in words) + r"\}", glyphs)]
        self.lists = {name: [int(number) for number in numbers.split(",") if number.strip()] for name, numbers in
                      re.findall(r"uint8_t (ids_\d+)\[\] = \{(.*?)\};", text, re.S)}
        self.maps = re.findall(r"range_start = (0x\w+), \.range_length = (\d+), \.glyph_id_start = (\d+),\s*"
                               r"\.glyph_id_ofs_list = (\w+), \.list_length = (\d+), \.type = (\w+)", text)


class Fonts(SheetTest):
    def test_a_font_has_its_metrics_glyphs_and_bits(self):
        for name in "font_16", "font_8":
            font = FontC(self.made_of().made(name + ".c"))
            self.assertEqual(font.metrics, [5, 2])
            # index, advance in sixteenths, width, height, left, bottom
            self.assertEqual(font.glyphs, [(0, 32, 0, 0, 0, 0), (0, 64, 3, 2, 1, -2), (1, 144, 9, 1, 0, 0),
                                           (3, 16, 1, 1, 0, 0)])
            # 110 001 and two filling bits; 1000'0000 1 and seven; 1 and seven.
            self.assertEqual(font.bytes.hex(" "), "c4 80 80 80")

    def test_font_32_is_font_16_doubled(self):
        other = FONT.replace("##.", ".##")
        font = FontC(self.made_of(font_8=other).made("font_32.c"))
        self.assertEqual(font.metrics, [10, 4])
        self.assertEqual(font.glyphs, [(0, 64, 0, 0, 0, 0), (0, 128, 6, 4, 2, -4), (3, 288, 18, 2, 0, 0),
                                       (8, 32, 2, 2, 0, 0)])
        # 111100 twice, 000011 twice; 11 14 x 0 11 twice; 11 twice.
        self.assertEqual(font.bytes.hex(" "), "f3 c0 c3" + " c0 00 f0 00 30" + " f0")

    def test_each_run_of_codes_is_a_range_with_a_last_entry_for_no_glyph(self):
        for name in "font_16", "font_32", "font_8":
            font = FontC(self.made_of().made(name + ".c"))
            full = "LV_FONT_FMT_TXT_CMAP_FORMAT0_FULL"
            self.assertEqual(font.maps, [("0x20", "1", "0", "ids_0", "2", full), ("0x41", "2", "0", "ids_1", "3", full),
                                         ("0xE4", "1", "0", "ids_2", "2", full)])
            self.assertEqual(font.lists, {"ids_0": [1, 0], "ids_1": [2, 3, 0], "ids_2": [4, 0]})

    def test_a_long_range_keeps_its_order(self):
        sheet = "line-height 1\nbase-line 0\n"
        sheet += "".join(f"glyph U+{code:X} advance 1\n#\n" for code in range(0x100, 0x100 + 40))
        font = FontC(self.made_of(font_8=sheet).made("font_8.c"))
        self.assertEqual(font.lists, {"ids_0": list(range(1, 41)) + [0]})
        self.assertEqual([glyph[0] for glyph in font.glyphs], list(range(40)))
        self.assertEqual(font.bytes, b"\x80" * 40)

    def test_a_large_glyph_keeps_all_its_bytes(self):
        rows = [f"{0x10101 * row:024b}".replace("0", ".").replace("1", "#") for row in range(1, 31)]
        sheet = "line-height 30\nbase-line 0\nglyph A advance 24\n" + "\n".join(rows)
        font = FontC(self.made_of(font_8=sheet).made("font_8.c"))
        self.assertEqual(font.bytes, bytes(row for row in range(1, 31) for _ in range(3)))

    def test_a_name_is_the_character_or_its_code(self):
        for name, code in (("space", "0x20"), (";", "0x3B"), ("#", "0x23"), (".", "0x2E"), ("U+41", "0x41"),
                           ("U+00df", "0xDF"), ("\u00df", "0xDF"), ("U+1F697", "0x1F697"), ("U+7F", "0x7F")):
            sheet = f"line-height 1\nbase-line 0\nglyph {name} advance 1\n#\n"
            font = FontC(self.made_of(font_8=sheet).made("font_8.c"))
            self.assertEqual([one[0] for one in font.maps], [code], name)

    def test_comments_blank_lines_and_blanks_at_the_end_mean_nothing(self):
        spread = FONT.replace("\n", "  \t\r\n\n;##\n; glyph C\n")
        self.assertEqual(self.made_of(font_16=spread).made("font_16.c"), self.made_of().made("font_16.c"))

    def test_the_words_of_a_heading_come_in_any_order(self):
        turned = FONT.replace("advance 4 left 1 bottom -2", "bottom -2 advance 4 left 1")
        self.assertEqual(self.made_of(font_16=turned).made("font_16.c"), self.made_of().made("font_16.c"))

    def test_a_glyph_may_fill_its_line_and_its_advance(self):
        sheet = "line-height 5\nbase-line 2\nglyph A advance 3 left 1 bottom -2\n" + "##\n" * 5
        font = FontC(self.made_of(font_8=sheet).made("font_8.c"))
        self.assertEqual(font.glyphs, [(0, 48, 2, 5, 1, -2)])


class Images(SheetTest):
    def image(self, name, **texts):
        text = self.made_of(**texts).made("images.c")
        data = re.search(rf"static const _Alignas\(4\) uint8_t {name}_data\[\] = \{{(.*?)\}};", text, re.S)[1]
        head = re.search(rf"const lv_img_dsc_t {name} = \{{\s*\.header = \{{\.cf = LV_IMG_CF_INDEXED_1BIT, "
                         rf"\.w = (\d+), \.h = (\d+)\}},\s*\.data_size = (\d+),\s*\.data = {name}_data,", text)
        return [int(number) for number in head.groups()], "".join(re.findall("0x(..),", data))

    def test_an_image_is_its_palette_and_its_rows_each_of_whole_bytes(self):
        self.assertEqual(self.image("wide"), ([9, 2, 12], "000000FFFFFFFFFF" + "8080" + "0000"))

    def test_a_palette_may_be_given(self):
        self.assertEqual(self.image("grey_2"), ([1, 1, 9], "0A020BFFFCFEFCFF" + "80"))

    def test_rows_keep_their_order(self):
        rows = ["".join("#" if column == row else "." for column in range(8)) for row in range(8)]
        self.assertEqual(self.image("slope", images="image slope\n" + "\n".join(rows))[1][16:], "8040201008040201")


# ---- What is refused ----

EXPECTED_GLYPH = 'expected "glyph NAME", a row of "#" and "." or a comment, not '
EXPECTED_IMAGE = 'expected "image NAME", a row of "#" and "." or a comment, not '
A_PALETTE_IS = 'a palette is "palette BB GG RR AA / BB GG RR AA" in hexadecimal'
HEAD = "line-height 5\nbase-line 2\n"


class Refusals(SheetTest):
    def expect_refusal(self, sheet, text, what):
        lines = text.split("\n")
        guilty = [number for number, line in enumerate(lines, 1) if line.endswith("<-")]
        folder = Folder(self, **{sheet: "\n".join(line[:-2] if line.endswith("<-") else line for line in lines)})
        with self.subTest(sheet=sheet, text=text):
            with self.assertRaises(generate.SheetError) as refused:
                folder.generate()
            self.assertEqual(str(refused.exception), f"{sheet}.txt:{guilty[0]}: {what}")
            self.assertFalse(os.path.exists(folder.out), "nothing is written of a set of sheets with a mistake")

    def font(self, text, what):
        for sheet in "font_16", "font_8":
            self.expect_refusal(sheet, text, what)

    def images(self, text, what):
        self.expect_refusal("images", text, what)

    # Both kinds of sheet

    def test_a_line_that_is_none_of_the_known_ones(self):
        for line in "hello", "#x#", " ##", "## ##", "palette 00 00 00 FF / FF FF FF FF", "image a", "Glyph A", "glyphA":
            self.font(HEAD + f"glyph A advance 4\n{line}<-\n", EXPECTED_GLYPH + f'"{line}"')
        for line in "hello", "#x#", " ##", "line-height 5", "base-line 2", "glyph A advance 4":
            self.images(f"image a\n#\n{line}<-\n", EXPECTED_IMAGE + f'"{line}"')

    def test_a_row_before_the_first_drawing(self):
        self.font(HEAD + "##<-\nglyph A advance 4\n##\n", EXPECTED_GLYPH + '"##"')
        self.images("##<-\nimage a\n##\n", EXPECTED_IMAGE + '"##"')
        for line in "palette 00 00 00 FF / FF FF FF FF", "line-height 5", "base-line 2":
            self.images(f"{line}<-\nimage a\n#\n", EXPECTED_IMAGE + f'"{line}"')

    def test_a_sheet_without_drawings(self):
        self.font("<-", "no glyph in this sheet")
        self.font("; nothing<-\n" + HEAD, "no glyph in this sheet")
        self.images("<-", "no image in this sheet")
        self.images("; nothing<-\n\n", "no image in this sheet")

    def test_a_row_of_another_width(self):
        for row in "#", "###":
            what = f"this row is {len(row)} wide, the rows above it 2"
            self.font(HEAD + f"glyph A advance 4\n##\n##\n{row}<-\n", what)
            self.images(f"image b\n#\nimage a\n##\n; a comment\n{row}<-\n", what)

    def test_bytes_that_are_no_text(self):
        for sheet, text in ("font_16", FONT), ("font_8", FONT), ("images", IMAGES):
            folder = Folder(self, **{sheet: text.encode() + b"; \xff\n"})
            with self.assertRaises(generate.SheetError) as refused:
                folder.generate()
            self.assertEqual(str(refused.exception), f"{sheet}.txt:{text.count(chr(10)) + 1}: this line is no UTF-8")

    # Fonts

    def test_a_setting_without_its_number(self):
        for value in "", " 1 2", " five", " 1.5", " 1000", " -", " 0x5", " +5":
            self.font(f"line-height{value}<-\nbase-line 2\nglyph A advance 1\n", "line-height needs one whole number")
            self.font(f"line-height 5\nbase-line{value}<-\nglyph A advance 1\n", "base-line needs one whole number")

    def test_a_setting_that_is_missing_late_or_there_twice(self):
        self.font("base-line 2\n\nglyph A advance 1<-\n", "line-height must stand before the first glyph")
        self.font("line-height 5\n\nglyph A advance 1<-\n", "base-line must stand before the first glyph")
        self.font("line-height 5\nglyph A advance 1\nbase-line 2<-\n", EXPECTED_GLYPH + '"base-line 2"')
        for word in "line-height", "base-line":
            self.font(HEAD + f"{word} 3<-\nglyph A advance 1\n", f"{word} stands here a second time")

    def test_a_glyph_without_a_name_of_its_kind(self):
        self.font(HEAD + "glyph<-\n", "the glyph has no name")
        for name in "AB", "Space", "U+", "U+G1", "U+1234567", "u+41", "U-41", "0x41":
            self.font(HEAD + f"glyph {name} advance 1<-\n",
                      f'"{name}" is neither one character nor "space" nor U+hexadecimal')

    def test_a_heading_with_a_word_too_many_or_too_few(self):
        needs = "a glyph needs: NAME advance A [left L] [bottom B]"
        for words in "", "advance", "left 1", "left 1 bottom 1", "advance 4 left", "advance 4 left 1 bottom":
            self.font(HEAD + f"glyph A {words}<-\n", needs)
        for word in "width", "Advance", "right", "4":
            self.font(HEAD + f"glyph A advance 4 {word} 1<-\n", f'"{word}" is none of advance, left and bottom')
        for word in "advance", "left", "bottom":
            other = "" if word == "advance" else "advance 4 "
            for value in "x", "1.5", "1000", "--1":
                self.font(HEAD + f"glyph A {other}{word} {value}<-\n", f"{word} needs one whole number")
            self.font(HEAD + f"glyph A {other}{word} 1 {word} 2<-\n", f"{word} stands here a second time")

    def test_a_glyph_that_leaves_its_line(self):
        covers = '"A" leaves its line: it covers the rows {} to {}, the line has -2 to 2'
        for bottom, rows in (-3, 1), (-3, 6), (2, 2), (-2, 6), (3, 1), (0, 4):
            self.font(HEAD + f"glyph A advance 4 bottom {bottom}<-\n" + "#\n" * rows,
                      covers.format(bottom, bottom + rows - 1))

    def test_a_glyph_wider_than_its_advance(self):
        for heading, row in (("advance 1", "##"), ("advance 3 left 2", "##"), ("advance 2 left 3", ""),
                             ("advance 3 left -1", "##"), ("advance 0", ""), ("advance -1", "")):
            advance = heading.split()[1]
            self.font(HEAD + f"glyph A {heading}<-\n{row}\n", f'"A" is wider than its advance {advance}')

    def test_a_glyph_that_stands_twice_or_out_of_order(self):
        for before, after in ("A", "A"), ("A", "U+41"), ("U+20", "space"), ("B", "A"), ("a", "A"), ("A", "!"):
            self.font(HEAD + f"glyph {before} advance 4\n#\n\nglyph {after} advance 4<-\n#\n\nglyph z advance 4\n",
                      f'"{after}" does not come after "{before}"')

    # Pictures

    def test_an_image_without_a_name_fit_for_c(self):
        for name in "", " Icon", " 1st", " a-b", " _a", " a b", " \u00e4", " a.b":
            self.images(f"image{name}<-\n#\n", "an image needs one name in lower case, fit for C")

    def test_an_image_that_stands_twice(self):
        self.images("image a\n#\nimage b\n#\n\nimage a<-\n#\n", "a stands here a second time")

    def test_an_image_without_rows(self):
        self.images("image a<-\nimage b\n#\n", "a has no rows")
        self.images("image b\n#\nimage a<-\npalette 00 00 00 FF / FF FF FF FF\n", "a has no rows")

    def test_a_palette_that_is_none(self):
        for entries in ("", " 00 00 00 FF", " 00 00 00 FF FF FF FF FF", " 00 00 00 / FF FF FF", " 0 0 0 F / F F F F",
                        " 00 00 00 GG / FF FF FF FF", " 00 00 00 FF / FF FF FF FF 00", " 000000FF / FFFFFFFF",
                        " 00 00 00 FF 00 / FF FF FF FF"):
            self.images(f"image a\npalette{entries}<-\n#\n", A_PALETTE_IS)

    def test_a_palette_that_comes_late_or_twice(self):
        palette = "palette 00 00 00 FF / FF FF FF FF"
        self.images(f"image a\n#\n{palette}<-\n#\n", EXPECTED_IMAGE + f'"{palette}"')
        self.images(f"image a\n{palette}\n{palette}<-\n#\n", "palette stands here a second time")


# ---- The program ----

class Program(SheetTest):
    def run_program(self, *arguments, seed="0"):
        return subprocess.run([sys.executable, "-B", PROGRAM, *arguments], capture_output=True, text=True,
                              env={**os.environ, "PYTHONHASHSEED": seed}, check=False)

    def test_writes_four_files_the_same_each_time(self):
        made = []
        for seed in "1", "2":
            with tempfile.TemporaryDirectory() as out:
                result = self.run_program(ART, out, seed=seed)
                self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "", ""))
                files = {}
                for name in os.listdir(out):
                    with open(os.path.join(out, name), "rb") as file:
                        files[name] = file.read()
                made.append(files)
        self.assertEqual(sorted(made[0]), ["font_16.c", "font_32.c", "font_8.c", "images.c"])
        self.assertEqual(made[0], made[1])
        self.assertFalse(any(b"\r" in text for text in made[0].values()))

    def test_files_from_before_are_written_over(self):
        folder = self.made_of()
        for name in os.listdir(folder.out):
            with open(os.path.join(folder.out, name), "w", encoding="utf-8") as file:
                file.write("x" * 100000)
        folder.generate()
        self.assertEqual(folder.made("images.c"), self.made_of().made("images.c"))
        self.assertEqual(folder.made("font_32.c"), self.made_of().made("font_32.c"))

    def test_a_mistake_ends_it_with_one_line(self):
        folder = Folder(self, images=IMAGES + "hello\n")
        result = self.run_program(folder.folder.name, folder.out)
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stderr, f'images.txt:8: {EXPECTED_IMAGE}"hello"\n')
        self.assertFalse(os.path.exists(folder.out))

    def test_a_missing_sheet_is_named(self):
        for name in "font_16", "font_8", "images":
            folder = Folder(self)
            os.remove(folder.sheet(name))
            result = self.run_program(folder.folder.name, folder.out)
            self.assertEqual(result.returncode, 1)
            self.assertIn(folder.sheet(name), result.stderr)
            self.assertNotIn("Traceback", result.stderr)
            self.assertFalse(os.path.exists(folder.out))

    def test_a_folder_that_can_not_be_made_is_named(self):
        folder = Folder(self)
        result = self.run_program(folder.folder.name, folder.sheet("images"))
        self.assertEqual(result.returncode, 1)
        self.assertIn(folder.sheet("images"), result.stderr)
        self.assertNotIn("Traceback", result.stderr)

    def test_other_command_lines_are_told_the_right_one(self):
        for arguments in (), ("a",), ("a", "b", "c"):
            result = self.run_program(*arguments)
            self.assertEqual((result.returncode, result.stderr), (1, "usage: generate.py SHEET_DIR OUT_DIR\n"))


if __name__ == "__main__":
    unittest.main()
