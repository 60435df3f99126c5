#include "panel/drawing.h"

#include <algorithm>

namespace panel {

// Pixels of one character, from the left and then from the top; the first one is bit 0.
struct Cell {
    int columns;
    int rows;
};

static Cell cell_of(Marks marks) {
    const bool large = marks == Marks::braille || marks == Marks::coarse_ascii;
    return large ? Cell{2, 4} : Cell{1, 2};
}

// ---- Characters ----

// U+2800 and one bit for each of the eight dots, as UTF-8.
static std::string braille(unsigned pixels) {
    constexpr int dots[] = {0, 3, 1, 4, 2, 5, 6, 7}; // Braille counts down its columns, and the last row extra
    unsigned pattern = 0;
    for (int i = 0; i < 8; i++) pattern |= (pixels >> i & 1u) << dots[i];
    return {'\xe2', char(0xa0 | pattern >> 6), char(0x80 | (pattern & 0x3f))};
}

// What a letter looks like in two columns and four rows.
struct Shape {
    char letter;
    const char *pixels;
};

static constexpr Shape SHAPES[] = {
    {'`', "#......."}, {'\'', ".#......"}, {'^', "##......"}, {'-', "..##...."},  {'-', "....##.."}, {'.', ".......#"},
    {',', "......#."}, {'_', "......##"},  {'"', "####...."}, {'=', "##..##.."},  {'=', "..##..##"}, {'=', "..####.."},
    {'o', "....####"}, {'|', "#.#.#.#."},  {'|', ".#.#.#.#"}, {':', "..#...#."},  {':', "...#...#"}, {'!', "#.#...#."},
    {'i', "#...#.#."}, {'/', ".#.##.#."},  {'/', "...#.##."}, {'\\', "#.#..#.#"}, {'(', ".##.#..#"}, {')', "#..#.##."},
    {'<', ".##..#.."}, {'>', "#..##..."},  {'L', "#.#.#.##"}, {'J', ".#.#.###"},  {'F', "###.#.#."}, {'7', "##.#.#.#"},
    {'r', "..###.#."}, {'[', "###.#.##"},  {']', "##.#.###"}, {'P', "#####.#."},  {'9', "####.#.#"}, {'b', "#.#.####"},
    {'d', ".#.#####"}, {'h', "#.###.##"},  {'4', "#.##.#.#"}, {'E', "#####.##"},  {'3', "##.###.#"}, {'x', "#..##..#"},
    {'M', "######.."}, {'W', "..######"},  {'#', "########"},
};

static int difference(const Shape &shape, unsigned pixels) {
    int count = 0;
    for (int i = 0; i < 8; i++) count += (shape.pixels[i] == '#') != ((pixels >> i & 1u) != 0);
    return count;
}

// Only a dark cell is blank.
static char likest_letter(unsigned pixels) {
    if (pixels == 0) return ' ';
    const auto nearer = [pixels](const Shape &a, const Shape &b) {
        return difference(a, pixels) < difference(b, pixels);
    };
    return std::min_element(std::begin(SHAPES), std::end(SHAPES), nearer)->letter;
}

static std::string character(unsigned pixels, Marks marks) {
    constexpr const char *blocks[] = {" ", "\u2580", "\u2584", "\u2588"};
    switch (marks) {
        case Marks::half_blocks: return blocks[pixels];
        case Marks::braille: return braille(pixels);
        case Marks::ascii: return std::string(1, " '.:"[pixels]);
        default: return std::string(1, likest_letter(pixels));
    }
}

static unsigned pixels_at(const Picture &picture, int left, int top, const Cell &cell) {
    unsigned pixels = 0;
    for (int i = 0; i < cell.columns * cell.rows; i++) {
        const int x = left + i % cell.columns;
        const int y = top + i / cell.columns;
        const bool inside = x < picture.width() && y < picture.height();
        if (inside && picture.at(x, y)) pixels |= 1u << i;
    }
    return pixels;
}

// ---- Lines ----

static int cells(int pixels, int in_one) { return (pixels + in_one - 1) / in_one; }

// The upper left part of the picture.
static std::vector<std::string> lines_of(const Picture &picture, Marks marks, Size part) {
    const Cell cell = cell_of(marks);
    std::vector<std::string> lines;
    for (int y = 0; y < part.height; y += cell.rows) {
        std::string line;
        for (int x = 0; x < part.width; x += cell.columns) line += character(pixels_at(picture, x, y, cell), marks);
        lines.push_back(line);
    }
    return lines;
}

std::string drawn(const Picture &picture, Marks marks) {
    std::string text;
    for (const std::string &line : lines_of(picture, marks, picture.size())) text += line + "\n";
    return text;
}

// ---- Fitting ----

int rows_that_matter(const Picture &picture) {
    int rows = picture.height();
    while (rows > LAYOUT_SIZE.height && picture.part(0, rows - 1, picture.width(), 1).count_lit() == 0) rows--;
    return rows;
}

static bool fits(Size size, Marks marks, Place place) {
    const Cell cell = cell_of(marks);
    return cells(size.width, cell.columns) <= place.columns && cells(size.height, cell.rows) <= place.lines;
}

static Marks largest_marks(Style style) {
    if (style == Style::braille) return Marks::braille;
    return style == Style::ascii ? Marks::ascii : Marks::half_blocks;
}

static Marks smallest_marks(Style style) {
    if (style == Style::half_blocks) return Marks::half_blocks;
    return style == Style::ascii ? Marks::coarse_ascii : Marks::braille;
}

Drawing fitted(const Picture &picture, Style style, Place place) {
    const Size needed{picture.width(), rows_that_matter(picture)};
    const Marks marks = fits(needed, largest_marks(style), place) ? largest_marks(style) : smallest_marks(style);
    const Cell cell = cell_of(marks);
    const Size seen{std::min(picture.width(), std::max(place.columns, 0) * cell.columns),
                    std::min(picture.height(), std::max(place.lines, 0) * cell.rows)};
    return {lines_of(picture, marks, seen), seen, fits(needed, marks, place)};
}

int fewest_lines(const Picture &picture, Style style) {
    return cells(rows_that_matter(picture), cell_of(smallest_marks(style)).rows);
}

} // namespace panel
