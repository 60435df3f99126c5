// Pictures as text: each kind of marks by hand, and what fits where.
#include <algorithm>

#include <gtest/gtest.h>

#include "panel/drawing.h"

using namespace panel;

using Lines = std::vector<std::string>;

// All pixels lit, or those of the layout's rows.
static Picture lit_frame(Size size, int rows) {
    Picture frame(size);
    for (int i = 0; i < size.width * rows; i++) frame.set(i % size.width, i / size.width, true);
    return frame;
}

static Picture lit_frame(Size size) { return lit_frame(size, size.height); }

TEST(Drawn, HalfBlocksShowTwoRowsALine) {
    EXPECT_EQ(drawn(Picture::from_pbm("P1\n4 3\n0011\n0101\n0011\n"), Marks::half_blocks), " ▄▀█\n  ▀▀\n");
}

TEST(Drawn, AsciiShowsTwoRowsALine) {
    EXPECT_EQ(drawn(Picture::from_pbm("P1\n4 3\n0011\n0101\n0011\n"), Marks::ascii), " .':\n  ''\n");
}

// Each of the eight dots has a bit of its own: 1 2 3 7 down the left column, 4 5 6 8 down the right one.
TEST(Drawn, EachBrailleDotIsInItsPlace) {
    const char *const dots[] = {"⠁", "⠈", "⠂", "⠐", "⠄", "⠠", "⡀", "⢀"};
    for (int i = 0; i < 8; i++) {
        Picture frame = lit_frame({2, 4}, 0);
        frame.set(i % 2, i / 2, true);
        EXPECT_EQ(drawn(frame, Marks::braille), std::string(dots[i]) + "\n");
    }
    EXPECT_EQ(drawn(lit_frame({3, 5}), Marks::braille), "⣿⡇\n⠉⠁\n");
    EXPECT_EQ(drawn(lit_frame({2, 4}, 0), Marks::braille), "⠀\n");
}

TEST(Drawn, CoarseLettersLookLikeTheirPixels) {
    const auto letter = [](const std::string &pixels) {
        return drawn(Picture::from_pbm("P1\n2 4\n" + pixels), Marks::coarse_ascii).substr(0, 1);
    };
    EXPECT_EQ(letter("00 00 00 00"), " ");
    EXPECT_EQ(letter("11 11 11 11"), "#");
    EXPECT_EQ(letter("10 10 10 11"), "L");
    EXPECT_EQ(letter("10 10 10 10"), "|");
    EXPECT_EQ(letter("00 00 00 11"), "_");
    EXPECT_EQ(letter("11 00 00 00"), "^");
    EXPECT_EQ(letter("01 01 10 10"), "/");
    EXPECT_EQ(letter("10 10 01 01"), "\\");
}

TEST(Drawn, OnlyDarkCellsAreBlankInLetters) {
    for (unsigned pixels = 1; pixels < 256; pixels++) {
        Picture frame = lit_frame({2, 4}, 0);
        for (int i = 0; i < 8; i++) frame.set(i % 2, i / 2, (pixels >> i & 1) != 0);
        const std::string text = drawn(frame, Marks::coarse_ascii);
        EXPECT_EQ(text.size(), 2u);
        EXPECT_GT(text[0], ' ') << pixels;
        EXPECT_LE(text[0], '~') << pixels;
    }
}

/* ---- fitting ---- */

static size_t characters(const std::string &line) {
    return static_cast<size_t>(std::count_if(line.begin(), line.end(), [](char c) { return (c & 0xc0) != 0x80; }));
}

TEST(Fitted, TakesTheLargestMarksThatFit) {
    const Picture device = lit_frame(DEVICE_SIZE, 66);
    EXPECT_EQ(fitted(device, Style::fitting, {64, 64}).lines.size(), 64u);
    EXPECT_EQ(fitted(device, Style::fitting, {33, 64}).lines.size(), 33u) << "what matters still fits in blocks";
    EXPECT_EQ(fitted(device, Style::fitting, {33, 64}).lines[0].substr(0, 3), "█");
    EXPECT_EQ(fitted(device, Style::fitting, {32, 64}).lines[0].substr(0, 3), "⣿");
    EXPECT_EQ(fitted(device, Style::fitting, {33, 63}).lines[0].substr(0, 3), "⣿");
    const Picture layout = lit_frame(LAYOUT_SIZE);
    EXPECT_EQ(fitted(layout, Style::fitting, {24, 128}).lines.size(), 17u);
    EXPECT_EQ(fitted(layout, Style::fitting, {33, 128}).lines.size(), 33u);
    EXPECT_EQ(fitted(layout, Style::fitting, {33, 80}).lines.size(), 17u);
}

TEST(Fitted, RowsBelowTheLayoutMatterWhenTheyAreLit) {
    EXPECT_EQ(rows_that_matter(lit_frame(DEVICE_SIZE, 0)), 66);
    EXPECT_EQ(rows_that_matter(lit_frame(DEVICE_SIZE, 66)), 66);
    EXPECT_EQ(rows_that_matter(lit_frame(DEVICE_SIZE, 67)), 67);
    EXPECT_EQ(rows_that_matter(lit_frame(DEVICE_SIZE)), 128);
    EXPECT_EQ(rows_that_matter(lit_frame({64, 40}, 0)), 40);
    Picture last_pixel = lit_frame(DEVICE_SIZE, 0);
    last_pixel.set(63, 127, true);
    EXPECT_EQ(rows_that_matter(last_pixel), 128);
    EXPECT_EQ(fitted(lit_frame(DEVICE_SIZE, 67), Style::fitting, {33, 64}).lines[0].substr(0, 3), "⣿");
}

TEST(Fitted, NeverExceedsItsPlace) {
    for (const Size size : {DEVICE_SIZE, LAYOUT_SIZE, Size{1, 1}, Size{65, 67}}) {
        for (const Style style : {Style::fitting, Style::half_blocks, Style::braille, Style::ascii}) {
            for (const Place place : {Place{24, 80}, {12, 40}, {1, 1}, {0, 0}, {-3, 7}, {17, 63}, {100, 10}}) {
                const Drawing drawing = fitted(lit_frame(size), style, place);
                EXPECT_LE(static_cast<int>(drawing.lines.size()), std::max(place.lines, 0));
                for (const std::string &line : drawing.lines) {
                    EXPECT_LE(static_cast<int>(characters(line)), place.columns);
                }
            }
        }
    }
}

TEST(Fitted, TellsWhatIsSeen) {
    const Drawing whole = fitted(lit_frame(DEVICE_SIZE, 66), Style::fitting, {23, 80});
    EXPECT_TRUE(whole.whole);
    EXPECT_EQ(whole.seen.height, 92);
    const Drawing low = fitted(lit_frame(DEVICE_SIZE, 66), Style::fitting, {11, 40});
    EXPECT_FALSE(low.whole);
    EXPECT_EQ(low.seen.width, 64);
    EXPECT_EQ(low.seen.height, 44);
    const Drawing narrow = fitted(lit_frame(LAYOUT_SIZE), Style::fitting, {23, 40});
    EXPECT_FALSE(narrow.whole);
    EXPECT_EQ(narrow.seen.width, 80);
    EXPECT_FALSE(fitted(lit_frame(DEVICE_SIZE), Style::fitting, {23, 80}).whole) << "all of it is lit";
}

TEST(Fitted, CutsOnTheRightAndBelow) {
    const Picture frame = Picture::from_pbm("P1\n4 4\n1100\n0000\n0011\n0011\n");
    EXPECT_EQ(fitted(frame, Style::half_blocks, {2, 4}).lines, (Lines{"▀▀  ", "  ██"}));
    EXPECT_EQ(fitted(frame, Style::half_blocks, {1, 3}).lines, (Lines{"▀▀ "}));
    EXPECT_EQ(fitted(frame, Style::braille, {1, 1}).lines, (Lines{"⠉"}));
}

TEST(Fitted, KeepsTheStyleThatWasAskedFor) {
    const Picture layout = lit_frame(LAYOUT_SIZE);
    EXPECT_EQ(fitted(layout, Style::half_blocks, {24, 80}).lines[0].substr(0, 3), "█");
    EXPECT_EQ(fitted(layout, Style::braille, {200, 200}).lines[0].substr(0, 3), "⣿");
    EXPECT_EQ(fitted(layout, Style::ascii, {200, 200}).lines[0], std::string(128, ':'));
    EXPECT_EQ(fitted(layout, Style::ascii, {24, 80}).lines[0], std::string(64, '#'));
}

TEST(Fitted, TellsHowFewLinesItCanDoWith) {
    EXPECT_EQ(fewest_lines(lit_frame(DEVICE_SIZE, 66), Style::fitting), 17);
    EXPECT_EQ(fewest_lines(lit_frame(DEVICE_SIZE), Style::fitting), 32);
    EXPECT_EQ(fewest_lines(lit_frame(LAYOUT_SIZE), Style::half_blocks), 33);
    EXPECT_EQ(fewest_lines(lit_frame(LAYOUT_SIZE), Style::ascii), 17);
}

TEST(Fitted, IsWholeWithoutATerminal) {
    EXPECT_EQ(fitted(lit_frame(DEVICE_SIZE), Style::fitting, UNLIMITED).lines.size(), 64u);
    EXPECT_EQ(characters(fitted(lit_frame({4096, 2}), Style::fitting, UNLIMITED).lines[0]), 4096u);
}
